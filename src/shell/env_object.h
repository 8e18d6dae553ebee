#pragma once

namespace kelvo {

class Environment;

/// Mixin of every class that needs the global state of the run. The environment is borrowed and
/// outlives the object.
class EnvObject {
 public:
  explicit EnvObject(Environment& env) : environment_(env) {}
  virtual ~EnvObject() = default;

  Environment& environment() const { return environment_; }

 private:
  Environment& environment_;
};

}  // namespace kelvo
