#include "plugin/yield.h"

#include <cstdint>

#include "platform/clock.h"
#include "plugin/host_api.h"

namespace {

// The clock in the unit that `ticks` selects: 1/60 s ticks for positive values, else milliseconds.
int64_t Now(int64_t ticks) {
  double milliseconds = static_cast<double>(platform::MonotonicNanoseconds()) / 1000000.0;
  if (ticks >= 1) {
    auto sixtieths = static_cast<int64_t>(milliseconds / 16.666666666666668);
    return static_cast<int64_t>(static_cast<uint32_t>(sixtieths));
  }
  return static_cast<int64_t>(milliseconds);
}

}  // namespace

void YieldData::DoYield(YieldData* data) {
  if (!data) return;
  int64_t ticks = data->YieldTicks;
  int64_t interval = ticks >= 1 ? ticks : (ticks == INT64_MIN ? INT64_MAX : -ticks);
  int64_t now = Now(ticks);
  // Written as a comparison of the gap, which never overflows for the clock's values.
  int64_t gap = now - data->LastYield;
  if (gap < 0) gap = -gap;
  if (gap < interval) return;
  if (auto yield = hostapi::REALYieldToRB.get()) yield();
  data->LastYield = Now(ticks);
}
