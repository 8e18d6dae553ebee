#pragma once

#include <string>

#include "model/parametric_object.h"

namespace kelvo::model {

/// A state variable or, with parameters, a family of them. Interned by name, type, path and
/// parameters; made by `ModelFactory::make_fluent`.
class FluentImpl : public ParametricObject {
 public:
  const std::string& name() const { return name_; }
  Type type() const { return type_.lock(); }
  const Path& path() const { return path_; }
  bool has_parameters() const { return !parameters_.empty(); }
  std::size_t arity() const { return parameters_.size(); }
  const Parameters& parameters() const { return parameters_; }

 private:
  friend class ModelFactory;
  FluentImpl(const std::string& name, const Type& type, const Path& path)
      : name_(name), type_(type), path_(path) {}
  /// Throws `RedefinitionError` on a name that is taken.
  void add_parameter(const Parameter& p) { add_distinct_parameter(parameters_, p, "fluent"); }

  std::string name_;
  std::weak_ptr<TypeBase> type_;
  Path path_;
  Parameters parameters_;
};

}  // namespace kelvo::model
