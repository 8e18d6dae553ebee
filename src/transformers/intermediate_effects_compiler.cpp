#include "transformers/intermediate_effects_compiler.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "model/action.h"
#include "model/domains.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/types.h"
#include "plans/pot_plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/duration_bounds.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;
using model::print_expression;

namespace {

// The right side of `duration := d` or `duration == d`, also under a time; null for any other.
Expression fixed_duration(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_temporal_expression(e)) e = e->child(1);
  const bool fixes = (ef.is_assign(e) || ef.is_equals(e)) && ef.is_duration_anchor(e->child(0));
  return fixes ? e->child(1) : nullptr;
}

// The simplified duration of an action; null when no statement fixes it.
Expression action_duration(Environment& env, const model::Action& action) {
  for (const Expression e : action->expressions()) {
    const Expression duration = fixed_duration(env.expression_factory(), e);
    if (duration != nullptr) return model::ExpressionSimplifier(env)(duration);
  }
  return nullptr;
}

// The comparison with another right side.
Expression with_right_side(model::ExpressionFactory& ef, Expression comparison, Expression right) {
  const Expression left = comparison->child(0);
  switch (model::kind_of(comparison)) {
    case model::ExpressionOperatorKind::LE:
      return ef.make_le(left, right);
    case model::ExpressionOperatorKind::LT:
      return ef.make_lt(left, right);
    case model::ExpressionOperatorKind::GE:
      return ef.make_ge(left, right);
    case model::ExpressionOperatorKind::GT:
      return ef.make_gt(left, right);
    case model::ExpressionOperatorKind::EQUALS:
      return ef.make_equals(left, right);
    default:
      return ef.make_assign(left, right);
  }
}

bool is_anchor(const model::ExpressionFactory& ef, Expression e) {
  return ef.is_start_anchor(e) || ef.is_end_anchor(e);
}

Expression timed_interval(model::ExpressionFactory& ef, Expression left, Expression right,
                          bool left_closed, bool right_closed) {
  if (left == right && left_closed && right_closed) return ef.make_point_interval(left);
  if (left_closed && right_closed) return ef.make_closed_interval(left, right);
  if (left_closed) return ef.make_right_open_interval(left, right);
  if (right_closed) return ef.make_left_open_interval(left, right);
  return ef.make_open_interval(left, right);
}

}  // namespace

/// The statements of an action, and its inner time points with the statements that name them.
///
/// Where a statement lies after the end of an action of constant duration, the chain of pieces must
/// go on until then: `end` is then the time of the last statement, and the end of the action one of
/// the inner points.
class IntermediateEffectsCompiler::TimePoints {
 public:
  TimePoints(Environment& env, const model::Action& action) : env_(env) {
    model::ExpressionFactory& ef = env.expression_factory();
    times_[ef.make_start_anchor()] = ef.make_rational_constant(0);
    expressions_ = action->expressions();
    for (const Expression e : expressions_) {
      const Expression duration = fixed_duration(ef, e);
      if (duration == nullptr) continue;
      if (!times_.try_emplace(ef.make_end_anchor(), duration).second) {
        throw InternalError("Found two different duration assignments for the same action!");
      }
    }
    read_statements(action->name());
    const std::optional<rational> end = value(ef.make_end_anchor());
    if (end && !statements_.empty() && statements_.rbegin()->first > *end) move_end(action->name());
  }

  const model::ExpressionSet& expressions() const { return expressions_; }
  const std::map<rational, model::ExpressionSet>& statements() const { return statements_; }

  /// The time of `bound` after the start of the action, if it is a constant.
  std::optional<rational> value(Expression bound) const {
    const model::ExpressionFactory& ef = env_.expression_factory();
    const Expression time = ExpressionSubstituter(env_, times_)(bound);
    const Expression simple = model::ExpressionSimplifier(env_)(time);
    if (!ef.is_number(simple)) return std::nullopt;
    return ef.get_number(simple);
  }

