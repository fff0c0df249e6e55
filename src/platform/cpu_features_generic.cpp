// Processors other than x86-64 run the portable vector code, which needs nothing beyond the
// architecture's baseline (Advanced SIMD is part of every arm64 processor).
#include "platform/cpu_features.h"

namespace platform {

const CpuFeatures& ProcessorFeatures() {
  static const CpuFeatures none;
  return none;
}

SimdLevel ProcessorSimdLevel() { return SimdLevel::kBaseline; }

}  // namespace platform
