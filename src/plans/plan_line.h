#pragma once

#include <string_view>

namespace kelvo {

// The line expressions of plan files. They are matched by hand, because the standard library's
// expressions recurse with each character and exhaust the stack on a long line. In the comments,
// NUMBER is \d+((\.\d+)|(\/\d+))?

/// The parts of a line that describes one step, as views into the line.
struct PlanLine {
  std::string_view start_time;
  std::string_view object;  // empty if there is none
  std::string_view action;
  std::string_view parameters;  // the text between the parentheses
  std::string_view duration;
};

/// Whether the whole line matches ^\s*(;(.*))?$
bool is_blank_or_comment(std::string_view line);

/// Whether the whole line matches
/// ^\s*(NUMBER)\s*:\s*(((\w+)\.)?(\w+))\s*\(((\w|\/|\.)+(\,\s*(\w|\/|\.)+)*)?\)\s*\[\s*(NUMBER)\s*\]\s*$
/// If so, fills `parts`.
bool match_plan_line(std::string_view line, PlanLine& parts);

/// A parameter as it stands in a plan line.
struct PlanLineParameter {
  enum class Kind { NUMBER, TRUE, FALSE, NAME };
  Kind kind;
  std::string_view text;
};

/// Takes ^\s*,\s*((NUMBER)|(true)|(false)|(\w+))\s* off the front of `rest`, where the first
/// alternative that fits counts: `2b` is the number 2, and "b" is left. False if nothing fits.
bool take_parameter(std::string_view& rest, PlanLineParameter& parameter);

}  // namespace kelvo
