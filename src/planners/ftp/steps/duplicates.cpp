#include "planners/ftp/steps/duplicates.h"

#include <algorithm>

#include "planners/search/state_hash.h"

namespace kelvo::ftp {

std::uint64_t GuidedDuplicates::hash_of(const GuidedState& state) {
  StateHash hash;
  hash.mix(space_, state.values());
  open_.clear();
  for (const OpenAction& open : state.open) open_.emplace_back(open.list, open.position);
  std::sort(open_.begin(), open_.end());
  for (const auto& [list, position] : open_) hash.mix((std::uint64_t{list} << 32) + position + 1);
  hash.mix(state.problem_position);
  if (kind_ == Duplicates::EXACT) hash.mix(times_.hash(state));
  return hash.value();
}

}  // namespace kelvo::ftp
