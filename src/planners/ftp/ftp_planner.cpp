#include "planners/ftp/ftp_planner.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include "model/expression_factory.h"
#include "planners/ftp/events/known_states.h"
#include "planners/ftp/relaxation/hadd.h"
#include "planners/ftp/relaxation/heuristic_table.h"
#include "planners/ftp/steps/staged_search.h"
#include "planners/own_compilation.h"
#include "planners/search/state_hash.h"
#include "planners/task/unset_fluents.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

namespace {

// Of the searches that take turns under `--ftp-search guided`: the states that each makes in its
// first turn, which doubles with each, and the bytes that one may take. The standard search makes
// states for all ground actions at each expansion: where these are many, its first turn is dear and
// rarely of use, and the guided search gets more time before it.
constexpr std::size_t MIN_FIRST_TURN = 1000;
constexpr std::size_t MAX_FIRST_TURN = 20000;
constexpr std::size_t FIRST_TURN_BY_ACTION = 100;
constexpr std::size_t MAX_MEMORY = std::size_t{1} << 31;

// The standard search tells known states from so many expansions on: most searches end before.
constexpr std::size_t FIRST_KNOWN = 1000;
constexpr std::size_t MAX_KNOWN_MEMORY = std::size_t{1} << 29;

// How many actions a plan may have that only put off its end.
constexpr std::size_t MAX_IDLE_ACTIONS = 4;

}  // namespace

FtpPlanner::FtpPlanner(Environment& env, const model::ProblemInstance& problem)
    : Planner(env, problem), options_(env.configuration()) {
  OwnCompilation compilation;
  compilation.splits_durations = true;
  compilation.prune_actions = options_.prune_actions;
  compile(compilation);
  refuse_unset_goals(chain_.problem());
  task_ = std::make_unique<CompiledTask>(chain_.problem(), options_.plan_epsilon,
                                         options_.no_moving_targets);
  const StepRules rules{options_.deordering, /*prune_coinciding_effects=*/!options_.simultaneity};
  generator_ = std::make_unique<SuccessorGenerator>(*task_, rules);
  builder_ = std::make_unique<PlanBuilder>(*generator_, options_.rational_precision);
  if (!is_guided()) make_heuristic();
}

FtpPlanner::~FtpPlanner() = default;

void FtpPlanner::make_heuristic() {
  if (options_.weight == 0) return;
  RelaxedHeuristic made = ftp::make_heuristic(options_.heuristic, *task_);
  relaxed_ = std::move(made.relaxed);
  heuristic_ = std::move(made.heuristic);
}

std::shared_ptr<Plan> FtpPlanner::solve() {
  if (is_guided()) return solve_guided();
  std::shared_ptr<Plan> plan = search(options_.weak_equality);
  if (plan == nullptr && options_.weak_equality) {
    LOG(LogLevel::INFO) << "Weak Equality detected unsolvability. Resorting to tree-search!";
    plan = search(false);
  }
  return plan;
}

// --- the open list ---

struct FtpPlanner::OpenEntry {
  double f;
  SearchState* state;  // the state itself, or the one that the step leads on from, if there is one
  std::uint32_t num_todo;
  std::uint32_t note;  // the successor's
  Step step;
};

// The state with the least priority comes first, of two the one with fewer lists.
struct FtpPlanner::ComesLater {
  bool operator()(const OpenEntry& a, const OpenEntry& b) const {
    return a.f > b.f || (a.f == b.f && a.num_todo > b.num_todo);
  }
};

// --- weak equality ---

struct FtpPlanner::WeakHash {
  const StateSpace* space;

  std::size_t operator()(const SearchState* state) const {
    StateHash hash;
    hash.mix(*space, state->values);
    return hash.value();
  }
};

// The same values, as many lists, and first lists of one length: not the same state.
struct FtpPlanner::WeakEquality {
  const CompiledTask* task;

  std::size_t first_length(const SearchState* state) const {
    const TodoList& first = state->todo[0];
    return task->template_of(first.template_id).events.size() - first.position;
  }

  bool operator()(const SearchState* a, const SearchState* b) const {
    const StateSpace& space = task->space();
    return have_same_values(space, a->values, b->values) && a->num_todo == b->num_todo &&
           (a->num_todo == 0 || first_length(a) == first_length(b));
  }
};

// --- progress ---

class FtpPlanner::Progress {
 public:
  Progress() : since_(Clock::now()) {}

  void note_attempt() { ++num_attempts_; }
  std::size_t num_attempts() const { return num_attempts_; }
  std::size_t num_expanded() const { return num_expanded_; }

