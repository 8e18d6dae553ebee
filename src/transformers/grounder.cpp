#include "transformers/grounder.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <functional>
#include <optional>
#include <tuple>
#include <unordered_set>

#include "model/action.h"
#include "model/constant.h"
#include "model/domains.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/window_extent.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/constant_checker.h"
#include "transformers/plan_mapping.h"
#include "transformers/static_enumeration.h"

namespace kelvo {

using model::Expression;

namespace {

bool is_finite(const model::Parameter& parameter) {
  return parameter->type()->is_finite_domain();
}

model::Parameters finite_parameters(const model::Parameters& parameters) {
  model::Parameters finite;
  for (const model::Parameter& p : parameters) {
    if (is_finite(p)) finite.push_back(p);
  }
  return finite;
}

model::Parameters infinite_parameters(const model::Parameters& parameters) {
  model::Parameters infinite;
  for (const model::Parameter& p : parameters) {
    if (!is_finite(p)) infinite.push_back(p);
  }
  return infinite;
}

// The formal parameters' values in order, the finite ones from `values`, the others from `rest`.
std::vector<Expression> merge(const model::Parameters& formal,
                              const std::vector<Expression>& values,
                              const std::vector<Expression>& rest) {
  assert(values.size() + rest.size() == formal.size());
  std::vector<Expression> merged;
  auto value = values.begin();
  auto other = rest.begin();
  for (const model::Parameter& p : formal) merged.push_back(is_finite(p) ? *value++ : *other++);
  return merged;
}

}  // namespace

// --- expressions ---

// A ground fluent or constant stands for (original, values of its finite parameters). The maps
// `new_fluents_` and `new_constants_` lead to it and `map_back_` back, one to one. So the two walks
// below undo each other:
//   f(v, x)  <->  f_i(x)   with v the values of the finite parameters that made f_i.

/// Replaces applications to values by references of what they were ground to.
class Grounder::FunApplySubstituter : public model::ExpressionIdentity {
 public:
  FunApplySubstituter(Environment& env, const Grounder& grounder)
      : ExpressionIdentity(env), grounder_(grounder), simplify_(env) {}

 protected:
  Expression walk_functional_apply(Expression e) const override {
    if (!grounder_.ground_all_) return e;
    model::ExpressionFactory& ef = environment().expression_factory();
    const Expression reference = ef.get_reference_from_functional_apply(e);
    Expression made = nullptr;
    std::vector<Expression> rest;
    if (ef.is_fluent_reference(reference)) {
      const model::Fluent fluent = ef.get_fluent_from_reference(reference);
      const Values values = split_arguments(e, fluent->parameters(), rest);
      const auto found = grounder_.new_fluents_.find({fluent, values});
      if (found != grounder_.new_fluents_.end()) made = ef.make_fluent_reference(found->second);
    } else if (ef.is_constant_reference(reference)) {
      const model::Constant constant = ef.get_constant_from_reference(reference);
      const Values values = split_arguments(e, constant->parameters(), rest);
      const auto found = grounder_.new_constants_.find({constant, values});
      if (found != grounder_.new_constants_.end()) {
        made = ef.make_constant_reference(found->second);
      }
    }
    if (made == nullptr) return ExpressionIdentity::walk_functional_apply(e);
    return rest.empty() ? made : ef.make_functional_apply(made, rest);
  }

 private:
  Values split_arguments(Expression e, const model::Parameters& formal, Values& rest) const {
    const model::ExpressionFactory& ef = environment().expression_factory();
    Values values;
    for (std::size_t i = 0; i < formal.size() && i < e->arity(); ++i) {
      const Expression argument = memoized_value(e->child(i));
      if (!is_finite(formal[i])) {
        rest.push_back(argument);
        continue;
      }
      values.push_back(simplify_(argument));
      if (!ef.is_constant(values.back()) && !ef.is_instance_reference(values.back())) {
        throw GroundingFailedError("To ground a functional apply its parameters must be constant");
      }
    }
    return values;
  }

  const Grounder& grounder_;
  model::ExpressionSimplifier simplify_;
};

/// The way back: references of ground fluents become applications again.
class Grounder::FunApplyRestorer : public model::ExpressionIdentity {
 public:
  FunApplyRestorer(Environment& env, const Grounder& grounder)
      : ExpressionIdentity(env), grounder_(grounder) {}

