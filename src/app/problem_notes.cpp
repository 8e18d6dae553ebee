#include "app/problem_notes.h"

#include <sstream>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/source_map.h"
#include "model/timed_effect.h"
#include "model/user_type.h"
#include "planners/task/unset_fluents.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_bounds.h"
#include "transformers/flattener.h"

namespace kelvo {

using model::Expression;

namespace {

bool is_empty(const model::ProblemInstanceImpl& problem) {
  return problem.actions().empty() && problem.fluents().empty() && problem.constants().empty() &&
         problem.instances().empty() && problem.user_types().empty() &&
         problem.expressions().empty();
}

bool has_goal(const model::ProblemInstance& problem) {
  const model::ExpressionFactory& ef = problem->environment().expression_factory();
  for (const Expression e : problem->expressions()) {
    if (!is_effect(ef, e)) return true;
  }
  return false;
}

/// What the statements of one action say of its duration.
class Durations {
 public:
  Durations(Environment& env, const model::Action& action, std::string owner)
      : env_(env), ef_(env.expression_factory()), owner_(std::move(owner)) {
    for (const Expression e : action->expressions()) add(e);
  }

  /// Empty when nothing is wrong.
  std::string note() const {
    if (bounds_.is_empty() || is_hole()) {
      return "No duration of action '" + owner_ + "' is possible: " + list(statements_);
    }
    if (fixed_.size() > 1) {
      return "Action '" + owner_ + "' is given two durations: " + list(fixed_);
    }
    return "";
  }

 private:
  void add(Expression e) {
    if (ef_.is_temporal_expression(e)) return;
    if (ef_.is_in_assign(e)) {
      add_choice(e);
    } else if (ef_.is_assign(e) && !ef_.is_duration_anchor(e->child(0))) {
      return;  // an effect without a time, which the planners refuse
    } else if (mentions_duration(env_, e) && fold(bounds_, e)) {
      statements_.push_back(e);
      if (ef_.is_assign(e) || ef_.is_equals(e)) fixed_.push_back(e);
    }
  }

  // The environment's choice lies between two bounds.
  void add_choice(Expression e) {
    const Expression anchor = ef_.make_duration_anchor();
    const Expression above = ef_.make_ge(anchor, e->child(1)->child(0));
    const Expression below = ef_.make_le(anchor, e->child(1)->child(1));
    DurationBounds choice;
    if (!fold(choice, above) || !fold(choice, below)) return;
    if (choice.is_empty()) {
      throw InvalidParameterError()
          << "Action '" << owner_ << "' has no duration to choose from: " << list({e});
    }
    statements_.push_back(e);
    fixed_.push_back(e);
    fold(bounds_, above);
    fold(bounds_, below);
  }

  // Whether the statement is a bound, or some of them. What is none can only leave fewer durations,
  // and what can't be computed is the planners' to refuse.
  bool fold(DurationBounds& bounds, Expression e) const {
    DurationBounds tried = bounds;
    try {
      tried.fold(env_, e);
    } catch (const InternalError&) {
      return false;
    }
    bounds = tried;
    return true;
  }

  // One value that both bounds leave out.
  bool is_hole() const {
    return bounds_.upper && (bounds_.lower_open || bounds_.upper_open) &&
           *bounds_.upper == bounds_.lower;
  }

  std::string list(const std::vector<Expression>& statements) const {
    std::ostringstream text;
    for (const Expression e : statements) {
      if (e != statements.front()) text << ", ";
      text << model::print_expression(e);
      const auto place = env_.source_map().find(owner_, e);
      if (!place) continue;
      text << " (" << (place->file.empty() ? "line " : place->file + ":") << place->line << ")";
    }
    return text.str();
  }

  Environment& env_;
  model::ExpressionFactory& ef_;
  std::string owner_;
  DurationBounds bounds_;
  std::vector<Expression> statements_;
  std::vector<Expression> fixed_;  // `duration := e`, `duration == e` and `duration :in [l, u]`
};

void note_durations(Environment& env, const model::TypeScope& top,
                    std::vector<std::string>& notes) {
  struct Open {
    const model::TypeScope* scope;
    std::string owner;
  };
  std::vector<Open> todo{{&top, ""}};
  while (!todo.empty()) {
    const Open next = todo.back();
    todo.pop_back();
    for (const auto& [name, action] : next.scope->actions()) {
      const std::string note = Durations(env, action, next.owner + name).note();
      if (!note.empty()) notes.push_back(note);
    }
    for (const auto& [name, type] : next.scope->user_types()) {
      todo.push_back({type.get(), name + "."});
    }
  }
}

}  // namespace

std::vector<std::string> problem_notes(const model::ProblemInstance& problem) {
  std::vector<std::string> notes;
  if (is_empty(*problem)) {
    notes.push_back("The input is empty");
  } else if (!has_goal(problem)) {
    notes.push_back("The problem has no goal");
  }
  note_durations(problem->environment(), *problem, notes);
  return notes;
}

std::string missing_values_note(const model::ProblemInstance& problem) {
  if (problem->is_flat()) return unset_fluents_note(problem);
  Flattener flattener(problem);
  return unset_fluents_note(flattener.output_problem());
}

}  // namespace kelvo
