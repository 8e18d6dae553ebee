#pragma once

#include <iosfwd>
#include <memory>

#include "model/model_fwd.h"

namespace kelvo {

class TimeTriggeredPlan;

/// Reads the trace that proves the query of `UppaalEncoder` back into a plan of `problem`.
///
/// The delays add up to the times of the steps; the first one, out of the initial location, does
/// not count. `x_A_start := 1` starts an execution of action A, `x_A_end := 1` ends it. Everything
/// that begins with "x" and is neither of these, no other flag of the encoding and no fluent is an
/// `InternalError` that names its line; so is a trace that ends inside a delay or an assignment. An
/// execution that never ends gives no step, and is told in the note, which is empty else. Linear in
/// the length of the trace.
std::shared_ptr<TimeTriggeredPlan> read_uppaal_trace(const model::ProblemInstance& problem,
                                                     std::istream& source, std::string& note);

}  // namespace kelvo
