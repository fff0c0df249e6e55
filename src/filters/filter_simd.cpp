#include "filters/filter_simd.h"

#include <algorithm>
#include <cmath>

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

// Looks for m (at most 256 x 65536) and c (below 65536) that give the table's entry as
// min(255, (size * m + c) >> 16) for every size from `first` on; the products' own rounding makes
// some entries one off a plain multiple, which the few candidates around |k| x 65536 absorb.
bool FitMultiplier(const uint8_t* table, int first, double magnitude, uint32_t* m, uint32_t* c) {
  constexpr double kCeiling = 256.0 * 65536.0;
  const double centre = std::min(std::floor(magnitude * 65536.0), kCeiling);
  for (int delta = -2; delta <= 2; ++delta) {
    const double candidate = centre + delta;
    if (candidate < 0 || candidate > kCeiling) continue;
    for (uint32_t offset : {0u, 32768u, 65535u}) {
      const uint64_t multiplier = static_cast<uint64_t>(candidate);
      bool fits = true;
      for (int size = first; size < 256 && fits; ++size) {
        const uint64_t step = (size * multiplier + offset) >> 16;
        fits = (step > 255 ? 255 : step) == table[size];
      }
      if (fits) {
        *m = static_cast<uint32_t>(multiplier);
        *c = offset;
        return true;
      }
    }
  }
  return false;
}

}  // namespace

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
  // Sizes below the limit keep a, whatever their step; size 0 only matters with no limit.
  const int first = limit > 255 ? 256 : limit > 0 ? limit : 0;
  steps.fixed = FitMultiplier(steps.up, first, std::fabs(k), &steps.upM, &steps.upC) &&
                FitMultiplier(steps.down, first, std::fabs(k), &steps.downM, &steps.downC);
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
