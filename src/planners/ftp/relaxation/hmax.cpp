#include "planners/ftp/relaxation/hmax.h"

#include <utility>

namespace kelvo::ftp {

HMax::HMax(RelaxedTask& relaxed) : HMax(relaxed, std::make_unique<MarkedSpace>(relaxed)) {}

HMax::HMax(RelaxedTask& relaxed, std::unique_ptr<MarkedSpace> marked)
    : kelvo::HMax(marked->space(), relaxed.goals(), relaxed.actions()),
      relaxed_(relaxed),
      marked_(std::move(marked)) {}

void HMax::initial_values(const State& state, RelaxedExploration& exploration) {
  exploration.start(marked_->idle_values(state));
  relaxed_.for_each_open_action(as_search_state(state), [&](std::size_t, std::size_t current) {
    exploration.add_initially(marked_->marker_slot(current), ValueTable::TRUE);
  });
}

}  // namespace kelvo::ftp
