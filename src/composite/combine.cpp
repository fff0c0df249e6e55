#include "composite/combine.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "composite/pixel_conversions.h"
#include "image/image_checks.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"

namespace {

// Rows are first brought into a packed working layout of self's family with an alpha byte, so
// one blend loop per family serves every source and mask format.
PixelLayout WorkLayout(PixelFamily family) {
  PixelLayout layout;
  layout.family = family;
  switch (family) {
    case PixelFamily::kGray8:
      layout.channel[0] = 0;
      layout.alpha = 1;
      layout.pixelSize = 2;
      break;
    case PixelFamily::kGray16:
      layout.channel[0] = 0;
      layout.alpha = 2;
      layout.pixelSize = 3;
      break;
    case PixelFamily::kRGB:
      layout = {family, 4, {0, 1, 2, -1}, 3};
      break;
    case PixelFamily::kCMYK:
      layout = {family, 5, {0, 1, 2, 3}, 4};
      break;
    case PixelFamily::kNone:
      break;
  }
  return layout;
}

const PixelLayout kMaskLayout{PixelFamily::kGray8, 1, {0, -1, -1, -1}, -1};

// Debug labels by family: data, not copies of the loop.
const char* FamilyLabel(PixelFamily family, bool alpha) {
  switch (family) {
    case PixelFamily::kGray8:
      return alpha ? "CombineGA" : "CombineG";
    case PixelFamily::kGray16:
      return "CombineGray16";
    case PixelFamily::kRGB:
      return alpha ? "CombineRGBA" : "CombineRGB";
    case PixelFamily::kCMYK:
      return alpha ? "CombineCMYKA" : "CombineCMYK";
    case PixelFamily::kNone:
      break;
  }
  return "Combine";
}

constexpr uint64_t kFull = 255 * 255;

inline uint32_t Mix(uint64_t weighted, uint64_t d, uint64_t t) {
  return static_cast<uint32_t>((weighted + d * (kFull - t) + kFull / 2) / kFull);
}

constexpr int Channels(PixelFamily family) {
  return family == PixelFamily::kRGB ? 3 : family == PixelFamily::kCMYK ? 4 : 1;
}

template <PixelFamily F>
void BlendRow(const PixelLayout& self, uint8_t* row, const uint8_t* work, const uint8_t* mask,
              int64_t count, bool premultiplied) {
  const PixelLayout layout = WorkLayout(F);
  const uint32_t full = F == PixelFamily::kGray16 ? 65535 : 255;
  for (int64_t i = 0; i < count; ++i, row += self.pixelSize, work += layout.pixelSize) {
    uint64_t m = mask[i];
    uint64_t a = work[layout.alpha];
    if (m == 0) continue;  // the mask keeps self's pixel as it is
    uint64_t t = a * m;
    for (int c = 0; c < Channels(F); ++c) {
      uint8_t* at = row + self.channel[c];
      uint64_t s, d;
      if constexpr (F == PixelFamily::kGray16) {
        uint16_t sample;
        std::memcpy(&sample, work, 2);
        s = sample;
        std::memcpy(&sample, at, 2);
        d = sample;
      } else {
        s = work[c];
        d = *at;
      }
      uint32_t out = premultiplied ? std::min(Mix(s * m * 255, d, t), full) : Mix(s * t, d, t);
      if constexpr (F == PixelFamily::kGray16) {
        auto sample = static_cast<uint16_t>(out);
        std::memcpy(at, &sample, 2);
      } else {
        *at = static_cast<uint8_t>(out);
      }
    }
    if (self.alpha >= 0)
      row[self.alpha] = static_cast<uint8_t>(Mix(a * m * 255, row[self.alpha], t));
  }
}

void BlendRowOf(const PixelLayout& self, uint8_t* row, const uint8_t* work, const uint8_t* mask,
                int64_t count, bool premultiplied) {
  switch (self.family) {
    case PixelFamily::kGray8:
      return BlendRow<PixelFamily::kGray8>(self, row, work, mask, count, premultiplied);
    case PixelFamily::kGray16:
      return BlendRow<PixelFamily::kGray16>(self, row, work, mask, count, premultiplied);
    case PixelFamily::kRGB:
      return BlendRow<PixelFamily::kRGB>(self, row, work, mask, count, premultiplied);
    case PixelFamily::kCMYK:
      return BlendRow<PixelFamily::kCMYK>(self, row, work, mask, count, premultiplied);
    case PixelFamily::kNone:
      return;
  }
}

bool StartNamed(ImageClassData* image, const char* nilText) {
  if (!image) {
    DebugLog(nilText);
    return false;
  }
  return StartImage(image);
}

bool CombineRows(ImageClassData* self, const CombineSource& source, ImageClassData* mask,
                 const PixelLayout& selfLayout, const PixelLayout& sourceLayout,
                 const PixelLayout& maskLayout, int64_t x, int64_t y, int64_t width, int64_t height,
                 bool premultiplied) {
  const PixelLayout work = WorkLayout(selfLayout.family);
  std::vector<uint8_t> workRow(static_cast<size_t>(width * work.pixelSize));
  std::vector<uint8_t> maskRow(static_cast<size_t>(width));
  if (!source.image) {
    // One colour for every pixel: its working row is made once.
    PixelLayout one = WorkLayout(source.colourFamily);
    std::vector<uint8_t> pixel(static_cast<size_t>(one.pixelSize));
    PixelValue value = source.colour;
    if (source.colourFamily == PixelFamily::kGray16) {
      auto sample = static_cast<uint16_t>(value.v[0]);
      std::memcpy(pixel.data(), &sample, 2);
    } else {
      for (int c = 0; c < Channels(source.colourFamily); ++c) {
        pixel[static_cast<size_t>(one.channel[c])] = static_cast<uint8_t>(value.v[c]);
      }
    }
    pixel[static_cast<size_t>(one.alpha)] = static_cast<uint8_t>(value.alpha);
    for (int64_t i = 0; i < width; ++i) {
      ConvertPixels(one, pixel.data(), work, workRow.data() + i * work.pixelSize, 1, {});
    }
  }
  for (int64_t row = y; row < y + height; ++row) {
    // Source and mask are read into buffers before self's row is fetched and written, so either
    // may be self, and a mapped image's address is used only until its next GetRow.
    if (source.image) {
      const uint8_t* sourceRow = source.image->GetRow(source.image, row);
      if (!sourceRow) {
        DebugLog("row is nil", static_cast<long long>(row));
        return false;
      }
      ConvertPixels(sourceLayout, sourceRow + x * sourceLayout.pixelSize, work, workRow.data(),
                    width, {});
    }
    const uint8_t* maskPixels = mask->GetRow(mask, row);
    if (!maskPixels) {
      DebugLog("row is nil", static_cast<long long>(row));
      return false;
    }
    ConvertPixels(maskLayout, maskPixels + x * maskLayout.pixelSize, kMaskLayout, maskRow.data(),
                  width, {});
    uint8_t* selfRow = self->GetRow(self, row);
    if (!selfRow) {
      DebugLog("row is nil", static_cast<long long>(row));
      return false;
    }
    BlendRowOf(selfLayout, selfRow + x * selfLayout.pixelSize, workRow.data(), maskRow.data(),
               width, premultiplied);
    YieldRow(self);
  }
  return true;
}

}  // namespace

