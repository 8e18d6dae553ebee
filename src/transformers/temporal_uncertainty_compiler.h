#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// Removes durations that the environment chooses (`duration :in [l, u]`), conservatively: the
/// action gets the duration u, and each fluent that it writes at its end a shadow, the sigma
/// fluent, which is written at start + l and may not change from there to the end. All that reads
/// such a fluent must hold for it and for its shadow, so that a plan of the output works for all
/// durations in the interval.
///
/// The input must be flat.
class TemporalUncertaintyCompiler : public BasicTransformer {
 public:
  explicit TemporalUncertaintyCompiler(const model::ProblemInstance& input_problem);

  /// Steps of uncertain actions come back without a duration.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;
  bool carries_all_plans_forward() const override { return true; }

 protected:
  void do_computation() override;

  const std::string& get_fluent_fresh_name(const model::Fluent& fluent, bool sigma);

 private:
  using Expressions = std::vector<model::Expression>;
  /// An action of the input, and whether its duration was really uncertain.
  using Origin = std::pair<model::Action, bool>;

  void create_sigma_fluents(const model::Action& action);
  model::Fluent sigma_fluent(const model::Fluent& fluent);
  void compile_action(const model::Action& action);
  bool is_end_effect(model::Expression e) const;
  /// `rewritten` with any of the fluents that `original` reads replaced by their shadows. `where`
  /// names the place for a refusal.
  Expressions sigma_variants(model::Expression original, model::Expression rewritten,
                             const std::string& where) const;
  const Origin& origin_of(const model::Action& action) const;
  bool is_about_new_fluent(model::Expression conjunct) const;

  int fv_index_ = 1;
  std::unordered_set<std::string> fluent_names_;
  std::unordered_map<model::Fluent, model::Fluent> sigma_fluents_;
  std::unordered_map<model::Action, model::Action> new_actions_;
  std::unordered_map<model::Action, Origin> actions_;
  std::unordered_set<model::Expression> new_fluents_;
  Substitution sigma_subs_;
  ProblemParts parts_;
};

}  // namespace kelvo
