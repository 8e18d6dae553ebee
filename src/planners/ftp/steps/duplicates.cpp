#include "planners/ftp/steps/duplicates.h"

#include <algorithm>

namespace kelvo::ftp {

std::uint64_t GuidedDuplicates::hash_of(const GuidedState& state) {
  std::uint64_t hash = 0;
  const auto mix = [&hash](std::uint64_t word) {
    hash = (hash ^ word) * 0x9e3779b97f4a7c15ULL;
    hash ^= hash >> 32;
    hash *= 0xd6e8feb86659fd93ULL;
    hash ^= hash >> 29;
  };
  std::for_each(state.bits.begin(), state.bits.end(), mix);
  std::for_each(state.ids.begin(), state.ids.end(), mix);
  open_.clear();
  for (const OpenAction& open : state.open) open_.emplace_back(open.list, open.position);
  std::sort(open_.begin(), open_.end());
  for (const auto& [list, position] : open_) mix((std::uint64_t{list} << 32) + position + 1);
  mix(state.problem_position);
  if (kind_ == Duplicates::EXACT) mix(times_.hash(state));
  return hash;
}

}  // namespace kelvo::ftp
