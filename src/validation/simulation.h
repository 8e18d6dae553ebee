#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model/expression.h"
#include "shell/env_object.h"
#include "shell/numbers.h"
#include "validation/dur_simplifier.h"
#include "validation/validation_event.h"

namespace kelvo {

/// Walks sorted records with a state of ground fluents and stops at the first violation.
///
/// Effects of one time take effect when the clock moves on, so that all that happens at one time
/// reads the state before it. A condition over an interval is checked at each time of the
/// simulation inside the interval, and at its lower end if it is closed there; never at its upper
/// end.
class Simulation : public EnvObject {
 public:
  using State = DurSimplifier::Values;

  Simulation(Environment& env, const State& initial_state);

  /// Whether nothing is violated; the reason, if something is, stands in the log at `DEBUG`.
  bool run(const std::vector<ValidationEvent>& events);
  /// The reason.
  const std::string& complaint() const { return complaint_; }

 private:
  void advance_to(const rational& time);
  void log_state() const;
  bool apply(const ValidationEvent& effect);
  void store(model::Expression fluent, model::Expression value, State& state);
  bool check_point(const ValidationEvent& condition);
  bool check_active();
  bool check_one_active(const ValidationEvent& condition, bool& violated);
  void warn_of_last_stretch(const ValidationEvent& window);

  bool evaluate_condition(model::Expression e) const;
  void complain(const std::string& text);

  std::string complaint_;
  rational now_ = 0;
  State state_;
  State pending_;
  // The conditions over an interval that the clock has reached. At one time the state stands still,
  // so each is checked once: those from `num_checked_` on are still to be.
  std::vector<const ValidationEvent*> active_;
  std::size_t num_checked_ = 0;
  DurSimplifier eval_;  // over `state_`
};

}  // namespace kelvo
