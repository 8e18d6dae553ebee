#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/domains.h"
#include "model/expression.h"
#include "model/model_fwd.h"
#include "model/timed_effect.h"
#include "shell/env_object.h"
#include "smt/formula.h"

namespace kelvo::smt {

class SmtEncoder;
class SmtSolver;
struct EncodingContext;

/// When expressions have values. What may have none is a fluent without a first value until an
/// effect sets it, an entry of a constant that the problem does not give, a quotient by zero, and a
/// fluent whose arguments leave their types.
///
/// A condition without a value does not hold; `and`, `or` and `implies` have one nevertheless where
/// the other operand decides. An effect needs the values of all that it reads. Problems in which
/// everything has a value get no formula from here.
class Definedness : public EnvObject {
 public:
  explicit Definedness(SmtEncoder& encoder);
  ~Definedness() override;

  /// Whether `e` can be without a value.
  bool can_fail(model::Expression e) const;
  /// That `e` has a value at the context; null when it always has one.
  Formula has_value(const EncodingContext& context, model::Expression e);
  /// That the Boolean `e` has a value and is true.
  Formula holds(const EncodingContext& context, model::Expression e);
  /// That an assignment can be made by an action that reads the context: the right side has a
  /// value, and the left side exists. Null when it always can.
  Formula can_assign(const EncodingContext& before, model::Expression assignment);

  /// Asserts that `fluent`, which `alternatives` may write at step i, is set only by them. Asserts
  /// nothing for a fluent with a first value.
  void explain(SmtSolver& solver, model::Expression fluent, std::uint32_t i,
               const std::vector<Formula>& alternatives);

 private:
  class CanFailWalker;
  struct FirstValues {
    bool is_complete = false;
    std::unordered_set<model::Expression> given;
    /// Initial effects whose arguments are no constants.
    std::vector<const Effect*> computed;
    /// The ground fluents without a value at the start.
    std::vector<model::Expression> unset;
  };

  const FirstValues& first_values(const model::Fluent& fluent);
  /// The entries of a constant that have no value. Null when they can't be listed.
  const std::vector<std::vector<model::Expression>>* missing_entries(const model::Constant& c);
  bool may_be_missing(const model::Constant& constant);
  bool stays_inside(model::Expression argument, const model::Type& type) const;

  /// A constant for what is known.
  Formula is_set(model::Expression fluent, std::uint32_t step);
  Formula is_inside(const EncodingContext& context, model::Expression argument,
                    const model::Type& type);
  void require_arguments(const EncodingContext& context, model::Expression application,
                         const model::Parameters& parameters, std::vector<Formula>& needed);
  void require_fluent(const EncodingContext& context, model::Expression e,
                      std::vector<Formula>& needed);
  void require_entry(const EncodingContext& context, model::Expression e,
                     std::vector<Formula>& needed);
  void require_divisor(const EncodingContext& context, model::Expression e,
                       std::vector<Formula>& needed);
  Formula leaf(const EncodingContext& context, model::Expression e, bool is_positive);
  void warn_of_missing_entries(const model::Constant& constant);

  bool is_known(Formula f, bool value) const;
  Formula all_of(const std::vector<Formula>& list);
  Formula any_of(const std::vector<Formula>& list);
  /// That arguments are equal to a tuple: a constant for what is known.
  Formula matches(const std::vector<Formula>& tuple, const std::vector<Formula>& arguments);

  SmtEncoder& encoder_;
  std::unique_ptr<CanFailWalker> can_fail_;
  std::vector<Effect> initial_effects_;
  std::unordered_set<model::Fluent> written_;
  std::unordered_map<model::Fluent, FirstValues> first_values_;
  std::unordered_map<model::Constant, std::vector<std::vector<model::Expression>>> missing_;
  std::unordered_set<model::Constant> unlistable_;
  std::unordered_set<model::Constant> warned_;
};

}  // namespace kelvo::smt
