#pragma once

#include "model/model_fwd.h"
#include "model/timed_effect.h"
#include "shell/numbers.h"

namespace kelvo {

class Environment;

/// Whether an interval holds any moment.
enum class Extent { NEVER_EMPTY, PERHAPS_EMPTY, ALWAYS_EMPTY };

/// The extent of the interval of a timed statement, as far as its text and a fixed duration of the
/// action tell it. `fixed_duration` is null for the problem's statements and for free durations.
Extent extent_of(Environment& env, const TimedStatement& statement, const model::ActionImpl* action,
                 const rational* fixed_duration);

}  // namespace kelvo
