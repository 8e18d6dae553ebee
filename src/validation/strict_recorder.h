#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "shell/numbers.h"

namespace kelvo::strict {

/// A stretch of time.
struct Stretch {
  rational from;
  bool from_closed;
  rational to;
  bool to_closed;
};

/// Records over which stretches of a window a condition holds.
class Recorder {
 public:
  /// The condition has this value from `time` on, `time` itself included if `closed`. What it was
  /// before, it was up to `time` and including it.
  void note(bool holds, const rational& time, bool closed);
  /// The window ends.
  void end(const rational& time, bool closed);

  bool is_met() const { return !stretches_.empty(); }
  /// The times at which the condition holds and goes on doing so for `lasting`, within the window.
  std::vector<Stretch> starts_of(const rational& lasting) const;

 private:
  void close(const rational& time, bool closed);

  std::vector<Stretch> stretches_;
  std::optional<std::pair<rational, bool>> open_since_;
};

/// What belongs to both. Stretches are in order and do not meet.
std::vector<Stretch> intersection(const std::vector<Stretch>& a, const std::vector<Stretch>& b);

/// Whether each label can be given one of its times so that each first label of a pair comes before
/// the second. Labels are numbers of `times`, whose stretches are in order.
bool can_be_ordered(const std::vector<std::vector<Stretch>>& times,
                    std::span<const std::pair<std::size_t, std::size_t>> orderings);

}  // namespace kelvo::strict