 protected:
  Expression walk_fluent_reference(Expression e) const override { return restore(e, {}); }

  Expression walk_functional_apply(Expression e) const override {
    const model::ExpressionFactory& ef = environment().expression_factory();
    const Expression reference = ef.get_reference_from_functional_apply(e);
    if (!ef.is_fluent_reference(reference) || origin_of(reference) == nullptr) {
      return ExpressionIdentity::walk_functional_apply(e);
    }
    return restore(reference, walked_children(e));
  }

 private:
  const std::pair<model::Fluent, Values>* origin_of(Expression reference) const {
    const model::ExpressionFactory& ef = environment().expression_factory();
    const auto found = grounder_.map_back_.find(ef.get_fluent_from_reference(reference));
    return found == grounder_.map_back_.end() ? nullptr : &found->second;
  }

  Expression restore(Expression reference, const Values& rest) const {
    model::ExpressionFactory& ef = environment().expression_factory();
    const auto* origin = origin_of(reference);
    if (origin == nullptr) return reference;
    const auto& [fluent, values] = *origin;
    // A reference below an application with infinite parameters is not complete yet.
    if (values.size() + rest.size() != fluent->arity()) return reference;
    return ef.make_functional_apply(ef.make_fluent_reference(fluent),
                                    merge(fluent->parameters(), values, rest));
  }

  const Grounder& grounder_;
};

// --- instances of actions ---

/// Makes the expressions of one action for combinations of values of its finite parameters. What
/// becomes of an expression under the values of its own parameters is computed once: an action with
/// n parameters of k values has k^n combinations, but most of its statements read one or two of
/// them (the same idea as joining the conditions of a rule by shared variables; Helmert, "Concise
/// finite-domain representations for PDDL planning tasks", AIJ 2009).
class Grounder::ActionInstantiation {
 public:
  ActionInstantiation(Environment& env, const model::Action& action,
                      const ParameterDomains& domains, const FunApplySubstituter& fun_apply,
                      bool ground_all, bool prune_false)
      : env_(env),
        domains_(domains),
        fun_apply_(fun_apply),
        simplify_(env),
        ground_all_(ground_all),
        prune_false_(prune_false) {
    const Expression fixed = get_fixed_duration(env, env.expression_factory(), action);
    std::optional<rational> duration;
    if (fixed != nullptr) duration = env.expression_factory().get_number(fixed);
    for (const Expression e : action->expressions()) {
      templates_.push_back(read_template(e));
      if (!env.expression_factory().is_temporal_expression(e)) continue;
      const Extent extent =
          extent_of(env, decompose_statement(e), action.get(), duration ? &*duration : nullptr);
      templates_.back().may_ask_nothing = extent != Extent::NEVER_EMPTY;
    }
  }

  /// The kept expressions under one combination, or nothing when it is given up. `digits` has one
  /// value index for each finite parameter, and `values` relates the references of all parameters.
  /// Throws `UndefinedConstantError` when a constant has no value.
  std::optional<model::ExpressionSet> instantiate(const std::uint32_t* digits,
                                                  const Substitution& values) {
    assert(values.size() >= domains_.references.size());
    const ExpressionSubstituter substitute(env_, values);
    model::ExpressionSet kept;
    for (Template& t : templates_) {
      const Instance instance = instance_of(t, digits, substitute);
      if (instance.is_false && prune_false_) return std::nullopt;
      if (instance.expression != nullptr) kept.insert(instance.expression);
    }
    return kept;
  }

 private:
  /// What a template became; no expression when it is true.
  struct Instance {
    Expression expression = nullptr;
    bool is_false = false;
  };

  /// An expression of the action. `parameters` are the positions of the finite ones that it reads,
  /// ascending, and `instances` what it became, keyed by their values' indices.
  struct Template {
    Expression expression;
    bool has_constants = false;
    bool has_infinite_parameters = false;
    /// It is a condition over a window that may hold no time: being false, it refutes nothing.
    bool may_ask_nothing = false;
    std::vector<std::size_t> parameters;
    std::unordered_map<std::vector<std::uint32_t>, Instance> instances;
  };