 private:
  void read_statements(const std::string& action) {
    const model::ExpressionFactory& ef = env_.expression_factory();
    for (const Expression e : expressions_) {
      if (!ef.is_temporal_expression(e)) continue;
      const TimedStatement statement = decompose_statement(e);
      if (fixed_duration(ef, e) == nullptr) read(action, e, statement);
    }
  }

  void read(const std::string& action, Expression e, const TimedStatement& statement) {
    const model::ExpressionFactory& ef = env_.expression_factory();
    const bool is_effect = ef.is_assign(statement.body);
    for (const Expression bound : {statement.left, statement.right}) {
      if (is_anchor(ef, bound)) continue;
      const std::optional<rational> time = value(bound);
      if (!time && is_effect) {
        throw InternalError(
            "The value of the point interval of an intermediate effect must be a constant!");
      }
      if (!time) {
        throw InternalError(
            "The value of the bounds interval of an intermediate condition must be a constant!");
      }
      if (*time < 0) {
        throw InternalError() << "A statement before the start of action '" << action
                              << "' cannot be given to a piece of it: " << print_expression(e);
      }
      statements_[*time].insert(e);
    }
  }

  // Writes all statements with the time of the last one as their end.
  void move_end(const std::string& action) {
    model::ExpressionFactory& ef = env_.expression_factory();
    const rational last = statements_.rbegin()->first;
    const auto moved = [&](Expression bound) -> Expression {
      if (ef.is_start_anchor(bound)) return bound;
      const rational time = *value(bound);
      if (time == 0) return ef.make_start_anchor();
      if (time == last) return ef.make_end_anchor();
      const Expression offset = ef.make_rational_constant(time);
      return ef.make_plus(ef.make_start_anchor(), offset);
    };
    model::ExpressionSet expressions;
    const Expression length = ef.make_rational_constant(last);
    for (const Expression e : expressions_) {
      if (fixed_duration(ef, e) != nullptr) {
        expressions.insert(ef.make_assign(ef.make_duration_anchor(), length));
      } else if (!ef.is_temporal_expression(e)) {
        expressions.insert(e);
      } else {
        const TimedStatement statement = decompose_statement(e);
        const Expression left = moved(statement.left);
        const Expression right = moved(statement.right);
        const Expression interval =
            timed_interval(ef, left, right, statement.left_closed, statement.right_closed);
        expressions.insert(ef.make_temporal_expression(interval, statement.body));
      }
    }
    expressions_ = std::move(expressions);
    times_[ef.make_end_anchor()] = length;
    statements_.clear();
    read_statements(action);
  }

  Environment& env_;
  model::ExpressionSet expressions_;
  Substitution times_;
  std::map<rational, model::ExpressionSet> statements_;
};

/// An action under construction that stands for a part of an action of the input.
struct IntermediateEffectsCompiler::Piece {
  std::string name;
  model::Parameters parameters;
  /// From the references of the old parameters to the new ones.
  Substitution substitution;
  model::ExpressionSet expressions;
};

/// The references of the fluents that tie two neighbouring pieces and their clip together.
struct IntermediateEffectsCompiler::Ties {
  Expression ended;
  Expression clipped;
  Expression started;
};

IntermediateEffectsCompiler::IntermediateEffectsCompiler(
    const model::ProblemInstance& input_problem, const rational& epsilon)
    : BasicTransformer(input_problem), epsilon_(epsilon) {}

IntermediateEffectsCompiler::~IntermediateEffectsCompiler() = default;

void IntermediateEffectsCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  require_flat(
      problem,
      "The compile away intermediate effects phase can be only applied to flattened models!");
  LOG(LogLevel::DEBUG) << "Intermediate effects compiler started!";
  for (const auto& [name, object] : problem->fluents()) names_.insert(name);
  for (const auto& [name, object] : problem->actions()) names_.insert(name);
  for (const auto& [name, object] : problem->constants()) names_.insert(name);
  for (const auto& [name, object] : problem->instances()) names_.insert(name);
  for (const auto& [name, object] : problem->user_types()) names_.insert(name);
  LOG(LogLevel::DEBUG) << "--> Re-introduce the top-level types, instances, fluents and constants";
  parts_.take_fluents(problem);
  parts_.take_constants(problem);
  parts_.take_instances(problem);
  parts_.take_user_types(problem);
  LOG(LogLevel::DEBUG) << "--> Re-introduce the actions compiling away the intermediate effects";
  for (const auto& [name, action] : problem->actions()) {
    const TimePoints points(environment(), action);
    if (points.statements().empty()) {
      copy_action(action, points);
    } else {
      cut_action(action, points);
    }
  }
  LOG(LogLevel::DEBUG) << "--> Re-introduce all the expressions";
  parts_.take_expressions(problem);
  parts_.take_orderings(problem);
  output_problem_ = parts_.make(environment());
  LOG(LogLevel::DEBUG) << "Intermediate effects compiling completed!";
}

std::string IntermediateEffectsCompiler::fresh_name(const std::string& candidate, int& index) {
  std::string name = candidate;
  if (names_.insert(name).second) return name;
  name = candidate + std::to_string(index);
  while (!names_.insert(name).second) name = candidate + std::to_string(++index);
  return name;
}

IntermediateEffectsCompiler::Piece IntermediateEffectsCompiler::start_piece(
    const model::Action& action, const std::string& suffix) {
  Piece piece;
  piece.name =
      suffix.empty() ? action->name() : fresh_name(action->name() + "_" + suffix, av_index_);
  piece.parameters = copy_parameters(environment(), action->parameters(), piece.substitution);
  return piece;
}

model::Action IntermediateEffectsCompiler::finish_piece(const Piece& piece) {
  const model::Action made = environment().model_factory().make_action(
      piece.name, {}, piece.parameters, piece.expressions);
  parts_.add(made);
  return made;
}

void IntermediateEffectsCompiler::copy_action(const model::Action& action,
                                              const TimePoints& points) {
  Piece piece = start_piece(action, "");
  const ExpressionSubstituter substitute(environment(), piece.substitution);
  for (const Expression e : points.expressions()) piece.expressions.insert(substitute(e));
  actions_[finish_piece(piece)] = action;
}

// A tie is written over the parameters of the old action, for each piece to put in its own.
Expression IntermediateEffectsCompiler::make_tie(const std::string& candidate,
                                                 const model::Action& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  Substitution unused;
  const model::Parameters parameters = copy_parameters(environment(), action->parameters(), unused);
  const model::Fluent fluent =
      mf.make_fluent(fresh_name(candidate, fv_index_), mf.make_boolean_type(), {}, parameters);
  parts_.add(fluent);
  const Expression reference = ef.make_fluent_reference(fluent);
  new_fluents_.insert(reference);
  const Expression at_start = ef.make_point_interval(ef.make_start_anchor());
  const auto initialise = [&](Expression ground_fluent) {
    const Expression assignment = ef.make_assign(ground_fluent, ef.make_false());
    parts_.expressions.insert(ef.make_temporal_expression(at_start, assignment));
  };
  if (parameters.empty()) {
    initialise(reference);
    return reference;
  }
  const bool is_finite = std::ranges::all_of(
      parameters, [](const model::Parameter& p) { return p->type()->is_finite_domain(); });
  if (is_finite) {
    const model::Domains domains(*input_problem());
    const model::DomainProduct combinations(domains, parameters);
    for (std::size_t i = 0; i < combinations.size(); ++i) {
      initialise(ef.make_functional_apply(reference, combinations.combination(i)));
    }
  }
  std::vector<Expression> arguments;
  for (const model::Parameter& p : action->parameters()) {
    arguments.push_back(ef.make_parameter_reference(p));
  }
  return ef.make_functional_apply(reference, arguments);
}

