#include "parsers/constant_initialisers.h"

#include <unordered_set>
#include <utility>

#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/expression_type_checker.h"
#include "model/function_value.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/numbers.h"

namespace kelvo {

using model::Expression;
using model::print_expression;

namespace {

// The assignment of a statement at the start of the plan or without a time; null for other
// statements.
Expression assignment_at_start(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_assign(e)) return e;
  if (!ef.is_temporal_expression(e) || !ef.is_assign(e->child(1))) return nullptr;
  const Expression interval = e->child(0);
  if (!ef.is_point_interval(interval)) return nullptr;
  const Expression time = interval->child(0);
  const bool is_zero = ef.is_integer_constant(time) && ef.get_integer_constant(time) == 0;
  return is_zero || ef.is_start_anchor(time) ? e->child(1) : nullptr;
}

// The constant of `c` or `p.c`; null for other expressions.
model::Constant constant_of(const model::ExpressionFactory& ef, Expression reference) {
  if (ef.is_scoping(reference)) reference = reference->child(1);
  if (!ef.is_constant_reference(reference)) return nullptr;
  return ef.get_constant_from_reference(reference);
}

InvalidParameterError invalid_initialisation(Expression e) {
  return InvalidParameterError() << "Found an invalid initialization"
                                 << "of constant: " << print_expression(e);
}

InternalError uninitialised(const model::ConstantImpl& constant) {
  return InternalError() << "Found an uninitialized constant: " << constant.name();
}

// The type of a value, as far as `is_assignable` looks at it. Tables of constants are long lists of
// plain numbers, which need no type with their own bounds.
model::Type type_of_value(Environment& env, Expression e) {
  const model::ExpressionFactory& ef = env.expression_factory();
  if (ef.is_integer_constant(e)) return env.model_factory().make_integer_type();
  if (ef.is_rational_constant(e)) return env.model_factory().make_rational_type();
  return env.type_checker()(e);
}

// Of two types that the checker gave, whether a constant may take the other's value. Bounds are
// not compared.
bool is_assignable(const model::Type& to, const model::Type& from) {
  return to == from || (to->is_integer() && from->is_integer()) ||
         (to->is_rational() && from->is_numeric());
}

}  // namespace

bool may_be_constant_initialisation(Environment& env, Expression e) {
  return assignment_at_start(env.expression_factory(), e) != nullptr;
}

std::optional<ConstantInitialisation> as_constant_initialisation(Environment& env, Expression e) {
  const model::ExpressionFactory& ef = env.expression_factory();
  const Expression assign = assignment_at_start(ef, e);
  if (assign == nullptr) return std::nullopt;
  const Expression left = assign->child(0);
  const bool is_application = ef.is_functional_apply(left);
  const Expression reference = is_application ? ef.get_reference_from_functional_apply(left) : left;

  // The reference decides before the arguments: those of a fluent may be anything.
  ConstantInitialisation result{constant_of(ef, reference), "", {}, assign->child(1), e};
  if (result.constant == nullptr) return std::nullopt;
  if (ef.is_scoping(reference)) {
    const Expression parent = reference->child(0);
    if (!ef.is_instance_reference(parent)) throw invalid_initialisation(left);
    result.instance = ef.get_instance_from_reference(parent)->name();
  }
  if (!is_application) return result;
  for (std::size_t i = 0; i < left->arity(); ++i) {
    const Expression argument = left->child(i);
    if (!ef.is_unresolved_symbol(argument)) {
      result.key.push_back(argument);
    } else if (i + 1 < left->arity() ||
               model::payload_of<model::IdentifierPayload>(argument).name() != "*") {
      throw invalid_initialisation(left);
    }
  }
  return result;
}

// The simplifier with each mention of a constant replaced by its value, which may mention further
// constants. The walk follows these mentions on its own stack.
class ConstantInitialisers::Evaluator : public model::ExpressionSimplifier {
 public:
  Evaluator(Environment& env, const std::vector<ConstantInitialisation>& initialisations)
      : ExpressionSimplifier(env) {
    for (const ConstantInitialisation& i : initialisations) {
      tables_[{i.constant.get(), i.instance}].initialisations.push_back(&i);
    }
  }

  using ExpressionSimplifier::operator();
  const Expression& operator()(Expression root) const& override {
    std::vector<Expression> todo{root};
    std::unordered_set<Expression> open;
    while (!todo.empty()) {
      const Expression e = todo.back();
      if (is_memoized(e)) {
        todo.pop_back();
        continue;
      }
      const std::vector<Expression> needed = evaluate_or_ask(e);
      if (needed.empty()) {
        open.erase(e);
        todo.pop_back();
        continue;
      }
      open.insert(e);
      for (const Expression other : needed) {
        if (open.contains(other)) throw uninitialised(*constant_on_circle(e, other));
        todo.push_back(other);
      }
    }
    return memoized_value(root);
  }

 private:
  // The initialisations of one constant for one instance.
  struct Table {
    std::vector<const ConstantInitialisation*> initialisations;
    bool has_index = false;
    // From evaluated keys to values as they were read.
    model::FunctionValueImpl index;
  };
  struct TableHash {
    std::size_t operator()(const std::pair<const model::ConstantImpl*, std::string>& key) const {
      return std::hash<const void*>()(key.first) ^ std::hash<std::string>()(key.second);
    }
  };

  const model::ExpressionFactory& ef() const { return environment().expression_factory(); }

  // The reference of a mention of a constant (`c`, `i.c` or one of these applied), or null.
  Expression mentioned(Expression e) const {
    if (ef().is_functional_apply(e)) e = ef().get_reference_from_functional_apply(e);
    return constant_of(ef(), e) == nullptr ? nullptr : e;
  }

