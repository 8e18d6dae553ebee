#include "model/expression_factory.h"

#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "shell/errors.h"
#include "shell/hashing.h"

namespace kelvo::model {

bool ActionStatusIsLess::operator()(const Key& a, const Key& b) const {
  const auto& [instance_a, action_a, status_a] = a;
  const auto& [instance_b, action_b, status_b] = b;
  if (instance_a.owner_before(instance_b)) return true;
  if (instance_b.owner_before(instance_a)) return false;
  if (action_a.owner_before(action_b)) return true;
  if (action_b.owner_before(action_a)) return false;
  return status_a < status_b;
}

std::size_t ExpressionFactory::RationalHash::operator()(const rational& r) const {
  std::size_t h = std::hash<integer>()(numerator(r));
  hash_combine(h, denominator(r));
  return h;
}

ExpressionFactory::ExpressionFactory(Environment& env) : EnvObject(env) {}

ExpressionFactory::~ExpressionFactory() = default;

Expression ExpressionFactory::make_unary_minus(Expression a) {
  const Expression minus_one = make_integer_constant(-1);
  return make_times(a, minus_one);
}

Expression ExpressionFactory::make_in_assign(Expression duration, Expression interval) {
  if (!is_duration_anchor(duration) || !is_closed_interval(interval)) {
    throw InternalError() << "Found an :in assign having non-compatible operands: "
                          << print_expression(interval);
  }
  return make(in_assign_pl_, duration, interval);
}

namespace {

// The interned payload of `key` in `table`; made from `args` when it is missing.
template <typename Table, typename Key, typename... Args>
auto* intern(Table& table, const Key& key, Args&&... args) {
  using Payload = typename Table::mapped_type::element_type;
  auto& payload = table[key];
  if (payload == nullptr) payload = std::make_unique<Payload>(std::forward<Args>(args)...);
  return payload.get();
}

}  // namespace

Expression ExpressionFactory::make_contains(Expression interval, Expression duration,
                                            const std::string& label) {
  IdentifierPayload* payload = intern(contains_, label, Kind::CONTAINS, label);
  if (duration == nullptr) return node_mgr_.make_node(payload, interval);
  return node_mgr_.make_node(payload, interval, duration);
}

Expression ExpressionFactory::make_rational_constant(const rational& value) {
  return node_mgr_.make_node(intern(rationals_, value, value));
}

Expression ExpressionFactory::make_integer_constant(const integer& value) {
  return node_mgr_.make_node(intern(integers_, value, value));
}

Expression ExpressionFactory::make_unresolved_symbol(const std::string& name) {
  return node_mgr_.make_node(intern(unresolved_names_, name, Kind::UNRESOLVED_SYMBOL, name));
}

template <typename P, typename T>
Expression ExpressionFactory::make_reference(OwnerMap<T>& table, const std::shared_ptr<T>& object) {
  auto& payload = table[object];
  if (payload == nullptr) payload = std::make_unique<P>(object);
  return node_mgr_.make_node(payload.get());
}

Expression ExpressionFactory::make_fluent_reference(const Fluent& f) {
  return make_reference<FluentPayload>(fluents_, f);
}

Expression ExpressionFactory::make_constant_reference(const Constant& c) {
  return make_reference<ConstantPayload>(constants_, c);
}

Expression ExpressionFactory::make_parameter_reference(const Parameter& p) {
  return make_reference<ParameterPayload>(parameters_, p);
}

Expression ExpressionFactory::make_instance_reference(const Instance& i) {
  return make_reference<InstancePayload>(instances_, i);
}

Expression ExpressionFactory::make_label_reference(const std::string& name) {
  return node_mgr_.make_node(intern(label_names_, name, Kind::LABEL_REF, name));
}

Expression ExpressionFactory::make_functional_apply(Expression f, const Expressions& args) {
  return node_mgr_.make_node(intern(ref_funs_, f, f), args.size(), args.begin(), args.end());
}

Expression ExpressionFactory::make_action_status_is(const Instance& i, const Action& a,
                                                    const std::string& status) {
  const ActionStatusIsLess::Key key(i, a, status);
  return node_mgr_.make_node(intern(action_status_, key, i, a, status));
}

bool ExpressionFactory::is_interval(Expression e, bool left_closed, bool right_closed) {
  if (!is(e, Kind::INTERVAL)) return false;
  const auto& payload = payload_of<IntervalPayload>(e);
  return payload.left_closed() == left_closed && payload.right_closed() == right_closed;
}

bool ExpressionFactory::is_zero(Expression e) const {
  if (is_integer_constant(e)) return payload_of<IntegerPayload>(e).value() == 0;
  if (is_rational_constant(e)) return payload_of<RationalPayload>(e).value() == 0;
  return false;
}

Fluent ExpressionFactory::get_fluent_from_reference(Expression e) const {
  if (!is_fluent_reference(e)) throw InvalidParameterError("A fluent reference was expected");
  return payload_of<FluentPayload>(e).fluent();
}

Constant ExpressionFactory::get_constant_from_reference(Expression e) const {
  if (!is_constant_reference(e)) throw InvalidParameterError("A constant reference was expected");
  return payload_of<ConstantPayload>(e).constant();
}

Parameter ExpressionFactory::get_parameter_from_reference(Expression e) const {
  if (!is_parameter_reference(e)) {
    throw InvalidParameterError("A parameter reference was expected");
  }
  return payload_of<ParameterPayload>(e).parameter();
}

Instance ExpressionFactory::get_instance_from_reference(Expression e) const {
  if (!is_instance_reference(e)) throw InvalidParameterError("An instance reference was expected");
  return payload_of<InstancePayload>(e).instance();
}

bool ExpressionFactory::get_boolean_constant(Expression e) const {
  if (!is_boolean_constant(e)) throw InvalidParameterError("A boolean constant was expected");
  return is_true(e);
}

const rational& ExpressionFactory::get_rational_constant(Expression e) const {
  if (!is_rational_constant(e)) {
    throw InvalidParameterError() << "A rational constant was expected, got "
                                  << print_expression(e);
  }
  return payload_of<RationalPayload>(e).value();
}

const integer& ExpressionFactory::get_integer_constant(Expression e) const {
  if (!is_integer_constant(e)) throw InvalidParameterError("An integer constant was expected");
  return payload_of<IntegerPayload>(e).value();
}

rational ExpressionFactory::get_number(Expression e) const {
  if (is_rational_constant(e)) return get_rational_constant(e);
  return rational(get_integer_constant(e));
}

Expression ExpressionFactory::get_reference_from_functional_apply(Expression e) const {
  if (!is_functional_apply(e)) throw InvalidParameterError("A functional apply node was expected");
  return payload_of<FluentFunApplyPayload>(e).reference();
}

const std::string& ExpressionFactory::get_name_from_label_reference(Expression e) const {
  if (!is_label_reference(e)) throw InvalidParameterError("A label reference node was expected");
  return payload_of<IdentifierPayload>(e).name();
}

const std::string& ExpressionFactory::get_label_from_contains(Expression e) const {
  if (!is_contains(e)) throw InvalidParameterError("A contains node was expected");
  return payload_of<IdentifierPayload>(e).name();
}

}  // namespace kelvo::model
