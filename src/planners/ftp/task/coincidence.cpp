#include "planners/ftp/task/coincidence.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kelvo::ftp {

namespace {

constexpr std::size_t MAX_NEEDS = std::size_t{1} << 21;

/// A step and the value that it asks of a slot, or gives it; nothing for any.
struct Use {
  std::uint32_t step;
  std::optional<ValueId> value;
};

/// Which steps have to come before which others, were they all at one instant.
class InstantOrder {
 public:
  explicit InstantOrder(const GuidedTask& task);

  bool has_circle();

 private:
  void add_step(std::uint32_t number);
  void add_condition(const Condition& condition, std::uint32_t step);
  void add_opened(const Condition& opened, std::uint32_t step);
  void add_reads(const Program& program, std::uint32_t step);
  void add_effect(const EffectProgram& effect, std::uint32_t step);
  void add_needs(std::uint32_t slot);
  void add_need(std::uint32_t earlier, std::uint32_t later);

  const GuidedTask& task_;
  const StateSpace& space_;
  // By slot: who asks its value before the instant, who behind it, and who changes it.
  std::vector<std::vector<Use>> readers_;
  std::vector<std::vector<Use>> openers_;
  std::vector<std::vector<Use>> writers_;
  std::vector<SlotSet> changes_;                   // by step
  std::vector<std::vector<std::uint32_t>> later_;  // by step
  std::vector<std::uint32_t> num_earlier_;
  std::size_t num_needs_ = 0;
};

std::optional<ValueId> value_asked(const SlotLiteral& literal) {
  return literal.is_equal ? std::optional(literal.value) : std::nullopt;
}

InstantOrder::InstantOrder(const GuidedTask& task)
    : task_(task),
      space_(task.task().space()),
      readers_(task.num_slots()),
      openers_(task.num_slots()),
      writers_(task.num_slots()),
      changes_(task.steps().size()),
      later_(task.steps().size()),
      num_earlier_(task.steps().size()) {
  for (std::uint32_t number = 0; number < task.steps().size(); ++number) add_step(number);
  for (SlotSet& changes : changes_) changes.finish();
  for (std::uint32_t slot = 0; slot < task.num_slots(); ++slot) add_needs(slot);
}

void InstantOrder::add_step(std::uint32_t number) {
  const GuidedStep& step = task_.step(number);
  for (const Condition* check : step.checks) add_condition(*check, number);
  for (const Condition* opened : step.opened) add_opened(*opened, number);
  for (const EffectProgram* effect : step.effects) add_effect(*effect, number);
}

void InstantOrder::add_condition(const Condition& condition, std::uint32_t step) {
  if (!condition.is_conjunction) return add_reads(condition.program, step);
  for_each_literal(space_, condition, [&](const SlotLiteral& literal) {
    readers_[literal.slot].push_back({step, value_asked(literal)});
  });
}

void InstantOrder::add_opened(const Condition& opened, std::uint32_t step) {
  if (!opened.is_conjunction) {
    for (std::uint32_t slot = 0; opened.program.reads_all && slot < openers_.size(); ++slot) {
      openers_[slot].push_back({step, {}});
    }
    for (const std::uint32_t slot : opened.program.reads) openers_[slot].push_back({step, {}});
    return;
  }
  for_each_literal(space_, opened, [&](const SlotLiteral& literal) {
    // A literal that is tested as well: who changes it can't be at this instant.
    const std::vector<Use>& readers = readers_[literal.slot];
    const bool is_tested = !readers.empty() && readers.back().step == step &&
                           readers.back().value && readers.back().value == value_asked(literal);
    if (!is_tested) openers_[literal.slot].push_back({step, {}});
  });
}

void InstantOrder::add_reads(const Program& program, std::uint32_t step) {
  for (std::uint32_t slot = 0; program.reads_all && slot < readers_.size(); ++slot) {
    readers_[slot].push_back({step, {}});
  }
  for (const std::uint32_t slot : program.reads) readers_[slot].push_back({step, {}});
}

void InstantOrder::add_effect(const EffectProgram& effect, std::uint32_t step) {
  const auto add = [&](std::uint32_t slot, std::optional<ValueId> value) {
    writers_[slot].push_back({step, value});
    changes_[step].add(slot);
  };
  for (std::uint32_t slot = 0; effect.writes_all && slot < writers_.size(); ++slot) add(slot, {});
  kelvo::for_each_change(space_, effect, add);
  for (const Assignment& assignment : effect.assignments) {
    if (!assignment.is_constant) add_reads(assignment.value, step);
    if (assignment.target != nullptr) add_reads(*assignment.target, step);
  }
}

// A reader comes before the one who changes what it reads, and an opener behind it.
void InstantOrder::add_needs(std::uint32_t slot) {
  for (const Use& writer : writers_[slot]) {
    for (const Use& reader : readers_[slot]) {
      if (reader.value && reader.value == writer.value) continue;
      add_need(reader.step, writer.step);
    }
    for (const Use& opener : openers_[slot]) add_need(writer.step, opener.step);
    if (num_needs_ > MAX_NEEDS) return;
  }
}

// Two effects on one slot never meet, nor what a gap keeps apart.
void InstantOrder::add_need(std::uint32_t earlier, std::uint32_t later) {
  ++num_needs_;
  if (num_needs_ > MAX_NEEDS || task_.step(earlier).list == task_.step(later).list) return;
  if (have_common_member(changes_[earlier], changes_[later])) return;
  if (task_.read_gap(task_.step(earlier), task_.step(later)) > 0) return;
  later_[earlier].push_back(later);
  ++num_earlier_[later];
}

bool InstantOrder::has_circle() {
  if (num_needs_ > MAX_NEEDS) return true;
  std::vector<std::uint32_t> first;
  for (std::uint32_t step = 0; step < num_earlier_.size(); ++step) {
    if (num_earlier_[step] == 0) first.push_back(step);
  }
  for (std::size_t i = 0; i < first.size(); ++i) {
    for (const std::uint32_t later : later_[first[i]]) {
      if (--num_earlier_[later] == 0) first.push_back(later);
    }
  }
  return first.size() < num_earlier_.size();
}

}  // namespace

bool may_need_coincidence(const GuidedTask& task) {
  return InstantOrder(task).has_circle();
}

}  // namespace kelvo::ftp