  Template read_template(Expression e) const {
    const model::ExpressionFactory& ef = env_.expression_factory();
    Template t;
    t.expression = e;
    std::vector<bool> reads(domains_.references.size(), false);
    std::vector<Expression> todo{e};
    std::unordered_set<Expression> seen{e};
    const auto visit = [&](Expression node) {
      if (seen.insert(node).second) todo.push_back(node);
    };
    while (!todo.empty()) {
      const Expression node = todo.back();
      todo.pop_back();
      for (const Expression child : node->children()) visit(child);
      if (ef.is_functional_apply(node)) visit(ef.get_reference_from_functional_apply(node));
      if (ef.is_constant_reference(node)) t.has_constants = true;
      if (!ef.is_parameter_reference(node)) continue;
      const auto found = std::find(domains_.references.begin(), domains_.references.end(), node);
      if (found == domains_.references.end()) {
        t.has_infinite_parameters = true;
      } else {
        reads[static_cast<std::size_t>(found - domains_.references.begin())] = true;
      }
    }
    for (std::size_t p = 0; p < reads.size(); ++p) {
      if (reads[p]) t.parameters.push_back(p);
    }
    return t;
  }

  Instance instance_of(Template& t, const std::uint32_t* digits,
                       const ExpressionSubstituter& substitute) {
    // Each combination of all parameters comes once, and infinite parameters are new each time.
    if (t.has_infinite_parameters || t.parameters.size() == domains_.references.size()) {
      return make_instance(t, substitute);
    }
    std::vector<std::uint32_t> key;
    for (const std::size_t p : t.parameters) key.push_back(digits[p]);
    const auto found = t.instances.find(key);
    if (found != t.instances.end()) return found->second;
    return t.instances[key] = make_instance(t, substitute);
  }

  Instance make_instance(const Template& t, const ExpressionSubstituter& substitute) {
    const model::ExpressionFactory& ef = env_.expression_factory();
    Expression e = substitute(t.expression);
    if (ground_all_) e = fun_apply_(e);
    e = simplify_(e);
    if (t.has_constants) e = ConstantChecker(env_)(e);
    const Expression body = ef.is_temporal_expression(e) ? e->child(1) : e;
    return {ef.is_true(body) ? nullptr : e, ef.is_false(body) && !t.may_ask_nothing};
  }

  Environment& env_;
  const ParameterDomains& domains_;
  const FunApplySubstituter& fun_apply_;
  model::ExpressionSimplifier simplify_;
  bool ground_all_;
  bool prune_false_;
  std::vector<Template> templates_;
};

// --- the problem ---

Grounder::Grounder(const model::ProblemInstance& input_problem, bool ground_all, bool prune_actions)
    : BasicTransformer(input_problem),
      ground_all_(ground_all),
      constants_may_be_open_(environment().configuration().get_boolean_value("pddl")),
      prune_actions_(prune_actions) {}

Grounder::~Grounder() = default;

// Fluents and constants come first: what actions and statements read is looked up in their maps.
void Grounder::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  require_flat(problem, "The grounding phase can be only applied to flattened models!");
  LOG(LogLevel::DEBUG) << "Grounder started!";
  LOG(LogLevel::DEBUG) << "--> Re-introduce the top-level instances";
  parts_.take_instances(problem);
  if (ground_all_) {
    LOG(LogLevel::DEBUG) << "--> Ground the top-level fluents and constants";
    ground_fluents();
    ground_constants();
  } else {
    LOG(LogLevel::DEBUG) << "--> Re-introduce the top-level fluents and constants";
    parts_.take_fluents(problem);
    parts_.take_constants(problem);
  }
  const FunApplySubstituter fun_apply(environment(), *this);
  LOG(LogLevel::DEBUG) << "--> Re-introduce the user types";
  parts_.take_user_types(problem);
  LOG(LogLevel::DEBUG) << "--> Ground the actions";
  for (const auto& [name, action] : problem->actions()) ground_action(action, fun_apply);
  LOG(LogLevel::DEBUG) << "--> Re-introduce all the expressions";
  for (const Expression e : problem->expressions()) parts_.expressions.insert(fun_apply(e));
  for (const auto& [first, second] : problem->labels_orderings()) {
    const Expression new_first = fun_apply(first);
    parts_.add_ordering(new_first, fun_apply(second));
  }
  output_problem_ = parts_.make(environment());
  LOG(LogLevel::DEBUG) << "Grounding completed! (" << parts_.actions.size()
                       << " actions resulting)";
}

