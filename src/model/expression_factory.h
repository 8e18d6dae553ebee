#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "model/expression_payloads.h"
#include "model/node_manager.h"
#include "shell/env_object.h"

namespace kelvo::model {

/// Orders by instance and action (owner blocks), then by status text.
struct ActionStatusIsLess {
  using Key = std::tuple<std::weak_ptr<InstanceImpl>, std::weak_ptr<ActionImpl>, std::string>;
  bool operator()(const Key& a, const Key& b) const;
};

/// The only builder and inspector of expressions; one for each environment. It gives every label
/// one payload object, so that equal expressions are one node.
///
/// Builders add no logic: nothing is simplified, flattened, sorted or folded, and nothing but
/// `make_in_assign` validates. Each costs one hash lookup. Expressions live as long as the factory.
/// The getters throw `InvalidParameterError` when the expression is of another kind.
class ExpressionFactory : public EnvObject {
 public:
  using Kind = ExpressionOperatorKind;
  using Expressions = std::vector<Expression>;

  explicit ExpressionFactory(Environment& env);
  ~ExpressionFactory() override;
  ExpressionFactory(const ExpressionFactory&) = delete;
  ExpressionFactory& operator=(const ExpressionFactory&) = delete;

  Expression make_or(Expression a, Expression b) { return make(or_pl_, a, b); }
  Expression make_or(const Expressions& v) { return make(or_pl_, v); }
  Expression make_and(Expression a, Expression b) { return make(and_pl_, a, b); }
  Expression make_and(const Expressions& v) { return make(and_pl_, v); }
  Expression make_not(Expression a) { return node_mgr_.make_node(&not_pl_, a); }
  Expression make_imply(Expression a, Expression b) { return make(imply_pl_, a, b); }
  Expression make_iff(Expression a, Expression b) { return make(iff_pl_, a, b); }

  Expression make_equals(Expression a, Expression b) { return make(equals_pl_, a, b); }
  Expression make_lt(Expression a, Expression b) { return make(lt_pl_, a, b); }
  Expression make_le(Expression a, Expression b) { return make(le_pl_, a, b); }
  Expression make_gt(Expression a, Expression b) { return make(gt_pl_, a, b); }
  Expression make_ge(Expression a, Expression b) { return make(ge_pl_, a, b); }

  Expression make_times(Expression a, Expression b) { return make(times_pl_, a, b); }
  Expression make_times(const Expressions& v) { return make(times_pl_, v); }
  Expression make_plus(Expression a, Expression b) { return make(plus_pl_, a, b); }
  Expression make_plus(const Expressions& v) { return make(plus_pl_, v); }
  Expression make_div(Expression a, Expression b) { return make(div_pl_, a, b); }
  Expression make_minus(Expression a, Expression b) { return make(minus_pl_, a, b); }
  /// `TIMES(a, -1)`: there is no unary minus node.
  Expression make_unary_minus(Expression a);

  Expression make_set_constant(const Expressions& v) { return make(set_constant_pl_, v); }
  Expression make_in(Expression a, Expression b) { return make(in_pl_, a, b); }
  Expression make_subset(Expression a, Expression b) { return make(subset_pl_, a, b); }
  Expression make_union(Expression a, Expression b) { return make(union_pl_, a, b); }
  Expression make_intersection(Expression a, Expression b) { return make(intersection_pl_, a, b); }
  Expression make_difference(Expression a, Expression b) { return make(difference_pl_, a, b); }

  Expression make_assign(Expression a, Expression b) { return make(assign_pl_, a, b); }
  /// Throws `InternalError` unless `duration` is the anchor and `interval` a closed interval.
  Expression make_in_assign(Expression duration, Expression interval);

  Expression make_open_interval(Expression l, Expression u) { return make(oointerval_pl_, l, u); }
  Expression make_closed_interval(Expression l, Expression u) { return make(ccinterval_pl_, l, u); }
  Expression make_left_open_interval(Expression l, Expression u) {
    return make(ocinterval_pl_, l, u);
  }
  Expression make_right_open_interval(Expression l, Expression u) {
    return make(cointerval_pl_, l, u);
  }
  /// The closed interval with the one child `p`.
  Expression make_point_interval(Expression p) { return node_mgr_.make_node(&ccinterval_pl_, p); }
  Expression make_contains(Expression interval, Expression duration = nullptr,
                           const std::string& label = "");
  Expression make_temporal_expression(Expression i, Expression e) {
    return make(temporal_expr_pl_, i, e);
  }
  Expression make_start_anchor() { return node_mgr_.make_node(&start_pl_); }
  Expression make_end_anchor() { return node_mgr_.make_node(&end_pl_); }
  Expression make_duration_anchor() { return node_mgr_.make_node(&duration_pl_); }

  Expression make_boolean_constant(bool value) {
    return node_mgr_.make_node(value ? &true_pl_ : &false_pl_);
  }
  Expression make_true() { return make_boolean_constant(true); }
  Expression make_false() { return make_boolean_constant(false); }
  Expression make_rational_constant(const rational& value);
  Expression make_integer_constant(const integer& value);

