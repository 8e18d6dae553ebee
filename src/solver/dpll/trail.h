#pragma once

#include <cstddef>

#include "solver/base/check.h"
#include "solver/dpll/literal.h"

namespace ordax {

/// The assigned literals in order. There is always room for every variable, so that the innermost
/// loop writes behind the end and reports the new size once.
class Trail {
 public:
  std::size_t size() const { return size_; }
  Lit* data() { return store_.data(); }
  const Lit* begin() const { return store_.begin(); }
  const Lit* end() const { return store_.begin() + size_; }
  Lit operator[](std::size_t i) const {
    ORDAX_CHECK(i < size_);
    return store_[i];
  }
  Lit& operator[](std::size_t i) {
    ORDAX_CHECK(i < size_);
    return store_[i];
  }

  void add_var() { store_.push_back(kNoLit); }
  void remove_var() { store_.pop_back(); }
  void push_back(Lit literal) { store_[size_++] = literal; }
  /// Drops or takes over what stands up to `size`.
  void set_size(std::size_t size) {
    ORDAX_CHECK(size <= store_.size());
    size_ = size;
  }

 private:
  LitVector store_;  // as long as there are variables
  std::size_t size_ = 0;
};

}  // namespace ordax
