// Which vector instructions the processor offers, and a process-wide cap on what the optimised
// kernels may use, so that tests run every image test on the plain path too. The plug-in itself
// never lowers the cap; it reads no environment variables.
#pragma once

namespace platform {

enum class SimdLevel : int {
  kScalar = 0,    // the plain per-sample code, written from the formulas
  kBaseline = 1,  // the portable vector code: SSE2 on x86-64, Advanced SIMD on arm64
  kAVX2 = 2,      // AVX2 with FMA (x86-64 only)
  kAVX512 = 3,    // AVX-512 F, VL, DQ, BW with FMA (x86-64 only)
};

// What the processor and the system together let the kernels use: an instruction set counts
// when the processor has it and the system saves its registers. All false but on x86-64.
struct CpuFeatures {
  bool fma = false;
  bool avx2 = false;
  bool avx512f = false;
  bool avx512vl = false;
  bool avx512dq = false;
  bool avx512bw = false;
  bool avx512vbmi = false;
};
const CpuFeatures& ProcessorFeatures();  // read once

// The best level this processor runs; kBaseline on every processor but x86-64.
SimdLevel ProcessorSimdLevel();

// The level kernels use: the processor's, capped by SetSimdLimit.
SimdLevel ActiveSimdLevel();

// Whether the processor runs `level`'s kernels, and whether the cap lets them run.
inline bool ProcessorRuns(SimdLevel level) { return ProcessorSimdLevel() >= level; }
inline bool LevelAllowed(SimdLevel level) { return ActiveSimdLevel() >= level; }

// Caps the level (static library and tests); returns the previous cap.
SimdLevel SetSimdLimit(SimdLevel limit);

}  // namespace platform
