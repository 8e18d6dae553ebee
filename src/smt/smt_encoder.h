#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "model/domains.h"
#include "model/expression.h"
#include "model/model_fwd.h"
#include "model/timed_effect.h"
#include "shell/env_object.h"
#include "shell/numbers.h"
#include "smt/quotients.h"
#include "smt/smt_factory.h"
#include "smt/statement_times.h"

namespace kelvo::smt {

class Definedness;
class MovingTargets;

/// Where a subexpression is read: the action whose parameters, duration and anchors it means (null
/// for the problem's own), and three steps.
struct EncodingContext {
  const model::ActionImpl* action = nullptr;
  /// The step whose fluents a reference reads.
  std::uint32_t state_step = 0;
  /// The step at which the action starts.
  std::uint32_t action_step = 0;
  /// The step at which arguments of fluents and constants are read.
  std::uint32_t index_step = 0;
};

/// Writes a temporal problem down as formulas over `h` steps.
///
/// Step k lies at time t_k (t_0 is 0, the others are real variables in strict order); its fluent
/// variables hold the values just after the effects at t_k, which are visible until t_(k+1)
/// included. An action starts at most once at a step, never at step 0. The frame axioms explain
/// every change of a fluent by exactly one effect.
///
/// Variables and the formulas of expressions that do not mention the horizon are shared by all
/// horizons: a larger horizon costs what is new in it.
class SmtEncoder : public EnvObject {
 public:
  /// The problem must be flat, without sets and without uncertain durations. With a separation no
  /// step touches, within it, what another one moves. Throws what `get_effect` throws.
  SmtEncoder(Environment& env, const model::ProblemInstance& problem,
             const std::optional<rational>& separation = std::nullopt);
  ~SmtEncoder() override;

  SmtFactory& factory() { return factory_; }
  const model::ProblemInstance& problem() const { return problem_; }

  /// Asserts the whole encoding of `h` steps, at least 1.
  void encode(std::size_t h, SmtSolver& solver);
  /// The number of formulas that the last `encode` asserted.
  std::size_t num_assertions() const { return num_assertions_; }

  /// The horizon that is being encoded.
  std::uint32_t horizon() const { return horizon_; }
  const model::Domains& domains() const { return domains_; }

  Definedness& definedness() { return *definedness_; }
  Quotients& quotients() { return quotients_; }

  Formula time_variable(std::uint32_t k);
  /// The end of the plan: the time of the last step where that may be any after the last change,
  /// else a variable.
  Formula end_time();
  /// A time as a formula; a plain number counts from the start of the context's action.
  Formula time_point(const EncodingContext& context, model::Expression time);
  /// Whether an effect at `time` is one of the initial state, and only there.
  bool lands_at_first_step(const model::ActionImpl* action, model::Expression time);
  /// That a ground fluent has a value after step k. `Definedness` says when.
  Formula is_set_variable(model::Expression fluent, std::uint32_t k);
  /// The fixed duration of an action, or null.
  const rational* fixed_duration(const model::ActionImpl& action);

  /// Whether an ordering asks for the moment that a labelled containment chooses.
  bool is_chosen(model::Expression labelled) const { return chosen_.contains(labelled); }
  Formula chosen_time(model::Expression labelled);
  Formula action_variable(const model::ActionImpl& action, std::uint32_t k);
  /// A constant when the action fixes its duration, else a variable that is not negative.
  Formula duration_term(const model::ActionImpl& action, std::uint32_t k);
  Formula parameter_variable(const model::ParameterImpl& parameter, const model::ActionImpl& action,
                             std::uint32_t k);
  /// `fluent` is a fluent reference or an application of one to constants.
  Formula fluent_variable(model::Expression fluent, std::uint32_t k);
  /// All combinations of argument values of a fluent. Throws `InternalError` when a parameter has
  /// an infinite domain.
  model::DomainProduct tuples_of(const model::FluentImpl& fluent) const;
  /// The formulas of constants and instances.
  std::vector<Formula> formulas_of(const std::vector<model::Expression>& values);
  /// The number that stands for an instance. Throws `InternalError` for an unknown one.
  Formula instance_number(const model::InstanceImpl& instance) const;
  /// The instance that a number stands for, null for none.
  model::Instance instance_of_number(Formula number) const;

