#include "smt/definedness.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_default_walker.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/expression_type_checker.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/warnings.h"
#include "smt/smt_encoder.h"

namespace kelvo::smt {

using model::Expression;
using ExpressionKind = model::ExpressionOperatorKind;

namespace {

/// Tables with more entries are not searched for missing ones.
constexpr std::size_t kMaxListed = 100000;
constexpr std::size_t kNamed = 3;

bool has_finite_arguments(const model::Parameters& parameters) {
  return std::ranges::all_of(
      parameters, [](const model::Parameter& p) { return p->type()->is_finite_domain(); });
}

}  // namespace

class Definedness::CanFailWalker : public model::ExpressionDefaultWalker<bool> {
 public:
  CanFailWalker(Environment& env, Definedness& owner)
      : ExpressionDefaultWalker(env), owner_(owner) {}

 protected:
  bool walk_default(Expression e) const override {
    return std::ranges::any_of(e->children(), [this](Expression c) { return memoized_value(c); });
  }
  bool walk_fluent_reference(Expression e) const override {
    const model::Fluent fluent = factory().get_fluent_from_reference(e);
    return !fluent->has_parameters() && !owner_.first_values(fluent).is_complete;
  }
  bool walk_functional_apply(Expression e) const override {
    if (walk_default(e)) return true;
    const Expression reference = factory().get_reference_from_functional_apply(e);
    if (factory().is_constant_reference(reference)) {
      return owner_.may_be_missing(factory().get_constant_from_reference(reference));
    }
    if (!factory().is_fluent_reference(reference)) return false;
    const model::Fluent fluent = factory().get_fluent_from_reference(reference);
    if (!owner_.first_values(fluent).is_complete) return true;
    const model::Parameters& parameters = fluent->parameters();
    for (std::size_t i = 0; i < e->arity() && i < parameters.size(); ++i) {
      if (!owner_.stays_inside(e->child(i), parameters[i]->type())) return true;
    }
    return false;
  }
  bool walk_div(Expression e) const override {
    if (walk_default(e)) return true;
    const Expression divisor = e->child(1);
    return !factory().is_number(divisor) || factory().is_zero(divisor);
  }

 private:
  const model::ExpressionFactory& factory() const { return environment().expression_factory(); }

  Definedness& owner_;
};

Definedness::Definedness(SmtEncoder& encoder)
    : EnvObject(encoder.environment()),
      encoder_(encoder),
      can_fail_(std::make_unique<CanFailWalker>(encoder.environment(), *this)) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const auto note = [&](Expression e, const model::Action& action) {
    std::optional<Effect> effect = get_effect(ef, e, action);
    if (!effect) return;
    if (action == nullptr && is_at_start(ef, effect->timing())) {
      initial_effects_.push_back(std::move(*effect));
    } else {
      written_.insert(effect->fluent());
    }
  };
  for (const Expression e : encoder.problem()->expressions()) note(e, nullptr);
  for (const auto& [name, action] : encoder.problem()->actions()) {
    for (const Expression e : action->expressions()) note(e, action);
  }
  const model::ExpressionSimplifier simplifier(environment());
  for (const Effect& effect : initial_effects_) {
    FirstValues& values = first_values_[effect.fluent()];
    const Expression left = simplifier(assigned_fluent(ef, effect));
    const bool is_ground = std::ranges::all_of(left->children(), [&](Expression argument) {
      return ef.is_constant(argument) || ef.is_instance_reference(argument);
    });
    if (is_ground) {
      values.given.insert(left);
    } else {
      values.computed.push_back(&effect);
    }
  }
  for (const auto& [name, fluent] : encoder.problem()->fluents()) {
    FirstValues& values = first_values_[fluent];
    const Expression reference = ef.make_fluent_reference(fluent);
    if (!has_finite_arguments(fluent->parameters())) continue;
    const model::DomainProduct tuples = encoder.tuples_of(*fluent);
    if (values.given.size() < tuples.size()) {
      for (std::size_t i = 0; i < tuples.size(); ++i) {
        const Expression ground = fluent->has_parameters()
                                      ? ef.make_functional_apply(reference, tuples.combination(i))
                                      : reference;
        if (!values.given.contains(ground)) values.unset.push_back(ground);
      }
    }
    values.is_complete = values.unset.empty();
  }
}

