#include "planners/ftp/relaxation/hlandmarks.h"

#include <utility>

namespace kelvo::ftp {

namespace {

// The values at the start of the plan, where no action is open.
StateValues start_values(RelaxedTask& relaxed, MarkedSpace& marked, std::vector<ValueId>& ids) {
  const CompiledTask& task = relaxed.task();
  std::vector<std::uint64_t> bits(task.space().num_words());
  ids.resize(task.space().num_ids());
  for (std::size_t slot = 0; slot < task.space().num_slots(); ++slot) {
    task.space().set(bits.data(), ids.data(), slot, task.initial_values()[slot]);
  }
  State state;
  state.values = {bits.data(), ids.data()};
  return marked.idle_values(state);
}

struct StartValues {
  std::vector<ValueId> ids;
  StateValues values;

  StartValues(RelaxedTask& relaxed, MarkedSpace& marked)
      : values(start_values(relaxed, marked, ids)) {}
};

}  // namespace

HLandmarks::HLandmarks(RelaxedTask& relaxed)
    : HLandmarks(relaxed, std::make_unique<MarkedSpace>(relaxed)) {}

HLandmarks::HLandmarks(RelaxedTask& relaxed, std::unique_ptr<MarkedSpace> marked)
    : kelvo::HLandmarks(marked->space(), relaxed.goal_dnf(), relaxed.actions(),
                        StartValues(relaxed, *marked).values),
      relaxed_(relaxed),
      marked_(std::move(marked)) {}

StateValues HLandmarks::initial_values(const State& state) {
  const StateValues values = marked_->idle_values(state);
  relaxed_.for_each_open_action(as_search_state(state),
                                [&](std::size_t first, std::size_t current) {
                                  marked_->set_marker(first, false);
                                  marked_->set_marker(current, true);
                                });
  return values;
}

bool HLandmarks::is_initial_state(const State& state) const {
  return as_search_state(state).parent_note == SearchState::NO_NOTE;
}

const HLandmarks::Accepted& HLandmarks::parent_accepted(const State& state) const {
  return accepted_sets_[as_search_state(state).parent_note];
}

void HLandmarks::store_accepted(const State& state, const Accepted& accepted) {
  as_search_state(state).note = static_cast<std::uint32_t>(accepted_sets_.size());
  accepted_sets_.push_back(accepted);
}

}  // namespace kelvo::ftp
