#pragma once

#include <cstdint>
#include <vector>

#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "planners/task/literals.h"

namespace kelvo::ftp {

/// Literals that hold at some time in every plan, and how many of them a state has
/// still to reach.
///
/// They are those of the delete relaxation: each fact is labelled with what every way to it passes
/// (Keyder, Richter and Helmert, "Sound and complete landmarks for and/or graphs", ECAI 2010). One
/// that was reached is needed again while it does not hold and is a goal, or stands greedily
/// necessarily before one that was not reached yet.
class GuidedLandmarks {
 public:
  /// No landmarks.
  GuidedLandmarks() = default;
  /// None either when that would take too long. The task is borrowed.
  explicit GuidedLandmarks(const GuidedTask& task);

  bool empty() const { return landmarks_.empty(); }
  std::size_t size() const { return landmarks_.size(); }
  /// Notes what holds in the state, which carries what has held before.
  void note(GuidedState& state) const;
  /// How many have not been reached, or have to be reached again.
  double count_missing(const GuidedState& state) const;

 private:
  friend class LandmarkFinder;

  struct Landmark {
    SlotPlace place;
    SlotLiteral literal;
    bool is_goal;
    /// The landmarks before which this one has to hold.
    std::vector<std::uint32_t> before;
  };

  static bool holds(const Landmark& landmark, const GuidedState& state) {
    const std::uint32_t position = landmark.place.position;
    if (!landmark.place.is_boolean) return landmark.literal.holds_for(state.ids[position]);
    const bool value = (state.bits[position / 64] >> (position % 64) & 1) != 0;
    return landmark.literal.value == (value ? ValueTable::TRUE : ValueTable::FALSE);
  }
  static bool is_reached(std::uint32_t landmark, const GuidedState& state) {
    return (state.landmarks[landmark / 64] >> (landmark % 64) & 1) != 0;
  }

  std::vector<Landmark> landmarks_;
};

}  // namespace kelvo::ftp
