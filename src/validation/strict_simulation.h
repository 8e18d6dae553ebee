#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "model/model_fwd.h"
#include "validation/strict_initial_state.h"
#include "validation/strict_judge.h"
#include "validation/strict_recorder.h"
#include "validation/strict_touches.h"

namespace kelvo::strict {

/// What a judge knows of its problem, for any number of plans.
struct Task {
  Values values;
  Functions functions;
  GroundFluents fluents;
  Evaluator evaluator;
  StatementList problem;
  /// By the number of the statement: whether it gives an initial value.
  std::vector<bool> is_initial;
  InitialState initial;
  model::ProblemInstance instance;
  StrictOptions options;

  Task(Environment& env, const model::ProblemInstance& problem_instance, StrictOptions judged_by);
};

/// A step with its values, and the statements of its action.
struct PlannedStep {
  std::shared_ptr<TimeTriggeredStep> step;
  const StatementList* list = nullptr;
  std::vector<Value> parameters;
  Value object = kNoValue;
  rational start;
  rational duration;
};

/// Executes one plan: all that happens and is asked, in the order of time.
class Simulation {
 public:
  Simulation(Task& task, const std::vector<PlannedStep>& steps);

  /// The first fault, or none.
  std::optional<StrictFault> run();

 private:
  enum class Phase : std::uint8_t { CLOSE, ASK, EFFECT, OPEN };
  struct Item {
    Value moment;  // then the number of the time
    Phase phase;
    std::uint32_t step;
    std::uint32_t statement;
    /// The conjunct of a point condition, or `kNone`, or the window that opens or closes.
    std::uint32_t conjunct;
    std::uint32_t window;
  };
  struct Window {
    Value from;  // then the numbers of the times
    Value to;
    bool from_closed;
    bool to_closed;
    std::uint32_t step;
    std::uint32_t statement;
    std::uint32_t conjunct;
    bool is_open = false;
    bool is_dirty = false;
    std::vector<Slot> watched;  // ascending
    /// Of a `contains`, and of a condition about a label, which is judged when all is known.
    std::unique_ptr<Recorder> recorder;
    bool is_about_label = false;
  };
  struct Pending {
    Slot slot;
    Value value;
    std::uint32_t step;
    std::uint32_t statement;
    bool is_increase;
  };

  // Laying out what happens.
  const StatementList& list_of(std::uint32_t step) const;
  const Statement& statement_of(std::uint32_t step, std::uint32_t statement) const;
  void bind(std::uint32_t step);
  bool lay_out();
  bool lay_out_list(std::uint32_t step);
  bool lay_out_statement(std::uint32_t step, std::uint32_t number);
  bool lay_out_window(std::uint32_t step, std::uint32_t number, Value from, Value to);
  Value time_of(const TimeBound& bound, const Statement& statement);
  void number_times();

  // Running it.
  bool run_time(std::size_t begin, std::size_t end);
  bool ask(const Item& item);
  bool take_effect(const Item& item);
  bool enter_effect(const Pending& effect);
  void apply_effects();
  bool open_window(std::uint32_t number);
  bool ask_window(std::uint32_t number);
  bool ask_dirty_windows();
  bool close_window(std::uint32_t number);
  void watch(std::uint32_t number);
  /// For how long a `contains` has to hold; empty if that has no value.
  std::optional<rational> lasting_of(const Window& window);
  bool touch_reads(std::uint32_t step, std::uint32_t statement, Slot except);
  bool touch(Slot slot, Touch touch, std::uint32_t step, std::uint32_t statement);

  // Labels.
  void lay_out_about_label(std::uint32_t number);
  std::vector<Stretch> allowed_by(const Window& window, const rational& limit) const;
  bool check_labels();

  // Reporting.
  StrictSource source_of(std::uint32_t step, std::uint32_t statement) const;
  std::vector<StrictRead> read_values() const;
  std::string name_of(Slot slot) const;
  bool fail(const std::string& rule, std::uint32_t step, std::uint32_t statement,
            bool with_values = false);
  bool fail_condition(Value result, std::uint32_t step, std::uint32_t statement,
                      std::uint32_t conjunct);

  static constexpr std::uint32_t kNone = static_cast<std::uint32_t>(-1);
  static constexpr Slot kNoSlot = static_cast<Slot>(-1);

  Task& task_;
  const std::vector<PlannedStep>& steps_;
  Value zero_;
  Bindings bindings_;
  std::vector<Value> starts_;
  std::vector<Value> ends_;
  std::vector<Value> durations_;
  Value horizon_ = kNoValue;
  std::vector<Item> items_;
  std::vector<Window> windows_;
  std::vector<rational> times_;  // ascending
  State state_;
  std::uint32_t now_ = 0;
  bool is_just_behind_ = false;
  bool has_started_ = false;
  std::vector<Pending> pending_;
  std::vector<std::uint32_t> pending_of_slot_;  // by slot; what is at or after the size is none
  std::vector<std::vector<std::uint32_t>> watchers_;  // by slot
  std::vector<std::uint32_t> dirty_;
  std::vector<Value> arguments_;
  std::optional<Touches> touches_;
  std::optional<StrictFault> fault_;
};

}  // namespace kelvo::strict
