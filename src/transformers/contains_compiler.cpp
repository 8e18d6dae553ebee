#include "transformers/contains_compiler.h"

#include <optional>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;

namespace {

bool is_contains_goal(const model::ExpressionFactory& ef, Expression e) {
  return ef.is_temporal_expression(e) && ef.is_contains(e->child(0));
}

}  // namespace

ContainsCompiler::ContainsCompiler(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void ContainsCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  model::ExpressionFactory& ef = environment().expression_factory();
  number_contains();
  for (std::size_t i = 0; i < contains_.size(); ++i) compile_contains(contains_[i], i);
  for (const Expression e : problem->expressions()) {
    if (!is_contains_goal(ef, e)) take_expression(e);
  }
  parts_.take_fluents(problem);
  parts_.take_constants(problem);
  parts_.take_instances(problem);
  parts_.take_user_types(problem);
  for (const auto& [name, action] : problem->actions()) parts_.add(action);
  for (const auto& [first, second] : problem->labels_orderings()) {
    const auto earlier = goals_.find(first);
    const auto later = goals_.find(second);
    if (earlier == goals_.end() || later == goals_.end()) {
      parts_.add_ordering(first, second);
    } else {
      parts_.add_ordering(earlier->second.goal, later->second.goal);
    }
  }
  output_problem_ = parts_.make(environment());
}

Expression ContainsCompiler::make_fluent(const std::string& name) {
  model::ModelFactory& mf = environment().model_factory();
  const model::Fluent fluent = mf.make_fluent(name, mf.make_boolean_type());
  parts_.add(fluent);
  const Expression reference = environment().expression_factory().make_fluent_reference(fluent);
  new_fluents_.insert(reference);
  return reference;
}

// All fluents first: the helper of a goal may wait for that of a later one.
void ContainsCompiler::number_contains() {
  const model::ExpressionFactory& ef = environment().expression_factory();
  for (const Expression e : input_problem()->expressions()) {
    if (!is_contains_goal(ef, e)) continue;
    const std::string number = std::to_string(contains_.size());
    const Expression active = make_fluent("__contains_active_" + number);
    const Expression goal = make_fluent("__contains_goal_" + number);
    goals_[e] = {active, goal};
    contains_.push_back(e);
    const std::string& label = ef.get_label_from_contains(e->child(0));
    if (!label.empty()) goals_by_label_[label] = goal;
  }
}

void ContainsCompiler::add_statement(Expression time, Expression body) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression interval = ef.make_point_interval(time);
  parts_.expressions.insert(ef.make_temporal_expression(interval, body));
}

void ContainsCompiler::compile_contains(Expression e, std::size_t number) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const auto [active, goal] = goals_.at(e);
  Expression interval = e->child(0);
  while (ef.is_contains(interval)) {
    if (interval->arity() > 1) {
      LOG(LogLevel::WARN) << "The duration of a contains goal is dropped: "
                          << model::print_expression(e);
    }
    interval = interval->child(0);
  }
  const Expression low = interval->child(0);
  const Expression high = interval->child(interval->arity() - 1);
  const Expression start = ef.make_start_anchor();
  const Expression yes = ef.make_true();
  const Expression no = ef.make_false();
  add_statement(low, ef.make_assign(active, yes));
  add_statement(high, ef.make_assign(active, no));
  if (low != start && !ef.is_zero(low)) add_statement(start, ef.make_assign(active, no));
  add_statement(start, ef.make_assign(goal, no));
  add_statement(ef.make_end_anchor(), goal);

  std::vector<Expression> conditions{active, ef.make_not(goal), e->child(1)};
  for (const auto& [first, second] : input_problem()->labels_orderings()) {
    if (second != e) continue;
    const auto earlier = goals_.find(first);
    if (earlier != goals_.end()) conditions.push_back(earlier->second.goal);
  }
  const Expression at_start = ef.make_point_interval(start);
  const Expression condition = ef.make_and(conditions);
  const Expression effect = ef.make_assign(goal, yes);
  model::ExpressionSet expressions;
  expressions.insert(ef.make_temporal_expression(at_start, condition));
  expressions.insert(ef.make_temporal_expression(at_start, effect));
  const Expression duration = ef.make_duration_anchor();
  expressions.insert(ef.make_assign(duration, ef.make_integer_constant(1)));
  const model::Action helper = environment().model_factory().make_action(
      "__contains_action_" + std::to_string(number), {}, {}, expressions);
  parts_.add(helper);
  new_actions_.insert(helper);
}

Expression ContainsCompiler::goal_of_label(Expression label) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const std::string& name = ef.get_name_from_label_reference(label);
  const auto found = goals_by_label_.find(name);
  if (found == goals_by_label_.end()) throw InternalError() << "Unknown label: " << name;
  return found->second;
}

// A condition that begins or ends at a labelled goal is asked for all the time, but for the time
// in which the goal's fluent says that it is not due.
void ContainsCompiler::take_expression(Expression e) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const bool has_two_bounds = ef.is_temporal_expression(e) && e->child(0)->arity() == 2;
  if (!has_two_bounds) {
    parts_.expressions.insert(e);
    return;
  }
  Expression low = e->child(0)->child(0);
  Expression high = e->child(0)->child(1);
  std::vector<Expression> disjuncts;
  if (ef.is_label_reference(low)) {
    disjuncts.push_back(ef.make_not(goal_of_label(low)));
    low = ef.make_start_anchor();
  }
  if (ef.is_label_reference(high)) {
    disjuncts.push_back(goal_of_label(high));
    high = ef.make_end_anchor();
  }
  if (disjuncts.empty()) {
    parts_.expressions.insert(e);
    return;
  }
  disjuncts.push_back(e->child(1));
  const Expression interval = ef.make_closed_interval(low, high);
  const Expression body = ef.make_or(disjuncts);
  parts_.expressions.insert(ef.make_temporal_expression(interval, body));
}

std::string ContainsCompiler::kept_plans() const {
  return contains_.empty() ? "" : "that the contains compiler keeps";
}

std::shared_ptr<Plan> ContainsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](MappedStep step) -> std::optional<MappedStep> {
    if (new_actions_.contains(step.action)) return std::nullopt;
    step.post_condition = map_post_condition(
        environment(), step.post_condition, [this](Expression conjunct) -> Expression {
          const bool is_new = conjunct->arity() > 0 && new_fluents_.contains(conjunct->child(0));
          return is_new ? nullptr : conjunct;
        });
    return step;
  });
}

}  // namespace kelvo
