#pragma once

#include "model/expression_walker.h"
#include "smt/smt_encoder.h"

namespace kelvo::smt {

/// Turns an expression into a formula, read at one context. Values are memoized in the encoder, so
/// that the object itself is light and made for each use.
///
/// Intervals, containments, `duration :in` statements and references of functions have no formula
/// of their own: their value is null. Throws `InternalError` on what the encoding does not treat.
class ToSmtWalker : public model::ExpressionWalker<Formula> {
 public:
  ToSmtWalker(SmtEncoder& encoder, const EncodingContext& context)
      : ExpressionWalker(encoder.environment()),
        encoder_(encoder),
        factory_(encoder.factory()),
        context_(context) {}

  const Formula& memoized_value(model::Expression e) const override;
  void do_memoize_value(model::Expression e, Formula value) const override;
  bool is_memoized(model::Expression e) const override;

 protected:
  Formula walk_and(model::Expression e) const override;
  Formula walk_or(model::Expression e) const override;
  Formula walk_not(model::Expression e) const override;
  Formula walk_imply(model::Expression e) const override;
  Formula walk_iff(model::Expression e) const override;
  Formula walk_equals(model::Expression e) const override;
  Formula walk_lt(model::Expression e) const override;
  Formula walk_le(model::Expression e) const override;
  Formula walk_gt(model::Expression e) const override;
  Formula walk_ge(model::Expression e) const override;
  Formula walk_times(model::Expression e) const override;
  Formula walk_plus(model::Expression e) const override;
  Formula walk_div(model::Expression e) const override;
  Formula walk_minus(model::Expression e) const override;
  Formula walk_in(model::Expression e) const override;
  Formula walk_subset(model::Expression e) const override;
  Formula walk_union(model::Expression e) const override;
  Formula walk_intersection(model::Expression e) const override;
  Formula walk_difference(model::Expression e) const override;
  Formula walk_assign(model::Expression e) const override;
  Formula walk_in_assign(model::Expression e) const override;
  Formula walk_interval(model::Expression e) const override;
  Formula walk_temporal_expression(model::Expression e) const override;
  Formula walk_start(model::Expression e) const override;
  Formula walk_end(model::Expression e) const override;
  Formula walk_duration(model::Expression e) const override;
  Formula walk_true(model::Expression e) const override;
  Formula walk_false(model::Expression e) const override;
  Formula walk_rational_constant(model::Expression e) const override;
  Formula walk_set_constant(model::Expression e) const override;
  Formula walk_integer_constant(model::Expression e) const override;
  Formula walk_dot(model::Expression e) const override;
  Formula walk_unresolved_symbol(model::Expression e) const override;
  Formula walk_fluent_reference(model::Expression e) const override;
  Formula walk_constant_reference(model::Expression e) const override;
  Formula walk_parameter_reference(model::Expression e) const override;
  Formula walk_instance_reference(model::Expression e) const override;
  Formula walk_label_reference(model::Expression e) const override;
  Formula walk_functional_apply(model::Expression e) const override;
  Formula walk_contains(model::Expression e) const override;
  Formula walk_action_status_is(model::Expression e) const override;

  bool walks_children(model::Expression e) const override;

 private:
  using Formulas = std::vector<Formula>;
  /// The span of time that a condition speaks of; `upper` is null for a point.
  struct Span {
    Formula lower;
    Formula upper;
  };

  using BinaryBuilder = Formula (SmtFactory::*)(Formula, Formula);
  using ListBuilder = Formula (SmtFactory::*)(const SmtFactory::Formulas&);

  Formula binary(model::Expression e, BinaryBuilder make) const;
  /// The left fold of the children; the one child of an operator with one child.
  Formula fold(model::Expression e, BinaryBuilder make, ListBuilder make_list) const;
  /// The formula of the i-th child; throws `InternalError` when it has none.
  Formula child_value(model::Expression e, std::size_t i) const;
  /// `e` read at a step as state, by this action at its own start.
  Formula at_step(model::Expression e, std::uint32_t step) const;

  Formula fluent_application(model::Expression reference, const Formulas& arguments) const;
  Formula constant_application(model::Expression e, model::Expression reference,
                               const Formulas& arguments) const;

  Formula timed_effect(model::Expression interval, model::Expression body) const;
  Formula timed_condition(model::Expression e) const;
  Formula contained_condition(model::Expression e) const;
  /// `body` holds at the moment that a labelled containment has chosen.
  Formula chosen_moment(const Span& span, model::Expression body, Formula moment) const;
  Span span_of(model::Expression interval) const;
  /// That the interval of a statement holds any moment; null when it always does, a constant when
  /// it never does.
  Formula not_empty(const TimedStatement& statement, const Span& span) const;
  /// `condition` has a value in the state of a step, and holds.
  Formula holds_at(model::Expression condition, std::uint32_t step) const;
  /// For each k from `max(action_step, 1)`: the state before step k is in force at the lower bound,
  /// (t_(k-1) < lower and t_k >= lower), for a left-open span with the equalities exchanged.
  Formula in_force_at_lower(const Span& span, bool left_open, std::uint32_t k) const;
  /// Step k begins inside the span.
  Formula begins_inside(const Span& span, bool left_open, std::uint32_t k) const;
  std::uint32_t first_step_with_predecessor() const;
  Formula last_time() const;

  SmtEncoder& encoder_;
  SmtFactory& factory_;
  EncodingContext context_;
};

}  // namespace kelvo::smt
