// The vector loops for AVX-512 (and FMA), chosen at run time (x86-64 only).
#include <immintrin.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/aligned_memory.h"
#include "platform/vector_target.h"
#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

#pragma GCC diagnostic ignored "-Wpsabi"
#if !defined(__clang__)
// The AVX-512 conversion and rounding headers of GCC 12 start from an undefined register.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
XQT_TARGET_BEGIN("avx512f,avx512vl,avx512dq,avx512bw,avx2,fma")

namespace scale_avx512 {
#define XQT_AVX512
#define XQT_FMA(acc, a, b) ((acc) = (V8)_mm512_fmadd_pd((__m512d)(a), (__m512d)(b), (__m512d)(acc)))
#define XQT_ACCUMULATORS 10
#define XQT_VERTICAL_BLOCK 6
#include "scale/scale_passes.inc"
#undef XQT_FMA
#undef XQT_ACCUMULATORS
#undef XQT_VERTICAL_BLOCK
#undef XQT_AVX512
}  // namespace scale_avx512

XQT_TARGET_END

const ScalePassCode* AVX512PassCode() { return &scale_avx512::kPassCode; }
