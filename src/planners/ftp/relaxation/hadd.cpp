#include "planners/ftp/relaxation/hadd.h"

#include <algorithm>

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo::ftp {

using model::ExpressionSet;

HAdd::HAdd(RelaxedTask& relaxed)
    : kelvo::HAdd(relaxed.task().space(), relaxed.goal_dnf(), relaxed.actions()),
      relaxed_(relaxed) {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const model::Expression marker : relaxed.markers()) {
    markers_.push_back({find_literal(marker), find_literal(ef.make_not(marker))});
  }
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < relaxed.task().templates().size();
       ++id) {
    const std::size_t first = relaxed.first_marker(id);
    for (std::size_t i = 0; i < relaxed.num_markers(id); ++i) {
      const MarkerLiterals& marker = markers_[first + i];
      assume(i == 0 ? marker.positive : marker.negative);
    }
  }
}

void HAdd::reach_initial_literals(const State& state) {
  const SearchState& search_state = as_search_state(state);
  relaxed_.for_each_open_action(search_state, [&](std::size_t first, std::size_t current) {
    take_back(markers_[first].positive);
    take_back(markers_[current].negative);
    reach(markers_[first].negative);
    reach(markers_[current].positive);
  });
}

// Goals over windows count as well, else the actions that they need would be left out.
ExpressionSet HAdd::goal_fluents() const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  ExpressionSet fluents = kelvo::HAdd::goal_fluents();
  for (const model::Expression marker : relaxed_.markers()) fluents.erase(marker);
  ExpressionSet others;
  for (const model::Expression body : relaxed_.all_goal_bodies()) add_fluents(body, others);
  for (const model::Expression fluent : others) {
    fluents.insert(ef.is_functional_apply(fluent) ? ef.get_reference_from_functional_apply(fluent)
                                                  : fluent);
  }
  return fluents;
}

std::vector<std::uint32_t> HAdd::useful_actions() const {
  const std::unordered_set<model::Action> relevant = relevant_actions();
  const std::unordered_set<model::Action>& reached = reached_actions();
  const CompiledTask& task = relaxed_.task();
  std::vector<std::uint32_t> result;
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task.templates().size(); ++id) {
    const std::vector<model::Action>& phases = relaxed_.relaxed_actions(id);
    const auto is_in = [](const std::unordered_set<model::Action>& actions) {
      return [&](const model::Action& action) { return actions.contains(action); };
    };
    if (std::any_of(phases.begin(), phases.end(), is_in(relevant)) &&
        std::all_of(phases.begin(), phases.end(), is_in(reached))) {
      result.push_back(id);
    }
  }
  return result;
}

}  // namespace kelvo::ftp
