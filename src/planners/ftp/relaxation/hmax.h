#pragma once

#include "planners/ftp/relaxation/marked_space.h"
#include "planners/heuristics/hmax.h"

namespace kelvo::ftp {

/// The rounds of relaxed exploration on the relaxed problem. The marker of the phase that comes
/// next may be true; what the markers of an idle action may be stays possible.
class HMax : public kelvo::HMax {
 public:
  explicit HMax(RelaxedTask& relaxed);

 protected:
  void initial_values(const State& state, RelaxedExploration& exploration) override;

 private:
  HMax(RelaxedTask& relaxed, std::unique_ptr<MarkedSpace> marked);

  RelaxedTask& relaxed_;
  std::unique_ptr<MarkedSpace> marked_;
};

}  // namespace kelvo::ftp
