#include "model/types.h"

#include <ostream>
#include <sstream>

#include "model/user_type.h"
#include "shell/errors.h"

namespace kelvo::model {

std::ostream& operator<<(std::ostream& os, const Type& type) {
  return os << type->reference_name();
}

const std::string& BooleanTypeBase::reference_name() const {
  if (name_.empty()) name_ = "boolean";
  return name_;
}

template <typename Number, TypeCode code>
const std::string& NumericTypeBase<Number, code>::reference_name() const {
  if (name_.empty()) {
    std::ostringstream text;
    text << (code == TypeCode::INTEGER ? "integer" : "float");
    if (lower_ || upper_) {
      text << " [";
      if (lower_) {
        text << to_text(minimum_);
      } else {
        text << "-infinity";
      }
      text << ", ";
      if (upper_) {
        text << to_text(maximum_);
      } else {
        text << "infinity";
      }
      text << "]";
    }
    name_ = text.str();
  }
  return name_;
}

template <typename Number, TypeCode code>
bool NumericTypeBase<Number, code>::is_finite_domain() const {
  return lower_ && upper_ && (code == TypeCode::INTEGER || minimum_ == maximum_);
}

template <typename Number, TypeCode code>
const Number& NumericTypeBase<Number, code>::lower_bound() const {
  if (!lower_) throw InvalidParameterError("No lower bound exists.");
  return minimum_;
}

template <typename Number, TypeCode code>
const Number& NumericTypeBase<Number, code>::upper_bound() const {
  if (!upper_) throw InvalidParameterError("No upper bound exists.");
  return maximum_;
}

template class NumericTypeBase<rational, TypeCode::RATIONAL>;
template class NumericTypeBase<integer, TypeCode::INTEGER>;

const std::string& SetTypeBase::reference_name() const {
  if (name_.empty()) name_ = "set(" + type_->reference_name() + ")";
  return name_;
}

bool SetTypeBase::is_finite_domain() const {
  return type_->is_finite_domain();
}

namespace {

template <typename T>
const T& as_class(const Type& type, const char* expected) {
  const T* result = dynamic_cast<const T*>(type.get());
  if (result == nullptr) {
    throw InternalError() << "Expected " << expected << " type, got "
                          << (type == nullptr ? "none" : type->reference_name());
  }
  return *result;
}

}  // namespace

const RationalTypeBase& as_rational_type(const Type& type) {
  return as_class<RationalTypeBase>(type, "a float");
}

const IntegerTypeBase& as_integer_type(const Type& type) {
  return as_class<IntegerTypeBase>(type, "an integer");
}

const SetTypeBase& as_set_type(const Type& type) {
  return as_class<SetTypeBase>(type, "a set");
}

UserType as_user_type(const Type& type) {
  as_class<UserTypeImpl>(type, "a user");
  return std::dynamic_pointer_cast<UserTypeImpl>(type);
}

}  // namespace kelvo::model
