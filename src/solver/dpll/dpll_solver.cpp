#include "solver/dpll/dpll_solver.h"

#include <algorithm>

#include "solver/terms/term_printer.h"

namespace ordax {

DpllSolver::DpllSolver(const Configuration& configuration, Logger& logger)
    : configuration_(configuration),
      config_(configuration.dpll),
      logger_(logger),
      heap_(activity_),
      random_state_(static_cast<std::uint64_t>(configuration.random_seed)) {
  if (configuration.proof_generation && config_.preprocessor.mode != 0) {
    throw Exception("proof generation is not compatible with SAT-level preprocessing");
  }
  // A reason that stands for "ask the theory": a clause without literals that no list holds, so
  // that one comparison tells a lazily explained literal from others.
  marker_ = arena_.make(nullptr, 0, Clause::kMarkerId, /*learnt=*/false, /*boosted=*/false);
  track_agility_ = config_.restart_strategy == 2;
}

void DpllSolver::set_preprocessor(SatPreprocessor* preprocessor) {
  preprocessor_ = preprocessor;
}

void DpllSolver::set_termination_test(TerminationTest* test) {
  termination_ = test;
  if (preprocessor_ != nullptr) preprocessor_->set_termination_test(test);
}

// All tables by variable grow together, the watches by two for its two literals. What the trail
// keeps room for is as long as there are variables, so that assigning never allocates.
Var DpllSolver::new_var(bool decision) {
  const auto v = static_cast<Var>(values_.size());
  values_.push_back(kUndefined);
  saved_phase_.push_back(config_.branching_initial_phase == 1 ? kTrue : kFalse);
  preferred_phase_.push_back(kUndefined);
  info_.push_back(Assignment());
  trail_.add_var();
  activity_.push_back(0.0);
  decision_.push_back(decision ? 1 : 0);
  seen_.push_back(0);
  frozen_.push_back(0);
  is_theory_atom_.push_back(0);
  terms_.push_back(nullptr);
  watches_.emplace_back();
  watches_.emplace_back();
  if (decision) heap_.insert(v);
  return v;
}

// The reverse of `new_var`. The caller has removed all clauses that hold the variable and has taken
// its literals off the trail.
void DpllSolver::delete_last_var() {
  const auto last = static_cast<Var>(values_.size()) - 1;
  heap_.filter([last](Var v) { return v != last; });
  if (const TermRef term = terms_.back(); term != nullptr) {
    variable_of_[static_cast<std::size_t>(term->id)] = kNoVar;
  }
  values_.pop_back();
  saved_phase_.pop_back();
  preferred_phase_.pop_back();
  info_.pop_back();
  trail_.remove_var();
  activity_.pop_back();
  decision_.pop_back();
  seen_.pop_back();
  frozen_.pop_back();
  is_theory_atom_.pop_back();
  terms_.pop_back();
  watches_.pop_back();
  watches_.pop_back();
}

Var DpllSolver::find_variable(TermRef term) const {
  const auto id = static_cast<std::size_t>(term->id);
  return id < variable_of_.size() ? variable_of_[id] : kNoVar;
}

// Terms have dense ids, so that a vector serves as the map. The theories say which terms they know
// as atoms; these stay out of elimination, since lemmas may name them at any time.
bool DpllSolver::variable_of_term(TermRef term, Var& variable) {
  variable = find_variable(term);
  if (variable != kNoVar) return false;
  variable = new_var();
  const auto id = static_cast<std::size_t>(term->id);
  if (id >= variable_of_.size()) variable_of_.resize(id + id / 2 + 16, kNoVar);
  variable_of_[id] = variable;
  terms_[index(variable)] = term;
  if (logs(4)) {
    log(4, "proxied term: " + print_term(term, kLoggedTermLength) +
               ", with var: " + std::to_string(variable));
  }
  if (hook_ != nullptr && hook_->tell_atom(variable, term)) {
    is_theory_atom_[index(variable)] = 1;
    frozen_[index(variable)] = 1;
  }
  return true;
}

// The heap may hold variables that are no decisions; they are passed over when they come up.
void DpllSolver::set_decision(Var variable, bool decision) {
  decision_[index(variable)] = decision ? 1 : 0;
  if (decision && (values_[index(variable)] & 2) != 0) heap_.insert(variable);
}

void DpllSolver::set_preferred(Var variable, Value phase) {
  preferred_.push_back(variable);
  preferred_phase_[index(variable)] = phase;
}

void DpllSolver::clear_preferred() {
  for (const Var v : preferred_) preferred_phase_[index(v)] = kUndefined;
  preferred_.clear();
}

// Frozen variables are not eliminated. Thawing an atom of a theory has no effect.
void DpllSolver::set_frozen(Var variable, bool frozen) {
  frozen_[index(variable)] = frozen || is_theory_atom_[index(variable)] != 0 ? 1 : 0;
}

// A clause above a backtrack point carries the negated label of the innermost one: assuming the
// labels switches the clauses on, and a pop removes the label together with all that holds it. At
// level 0 the clause is simplified by the facts; above it is attached as it is, and if it is unit
// or false under the present assignment, the search takes it up as pending.
bool DpllSolver::add_clause(const LitVector& literals, bool boosted, bool /*tracked*/) {
  if (is_unsat()) return false;
  if (logs(4)) {
    log(4, "adding clause (size " + std::to_string(literals.size()) +
               "): " + to_text(literals.begin(), literals.end()));
  }
  LitVector clause(literals);
  if (preprocessor_ != nullptr && !restore_eliminated(clause)) return false;
  if (!base_levels_.empty()) clause.push_back(negate(base_levels_.back()));
  // Also above the base levels, where nothing is simplified, watching needs distinct literals.
  if (!make_distinct(clause)) return true;

  if (decision_level() > num_base_levels()) {
    if (clause.empty()) {
      mark_unsat(0);
      return false;
    }
    sort_for_watching(clause);
    Clause* const made = make_clause(clause, /*learnt=*/false, boosted);
    if (clause.size() == 1) {
      add_pending(made);
      arena_.release(made);
      return true;
    }
    clauses_.push_back(made);
    attach(made);
    // The watches are the best two: if the second one is false, all after it are, too.
    if (is_false(clause[1]) && !is_true(clause[0])) add_pending(made);
    return true;
  }

  cancel_until(0);
  std::size_t kept = 0;
  for (const Lit literal : clause) {
    if (is_true(literal)) return true;
    if (!is_false(literal)) clause[kept++] = literal;
  }
  clause.shrink(kept);
  if (clause.empty()) {
    mark_unsat(0);
    return false;
  }
  if (clause.size() == 1) {
    assign(clause[0], nullptr);
    return true;
  }
  Clause* const made = make_clause(clause, /*learnt=*/false, boosted);
  clauses_.push_back(made);
  attach(made);
  return true;
}

// The label is no decision variable: the search assumes the labels at its lowest levels. Frozen,
// for clauses to come will hold it.
void DpllSolver::push_backtrack_point() {
  cancel_until(0);
  const Var label = new_var(/*decision=*/false);
  frozen_[index(label)] = 1;
  base_levels_.push_back(make_lit(label));
}

void DpllSolver::pop_backtrack_point() {
  cancel_until(0);
  // Variables are numbered in the order of their making: all from the label on belong to the point.
  const Var first = var_of(base_levels_.back());
  base_levels_.pop_back();
  if (unsat_base_ > num_base_levels()) unsat_base_ = -1;

  // Learnt clauses and facts without the label may still hold variables that go.
  clear_level_zero_reasons();
  clear_pending();
  remove_clauses_if([first](const Clause& clause) {
    return std::any_of(clause.begin(), clause.end(), [first](Lit l) { return var_of(l) >= first; });
  });
  // Facts over older variables stay facts: what was learnt of them without the label follows from
  // what is still asserted. They are sent to the theories anew.
  std::size_t kept = 0;
  for (const Lit literal : trail_) {
    if (var_of(literal) >= first) continue;
    info_[index(var_of(literal))].position = static_cast<std::int32_t>(kept);
    trail_[kept++] = literal;
  }
  trail_.set_size(kept);
  head_ = 0;
  simplified_facts_ = 0;
  if (hook_ != nullptr) {
    hook_->backtrack(-1);
    hook_->forget_atoms(first);
  }
  sent_ = 0;
  theory_level_ = 0;
  if (preprocessor_ != nullptr) preprocessor_->forget_vars(first);

  // Preferences of older variables survive.
  std::size_t preferred = 0;
  for (const Var v : preferred_) {
    if (v < first) preferred_[preferred++] = v;
  }
  preferred_.shrink(preferred);
  heap_.filter([first](Var v) { return v < first; });
  while (static_cast<Var>(values_.size()) > first) delete_last_var();
  // With fresh activities what follows does not depend on the searches above the point.
  if (config_.pop_btpoint_reset_var_order) {
    for (double& activity : activity_) activity = 0;
    var_inc_ = 1.0;
  }
  for (Var v = 0; v < first; ++v) {
    if (decision_[index(v)] != 0 && (values_[index(v)] & 2) != 0) heap_.insert(v);
  }
  heap_.filter([](Var) { return true; });
}

// Facts that came from such a clause stay; callers remove clauses of labels, of which no fact holds
// without its label.
void DpllSolver::remove_clauses_containing(Lit literal) {
  cancel_until(0);
  clear_level_zero_reasons();
  clear_pending();
  remove_clauses_if([literal](const Clause& clause) {
    return std::find(clause.begin(), clause.end(), literal) != clause.end();
  });
}

void DpllSolver::log(int level, const std::string& text) {
  logger_.log(level, "DPLL", text);
}

std::string DpllSolver::to_text(const Lit* first, const Lit* last) const {
  std::string text;
  for (; first != last; ++first) {
    if (!text.empty()) text += ' ';
    if (is_negated(*first)) text += '-';
    text += std::to_string(var_of(*first) + 1);
  }
  return text;
}

std::vector<std::pair<std::string, std::uint64_t>> DpllSolver::statistics_table() const {
  return {{"num sat vars", num_vars()},
          {"num sat clauses", clauses_.size()},
          {"dpll restarts", statistics_.restarts},
          {"dpll decisions", statistics_.decisions},
          {"dpll propagations", statistics_.propagations},
          {"dpll conflicts", statistics_.conflicts},
          {"dpll derived literals", statistics_.derived_literals},
          {"dpll minimized literals", statistics_.minimized_literals},
          {"dpll forgotten clauses", statistics_.forgotten_clauses},
          {"dpll implied by theory", statistics_.implied_with_clause + statistics_.implied_lazily}};
}

// The facts as unit clauses, the clauses, and the empty one if the facts contradict each other:
// what a dump of the problem writes.
std::vector<std::vector<Lit>> DpllSolver::problem_clauses() const {
  std::vector<std::vector<Lit>> result;
  const std::size_t facts = trail_lim_.empty() ? trail_.size() : index(trail_lim_[0]);
  for (std::size_t i = 0; i < facts; ++i) result.push_back({trail_[i]});
  for (const Clause* clause : clauses_) result.emplace_back(clause->begin(), clause->end());
  if (unsat_base_ == 0) result.emplace_back();
  return result;
}

}  // namespace ordax