  Expression make_scoping(Expression parent, Expression child) {
    return make(dot_pl_, parent, child);
  }
  Expression make_unresolved_symbol(const std::string& name);
  Expression make_fluent_reference(const Fluent& f);
  Expression make_constant_reference(const Constant& c);
  Expression make_parameter_reference(const Parameter& p);
  Expression make_instance_reference(const Instance& i);
  Expression make_label_reference(const std::string& name);
  /// `f` is the reference of the function; see `FluentFunApplyPayload`.
  Expression make_functional_apply(Expression f, const Expressions& args);
  /// A null `i` means that the action belongs to no instance.
  Expression make_action_status_is(const Instance& i, const Action& a, const std::string& status);

  bool is_or(Expression e) const { return is(e, Kind::OR); }
  bool is_and(Expression e) const { return is(e, Kind::AND); }
  bool is_not(Expression e) const { return is(e, Kind::NOT); }
  bool is_imply(Expression e) const { return is(e, Kind::IMPLY); }
  bool is_iff(Expression e) const { return is(e, Kind::IFF); }
  bool is_equals(Expression e) const { return is(e, Kind::EQUALS); }
  bool is_lt(Expression e) const { return is(e, Kind::LT); }
  bool is_le(Expression e) const { return is(e, Kind::LE); }
  bool is_gt(Expression e) const { return is(e, Kind::GT); }
  bool is_ge(Expression e) const { return is(e, Kind::GE); }
  bool is_times(Expression e) const { return is(e, Kind::TIMES); }
  bool is_plus(Expression e) const { return is(e, Kind::PLUS); }
  bool is_div(Expression e) const { return is(e, Kind::DIV); }
  bool is_minus(Expression e) const { return is(e, Kind::MINUS); }
  bool is_in(Expression e) const { return is(e, Kind::IN); }
  bool is_subset(Expression e) const { return is(e, Kind::SUBSET); }
  bool is_union(Expression e) const { return is(e, Kind::UNION); }
  bool is_intersection(Expression e) const { return is(e, Kind::INTERSECTION); }
  bool is_difference(Expression e) const { return is(e, Kind::DIFFERENCE); }
  bool is_assign(Expression e) const { return is(e, Kind::ASSIGN); }
  bool is_in_assign(Expression e) const { return is(e, Kind::IN_ASSIGN); }
  bool is_interval(Expression e) const { return is(e, Kind::INTERVAL); }
  /// The four tests of openness look at the flags only: a point interval is closed as well.
  bool is_open_interval(Expression e) const { return is_interval(e, false, false); }
  bool is_closed_interval(Expression e) const { return is_interval(e, true, true); }
  bool is_left_open_interval(Expression e) const { return is_interval(e, false, true); }
  bool is_right_open_interval(Expression e) const { return is_interval(e, true, false); }
  bool is_point_interval(Expression e) const { return is_closed_interval(e) && e->arity() == 1; }
  bool is_contains(Expression e) const { return is(e, Kind::CONTAINS); }
  bool is_temporal_expression(Expression e) const { return is(e, Kind::TEMPORAL_EXPR); }
  bool is_start_anchor(Expression e) const { return is(e, Kind::START); }
  bool is_end_anchor(Expression e) const { return is(e, Kind::END); }
  bool is_duration_anchor(Expression e) const { return is(e, Kind::DURATION); }
  bool is_true(Expression e) const { return is(e, Kind::EXPR_TRUE); }
  bool is_false(Expression e) const { return is(e, Kind::EXPR_FALSE); }
  bool is_boolean_constant(Expression e) const { return is_true(e) || is_false(e); }
  bool is_rational_constant(Expression e) const { return is(e, Kind::RATIONAL_CONSTANT); }
  bool is_integer_constant(Expression e) const { return is(e, Kind::INTEGER_CONSTANT); }
  /// An integer or a rational constant.
  bool is_number(Expression e) const { return is_integer_constant(e) || is_rational_constant(e); }
  bool is_set_constant(Expression e) const { return is(e, Kind::SET_CONSTANT); }
  /// A boolean, rational, integer or set constant.
  bool is_constant(Expression e) const {
    return is_boolean_constant(e) || is_number(e) || is_set_constant(e);
  }
  /// The integer or the rational constant 0.
  bool is_zero(Expression e) const;
  bool is_scoping(Expression e) const { return is(e, Kind::DOT); }
  bool is_unresolved_symbol(Expression e) const { return is(e, Kind::UNRESOLVED_SYMBOL); }
  bool is_fluent_reference(Expression e) const { return is(e, Kind::FLUENT_REF); }
  bool is_constant_reference(Expression e) const { return is(e, Kind::CONSTANT_REF); }
  bool is_parameter_reference(Expression e) const { return is(e, Kind::PARAMETER_REF); }
  bool is_instance_reference(Expression e) const { return is(e, Kind::INSTANCE_REF); }
  bool is_label_reference(Expression e) const { return is(e, Kind::LABEL_REF); }
  bool is_functional_apply(Expression e) const { return is(e, Kind::FLUENT_FUN_APPLY); }
  bool is_action_status_is(Expression e) const { return is(e, Kind::ACTION_STATUS_IS); }

