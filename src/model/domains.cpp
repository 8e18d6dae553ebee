#include "model/domains.h"

#include <algorithm>
#include <limits>

#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::model {

namespace {

std::size_t integer_domain_size(const IntegerTypeBase& type) {
  if (type.upper_bound() < type.lower_bound()) return 0;
  const integer size = type.upper_bound() - type.lower_bound() + 1;
  if (size > std::numeric_limits<std::size_t>::max()) {
    throw InternalError() << "The domain of type " << type.reference_name()
                          << " is too large to be enumerated";
  }
  return static_cast<std::size_t>(size);
}

// The reader of PDDL tells the placeholder of a type of which unions, `(either a b)`, it is a
// member; the placeholders of all other types are derived from nothing.
bool is_member(const UserTypeImpl& type, const Type& possible_union) {
  ModelFactory& mf = type.environment().model_factory();
  return mf.make_unresolved_type(type.name())->is_derived_from(possible_union, /*recursive=*/false);
}

}  // namespace

std::size_t Domains::size(const Type& type) const {
  if (type->is_boolean()) return 2;
  if (type->is_integer() && type->is_finite_domain()) {
    return integer_domain_size(as_integer_type(type));
  }
  if (type->is_rational() && type->is_finite_domain()) return 1;
  if (type->is_user_defined()) return instances(type).size();
  throw InternalError("Found an undefined finite-domain type");
}

Expression Domains::element(const Type& type, std::size_t i) const {
  if (i >= size(type)) throw InternalError("Required element is out-of-bounds!");
  ExpressionFactory& ef = problem_.environment().expression_factory();
  if (type->is_boolean()) return ef.make_boolean_constant(i == 0);
  if (type->is_integer()) {
    return ef.make_integer_constant(as_integer_type(type).lower_bound() + i);
  }
  if (type->is_rational()) {
    return ef.make_rational_constant(as_rational_type(type).lower_bound());
  }
  return instances(type)[i];
}

std::vector<Expression> Domains::elements(const Type& type) const {
  std::vector<Expression> result(size(type));
  for (std::size_t i = 0; i < result.size(); ++i) result[i] = element(type, i);
  return result;
}

const std::vector<Expression>& Domains::instances(const Type& type) const {
  const auto [place, is_new] = instances_.try_emplace(type.get());
  if (is_new) {
    ExpressionFactory& ef = problem_.environment().expression_factory();
    for (const auto& [name, instance] : problem_.instances()) {
      if (type->is_equal(instance->type()) || is_member(*instance->type(), type)) {
        place->second.push_back(ef.make_instance_reference(instance));
      }
    }
  }
  return place->second;
}

DomainProduct::DomainProduct(const Domains& domains, const Parameters& parameters) {
  // The sizes first: an empty domain anywhere means that none needs to be built.
  std::vector<std::size_t> sizes;
  for (const Parameter& p : parameters) sizes.push_back(domains.size(p->type()));
  if (std::ranges::count(sizes, 0U) != 0) {
    size_ = 0;
    return;
  }
  for (const std::size_t size : sizes) {
    if (size_ > std::numeric_limits<std::size_t>::max() / size) {
      throw InternalError("The domains of the parameters have too many combinations");
    }
    size_ *= size;
  }
  for (const Parameter& p : parameters) values_.push_back(domains.elements(p->type()));
}

std::vector<Expression> DomainProduct::combination(std::size_t index) const {
  if (index >= size_) throw InternalError("Required element is out-of-bounds!");
  std::vector<Expression> result;
  result.reserve(values_.size());
  for (const std::vector<Expression>& values : values_) {
    result.push_back(values[index % values.size()]);
    index /= values.size();
  }
  return result;
}

}  // namespace kelvo::model
