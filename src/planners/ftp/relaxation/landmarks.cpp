#include "planners/ftp/relaxation/landmarks.h"

#include <algorithm>

#include "planners/ftp/relaxation/landmark_finder.h"

namespace kelvo::ftp {

GuidedLandmarks::GuidedLandmarks(const GuidedTask& task) {
  LandmarkFinder finder(task);
  if (finder.find()) landmarks_ = finder.landmarks();
}

void GuidedLandmarks::note(GuidedState& state) const {
  state.landmarks.resize((landmarks_.size() + 63) / 64);
  for (std::uint32_t i = 0; i < landmarks_.size(); ++i) {
    if (holds(landmarks_[i], state)) state.landmarks[i / 64] |= std::uint64_t{1} << (i % 64);
  }
}

double GuidedLandmarks::count_missing(const GuidedState& state) const {
  double result = 0;
  for (std::uint32_t i = 0; i < landmarks_.size(); ++i) {
    const Landmark& landmark = landmarks_[i];
    if (!is_reached(i, state)) {
      result += 1;
    } else if (!holds(landmark, state)) {
      const bool is_needed =
          landmark.is_goal ||
          std::any_of(landmark.before.begin(), landmark.before.end(),
                      [&](std::uint32_t later) { return !is_reached(later, state); });
      if (is_needed) result += 1;
    }
  }
  return result;
}

}  // namespace kelvo::ftp
