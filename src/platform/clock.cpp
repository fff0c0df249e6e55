#include "platform/clock.h"

#include <time.h>

#include <atomic>

namespace platform {
namespace {

int64_t SystemMonotonic() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::atomic<ClockProc> gClock{&SystemMonotonic};

}  // namespace

int64_t MonotonicNanoseconds() { return gClock.load(std::memory_order_acquire)(); }

ClockProc SetMonotonicClock(ClockProc clock) {
  return gClock.exchange(clock ? clock : &SystemMonotonic, std::memory_order_acq_rel);
}

}  // namespace platform
