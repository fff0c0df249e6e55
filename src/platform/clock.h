// The monotonic clock behind yielding, replaceable so tests can drive time by hand.
#pragma once

#include <cstdint>

namespace platform {

using ClockProc = int64_t (*)();  // nanoseconds since an arbitrary start

int64_t MonotonicNanoseconds();

// Replaces the clock; null restores the system's. Returns the old one.
ClockProc SetMonotonicClock(ClockProc clock);

}  // namespace platform
