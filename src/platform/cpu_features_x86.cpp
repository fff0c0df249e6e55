// x86-64: the processor's own answer, read once.
#include "platform/cpu_features.h"

namespace platform {

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

}  // namespace platform
