#include "composite/copy_pixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "composite/fix_rectangle.h"
#include "composite/pixel_conversions.h"
#include "image/image_checks.h"
#include "plugin/debug_log.h"

namespace {

enum class Family { kNone, kGray, kRGB, kCMYK };

Family FamilyOf(const ImageClassData& image) {
  if (image.IsRGB) return Family::kRGB;
  if (image.IsGray) return Family::kGray;
  if (image.IsCMYK) return Family::kCMYK;
  return Family::kNone;
}

bool IsWide(const ImageClassData& image) { return image.BitsPerComponent == 16; }

void LogPair(const char* label, int64_t first, int64_t second) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld", kDebugPrefix, label, static_cast<long long>(first),
                static_cast<long long>(second));
  }
}

// ---- Block path: rows of one packed layout copied as bytes.

int64_t PackedChannels(const ImageClassData& image) {
  return (image.HasRed ? 1 : 0) + (image.HasGreen ? 1 : 0) + (image.HasBlue ? 1 : 0) +
         (image.HasGray ? 1 : 0) + (image.HasAlpha ? 1 : 0);
}

// The bytes of a run, counted from the row start, end inside the row. Always so for the formats
// and for clips; an offset moved by the application could push the run past the row's end, and
// such an image is copied per pixel instead, which never leaves a pixel.
bool RunStaysInRow(const ImageClassData& image, int64_t x, int64_t width) {
  int64_t end = GetMinOffset(&image) + (x + width) * image.PixelSize;
  return end <= image.RowSize;
}

bool CopyBlocks(ImageClassData& dest, ImageClassData& source, int64_t destX, int64_t destY,
                int64_t sourceX, int64_t sourceY, int64_t width, int64_t height) {
  DebugLog("CopyPixelsBlock");
  int64_t pixelSize = dest.PixelSize;
  int64_t sourceMin = GetMinOffset(&source);
  int64_t destMin = GetMinOffset(&dest);
  int64_t sourceOffset = sourceMin + sourceX * pixelSize;
  int64_t destOffset = destMin + destX * pixelSize;
  int64_t rowBytes = width * pixelSize;
  LogPair("pixel size", source.PixelSize, dest.PixelSize);
  LogPair("min offset", sourceMin, destMin);
  LogPair("offset", sourceOffset, destOffset);
  DebugLog("uh", static_cast<long long>(destY + height));
  DebugLog("pw", static_cast<long long>(rowBytes));
  for (int64_t row = 0; row < height; ++row) {
    DebugLog("y", static_cast<long long>(destY + row));
    DebugLog("row", static_cast<long long>(sourceY + row));
    const uint8_t* from = source.GetRow(&source, sourceY + row);
    if (!from) {
      DebugLog("sbuf is empty for line", static_cast<long long>(sourceY + row));
      return false;
    }
    uint8_t* to = dest.GetRow(&dest, destY + row);
    if (!to) {
      DebugLog("dbuf is empty for line", static_cast<long long>(destY + row));
      return false;
    }
    // Both may be rows of one storage (a copy within an image, or between clips of it).
    std::memmove(to + destOffset, from + sourceOffset, static_cast<size_t>(rowBytes));
    YieldRow(&dest);
  }
  return true;
}

// ---- Per-pixel paths: one loop over a recipe of channel offsets.

enum class GrayRule : uint8_t {
  kNone,
  kWeighted,  // gray = (77 R + 151 G + 28 B) >> 8 of three source bytes
  kWidened,   // a 16-bit gray v x 257 from one source byte
};

// How one destination pixel is made from one source pixel. Offsets count from the pixel's first
// byte as the record sees it (a clip's offsets reach past PixelSize).
struct PixelRecipe {
  int64_t destStep = 0;
  int64_t sourceStep = 0;
  std::array<int64_t, 5> copyDest{};
  std::array<int64_t, 5> copySource{};
  std::array<int64_t, 3> zeroDest{};
  int64_t grayDest = 0;
  std::array<int64_t, 3> graySource{};  // red, green, blue; the widened rule reads [0]
};

using RunKernel = void (*)(uint8_t* dest, const uint8_t* source, int64_t width,
                           const PixelRecipe& recipe);

