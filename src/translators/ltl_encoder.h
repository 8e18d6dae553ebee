#pragma once

#include <iosfwd>
#include <memory>

#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo {

/// Writes a problem as one module of variables over numbers and one LTL property: the negation of
/// "there is a plan", so that a counterexample is a plan.
///
/// Variables change only from state to state. `t__` is the time of a state and grows up to
/// `end_of_time__`, after which nothing moves. An action A has a boolean A, which holds from the
/// state of its start to the one before its end, its start time and its duration.
class LtlEncoder : public EnvObject {
 public:
  /// Compiles away structure, uncertain durations, parameters and sets; raises what the
  /// transformers raise, and `LtlEncoderError` on a fluent of another type.
  LtlEncoder(Environment& env, const model::ProblemInstance& problem);
  ~LtlEncoder() override;

  /// Throws `LtlEncoderError` on what has no form in LTL. Then nothing has been written.
  void print(std::ostream& os) const;

 private:
  class Module;

  std::unique_ptr<Module> module_;
};

}  // namespace kelvo
