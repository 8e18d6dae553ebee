// What is asked of the moments at which labelled conditions are met.

#include <algorithm>
#include <map>

#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "shell/errors.h"
#include "validation/strict_simulation.h"

namespace kelvo::strict {

// The window that such a statement speaks of begins or ends with a moment that is not chosen yet:
// its condition is recorded over all the times that may come into question.
void Simulation::lay_out_about_label(std::uint32_t number) {
  const Values& values = task_.values;
  const Statement& statement = statement_of(Writer::kProblem, number);
  const std::string& label =
      statement.left.label.empty() ? statement.right.label : statement.left.label;
  const auto labelled = std::ranges::find_if(
      task_.problem.statements, [&label](const Statement& s) { return s.label == label; });
  const bool has_two =
      !statement.is_point && !statement.left.label.empty() && !statement.right.label.empty();
  if (statement.kind != Statement::Kind::CONDITION || has_two ||
      labelled == task_.problem.statements.end()) {
    throw InvalidParameterError() << "A statement about labels that cannot be judged: "
                                  << model::print_expression(statement.source);
  }
  Value from = zero_;
  Value to = time_of(labelled->right, *labelled);
  bool from_closed = true;
  bool to_closed = true;
  if (!statement.is_point && statement.right.label.empty()) {
    to = time_of(statement.right, statement);
    to_closed = statement.right_closed;
  } else if (!statement.is_point) {
    from = time_of(statement.left, statement);
    from_closed = statement.left_closed;
  }
  const bool is_empty = values.less(to, from) || (from == to && !(from_closed && to_closed));
  if (is_empty || values.less(from, zero_)) return;
  for (std::uint32_t i = 0; i < statement.conjuncts.size(); ++i) {
    const auto window = static_cast<std::uint32_t>(windows_.size());
    windows_.push_back({from,
                        to,
                        from_closed,
                        to_closed,
                        Writer::kProblem,
                        number,
                        i,
                        false,
                        false,
                        {},
                        std::make_unique<Recorder>(),
                        /*is_about_label=*/true});
    const Phase opening = from_closed ? Phase::ASK : Phase::OPEN;
    const Phase closing = from == to ? Phase::OPEN : Phase::CLOSE;
    items_.push_back({from, opening, Writer::kProblem, number, kNone, window});
    items_.push_back({to, closing, Writer::kProblem, number, kNone, window});
  }
}

// The moments, up to the limit, with which the condition holds over its window.
std::vector<Stretch> Simulation::allowed_by(const Window& window, const rational& limit) const {
  const Statement& statement = statement_of(window.step, window.statement);
  const std::vector<Stretch> met = window.recorder->starts_of(0);
  if (statement.is_point) return met;
  const bool both_closed = statement.left_closed && statement.right_closed;
  if (statement.right.label.empty()) {
    const rational& end = times_[window.to];
    const bool is_met =
        !met.empty() && met.back().to == end && met.back().to_closed == window.to_closed;
    if (!is_met) return {{end, !both_closed, limit, true}};
    return {{met.back().from, !statement.left_closed || met.back().from_closed, limit, true}};
  }
  const rational& begin = times_[window.from];
  const bool is_met =
      !met.empty() && met.front().from == begin && met.front().from_closed == window.from_closed;
  if (!is_met) return {{-1, true, begin, !both_closed}};
  return {{-1, true, met.front().to, !statement.right_closed || met.front().to_closed}};
}

bool Simulation::check_labels() {
  const auto& pairs = task_.instance->labels_orderings();
  std::map<std::string, std::size_t> labels;
  std::map<model::Expression, std::size_t, model::ExpressionLess> statements;
  std::vector<std::vector<Stretch>> times;
  rational limit = 0;
  for (const Window& window : windows_) {
    const Statement& statement = statement_of(window.step, window.statement);
    limit = std::max(limit, times_[window.to]);
    if (window.step != Writer::kProblem || statement.label.empty()) continue;
    labels[statement.label] = times.size();
    statements[statement.source] = times.size();
    times.push_back(window.recorder->starts_of(lasting_of(window).value_or(rational(0))));
  }
  model::Expression asked = pairs.empty() ? nullptr : pairs.begin()->first;
  for (const Window& window : windows_) {
    if (!window.is_about_label) continue;
    const Statement& statement = statement_of(window.step, window.statement);
    const std::string& label =
        statement.left.label.empty() ? statement.right.label : statement.left.label;
    std::vector<Stretch>& of_label = times[labels.at(label)];
    of_label = intersection(of_label, allowed_by(window, limit));
    asked = statement.source;
  }
  std::vector<std::pair<std::size_t, std::size_t>> orderings;
  for (const auto& [first, second] : pairs) {
    orderings.emplace_back(statements.at(first), statements.at(second));
  }
  if (can_be_ordered(times, orderings)) return true;
  fault_.emplace();
  fault_->rule = "no times at which the labelled conditions are met suit what is asked of them";
  fault_->source.statement = asked;
  if (!pairs.empty() && asked == pairs.begin()->first) {
    fault_->other = StrictSource{nullptr, "", pairs.begin()->second};
  }
  return false;
}

}  // namespace kelvo::strict
