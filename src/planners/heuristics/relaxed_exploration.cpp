#include "planners/heuristics/relaxed_exploration.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo {

RelaxedExploration::RelaxedExploration(StateSpace& space,
                                       const std::vector<ClassicalAction>& actions)
    : space_(space), actions_(actions), compiler_(space), values_(space) {
  for (const ClassicalAction& action : actions_) compile(action);
  slot_of_bit_.resize(space_.num_booleans());
  for (std::uint32_t slot = 0; slot < space_.num_slots(); ++slot) {
    if (space_.place(slot).is_boolean) slot_of_bit_[space_.place(slot).position] = slot;
  }
  for (std::uint32_t word = 0; word < space_.num_words(); ++word) {
    word_additions_.push_back({word, 0, 0});
  }
}

void RelaxedExploration::compile(const ClassicalAction& action) {
  model::ExpressionFactory& ef = space_.environment().expression_factory();
  CompiledAction& made = compiled_.emplace_back();
  made.condition = compiler_.compile_condition(action.condition);
  for (const auto& [key, effect] : action.effects) {
    const model::Expression assignment = ef.make_assign(key, effect.value());
    EffectProgram program = compiler_.compile_effect(assignment);
    if (program.never) continue;
    if (!program.updates.empty()) {
      const WordUpdate& update = program.updates.front();
      auto addition = std::find_if(made.additions.begin(), made.additions.end(),
                                   [&](const WordAddition& a) { return a.word == update.word; });
      if (addition == made.additions.end()) {
        addition = made.additions.insert(addition, {update.word, 0, 0});
      }
      addition->can_be_true |= update.set;
      addition->can_be_false |= update.clear & ~update.set;
      continue;
    }
    CompiledEffect& compiled = made.effects.emplace_back();
    Assignment& one = program.assignments.front();
    compiled.slot = one.slot;
    compiled.target = one.target;
    compiled.is_constant = one.is_constant;
    compiled.constant = one.constant;
    compiled.value = std::move(one.value);
  }
}

void RelaxedExploration::start(const StateValues& state) {
  values_.assign(state);
  round_ = 0;
  is_applicable_.assign(actions_.size(), false);
  applicable_.clear();
  grew_.assign(space_.num_slots(), true);
}

void RelaxedExploration::add_initially(std::size_t slot, ValueId value) {
  values_.add(slot, ValueSet::of(value));
}

bool RelaxedExploration::has_grown(const Program& program) const {
  if (program.reads_all) return true;
  return std::any_of(program.reads.begin(), program.reads.end(),
                     [this](std::uint32_t slot) { return grew_[slot]; });
}

// What is possible stays possible, so that a condition is looked at again only until it is, and a
// term only when a set that it reads grew.
bool RelaxedExploration::advance() {
  slot_additions_.clear();
  for (std::uint32_t a = 0; a < compiled_.size(); ++a) {
    const CompiledAction& action = compiled_[a];
    const bool is_new = !is_applicable_[a];
    if (is_new) {
      if (round_ > 0 && !has_grown(action.condition.program)) continue;
      if (!values_.possibly_true(action.condition)) continue;
      is_applicable_[a] = true;
      applicable_.push_back(a);
      for (const WordAddition& addition : action.additions) {
        word_additions_[addition.word].can_be_true |= addition.can_be_true;
        word_additions_[addition.word].can_be_false |= addition.can_be_false;
      }
    }
    for (const CompiledEffect& effect : action.effects) {
      const bool may_add = is_new || (!effect.is_constant && has_grown(effect.value)) ||
                           (effect.target != nullptr && has_grown(*effect.target));
      if (!may_add) continue;
      const ValueSet values =
          effect.is_constant ? ValueSet::of(effect.constant) : values_.evaluate(effect.value);
      if (effect.target == nullptr) {
        slot_additions_.emplace_back(effect.slot, values);
        continue;
      }
      for (const std::size_t slot : values_.target_slots(*effect.target)) {
        slot_additions_.emplace_back(slot, values);
      }
    }
  }
  ++round_;
  return merge_additions();
}

bool RelaxedExploration::merge_additions() {
  grew_.assign(space_.num_slots(), false);
  bool grew = false;
  for (WordAddition& addition : word_additions_) {
    std::uint64_t added =
        values_.add_booleans(addition.word, addition.can_be_true, addition.can_be_false);
    addition.can_be_true = 0;
    addition.can_be_false = 0;
    grew = grew || added != 0;
    for (; added != 0; added &= added - 1) {
      const auto bit = static_cast<std::uint32_t>(std::countr_zero(added));
      grew_[slot_of_bit_[addition.word * 64 + bit]] = true;
    }
  }
  for (const auto& [slot, values] : slot_additions_) {
    if (!values_.add(slot, values)) continue;
    grew_[slot] = true;
    grew = true;
  }
  return grew;
}

}  // namespace kelvo
