#include "model/constant.h"

#include "model/instance.h"

namespace kelvo::model {

FunctionValue ConstantImpl::value(const Instance& instance) const {
  return value(instance->name());
}

FunctionValue ConstantImpl::value(const std::string& instance_name) const {
  const auto found = value_.find(instance_name);
  return found == value_.end() ? nullptr : found->second;
}

}  // namespace kelvo::model
