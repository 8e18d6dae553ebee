#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/parametric_object.h"
#include "validation/strict_functions.h"

namespace kelvo::strict {

enum class Op : std::uint8_t {
  VALUE,      // operand: the value
  PARAMETER,  // operand: its position in the action
  OBJECT,     // that executes the action
  START,
  END,
  DURATION,
  FLUENT,    // operand: the fluent; takes its arguments, the object of a member first
  CONSTANT,  // likewise
  AND,       // operand: the number of children; also for OR, PLUS, TIMES, SET
  OR,
  NOT,
  IMPLY,
  EQUALS,
  LT,
  LE,
  GT,
  GE,
  PLUS,
  TIMES,
  MINUS,
  DIV,
  IN,
  SUBSET,
  UNION,
  INTERSECTION,
  DIFFERENCE,
  SET,
};

struct Instruction {
  Op op;
  std::uint32_t operand = 0;
};

/// An expression in postfix form.
using Program = std::vector<Instruction>;

/// What an expression may name: the parameters of an action, and the members of the object that
/// executes it.
struct CompileScope {
  std::unordered_map<const model::ParameterImpl*, std::uint32_t> parameters;
  bool has_object = false;
};

class ProgramCompiler {
 public:
  ProgramCompiler(Values& values, Functions& functions) : values_(values), functions_(functions) {}

  /// Raises `InvalidParameterError` on what has no value, such as a label.
  Program compile(model::Expression e, const CompileScope& scope);

  /// The fluent that is assigned, its arguments in order, the object of a member first.
  struct Target {
    std::size_t fluent;
    std::vector<Program> arguments;
  };
  Target compile_target(model::Expression left, const CompileScope& scope);

 private:
  struct Application;
  std::optional<Application> as_application(model::Expression e, const CompileScope& scope);
  Instruction call(const Application& application);
  /// What an expression without operators compiles to.
  std::optional<Instruction> leaf(model::Expression e, const CompileScope& scope);

  Values& values_;
  Functions& functions_;
};

}  // namespace kelvo::strict
