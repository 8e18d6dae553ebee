#include "solver/la/diophantine.h"

namespace ordax::la {

namespace {

template <typename Map>
void add_to(Map& map, std::int32_t key, const Number& factor, const Number& value) {
  const auto place = map.try_emplace(key).first;
  place->second.addmul(factor, value);
  if (place->second.is_zero()) map.erase(place);
}

// The integer next to a / b.
Number rounded_quotient(const Number& a, const Number& b) {
  return (a / b + Number(1, 2)).floor();
}

}  // namespace

void Diophantine::add_multiple(Form& target, const Number& factor, const Form& source) {
  for (const auto& [var, coefficient] : source.sum) {
    add_to(target.sum, var, factor, coefficient);
  }
  target.constant.addmul(factor, source.constant);
  for (const auto& [input, coefficient] : source.proof) {
    add_to(target.proof, input, factor, coefficient);
  }
}

void Diophantine::substitute(Form& form) const {
  for (const Solved& s : solved_) {
    const auto place = form.sum.find(s.var);
    if (place == form.sum.end()) continue;
    const Number factor = place->second;
    form.sum.erase(place);
    add_multiple(form, factor, s.form);
  }
}

void Diophantine::round_to_solution(std::vector<Number>& values, Rounding rounding) const {
  values.resize(static_cast<std::size_t>(next_fresh_));
  const auto at = [&values](LaVar v) -> Number& { return values[static_cast<std::size_t>(v)]; };
  for (const Solved& s : solved_) {
    if (s.fresh == 0) continue;
    Number value = at(s.var);
    for (const auto& [var, coefficient] : s.form.sum) {
      if (var != s.fresh) value.addmul(-coefficient, at(var));
    }
    at(s.fresh) = value;
  }
  for (Number& value : values) {
    if (rounding == Rounding::NEAREST) value += Number(1, 2);
    value = rounding == Rounding::UP ? value.ceil() : value.floor();
  }
  for (auto s = solved_.rbegin(); s != solved_.rend(); ++s) {
    Number value = s->form.constant;
    for (const auto& [var, coefficient] : s->form.sum) value.addmul(coefficient, at(var));
    at(s->var) = value;
  }
}

bool Diophantine::add_equation(Form equation) {
  substitute(equation);
  for (;;) {
    if (equation.sum.empty()) {
      if (equation.constant.is_zero()) return true;
      proof_ = std::move(equation.proof);
      return false;
    }
    Number common;
    for (const auto& [var, coefficient] : equation.sum) common = Number::gcd(common, coefficient);
    const Number scale = common.inverse();
    for (auto& [var, coefficient] : equation.sum) coefficient *= scale;
    equation.constant *= scale;
    for (auto& [input, factor] : equation.proof) factor *= scale;
    if (!equation.constant.is_integer()) {
      proof_ = std::move(equation.proof);
      return false;
    }
    auto smallest = equation.sum.begin();
    for (auto it = equation.sum.begin(); it != equation.sum.end(); ++it) {
      if (it->second.abs() < smallest->second.abs()) smallest = it;
    }
    const LaVar var = smallest->first;
    const Number coefficient = smallest->second;
    equation.sum.erase(smallest);
    if (coefficient.abs().is_one()) {
      // var = -(the rest) / coefficient
      Solved solved{var, {}, 0};
      add_multiple(solved.form, -coefficient, equation);
      solved_.push_back(std::move(solved));
      return true;
    }
    // With t = var + sum of the quotients, only the remainders are left beside t.
    const LaVar fresh = next_fresh_++;
    Solved solved{var, {}, fresh};
    Sum remainders;
    for (const auto& [other, c] : equation.sum) {
      const Number quotient = rounded_quotient(c, coefficient);
      if (!quotient.is_zero()) solved.form.sum.emplace(other, -quotient);
      Number rest = c;
      rest -= quotient * coefficient;
      if (!rest.is_zero()) remainders.emplace(other, std::move(rest));
    }
    solved.form.sum.emplace(fresh, Number(1));
    remainders.emplace(fresh, coefficient);
    equation.sum = std::move(remainders);
    solved_.push_back(std::move(solved));
  }
}

}  // namespace ordax::la