  Fluent get_fluent_from_reference(Expression e) const;
  Constant get_constant_from_reference(Expression e) const;
  Parameter get_parameter_from_reference(Expression e) const;
  Instance get_instance_from_reference(Expression e) const;
  bool get_boolean_constant(Expression e) const;
  const rational& get_rational_constant(Expression e) const;
  const integer& get_integer_constant(Expression e) const;
  /// The value of an integer or a rational constant.
  rational get_number(Expression e) const;
  Expression get_reference_from_functional_apply(Expression e) const;
  const std::string& get_name_from_label_reference(Expression e) const;
  const std::string& get_label_from_contains(Expression e) const;

  /// The number of distinct expressions made so far.
  std::size_t num_expressions() const { return node_mgr_.num_nodes(); }

 private:
  template <typename T>
  using OwnerMap = std::map<std::weak_ptr<T>, std::unique_ptr<ExpressionPayload>,
                            std::owner_less<std::weak_ptr<T>>>;
  /// The usual hash of a rational is its integer part, which all of (-1, 1) share.
  struct RationalHash {
    std::size_t operator()(const rational& r) const;
  };

  static bool is(Expression e, Kind kind) { return kind_of(e) == kind; }
  static bool is_interval(Expression e, bool left_closed, bool right_closed);
  Expression make(ExpressionPayload& p, Expression a, Expression b) {
    return node_mgr_.make_node(&p, a, b);
  }
  Expression make(ExpressionPayload& p, const Expressions& v) {
    return node_mgr_.make_node(&p, v.size(), v.begin(), v.end());
  }
  template <typename P, typename T>
  Expression make_reference(OwnerMap<T>& table, const std::shared_ptr<T>& object);

  NodeManager node_mgr_;

  std::unordered_map<std::string, std::unique_ptr<IdentifierPayload>> unresolved_names_;
  std::unordered_map<rational, std::unique_ptr<RationalPayload>, RationalHash> rationals_;
  std::unordered_map<integer, std::unique_ptr<IntegerPayload>> integers_;
  OwnerMap<FluentImpl> fluents_;
  OwnerMap<ConstantImpl> constants_;
  OwnerMap<ParameterImpl> parameters_;
  OwnerMap<InstanceImpl> instances_;
  std::unordered_map<Expression, std::unique_ptr<FluentFunApplyPayload>> ref_funs_;
  std::unordered_map<std::string, std::unique_ptr<IdentifierPayload>> contains_;
  std::unordered_map<std::string, std::unique_ptr<IdentifierPayload>> label_names_;
  std::map<ActionStatusIsLess::Key, std::unique_ptr<ActionStatusIsPayload>, ActionStatusIsLess>
      action_status_;

  TemporalAnchorPayload start_pl_{Kind::START};
  TemporalAnchorPayload end_pl_{Kind::END};
  TemporalAnchorPayload duration_pl_{Kind::DURATION};
  ExpressionPayload and_pl_{Kind::AND};
  ExpressionPayload or_pl_{Kind::OR};
  ExpressionPayload not_pl_{Kind::NOT};
  ExpressionPayload imply_pl_{Kind::IMPLY};
  ExpressionPayload iff_pl_{Kind::IFF};
  ExpressionPayload equals_pl_{Kind::EQUALS};
  ExpressionPayload lt_pl_{Kind::LT};
  ExpressionPayload le_pl_{Kind::LE};
  ExpressionPayload gt_pl_{Kind::GT};
  ExpressionPayload ge_pl_{Kind::GE};
  ExpressionPayload times_pl_{Kind::TIMES};
  ExpressionPayload plus_pl_{Kind::PLUS};
  ExpressionPayload div_pl_{Kind::DIV};
  ExpressionPayload minus_pl_{Kind::MINUS};
  ExpressionPayload in_pl_{Kind::IN};
  ExpressionPayload subset_pl_{Kind::SUBSET};
  ExpressionPayload union_pl_{Kind::UNION};
  ExpressionPayload intersection_pl_{Kind::INTERSECTION};
  ExpressionPayload difference_pl_{Kind::DIFFERENCE};
  ExpressionPayload assign_pl_{Kind::ASSIGN};
  ExpressionPayload in_assign_pl_{Kind::IN_ASSIGN};
  IntervalPayload oointerval_pl_{false, false};
  IntervalPayload ccinterval_pl_{true, true};
  IntervalPayload ocinterval_pl_{false, true};
  IntervalPayload cointerval_pl_{true, false};
  ExpressionPayload temporal_expr_pl_{Kind::TEMPORAL_EXPR};
  ExpressionPayload dot_pl_{Kind::DOT};
  ExpressionPayload true_pl_{Kind::EXPR_TRUE};
  ExpressionPayload false_pl_{Kind::EXPR_FALSE};
  ExpressionPayload set_constant_pl_{Kind::SET_CONSTANT};
};

}  // namespace kelvo::model
