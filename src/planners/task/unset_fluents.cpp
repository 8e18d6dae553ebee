#include "planners/task/unset_fluents.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/domains.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/types.h"
#include "planners/task/problem_statements.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "shell/warnings.h"

namespace kelvo {

using model::Expression;

namespace {

constexpr std::size_t kNamed = 3;
// Applications of one function; looking at all of them must not be noticed behind a search.
constexpr std::size_t kLookedAt = 100000;

/// The fluents that expressions read: ground ones, and those that are read with parameters.
class ReadFluents {
 public:
  explicit ReadFluents(Environment& env) : ef_(env.expression_factory()), simplifier_(env) {}

  void add(Expression root) {
    std::vector<Expression> todo{root};
    while (!todo.empty()) {
      Expression e = todo.back();
      todo.pop_back();
      if (!seen_.insert(e).second) continue;
      if (ef_.is_fluent_reference(e)) ground_.insert(e);
      if (ef_.is_assign(e)) {
        // What is assigned is not read, but for its arguments.
        todo.push_back(e->child(1));
        e = e->child(0);
      } else if (ef_.is_functional_apply(e)) {
        add_application(e);
      }
      todo.insert(todo.end(), e->children().begin(), e->children().end());
    }
  }

  const std::unordered_set<Expression>& ground() const { return ground_; }
  /// Applications of constants, as they are written but for their simplified arguments.
  const std::vector<Expression>& entries() const { return entries_; }
  const std::unordered_set<model::Fluent>& lifted() const { return lifted_; }
  const std::unordered_set<model::Constant>& constants() const { return constants_; }

 private:
  void add_application(Expression e) {
    const Expression reference = ef_.get_reference_from_functional_apply(e);
    if (ef_.is_constant_reference(reference)) {
      entries_.push_back(e);
      constants_.insert(ef_.get_constant_from_reference(reference));
    }
    if (!ef_.is_fluent_reference(reference)) return;
    const Expression simple = simplifier_(e);
    const bool is_ground = std::ranges::all_of(simple->children(), [this](Expression argument) {
      return ef_.is_constant(argument) || ef_.is_instance_reference(argument);
    });
    if (is_ground) {
      ground_.insert(simple);
    } else {
      lifted_.insert(ef_.get_fluent_from_reference(reference));
    }
  }

  model::ExpressionFactory& ef_;
  model::ExpressionSimplifier simplifier_;
  std::unordered_set<Expression> seen_;
  std::unordered_set<Expression> ground_;
  std::unordered_set<model::Fluent> lifted_;
  std::unordered_set<model::Constant> constants_;
  std::vector<Expression> entries_;
};

bool is_value(const model::ExpressionFactory& ef, Expression e) {
  return ef.is_constant(e) || ef.is_instance_reference(e);
}

/// What some effect gives a value to, at the start or later.
class WrittenFluents {
 public:
  explicit WrittenFluents(Environment& env) : ef_(env.expression_factory()), simplifier_(env) {}

  void add(Expression e, const model::Action& action) {
    const std::optional<Effect> effect = get_effect(ef_, e, action);
    if (!effect) return;
    const Expression target = simplifier_(assigned_fluent(ef_, *effect));
    const bool is_ground = std::ranges::all_of(
        target->children(), [this](Expression argument) { return is_value(ef_, argument); });
    if (is_ground) {
      ground_.insert(target);
    } else {
      lifted_.insert(effect->fluent());
    }
  }
  const std::unordered_set<Expression>& ground() const { return ground_; }
  /// Those that are written with arguments that depend on the state.
  const std::unordered_set<model::Fluent>& lifted() const { return lifted_; }
  bool contains(Expression ground) const {
    const Expression reference =
        ef_.is_functional_apply(ground) ? ef_.get_reference_from_functional_apply(ground) : ground;
    const model::Fluent fluent = ef_.get_fluent_from_reference(reference);
    const bool is_reference = reference == ground && fluent->has_parameters();
    return is_reference || ground_.contains(ground) || lifted_.contains(fluent);
  }

