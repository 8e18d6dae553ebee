#include "solver/preprocessing/dpll_preprocessor.h"

#include <algorithm>
#include <string>
#include <utility>

namespace ordax {

/// The clauses of one run with their occurrences.
class DpllPreprocessor::VariableEliminationStep {
 public:
  VariableEliminationStep(DpllPreprocessor& owner, Clauses& clauses,
                          const std::vector<std::uint8_t>& frozen);

  void run(bool eliminate);
  Clauses result() const;

 private:
  struct Record {
    std::vector<Lit> literals;  // sorted
    std::uint64_t signature;
    bool removed;
  };

  static std::size_t index(std::int32_t number) { return static_cast<std::size_t>(number); }
  static std::uint64_t signature_of(const std::vector<Lit>& literals);
  void add(std::vector<Lit> literals);
  void remove(std::size_t id);
  void strengthen(std::size_t id, Lit literal);
  void subsume_all();
  void subsume_with(std::size_t id);
  bool subsumes(const Record& small, const Record& large, Lit& flipped) const;
  void eliminate_all();
  bool try_eliminate(Var variable);
  bool resolve(const Record& a, const Record& b, Var pivot, std::vector<Lit>& resolvent) const;
  std::vector<std::size_t> live_occurrences(Lit literal) const;