Definedness::~Definedness() = default;

bool Definedness::can_fail(Expression e) const {
  return (*can_fail_)(e);
}

const Definedness::FirstValues& Definedness::first_values(const model::Fluent& fluent) {
  return first_values_[fluent];
}

const std::vector<std::vector<Expression>>* Definedness::missing_entries(
    const model::Constant& constant) {
  if (unlistable_.contains(constant)) return nullptr;
  const auto [entry, is_new] = missing_.try_emplace(constant);
  if (!is_new) return &entry->second;
  const model::FunctionValue value = constant->value();
  std::size_t num_entries = 1;
  for (const model::Parameter& p : constant->parameters()) {
    const bool is_listable = p->type()->is_finite_domain() && num_entries <= kMaxListed;
    num_entries *= is_listable ? encoder_.domains().size(p->type()) : kMaxListed + 1;
    if (num_entries == 0) break;
  }
  if (num_entries > kMaxListed || value == nullptr) {
    missing_.erase(entry);
    unlistable_.insert(constant);
    return nullptr;
  }
  if (value->default_value() != nullptr) return &entry->second;
  const model::DomainProduct keys(encoder_.domains(), constant->parameters());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::vector<Expression> key = keys.combination(i);
    if (value->assignment(key) == nullptr) entry->second.push_back(key);
  }
  return &entry->second;
}

bool Definedness::may_be_missing(const model::Constant& constant) {
  const model::FunctionValue value = constant->value();
  if (value == nullptr || !value->has_assignments() || value->default_value() != nullptr) {
    return false;  // the reader of a constant without any value throws
  }
  const auto* missing = missing_entries(constant);
  return missing == nullptr || !missing->empty() || !has_finite_arguments(constant->parameters());
}

bool Definedness::stays_inside(Expression argument, const model::Type& type) const {
  const model::Type actual = environment().type_checker()(argument);
  if (type->is_boolean() || actual == type) return true;
  if (!type->is_integer() || !actual->is_integer()) return false;
  const model::IntegerTypeBase& inner = model::as_integer_type(actual);
  const model::IntegerTypeBase& outer = model::as_integer_type(type);
  return (!outer.has_lower_bound() ||
          (inner.has_lower_bound() && inner.lower_bound() >= outer.lower_bound())) &&
         (!outer.has_upper_bound() ||
          (inner.has_upper_bound() && inner.upper_bound() <= outer.upper_bound()));
}

// Formulas with what is known folded away.

bool Definedness::is_known(Formula f, bool value) const {
  return encoder_.factory().is_boolean_constant(f) && encoder_.factory().is_true(f) == value;
}

Formula Definedness::all_of(const std::vector<Formula>& list) {
  std::vector<Formula> open;
  for (const Formula f : list) {
    if (is_known(f, false)) return f;
    if (!is_known(f, true) && std::ranges::find(open, f) == open.end()) open.push_back(f);
  }
  if (open.empty()) return encoder_.factory().make_boolean_constant(true);
  return encoder_.conjunction(open);
}

Formula Definedness::any_of(const std::vector<Formula>& list) {
  std::vector<Formula> open;
  for (const Formula f : list) {
    if (is_known(f, true)) return f;
    if (!is_known(f, false)) open.push_back(f);
  }
  if (open.empty()) return encoder_.factory().make_boolean_constant(false);
  return encoder_.disjunction(open);
}

