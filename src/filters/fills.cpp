#include "filters/fills.h"

#include <cstdlib>
#include <cstring>

#include "composite/fix_rectangle.h"
#include "filters/filter_simd.h"
#include "filters/image_rect.h"
#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/pixel_channels.h"
#include "platform/cpu_features.h"
#include "plugin/debug_log.h"

namespace {

// The block paths: the red, green, blue, gray and alpha channels present fill the pixel, and the
// rows stay put while they are written. Channels that share a byte (offsets set by the
// application) would make the span reach past the pixel, so they take the per-pixel path.
bool BlockSpan(const ImageClassData* image, int64_t* base) {
  if (image->IsMapping || FlaggedChannelCount(*image) != image->PixelSize) return false;
  ChannelSet flagged;
  const Flag64 ImageClassData::*present[] = {&ImageClassData::HasRed, &ImageClassData::HasGreen,
                                             &ImageClassData::HasBlue, &ImageClassData::HasGray,
                                             &ImageClassData::HasAlpha};
  const int64_t ImageClassData::*offset[] = {
      &ImageClassData::RedOffset, &ImageClassData::GreenOffset, &ImageClassData::BlueOffset,
      &ImageClassData::GrayOffset, &ImageClassData::AlphaOffset};
  for (int i = 0; i < 5; ++i) {
    if (image->*present[i]) flagged.offsets[flagged.count++] = image->*offset[i];
  }
  int64_t covered;
  if (!CoversWholePixel(*image, flagged, &covered)) return false;
  *base = GetMinOffset(image);
  return true;
}

// Pixels whose every byte is a channel are copied from a block of ready-made pixels instead:
// the same bytes, written in wide stores. The plain level keeps the per-channel loop.
bool StorePattern(ImageClassData* image, const ImageRect& r, const ChannelSet& channels,
                  const uint8_t* values) {
  int64_t base;
  if (platform::ActiveSimdLevel() == platform::SimdLevel::kScalar ||
      !CoversWholePixel(*image, channels, &base)) {
    return false;
  }
  const int64_t pixelSize = image->PixelSize;
  // A whole number of pixels of at most 5 bytes, about 1 KB.
  constexpr int64_t kPixels = 256;
  uint8_t block[kPixels * 5];
  for (int c = 0; c < channels.count; ++c) block[channels.offsets[c] - base] = values[c];
  for (int64_t i = pixelSize; i < kPixels * pixelSize; ++i) block[i] = block[i - pixelSize];
  ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
    uint8_t* span = row + base + r.x * pixelSize;
    for (int64_t left = r.width; left > 0; left -= kPixels, span += kPixels * pixelSize) {
      std::memcpy(span, block, static_cast<size_t>((left < kPixels ? left : kPixels) * pixelSize));
    }
  });
  return true;
}

// Writes values[c] into channel c of every pixel of the rectangle.
void StoreChannels(ImageClassData* image, const ImageRect& r, const ChannelSet& channels,
                   const uint8_t* values) {
  if (StorePattern(image, r, channels, values)) return;
  const int64_t pixelSize = image->PixelSize;
  WithChannelCount(channels.count, [&](auto n) {
    constexpr int N = decltype(n)::value;
    int64_t offsets[N];
    uint8_t bytes[N];
    for (int c = 0; c < N; ++c) {
      offsets[c] = channels.offsets[c];
      bytes[c] = values[c];
    }
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* pixel = row + r.x * pixelSize;
      for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
        for (int c = 0; c < N; ++c) pixel[offsets[c]] = bytes[c];
      }
    });
  });
}

constexpr FamilyLabels kFillLabels = {"FillRect5G",    "FillRect5GA",   "FillRect5RGB",
                                      "FillRect5RGBA", "FillRect5CMYK", "FillRect5CMYKA"};
constexpr FamilyLabels kFillAlphaLabels = {"FillRect5G",     "FillRectA5GA",  "FillRect5RGB",
                                           "FillRectA5RGBA", "FillRect5CMYK", "FillRectA5CMYKA"};

