#include "planners/task/expression_compiler.h"

#include <algorithm>
#include <exception>
#include <unordered_set>
#include <utility>

#include "model/constant.h"
#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;
using model::ExpressionOperatorKind;

namespace {

// Shared subexpressions are written out, so that a program may be much larger than its expression.
constexpr std::size_t MAX_STEPS = 4096;

bool is_constant_like(const ExpressionFactory& ef, Expression e) {
  return ef.is_constant(e) || ef.is_instance_reference(e);
}

ProgramOp op_of(ExpressionOperatorKind kind) {
  switch (kind) {
    case ExpressionOperatorKind::AND:
      return ProgramOp::AND;
    case ExpressionOperatorKind::OR:
      return ProgramOp::OR;
    case ExpressionOperatorKind::NOT:
      return ProgramOp::NOT;
    case ExpressionOperatorKind::IMPLY:
      return ProgramOp::IMPLY;
    case ExpressionOperatorKind::EQUALS:
      return ProgramOp::EQUALS;
    case ExpressionOperatorKind::IFF:
      return ProgramOp::IFF;
    case ExpressionOperatorKind::LT:
      return ProgramOp::LT;
    case ExpressionOperatorKind::LE:
      return ProgramOp::LE;
    case ExpressionOperatorKind::GT:
      return ProgramOp::GT;
    case ExpressionOperatorKind::GE:
      return ProgramOp::GE;
    case ExpressionOperatorKind::TIMES:
      return ProgramOp::TIMES;
    case ExpressionOperatorKind::PLUS:
      return ProgramOp::PLUS;
    case ExpressionOperatorKind::DIV:
      return ProgramOp::DIV;
    case ExpressionOperatorKind::MINUS:
      return ProgramOp::MINUS;
    default:
      return ProgramOp::PUNT;
  }
}

void sort_unique(std::vector<std::uint32_t>& slots) {
  std::sort(slots.begin(), slots.end());
  slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
}

std::vector<bool> numeric_parameters(const model::Parameters& parameters) {
  std::vector<bool> result;
  for (const model::Parameter& parameter : parameters) {
    result.push_back(parameter->type()->is_numeric());
  }
  return result;
}

}  // namespace

Expression ExpressionCompiler::simplify(Expression e) const {
  try {
    return model::ExpressionSimplifier(environment())(e);
  } catch (const std::exception&) {
    return e;
  }
}

// --- conditions ---

// Whether a conjunct reads a ground fluent without a slot, which never has a value: then it holds
// in no state. In a connective further down the other side may decide.
bool ExpressionCompiler::is_never_given(Expression condition) const {
  const ExpressionFactory& ef = environment().expression_factory();
  std::vector<std::pair<Expression, bool>> open{{condition, true}};
  std::unordered_set<Expression> seen;
  while (!open.empty()) {
    const auto [e, is_conjunct] = open.back();
    open.pop_back();
    if (!seen.insert(e).second || space_.fluent_index().contains(e)) continue;
    if (ef.is_or(e) || ef.is_imply(e) || (ef.is_and(e) && !is_conjunct)) continue;
    if (ef.is_fluent_reference(e)) return true;
    const bool is_of_fluent = ef.is_functional_apply(e) &&
                              ef.is_fluent_reference(ef.get_reference_from_functional_apply(e));
    if (is_of_fluent && std::ranges::all_of(e->children(), [&ef](Expression argument) {
          return is_constant_like(ef, argument);
        })) {
      return true;
    }
    for (const Expression child : e->children()) {
      open.emplace_back(child, is_conjunct && ef.is_and(e));
    }
  }
  return false;
}

// A slot of instances that is compared with one of them. The instance is not numbered yet: the
// program for the whole does that first.
bool ExpressionCompiler::add_value_test(Expression atom, bool is_equal, Condition& condition,
                                        std::vector<Expression>& values) const {
  const ExpressionFactory& ef = environment().expression_factory();
  if (!ef.is_equals(atom)) return false;
  for (std::size_t side = 0; side < 2; ++side) {
    const Expression instance = atom->child(1 - side);
    const auto slot = space_.fluent_index().find(atom->child(side));
    if (!ef.is_instance_reference(instance) || slot == space_.fluent_index().end()) continue;
    if (!space_.type(slot->second)->is_user_defined()) return false;
    condition.values.push_back({static_cast<std::uint32_t>(slot->second),
                                space_.place(slot->second).position, ValueTable::NONE, is_equal});
    values.push_back(instance);
    return true;
  }
  return false;
}

