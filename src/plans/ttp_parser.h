#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "model/model_fwd.h"
#include "plans/time_triggered_plan.h"
#include "shell/env_object.h"
#include "shell/errors.h"

namespace kelvo {

/// Reads the text of time-triggered plans; names are resolved in one problem. A step is written
///
///     <start time>: [<object>.]<action>(<parameters>) [<duration>]
///
/// on a line of its own. Blank lines, and lines that begin with ";", are skipped.
class TTPParser : public EnvObject {
 public:
  TTPParser(Environment& env, model::ProblemInstance problem);

  /// Raises `ParserError` at the first line that is wrong.
  std::shared_ptr<TimeTriggeredPlan> parse(std::istream& source) const;

 private:
  std::shared_ptr<TimeTriggeredStep> parse_step(const std::string& line,
                                                std::size_t line_number) const;
  model::Instance find_object(const std::string& name, std::size_t line_number) const;
  ParserError unreadable_line(const std::string& line, std::size_t line_number) const;
  /// Null if there is none.
  model::Action known_action(const std::string& name) const;
  model::Action find_action(const std::string& name, std::size_t line_number) const;
  TimeTriggeredStep::Parameters parse_parameters(std::string_view text,
                                                 std::size_t line_number) const;

  model::ProblemInstance problem_;
};

}  // namespace kelvo
