// The invariants of the arithmetic, written apart from the code that keeps them.

#include <algorithm>
#include <map>

#include "solver/la/bound_atoms.h"
#include "solver/la/la_solver_interface.h"

namespace ordax {
namespace la {

bool Tableau::well_formed() const {
  std::size_t row_entries = 0;
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    const auto row = static_cast<std::int32_t>(r);
    if (basic_[r] == 0) {
      if (!rows_[r].empty()) return false;
      continue;
    }
    if (row_of(basic_[r]) != row || !column(basic_[r]).empty()) return false;
    row_entries += rows_[r].size();
    for (std::size_t i = 0; i < rows_[r].size(); ++i) {
      const RowEntry& e = rows_[r][i];
      if (e.coefficient.is_zero() || is_basic(e.var)) return false;
      if (index(e.column_position) >= column(e.var).size()) return false;
      const ColumnEntry& place = column(e.var)[index(e.column_position)];
      if (place.row != row || index(place.position) != i) return false;
    }
  }
  std::size_t column_entries = 0;
  for (const Vector<ColumnEntry>& column : columns_) column_entries += column.size();
  return row_entries == column_entries &&
         std::all_of(position_of_.begin(), position_of_.end(),
                     [](std::int32_t position) { return position == -1; });
}

// The rows hold for the values, and what is out of bounds is noted where `check` looks for it.
bool Solver::state_holds() const {
  for (std::size_t r = 0; r < tableau_.num_rows(); ++r) {
    const auto row = static_cast<std::int32_t>(r);
    const LaVar basic = tableau_.basic_of(row);
    if (basic == 0) continue;
    BoundValue sum;
    for (const RowEntry& e : tableau_.row(row)) sum.addmul(e.coefficient, value(e.var));
    if (!(sum == value(basic))) return false;
  }
  if (!std::is_sorted(violated_vars_.begin(), violated_vars_.end())) return false;
  for (std::size_t v = 1; v < vars_.size(); ++v) {
    const Variable& x = vars_[v];
    const auto var = static_cast<LaVar>(v);
    const bool listed = std::binary_search(violated_vars_.begin(), violated_vars_.end(), var);
    if (listed != x.is_violated) return false;
    if (!(below_lower(x) || above_upper(x)) || x.is_touched) continue;
    if (!tableau_.is_basic(var) || !x.is_violated) return false;
  }
  for (std::size_t d = 0; d < definitions_.size(); ++d) {
    const Definition& definition = definitions_[d];
    if (definition.slack == 0) continue;
    BoundValue sum;
    for (const Tableau::Summand& s : definition.sum) sum.addmul(s.coefficient, value(s.var));
    if (!(sum == value(definition.slack))) return false;
  }
  return true;
}

bool Solver::bounds_hold() const {
  return std::none_of(vars_.begin(), vars_.end(),
                      [this](const Variable& x) { return below_lower(x) || above_upper(x); });
}

// The bounds of the row leave its basic variable on the wrong side of its own one.
bool Solver::is_row_conflict(LaVar basic, bool raise) const {
  const BoundIndex own = vars_[index(basic)].asserted[raise ? kLower : kUpper];
  if (own == 0) return false;
  BoundValue farthest;
  for (const RowEntry& e : tableau_.row(tableau_.row_of(basic))) {
    const BoundIndex limit =
        vars_[index(e.var)].asserted[raise == (e.coefficient.sign() > 0) ? kUpper : kLower];
    if (limit == 0) return false;
    farthest.addmul(e.coefficient, bounds_[index(limit)].value);
  }
  return raise ? farthest < bounds_[index(own)].value : farthest > bounds_[index(own)].value;
}

bool BoundAtoms::cursors_hold() const {
  std::size_t atoms = 0;
  for (std::size_t v = 0; v < lists_.size(); ++v) {
    const AtomList& list = lists_[v];
    const auto size = static_cast<std::int32_t>(list.atoms.size());
    atoms += list.atoms.size();
    if (list.in_queue || list.low < 0 || list.low > size) return false;
    if (list.high < 0 || list.high > size) return false;
    for (std::size_t i = 1; i < list.atoms.size(); ++i) {
      if (list.atoms[i].limit < list.atoms[i - 1].limit) return false;
    }
    const BoundIndex lower = solver_.deduced(static_cast<LaVar>(v), Solver::kLower);
    const BoundIndex upper = solver_.deduced(static_cast<LaVar>(v), Solver::kUpper);
    if (list.low > 0 &&
        (lower == 0 || !(list.atoms[index(list.low - 1)].limit < solver_.bound(lower).value))) {
      return false;
    }
    if (list.high < size &&
        (upper == 0 || list.atoms[index(list.high)].limit < solver_.bound(upper).value)) {
      return false;
    }
  }
  return atoms == num_atoms_ && next_implied_ <= implied_.size();
}

}  // namespace la

// The literals contradict one another over the rationals: decided by a simplex of its own.
bool LaSolverInterface::is_contradiction(const LitVector& literals) const {
  Logger silent(0, "");
  la::Solver simplex(silent, 0);
  std::map<la::LaVar, la::LaVar> copies;
  const auto plain = [&](la::LaVar v) {
    la::LaVar& copy = copies[v];
    if (copy == 0) copy = simplex.new_variable(/*is_int=*/false);
    return copy;
  };
  const auto copy_of = [&](la::LaVar v) {
    if (!solver_.is_slack(v) || copies.contains(v)) return plain(v);
    std::vector<la::Tableau::Summand> sum;
    for (const la::Tableau::Summand& s : solver_.definition(index(solver_.definition_of(v)))) {
      sum.push_back({plain(s.var), s.coefficient});
    }
    return copies[v] = simplex.new_slack(sum, /*is_int=*/false);
  };
  for (const Lit l : literals) {
    const Constraint& c = constraints_[index(var_of(l))];
    const la::LaVar v = copy_of(c.var);
    const bool positive = l == c.literal;
    bool consistent = true;
    if (c.kind == Constraint::BOUND) {
      consistent =
          positive ? simplex.assert_upper(l, v, c.limit) : simplex.assert_lower(l, v, c.above);
    } else if (c.kind == Constraint::EQUALITY && positive) {
      consistent = simplex.assert_upper(l, v, c.limit) && simplex.assert_lower(l, v, c.limit);
    } else if (c.kind == Constraint::EQUALITY) {
      simplex.assert_disequality(l, v, c.limit.rational());
    }
    if (!consistent) return true;
  }
  return !simplex.check() || !simplex.check_disequalities();
}

// The literals from a place on imply a literal; where integers are rounded, that is not looked at.
bool LaSolverInterface::justifies(const LitVector& reason, std::size_t from, Lit implied) const {
  if (has_integers_) return true;
  LitVector all;
  for (std::size_t i = from; i < reason.size(); ++i) all.push_back(reason[i]);
  all.push_back(negate(implied));
  return is_contradiction(all);
}

}  // namespace ordax
