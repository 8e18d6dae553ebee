#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "shell/numbers.h"
#include "smt/formula.h"

namespace kelvo::smt {

class SmtEncoder;
class SmtSolver;

/// The rule of PDDL that no step touches a target that another one moves: what two steps do within
/// the separation may not touch one fact or function that one of them writes. Touched is what the
/// conditions and effects at a point and the bounds of the duration name; conditions over all of an
/// action happen at no instant.
class MovingTargets : public EnvObject {
 public:
  MovingTargets(SmtEncoder& encoder, const rational& separation);

  /// Asserts the rule for all pairs of steps of the horizon that is being encoded.
  void keep_apart(SmtSolver& solver);

 private:
  struct Touch {
    const model::FluentImpl* fluent;
    std::vector<model::Expression> arguments;
    bool is_write;
  };
  /// What an action does at one time point.
  struct Happening {
    const model::ActionImpl* action;
    model::Expression time;
    std::vector<Touch> touches;
  };

  void collect(const model::ActionImpl& action);
  /// That the steps at `a` and `b` meet in one target; null for never.
  Formula meet(const Happening& x, std::uint32_t a, const Happening& y, std::uint32_t b);
  Formula are_apart(const Happening& x, std::uint32_t a, const Happening& y, std::uint32_t b);
  void keep_apart(SmtSolver& solver, const Happening& x, std::uint32_t a, const Happening& y,
                  std::uint32_t b);

  SmtEncoder& encoder_;
  rational separation_;
  std::vector<Happening> happenings_;
};

}  // namespace kelvo::smt
