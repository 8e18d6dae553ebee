#include "model/problem_instance.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "model/domains.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::model {

bool ProblemInstanceImpl::OrderingLess::operator()(
    const std::pair<Expression, Expression>& a, const std::pair<Expression, Expression>& b) const {
  const ExpressionLess less;
  if (a.first != b.first) return less(a.first, b.first);
  return less(a.second, b.second);
}

bool ProblemInstanceImpl::is_flat() const {
  return std::ranges::none_of(user_types(),
                              [](const auto& entry) { return entry.second->is_structured(); });
}

ExpressionSet ProblemInstanceImpl::all_ground_fluents(bool only_boolean) const {
  if (!is_flat()) throw InvalidParameterError("The problem instance is not flat!");
  ExpressionFactory& ef = environment().expression_factory();
  const Domains domains(*this);
  std::vector<Expression> result;
  for (const auto& [name, fluent] : fluents()) {
    if (only_boolean && !fluent->type()->is_boolean()) continue;
    const Expression reference = ef.make_fluent_reference(fluent);
    if (!fluent->has_parameters()) {
      result.push_back(reference);
      continue;
    }
    for (const Parameter& p : fluent->parameters()) {
      if (!p->type()->is_finite_domain()) {
        throw InvalidParameterError("The problem instance contains a non-groundable fluent.");
      }
    }
    const DomainProduct arguments(domains, fluent->parameters());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      result.push_back(ef.make_functional_apply(reference, arguments.combination(i)));
    }
  }
  // A set is made of a sorted range in linear time; combinations may be many, in any order of ids.
  std::ranges::sort(result, ExpressionLess());
  return ExpressionSet(result.begin(), result.end());
}

bool ProblemInstanceImpl::has_name(const std::string& name) const {
  return TypeScope::has_name(name) || has_instance(name) || has_label(name);
}

void ProblemInstanceImpl::add_instance(const Instance& i) {
  if (has_name(i->name())) {
    throw RedefinitionError() << "Instance '" << i->name() << "' already defined";
  }
  instances_.emplace(i->name(), i);
}

void ProblemInstanceImpl::add_label(const std::string& name, Expression e) {
  if (has_name(name)) throw RedefinitionError() << "Label '" << name << "' already defined";
  labels_.emplace(name, e);
}

const ProblemInstanceImpl::InstanceMap& ProblemInstanceImpl::instances(const Type& type) const {
  const auto [entry, is_new] = instances_by_type_cache_.try_emplace(type.get());
  if (is_new) {
    for (const auto& [name, instance] : instances_) {
      const UserType own = instance->type();
      if (own == type || own->is_derived_from(type)) entry->second.emplace(name, instance);
    }
  }
  return entry->second;
}

std::ostream& operator<<(std::ostream& os, const ProblemInstanceImpl& problem) {
  os << static_cast<const TypeScope&>(problem) << '\n';
  for (const auto& [name, instance] : problem.instances()) {
    os << "instance " << instance->type()->name() << ' ' << name << ";\n";
  }
  if (!problem.constants().empty()) {
    os << '\n';
    print_constant_values(os, problem);
  }
  if (!problem.expressions().empty()) {
    os << '\n' << static_cast<const ExpressionScope&>(problem);
  }
  return os;
}

std::ostream& operator<<(std::ostream& os, const ProblemInstance& problem) {
  return os << *problem;
}

}  // namespace kelvo::model