template <int kCopies, int kZeros, GrayRule kGray>
void ConvertRun(uint8_t* dest, const uint8_t* source, int64_t width, const PixelRecipe& recipe) {
  const PixelRecipe r = recipe;  // a local copy keeps the offsets in registers
  for (int64_t i = 0; i < width; ++i) {
    uint8_t* to = dest + i * r.destStep;
    const uint8_t* from = source + i * r.sourceStep;
    for (int c = 0; c < kCopies; ++c) to[r.copyDest[c]] = from[r.copySource[c]];
    for (int z = 0; z < kZeros; ++z) to[r.zeroDest[z]] = 0;
    if constexpr (kGray == GrayRule::kWeighted) {
      to[r.grayDest] =
          GrayFromRGB(from[r.graySource[0]], from[r.graySource[1]], from[r.graySource[2]]);
    } else if constexpr (kGray == GrayRule::kWidened) {
      uint16_t wide = Gray16FromGray(from[r.graySource[0]]);
      std::memcpy(to + r.grayDest, &wide, sizeof wide);  // the machine's byte order
    }
  }
}

template <int kZeros, GrayRule kGray>
RunKernel KernelWithCopies(int copies) {
  switch (copies) {
    case 0:
      return &ConvertRun<0, kZeros, kGray>;
    case 1:
      return &ConvertRun<1, kZeros, kGray>;
    case 2:
      return &ConvertRun<2, kZeros, kGray>;
    case 3:
      return &ConvertRun<3, kZeros, kGray>;
    case 4:
      return &ConvertRun<4, kZeros, kGray>;
    case 5:
      return &ConvertRun<5, kZeros, kGray>;
    default:
      return nullptr;
  }
}

template <GrayRule kGray>
RunKernel KernelWithZeros(int copies, int zeros) {
  if (zeros == 0) return KernelWithCopies<0, kGray>(copies);
  if (zeros == 3) return KernelWithCopies<3, kGray>(copies);
  return nullptr;
}

RunKernel SelectKernel(int copies, int zeros, GrayRule gray) {
  switch (gray) {
    case GrayRule::kNone:
      return KernelWithZeros<GrayRule::kNone>(copies, zeros);
    case GrayRule::kWeighted:
      return KernelWithZeros<GrayRule::kWeighted>(copies, zeros);
    case GrayRule::kWidened:
      return KernelWithZeros<GrayRule::kWidened>(copies, zeros);
  }
  return nullptr;
}

enum class Outcome : uint8_t { kCopy, kRefused, kUnsupported };

// The per-pixel path of a format pair: its debug label and its recipe, built from the two
// records' offsets. The span of each side (first byte touched, one past the last) is kept so that
// a copy within one storage can see whether source and destination overlap.
struct CopyPlan {
  Outcome outcome = Outcome::kCopy;
  const char* label = "";
  PixelRecipe recipe;
  int copies = 0;
  int zeros = 0;
  GrayRule gray = GrayRule::kNone;
  int64_t sourceLow = INT64_MAX, sourceHigh = INT64_MIN;
  int64_t destLow = INT64_MAX, destHigh = INT64_MIN;
  bool readsWide = false;   // a 16-bit sample is read whole
  bool writesWide = false;  // a 16-bit sample is written whole

  CopyPlan(const char* name, const ImageClassData& dest, const ImageClassData& source)
      : label(name) {
    recipe.destStep = dest.PixelSize;
    recipe.sourceStep = source.PixelSize;
  }
  CopyPlan& Copy(int64_t to, int64_t from) {
    recipe.copyDest[copies] = to;
    recipe.copySource[copies] = from;
    ++copies;
    return Touch(to, 1, from, 1);
  }
  CopyPlan& Zero(int64_t to) {
    recipe.zeroDest[zeros++] = to;
    return Touch(to, 1, INT64_MAX, 0);
  }
  CopyPlan& Weighted(int64_t to, int64_t red, int64_t green, int64_t blue) {
    gray = GrayRule::kWeighted;
    recipe.grayDest = to;
    recipe.graySource = {red, green, blue};
    Touch(to, 1, red, 1);
    Touch(INT64_MAX, 0, green, 1);
    return Touch(INT64_MAX, 0, blue, 1);
  }
  CopyPlan& Widened(int64_t to, int64_t from) {
    gray = GrayRule::kWidened;
    writesWide = true;
    recipe.grayDest = to;
    recipe.graySource = {from, 0, 0};
    return Touch(to, 2, from, 1);
  }
  CopyPlan& Refused() {
    outcome = Outcome::kRefused;
    return *this;
  }

 private:
  CopyPlan& Touch(int64_t to, int64_t toBytes, int64_t from, int64_t fromBytes) {
    if (toBytes > 0) {
      destLow = std::min(destLow, to);
      destHigh = std::max(destHigh, to + toBytes);
    }
    if (fromBytes > 0) {
      sourceLow = std::min(sourceLow, from);
      sourceHigh = std::max(sourceHigh, from + fromBytes);
    }
    return *this;
  }
};

