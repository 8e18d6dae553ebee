#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "model/action.h"
#include "planners/ftp/steps/staged_search.h"
#include "planners/ftp/steps/successors.h"
#include "planners/ftp/task/step_task.h"
#include "plans/time_triggered_plan.h"
#include "shell/numbers.h"
#include "tests/unit/planners/planner_fixture.h"
#include "validation/tt_validator.h"

namespace kelvo::ftp {

/// Problems as the guided search takes them.
class GuidedSearchTest : public PlannerTest {
 protected:
  /// A problem with its own chain of transformers.
  struct Found {
    bool has_plan = false;
    bool is_valid = false;
    rational makespan = 0;
  };

  void load(const std::string& text) {
    original_ = parse(text);
    OwnCompilation compilation;
    compilation.splits_durations = true;
    compiled_ = std::make_unique<CompiledTask>(compile(original_, compilation), rational(1, 100));
    task_ = std::make_unique<GuidedTask>(*compiled_);
  }

  /// By the guided stages alone.
  Found solve(const std::string& text, const GuidedOptions& options,
              std::size_t num_improvements = 0) {
    load(text);
    GuidedPlanner planner(*compiled_, options, num_improvements);
    std::shared_ptr<Plan> plan = planner.find_plan();
    if (plan == nullptr) return {};
    const auto timed = std::make_shared<TimeTriggeredPlan>(chain_->map_back(plan));
    Found found{true, TTValidator(env_, original_).validate(timed)};
    for (const auto& [time, steps] : timed->plan()) {
      for (const auto& step : steps) {
        found.makespan = std::max(found.makespan, rational(time + step->duration()));
      }
    }
    return found;
  }

  std::uint32_t list_of(const std::string& name) const {
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task_->lists().size(); ++id) {
      if (task_->list(id).action->name().starts_with(name)) return id;
    }
    ADD_FAILURE() << "no action " << name;
    return CompiledTask::FIRST_ACTION;
  }

  /// The steps of an action as their distances from the start, in doubles.
  std::vector<double> offsets_of(const std::string& name) const {
    const GuidedList& list = task_->list(list_of(name));
    std::vector<double> result;
    for (std::uint32_t i = 0; i < list.num_steps; ++i) {
      result.push_back(task_->step(list.first_step + i).offset);
    }
    return result;
  }

  model::ProblemInstance original_;
  std::unique_ptr<CompiledTask> compiled_;
  std::unique_ptr<GuidedTask> task_;
};

}  // namespace kelvo::ftp