// Numbers go on from name to name, so that no candidate is looked at twice.
std::string Grounder::fresh_name(const std::string& name, std::size_t& index) const {
  std::string candidate = name + "_" + std::to_string(index++);
  while (input_problem()->has_name(candidate)) candidate = name + "_" + std::to_string(index++);
  return candidate;
}

// A fluent without finite parameters is kept as it is; one with infinite parameters beside finite
// ones keeps those.
void Grounder::ground_fluents() {
  model::ModelFactory& mf = environment().model_factory();
  const model::Domains domains(*input_problem());
  for (const auto& [name, fluent] : input_problem()->fluents()) {
    const model::Parameters finite = finite_parameters(fluent->parameters());
    if (finite.empty()) {
      parts_.add(fluent);
      continue;
    }
    const model::Parameters infinite = infinite_parameters(fluent->parameters());
    const model::DomainProduct combinations(domains, finite);
    std::size_t fluent_name_index = 0;
    for (std::size_t i = 0; i < combinations.size(); ++i) {
      const Values values = combinations.combination(i);
      Substitution unused;
      const model::Parameters parameters = copy_parameters(environment(), infinite, unused);
      const model::Fluent made =
          mf.make_fluent(fresh_name(name, fluent_name_index), fluent->type(), {}, parameters);
      parts_.add(made);
      new_fluents_[{fluent, values}] = made;
      map_back_[made] = {fluent, values};
    }
  }
}

// PDDL leaves entries of its functions open: such a constant is made without a value, and what
// reads it is pruned. Elsewhere a missing entry is an error.
void Grounder::ground_constants() {
  model::ModelFactory& mf = environment().model_factory();
  const model::Domains domains(*input_problem());
  for (const auto& [name, constant] : input_problem()->constants()) {
    if (!constant->has_parameters()) {
      parts_.add(constant);
      continue;
    }
    if (!infinite_parameters(constant->parameters()).empty()) {
      throw InternalError("Ground all not supported for Constant with infinite formal parameters!");
    }
    const model::DomainProduct combinations(domains, constant->parameters());
    std::size_t constant_name_index = 0;
    for (std::size_t i = 0; i < combinations.size(); ++i) {
      const Values values = combinations.combination(i);
      const model::FunctionValue old_value = constant->value();
      const Expression value = old_value == nullptr ? nullptr : old_value->assignment(values);
      if (value == nullptr && !constants_may_be_open_) {
        throw InternalError("Constants values are not fully defined!");
      }
      auto new_value = std::make_shared<model::FunctionValueImpl>();
      if (value != nullptr) new_value->default_value(value);
      const model::Constant made = mf.make_constant(fresh_name(name, constant_name_index),
                                                    constant->type(), {}, {}, {{"", new_value}});
      parts_.add(made);
      new_constants_[{constant, values}] = made;
    }
  }
}

void Grounder::add_action(const model::Action& made, const model::Action& action,
                          const Values& values) {
  assert(!expansions_.contains(made) && "each combination has an action of its own");
  parts_.add(made);
  expansions_[made] = {action, values};
  expansions_forward_.try_emplace({action, values}, made);
}

