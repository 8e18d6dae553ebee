#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/task/machine.h"
#include "planners/task/program.h"
#include "planners/task/state_space.h"

namespace kelvo {

/// A set of values, sorted by id. A set that grows beyond `MAX_SIZE` counts as any value, so that
/// growing numbers come to an end.
struct ValueSet {
  static constexpr std::size_t MAX_SIZE = 1000;

  std::vector<ValueId> values;
  bool any = false;

  static ValueSet of(ValueId value) { return {{value}, false}; }
  static ValueSet all() { return {{}, true}; }
  bool contains(ValueId value) const;
  bool is_empty() const { return !any && values.empty(); }
  /// False when it was in the set.
  bool insert(ValueId value);
  /// Whether the set grew.
  bool merge(const ValueSet& other);
};

/// The values that each slot may have when time and order are forgotten, and what expressions may
/// evaluate to then: an over-approximation. Sets only grow.
class PossibleValues {
 public:
  explicit PossibleValues(StateSpace& space);

  /// One value for each slot.
  void assign(const StateValues& state);
  /// Whether the slot's set grew. Values outside the bounds of the slot's type are left out.
  bool add(std::size_t slot, const ValueSet& values);

  /// The same for the boolean slots of one word at once: the bits whose sets grew.
  bool add_rationals(std::uint32_t position, const model::Type& type, const ValueSet& values);
  std::uint64_t add_booleans(std::uint32_t word, std::uint64_t can_be_true,
                             std::uint64_t can_be_false);

  bool possibly_true(const Condition& condition);
  ValueSet evaluate(const Program& program);
  /// The slots that an application may stand for; see `Assignment`.
  std::vector<std::size_t> target_slots(const Program& target);

 private:
  void run(const Program& program, std::size_t num_steps);
  void run_step(const Program& program, const ProgramStep& step);
  ValueSet pop();
  ValueSet binary(const Program& program, const ProgramStep& step, const ValueSet& left,
                  const ValueSet& right);
  ValueSet junction(const ProgramStep& step);
  ValueSet fold(const Program& program, const ProgramStep& step);
  ValueSet apply_constant(const Program& program, const ProgramStep& step);
  std::vector<std::size_t> matching_slots(const ApplicationTable& table, std::size_t count);

  StateSpace& space_;
  Machine machine_;
  std::vector<std::uint64_t> can_be_true_;
  std::vector<std::uint64_t> can_be_false_;
  std::vector<ValueSet> sets_;  // of the slots that are not boolean
  std::vector<ValueSet> stack_;
};

}  // namespace kelvo