CopyPlan PlanWithAlpha(const ImageClassData& d, const ImageClassData& s, Family to, Family from) {
  if (to == Family::kRGB && from == Family::kRGB) {
    return CopyPlan("CopyPixelsRGBAtoRGBA", d, s)
        .Copy(d.RedOffset, s.RedOffset)
        .Copy(d.GreenOffset, s.GreenOffset)
        .Copy(d.BlueOffset, s.BlueOffset)
        .Copy(d.AlphaOffset, s.AlphaOffset);
  }
  if (to == Family::kRGB && from == Family::kGray) {
    return CopyPlan("CopyPixelsGAtoRGBA", d, s)
        .Copy(d.RedOffset, s.GrayOffset)
        .Copy(d.GreenOffset, s.GrayOffset)
        .Copy(d.BlueOffset, s.GrayOffset)
        .Copy(d.AlphaOffset, s.AlphaOffset);
  }
  if (to == Family::kRGB && from == Family::kCMYK) {
    return CopyPlan("CopyPixelsCMYKAtoRGBA", d, s).Refused();
  }
  if (to == Family::kCMYK && from == Family::kCMYK) {
    return CopyPlan("CopyPixelsCMYKAtoCMYKA", d, s)
        .Copy(d.CyanOffset, s.CyanOffset)
        .Copy(d.MagentaOffset, s.MagentaOffset)
        .Copy(d.YellowOffset, s.YellowOffset)
        .Copy(d.BlackOffset, s.BlackOffset)
        .Copy(d.AlphaOffset, s.AlphaOffset);
  }
  if (to == Family::kCMYK && from == Family::kGray) {
    return CopyPlan("CopyPixelsGAtoCMYKA", d, s)
        .Copy(d.BlackOffset, s.GrayOffset)
        .Copy(d.AlphaOffset, s.AlphaOffset)
        .Zero(d.CyanOffset)
        .Zero(d.MagentaOffset)
        .Zero(d.YellowOffset);
  }
  if (to == Family::kCMYK && from == Family::kRGB) {
    return CopyPlan("CopyPixelsRGBAtoCMYKA", d, s).Refused();
  }
  // Gray with alpha takes the 8-bit path whatever the bits per channel.
  if (to == Family::kGray && from == Family::kGray) {
    return CopyPlan("CopyPixelsGAtoGA", d, s)
        .Copy(d.GrayOffset, s.GrayOffset)
        .Copy(d.AlphaOffset, s.AlphaOffset);
  }
  if (to == Family::kGray && from == Family::kRGB) {
    return CopyPlan("CopyPixelsRGBAtoGA", d, s)
        .Copy(d.AlphaOffset, s.AlphaOffset)
        .Weighted(d.GrayOffset, s.RedOffset, s.GreenOffset, s.BlueOffset);
  }
  // A CMYK source has no red, green or blue: the weighted sum reads the bytes at whatever its
  // red, green and blue offsets hold, which is 0 for every CMYK format.
  CopyPlan plan("CopyPixelsCMYKAtoGA", d, s);
  plan.Copy(d.AlphaOffset, s.AlphaOffset)
      .Weighted(d.GrayOffset, s.RedOffset, s.GreenOffset, s.BlueOffset);
  return plan;
}

