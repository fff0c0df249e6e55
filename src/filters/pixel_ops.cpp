#include "filters/pixel_ops.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "filters/filter_simd.h"
#include "filters/image_rect.h"
#include "filters/pixel_simd.h"
#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/pixel_channels.h"
#include "plugin/debug_log.h"

uint8_t* MultiplyTable = nullptr;
uint8_t* UnmultiplyTable = nullptr;
uint8_t InitedMultiplyTable = 0;

namespace {

constexpr size_t kTableSize = 256 * 256;
// The vector kernels read four bytes for the last entry.
constexpr size_t kGatherSlack = 4;

void ComplementBytes(uint8_t* bytes, int64_t count) {
  for (int64_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(~bytes[i]);
}

}  // namespace

void Invert5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image)) return;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return;
  PixelFamily family = FamilyOf(*image);
  if (family == PixelFamily::kNone) return;
  static constexpr FamilyLabels kLabels = {"Invert G",    "Invert GA",   "Invert RGB",
                                           "Invert RGBA", "Invert CMYK", "Invert CMYKA"};
  DebugLog(LabelOf(kLabels, family));
  const int64_t pixelSize = image->PixelSize;

  if (family == PixelFamily::kGray && image->BitsPerComponent == 16) {
    DebugLog("HasGray16", 1);
    const int64_t offset = image->GrayOffset;
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* pixel = row + r.x * pixelSize + offset;
      for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
        uint16_t sample;
        std::memcpy(&sample, pixel, sizeof sample);
        sample = static_cast<uint16_t>(~sample);
        std::memcpy(pixel, &sample, sizeof sample);
      }
    });
    return;
  }
  if (family == PixelFamily::kGray) DebugLog("HasGray", 1);

  ChannelSet channels = FamilyChannels(*image, family);
  int64_t base;
  if (CoversWholePixel(*image, channels, &base)) {
    // Every byte of the span is a channel: complement the span as one run.
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      ComplementBytes(row + base + r.x * pixelSize, r.width * pixelSize);
    });
    return;
  }
  WithChannelCount(channels.count, [&](auto n) {
    constexpr int N = decltype(n)::value;
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* pixel = row + r.x * pixelSize;
      for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
        for (int c = 0; c < N; ++c) {
          uint8_t& v = pixel[channels.offsets[c]];
          v = static_cast<uint8_t>(~v);
        }
      }
    });
  });
}

void Invert1(REALobject instance) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  Invert5(instance, 0, 0, image->Width, image->Height);
}

void InitMultiplyTable() {
  if (InitedMultiplyTable != 0) return;
  InitedMultiplyTable = 1;
  auto* multiply = static_cast<uint8_t*>(std::calloc(kTableSize + kGatherSlack, 1));
  auto* unmultiply = static_cast<uint8_t*>(std::calloc(kTableSize + kGatherSlack, 1));
  if (!multiply || !unmultiply) {
    DebugLog("Failed to allocate the multiply tables.");
    std::free(multiply);
    std::free(unmultiply);
    return;
  }
  for (int a = 0; a < 256; ++a) {
    for (int v = 0; v < 256; ++v) unmultiply[a * 256 + v] = static_cast<uint8_t>(v);
  }
  // Ascending colours: for each premultiplied value the largest colour that gives it wins the
  // inverse entry, and values no colour gives keep the identity.
  for (int a = 0; a < 256; ++a) {
    float f = static_cast<float>(a) / 255.0f;
    for (int c = 0; c < 256; ++c) {
      auto m = static_cast<int>(static_cast<float>(c) * f + 0.5f);
      multiply[a * 256 + c] = static_cast<uint8_t>(m);
      unmultiply[a * 256 + m] = static_cast<uint8_t>(c);
    }
  }
  MultiplyTable = multiply;
  UnmultiplyTable = unmultiply;
  InitedMultiplyTable = 2;
}

uint8_t MultiplyValue(uint8_t color, uint8_t alpha) {
  return static_cast<uint8_t>(
      static_cast<int>(static_cast<float>(color) * (static_cast<float>(alpha) / 255.0f) + 0.5f));
}

uint8_t UnmultiplyValue(uint8_t color, uint8_t alpha) {
  // Alpha 0 makes the factor infinite and the product infinite or undefined; an x86 conversion
  // of either gives the integer whose low byte is 0, so 0 is written without the conversion.
  if (alpha == 0) return 0;
  return static_cast<uint8_t>(
      static_cast<int>(static_cast<float>(color) * (255.0f / static_cast<float>(alpha)) + 0.5f));
}

