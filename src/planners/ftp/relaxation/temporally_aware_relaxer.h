#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "planners/ftp/task/action_events.h"
#include "shell/numbers.h"
#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo::ftp {

/// Relaxes time: the opening of an action and each of its later events become an instantaneous
/// action of their own, a phase. Boolean fluents, the phase markers, say which phase comes next:
/// an idle action is in its first one. A timed literal becomes an action without condition.
///
/// The input must be flat and ground. Only single steps can be mapped back.
class TemporallyAwareRelaxer : public BasicTransformer {
 public:
  TemporallyAwareRelaxer(const model::ProblemInstance& input_problem, const rational& gap);

  /// By original action: the references of its markers, the first phase first.
  using PhaseMarkers = std::unordered_map<model::Action, std::vector<model::Expression>>;
  const PhaseMarkers& phase_markers() const { return phase_markers_; }
  /// The actions of the phases of an original action, in order.
  const std::vector<model::Action>& relaxed_actions(const model::Action& action) const {
    return relaxed_actions_.at(action);
  }

  /// Raises `InternalError`: no plan of the relaxed problem is ever made.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  using BasicTransformer::map_forward;
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;

 protected:
  void do_computation() override;

 private:
  void relax_action(const model::Action& action);
  void relax_expressions();
  model::Expression make_marker(const model::Action& action, std::size_t phase);
  model::Action make_phase(const model::Action& action, std::size_t phase,
                           model::Expression condition, model::Expression effect);
  std::string fresh_action_name(const std::string& name);
  void add_at_end(model::Expression body, model::ExpressionSet& expressions) const;

  rational gap_;
  ProblemParts parts_;
  PhaseMarkers phase_markers_;
  std::unordered_map<model::Action, std::vector<model::Action>> relaxed_actions_;
  std::unordered_map<model::Action, model::Action> originals_;
};

}  // namespace kelvo::ftp
