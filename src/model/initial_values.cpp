#include "model/initial_values.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>

#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/expression_free_vars.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::model {

namespace {

/// What an evaluation met first that has no value yet.
struct Unset {
  Expression fluent;
};

/// Knows the values that are resolved so far.
class PartialEvaluator : public StateEvaluator {
 public:
  PartialEvaluator(Environment& env, const InitialValues& values)
      : StateEvaluator(env), values_(values) {}

 protected:
  Expression lookup(Expression ground_fluent) const override {
    const auto value = values_.find(ground_fluent);
    if (value == values_.end()) throw Unset{ground_fluent};
    return value->second;
  }

 private:
  const InitialValues& values_;
};

class Resolver : public EnvObject {
 public:
  Resolver(Environment& env, const std::vector<InitialAssignment>& assignments)
      : EnvObject(env), ef_(env.expression_factory()), simplifier_(env), free_vars_(env) {
    for (const InitialAssignment& assignment : assignments) add(assignment);
  }

  InitialValues resolve() {
    for (std::size_t i = 0; i < open_.size(); ++i) resolve(i);
    return std::move(values_);
  }

 private:
  enum class Progress : std::uint8_t { NEW, STARTED, DONE };

  struct Open {
    InitialAssignment assignment;
    Expression key;  // null while the arguments are not known
    Progress progress = Progress::NEW;
  };

  // Most assignments give a constant to a ground fluent, and are done here.
  void add(const InitialAssignment& assignment) {
    const bool is_ground = is_ground_target(assignment.target);
    const Expression key = is_ground ? evaluated_target(assignment.target) : nullptr;
    const Expression value = simplifier_(assignment.value);
    if (is_ground && (ef_.is_constant(value) || ef_.is_instance_reference(value))) {
      enter(key);
      values_.emplace(key, stored(key, value));
      return;
    }
    if (is_ground) {
      enter(key);
      givers_.emplace(key, open_.size());
    } else {
      num_unknown_ += 1;
    }
    open_.push_back({assignment, key});
  }

  bool is_ground_target(Expression target) const {
    if (!ef_.is_functional_apply(target)) return true;
    return std::ranges::all_of(target->children(), [this](Expression argument) {
      return ef_.is_constant(argument) || ef_.is_instance_reference(argument) ||
             free_vars_(argument).empty();
    });
  }

  Expression evaluated_target(Expression target) const {
    if (!ef_.is_functional_apply(target)) return simplifier_(target);
    const Expression reference = ef_.get_reference_from_functional_apply(target);
    const Parameters& parameters = ef_.get_fluent_from_reference(reference)->parameters();
    std::vector<Expression> arguments(target->children().begin(), target->children().end());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (!ef_.is_constant(arguments[i]) && !ef_.is_instance_reference(arguments[i])) {
        arguments[i] = PartialEvaluator(environment(), values_)(arguments[i]);
      }
      arguments[i] = as_argument(ef_, parameters[i]->type(), arguments[i]);
    }
    return ef_.make_functional_apply(reference, arguments);
  }

  void enter(Expression key) {
    if (given_.insert(key).second) return;
    throw InvalidParameterError() << "Fluent " << print_expression(key)
                                  << " is given two initial values";
  }

  // A number as the fluent's type holds it.
  Expression stored(Expression key, Expression value) const {
    const bool is_applied = ef_.is_functional_apply(key);
    const Expression reference = is_applied ? ef_.get_reference_from_functional_apply(key) : key;
    if (!ef_.is_fluent_reference(reference)) return value;
    const Type type = ef_.get_fluent_from_reference(reference)->type();
    if (type->is_rational() && ef_.is_integer_constant(value)) {
      return ef_.make_rational_constant(rational(ef_.get_integer_constant(value)));
    }
    return as_argument(ef_, type, value);
  }

  // Depth first, on a stack: what is read comes before what reads it.
  void resolve(std::size_t root) {
    std::vector<std::size_t> todo{root};
    while (!todo.empty()) {
      const std::size_t i = todo.back();
      if (open_[i].progress == Progress::DONE) {
        todo.pop_back();
        continue;
      }
      if (open_[i].progress == Progress::NEW) {
        open_[i].progress = Progress::STARTED;
        push_known_reads(i, todo);
        if (todo.back() != i) continue;
      }
      try {
        give_value(i);
        todo.pop_back();
      } catch (const Unset& unset) {
        push_givers(i, unset.fluent, todo);
      }
    }
  }

  void give_value(std::size_t i) {
    if (open_[i].key == nullptr) {
      const Expression key = evaluated_target(open_[i].assignment.target);
      enter(key);
      open_[i].key = key;
      num_unknown_ -= 1;
    }
    const PartialEvaluator evaluate(environment(), values_);
    const Expression value = evaluate(open_[i].assignment.value);
    values_.emplace(open_[i].key, stored(open_[i].key, value));
    open_[i].progress = Progress::DONE;
  }

  // At once, so that an expression is not evaluated again for each fluent that it reads.
  void push_known_reads(std::size_t i, std::vector<std::size_t>& todo) {
    for (const Expression variable : free_vars_(open_[i].assignment.value)) {
      const auto giver = givers_.find(variable);
      if (giver == givers_.end()) continue;
      if (open_[giver->second].progress == Progress::STARTED) fail_of_cycle(i, variable);
      todo.push_back(giver->second);
    }
  }

  void push_givers(std::size_t reader, Expression fluent, std::vector<std::size_t>& todo) {
    if (const auto giver = givers_.find(fluent); giver != givers_.end()) {
      if (open_[giver->second].progress == Progress::STARTED) fail_of_cycle(reader, fluent);
      todo.push_back(giver->second);
      return;
    }
    // One of those whose arguments are not known yet may give it.
    bool is_found = false;
    for (std::size_t i = 0; num_unknown_ > 0 && i < open_.size(); ++i) {
      if (open_[i].key != nullptr || !is_same_function(open_[i].assignment.target, fluent))
        continue;
      if (open_[i].progress == Progress::STARTED) fail_of_cycle(reader, fluent);
      todo.push_back(i);
      is_found = true;
    }
    if (is_found) return;
    throw InvalidParameterError() << "The initial value of "
                                  << print_expression(open_[reader].assignment.target)
                                  << " reads fluent " << print_expression(fluent)
                                  << ", which has no initial value";
  }

  bool is_same_function(Expression a, Expression b) const {
    return ef_.is_functional_apply(a) && ef_.is_functional_apply(b) &&
           ef_.get_reference_from_functional_apply(a) == ef_.get_reference_from_functional_apply(b);
  }

  [[noreturn]] void fail_of_cycle(std::size_t reader, Expression fluent) const {
    throw InvalidParameterError() << "The initial value of "
                                  << print_expression(open_[reader].assignment.target)
                                  << " reads fluent " << print_expression(fluent)
                                  << ", whose initial value depends on it";
  }

  ExpressionFactory& ef_;
  ExpressionSimplifier simplifier_;
  ExpressionFreeVars free_vars_;
  InitialValues values_;
  std::unordered_set<Expression> given_;
  std::vector<Open> open_;
  std::unordered_map<Expression, std::size_t> givers_;
  std::size_t num_unknown_ = 0;
};

}  // namespace

InitialValues resolve_initial_values(Environment& env,
                                     const std::vector<InitialAssignment>& assignments) {
  return Resolver(env, assignments).resolve();
}

}  // namespace kelvo::model
