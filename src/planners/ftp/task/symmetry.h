#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "planners/task/value_table.h"

namespace kelvo::ftp {

/// Objects that are alike: exchanging two of them maps the task onto itself. As long as nothing has
/// touched either of two, the same holds for the state, and so all that leads on with the one leads
/// on with the other: of actions that differ in untouched objects alone, one is enough (after Fox
/// and Long, "The detection and exploitation of symmetry in planning problems", IJCAI 1999, which
/// follows objects on as well).
class ObjectSymmetry {
 public:
  /// The task is borrowed. Costs little where no two objects begin alike, else time with the size
  /// of the lists that name such objects.
  explicit ObjectSymmetry(const GuidedTask& task);
  ~ObjectSymmetry();

  /// No two objects are alike.
  bool is_trivial() const { return classes_.empty(); }
  /// By class the objects that are alike, as instance references, in the order of the slots.
  std::vector<std::vector<model::Expression>> classes() const;

  /// Finds out which objects the state leaves untouched; the state is that of the calls below.
  void look_at(const GuidedState& state);
  /// The list that stands for this one where both may open: two lists with one representative
  /// have successors that differ in names alone.
  std::uint32_t representative(std::uint32_t list);

 private:
  class Finder;

  static constexpr std::uint32_t NONE = 0xffffffff;

  struct SwapKey {
    std::uint32_t list;
    std::uint32_t one;
    std::uint32_t other;
    friend auto operator<=>(const SwapKey&, const SwapKey&) = default;
  };

  void touch(std::uint32_t object) { is_touched_[object] = true; }
  std::uint32_t swapped(std::uint32_t list, std::uint32_t one, std::uint32_t other);

  std::unique_ptr<Finder> finder_;
  std::vector<std::vector<std::uint32_t>> classes_;
  std::vector<std::uint32_t> class_of_;  // by object; NONE for one that is like no other
  std::vector<std::vector<std::uint32_t>> objects_of_list_;  // those with a class
  /// By slot of the schedule: the objects with a class that its slots name.
  std::vector<std::vector<std::uint32_t>> objects_of_order_slot_;
  /// A slot whose value may be an object with a class.
  struct ObjectSlot {
    std::uint32_t position;
    std::uint32_t order_slot;
  };
  std::vector<ObjectSlot> object_slots_;
  std::unordered_map<ValueId, std::uint32_t> object_of_value_;
  std::vector<bool> is_touched_;
  std::map<SwapKey, std::uint32_t> swaps_;
};

}  // namespace kelvo::ftp
