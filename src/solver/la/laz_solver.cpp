#include "solver/la/laz_solver.h"

#include <algorithm>
#include <map>

#include "solver/terms/term_printer.h"

namespace ordax::laz {

namespace {

constexpr int kLower = la::Solver::kLower;
constexpr int kUpper = la::Solver::kUpper;

// A search without bounds on its variables may branch for ever: beyond these numbers the check
// gives up instead.
constexpr std::uint64_t kMaxLemmas = 50000;
constexpr std::uint64_t kMaxUnboundedSplits = 300;
constexpr std::size_t kMaxBranches = 200000;

// Sorted lists as sets: proofs hold a few entries.
void add_unique(std::vector<std::int32_t>& list, std::int32_t item) {
  const auto place = std::lower_bound(list.begin(), list.end(), item);
  if (place == list.end() || *place != item) list.insert(place, item);
}

}  // namespace

Solver::Solver(la::Solver& rational, const la::LinearTermMapper& mapper, TermManager& terms,
               const LaConfiguration& configuration, Logger& logger,
               std::function<bool(TermRef)> is_known)
    : rational_(rational),
      mapper_(mapper),
      terms_(terms),
      configuration_(configuration),
      logger_(logger),
      is_known_(std::move(is_known)) {}

void Solver::log(const std::string& text) const {
  if (logs()) logger_.log(4, "LAZ", text);
}

std::string Solver::text_of(const Diophantine::Sum& sum) const {
  std::string text;
  for (const auto& [var, coefficient] : sum) {
    if (!text.empty()) text += " + ";
    text += coefficient.to_string() + "*" + std::to_string(var);
  }
  return text;
}

bool Solver::all_integral() const {
  return std::all_of(integers_.begin(), integers_.end(),
                     [this](LaVar v) { return is_integral(v); });
}

// The fractional variable with the smallest bounded range, else the first one.
LaVar Solver::pick_branch_variable() const {
  LaVar best = 0;
  bool best_bounded = false;
  Number best_size;
  for (const LaVar v : integers_) {
    if (is_integral(v)) continue;
    const BoundIndex lower = rational_.asserted(v, kLower);
    const BoundIndex upper = rational_.asserted(v, kUpper);
    const bool bounded = lower != 0 && upper != 0;
    Number size;
    if (bounded) {
      size = rational_.bound(upper).value.rational() - rational_.bound(lower).value.rational();
    }
    if (best == 0 || (bounded && (!best_bounded || size < best_size))) {
      best = v;
      best_bounded = bounded;
      best_size = size;
    }
  }
  return best;
}

void Solver::start_check() {
  num_lemmas_ = 0;
  num_unbounded_splits_ = 0;
}

void Solver::forget_variables(std::size_t count) {
  while (!integers_.empty() && index(integers_.back()) >= count) integers_.pop_back();
  known_variables_ = std::min(known_variables_, count);
  equations_.reset();
}

// From the cheapest way to an integral point, or to the proof that there is none, to the dearest;
// if all give up, the search outside splits on a variable.
Solver::Result Solver::check() {
  for (; known_variables_ < rational_.num_variables(); ++known_variables_) {
    const auto v = static_cast<LaVar>(known_variables_);
    if (v != 0 && rational_.is_int(v) && !rational_.is_slack(v)) integers_.push_back(v);
  }
  if (integers_.empty() || all_integral()) {
    log("found integral model");
    return Result::MODEL;
  }
  if (configuration_.laz_unit_cube_test && unit_cube_test()) {
    log("found integral model");
    return Result::MODEL;
  }
  if (configuration_.laz_equality_elimination) {
    switch (eliminate_equalities()) {
      case Elimination::MODEL:
        return Result::MODEL;
      case Elimination::CONFLICT:
        return Result::CONFLICT;
      case Elimination::UNDECIDED:
        break;
    }
  }
  if (configuration_.laz_internal_branch_and_bound) {
    switch (branch_and_bound()) {
      case Search::MODEL:
        return Result::MODEL;
      case Search::CONFLICT:
        return Result::CONFLICT;
      case Search::LIMIT:
        break;
    }
  }
  build_lemma();
  return Result::LEMMA;
}

// Looks for a point whose unit cube lies within all constraints: rounding it then breaks none of
// them (Bromberger and Weidenbach, IJCAR 2016).
bool Solver::unit_cube_test() {
  for (std::size_t d = 0; d < rational_.num_definitions(); ++d) {
    // An equation over integers leaves no room for a cube.
    const LaVar slack = rational_.slack_of(d);
    if (!rational_.is_fixed(slack)) continue;
    for (const la::Tableau::Summand& s : rational_.definition(d)) {
      if (rational_.is_int(s.var) && !rational_.is_fixed(s.var)) return false;
    }
  }
  const std::vector<BoundValue> saved = rational_.save_values();
  const std::size_t level = rational_.num_levels();
  rational_.push();
  bool feasible = true;
  // Each constraint moves inwards by what a step of one half in every integer variable can change.
  for (std::size_t d = 0; feasible && d < rational_.num_definitions(); ++d) {
    const LaVar slack = rational_.slack_of(d);
    Number radius;
    for (const la::Tableau::Summand& s : rational_.definition(d)) {
      if (rational_.is_int(s.var)) radius += s.coefficient.abs();
    }
    if (radius.is_zero()) continue;
    radius *= Number(1, 2);
    const BoundIndex lower = rational_.asserted(slack, kLower);
    const BoundIndex upper = rational_.asserted(slack, kUpper);
    if (lower != 0) {
      const BoundValue shifted = rational_.bound(lower).value + BoundValue(radius);
      feasible = rational_.assert_bound(slack, kLower, shifted, la::Bound::FRAME, 0);
    }
    if (feasible && upper != 0) {
      const BoundValue shifted = rational_.bound(upper).value - BoundValue(radius);
      feasible = rational_.assert_bound(slack, kUpper, shifted, la::Bound::FRAME, 0);
    }
  }
  feasible = feasible && rational_.check();
  std::vector<BoundValue> rounded;
  if (feasible) {
    rounded = rational_.save_values();
    const Number half(1, 2);
    for (const LaVar v : integers_) {
      BoundValue& value = rounded[index(v)];
      value = BoundValue((value + BoundValue(half)).floor());
    }
  }
  rational_.pop_to(level);
  if (feasible) {
    rational_.set_values(rounded);
    if (rational_.values_hold() && all_integral()) return true;
  }
  rational_.restore_values(saved);
  return false;
}

// A variable as a sum over problem variables.
Diophantine::Form Solver::form_of(LaVar v) const {
  Diophantine::Form form;
  if (rational_.is_slack(v)) {
    for (const la::Tableau::Summand& s : rational_.definition(index(rational_.definition_of(v)))) {
      form.sum.emplace(s.var, s.coefficient);
    }
  } else {
    form.sum.emplace(v, Number(1));
  }
  return form;
}

// The conflict is between the bounds of the equations that a proof uses.
void Solver::explain_proof(const Diophantine::Proof& proof) {
  for (const auto& [var, factor] : proof) {
    conflict_.push_back(rational_.asserted(var, kLower));
    conflict_.push_back(rational_.asserted(var, kUpper));
  }
}

// Solves the equations over the integers by elimination (Griggio, JSAT 2012): they may contradict
// each other modulo some number, or fix the residue of a variable, which may leave its bounds
// nothing.
Solver::Elimination Solver::eliminate_equalities() {
  bool has_equation = false;
  for (std::size_t d = 0; d < rational_.num_definitions() && !has_equation; ++d) {
    const LaVar slack = rational_.slack_of(d);
    has_equation = rational_.is_int(slack) && rational_.is_fixed(slack);
  }
  equations_.reset();
  if (!has_equation) return Elimination::UNDECIDED;
  log("BEGIN DIOPHANTINE TABLEAU");
  Diophantine& equations = equations_.emplace(static_cast<LaVar>(rational_.num_variables()));
  const auto num_variables = static_cast<LaVar>(rational_.num_variables());
  for (LaVar v = 1; v < num_variables; ++v) {
    stop_.step();
    if (!rational_.is_int(v) || !rational_.is_fixed(v)) continue;
    Diophantine::Form form = form_of(v);
    form.constant = -rational_.bound(rational_.asserted(v, kLower)).value.rational();
    form.proof.emplace(v, Number(1));
    if (!equations.add_equation(std::move(form))) {
      log("conflict found while substituting equalities");
      ++statistics_.equational_conflicts;
      conflict_.clear();
      explain_proof(equations.proof());
      return Elimination::CONFLICT;
    }
  }
  for (LaVar v = 1; v < num_variables; ++v) {
    stop_.step();
    if (!rational_.is_int(v) || rational_.is_fixed(v)) continue;
    if (!tighten(equations, v)) {
      ++statistics_.tightening_conflicts;
      return Elimination::CONFLICT;
    }
  }
  if (!try_rounded_solution(equations)) return Elimination::UNDECIDED;
  log("found integral model");
  return Elimination::MODEL;
}

// Branching on single variables cannot follow an equation with large coefficients; an integer point
// of the equations near the rational one often is a model, once the reals have been solved again.
bool Solver::try_rounded_solution(const Diophantine& equations) {
  const std::vector<BoundValue> saved = rational_.save_values();
  const std::size_t level = rational_.num_levels();
  for (const auto rounding :
       {Diophantine::Rounding::NEAREST, Diophantine::Rounding::DOWN, Diophantine::Rounding::UP}) {
    std::vector<Number> values;
    values.reserve(saved.size());
    for (const BoundValue& v : saved) values.push_back(v.rational());
    equations.round_to_solution(values, rounding);
    rational_.push();
    bool feasible = true;
    for (const LaVar v : integers_) {
      const BoundValue value(values[index(v)]);
      feasible = feasible && rational_.assert_bound(v, kLower, value, la::Bound::FRAME, 0) &&
                 rational_.assert_bound(v, kUpper, value, la::Bound::FRAME, 0);
    }
    feasible = feasible && rational_.check();
    rational_.pop_to(level);
    if (feasible) return true;
    rational_.restore_values(saved);
  }
  return false;
}

// By the equations the variable is g * m + c for an integer m; false if no such value is within its
// bounds.
bool Solver::tighten(const Diophantine& equations, LaVar v) {
  const BoundIndex lower = rational_.asserted(v, kLower);
  const BoundIndex upper = rational_.asserted(v, kUpper);
  if (lower == 0 && upper == 0) return true;
  Diophantine::Form form = form_of(v);
  equations.substitute(form);
  conflict_.clear();
  if (form.sum.empty()) {
    const BoundValue value(form.constant);
    if (lower != 0 && value < rational_.bound(lower).value) conflict_.push_back(lower);
    if (upper != 0 && value > rational_.bound(upper).value) conflict_.push_back(upper);
    if (conflict_.empty()) return true;
    explain_proof(form.proof);
    return false;
  }
  if (lower == 0 || upper == 0) return true;
  // The variable is `common * m + constant`.
  Number common;
  for (const auto& [var, coefficient] : form.sum) common = Number::gcd(common, coefficient);
  const Number least = ((rational_.bound(lower).value.rational() - form.constant) / common).ceil();
  const Number most = ((rational_.bound(upper).value.rational() - form.constant) / common).floor();
  if (least <= most) return true;
  conflict_.push_back(lower);
  conflict_.push_back(upper);
  explain_proof(form.proof);
  return false;
}

std::size_t Solver::branch_limit() const {
  const int limit = configuration_.laz_internal_branch_and_bound_limit;
  if (limit == 0) return kMaxBranches;
  if (limit == 1) return std::max<std::size_t>(50, 10 * integers_.size());
  return static_cast<std::size_t>(limit);
}

// Asserts the bound of a frame's open side; false if that crosses another bound.
bool Solver::open_side(const BBFrame& frame) {
  rational_.push();
  const auto number = static_cast<std::int32_t>(&frame - frames_.data());
  if (frame.right) {
    if (logs()) {
      log("internal BB: going right, constraint: " + std::to_string(frame.var) +
          " >= " + (frame.floor + Number(1)).to_string());
    }
    return rational_.assert_bound(frame.var, kLower, BoundValue(frame.floor + Number(1)),
                                  la::Bound::FRAME, number);
  }
  if (logs()) {
    log("internal BB: going left, constraint: " + std::to_string(frame.var) +
        " <= " + frame.floor.to_string());
  }
  return rational_.assert_bound(frame.var, kUpper, BoundValue(frame.floor), la::Bound::FRAME,
                                number);
}

// Takes a conflict back to the deepest frame whose other side is open, and goes there; false if all
// are closed. What remains of the proof is then free of frames.
bool Solver::close_branches() {
  proof_bounds_.clear();
  proof_frames_.clear();
  const auto take = [this](const Vector<BoundIndex>& conflict) {
    for (const BoundIndex b : conflict) {
      const la::Bound& bound = rational_.bound(b);
      if (bound.kind == la::Bound::FRAME) {
        add_unique(proof_frames_, bound.reason);
      } else {
        add_unique(proof_bounds_, b);
      }
    }
  };
  take(rational_.conflict());
  while (!frames_.empty()) {
    BBFrame& frame = frames_.back();
    const auto number = static_cast<std::int32_t>(frames_.size() - 1);
    rational_.pop_to(base_level_ + frames_.size() - 1);
    const bool takes_part = !proof_frames_.empty() && proof_frames_.back() == number;
    if (!takes_part) {
      if (logs()) log("internal BB: backjumping over " + std::to_string(frame.var));
      frames_.pop_back();
      continue;
    }
    proof_frames_.pop_back();
    if (frame.right) {
      for (const BoundIndex b : frame.bounds) add_unique(proof_bounds_, b);
      for (const std::int32_t f : frame.frames) add_unique(proof_frames_, f);
      frames_.pop_back();
      continue;
    }
    frame.right = true;
    frame.bounds = proof_bounds_;
    frame.frames = proof_frames_;
    if (open_side(frame)) return true;
    proof_bounds_.clear();
    proof_frames_.clear();
    take(rational_.conflict());
  }
  return false;
}

// Within the equations, a sum may be constant, or the multiple of another one but for a constant:
// its bounds then say nothing, or no more than the tightest ones of their kind. The search goes
// without them, and its points satisfy them all the same.
void Solver::suspend_redundant() {
  struct Tightest {
    Number value;
    LaVar var;
    int side;
  };
  std::map<std::vector<std::pair<LaVar, Number>>, Tightest> tightest[2];
  const auto suspend = [this](LaVar v, int side) {
    suspended_.push_back({v, side, rational_.suspend_bound(v, side)});
  };
  const auto num_variables = static_cast<LaVar>(rational_.num_variables());
  for (LaVar v = 1; v < num_variables; ++v) {
    stop_.step();
    if (!rational_.is_int(v) || !rational_.is_slack(v) || rational_.is_fixed(v)) continue;
    if (rational_.asserted(v, kLower) == 0 && rational_.asserted(v, kUpper) == 0) continue;
    Diophantine::Form form = form_of(v);
    equations_->substitute(form);
    Number common;
    for (const auto& [var, coefficient] : form.sum) common = Number::gcd(common, coefficient);
    const bool negative = !form.sum.empty() && form.sum.begin()->second.sign() < 0;
    if (negative) common.negate();
    std::vector<std::pair<LaVar, Number>> key;
    for (const auto& [var, coefficient] : form.sum) {
      key.emplace_back(var, coefficient / common);
    }
    for (const int side : {kLower, kUpper}) {
      const BoundIndex bound = rational_.asserted(v, side);
      if (bound == 0) continue;
      if (form.sum.empty()) {
        suspend(v, side);
        continue;
      }
      // v = common * (sum of the key) + constant
      const Number value = (rational_.bound(bound).value.rational() - form.constant) / common;
      const int of_key = negative ? 1 - side : side;
      const auto [place, is_new] = tightest[of_key].emplace(key, Tightest{value, v, side});
      if (is_new) continue;
      Tightest& best = place->second;
      const bool tighter = of_key == kUpper ? value < best.value : best.value < value;
      if (tighter) {
        suspend(best.var, best.side);
        best = {value, v, side};
      } else {
        suspend(v, side);
      }
    }
  }
  if (logs()) log("internal BB: tot_redundant: " + std::to_string(suspended_.size()));
}

void Solver::resume_suspended() {
  for (const Suspended& s : suspended_) rational_.resume_bound(s.var, s.side, s.bound);
  suspended_.clear();
}

// Depth first, with conflict-driven jumps over branches that take no part in a proof.
Solver::Search Solver::branch_and_bound() {
  ++statistics_.internal_calls;
  frames_.clear();
  base_level_ = rational_.num_levels();
  if (equations_) suspend_redundant();
  const Search result = search_branches();
  resume_suspended();
  return result;
}

Solver::Search Solver::search_branches() {
  const std::size_t limit = branch_limit();
  std::size_t branches = 0;
  bool feasible = true;
  for (;;) {
    feasible = feasible && rational_.check();
    if (!feasible) {
      if (!close_branches()) {
        log("internal BB: final conflict!");
        ++statistics_.internal_conflicts;
        conflict_.clear();
        for (const BoundIndex b : proof_bounds_) conflict_.push_back(b);
        return Search::CONFLICT;
      }
      feasible = true;
      continue;
    }
    const LaVar v = pick_branch_variable();
    if (v == 0) {
      log("internal BB: found integral model");
      rational_.pop_to(base_level_);
      return Search::MODEL;
    }
    if (branches++ == limit) {
      log("internal BB: reached limit on branches");
      ++statistics_.internal_timeouts;
      rational_.pop_to(base_level_);
      return Search::LIMIT;
    }
    ++statistics_.internal_branches;
    frames_.push_back({v, rational_.value(v).floor(), /*right=*/false, {}, {}});
    feasible = open_side(frames_.back());
  }
}

TermRef Solver::sum_term(const Diophantine::Sum& sum) {
  TermRef result = nullptr;
  for (const auto& [var, coefficient] : sum) {
    TermRef summand = terms_.make_number(coefficient);
    summand = terms_.make_times(summand, mapper_.term_of(var));
    result = result == nullptr ? summand : terms_.make_plus(result, summand);
  }
  return result;
}

// The lemma: sum is at most the number, or at least the next one.
bool Solver::build_split(const Diophantine::Sum& sum, const Number& at_most, bool only_new) {
  const TermRef left = sum_term(sum);
  const TermRef low = terms_.make_number(at_most);
  const TermRef high = terms_.make_number(at_most + Number(1));
  const TermRef below = terms_.make_leq(left, low);
  const TermRef above = terms_.make_leq(high, left);
  const auto known = [this](TermRef t) { return is_known_(is_not(t) ? t->arg(0) : t); };
  if (only_new && known(below) && known(above)) return false;
  lemma_.literals = {below, above};
  lemma_.is_permanent = true;
  return true;
}

void Solver::build_plain_lemma() {
  const LaVar v = pick_branch_variable();
  if (logs()) {
    log("found violated var: " + std::to_string(v));
    log("building B&B clause from violated int var");
  }
  ++statistics_.normal_lemmas;
  Diophantine::Sum sum;
  sum.emplace(v, Number(1));
  build_split(sum, rational_.value(v).floor(), /*only_new=*/false);
}

// Cuts from proofs (Dillig, Dillig and Aiken, CAV 2009): the constraints that define the vertex, as
// equations. If they have no integer solution, the proof tells a split that removes the vertex.
bool Solver::build_extended_lemma() {
  Diophantine equations(static_cast<LaVar>(rational_.num_variables()));
  const auto num_variables = static_cast<LaVar>(rational_.num_variables());
  std::vector<LaVar> defining;
  for (LaVar v = 1; v < num_variables; ++v) {
    stop_.step();
    if (!rational_.is_int(v) || !is_integral(v)) continue;
    bool at_bound = false;
    for (const int side : {kLower, kUpper}) {
      const BoundIndex b = rational_.asserted(v, side);
      at_bound = at_bound || (b != 0 && rational_.bound(b).value == rational_.value(v));
    }
    if (!at_bound) continue;
    if (logs()) {
      log("found defining constraint: " + text_of(form_of(v).sum) + " = " +
          rational_.value(v).rational().to_string());
    }
    if (rational_.is_slack(v)) defining.push_back(v);
    Diophantine::Form form = form_of(v);
    form.constant = -rational_.value(v).rational();
    form.proof.emplace(v, Number(1));
    if (equations.add_equation(std::move(form))) continue;
    if (logs()) {
      log("defining constraints infeasible, conflict of size " +
          std::to_string(equations.proof().size()));
      log("def_unsat_proof: " + text_of(equations.proof()));
      log("building B&B clause from unsat proof: " + text_of(equations.proof()));
    }
    Diophantine::Form combined;
    for (const auto& [var, factor] : equations.proof()) {
      const Diophantine::Form input = form_of(var);
      for (const auto& [x, coefficient] : input.sum) {
        combined.sum[x].addmul(factor, coefficient);
      }
      combined.constant.addmul(factor, rational_.value(var).rational());
    }
    std::erase_if(combined.sum, [](const auto& entry) { return entry.second.is_zero(); });
    return !combined.sum.empty() &&
           build_split(combined.sum, combined.constant.floor(), /*only_new=*/true);
  }
  if (configuration_.laz_cuts_from_proofs_mode != 3) return false;
  for (const LaVar v : defining) {
    const Number below = rational_.value(v).rational() - Number(1);
    if (rational_.is_fixed(v)) continue;
    if (build_split(form_of(v).sum, below, /*only_new=*/true)) {
      log("building extended B&B clause from defining constraint");
      return true;
    }
  }
  return false;
}

void Solver::build_lemma() {
  const LaVar v = pick_branch_variable();
  if (rational_.asserted(v, kLower) == 0 || rational_.asserted(v, kUpper) == 0) {
    ++num_unbounded_splits_;
  }
  if (num_unbounded_splits_ >= kMaxUnboundedSplits || ++num_lemmas_ > kMaxLemmas) {
    throw TheorySolver::error("the limit on integer branches is reached");
  }
  lemma_.literals.clear();
  if (configuration_.laz_cuts_from_proofs_mode != 0 && build_extended_lemma()) {
    ++statistics_.extended_lemmas;
  } else {
    build_plain_lemma();
  }
  if (logs()) {
    std::string text = "B&B clause is:";
    for (const TermRef literal : lemma_.literals) text += " " + print_term(literal, 200);
    log(text);
  }
}

}  // namespace ordax::laz
