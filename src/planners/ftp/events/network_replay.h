#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/event.h"
#include "planners/ftp/task/search_state.h"
#include "shell/numbers.h"
#include "temporal/temporal_network.h"

namespace kelvo::ftp {

/// Builds the events and the whole temporal network of a state by going along its path again: with
/// a time point for each event, as a plan's schedule and a learned heuristic take it.
class NetworkReplay {
 public:
  using Network = TemporalNetwork<Event, double>;

  /// `deordering` as in the search that made the path.
  NetworkReplay(const CompiledTask& task, bool deordering);

  /// The path from the first event to `last`, which may be null.
  void replay(const PathNode* last);

  const Network& network() const { return *network_; }
  TNInterpreter<Event>& interpreter() { return interpreter_; }
  const std::vector<Event>& path() const { return path_; }
  /// The events still to come, by list.
  const std::vector<std::vector<Event>>& todo() const { return todo_; }
  /// The START_ACTION events of the path.
  const std::vector<Event>& openings() const { return openings_; }
  static Event end_of(const Event& opening);

  /// Times of events, by their numbers in the interpreter.
  using Times = std::vector<rational>;
  /// An opening with the times that it is to have.
  struct Placement {
    Event opening;
    rational start;
    rational duration;
  };
  /// The least solution in exact numbers, with strict constraints as far apart as the search keeps
  /// them; nothing when there is none, for the search takes times that differ by little as equal.
  std::optional<Times> exact_times() const;
  /// When the plan ends with these times: one unit behind the last end and the last effect in it.
  rational earliest_end(const Times& times);
  /// Whether the end has that time. The search only keeps it from being earlier.
  bool is_end_exact(const Times& times);
  /// The least solution in which it has, for which actions are put off, and the network with it;
  /// nothing when there is none. `least` is what `exact_times` gave.
  std::optional<Times> bind_end(const Times& least);
  /// Whether the openings may have these times; `least` is what `exact_times` gave.
  bool admits(const std::vector<Placement>& openings, const Times& least);
  /// Of an event of the path, or its end.
  std::size_t number_of(const Event& event) { return interpreter_.get_id(event); }

 private:
  struct Origin {
    std::uint32_t template_id;
    std::uint32_t node;
  };

  /// later >= earlier + distance
  struct Constraint {
    std::size_t later;
    std::size_t earlier;
    rational distance;
  };

  /// What the plan can't end before: the end is at least so far behind the event, and exactly so
  /// far behind one of these.
  struct Last {
    Event event;
    rational distance;
  };

  void begin();
  void let_end_follow(const Event& event, const rational& offset);
  void note(const Event& later, const Event& earlier, const rational& distance);
  bool raise(const std::vector<Constraint>& constraints, Times& times) const;
  void open(const PathNode& step);
  void apply(const PathNode& step);
  void keep_goal_empty(const Event& event);
  Event make_event(std::uint32_t template_id, const TemplateEvent& event, std::size_t first_id);
  void place(const Event& event, const TemplateEvent& where, const Event& start, const Event& end);
  void order(const Event& later, const Event& earlier);
  void separate(const Event& later, const Event& earlier);
  void keep_off_targets(const Event& event);
  void constrain_opening(const Event& start);
  void constrain_event(const Event& event);
  bool have_common_fluent(const Event& a, const Event& b) const;
  const FluentSet& fluents_of(const Event& event) const;

  const CompiledTask& task_;
  bool deordering_;
  TNInterpreter<Event> interpreter_;
  std::shared_ptr<Network> network_;
  std::size_t next_id_ = 0;
  Event start_plan_;
  Event end_plan_;
  std::vector<std::vector<Event>> todo_;
  std::vector<Origin> origins_;  // of the lists
  std::vector<Event> path_;
  std::vector<Event> openings_;
  std::vector<Constraint> constraints_;
  std::vector<Last> lasts_;
  std::size_t start_number_ = 0;
  std::size_t end_number_ = 0;
};

}  // namespace kelvo::ftp
