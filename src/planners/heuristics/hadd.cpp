#include "planners/heuristics/hadd.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <utility>

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;
using model::ExpressionSet;

namespace {

bool is_fluent_atom(const ExpressionFactory& ef, Expression e) {
  if (ef.is_fluent_reference(e)) return true;
  return ef.is_functional_apply(e) &&
         ef.is_fluent_reference(ef.get_reference_from_functional_apply(e));
}

bool has_constant_arguments(const ExpressionFactory& ef, Expression application) {
  return std::all_of(
      application->children().begin(), application->children().end(),
      [&](Expression e) { return ef.is_constant(e) || ef.is_instance_reference(e); });
}

void compress(const std::vector<std::vector<std::uint32_t>>& rows,
              std::vector<std::uint32_t>& begin, std::vector<std::uint32_t>& entries) {
  begin.assign(1, 0);
  for (const std::vector<std::uint32_t>& row : rows) {
    entries.insert(entries.end(), row.begin(), row.end());
    begin.push_back(static_cast<std::uint32_t>(entries.size()));
  }
}

}  // namespace

HAdd::HAdd(StateSpace& space, Disjunction goal, std::vector<ClassicalAction> actions)
    : Heuristic(space.environment()),
      space_(space),
      free_vars_(space.environment()),
      compiler_(space),
      machine_(space),
      goal_(std::move(goal)),
      actions_(std::move(actions)) {
  has_goal_ = !goal_.empty();
  compile();
}

HAdd::HAdd(StateSpace& space)
    : Heuristic(space.environment()),
      space_(space),
      free_vars_(space.environment()),
      compiler_(space),
      machine_(space) {
  for (std::vector<std::uint32_t>& numbers : literal_of_bit_) {
    numbers.assign(space_.num_booleans(), NO_LITERAL);
  }
}

// --- compilation ---

std::uint32_t HAdd::find_literal(Expression e) const {
  const auto known = literals_.find(e);
  return known == literals_.end() ? NO_LITERAL : known->second;
}

std::uint32_t HAdd::literal(Expression e) {
  const auto [known, is_new] = literals_.try_emplace(e, num_literals_);
  if (is_new) classify(num_literals_++, e);
  return known->second;
}

std::uint32_t HAdd::literal_of_slot(std::size_t slot, bool positive) {
  std::uint32_t& number = literal_of_bit_[positive ? 1 : 0][space_.place(slot).position];
  if (number == NO_LITERAL) number = num_literals_++;
  return number;
}

void HAdd::classify(std::uint32_t literal, Expression e) {
  const ExpressionFactory& ef = environment().expression_factory();
  const bool positive = !ef.is_not(e);
  const Expression atom = positive ? e : e->child(0);
  const bool is_moving = ef.is_functional_apply(atom) && !has_constant_arguments(ef, atom);
  if (!is_fluent_atom(ef, atom) || is_moving) {
    comparisons_.push_back({literal, compiler_.compile_condition(e)});
    return;
  }
  if (const auto slot = space_.fluent_index().find(atom); slot != space_.fluent_index().end()) {
    const SlotPlace place = space_.place(slot->second);
    if (!place.is_boolean) {
      comparisons_.push_back({literal, compiler_.compile_condition(e)});
      return;
    }
    literal_of_bit_[positive ? 1 : 0][place.position] = literal;
  }
  // Anything else has no slot: a phase marker, or a fluent without value.
}

// Enters the disjuncts and where they are mentioned. A disjunct that is false stays out.
void HAdd::add_disjunction(const Disjunction& dnf, std::uint32_t owner,
                           std::vector<std::vector<std::uint32_t>>& occurrences) {
  const ExpressionFactory& ef = environment().expression_factory();
  for (const ExpressionSet& conjunction : dnf) {
    if (std::any_of(conjunction.begin(), conjunction.end(),
                    [&](Expression e) { return ef.is_false(e); })) {
      continue;
    }
    Literals numbers;
    for (const Expression e : conjunction) {
      if (!ef.is_true(e)) numbers.push_back(literal(e));
    }
    add_disjunct(numbers, owner, occurrences);
  }
}