  // Memoizes the value of `e`, or returns what must have a value first.
  std::vector<Expression> evaluate_or_ask(Expression e) const {
    const Expression reference = mentioned(e);
    const bool is_opaque =
        reference == nullptr && (ef().is_scoping(e) || ef().is_functional_apply(e));
    if (is_opaque) {  // reads a fluent
      do_memoize_value(e, e);
      return {};
    }
    std::vector<Expression> needed;
    if (!ef().is_scoping(e)) {
      for (const Expression child : e->children()) ask(child, needed);
    }
    if (!needed.empty()) return needed;
    if (reference != nullptr) return look_up(e, reference);
    evaluate_and_cache_expression(e);
    return {};
  }

  std::vector<Expression> look_up(Expression e, Expression reference) const {
    const model::Constant constant = constant_of(ef(), reference);
    std::string instance;
    if (ef().is_scoping(reference)) {
      if (!ef().is_instance_reference(reference->child(0))) throw uninitialised(*constant);
      instance = ef().get_instance_from_reference(reference->child(0))->name();
    }
    const auto table = tables_.find({constant.get(), instance});
    if (table == tables_.end()) throw uninitialised(*constant);
    std::vector<Expression> needed = make_index(table->second);
    if (!needed.empty()) return needed;

    model::FunctionValueImpl::Key arguments;
    if (ef().is_functional_apply(e)) arguments = evaluated(e->children());
    const Expression value = table->second.index.assignment(arguments);
    if (value == nullptr) throw uninitialised(*constant);
    ask(value, needed);
    if (needed.empty()) do_memoize_value(e, memoized_value(value));
    return needed;
  }

  std::vector<Expression> make_index(Table& table) const {
    std::vector<Expression> needed;
    if (table.has_index) return needed;
    for (const ConstantInitialisation* i : table.initialisations) {
      for (const Expression element : i->key) ask(element, needed);
    }
    if (!needed.empty()) return needed;
    for (const ConstantInitialisation* i : table.initialisations) {
      const model::FunctionValueImpl::Key key = evaluated(i->key);
      if (table.index.has_assignments(key)) {
        throw InternalError() << "It is forbidden to assign a value"
                              << " to a constant more than one time";
      }
      table.index.add_assignment(key, i->value);
    }
    table.has_index = true;
    return needed;
  }

  void ask(Expression e, std::vector<Expression>& needed) const {
    if (!is_memoized(e)) needed.push_back(e);
  }

  template <typename Range>
  std::vector<Expression> evaluated(const Range& expressions) const {
    std::vector<Expression> values;
    values.reserve(expressions.size());
    for (const Expression e : expressions) values.push_back(memoized_value(e));
    return values;
  }

  // Only mentions close circles: `e` needs `other`, which waits for `e`.
  model::Constant constant_on_circle(Expression e, Expression other) const {
    const Expression reference = mentioned(other);
    return constant_of(ef(), reference != nullptr ? reference : mentioned(e));
  }

  mutable std::unordered_map<std::pair<const model::ConstantImpl*, std::string>, Table, TableHash>
      tables_;
};

ConstantInitialisers::ConstantInitialisers(Environment& env) : EnvObject(env) {}

ConstantInitialisers::~ConstantInitialisers() = default;

void ConstantInitialisers::add(const ConstantInitialisation& initialisation) {
  const model::Parameters& parameters = initialisation.constant->parameters();
  for (std::size_t i = 0; i < initialisation.key.size(); ++i) {
    const model::Type type = type_of_value(environment(), initialisation.key[i]);
    if (i >= parameters.size() || !is_assignable(parameters[i]->type(), type)) {
      throw TypeCheckingError() << "Found constant assignment having "
                                << "non-compatible parameters: "
                                << print_expression(initialisation.statement);
    }
  }
  const model::Type type = type_of_value(environment(), initialisation.value);
  if (!is_assignable(initialisation.constant->type(), type)) {
    throw TypeCheckingError() << "Found an constant assign having "
                              << "non-compatible operands: "
                              << print_expression(initialisation.statement);
  }
  initialisations_.push_back(initialisation);
}

ConstantInitialisers::Values ConstantInitialisers::values() const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Evaluator evaluate(environment(), initialisations_);
  // Long tables consist of values that need no evaluation.
  const auto value_of = [&](Expression e) {
    const bool is_value =
        ef.is_instance_reference(e) || ef.is_number(e) || ef.is_boolean_constant(e);
    return is_value ? e : evaluate(e);
  };
  Values values;
  for (const ConstantInitialisation& i : initialisations_) {
    model::FunctionValueImpl::Key key;
    key.reserve(i.key.size());
    for (const Expression element : i.key) key.push_back(value_of(element));
    Expression value = value_of(i.value);
    const model::Type type = i.constant->type();
    if (type->is_integer() && ef.is_rational_constant(value)) {
      // The quotient of two integers folds to a rational; its value is whole.
      value = ef.make_integer_constant(numerator(ef.get_rational_constant(value)));
    }
    if (!type->is_set() && !ef.is_constant(value) && !ef.is_instance_reference(value)) {
      throw invalid_initialisation(i.statement);
    }
    model::FunctionValue& function = values[i.constant.get()][i.instance];
    if (function == nullptr) function = std::make_shared<model::FunctionValueImpl>();
    if (function->has_assignments(key)) {
      throw InternalError() << "It is forbidden to assign a value"
                            << " to a constant more than one time";
    }
    function->add_assignment(key, value);
  }
  return values;
}

}  // namespace kelvo
