#include "plans/time_triggered_plan.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <utility>

#include "plans/step_text.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/log.h"
#include "shell/numbers.h"

namespace kelvo {

TimeTriggeredStep::TimeTriggeredStep(rational start_time, model::Action action,
                                     Parameters actual_parameters, rational duration,
                                     model::Expression post_condition, model::Instance object)
    : start_time_(std::move(start_time)),
      action_(std::move(action)),
      actual_parameters_(std::move(actual_parameters)),
      duration_(std::move(duration)),
      has_duration_(true),
      post_condition_(post_condition),
      object_(std::move(object)) {}

TimeTriggeredStep::TimeTriggeredStep(rational start_time, model::Action action,
                                     Parameters actual_parameters, model::Expression post_condition,
                                     model::Instance object)
    : TimeTriggeredStep(std::move(start_time), std::move(action), std::move(actual_parameters),
                        std::optional<rational>(), post_condition, std::move(object)) {}

TimeTriggeredStep::TimeTriggeredStep(rational start_time, model::Action action,
                                     Parameters actual_parameters,
                                     const std::optional<rational>& duration,
                                     model::Expression post_condition, model::Instance object)
    : start_time_(std::move(start_time)),
      action_(std::move(action)),
      actual_parameters_(std::move(actual_parameters)),
      duration_(duration.value_or(rational(0))),
      has_duration_(duration.has_value()),
      post_condition_(post_condition),
      object_(std::move(object)) {}

std::optional<rational> TimeTriggeredStep::optional_duration() const {
  if (!has_duration_) return std::nullopt;
  return duration_;
}

std::size_t TimeTriggeredPlan::size() const {
  std::size_t num_steps = 0;
  for (const auto& [time, steps] : plan_) num_steps += steps.size();
  return num_steps;
}

void TimeTriggeredPlan::add_step(std::shared_ptr<TimeTriggeredStep> step) {
  // Steps mostly come by time, and comparing rationals is dear.
  const auto at = plan_.try_emplace(plan_.end(), step->start_time());
  at->second.push_back(std::move(step));
}

namespace {

// The time rounded to hundredths, in the stream's form of a double.
std::string rounded_time(const std::ostream& os, const rational& time) {
  std::ostringstream text;
  text.copyfmt(os);
  text << to_double(round(time, 2));
  return text.str();
}

// The exponent form of large times does not read back.
bool is_readable(const std::string& text) {
  return text.find_first_not_of("0123456789.-") == std::string::npos;
}

bool denotes(const std::string& text, const rational& time) {
  return is_readable(text) && rational_from_string(text) == time;
}

void print_step(std::ostream& os, const TimeTriggeredStep& step) {
  os << ": ";
  print_step_action(os, step.object(), step.action(), step.actual_parameters());
  if (step.has_duration()) os << " [" << to_text(step.duration()) << "]";
  os << "\n";
}

}  // namespace

std::ostream& TimeTriggeredPlan::print_exactly(std::ostream& os) const {
  for (const auto& [time, steps] : plan_) {
    const std::string text = exact_time(time);
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      os << text;
      print_step(os, *step);
    }
  }
  return os;
}

bool TimeTriggeredPlan::is_changed_by_rounding() const {
  const std::ostringstream as_told;
  return std::ranges::any_of(plan_, [&as_told](const auto& entry) {
    return !denotes(rounded_time(as_told, entry.first), entry.first);
  });
}

std::shared_ptr<TimeTriggeredPlan> TimeTriggeredPlan::rounded() const {
  auto result = std::make_shared<TimeTriggeredPlan>(environment());
  const std::ostringstream as_told;
  for (const auto& [time, steps] : plan_) {
    const std::string text = rounded_time(as_told, time);
    if (!is_readable(text)) return nullptr;
    const rational start_time = rational_from_string(text);
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      result->add_step(std::make_shared<TimeTriggeredStep>(
          start_time, step->action(), step->actual_parameters(), step->optional_duration(),
          step->post_condition(), step->object()));
    }
  }
  return result;
}

std::ostream& TimeTriggeredPlan::print(std::ostream& os) const {
  const bool exact = environment().configuration().get_boolean_value("rational-precision");
  bool is_rounded = false;
  for (const auto& [time, steps] : plan_) {
    std::string rounded;
    if (!exact) {
      rounded = rounded_time(os, time);
      is_rounded = is_rounded || !denotes(rounded, time);
    }
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      if (exact) {
        os << to_text(time);
      } else {
        os << rounded;
      }
      print_step(os, *step);
    }
  }
  if (is_rounded) {
    LOG(LogLevel::WARN) << "Start times of the plan are printed rounded and may not be valid as "
                           "they stand: use --rational-precision to print them exactly";
  }
  return os;
}

}  // namespace kelvo
