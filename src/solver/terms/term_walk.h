#pragma once

#include <cstdint>
#include <vector>

#include "solver/terms/term.h"

namespace ordax {

/// Map from term to `V`, dense by term id; forgetting all entries costs nothing.
template <typename V>
class TermMap {
 public:
  V* find(TermRef term) {
    return term->id < stamps_.size() && stamps_[term->id] == stamp_ ? &values_[term->id] : nullptr;
  }
  const V* find(TermRef term) const { return const_cast<TermMap*>(this)->find(term); }
  bool contains(TermRef term) const { return find(term) != nullptr; }

  V& operator[](TermRef term) {
    if (term->id >= stamps_.size()) {
      const std::size_t size = term->id + term->id / 2 + 16;
      stamps_.resize(size, 0);
      values_.resize(size);
    }
    if (stamps_[term->id] != stamp_) {
      stamps_[term->id] = stamp_;
      values_[term->id] = V();
    }
    return values_[term->id];
  }
  void set(TermRef term, V value) { (*this)[term] = std::move(value); }
  void erase(TermRef term) {
    if (contains(term)) stamps_[term->id] = 0;
  }
  void clear() {
    if (++stamp_ == 0) {
      stamps_.assign(stamps_.size(), 0);
      stamp_ = 1;
    }
  }

 private:
  std::vector<std::uint32_t> stamps_;
  std::vector<V> values_;
  std::uint32_t stamp_ = 1;
};

/// Set of terms with the same shape.
class TermSet {
 public:
  bool contains(TermRef term) const {
    return term->id < stamps_.size() && stamps_[term->id] == stamp_;
  }
  /// True if the term is new.
  bool insert(TermRef term) {
    if (term->id >= stamps_.size()) stamps_.resize(term->id + term->id / 2 + 16, 0);
    if (stamps_[term->id] == stamp_) return false;
    stamps_[term->id] = stamp_;
    return true;
  }
  void erase(TermRef term) {
    if (contains(term)) stamps_[term->id] = 0;
  }
  void clear() {
    if (++stamp_ == 0) {
      stamps_.assign(stamps_.size(), 0);
      stamp_ = 1;
    }
  }

 private:
  std::vector<std::uint32_t> stamps_;
  std::uint32_t stamp_ = 1;
};

/// Visits each term below `root`, arguments before the term around them, each term once. `done(t)`
/// tells that `t` needs no visit (and must be true after `visit(t)`), `visit(t)` does the work.
/// The stack is the caller's, so that nesting costs no recursion and no allocation.
template <typename Done, typename Visit>
void walk_post_order(TermRef root, std::vector<TermRef>& stack, Done&& done, Visit&& visit) {
  const std::size_t bottom = stack.size();
  stack.push_back(root);
  while (stack.size() > bottom) {
    const TermRef term = stack.back();
    if (done(term)) {
      stack.pop_back();
      continue;
    }
    const std::size_t before = stack.size();
    for (std::uint32_t i = term->arity(); i-- > 0;) {
      if (!done(term->arg(i))) stack.push_back(term->arg(i));
    }
    if (stack.size() != before) continue;
    stack.pop_back();
    visit(term);
  }
}

}  // namespace ordax
