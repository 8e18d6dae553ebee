#include "solver/la/la_solver.h"

#include <algorithm>

namespace ordax::la {
namespace {

constexpr std::size_t kManyViolated = 500;

}  // namespace

Solver::Solver(Logger& logger, int greedy_threshold)
    : logger_(logger), greedy_threshold_(greedy_threshold) {
  // Number 0 of variables and of bounds means none, so that no place needs a second flag.
  new_variable(/*is_int=*/false);  // number 0 is nobody
  num_problem_vars_ = 0;
  bounds_.push_back({BoundValue(), 0, 0, 0, 0, Bound::PERMANENT, false});
}

LaVar Solver::new_variable(bool is_int) {
  const auto v = static_cast<LaVar>(vars_.size());
  vars_.emplace_back();
  vars_.back().is_int = is_int;
  tableau_.add_var();
  ++num_problem_vars_;
  return v;
}

// The value is computed from those of the summands, for rows hold at all times.
LaVar Solver::new_slack(const std::vector<Tableau::Summand>& sum, bool is_int) {
  const LaVar v = new_variable(is_int);
  --num_problem_vars_;
  vars_[index(v)].definition = static_cast<std::int32_t>(definitions_.size());
  definitions_.push_back({v, sum});
  tableau_.add_row(v, sum);
  BoundValue value;
  for (const Tableau::Summand& s : sum) value.addmul(s.coefficient, vars_[index(s.var)].value);
  vars_[index(v)].value = std::move(value);
  return v;
}

// Youngest first: a definition is younger than its summands. No bound is left.
void Solver::remove_variables(std::size_t count) {
  ORDAX_CHECK(bounds_.size() == 1 && disequalities_.empty());
  while (vars_.size() > count) {
    tableau_.remove_last_var();
    if (vars_.back().definition >= 0) {
      definitions_.pop_back();
    } else {
      --num_problem_vars_;
    }
    vars_.pop_back();
  }
  for (Vector<LaVar>* list : {&touched_, &changed_, &violated_vars_}) {
    std::size_t kept = 0;
    for (const LaVar v : *list) {
      if (index(v) < count) (*list)[kept++] = v;
    }
    list->shrink(kept);
  }
  if (model_.size() > count) model_.resize(count);
}

// For deduction: variables with a new bound.
void Solver::mark_changed(LaVar v) {
  Variable& x = vars_[index(v)];
  if (x.is_changed) return;
  x.is_changed = true;
  changed_.push_back(v);
}

void Solver::clear_changed() {
  for (const LaVar v : changed_) vars_[index(v)].is_changed = false;
  changed_.clear();
}

// For the next check: variables whose value may be out of bounds.
void Solver::touch(LaVar v) {
  Variable& x = vars_[index(v)];
  if (x.is_touched) return;
  x.is_touched = true;
  touched_.push_back(v);
}

bool Solver::assert_bound(LaVar v, int side, const BoundValue& value, Bound::Kind kind,
                          std::int32_t reason) {
  Variable& x = vars_[index(v)];
  const BoundIndex current = x.asserted[side];
  // A weaker bound says nothing. Each bound remembers what it hides, for `pop_to`.
  if (current != 0) {
    const int order = BoundValue::compare(value, bounds_[index(current)].value);
    if (side == kUpper ? order >= 0 : order <= 0) return true;
  }
  const auto made = static_cast<BoundIndex>(bounds_.size());
  bounds_.push_back({value, v, current, x.deduced[side], reason, kind, side == kUpper});
  x.asserted[side] = made;
  // The deduced bounds are at least as tight as the asserted ones.
  const BoundIndex deduced = x.deduced[side];
  if (deduced == 0 || (side == kUpper ? value < bounds_[index(deduced)].value
                                      : value > bounds_[index(deduced)].value)) {
    x.deduced[side] = made;
    mark_changed(v);
  }
  touch(v);
  // Crossing bounds are a conflict of two, without a look at the tableau.
  const BoundIndex opposite = x.asserted[1 - side];
  if (opposite != 0 && (side == kUpper ? value < bounds_[index(opposite)].value
                                       : value > bounds_[index(opposite)].value)) {
    conflict_.clear();
    conflict_literals_.clear();
    conflict_.push_back(opposite);
    conflict_.push_back(made);
    return false;
  }
  return true;
}

// The simplex does not see deduced bounds: they follow from the asserted ones.
BoundIndex Solver::push_deduced(LaVar v, int side, const BoundValue& value, std::int32_t reason) {
  Variable& x = vars_[index(v)];
  const auto made = static_cast<BoundIndex>(bounds_.size());
  bounds_.push_back(
      {value, v, x.asserted[side], x.deduced[side], reason, Bound::DEDUCED, side == kUpper});
  x.deduced[side] = made;
  mark_changed(v);
  return made;
}

void Solver::assert_disequality(Lit constraint, LaVar v, const Number& value) {
  disequalities_.push_back({v, BoundValue(value), constraint});
}

// Values and the tableau are not part of a level: any values that satisfy the rows serve, and those
// before a step back are good ones to go on from.
void Solver::push() {
  level_marks_.push_back({bounds_.size(), disequalities_.size()});
}

void Solver::pop_to(std::size_t level) {
  if (level >= level_marks_.size()) return;
  const LevelMark mark = level_marks_[level];
  level_marks_.resize(level);
  while (bounds_.size() > mark.bounds) {
    const Bound& b = bounds_.back();
    Variable& x = vars_[index(b.var)];
    x.asserted[b.upper ? 1 : 0] = b.previous_asserted;
    x.deduced[b.upper ? 1 : 0] = b.previous_deduced;
    bounds_.pop_back();
  }
  disequalities_.resize(mark.disequalities, {0, BoundValue(), kNoLit});
}

void Solver::pop_all() {
  level_marks_.insert(level_marks_.begin(), {1, 0});
  pop_to(0);
}

bool Solver::is_fixed(LaVar v) const {
  const Variable& x = vars_[index(v)];
  return x.asserted[kLower] != 0 && x.asserted[kUpper] != 0 &&
         bounds_[index(x.asserted[kLower])].value == bounds_[index(x.asserted[kUpper])].value;
}

// The list is kept sorted: the smallest variable leaves first where the rule of Bland asks for it.
void Solver::note_if_violated(LaVar v) {
  Variable& x = vars_[index(v)];
  if (x.is_violated || !(below_lower(x) || above_upper(x))) return;
  x.is_violated = true;
  violated_vars_.insert(std::lower_bound(violated_vars_.begin(), violated_vars_.end(), v), v);
}

// Applies the bounds that were told since the last check.
void Solver::apply_touched() {
  for (const LaVar v : touched_) {
    Variable& x = vars_[index(v)];
    x.is_touched = false;
    if (tableau_.is_basic(v)) {
      note_if_violated(v);
    } else if (below_lower(x)) {
      move_nonbasic(v, bounds_[index(x.asserted[kLower])].value);
    } else if (above_upper(x)) {
      move_nonbasic(v, bounds_[index(x.asserted[kUpper])].value);
    }
  }
  touched_.clear();
}

// Rows stay true: each basic variable of the column follows.
void Solver::move_nonbasic(LaVar v, const BoundValue& target) {
  const BoundValue change = target - vars_[index(v)].value;
  for (const ColumnEntry& place : tableau_.column(v)) {
    const LaVar basic = tableau_.basic_of(place.row);
    vars_[index(basic)].value.addmul(tableau_.row(place.row)[index(place.position)].coefficient,
                                     change);
    note_if_violated(basic);
  }
  vars_[index(v)].value = target;
}

// Moves one nonbasic variable of the row so that its basic one comes back within bounds, if
// one can go so far.
void Solver::move_within_bounds(LaVar basic) {
  const Variable& x = vars_[index(basic)];
  const BoundIndex goal = x.asserted[below_lower(x) ? kLower : kUpper];
  const BoundValue distance = bounds_[index(goal)].value - x.value;
  LaVar best = 0;
  BoundValue target;
  for (const RowEntry& entry : tableau_.row(tableau_.row_of(basic))) {
    if (entry.var < best) continue;
    const Variable& y = vars_[index(entry.var)];
    BoundValue moved = distance;
    moved *= entry.coefficient.inverse();
    moved += y.value;
    if (y.asserted[kLower] != 0 && moved < bounds_[index(y.asserted[kLower])].value) continue;
    if (y.asserted[kUpper] != 0 && moved > bounds_[index(y.asserted[kUpper])].value) continue;
    best = entry.var;
    target = std::move(moved);
  }
  if (best != 0) move_nonbasic(best, target);
}

// Many violated rows at once come from a long chain of facts. Pivoting through it fills the tableau
// with the square of its length; moving the youngest variable of each row, in order, costs nothing.
// What that leaves is for the simplex.
void Solver::move_off_violations() {
  Vector<LaVar> rows(violated_vars_);
  for (const LaVar v : rows) {
    const Variable& x = vars_[index(v)];
    if (tableau_.is_basic(v) && (below_lower(x) || above_upper(x))) move_within_bounds(v);
  }
}

// The violated basic variable to leave, or 0; those that have come back within bounds are dropped.
LaVar Solver::pick_leaving(bool greedy) {
  LaVar best = 0;
  std::size_t best_length = 0;
  BoundValue best_violation;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < violated_vars_.size(); ++i) {
    const LaVar v = violated_vars_[i];
    Variable& x = vars_[index(v)];
    const bool low = below_lower(x);
    if (!tableau_.is_basic(v) || !(low || above_upper(x))) {
      // A nonbasic variable out of bounds would be touched, and met in the next check.
      x.is_violated = false;
      continue;
    }
    violated_vars_[kept++] = v;
    if (!greedy) {
      if (best == 0) best = v;
      continue;
    }
    // Greedy: the shortest row, then the largest violation.
    const std::size_t length = tableau_.row(tableau_.row_of(v)).size();
    if (best != 0 && length > best_length) continue;
    BoundValue violation = low ? bounds_[index(x.asserted[kLower])].value - x.value
                               : x.value - bounds_[index(x.asserted[kUpper])].value;
    if (best == 0 || length < best_length || violation > best_violation) {
      best = v;
      best_length = length;
      best_violation = std::move(violation);
    }
  }
  violated_vars_.shrink(kept);
  return best;
}

