#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "planners/task/value_table.h"
#include "shell/hashing.h"

namespace kelvo {

/// A fluent or constant applied to arguments that depend on the state.
struct ApplicationTable {
  struct KeyHash {
    std::size_t operator()(const std::vector<ValueId>& key) const { return hash_of_range(key); }
  };
  using Entries = std::unordered_map<std::vector<ValueId>, std::uint32_t, KeyHash>;

  model::Expression reference;
  /// By argument: an integral number is an integer here.
  std::vector<bool> is_numeric;
  /// Argument values to the slot of the fluent, or to the value of the constant. Values of a
  /// constant are entered when they are first asked for.
  mutable Entries entries;
};

enum class ProgramOp : std::uint8_t {
  VALUE,     // pushes the value with id `arg`
  BIT,       // pushes the boolean slot at bit `arg`
  ID,        // pushes the slot at value index `arg`
  FLUENT,    // pops `count` arguments, pushes the value of table `arg`
  CONSTANT,  // the same for a constant of the model
  NOT,
  AND,  // the n-ary operators pop `count` operands
  OR,
  IMPLY,
  IFF,
  EQUALS,
  LT,
  LE,
  GT,
  GE,
  TIMES,
  PLUS,
  DIV,
  MINUS,
  PUNT,  // not for machine words: the walker evaluates the expression
};

struct ProgramStep {
  ProgramOp op;
  std::uint32_t arg = 0;
  std::uint32_t count = 0;
};

/// An expression in postfix form over a state's slots. Its values are those of the model's
/// evaluator; where that takes more than machine words, or raises, the program punts to it.
struct Program {
  model::Expression expression = nullptr;
  std::vector<ProgramStep> steps;
  std::vector<std::shared_ptr<const ApplicationTable>> tables;
  /// The slots that are read, sorted; with `reads_all`, any may be.
  std::vector<std::uint32_t> reads;
  bool reads_all = false;
};

/// One word of a conjunction of literals: `(bits[word] & mask) == expected`.
struct WordTest {
  std::uint32_t word;
  std::uint64_t mask;
  std::uint64_t expected;
};

/// A slot of instances that is compared with one: `(ids[position] == value) == is_equal`.
struct ValueTest {
  std::uint32_t slot;
  std::uint32_t position;
  ValueId value;
  bool is_equal;
};

/// A condition on a state. A conjunction of literals is tests of words and values; where it has
/// only the former, it is a mask. Whatever is no mask has a program for the whole.
struct Condition {
  bool is_mask = true;
  bool is_conjunction = true;
  bool never = false;  // a mask condition that is false in every state
  std::vector<WordTest> tests;
  std::vector<ValueTest> values;
  Program program;
};

/// One assignment of an effect that is no constant for a boolean slot.
struct Assignment {
  /// The slot, unless `target` stands for it.
  std::uint32_t slot = 0;
  /// The left side, when its arguments depend on the state: arguments and a last `FLUENT` step.
  std::shared_ptr<const Program> target;
  bool is_constant = false;
  ValueId constant = 0;
  Program value;
};

struct WordUpdate {
  std::uint32_t word;
  std::uint64_t clear;
  std::uint64_t set;
};

/// An effect: all right sides read the state before it.
struct EffectProgram {
  std::vector<WordUpdate> updates;
  std::vector<Assignment> assignments;
  bool never = false;  // assigns a constant outside its fluent's bounds
  /// The slots that are written, sorted; with `writes_all`, any may be.
  std::vector<std::uint32_t> writes;
  bool writes_all = false;
};

}  // namespace kelvo