CopyPlan PlanWithoutAlpha(const ImageClassData& d, const ImageClassData& s, Family to,
                          Family from) {
  if (to == Family::kGray && from == Family::kCMYK) {
    return CopyPlan("CopyPixelsCMYKtoG", d, s).Copy(d.GrayOffset, s.BlackOffset);
  }
  if (to == Family::kGray && from == Family::kRGB) {
    // One byte at the gray offset, a 16-bit destination included.
    return CopyPlan("CopyPixelsRGBtoG", d, s)
        .Weighted(d.GrayOffset, s.RedOffset, s.GreenOffset, s.BlueOffset);
  }
  if (to == Family::kGray && from == Family::kGray) {
    if (IsWide(d) && IsWide(s)) {
      CopyPlan plan("CopyPixelsGray16toGray16", d, s);
      plan.Copy(d.GrayOffset, s.GrayOffset).Copy(d.GrayOffset + 1, s.GrayOffset + 1);
      plan.readsWide = plan.writesWide = true;
      return plan;
    }
    if (IsWide(d)) {
      return CopyPlan("CopyPixelsGtoGray16", d, s).Widened(d.GrayOffset, s.GrayOffset);
    }
    if (IsWide(s)) {
      // The first byte of the sample in memory, whatever the machine's byte order.
      return CopyPlan("CopyPixelsGray16toG", d, s).Copy(d.GrayOffset, s.GrayOffset);
    }
    return CopyPlan("CopyPixelsGtoG", d, s).Copy(d.GrayOffset, s.GrayOffset);
  }
  if (to == Family::kRGB && from == Family::kRGB) {
    return CopyPlan("CopyPixelsRGBtoRGB", d, s)
        .Copy(d.RedOffset, s.RedOffset)
        .Copy(d.GreenOffset, s.GreenOffset)
        .Copy(d.BlueOffset, s.BlueOffset);
  }
  if (to == Family::kRGB && from == Family::kGray) {
    return CopyPlan("CopyPixelsGtoRGB", d, s)
        .Copy(d.RedOffset, s.GrayOffset)
        .Copy(d.GreenOffset, s.GrayOffset)
        .Copy(d.BlueOffset, s.GrayOffset);
  }
  if (to == Family::kRGB && from == Family::kCMYK) {
    return CopyPlan("CopyPixelsCMYKtoRGB", d, s).Refused();
  }
  if (to == Family::kCMYK && from == Family::kCMYK) {
    return CopyPlan("CopyPixelsCMYKtoCMYK", d, s)
        .Copy(d.CyanOffset, s.CyanOffset)
        .Copy(d.MagentaOffset, s.MagentaOffset)
        .Copy(d.YellowOffset, s.YellowOffset)
        .Copy(d.BlackOffset, s.BlackOffset);
  }
  if (to == Family::kCMYK && from == Family::kGray) {
    return CopyPlan("CopyPixelsGtoCMYK", d, s)
        .Copy(d.BlackOffset, s.GrayOffset)
        .Zero(d.CyanOffset)
        .Zero(d.MagentaOffset)
        .Zero(d.YellowOffset);
  }
  return CopyPlan("CopyPixelsRGBtoCMYK", d, s).Refused();
}

CopyPlan ChoosePlan(const ImageClassData& dest, const ImageClassData& source) {
  Family to = FamilyOf(dest);
  Family from = FamilyOf(source);
  if (to == Family::kNone || from == Family::kNone) {
    CopyPlan plan("CopyPixels format is not gray, RGB or CMYK", dest, source);
    plan.outcome = Outcome::kUnsupported;
    return plan;
  }
  if (dest.HasAlpha && source.HasAlpha) return PlanWithAlpha(dest, source, to, from);
  return PlanWithoutAlpha(dest, source, to, from);
}

// A 16-bit sample must lie within its pixel: an offset moved by the application to the pixel's
// last byte would put the second byte into the next pixel, or past the end of the row.
bool WideSampleFits(const ImageClassData& image) {
  return image.PixelSize >= 2 && image.GrayOffset % image.PixelSize + 2 <= image.PixelSize;
}

bool Overlaps(const uint8_t* a, int64_t aBytes, const uint8_t* b, int64_t bBytes) {
  auto aStart = reinterpret_cast<uintptr_t>(a);
  auto bStart = reinterpret_cast<uintptr_t>(b);
  return aStart < bStart + static_cast<uintptr_t>(bBytes) &&
         bStart < aStart + static_cast<uintptr_t>(aBytes);
}

bool CopyPerPixel(ImageClassData& dest, ImageClassData& source, const CopyPlan& plan, int64_t destX,
                  int64_t destY, int64_t sourceX, int64_t sourceY, int64_t width, int64_t height) {
  RunKernel run = SelectKernel(plan.copies, plan.zeros, plan.gray);
  if (!run) return false;
  // The bytes a run touches, from its first pixel.
  int64_t sourceSpan = (width - 1) * source.PixelSize + plan.sourceHigh - plan.sourceLow;
  int64_t destSpan = (width - 1) * dest.PixelSize + plan.destHigh - plan.destLow;
  // When the source run overlaps the destination's, or both are rows of one file-mapped image
  // (fetching the destination row may map another band), the source run is read from a copy.
  PixelRecipe fromCopy = plan.recipe;
  for (int c = 0; c < plan.copies; ++c) fromCopy.copySource[c] -= plan.sourceLow;
  for (int64_t& offset : fromCopy.graySource) offset -= plan.sourceLow;
  std::unique_ptr<uint8_t[]> copy;
  bool sameBands = &dest == &source && dest.IsMapping;

  for (int64_t row = 0; row < height; ++row) {
    uint8_t* sourceRow = source.GetRow(&source, sourceY + row);
    if (!sourceRow) {
      DebugLog("sbuf is empty for line", static_cast<long long>(sourceY + row));
      return false;
    }
    const uint8_t* from = sourceRow + sourceX * source.PixelSize;
    const PixelRecipe* recipe = &plan.recipe;
    auto readFromCopy = [&]() {
      if (!copy) copy.reset(new (std::nothrow) uint8_t[static_cast<size_t>(sourceSpan)]);
      if (!copy) return false;
      std::memcpy(copy.get(), from + plan.sourceLow, static_cast<size_t>(sourceSpan));
      from = copy.get();
      recipe = &fromCopy;
      return true;
    };
    if (sameBands && !readFromCopy()) {
      DebugLog("Failed to allocate a row copy", static_cast<long long>(sourceSpan));
      return false;
    }
    uint8_t* destRow = dest.GetRow(&dest, destY + row);
    if (!destRow) {
      DebugLog("dbuf is empty for line", static_cast<long long>(destY + row));
      return false;
    }
    uint8_t* to = destRow + destX * dest.PixelSize;
    if (!sameBands && Overlaps(from + plan.sourceLow, sourceSpan, to + plan.destLow, destSpan) &&
        !readFromCopy()) {
      DebugLog("Failed to allocate a row copy", static_cast<long long>(sourceSpan));
      return false;
    }
    run(to, from, width, *recipe);
    YieldRow(&dest);
  }
  return true;
}

}  // namespace

