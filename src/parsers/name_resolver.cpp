#include "parsers/name_resolver.h"

#include <algorithm>
#include <map>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "model/expression_factory.h"
#include "model/expression_type_checker.h"
#include "model/model_factory.h"
#include "parsers/constant_initialisers.h"
#include "parsers/type_resolver.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;
using model::print_expression;

namespace {

// Statements share little, and a small memo is a fast one.
constexpr std::size_t kStatementsForOneMemo = 256;

const std::string& name_of_symbol(Expression e) {
  return model::payload_of<model::IdentifierPayload>(e).name();
}

InvalidParameterError invalid_scoping(Expression e, const char* what) {
  return InvalidParameterError() << "Invalid expression: " << print_expression(e) << ". Invalid "
                                 << what;
}

// The type of the left side of a scoped name.
model::Type type_of_parent(const model::ExpressionFactory& ef, Expression e, Expression parent) {
  if (ef.is_scoping(parent)) parent = parent->child(1);
  if (ef.is_unresolved_symbol(parent)) {
    throw UnresolvedSymbolError(name_of_symbol(parent)) << " in expression " << print_expression(e);
  }
  if (ef.is_parameter_reference(parent)) return ef.get_parameter_from_reference(parent)->type();
  if (ef.is_instance_reference(parent)) return ef.get_instance_from_reference(parent)->type();
  const bool is_application = ef.is_functional_apply(parent);
  if (is_application) parent = ef.get_reference_from_functional_apply(parent);
  if (ef.is_fluent_reference(parent)) return ef.get_fluent_from_reference(parent)->type();
  if (ef.is_constant_reference(parent)) return ef.get_constant_from_reference(parent)->type();
  if (is_application) throw InternalError("Invalid reference in functional apply!");
  throw invalid_scoping(e, "left-hand side of scoping");
}

// A member may already be replaced by something else of its name that the table holds.
std::string name_of_member(const model::ExpressionFactory& ef, Expression e, Expression member) {
  if (ef.is_unresolved_symbol(member)) return name_of_symbol(member);
  if (ef.is_fluent_reference(member)) return ef.get_fluent_from_reference(member)->name();
  if (ef.is_constant_reference(member)) return ef.get_constant_from_reference(member)->name();
  throw invalid_scoping(e, "right-hand side of scoping");
}

// Whether some scoped name occurs in the expressions.
bool contains_scoping(const model::ExpressionFactory& ef, const model::ExpressionSet& expressions) {
  std::vector<bool> seen;
  std::vector<Expression> todo;
  const auto visit = [&](Expression e) {
    if (e->id() >= seen.size()) seen.resize(std::max(e->id() + 1, 2 * seen.size()));
    if (seen[e->id()]) return;
    seen[e->id()] = true;
    todo.push_back(e);
  };
  for (const Expression root : expressions) {
    visit(root);
    while (!todo.empty()) {
      const Expression e = todo.back();
      todo.pop_back();
      if (ef.is_scoping(e)) return true;
      if (ef.is_functional_apply(e)) visit(ef.get_reference_from_functional_apply(e));
      for (const Expression child : e->children()) visit(child);
    }
  }
  return false;
}

// Whether the assignment in a statement has `f` or `f(...)` on the left, with a constant's name for
// `f`: then, and only then, it initialises a constant, unless there are scoped names.
bool names_constant(const model::ExpressionFactory& ef,
                    const std::unordered_map<Expression, Expression>& symbols, Expression e) {
  const Expression assign = ef.is_temporal_expression(e) ? e->child(1) : e;
  Expression left = assign->child(0);
  if (ef.is_functional_apply(left)) left = ef.get_reference_from_functional_apply(left);
  const auto found = symbols.find(left);
  return found != symbols.end() && ef.is_constant_reference(found->second);
}

// The label of a labelled containment statement, or null.
const std::string* label_of(const model::ExpressionFactory& ef, Expression e) {
  if (!ef.is_temporal_expression(e) || !ef.is_contains(e->child(0))) return nullptr;
  const std::string& label = ef.get_label_from_contains(e->child(0));
  return label.empty() ? nullptr : &label;
}

// Turns the lines of raw statements of one owner into those of the resolved ones, in place. What is
// not resolved loses its line.
class LineResolver {
 public:
  LineResolver(model::StatementLines& lines, const std::string& owner) {
    const auto found = lines.find(owner);
    if (found == lines.end()) return;
    lines_ = &found->second;
    model::sort_lines(*lines_);
  }
  LineResolver(const LineResolver&) = delete;
  LineResolver& operator=(const LineResolver&) = delete;
  ~LineResolver() {
    if (lines_ != nullptr) lines_->resize(num_resolved_);
  }