bool CombineInto(ImageClassData* self, const CombineSource& source, ImageClassData* mask, int64_t x,
                 int64_t y, int64_t width, int64_t height, bool premultiplied) {
  if (!StartNamed(self, "Picture is nil")) return false;
  PixelLayout selfLayout = LayoutOfImage(*self);
  if (selfLayout.family == PixelFamily::kNone) {
    DebugLog("Picture is not gray, RGB or CMYK.");
    return false;
  }
  if (!StartNamed(mask, "Mask is nil")) return false;
  PixelLayout maskLayout = LayoutOfImage(*mask);
  if (maskLayout.family == PixelFamily::kNone || maskLayout.family == PixelFamily::kCMYK) {
    DebugLog("Mask is not RGB or Gray.");
    return false;
  }
  maskLayout.alpha = -1;  // the mask's own alpha takes no part
  int64_t coverWidth = std::min(self->Width, mask->Width);
  int64_t coverHeight = std::min(self->Height, mask->Height);
  PixelLayout sourceLayout;
  if (source.image) {
    if (!StartNamed(source.image, "Source is nil")) return false;
    sourceLayout = LayoutOfImage(*source.image);
    if (sourceLayout.family == PixelFamily::kNone) {
      DebugLog("Source is not gray, RGB or CMYK.");
      return false;
    }
    coverWidth = std::min(coverWidth, source.image->Width);
    coverHeight = std::min(coverHeight, source.image->Height);
  } else if (source.colourFamily == PixelFamily::kNone) {
    return false;
  }
  FixImageRectangle(coverWidth, coverHeight, x, y, width, height);
  if (width < 1 || height < 1) {
    if (Debugging()) {
      LogMessageX("%s%s %lld, %lld", kDebugPrefix, "Width or height is 0.",
                  static_cast<long long>(width), static_cast<long long>(height));
    }
    return false;
  }
  DebugLog(FamilyLabel(selfLayout.family, selfLayout.alpha >= 0));
  return GuardStandardExceptions<bool>(false, [&] {
    return CombineRows(self, source, mask, selfLayout, sourceLayout, maskLayout, x, y, width,
                       height, premultiplied);
  });
}