// Whether the variable has room in the direction that moves the row's basic one.
bool Solver::can_move(const RowEntry& entry, bool raise) const {
  const Variable& x = vars_[index(entry.var)];
  const int side = raise == (entry.coefficient.sign() > 0) ? kUpper : kLower;
  const BoundIndex limit = x.asserted[side];
  if (limit == 0) return true;
  return side == kUpper ? x.value < bounds_[index(limit)].value
                        : x.value > bounds_[index(limit)].value;
}

// The place in the leaving variable's row of the one to enter, or -1. Greedy: one without a bound
// in the direction of movement, then the shortest column, then the smallest number.
std::int32_t Solver::pick_entering(LaVar leaving, bool raise, bool greedy) const {
  const Tableau::Row& row = tableau_.row(tableau_.row_of(leaving));
  std::int32_t best = -1;
  bool best_free = false;
  std::size_t best_column = 0;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const RowEntry& entry = row[i];
    if (!can_move(entry, raise)) continue;
    const int side = raise == (entry.coefficient.sign() > 0) ? kUpper : kLower;
    const bool free = vars_[index(entry.var)].asserted[side] == 0;
    const std::size_t column = tableau_.column(entry.var).size();
    bool better = best < 0;
    if (!better) {
      const LaVar rival = row[index(best)].var;
      if (!greedy) {
        better = entry.var < rival;
      } else if (free != best_free) {
        better = free;
      } else {
        better = column != best_column ? column < best_column : entry.var < rival;
      }
    }
    if (better) {
      best = static_cast<std::int32_t>(i);
      best_free = free;
      best_column = column;
    }
  }
  return best;
}