Formula Definedness::matches(const std::vector<Formula>& tuple,
                             const std::vector<Formula>& arguments) {
  const SmtEncoder::Equalities equalities = encoder_.equalities(tuple, arguments);
  if (equalities.contradictory) return encoder_.factory().make_boolean_constant(false);
  return all_of(equalities.needed);
}

// Values.

Formula Definedness::is_set(Expression fluent, std::uint32_t step) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const bool is_applied = ef.is_functional_apply(fluent);
  const Expression reference = is_applied ? ef.get_reference_from_functional_apply(fluent) : fluent;
  const model::Fluent declaration = ef.get_fluent_from_reference(reference);
  const FirstValues& values = first_values(declaration);
  if (values.given.contains(fluent)) return encoder_.factory().make_boolean_constant(true);
  if (step > 0 && written_.contains(declaration)) return encoder_.is_set_variable(fluent, step);
  const std::vector<Expression> tuple(fluent->children().begin(), fluent->children().end());
  const std::vector<Formula> tuple_formulas = encoder_.formulas_of(tuple);
  std::vector<Formula> given;
  for (const Effect* effect : values.computed) {
    const std::vector<Formula> arguments = encoder_.formulas_of(effect->actual_parameters());
    given.push_back(matches(tuple_formulas, arguments));
  }
  return any_of(given);
}

void Definedness::explain(SmtSolver& solver, Expression fluent, std::uint32_t i,
                          const std::vector<Formula>& alternatives) {
  const Formula set = is_set(fluent, i);
  if (!encoder_.factory().is_variable(set)) return;
  std::vector<Formula> reasons{is_set(fluent, i - 1)};
  reasons.insert(reasons.end(), alternatives.begin(), alternatives.end());
  const Formula explained = any_of(reasons);
  encoder_.assert_formula(solver, encoder_.factory().make_implies(set, explained));
}

Formula Definedness::is_inside(const EncodingContext& context, Expression argument,
                               const model::Type& type) {
  SmtFactory& factory = encoder_.factory();
  const Formula value = encoder_.to_formula(context, argument);
  if (type->is_integer() && environment().type_checker()(argument)->is_integer()) {
    const model::IntegerTypeBase& range = model::as_integer_type(type);
    std::vector<Formula> bounds;
    const auto add = [&](const integer& number, bool is_lower) {
      const Formula bound = factory.make_rational_constant(rational(number));
      if (!factory.is_rational_constant(value)) {
        bounds.push_back(is_lower ? factory.make_ge(value, bound) : factory.make_le(value, bound));
        return;
      }
      const rational& known = factory.get_rational_constant(value);
      bounds.push_back(factory.make_boolean_constant(is_lower ? known >= number : known <= number));
    };
    if (range.has_lower_bound()) add(range.lower_bound(), /*is_lower=*/true);
    if (range.has_upper_bound()) add(range.upper_bound(), /*is_lower=*/false);
    return all_of(bounds);
  }
  std::vector<Formula> elements;
  for (const Expression element : encoder_.domains().elements(type)) {
    elements.push_back(matches(encoder_.formulas_of({element}), {value}));
  }
  return any_of(elements);
}

void Definedness::require_arguments(const EncodingContext& context, Expression application,
                                    const model::Parameters& parameters,
                                    std::vector<Formula>& needed) {
  for (std::size_t i = 0; i < application->arity() && i < parameters.size(); ++i) {
    const model::Type type = parameters[i]->type();
    if (stays_inside(application->child(i), type)) continue;
    if (type->is_finite_domain()) needed.push_back(is_inside(context, application->child(i), type));
  }
}