  DpllPreprocessor& owner_;
  const std::vector<std::uint8_t>& frozen_;
  std::vector<Record> records_;
  std::vector<std::vector<std::size_t>> occurrences_;  // by literal; may hold removed clauses
  std::vector<std::size_t> queue_;                     // to be tried as subsuming clauses
  std::vector<std::uint8_t> fixed_;                    // by variable: has a unit clause
  bool contradiction_ = false;
};

DpllPreprocessor::VariableEliminationStep::VariableEliminationStep(
    DpllPreprocessor& owner, Clauses& clauses, const std::vector<std::uint8_t>& frozen)
    : owner_(owner), frozen_(frozen) {
  for (std::vector<Lit>& clause : clauses) add(std::move(clause));
}

std::uint64_t DpllPreprocessor::VariableEliminationStep::signature_of(
    const std::vector<Lit>& literals) {
  std::uint64_t signature = 0;
  for (const Lit l : literals) signature |= std::uint64_t{1} << (var_of(l) & 63);
  return signature;
}

void DpllPreprocessor::VariableEliminationStep::add(std::vector<Lit> literals) {
  if (!make_distinct(literals)) return;
  if (literals.empty()) contradiction_ = true;
  const std::size_t id = records_.size();
  for (const Lit l : literals) {
    if (index(l | 1) >= occurrences_.size()) {
      occurrences_.resize(index(l | 1) + 1);
      fixed_.resize(index(var_of(l)) + 1, 0);
    }
    occurrences_[index(l)].push_back(id);
  }
  if (literals.size() == 1) fixed_[index(var_of(literals[0]))] = 1;
  const std::uint64_t signature = signature_of(literals);
  records_.push_back({std::move(literals), signature, false});
  queue_.push_back(id);
}

void DpllPreprocessor::VariableEliminationStep::remove(std::size_t id) {
  records_[id].removed = true;
}

void DpllPreprocessor::VariableEliminationStep::strengthen(std::size_t id, Lit literal) {
  std::vector<Lit> literals = records_[id].literals;
  literals.erase(std::find(literals.begin(), literals.end(), literal));
  remove(id);
  add(std::move(literals));
}

DpllPreprocessor::Clauses DpllPreprocessor::VariableEliminationStep::result() const {
  if (contradiction_) return {{}};
  Clauses clauses;
  for (const Record& record : records_) {
    if (!record.removed) clauses.push_back(record.literals);
  }
  return clauses;
}

void DpllPreprocessor::VariableEliminationStep::run(bool eliminate) {
  subsume_all();
  if (eliminate && !contradiction_) {
    eliminate_all();
    subsume_all();
  }
}

void DpllPreprocessor::VariableEliminationStep::subsume_all() {
  while (!queue_.empty() && !contradiction_) {
    owner_.stop_.step();
    const std::size_t id = queue_.back();
    queue_.pop_back();
    if (!records_[id].removed) subsume_with(id);
  }
}

// Removes the clauses that contain this one, and strengthens those that contain it but for one
// literal of the other sign. Both stand in the lists of its rarest variable.
void DpllPreprocessor::VariableEliminationStep::subsume_with(std::size_t id) {
  const std::size_t limit = static_cast<std::size_t>(owner_.configuration_.subsumption_size_limit);
  if (records_[id].literals.size() > limit) return;
  Lit rarest = records_[id].literals[0];
  const auto occurrences_of_var = [&](Lit l) {
    return occurrences_[index(l)].size() + occurrences_[index(negate(l))].size();
  };
  for (const Lit l : records_[id].literals) {
    if (occurrences_of_var(l) < occurrences_of_var(rarest)) rarest = l;
  }
  for (const Lit side : {rarest, negate(rarest)}) {
    const std::vector<std::size_t> others = occurrences_[index(side)];
    for (const std::size_t other : others) {
      if (other == id || records_[other].removed || records_[id].removed) continue;
      Lit flipped = kNoLit;
      if (!subsumes(records_[id], records_[other], flipped)) continue;
      if (flipped == kNoLit) {
        remove(other);
      } else {
        strengthen(other, flipped);
        if (contradiction_) return;
      }
    }
  }
}

// Whether `small` is contained in `large`, with at most one literal (`flipped`, as it stands in
// `large`) of the opposite sign. Both are sorted, and the signs of one variable are neighbours.
bool DpllPreprocessor::VariableEliminationStep::subsumes(const Record& small, const Record& large,
                                                         Lit& flipped) const {
  if (small.literals.size() > large.literals.size()) return false;
  if ((small.signature & ~large.signature) != 0) return false;
  std::size_t j = 0;
  for (const Lit l : small.literals) {
    while (j < large.literals.size() && var_of(large.literals[j]) < var_of(l)) ++j;
    if (j == large.literals.size() || var_of(large.literals[j]) != var_of(l)) return false;
    if (large.literals[j] != l) {
      if (flipped != kNoLit) return false;
      flipped = large.literals[j];
    }
    ++j;
  }
  return true;
}

std::vector<std::size_t> DpllPreprocessor::VariableEliminationStep::live_occurrences(
    Lit literal) const {
  std::vector<std::size_t> live;
  if (index(literal) >= occurrences_.size()) return live;
  for (const std::size_t id : occurrences_[index(literal)]) {
    if (!records_[id].removed) live.push_back(id);
  }
  return live;
}

void DpllPreprocessor::VariableEliminationStep::eliminate_all() {
  std::vector<std::pair<std::size_t, Var>> candidates;
  const Var num_vars = static_cast<Var>(occurrences_.size() / 2);
  for (Var v = 0; v < num_vars; ++v) {
    const bool frozen = index(v) < frozen_.size() && frozen_[index(v)] != 0;
    if (frozen || fixed_[index(v)] != 0 || !owner_.is_candidate(v)) continue;
    const std::size_t count =
        live_occurrences(make_lit(v)).size() + live_occurrences(make_lit(v, true)).size();
    if (count > 0) candidates.emplace_back(count, v);
  }
  std::sort(candidates.begin(), candidates.end());
  if (owner_.logger_.enabled(1, "DPLL")) {
    owner_.logger_.log(
        1, "DPLL",
        "starting preprocessing with " + std::to_string(candidates.size()) + " candidates");
  }
  for (const auto& [count, variable] : candidates) {
    if (contradiction_) return;
    if (fixed_[index(variable)] == 0) try_eliminate(variable);
  }
}

// Replaces the clauses of a variable by their resolvents if these are not too many or too long.
bool DpllPreprocessor::VariableEliminationStep::try_eliminate(Var variable) {
  const std::vector<std::size_t> positive = live_occurrences(make_lit(variable));
  const std::vector<std::size_t> negative = live_occurrences(make_lit(variable, true));
  const DpllPreprocessorConfiguration& configuration = owner_.configuration_;
  const std::int64_t most = static_cast<std::int64_t>(positive.size() + negative.size()) +
                            configuration.elimination_grow_limit;
  Clauses resolvents;
  std::vector<Lit> resolvent;
  for (const std::size_t p : positive) {
    for (const std::size_t n : negative) {
      if (!resolve(records_[p], records_[n], variable, resolvent)) continue;
      if (resolvent.size() > static_cast<std::size_t>(configuration.clause_size_limit)) {
        return false;
      }
      resolvents.push_back(resolvent);
      if (static_cast<std::int64_t>(resolvents.size()) > most) return false;
    }
  }
  Eliminated entry{variable, {}};
  for (const std::vector<std::size_t>* side : {&positive, &negative}) {
    for (const std::size_t id : *side) {
      entry.clauses.push_back(records_[id].literals);
      remove(id);
    }
  }
  owner_.history(variable) = History::ELIMINATED;
  owner_.eliminated_.push_back(std::move(entry));
  for (std::vector<Lit>& clause : resolvents) add(std::move(clause));
  return true;
}

// The resolvent on a variable; false if it is a tautology.
bool DpllPreprocessor::VariableEliminationStep::resolve(const Record& a, const Record& b, Var pivot,
                                                        std::vector<Lit>& resolvent) const {
  resolvent.clear();
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.literals.size() || j < b.literals.size()) {
    Lit next;
    if (j == b.literals.size() || (i < a.literals.size() && a.literals[i] <= b.literals[j])) {
      next = a.literals[i++];
    } else {
      next = b.literals[j++];
    }
    if (var_of(next) == pivot) continue;
    if (!resolvent.empty() && resolvent.back() == next) continue;
    if (!resolvent.empty() && resolvent.back() == negate(next)) return false;
    resolvent.push_back(next);
  }
  return true;
}

