// The row-buffer loops for AVX2 with fused multiply-add, chosen at run time.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

#if defined(__x86_64__)
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,fma")
#endif

namespace scale_avx2 {
#define XQT_MULADD(a, b, c) ((V4)_mm256_fmadd_pd((__m256d)(a), (__m256d)(b), (__m256d)(c)))
#include "scale/scale_passes.inc"
#undef XQT_MULADD
}  // namespace scale_avx2

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

const ScalePassCode* AVX2PassCode() { return &scale_avx2::kPassCode; }
#else
const ScalePassCode* AVX2PassCode() { return nullptr; }
#endif
