#include "solver/preprocessing/global_simplifier.h"

#include <utility>

namespace ordax {
namespace {

// Visits of chain members in one run: prefixes of one shared chain would else be walked again and
// again.
constexpr std::uint64_t CHAIN_BUDGET = 2'000'000;
// Comparisons made by pushing one atom to the leaves of an if-then-else.
constexpr std::size_t MOST_LEAVES = 64;

bool is_chain(TermRef t) {
  return is_and(t) || is_or(t);
}

}  // namespace

TermRef GlobalSimplifier::simplify(TermRef formula) {
  clear_memo();
  chains_.clear();
  chain_budget_ = CHAIN_BUDGET;
  const TermRef simplified = check_chain(rewrite(formula));
  return with_arithmetic_ ? join_bounds(simplified) : simplified;
}

TermRef GlobalSimplifier::rebuild(TermRef term, const TermRef* args) {
  // A conjunction or disjunction is looked at once, where its maximal chain ends.
  TermRef checked[3];
  const bool fits = term->arity() <= 3;
  if (fits && term->type()->is_bool()) {
    for (std::uint32_t i = 0; i < term->arity(); ++i) {
      const bool ends_here = is_chain(args[i]) && args[i]->kind() != term->kind();
      checked[i] = ends_here ? check_chain(args[i]) : args[i];
    }
    args = checked;
  }
  const TermRef result = rebuild_same(term, args);
  if (!with_ite_) return result;
  if (is_term_ite(result)) return simplify_ite(result);
  if ((is_leq(result) || is_equal(result)) && result->arg(0)->type()->is_arithmetic()) {
    return lift_numeral_leaves(result);
  }
  return result;
}

// ite(not c, a, b) is ite(c, b, a), and a branch that asks the same condition again is decided.
TermRef GlobalSimplifier::simplify_ite(TermRef term) {
  TermRef condition = term->arg(0);
  TermRef then_term = term->arg(1);
  TermRef else_term = term->arg(2);
  if (is_not(condition)) {
    condition = condition->arg(0);
    std::swap(then_term, else_term);
  }
  if (is_term_ite(then_term) && then_term->arg(0) == condition) then_term = then_term->arg(1);
  if (is_term_ite(else_term) && else_term->arg(0) == condition) else_term = else_term->arg(2);
  return terms_.make_term_ite(condition, then_term, else_term);
}

// An atom over one if-then-else whose leaves are numerals is decided at each leaf, so it becomes a
// Boolean combination of the conditions and needs no constant of its own.
TermRef GlobalSimplifier::lift_numeral_leaves(TermRef atom) {
  if (!is_term_ite(atom->arg(0)) && !is_term_ite(atom->arg(1)) && !is_times(atom->arg(0)) &&
      !is_times(atom->arg(1))) {
    return atom;
  }
  lineariser_.difference(atom, form_);
  if (form_.monomials.size() != 1 || !is_term_ite(form_.monomials[0].term)) return atom;
  const TermRef root = form_.monomials[0].term;
  // Collect the terms of the tree of if-then-else; each must end in numerals.
  work_.assign(1, root);
  std::vector<TermRef> nodes;
  members_.clear();
  while (!work_.empty()) {
    const TermRef t = work_.back();
    work_.pop_back();
    if (is_number(t) || !members_.insert(t)) continue;
    if (!is_term_ite(t) || nodes.size() >= MOST_LEAVES) return atom;
    nodes.push_back(t);
    work_.push_back(t->arg(1));
    work_.push_back(t->arg(2));
  }
  const bool equality = is_equal(atom);
  const Number coefficient = form_.monomials[0].coefficient;
  const Number constant = form_.constant;
  TermMap<TermRef> truth;
  const auto decide = [&](TermRef leaf) {
    if (!is_number(leaf)) return *truth.find(leaf);
    const Number value = coefficient * number_of(leaf) + constant;
    return terms_.make_bool(equality ? value.is_zero() : value.sign() <= 0);
  };
  std::vector<TermRef> stack;
  walk_post_order(
      root, stack,
      [&](TermRef t) { return !is_term_ite(t) || !members_.contains(t) || truth.contains(t); },
      [&](TermRef t) {
        const TermRef then_truth = decide(t->arg(1));
        const TermRef else_truth = decide(t->arg(2));
        const TermRef condition = t->arg(0);
        const TermRef not_condition = terms_.make_not(condition);
        const TermRef first = terms_.make_or(not_condition, then_truth);
        const TermRef second = terms_.make_or(condition, else_truth);
        truth.set(t, terms_.make_and(first, second));
      });
  return *truth.find(root);
}

// The rule contradiction_and and its dual on the maximal chain that ends in `term`.
TermRef GlobalSimplifier::check_chain(TermRef term) {
  if (!is_chain(term)) return term;
  if (const TermRef* known = chains_.find(term)) return *known;
  const Kind kind = term->kind();
  members_.clear();
  std::vector<TermRef> leaves;
  work_.assign(1, term);
  while (!work_.empty()) {
    if (chain_budget_ == 0) return term;
    --chain_budget_;
    const TermRef t = work_.back();
    work_.pop_back();
    if (!members_.insert(t)) continue;
    if (t->kind() == kind) {
      work_.push_back(t->arg(1));
      work_.push_back(t->arg(0));
    } else {
      leaves.push_back(t);
    }
  }
  TermRef result = term;
  for (const TermRef leaf : leaves) {
    // Only a `not` can be the complement of a leaf that is there as well.
    if (is_not(leaf) && members_.contains(leaf->arg(0)) && leaf->arg(0)->kind() != kind) {
      result = terms_.make_bool(kind == Kind::OR);
      break;
    }
  }
  chains_.set(term, result);
  return result;
}

// The rule leq_geq_eq among the conjuncts at the top: two bounds on one sum that meet make an
// equality. Deeper inside it would trade two bounds that exist for an equality to be split again.
TermRef GlobalSimplifier::join_bounds(TermRef formula) {
  if (!is_and(formula)) return formula;
  std::vector<TermRef> conjuncts;
  members_.clear();
  work_.assign(1, formula);
  while (!work_.empty()) {
    const TermRef t = work_.back();
    work_.pop_back();
    if (is_and(t)) {
      work_.push_back(t->arg(1));
      work_.push_back(t->arg(0));
    } else if (members_.insert(t)) {
      conjuncts.push_back(t);
    }
  }
  bool changed = false;
  for (TermRef& conjunct : conjuncts) {
    if (!is_leq(conjunct)) continue;
    const TermRef a = conjunct->arg(0);
    const TermRef b = conjunct->arg(1);
    const TermRef mirror = terms_.make_leq(b, a);
    if (!members_.contains(mirror) || mirror == conjunct) continue;
    conjunct = terms_.make_equal(a, b);
    if (!members_.insert(conjunct)) conjunct = terms_.make_true();  // its mirror came first
    changed = true;
  }
  if (!changed) return formula;
  TermRef result = terms_.make_true();
  for (const TermRef conjunct : conjuncts) result = terms_.make_and(result, conjunct);
  return result;
}

}  // namespace ordax
