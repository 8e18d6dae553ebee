#include "validation/strict_explanation.h"

#include <ostream>
#include <sstream>

#include "model/print_expression.h"
#include "model/source_map.h"
#include "plans/step_text.h"
#include "shell/environment.h"

namespace kelvo {

namespace {

class Explanation {
 public:
  Explanation(std::ostream& os, Environment& env, const StepName& step_name)
      : os_(os), env_(env), step_name_(step_name) {}

  void print(const StrictFault& fault) {
    os_ << "Why: " << fault.rule;
    if (fault.time) {
      os_ << (fault.just_behind ? ", just behind time " : ", at time ") << exact_time(*fault.time);
    }
    os_ << ".\n";
    print_source("", fault.source);
    if (fault.part != nullptr) {
      os_ << "  Part: " << model::print_expression(fault.part) << '\n';
    }
    if (fault.window) print_window(*fault.window);
    if (fault.other) {
      print_source("Other ", *fault.other);
      if (fault.other_time && fault.other_time != fault.time) {
        os_ << "  Other time: " << exact_time(*fault.other_time) << '\n';
      }
    }
    for (const StrictRead& read : fault.reads) print_read(read);
    for (const auto& [step, duration] : fault.chosen_durations) {
      os_ << "  If it lasts " << exact_time(duration) << ": " << step_name_(*step) << '\n';
    }
  }

 private:
  void print_source(const char* which, const StrictSource& source) {
    if (source.step != nullptr) {
      os_ << "  " << which << "Step: " << step_name_(*source.step) << '\n';
    }
    if (source.statement == nullptr) return;
    os_ << "  " << which << "Statement: ";
    print_statement(source);
    os_ << '\n';
  }

  void print_statement(const StrictSource& source) {
    os_ << model::print_expression(source.statement);
    const auto place = env_.source_map().find(source.owner, source.statement);
    os_ << " (";
    if (place && place->file.empty()) os_ << "line " << place->line << ", ";
    if (place && !place->file.empty()) os_ << place->file << ":" << place->line << ", ";
    if (source.owner.empty()) {
      os_ << "of the problem)";
    } else {
      os_ << "of action " << source.owner << ")";
    }
  }

  void print_window(const StrictWindow& window) {
    os_ << "  Window: " << (window.from_closed ? "[" : "(") << exact_time(window.from) << ", "
        << exact_time(window.to) << (window.to_closed ? "]" : ")") << '\n';
  }

  void print_read(const StrictRead& read) {
    os_ << "  Value: " << read.fluent;
    if (read.value.empty()) {
      os_ << " has none\n";
      return;
    }
    os_ << " is " << read.value;
    if (read.written_at) {
      os_ << ", since time " << exact_time(*read.written_at) << " by ";
    } else {
      os_ << ", from the start by ";
    }
    print_statement(read.writer);
    if (read.writer.step != nullptr) os_ << " of step " << step_name_(*read.writer.step);
    os_ << '\n';
  }

  std::ostream& os_;
  Environment& env_;
  const StepName& step_name_;
};

}  // namespace

std::string step_text(const TimeTriggeredStep& step) {
  std::ostringstream text;
  text << exact_time(step.start_time()) << ": ";
  print_step_action(text, step.object(), step.action(), step.actual_parameters());
  if (step.has_duration()) text << " [" << step.duration() << "]";
  return text.str();
}

void print_explanation(std::ostream& os, Environment& env, const StrictFault& fault,
                       const StepName& step_name) {
  Explanation(os, env, step_name).print(fault);
}

}  // namespace kelvo