  void note_expansion(double depth, double estimate, std::size_t open_size) {
    ++num_expanded_;
    depths_ += depth;
    estimates_ += estimate;
    if (num_expanded_ % INTERVAL == 0) report(open_size);
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t INTERVAL = 1000;

  void report(std::size_t open_size) {
    const Clock::time_point now = Clock::now();
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now - since_);
    const double seconds = static_cast<double>(passed.count()) / 1000.0;
    const double interval = static_cast<double>(INTERVAL);
    LOG(LogLevel::INFO) << "Avg depth: " << depths_ / interval
                        << ", TP evaluated: " << num_attempts_ << ", Open size: " << open_size
                        << ", States expanded: " << num_expanded_
                        << ", Avg h(): " << estimates_ / interval
                        << ", Speed: " << interval / seconds << " states/s";
    depths_ = 0;
    estimates_ = 0;
    since_ = now;
  }

  std::size_t num_attempts_ = 0;
  std::size_t num_expanded_ = 0;
  double depths_ = 0;
  double estimates_ = 0;
  Clock::time_point since_;
};

// --- the search ---

double FtpPlanner::estimate_of(const SearchState& state) const {
  if (heuristic_ == nullptr) return 0;
  return (state.f - (1 - options_.weight) * state.g) / options_.weight;
}

// The estimate of the initial state. The actions to try are filled in: with hadd only those that
// can be reached and may help.
double FtpPlanner::initial_estimate(const SearchState& state, std::vector<std::uint32_t>& actions) {
  HAdd* hadd = dynamic_cast<HAdd*>(heuristic_.get());
  if (hadd != nullptr) {
    const double estimate = hadd->compute(state, /*record=*/true);
    actions = hadd->useful_actions();
    return estimate;
  }
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task_->templates().size(); ++id) {
    actions.push_back(id);
  }
  return heuristic_ == nullptr ? 0 : heuristic_->evaluate(state);
}

// What a search has open and closed: it can be stopped after some expansions and continued. Its
// states go back to the planner with it.
class FtpPlanner::Search {
 public:
  enum class Outcome { FOUND, EXHAUSTED, OUT_OF_EXPANSIONS };

  /// With `waits`, actions that may not help are tried, too: they put off the end of the plan.
  Search(FtpPlanner& planner, bool weak_equality, bool waits);
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search();

  /// Continues for so many expansions; behind a goal state that was found before, with its
  /// successors.
  Outcome run(std::size_t max_expansions);
  /// The same until so many more states have been generated, or more than `MAX_MEMORY` is taken.
  Outcome run_for(std::size_t num_states);

  /// The goal state that `run` has found last.
  const SearchState& goal() const { return *goal_; }
  /// Whether there are actions that `waits` would add.
  bool leaves_out_actions() const;
  const Progress& progress() const { return progress_; }
  std::size_t open_size() const { return open_.size(); }
  /// Bytes, but for the closed states' table.
  std::size_t memory() const {
    const std::size_t known = known_ == nullptr ? 0 : known_->memory();
    return open_.memory() + planner_.generator_->memory() + known;
  }

 private:
  void add_idle_actions();
  bool is_known(const SearchState& state);
  bool may_wait(const SearchState& state) const;
  void expand(SearchState* state);

  FtpPlanner& planner_;
  bool weak_equality_;
  bool waits_;
  Open open_;
  std::unordered_set<SearchState*, WeakHash, WeakEquality> closed_;
  std::unique_ptr<KnownStates> known_;  // null where states can't be told apart
  std::vector<std::uint32_t> actions_;
  std::vector<bool> is_idle_;  // by template
  std::vector<std::uint32_t> idle_actions_;
  SearchState* goal_ = nullptr;
  Progress progress_;
};

FtpPlanner::Search::Search(FtpPlanner& planner, bool weak_equality, bool waits)
    : planner_(planner),
      weak_equality_(weak_equality),
      waits_(waits),
      closed_(16, WeakHash{&planner.task_->space()}, WeakEquality{planner.task_.get()}) {
  planner_.task_->refuse_long_durations();
  LOG(LogLevel::INFO) << "Start FTP";
  planner_.num_expanded_ = 0;
  planner_.num_generated_ = 0;
  SearchState* initial = planner_.make_initial_state();
  if (initial == nullptr) return;
  const double estimate = planner_.initial_estimate(*initial, actions_);
  initial->f = planner_.options_.weight * estimate;
  LOG(LogLevel::INFO) << "Initial H=" << estimate;
  if (estimate == Heuristic::DEAD_END) {
    planner_.release(initial);
  } else {
    open_.push({initial->f, initial, initial->num_todo, 0, {}});
  }
  StepRules rules = planner_.generator_->rules();
  rules.open_idle_actions = waits_;
  planner_.generator_->set_rules(rules);
  if (waits_) add_idle_actions();
  // With these, what has passed may still matter.
  const FtpOptions& options = planner_.options_;
  const bool looks_back =
      waits_ || options.deordering || options.simultaneity || options.no_moving_targets;
  if (!looks_back && !weak_equality_) known_ = std::make_unique<KnownStates>(*planner_.task_);
}

