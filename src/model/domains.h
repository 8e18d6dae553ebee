#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/parametric_object.h"

namespace kelvo::model {

/// The elements of finite types in a problem, in the one order that numbering follows: `true`
/// before `false`; integers from the lower bound up; the one value of a rational with equal bounds;
/// instances of exactly the type (not of derived ones, unlike `ProblemInstanceImpl::instances`) by
/// name. Throws `InternalError` on a type that is not finite, or too large to be enumerated.
///
/// The problem is borrowed. Instances are collected once for each type.
class Domains {
 public:
  explicit Domains(const ProblemInstanceImpl& problem) : problem_(problem) {}

  std::size_t size(const Type& type) const;
  /// Throws `InternalError` when `i` is past the end.
  Expression element(const Type& type, std::size_t i) const;
  std::vector<Expression> elements(const Type& type) const;

 private:
  const std::vector<Expression>& instances(const Type& type) const;

  const ProblemInstanceImpl& problem_;
  mutable std::unordered_map<const TypeBase*, std::vector<Expression>> instances_;
};

/// All combinations of values of parameters of finite type, by index: the first parameter varies
/// fastest. No parameter means one empty combination.
class DomainProduct {
 public:
  DomainProduct(const Domains& domains, const Parameters& parameters);

  /// Throws `InternalError` at construction when the number does not fit.
  std::size_t size() const { return size_; }
  /// The combination at `index`, in order of the parameters.
  std::vector<Expression> combination(std::size_t index) const;
  /// The values of one parameter.
  const std::vector<Expression>& values(std::size_t parameter) const { return values_[parameter]; }

 private:
  std::vector<std::vector<Expression>> values_;
  std::size_t size_ = 1;
};

}  // namespace kelvo::model
