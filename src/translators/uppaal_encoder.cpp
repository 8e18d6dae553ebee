#include "translators/uppaal_encoder.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_constant_simplifier.h"
#include "model/expression_factory.h"
#include "model/expression_substituter.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;
using model::print_expression;

namespace {

using Lines = std::vector<std::string>;

std::string text_of(Expression e) {
  std::ostringstream os;
  os << print_expression(e);
  return os.str();
}

/// A location of a chain with the edges that leave it, as their texts between the braces.
struct Location {
  std::string name;
  Lines edges;
};

/// The lists from which the automaton is written.
struct Automaton {
  std::vector<Location> decisions;
  std::vector<Location> effects;
  std::vector<Lines> durative;  // by number of the location
  Lines goals;
  Lines global_effect_flags;
  Lines global_event_flags;
  Lines running_flags;
  Lines action_clocks;
  Lines declarations;
};

ExpressionSubstituter::Substitution instance_replacements(Environment& env,
                                                          const model::ProblemInstance& problem,
                                                          const InstanceNumbers& numbers) {
  model::ExpressionFactory& ef = env.expression_factory();
  ExpressionSubstituter::Substitution replacements;
  for (const auto& [name, instance] : problem->instances()) {
    const Expression reference = ef.make_instance_reference(instance);
    replacements[reference] = ef.make_integer_constant(integer(numbers.number(instance)));
  }
  return replacements;
}

/// What differs between the events of the problem and those of an action.
struct EventOwner {
  std::string prefix;  // of flags and locations
  std::string clock;
  std::string running;  // the flag that must hold; empty for the problem
};

class AutomatonBuilder : public EnvObject {
 public:
  AutomatonBuilder(Environment& env, const model::ProblemInstance& problem,
                   const InstanceNumbers& numbers)
      : EnvObject(env),
        problem_(problem),
        numbers_(numbers),
        statements_(env, instance_replacements(env, problem, numbers),
                    {"The interval can't be evaluated to an integer: "}),
        has_duration_(env, model::ExpressionOperatorKind::DURATION),
        has_quotient_(env, model::ExpressionOperatorKind::DIV),
        has_rational_(env, model::ExpressionOperatorKind::RATIONAL_CONSTANT),
        in_integers_(env) {}

  Automaton build() {
    problem_statements_ = integer_statements(problem_->expressions());
    for (const auto& [name, action] : problem_->actions()) {
      action_statements_.push_back(integer_statements(action->expressions()));
    }
    collect_writers();
    add_problem();
    std::size_t position = 0;
    for (const auto& [name, action] : problem_->actions()) {
      add_action(name, action_statements_[position++]);
    }
    automaton_.effects.push_back({"e_final", {}});
    return std::move(automaton_);
  }

 private:
  /// What an end of an action asks and does.
  struct ActionEnd {
    std::string guard;
    std::string assignments;
    Lines writers;

    void add_writers(const Lines& flags) {
      for (const std::string& flag : flags) {
        if (std::ranges::find(writers, flag) == writers.end()) writers.push_back(flag);
      }
    }
  };

  // The statements with their rational constants as integers: an automaton has no others. A
  // quotient would be cut off then, so that one with rationals is refused.
  std::vector<ClockedStatement> integer_statements(const model::ExpressionSet& expressions) const {
    std::vector<ClockedStatement> statements = statements_.of(expressions);
    for (ClockedStatement& s : statements) {
      if (has_quotient_(s.body) && has_rational_(s.body)) {
        throw InternalError() << "The following expression has a quotient of rationals: "
                              << print_expression(s.source);
      }
      s.body = in_integers_(s.body);
      if (s.is_assignment) s.value = s.body->child(1);
    }
    return statements;
  }

  // Whether the statement is an event of its own, rather than part of the start, of the end, or of
  // the declarations. Events are numbered in the order of the statements.
  static bool is_event(const ClockedStatement& s) {
    if (!s.is_timed || s.left.is_end) return false;
    return !s.left.is_start();
  }

