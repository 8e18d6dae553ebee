#include "solver/la/linear_term_mapper.h"

#include <algorithm>

namespace ordax::la {

// The solver's variable of a term that is no sum. What is no constant is refused here, by name:
// this is the one door through which terms come into arithmetic.
LaVar LinearTermMapper::variable(TermRef term) {
  if (const LaVar* known = variables_.find(term); known != nullptr) return *known;
  if (is_uf(term)) throw error("missing feature: equality solver");
  if (!is_variable(term)) {
    throw error("nonlinear arithmetic: a term with the head \"" + std::string(term->symbol->name) +
                "\" is not linear");
  }
  const LaVar v = solver_.new_variable(term->type() == int_type_);
  variables_.set(term, v);
  terms_.push_back(term);
  term_of_.resize(static_cast<std::size_t>(v) + 1, nullptr);
  term_of_[static_cast<std::size_t>(v)] = term;
  return v;
}

// Multiplicative mixing of variables and coefficients in order (Knuth, TAOCP 6.4).
std::uint64_t LinearTermMapper::hash_of(const std::vector<Tableau::Summand>& sum) {
  std::uint64_t h = sum.size();
  for (const Tableau::Summand& s : sum) {
    h = (h ^ static_cast<std::uint64_t>(s.var)) * 0x9E3779B97F4A7C15ULL;
    h = (h ^ (h >> 29) ^ s.coefficient.hash()) * 0xBF58476D1CE4E5B9ULL;
  }
  return h;
}

// The variable that stands for a sum: one for all equal sums, looked up by a hash that leads to a
// chain of definitions. Equal sums have equal texts, since `map` scales them to coprime
// coefficients with a positive first one.
LaVar LinearTermMapper::slack(const std::vector<Tableau::Summand>& sum, bool is_int) {
  std::int32_t& first = first_by_hash_[hash_of(sum)];
  for (std::int32_t d = first; d != 0; d = next_by_hash_[static_cast<std::size_t>(d - 1)]) {
    const std::vector<Tableau::Summand>& known =
        solver_.definition(static_cast<std::size_t>(d - 1));
    bool same = known.size() == sum.size();
    for (std::size_t i = 0; same && i < sum.size(); ++i) {
      same = known[i].var == sum[i].var && known[i].coefficient == sum[i].coefficient;
    }
    if (same) return solver_.slack_of(static_cast<std::size_t>(d - 1));
  }
  next_by_hash_.push_back(first);
  first = static_cast<std::int32_t>(next_by_hash_.size());
  const LaVar v = solver_.new_slack(sum, is_int);
  term_of_.resize(static_cast<std::size_t>(v) + 1, nullptr);
  return v;
}

// Takes back the variables from number `count` on, youngest first.
void LinearTermMapper::forget_variables(std::size_t count) {
  for (; term_of_.size() > count; term_of_.pop_back()) {
    if (const TermRef term = term_of_.back(); term != nullptr) {
      variables_.erase(term);
      terms_.pop_back();
      continue;
    }
    // A younger definition stands before the older ones of its hash. Number 0 is nobody.
    if (next_by_hash_.empty()) continue;
    const std::size_t d = next_by_hash_.size() - 1;
    const std::uint64_t hash = hash_of(solver_.definition(d));
    if (next_by_hash_.back() != 0) {
      first_by_hash_[hash] = next_by_hash_.back();
    } else {
      first_by_hash_.erase(hash);
    }
    next_by_hash_.pop_back();
  }
}

// Multiplies the form by the scale, part of which the variables have taken already.
void LinearTermMapper::apply_scale(LinearForm& form) const {
  const auto is_int = [this](const Monomial& m) { return m.term->type() == int_type_; };
  if (std::all_of(form.monomials.begin(), form.monomials.end(), is_int)) return;
  for (Monomial& m : form.monomials) {
    if (is_int(m)) m.coefficient *= scale_;
  }
  form.constant *= scale_;
}

// A form is `factor * variable + constant`: of a single term its own variable, of a sum the
// variable of the sum scaled to a normal form. Bounds on 2x + 4y and on -x - 2y thus meet at one
// variable.
LinearTermMapper::Mapped LinearTermMapper::map(LinearForm form) {
  if (!scale_.is_one()) apply_scale(form);
  Mapped result;
  if (form.monomials.empty()) {
    result.constant = form.constant;
    return result;
  }
  if (form.monomials.size() == 1) {
    result.var = variable(form.monomials[0].term);
    result.factor = form.monomials[0].coefficient;
    result.constant = form.constant;
    return result;
  }
  result.constant = form.constant;
  const bool negative = form.monomials[0].coefficient.sign() < 0;
  // What the scaling multiplied, the factor takes back.
  result.factor = form.make_coprime().inverse();
  if (negative) {
    form.scale(Number(-1));
    result.factor.negate();
  }
  std::vector<Tableau::Summand> sum;
  bool is_int = true;
  for (const Monomial& m : form.monomials) {
    const LaVar v = variable(m.term);
    is_int = is_int && solver_.is_int(v);
    sum.push_back({v, m.coefficient});
  }
  result.var = slack(sum, is_int);
  return result;
}

}  // namespace ordax::la
