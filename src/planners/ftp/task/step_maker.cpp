#include "planners/ftp/task/step_maker.h"

#include <algorithm>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/timed_effect.h"
#include "shell/environment.h"

namespace kelvo::ftp {

namespace {

/// The smallest time that an open bound of a duration keeps away from it.
const rational& open_bound_gap() {
  static const rational gap(1, 100);
  return gap;
}

/// No plan may write a fluent twice at one instant.
bool writes_twice(const GuidedStep& step) {
  std::vector<std::uint32_t> slots;
  for (const EffectProgram* effect : step.effects) {
    slots.insert(slots.end(), effect->writes.begin(), effect->writes.end());
  }
  std::sort(slots.begin(), slots.end());
  return std::adjacent_find(slots.begin(), slots.end()) != slots.end();
}

bool may_write_twice(const GuidedStep& step) {
  std::size_t num_writes = 0;
  std::size_t num_moving = 0;
  for (const EffectProgram* effect : step.effects) {
    num_writes += effect->writes.size();
    for (const Assignment& assignment : effect->assignments) {
      if (assignment.target != nullptr) ++num_moving;
    }
  }
  return num_moving > 0 && num_moving + num_writes > 1;
}

}  // namespace

rational GuidedStepMaker::nominal_duration(const EventTemplate& events) const {
  const DurationBounds& bounds = events.duration;
  return bounds.upper ? rational((bounds.lower + *bounds.upper) / 2) : rational(bounds.lower + 1);
}

// With a fixed duration every instant counts from the start.
GuidedStepMaker::Instant GuidedStepMaker::instant_of(const TemplateEvent& event,
                                                     const EventTemplate& events) const {
  model::ExpressionFactory& ef = task_.task().environment().expression_factory();
  const bool closes = event.role == EventRole::CLOSING;
  const AnchoredTime at = timing(ef, closes ? event.right_time : event.left_time);
  if (at.from_start) return {at.offset, false};
  const bool is_fixed = events.action == nullptr || events.duration.is_point();
  return {nominal_duration(events) - at.offset, !is_fixed};
}

GuidedStep& GuidedStepMaker::step_at(Draft& draft, const Instant& instant,
                                     const rational& nominal) const {
  const auto [known, is_new] = draft.steps.try_emplace(instant);
  GuidedStep& step = known->second;
  if (is_new) {
    step.at_end_node = instant.second;
    step.exact_offset = instant.second ? rational(instant.first - nominal) : instant.first;
    step.offset = to_double(step.exact_offset);
  }
  return step;
}

void GuidedStepMaker::add_event(const TemplateEvent& event, const EventTemplate& events,
                                Draft& draft) const {
  const CompiledTask& task = task_.task();
  const rational nominal = events.action == nullptr ? rational(0) : nominal_duration(events);
  const Instant instant = instant_of(event, events);
  GuidedStep& step = step_at(draft, instant, nominal);
  switch (event.role) {
    case EventRole::EFFECT:
      step.effects.push_back(&task.effect(event.program));
      break;
    case EventRole::POINT:
      step.checks.push_back(&task.condition(event.program));
      break;
    case EventRole::OPENING:
      if (!event.left_open) step.checks.push_back(&task.condition(event.program));
      draft.durative.push_back({&task.condition(event.program), instant, std::nullopt});
      break;
    case EventRole::CLOSING: {
      const Condition* condition = &task.condition(event.program);
      step.checks.push_back(condition);
      const auto opened = std::find_if(
          draft.durative.begin(), draft.durative.end(), [&](const Draft::Durative& one) {
            return one.condition == condition && !one.closes && one.opens && *one.opens <= instant;
          });
      if (opened != draft.durative.end()) {
        opened->closes = instant;
      } else {
        draft.durative.push_back({condition, std::nullopt, instant});
      }
      break;
    }
  }
}

// Puts the steps behind those that the task has, and what is open between them into the list.
void GuidedStepMaker::append(std::uint32_t number, Draft& draft) {
  GuidedList& list = task_.lists_[number];
  list.first_step = static_cast<std::uint32_t>(task_.steps_.size());
  list.num_steps = static_cast<std::uint32_t>(draft.steps.size());
  list.open_at.resize(list.num_steps + 1);
  const bool is_problem = number == GuidedTask::PROBLEM;
  std::uint32_t position = 0;
  for (auto& [instant, step] : draft.steps) {
    step.list = number;
    step.position = position;
    step.may_write_twice = may_write_twice(step);
    for (const EffectProgram* effect : step.effects) {
      for (const Assignment& assignment : effect->assignments) {
        if (!assignment.is_constant || assignment.target != nullptr) {
          step.has_computed_effects = true;
        }
      }
    }
    for (const Draft::Durative& one : draft.durative) {
      // The start of an action is its first step; that of the problem is before all of its steps.
      const bool opens_here = one.opens ? *one.opens == instant : !is_problem && position == 0;
      const bool closes_later = !one.closes || *one.closes > instant;
      if (opens_here && closes_later) step.opened.push_back(one.condition);
      const bool has_opened = !one.opens || *one.opens <= instant;
      if (has_opened && closes_later)
        list.open_at[position + 1].conditions.push_back(one.condition);
      if (position == 0 && is_problem && !one.opens) {
        list.open_at[0].conditions.push_back(one.condition);
      }
    }
    ++position;
    task_.steps_.push_back(std::move(step));
  }
}

bool GuidedStepMaker::has_all_ends(const Draft& draft) {
  return std::all_of(draft.durative.begin(), draft.durative.end(),
                     [](const Draft::Durative& one) { return one.closes.has_value(); });
}

// Whether the steps of a free duration may come in another order than in a nominal execution.
bool GuidedStepMaker::may_change_order(const GuidedList& list, const Draft& draft) {
  if (list.has_fixed_duration) return false;
  bool is_past_the_end = false;
  rational latest_behind_start = 0;
  for (const auto& [instant, step] : draft.steps) {
    is_past_the_end |= step.at_end_node;
    if (step.at_end_node) {
      // The earliest place of the step is behind all that are tied to the start and before it.
      if (list.exact_lower + step.exact_offset < latest_behind_start) return true;
    } else {
      if (is_past_the_end) return true;
      latest_behind_start = step.exact_offset;
    }
  }
  return false;
}

void GuidedStepMaker::add_action(std::uint32_t template_id) {
  const EventTemplate& events = task_.task().template_of(template_id);
  GuidedList& list = task_.lists_[template_id];
  list.action = events.action;
  list.has_fixed_duration = events.duration.is_point();
  list.has_upper = events.has_upper;
  list.exact_lower = events.duration.lower;
  if (events.duration.lower_open) list.exact_lower += open_bound_gap();
  if (events.duration.upper) list.exact_upper = *events.duration.upper;
  if (events.duration.upper_open) list.exact_upper -= open_bound_gap();
  list.lower = to_double(list.exact_lower);
  list.upper = to_double(list.exact_upper);

  Draft draft;
  GuidedStep& opening = step_at(draft, Instant(0, false), nominal_duration(events));
  opening.checks.push_back(&events.start_condition);
  for (const TemplateEvent& event : events.events) add_event(event, events, draft);
  const auto is_effect = [](const TemplateEvent& event) { return event.is_effect(); };
  const bool has_effects = std::any_of(events.events.begin(), events.events.end(), is_effect);
  // Without an effect an action may still put off the end of the plan.
  bool is_treated = events.is_useful || (!has_effects && has_all_ends(draft));
  // The opening has to come first: an action with an event before its start is left to the plain
  // search.
  if (draft.steps.begin()->first != Instant(0, false)) is_treated = false;
  if (list.has_fixed_duration) list.exact_latest = list.exact_lower;
  for (const auto& [instant, step] : draft.steps) {
    // With a free duration nothing may stand behind the end.
    if (!list.has_fixed_duration) {
      if (step.offset > list.lower) is_treated = false;
    } else if (!step.effects.empty()) {
      list.exact_latest = std::max(list.exact_latest, step.exact_offset);
    }
    if (writes_twice(step)) list.is_useful = false;
  }
  if (!list.has_fixed_duration && list.has_upper && list.exact_upper < list.exact_lower) {
    is_treated = false;
  }
  list.latest_offset = to_double(list.exact_latest);
  list.is_useful = list.is_useful && is_treated;
  if (!is_treated || may_change_order(list, draft)) task_.leaves_out_actions_ = true;
  append(template_id, draft);
}

void GuidedStepMaker::add_problem() {
  const CompiledTask& task = task_.task();
  GuidedList& list = task_.lists_[GuidedTask::PROBLEM];
  list.is_useful = false;  // never opened: it is open from the start
  Draft draft;
  for (const std::uint32_t bit : task.initially_open_goals()) {
    draft.durative.push_back({&task.condition(task.goal_conditions()[bit]), std::nullopt, {}});
  }
  const EventTemplate& at_start = task.template_of(CompiledTask::PROBLEM_START);
  for (const TemplateEvent& event : at_start.events) {
    if (event.role != EventRole::CLOSING) {
      add_event(event, at_start, draft);
      continue;
    }
    // One that is open from the start of the plan closes for the first time here.
    const Condition* condition = &task.condition(event.program);
    const auto open =
        std::find_if(draft.durative.begin(), draft.durative.end(), [&](const Draft::Durative& one) {
          return one.condition == condition && !one.closes && !one.opens;
        });
    if (open == draft.durative.end()) {
      add_event(event, at_start, draft);
    } else {
      open->closes = instant_of(event, at_start);
      step_at(draft, *open->closes, 0).checks.push_back(condition);
    }
  }
  for (const TemplateEvent& event : task.template_of(CompiledTask::PROBLEM_END).events) {
    if (event.offset == 0 && (event.role == EventRole::POINT || event.role == EventRole::CLOSING)) {
      task_.goals_.push_back(&task.condition(event.program));
    } else {
      task_.obstacle_ = "a goal before the end of the plan";
    }
  }
  // From some time on to the end of the plan: asked behind the end as well, if that is early.
  for (const Draft::Durative& one : draft.durative) {
    if (one.opens && !one.closes) task_.leaves_out_actions_ = true;
  }
  if (!draft.steps.empty() && draft.steps.begin()->first.first < 0) {
    task_.obstacle_ = "a timed statement before the start of the plan";
  }
  append(GuidedTask::PROBLEM, draft);
  if (draft.steps.empty()) {
    for (const Draft::Durative& one : draft.durative) {
      list.open_at[0].conditions.push_back(one.condition);
    }
  }
}

}  // namespace kelvo::ftp
