#pragma once

#include <memory>
#include <string>
#include <utility>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo::model {

enum class ExpressionOperatorKind {
  AND,
  OR,
  NOT,
  IMPLY,
  EQUALS,
  IFF,
  LT,
  LE,
  GT,
  GE,
  TIMES,
  PLUS,
  DIV,
  MINUS,
  ASSIGN,
  IN_ASSIGN,
  INTERVAL,
  TEMPORAL_EXPR,
  START,
  END,
  DURATION,
  DOT,
  EXPR_TRUE,
  EXPR_FALSE,
  RATIONAL_CONSTANT,
  INTEGER_CONSTANT,
  UNRESOLVED_SYMBOL,
  FLUENT_REF,
  CONSTANT_REF,
  PARAMETER_REF,
  INSTANCE_REF,
  LABEL_REF,
  FLUENT_FUN_APPLY,
  ACTION_STATUS_IS,
  CONTAINS,
  IN,
  SUBSET,
  UNION,
  INTERSECTION,
  DIFFERENCE,
  SET_CONSTANT,
};

/// The label of an expression: its operator, and in derived classes what else tells it apart.
class ExpressionPayload : public Payload {
 public:
  explicit ExpressionPayload(ExpressionOperatorKind kind) : kind_(kind) {}
  ExpressionOperatorKind kind() const { return kind_; }

 private:
  ExpressionOperatorKind kind_;
};

/// The operator of `e`.
inline ExpressionOperatorKind kind_of(Expression e) {
  return static_cast<const ExpressionPayload*>(e->payload())->kind();
}

/// The payload of `e`, which must be of class `P`.
template <typename P>
const P& payload_of(Expression e) {
  return *static_cast<const P*>(e->payload());
}

/// `UNRESOLVED_SYMBOL`, `LABEL_REF` and `CONTAINS`; there the name is the label, possibly empty.
class IdentifierPayload : public ExpressionPayload {
 public:
  IdentifierPayload(ExpressionOperatorKind kind, std::string name)
      : ExpressionPayload(kind), name_(std::move(name)) {}
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

/// `START`, `END` and `DURATION`.
class TemporalAnchorPayload : public ExpressionPayload {
 public:
  using ExpressionPayload::ExpressionPayload;
};

class IntervalPayload : public ExpressionPayload {
 public:
  IntervalPayload(bool left_closed, bool right_closed)
      : ExpressionPayload(ExpressionOperatorKind::INTERVAL),
        left_closed_(left_closed),
        right_closed_(right_closed) {}
  bool left_closed() const { return left_closed_; }
  bool right_closed() const { return right_closed_; }

 private:
  bool left_closed_;
  bool right_closed_;
};

class RationalPayload : public ExpressionPayload {
 public:
  explicit RationalPayload(rational value)
      : ExpressionPayload(ExpressionOperatorKind::RATIONAL_CONSTANT), value_(std::move(value)) {}
  const rational& value() const { return value_; }

 private:
  rational value_;
};

class IntegerPayload : public ExpressionPayload {
 public:
  explicit IntegerPayload(integer value)
      : ExpressionPayload(ExpressionOperatorKind::INTEGER_CONSTANT), value_(std::move(value)) {}
  const integer& value() const { return value_; }

 private:
  integer value_;
};

/// References never keep a model object alive; the getters throw `InternalError` when it is gone.
class FluentPayload : public ExpressionPayload {
 public:
  explicit FluentPayload(std::weak_ptr<FluentImpl> fluent)
      : ExpressionPayload(ExpressionOperatorKind::FLUENT_REF), fluent_(std::move(fluent)) {}
  Fluent fluent() const;

 private:
  std::weak_ptr<FluentImpl> fluent_;
};

class ConstantPayload : public ExpressionPayload {
 public:
  explicit ConstantPayload(std::weak_ptr<ConstantImpl> constant)
      : ExpressionPayload(ExpressionOperatorKind::CONSTANT_REF), constant_(std::move(constant)) {}
  Constant constant() const;

 private:
  std::weak_ptr<ConstantImpl> constant_;
};

class ParameterPayload : public ExpressionPayload {
 public:
  explicit ParameterPayload(std::weak_ptr<ParameterImpl> parameter)
      : ExpressionPayload(ExpressionOperatorKind::PARAMETER_REF),
        parameter_(std::move(parameter)) {}
  Parameter parameter() const;

 private:
  std::weak_ptr<ParameterImpl> parameter_;
};

class InstancePayload : public ExpressionPayload {
 public:
  explicit InstancePayload(std::weak_ptr<InstanceImpl> instance)
      : ExpressionPayload(ExpressionOperatorKind::INSTANCE_REF), instance_(std::move(instance)) {}
  Instance instance() const;

 private:
  std::weak_ptr<InstanceImpl> instance_;
};

/// The applied function is part of the label and no child of the node.
class FluentFunApplyPayload : public ExpressionPayload {
 public:
  explicit FluentFunApplyPayload(Expression reference)
      : ExpressionPayload(ExpressionOperatorKind::FLUENT_FUN_APPLY), reference_(reference) {}
  /// A `FLUENT_REF` or `CONSTANT_REF`; in a problem that is not flat also a `DOT` on one of these.
  Expression reference() const { return reference_; }

 private:
  Expression reference_;
};

class ActionStatusIsPayload : public ExpressionPayload {
 public:
  /// A null `instance` means that the action belongs to none.
  ActionStatusIsPayload(const Instance& instance, const Action& action, std::string status);
  /// Null when the action belongs to no instance.
  Instance instance() const;
  Action action() const;
  const std::string& status() const { return status_; }

 private:
  bool has_instance_;
  std::weak_ptr<InstanceImpl> instance_;
  std::weak_ptr<ActionImpl> action_;
  std::string status_;
};

}  // namespace kelvo::model
