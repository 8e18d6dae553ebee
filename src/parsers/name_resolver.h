#pragma once

#include <vector>

#include "model/expression_substituter.h"
#include "model/problem_instance.h"
#include "model/source_map.h"
#include "parsers/scoped_table.h"
#include "shell/env_object.h"

namespace kelvo {

/// Replaces unresolved symbols by a table, whose keys must be such, and finds the members that
/// scoped names (`a.b`) mean. A symbol that the table does not hold stays.
class NameResolverExpressionSubstituter : public ExpressionSubstituter {
 public:
  using ExpressionSubstituter::ExpressionSubstituter;

  void do_memoize_value(model::Expression e, model::Expression value) const override {
    if (model::kind_of(value) == model::ExpressionOperatorKind::UNRESOLVED_SYMBOL) {
      ExpressionSubstituter::do_memoize_value(e, value);
    } else {
      ExpressionIdentity::do_memoize_value(e, value);
    }
  }

 protected:
  model::Expression walk_unresolved_symbol(model::Expression e) const override { return e; }
  model::Expression walk_dot(model::Expression e) const override;
};

/// Turns a problem as it was read, with names, into one without unresolved names: the last stage
/// of the readers.
///
/// Declarations get their types first; then constants get their values, and expressions are
/// resolved and type-checked. Statements of the form `start(l) < start(m)` become orderings of
/// labels. User types of the raw problem are resolved in place.
class NameResolver : public EnvObject {
 public:
  explicit NameResolver(Environment& env);

  /// Throws what the names, the types and the values of constants give cause to:
  /// `UnresolvedSymbolError`, `RedefinitionError`, `TypeCheckingError`, `InvalidParameterError`,
  /// `InternalError`.
  ///
  /// `lines` are those of the statements of `problem`, and become those of the result.
  model::ProblemInstance operator()(const model::ProblemInstance& problem,
                                    model::StatementLines& lines);
  model::ProblemInstance operator()(const model::ProblemInstance& problem);

 private:
  using Symbols = ScopedTable<model::Expression, model::Expression>;
  struct Statements;

  void enter(Symbols& symbols, const std::string& name, model::Expression e) const;
  void enter_nested_constants(Symbols& symbols, const model::TypeScope& scope) const;
  void enter_instances(Symbols& symbols, const model::ProblemInstanceImpl& problem) const;
  void enter_fluents(Symbols& symbols, const model::TypeScope::FluentMap& fluents) const;
  void enter_constants(Symbols& symbols, const model::TypeScope::ConstantMap& constants) const;

  Statements classify(const model::ProblemInstanceImpl& problem,
                      const model::ExpressionSet& statements) const;
  model::Constant with_values(const Statements& statements, const model::Constant& constant) const;
  void give_values(Statements& statements, model::UserTypeImpl& type) const;

  model::Action resolve(Symbols& symbols, const model::Action& action,
                        model::StatementLines& lines);
  void resolve_actions(Symbols& symbols, model::UserTypeImpl& type, model::StatementLines& lines);
  void check_statement(model::Expression e);
  void check_arguments(model::Expression e);

  std::vector<bool> has_arguments_;  // by node: found good by `check_arguments`
};

}  // namespace kelvo