namespace {

// Applies the table (or, when the tables are missing, the formula) to each colour channel with
// the pixel's alpha; alpha stays as it is.
void PremultiplyRect(REALobject instance, const ImageRect& rect, bool multiply) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image) || !image->HasAlpha) return;
  InitMultiplyTable();
  ImageRect r = rect;
  if (!FixRect(image, r) || !StartImage(image)) return;
  PixelFamily family = FamilyOf(*image);
  static constexpr FamilyLabels kMultiplyLabels = {
      nullptr, "Multiply5GA", nullptr, "Multiply5RGBA", nullptr, "Multiply5CMYKA"};
  static constexpr FamilyLabels kUnmultiplyLabels = {
      nullptr, "Unmultiply5GA", nullptr, "Unmultiply5RGBA", nullptr, "Unmultiply5CMYKA"};
  const char* label = LabelOf(multiply ? kMultiplyLabels : kUnmultiplyLabels, family);
  if (!label) return;
  DebugLog(label);

  ChannelSet channels = FamilyChannels(*image, family);
  const int64_t pixelSize = image->PixelSize;
  const uint8_t* table =
      InitedMultiplyTable == 2 ? (multiply ? MultiplyTable : UnmultiplyTable) : nullptr;
  uint8_t (*formula)(uint8_t, uint8_t) = multiply ? &MultiplyValue : &UnmultiplyValue;
  QuadOffsets quad;
  if (PremultiplyRowProc vectorRow = table ? ActivePremultiplyRow() : nullptr;
      vectorRow && family == PixelFamily::kRGBA && QuadLayout(*image, true, quad)) {
    ForEachRow(image, r.y, r.height,
               [&](uint8_t* row) { vectorRow(table, row + r.x * 4, r.width, quad); });
    return;
  }
  // Alpha is the last channel of the set, the colour channels come before it.
  WithChannelCount(channels.count, [&](auto n) {
    constexpr int N = decltype(n)::value;
    if constexpr (N >= 2) {
      const int64_t alphaOffset = channels.offsets[N - 1];
      ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
        uint8_t* pixel = row + r.x * pixelSize;
        for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
          uint8_t a = pixel[alphaOffset];
          for (int c = 0; c < N - 1; ++c) {
            uint8_t& v = pixel[channels.offsets[c]];
            v = table ? table[a * 256 + v] : formula(v, a);
          }
        }
      });
    }
  });
}

}  // namespace

void Multiply5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  PremultiplyRect(instance, {x, y, width, height}, true);
}

void Multiply1(REALobject instance) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  Multiply5(instance, 0, 0, image->Width, image->Height);
}

void Unmultiply5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  PremultiplyRect(instance, {x, y, width, height}, false);
}

void Unmultiply1(REALobject instance) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  Unmultiply5(instance, 0, 0, image->Width, image->Height);
}

namespace {

// Red, green and blue of the rectangle through `map` with the vector byte map; false when it
// cannot take the image (the plain loop then).
bool MapColourBytes(ImageClassData* image, const ImageRect& r, const uint8_t* map) {
  ByteMapRowProc vectorRow = ActiveByteMapRow();
  if (!vectorRow) return false;
  const int64_t offsets[3] = {image->RedOffset, image->GreenOffset, image->BlueOffset};
  const uint8_t classes[3] = {1, 1, 1};
  BytePattern pattern;
  if (!VectorLayout(*image, *image, 3, offsets, offsets, classes, pattern)) return false;
  alignas(64) uint8_t table[256 + kTableSlack] = {};
  std::memcpy(table, map, 256);
  // A stretch is a line, which kernels may compute rather than look up.
  ByteRamp ramp;
  const ByteMapRow plan{&pattern, table, 1, FitByteRamp(map, ramp) ? &ramp : nullptr};
  const int64_t pixelSize = image->PixelSize;
  ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
    uint8_t* span = row + r.x * pixelSize;
    vectorRow(plan, span, span, r.width * pixelSize);
  });
  return true;
}

// The cut-off counts of the stretch for `total` pixels, in single precision.
struct StretchLimits {
  explicit StretchLimits(uint32_t total)
      : low(static_cast<int64_t>(0.005f * static_cast<float>(total))),
        high(static_cast<int64_t>(static_cast<float>(total) * 0.995f)) {}
  int64_t low, high;
};

