#include "platform/cpu_features.h"

#include <algorithm>
#include <atomic>

namespace platform {
namespace {

std::atomic<int> gLimit{static_cast<int>(SimdLevel::kAVX512)};

}  // namespace

SimdLevel ActiveSimdLevel() {
  return static_cast<SimdLevel>(
      std::min(static_cast<int>(ProcessorSimdLevel()), gLimit.load(std::memory_order_relaxed)));
}

SimdLevel SetSimdLimit(SimdLevel limit) {
  return static_cast<SimdLevel>(
      gLimit.exchange(static_cast<int>(limit), std::memory_order_relaxed));
}

}  // namespace platform
