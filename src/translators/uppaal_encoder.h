#pragma once

#include <iosfwd>
#include <memory>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "translators/clocked_problem.h"

namespace kelvo {

/// Writes a ground problem as one timed automaton in UPPAAL's textual format, with the query whose
/// proof is a plan.
///
/// All time passes in one location, `l_delta`. After each delay the automaton walks a round of
/// urgent locations: a chain in which each happening decides whether it takes place now, a chain
/// that applies the effects of those that do, and a chain that checks the conditions over
/// intervals. So all that happens at one time reads the state before it.
///
/// `A_event_n`, which says that the n-th timed event of action A took place, is never reset: only
/// the first execution of an action is held to its timed events.
class UppaalEncoder : public EnvObject {
 public:
  /// Throws `InternalError` when the problem has no such form; the log says why at `DEBUG`.
  UppaalEncoder(Environment& env, const model::ProblemInstance& problem);
  ~UppaalEncoder() override;

  /// Throws `InternalError` on what the automaton can't express. What has been written then stays.
  void print(std::ostream& os) const;
  void print_query(std::ostream& os) const;

 private:
  model::ProblemInstance problem_;
  InstanceNumbers numbers_;
};

}  // namespace kelvo
