#include "solver/preprocessing/tseitin_cnf_generator.h"

#include <algorithm>
#include <string>

namespace ordax {
namespace {

TermRef strip(TermRef term, bool& negated) {
  while (is_not(term)) {
    negated = !negated;
    term = term->arg(0);
  }
  return term;
}

TermRef strip(TermRef term) {
  bool ignored = false;
  return strip(term, ignored);
}

void check_head(TermRef term) {
  if (is_true(term) || is_false(term)) {
    throw CNFGenerator::error("The CNF conversion does not support true' and false'");
  }
  if (!term->type()->is_bool()) {
    throw CNFGenerator::error("Unexpected symbol: " + std::string(term->symbol->name));
  }
}

}  // namespace

void TseitinCNFGenerator::pop() {
  for (std::size_t i = levels_.back(); i < defined_stack_.size(); ++i) {
    defined_.erase(defined_stack_[i]);
  }
  defined_stack_.resize(levels_.back());
  levels_.pop_back();
}

void TseitinCNFGenerator::convert(TermRef formula) {
  prepare(formula);
  if (full_conversion_) {
    Signed root{nullptr, false};
    root.term = strip(formula, root.negated);
    assert_unit(root);
  } else {
    convert_conjuncts(formula);
  }
}

Lit TseitinCNFGenerator::define(TermRef formula) {
  prepare(formula);
  bool negated = false;
  const TermRef term = strip(formula, negated);
  define_all(term);
  const Lit literal = sink_.literal_of(term);
  return negated ? negate(literal) : literal;
}

// Counts how often each subformula stands below different connectives, negations left out, and
// makes the variables of the user's Boolean constants before all others: at equal activity the
// engine decides the smaller variable first.
void TseitinCNFGenerator::prepare(TermRef formula) {
  occurrences_.clear();
  stack_.clear();
  std::vector<TermRef> constants;
  const TermRef root = strip(formula);
  occurrences_[root] = 1;
  stack_.push_back(root);
  while (!stack_.empty()) {
    const TermRef term = stack_.back();
    stack_.pop_back();
    check_head(term);
    if (is_variable(term)) constants.push_back(term);
    if (!is_connective(term)) continue;
    for (std::uint32_t i = 0; i < term->arity(); ++i) {
      const TermRef child = strip(term->arg(i));
      if (++occurrences_[child] == 1) stack_.push_back(child);
    }
  }
  std::sort(constants.begin(), constants.end(), [](TermRef a, TermRef b) { return a->id < b->id; });
  for (const TermRef constant : constants) sink_.new_label(constant);
}

// Whether the term is used through its label rather than merged into what stands around it.
bool TseitinCNFGenerator::has_label(TermRef term) const {
  if (!is_connective(term) || defined_.contains(term)) return true;
  const std::uint32_t* count = occurrences_.find(term);
  return full_conversion_ || (count != nullptr && *count > 1);
}

bool TseitinCNFGenerator::is_conjunction(const Signed& s) const {
  return s.negated ? is_or(s.term) : is_and(s.term);
}

bool TseitinCNFGenerator::is_clause_shaped(const Signed& s) const {
  return s.negated ? is_and(s.term) : is_or(s.term);
}

void TseitinCNFGenerator::convert_conjuncts(TermRef formula) {
  work_.clear();
  work_.push_back({formula, false});
  bool at_root = true;
  while (!work_.empty()) {
    Signed s = work_.back();
    work_.pop_back();
    s.term = strip(s.term, s.negated);
    if (is_conjunction(s) && (at_root || !has_label(s.term))) {
      work_.push_back({s.term->arg(1), s.negated});
      work_.push_back({s.term->arg(0), s.negated});
    } else if (has_label(s.term) && !at_root) {
      assert_unit(s);
    } else if (is_clause_shaped(s)) {
      assert_clause(s);
    } else if (is_iff(s.term)) {
      assert_iff(s);
    } else {
      assert_unit(s);
    }
    at_root = false;
  }
}

void TseitinCNFGenerator::assert_unit(const Signed& s) {
  define_all(s.term);
  sink_.begin_clause();
  sink_.add_literal(s.term, s.negated);
  sink_.end_clause();
}

void TseitinCNFGenerator::assert_clause(Signed root) {
  std::vector<Signed> leaves;
  flatten(root, /*conjunction=*/false, leaves);
  for (const Signed& leaf : leaves) define_all(leaf.term);
  sink_.begin_clause();
  for (const Signed& leaf : leaves) sink_.add_literal(leaf.term, leaf.negated);
  sink_.end_clause();
}

void TseitinCNFGenerator::assert_iff(const Signed& s) {
  const TermRef a = s.term->arg(0);
  const TermRef b = s.term->arg(1);
  define_all(strip(a));
  define_all(strip(b));
  for (const bool sign : {false, true}) {
    sink_.begin_clause();
    sink_.add_literal(a, !sign);
    sink_.add_literal(b, s.negated ? !sign : sign);
    sink_.end_clause();
  }
}

// The arguments of the maximal conjunction (or disjunction) at `root`: descends where the child has
// the same shape under its sign and no label of its own.
void TseitinCNFGenerator::flatten(const Signed& root, bool conjunction,
                                  std::vector<Signed>& leaves) {
  flatten_work_.clear();
  flatten_work_.push_back({root.term->arg(1), root.negated});
  flatten_work_.push_back({root.term->arg(0), root.negated});
  while (!flatten_work_.empty()) {
    Signed s = flatten_work_.back();
    flatten_work_.pop_back();
    s.term = strip(s.term, s.negated);
    const bool same_shape = conjunction ? is_conjunction(s) : is_clause_shaped(s);
    if (same_shape && !has_label(s.term)) {
      flatten_work_.push_back({s.term->arg(1), s.negated});
      flatten_work_.push_back({s.term->arg(0), s.negated});
    } else {
      leaves.push_back(s);
    }
  }
}

void TseitinCNFGenerator::collect_arguments(TermRef term, std::vector<Signed>& arguments) {
  arguments.clear();
  if (is_iff(term)) {
    for (std::uint32_t i = 0; i < 2; ++i) {
      Signed s{nullptr, false};
      s.term = strip(term->arg(i), s.negated);
      arguments.push_back(s);
    }
  } else {
    flatten({term, false}, is_and(term), arguments);
  }
}

void TseitinCNFGenerator::define_all(TermRef root) {
  stack_.clear();
  stack_.push_back(root);
  while (!stack_.empty()) {
    const TermRef term = stack_.back();
    if (defined_.contains(term)) {
      stack_.pop_back();
      continue;
    }
    if (!is_connective(term)) {
      stack_.pop_back();
      sink_.new_label(term);
      mark_defined(term);
      continue;
    }
    collect_arguments(term, arguments_);
    const std::size_t before = stack_.size();
    for (const Signed& s : arguments_) {
      if (!defined_.contains(s.term)) stack_.push_back(s.term);
    }
    if (stack_.size() != before) continue;
    stack_.pop_back();
    add_definition(term);
  }
}

// Full equivalence between the label and its arguments, which stand in `arguments_`.
void TseitinCNFGenerator::add_definition(TermRef term) {
  if (is_iff(term)) {
    const Signed a = arguments_[0];
    const Signed b = arguments_[1];
    for (const bool x : {false, true}) {
      for (const bool y : {false, true}) {
        sink_.begin_clause();
        sink_.add_literal(term, x != y);
        sink_.add_literal(a.term, a.negated != x);
        sink_.add_literal(b.term, b.negated != y);
        sink_.end_clause();
      }
    }
  } else {
    // For `or` the same with all signs exchanged.
    const bool flip = is_or(term);
    for (const Signed& s : arguments_) {
      sink_.begin_clause();
      sink_.add_literal(term, !flip);
      sink_.add_literal(s.term, s.negated != flip);
      sink_.end_clause();
    }
    sink_.begin_clause();
    sink_.add_literal(term, flip);
    for (const Signed& s : arguments_) sink_.add_literal(s.term, s.negated == flip);
    sink_.end_clause();
  }
  mark_defined(term);
  if (termination_ != nullptr) termination_->check();
}

void TseitinCNFGenerator::mark_defined(TermRef term) {
  if (defined_.insert(term)) defined_stack_.push_back(term);
}

}  // namespace ordax
