#include "translators/pelmo_encoder.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "translators/anml_to_smv.h"

namespace kelvo {

using ltl::LtlExpression;
using model::Expression;
using model::print_expression;

namespace {

using Texts = std::vector<std::string>;

/// Also instances, by their names, and the clock that stands for the duration.
class AnmlToPelmo : public ltl::AnmlToSmv {
 public:
  AnmlToPelmo(Environment& env, ltl::LtlExpressionFactory& factory, const Variables& variables,
              const std::unordered_map<model::Instance, LtlExpression>& instances)
      : AnmlToSmv(env, factory, variables), instances_(instances) {}

 protected:
  LtlExpression walk_instance_reference(Expression e) const override {
    return instances_.at(environment().expression_factory().get_instance_from_reference(e));
  }

 private:
  const std::unordered_map<model::Instance, LtlExpression>& instances_;
};

std::string joined(const Texts& texts, const char* separator) {
  std::string result;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) result += separator;
    result += "(" + text + ")";
  }
  return result;
}

class ModelWriter : public EnvObject {
 public:
  ModelWriter(Environment& env, const model::ProblemInstance& problem,
              const InstanceNumbers& numbers)
      : EnvObject(env),
        problem_(problem),
        numbers_(numbers),
        statements_(
            env, {},
            {"The interval of the following expression can't be evaluated: ",
             "\nImpossible to get rational number, the provided expression is not a constant"}),
        walk_(env, factory_, variables_, instances_),
        has_duration_(env, model::ExpressionOperatorKind::DURATION) {
    model::ModelFactory& mf = env.model_factory();
    for (const auto& [name, fluent] : problem_->fluents()) {
      variables_.emplace(name, factory_.make_variable(name, fluent->type()));
    }
    // The names of an enumeration are read as they stand.
    for (const auto& [name, instance] : problem_->instances()) {
      instances_.emplace(instance, factory_.make_variable(name, mf.make_boolean_type()));
    }
  }

  std::string text() {
    os_ << "@TIME_DOMAIN continuous\nMODULE main\n\n";
    for (const auto& [name, fluent] : problem_->fluents()) declare(fluent);
    for (const auto& [name, action] : problem_->actions()) write_action(name, action);
    write_problem();
    write_frame();
    write_goal();
    return os_.str();
  }

 private:
  /// The conditions under which the effects of one fluent take place.
  using Writers = std::vector<std::string>;

  void declare(const model::Fluent& fluent) {
    require_finite_type(fluent, numbers_);
    os_ << "VAR " << fluent->name() << " : ";
    const model::Type type = fluent->type();
    if (type->is_boolean()) {
      os_ << "boolean;\n";
    } else if (type->is_integer()) {
      const model::IntegerTypeBase& integers = model::as_integer_type(type);
      os_ << integers.lower_bound() << ".." << integers.upper_bound() << ";\n";
    } else {
      os_ << '{';
      const char* separator = "";
      for (const std::string& name : *numbers_.names(model::as_user_type(type)->name())) {
        os_ << separator << name;
        separator = ", ";
      }
      os_ << "};\n";
    }
  }

  std::string text_of(Expression e) const {
    std::ostringstream os;
    os << ltl::print_ltl(walk_(e));
    return os.str();
  }
  static std::string number_text(const rational& value) {
    std::ostringstream os;
    if (is_integral(value)) {
      os << numerator(value);
    } else {
      ltl::print_ltl_rational(os, value);
    }
    return os.str();
  }

  void trans(const std::string& when, const std::string& what) {
    os_ << "TRANS (" << when << ") -> (" << what << ");\n";
  }

  void write_effect(const ClockedStatement& s, const std::string& when) {
    const std::string& name = s.fluent->name();
    os_ << "TRANS (" << when << ") -> (next(" << name << ") = " << text_of(s.value) << ");\n";
    writers_[name].push_back(when);
  }

  void write_condition_or_effect(const ClockedStatement& s, const std::string& when) {
    if (s.is_assignment) {
      write_effect(s, when);
    } else {
      trans(when, text_of(s.body));
    }
  }

