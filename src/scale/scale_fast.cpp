#include "scale/scale_fast.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "image/image_checks.h"
#include "plugin/debug_log.h"
#include "scale/scale_pairs.h"

namespace {

using S = SourceChannel;

// The pairs of the fast path. The integer gray is (77 R + 151 G + 28 B) >> 8; a CMYK gray is the
// black ink unchanged, and gray goes into the black ink with no cyan, magenta or yellow; alpha is
// copied when both images have it, dropped when only the source has it and left alone when only
// the destination has it.
struct FastPair {
  const char* name;
  bool rgbToG, gToRGB, cmykToG, gToCMYK;
  int count;
  SourceChannel read[5];
  uint16_t write[5];
};

constexpr FastPair kG_to_G{"G_to_G_Scale", 0, 0, 0, 0, 1, {S::kGray}, {kToGray}};
constexpr FastPair kRGB_to_RGB{
    "RGB_to_RGB_Scale", 0, 0, 0, 0, 3, {S::kRed, S::kGreen, S::kBlue}, {kToRed, kToGreen, kToBlue}};
constexpr FastPair kRGB_to_G{"RGB_to_G_Scale", 1, 0, 0, 0, 1, {S::kLuma}, {kToGray}};
constexpr FastPair kG_to_RGB{
    "G_to_RGB_Scale", 0, 1, 0, 0, 1, {S::kGray}, {kToRed | kToGreen | kToBlue}};
constexpr FastPair kCMYK_to_CMYK{"CMYK_to_CMYK_Scale",
                                 0,
                                 0,
                                 0,
                                 0,
                                 4,
                                 {S::kCyan, S::kMagenta, S::kYellow, S::kBlack},
                                 {kToCyan, kToMagenta, kToYellow, kToBlack}};
constexpr FastPair kCMYK_to_G{"CMYK_to_G_Scale", 0, 0, 1, 0, 1, {S::kBlack}, {kToGray}};
constexpr FastPair kG_to_CMYK{"G_to_CMYK_Scale",
                              0,
                              0,
                              0,
                              1,
                              2,
                              {S::kZero, S::kGray},
                              {kToCyan | kToMagenta | kToYellow, kToBlack}};
constexpr FastPair kRGBA_to_RGBA{"RGBA_to_RGBA_Scale",
                                 0,
                                 0,
                                 0,
                                 0,
                                 4,
                                 {S::kRed, S::kGreen, S::kBlue, S::kAlpha},
                                 {kToRed, kToGreen, kToBlue, kToAlpha}};
constexpr FastPair kRGBA_to_GA{"RGBA_to_GA_Scale", 1, 0, 0, 0, 2, {S::kLuma, S::kAlpha},
                               {kToGray, kToAlpha}};
constexpr FastPair kGA_to_RGBA{"GA_to_RGBA_Scale",
                               0,
                               1,
                               0,
                               0,
                               2,
                               {S::kGray, S::kAlpha},
                               {kToRed | kToGreen | kToBlue, kToAlpha}};
constexpr FastPair kGA_to_CMYKA{"GA_to_CMYKA_Scale",
                                0,
                                0,
                                0,
                                1,
                                3,
                                {S::kZero, S::kGray, S::kAlpha},
                                {kToCyan | kToMagenta | kToYellow, kToBlack, kToAlpha}};
constexpr FastPair kGA_to_GA{"GA_to_GA_Scale",   0, 0, 0, 0, 2, {S::kGray, S::kAlpha},
                             {kToGray, kToAlpha}};
constexpr FastPair kCMYKA_to_CMYKA{"CMYKA_to_CMYKA_Scale",
                                   0,
                                   0,
                                   0,
                                   0,
                                   5,
                                   {S::kCyan, S::kMagenta, S::kYellow, S::kBlack, S::kAlpha},
                                   {kToCyan, kToMagenta, kToYellow, kToBlack, kToAlpha}};
constexpr FastPair kCMYKA_to_GA{"CMYKA_to_GA_Scale", 0, 0, 1, 0, 2, {S::kBlack, S::kAlpha},
                                {kToGray, kToAlpha}};

// The same order of choice as the resampler's pairs; 16-bit images never get here.
const FastPair* ChooseFastPair(const ImageClassData& source, const ImageClassData& dest) {
  const bool alpha = source.HasAlpha && dest.HasAlpha;
  if (source.IsCMYK) {
    if (dest.IsCMYK) return alpha ? &kCMYKA_to_CMYKA : &kCMYK_to_CMYK;
    if (dest.IsGray) return alpha ? &kCMYKA_to_GA : &kCMYK_to_G;
    return nullptr;
  }
  if (source.IsRGB) {
    if (dest.IsRGB) return alpha ? &kRGBA_to_RGBA : &kRGB_to_RGB;
    if (dest.IsGray) return alpha ? &kRGBA_to_GA : &kRGB_to_G;
    return nullptr;
  }
  if (!source.IsGray) return nullptr;
  if (dest.IsCMYK) return alpha ? &kGA_to_CMYKA : &kG_to_CMYK;
  if (dest.IsRGB) return alpha ? &kGA_to_RGBA : &kG_to_RGB;
  if (dest.IsGray) return alpha ? &kGA_to_GA : &kG_to_G;
  return nullptr;
}

constexpr SourceChannel kDestChannels[] = {S::kRed,  S::kGreen,   S::kBlue,   S::kGray, S::kAlpha,
                                           S::kCyan, S::kMagenta, S::kYellow, S::kBlack};

// One byte of a destination pixel and where it comes from.
struct Move {
  SourceChannel kind;  // kZero, kLuma or a byte
  int64_t from[3];
  int64_t to;
};

struct FastPlan {
  int count = 0;
  Move moves[9];
  bool wholePixel = false;  // every byte of the pixel copied to the same place
  int64_t pixelSize = 0;
};

FastPlan MakeFastPlan(const FastPair& pair, const ImageClassData& source,
                      const ImageClassData& dest) {
  FastPlan plan;
  for (int c = 0; c < pair.count; ++c) {
    for (int bit = 0; bit < 9; ++bit) {
      if (!(pair.write[c] & (1 << bit))) continue;
      Move& move = plan.moves[plan.count++];
      move.kind = pair.read[c];
      if (move.kind == S::kLuma) {
        move.from[0] = source.RedOffset;
        move.from[1] = source.GreenOffset;
        move.from[2] = source.BlueOffset;
      } else {
        move.from[0] = SourceOffset(source, move.kind);
      }
      move.to = SourceOffset(dest, kDestChannels[bit]);
    }
  }
  // A copy of the whole pixel when every byte goes to the same place (RGBA into RGBA, ...).
  if (source.PixelSize == dest.PixelSize && plan.count == source.PixelSize &&
      source.PixelSize <= 8) {
    bool identity = true;
    uint32_t covered = 0;
    for (int i = 0; i < plan.count; ++i) {
      const Move& move = plan.moves[i];
      if (move.kind == S::kZero || move.kind == S::kLuma || move.from[0] != move.to ||
          move.to < 0 || move.to >= source.PixelSize) {
        identity = false;
        break;
      }
      covered |= 1u << move.to;
    }
    plan.wholePixel = identity && covered == (1u << source.PixelSize) - 1;
    plan.pixelSize = source.PixelSize;
  }
  return plan;
}

template <int64_t N>
void CopyPixels(uint8_t* out, const uint8_t* in, const int64_t* columns, int64_t count) {
  for (int64_t x = 0; x < count; ++x) std::memcpy(out + x * N, in + columns[x], N);
}

void ConvertRow(const FastPlan& plan, uint8_t* out, int64_t outPixelSize, const uint8_t* in,
                const int64_t* columns, int64_t count) {
  if (plan.wholePixel) {
    switch (plan.pixelSize) {
      case 1:
        return CopyPixels<1>(out, in, columns, count);
      case 2:
        return CopyPixels<2>(out, in, columns, count);
      case 3:
        return CopyPixels<3>(out, in, columns, count);
      case 4:
        return CopyPixels<4>(out, in, columns, count);
      case 5:
        return CopyPixels<5>(out, in, columns, count);
      default:
        break;
    }
  }
  for (int64_t x = 0; x < count; ++x) {
    const uint8_t* pixel = in + columns[x];
    uint8_t* target = out + x * outPixelSize;
    for (int i = 0; i < plan.count; ++i) {
      const Move& move = plan.moves[i];
      switch (move.kind) {
        case S::kZero:
          target[move.to] = 0;
          break;
        case S::kLuma:
          target[move.to] = static_cast<uint8_t>(
              (77 * pixel[move.from[0]] + 151 * pixel[move.from[1]] + 28 * pixel[move.from[2]]) >>
              8);
          break;
        default:
          target[move.to] = pixel[move.from[0]];
          break;
      }
    }
  }
}

void LogConversion(const char* name, bool value) {
  if (Debugging()) LogMessageX("%s%s %d", kDebugPrefix, name, value ? 1 : 0);
}

bool FastPairScale(const FastPair& pair, ImageClassData* dest, ImageClassData* source, int64_t w,
                   int64_t h) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld", kDebugPrefix, pair.name, static_cast<long long>(w),
                static_cast<long long>(h));
  }
  LogConversion("RGB_to_G", pair.rgbToG);
  LogConversion("G_to_RGB", pair.gToRGB);
  LogConversion("CMYK_to_G", pair.cmykToG);
  LogConversion("G_to_CMYK", pair.gToCMYK);
  if (!StartImage(source) || !StartImage(dest)) return false;
  // A source without columns has no pixel to repeat.
  if (source->Width < 1) {
    DebugLog("Width is 0");
    return false;
  }
  // A mapped image's row is good only until its next fetch: one image cannot be both ends.
  if (source == dest && source->IsMapping) {
    DebugLog("Source and destination are the same mapped image");
    return false;
  }
  const double sx = static_cast<double>(source->Width) / static_cast<double>(w);
  const double sy = static_cast<double>(source->Height) / static_cast<double>(h);
  auto* columns = static_cast<int64_t*>(std::malloc(static_cast<size_t>(w) * sizeof(int64_t)));
  if (!columns) {
    DebugLog("Out of memory for the columns");
    return false;
  }
  for (int64_t x = 0; x < w; ++x) {
    auto column = static_cast<int64_t>(std::trunc(x * sx));
    if (column >= source->Width) column = source->Width - 1;  // never past the row's end
    columns[x] = column * source->PixelSize;
  }
  const FastPlan plan = MakeFastPlan(pair, *source, *dest);
  for (int64_t y = 0; y < h; ++y) {
    auto sourceRow = static_cast<int64_t>(std::trunc(y * sy));
    if (sourceRow >= source->Height) sourceRow = source->Height - 1;
    uint8_t* out = dest->GetRow(dest, y);
    const uint8_t* in = source->GetRow(source, sourceRow);
    if (!out || !in) {
      DebugLog(out ? "GetRow source failed" : "GetRow mdest is nil", static_cast<long long>(y));
    } else {
      ConvertRow(plan, out, dest->PixelSize, in, columns, w);
    }
    YieldRow(dest);
  }
  std::free(columns);
  return true;
}

}  // namespace

bool ScalePictureFast(ImageClassData* dest, ImageClassData* source, int64_t width, int64_t height) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld", kDebugPrefix, "ScalePictureFast", static_cast<long long>(width),
                static_cast<long long>(height));
  }
  if (!source || !dest) return false;
  if (!source->Valid || !dest->Valid) return false;
  if (source->BitsPerComponent == 16 || dest->BitsPerComponent == 16) return false;
  const int64_t w = dest->Width < width ? dest->Width : width;
  const int64_t h = dest->Height < height ? dest->Height : height;
  if (w < 1 || h < 1) return false;
  const FastPair* pair = ChooseFastPair(*source, *dest);
  if (!pair) return false;
  return FastPairScale(*pair, dest, source, w, h);
}

RBBoolean ScaleFast(REALobject instance, REALobject source, int64_t width, int64_t height) {
  return ScalePictureFast(ImageData(instance), ImageData(source), width, height);
}
