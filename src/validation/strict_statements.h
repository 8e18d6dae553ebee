#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "validation/strict_program.h"

namespace kelvo::strict {

/// One bound of an interval: a time, or the moment that a labelled `contains` is met.
struct TimeBound {
  Program time;
  /// The label instead of a time; empty for a time.
  std::string label;
  /// Whether the end of the action or of the plan is mentioned.
  bool mentions_end = false;
};

/// A part of a condition that has to hold by itself.
struct Conjunct {
  model::Expression expression;
  Program program;
};

/// A statement of an action or of the problem, taken apart.
struct Statement {
  enum class Kind : std::uint8_t {
    CONDITION,
    CONTAINS,
    EFFECT,
    DURATION,  // judged at the start of the step
  };

  model::Expression source = nullptr;
  Kind kind = Kind::CONDITION;
  /// Without a time: at the start of an action, at the end of the plan.
  bool is_timed = false;
  bool is_point = false;
  TimeBound left;
  TimeBound right;
  bool left_closed = true;
  bool right_closed = true;

  /// Of a condition; a `contains` has one.
  std::vector<Conjunct> conjuncts;
  /// For how long a `contains` has to hold; empty for a moment.
  Program lasting;
  std::string label;

  /// Of an effect.
  ProgramCompiler::Target target;
  Program value;
  /// Of the form f := f + e or f := f - e.
  bool is_increase = false;
};

/// The statements of an action, or of the problem.
struct StatementList {
  /// As `model::SourceMap` has it.
  std::string owner;
  std::vector<Statement> statements;
  /// The bounds of `duration :in [l, u]`, if there is such a statement.
  std::optional<std::pair<Program, Program>> uncertain_duration;
};

/// Takes statements of the problem apart; a plain number among their times counts from 0.
StatementList compile_problem(const std::vector<model::Expression>& statements,
                              ProgramCompiler& compiler);

/// Takes the statements of an action apart; a plain number among its times counts from its start.
StatementList compile_action(const model::ActionImpl& action, ProgramCompiler& compiler);

}  // namespace kelvo::strict
