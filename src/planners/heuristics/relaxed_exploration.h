#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "planners/heuristics/possible_values.h"
#include "planners/task/classical_action.h"
#include "planners/task/expression_compiler.h"

namespace kelvo {

/// Rounds of relaxed exploration: in each, every action whose condition is possibly true adds the
/// values of its effects to those that were possible before the round.
class RelaxedExploration {
 public:
  /// The space and the actions are borrowed.
  RelaxedExploration(StateSpace& space, const std::vector<ClassicalAction>& actions);

  /// Starts again with one value for each slot.
  void start(const StateValues& state);
  /// Adds a value before the first round.
  void add_initially(std::size_t slot, ValueId value);
  /// One round; false when nothing grew.
  bool advance();
  /// The actions of the latest round, those of earlier ones among them.
  const std::vector<std::uint32_t>& applicable() const { return applicable_; }

  PossibleValues& values() { return values_; }
  ExpressionCompiler& compiler() { return compiler_; }
  const std::vector<ClassicalAction>& actions() const { return actions_; }

 private:
  struct CompiledEffect {
    std::uint32_t slot = 0;
    std::shared_ptr<const Program> target;  // null for a fixed slot
    bool is_constant = false;
    ValueId constant = 0;
    Program value;
  };
  // What constants may make of the boolean slots of one word.
  struct WordAddition {
    std::uint32_t word;
    std::uint64_t can_be_true;
    std::uint64_t can_be_false;
  };
  struct CompiledAction {
    Condition condition;
    std::vector<WordAddition> additions;
    std::vector<CompiledEffect> effects;  // the others
  };

  void compile(const ClassicalAction& action);
  bool merge_additions();
  bool has_grown(const Program& program) const;

  StateSpace& space_;
  const std::vector<ClassicalAction>& actions_;
  ExpressionCompiler compiler_;
  PossibleValues values_;
  std::vector<CompiledAction> compiled_;

  std::size_t round_ = 0;
  std::vector<bool> is_applicable_;
  std::vector<std::uint32_t> applicable_;
  std::vector<bool> grew_;  // by slot, in the latest round
  std::vector<std::uint32_t> slot_of_bit_;
  // Of the round in the making.
  std::vector<WordAddition> word_additions_;  // by word
  std::vector<std::pair<std::size_t, ValueSet>> slot_additions_;
};

}  // namespace kelvo
