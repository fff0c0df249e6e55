#include "composite/blend_with_mask.h"

#include <algorithm>
#include <cstdio>

#include "composite/pixel_conversions.h"
#include "image/image_checks.h"
#include "plugin/debug_log.h"

namespace {

enum class Variant : uint8_t {
  kCopy,        // BG3: no mask, the source alone
  kBackground,  // BG4: mask over the background colour
  kDestination  // BG6: mask over the destination image
};

// An image read as three channels: a gray image shows its gray in all three. Since the gray
// weights sum to 256, (77 g + 151 g + 28 g) >> 8 is g again, so one rule serves every family
// combination and gives exactly the values of a separate gray path.
struct Channels {
  ImageClassData* image = nullptr;
  int64_t step = 0;
  int64_t red = 0;
  int64_t green = 0;
  int64_t blue = 0;
};

Channels ChannelsOf(ImageClassData* image) {
  if (!image) return {};
  if (image->IsRGB) {
    return {image, image->PixelSize, image->RedOffset, image->GreenOffset, image->BlueOffset};
  }
  return {image, image->PixelSize, image->GrayOffset, image->GrayOffset, image->GrayOffset};
}

bool IsGrayOrRGB(const ImageClassData& image) { return image.IsGray || image.IsRGB; }

const char* FamilyName(const ImageClassData& image) { return image.IsRGB ? "RGB" : "Gray"; }

// (taken m + kept (255 - m)) / 255, truncating, at most 255.
inline uint8_t Mix(uint32_t kept, uint32_t taken, uint32_t m) {
  return static_cast<uint8_t>(std::min<uint32_t>(255, (taken * m + (255 - m) * kept) / 255));
}

template <Variant kVariant>
inline uint8_t BlendValue(uint32_t source, uint32_t other, uint32_t m) {
  if constexpr (kVariant == Variant::kCopy) {
    return static_cast<uint8_t>(source);
  } else {
    return Mix(source, other, m);
  }
}

inline uint8_t GrayAt(const uint8_t* pixel, const Channels& c) {
  return GrayFromRGB(pixel[c.red], pixel[c.green], pixel[c.blue]);
}

struct Background {
  uint8_t red, green, blue, gray;
};

uint8_t* RowAt(const Channels& c, int64_t y, int64_t x) {
  uint8_t* row = c.image->GetRow(c.image, y);
  if (!row) {
    DebugLog("GetRow returned nil for row", static_cast<long long>(y));
    return nullptr;
  }
  return row + x * c.step;
}

template <bool kRGBResult, Variant kVariant>
bool BlendRows(const Channels& source, const Channels& other, const Channels& mask,
               const Channels& result, const Background& background, int64_t x, int64_t y,
               int64_t width, int64_t height) {
  constexpr bool kMasked = kVariant != Variant::kCopy;
  constexpr bool kWithImage = kVariant == Variant::kDestination;
  for (int64_t row = y; row < y + height; ++row) {
    const uint8_t* from = RowAt(source, row, x);
    const uint8_t* behind = kWithImage ? RowAt(other, row, x) : nullptr;
    const uint8_t* weights = kMasked ? RowAt(mask, row, x) : nullptr;
    uint8_t* to = RowAt(result, row, x);
    if (!from || !to || (kWithImage && !behind) || (kMasked && !weights)) return false;
    for (int64_t i = 0; i < width; ++i) {
      const uint8_t* s = from + i * source.step;
      uint8_t* r = to + i * result.step;
      uint32_t m = 0;
      if constexpr (kMasked) m = GrayAt(weights + i * mask.step, mask);
      const uint8_t* d = kWithImage ? behind + i * other.step : nullptr;
      if constexpr (kRGBResult) {
        uint32_t otherRed = kWithImage ? d[other.red] : background.red;
        uint32_t otherGreen = kWithImage ? d[other.green] : background.green;
        uint32_t otherBlue = kWithImage ? d[other.blue] : background.blue;
        r[result.red] = BlendValue<kVariant>(s[source.red], otherRed, m);
        r[result.green] = BlendValue<kVariant>(s[source.green], otherGreen, m);
        r[result.blue] = BlendValue<kVariant>(s[source.blue], otherBlue, m);
      } else {
        uint32_t otherGray = kWithImage ? GrayAt(d, other) : background.gray;
        r[result.red] = BlendValue<kVariant>(GrayAt(s, source), otherGray, m);
      }
    }
    YieldRow(result.image);
  }
  return true;
}

template <Variant kVariant>
bool BlendVariant(bool rgbResult, const Channels& source, const Channels& other,
                  const Channels& mask, const Channels& result, const Background& background,
                  int64_t x, int64_t y, int64_t width, int64_t height) {
  if (rgbResult) {
    return BlendRows<true, kVariant>(source, other, mask, result, background, x, y, width, height);
  }
  return BlendRows<false, kVariant>(source, other, mask, result, background, x, y, width, height);
}

// A further image must be usable and cover the whole source.
bool CheckImage(const ImageClassData& image, const ImageClassData& source, const char* tooSmall,
                const char* wrongFamily) {
  if (!image.Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (!image.GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (image.Width < source.Width || image.Height < source.Height) {
    DebugLog(tooSmall);
    return false;
  }
  if (!IsGrayOrRGB(image)) {
    DebugLog(wrongFamily);
    return false;
  }
  return true;
}

void LogVariant(const char* variant, const ImageClassData* first, const ImageClassData* second,
                const ImageClassData* third, const ImageClassData* fourth) {
  if (!Debugging()) return;
  DebugLog(variant);
  char label[80];
  int length = std::snprintf(label, sizeof label, "%s", variant);
  for (const ImageClassData* image : {first, second, third, fourth}) {
    if (image && length > 0 && length < static_cast<int>(sizeof label)) {
      length += std::snprintf(label + length, sizeof label - static_cast<size_t>(length), "_%s",
                              FamilyName(*image));
    }
  }
  DebugLog(label);
}

}  // namespace

bool BlendWithMask(ImageClassData* source, ImageClassData* destImage, ImageClassData* mask,
                   ImageClassData* result, uint32_t backgroundColour, int64_t x, int64_t y,
                   int64_t width, int64_t height) {
  DebugLog("BlendPicturesWithMaskWithBackground5");
  if (!source) {
    DebugLog("SourceImage is nil");
    return false;
  }
  if (!source->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (!source->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (!IsGrayOrRGB(*source)) {
    DebugLog("SourceImage is not RGB or Gray.");
    return false;
  }

  FixImageRectangle(source->Width, source->Height, x, y, width, height);
  if (width < 1 || height < 1) {
    if (Debugging()) {
      LogMessageX("%s%s %lld, %lld", kDebugPrefix, "Width or height is 0.",
                  static_cast<long long>(width), static_cast<long long>(height));
    }
    return false;
  }

  if (!result) {
    DebugLog("Result is nil");
    return false;
  }
  // The result must hold the whole source, not only the rectangle.
  if (!CheckImage(*result, *source, "Result too small.", "Result is not RGB or Gray.")) {
    return false;
  }
  if (destImage &&
      !CheckImage(*destImage, *source, "DestImage too small.", "DestImage is not RGB or Gray.")) {
    return false;
  }
  if (mask && !CheckImage(*mask, *source, "Mask too small.", "Mask is not RGB or Gray.")) {
    return false;
  }

  // The background in the result's terms, once.
  Background background{RedOfColor(backgroundColour), GreenOfColor(backgroundColour),
                        BlueOfColor(backgroundColour), 0};
  background.gray = GrayFromRGB(background.red, background.green, background.blue);

  bool rgbResult = result->IsRGB;
  Channels from = ChannelsOf(source);
  Channels to = ChannelsOf(result);
  if (!mask) {
    // Without a mask the destination image and the background play no part.
    if (!destImage) DebugLog("BlendPictureBG2");
    LogVariant("BlendPictureBG3", source, result, nullptr, nullptr);
    return BlendVariant<Variant::kCopy>(rgbResult, from, {}, {}, to, background, x, y, width,
                                        height);
  }
  Channels weights = ChannelsOf(mask);
  if (!destImage) {
    LogVariant("BlendPictureBG4", source, mask, result, nullptr);
    return BlendVariant<Variant::kBackground>(rgbResult, from, {}, weights, to, background, x, y,
                                              width, height);
  }
  LogVariant("BlendPictureBG6", source, destImage, mask, result);
  return BlendVariant<Variant::kDestination>(rgbResult, from, ChannelsOf(destImage), weights, to,
                                             background, x, y, width, height);
}

RBBoolean BlendPicturesWithMaskWithBackground9(REALobject sourceImage, REALobject destImage,
                                          REALobject mask, REALobject result,
                                          uint32_t backgroundColour, int64_t x, int64_t y,
                                          int64_t width, int64_t height) {
  return BlendWithMask(ImageData(sourceImage), ImageData(destImage), ImageData(mask),
                       ImageData(result), backgroundColour, x, y, width, height);
}

RBBoolean BlendPicturesWithMaskWithBackground5(REALobject sourceImage, REALobject destImage,
                                          REALobject mask, REALobject result,
                                          uint32_t backgroundColour) {
  const ImageClassData* source = ImageData(sourceImage);
  int64_t width = source ? source->Width : 0;
  int64_t height = source ? source->Height : 0;
  return BlendPicturesWithMaskWithBackground9(sourceImage, destImage, mask, result,
                                              backgroundColour, 0, 0, width, height);
}
