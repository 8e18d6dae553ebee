#include "solver/la/la_solver_interface.h"

#include <algorithm>

namespace ordax {

using la::BoundIndex;
using la::BoundValue;

LaSolverInterface::LaSolverInterface(const Configuration& configuration, Logger& logger,
                                     TermManager& terms, const PolarityStore& polarities)
    : config_(configuration.theory.la),
      logger_(logger),
      terms_(terms),
      polarities_(polarities),
      solver_(logger, configuration.theory.la.pivoting_greedy_threshold),
      mapper_(solver_, terms.int_type()),
      atoms_(solver_),
      integers_(solver_, mapper_, terms, configuration.theory.la, logger,
                [this](TermRef term) { return told_.contains(term); }) {}

void LaSolverInterface::choose_scale(const std::vector<TermRef>& relations) {
  if (has_variables()) return;
  // Beyond these sizes bounds would leave the inline form, which is what the scale is for.
  constexpr std::int64_t kMaxScale = 1'000'000;
  constexpr std::int64_t kMaxConstant = std::int64_t{1} << 40;
  // Real variables are counted in units of 1/scale, so that the constants of the problem are
  // integers and bounds stay in machine words.
  Number scale(1);
  Number largest(1);
  for (const TermRef relation : relations) {
    for (std::size_t side = 0; side < 2; ++side) {
      const TermRef term = relation->arg(side);
      if (!is_number(term) || relation->arg(1 - side)->type()->is_int()) continue;
      scale = Number::lcm(scale, number_of(term).denominator());
      if (scale > Number(kMaxScale)) return;
      if (largest < number_of(term).abs()) largest = number_of(term).abs();
    }
  }
  if (largest * scale <= Number(kMaxConstant)) mapper_.set_scale(scale);
}

bool LaSolverInterface::tell_atom(Var variable, TermRef atom) {
  if (!is_leq(atom) && !is_equal(atom)) return false;
  if (index(variable) >= constraints_.size()) {
    constraints_.resize(index(variable) + 1);
    implied_by_.resize(index(variable) + 1, 0);
  }
  // An atom is "factor * var + constant op 0" over one variable of the solver, a slack for a sum.
  told_.insert(atom);
  lineariser_.difference(atom, form_);
  Constraint& constraint = constraints_[index(variable)];
  constraint = Constraint();
  constraint.variables_before = solver_.num_variables();
  const la::LinearTermMapper::Mapped sum = mapper_.map(form_);
  constraint.atom = atom;
  constraint.literal = make_lit(variable);
  if (sum.var == 0) {
    const int sign = sum.constant.sign();
    // Constant atoms are decided by a lemma of one literal.
    const bool holds = is_equal(atom) ? sign == 0 : sign <= 0;
    add_lemma({holds ? atom : terms_.make_not(atom)});
    return true;
  }
  constraint.var = sum.var;
  has_integers_ = has_integers_ || solver_.is_int(sum.var);
  if (!has_integers_ && solver_.is_slack(sum.var)) {
    for (const la::Tableau::Summand& s :
         solver_.definition(index(solver_.definition_of(sum.var)))) {
      has_integers_ = has_integers_ || solver_.is_int(s.var);
    }
  }
  return is_leq(atom) ? tell_inequality(constraint, variable, sum)
                      : tell_equality(constraint, variable, sum);
}

// factor * var + constant <= 0
bool LaSolverInterface::tell_inequality(Constraint& constraint, Var variable,
                                        const la::LinearTermMapper::Mapped& sum) {
  const Number edge = -sum.constant / sum.factor;
  const bool upper = sum.factor.sign() > 0;
  const bool integral = solver_.is_int(sum.var);
  if (upper) {
    constraint.limit = BoundValue(integral ? edge.floor() : edge);
  } else {
    // var >= edge is the negation of the bound below it.
    constraint.limit =
        integral ? BoundValue(edge.ceil() - Number(1)) : BoundValue(edge, Number(-1));
  }
  // The negation is the next larger value: one step of integers, or just above.
  constraint.above = atoms_.next_above(sum.var, constraint.limit);
  constraint.literal = make_lit(variable, /*negated=*/!upper);
  constraint.kind = Constraint::BOUND;
  atoms_.add_atom(sum.var, constraint.limit, constraint.literal);
  return true;
}

// factor * var + constant = 0
bool LaSolverInterface::tell_equality(Constraint& constraint, Var variable,
                                      const la::LinearTermMapper::Mapped& sum) {
  const Number value = -sum.constant / sum.factor;
  if (solver_.is_int(sum.var) && !value.is_integer()) {
    add_lemma({terms_.make_not(constraint.atom)});
    return true;
  }
  // Over integers the two halves of a disequality are inequalities that the search decides.
  if (config_.split_rat_eq || solver_.is_int(sum.var)) {
    split_equality(variable, constraint.atom);
    return true;
  }
  constraint.limit = BoundValue(value);
  constraint.kind = Constraint::EQUALITY;
  return true;
}

bool LaSolverInterface::is_filtered_equality(TermRef atom) const {
  return config_.pure_equality_filtering && polarities_.get(atom) == PolarityStore::POSITIVE;
}

void LaSolverInterface::add_lemma(std::vector<TermRef> literals) {
  lemmas_.push_back({std::move(literals), /*is_permanent=*/true});
}

// An equality that the formula has only positively needs no meaning when it is false.
void LaSolverInterface::split_equality(Var variable, TermRef atom) {
  splits_.push_back({variable, atom});
  const TermRef not_equal = terms_.make_not(atom);
  const TermRef below = terms_.make_leq(atom->arg(0), atom->arg(1));
  const TermRef above = terms_.make_leq(atom->arg(1), atom->arg(0));
  add_lemma({not_equal, below});
  add_lemma({not_equal, above});
  if (is_filtered_equality(atom)) {
    filtered_.push_back({variable, atom});
  } else {
    add_completing_lemma(atom);
  }
}

// Whether one of the two inequalities of a split equality is no atom any more.
bool LaSolverInterface::lost_a_side(TermRef equality) {
  const TermRef sides[] = {terms_.make_leq(equality->arg(0), equality->arg(1)),
                           terms_.make_leq(equality->arg(1), equality->arg(0))};
  for (TermRef side : sides) {
    if (is_not(side)) side = side->arg(0);
    if (is_leq(side) && !told_.contains(side)) return true;
  }
  return false;
}

// The other direction: both inequalities together are the equality.
void LaSolverInterface::add_completing_lemma(TermRef atom) {
  const TermRef below = terms_.make_leq(atom->arg(0), atom->arg(1));
  const TermRef above = terms_.make_leq(atom->arg(1), atom->arg(0));
  const TermRef not_below = terms_.make_not(below);
  const TermRef not_above = terms_.make_not(above);
  add_lemma({atom, not_below, not_above});
}

// What is negated now needs its meaning when it is false.
void LaSolverInterface::polarities_changed() {
  std::size_t kept = 0;
  for (const SplitEquality& f : filtered_) {
    if (is_filtered_equality(f.atom)) {
      filtered_[kept++] = f;
    } else {
      add_completing_lemma(f.atom);
    }
  }
  filtered_.resize(kept);
}

void LaSolverInterface::retract_atoms(Var first) {
  for (std::size_t v = index(first); v < constraints_.size(); ++v) {
    if (constraints_[v].atom != nullptr) told_.erase(constraints_[v].atom);
  }
  // Atoms go in the order opposite to that of their telling, so a variable that came with one that
  // goes is in none that stays.
  std::size_t variables = solver_.num_variables();
  for (std::size_t v = index(first); v < constraints_.size(); ++v) {
    if (constraints_[v].atom == nullptr) continue;
    variables = constraints_[v].variables_before;
    break;
  }
  if (index(first) < constraints_.size()) {
    constraints_.resize(index(first));
    implied_by_.shrink(index(first));
  }
  atoms_.remove_atoms(first);
  mapper_.forget_variables(variables);
  atoms_.forget_variables(variables);
  integers_.forget_variables(variables);
  solver_.remove_variables(variables);
  const auto is_gone = [first](const SplitEquality& e) { return e.variable >= first; };
  std::erase_if(filtered_, is_gone);
  std::erase_if(splits_, is_gone);
  // An equality may have been told before a push and split behind it: its two inequalities go with
  // the push, and the lemmas with them, so it is split again.
  std::vector<SplitEquality> kept;
  kept.swap(splits_);
  for (const SplitEquality& e : kept) {
    if (!lost_a_side(e.atom)) {
      splits_.push_back(e);
      continue;
    }
    std::erase_if(filtered_, [&e](const SplitEquality& f) { return f.atom == e.atom; });
    split_equality(e.variable, e.atom);
  }
  // A lemma that waits may be one of an older atom over a younger one; it holds all the same, and
  // its atoms are made anew.
}

bool LaSolverInterface::assume(Lit literal) {
  const Constraint& c = constraints_[index(var_of(literal))];
  bool consistent = true;
  // The solver notes the literal with each bound, which is how conflicts come back as literals.
  if (c.kind == Constraint::BOUND) {
    consistent = literal == c.literal ? solver_.assert_upper(literal, c.var, c.limit)
                                      : solver_.assert_lower(literal, c.var, c.above);
  } else if (c.kind == Constraint::EQUALITY) {
    if (literal == c.literal) {
      consistent = solver_.assert_upper(literal, c.var, c.limit) &&
                   solver_.assert_lower(literal, c.var, c.limit);
    } else if (!is_filtered_equality(c.atom)) {
      solver_.assert_disequality(literal, c.var, c.limit.rational());
    }
  }
  if (consistent) return true;
  conflict_.clear();
  atoms_.explain(solver_.conflict().begin(), solver_.conflict().end(), conflict_);
  ORDAX_CHECK(is_contradiction(conflict_));
  return false;
}

// In the order of cost: the rational simplex, deduction, and for a complete assignment
// disequalities and integers.
bool LaSolverInterface::check(bool approx) {
  conflict_.clear();
  if (!solver_.check()) {
    atoms_.explain(solver_.conflict().begin(), solver_.conflict().end(), conflict_);
    ORDAX_CHECK(is_contradiction(conflict_));
    return false;
  }
  if (!config_.deduction_enabled) {
    solver_.clear_changed();
  } else if (!atoms_.deduce(/*with_rows=*/true)) {
    const BoundIndex both[] = {atoms_.crossing(0), atoms_.crossing(1)};
    atoms_.explain(both, both + 2, conflict_);
    ORDAX_CHECK(has_integers_ || is_contradiction(conflict_));
    return false;
  }
  if (approx) return true;
  if (!solver_.check_disequalities()) {
    atoms_.explain(solver_.conflict().begin(), solver_.conflict().end(), conflict_);
    for (const Lit l : solver_.conflict_literals()) conflict_.push_back(l);
    ORDAX_CHECK(has_integers_ || is_contradiction(conflict_));
    return false;
  }
  return !has_integers_ || check_integers();
}

// With the integer part switched off, a rational solution that is not integral cannot be judged.
bool LaSolverInterface::check_integers() {
  if (!config_.laz_enabled) {
    for (const TermRef term : mapper_.terms()) {
      const la::LaVar v = mapper_.find_variable(term);
      if (solver_.is_int(v) && !solver_.value(v).is_integer()) {
        throw error("integer reasoning is disabled, and a rational solution is not integral");
      }
    }
    return true;
  }
  switch (integers_.check()) {
    case laz::Solver::Result::MODEL:
      ORDAX_CHECK(solver_.bounds_hold() && solver_.state_holds());
      split_violated_disequalities();
      return true;
    case laz::Solver::Result::LEMMA:
      lemmas_.push_back(integers_.lemma());
      return true;
    case laz::Solver::Result::CONFLICT:
      break;
  }
  atoms_.explain(integers_.conflict().begin(), integers_.conflict().end(), conflict_);
  return false;
}

// The integer search may end on a value that a disequality forbids: the engine then has to choose
// the side.
bool LaSolverInterface::split_violated_disequalities() {
  if (config_.split_rat_eq || solver_.values_hold()) return true;
  for (std::size_t v = 0; v < constraints_.size(); ++v) {
    const Constraint& c = constraints_[v];
    if (c.kind == Constraint::EQUALITY && solver_.value(c.var) == c.limit) {
      split_equality(static_cast<Var>(v), c.atom);
    }
  }
  return false;
}

void LaSolverInterface::new_decision_level() {
  solver_.push();
  atoms_.push();
}

void LaSolverInterface::backtrack(int level) {
  if (level < 0) {
    atoms_.pop_all();
    solver_.pop_all();
  } else {
    atoms_.pop_to(index(level));
    solver_.pop_to(index(level));
  }
}

void LaSolverInterface::get_conflict(LitVector& literals) {
  for (const Lit l : conflict_) literals.push_back(l);
}

bool LaSolverInterface::next_implied_literal(Lit& literal) {
  return atoms_.next_implied(literal, last_implied_);
}

// True if the reason was written: short ones at once, long ones only if a conflict asks.
bool LaSolverInterface::accept_implied_literal(Lit literal, LitVector& reason) {
  implied_by_[index(var_of(literal))] = last_implied_;
  // A reason of one literal costs nothing to find again.
  if (config_.lazy_expl_threshold <= 1 || solver_.bound(last_implied_).kind == la::Bound::LITERAL) {
    return false;
  }
  const std::size_t before = reason.size();
  atoms_.explain(&last_implied_, &last_implied_ + 1, reason);
  ORDAX_CHECK(justifies(reason, before, literal));
  if (reason.size() - before <= index(config_.lazy_expl_threshold)) return true;
  reason.shrink(before);
  return false;
}

void LaSolverInterface::explain_last_implied(LitVector& reason) {
  atoms_.explain(&last_implied_, &last_implied_ + 1, reason);
}

void LaSolverInterface::explain(Lit literal, LitVector& reason) {
  const BoundIndex bound = implied_by_[index(var_of(literal))];
  const std::size_t before = reason.size();
  atoms_.explain(&bound, &bound + 1, reason);
  ORDAX_CHECK(justifies(reason, before, literal));
  if (logger_.verbosity() < 5) return;
  std::string text = "LA - try_range_implications, constraint " + std::to_string(var_of(literal)) +
                     " is implied by:";
  for (std::size_t i = before; i < reason.size(); ++i) text += " " + std::to_string(reason[i]);
  logger_.log(5, "LA", text);
}

void LaSolverInterface::get_lemmas(std::vector<TermLemma>& lemmas) {
  for (TermLemma& lemma : lemmas_) lemmas.push_back(std::move(lemma));
  lemmas_.clear();
}

void LaSolverInterface::build_model() {
  solver_.build_model(mapper_.scale());
}

bool LaSolverInterface::get_model_value(TermRef term, Number& value) {
  const la::LaVar v = mapper_.find_variable(term);
  if (v == 0 || !solver_.has_model_value(v)) return false;
  value = mapper_.value_of(term, solver_.model_value(v));
  return true;
}

std::vector<std::pair<std::string, std::uint64_t>> LaSolverInterface::statistics_table() const {
  const la::Tableau& tableau = solver_.tableau();
  std::uint64_t total = 0;
  std::uint64_t longest = 0;
  for (std::size_t r = 0; r < tableau.num_rows(); ++r) {
    const std::uint64_t length = tableau.row(static_cast<std::int32_t>(r)).size();
    total += length;
    longest = std::max(longest, length);
  }
  const laz::Solver::Statistics& z = integers_.statistics();
  return {{"num deduced bounds", atoms_.num_deduced()},
          {"num tableau rows", tableau.num_used_rows()},
          {"num tableau variables", solver_.num_variables() - 1},
          {"avg tableau row length",
           tableau.num_used_rows() == 0 ? 0 : total / tableau.num_used_rows()},
          {"max tableau row length", longest},
          {"num pivot operations", tableau.num_pivots()},
          {"num equational conflicts", z.equational_conflicts},
          {"num equality elimination + tightening conflicts", z.tightening_conflicts},
          {"num internal branch and bound calls", z.internal_calls},
          {"num internal branch and bound timeouts", z.internal_timeouts},
          {"num internal branch and bound conflicts", z.internal_conflicts},
          {"num internal branch and bound branches", z.internal_branches},
          {"num normal branch and bound lemmas", z.normal_lemmas},
          {"num extended branch and bound lemmas", z.extended_lemmas}};
}

}  // namespace ordax
