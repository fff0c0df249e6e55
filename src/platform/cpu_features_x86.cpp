// x86-64: the processor's answer through CPUID, and the system's through XGETBV, read once. Our
// own reading rather than the compiler's runtime check, which macOS and other systems lack.
#include <cpuid.h>

#include <cstdint>

#include "platform/cpu_features.h"

namespace platform {
namespace {

// The register state the system saves on a context switch (XCR0).
uint64_t SavedState() {
  uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return uint64_t{high} << 32 | low;
}

constexpr uint64_t kAVXState = 0x6;      // SSE and AVX registers
constexpr uint64_t kAVX512State = 0xE0;  // opmask and the upper ZMM registers

CpuFeatures Detect() {
  CpuFeatures features;
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return features;
  bool osxsave = (c >> 27) & 1, avx = (c >> 28) & 1, fma = (c >> 12) & 1;
  if (!osxsave || !avx) return features;
  uint64_t state = SavedState();
  if ((state & kAVXState) != kAVXState) return features;
    // macOS saves the AVX-512 state only from a thread's first AVX-512 instruction on, so XCR0
    // does not show it before then.
#if defined(__APPLE__)
  constexpr bool kStateSavedOnDemand = true;
#else
  constexpr bool kStateSavedOnDemand = false;
#endif
  bool avx512State = kStateSavedOnDemand || (state & kAVX512State) == kAVX512State;
  unsigned leaf7b = 0, leaf7c = 0;
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d)) {
    leaf7b = b;
    leaf7c = c;
  }
  features.fma = fma;
  features.avx2 = (leaf7b >> 5) & 1;
  if (avx512State) {
    features.avx512f = (leaf7b >> 16) & 1;
    features.avx512dq = (leaf7b >> 17) & 1;
    features.avx512bw = (leaf7b >> 30) & 1;
    features.avx512vl = (leaf7b >> 31) & 1;
    features.avx512vbmi = (leaf7c >> 1) & 1;
  }
  return features;
}

}  // namespace

const CpuFeatures& ProcessorFeatures() {
  static const CpuFeatures features = Detect();
  return features;
}

SimdLevel ProcessorSimdLevel() {
  const CpuFeatures& f = ProcessorFeatures();
#if !defined(XQT_SIMD_CEILING_AVX2)
  if (f.avx512f && f.avx512vl && f.avx512dq && f.avx512bw && f.fma) return SimdLevel::kAVX512;
#endif
  if (f.avx2 && f.fma) return SimdLevel::kAVX2;
  return SimdLevel::kBaseline;
}

}  // namespace platform
