// Vector row kernels of the point filters, the dither and the unsharp combination, and the choice
// among them. A kernel works on a row as a run of bytes: every byte belongs to a class by its
// position inside the pixel (0: left alone), so a kernel only applies when source and dest lay
// their pixels out alike. The callers check that (VectorLayout) and keep their plain loops, written
// from the formulas, for everything else; the two give the same bytes.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"

// Pixels larger than this take the plain loops.
inline constexpr int64_t kMaxVectorPixel = 16;
// Bytes the class and threshold patterns run past one period, so a 64-byte load fits anywhere.
inline constexpr int64_t kPatternSlack = 64;

// Class of every byte position, repeated: classes[i] = class of byte i mod pixelSize, for
// i < pixelSize + kPatternSlack.
struct BytePattern {
  int64_t pixelSize = 0;
  uint8_t classes[kMaxVectorPixel + kPatternSlack] = {};
};

// Fills `pattern` from the byte positions (channel offsets) of a path and the class of each
// (1 ... 5). False when the layout does not suit the kernels: pixel sizes that differ or exceed
// kMaxVectorPixel, an offset that differs between the two images, lies outside the pixel or
// repeats.
bool VectorLayout(const ImageClassData& source, const ImageClassData& dest, int count,
                  const int64_t* sourceOffsets, const int64_t* destOffsets, const uint8_t* classes,
                  BytePattern& pattern);

// True when the two byte ranges are the same or do not meet: a kernel reads a whole block before
// it writes it, which equals the per-channel order only then.
bool RowsSafeForVectors(const uint8_t* a, const uint8_t* b, int64_t bytes);

// A step that kernels may multiply out instead of looking it up: floor(d * m / 65536) for a signed
// d of at most 255 in size. |m| <= kLinearLimit keeps the step plus a byte within 16 bits.
struct LinearStep {
  int32_t m = 0;
};
inline constexpr int32_t kLinearLimit = 125 * 65536;

// A step whose value at every d = -255 ... 255 lies in [low[d + 255], high[d + 255]]; false when
// there is none.
bool FitLinearStep(const int32_t* low, const int32_t* high, LinearStep& step);

// A byte map that is a clamped line: table[v] = clamp(step(v - base), 0, 255) for every v;
// FitByteRamp gives false for a table that is no such line.
struct ByteRamp {
  int base = 0;
  LinearStep step;
};
bool FitByteRamp(const uint8_t* table, ByteRamp& ramp);

// Point filters: byte i of the row with class c > 0 becomes tables[(c - 1) * 256 + from[i]].
// The tables lie back to back with kTableSlack bytes after the last (a gather reads four bytes).
// With one table, `ramp` (from FitByteRamp) may give it as a line, which kernels may compute.
inline constexpr int64_t kTableSlack = 64;
struct ByteMapRow {
  const BytePattern* pattern;
  const uint8_t* tables;
  int tableCount;
  const ByteRamp* ramp = nullptr;
};
using ByteMapRowProc = void (*)(const ByteMapRow& row, const uint8_t* from, uint8_t* to,
                                int64_t bytes);

// Dither: byte i with class 1 becomes levels[2 v + 1] where v = from[i] <= thresholds[i mod
// period], else levels[2 v] (the lowered and raised level of v side by side, with kTableSlack
// bytes after them); `thresholds` holds period + kPatternSlack bytes. With at most 256 levels,
// `outputs` may give the output levels L[0 ... top] (top = levels - 1): then the lowered level of
// v is L[(v * top) >> 8] and the raised one the next, which kernels may use instead.
struct DitherRow {
  const BytePattern* pattern;
  const uint8_t* levels;
  const uint8_t* thresholds;
  int64_t period;
  const uint8_t* outputs = nullptr;  // 256 entries
  int64_t top = 0;
};
using DitherRowProc = void (*)(const DitherRow& row, const uint8_t* from, uint8_t* to,
                               int64_t bytes);

// Unsharp: byte i of self with class 1, a = self[i], b = other[i], d = a - b, becomes a where
// |d| < limit, else clamp((integer)(b + d * k), 0, 255). Only for finite k: then b + d * k is
// never NaN, and clamping before the conversion gives what truncating and clamping gives.
// With `steps` (from UnsharpSteps) the kernels work in bytes instead.
struct UnsharpSteps;
struct UnsharpRow {
  const BytePattern* pattern;
  double k;
  int32_t limit;
  const UnsharpSteps* steps = nullptr;
};
using UnsharpRowProc = void (*)(const UnsharpRow& row, const uint8_t* other, uint8_t* self,
                                int64_t bytes);

// One byte of the unsharp rule, for the kernels' row ends.
inline uint8_t UnsharpByte(int a, int b, double k, int32_t limit) {
  int d = a - b;
  if ((d < 0 ? -d : d) < limit) return static_cast<uint8_t>(a);
  double x = b + d * k;
  return x >= 255.0 ? 255 : x < 0.0 ? 0 : static_cast<uint8_t>(x);
}

// The formula as saturating byte steps: where d = a - b > 0, the result is b + up[d] clamped
// (b - up[d] with upFalls); where d < 0, b + down[-d] clamped (b - down[-d] with downFalls).
// Usually the step is floor(d * k); every pair (a, b) is checked, and where the rounding of
// b + d * k makes no single step fit, BuildUnsharpSteps gives false (the double kernel then).
// Only for finite k.
// Where it fits, the signed step of every d the rule uses is also `line`, so that the result is
// clamp(b + line(d), 0, 255) and kernels without a fast byte lookup can multiply instead (linear
// false: they may not).
struct UnsharpSteps {
  uint8_t up[256];
  uint8_t down[256];
  bool upFalls;
  bool downFalls;
  bool linear = false;
  LinearStep line;
};
bool BuildUnsharpSteps(double k, int32_t limit, UnsharpSteps& steps);

// The kernels for the processor and the active cap (platform::ActiveSimdLevel); null: plain loops.
ByteMapRowProc ActiveByteMapRow();
DitherRowProc ActiveDitherRow();
UnsharpRowProc ActiveUnsharpRow();

// The kernels of one instruction set, null where the processor lacks it (tests and benchmarks).
#if defined(__x86_64__)
ByteMapRowProc ByteMapRowAVX512();
ByteMapRowProc ByteMapRowAVX2();
DitherRowProc DitherRowAVX512();
DitherRowProc DitherRowAVX2();
UnsharpRowProc UnsharpRowAVX512();
UnsharpRowProc UnsharpRowAVX2();
#else
// The AVX files build on x86-64 only.
inline ByteMapRowProc ByteMapRowAVX512() { return nullptr; }
inline ByteMapRowProc ByteMapRowAVX2() { return nullptr; }
inline DitherRowProc DitherRowAVX512() { return nullptr; }
inline DitherRowProc DitherRowAVX2() { return nullptr; }
inline UnsharpRowProc UnsharpRowAVX512() { return nullptr; }
inline UnsharpRowProc UnsharpRowAVX2() { return nullptr; }
#endif

// The portable kernels (filter_simd_portable.cpp), built on every processor. They are the
// baseline level's kernels everywhere but on x86-64, whose baseline (SSE2) has no byte shuffle to
// look tables up with.
ByteMapRowProc ByteMapRowPortable();
DitherRowProc DitherRowPortable();
UnsharpRowProc UnsharpRowPortable();