void HAdd::add_disjunct(const Literals& conjunction, std::uint32_t owner,
                        std::vector<std::vector<std::uint32_t>>& occurrences) {
  const std::uint32_t disjunct = static_cast<std::uint32_t>(assumed_disjuncts_.size());
  Disjunct& made = assumed_disjuncts_.emplace_back();
  made.owner = owner;
  made.missing = static_cast<std::uint32_t>(conjunction.size());
  if (occurrences.size() < num_literals_) occurrences.resize(num_literals_);
  for (const std::uint32_t number : conjunction) occurrences[number].push_back(disjunct);
  if (conjunction.empty()) assumed_ready_.push_back(disjunct);
}

void HAdd::compile() {
  literal_of_bit_[0].assign(space_.num_booleans(), NO_LITERAL);
  literal_of_bit_[1].assign(space_.num_booleans(), NO_LITERAL);
  std::vector<std::vector<std::uint32_t>> occurrences;
  add_disjunction(goal_, GOAL, occurrences);
  for (std::uint32_t a = 0; a < actions_.size(); ++a) {
    // No condition at all is one disjunct without literals.
    add_disjunction(actions_[a].conditions.empty() ? Disjunction(1) : actions_[a].dnf, a,
                    occurrences);
  }
  // Effects: what no condition mentions is left out.
  ExpressionFactory& ef = environment().expression_factory();
  std::vector<std::vector<std::uint32_t>> effects(actions_.size());
  for (std::uint32_t a = 0; a < actions_.size(); ++a) {
    for (const Expression e : actions_[a].effect_literals) {
      const Expression atom = ef.is_not(e) ? e->child(0) : e;
      if (ef.is_functional_apply(atom) && !has_constant_arguments(ef, atom)) {
        add_moving_effect(e, atom, effects[a]);
      } else if (const std::uint32_t number = find_literal(e); number != NO_LITERAL) {
        effects[a].push_back(number);
      }
    }
  }
  finish_layout(occurrences, effects);
}

void HAdd::set_task(const std::vector<Literals>& goal, const std::vector<Operator>& operators) {
  has_goal_ = true;
  std::vector<std::vector<std::uint32_t>> occurrences;
  std::vector<std::vector<std::uint32_t>> effects;
  for (const Literals& conjunction : goal) add_disjunct(conjunction, GOAL, occurrences);
  for (std::uint32_t a = 0; a < operators.size(); ++a) {
    for (const Literals& conjunction : operators[a].condition) {
      add_disjunct(conjunction, a, occurrences);
    }
    effects.push_back(operators[a].effects);
  }
  finish_layout(occurrences, effects);
}

void HAdd::finish_layout(std::vector<std::vector<std::uint32_t>>& occurrences,
                         const std::vector<std::vector<std::uint32_t>>& effects) {
  num_actions_ = effects.size();
  occurrences.resize(num_literals_);
  compress(occurrences, occurrence_begin_, occurrences_);
  compress(effects, effect_begin_, effects_);
  for (std::uint32_t bit = 0; bit < space_.num_booleans(); ++bit) {
    const std::uint32_t positive = literal_of_bit_[1][bit];
    const std::uint32_t negative = literal_of_bit_[0][bit];
    if (positive != NO_LITERAL || negative != NO_LITERAL) {
      bit_literals_.push_back({bit, positive, negative});
    }
  }
  assumed_costs_.assign(num_literals_, UNREACHED);
  supporters_.assign(num_literals_, NO_DISJUNCT);
}

// Where the arguments depend on the state, the effect may reach the literal of any application.
void HAdd::add_moving_effect(Expression effect, Expression atom,
                             std::vector<std::uint32_t>& effects) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(atom);
  for (std::size_t slot = 0; slot < space_.num_slots(); ++slot) {
    const Expression key = space_.key(slot);
    if (!ef.is_functional_apply(key)) continue;
    if (ef.get_reference_from_functional_apply(key) != reference) continue;
    const SlotPlace place = space_.place(slot);
    const bool positive = effect == atom;
    const std::uint32_t literal = place.is_boolean
                                      ? literal_of_bit_[positive ? 1 : 0][place.position]
                                      : find_literal(positive ? key : ef.make_not(key));
    if (literal != NO_LITERAL) effects.push_back(literal);
  }
}

