#include "platform/cpu_features.h"

#include <algorithm>
#include <atomic>

namespace platform {
namespace {

std::atomic<int> gLimit{static_cast<int>(SimdLevel::kAVX512)};

}  // namespace

SimdLevel ProcessorSimdLevel() {
  static const SimdLevel level = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("fma")) {
      return SimdLevel::kAVX512;
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return SimdLevel::kAVX2;
    return SimdLevel::kBaseline;
  }();
  return level;
}

SimdLevel ActiveSimdLevel() {
  return static_cast<SimdLevel>(
      std::min(static_cast<int>(ProcessorSimdLevel()), gLimit.load(std::memory_order_relaxed)));
}

SimdLevel SetSimdLimit(SimdLevel limit) {
  return static_cast<SimdLevel>(
      gLimit.exchange(static_cast<int>(limit), std::memory_order_relaxed));
}

}  // namespace platform
