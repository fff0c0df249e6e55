// An image pixel seen as red, green, blue and alpha on the way to a host picture, and colour
// written back into an image's channels. Channels are addressed through the record's offsets
// only, so one instantiation serves every byte order of a family, clips and channel views.
#pragma once

#include <cstdint>
#include <cstring>

#include "image/image_class_data.h"

// Inline helpers of the picture bridge, kept apart from the same short names elsewhere.
namespace picture_io {

enum class ImageFamily : uint8_t { kNone, kGray8, kGray16, kRGB, kCMYK };

inline ImageFamily FamilyOf(const ImageClassData& image) {
  if (image.IsRGB && image.HasRed && image.HasGreen && image.HasBlue) return ImageFamily::kRGB;
  if (image.IsCMYK && image.HasCyan && image.HasMagenta && image.HasYellow && image.HasBlack) {
    return ImageFamily::kCMYK;
  }
  if (image.IsGray && image.HasGray) {
    return image.BitsPerComponent == 16 ? ImageFamily::kGray16 : ImageFamily::kGray8;
  }
  return ImageFamily::kNone;
}

struct ImageRGBA {
  uint8_t red, green, blue, alpha;
};

// CMYK to RGB: with k = 255 - K, each colour is 255 - (K + C x k / 255), the division truncating.
inline uint8_t RGBFromCMYK(uint32_t ink, uint32_t black) {
  return static_cast<uint8_t>(255 - (black + ink * (255 - black) / 255));
}

// A 16-bit gray sample shows as its high byte: full scale stays 255 and 0x1212 gives 0x12.
inline uint8_t Gray8FromGray16(const uint8_t* sample) {
  uint16_t value;
  std::memcpy(&value, sample, 2);
  return static_cast<uint8_t>(value >> 8);
}

template <ImageFamily F>
inline ImageRGBA ReadImagePixel(const ImageClassData& image, const uint8_t* pixel) {
  uint8_t alpha = image.HasAlpha ? pixel[image.AlphaOffset] : 255;
  if constexpr (F == ImageFamily::kGray8) {
    uint8_t gray = pixel[image.GrayOffset];
    return {gray, gray, gray, alpha};
  } else if constexpr (F == ImageFamily::kGray16) {
    uint8_t gray = Gray8FromGray16(pixel + image.GrayOffset);
    return {gray, gray, gray, alpha};
  } else if constexpr (F == ImageFamily::kRGB) {
    return {pixel[image.RedOffset], pixel[image.GreenOffset], pixel[image.BlueOffset], alpha};
  } else {
    uint32_t black = pixel[image.BlackOffset];
    return {RGBFromCMYK(pixel[image.CyanOffset], black),
            RGBFromCMYK(pixel[image.MagentaOffset], black),
            RGBFromCMYK(pixel[image.YellowOffset], black), alpha};
  }
}

// Calls body.template operator()<F>() with the family as a constant; false for kNone.
template <class Body>
inline bool WithFamily(ImageFamily family, Body&& body) {
  switch (family) {
    case ImageFamily::kGray8:
      body.template operator()<ImageFamily::kGray8>();
      return true;
    case ImageFamily::kGray16:
      body.template operator()<ImageFamily::kGray16>();
      return true;
    case ImageFamily::kRGB:
      body.template operator()<ImageFamily::kRGB>();
      return true;
    case ImageFamily::kCMYK:
      body.template operator()<ImageFamily::kCMYK>();
      return true;
    case ImageFamily::kNone:
      break;
  }
  return false;
}

}  // namespace picture_io
