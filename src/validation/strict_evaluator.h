#pragma once

#include <span>
#include <string>
#include <vector>

#include "validation/strict_program.h"
#include "validation/strict_state.h"

namespace kelvo::strict {

/// What the parameters, the object and the times of a statement stand for. Times of a statement of
/// the problem are those of the plan.
struct Bindings {
  std::span<const Value> parameters;
  Value object = kNoValue;
  Value start = kNoValue;
  Value end = kNoValue;
  Value duration = kNoValue;
};

/// Runs programs on a state.
///
/// What reads a fluent without a value, an argument outside its bounds or a division by zero has no
/// value; a connective has one nevertheless where its other operands decide it. All operands are
/// read, so that what an evaluation depends on does not depend on their order.
class Evaluator {
 public:
  Evaluator(Values& values, Functions& functions, GroundFluents& fluents)
      : values_(values), functions_(functions), fluents_(fluents) {}

  Value evaluate(const Program& program, const Bindings& bindings, const State& state);

  /// The ground fluents that were read since the last `forget`, in order, with repetitions.
  const std::vector<Slot>& reads() const { return reads_; }
  /// Why the first subexpression without a value has none; empty if all had one.
  const std::string& complaint() const { return complaint_; }
  /// The ground fluents that were read and had no value.
  const std::vector<Slot>& unset() const { return unset_; }
  void forget();

  /// The arguments as the parameters of the function hold them. False, with a complaint, if some
  /// argument has no value that its parameter may have.
  bool fit_arguments(const Function& function, std::span<Value> arguments);

 private:
  Value pop();
  void complain(const std::string& complaint);
  void read_fluent(std::size_t index, const State& state);
  void read_constant(std::size_t index);
  Value connective(Op op, std::size_t arity);
  Value comparison(Op op, Value a, Value b) const;
  Value arithmetic(Op op, Value a, Value b);
  Value fold(Op op, std::size_t arity);
  Value set_operation(Op op, Value a, Value b);
  Value make_set(std::size_t arity);
  void binary(Op op);

  Values& values_;
  Functions& functions_;
  GroundFluents& fluents_;
  std::vector<Value> stack_;
  std::vector<Slot> reads_;
  std::vector<Slot> unset_;
  std::string complaint_;
};

}  // namespace kelvo::strict
