#include "plans/pot_plan.h"

#include <ostream>
#include <utility>

#include "plans/step_text.h"
#include "shell/errors.h"

namespace kelvo {

POTStep::POTStep(rational delay, model::Action action, Parameters actual_parameters,
                 const std::optional<rational>& duration, model::Expression post_condition,
                 model::Instance object, std::size_t id)
    : delay_(std::move(delay)),
      action_(std::move(action)),
      actual_parameters_(std::move(actual_parameters)),
      duration_(duration.value_or(rational(0))),
      has_duration_(duration.has_value()),
      post_condition_(post_condition),
      id_(id),
      object_(std::move(object)) {}

std::optional<rational> POTStep::optional_duration() const {
  if (!has_duration_) return std::nullopt;
  return duration_;
}

POTPlan::Step POTPlan::add_step(rational delay, model::Action action,
                                POTStep::Parameters actual_parameters, rational duration,
                                model::Expression post_condition, model::Instance object) {
  return add_step(std::move(delay), std::move(action), std::move(actual_parameters),
                  std::optional<rational>(std::move(duration)), post_condition, std::move(object));
}

POTPlan::Step POTPlan::add_step(rational delay, model::Action action,
                                POTStep::Parameters actual_parameters,
                                model::Expression post_condition, model::Instance object) {
  return add_step(std::move(delay), std::move(action), std::move(actual_parameters),
                  std::optional<rational>(), post_condition, std::move(object));
}

POTPlan::Step POTPlan::add_step(rational delay, model::Action action,
                                POTStep::Parameters actual_parameters,
                                const std::optional<rational>& duration,
                                model::Expression post_condition, model::Instance object) {
  const Step step =
      std::make_shared<POTStep>(std::move(delay), std::move(action), std::move(actual_parameters),
                                duration, post_condition, std::move(object), steps_.size() + 1);
  steps_.insert(steps_.end(), step);
  precedences_.emplace_hint(precedences_.end(), step, StepSet());
  return step;
}

// A step of another plan may have the same number.
bool POTPlan::has_step(const Step& step) const {
  if (step == nullptr) return false;
  const auto known = steps_.find(step);
  return known != steps_.end() && *known == step;
}

void POTPlan::add_precedence(const Step& a, const Step& b) {
  if (!has_step(a) || !has_step(b)) {
    throw InternalError(
        "Trying to set the precedence of a node that does not belong to this POTPlan");
  }
  precedences_.find(a)->second.insert(b);
}

const POTPlan::StepSet& POTPlan::precedences(const Step& step) const {
  if (!has_step(step)) {
    throw InternalError("Trying to access precedences of a non-existing step!");
  }
  return precedences_.find(step)->second;
}

std::ostream& POTPlan::print(std::ostream& os) const {
  os << "Steps to execute:\n";
  for (const Step& step : steps_) {
    os << " " << step->id() << ") ";
    print_step_action(os, step->object(), step->action(), step->actual_parameters());
    if (step->delay() > 0) os << " with delay " << step->delay();
    if (step->has_duration()) os << " with duration " << step->duration();
    os << "\n";
  }
  os << "Subject to:\n";
  for (const auto& [step, predecessors] : precedences_) {
    if (predecessors.empty()) continue;
    os << " " << step->id() << " > ";
    const char* separator = "";
    for (const Step& predecessor : predecessors) {
      os << separator << predecessor->id();
      separator = ", ";
    }
    os << "\n";
  }
  return os;
}

}  // namespace kelvo
