#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo::model {

using Parameters = std::vector<Parameter>;
/// Names of the enclosing scopes, outermost first.
using Path = std::vector<std::string>;

/// What owns formal parameters: an action, a fluent or a constant.
class ParametricObject {
 public:
  virtual ~ParametricObject() = default;
};

/// A formal parameter. Not interned; made by `ModelFactory::make_parameter` or with
/// `std::make_shared`. Its owner is set when it is put into an action, fluent or constant.
class ParameterImpl {
 public:
  ParameterImpl(const std::string& name, const Type& type) : name_(name), type_(type) {}
  const std::string& name() const { return name_; }
  Type type() const { return type_.lock(); }
  std::shared_ptr<ParametricObject> owner() const { return owner_.lock(); }

 private:
  friend class ModelFactory;
  std::string name_;
  std::weak_ptr<TypeBase> type_;
  std::weak_ptr<ParametricObject> owner_;
};

/// Appends `p`. Throws `RedefinitionError` when its name is taken; `owner_kind` is the word for the
/// owner in the message.
void add_distinct_parameter(Parameters& parameters, const Parameter& p, const char* owner_kind);

/// "type name, type name": the parameters as declarations print them.
void print_parameters(std::ostream& os, const Parameters& parameters);

}  // namespace kelvo::model