bool FtpPlanner::Search::leaves_out_actions() const {
  const CompiledTask& task = *planner_.task_;
  const auto num_useful =
      std::count_if(actions_.begin(), actions_.end(),
                    [&](std::uint32_t action) { return task.template_of(action).is_useful; });
  const std::size_t num_actions = task.templates().size() - CompiledTask::FIRST_ACTION;
  return !waits_ && static_cast<std::size_t>(num_useful) < num_actions;
}

void FtpPlanner::Search::add_idle_actions() {
  is_idle_.assign(planner_.task_->templates().size(), true);
  for (const std::uint32_t action : actions_) {
    is_idle_[action] = planner_.task_->template_of(action).is_idle;
  }
  std::erase_if(actions_, [&](std::uint32_t action) { return is_idle_[action]; });
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < is_idle_.size(); ++id) {
    if (is_idle_[id]) idle_actions_.push_back(id);
  }
}

// One action can be put off as far as the end of the plan is wanted: more are needed only where
// they make each other possible.
bool FtpPlanner::Search::may_wait(const SearchState& state) const {
  std::size_t num_idle = 0;
  for (const PathNode* step = state.path; step != nullptr; step = step->parent) {
    if (step->is_opening() && is_idle_[step->template_id]) ++num_idle;
  }
  return num_idle < MAX_IDLE_ACTIONS;
}

// A state that was expanded before, by other ways. The plans of two such states differ in what lies
// behind them, so that none is passed over once a plan was refused.
bool FtpPlanner::Search::is_known(const SearchState& state) {
  if (known_ == nullptr || progress_.num_expanded() < FIRST_KNOWN) return false;
  if (planner_.num_refused_plans() > 0 || known_->memory() > MAX_KNOWN_MEMORY) return false;
  return !known_->insert(state);
}

FtpPlanner::Search::~Search() {
  if (goal_ != nullptr) planner_.release(goal_);
  for (SearchState* state : closed_) planner_.release(state);
  open_.clear([this](const OpenEntry& entry) { planner_.release(entry.state); });
}

FtpPlanner::Search::Outcome FtpPlanner::Search::run(std::size_t max_expansions) {
  if (goal_ != nullptr) expand(std::exchange(goal_, nullptr));
  for (std::size_t num = 0; !open_.empty(); ++num) {
    if (num == max_expansions) return Outcome::OUT_OF_EXPANSIONS;
    SearchState* state = planner_.build(open_.pop());
    if (planner_.options_.no_backtracking) {
      open_.clear([this](const OpenEntry& other) { planner_.release(other.state); });
    }
    if (closed_.contains(state)) {
      planner_.release(state);
      continue;
    }
    const bool is_goal = planner_.generator_->is_goal(*state);
    if (!is_goal && is_known(*state)) {
      planner_.release(state);
      continue;
    }
    progress_.note_expansion(state->g, planner_.estimate_of(*state), open_.size());
    planner_.num_expanded_ = progress_.num_expanded();
    if (is_goal) {
      goal_ = state;
      return Outcome::FOUND;
    }
    expand(state);
  }
  return Outcome::EXHAUSTED;
}

FtpPlanner::Search::Outcome FtpPlanner::Search::run_for(std::size_t num_states) {
  constexpr std::size_t SLICE = 16;
  const std::size_t end = planner_.num_generated_ + num_states;
  Outcome outcome = Outcome::OUT_OF_EXPANSIONS;
  while (outcome == Outcome::OUT_OF_EXPANSIONS && planner_.num_generated_ < end &&
         memory() <= MAX_MEMORY) {
    outcome = run(SLICE);
  }
  return outcome;
}

void FtpPlanner::Search::expand(SearchState* state) {
  for (std::uint32_t list = 0; list < state->num_todo; ++list) {
    progress_.note_attempt();
    planner_.push_successor(open_, *state, {Step::Kind::EVENT, list});
  }
  for (const std::uint32_t action : actions_) {
    planner_.push_successor(open_, *state, {Step::Kind::OPENING, action});
  }
  if (!idle_actions_.empty() && may_wait(*state)) {
    for (const std::uint32_t action : idle_actions_) {
      planner_.push_successor(open_, *state, {Step::Kind::OPENING, action});
    }
  }
  if (weak_equality_) {
    closed_.insert(state);
  } else {
    planner_.release(state);
  }
}