void DpllPreprocessor::preprocess(Clauses& clauses, const std::vector<std::uint8_t>& frozen) {
  const bool eliminate = runs_ % static_cast<std::uint64_t>(configuration_.elimination_phase) == 0;
  ++runs_;
  Var largest = -1;
  for (const std::vector<Lit>& clause : clauses) {
    for (const Lit l : clause) largest = std::max(largest, var_of(l));
  }
  VariableEliminationStep step(*this, clauses, frozen);
  step.run(eliminate);
  clauses = step.result();
  if (!eliminate) return;
  for (Var v = 0; v <= largest; ++v) {
    if (history(v) == History::NEW) history(v) = History::SEEN;
  }
}

DpllPreprocessor::History& DpllPreprocessor::history(Var variable) {
  const std::size_t i = static_cast<std::size_t>(variable);
  if (i >= history_.size()) history_.resize(i + 1, History::NEW);
  return history_[i];
}

bool DpllPreprocessor::is_candidate(Var variable) {
  switch (history(variable)) {
    case History::NEW:
      return true;
    case History::SEEN:
      return !configuration_.elimination_recent_vars_only;
    case History::CAME_BACK:
      return configuration_.try_reelimination;
    case History::ELIMINATED:
      return false;
  }
  return false;
}

bool DpllPreprocessor::is_eliminated(Var variable) const {
  const std::size_t i = static_cast<std::size_t>(variable);
  return i < history_.size() && history_[i] == History::ELIMINATED;
}

void DpllPreprocessor::restore(Var variable, Clauses& clauses) {
  const auto entry = std::find_if(eliminated_.begin(), eliminated_.end(),
                                  [&](const Eliminated& e) { return e.variable == variable; });
  if (entry == eliminated_.end()) return;
  clauses.insert(clauses.end(), entry->clauses.begin(), entry->clauses.end());
  eliminated_.erase(entry);
  history(variable) = History::CAME_BACK;
}

// The last one eliminated comes first: the clauses of an earlier one may mention it. The resolvents
// hold in the model, so the clauses of a variable never force it both ways.
void DpllPreprocessor::extend_model(std::vector<Value>& values) const {
  for (auto entry = eliminated_.rbegin(); entry != eliminated_.rend(); ++entry) {
    Value value = kFalse;
    for (const std::vector<Lit>& clause : entry->clauses) {
      bool satisfied = false;
      Lit own = kNoLit;
      for (const Lit l : clause) {
        if (var_of(l) == entry->variable) {
          own = l;
          continue;
        }
        Value& other = values[static_cast<std::size_t>(var_of(l))];
        if (other == kUndefined) other = kFalse;
        satisfied = satisfied || (other ^ (l & 1)) == kTrue;
      }
      if (!satisfied) value = is_negated(own) ? kFalse : kTrue;
    }
    values[static_cast<std::size_t>(entry->variable)] = value;
  }
}

void DpllPreprocessor::forget_vars(Var first) {
  std::erase_if(eliminated_, [&](const Eliminated& e) { return e.variable >= first; });
  // A clause that mentions a deleted variable was retracted with it.
  for (Eliminated& entry : eliminated_) {
    std::erase_if(entry.clauses, [&](const std::vector<Lit>& clause) {
      return std::any_of(clause.begin(), clause.end(), [&](Lit l) { return var_of(l) >= first; });
    });
  }
  if (history_.size() > static_cast<std::size_t>(first)) {
    history_.resize(static_cast<std::size_t>(first));
  }
}

}  // namespace ordax
