#include "solver/la/bound_atoms.h"

#include <algorithm>

namespace ordax::la {

// A definition is the sum "summands - slack = 0". Each variable knows the sums that it stands in.
void BoundAtoms::know_definitions() {
  if (lists_.size() < solver_.num_variables()) lists_.resize(solver_.num_variables());
  for (std::size_t d = definitions_.size(); d < solver_.num_definitions(); ++d) {
    definitions_.emplace_back();
    Sum& sum = definitions_.back();
    for (const Tableau::Summand& s : solver_.definition(d)) {
      sum.push_back(summand(s.var, s.coefficient));
    }
    sum.push_back(summand(solver_.slack_of(d), minus_one_));
    for (const Summand& s : sum) {
      lists_[index(s.var)].definitions.push_back(static_cast<std::int32_t>(d));
    }
  }
}

void BoundAtoms::add_atom(LaVar v, const BoundValue& limit, Lit literal) {
  know_definitions();
  AtomList& list = lists_[index(v)];
  const auto place = std::upper_bound(
      list.atoms.begin(), list.atoms.end(), limit,
      [](const BoundValue& value, const Atom& atom) { return value < atom.limit; });
  const auto position = static_cast<std::int32_t>(place - list.atoms.begin());
  list.atoms.insert(place, {limit, literal});
  ++num_atoms_;
  // A new atom at a cursor counts as undecided; `advance` decides it below.
  // Cursors, and what is kept of them for going back, keep pointing at the same atoms.
  const auto shift = [position](std::int32_t& low, std::int32_t& high) {
    if (position < low) ++low;
    if (position <= high) ++high;
  };
  shift(list.low, list.high);
  for (CursorChange& change : cursor_trail_) {
    if (change.var == v) shift(change.low, change.high);
  }
  advance(v);
}

// No bound is asserted: the cursors go back to the ends.
void BoundAtoms::remove_atoms(Var first) {
  for (AtomList& list : lists_) {
    const auto gone = std::remove_if(list.atoms.begin(), list.atoms.end(),
                                     [first](const Atom& a) { return var_of(a.literal) >= first; });
    num_atoms_ -= static_cast<std::size_t>(list.atoms.end() - gone);
    list.atoms.erase(gone, list.atoms.end());
    list.low = 0;
    list.high = static_cast<std::int32_t>(list.atoms.size());
  }
}

void BoundAtoms::forget_variables(std::size_t count) {
  for (; !definitions_.empty(); definitions_.pop_back()) {
    const std::size_t d = definitions_.size() - 1;
    if (index(solver_.slack_of(d)) < count) break;
    for (const Summand& s : definitions_.back()) lists_[index(s.var)].definitions.pop_back();
  }
  if (lists_.size() > count) lists_.resize(count);
}

// Moves the cursors of a variable to its bounds, and queues the literals of the atoms passed over.
void BoundAtoms::advance(LaVar v) {
  AtomList& list = lists_[index(v)];
  const auto size = static_cast<std::int32_t>(list.atoms.size());
  if (size == 0) return;
  const BoundIndex lower = solver_.deduced(v, Solver::kLower);
  const BoundIndex upper = solver_.deduced(v, Solver::kUpper);
  const std::int32_t old_low = list.low;
  const std::int32_t old_high = list.high;
  // Atoms say "v <= limit": those below a lower bound are false, those at or above an upper bound
  // true. Between the cursors stand the undecided ones.
  if (lower != 0) {
    const BoundValue& value = solver_.bound(lower).value;
    for (; list.low < size && list.atoms[index(list.low)].limit < value; ++list.low) {
      implied_.push_back({negate(list.atoms[index(list.low)].literal), lower});
    }
  }
  if (upper != 0) {
    const BoundValue& value = solver_.bound(upper).value;
    for (; list.high > 0 && list.atoms[index(list.high - 1)].limit >= value; --list.high) {
      implied_.push_back({list.atoms[index(list.high - 1)].literal, upper});
    }
  }
  if (old_low != list.low || old_high != list.high) {
    cursor_trail_.push_back({v, old_low, old_high});
  }
}

void BoundAtoms::enqueue(LaVar v) {
  AtomList& list = lists_[index(v)];
  if (list.in_queue) return;
  list.in_queue = true;
  queue_.push_back(v);
}

// Whether a bound would decide the atom next to a cursor.
bool BoundAtoms::passes_atom(LaVar v, int side, const BoundValue& value) const {
  const AtomList& list = lists_[index(v)];
  if (list.low >= list.high) return false;
  return side == Solver::kUpper ? list.atoms[index(list.high - 1)].limit >= value
                                : list.atoms[index(list.low)].limit < value;
}

// A bound is worth keeping if it decides an atom, or if other sums can carry it on.
bool BoundAtoms::is_useful(LaVar v, int side, const BoundValue& value) const {
  return passes_atom(v, side, value) || lists_[index(v)].definitions.size() > 1;
}

// First through the definitions, which are short and whose bounds make good explanations, then
// through the rows of the tableau as they are. False if two bounds cross.
bool BoundAtoms::deduce(bool with_rows) {
  if (solver_.changed().empty()) return true;
  ORDAX_CHECK(!audit_.due(num_atoms_ + lists_.size()) || cursors_hold());
  know_definitions();
  bool consistent = true;
  for (const LaVar v : solver_.changed()) {
    advance(v);
    if (with_rows) enqueue(v);
  }
  if (with_rows) {
    const std::size_t num_told = queue_.size();
    // Bounds over the rationals may creep towards a limit for ever.
    std::size_t budget = 2 * solver_.num_definitions() + num_atoms_ + 64;
    for (std::size_t i = 0; consistent && i < queue_.size() && budget > 0; ++i) {
      const LaVar v = queue_[i];
      lists_[index(v)].in_queue = false;
      const Vector<std::int32_t>& definitions = lists_[index(v)].definitions;
      for (std::size_t k = 0; consistent && k < definitions.size() && budget > 0; ++k) {
        --budget;
        stop_.step();
        consistent = propagate_sum(definitions_[index(definitions[k])]);
      }
    }
    for (const LaVar v : queue_) lists_[index(v)].in_queue = false;
    // The rows are looked at for the bounds that were told, not for those just deduced.
    queue_.shrink(num_told);
    ++stamp_;
    row_stamp_.resize(solver_.tableau().num_rows(), 0);
    for (std::size_t i = 0; consistent && i < queue_.size(); ++i) {
      const LaVar v = queue_[i];
      const Tableau& tableau = solver_.tableau();
      if (tableau.is_basic(v)) {
        consistent = propagate_tableau_row(tableau.row_of(v));
        continue;
      }
      const Vector<ColumnEntry>& column = tableau.column(v);
      for (std::size_t k = 0; consistent && k < column.size() && budget > 0; ++k) {
        --budget;
        stop_.step();
        consistent = propagate_tableau_row(column[k].row);
      }
    }
    for (const LaVar v : queue_) lists_[index(v)].in_queue = false;
    queue_.clear();
  }
  solver_.clear_changed();
  return consistent;
}

bool BoundAtoms::propagate_tableau_row(std::int32_t row) {
  if (row_stamp_[index(row)] == stamp_) return true;
  row_stamp_[index(row)] = stamp_;
  const Tableau::Row& entries = solver_.tableau().row(row);
  // Long rows rarely have all their bounds, and explain by long clauses.
  if (entries.size() > kMaxRowLength) return true;
  // Most rows lack too many bounds on both sides.
  const LaVar basic = solver_.tableau().basic_of(row);
  int missing_low = solver_.deduced(basic, Solver::kUpper) == 0 ? 1 : 0;
  int missing_high = solver_.deduced(basic, Solver::kLower) == 0 ? 1 : 0;
  for (const RowEntry& e : entries) {
    const int side = e.coefficient.sign() > 0 ? Solver::kLower : Solver::kUpper;
    missing_low += solver_.deduced(e.var, side) == 0 ? 1 : 0;
    missing_high += solver_.deduced(e.var, 1 - side) == 0 ? 1 : 0;
    if (missing_low > 1 && missing_high > 1) return true;
  }
  row_.clear();
  for (const RowEntry& e : entries) row_.push_back(summand(e.var, e.coefficient));
  row_.push_back(summand(basic, minus_one_));
  return propagate_sum(row_);
}

bool BoundAtoms::propagate_sum(const Sum& sum) {
  return propagate_side(sum, /*minimum=*/true) && propagate_side(sum, /*minimum=*/false);
}

// The sum is 0. From its least (greatest) possible value, each summand is bounded from above
// (below) by what the others leave; that needs a bound of each other summand.
bool BoundAtoms::propagate_side(const Sum& sum, bool minimum) {
  BoundValue total;
  std::size_t missing = sum.size();
  // If one summand has no bound, only that one can be bounded; if two have none, nothing can.
  for (std::size_t i = 0; i < sum.size(); ++i) {
    const Summand& s = sum[i];
    const BoundIndex bound =
        solver_.deduced(s.var, minimum == (s.sign > 0) ? Solver::kLower : Solver::kUpper);
    if (bound != 0) {
      add_value(total, s, solver_.bound(bound).value);
    } else if (missing != sum.size()) {
      return true;
    } else {
      missing = i;
    }
  }
  if (missing != sum.size()) return derive(sum, missing, minimum, std::move(total));
  for (std::size_t i = 0; i < sum.size(); ++i) {
    const LaVar v = sum[i].var;
    // Nothing to decide and nobody to tell.
    const AtomList& list = lists_[index(v)];
    if (list.low >= list.high && list.definitions.size() <= 1) continue;
    const int side = minimum == (sum[i].sign > 0) ? Solver::kLower : Solver::kUpper;
    BoundValue own;
    add_value(own, sum[i], solver_.bound(solver_.deduced(v, side)).value);
    if (!derive(sum, i, minimum, total - own)) return false;
  }
  return true;
}

// With minimum: coefficient * v <= -rest. Adds the bound if it is tighter and of use.
bool BoundAtoms::derive(const Sum& sum, std::size_t i, bool minimum, BoundValue rest) {
  const LaVar v = sum[i].var;
  const int side = minimum == (sum[i].sign > 0) ? Solver::kUpper : Solver::kLower;
  if (!sum[i].is_unit) {
    rest *= sum[i].coefficient->inverse();
    rest.negate();
  } else if (sum[i].sign > 0) {
    rest.negate();
  }
  if (solver_.is_int(v) && !rest.is_integer()) {
    rest = BoundValue(side == Solver::kUpper ? rest.floor() : rest.ceil());
  }
  // Bounds that creep towards a limit over the rationals grow ever longer numbers.
  if (!rest.is_simple()) return true;
  const BoundIndex current = solver_.deduced(v, side);
  if (current != 0) {
    const int order = BoundValue::compare(rest, solver_.bound(current).value);
    if (side == Solver::kUpper ? order >= 0 : order <= 0) return true;
  }
  const BoundIndex opposite = solver_.deduced(v, 1 - side);
  const bool crosses =
      opposite != 0 && (side == Solver::kUpper ? rest < solver_.bound(opposite).value
                                               : rest > solver_.bound(opposite).value);
  if (!crosses && !is_useful(v, side, rest)) return true;

  // The bounds used lie one after the other after their number; the new bound names the place.
  const auto reason = static_cast<std::int32_t>(antecedents_.size());
  antecedents_.push_back(static_cast<BoundIndex>(sum.size() - 1));
  for (std::size_t k = 0; k < sum.size(); ++k) {
    if (k == i) continue;
    const int used = minimum == (sum[k].sign > 0) ? Solver::kLower : Solver::kUpper;
    antecedents_.push_back(solver_.deduced(sum[k].var, used));
  }
  const BoundIndex made = solver_.push_deduced(v, side, rest, reason);
  ++num_deduced_;
  if (crosses) {
    crossing_[0] = opposite;
    crossing_[1] = made;
    return false;
  }
  advance(v);
  enqueue(v);
  return true;
}

// Marks of all that grows with the trail.
void BoundAtoms::push() {
  level_marks_.push_back({cursor_trail_.size(), implied_.size(), antecedents_.size()});
}

void BoundAtoms::pop_to(std::size_t level) {
  if (level >= level_marks_.size()) return;
  const LevelMark mark = level_marks_[level];
  level_marks_.resize(level);
  while (cursor_trail_.size() > mark.cursors) {
    const CursorChange& change = cursor_trail_.back();
    lists_[index(change.var)].low = change.low;
    lists_[index(change.var)].high = change.high;
    cursor_trail_.pop_back();
  }
  implied_.resize(mark.implied);
  next_implied_ = std::min(next_implied_, mark.implied);
  antecedents_.shrink(mark.antecedents);
}

void BoundAtoms::pop_all() {
  level_marks_.insert(level_marks_.begin(), {0, 0, 0});
  pop_to(0);
}

bool BoundAtoms::next_implied(Lit& literal, BoundIndex& reason) {
  if (next_implied_ == implied_.size()) return false;
  literal = implied_[next_implied_].literal;
  reason = implied_[next_implied_].reason;
  ++next_implied_;
  return true;
}

// Back through deduced bounds to the literals, each bound once: linear in what was used.
void BoundAtoms::explain(const BoundIndex* first, const BoundIndex* last, LitVector& literals) {
  bound_stamp_.resize(std::max(bound_stamp_.size(), solver_.num_bounds()), 0);
  ++stamp_;
  stack_.clear();
  for (; first != last; ++first) stack_.push_back(*first);
  while (!stack_.empty()) {
    const BoundIndex b = stack_.back();
    stack_.pop_back();
    if (bound_stamp_[index(b)] == stamp_) continue;
    bound_stamp_[index(b)] = stamp_;
    const Bound& bound = solver_.bound(b);
    if (bound.kind == Bound::LITERAL) {
      literals.push_back(bound.reason);
    } else if (bound.kind == Bound::DEDUCED) {
      const std::size_t start = index(bound.reason);
      for (BoundIndex k = 1; k <= antecedents_[start]; ++k) {
        stack_.push_back(antecedents_[start + index(k)]);
      }
    }
  }
}

}  // namespace ordax::la