IntermediateEffectsCompiler::Ties IntermediateEffectsCompiler::make_ties(
    const model::Action& action) {
  Ties ties{};
  ties.ended = make_tie("f_s", action);
  ties.clipped = make_tie("f_c", action);
  ties.started = make_tie("f_e", action);
  return ties;
}

void IntermediateEffectsCompiler::add_point(Piece& piece, Expression time, Expression body) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression interval = ef.make_point_interval(time);
  const Expression statement = ef.make_temporal_expression(interval, body);
  piece.expressions.insert(ExpressionSubstituter(environment(), piece.substitution)(statement));
}

void IntermediateEffectsCompiler::make_clip(const model::Action& action, const Ties& ties) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression start = ef.make_start_anchor();
  const Expression end = ef.make_end_anchor();
  const Expression no = ef.make_false();
  Piece clip = start_piece(action, "c");
  const Expression length = ef.make_rational_constant(2 * epsilon_);
  clip.expressions.insert(ef.make_assign(ef.make_duration_anchor(), length));
  add_point(clip, start, ef.make_assign(ties.clipped, ef.make_true()));
  add_point(clip, end, ef.make_assign(ties.ended, no));
  add_point(clip, end, ef.make_assign(ties.clipped, no));
  add_point(clip, end, ef.make_assign(ties.started, no));
  // Nothing else may close the clip.
  const Expression inside = ef.make_open_interval(start, end);
  const Expression stays = ef.make_temporal_expression(inside, ties.clipped);
  clip.expressions.insert(ExpressionSubstituter(environment(), clip.substitution)(stays));
  // Both neighbours have met inside.
  add_point(clip, end, ef.make_and(ties.ended, ties.started));
  piece_actions_[finish_piece(clip)] = action;
}

namespace {

/// The statements of an action that is cut, handed to the pieces in one pass after the other.
struct TimeRange {
  rational low;
  /// Empty for the end of the action.
  std::optional<rational> high;
};

// The interval under which a condition over `condition` holds in a piece over `piece`; null when
// it does not concern the piece.
Expression interval_in_piece(model::ExpressionFactory& ef, const TimeRange& condition,
                             const TimeRange& piece, bool left_closed, bool right_closed) {
  const Expression start = ef.make_start_anchor();
  const Expression end = ef.make_end_anchor();
  const bool ends_together = condition.high == piece.high;
  const bool ends_behind = piece.high && (!condition.high || *condition.high > *piece.high);
  if (condition.low > piece.low || (!ends_together && !ends_behind)) return nullptr;
  const bool closed_left = condition.low < piece.low || left_closed;
  const bool closed_right = ends_behind || right_closed;
  return timed_interval(ef, start, end, closed_left, closed_right);
}

}  // namespace

// What a constraint on the duration of an action leaves to the piece that begins `passed` after its
// start. The bounds may depend on arguments and on the state.
Expression IntermediateEffectsCompiler::rest_of_duration(const model::Action& action,
                                                         Expression constraint,
                                                         const rational& passed) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const model::ExpressionSimplifier simplify(environment());
  if (ef.is_temporal_expression(constraint)) constraint = constraint->child(1);
  std::vector<Expression> rest;
  for (const Expression conjunct : duration_conjuncts(constraint)) {
    if (!is_duration_comparison(conjunct) || mentions_duration(environment(), conjunct->child(1))) {
      throw InternalError() << "The duration of the action '" << action->name()
                            << "' cannot be divided among its pieces: "
                            << print_expression(conjunct);
    }
    const Expression difference =
        ef.make_minus(conjunct->child(1), ef.make_rational_constant(passed));
    const Expression bound = simplify(difference);
    rest.push_back(with_right_side(ef, conjunct, bound));
  }
  return rest.size() == 1 ? rest.front() : ef.make_and(rest);
}

