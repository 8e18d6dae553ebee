#include "solver/preprocessing/toplevel_propagator.h"

#include <algorithm>
#include <string>

#include "solver/preprocessing/substitution_checkers.h"

namespace ordax {

/// Replaces variables by the table, following replacements inside replacements. A replacement that
/// is a sum is flattened, so that a chain of definitions does not become a tower of sums.
class ToplevelPropagator::ToplevelpropRewriteStep : public RewriteStep {
 public:
  ToplevelpropRewriteStep(TermManager& terms, const ToplevelPropagator& owner)
      : RewriteStep(terms), owner_(owner) {}

 protected:
  TermRef expand(TermRef term) override {
    return is_variable(term) ? owner_.replacement(term) : nullptr;
  }

  TermRef finish_expanded(TermRef result) override {
    if (!is_plus(result) || !terms_.simplifications()) return result;
    lineariser_.linearise(result, form_);
    TermRef sum = nullptr;
    for (const Monomial& m : form_.monomials) {
      const TermRef coefficient = terms_.make_number(m.coefficient);
      const TermRef summand = terms_.make_times(coefficient, m.term);
      sum = sum == nullptr ? summand : terms_.make_plus(sum, summand);
    }
    const TermRef constant = terms_.make_number(form_.constant);
    return sum == nullptr ? constant : terms_.make_plus(sum, constant);
  }