// Enters `e` into the tests when it is a conjunction of literals.
bool ExpressionCompiler::add_literals(Expression e, Condition& condition,
                                      std::vector<Expression>& values) const {
  ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> open{e};
  std::vector<Expression> literals;
  while (!open.empty()) {
    const Expression at = open.back();
    open.pop_back();
    if (ef.is_and(at)) {
      for (const Expression child : at->children()) open.push_back(child);
    } else {
      literals.push_back(at);
    }
    if (literals.size() > MAX_STEPS || open.size() > MAX_STEPS) return false;
  }
  std::map<std::uint32_t, WordTest> words;
  for (Expression literal : literals) {
    bool positive = true;
    while (ef.is_not(literal)) {
      positive = !positive;
      literal = literal->child(0);
    }
    if (ef.is_boolean_constant(literal)) {
      if (ef.get_boolean_constant(literal) != positive) condition.never = true;
      continue;
    }
    const auto slot = space_.fluent_index().find(literal);
    if (slot == space_.fluent_index().end()) {
      if (!add_value_test(literal, positive, condition, values)) return false;
      continue;
    }
    if (!space_.place(slot->second).is_boolean) {
      condition.values.push_back({static_cast<std::uint32_t>(slot->second),
                                  space_.place(slot->second).position, ValueTable::NONE,
                                  /*is_equal=*/true});
      values.push_back(ef.make_boolean_constant(positive));
      continue;
    }
    const std::uint32_t position = space_.place(slot->second).position;
    const std::uint64_t bit = std::uint64_t{1} << (position % 64);
    WordTest& test = words.try_emplace(position / 64, WordTest{position / 64, 0, 0}).first->second;
    const std::uint64_t wanted = positive ? bit : 0;
    if ((test.mask & bit) != 0 && (test.expected & bit) != wanted) condition.never = true;
    test.mask |= bit;
    test.expected = (test.expected & ~bit) | wanted;
    condition.program.reads.push_back(static_cast<std::uint32_t>(slot->second));
  }
  for (const auto& [word, test] : words) condition.tests.push_back(test);
  sort_unique(condition.program.reads);
  return true;
}

Condition ExpressionCompiler::compile_condition(Expression e) {
  const Expression simplified = simplify(e);
  Condition condition;
  if (is_never_given(simplified)) {
    condition.never = true;
    condition.program.expression = environment().expression_factory().make_false();
    return condition;
  }
  std::vector<Expression> values;
  const bool is_conjunction = add_literals(simplified, condition, values);
  if (is_conjunction && values.empty()) {
    condition.program.expression = simplified;
    return condition;
  }
  if (!is_conjunction) condition = Condition();
  condition.is_mask = false;
  condition.program = compile_term(e);
  condition.is_conjunction = is_conjunction && !condition.program.reads_all;
  for (std::size_t i = 0; i < condition.values.size(); ++i) {
    condition.values[i].value = space_.value_table().id_of(values[i]);
  }
  return condition;
}

// --- terms ---

Program ExpressionCompiler::compile_term(Expression e) {
  // Only a whole constant is taken from the simplifier: folding a part may turn a sum of rationals
  // into one of integers, whose quotients are truncated.
  Program program;
  const Expression simplified = simplify(e);
  const bool is_folded = is_constant_like(environment().expression_factory(), simplified);
  program.expression = is_folded ? simplified : e;
  if (!emit(program.expression, program)) punt(program);
  sort_unique(program.reads);
  return program;
}

void ExpressionCompiler::punt(Program& program) const {
  program.steps.assign(1, {ProgramOp::PUNT});
  program.reads_all = true;
}

// Post-order. False when the whole has to be left to the evaluator of the model.
bool ExpressionCompiler::emit(Expression root, Program& program) {
  const ExpressionFactory& ef = environment().expression_factory();
  std::vector<std::pair<Expression, bool>> open{{root, false}};
  while (!open.empty()) {
    const auto [e, operands_done] = open.back();
    open.pop_back();
    if (program.steps.size() + open.size() > MAX_STEPS) return false;
    const Expression constant = ef.is_constant_reference(e) ? simplify(e) : e;
    if (is_constant_like(ef, constant)) {
      program.steps.push_back({ProgramOp::VALUE, space_.value_table().id_of(constant)});
      continue;
    }
    if (const auto slot = space_.fluent_index().find(e); slot != space_.fluent_index().end()) {
      const SlotPlace at = space_.place(slot->second);
      program.steps.push_back({at.is_boolean ? ProgramOp::BIT : ProgramOp::ID, at.position});
      program.reads.push_back(static_cast<std::uint32_t>(slot->second));
      continue;
    }
    const bool is_application = ef.is_functional_apply(e);
    if (!is_application && (op_of(model::kind_of(e)) == ProgramOp::PUNT || e->arity() == 0)) {
      return false;
    }
    if (!operands_done) {
      open.emplace_back(e, true);
      for (std::size_t i = e->arity(); i > 0; --i) open.emplace_back(e->child(i - 1), false);
      continue;
    }
    const std::uint32_t count = static_cast<std::uint32_t>(e->arity());
    if (!is_application) {
      program.steps.push_back({op_of(model::kind_of(e)), 0, count});
      continue;
    }
    const Expression reference = ef.get_reference_from_functional_apply(e);
    const bool is_fluent = ef.is_fluent_reference(reference);
    if (!is_fluent && !ef.is_constant_reference(reference)) return false;
    if (is_fluent) program.reads_all = true;
    program.steps.push_back({is_fluent ? ProgramOp::FLUENT : ProgramOp::CONSTANT,
                             static_cast<std::uint32_t>(program.tables.size()), count});
    program.tables.push_back(is_fluent ? fluent_table(reference) : constant_table(reference));
  }
  return true;
}