// Shorter executions would have a statement after their end, at a time that depends on the
// duration: they have no chain of pieces.
void IntermediateEffectsCompiler::warn_of_short_durations(const model::Action& action,
                                                          const TimePoints& points) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const rational& last = points.statements().rbegin()->first;
  DurationBounds bounds;
  for (const Expression e : points.expressions()) {
    if (fixed_duration(ef, e) != nullptr) return;
    if (!mentions_untimed_duration(e)) continue;
    for (const Expression conjunct : duration_conjuncts(e)) {
      if (is_duration_comparison(conjunct)) bounds.fold(environment(), conjunct);
    }
  }
  if (bounds.lower >= last) return;
  LOG(LogLevel::WARN) << "Executions of action '" << action->name() << "' that are shorter than "
                      << last << " are left out: it has a statement at that time after its start";
}

// Pass k makes piece k, from the previous time point to t, and begins piece k + 1.
void IntermediateEffectsCompiler::cut_action(const model::Action& action,
                                             const TimePoints& points) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression start = ef.make_start_anchor();
  const Expression end = ef.make_end_anchor();
  for (const Expression e : points.expressions()) {
    if (!ef.is_temporal_expression(e) || !decompose_statement(e).is_contains) continue;
    throw InternalError() << "The action '" << action->name() << "' has intermediate statements "
                          << "and a `contains`, which must be compiled away first: "
                          << print_expression(e);
  }

  warn_of_short_durations(action, points);
  Piece piece = start_piece(action, "s");
  rational previous = 0;
  std::size_t pass = 0;
  for (const auto& [time, statements] : points.statements()) {
    const bool is_first = pass == 0;
    const bool is_last = ++pass == points.statements().size();
    // The clip's name comes before that of the next piece.
    const Ties ties = make_ties(action);
    make_clip(action, ties);
    Piece next = start_piece(action, "e");
    add_point(piece, end, ef.make_assign(ties.ended, ef.make_true()));
    add_point(piece, end, ties.clipped);
    add_point(next, start, ef.make_assign(ties.started, ef.make_true()));
    add_point(next, start, ties.clipped);

    const auto add = [this](Piece& to, Expression statement) {
      to.expressions.insert(ExpressionSubstituter(environment(), to.substitution)(statement));
    };
    const auto add_over = [&](Piece& to, Expression interval, Expression body) {
      if (interval != nullptr) add(to, ef.make_temporal_expression(interval, body));
    };
    const Expression own_length = ef.make_rational_constant(time - previous);
    piece.expressions.insert(ef.make_assign(ef.make_duration_anchor(), own_length));
    for (const Expression e : points.expressions()) {
      if (fixed_duration(ef, e) != nullptr || mentions_untimed_duration(e)) {
        if (is_last) add(next, rest_of_duration(action, e, time));
        continue;
      }
      if (!ef.is_temporal_expression(e)) {
        if (is_first) add(piece, e);
        continue;
      }
      const TimedStatement statement = decompose_statement(e);
      const bool is_point = statement.is_point();
      if (is_point && statement.left == start) {
        if (is_first) add(piece, e);
      } else if (is_point && statement.left == end) {
        if (is_last) add(next, e);
      } else if (is_point) {
        if (!statements.contains(e)) continue;
        if (!ef.is_assign(statement.body)) add_point(piece, end, statement.body);
        add_point(next, start, statement.body);
      } else if (statement.left == start && statement.right == end) {
        add(piece, e);
        if (is_last) add(next, e);
      } else {
        TimeRange range{0, std::nullopt};
        if (statement.left != start) range.low = points.value(statement.left).value_or(0);
        if (statement.right != end) range.high = points.value(statement.right);
        const bool left_closed = statement.left_closed;
        const bool right_closed = statement.right_closed;
        if (range.high) {
          add_over(piece, interval_in_piece(ef, range, {previous, time}, left_closed, right_closed),
                   statement.body);
          continue;
        }
        const auto following = points.statements().upper_bound(time);
        TimeRange next_range{time, std::nullopt};
        if (following != points.statements().end()) next_range.high = following->first;
        add_over(next, interval_in_piece(ef, range, next_range, left_closed, right_closed),
                 statement.body);
      }
    }
    const model::Action made = finish_piece(piece);
    (is_first ? actions_ : piece_actions_)[made] = action;
    piece = std::move(next);
    previous = time;
  }
  const model::Action last = finish_piece(piece);
  piece_actions_[last] = action;
  last_pieces_[action] = {last, previous};
}

