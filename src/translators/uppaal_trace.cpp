#include "translators/uppaal_trace.h"

#include <istream>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "model/action.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "translators/trace_numbers.h"

namespace kelvo {

namespace {

/// The words of a text, with the line of the last one.
class Words {
 public:
  explicit Words(std::istream& source) : source_(source) {}

  /// False at the end of the text. The word stays valid until the next call.
  bool next(std::string_view& word) {
    while (true) {
      const std::size_t begin = line_.find_first_not_of(" \t\r\v\f", position_);
      if (begin != std::string::npos) {
        position_ = std::min(line_.find_first_of(" \t\r\v\f", begin), line_.size());
        word = std::string_view(line_).substr(begin, position_ - begin);
        return true;
      }
      if (!std::getline(source_, line_)) return false;
      ++line_number_;
      position_ = 0;
    }
  }

  std::size_t line_number() const { return line_number_; }

 private:
  std::istream& source_;
  std::string line_;
  std::size_t position_ = 0;
  std::size_t line_number_ = 0;
};

class TraceReader {
 public:
  TraceReader(const model::ProblemInstance& problem, std::istream& source)
      : problem_(problem),
        words_(source),
        plan_(std::make_shared<TimeTriggeredPlan>(problem->environment())) {}

  std::shared_ptr<TimeTriggeredPlan> read() {
    std::string_view word;
    while (words_.next(word)) {
      if (word == "Delay:") {
        read_delay();
      } else if (word.starts_with('x')) {
        read_variable(std::string(word));
      }
    }
    return plan_;
  }

  /// About executions that the trace does not end; empty for none.
  std::string note() const { return unfinished_note(started_); }

 private:
  InternalError error(const char* what, std::string_view word) const {
    InternalError result;
    result << what << word << "\nThis is in line " << words_.line_number() << " of the trace";
    return result;
  }

  std::string_view next_word(const char* what) {
    std::string_view word;
    if (!words_.next(word)) throw error("The trace ends inside ", what);
    return word;
  }

  // The first delay belongs to the edge out of the initial location.
  void read_delay() {
    const std::string_view word = next_word("a delay");
    if (!has_begun_) {
      has_begun_ = true;
      return;
    }
    const std::optional<rational> delay = number_in_trace(word);
    if (!delay || *delay < 0) throw error("Invalid delay in trace: ", word);
    time_ += *delay;
  }

  /// The name of the action if `word` is "x_", its name, and `ending`.
  static std::optional<std::string> action_of(const std::string& word, std::string_view ending) {
    constexpr std::size_t prefix = 2;
    if (!word.starts_with("x_") || !word.ends_with(ending)) return std::nullopt;
    if (word.size() <= prefix + ending.size()) return std::nullopt;
    return word.substr(prefix, word.size() - prefix - ending.size());
  }

  bool has_action(const std::optional<std::string>& name) const {
    return name && problem_->has_action(*name);
  }

  void read_variable(const std::string& word) {
    const std::optional<std::string> started = action_of(word, "_start");
    const std::optional<std::string> ended = action_of(word, "_end");
    if (has_action(started)) return start(*started);
    if (has_action(ended)) return end(*ended);
    if (problem_->has_fluent(word) || is_event_flag(word)) return;
    if (started) return start(*started);
    if (ended) return end(*ended);
    throw error("Invalid x-variable in trace: ", word);
  }

  // The flags of timed events: "x_A_event_n" and "x_global_event_n".
  bool is_event_flag(const std::string& word) const {
    const std::size_t last = word.find_last_not_of("0123456789");
    if (last == std::string::npos || last + 1 == word.size()) return false;
    const std::optional<std::string> owner = action_of(word.substr(0, last + 1), "_event_");
    return owner && (*owner == "global" || problem_->has_action(*owner));
  }

  // Only a flag that is set counts; a guard that compares it tells nothing. A list of assignments
  // may go on right after the value, or end there.
  bool read_is_set() {
    const bool is_assignment = next_word("an assignment") == ":=";
    std::string_view value = next_word("an assignment");
    if (!is_assignment) return false;
    value = value.substr(0, value.find_last_not_of(",;})") + 1);
    const std::optional<rational> number = number_in_trace(value);
    if (!number) throw error("Invalid value in trace: ", value);
    return *number == 1;
  }

  void start(const std::string& name) {
    if (read_is_set()) started_[name] = {time_, words_.line_number(), true};
  }

  void end(const std::string& name) {
    if (!read_is_set()) return;
    const auto begun = started_.find(name);
    if (begun == started_.end()) {
      throw error("The following action is beeing stopped without having been started: ", name);
    }
    const auto action = problem_->actions().find(name);
    if (action == problem_->actions().end()) {
      throw error("The following action is not present in the model: ", name);
    }
    const rational& begin = begun->second.time;
    plan_->add_step(std::make_shared<TimeTriggeredStep>(
        begin, action->second, TimeTriggeredStep::Parameters(), rational(time_ - begin)));
    begun->second.is_running = false;
  }

  const model::ProblemInstance& problem_;
  Words words_;
  std::shared_ptr<TimeTriggeredPlan> plan_;
  bool has_begun_ = false;
  rational time_ = 0;
  std::map<std::string, TraceExecution> started_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> read_uppaal_trace(const model::ProblemInstance& problem,
                                                     std::istream& source, std::string& note) {
  TraceReader reader(problem, source);
  const std::shared_ptr<TimeTriggeredPlan> plan = reader.read();
  note = reader.note();
  return plan;
}

}  // namespace kelvo
