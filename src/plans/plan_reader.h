#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/model_fwd.h"
#include "plans/time_triggered_plan.h"
#include "shell/env_object.h"

namespace kelvo {

/// A plan with the lines of its file.
struct PlanText {
  std::shared_ptr<TimeTriggeredPlan> plan;
  std::unordered_map<const TimeTriggeredStep*, std::size_t> lines;
};

/// Reads plans as people and other planners write them, one step a line:
///
///     <start time>: [<object>.]<action>(<parameters>) [<duration>]
///     <start time>: (<action> <parameter> ...) [<duration>]
///
/// The duration may be left out. `;` begins a comment. In the second form, that of PDDL, case does
/// not count, and a hyphen is the underscore that the reader of PDDL makes of it.
class PlanReader : public EnvObject {
 public:
  PlanReader(Environment& env, model::ProblemInstance problem);

  /// Raises `ParserError` with the line at the first one that is wrong.
  PlanText read(std::istream& source) const;

 private:
  struct Line;
  static bool take_apart(std::string_view rest, Line& line);
  std::shared_ptr<TimeTriggeredStep> read_step(const Line& line) const;
  model::Action find_action(const Line& line, const model::Instance& object) const;
  model::Instance find_instance(const Line& line, std::string_view name) const;
  model::Expression read_parameter(const Line& line, std::string_view text,
                                   const model::Type& type) const;

  model::ProblemInstance problem_;
};

}  // namespace kelvo
