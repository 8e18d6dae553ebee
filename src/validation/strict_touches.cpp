#include "validation/strict_touches.h"

namespace kelvo::strict {

Touches::Cell::Cell() {
  for (Latest& two : latest) two.fill({kNoStep, 0, 0});
}

Touches::Touches(const rational& epsilon, const std::vector<rational>& times)
    : epsilon_(epsilon), times_(times) {
  rounded_times_.reserve(times.size());
  for (const rational& time : times) rounded_times_.push_back(to_double(time));
  const double last = times.empty() ? 0 : rounded_times_.back();
  clear_distance_ = to_double(epsilon) * (1 + 1e-9) + last * 1e-12 + 1e-300;
}

bool Touches::is_close(const Toucher& a, const Toucher& b) const {
  if (a.time == b.time) return true;
  if (rounded_times_[b.time] - rounded_times_[a.time] > clear_distance_) return false;
  return times_[b.time] - times_[a.time] < epsilon_;
}

std::optional<Touches::Toucher> Touches::enter(Slot slot, Touch touch, const Toucher& toucher) {
  if (slot >= cells_.size()) cells_.resize(slot + 1);
  Cell& cell = cells_[slot];
  for (const Touch other : {Touch::WRITE, Touch::INCREASE, Touch::READ}) {
    const bool may_meet = touch == other && touch != Touch::WRITE;
    if (may_meet) continue;
    for (const Toucher& earlier : cell.latest[static_cast<std::size_t>(other)]) {
      if (earlier.step == kNoStep || earlier.step == toucher.step) continue;
      if (is_close(earlier, toucher)) return earlier;
    }
  }
  Latest& latest = cell.latest[static_cast<std::size_t>(touch)];
  if (latest[0].step != toucher.step) latest[1] = latest[0];
  latest[0] = toucher;
  return std::nullopt;
}

}  // namespace kelvo::strict
