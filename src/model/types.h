#pragma once

#include <iosfwd>
#include <string>

#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo::model {

enum class TypeCode { BOOLEAN, INTEGER, RATIONAL, USERDEFINED, SET, UNRESOLVED, INTERVAL, VOID };

/// A type of the model. Made by `ModelFactory`, interned: type identity is object identity.
class TypeBase {
 public:
  explicit TypeBase(TypeCode kind) : kind_(kind) {}
  virtual ~TypeBase() = default;
  TypeBase(const TypeBase&) = delete;
  TypeBase& operator=(const TypeBase&) = delete;

  /// The text of the type, computed once.
  virtual const std::string& reference_name() const = 0;
  virtual bool is_finite_domain() const = 0;

  TypeCode kind() const { return kind_; }
  bool is_boolean() const { return kind_ == TypeCode::BOOLEAN; }
  bool is_integer() const { return kind_ == TypeCode::INTEGER; }
  bool is_rational() const { return kind_ == TypeCode::RATIONAL; }
  bool is_numeric() const { return is_integer() || is_rational(); }
  bool is_user_defined() const { return kind_ == TypeCode::USERDEFINED; }
  bool is_set() const { return kind_ == TypeCode::SET; }
  bool is_unresolved() const { return kind_ == TypeCode::UNRESOLVED; }
  bool is_interval() const { return kind_ == TypeCode::INTERVAL; }
  bool is_void() const { return kind_ == TypeCode::VOID; }
  bool is_equal(const Type& oth) const { return oth.get() == this; }

 private:
  TypeCode kind_;
};

/// Prints `reference_name()`.
std::ostream& operator<<(std::ostream& os, const Type& type);

class BooleanTypeBase : public TypeBase {
 public:
  BooleanTypeBase() : TypeBase(TypeCode::BOOLEAN) {}
  const std::string& reference_name() const override;
  bool is_finite_domain() const override { return true; }

 private:
  mutable std::string name_;
};

/// A numeric type with optional bounds, both inclusive.
template <typename Number, TypeCode code>
class NumericTypeBase : public TypeBase {
 public:
  NumericTypeBase() : TypeBase(code) {}
  NumericTypeBase(const Number& minimum, const Number& maximum)
      : TypeBase(code), minimum_(minimum), maximum_(maximum), upper_(true), lower_(true) {}
  /// One bound: the lower one if `lower`, else the upper one.
  NumericTypeBase(const Number& bound, bool lower)
      : TypeBase(code),
        minimum_(lower ? bound : Number(0)),
        maximum_(lower ? Number(0) : bound),
        upper_(!lower),
        lower_(lower) {}

  const std::string& reference_name() const override;
  /// Integers: both bounds exist. Rationals: both exist and are equal.
  bool is_finite_domain() const override;

  bool has_lower_bound() const { return lower_; }
  bool has_upper_bound() const { return upper_; }
  /// Throw `InvalidParameterError` when there is no such bound.
  const Number& lower_bound() const;
  const Number& upper_bound() const;
  /// Whether `value` lies within the bounds that exist.
  template <typename V>
  bool contains(const V& value) const {
    return !(lower_ && value < minimum_) && !(upper_ && value > maximum_);
  }

 private:
  Number minimum_ = 0;
  Number maximum_ = 0;
  bool upper_ = false;
  bool lower_ = false;
  mutable std::string name_;
};

class RationalTypeBase final : public NumericTypeBase<rational, TypeCode::RATIONAL> {
 public:
  using NumericTypeBase::NumericTypeBase;
};

class IntegerTypeBase final : public NumericTypeBase<integer, TypeCode::INTEGER> {
 public:
  using NumericTypeBase::NumericTypeBase;
};

class SetTypeBase final : public TypeBase {
 public:
  explicit SetTypeBase(const Type& type) : TypeBase(TypeCode::SET), type_(type) {}
  /// The element type.
  const Type& type() const { return type_; }
  const std::string& reference_name() const override;
  bool is_finite_domain() const override;

 private:
  Type type_;
  mutable std::string name_;
};

/// The type as its class. Throws `InternalError` when it is of another kind.
const RationalTypeBase& as_rational_type(const Type& type);
const IntegerTypeBase& as_integer_type(const Type& type);
const SetTypeBase& as_set_type(const Type& type);
UserType as_user_type(const Type& type);

}  // namespace kelvo::model
