#include "validation/strict_recorder.h"

#include <algorithm>

namespace kelvo::strict {

void Recorder::note(bool holds, const rational& time, bool closed) {
  if (holds && !open_since_) open_since_ = {time, closed};
  if (!holds) close(time, /*closed=*/true);
}

void Recorder::end(const rational& time, bool closed) {
  close(time, closed);
}

void Recorder::close(const rational& time, bool closed) {
  if (!open_since_) return;
  const auto [from, from_closed] = *open_since_;
  open_since_.reset();
  const bool is_empty = from > time || (from == time && !(from_closed && closed));
  if (!is_empty) stretches_.push_back({from, from_closed, time, closed});
}

std::vector<Stretch> Recorder::starts_of(const rational& lasting) const {
  std::vector<Stretch> result;
  for (const Stretch& stretch : stretches_) {
    const rational last = stretch.to - lasting;
    if (last < stretch.from) continue;
    if (last == stretch.from && !(stretch.from_closed && stretch.to_closed)) continue;
    result.push_back({stretch.from, stretch.from_closed, last, stretch.to_closed});
  }
  return result;
}

std::vector<Stretch> intersection(const std::vector<Stretch>& a, const std::vector<Stretch>& b) {
  std::vector<Stretch> result;
  for (const Stretch& x : a) {
    for (const Stretch& y : b) {
      const bool x_begins = y.from < x.from || (y.from == x.from && !x.from_closed);
      const bool x_ends = x.to < y.to || (x.to == y.to && !x.to_closed);
      const Stretch& first = x_begins ? x : y;
      const Stretch& last = x_ends ? x : y;
      const bool both_closed = first.from_closed && last.to_closed;
      if (last.to < first.from || (last.to == first.from && !both_closed)) continue;
      result.push_back({first.from, first.from_closed, last.to, last.to_closed});
    }
  }
  return result;
}

namespace {

/// A time, or a moment after it: the n-th of moments as close to it as one likes.
struct Moment {
  rational time;
  std::size_t behind = 0;
};

bool is_before(const Moment& a, const Moment& b) {
  return a.time != b.time ? a.time < b.time : a.behind < b.behind;
}

// The first moment of the stretches that is after `bound`.
std::optional<Moment> first_behind(const std::vector<Stretch>& stretches,
                                   const std::optional<Moment>& bound) {
  for (const Stretch& stretch : stretches) {
    Moment first{stretch.from, stretch.from_closed ? std::size_t{0} : std::size_t{1}};
    if (bound && !is_before(*bound, first)) first = {bound->time, bound->behind + 1};
    // A moment after the time `to` is not in the stretch.
    const bool is_inside = first.time < stretch.to ||
                           (first.time == stretch.to && first.behind == 0 && stretch.to_closed);
    if (is_inside) return first;
  }
  return std::nullopt;
}

}  // namespace

// Each label takes its first possible moment, in an order that respects the pairs: whatever another
// choice allows for the labels after it, this one does.
bool can_be_ordered(const std::vector<std::vector<Stretch>>& times,
                    std::span<const std::pair<std::size_t, std::size_t>> orderings) {
  std::vector<std::vector<std::size_t>> later(times.size());
  std::vector<std::size_t> num_earlier(times.size(), 0);
  for (const auto& [first, second] : orderings) {
    later[first].push_back(second);
    ++num_earlier[second];
  }
  std::vector<std::size_t> ready;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (num_earlier[i] == 0) ready.push_back(i);
  }
  std::vector<std::optional<Moment>> bounds(times.size());
  std::size_t num_done = 0;
  while (!ready.empty()) {
    const std::size_t label = ready.back();
    ready.pop_back();
    ++num_done;
    const std::optional<Moment> moment = first_behind(times[label], bounds[label]);
    if (!moment) return false;
    for (const std::size_t i : later[label]) {
      if (!bounds[i] || is_before(*bounds[i], *moment)) bounds[i] = moment;
      if (--num_earlier[i] == 0) ready.push_back(i);
    }
  }
  return num_done == times.size();
}

}  // namespace kelvo::strict