// In two steps: which combinations of values survive is found parameter by parameter, without
// making expressions of those that do not (`surviving_combinations`); then each survivor is
// instantiated, which may still give it up, for what only the simplified expressions show.
void Grounder::ground_action(const model::Action& action, const FunApplySubstituter& fun_apply) {
  Environment& env = environment();
  model::ExpressionFactory& ef = env.expression_factory();
  model::ModelFactory& mf = env.model_factory();
  const model::Parameters finite = finite_parameters(action->parameters());
  const model::Parameters infinite = infinite_parameters(action->parameters());
  if (finite.empty()) {
    Substitution substitution;
    const model::Parameters parameters = copy_parameters(env, infinite, substitution);
    const ExpressionSubstituter substitute(env, substitution);
    const model::ExpressionSimplifier simplify(env);
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) {
      expressions.insert(simplify(fun_apply(substitute(e))));
    }
    add_action(mf.make_action(action->name(), {}, parameters, expressions), action, {});
    return;
  }

  const model::Domains all_domains(*input_problem());
  ParameterDomains domains;
  for (const model::Parameter& p : finite) {
    domains.references.push_back(ef.make_parameter_reference(p));
    domains.values.push_back(all_domains.elements(p->type()));
  }
  const auto log_undefined = [&action](const std::string& message) {
    LOG(LogLevel::DEBUG) << "--> Pruning action " << action->name()
                         << " because it contains a constant that "
                         << "is not initialized: " << message;
  };
  std::function<void(const std::string&)> observer;
  if (Log::is_on(LogLevel::DEBUG)) observer = log_undefined;
  const std::vector<std::uint32_t> survivors =
      surviving_combinations(env, action, domains, prune_actions_, observer);

  assert(survivors.size() % finite.size() == 0 && "a row of value indices for each combination");
  ActionInstantiation instantiation(env, action, domains, fun_apply, ground_all_, prune_actions_);
  std::size_t action_name_index = 0;
  for (std::size_t row = 0; row < survivors.size(); row += finite.size()) {
    const std::uint32_t* digits = survivors.data() + row;
    Substitution substitution;
    const model::Parameters parameters = copy_parameters(env, infinite, substitution);
    Values values;
    for (std::size_t p = 0; p < finite.size(); ++p) {
      values.push_back(domains.values[p][digits[p]]);
      substitution[domains.references[p]] = values.back();
    }
    try {
      const auto expressions = instantiation.instantiate(digits, substitution);
      if (!expressions) continue;
      const std::string name = fresh_name(action->name(), action_name_index);
      add_action(mf.make_action(name, {}, parameters, *expressions), action, values);
    } catch (const UndefinedConstantError& error) {
      log_undefined(error.message());
    }
  }
}

// --- plans ---

BasicTransformer::Step Grounder::expand(const model::Instance& object, const model::Action& action,
                                        const std::vector<Expression>& parameters,
                                        const char* unknown_message) const {
  const auto found = expansions_.find(action);
  if (found == expansions_.end()) throw InternalError(unknown_message);
  const auto& [old_action, values] = found->second;
  if (values.size() + parameters.size() != old_action->parameters().size()) {
    throw InternalError("Missing parameters initialization in grounder map-back!");
  }
  return {object, old_action, merge(old_action->parameters(), values, parameters)};
}

BasicTransformer::Step Grounder::map_back(const model::Instance& object,
                                          const model::Action& action,
                                          const std::vector<Expression>& parameters) const {
  return expand(object, action, parameters, "Found an action that is unknown to the transformer!");
}

bool Grounder::has_image(const model::Action& action,
                         const std::vector<Expression>& parameters) const {
  for (const model::Parameter& formal : action->parameters()) {
    if (!formal->type()->is_finite_domain()) return true;  // `map_forward` refuses it by name
  }
  return expansions_forward_.contains({action, parameters});
}

std::vector<BasicTransformer::ForwardStep> Grounder::map_forward(
    const model::Instance& /*object*/, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto found = expansions_forward_.find({action, parameters});
  if (found == expansions_forward_.end() || found->second->has_parameters()) {
    throw InternalError("Grounder map forward works only with action with only finite parameters!");
  }
  return {ForwardStep{nullptr, found->second, {}, nullptr}};
}

std::shared_ptr<Plan> Grounder::map_back(const std::shared_ptr<Plan>& plan) const {
  const FunApplyRestorer restore(environment(), *this);
  return map_plan(plan, "grounder", [&](MappedStep step) -> std::optional<MappedStep> {
    std::tie(step.object, step.action, step.parameters) =
        expand(step.object, step.action, step.parameters,
               "Found an action that is unknown to the grounder!");
    if (step.post_condition != nullptr) step.post_condition = restore(step.post_condition);
    return step;
  });
}

}  // namespace kelvo
