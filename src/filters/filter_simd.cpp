#include "filters/filter_simd.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/cpu_features.h"

bool VectorLayout(const ImageClassData& source, const ImageClassData& dest, int count,
                  const int64_t* sourceOffsets, const int64_t* destOffsets, const uint8_t* classes,
                  BytePattern& pattern) {
  int64_t size = source.PixelSize;
  if (size < 1 || size > kMaxVectorPixel || dest.PixelSize != size) return false;
  uint8_t classOf[kMaxVectorPixel] = {};
  for (int i = 0; i < count; ++i) {
    int64_t offset = sourceOffsets[i];
    if (offset != destOffsets[i] || offset < 0 || offset >= size || classOf[offset] != 0) {
      return false;
    }
    classOf[offset] = classes[i];
  }
  pattern.pixelSize = size;
  for (int64_t i = 0; i < size + kPatternSlack; ++i) pattern.classes[i] = classOf[i % size];
  return true;
}

bool RowsSafeForVectors(const uint8_t* a, const uint8_t* b, int64_t bytes) {
  if (a == b) return true;
  // Compared as integers: the rows may belong to different blocks.
  auto first = reinterpret_cast<uintptr_t>(a), second = reinterpret_cast<uintptr_t>(b);
  auto length = static_cast<uintptr_t>(bytes);
  return first + length <= second || second + length <= first;
}

namespace {

constexpr int32_t kAny = std::numeric_limits<int32_t>::max();

int64_t FloorDivide(int64_t a, int64_t b) {
  int64_t q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}
int64_t CeilDivide(int64_t a, int64_t b) { return -FloorDivide(-a, b); }

}  // namespace

bool FitLinearStep(const int32_t* low, const int32_t* high, LinearStep& step) {
  // Every d bounds m from one side or both (low x 65536 <= d m < (high + 1) x 65536), so the m
  // that fit form one range.
  int64_t least = -kLinearLimit, most = kLinearLimit;
  for (int d = -255; d <= 255; ++d) {
    const int64_t atLeast = int64_t{low[d + 255]} * 65536;            // d m >= atLeast
    const int64_t atMost = (int64_t{high[d + 255]} + 1) * 65536 - 1;  // d m <= atMost
    if (d == 0) {
      if (atLeast > 0 || atMost < 0) return false;
    } else if (d > 0) {
      least = std::max(least, CeilDivide(atLeast, d));
      most = std::min(most, FloorDivide(atMost, d));
    } else {
      least = std::max(least, CeilDivide(atMost, d));
      most = std::min(most, FloorDivide(atLeast, d));
    }
  }
  if (least > most) return false;
  step.m = static_cast<int32_t>(least);
  return true;
}

bool FitByteRamp(const uint8_t* table, ByteRamp& ramp) {
  // The line starts at the last value of a leading run of zeros.
  int base = 0;
  while (table[0] == 0 && base < 255 && table[base + 1] == 0) ++base;
  int32_t low[511], high[511];
  std::fill(low, low + 511, -kAny);
  std::fill(high, high + 511, kAny);
  for (int v = 0; v < 256; ++v) {
    // The clamp makes every step at or below 0 give 0, and every one from 255 up 255.
    const int index = v - base + 255, t = table[v];
    low[index] = t == 0 ? -kAny : t;
    high[index] = t == 255 ? kAny : t;
  }
  ramp.base = base;
  return FitLinearStep(low, high, ramp.step);
}

bool BuildUnsharpSteps(double k, int32_t limit, UnsharpSteps& steps) {
  // A step falls (is subtracted) where d * k is negative: for d > 0 when k is, for d < 0 when k
  // is positive.
  steps.upFalls = k < 0;
  steps.downFalls = k > 0;
  steps.up[0] = steps.down[0] = 0;
  for (int d = -255; d <= 255; ++d) {
    int size = d < 0 ? -d : d;
    if (d == 0) continue;
    bool falls = d > 0 ? steps.upFalls : steps.downFalls;
    uint8_t& step = d > 0 ? steps.up[size] : steps.down[size];
    step = 0;
    if (size < limit) continue;  // the kernel keeps a there
    double guess = std::floor(d * k);
    // Past 255 every b clamps alike.
    double magnitude = std::fabs(guess) > 255.0 ? 255.0 : std::fabs(guess);
    if (guess != 0 && (guess < 0) != falls) return false;
    step = static_cast<uint8_t>(magnitude);
    for (int b = d < 0 ? -d : 0; b <= (d > 0 ? 255 - d : 255); ++b) {
      int moved = falls ? b - step : b + step;
      uint8_t expected = moved < 0 ? 0 : moved > 255 ? 255 : static_cast<uint8_t>(moved);
      if (UnsharpByte(b + d, b, k, limit) != expected) return false;
    }
  }
  // Sizes below the limit keep a, whatever their step; a step of 255 stands for every larger one
  // in its direction.
  int32_t low[511], high[511];
  for (int d = -255; d <= 255; ++d) {
    const int size = d < 0 ? -d : d;
    int32_t& atLeast = low[d + 255];
    int32_t& atMost = high[d + 255];
    if (size < limit) {
      atLeast = -kAny;
      atMost = kAny;
      continue;
    }
    const int magnitude = d > 0 ? steps.up[size] : steps.down[size];
    const bool falls = d > 0 ? steps.upFalls : d < 0 && steps.downFalls;
    const int32_t signedStep = falls ? -magnitude : magnitude;
    atLeast = magnitude == 255 && falls ? -kAny : signedStep;
    atMost = magnitude == 255 && !falls ? kAny : signedStep;
  }
  steps.linear = FitLinearStep(low, high, steps.line);
  return true;
}

namespace {

// Whether the baseline level takes the portable kernels (see filter_simd.h).
#if defined(__x86_64__)
constexpr bool kPortableAtBaseline = false;
#else
constexpr bool kPortableAtBaseline = true;
#endif

bool PortableAllowed() {
  return kPortableAtBaseline && platform::LevelAllowed(platform::SimdLevel::kBaseline);
}

}  // namespace

ByteMapRowProc ActiveByteMapRow() {
  if (platform::LevelAllowed(platform::SimdLevel::kAVX512) && ByteMapRowAVX512())
    return ByteMapRowAVX512();
  if (platform::LevelAllowed(platform::SimdLevel::kAVX2) && ByteMapRowAVX2())
    return ByteMapRowAVX2();
  return PortableAllowed() ? ByteMapRowPortable() : nullptr;
}

DitherRowProc ActiveDitherRow() {
  if (platform::LevelAllowed(platform::SimdLevel::kAVX512) && DitherRowAVX512())
    return DitherRowAVX512();
  if (platform::LevelAllowed(platform::SimdLevel::kAVX2) && DitherRowAVX2()) return DitherRowAVX2();
  return PortableAllowed() ? DitherRowPortable() : nullptr;
}

UnsharpRowProc ActiveUnsharpRow() {
  if (platform::LevelAllowed(platform::SimdLevel::kAVX512) && UnsharpRowAVX512())
    return UnsharpRowAVX512();
  if (platform::LevelAllowed(platform::SimdLevel::kAVX2) && UnsharpRowAVX2())
    return UnsharpRowAVX2();
  return PortableAllowed() ? UnsharpRowPortable() : nullptr;
}
