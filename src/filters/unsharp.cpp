#include "filters/unsharp.h"

#include <cmath>
#include <cstdlib>

#include "filters/filter_frame.h"
#include "filters/filter_simd.h"
#include "image/image_checks.h"
#include "plugin/debug_log.h"

void BuildUnsharpTable(double amount, int64_t threshold, uint8_t (&table)[65536]) {
  double k = amount * 4.0 + 1.0;
  // The threshold is compared as a 32-bit integer.
  int32_t limit = static_cast<int32_t>(threshold);
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      int d = a - b;
      uint8_t value;
      if (std::abs(d) < limit) {
        value = static_cast<uint8_t>(a);
      } else {
        int64_t v = TruncateToInteger(b + d * k);
        value = v < 0 ? 0 : v >= 255 ? 255 : static_cast<uint8_t>(v);
      }
      table[a * 256 + b] = value;
    }
  }
}

namespace {

// The combination of one call: the 64 KB table, built on first use, for the rows the vector
// kernel does not take.
struct Combination {
  Combination(double amount, int64_t threshold) : amount(amount), threshold(threshold) {}

  double amount;
  int64_t threshold;
  bool built = false;
  uint8_t table[65536];

  const uint8_t* Table() {
    if (!built) BuildUnsharpTable(amount, threshold, table);
    built = true;
    return table;
  }
};

// Self's channels at `selfOffsets` become table[self * 256 + other], other read at its own offsets,
// one channel after the other. Other's row is fetched before self's.
template <int N>
void CombineRows(ImageClassData* self, ImageClassData* other, const int64_t* selfOffsets,
                 const int64_t* otherOffsets, Combination& combination, UnsharpRowProc vectorRow,
                 const UnsharpRow& plan) {
  int64_t s[N], o[N];
  for (int i = 0; i < N; ++i) {
    s[i] = selfOffsets[i];
    o[i] = otherOffsets[i];
  }
  int64_t width = self->Width;
  int64_t selfStep = self->PixelSize, otherStep = other->PixelSize;
  for (int64_t y = 0; y < self->Height; ++y) {
    const uint8_t* from = other->GetRow(other, y);
    uint8_t* to = self->GetRow(self, y);
    if (!from || !to) {
      DebugLog("Row not available", static_cast<long long>(y));
      return;
    }
    if (vectorRow && RowsSafeForVectors(from, to, width * selfStep)) {
      vectorRow(plan, from, to, width * selfStep);
    } else {
      const uint8_t* table = combination.Table();
      for (int64_t x = 0; x < width; ++x) {
        const uint8_t* blurred = from + x * otherStep;
        uint8_t* pixel = to + x * selfStep;
        for (int i = 0; i < N; ++i) pixel[s[i]] = table[pixel[s[i]] << 8 | blurred[o[i]]];
      }
    }
    YieldRow(self);
  }
}

void Combine(ImageClassData* self, ImageClassData* other, const ChannelList& channels,
             double amount, int64_t threshold) {
  Combination combination(amount, threshold);
  int64_t selfOffsets[5], otherOffsets[5];
  for (int i = 0; i < channels.count; ++i) {
    selfOffsets[i] = ChannelOffset(*self, channels.channels[i]);
    otherOffsets[i] = ChannelOffset(*other, channels.channels[i]);
  }
  // The formula itself where it has a finite factor; an infinite or NaN factor keeps the table,
  // whose truncation rule covers it. A repeated offset (the CMYK path without alpha) refuses the
  // layout, so that byte is mapped twice as the table path does.
  BytePattern pattern;
  UnsharpRow plan{&pattern, amount * 4.0 + 1.0, static_cast<int32_t>(threshold)};
  UnsharpRowProc vectorRow = std::isfinite(plan.k) ? ActiveUnsharpRow() : nullptr;
  const uint8_t classes[5] = {1, 1, 1, 1, 1};
  if (vectorRow &&
      !VectorLayout(*self, *other, channels.count, selfOffsets, otherOffsets, classes, pattern)) {
    vectorRow = nullptr;
  }
  // Byte steps where every pair allows them.
  UnsharpSteps steps;
  if (vectorRow && BuildUnsharpSteps(plan.k, plan.limit, steps)) plan.steps = &steps;
  WithChannelCount(channels.count, [&](auto n) {
    CombineRows<n()>(self, other, selfOffsets, otherOffsets, combination, vectorRow, plan);
  });
}

const char* LabelOf(PixelFamily family) {
  switch (family) {
    case PixelFamily::kGray:
      return "unsharpFilterG";
    case PixelFamily::kGrayAlpha:
      return "unsharpFilterGA";
    case PixelFamily::kRGB:
      return "unsharpFilterRGB";
    case PixelFamily::kRGBA:
      return "unsharpFilterRGBA";
    default:
      return nullptr;
  }
}

bool NarrowSamples(const ImageClassData* image) {
  if (image->BitsPerComponent < 9) return true;
  DebugLog("BitsPerComponent > 8 not supported.", static_cast<long long>(image->BitsPerComponent));
  return false;
}

}  // namespace

void unsharpFilterCMYKA(ImageClassData* self, ImageClassData* other, double amount,
                        int64_t threshold) {
  DebugLog("unsharpFilterCMYKA");
  // The byte at AlphaOffset comes last even without alpha (offset 0 then: an ink mapped twice).
  ChannelList channels = FamilyChannelList(PixelFamily::kCMYK);
  channels.channels[channels.count++] = Channel::kAlpha;
  Combine(self, other, channels, amount, threshold);
}

bool unsharpFilter(ImageClassData* self, ImageClassData* other, double amount, int64_t threshold) {
  if (!self || !other) {
    DebugLog("origpixels is nil");
    return false;
  }
  if (!NarrowSamples(self) || !NarrowSamples(other)) return false;
  if (!self->Valid || !other->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (self->Width != other->Width || self->Height != other->Height ||
      self->ImageFormat != other->ImageFormat) {
    return false;
  }
  if (!StartImage(self) || !StartImage(other)) return false;

  PixelFamily family = FamilyOf(*self);
  if (family == PixelFamily::kCMYK || family == PixelFamily::kCMYKA) {
    unsharpFilterCMYKA(self, other, amount, threshold);
    return true;
  }
  const char* label = LabelOf(family);
  if (!label) return true;
  DebugLog(label);
  Combine(self, other, FamilyChannelList(family), amount, threshold);
  return true;
}

RBBoolean UnsharpFilter(REALobject instance, REALobject origpixels, double amount,
                        int64_t threshold) {
  DebugLog("unsharpFilter");
  if (Debugging()) LogMessageX("%s%s %f", kDebugPrefix, "pAmount", amount);
  DebugLog("pThreshold", static_cast<long long>(threshold));
  return unsharpFilter(ImageData(instance), origpixels ? ImageData(origpixels) : nullptr, amount,
                       threshold);
}