void Definedness::require_fluent(const EncodingContext& context, Expression e,
                                 std::vector<Formula>& needed) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (!ef.is_functional_apply(e)) {
    if (!ef.get_fluent_from_reference(e)->has_parameters()) {
      needed.push_back(is_set(e, context.state_step));
    }
    return;
  }
  const Expression reference = ef.get_reference_from_functional_apply(e);
  const model::Fluent fluent = ef.get_fluent_from_reference(reference);
  require_arguments(context, e, fluent->parameters(), needed);
  const FirstValues& values = first_values(fluent);
  if (values.unset.empty()) return;
  std::vector<Formula> arguments;
  for (const Expression argument : e->children()) {
    arguments.push_back(encoder_.to_formula(context, argument));
  }
  for (const Expression ground : values.unset) {
    const std::vector<Expression> tuple(ground->children().begin(), ground->children().end());
    const Formula is_meant = matches(encoder_.formulas_of(tuple), arguments);
    if (is_known(is_meant, false)) continue;
    const Formula set = is_set(ground, context.state_step);
    if (is_known(is_meant, true)) {
      needed.push_back(set);
    } else {
      needed.push_back(any_of({encoder_.factory().make_not(is_meant), set}));
    }
  }
}

void Definedness::require_entry(const EncodingContext& context, Expression e,
                                std::vector<Formula>& needed) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const model::Constant constant =
      ef.get_constant_from_reference(ef.get_reference_from_functional_apply(e));
  if (!may_be_missing(constant)) return;
  require_arguments(context, e, constant->parameters(), needed);
  std::vector<Formula> arguments;
  for (const Expression argument : e->children()) {
    arguments.push_back(encoder_.to_formula(context, argument));
  }
  const model::FunctionValue value = constant->value();
  const auto* missing = missing_entries(constant);
  if (missing != nullptr && missing->size() < value->assignments().size()) {
    for (const std::vector<Expression>& key : *missing) {
      const Formula is_meant = matches(encoder_.formulas_of(key), arguments);
      if (is_known(is_meant, false)) continue;
      warn_of_missing_entries(constant);
      const bool is_certain = is_known(is_meant, true);
      needed.push_back(is_certain ? encoder_.factory().make_boolean_constant(false)
                                  : encoder_.factory().make_not(is_meant));
    }
    return;
  }
  std::vector<Formula> given;
  for (const auto& [key, entry] : value->sorted_assignments()) {
    const auto length = static_cast<std::ptrdiff_t>(std::min(key.size(), arguments.size()));
    const std::vector<Formula> prefix(arguments.begin(), arguments.begin() + length);
    given.push_back(matches(encoder_.formulas_of(key), prefix));
  }
  const Formula is_given = any_of(given);
  if (!is_known(is_given, true)) warn_of_missing_entries(constant);
  needed.push_back(is_given);
}

void Definedness::require_divisor(const EncodingContext& context, Expression e,
                                  std::vector<Formula>& needed) {
  const Formula zero = encoder_.factory().make_rational_constant(0);
  const Formula divisor = encoder_.to_formula(context, e->child(1));
  const Formula is_zero = matches({zero}, {divisor});
  if (encoder_.factory().is_boolean_constant(is_zero)) {
    needed.push_back(encoder_.factory().make_boolean_constant(is_known(is_zero, false)));
  } else {
    needed.push_back(encoder_.factory().make_not(is_zero));
  }
}

Formula Definedness::has_value(const EncodingContext& context, Expression root) {
  if (!can_fail(root)) return nullptr;
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::vector<Formula> needed;
  std::unordered_set<Expression> seen;
  std::vector<Expression> todo{root};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (!can_fail(e) || !seen.insert(e).second) continue;
    if (ef.is_fluent_reference(e)) {
      require_fluent(context, e, needed);
    } else if (ef.is_functional_apply(e)) {
      const Expression reference = ef.get_reference_from_functional_apply(e);
      if (ef.is_fluent_reference(reference)) require_fluent(context, e, needed);
      if (ef.is_constant_reference(reference)) require_entry(context, e, needed);
    } else if (ef.is_div(e)) {
      require_divisor(context, e, needed);
    }
    todo.insert(todo.end(), e->children().begin(), e->children().end());
  }
  const Formula result = all_of(needed);
  return is_known(result, true) ? nullptr : result;
}

