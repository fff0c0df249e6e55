// The vector loops every processor runs: SSE2 on x86-64, the portable vector code elsewhere.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__aarch64__)
#include <arm_neon.h>
#endif

#include "platform/aligned_memory.h"
#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

#pragma GCC diagnostic ignored "-Wpsabi"

namespace scale_baseline {
#if defined(__aarch64__)
// Every arm64 processor fuses; the products the loops fuse are exact, so the bits are the same.
#define XQT_FMA_PARTS
#define XQT_FMA(acc, a, b) FusedParts((acc), (a), (b))
#else
#define XQT_FMA(acc, a, b) ((acc) = (acc) + (a) * (b))
#endif
#define XQT_ACCUMULATORS 3
#define XQT_VERTICAL_BLOCK 2
#include "scale/scale_passes.inc"
#undef XQT_FMA
#undef XQT_FMA_PARTS
#undef XQT_ACCUMULATORS
#undef XQT_VERTICAL_BLOCK
}  // namespace scale_baseline

const ScalePassCode& BaselinePassCode() { return scale_baseline::kPassCode; }