// The bound that is violated and the bounds that keep each variable of its row where it is.
void Solver::explain_row(LaVar basic, bool raise, Vector<BoundIndex>& out) const {
  ORDAX_CHECK(is_row_conflict(basic, raise));
  out.clear();
  out.push_back(vars_[index(basic)].asserted[raise ? kLower : kUpper]);
  for (const RowEntry& entry : tableau_.row(tableau_.row_of(basic))) {
    const int side = raise == (entry.coefficient.sign() > 0) ? kUpper : kLower;
    out.push_back(vars_[index(entry.var)].asserted[side]);
  }
}

// Of the violated rows that are all conflicts, the one with the shortest explanation serves best.
void Solver::choose_shortest_conflict(LaVar found) {
  explain_row(found, below_lower(vars_[index(found)]), conflict_);
  for (const LaVar v : violated_vars_) {
    const Variable& x = vars_[index(v)];
    if (v == found || !tableau_.is_basic(v)) continue;
    const Tableau::Row& row = tableau_.row(tableau_.row_of(v));
    if (row.size() + 1 >= conflict_.size()) continue;
    const bool raise = below_lower(x);
    if (!raise && !above_upper(x)) continue;
    const bool blocked =
        std::none_of(row.begin(), row.end(), [&](const RowEntry& e) { return can_move(e, raise); });
    if (blocked) explain_row(v, raise, conflict_);
  }
}

