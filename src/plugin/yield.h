// Giving the host a turn during long loops, so its user interface and threads keep running.
#pragma once

#include <cstdint>

struct YieldData {
  // The application's interval: ticks of 1/60 s when positive, otherwise -YieldTicks milliseconds.
  // DoYield yields at every call for 0, but the row loops call it only for a non-zero interval, so
  // 0 means the host gets no turns.
  int64_t YieldTicks;
  // Time of the last yield, in the unit YieldTicks selects.
  int64_t LastYield;

  // Yields when the interval has passed since LastYield. Host thread only.
  static void DoYield(YieldData* data);
};