// The stretch needs the histogram only where its two cut-offs fall, in the darkest and the
// brightest half percent. Every 32nd row is counted whole first, and its cut-offs, with a margin,
// bound two tails of levels; the other rows are counted only in those tails, which hold few of
// their pixels (counting is what the histogram costs). The cumulative counts are then whole up to
// the end of the low tail, and from the start of the high tail on, where they are the total less
// the counts above. When a cut-off falls between the tails after all (rows unlike the sampled
// ones), false, and the caller counts everything. In-memory images only, whose rows may be read
// in any order, of fewer than 4G pixels, whose counters do not wrap.
bool SampledStretchLimits(ImageClassData* image, const ImageRect& r, const QuadOffsets& quad,
                          LuminanceRowProc countRow, int& lo, int& hi) {
  constexpr int64_t kStep = 32;
  if (image->IsMapping || r.height < 16 * kStep || r.width * r.height >= (int64_t{1} << 32)) {
    return false;
  }
  uint32_t quarters[4][256] = {};
  uint32_t total = 0;
  auto countRows = [&](bool sampled, const LevelTails& tails) {
    for (int64_t y = r.y; y < r.y + r.height; ++y) {
      if (((y - r.y) % kStep == 0) != sampled) continue;
      if (uint8_t* row = image->GetRow(image, y)) {
        countRow(row + r.x * 4, r.width, quad, quarters, tails);
        total += static_cast<uint32_t>(r.width);
      } else {
        DebugLogRowMissing(y);
      }
      YieldRow(image);
    }
  };
  auto sum = [&](int v) {
    return quarters[0][v] + quarters[1][v] + quarters[2][v] + quarters[3][v];
  };
  countRows(true, kEveryLevel);
  // The first level where the sample's cumulative count exceeds `rank`.
  auto levelAt = [&](double rank) {
    double cumulative = 0;
    for (int v = 0; v < 255; ++v) {
      cumulative += sum(v);
      if (cumulative > rank) return v;
    }
    return 255;
  };
  // A margin of ranks far wider than the sampling error, and a level more.
  const double sampled = total, margin = 0.002 * sampled + 8;
  const LevelTails tails{std::min(levelAt(0.005 * sampled + margin) + 1, 255),
                         std::max(levelAt(0.995 * sampled - margin) - 1, 0)};
  countRows(false, tails);

  const StretchLimits limits(total);
  // From below: the largest level whose cumulative count is at most the low limit.
  uint64_t cumulative = 0;
  int level = 0;
  bool passed = false;
  for (int v = 0; v <= tails.lowEnd && !passed; ++v) {
    cumulative += sum(v);
    passed = cumulative > static_cast<uint64_t>(limits.low);
    if (!passed) level = v;
  }
  if (!passed && tails.lowEnd < 255) return false;
  lo = level;
  // From above: cumulative counts are the total less the counts above each level.
  cumulative = total;
  for (int v = 255; v >= tails.highStart - 1; --v) {
    if (v < 0) break;
    if (cumulative <= static_cast<uint64_t>(limits.high)) {
      hi = v;
      return true;
    }
    cumulative -= sum(v);
  }
  // No level from highStart - 1 on is low enough: the answer lies below, or is none at all.
  if (tails.highStart > 0) return false;
  hi = 0;
  return true;
}

}  // namespace

RBBoolean AutoLevel5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  ImageClassData* image = ImageData(instance);
  if (!image) return false;
  if (image->BitsPerComponent > 8) {
    DebugLog("BitsPerComponent > 8 not supported.");
    return false;
  }
  if (!CheckValid(image) || !image->IsRGB) return false;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return false;
  DebugLog("AutoLevel5_RGB");

  int lo = 0, hi = 0;
  QuadOffsets quad;
  LuminanceRowProc countRow = QuadLayout(*image, false, quad) ? ActiveLuminanceRow() : nullptr;
  if (!countRow || !SampledStretchLimits(image, r, quad, countRow, lo, hi)) {
    // 32-bit counters, as the histogram has always had; they wrap only past 4G pixels.
    uint32_t counts[256] = {};
    if (countRow) {
      // The four partial histograms add up (modulo 2^32, like the one counter) to the same counts.
      uint32_t quarters[4][256] = {};
      ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
        countRow(row + r.x * 4, r.width, quad, quarters, kEveryLevel);
      });
      for (int v = 0; v < 256; ++v) {
        counts[v] = quarters[0][v] + quarters[1][v] + quarters[2][v] + quarters[3][v];
      }
    } else {
      const int64_t pixelSize = image->PixelSize;
      const int64_t red = image->RedOffset, green = image->GreenOffset, blue = image->BlueOffset;
      ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
        const uint8_t* pixel = row + r.x * pixelSize;
        for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
          auto luminance =
              static_cast<int>(pixel[red] * 0.177 + pixel[green] * 0.813 + pixel[blue] * 0.01);
          // The weights sum to 1 and white gives exactly 255; the bound only guards the table.
          if (luminance > 255) luminance = 255;
          ++counts[luminance];
        }
      });
    }
    uint32_t cumulative[256];
    uint32_t sum = 0;
    for (int i = 0; i < 256; ++i) cumulative[i] = sum += counts[i];
    const StretchLimits limits(cumulative[255]);
    for (int i = 0; i < 256; ++i) {
      if (cumulative[i] <= limits.low) lo = i;
      if (cumulative[i] <= limits.high) hi = i;
    }
  }
  DebugLog("lo", lo);
  DebugLog("hi", hi);
  const double scale = 255.0 / static_cast<double>(hi - lo);

  // Values below lo become 0 and above hi 255. When hi = lo the scale is infinite and the
  // stretch becomes a threshold: lo itself becomes 0, as an x86 conversion of 0 x infinity did.
  uint8_t map[256];
  for (int v = 0; v < 256; ++v) {
    if (v < lo) {
      map[v] = 0;
    } else if (v > hi) {
      map[v] = 255;
    } else if (hi == lo) {
      map[v] = 0;
    } else {
      map[v] = static_cast<uint8_t>(static_cast<int>((v - lo) * scale));
    }
  }
  if (MapColourBytes(image, r, map)) return true;
  const int64_t pixelSize = image->PixelSize;
  const int64_t red = image->RedOffset, green = image->GreenOffset, blue = image->BlueOffset;
  ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
    uint8_t* pixel = row + r.x * pixelSize;
    for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
      pixel[red] = map[pixel[red]];
      pixel[green] = map[pixel[green]];
      pixel[blue] = map[pixel[blue]];
    }
  });
  return true;
}

