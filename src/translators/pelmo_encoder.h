#pragma once

#include <iosfwd>
#include <memory>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "translators/clocked_problem.h"

namespace kelvo {

class TimeTriggeredPlan;

/// Writes a ground problem as a timed SMV model in the continuous time domain of Pelmo, with an
/// invariant that is false exactly where a plan ends: its counterexample is a plan.
class PelmoEncoder : public EnvObject {
 public:
  /// Throws `InternalError` when the problem has no such form; the log says why at `DEBUG`.
  PelmoEncoder(Environment& env, const model::ProblemInstance& problem);
  ~PelmoEncoder() override;

  /// Throws `InternalError`, or `LtlEncoderError` on an expression without a form in a model.
  void print(std::ostream& os) const;

 private:
  model::ProblemInstance problem_;
  InstanceNumbers numbers_;
};

/// Reads Pelmo's trace, an XML text, back into a plan of `problem`. Throws `InternalError` on a
/// text that is no trace, with the line where that is known. An execution that never ends gives no
/// step, and is told in the note, which is empty else.
std::shared_ptr<TimeTriggeredPlan> read_pelmo_trace(const model::ProblemInstance& problem,
                                                    std::istream& source, std::string& note);

}  // namespace kelvo