// Pivots so that the basic variable of the row lands on `target`.
void Solver::pivot_and_move(std::int32_t row, std::int32_t position, const BoundValue& target) {
  const LaVar leaving = tableau_.basic_of(row);
  const RowEntry& entry = tableau_.row(row)[index(position)];
  const LaVar entering = entry.var;
  BoundValue change = target - vars_[index(leaving)].value;
  change *= entry.coefficient.inverse();
  vars_[index(leaving)].value = target;
  vars_[index(entering)].value += change;
  for (const ColumnEntry& place : tableau_.column(entering)) {
    if (place.row == row) continue;
    const LaVar basic = tableau_.basic_of(place.row);
    vars_[index(basic)].value.addmul(tableau_.row(place.row)[index(place.position)].coefficient,
                                     change);
    note_if_violated(basic);
  }
  tableau_.pivot(row, position);
  note_if_violated(entering);
}

bool Solver::check() {
  ++num_checks_;
  [[maybe_unused]] const bool audits = audit_due();
  ORDAX_CHECK(!audits || (tableau_.well_formed() && state_holds()));
  apply_touched();
  if (violated_vars_.empty()) {
    ORDAX_CHECK(!audits || bounds_hold());
    return true;
  }
  if (logger_.verbosity() >= 5) logger_.log(5, "LA", "LA - check");
  // Greedy choices are fast but may cycle; after so many rounds the smallest numbers are taken,
  // which ends (Bland 1977).
  const std::size_t threshold = greedy_threshold_ > 0
                                    ? static_cast<std::size_t>(greedy_threshold_)
                                    : std::max<std::size_t>(100, 10 * num_problem_vars_);
  if (violated_vars_.size() >= kManyViolated) move_off_violations();
  for (std::size_t round = 1;; ++round) {
    if (termination_ != nullptr) termination_->check();
    const bool greedy = round < threshold;
    const LaVar leaving = pick_leaving(greedy);
    if (leaving == 0) {
      ORDAX_CHECK(!audits || (bounds_hold() && state_holds() && tableau_.well_formed()));
      return true;
    }
    const Variable& x = vars_[index(leaving)];
    const bool raise = below_lower(x);
    const std::int32_t position = pick_entering(leaving, raise, greedy);
    if (position < 0) {
      conflict_literals_.clear();
      choose_shortest_conflict(leaving);
      return false;
    }
    const BoundValue target = bounds_[index(x.asserted[raise ? kLower : kUpper])].value;
    pivot_and_move(tableau_.row_of(leaving), position, target);
  }
}

std::vector<BoundValue> Solver::save_values() const {
  std::vector<BoundValue> values;
  values.reserve(vars_.size());
  for (const Variable& x : vars_) values.push_back(x.value);
  return values;
}

void Solver::restore_values(const std::vector<BoundValue>& values) {
  for (std::size_t v = 1; v < values.size(); ++v) {
    vars_[v].value = values[v];
    if (tableau_.is_basic(static_cast<LaVar>(v))) {
      note_if_violated(static_cast<LaVar>(v));
    } else {
      touch(static_cast<LaVar>(v));
    }
  }
}

void Solver::set_values(const std::vector<BoundValue>& values) {
  for (std::size_t v = 1; v < values.size(); ++v) {
    if (vars_[v].definition < 0) vars_[v].value = values[v];
  }
  for (const Definition& d : definitions_) {
    BoundValue sum;
    for (const Tableau::Summand& s : d.sum) sum.addmul(s.coefficient, vars_[index(s.var)].value);
    vars_[index(d.slack)].value = std::move(sum);
  }
  for (std::size_t v = 1; v < vars_.size(); ++v) {
    if (tableau_.is_basic(static_cast<LaVar>(v))) {
      note_if_violated(static_cast<LaVar>(v));
    } else {
      touch(static_cast<LaVar>(v));
    }
  }
}

bool Solver::values_hold() const {
  for (const Variable& x : vars_) {
    if (below_lower(x) || above_upper(x)) return false;
  }
  return std::all_of(disequalities_.begin(), disequalities_.end(),
                     [this](const Disequality& d) { return disequality_holds(d); });
}

