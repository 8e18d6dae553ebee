#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "planners/ftp/relaxation/marked_space.h"
#include "planners/heuristics/hlandmarks.h"

namespace kelvo::ftp {

/// Landmarks of the relaxed problem. The accepted sets are kept as long as the heuristic, and are
/// found by the notes of the states.
class HLandmarks : public kelvo::HLandmarks {
 public:
  explicit HLandmarks(RelaxedTask& relaxed);

 protected:
  StateValues initial_values(const State& state) override;
  bool is_initial_state(const State& state) const override;
  const Accepted& parent_accepted(const State& state) const override;
  void store_accepted(const State& state, const Accepted& accepted) override;

 private:
  HLandmarks(RelaxedTask& relaxed, std::unique_ptr<MarkedSpace> marked);

  RelaxedTask& relaxed_;
  std::unique_ptr<MarkedSpace> marked_;
  std::vector<Accepted> accepted_sets_;
};

}  // namespace kelvo::ftp
