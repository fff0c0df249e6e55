// The row-buffer loops for AVX-512 (and FMA), chosen at run time.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

#if defined(__x86_64__)
#if defined(__clang__)
#pragma clang attribute push( \
    __attribute__((target("avx512f,avx512vl,avx512dq,avx512bw,avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx512vl,avx512dq,avx512bw,avx2,fma")
#endif

namespace scale_avx512 {
#define XQT_MULADD(a, b, c) ((V4)_mm256_fmadd_pd((__m256d)(a), (__m256d)(b), (__m256d)(c)))
#include "scale/scale_passes.inc"
#undef XQT_MULADD
}  // namespace scale_avx512

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

const ScalePassCode* AVX512PassCode() { return &scale_avx512::kPassCode; }
#else
const ScalePassCode* AVX512PassCode() { return nullptr; }
#endif
