#include "model/expression_payloads.h"

#include "shell/errors.h"

namespace kelvo::model {

namespace {

template <typename T>
std::shared_ptr<T> lock_reference(const std::weak_ptr<T>& reference) {
  std::shared_ptr<T> object = reference.lock();
  if (object == nullptr) throw InternalError("Trying to lock an expired weak_ptr!");
  return object;
}

}  // namespace

Fluent FluentPayload::fluent() const {
  return lock_reference(fluent_);
}

Constant ConstantPayload::constant() const {
  return lock_reference(constant_);
}

Parameter ParameterPayload::parameter() const {
  return lock_reference(parameter_);
}

Instance InstancePayload::instance() const {
  return lock_reference(instance_);
}

ActionStatusIsPayload::ActionStatusIsPayload(const Instance& instance, const Action& action,
                                             std::string status)
    : ExpressionPayload(ExpressionOperatorKind::ACTION_STATUS_IS),
      has_instance_(instance != nullptr),
      instance_(instance),
      action_(action),
      status_(std::move(status)) {}

Instance ActionStatusIsPayload::instance() const {
  return has_instance_ ? lock_reference(instance_) : nullptr;
}

Action ActionStatusIsPayload::action() const {
  return lock_reference(action_);
}

}  // namespace kelvo::model
