#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

/// Joins the events of a template into steps. Events of one instant may stand apart in the
/// template, as the opening of a left-open condition does, which is told a little later.
class GuidedStepMaker {
 public:
  explicit GuidedStepMaker(GuidedTask& task) : task_(task) {}

  /// Appends the list of an action: its first step is the opening.
  void add_action(std::uint32_t template_id);
  /// Appends the list of the problem, and notes its goals at the end of the plan. Notes an obstacle
  /// when there is any other event that is tied to the end.
  void add_problem();

 private:
  /// The order of the instants: their place in a nominal execution, those after the start first.
  using Instant = std::pair<rational, bool>;
  struct Draft {
    std::map<Instant, GuidedStep> steps;
    /// A durative condition with the instants at which it opens and closes.
    struct Durative {
      const Condition* condition;
      std::optional<Instant> opens;   // none: open from the start of the list
      std::optional<Instant> closes;  // none: open to the end of the list
    };
    std::vector<Durative> durative;
  };

  Instant instant_of(const TemplateEvent& event, const EventTemplate& events) const;
  GuidedStep& step_at(Draft& draft, const Instant& instant, const rational& nominal) const;
  void add_event(const TemplateEvent& event, const EventTemplate& events, Draft& draft) const;
  static bool has_all_ends(const Draft& draft);
  static bool may_change_order(const GuidedList& list, const Draft& draft);
  void append(std::uint32_t list, Draft& draft);
  rational nominal_duration(const EventTemplate& events) const;

  GuidedTask& task_;
};

}  // namespace kelvo::ftp
