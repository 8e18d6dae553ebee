#pragma once

#include <memory>

namespace kelvo {

class BasicTransformer;
class TimeTriggeredPlan;

/// Carries a plan of the transformer's input over to its output step by step: each step becomes the
/// first of its images whose demand on the duration holds. Null if some step has none, because its
/// action can never be executed with its parameters; the log says which at `DEBUG`.
std::shared_ptr<TimeTriggeredPlan> forward_steps(const BasicTransformer& transformer,
                                                 const TimeTriggeredPlan& plan);

}  // namespace kelvo