  static void require_point(const ClockedStatement& s) {
    if (s.is_point || !s.is_timed || !s.is_assignment) return;
    throw InternalError() << "Durative effects are not permitted: " << print_expression(s.source);
  }
  static void require_not_before_start(const ClockedStatement& s) {
    if (s.left.is_end || s.left.offset >= 0) return;
    throw InternalError() << "The following event is scheduled before the start of the action: "
                          << print_expression(s.source);
  }

  // When the clock is inside the interval.
  static std::string inside(const std::string& clock, const ClockedStatement& s, bool with_lower) {
    std::string text;
    if (with_lower) {
      text = clock + (s.left_closed ? " >= " : " > ") + number_text(s.left.offset);
    }
    if (!s.right.is_end) {
      if (!text.empty()) text += " & ";
      text += clock + (s.right_closed ? " <= " : " < ") + number_text(s.right.offset);
    }
    return text;
  }

  // --- actions ---

  struct ActionTexts {
    std::string name;
    std::string clock;
    std::string starts;
    std::string ends;
    std::size_t num_events = 0;
  };

  void write_action(const std::string& name, const model::Action& action) {
    const std::string running = name + "_running";
    ActionTexts a{name, name + "_clock", "!" + running + " & next(" + running + ")",
                  running + " & !next(" + running + ")"};
    os_ << "\nVAR " << running << " : boolean;\nVAR " << a.clock << " : clock;\nINIT !" << running
        << ";\nINIT " << a.clock << " = 0;\n";
    trans(a.starts, "next(" + a.clock + " = 0)");
    trans(a.clock + " != next(" + a.clock + ")", a.starts);
    changes_.push_back(running + " != next(" + running + ")");
    running_.push_back(running);
    for (const ClockedStatement& s : statements_.of(action->expressions())) {
      write_action_statement(a, s);
    }
  }

  void write_action_statement(ActionTexts& a, const ClockedStatement& s) {
    const std::string running = a.name + "_running & ";
    if (!s.is_timed) {
      if (has_duration_(s.body)) {
        trans(a.ends, duration_text(s.body, a.clock));
      } else {
        write_condition_or_effect(s, a.starts);
      }
      return;
    }
    require_point(s);
    require_not_before_start(s);
    if (s.is_point && s.left.is_end) return write_condition_or_effect(s, a.ends);
    if (s.is_point && s.left.is_start()) return write_condition_or_effect(s, a.starts);
    if (s.is_point) {
      const std::string when = running + a.clock + " = " + number_text(s.left.offset);
      write_event(a, when);
      return write_condition_or_effect(s, when);
    }
    const std::string when = running + inside(a.clock, s, /*with_lower=*/true);
    if (s.left.is_start() && s.left_closed) {
      trans(a.starts, text_of(s.body));
    } else {
      write_event(a, when);
    }
    trans(when, text_of(s.body));
  }

  std::string duration_text(Expression e, const std::string& clock) {
    model::ExpressionFactory& ef = environment().expression_factory();
    model::ModelFactory& mf = environment().model_factory();
    const model::Fluent fluent = mf.make_fluent(clock, mf.make_rational_type());
    variables_.try_emplace(clock, factory_.make_variable(clock, fluent->type()));
    const ExpressionSubstituter::Substitution replacement = {
        {ef.make_duration_anchor(), ef.make_fluent_reference(fluent)}};
    return text_of(ExpressionSubstituter(environment(), replacement)(e));
  }

  void write_event(ActionTexts& a, const std::string& when) {
    const std::string flag = a.name + "_" + std::to_string(a.num_events++);
    os_ << "VAR " << flag << " : boolean;\nINIT !" << flag << ";\n";
    os_ << "TRANS (" << when << ") -> next(" << flag << ");\n";
    os_ << "TRANS (" << a.starts << ") -> !next(" << flag << ");\n";
    os_ << "TRANS (" << a.ends << ") -> next(" << flag << ");\n";
    trans(flag + " != next(" + flag + ")", "(" + when + ") | (" + a.starts + ")");
    changes_.push_back(flag + " != next(" + flag + ")");
  }

  // --- the problem ---

  void declare_global_clock() {
    if (has_global_clock_) return;
    has_global_clock_ = true;
    os_ << "VAR global_clock : clock;\nINIT global_clock = 0;\n"
           "TRANS global_clock = next(global_clock);\n";
  }

