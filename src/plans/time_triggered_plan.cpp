#include "plans/time_triggered_plan.h"

#include <ostream>
#include <sstream>
#include <utility>

#include "plans/step_text.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/log.h"

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
  plan_[step->start_time()].push_back(std::move(step));
}

namespace {

// The time rounded to hundredths, in the stream's form of a double.
std::string rounded_time(const std::ostream& os, const rational& time) {
  std::ostringstream text;
  text.copyfmt(os);
  text << to_double(round(time, 2));
  return text.str();
}

// Whether the text reads back as the time. The exponent form of large times does not read back.
bool denotes(const std::string& text, const rational& time) {
  return text.find_first_not_of("0123456789.-") == std::string::npos &&
         rational_from_string(text) == time;
}

}  // namespace

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
        os << time;
      } else {
        os << rounded;
      }
      os << ": ";
      print_step_action(os, step->object(), step->action(), step->actual_parameters());
      if (step->has_duration()) os << " [" << step->duration() << "]";
      os << std::endl;
    }
  }
  if (is_rounded) {
    LOG(LogLevel::WARN) << "Start times of the plan are printed rounded and may not be valid as "
                           "they stand: use --rational-precision to print them exactly";
  }
  return os;
}

}  // namespace kelvo
