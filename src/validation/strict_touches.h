#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "shell/numbers.h"
#include "validation/strict_state.h"

namespace kelvo::strict {

enum class Touch : std::uint8_t { READ, WRITE, INCREASE };

/// Finds happenings of two steps that touch one ground fluent less than a given time apart, though
/// one of them writes it. Increases alone may meet. Touches are entered in the order of time.
class Touches {
 public:
  Touches(const rational& epsilon, const std::vector<rational>& times);

  struct Toucher {
    std::uint32_t step;
    std::uint32_t statement;
    std::uint32_t time;
  };

  /// The earlier touch that this one is too close to, if there is one.
  std::optional<Toucher> enter(Slot slot, Touch touch, const Toucher& toucher);

 private:
  static constexpr std::uint32_t kNoStep = static_cast<std::uint32_t>(-1);
  /// The last two touches of one kind that are of two steps, the latest first. What is further back
  /// is no closer to anything that comes.
  using Latest = std::array<Toucher, 2>;
  struct Cell {
    std::array<Latest, 3> latest;
    Cell();
  };

  bool is_close(const Toucher& a, const Toucher& b) const;

  const rational& epsilon_;
  const std::vector<rational>& times_;
  // Nearly all touches are far apart, which rounded times show.
  std::vector<double> rounded_times_;
  double clear_distance_;
  std::vector<Cell> cells_;
};

}  // namespace kelvo::strict
