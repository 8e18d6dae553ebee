#pragma once

#include <iosfwd>
#include <string>

#include "model/expression_scope.h"
#include "model/parametric_object.h"

namespace kelvo::model {

/// An action: parameters and a body of timed conditions and effects. Interned by name, path,
/// parameters and expressions; made by `ModelFactory::make_action`.
class ActionImpl : public ExpressionScope, public ParametricObject {
 public:
  const std::string& name() const { return name_; }
  const Path& path() const { return path_; }
  bool has_parameters() const { return !parameters_.empty(); }
  const Parameters& parameters() const { return parameters_; }

  /// Whether some statement is `duration :in [l, u]`; with `really_uncertain`, whether the first
  /// such has two different bounds.
  bool is_temporally_uncertain(bool really_uncertain = false) const;
  /// Whether some statement has a bound that is neither the start nor the end anchor itself.
  bool has_intermediate_effects() const;
  ExpressionSet intermediate_expressions() const;

 private:
  friend class ModelFactory;
  ActionImpl(Environment& env, const std::string& name, const Path& path)
      : EnvObject(env), ExpressionScope(env), name_(name), path_(path) {}
  /// Throws `RedefinitionError` on a name that is taken.
  void add_parameter(const Parameter& p) { add_distinct_parameter(parameters_, p, "action"); }

  std::string name_;
  Path path_;
  Parameters parameters_;
};

std::ostream& operator<<(std::ostream& os, const ActionImpl& action);

}  // namespace kelvo::model