std::shared_ptr<const ApplicationTable> ExpressionCompiler::fluent_table(Expression reference) {
  std::shared_ptr<const ApplicationTable>& known = tables_[reference];
  if (known != nullptr) return known;
  const ExpressionFactory& ef = environment().expression_factory();
  const model::Fluent fluent = ef.get_fluent_from_reference(reference);
  auto table = std::make_shared<ApplicationTable>();
  table->reference = reference;
  table->is_numeric = numeric_parameters(fluent->parameters());
  for (std::size_t slot = 0; slot < space_.num_slots(); ++slot) {
    const Expression key = space_.key(slot);
    if (!ef.is_functional_apply(key)) continue;
    if (ef.get_reference_from_functional_apply(key) != reference) continue;
    std::vector<ValueId> arguments;
    bool in_bounds = key->arity() == fluent->arity();
    for (std::size_t i = 0; in_bounds && i < key->arity(); ++i) {
      in_bounds = !model::is_out_of_bounds(ef, fluent->parameters()[i]->type(), key->child(i));
      arguments.push_back(space_.value_table().id_of(key->child(i)));
    }
    // Where the evaluator would raise, it has to be asked.
    if (in_bounds) table->entries.emplace(std::move(arguments), static_cast<std::uint32_t>(slot));
  }
  known = table;
  return known;
}

std::shared_ptr<const ApplicationTable> ExpressionCompiler::constant_table(Expression reference) {
  std::shared_ptr<const ApplicationTable>& known = tables_[reference];
  if (known != nullptr) return known;
  const ExpressionFactory& ef = environment().expression_factory();
  auto table = std::make_shared<ApplicationTable>();
  table->reference = reference;
  table->is_numeric = numeric_parameters(ef.get_constant_from_reference(reference)->parameters());
  known = table;
  return known;
}

// --- effects ---

EffectProgram ExpressionCompiler::compile_effect(Expression body) {
  const ExpressionFactory& ef = environment().expression_factory();
  EffectProgram effect;
  std::vector<Expression> open{body};
  while (!open.empty()) {
    const Expression at = open.back();
    open.pop_back();
    if (ef.is_and(at)) {
      for (std::size_t i = at->arity(); i > 0; --i) open.push_back(at->child(i - 1));
    } else {
      add_assignment(at, effect);
    }
  }
  sort_unique(effect.writes);
  return effect;
}

void ExpressionCompiler::add_assignment(Expression e, EffectProgram& effect) {
  const ExpressionFactory& ef = environment().expression_factory();
  if (!ef.is_assign(e)) {
    throw InternalError() << "Found an unknown effect kind: " << model::print_expression(e);
  }
  const Expression left = simplify(e->child(0));
  const Expression right = simplify(e->child(1));
  Assignment assignment;
  const auto slot = space_.fluent_index().find(left);
  const bool is_fixed = slot != space_.fluent_index().end();
  if (is_fixed) {
    assignment.slot = static_cast<std::uint32_t>(slot->second);
    effect.writes.push_back(assignment.slot);
  } else {
    auto target = std::make_shared<Program>();
    target->expression = left;
    // A fluent without a slot, or arguments that the machine can't compute: punted.
    if (!ef.is_functional_apply(left) || !emit(left, *target)) punt(*target);
    assignment.target = std::move(target);
    effect.writes_all = true;
  }
  if (is_constant_like(ef, right)) {
    assignment.is_constant = true;
    Expression value = right;
    if (is_fixed) {
      const model::Type& type = space_.type(assignment.slot);
      value = model::as_stored(environment().expression_factory(), type, right);
      if (model::is_out_of_bounds(ef, type, value)) effect.never = true;
    }
    assignment.constant = space_.value_table().id_of(value);
  } else {
    assignment.value = compile_term(e->child(1));
  }
  // All assignments in order when there is any that depends on the state, for a later one wins.
  const SlotPlace at = is_fixed ? space_.place(assignment.slot) : SlotPlace{false, 0};
  const bool is_update =
      is_fixed && at.is_boolean && assignment.is_constant && effect.assignments.empty();
  if (!is_update) {
    effect.assignments.push_back(std::move(assignment));
    return;
  }
  const std::uint64_t bit = std::uint64_t{1} << (at.position % 64);
  const std::uint32_t word = at.position / 64;
  auto update = std::find_if(effect.updates.begin(), effect.updates.end(),
                             [&](const WordUpdate& known) { return known.word == word; });
  if (update == effect.updates.end()) {
    effect.updates.push_back({word, 0, 0});
    update = effect.updates.end() - 1;
  }
  const bool value = assignment.constant == ValueTable::TRUE;
  update->clear |= bit;
  update->set = value ? update->set | bit : update->set & ~bit;
}

}  // namespace kelvo