Formula Definedness::leaf(const EncodingContext& context, Expression e, bool is_positive) {
  const Formula value = encoder_.to_formula(context, e);
  const Formula is_true = is_positive ? value : encoder_.factory().make_not(value);
  const Formula has = has_value(context, e);
  return has == nullptr ? is_true : all_of({has, is_true});
}

Formula Definedness::holds(const EncodingContext& context, Expression root) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  // Negations move to the leaves, so that a leaf without a value makes neither it nor its negation
  // hold.
  struct Entry {
    Expression e;
    bool is_positive;
    bool is_expanded;
  };
  std::unordered_map<Expression, Formula> memo[2];
  std::vector<Entry> todo{{root, true, false}};
  while (!todo.empty()) {
    const auto [e, is_positive, is_expanded] = todo.back();
    if (memo[is_positive].contains(e)) {
      todo.pop_back();
      continue;
    }
    const bool is_junction = ef.is_and(e) || ef.is_or(e) || ef.is_imply(e) || ef.is_not(e);
    if (!is_junction || !can_fail(e)) {
      memo[is_positive][e] = leaf(context, e, is_positive);
      todo.pop_back();
      continue;
    }
    const auto sign_of = [&, e = e, is_positive = is_positive](std::size_t i) {
      const bool is_negated = ef.is_not(e) || (ef.is_imply(e) && i == 0);
      return is_negated ? !is_positive : is_positive;
    };
    if (!is_expanded) {
      todo.back().is_expanded = true;
      for (std::size_t i = 0; i < e->arity(); ++i) todo.push_back({e->child(i), sign_of(i), false});
      continue;
    }
    std::vector<Formula> parts;
    for (std::size_t i = 0; i < e->arity(); ++i) parts.push_back(memo[sign_of(i)].at(e->child(i)));
    const bool is_conjunction = (ef.is_and(e) || ef.is_not(e)) == is_positive;
    memo[is_positive][e] = is_conjunction ? all_of(parts) : any_of(parts);
    todo.pop_back();
  }
  return memo[true].at(root);
}

Formula Definedness::can_assign(const EncodingContext& before, Expression assignment) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::vector<Formula> needed;
  if (const Formula value = has_value(before, assignment->child(1))) needed.push_back(value);
  const Expression left = assignment->child(0);
  if (ef.is_functional_apply(left)) {
    for (const Expression argument : left->children()) {
      if (const Formula value = has_value(before, argument)) needed.push_back(value);
    }
    const Expression reference = ef.get_reference_from_functional_apply(left);
    if (ef.is_fluent_reference(reference)) {
      const model::Fluent fluent = ef.get_fluent_from_reference(reference);
      require_arguments(before, left, fluent->parameters(), needed);
    }
  }
  const Formula result = all_of(needed);
  return is_known(result, true) ? nullptr : result;
}

void Definedness::warn_of_missing_entries(const model::Constant& constant) {
  if (!warned_.insert(constant).second) return;
  std::ostringstream warning;
  warning << "Constant '" << constant->name() << "' has no value for some arguments";
  if (const auto* missing = missing_entries(constant); missing != nullptr) {
    for (std::size_t i = 0; i < missing->size() && i < kNamed; ++i) {
      warning << (i == 0 ? ": (" : ", (");
      const std::vector<Expression>& key = (*missing)[i];
      for (std::size_t k = 0; k < key.size(); ++k) {
        warning << (k == 0 ? "" : ", ") << model::print_expression(key[k]);
      }
      warning << ")";
    }
    if (missing->size() > kNamed) warning << " and " << missing->size() - kNamed << " more";
  }
  warning << " (no step reads such an entry)";
  environment().warning_manager().warn(warning.str());
}

}  // namespace kelvo::smt
