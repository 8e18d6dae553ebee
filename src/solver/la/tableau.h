#pragma once

#include <vector>

#include "solver/base/vector.h"
#include "solver/terms/number.h"

namespace ordax::la {

using LaVar = std::int32_t;

/// A summand of a row, and where the row stands in the column of the variable.
struct RowEntry {
  Number coefficient;
  LaVar var;
  std::int32_t column_position;
};

/// Where a nonbasic variable occurs.
struct ColumnEntry {
  std::int32_t row;
  std::int32_t position;
};

/// Sparse rows, one per basic variable: basic = sum of coefficient * nonbasic. Rows and columns
/// point into one another, so that removing an entry is a swap with the last one.
class Tableau {
 public:
  using Row = std::vector<RowEntry>;
  struct Summand {
    LaVar var;
    Number coefficient;
  };

  /// A new variable without a row or column.
  void add_var();
  /// Makes the fresh variable `basic` the sum of `summands`, which may hold basic variables.
  void add_row(LaVar basic, const std::vector<Summand>& summands);

  /// Takes the last variable away, with the equation that it is in.
  void remove_last_var();

  bool is_basic(LaVar v) const { return row_of_[index(v)] >= 0; }
  std::int32_t row_of(LaVar v) const { return row_of_[index(v)]; }
  LaVar basic_of(std::int32_t row) const { return basic_[index(row)]; }
  const Row& row(std::int32_t r) const { return rows_[index(r)]; }
  const Vector<ColumnEntry>& column(LaVar v) const { return columns_[index(v)]; }
  /// Rows by number; one that was given up is empty, and its basic variable is 0.
  std::size_t num_rows() const { return rows_.size(); }
  std::size_t num_used_rows() const { return rows_.size() - free_rows_.size(); }
  std::size_t num_vars() const { return row_of_.size(); }

  /// Swaps the basic variable of the row with the variable at `position` of it.
  void pivot(std::int32_t row, std::int32_t position);

  /// Rows and columns tell the same, and only nonbasic variables stand in rows.
  bool well_formed() const;
  /// The entries of all rows.
  std::size_t num_entries() const { return num_entries_; }

  std::uint64_t num_pivots() const { return num_pivots_; }

 private:
  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  void append(std::int32_t row, LaVar var, Number coefficient);
  void remove(std::int32_t row, std::size_t position);
  void leave_column(LaVar var, std::int32_t column_position);
  void add_multiple(std::int32_t target, const Number& factor, const Row& source);

  std::vector<Row> rows_;
  Vector<LaVar> basic_;  // by row; 0 for one that is free
  Vector<std::int32_t> free_rows_;
  Vector<std::int32_t> row_of_;  // by variable; -1 for a nonbasic one
  std::vector<Vector<ColumnEntry>> columns_;
  Vector<std::int32_t> position_of_;  // scratch, by variable; -1 outside of a merge
  std::size_t num_entries_ = 0;
  std::uint64_t num_pivots_ = 0;
};

}  // namespace ordax::la