bool IntermediateEffectsCompiler::mentions_untimed_duration(Expression e) const {
  return !environment().expression_factory().is_temporal_expression(e) &&
         mentions_duration(environment(), e);
}

std::string IntermediateEffectsCompiler::kept_plans() const {
  if (last_pieces_.empty()) return {};
  return "that the intermediate effects compiler keeps";
}

Expression IntermediateEffectsCompiler::without_new_fluents(Expression post_condition) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  return map_post_condition(environment(), post_condition, [&](Expression conjunct) -> Expression {
    if (conjunct->arity() == 0) return conjunct;
    Expression left = conjunct->child(0);
    if (ef.is_functional_apply(left)) left = ef.get_reference_from_functional_apply(left);
    return new_fluents_.contains(left) ? nullptr : conjunct;
  });
}

std::shared_ptr<Plan> IntermediateEffectsCompiler::map_back(
    const std::shared_ptr<Plan>& plan) const {
  if (const auto* partial_order = dynamic_cast<const POTPlan*>(plan.get())) {
    return map_partial_order_back(*partial_order);
  }
  if (const auto* time_triggered = dynamic_cast<const TimeTriggeredPlan*>(plan.get())) {
    return map_time_triggered_back(*time_triggered);
  }
  throw InternalError("Unknown plan kind to be converted by intermediate effects compiler");
}

namespace {

/// A ground action.
using Execution = std::pair<model::Action, std::vector<Expression>>;

}  // namespace

// Executions of one ground action follow each other, for they share their ties: the n-th first
// piece and the n-th last piece belong together.
std::shared_ptr<TimeTriggeredPlan> IntermediateEffectsCompiler::map_time_triggered_back(
    const TimeTriggeredPlan& plan) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  std::unordered_map<Execution, std::vector<rational>> durations;
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) {
      durations[{step->action(), step->actual_parameters()}].push_back(step->duration());
    }
  }
  auto mapped = std::make_shared<TimeTriggeredPlan>(plan.environment());
  std::unordered_map<Execution, std::size_t> counts;
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) {
      const auto found = actions_.find(step->action());
      if (found == actions_.end()) continue;
      const model::Action& old_action = found->second;
      const std::size_t number = counts[{old_action, step->actual_parameters()}]++;
      rational duration = step->duration();
      const Expression fixed = action_duration(environment(), old_action);
      const auto last = last_pieces_.find(old_action);
      if (fixed != nullptr && ef.is_number(fixed)) {
        duration = ef.get_number(fixed);
      } else if (last != last_pieces_.end()) {
        // Pieces may miss each other by the length of a clip, which is no part of the duration.
        const auto& [piece, begin] = last->second;
        const auto& rests = durations[{piece, step->actual_parameters()}];
        if (number < rests.size()) duration = begin + rests[number];
      }
      mapped->add_step(std::make_shared<TimeTriggeredStep>(
          time, old_action, step->actual_parameters(), duration,
          without_new_fluents(step->post_condition()), step->object()));
    }
  }
  return mapped;
}

