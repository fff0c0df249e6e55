// The vector loops for AVX2 with fused multiply-add, chosen at run time (x86-64 only).
#include <immintrin.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/aligned_memory.h"
#include "platform/vector_target.h"
#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

#pragma GCC diagnostic ignored "-Wpsabi"
XQT_TARGET_BEGIN("avx2,fma")

namespace scale_avx2 {
#define XQT_AVX2
#define XQT_FMA_PARTS
#define XQT_FMA(acc, a, b) FusedParts((acc), (a), (b))
#define XQT_ACCUMULATORS 8
#define XQT_VERTICAL_BLOCK 3
#include "scale/scale_passes.inc"
#undef XQT_FMA_PARTS
#undef XQT_FMA
#undef XQT_ACCUMULATORS
#undef XQT_VERTICAL_BLOCK
#undef XQT_AVX2
}  // namespace scale_avx2

XQT_TARGET_END

const ScalePassCode* AVX2PassCode() { return &scale_avx2::kPassCode; }