  /// Raw statements come in the order of their numbers.
  void resolve(Expression raw, Expression resolved) {
    if (lines_ == nullptr) return;
    while (next_ < lines_->size() && (*lines_)[next_].statement->id() < raw->id()) ++next_;
    if (next_ == lines_->size() || (*lines_)[next_].statement != raw) return;
    (*lines_)[num_resolved_++] = {resolved, (*lines_)[next_++].line};
  }

 private:
  std::vector<model::StatementLine>* lines_ = nullptr;
  std::size_t next_ = 0;
  std::size_t num_resolved_ = 0;  // at the front of the lines; never beyond `next_`
};

}  // namespace

Expression NameResolverExpressionSubstituter::walk_dot(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression parent = memoized_value(e->child(0));
  const model::Type type = type_of_parent(ef, e, parent);
  const std::string name = name_of_member(ef, e, memoized_value(e->child(1)));
  if (!type->is_user_defined()) throw invalid_scoping(e, "type of left-hand side");
  const model::UserType scope = model::as_user_type(type);
  if (const auto fluent = scope->fluents().find(name); fluent != scope->fluents().end()) {
    const Expression reference = ef.make_fluent_reference(fluent->second);
    return ef.make_scoping(parent, reference);
  }
  if (const auto constant = scope->constants().find(name); constant != scope->constants().end()) {
    const Expression reference = ef.make_constant_reference(constant->second);
    return ef.make_scoping(parent, reference);
  }
  throw UnresolvedSymbolError(name) << " in expression " << print_expression(e);
}

/// The top-level expressions of a problem, sorted by what they are; as they were read.
struct NameResolver::Statements {
  // One user type may stand in several scopes.
  std::unordered_set<const model::UserTypeImpl*> types_with_values;
  ConstantInitialisers::Values values;
  std::vector<Expression> orderings;
  std::vector<Expression> statements;
};

NameResolver::NameResolver(Environment& env) : EnvObject(env) {}

model::ProblemInstance NameResolver::operator()(const model::ProblemInstance& raw) {
  model::StatementLines none;
  return (*this)(raw, none);
}

