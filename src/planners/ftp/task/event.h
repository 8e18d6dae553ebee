#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "temporal/temporal_network.h"

namespace kelvo::ftp {

enum class EventKind : std::uint8_t {
  START_PLAN,
  END_PLAN,
  START_ACTION,
  END_ACTION,
  CONDITION,
  EFFECT
};

/// One time point of a plan under construction.
struct Event {
  EventKind kind = EventKind::START_PLAN;
  /// A timed expression for CONDITION and EFFECT, the start condition (possibly null) for
  /// START_ACTION, else null.
  model::Expression expression = nullptr;
  /// Null for events of the plan as a whole and of the problem.
  model::Action action;
  /// The position among the events of one opening or of the problem.
  std::size_t index = 0;
  /// Tells instances apart.
  std::size_t fresh_id = 0;

  friend bool operator==(const Event&, const Event&) = default;
};

/// By kind, action (none first, then by name), index and number of the instance.
bool operator<(const Event& a, const Event& b);
std::ostream& operator<<(std::ostream& os, const Event& event);

}  // namespace kelvo::ftp

/// Numbers of instances repeat across the branches of a search, so the usual hash is coarse.
template <>
struct kelvo::TimePointHash<kelvo::ftp::Event> {
  std::size_t operator()(const kelvo::ftp::Event& event) const;
};

template <>
struct std::hash<kelvo::ftp::Event> {
  std::size_t operator()(const kelvo::ftp::Event& event) const noexcept { return event.fresh_id; }
};