namespace {

// The steps in an order in which each stands after its predecessors, as far as there is one.
std::vector<POTPlan::Step> topological_order(const POTPlan& plan) {
  std::vector<POTPlan::Step> order;
  std::map<POTPlan::Step, std::size_t, POTPlan::StepLess> missing;
  std::map<POTPlan::Step, std::vector<POTPlan::Step>, POTPlan::StepLess> successors;
  POTPlan::StepSet ready;
  for (const POTPlan::Step& step : plan.steps()) {
    const auto& predecessors = plan.precedences(step);
    missing[step] = predecessors.size();
    if (predecessors.empty()) ready.insert(step);
    for (const POTPlan::Step& predecessor : predecessors) successors[predecessor].push_back(step);
  }
  while (!ready.empty()) {
    const POTPlan::Step step = *ready.begin();
    ready.erase(ready.begin());
    order.push_back(step);
    for (const POTPlan::Step& successor : successors[step]) {
      if (--missing[successor] == 0) ready.insert(successor);
    }
  }
  for (const POTPlan::Step& step : plan.steps()) {
    if (missing[step] > 0) order.push_back(step);
  }
  return order;
}

}  // namespace

std::shared_ptr<POTPlan> IntermediateEffectsCompiler::map_partial_order_back(
    const POTPlan& plan) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  auto mapped = std::make_shared<POTPlan>(plan.environment());
  // The n-th occurrence of a piece belongs to the n-th first piece, as above.
  const std::vector<POTPlan::Step> order = topological_order(plan);
  std::unordered_map<Execution, std::vector<POTPlan::Step>> occurrences;
  for (const POTPlan::Step& step : order) {
    occurrences[{step->action(), step->actual_parameters()}].push_back(step);
  }
  const auto duration_of = [&](const POTPlan::Step& step,
                               const model::Action& action) -> std::optional<rational> {
    if (const Expression fixed = action_duration(environment(), action); fixed != nullptr) {
      if (ef.is_number(fixed)) return ef.get_number(fixed);
      throw InternalError() << "Found a duration assignment forbidden: " << print_expression(fixed);
    }
    const auto last = last_pieces_.find(action);
    if (last == last_pieces_.end()) return step->optional_duration();
    const auto& [piece, begin] = last->second;
    const auto& firsts = occurrences[{step->action(), step->actual_parameters()}];
    const auto& lasts = occurrences[{piece, step->actual_parameters()}];
    const auto number = static_cast<std::size_t>(std::ranges::find(firsts, step) - firsts.begin());
    if (number >= lasts.size() || !lasts[number]->has_duration()) return std::nullopt;
    return rational(begin + lasts[number]->duration());
  };
  std::map<POTPlan::Step, POTPlan::Step, POTPlan::StepLess> representatives;
  for (const POTPlan::Step& step : plan.steps()) {
    const auto found = actions_.find(step->action());
    if (found == actions_.end()) continue;
    const std::optional<rational> duration = duration_of(step, found->second);
    representatives[step] =
        mapped->add_step(step->delay(), found->second, step->actual_parameters(), duration,
                         without_new_fluents(step->post_condition()), step->object());
  }
  std::unordered_map<Execution, std::vector<POTPlan::Step>> executions;
  for (const POTPlan::Step& step : order) {
    const auto found = actions_.find(step->action());
    if (found == actions_.end()) continue;
    executions[{found->second, step->actual_parameters()}].push_back(representatives.at(step));
  }
  std::unordered_map<Execution, std::size_t> counts;
  for (const POTPlan::Step& step : order) {
    const auto found = piece_actions_.find(step->action());
    if (found == piece_actions_.end()) continue;
    const std::size_t number = counts[{step->action(), step->actual_parameters()}]++;
    const auto& made = executions[{found->second, step->actual_parameters()}];
    if (!made.empty()) representatives[step] = made[std::min(number, made.size() - 1)];
  }
  for (const POTPlan::Step& step : plan.steps()) {
    if (!actions_.contains(step->action()) && !piece_actions_.contains(step->action())) {
      throw InternalError("Found an action that is unknown to the intermediate effects compiler!");
    }
    const auto own = representatives.find(step);
    if (own == representatives.end()) continue;
    for (const POTPlan::Step& predecessor : plan.precedences(step)) {
      const auto other = representatives.find(predecessor);
      if (other != representatives.end() && other->second != own->second) {
        mapped->add_precedence(own->second, other->second);
      }
    }
  }
  return mapped;
}

}  // namespace kelvo