namespace {

constexpr int64_t kWhole = INT64_MAX;  // a rectangle that FixImageRectangle cuts to the image

bool WithImage(REALobject instance, REALobject source, REALobject mask, int64_t x, int64_t y,
               int64_t width, int64_t height, bool premultiplied) {
  DebugLog("Combine");
  CombineSource from;
  from.image = ImageData(source);
  if (!from.image) {
    DebugLog("Source is nil");
    return false;
  }
  return CombineInto(ImageData(instance), from, ImageData(mask), x, y, width, height,
                     premultiplied);
}

// A colour given as integers: each channel must be a byte.
bool WithColour(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                int64_t height, PixelFamily family, std::initializer_list<int64_t> channels,
                int64_t alpha) {
  DebugLog("Combine");
  CombineSource from;
  from.colourFamily = family;
  int c = 0;
  for (int64_t value : channels) {
    if (value < 0 || value > 255) {
      DebugLog("Channel value out of range", static_cast<long long>(value));
      return false;
    }
    from.colour.v[c++] = static_cast<uint32_t>(value);
  }
  if (alpha < 0 || alpha > 255) {
    DebugLog("Alpha out of range", static_cast<long long>(alpha));
    return false;
  }
  from.colour.alpha = static_cast<uint32_t>(alpha);
  return CombineInto(ImageData(instance), from, ImageData(mask), x, y, width, height, false);
}

bool WithHostColour(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                    int64_t height, uint32_t colour) {
  return WithColour(instance, mask, x, y, width, height, PixelFamily::kRGB,
                    {RedOfColor(colour), GreenOfColor(colour), BlueOfColor(colour)}, 255);
}

}  // namespace

RBBoolean rbCombine2(REALobject instance, REALobject source, REALobject mask) {
  return WithImage(instance, source, mask, 0, 0, kWhole, kWhole, false);
}

RBBoolean rbCombine3(REALobject instance, REALobject source, REALobject mask, RBBoolean premultiplied) {
  return WithImage(instance, source, mask, 0, 0, kWhole, kWhole, premultiplied);
}

RBBoolean rbCombine6(REALobject instance, REALobject source, REALobject mask, int64_t x, int64_t y,
                int64_t width, int64_t height) {
  return WithImage(instance, source, mask, x, y, width, height, false);
}

RBBoolean rbCombine7(REALobject instance, REALobject source, REALobject mask, int64_t x, int64_t y,
                int64_t width, int64_t height, RBBoolean premultiplied) {
  return WithImage(instance, source, mask, x, y, width, height, premultiplied);
}

RBBoolean rbCombineColor(REALobject instance, REALobject mask, uint32_t backColour) {
  return WithHostColour(instance, mask, 0, 0, kWhole, kWhole, backColour);
}

RBBoolean rbCombineColorRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                        int64_t height, uint32_t backColour) {
  return WithHostColour(instance, mask, x, y, width, height, backColour);
}

RBBoolean rbCombineGray(REALobject instance, REALobject mask, int64_t value, int64_t alpha) {
  return WithColour(instance, mask, 0, 0, kWhole, kWhole, PixelFamily::kGray8, {value}, alpha);
}

RBBoolean rbCombineGrayRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                       int64_t height, int64_t value, int64_t alpha) {
  return WithColour(instance, mask, x, y, width, height, PixelFamily::kGray8, {value}, alpha);
}

RBBoolean rbCombineRGB(REALobject instance, REALobject mask, int64_t red, int64_t green, int64_t blue,
                  int64_t alpha) {
  return WithColour(instance, mask, 0, 0, kWhole, kWhole, PixelFamily::kRGB, {red, green, blue},
                    alpha);
}

RBBoolean rbCombineRGBRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                      int64_t height, int64_t red, int64_t green, int64_t blue, int64_t alpha) {
  return WithColour(instance, mask, x, y, width, height, PixelFamily::kRGB, {red, green, blue},
                    alpha);
}

RBBoolean rbCombineCMYK(REALobject instance, REALobject mask, int64_t cyan, int64_t magenta,
                   int64_t yellow, int64_t black, int64_t alpha) {
  return WithColour(instance, mask, 0, 0, kWhole, kWhole, PixelFamily::kCMYK,
                    {cyan, magenta, yellow, black}, alpha);
}