  // The flags of all happenings that assign a fluent, in the order of the statements.
  void collect_writers() {
    std::size_t number = 0;
    for (const ClockedStatement& s : problem_statements_) {
      if (!is_event(s)) continue;
      if (s.is_assignment) note_writer(s, "x_global_event_" + std::to_string(number));
      ++number;
    }
    std::size_t position = 0;
    for (const auto& [name, action] : problem_->actions()) {
      number = 0;
      for (const ClockedStatement& s : action_statements_[position++]) {
        const bool at_end = s.is_timed && s.left.is_end;
        const std::string event = is_event(s) ? "event_" + std::to_string(number++)
                                  : at_end    ? "end"
                                              : "start";
        if (s.is_assignment) {
          std::string clock("x_");
          clock.append(name).append("_").append(event);
          note_writer(s, clock);
        }
      }
    }
  }

  void note_writer(const ClockedStatement& s, const std::string& flag) {
    Lines& flags = writers_[s.fluent->name()];
    if (std::ranges::find(flags, flag) == flags.end()) flags.push_back(flag);
  }

  // --- parts of edges ---

  std::string bound_text(const rational& offset, const ClockedStatement& s) const {
    if (!is_integral(offset)) {
      throw InternalError() << "The interval of the following expression contains rationals: "
                            << print_expression(s.source)
                            << "\nEncountered a rational constant that cannot be simplified to an "
                               "integer: "
                            << to_text(offset);
    }
    if (offset < 0) {
      throw InternalError() << "The timing of the following expression is negative: "
                            << print_expression(s.source);
    }
    return numerator(offset).str();
  }

  static void require_point(const ClockedStatement& s) {
    if (s.is_point || !s.is_assignment) return;
    throw InternalError() << "Durative effects are not permitted: " << print_expression(s.source);
  }

  // Keeps the value inside the range of its fluent: an effect that would leave it can't take place.
  static std::string bounds_guard(const ClockedStatement& s) {
    if (!s.fluent->type()->is_integer()) return "";
    const model::IntegerTypeBase& type = model::as_integer_type(s.fluent->type());
    const std::string value = text_of(s.value);
    return " and (" + value + ") >= " + type.lower_bound().str() + " and (" + value +
           ") <= " + type.upper_bound().str();
  }

  static std::string no_pending(const Lines& flags) {
    std::string guard;
    for (const std::string& flag : flags) guard += " and " + flag + " == false";
    return guard;
  }

  static std::string assignment_text(const ClockedStatement& s) {
    return s.fluent->name() + " := " + text_of(s.value);
  }

  std::string declaration(const ClockedStatement& s) const {
    const auto known = problem_->fluents().find(s.fluent->name());
    if (known == problem_->fluents().end() || known->second != s.fluent) {
      throw InternalError() << "The following fluent has not been declared: " << s.fluent->name();
    }
    require_finite_type(s.fluent, numbers_);
    const model::Type type = s.fluent->type();
    std::ostringstream os;
    if (type->is_boolean()) {
      os << "bool ";
    } else if (type->is_integer()) {
      const model::IntegerTypeBase& integers = model::as_integer_type(type);
      os << "int[" << integers.lower_bound() << "," << integers.upper_bound() << "] ";
    } else {
      const auto* names = numbers_.names(model::as_user_type(type)->name());
      os << "int[0," << names->size() - 1 << "] ";
    }
    os << s.fluent->name() << " = " << text_of(s.value) << ";";
    return os.str();
  }

  // --- events ---

