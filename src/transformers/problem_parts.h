#pragma once

#include <vector>

#include "model/expression_scope.h"
#include "model/expression_substituter.h"
#include "model/parametric_object.h"
#include "model/problem_instance.h"

namespace kelvo {

/// The contents of a problem under construction. The `add` functions throw `RedefinitionError`
/// when a thing of the same kind has the name already; `make` does so for names across kinds.
struct ProblemParts {
  model::TypeScope::ActionMap actions;
  model::TypeScope::FluentMap fluents;
  model::TypeScope::ConstantMap constants;
  model::ProblemInstanceImpl::InstanceMap instances;
  model::TypeScope::UserTypeMap user_types;
  model::ExpressionSet expressions;
  model::ProblemInstanceImpl::LabelsOrderings orderings;

  void add(const model::Action& action);
  void add(const model::Fluent& fluent);
  void add(const model::Constant& constant);
  void add(const model::Instance& instance);
  void add(const model::UserType& user_type);
  void add_ordering(model::Expression first, model::Expression second) {
    orderings.emplace(first, second);
  }

  /// Takes over all of the named kinds from `problem`.
  void take_fluents(const model::ProblemInstance& problem);
  void take_constants(const model::ProblemInstance& problem);
  void take_instances(const model::ProblemInstance& problem);
  void take_user_types(const model::ProblemInstance& problem);
  void take_expressions(const model::ProblemInstance& problem);
  void take_orderings(const model::ProblemInstance& problem);

  model::ProblemInstance make(Environment& env) const;
};

/// Relates references of old objects to references of new ones.
using Substitution = ExpressionSubstituter::Substitution;

/// New parameters of the same names and types; `substitution` gets their references, old to new.
model::Parameters copy_parameters(Environment& env, const model::Parameters& parameters,
                                  Substitution& substitution);

/// The statements that `e` stands for: one for each child of a conjunction that begins with an
/// assignment, each under the time of `e` if it has one; else `e` itself.
std::vector<model::Expression> split_assignments(Environment& env, model::Expression e);

/// Throws `InternalError` with `message` when some user type of the problem is structured.
void require_flat(const model::ProblemInstance& problem, const char* message);

}  // namespace kelvo