void HAdd::assume(std::uint32_t literal) {
  if (literal == NO_LITERAL) return;
  assumed_costs_[literal] = 0;
  for (std::uint32_t i = occurrence_begin_[literal]; i < occurrence_begin_[literal + 1]; ++i) {
    if (--assumed_disjuncts_[occurrences_[i]].missing == 0) {
      assumed_ready_.push_back(occurrences_[i]);
    }
  }
}

// --- evaluation ---

void HAdd::reach(std::uint32_t literal) {
  if (literal != NO_LITERAL) settle(literal, 0);
}

void HAdd::take_back(std::uint32_t literal) {
  if (literal == NO_LITERAL || costs_[literal] == UNREACHED) return;
  costs_[literal] = UNREACHED;
  for (std::uint32_t i = occurrence_begin_[literal]; i < occurrence_begin_[literal + 1]; ++i) {
    ++disjuncts_[occurrences_[i]].missing;
  }
}

void HAdd::settle(std::uint32_t literal, double cost) {
  costs_[literal] = cost;
  for (std::uint32_t i = occurrence_begin_[literal]; i < occurrence_begin_[literal + 1]; ++i) {
    Disjunct& disjunct = disjuncts_[occurrences_[i]];
    disjunct.sum += cost;
    if (has_times()) {
      double& time = disjunct_times_[occurrences_[i]];
      time = std::max(time, times_[literal]);
    }
    if (--disjunct.missing == 0) ready_.push_back(occurrences_[i]);
  }
}

void HAdd::improve(std::uint32_t literal, double cost, std::uint32_t disjunct) {
  if (!(cost < costs_[literal])) {
    if (!has_times() || cost > costs_[literal] ||
        !is_earlier(disjunct, times_[literal] - lags_[literal]))
      return;
    times_[literal] = disjunct_times_[disjunct] + lags_[literal];
    supporters_[literal] = disjunct;
    return;
  }
  if (has_times()) times_[literal] = disjunct_times_[disjunct] + lags_[literal];
  costs_[literal] = cost;
  supporters_[literal] = disjunct;
  queue_.push(cost, literal);
}

void HAdd::fire(std::uint32_t number) {
  const Disjunct& disjunct = disjuncts_[number];
  if (disjunct.missing != 0) return;  // what was assumed has been taken back
  if (disjunct.owner == GOAL) {
    if (disjunct.sum < goal_cost_ ||
        (disjunct.sum == goal_cost_ && is_earlier(number, goal_time_))) {
      goal_cost_ = disjunct.sum;
      if (has_times()) goal_time_ = disjunct_times_[number];
      goal_disjunct_ = number;
    }
    return;
  }
  const double cost = disjunct.sum + 1;
  double& known = action_costs_[disjunct.owner];
  if (!(cost < known) &&
      !(cost == known && has_times() && is_earlier(number, action_times_[disjunct.owner]))) {
    return;
  }
  known = cost;
  if (has_times()) action_times_[disjunct.owner] = disjunct_times_[number];
  for (std::uint32_t i = effect_begin_[disjunct.owner]; i < effect_begin_[disjunct.owner + 1];
       ++i) {
    improve(effects_[i], cost, number);
  }
  if (!watched_actions_.empty() && watched_actions_[disjunct.owner]) on_reached(number, cost);
}

