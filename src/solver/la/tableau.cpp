#include "solver/la/tableau.h"

namespace ordax::la {

void Tableau::add_var() {
  row_of_.push_back(-1);
  columns_.emplace_back();
  position_of_.push_back(-1);
}

// Row and column entries know each other's place, so that an entry is removed from both in constant
// time: whatever moves one has to tell the other.
void Tableau::append(std::int32_t row, LaVar var, Number coefficient) {
  Vector<ColumnEntry>& column = columns_[index(var)];
  Row& entries = rows_[index(row)];
  ++num_entries_;
  entries.push_back({std::move(coefficient), var, static_cast<std::int32_t>(column.size())});
  column.push_back({row, static_cast<std::int32_t>(entries.size() - 1)});
}

// The last entry of the column takes the free place, and its row entry learns of it.
void Tableau::leave_column(LaVar var, std::int32_t column_position) {
  Vector<ColumnEntry>& column = columns_[index(var)];
  const ColumnEntry last = column.back();
  column.pop_back();
  if (index(column_position) == column.size()) return;
  column[index(column_position)] = last;
  rows_[index(last.row)][index(last.position)].column_position = column_position;
}

// The same on both sides. The order within rows and columns is not kept.
void Tableau::remove(std::int32_t row, std::size_t position) {
  Row& entries = rows_[index(row)];
  leave_column(entries[position].var, entries[position].column_position);
  if (position + 1 != entries.size()) {
    entries[position] = std::move(entries.back());
    const RowEntry& moved = entries[position];
    columns_[index(moved.var)][index(moved.column_position)].position =
        static_cast<std::int32_t>(position);
  }
  entries.pop_back();
  --num_entries_;
}

// The sum is written over variables that are not basic: a basic one is replaced by its row.
void Tableau::add_row(LaVar basic, const std::vector<Summand>& summands) {
  auto row = static_cast<std::int32_t>(rows_.size());
  if (free_rows_.empty()) {
    rows_.emplace_back();
    basic_.push_back(basic);
  } else {
    row = free_rows_.back();
    free_rows_.pop_back();
    basic_[index(row)] = basic;
  }
  Row sum;
  for (const Summand& s : summands) {
    if (is_basic(s.var)) {
      add_multiple(row, s.coefficient, rows_[index(row_of(s.var))]);
    } else {
      sum.clear();
      sum.push_back({Number(1), s.var, 0});
      add_multiple(row, s.coefficient, sum);
    }
  }
  row_of_[index(basic)] = row;
}

// The row of a variable goes with it. If it is not basic it is made so first, for other rows hold
// it; afterwards no row does.
void Tableau::remove_last_var() {
  const auto v = static_cast<LaVar>(num_vars() - 1);
  if (!is_basic(v) && !column(v).empty()) {
    // The shortest row fills the others least.
    ColumnEntry best = column(v)[0];
    for (const ColumnEntry& place : column(v)) {
      if (row(place.row).size() < row(best.row).size()) best = place;
    }
    pivot(best.row, best.position);
  }
  if (const std::int32_t own = row_of(v); own >= 0) {
    while (!row(own).empty()) remove(own, row(own).size() - 1);
    rows_[index(own)].shrink_to_fit();
    basic_[index(own)] = 0;
    free_rows_.push_back(own);
  }
  row_of_.pop_back();
  columns_.pop_back();
  position_of_.pop_back();
}

// Adds `factor * source` to a row. The source is another row or not in the tableau.
void Tableau::add_multiple(std::int32_t target, const Number& factor, const Row& source) {
  Row& entries = rows_[index(target)];
  for (std::size_t i = 0; i < entries.size(); ++i) {
    position_of_[index(entries[i].var)] = static_cast<std::int32_t>(i);
  }
  const std::size_t old_size = entries.size();
  bool has_zero = false;
  for (const RowEntry& s : source) {
    const std::int32_t position = position_of_[index(s.var)];
    if (position >= 0) {
      Number& coefficient = entries[index(position)].coefficient;
      coefficient.addmul(factor, s.coefficient);
      has_zero = has_zero || coefficient.is_zero();
    } else {
      append(target, s.var, factor * s.coefficient);
    }
  }
  // Back to what holds between calls: no position is noted.
  for (std::size_t i = 0; i < old_size; ++i) position_of_[index(entries[i].var)] = -1;
  // Backwards, since removing moves the last entry.
  if (!has_zero) return;
  for (std::size_t i = old_size; i-- > 0;) {
    if (entries[i].coefficient.is_zero()) remove(target, i);
  }
}

// The basic variable of the row and the variable at `position` change places (Dutertre and de
// Moura, CAV 2006). Solved for the entering variable, the row is put in wherever that one stands.
void Tableau::pivot(std::int32_t row, std::int32_t position) {
  ++num_pivots_;
  Row& entries = rows_[index(row)];
  const LaVar leaving = basic_[index(row)];
  const LaVar entering = entries[index(position)].var;
  Number factor = entries[index(position)].coefficient.inverse();

  // entering = factor * leaving - factor * (the rest)
  leave_column(entering, entries[index(position)].column_position);
  RowEntry& swapped = entries[index(position)];
  swapped.var = leaving;
  swapped.column_position = static_cast<std::int32_t>(columns_[index(leaving)].size());
  columns_[index(leaving)].push_back({row, position});
  if (factor.is_one()) {
    for (RowEntry& e : entries) e.coefficient.negate();
  } else if (!factor.is_minus_one()) {
    factor.negate();
    for (RowEntry& e : entries) e.coefficient *= factor;
    factor.negate();
  }
  swapped.coefficient = factor;
  basic_[index(row)] = entering;
  row_of_[index(entering)] = row;
  row_of_[index(leaving)] = -1;

  // Each pass takes one entry off the column, until the entering variable stands in no row.
  Vector<ColumnEntry>& column = columns_[index(entering)];
  while (!column.empty()) {
    const ColumnEntry place = column.back();
    const Number multiple = rows_[index(place.row)][index(place.position)].coefficient;
    remove(place.row, index(place.position));
    add_multiple(place.row, multiple, rows_[index(row)]);
  }
}

}  // namespace ordax::la