  // An event that takes place when the owner's clock is at the left end of the statement, with its
  // condition or its effect.
  void add_event(const EventOwner& owner, const ClockedStatement& s, std::size_t number) {
    const std::string event = owner.prefix + "_event_" + std::to_string(number);
    const std::string at = bound_text(s.left.offset, s);
    std::string guard = "guard ";
    Location decision{"d_" + event, {}};
    if (!owner.running.empty()) {
      decision.edges.push_back("guard " + owner.running + " == false;");
      guard += owner.running + " == true and ";
    }
    decision.edges.push_back("guard " + owner.clock + " < " + at + ";");
    decision.edges.push_back("guard " + owner.clock + " > " + at + ";");
    guard += owner.clock + " == " + at;
    std::string flags = event + " := true, do_something := true;";
    if (s.is_assignment) {
      guard += no_pending(writers_[s.fluent->name()]) + bounds_guard(s);
      flags = "x_" + event + " := true, " + flags;
      automaton_.effects.push_back({"e_" + event,
                                    {"guard x_" + event + " == false;",
                                     "guard x_" + event + " == true; assign " + assignment_text(s) +
                                         ", x_" + event + " := false;"}});
    } else if (s.is_point || s.left_closed) {
      guard += " and (" + text_of(s.body) + ")";
    }
    decision.edges.push_back(guard + "; assign " + flags);
    automaton_.decisions.push_back(std::move(decision));
  }

  // The condition holds, or its interval has not begun, or it is over.
  void add_durative_group(const EventOwner& owner, const ClockedStatement& s) {
    Lines edges{"guard " + text_of(s.body) + ";"};
    if (!owner.running.empty()) edges.push_back("guard " + owner.running + " == false;");
    if (!s.left.is_start()) {
      edges.push_back("guard " + owner.clock + " < " + bound_text(s.left.offset, s) + ";");
    }
    if (!s.right.is_end) {
      edges.push_back("guard " + owner.clock + " >= " + bound_text(s.right.offset, s) + ";");
    }
    automaton_.durative.push_back(std::move(edges));
  }

  // --- the problem ---

  void add_problem() {
    const EventOwner owner{"global", "global_clock", ""};
    std::size_t number = 0;
    for (const ClockedStatement& s : problem_statements_) {
      require_point(s);
      if (!s.is_timed || (s.is_point && s.left.is_start())) {
        if (!s.is_assignment) {
          throw InternalError() << "The following expression is a global start condition: "
                                << print_expression(s.source);
        }
        automaton_.declarations.push_back(declaration(s));
      } else if (s.left.is_end) {
        if (!s.is_assignment) automaton_.goals.push_back(text_of(s.body));
      } else {
        if (is_event(s)) {
          const std::string flag = "global_event_" + std::to_string(number);
          automaton_.global_event_flags.push_back(flag);
          if (s.is_assignment) automaton_.global_effect_flags.push_back("x_" + flag);
          add_event(owner, s, number++);
        }
        if (!s.is_point) add_durative_group(owner, s);
      }
    }
    Lines& lines = automaton_.declarations;
    lines.insert(lines.end(), {"", "clock global_clock;"});
    for (const std::string& flag : automaton_.global_effect_flags) {
      lines.push_back("bool " + flag + " = false;");
    }
    for (const std::string& flag : automaton_.global_event_flags) {
      lines.push_back("bool " + flag + " = false;");
    }
  }

  // --- actions ---

  void add_action(const std::string& name, const std::vector<ClockedStatement>& statements) {
    const EventOwner owner{name, name + "_clock", name + "_running"};
    automaton_.action_clocks.push_back(owner.clock);
    automaton_.running_flags.push_back(owner.running);
    Lines& lines = automaton_.declarations;
    lines.insert(lines.end(),
                 {"", "clock " + owner.clock + ";", "bool " + owner.running + " = false;",
                  "bool x_" + name + "_start = false;", "bool x_" + name + "_end = false;"});
    // The chain has the start before the events, though they all are known only at the end.
    const std::size_t start_decision = automaton_.decisions.size();
    automaton_.decisions.push_back({"d_" + name + "_start", {}});
    const std::size_t start_effect = automaton_.effects.size();
    automaton_.effects.push_back({"e_" + name + "_start", {}});

    ActionEnd start;
    ActionEnd end;
    Lines end_constraints;
    std::size_t number = 0;
    for (const ClockedStatement& s : statements) {
      require_point(s);
      if (!s.is_timed && has_duration_(s.body)) {
        end_constraints.push_back(duration_constraint(s.body, owner.clock));
      } else if (!s.is_timed || (s.is_point && s.left.is_start())) {
        add_to(start, s);
      } else if (s.left.is_end) {
        add_to(end, s);
      } else {
        if (is_event(s)) {
          const std::string flag = name + "_event_" + std::to_string(number);
          lines.push_back("bool " + flag + " = false;");
          if (s.is_assignment) lines.push_back("bool x_" + flag + " = false;");
          add_event(owner, s, number++);
        } else if (s.left_closed) {
          start.guard += " and (" + text_of(s.body) + ")";
        }
        if (!s.is_point) add_durative_group(owner, s);
      }
    }
    complete_start(name, start, automaton_.decisions[start_decision],
                   automaton_.effects[start_effect]);
    complete_end(name, end, end_constraints, number);
  }