double HAdd::compute(const State& state, bool record) {
  if (!has_goal_) return 0;
  costs_ = assumed_costs_;
  disjuncts_ = assumed_disjuncts_;
  action_costs_.assign(num_actions_, UNREACHED);
  if (has_times()) {
    times_.assign(num_literals_, 0);
    disjunct_times_.assign(disjuncts_.size(), 0);
    action_times_.assign(num_actions_, 0);
  }
  goal_cost_ = UNREACHED;
  goal_disjunct_ = NO_DISJUNCT;
  ready_.clear();
  queue_.clear();

  reach_initial_literals(state);
  for (const BitLiterals& at : bit_literals_) {
    const bool value = ((state.values.bits[at.bit / 64] >> (at.bit % 64)) & 1) != 0;
    reach(value ? at.positive : at.negative);
  }
  for (std::size_t i = 0; i < comparisons_.size(); ++i) {
    const Comparison& comparison = comparisons_[i];
    if (machine_.holds(comparison.condition, state.values)) {
      settle(comparison.literal, 0);
    } else if (const double cost = unmet_cost(i); cost != UNREACHED) {
      costs_[comparison.literal] = cost;
      supporters_[comparison.literal] = NO_DISJUNCT;
      queue_.push(cost, comparison.literal);
    }
  }
  for (const std::uint32_t disjunct : assumed_ready_) fire(disjunct);
  for (std::size_t i = 0; i < ready_.size(); ++i) fire(ready_[i]);

  // Costs come off the queue in ascending order, so each literal is settled once, at its least.
  while (!queue_.empty()) {
    const auto [cost, literal] = queue_.pop();
    if (!record && cost >= goal_cost_) break;
    if (cost != costs_[literal]) continue;
    ready_.clear();
    settle(literal, cost);
    for (std::size_t i = 0; i < ready_.size(); ++i) fire(ready_[i]);
  }
  if (record) {
    reached_actions_.clear();
    for (std::size_t a = 0; a < actions_.size(); ++a) {
      if (action_costs_[a] != UNREACHED) reached_actions_.insert(actions_[a].action);
    }
  }
  return goal_cost_ == UNREACHED ? DEAD_END : goal_cost_;
}

// --- relevance ---

void HAdd::add_fluents(Expression e, ExpressionSet& fluents) const {
  const ExpressionFactory& ef = environment().expression_factory();
  for (const Expression variable : free_vars_(e)) {
    if (ef.is_functional_apply(variable) && !has_constant_arguments(ef, variable)) {
      fluents.insert(ef.get_reference_from_functional_apply(variable));
    } else {
      fluents.insert(variable);
    }
  }
}

ExpressionSet HAdd::goal_fluents() const {
  const ExpressionFactory& ef = environment().expression_factory();
  ExpressionSet result;
  for (const ExpressionSet& conjunction : goal_) {
    for (const Expression e : conjunction) {
      for (const Expression variable : free_vars_(e)) {
        result.insert(ef.is_functional_apply(variable)
                          ? ef.get_reference_from_functional_apply(variable)
                          : variable);
      }
    }
  }
  return result;
}

std::unordered_set<model::Action> HAdd::relevant_actions() const {
  const ExpressionFactory& ef = environment().expression_factory();
  // Who writes a fluent: by the key, by the applied fluent, and, where the arguments of the key
  // depend on the state, for every application.
  std::unordered_map<Expression, std::vector<std::size_t>> writers;
  std::unordered_map<Expression, std::vector<std::size_t>> moving_writers;
  for (std::size_t a = 0; a < actions_.size(); ++a) {
    for (const auto& [key, effect] : actions_[a].effects) {
      writers[key].push_back(a);
      if (!ef.is_functional_apply(key)) continue;
      const Expression head = ef.get_reference_from_functional_apply(key);
      writers[head].push_back(a);
      if (!has_constant_arguments(ef, key)) moving_writers[head].push_back(a);
    }
  }
  std::unordered_set<Expression> seen;
  std::unordered_set<model::Action> relevant;
  std::deque<Expression> open;
  const auto add_all = [&](const ExpressionSet& fluents) {
    for (const Expression fluent : fluents) {
      if (seen.insert(fluent).second) open.push_back(fluent);
    }
  };
  const auto mark = [&](const std::vector<std::size_t>& numbers) {
    for (const std::size_t a : numbers) {
      if (!relevant.insert(actions_[a].action).second) continue;
      ExpressionSet fluents;
      for (const ExpressionSet& conjunction : actions_[a].dnf) {
        for (const Expression e : conjunction) add_fluents(e, fluents);
      }
      for (const auto& [key, effect] : actions_[a].effects) {
        add_fluents(effect.value(), fluents);
        for (const Expression argument : effect.actual_parameters()) add_fluents(argument, fluents);
      }
      add_all(fluents);
    }
  };
  add_all(goal_fluents());
  while (!open.empty()) {
    const Expression fluent = open.front();
    open.pop_front();
    if (const auto found = writers.find(fluent); found != writers.end()) mark(found->second);
    if (!ef.is_functional_apply(fluent)) continue;
    const auto found = moving_writers.find(ef.get_reference_from_functional_apply(fluent));
    if (found != moving_writers.end()) mark(found->second);
  }
  return relevant;
}

}  // namespace kelvo