  void write_problem() {
    for (const ClockedStatement& s : statements_.of(problem_->expressions())) {
      write_problem_statement(s);
    }
  }

  void write_problem_statement(const ClockedStatement& s) {
    if (s.is_timed) {
      require_point(s);
      require_not_before_start(s);
    }
    if (!s.is_timed || (s.is_point && s.left.is_start())) {
      if (!s.is_assignment) {
        throw InternalError() << "The following expression is a global start condition: "
                              << print_expression(s.source);
      }
      os_ << "INIT " << s.fluent->name() << " = " << text_of(s.value) << ";\n";
      return;
    }
    if (s.is_point && s.left.is_end) {
      if (!s.is_assignment) goals_.push_back(text_of(s.body));
      return;
    }
    const bool from_start = s.left.is_start() && s.left_closed;
    if (!s.is_point && from_start && s.right.is_end) {
      os_ << "INVAR " << text_of(s.body) << ";\n";
      return;
    }
    declare_global_clock();
    const std::string when = s.is_point ? "global_clock = " + number_text(s.left.offset)
                                        : inside("global_clock", s, !from_start);
    if (s.is_point || !from_start) write_global_event(when);
    write_condition_or_effect(s, when);
  }

  void write_global_event(const std::string& when) {
    const std::string flag = "global_" + std::to_string(global_flags_.size());
    os_ << "VAR " << flag << " : boolean;\nINIT !" << flag << ";\n";
    os_ << "TRANS (" << when << ") -> next(" << flag << ");\n";
    trans(flag + " != next(" + flag + ")", when);
    changes_.push_back(flag + " != next(" + flag + ")");
    global_flags_.push_back(flag);
  }

  // --- what holds for all of them ---

  // A fluent changes only by one of its effects, and by one at a time; each step changes something.
  void write_frame() {
    for (const auto& [name, writers] : writers_) {
      std::string changes = name;
      changes.append(" != next(").append(name).append(")");
      trans(changes, joined(writers, " | "));
      for (std::size_t i = 0; i < writers.size(); ++i) {
        std::string others;
        for (std::size_t k = 0; k < writers.size(); ++k) {
          if (k == i) continue;
          if (!others.empty()) others += " & ";
          others += "!(" + writers[k] + ")";
        }
        if (!others.empty()) trans(writers[i], others);
      }
    }
    if (!changes_.empty()) os_ << "TRANS " << joined(changes_, " | ") << ";\n";
  }

  void write_goal() {
    if (goals_.empty()) throw InternalError("The problem does not specify a goal");
    std::string text;
    const auto add = [&text](const std::string& part) {
      if (!text.empty()) text += " & ";
      text += part;
    };
    for (const std::string& flag : running_) add("!" + flag);
    for (const std::string& goal : goals_) add("(" + goal + ")");
    for (const std::string& flag : global_flags_) add(flag);
    os_ << "INVARSPEC !(" << text << ");\n";
  }

  const model::ProblemInstance& problem_;
  const InstanceNumbers& numbers_;
  ClockedStatements statements_;
  ltl::LtlExpressionFactory factory_;
  ltl::AnmlToSmv::Variables variables_;
  std::unordered_map<model::Instance, LtlExpression> instances_;
  AnmlToPelmo walk_;
  model::CheckContainsWalker has_duration_;
  std::ostringstream os_;
  bool has_global_clock_ = false;
  Texts changes_;
  Texts running_;
  Texts goals_;
  Texts global_flags_;
  std::map<std::string, Writers> writers_;  // by name of the fluent
};

}  // namespace

PelmoEncoder::PelmoEncoder(Environment& env, const model::ProblemInstance& problem)
    : EnvObject(env),
      problem_(has_clocked_form(problem)
                   ? problem
                   : throw InternalError(
                         "Impossible to encode in Pelmo, problem assumptions do not hold")),
      numbers_(problem) {}

PelmoEncoder::~PelmoEncoder() = default;

void PelmoEncoder::print(std::ostream& os) const {
  os << ModelWriter(environment(), problem_, numbers_).text();
}

}  // namespace kelvo