model::ProblemInstance NameResolver::operator()(const model::ProblemInstance& raw,
                                                model::StatementLines& lines) {
  model::ModelFactory& mf = environment().model_factory();
  const model::ExpressionFactory& ef = environment().expression_factory();
  TypeResolver resolve_types(environment());
  const model::ProblemInstance problem = resolve_types(raw);
  Statements read = classify(*problem, raw->expressions());

  model::TypeScope::ConstantMap constants;
  for (const auto& [name, constant] : problem->constants()) {
    constants[name] = with_values(read, constant);
  }
  for (const auto& [name, type] : problem->user_types()) give_values(read, *type);

  Symbols symbols;
  enter_fluents(symbols, problem->fluents());
  enter_constants(symbols, constants);
  enter_instances(symbols, *problem);
  for (const auto& [name, type] : problem->user_types()) resolve_actions(symbols, *type, lines);
  model::TypeScope::ActionMap actions;
  for (const auto& [name, action] : problem->actions()) {
    actions[name] = resolve(symbols, action, lines);
  }

  const NameResolverExpressionSubstituter substitute(environment(), symbols.visible());
  model::ExpressionSet statements;
  std::map<std::string, Expression> labels;
  LineResolver problem_lines(lines, "");
  std::size_t num_walked = 0;
  for (const Expression e : read.statements) {
    if (++num_walked % kStatementsForOneMemo == 0) substitute.clear_memoization();
    const Expression resolved = substitute(e);
    check_statement(resolved);
    problem_lines.resolve(e, resolved);
    statements.insert(statements.end(), resolved);
    const std::string* label = label_of(ef, resolved);
    if (label != nullptr && !labels.emplace(*label, resolved).second) {
      throw RedefinitionError() << "Label '" << *label << "' already defined";
    }
  }
  model::ProblemInstanceImpl::LabelsOrderings orderings;
  for (const Expression e : read.orderings) {
    const Expression first = labels.at(ef.get_name_from_label_reference(e->child(0)));
    const Expression second = labels.at(ef.get_name_from_label_reference(e->child(1)));
    orderings.emplace(first, second);
  }
  return mf.make_problem_instance(actions, problem->fluents(), constants, problem->instances(),
                                  problem->user_types(), statements, orderings);
}

void NameResolver::enter(Symbols& symbols, const std::string& name, Expression e) const {
  symbols.enter(environment().expression_factory().make_unresolved_symbol(name), e);
}

void NameResolver::enter_fluents(Symbols& symbols,
                                 const model::TypeScope::FluentMap& fluents) const {
  for (const auto& [name, fluent] : fluents) {
    enter(symbols, name, environment().expression_factory().make_fluent_reference(fluent));
  }
}

void NameResolver::enter_constants(Symbols& symbols,
                                   const model::TypeScope::ConstantMap& constants) const {
  for (const auto& [name, constant] : constants) {
    enter(symbols, name, environment().expression_factory().make_constant_reference(constant));
  }
}

void NameResolver::enter_instances(Symbols& symbols,
                                   const model::ProblemInstanceImpl& problem) const {
  for (const auto& [name, instance] : problem.instances()) {
    enter(symbols, name, environment().expression_factory().make_instance_reference(instance));
  }
}

// Recurses over nested user types, whose depth the reader limits; so do the two below.
void NameResolver::enter_nested_constants(Symbols& symbols, const model::TypeScope& scope) const {
  for (const auto& [name, type] : scope.user_types()) {
    enter_constants(symbols, type->constants());
    enter_nested_constants(symbols, *type);
  }
}

// Constants are told by their names, wherever they are declared; fluents are not yet known here,
// and a scoped name must begin with an instance.
NameResolver::Statements NameResolver::classify(const model::ProblemInstanceImpl& problem,
                                                const model::ExpressionSet& statements) const {
  Symbols symbols;
  enter_constants(symbols, problem.constants());
  enter_nested_constants(symbols, problem);
  enter_instances(symbols, problem);

  const model::ExpressionFactory& ef = environment().expression_factory();
  const NameResolverExpressionSubstituter substitute(environment(), symbols.visible());
  const bool has_scoping = contains_scoping(ef, statements);
  ConstantInitialisers initialisers(environment());
  Statements result;
  std::size_t num_walked = 0;
  for (const Expression e : statements) {
    if (++num_walked % kStatementsForOneMemo == 0) substitute.clear_memoization();
    // Without scoped names, nothing can go wrong in the substitution of other statements.
    if (has_scoping || (may_be_constant_initialisation(environment(), e) &&
                        names_constant(ef, symbols.visible(), e))) {
      if (const auto found = as_constant_initialisation(environment(), substitute(e))) {
        initialisers.add(*found);
        continue;
      }
    }
    const bool is_ordering =
        ef.is_lt(e) && ef.is_label_reference(e->child(0)) && ef.is_label_reference(e->child(1));
    (is_ordering ? result.orderings : result.statements).push_back(e);
  }
  result.values = initialisers.values();
  return result;
}