// The per-pixel value fill: colour channels get `value`, alpha gets `alpha`.
void FillFamily(ImageClassData* image, const ImageRect& r, const FamilyLabels& labels,
                uint8_t value, uint8_t alpha) {
  PixelFamily family = FamilyOf(*image);
  if (family == PixelFamily::kNone) return;
  DebugLog(LabelOf(labels, family));
  ChannelSet channels = FamilyChannels(*image, family);
  uint8_t values[5];
  for (int c = 0; c < channels.count; ++c) values[c] = value;
  if (FamilyHasAlpha(family)) values[channels.count - 1] = alpha;
  StoreChannels(image, r, channels, values);
}

// Colour from a host Color: red in bits 16-23, green in 8-15, blue in 0-7.
int64_t RedOf(uint32_t color) { return (color >> 16) & 0xFF; }
int64_t GreenOf(uint32_t color) { return (color >> 8) & 0xFF; }
int64_t BlueOf(uint32_t color) { return color & 0xFF; }

// The blend of FillRectApply as one 256-entry table per channel, through the vector byte map: each
// entry is the plain loop's expression for that old value. False when no kernel takes the layout.
bool BlendThroughTables(ImageClassData* image, const ImageRect& r, int count,
                        const int64_t* offsets, const uint32_t* colors, uint32_t weightOld,
                        uint32_t weightColor) {
  ByteMapRowProc vectorRow = ActiveByteMapRow();
  if (!vectorRow) return false;
  const uint8_t classes[3] = {1, 2, 3};
  BytePattern pattern;
  if (!VectorLayout(*image, *image, count, offsets, offsets, classes, pattern)) return false;
  alignas(64) uint8_t tables[3 * 256 + kTableSlack] = {};
  for (int c = 0; c < count; ++c) {
    for (uint32_t v = 0; v < 256; ++v) {
      tables[c * 256 + v] = static_cast<uint8_t>((v * weightOld + colors[c] * weightColor) >> 16);
    }
  }
  const ByteMapRow plan{&pattern, tables, count};
  const int64_t pixelSize = image->PixelSize;
  ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
    uint8_t* span = row + r.x * pixelSize;
    vectorRow(plan, span, span, r.width * pixelSize);
  });
  return true;
}

void LogValue(const char* label, long long value) {
  if (Debugging()) LogMessageX("%s%s %d", kDebugPrefix, label, static_cast<int>(value));
}

}  // namespace

void FillRect5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
               int64_t value) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image)) return;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return;
  auto byte = static_cast<uint8_t>(value);
  int64_t base;
  if (BlockSpan(image, &base)) {
    const int64_t pixelSize = image->PixelSize;
    const auto length = static_cast<size_t>(r.width * pixelSize);
    ForEachRow(image, r.y, r.height,
               [&](uint8_t* row) { std::memset(row + base + r.x * pixelSize, byte, length); });
    return;
  }
  FillFamily(image, r, kFillLabels, byte, byte);
}

void FillRect1(REALobject instance, int64_t value) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRect5(instance, 0, 0, image->Width, image->Height, value);
}

void FillRectA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                int64_t value, int64_t alpha) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image)) return;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return;
  FillFamily(image, r, kFillAlphaLabels, static_cast<uint8_t>(value), static_cast<uint8_t>(alpha));
}

void FillRectA1(REALobject instance, int64_t value, int64_t alpha) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRectA5(instance, 0, 0, image->Width, image->Height, value, alpha);
}

namespace {

bool HasRGB(const ImageClassData* image) {
  return image->HasRed && image->HasGreen && image->HasBlue;
}

// Red, green and blue (and alpha when `withAlpha`) into every pixel of the rectangle.
void FillRGB(REALobject instance, const ImageRect& rect, int64_t red, int64_t green, int64_t blue,
             bool withAlpha, int64_t alpha) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image) || !HasRGB(image)) return;
  ImageRect r = rect;
  if (!FixRect(image, r) || !StartImage(image)) return;
  ChannelSet channels;
  channels.count = withAlpha ? 4 : 3;
  channels.offsets[0] = image->RedOffset;
  channels.offsets[1] = image->GreenOffset;
  channels.offsets[2] = image->BlueOffset;
  channels.offsets[3] = image->AlphaOffset;
  const uint8_t values[4] = {static_cast<uint8_t>(red), static_cast<uint8_t>(green),
                             static_cast<uint8_t>(blue), static_cast<uint8_t>(alpha)};
  StoreChannels(image, r, channels, values);
}

}  // namespace

