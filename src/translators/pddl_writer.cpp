#include "translators/pddl_writer.h"

#include <ostream>
#include <sstream>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/intermediate_effects_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

using model::Expression;
using model::ProblemInstance;
using Kind = model::ExpressionOperatorKind;

namespace {

ProblemInstance prepared(const ProblemInstance& problem) {
  Environment& env = problem->environment();
  TransformerChain chain(problem);
  chain.apply_if<Flattener>(!problem->is_flat());
  chain.apply_if(chain.problem()->has_intermediate_effects(), [&env](const ProblemInstance& flat) {
    const std::string& epsilon = env.configuration().get_string_value("plan-epsilon");
    return std::make_shared<IntermediateEffectsCompiler>(flat, rational_from_string(epsilon));
  });
  if (chain.problem()->has_sets()) {
    chain.apply_if<Grounder>(!chain.problem()->is_ground(/*only_action=*/true));
    chain.apply<SetCompiler>();
  }
  return chain.problem();
}

InternalError forbidden_expression(Expression e) {
  return InternalError() << "Found a forbidden expression'" << model::print_expression(e) << "'";
}

}  // namespace

PddlWriter::PddlWriter(const ProblemInstance& problem, const std::string& domain_name,
                       const std::string& problem_name)
    : EnvObject(problem->environment()),
      problem_(prepared(problem)),
      domain_name_(domain_name),
      problem_name_(problem_name),
      forbidden_{model::CheckContainsWalker(environment(), Kind::CONTAINS),
                 model::CheckContainsWalker(environment(), Kind::UNRESOLVED_SYMBOL),
                 model::CheckContainsWalker(environment(), Kind::IN_ASSIGN),
                 model::CheckContainsWalker(environment(), Kind::DOT)},
      names_(*problem_),
      print_(environment().expression_factory(), names_) {}

void PddlWriter::check(const model::ExpressionSet& expressions) const {
  for (const Expression e : expressions) {
    for (const model::CheckContainsWalker& contains : forbidden_) {
      if (!contains(e)) continue;
      throw InternalError("The problem contains an expression operator kindthat is forbidden!");
    }
  }
}

void PddlWriter::print_domain(std::ostream& os) const {
  for (const auto& [name, action] : problem_->actions()) check(action->expressions());
  // Refusals further on must leave nothing behind either.
  std::ostringstream text;
  text << "(define (domain " << domain_name_ << ")\n"
       << pddl_indent(1)
       << "(:requirements :equality :strips :typing :durative-actions :negative-preconditions)\n";
  if (!problem_->user_types().empty()) {
    text << pddl_indent(1) << "(:types";
    for (const auto& [name, type] : problem_->user_types()) text << ' ' << names_(name);
    text << ")\n";
  }
  for (const auto& [name, fluent] : problem_->fluents()) {
    if (fluent->type()->is_boolean() || fluent->type()->is_rational()) continue;
    throw InternalError("The type of a fluent has to be boolean or rational only!");
  }
  text << pddl_indent(1) << "(:predicates\n";
  print_fluents(text, /*boolean=*/true);
  text << pddl_indent(1) << ")\n" << pddl_indent(1) << "(:functions\n";
  print_fluents(text, /*boolean=*/false);
  text << pddl_indent(1) << ")\n";
  for (const auto& [name, action] : problem_->actions()) print_action(text, *action);
  text << ')';
  os << text.str();
}

void PddlWriter::print_fluents(std::ostream& os, bool boolean) const {
  for (const auto& [name, fluent] : problem_->fluents()) {
    if (fluent->type()->is_boolean() != boolean) continue;
    os << pddl_indent(2) << '(' << names_(name);
    for (const model::Parameter& p : fluent->parameters()) {
      os << ' ';
      print_parameter(os, *p);
    }
    os << ")\n";
  }
}