// A goal state of a search may have no plan, for it lets the plan end as late as it likes: then the
// search starts again with the actions that were left out, which may put off the end.
std::shared_ptr<Plan> FtpPlanner::search(bool weak_equality) {
  auto search = std::make_unique<Search>(*this, weak_equality, /*waits=*/false);
  bool has_goals = false;
  while (search->run(std::numeric_limits<std::size_t>::max()) == Search::Outcome::FOUND) {
    has_goals = true;
    const std::shared_ptr<Plan> plan = plan_of(*search);
    if (plan != nullptr && passes_test(plan)) return plan;
    if (plan == nullptr && search->leaves_out_actions()) {
      search.reset();
      search = std::make_unique<Search>(*this, weak_equality, /*waits=*/true);
    }
  }
  conclude(has_goals);
  return nullptr;
}

// What the end of the standard search shows.
void FtpPlanner::conclude(bool has_goals) {
  no_plan_ = {NoPlan::Certainty::BOUNDED, GuidedPlanner::BOUNDS};
  if (!has_goals && !options_.simultaneity && !generator_->has_met_bounds() &&
      GuidedTask(*task_).is_complete()) {
    no_plan_ = {NoPlan::Certainty::PROVEN, ""};
  }
  if (options_.no_backtracking) {
    no_plan_ = {NoPlan::Certainty::UNDECIDED, "the search was told not to come back to a state"};
  }
  if (num_refused_plans() > 0) {
    no_plan_ = {NoPlan::Certainty::UNDECIDED, "a plan that was found could not be confirmed"};
  }
}

// --- the guided search, and the standard search by turns with it ---

std::shared_ptr<Plan> FtpPlanner::solve_guided() {
  GuidedOptions options;
  options.max_memory = MAX_MEMORY;
  std::shared_ptr<Plan> passed;
  const auto test = [&](const std::shared_ptr<TimeTriggeredPlan>& plan) {
    const std::shared_ptr<Plan> mapped = map_back(plan);
    const bool passes = passes_test(mapped);
    if (passes) passed = mapped;
    return passes;
  };
  GuidedPlanner guided(*task_, options, options_.num_improvements, test);
  std::unique_ptr<Search> standard;
  bool is_out_of_memory = false;
  bool has_goals = false;
  const std::size_t first_turn = std::clamp(
      FIRST_TURN_BY_ACTION * task_->problem()->actions().size(), MIN_FIRST_TURN, MAX_FIRST_TURN);
  for (std::size_t turn = first_turn; !guided.is_over() || !is_out_of_memory; turn *= 2) {
    guided.run(turn);
    if (passed != nullptr || guided.has_refuted()) {
      num_expanded_ = guided.statistics().num_expanded;
      num_generated_ = guided.statistics().num_generated;
      no_plan_ = guided.no_plan();
      return passed;
    }
    if (is_out_of_memory) continue;
    if (standard == nullptr) {
      LOG(LogLevel::INFO)
          << "The guided search has found no plan. Resorting to the standard search!";
      make_heuristic();
      standard = std::make_unique<Search>(*this, /*weak_equality=*/false, /*waits=*/false);
    }
    Search::Outcome outcome = standard->run_for(turn);
    for (; outcome == Search::Outcome::FOUND; outcome = standard->run_for(turn)) {
      has_goals = true;
      const std::shared_ptr<Plan> found = plan_of(*standard);
      if (found != nullptr && passes_test(found)) return found;
      if (found == nullptr && standard->leaves_out_actions()) {
        standard.reset();
        standard = std::make_unique<Search>(*this, /*weak_equality=*/false, /*waits=*/true);
      }
    }
    if (outcome == Search::Outcome::EXHAUSTED) {
      conclude(has_goals);
      return nullptr;
    }
    if (standard->memory() <= MAX_MEMORY) continue;
    LOG(LogLevel::INFO) << "The standard search is out of memory";
    is_out_of_memory = true;
    standard.reset();
  }
  if (is_out_of_memory) no_plan_ = {NoPlan::Certainty::UNDECIDED, "the search is out of memory"};
  if (num_refused_plans() > 0) {
    no_plan_ = {NoPlan::Certainty::UNDECIDED, "a plan that was found could not be confirmed"};
  }
  return nullptr;
}