void FillRectRGB5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                  int64_t red, int64_t green, int64_t blue) {
  FillRGB(instance, {x, y, width, height}, red, green, blue, false, 0);
}

void FillRectRGBA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                   int64_t red, int64_t green, int64_t blue, int64_t alpha) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRGB(instance, {x, y, width, height}, red, green, blue, image->HasAlpha, alpha);
}

void FillRectRGB1(REALobject instance, int64_t red, int64_t green, int64_t blue) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRectRGB5(instance, 0, 0, image->Width, image->Height, red, green, blue);
}

void FillRectRGBA1(REALobject instance, int64_t red, int64_t green, int64_t blue, int64_t alpha) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRectRGBA5(instance, 0, 0, image->Width, image->Height, red, green, blue, alpha);
}

void FillRectRGBc1(REALobject instance, uint32_t color) {
  DebugLog("FillRectRGBc1");
  FillRectRGB1(instance, RedOf(color), GreenOf(color), BlueOf(color));
}

void FillRectRGBcA1(REALobject instance, uint32_t color, int64_t alpha) {
  DebugLog("FillRectRGBcA1");
  FillRectRGBA1(instance, RedOf(color), GreenOf(color), BlueOf(color), alpha);
}

void FillRectRGBc5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                   uint32_t color) {
  DebugLog("FillRectRGBc5");
  FillRectRGB5(instance, x, y, width, height, RedOf(color), GreenOf(color), BlueOf(color));
}

void FillRectRGBcA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                    uint32_t color, int64_t alpha) {
  DebugLog("FillRectRGBcA5");
  FillRectRGBA5(instance, x, y, width, height, RedOf(color), GreenOf(color), BlueOf(color), alpha);
}

void FillRectRandom5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image)) return;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return;
  const int64_t pixelSize = image->PixelSize;
  int64_t base;
  if (BlockSpan(image, &base)) {
    // The span ends at width x n, not at (x + width) x n: the block path randomises pixels x up to
    // width - 1 only, and none when x >= width. Kept as the plug-in always did it.
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* start = row + base;
      for (int64_t i = r.x * pixelSize; i < r.width * pixelSize; ++i) {
        start[i] = static_cast<uint8_t>(std::rand());
      }
    });
    return;
  }
  PixelFamily family = FamilyOf(*image);
  if (family == PixelFamily::kNone) return;
  ChannelSet channels = FamilyChannels(*image, family);
  WithChannelCount(channels.count, [&](auto n) {
    constexpr int N = decltype(n)::value;
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* pixel = row + r.x * pixelSize;
      for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
        for (int c = 0; c < N; ++c) pixel[channels.offsets[c]] = static_cast<uint8_t>(std::rand());
      }
    });
  });
}

void FillRectRandom1(REALobject instance) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return;
  FillRectRandom5(instance, 0, 0, image->Width, image->Height);
}

