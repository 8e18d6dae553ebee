#pragma once

#include <string>

#include "model/model_fwd.h"

namespace kelvo::model {

/// An object of a user type. Interned by name and type; made by `ModelFactory::make_instance`.
class InstanceImpl {
 public:
  const std::string& name() const { return name_; }
  UserType type() const { return type_.lock(); }

 private:
  friend class ModelFactory;
  InstanceImpl(const std::string& name, const UserType& type) : name_(name), type_(type) {}

  std::string name_;
  std::weak_ptr<UserTypeImpl> type_;
};

}  // namespace kelvo::model
