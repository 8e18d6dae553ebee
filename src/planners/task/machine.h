#pragma once

#include <optional>
#include <span>
#include <vector>

#include "planners/task/program.h"
#include "planners/task/state_space.h"
#include "shell/env_object.h"

namespace kelvo {

/// Evaluates programs on states. The results are those of `model::ExpressionEvaluator`, which it
/// falls back on for what does not fit into machine words.
class Machine : public EnvObject {
 public:
  explicit Machine(StateSpace& space) : EnvObject(space.environment()), space_(space) {}

  /// Whether the condition holds. One that has no value, as for an argument outside its parameter's
  /// bounds, a quotient by 0 or a fluent without a value, does not; where one side of a connective
  /// decides, the other one need not have a value. Throws `InternalError` on a value that is no
  /// boolean.
  bool holds(const Condition& condition, const StateValues& state) {
    if (!condition.is_conjunction) return holds(condition.program, state);
    if (condition.never) return false;
    for (const WordTest& test : condition.tests) {
      if ((state.bits[test.word] & test.mask) != test.expected) return false;
    }
    for (const ValueTest& test : condition.values) {
      const ValueId value = state.ids[test.position];
      if (value == ValueTable::NONE || (value == test.value) != test.is_equal) return false;
    }
    return true;
  }
  bool holds(const Program& program, const StateValues& state);

  /// Applies the effect to `bits` and `ids`, which hold a copy of `before`. False when a value lies
  /// outside its fluent's bounds, or there is none.
  bool apply(const EffectProgram& effect, const StateValues& before, std::uint64_t* bits,
             ValueId* ids);

  /// The value of a term. Throws `OutOfBoundsValue` where it has none.
  Value evaluate(const Program& program, const StateValues& state);
  /// The slot of the application that `target` computes; see `Assignment`. Throws `InternalError`
  /// when there is none.
  std::size_t target_slot(const Program& target, const StateValues& state);

  /// The value of one step on operands, for a step that reads no fluent. Nothing when it takes more
  /// than machine words or there is no value.
  std::optional<Value> combine(const Program& program, const ProgramStep& step,
                               std::span<const Value> operands);

 private:
  bool holds_in_part(model::Expression root, const StateValues& state);
  bool run(const Program& program, const StateValues& state, std::size_t num_steps);
  bool run_step(const Program& program, const ProgramStep& step, const StateValues& state);
  bool collect_arguments(const ApplicationTable& table, std::size_t count);
  bool compare(ProgramOp op);
  bool add_up(std::size_t count);
  bool multiply(std::size_t count);
  bool subtract();
  bool divide();
  model::Expression evaluate_expression(model::Expression e, const StateValues& state);
  bool writes_twice(const EffectProgram& effect, const StateValues& before);
  bool assign(const Assignment& assignment, const StateValues& before, std::uint64_t* bits,
              ValueId* ids);

  StateSpace& space_;
  std::vector<Value> stack_;
  std::vector<ValueId> arguments_;
  std::vector<std::uint32_t> written_;
};

}  // namespace kelvo