void PddlWriter::print_parameter(std::ostream& os, const model::ParameterImpl& parameter) const {
  const model::Type type = parameter.type();
  if (!type->is_user_defined()) {
    throw InternalError() << "The type of the parameter '" << parameter.name()
                          << "' has to be a user type!";
  }
  os << '?' << parameter.name() << " - " << names_(type->reference_name());
}

// `duration := c` of ANML and `(= ?duration c)` of PDDL.
bool PddlWriter::is_duration(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  return (ef.is_assign(e) || ef.is_equals(e)) && ef.is_duration_anchor(e->child(0)) &&
         ef.is_number(e->child(1));
}

void PddlWriter::print_action(std::ostream& os, const model::ActionImpl& action) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  os << pddl_indent(1) << "(:durative-action " << names_(action.name()) << '\n'
     << pddl_indent(2) << ":parameters (";
  const char* separator = "";
  for (const model::Parameter& p : action.parameters()) {
    os << separator;
    print_parameter(os, *p);
    separator = " ";
  }
  os << ")\n";

  std::vector<Expression> conditions;
  std::vector<Expression> effects;
  for (const Expression e : action.expressions()) {
    if (is_duration(e)) {
      os << pddl_indent(2) << ":duration " << print_(e) << '\n';
    } else if (ef.is_temporal_expression(e)) {
      (ef.is_assign(e->child(1)) ? effects : conditions).push_back(e);
    } else {
      throw forbidden_expression(e);
    }
  }
  const auto print_list = [&](const char* word, const std::vector<Expression>& list) {
    if (list.empty()) return;
    os << pddl_indent(2) << word << " (and\n";
    for (const Expression e : list) os << pddl_indent(3) << print_(e) << '\n';
    os << pddl_indent(2) << ")\n";
  };
  print_list(":condition", conditions);
  print_list(":effect", effects);
  os << pddl_indent(1) << ")\n";
}

void PddlWriter::print_problem(std::ostream& os) const {
  check(problem_->expressions());
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::ostringstream text;
  text << "(define (problem " << problem_name_ << ")\n"
       << pddl_indent(1) << "(:domain pddldomain)\n";
  if (!problem_->instances().empty()) {
    text << pddl_indent(1) << "(:objects\n";
    for (const auto& [name, instance] : problem_->instances()) {
      text << pddl_indent(2) << names_(name) << " - " << names_(instance->type()->name()) << '\n';
    }
    text << pddl_indent(1) << ")\n";
  }
  const std::vector<Expression> goals = print_init(text);
  text << pddl_indent(1) << "(:goal\n" << pddl_indent(2) << "(and\n";
  for (const Expression e : goals) {
    const Expression interval = e->child(0);
    if (!ef.is_point_interval(interval) || !ef.is_end_anchor(interval->child(0))) {
      throw InternalError("Not-end goals are forbidden!");
    }
    text << pddl_indent(3) << print_(e->child(1)) << '\n';
  }
  text << pddl_indent(2) << ")\n" << pddl_indent(1) << ")\n)";
  os << text.str();
}

std::vector<Expression> PddlWriter::print_init(std::ostream& os) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> assignments;
  std::vector<Expression> goals;
  for (const Expression e : problem_->expressions()) {
    if (!ef.is_temporal_expression(e)) throw forbidden_expression(e);
    (ef.is_assign(e->child(1)) ? assignments : goals).push_back(e);
  }
  if (assignments.empty()) return goals;
  os << pddl_indent(1) << "(:init\n";
  for (const Expression e : assignments) {
    const Expression interval = e->child(0);
    const bool is_point = ef.is_point_interval(interval);
    if (!is_point || !(ef.is_start_anchor(interval->child(0)) || ef.is_zero(interval->child(0)))) {
      throw InternalError("Not-start assigns are forbidden!");
    }
    const Expression assignment = e->child(1);
    if (ef.is_false(assignment->child(1))) continue;  // the closed world says so
    os << pddl_indent(2) << print_(assignment) << '\n';
  }
  os << pddl_indent(1) << ")\n";
  return goals;
}

}  // namespace kelvo