bool QualifiesForBlockCopy(const ImageClassData& dest, const ImageClassData& source) {
  if (dest.IsMapping || source.IsMapping) return false;
  if (PackedChannels(dest) != dest.PixelSize || PackedChannels(source) != source.PixelSize) {
    return false;
  }
  if (dest.HasRed != source.HasRed || dest.HasGreen != source.HasGreen ||
      dest.HasBlue != source.HasBlue || dest.HasGray != source.HasGray ||
      dest.HasAlpha != source.HasAlpha) {
    return false;
  }
  if (dest.PixelSize != source.PixelSize || dest.BitsPerComponent != source.BitsPerComponent) {
    return false;
  }
  if (dest.RedOffset != source.RedOffset || dest.GreenOffset != source.GreenOffset ||
      dest.BlueOffset != source.BlueOffset) {
    return false;
  }
  // The gray offsets are deliberately not compared.
  return !dest.HasAlpha || dest.AlphaOffset == source.AlphaOffset;
}

bool CopyPixels(ImageClassData* dest, ImageClassData* source, int64_t destX, int64_t destY,
                int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY) {
  if (!source || !dest) return false;
  if (!dest->Valid || !source->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (!StartImage(dest) || !StartImage(source)) return false;

  FixRectangleSource(dest, destX, destY, destWidth, destHeight, sourceX, sourceY, source->Width,
                     source->Height);
  if (destWidth < 1 || destHeight < 1) {
    DebugLog("Nothing to copy");
    return false;
  }

  if (QualifiesForBlockCopy(*dest, *source) && RunStaysInRow(*dest, destX, destWidth) &&
      RunStaysInRow(*source, sourceX, destWidth)) {
    return CopyBlocks(*dest, *source, destX, destY, sourceX, sourceY, destWidth, destHeight);
  }

  CopyPlan plan = ChoosePlan(*dest, *source);
  DebugLog(plan.label);
  switch (plan.outcome) {
    case Outcome::kUnsupported:
      return false;
    case Outcome::kRefused:
      // The rows are asked for all the same, so a mapped image has its first band in place.
      source->GetRow(source, sourceY);
      dest->GetRow(dest, destY);
      DebugLog("RGB and CMYK do not convert");
      return false;
    case Outcome::kCopy:
      break;
  }
  if ((plan.writesWide && !WideSampleFits(*dest)) || (plan.readsWide && !WideSampleFits(*source))) {
    DebugLog("16-bit gray sample does not fit its pixel");
    return false;
  }
  return CopyPerPixel(*dest, *source, plan, destX, destY, sourceX, sourceY, destWidth, destHeight);
}

RBBoolean rbCopyPixels8(REALobject instance, REALobject source, int64_t destX, int64_t destY,
                   int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY) {
  return CopyPixels(ImageData(instance), ImageData(source), destX, destY, destWidth, destHeight,
                    sourceX, sourceY);
}

RBBoolean rbCopyPixels6(REALobject instance, REALobject source, int64_t destX, int64_t destY,
                   int64_t destWidth, int64_t destHeight) {
  return rbCopyPixels8(instance, source, destX, destY, destWidth, destHeight, 0, 0);
}

RBBoolean rbCopyPixels2(REALobject instance, REALobject source) {
  ImageClassData* self = ImageData(instance);
  if (!self) return false;
  return rbCopyPixels8(instance, source, 0, 0, self->Width, self->Height, 0, 0);
}