  std::string duration_constraint(Expression e, const std::string& clock) const {
    model::ExpressionFactory& ef = environment().expression_factory();
    model::ModelFactory& mf = environment().model_factory();
    const model::Fluent fluent = mf.make_fluent(clock, mf.make_rational_type());
    const ExpressionSubstituter::Substitution replacement = {
        {ef.make_duration_anchor(), ef.make_fluent_reference(fluent)}};
    const ExpressionSubstituter substitute(environment(), replacement);
    if (!ef.is_assign(e)) return text_of(substitute(e));
    const Expression left = substitute(e->child(0));
    const Expression right = substitute(e->child(1));
    return text_of(ef.make_equals(left, right));
  }

  void add_to(ActionEnd& end, const ClockedStatement& s) {
    if (!s.is_assignment) {
      end.guard += " and (" + text_of(s.body) + ")";
      return;
    }
    end.guard += bounds_guard(s);
    end.assignments += ", " + assignment_text(s);
    end.add_writers(writers_[s.fluent->name()]);
  }

  static void complete_start(const std::string& name, const ActionEnd& start, Location& decision,
                             Location& effect) {
    const std::string flag = "x_" + name + "_start";
    decision.edges = {"assign " + flag + " := false;", "guard " + name + "_running == false" +
                                                           start.guard + no_pending(start.writers) +
                                                           "; assign " + flag +
                                                           " := true, do_something := true;"};
    effect.edges = {"guard " + flag + " == false;",
                    "guard " + flag + " == true; assign " + name + "_clock := 0, " + name +
                        "_running := true, " + flag + " := false" + start.assignments + ";"};
  }

  void complete_end(const std::string& name, const ActionEnd& end, const Lines& constraints,
                    std::size_t num_events) {
    const std::string flag = "x_" + name + "_end";
    std::string guard = "guard " + name + "_running == true" + end.guard + no_pending(end.writers);
    for (const std::string& constraint : constraints) guard += " and (" + constraint + ")";
    for (std::size_t i = 0; i < num_events; ++i) {
      guard += " and " + name + "_event_" + std::to_string(i) + " == true";
    }
    automaton_.decisions.push_back(
        {"d_" + name + "_end",
         {"assign " + flag + " := false;",
          guard + "; assign " + flag + " := true, do_something := true;"}});
    automaton_.effects.push_back(
        {"e_" + name + "_end",
         {"guard " + flag + " == false;", "guard " + flag + " == true; assign " + name +
                                              "_running := false, " + flag + " := false" +
                                              end.assignments + ";"}});
  }