  /// The formula of `e` read at `context`.
  Formula to_formula(const EncodingContext& context, model::Expression e);

  /// What is needed to say that `left` and `right` are equal, position by position.
  struct Equalities {
    bool contradictory = false;  // two different constants meet
    std::vector<Formula> needed;
  };
  Equalities equalities(const std::vector<Formula>& left, const std::vector<Formula>& right);
  void assert_formula(SmtSolver& solver, Formula f);
  /// The conjunction; a list of one element is that element.
  Formula conjunction(const std::vector<Formula>& list);
  Formula disjunction(const std::vector<Formula>& list);

 private:
  friend class ToSmtWalker;

  /// What the value of an expression depends on, as bits.
  enum Dependency : unsigned { STATE = 1, INDEX = 2, ACTION = 4, HORIZON = 8 };
  class DependencyWalker;

  struct MemoKey {
    const model::ActionImpl* action;
    model::Expression e;
    std::uint32_t state_step;
    std::uint32_t action_step;
    std::uint32_t index_step;
    bool operator==(const MemoKey&) const = default;
  };
  struct MemoKeyHash {
    std::size_t operator()(const MemoKey& key) const;
  };
  using Memo = std::unordered_map<MemoKey, Formula, MemoKeyHash>;

  struct VariableKey {
    const void* object;
    const void* owner;
    std::size_t step;
    bool operator==(const VariableKey&) const = default;
  };
  struct VariableKeyHash {
    std::size_t operator()(const VariableKey& key) const;
  };

  unsigned dependencies(model::Expression e, const model::ActionImpl* action) const;
  /// The memo and the key under which the formula of `e` at `context` is kept: what it does not
  /// depend on is left out, so that equal readings are one entry.
  std::pair<Memo*, MemoKey> memo_place(const EncodingContext& context, model::Expression e);

  void encode_time_order(SmtSolver& solver);
  void encode_problem_expressions(SmtSolver& solver);
  void encode_label_orderings(SmtSolver& solver);
  void encode_actions(SmtSolver& solver);
  /// The formula of a statement of an action that starts at step i; null for none.
  Formula action_statement(const model::ActionImpl& action, std::uint32_t i, model::Expression e);
  void encode_end(SmtSolver& solver);
  void encode_frame_axioms(SmtSolver& solver);
  void encode_frame_axiom(SmtSolver& solver, model::Expression fluent, std::uint32_t i,
                          const std::vector<Effect>& effects, const std::vector<Formula>& tuple);
  void add_alternatives(std::vector<Formula>& alternatives, const Effect& effect, std::uint32_t i,
                        const std::vector<Formula>& tuple);

  /// A variable of this name; a name that is taken gets a number after it.
  Formula named_variable(const std::string& name, const SmtType* type);
  const SmtType* smt_type(const model::Type& type);
  void add_domain_constraint(Formula variable, const model::Type& type);

  model::ProblemInstance problem_;
  model::Domains domains_;
  SmtFactory factory_;
  std::unordered_map<VariableKey, Formula, VariableKeyHash> variables_;
  std::vector<Formula> times_;
  std::unordered_map<const model::ActionImpl*, Formula> fixed_durations_;
  std::unordered_map<const model::InstanceImpl*, Formula> instance_numbers_;
  std::unordered_map<Formula, model::Instance> instances_;
  std::unordered_map<const model::FluentImpl*, std::vector<Effect>> effects_by_fluent_;
  std::vector<Formula> side_constraints_;
  Quotients quotients_;
  StatementTimes statement_times_;
  Formula end_ = nullptr;
  std::unordered_set<model::Expression> chosen_;
  std::unique_ptr<Definedness> definedness_;
  std::unique_ptr<MovingTargets> moving_targets_;
  std::unique_ptr<DependencyWalker> dependency_walker_;
  Memo memo_;
  Memo horizon_memo_;
  std::uint32_t horizon_ = 0;
  std::size_t num_assertions_ = 0;
};

}  // namespace kelvo::smt
