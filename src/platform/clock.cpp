#include "platform/clock.h"

#include <atomic>

#include "platform/system_calls.h"

namespace platform {
namespace {

std::atomic<ClockProc> gClock{&SystemMonotonicNanoseconds};

}  // namespace

int64_t MonotonicNanoseconds() { return gClock.load(std::memory_order_acquire)(); }

ClockProc SetMonotonicClock(ClockProc clock) {
  return gClock.exchange(clock ? clock : &SystemMonotonicNanoseconds, std::memory_order_acq_rel);
}

}  // namespace platform