  const model::ProblemInstance& problem_;
  const InstanceNumbers& numbers_;
  ClockedStatements statements_;
  model::CheckContainsWalker has_duration_;
  model::CheckContainsWalker has_quotient_;
  model::CheckContainsWalker has_rational_;
  model::ExpressionConstantSimplifier in_integers_;
  std::vector<ClockedStatement> problem_statements_;
  std::vector<std::vector<ClockedStatement>> action_statements_;  // in the order of the names
  std::map<std::string, Lines> writers_;                          // by fluent
  Automaton automaton_;
};

// --- the text ---

void write_states(std::ostream& os, const Automaton& automaton) {
  for (const Location& location : automaton.decisions) os << ", " << location.name;
  for (const Location& location : automaton.effects) os << ", " << location.name;
  for (std::size_t k = 0; k < automaton.durative.size(); ++k) os << ", l_durative_" << k;
  os << ";\n";
}

void write_chain(std::ostream& os, const std::vector<Location>& chain, const std::string& behind) {
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const std::string& next = i + 1 < chain.size() ? chain[i + 1].name : behind;
    for (const std::string& edge : chain[i].edges) {
      os << chain[i].name << " -> " << next << " { " << edge << " },\n";
    }
  }
}

void write_goal(std::ostream& os, const Automaton& automaton) {
  if (automaton.goals.empty()) throw InternalError("No goal is specified");
  os << "l_delta -> l_goal { guard ";
  const char* separator = "";
  for (const std::string& goal : automaton.goals) {
    os << separator << "(" << goal << ")";
    separator = " and ";
  }
  for (const std::string& flag : automaton.global_event_flags) os << " and " << flag << " == true";
  for (const std::string& flag : automaton.running_flags) os << " and " << flag << " == false";
  os << "; },\n";
}

// From the end of the effects through the durative checks back to the waiting location.
void write_end_of_round(std::ostream& os, const Automaton& automaton) {
  const std::vector<Lines>& groups = automaton.durative;
  os << "e_final -> " << (groups.empty() ? "l_delta" : "l_durative_0")
     << " { guard do_something == true; assign do_something := false, wait_something := 0; }"
     << (groups.empty() ? ";\n" : ",\n");
  for (std::size_t k = 0; k < groups.size(); ++k) {
    const bool is_last_group = k + 1 == groups.size();
    const std::string next = is_last_group ? "l_delta" : "l_durative_" + std::to_string(k + 1);
    for (const std::string& edge : groups[k]) {
      const bool is_last = is_last_group && &edge == &groups[k].back();
      os << "l_durative_" << k << " -> " << next << " { " << edge << " }" << (is_last ? ";" : ",")
         << '\n';
    }
  }
}

void write_automaton(std::ostream& os, const Automaton& automaton) {
  os << "process MODEL() {\n";
  for (const std::string& line : automaton.declarations) os << line << '\n';
  os << "\nbool do_something = false;\nclock wait_something;\n\n";
  os << "state l_0, l_delta, l_goal";
  write_states(os, automaton);
  os << "\nurgent l_goal";
  write_states(os, automaton);
  os << "\ninit l_0;\n\ntrans\n";
  os << "l_0 -> l_delta { guard wait_something > 0; assign global_clock := 0";
  for (const std::string& clock : automaton.action_clocks) os << ", " << clock << " := 0";
  os << "; },\n";
  write_goal(os, automaton);
  const std::string& first_effect = automaton.effects.front().name;
  os << "l_delta -> "
     << (automaton.decisions.empty() ? first_effect : automaton.decisions.front().name)
     << " { guard wait_something > 0; },\n";
  write_chain(os, automaton.decisions, first_effect);
  write_chain(os, automaton.effects, "");
  write_end_of_round(os, automaton);
  os << "}\nsystem MODEL;\n";
}

}  // namespace

UppaalEncoder::UppaalEncoder(Environment& env, const model::ProblemInstance& problem)
    : EnvObject(env),
      problem_(has_clocked_form(problem)
                   ? problem
                   : throw InternalError(
                         "Impossible to encode in UPPAAL, problem assumptions do not hold")),
      numbers_(problem) {}

UppaalEncoder::~UppaalEncoder() = default;

void UppaalEncoder::print(std::ostream& os) const {
  write_automaton(os, AutomatonBuilder(environment(), problem_, numbers_).build());
}

void UppaalEncoder::print_query(std::ostream& os) const {
  os << "E<> MODEL.l_goal\n";
}

}  // namespace kelvo