model::Constant NameResolver::with_values(const Statements& statements,
                                          const model::Constant& constant) const {
  const auto values = statements.values.find(constant.get());
  if (values == statements.values.end()) {
    throw InternalError() << "Found an uninitialized constant: " << constant->name();
  }
  return environment().model_factory().make_constant(
      constant->name(), constant->type(), constant->path(), constant->parameters(), values->second);
}

void NameResolver::give_values(Statements& statements, model::UserTypeImpl& type) const {
  if (!statements.types_with_values.insert(&type).second) return;
  for (const auto& [name, constant] : type.constants()) {
    type.resolve_constant(with_values(statements, constant));
  }
  for (const auto& [name, nested] : type.user_types()) give_values(statements, *nested);
}

void NameResolver::resolve_actions(Symbols& symbols, model::UserTypeImpl& type,
                                   model::StatementLines& lines) {
  const Symbols::Scope scope = symbols.open();
  enter_fluents(symbols, type.fluents());
  enter_constants(symbols, type.constants());
  for (const auto& [name, nested] : type.user_types()) resolve_actions(symbols, *nested, lines);
  for (const auto& [name, action] : type.actions()) {
    type.resolve_action(resolve(symbols, action, lines));
  }
  symbols.leave(scope);
}

model::Action NameResolver::resolve(Symbols& symbols, const model::Action& action,
                                    model::StatementLines& lines) {
  const Symbols::Scope scope = symbols.open();
  for (const model::Parameter& p : action->parameters()) {
    enter(symbols, p->name(), environment().expression_factory().make_parameter_reference(p));
  }
  const NameResolverExpressionSubstituter substitute(environment(), symbols.visible());
  LineResolver action_lines(lines, action->path().empty()
                                       ? action->name()
                                       : action->path().back() + "." + action->name());
  model::ExpressionSet expressions;
  for (const Expression e : action->expressions()) {
    const Expression resolved = substitute(e);
    if (as_constant_initialisation(environment(), resolved).has_value()) {
      throw InternalError() << "It is allowed to assign a value to a "
                            << "constant only in the top level scope";
    }
    check_statement(resolved);
    action_lines.resolve(e, resolved);
    expressions.insert(resolved);
  }
  symbols.leave(scope);
  return environment().model_factory().make_action(action->name(), action->path(),
                                                   action->parameters(), expressions);
}

void NameResolver::check_statement(Expression e) {
  const model::Type type = environment().type_checker()(e);
  if (!type->is_boolean() && !type->is_void()) {
    throw TypeCheckingError() << "The expression '" << print_expression(e)
                              << "' should be boolean or void, but it is " << type;
  }
  check_arguments(e);
}

// A function is no child of its application, so one that is met here stands alone. It would have
// no value in any state.
void NameResolver::check_arguments(Expression e) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> todo{e};
  while (!todo.empty()) {
    const Expression next = todo.back();
    todo.pop_back();
    if (next->id() >= has_arguments_.size()) {
      has_arguments_.resize(std::max(next->id() + 1, 2 * has_arguments_.size()));
    }
    if (has_arguments_[next->id()]) continue;
    if ((ef.is_fluent_reference(next) &&
         !ef.get_fluent_from_reference(next)->parameters().empty()) ||
        (ef.is_constant_reference(next) &&
         !ef.get_constant_from_reference(next)->parameters().empty())) {
      throw TypeCheckingError() << "Found '" << print_expression(next)
                                << "' without its arguments in the expression '"
                                << print_expression(e) << "'";
    }
    has_arguments_[next->id()] = true;
    for (const Expression child : next->children()) todo.push_back(child);
  }
}

}  // namespace kelvo