 private:
  model::ExpressionFactory& ef_;
  model::ExpressionSimplifier simplifier_;
  std::unordered_set<Expression> ground_;
  std::unordered_set<model::Fluent> lifted_;
};

bool has_entry(Environment& env, Expression application) {
  const model::ExpressionFactory& ef = env.expression_factory();
  const model::ExpressionSimplifier simplifier(env);
  const model::Constant constant =
      ef.get_constant_from_reference(ef.get_reference_from_functional_apply(application));
  const model::FunctionValue value = constant->value();
  std::vector<Expression> key;
  for (const Expression argument : application->children()) {
    const Expression simple = simplifier(argument);
    if (!is_value(ef, simple)) return true;  // which entry it is depends on the state
    key.push_back(simple);
  }
  return value == nullptr || !value->has_assignments() || value->assignment(key) != nullptr;
}

std::string text_of(Expression e) {
  std::ostringstream text;
  text << model::print_expression(e);
  return text.str();
}

// How many lists of arguments there are; nothing where they are too many to look at.
std::optional<std::size_t> num_applications(const model::Domains& domains,
                                            const model::Parameters& parameters) {
  std::size_t result = 1;
  for (const model::Parameter& p : parameters) {
    if (!p->type()->is_finite_domain()) return {};
    try {
      result *= domains.size(p->type());
    } catch (const InternalError&) {
      return {};  // too many to be counted
    }
    if (result > kLookedAt) return {};
  }
  return result;
}

// The first application of a function with parameters that has no value, or one with dots where
// there are too many to look at; empty when all have one. `has_value` knows lists of arguments, of
// which there are `num_values`.
template <typename HasValue>
std::string unset_application(const model::Domains& domains, const std::string& name,
                              const model::Parameters& parameters, std::size_t num_values,
                              const HasValue& has_value) {
  const std::string any = name + "(...)";
  const std::optional<std::size_t> num_arguments = num_applications(domains, parameters);
  if (!num_arguments) return any;
  if (*num_arguments <= num_values) return "";
  const model::DomainProduct product(domains, parameters);
  for (std::size_t i = 0; i < product.size(); ++i) {
    const std::vector<Expression> arguments = product.combination(i);
    if (has_value(arguments)) continue;
    std::string text = name;
    for (const Expression e : arguments) text += (text == name ? "(" : ", ") + text_of(e);
    return text + ")";
  }
  return "";
}

}  // namespace

void refuse_unset_goals(const model::ProblemInstance& problem) {
  Environment& env = problem->environment();
  WrittenFluents written(env);
  for (const auto& [name, action] : problem->actions()) {
    for (const Expression e : action->expressions()) written.add(e, action);
  }
  for (const Expression e : problem->expressions()) written.add(e, nullptr);
  for (const Expression statement : problem->expressions()) {
    ReadFluents read(env);
    read.add(statement);
    std::set<std::string> unset;
    const auto note = [&unset](Expression e) { unset.insert(text_of(e)); };
    for (const Expression fluent : read.ground()) {
      if (!written.contains(fluent)) note(fluent);
    }
    for (const Expression entry : read.entries()) {
      if (!has_entry(env, entry)) note(entry);
    }
    if (unset.empty()) continue;
    throw InvalidParameterError() << "Nothing gives '" << *unset.begin()
                                  << "' a value, which is read by: "
                                  << model::print_expression(statement);
  }
}

std::vector<Expression> fluents_given_later(const model::ProblemInstance& problem) {
  Environment& env = problem->environment();
  model::ExpressionFactory& ef = env.expression_factory();
  WrittenFluents written(env);
  for (const auto& [name, action] : problem->actions()) {
    for (const Expression e : action->expressions()) written.add(e, action);
  }
  const ProblemStatements statements(problem);
  for (const Expression e : statements.timed_literals) written.add(e, nullptr);
  std::unordered_set<Expression> is_given;
  for (const Effect& effect : statements.initial_assignments) {
    is_given.insert(assigned_fluent(ef, effect));
  }
  std::map<std::string, Expression> later;
  const auto note = [&](Expression fluent) {
    if (!is_given.contains(fluent)) later.emplace(text_of(fluent), fluent);
  };
  for (const Expression fluent : written.ground()) note(fluent);
  const model::Domains domains(*problem);
  for (const model::Fluent& fluent : written.lifted()) {
    const Expression reference = ef.make_fluent_reference(fluent);
    if (!num_applications(domains, fluent->parameters())) continue;
    const model::DomainProduct product(domains, fluent->parameters());
    for (std::size_t i = 0; i < product.size(); ++i) {
      note(ef.make_functional_apply(reference, product.combination(i)));
    }
  }
  std::vector<Expression> result;
  for (const auto& [text, fluent] : later) result.push_back(fluent);
  return result;
}

std::string unset_fluents_note(const model::ProblemInstance& problem) {
  Environment& env = problem->environment();
  ReadFluents read(env);
  for (const auto& [name, action] : problem->actions()) {
    for (const Expression e : action->expressions()) read.add(e);
  }
  for (const Expression e : problem->expressions()) read.add(e);
  model::ExpressionFactory& ef = env.expression_factory();
  std::unordered_set<Expression> has_value;
  std::unordered_map<model::Fluent, std::size_t> num_values;
  for (const Expression fluent : ProblemStatements(problem).sorted_fluents(env)) {
    has_value.insert(fluent);
    if (!ef.is_functional_apply(fluent)) continue;
    const Expression reference = ef.get_reference_from_functional_apply(fluent);
    ++num_values[ef.get_fluent_from_reference(reference)];
  }
  std::set<std::string> unset;
  for (const Expression fluent : read.ground()) {
    if (!has_value.contains(fluent)) unset.insert(text_of(fluent));
  }
  const model::Domains domains(*problem);
  for (const model::Fluent& fluent : read.lifted()) {
    const Expression reference = ef.make_fluent_reference(fluent);
    unset.insert(unset_application(domains, fluent->name(), fluent->parameters(),
                                   num_values[fluent], [&](const std::vector<Expression>& key) {
                                     const Expression e = ef.make_functional_apply(reference, key);
                                     return has_value.contains(e);
                                   }));
  }
  for (const model::Constant& constant : read.constants()) {
    const model::FunctionValue value = constant->value();
    if (value == nullptr || !value->has_assignments()) continue;
    unset.insert(unset_application(domains, constant->name(), constant->parameters(),
                                   /*num_values=*/0, [&](const std::vector<Expression>& key) {
                                     return value->assignment(key) != nullptr;
                                   }));
  }
  unset.erase("");
  if (unset.empty()) return "";
  std::string note = "Read without a value at the start:";
  std::size_t num_named = 0;
  for (const std::string& name : unset) {
    if (num_named == kNamed) break;
    note += (num_named++ == 0 ? " '" : ", '") + name + "'";
  }
  if (unset.size() > kNamed) note += " and " + std::to_string(unset.size() - kNamed) + " more";
  return note + " (no step reads such a fluent before it is set)";
}

void warn_of_unset_fluents(const model::ProblemInstance& problem) {
  if (!Log::is_on(LogLevel::WARN)) return;
  const std::string note = unset_fluents_note(problem);
  if (!note.empty()) problem->environment().warning_manager().warn(note);
}

}  // namespace kelvo
