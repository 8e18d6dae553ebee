#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "model/expression_scope.h"
#include "model/type_scope.h"

namespace kelvo::model {

/// A planning problem: the top scope, its instances and its timed statements. Filled while it is
/// built (by the readers, or whole by `ModelFactory::make_problem_instance`) and not changed
/// afterwards; transformers build new ones that share what they leave unchanged.
class ProblemInstanceImpl : public TypeScope,
                            public ExpressionScope,
                            public std::enable_shared_from_this<ProblemInstanceImpl> {
 public:
  using InstanceMap = std::map<std::string, Instance>;
  using LabelMap = std::map<std::string, Expression>;
  struct OrderingLess {
    bool operator()(const std::pair<Expression, Expression>& a,
                    const std::pair<Expression, Expression>& b) const;
  };
  /// Pairs of label references: the first starts before the second.
  using LabelsOrderings = std::set<std::pair<Expression, Expression>, OrderingLess>;

  explicit ProblemInstanceImpl(Environment& env)
      : EnvObject(env), TypeScope(env), ExpressionScope(env) {}

  /// No user type is structured.
  bool is_flat() const;
  /// All fluent references and applications that may be assigned, fluents in name order, the first
  /// parameter fastest. Throws `InvalidParameterError` when the problem is not flat or a parameter
  /// has an infinite domain.
  ExpressionSet all_ground_fluents(bool only_boolean) const;

  bool has_name(const std::string& name) const override;
  void add_instance(const Instance& i);
  void add_label(const std::string& name, Expression e);
  void add_labels_ordering(Expression l1, Expression l2) { labels_orderings_.emplace(l1, l2); }

  bool has_instance(const std::string& name) const { return instances_.contains(name); }
  bool has_label(const std::string& name) const { return labels_.contains(name); }
  const InstanceMap& instances() const { return instances_; }
  const LabelMap& labels() const { return labels_; }
  /// All instances whose type is `type` or derived from it, by name; computed once for each type.
  /// Compare `model/domains.h`, whose enumeration takes instances of exactly the type.
  const InstanceMap& instances(const Type& type) const;
  const LabelsOrderings& labels_orderings() const { return labels_orderings_; }

 private:
  InstanceMap instances_;
  LabelMap labels_;
  LabelsOrderings labels_orderings_;
  mutable std::map<const TypeBase*, InstanceMap> instances_by_type_cache_;
};

/// The whole problem as text.
std::ostream& operator<<(std::ostream& os, const ProblemInstanceImpl& problem);
std::ostream& operator<<(std::ostream& os, const ProblemInstance& problem);

}  // namespace kelvo::model
