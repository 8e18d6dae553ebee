#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/constant.h"
#include "model/expression.h"
#include "shell/env_object.h"

namespace kelvo {

/// A statement that gives a constant a value: `c := v`, `i.c := v`, `c(a, b) := v`, or the same at
/// the start of the plan.
struct ConstantInitialisation {
  model::Constant constant;
  /// The name of the parent instance, or the empty string.
  std::string instance;
  /// The arguments, without a star in the last place.
  std::vector<model::Expression> key;
  model::Expression value;
  model::Expression statement;
};

/// The shapes that a constant initialisation can have, resolved or not.
bool may_be_constant_initialisation(Environment& env, model::Expression e);

/// The initialisation that a resolved statement is, if any. Throws `InvalidParameterError` when it
/// assigns to a constant of something else than an instance, or at an argument without meaning.
std::optional<ConstantInitialisation> as_constant_initialisation(Environment& env,
                                                                 model::Expression e);

/// Collects the initialisations of the constants of a problem and evaluates them.
///
/// A value or an argument may mention other constants, in any order of the text.
class ConstantInitialisers : public EnvObject {
 public:
  using Values = std::unordered_map<const model::ConstantImpl*, model::ConstantImpl::Values>;

  explicit ConstantInitialisers(Environment& env);
  ~ConstantInitialisers() override;

  /// Checks the types of arguments and value; throws `TypeCheckingError`.
  void add(const ConstantInitialisation& initialisation);
  /// The values of all constants. Throws `InternalError` when a constant is assigned twice at one
  /// point, or is mentioned although its value is missing or needs itself.
  Values values() const;

 private:
  class Evaluator;

  std::vector<ConstantInitialisation> initialisations_;
};

}  // namespace kelvo