// The plan of the goal state that was found, mapped back; null when it has none in exact numbers.
std::shared_ptr<Plan> FtpPlanner::plan_of(const Search& search) {
  const SearchState& goal = search.goal();
  LOG(LogLevel::INFO) << "Final depth: " << goal.g
                      << ", TP evaluated: " << search.progress().num_attempts()
                      << ", Open size: " << search.open_size()
                      << ", States expanded: " << search.progress().num_expanded()
                      << ", H: " << estimate_of(goal);
  const std::shared_ptr<TimeTriggeredPlan> found = builder_->build(goal);
  if (found == nullptr) return nullptr;
  return map_back(found);
}

// In the generator's scratch space, with its priority; null when there is none.
SearchState* FtpPlanner::make_successor(const SearchState& current, Step step, bool use_heuristic) {
  SearchState* scratch = step.kind == Step::Kind::OPENING
                             ? generator_->open_action(current, step.number)
                             : generator_->apply_event(current, step.number);
  if (scratch == nullptr) return nullptr;
  double estimate = 0;
  if (use_heuristic && heuristic_ != nullptr) estimate = heuristic_->evaluate(*scratch);
  if (estimate == Heuristic::DEAD_END) {
    // The heuristics go on asking for the goals at the end when they have been met.
    if (!generator_->is_behind_end(*scratch)) return nullptr;
    estimate = 0;
  }
  scratch->g = current.g + 1;
  scratch->f = (1 - options_.weight) * scratch->g + options_.weight * estimate;
  return scratch;
}

void FtpPlanner::push_successor(Open& open, SearchState& current, Step step) {
  if (options_.simultaneity) {
    SearchState* child = step.kind == Step::Kind::OPENING
                             ? expand_action(current, step.number, /*use_heuristic=*/true)
                             : expand_event(current, step.number, /*use_heuristic=*/true);
    if (child == nullptr) return;
    open.push({child->f, child, child->num_todo, 0, {}});
  } else {
    const SearchState* child = make_successor(current, step, /*use_heuristic=*/true);
    if (child == nullptr) return;
    open.push({child->f, &current, child->num_todo, child->note, step});
    ++current.references;
  }
  ++num_generated_;
}

// The state of an entry, which is its only holder.
SearchState* FtpPlanner::build(const OpenEntry& entry) {
  if (entry.step.kind == Step::Kind::NONE) return entry.state;
  SearchState* const scratch = make_successor(*entry.state, entry.step, /*use_heuristic=*/false);
  assert(scratch != nullptr && "the step was possible before");
  scratch->f = entry.f;
  scratch->note = entry.note;
  SearchState* const state = generator_->keep(*entry.state);
  release(entry.state);
  return state;
}

SearchState* FtpPlanner::expand_event(const SearchState& current, std::size_t list,
                                      bool use_heuristic) {
  const TodoList applied = current.todo[list];
  const Step step{Step::Kind::EVENT, static_cast<std::uint32_t>(list)};
  if (make_successor(current, step, use_heuristic) == nullptr) return nullptr;
  SearchState* child = generator_->keep(current);
  if (!options_.simultaneity) return child;

  // Two events with the same time expression happen at once, so the next one follows here.
  const model::Action& action = task_->template_of(applied.template_id).action;
  for (std::size_t next = 0; next < child->num_todo; ++next) {
    const TodoList& follower = child->todo[next];
    const EventTemplate& events = task_->template_of(follower.template_id);
    if (events.action != action) continue;
    const auto time_of = [&](const SearchState& state, const TodoList& at, std::uint32_t position) {
      const TemplateEvent& event = task_->template_of(at.template_id).events[position];
      return generator_->closes(state, at, position) ? event.right_time : event.left_time;
    };
    const bool at_once =
        time_of(current, applied, applied.position) == time_of(*child, follower, follower.position);
    return at_once ? replace_by_follower(child, next, use_heuristic) : child;
  }
  return child;
}

SearchState* FtpPlanner::expand_action(const SearchState& current, std::uint32_t template_id,
                                       bool use_heuristic) {
  if (make_successor(current, {Step::Kind::OPENING, template_id}, use_heuristic) == nullptr) {
    return nullptr;
  }
  SearchState* child = generator_->keep(current);
  if (!options_.simultaneity) return child;
  const std::vector<TemplateEvent>& events = task_->template_of(template_id).events;
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (events.empty() || !ef.is_start_anchor(events.front().left_time)) return child;
  return replace_by_follower(child, child->num_todo - 1, use_heuristic);
}

SearchState* FtpPlanner::replace_by_follower(SearchState* child, std::size_t list,
                                             bool use_heuristic) {
  SearchState* follower = expand_event(*child, list, use_heuristic);
  release(child);
  return follower;
}

}  // namespace kelvo::ftp
