#pragma once

#include <map>
#include <string>

#include "model/function_value.h"
#include "model/parametric_object.h"

namespace kelvo::model {

/// A constant, possibly with parameters. Its values are keyed by the name of the parent instance,
/// the empty string for the value without instance. Interned by name, type, path, parameters and
/// values; made by `ModelFactory::make_constant`.
class ConstantImpl : public ParametricObject {
 public:
  using Values = std::map<std::string, FunctionValue>;

  const std::string& name() const { return name_; }
  Type type() const { return type_.lock(); }
  const Path& path() const { return path_; }
  bool has_parameters() const { return !parameters_.empty(); }
  std::size_t arity() const { return parameters_.size(); }
  const Parameters& parameters() const { return parameters_; }

  /// The value without instance, or that of the instance; null when there is none.
  FunctionValue value() const { return value(std::string()); }
  FunctionValue value(const Instance& instance) const;
  FunctionValue value(const std::string& instance_name) const;
  const Values& all_values() const { return value_; }

 private:
  friend class ModelFactory;
  ConstantImpl(const std::string& name, const Type& type, const Path& path, const Values& values)
      : name_(name), type_(type), path_(path), value_(values) {}
  /// Throws `RedefinitionError` on a name that is taken.
  void add_parameter(const Parameter& p) { add_distinct_parameter(parameters_, p, "constant"); }

  std::string name_;
  std::weak_ptr<TypeBase> type_;
  Path path_;
  Parameters parameters_;
  Values value_;
};

}  // namespace kelvo::model