RBBoolean AutoLevel1(REALobject instance) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return false;
  return AutoLevel5(instance, 0, 0, image->Width, image->Height);
}

RBBoolean RGBToGray(REALobject instance, int64_t mode) {
  ImageClassData* image = ImageData(instance);
  if (!image || !image->IsRGB || !CheckValid(image)) return false;
  // Compared unsigned, so negative modes are refused too.
  if (static_cast<uint64_t>(mode) > 4) {
    DebugLog("RGBToGray mode", static_cast<long long>(mode));
    return false;
  }
  if (!image->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  const int64_t pixelSize = image->PixelSize, width = image->Width;
  const int64_t red = image->RedOffset, green = image->GreenOffset, blue = image->BlueOffset;
  QuadOffsets quad;
  if (GrayRowProc vectorRow = ActiveGrayRow(); vectorRow && QuadLayout(*image, false, quad)) {
    ForEachRow(image, 0, image->Height,
               [&](uint8_t* row) { vectorRow(row, width, quad, static_cast<int>(mode)); });
    return true;
  }
  ForEachRow(image, 0, image->Height, [&](uint8_t* row) {
    uint8_t* pixel = row;
    for (int64_t i = 0; i < width; ++i, pixel += pixelSize) {
      int r = pixel[red], g = pixel[green], b = pixel[blue];
      int gray = 0;
      switch (mode) {
        case 0:
          gray = (2 * r + 3 * g + b) / 6;
          break;
        case 1:
          gray = (3 * r + 4 * g + b) >> 3;
          break;
        case 2:
          gray = static_cast<int>(r * 0.2126 + g * 0.7152 + b * 0.0722);
          break;
        case 3:
          gray = static_cast<int>(r * 0.299 + g * 0.587 + b * 0.114);
          break;
        default:
          // Blue weighs 29 here, one more than in the blending gray rule.
          gray = (77 * r + 151 * g + 29 * b) >> 8;
          break;
      }
      pixel[red] = pixel[green] = pixel[blue] = static_cast<uint8_t>(gray);
    }
  });
  return true;
}

int64_t CompareImages(REALobject instance, REALobject other) {
  ImageClassData* self = ImageData(instance);
  ImageClassData* that = ImageData(other);
  if (!self || !that) return -1;
  if (!self->Valid || !that->Valid) {
    DebugLog("Picture not valid.");
    return 0;
  }
  if (self->Width != that->Width || self->BitsPerComponent != that->BitsPerComponent ||
      self->Height != that->Height || bool(self->HasAlpha) != bool(that->HasAlpha) ||
      bool(self->IsRGB) != bool(that->IsRGB) || bool(self->IsCMYK) != bool(that->IsCMYK) ||
      bool(self->IsGray) != bool(that->IsGray)) {
    return -1;
  }
  if (!StartImage(self) || !StartImage(that)) return -1;
  PixelFamily family = FamilyOf(*self);
  if (family == PixelFamily::kNone) return -1;
  if (self->Width != 0) {
    static constexpr FamilyLabels kLabels = {"CompareImagesG",    "CompareImagesGA",
                                             "CompareImagesRGB",  "CompareImagesRGBA",
                                             "CompareImagesCMYK", "CompareImagesCMYKA"};
    DebugLog(LabelOf(kLabels, family));
  }
  for (int64_t y = 0; y < self->Height; ++y) {
    that->GetRow(that, y);
    self->GetRow(self, y);
    YieldRow(self);
  }
  // The count of pixels compared; the pixel bytes themselves are not read.
  return self->Width * self->Height;
}
