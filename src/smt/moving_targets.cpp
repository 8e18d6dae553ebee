#include "smt/moving_targets.h"

#include <algorithm>
#include <unordered_set>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "shell/environment.h"
#include "smt/smt_encoder.h"

namespace kelvo::smt {

using model::Expression;

MovingTargets::MovingTargets(SmtEncoder& encoder, const rational& separation)
    : EnvObject(encoder.environment()), encoder_(encoder), separation_(separation) {
  for (const auto& [name, action] : encoder.problem()->actions()) collect(*action);
}

void MovingTargets::collect(const model::ActionImpl& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  std::map<std::size_t, Happening> by_time;  // keyed by the id of the time, so in one order
  for (const Expression e : action.expressions()) {
    const TimedStatement statement = decompose_statement(e);
    if (statement.is_timed() && (!statement.is_point() || statement.is_contains)) continue;
    const Expression time = statement.is_timed() ? statement.left : ef.make_start_anchor();
    Happening& happening = by_time[time->id()];
    happening.action = &action;
    happening.time = time;
    std::unordered_set<Expression> seen;
    std::vector<Expression> todo{statement.body};
    const auto touch = [&](Expression target, bool is_write) {
      const bool is_applied = ef.is_functional_apply(target);
      const Expression reference =
          is_applied ? ef.get_reference_from_functional_apply(target) : target;
      if (!ef.is_fluent_reference(reference)) return;
      const model::Fluent fluent = ef.get_fluent_from_reference(reference);
      if (!is_applied && fluent->has_parameters()) return;
      happening.touches.push_back(
          {fluent.get(), {target->children().begin(), target->children().end()}, is_write});
    };
    while (!todo.empty()) {
      const Expression part = todo.back();
      todo.pop_back();
      if (!seen.insert(part).second) continue;
      if (ef.is_assign(part)) {
        touch(part->child(0), /*is_write=*/true);
        todo.push_back(part->child(1));
        continue;
      }
      touch(part, /*is_write=*/false);
      todo.insert(todo.end(), part->children().begin(), part->children().end());
    }
  }
  for (auto& [id, happening] : by_time) {
    if (!happening.touches.empty()) happenings_.push_back(std::move(happening));
  }
}

Formula MovingTargets::meet(const Happening& x, std::uint32_t a, const Happening& y,
                            std::uint32_t b) {
  const auto formulas = [this](const Happening& happening, std::uint32_t step, const Touch& touch) {
    std::vector<Formula> result;
    for (const Expression argument : touch.arguments) {
      result.push_back(encoder_.to_formula({happening.action, step, step, step}, argument));
    }
    return result;
  };
  std::vector<Formula> cases;
  for (const Touch& mine : x.touches) {
    for (const Touch& other : y.touches) {
      if (mine.fluent != other.fluent || !(mine.is_write || other.is_write)) continue;
      const std::vector<Formula> left = formulas(x, a, mine);
      const std::vector<Formula> right = formulas(y, b, other);
      const SmtEncoder::Equalities same = encoder_.equalities(left, right);
      if (same.contradictory) continue;
      const Formula meets = encoder_.conjunction(same.needed);
      if (std::ranges::find(cases, meets) == cases.end()) cases.push_back(meets);
      if (same.needed.empty()) return meets;
    }
  }
  return cases.empty() ? nullptr : encoder_.disjunction(cases);
}

Formula MovingTargets::are_apart(const Happening& x, std::uint32_t a, const Happening& y,
                                 std::uint32_t b) {
  SmtFactory& factory = encoder_.factory();
  const Formula epsilon = factory.make_rational_constant(separation_);
  const Formula left = encoder_.time_point({x.action, a, a, a}, x.time);
  const Formula right = encoder_.time_point({y.action, b, b, b}, y.time);
  if (left == right) return factory.make_boolean_constant(false);
  const Formula behind_left = factory.make_plus(left, epsilon);
  const Formula is_later = factory.make_ge(right, behind_left);
  const Formula behind_right = factory.make_plus(right, epsilon);
  const Formula is_earlier = factory.make_ge(left, behind_right);
  return factory.make_or(is_later, is_earlier);
}

void MovingTargets::keep_apart(SmtSolver& solver, const Happening& x, std::uint32_t a,
                               const Happening& y, std::uint32_t b) {
  const Formula meets = meet(x, a, y, b);
  if (meets == nullptr) return;
  SmtFactory& factory = encoder_.factory();
  const Formula x_starts = encoder_.action_variable(*x.action, a);
  const Formula y_starts = encoder_.action_variable(*y.action, b);
  const Formula both_meet = factory.make_and(x_starts, y_starts, meets);
  const Formula apart = are_apart(x, a, y, b);
  encoder_.assert_formula(solver, factory.make_implies(both_meet, apart));
}

void MovingTargets::keep_apart(SmtSolver& solver) {
  for (std::size_t first = 0; first < happenings_.size(); ++first) {
    for (std::size_t second = first; second < happenings_.size(); ++second) {
      const Happening& x = happenings_[first];
      const Happening& y = happenings_[second];
      for (std::uint32_t a = 1; a < encoder_.horizon(); ++a) {
        // A happening against itself: each pair of steps once.
        for (std::uint32_t b = first == second ? a + 1 : 1; b < encoder_.horizon(); ++b) {
          const bool is_one_step = x.action == y.action && a == b;
          if (!is_one_step) keep_apart(solver, x, a, y, b);
        }
      }
    }
  }
}

}  // namespace kelvo::smt