// Moves the value of one disequality's variable to one side or the other; false if both sides fail.
bool Solver::avoid_violated_disequality(std::size_t i) {
  const Disequality d = disequalities_[i];
  const std::vector<BoundValue> saved = save_values();
  Vector<BoundIndex> both;
  const bool integral = vars_[index(d.var)].is_int;
  for (const int side : {kUpper, kLower}) {
    BoundValue limit = d.value;
    limit +=
        integral ? BoundValue(side == kUpper ? -1 : 1) : BoundValue(0, side == kUpper ? -1 : 1);
    push();
    const bool feasible = assert_bound(d.var, side, limit, Bound::FRAME, 0) && check();
    if (!feasible) {
      for (const BoundIndex b : conflict_) {
        if (bounds_[index(b)].kind != Bound::FRAME) both.push_back(b);
      }
    }
    pop_to(level_marks_.size() - 1);
    if (feasible) return true;
    restore_values(saved);
    [[maybe_unused]] const bool still = check();
    ORDAX_CHECK(still);
  }
  if (logger_.verbosity() >= 5) {
    std::string text =
        "LA - do_check_disequalities, conflict for disequality " + std::to_string(i) + ":";
    for (const BoundIndex b : both) text += " " + std::to_string(bounds_[index(b)].reason);
    logger_.log(5, "LA", text);
  }
  conflict_ = both;
  conflict_literals_.clear();
  conflict_literals_.push_back(d.literal);
  for ([[maybe_unused]] const BoundIndex b : conflict_) {
    ORDAX_CHECK(bounds_[index(b)].kind == Bound::LITERAL);
  }
  return false;
}

// Each disequality can be satisfied alone; the feasible set is convex, so a point off all of the
// planes lies on the lines between such points. A step of the right length leaves every plane that
// is left already, since only finitely many lengths hit one of them.
void Solver::repair_disequalities() {
  for (std::size_t i = 0; i < disequalities_.size(); ++i) {
    if (disequality_holds(disequalities_[i])) continue;
    const std::vector<BoundValue> here = save_values();
    [[maybe_unused]] const bool possible = avoid_violated_disequality(i);
    ORDAX_CHECK(possible);
    const std::vector<BoundValue> there = save_values();
    for (std::int64_t divisor = 2;; ++divisor) {
      ORDAX_CHECK(divisor <= static_cast<std::int64_t>(i) + 3);
      const Number step(1, divisor);
      std::vector<BoundValue> between = here;
      for (std::size_t v = 1; v < between.size(); ++v) {
        between[v].addmul(step, there[v] - here[v]);
      }
      restore_values(between);
      bool kept = true;
      for (std::size_t j = 0; j <= i && kept; ++j) kept = disequality_holds(disequalities_[j]);
      if (kept) break;
    }
  }
}

bool Solver::check_disequalities() {
  bool integral = false;
  for (std::size_t i = disequalities_.size(); i-- > 0;) {
    integral = integral || vars_[index(disequalities_[i].var)].is_int;
    if (!disequality_holds(disequalities_[i]) && !avoid_violated_disequality(i)) return false;
  }
  // A later move may have gone back onto an earlier plane.
  if (!integral) {
    repair_disequalities();
    ORDAX_CHECK(values_hold());
  }
  return true;
}

// The largest of `largest` and its halves that keeps every strict bound, and every disequality off
// its value.
Number Solver::choose_epsilon(const Number& largest) const {
  Number limit(largest);
  const auto restrict = [&limit](const BoundValue& low, const BoundValue& high) {
    // low <= high holds for the infinitesimal; it breaks for an epsilon beyond this one.
    const Number k = low.infinitesimal() - high.infinitesimal();
    if (k.sign() <= 0) return;
    const Number allowed = (high.rational() - low.rational()) / k;
    if (allowed < limit) limit = allowed;
  };
  for (const Variable& x : vars_) {
    if (x.asserted[kLower] != 0) restrict(bounds_[index(x.asserted[kLower])].value, x.value);
    if (x.asserted[kUpper] != 0) restrict(x.value, bounds_[index(x.asserted[kUpper])].value);
  }
  Number epsilon(largest);
  const Number half(1, 2);
  while (epsilon > limit) epsilon *= half;
  const auto hits = [this, &epsilon](const Disequality& d) {
    return vars_[index(d.var)].value.concrete(epsilon) == d.value.rational();
  };
  while (std::any_of(disequalities_.begin(), disequalities_.end(), hits)) epsilon *= half;
  return epsilon;
}

void Solver::build_model(const Number& largest) {
  const Number epsilon = choose_epsilon(largest);
  model_.clear();
  model_.reserve(vars_.size());
  for (const Variable& x : vars_) model_.push_back(x.value.concrete(epsilon));
}

bool Solver::model_holds() const {
  for (const Definition& d : definitions_) {
    Number sum;
    for (const Tableau::Summand& s : d.sum) sum.addmul(s.coefficient, model_[index(s.var)]);
    if (!(sum == model_[index(d.slack)])) return false;
  }
  for (std::size_t v = 1; v < vars_.size(); ++v) {
    if (vars_[v].is_int && !model_[v].is_integer()) return false;
  }
  return true;
}

}  // namespace ordax::la
