#pragma once

#include <map>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "model/timed_effect.h"

namespace kelvo {

class Environment;

/// A ground action seen as a single step: all its conditions at once, all its effects at once.
struct ClassicalAction {
  /// Throws `InternalError` on parameters, on a timed statement that mentions the duration, and on
  /// two effects on one fluent that are neither one at the start and one at the end.
  ClassicalAction(Environment& env, const model::Action& action);

  model::Action action;
  /// The conjunction of all conditions: `true` for none, the condition itself for one.
  model::Expression condition;
  /// `condition` in disjunctive normal form; empty when there is no condition.
  std::vector<model::ExpressionSet> dnf;
  /// Each condition without its time.
  std::vector<model::Expression> conditions;
  /// The leaves of the conditions below conjunctions and disjunctions.
  std::vector<model::Expression> condition_atoms;
  /// What an effect makes true: fluents and negations of fluents. An assignment to a boolean
  /// fluent that is no constant may make either true.
  std::vector<model::Expression> effect_literals;
  /// The same with an equality for each assignment to a fluent that is not boolean.
  model::ExpressionSet effect_literal_set;
  std::map<model::Expression, Effect, model::ExpressionLess> effects;

 private:
  void add_effect(Environment& env, model::Expression statement, Effect effect);
  void add_condition(const model::ExpressionFactory& ef, model::Expression condition);
};

/// `e` in negation normal form, constants folded.
model::Expression normalise(Environment& env, model::Expression e);

}  // namespace kelvo