 private:
  const ToplevelPropagator& owner_;
  Lineariser lineariser_;
  LinearForm form_;
};

namespace {

// Each round rewrites everything, and a chain of units may yield one unit a round. Past this many
// rounds and visited terms, what is left is as well found by propagation in the engine.
constexpr int FREE_ROUNDS = 20;
constexpr std::uint64_t MOST_VISITS = 5'000'000;

constexpr std::uint8_t WHITE = 0;
constexpr std::uint8_t GRAY = 1;
constexpr std::uint8_t BLACK = 2;

}  // namespace

ToplevelPropagator::ToplevelPropagator(TermManager& terms, Logger& logger)
    : terms_(terms),
      logger_(logger),
      checkers_(make_substitution_checkers(terms)),
      step_(std::make_unique<ToplevelpropRewriteStep>(terms, *this)) {}

ToplevelPropagator::~ToplevelPropagator() = default;

TermRef ToplevelPropagator::replacement(TermRef term) const {
  const TermRef* entry = table_.find(term);
  return entry == nullptr ? nullptr : *entry;
}

bool ToplevelPropagator::is_replaceable(TermRef term) const {
  return is_variable(term) && !table_.contains(term);
}

void ToplevelPropagator::push() {
  levels_.push_back({substituted_.size(), engine_variables_.size()});
}

void ToplevelPropagator::pop() {
  const Level level = levels_.back();
  levels_.pop_back();
  for (std::size_t i = level.substituted; i < substituted_.size(); ++i) {
    table_.erase(substituted_[i]);
  }
  substituted_.resize(level.substituted);
  for (std::size_t i = level.in_engine; i < engine_variables_.size(); ++i) {
    in_engine_.erase(engine_variables_[i]);
  }
  engine_variables_.resize(level.in_engine);
}

void ToplevelPropagator::note_in_engine(TermRef formula) {
  seen_.clear();
  walk_post_order(
      formula, stack_, [&](TermRef t) { return seen_.contains(t); },
      [&](TermRef t) {
        seen_.insert(t);
        if (is_variable(t) && in_engine_.insert(t)) engine_variables_.push_back(t);
      });
}

TermRef ToplevelPropagator::apply(TermRef formula) {
  if (substituted_.empty()) return formula;
  step_->clear_memo();
  return step_->rewrite(formula);
}

TermRef ToplevelPropagator::rewrite(TermRef formula, int limit) {
  kept_.clear();
  const std::uint64_t first_visit = step_->visits();
  bool consistent = split({apply(formula)});
  for (int round = 0; consistent && (limit == 0 || round < limit); ++round) {
    if (termination_ != nullptr) termination_->check();
    if (logger_.enabled(1, "TOPLEVELPROP")) {
      logger_.log(1, "TOPLEVELPROP", "iter: " + std::to_string(round));
    }
    if (round >= FREE_ROUNDS && step_->visits() - first_visit > MOST_VISITS) break;
    if (!find_candidates()) break;
    consistent = substitute();
  }
  if (!consistent) return terms_.make_false();
  // Folded once, in order: the chain of conjunctions grows by one term a conjunct.
  TermRef result = terms_.make_true();
  step_->clear_memo();
  for (const TermRef variable : kept_) {
    const TermRef fact = fact_of(variable);
    result = terms_.make_and(result, fact);
  }
  for (const TermRef conjunct : conjuncts_) result = terms_.make_and(result, conjunct);
  return result;
}

TermRef ToplevelPropagator::fact_of(TermRef variable) {
  const TermRef value = step_->rewrite(variable);
  return variable->type()->is_bool() ? terms_.make_iff(variable, value)
                                     : terms_.make_equal(variable, value);
}

// Takes the conjuncts at the top of some formulas, each once. False if one of them is false.
bool ToplevelPropagator::split(const std::vector<TermRef>& formulas) {
  conjuncts_.clear();
  seen_.clear();
  std::vector<TermRef> work(formulas.rbegin(), formulas.rend());
  while (!work.empty()) {
    const TermRef t = work.back();
    work.pop_back();
    if (!seen_.insert(t) || is_true(t)) continue;
    if (is_false(t)) return false;
    if (is_and(t)) {
      work.push_back(t->arg(1));
      work.push_back(t->arg(0));
    } else if (is_not(t) && is_or(t->arg(0))) {
      const TermRef second = terms_.make_not(t->arg(0)->arg(1));
      const TermRef first = terms_.make_not(t->arg(0)->arg(0));
      work.push_back(second);
      work.push_back(first);
    } else {
      conjuncts_.push_back(t);
    }
  }
  return true;
}

std::uint32_t ToplevelPropagator::occurrences(TermRef variable) const {
  if (!counted_) count_occurrences();
  const std::uint32_t* count = occurrences_.find(variable);
  return count == nullptr ? 0 : *count;
}

void ToplevelPropagator::count_occurrences() const {
  counted_ = true;
  occurrences_.clear();
  seen_.clear();
  for (const TermRef conjunct : conjuncts_) {
    walk_post_order(
        conjunct, stack_, [&](TermRef t) { return seen_.contains(t); },
        [&](TermRef t) {
          seen_.insert(t);
          for (std::uint32_t i = 0; i < t->arity(); ++i) {
            if (is_variable(t->arg(i))) ++occurrences_[t->arg(i)];
          }
        });
  }
}

// Offers each conjunct to the checkers. What fits enters the table at once, so that later offers of
// the same variable are refused; cycles among the newcomers are cut afterwards.
bool ToplevelPropagator::find_candidates() {
  candidates_.clear();
  counted_ = false;
  for (std::size_t i = 0; i < conjuncts_.size(); ++i) {
    for (const auto& checker : checkers_) {
      const Substitution found = checker->check(conjuncts_[i], *this);
      if (found.replacement == nullptr) continue;
      table_.set(found.variable, found.replacement);
      candidates_.push_back({found.variable, found.replacement, i});
      break;
    }
  }
  if (candidates_.empty()) return false;
  drop_cycles();
  return !candidates_.empty();
}

void ToplevelPropagator::drop_cycles() {
  color_.clear();
  for (const Candidate& candidate : candidates_) explore(candidate.variable);
  candidates_.erase(
      std::remove_if(candidates_.begin(), candidates_.end(),
                     [&](const Candidate& c) { return replacement(c.variable) == nullptr; }),
      candidates_.end());
}

// Depth-first over terms and through replacements. Reaching an open term closes a cycle, and the
// innermost variable that was followed is part of it, because terms alone have no cycles: that
// variable leaves the table, and the open terms behind it will be looked at again.
void ToplevelPropagator::explore(TermRef root) {
  struct Frame {
    TermRef term;
    std::uint32_t next;
  };
  if (color_[root] != WHITE) return;
  std::vector<Frame> frames{{root, 0}};
  color_[root] = GRAY;
  while (!frames.empty()) {
    Frame& frame = frames.back();
    const TermRef followed = replacement(frame.term);
    const std::uint32_t num_children = followed != nullptr ? 1 : frame.term->arity();
    if (frame.next == num_children) {
      color_[frame.term] = BLACK;
      frames.pop_back();
      continue;
    }
    const TermRef child = followed != nullptr ? followed : frame.term->arg(frame.next);
    ++frame.next;
    if (color_[child] == WHITE) {
      color_[child] = GRAY;
      frames.push_back({child, 0});
    } else if (color_[child] == GRAY) {
      while (replacement(frames.back().term) == nullptr) {
        color_[frames.back().term] = WHITE;
        frames.pop_back();
      }
      table_.erase(frames.back().term);
      color_[frames.back().term] = BLACK;
      frames.pop_back();
    }
  }
}

// Applies the table to all conjuncts. False if one of them became false.
bool ToplevelPropagator::substitute() {
  step_->clear_memo();
  std::vector<std::uint8_t> defining(conjuncts_.size(), 0);
  for (const Candidate& candidate : candidates_) {
    defining[candidate.conjunct] = 1;
    substituted_.push_back(candidate.variable);
    if (is_in_engine(candidate.variable)) kept_.push_back(candidate.variable);
  }
  std::vector<TermRef> rewritten;
  for (std::size_t i = 0; i < conjuncts_.size(); ++i) {
    if (defining[i] != 0) continue;
    rewritten.push_back(step_->rewrite(conjuncts_[i]));
    if (is_false(rewritten.back())) return false;
  }
  return split(rewritten);
}

}  // namespace ordax