RBBoolean FillRectApplyRGBA5(REALobject instance, int64_t x, int64_t y, int64_t width,
                             int64_t height, int64_t red, int64_t green, int64_t blue,
                             int64_t alpha) {
  ImageClassData* image = ImageData(instance);
  if (!image || !CheckValid(image)) return false;
  if (!image->IsRGB && !image->IsGray) return false;

  // 255 x 257 = 65535, so the shift by 16 loses one: alpha 255 gives colour - 1 and alpha 0 gives
  // old - 1 for values of at least one. That is the blend applications have always received.
  auto a = static_cast<uint32_t>(alpha);
  uint32_t weightColor = a;
  uint32_t weightOld = 255u - a;
  LogValue("red", red);
  LogValue("green", green);
  LogValue("blue", blue);
  LogValue("alpha", weightColor);
  LogValue("alpha1", weightOld);
  weightColor *= 257u;
  weightOld *= 257u;
  LogValue("alpha", weightColor);
  LogValue("alpha1", weightOld);

  ImageRect r{x, y, width, height};
  FixImageRectangle(image->Width, image->Height, r.x, r.y, r.width, r.height);
  if (r.height < 1) return true;
  // A rectangle without width still fetches its rows.
  if (r.width < 0) r.width = 0;
  if (!StartImage(image)) return false;

  const int64_t pixelSize = image->PixelSize;
  if (image->IsRGB) {
    DebugLog("FillRectApply5RGB");
    const int64_t offsets[3] = {image->RedOffset, image->GreenOffset, image->BlueOffset};
    const uint32_t colors[3] = {static_cast<uint32_t>(red), static_cast<uint32_t>(green),
                                static_cast<uint32_t>(blue)};
    if (BlendThroughTables(image, r, 3, offsets, colors, weightOld, weightColor)) return true;
    ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
      uint8_t* pixel = row + r.x * pixelSize;
      for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
        for (int c = 0; c < 3; ++c) {
          uint8_t& v = pixel[offsets[c]];
          v = static_cast<uint8_t>((v * weightOld + colors[c] * weightColor) >> 16);
        }
      }
    });
    return true;
  }

  // Signed division, truncating toward zero, over the arguments as C ints.
  int64_t grayValue =
      (77 * int64_t{static_cast<int32_t>(red)} + 151 * int64_t{static_cast<int32_t>(green)} +
       28 * int64_t{static_cast<int32_t>(blue)}) /
      256;
  DebugLog("FillRectApply5G");
  LogValue("gray", grayValue);
  const auto gray = static_cast<uint32_t>(grayValue);
  const int64_t offset = image->GrayOffset;
  if (BlendThroughTables(image, r, 1, &offset, &gray, weightOld, weightColor)) return true;
  ForEachRow(image, r.y, r.height, [&](uint8_t* row) {
    uint8_t* pixel = row + r.x * pixelSize;
    for (int64_t i = 0; i < r.width; ++i, pixel += pixelSize) {
      uint8_t& v = pixel[offset];
      v = static_cast<uint8_t>((v * weightOld + gray * weightColor) >> 16);
    }
  });
  return true;
}

RBBoolean FillRectApplyRGBA1(REALobject instance, int64_t red, int64_t green, int64_t blue,
                             int64_t alpha) {
  const ImageClassData* image = ImageData(instance);
  if (!image) return false;
  return FillRectApplyRGBA5(instance, 0, 0, image->Width, image->Height, red, green, blue, alpha);
}

RBBoolean FillRectApplyRGBcA1(REALobject instance, uint32_t color, int64_t alpha) {
  DebugLog("FillRectApplyRGBcA1");
  return FillRectApplyRGBA1(instance, RedOf(color), GreenOf(color), BlueOf(color), alpha);
}

RBBoolean FillRectApplyRGBcA5(REALobject instance, int64_t x, int64_t y, int64_t width,
                              int64_t height, uint32_t color, int64_t alpha) {
  DebugLog("FillRectApplyRGBcA5");
  return FillRectApplyRGBA5(instance, x, y, width, height, RedOf(color), GreenOf(color),
                            BlueOf(color), alpha);
}

void ClearRect1(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image || !StartImage(image)) return;
  if (image->RowSize < 1) {
    DebugLog("RowSize is 0");
    return;
  }
  const auto length = static_cast<size_t>(image->RowSize);
  ForEachRow(image, 0, image->Height, [&](uint8_t* row) { std::memset(row, 0, length); });
}

void ClearRect5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  ImageClassData* image = ImageData(instance);
  if (!image) return;
  ImageRect r{x, y, width, height};
  if (!FixRect(image, r) || !StartImage(image)) return;
  const int64_t pixelSize = image->PixelSize;
  const auto length = static_cast<size_t>(r.width * pixelSize);
  ForEachRow(image, r.y, r.height,
             [&](uint8_t* row) { std::memset(row + r.x * pixelSize, 0, length); });
}
