#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#include "shell/env_object.h"

namespace kelvo {

/// What a planner returns, in one of several forms; shared by `std::shared_ptr<Plan>`.
class Plan : public EnvObject {
 public:
  explicit Plan(Environment& env) : EnvObject(env) {}

  /// A measure of the plan's size.
  virtual std::size_t size() const = 0;
  /// The name of this form of plan.
  virtual std::string kind() const = 0;
  virtual std::ostream& print(std::ostream& os) const = 0;
};

std::ostream& operator<<(std::ostream& os, const Plan& plan);

}  // namespace kelvo
