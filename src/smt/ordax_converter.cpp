#include "smt/ordax_converter.h"

#include <algorithm>

#include "shell/errors.h"
#include "shell/numbers.h"

namespace kelvo::smt {

const ordax_term& OrdaxConverter::memoized_value(Formula f) const {
  if (!is_memoized(f)) throw InternalError("Unexplored formula queried to 'memoized_value'");
  return terms_[f->id()];
}

void OrdaxConverter::do_memoize_value(Formula f, ordax_term value) {
  if (f->id() >= terms_.size()) {
    terms_.resize(std::max(f->id() + 1, factory_.num_formulas()), ordax_term{nullptr});
  }
  terms_[f->id()] = value;
}

void OrdaxConverter::fail() const {
  throw SmtSolverError(ordax_last_error_message(env_));
}

ordax_term OrdaxConverter::checked(ordax_term term) const {
  if (ORDAX_FAILED(term)) fail();
  return term;
}

ordax_term OrdaxConverter::fold(Formula f, BinaryBuilder make) {
  ordax_term result = child(f, 0);
  for (std::size_t i = 1; i < f->arity(); ++i) {
    result = checked(make(env_, result, child(f, i)));
  }
  return result;
}

ordax_term OrdaxConverter::walk_and(Formula f) {
  return f->arity() == 0 ? walk_true(f) : fold(f, ordax_make_and);
}

ordax_term OrdaxConverter::walk_or(Formula f) {
  return f->arity() == 0 ? walk_false(f) : fold(f, ordax_make_or);
}

ordax_term OrdaxConverter::walk_not(Formula f) {
  return checked(ordax_make_not(env_, child(f, 0)));
}

ordax_term OrdaxConverter::walk_imply(Formula f) {
  const ordax_term negated = checked(ordax_make_not(env_, child(f, 0)));
  return checked(ordax_make_or(env_, negated, child(f, 1)));
}

ordax_term OrdaxConverter::walk_iff(Formula f) {
  return checked(ordax_make_iff(env_, child(f, 0), child(f, 1)));
}

ordax_term OrdaxConverter::walk_equals(Formula f) {
  const ordax_term equality = ordax_make_equal(env_, child(f, 0), child(f, 1));
  // The solver has no equality of Booleans.
  return ORDAX_FAILED(equality) ? walk_iff(f) : equality;
}

ordax_term OrdaxConverter::walk_le(Formula f) {
  return checked(ordax_make_leq(env_, child(f, 0), child(f, 1)));
}

ordax_term OrdaxConverter::walk_ge(Formula f) {
  return checked(ordax_make_leq(env_, child(f, 1), child(f, 0)));
}

ordax_term OrdaxConverter::walk_lt(Formula f) {
  const ordax_term reverse = checked(ordax_make_leq(env_, child(f, 1), child(f, 0)));
  return checked(ordax_make_not(env_, reverse));
}

ordax_term OrdaxConverter::walk_gt(Formula f) {
  const ordax_term reverse = checked(ordax_make_leq(env_, child(f, 0), child(f, 1)));
  return checked(ordax_make_not(env_, reverse));
}

ordax_term OrdaxConverter::walk_times(Formula f) {
  return f->arity() == 0 ? number("1") : fold(f, ordax_make_times);
}

ordax_term OrdaxConverter::walk_plus(Formula f) {
  return f->arity() == 0 ? number("0") : fold(f, ordax_make_plus);
}

ordax_term OrdaxConverter::walk_minus(Formula f) {
  const ordax_term minus_one = number("-1");
  const ordax_term negated = checked(ordax_make_times(env_, child(f, 1), minus_one));
  return checked(ordax_make_plus(env_, child(f, 0), negated));
}

ordax_term OrdaxConverter::walk_div(Formula f) {
  const Formula divisor = f->child(1);
  if (!factory_.is_rational_constant(divisor) || factory_.get_rational_constant(divisor) == 0) {
    throw SmtSolverError("Non-Linear division found!");
  }
  const ordax_term reciprocal =
      number(to_text(rational(1 / factory_.get_rational_constant(divisor))));
  return checked(ordax_make_times(env_, child(f, 0), reciprocal));
}

ordax_term OrdaxConverter::walk_ite(Formula f) {
  const ordax_term condition = child(f, 0);
  const ordax_term then_branch = child(f, 1);
  const ordax_term else_branch = child(f, 2);
  const ordax_term result = ordax_make_term_ite(env_, condition, then_branch, else_branch);
  if (!ORDAX_FAILED(result)) return result;
  // The solver's if-then-else has no Boolean branches.
  const ordax_term otherwise = checked(ordax_make_not(env_, condition));
  const ordax_term if_true = checked(ordax_make_or(env_, otherwise, then_branch));
  const ordax_term if_false = checked(ordax_make_or(env_, condition, else_branch));
  return checked(ordax_make_and(env_, if_true, if_false));
}

ordax_term OrdaxConverter::walk_true(Formula) {
  return checked(ordax_make_true(env_));
}

ordax_term OrdaxConverter::walk_false(Formula) {
  return checked(ordax_make_false(env_));
}

ordax_term OrdaxConverter::number(const std::string& text) {
  return checked(ordax_make_number(env_, text.c_str()));
}

ordax_term OrdaxConverter::walk_rational_constant(Formula f) {
  // Prints "numerator/denominator", an integral value without the denominator.
  return number(to_text(factory_.get_rational_constant(f)));
}

ordax_term OrdaxConverter::walk_integer_constant(Formula f) {
  return number(to_text(factory_.get_integer_constant(f)));
}

ordax_type OrdaxConverter::convert_type(const SmtType& type) {
  ordax_type result{nullptr};
  switch (type.kind()) {
    case SmtTypeKind::BOOLEAN:
      result = ordax_get_bool_type(env_);
      break;
    case SmtTypeKind::REAL:
      result = ordax_get_rational_type(env_);
      break;
    case SmtTypeKind::INTEGER:
      result = ordax_get_integer_type(env_);
      break;
    default:
      throw SmtSolverError("Unknown type found in conversion to Ordax");
  }
  if (type.is_function()) {
    std::vector<ordax_type> arguments;
    for (const SmtType* argument : type.arguments()) arguments.push_back(convert_type(*argument));
    result = ordax_get_function_type(env_, arguments.data(), arguments.size(), result);
  }
  if (ORDAX_FAILED(result)) fail();
  return result;
}

ordax_decl OrdaxConverter::declaration(Formula variable) {
  const auto [entry, is_new] = declarations_.try_emplace(variable, ordax_decl{nullptr});
  if (is_new) {
    const ordax_type type = convert_type(*factory_.get_variable_type(variable));
    const std::string& name = factory_.get_variable_name(variable);
    entry->second = ordax_declare_function(env_, name.c_str(), type);
  }
  if (ORDAX_FAILED(entry->second)) {
    declarations_.erase(entry);
    fail();
  }
  return entry->second;
}

ordax_term OrdaxConverter::walk_variable(Formula f) {
  return checked(ordax_make_constant(env_, declaration(f)));
}

ordax_term OrdaxConverter::walk_function_application(Formula f) {
  std::vector<ordax_term> arguments;
  for (const Formula argument : f->children()) arguments.push_back(memoized_value(argument));
  const ordax_decl head = declaration(factory_.get_function_symbol(f));
  return checked(ordax_make_function(env_, head, arguments.data(), arguments.size()));
}

}  // namespace kelvo::smt
