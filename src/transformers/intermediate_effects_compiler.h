#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "shell/numbers.h"
#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

class POTPlan;
class TimeTriggeredPlan;

/// Cuts each action at its constant inner time points into a chain of pieces, for planners that
/// know conditions and effects only at the ends of an action and conditions over its whole length.
/// Neighbouring pieces are tied by a short clip action: the first must end and the second start
/// within it. Actions without inner time points stay one action.
///
/// The input must be flat. Single steps are not supported.
class IntermediateEffectsCompiler : public BasicTransformer {
 public:
  /// A clip takes twice `epsilon`.
  IntermediateEffectsCompiler(const model::ProblemInstance& input_problem, const rational& epsilon);
  ~IntermediateEffectsCompiler() override;

  /// A cut action comes back as one step, at the start of its first piece.
  using BasicTransformer::map_back;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  /// Executions of one cut ground action cannot overlap, and a clip keeps others off its ends.
  std::string kept_plans() const override;

 protected:
  void do_computation() override;

 private:
  class TimePoints;
  struct Piece;
  struct Ties;

  Piece start_piece(const model::Action& action, const std::string& suffix);
  model::Action finish_piece(const Piece& piece);
  std::string fresh_name(const std::string& candidate, int& index);
  void copy_action(const model::Action& action, const TimePoints& points);
  void cut_action(const model::Action& action, const TimePoints& points);
  model::Expression rest_of_duration(const model::Action& action, model::Expression constraint,
                                     const rational& passed) const;
  void warn_of_short_durations(const model::Action& action, const TimePoints& points) const;
  bool mentions_untimed_duration(model::Expression e) const;
  Ties make_ties(const model::Action& action);
  model::Expression make_tie(const std::string& candidate, const model::Action& action);
  void make_clip(const model::Action& action, const Ties& ties);
  void add_point(Piece& piece, model::Expression time, model::Expression body) const;

  std::shared_ptr<TimeTriggeredPlan> map_time_triggered_back(const TimeTriggeredPlan& plan) const;
  std::shared_ptr<POTPlan> map_partial_order_back(const POTPlan& plan) const;
  model::Expression without_new_fluents(model::Expression post_condition) const;

  rational epsilon_;
  int fv_index_ = 1;
  int av_index_ = 1;
  // One set for fluents and actions: they share a scope.
  std::unordered_set<std::string> names_;
  std::unordered_map<model::Action, model::Action> actions_;
  std::unordered_map<model::Action, model::Action> piece_actions_;
  /// The last piece of each cut action, and how long after the start of the action it begins.
  std::unordered_map<model::Action, std::pair<model::Action, rational>> last_pieces_;
  std::unordered_set<model::Expression> new_fluents_;
  ProblemParts parts_;
};

}  // namespace kelvo
