#include "planners/ftp/relaxation/landmark_finder.h"

#include <algorithm>

namespace kelvo::ftp {

namespace {

/// What the labels may take, and how many of their words are worked on in all.
constexpr std::size_t MAX_LABEL_WORDS = std::size_t{1} << 24;
constexpr std::size_t MAX_WORK = std::size_t{1} << 28;

bool has_bit(const std::uint64_t* words, std::uint32_t bit) {
  return (words[bit / 64] >> (bit % 64) & 1) != 0;
}

void set_bit(std::uint64_t* words, std::uint32_t bit) {
  words[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

void sort_unique(std::vector<std::uint32_t>& atoms) {
  std::sort(atoms.begin(), atoms.end());
  atoms.erase(std::unique(atoms.begin(), atoms.end()), atoms.end());
}

}  // namespace

LandmarkFinder::LandmarkFinder(const GuidedTask& task) : task_(task) {
  number_atoms();
  for (std::uint32_t number = 0; number < task.steps().size(); ++number) lay_out_step(number);
}

// --- the layout ---

void LandmarkFinder::number_literal(const SlotLiteral& literal) {
  if (task_.is_constant(literal.slot) || find_number_of(literal) != NONE) return;
  atoms_of_slot_[literal.slot].push_back(num_literals_++);
  literals_.push_back(literal);
}

std::uint32_t LandmarkFinder::find_number_of(const SlotLiteral& literal) const {
  for (const std::uint32_t atom : atoms_of_slot_[literal.slot]) {
    if (literals_[atom] == literal) return atom;
  }
  return NONE;
}

void LandmarkFinder::number_atoms() {
  const StateSpace& space = task_.task().space();
  atoms_of_slot_.resize(task_.num_slots());
  for (std::uint32_t slot = 0; slot < task_.num_slots(); ++slot) {
    if (!space.place(slot).is_boolean) continue;
    number_literal({slot, ValueTable::TRUE});
    number_literal({slot, ValueTable::FALSE});
  }
  const auto number_all = [&](const std::vector<const Condition*>& conditions) {
    for (const Condition* condition : conditions) {
      if (condition->is_mask || !condition->is_conjunction) continue;
      for_each_literal(space, *condition, [this](const SlotLiteral& one) { number_literal(one); });
    }
  };
  for (const GuidedStep& step : task_.steps()) {
    number_all(step.checks);
    number_all(step.opened);
  }
  number_all(task_.goals());
  num_words_ = (num_literals_ + 63) / 64;
  const std::size_t num_atoms = num_literals_ + task_.steps().size();
  users_.resize(num_atoms);
  is_reached_.resize(num_atoms);
  is_initial_.resize(num_atoms);
  conditions_.resize(task_.steps().size());
  effects_.resize(task_.steps().size());
  is_queued_.resize(task_.steps().size());
}

void LandmarkFinder::add_literals(const Condition& condition, Atoms& atoms) const {
  if (!condition.is_conjunction) return;
  for_each_literal(task_.task().space(), condition, [&](const SlotLiteral& literal) {
    const std::uint32_t atom = find_number_of(literal);
    if (atom != NONE) atoms.push_back(atom);
  });
}

void LandmarkFinder::lay_out_step(std::uint32_t number) {
  const GuidedStep& step = task_.step(number);
  const GuidedList& list = task_.list(step.list);
  const bool is_problem = step.list == GuidedTask::PROBLEM;
  if (!list.is_useful && !is_problem) return;
  Atoms& conditions = conditions_[number];
  for (const Condition* check : step.checks) add_literals(*check, conditions);
  if (!is_problem && step.position > 0) conditions.push_back(num_literals_ + number);
  for_each_change(task_.task().space(), step, [&](std::uint32_t slot, auto value) {
    for (const std::uint32_t atom : atoms_of_slot_[slot]) {
      if (!value || literals_[atom].holds_for(*value)) effects_[number].push_back(atom);
    }
  });
  // What opens behind the effects is a condition unless the step makes it.
  Atoms opened;
  for (const Condition* condition : step.opened) add_literals(*condition, opened);
  for (const std::uint32_t atom : opened) {
    const std::uint32_t slot = literals_[atom].slot;
    const std::vector<std::uint32_t>& changes = step.changes.members;
    if (!std::binary_search(changes.begin(), changes.end(), slot)) conditions.push_back(atom);
  }
  if (!is_problem && step.position + 1 < list.num_steps) {
    effects_[number].push_back(num_literals_ + number + 1);
  }
  sort_unique(conditions);
  for (const std::uint32_t atom : conditions) users_[atom].push_back(number);
}

// --- the labels ---

void LandmarkFinder::note_change(std::uint32_t atom) {
  for (const std::uint32_t step : users_[atom]) {
    if (is_queued_[step]) continue;
    is_queued_[step] = true;
    queue_.push_back(step);
  }
}

void LandmarkFinder::reach(std::uint32_t atom) {
  is_reached_[atom] = true;
  is_initial_[atom] = true;
  note_change(atom);
}

// The label of an atom is what all ways to it have in common.
bool LandmarkFinder::update_label(std::uint32_t atom, const Words& passed) {
  std::uint64_t* at = label(atom);
  const bool is_new = !is_reached_[atom];
  bool has_changed = is_new;
  for (std::size_t i = 0; i < num_words_; ++i) {
    std::uint64_t word = passed[i];
    if (atom < num_literals_ && atom / 64 == i) word |= std::uint64_t{1} << (atom % 64);
    if (!is_new) word &= at[i];
    has_changed |= word != at[i];
    at[i] = word;
  }
  is_reached_[atom] = true;
  return has_changed;
}

void LandmarkFinder::apply(std::uint32_t step) {
  Words passed(num_words_);
  for (const std::uint32_t atom : conditions_[step]) {
    if (!is_reached_[atom]) return;
    for (std::size_t i = 0; i < num_words_; ++i) passed[i] |= label(atom)[i];
  }
  for (const std::uint32_t atom : effects_[step]) {
    if (!is_initial_[atom] && update_label(atom, passed)) note_change(atom);
  }
}

bool LandmarkFinder::find() {
  const std::size_t num_atoms = users_.size();
  if (num_atoms * num_words_ > MAX_LABEL_WORDS) return false;
  labels_.assign(num_atoms * num_words_, 0);
  const std::vector<ValueId>& values = task_.task().initial_values();
  for (std::uint32_t atom = 0; atom < num_literals_; ++atom) {
    if (literals_[atom].holds_for(values[literals_[atom].slot])) reach(atom);
  }
  for (std::uint32_t step = 0; step < task_.steps().size(); ++step) {
    if (!conditions_[step].empty() || is_queued_[step]) continue;
    is_queued_[step] = true;
    queue_.push_back(step);
  }
  std::size_t work = 0;
  for (std::size_t i = 0; i < queue_.size(); ++i) {
    const std::uint32_t step = queue_[i];
    is_queued_[step] = false;
    work += (conditions_[step].size() + effects_[step].size()) * num_words_;
    if (work > MAX_WORK) return false;
    apply(step);
  }
  return true;
}

// --- the result ---

bool LandmarkFinder::is_first_achiever(std::uint32_t step, std::uint32_t literal) const {
  return std::none_of(conditions_[step].begin(), conditions_[step].end(), [&](std::uint32_t atom) {
    return !is_reached_[atom] || has_bit(label(atom), literal);
  });
}

// The literals that the step needs, and those that earlier steps of its action need and leave.
LandmarkFinder::Atoms LandmarkFinder::conditions_of_action(std::uint32_t number) const {
  const GuidedStep& step = task_.step(number);
  Atoms result;
  for (std::uint32_t earlier = number - step.position; earlier <= number; ++earlier) {
    const bool is_problem = step.list == GuidedTask::PROBLEM;
    if (is_problem && earlier != number) continue;
    const std::vector<std::uint32_t>& changes = task_.step(earlier).changes.members;
    for (const std::uint32_t atom : conditions_[earlier]) {
      if (atom >= num_literals_) continue;
      const bool is_unmade = earlier != number && std::binary_search(changes.begin(), changes.end(),
                                                                     literals_[atom].slot);
      if (!is_unmade) result.push_back(atom);
    }
  }
  sort_unique(result);
  return result;
}

// By literal that was found: those others that all its first achievers need.
std::vector<std::vector<std::uint32_t>> LandmarkFinder::orders(
    const std::vector<std::uint32_t>& found) const {
  std::vector<std::uint32_t> index(num_literals_, NONE);
  for (std::uint32_t i = 0; i < found.size(); ++i) index[found[i]] = i;
  std::vector<Atoms> achievers(found.size());
  for (std::uint32_t step = 0; step < effects_.size(); ++step) {
    for (const std::uint32_t atom : effects_[step]) {
      if (atom >= num_literals_ || index[atom] == NONE || is_initial_[atom]) continue;
      achievers[index[atom]].push_back(step);
    }
  }
  std::vector<std::vector<std::uint32_t>> before(found.size());
  for (std::uint32_t later = 0; later < found.size(); ++later) {
    Atoms common;
    bool is_first = true;
    for (const std::uint32_t step : achievers[later]) {
      if (!is_first_achiever(step, found[later])) continue;
      const Atoms needed = conditions_of_action(step);
      if (is_first) {
        common = needed;
      } else {
        Atoms both;
        std::set_intersection(common.begin(), common.end(), needed.begin(), needed.end(),
                              std::back_inserter(both));
        common = std::move(both);
      }
      is_first = false;
    }
    for (const std::uint32_t atom : common) {
      if (index[atom] != NONE) before[index[atom]].push_back(later);
    }
  }
  return before;
}

std::vector<GuidedLandmarks::Landmark> LandmarkFinder::landmarks() const {
  Atoms goals;
  for (const Condition* goal : task_.goals()) add_literals(*goal, goals);
  Words passed(num_words_);
  for (const std::uint32_t goal : goals) {
    for (std::size_t i = 0; i < num_words_; ++i) passed[i] |= label(goal)[i];
    set_bit(passed.data(), goal);
  }
  std::vector<std::uint32_t> found;
  for (std::uint32_t literal = 0; literal < num_literals_; ++literal) {
    if (has_bit(passed.data(), literal)) found.push_back(literal);
  }
  std::vector<std::vector<std::uint32_t>> before = orders(found);
  std::vector<GuidedLandmarks::Landmark> result;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const SlotLiteral& literal = literals_[found[i]];
    const bool is_goal = std::find(goals.begin(), goals.end(), found[i]) != goals.end();
    result.push_back(
        {task_.task().space().place(literal.slot), literal, is_goal, std::move(before[i])});
  }
  return result;
}

}  // namespace kelvo::ftp
