#include "scale/scale_pairs.h"

#include "image/pixel_formats.h"

namespace {

using S = SourceChannel;

// G_to_CMYK reads its inks through the cyan, magenta, red and black offsets of the gray source on
// purpose: they are all 0 there, so every ink gets the pixel's byte 0. GA_to_CMYKA does the same
// for its inks and carries the alpha on its own; GA_to_RGBA puts its gray in byte 1 like
// G_to_RGB and its alpha in byte 3.
constexpr ScalePair kCMYK_to_CMYK{"CMYK_to_CMYK",
                                  ImageFormatScaling4,
                                  4,
                                  false,
                                  {S::kCyan, S::kMagenta, S::kYellow, S::kBlack},
                                  {kToCyan, kToMagenta, kToYellow, kToBlack}};
constexpr ScalePair kCMYK_to_G{"CMYK_to_G", ImageFormatScaling1, 1, false, {S::kBlack}, {kToGray}};
constexpr ScalePair kRGB_to_RGB{"RGB_to_RGB",
                                ImageFormatScaling4,
                                4,
                                false,
                                {S::kRed, S::kGreen, S::kBlue, S::kZero},
                                {kToRed, kToGreen, kToBlue, 0}};
constexpr ScalePair kRGB_to_G{"RGB_to_G", ImageFormatScaling1, 1, false, {S::kLuma}, {kToGray}};
constexpr ScalePair kG_to_CMYK{"G_to_CMYK",
                               ImageFormatScaling4,
                               4,
                               false,
                               {S::kCyan, S::kMagenta, S::kRed, S::kBlack},
                               {kToCyan, kToMagenta, kToYellow, kToBlack}};
constexpr ScalePair kG_to_RGB{"G_to_RGB",
                              ImageFormatScaling4,
                              4,
                              false,
                              {S::kZero, S::kGray, S::kZero, S::kZero},
                              {0, kToRed | kToGreen | kToBlue, 0, 0}};
constexpr ScalePair kG_to_G{"G_to_G", ImageFormatScaling1, 1, false, {S::kGray}, {kToGray}};
constexpr ScalePair kCMYKA_to_CMYKA{"CMYKA_to_CMYKA",
                                    ImageFormatScaling5,
                                    5,
                                    false,
                                    {S::kCyan, S::kMagenta, S::kYellow, S::kBlack, S::kAlpha},
                                    {kToCyan, kToMagenta, kToYellow, kToBlack, kToAlpha}};
constexpr ScalePair kCMYKA_to_GA{"CMYKA_to_GA", ImageFormatScaling2,    2,
                                 false,         {S::kBlack, S::kAlpha}, {kToGray, kToAlpha}};
constexpr ScalePair kRGBA_to_RGBA{"RGBA_to_RGBA",
                                  ImageFormatScaling4,
                                  4,
                                  false,
                                  {S::kRed, S::kGreen, S::kBlue, S::kAlpha},
                                  {kToRed, kToGreen, kToBlue, kToAlpha}};
constexpr ScalePair kRGBA_to_GA{"RGBA_to_GA", ImageFormatScaling2,   2,
                                false,        {S::kLuma, S::kAlpha}, {kToGray, kToAlpha}};
constexpr ScalePair kGA_to_CMYKA{"GA_to_CMYKA",
                                 ImageFormatScaling5,
                                 5,
                                 false,
                                 {S::kCyan, S::kMagenta, S::kRed, S::kBlack, S::kAlpha},
                                 {kToCyan, kToMagenta, kToYellow, kToBlack, kToAlpha}};
constexpr ScalePair kGA_to_RGBA{"GA_to_RGBA",
                                ImageFormatScaling4,
                                4,
                                false,
                                {S::kZero, S::kGray, S::kZero, S::kAlpha},
                                {0, kToRed | kToGreen | kToBlue, 0, kToAlpha}};
constexpr ScalePair kGA_to_GA{"GA_to_GA", ImageFormatScaling2,   2,
                              false,      {S::kGray, S::kAlpha}, {kToGray, kToAlpha}};
constexpr ScalePair kG16_to_G16{"G16_to_G16", ImageFormatScaling2, 1, true, {S::kGray}, {kToGray}};

int64_t DestOffset(const ImageClassData& image, uint16_t channel) {
  switch (channel) {
    case kToRed:
      return image.RedOffset;
    case kToGreen:
      return image.GreenOffset;
    case kToBlue:
      return image.BlueOffset;
    case kToGray:
      return image.GrayOffset;
    case kToAlpha:
      return image.AlphaOffset;
    case kToCyan:
      return image.CyanOffset;
    case kToMagenta:
      return image.MagentaOffset;
    case kToYellow:
      return image.YellowOffset;
    default:
      return image.BlackOffset;
  }
}

}  // namespace

int64_t SourceOffset(const ImageClassData& image, SourceChannel channel) {
  if (channel == S::kZero || channel == S::kLuma) return 0;
  return ChannelOffset(image, static_cast<Channel>(static_cast<int>(channel) - 1));
}

const ScalePair* ChooseScalePair(const ImageClassData& source, const ImageClassData& dest) {
  const bool destAlpha = dest.HasAlpha;
  if (source.HasAlpha) {
    if (source.IsCMYK) {
      if (dest.IsCMYK) return destAlpha ? &kCMYKA_to_CMYKA : &kCMYK_to_CMYK;
      if (dest.IsGray) return destAlpha ? &kCMYKA_to_GA : &kCMYK_to_G;
      return nullptr;
    }
    if (source.IsRGB) {
      if (dest.IsCMYK) return nullptr;
      if (dest.IsRGB) return destAlpha ? &kRGBA_to_RGBA : &kRGB_to_RGB;
      if (dest.IsGray) return destAlpha ? &kRGBA_to_GA : &kRGB_to_G;
      return nullptr;
    }
    if (!source.IsGray || source.BitsPerComponent == 16) return nullptr;
    if (dest.IsCMYK) return destAlpha ? &kGA_to_CMYKA : &kG_to_CMYK;
    if (dest.IsRGB) return destAlpha ? &kGA_to_RGBA : &kG_to_RGB;
    if (dest.IsGray) return destAlpha ? &kGA_to_GA : &kG_to_G;
    return nullptr;
  }
  if (source.IsCMYK) {
    if (dest.IsCMYK) return &kCMYK_to_CMYK;
    if (dest.IsGray) return &kCMYK_to_G;
    return nullptr;
  }
  if (source.IsRGB) {
    if (dest.IsCMYK) return nullptr;
    if (dest.IsRGB) return &kRGB_to_RGB;
    if (dest.IsGray) return &kRGB_to_G;
    return nullptr;
  }
  if (!source.IsGray) return nullptr;
  if (dest.IsCMYK) return &kG_to_CMYK;
  if (dest.IsRGB) return &kG_to_RGB;
  if (!dest.IsGray) return nullptr;
  if (dest.BitsPerComponent == 16) return source.BitsPerComponent == 16 ? &kG16_to_G16 : nullptr;
  return source.BitsPerComponent != 16 ? &kG_to_G : nullptr;
}

PairPlan MakePairPlan(const ScalePair& pair, const ImageClassData& source,
                      const ImageClassData& dest) {
  PairPlan plan{};
  plan.pair = &pair;
  plan.channels = pair.channels;
  plan.wide = pair.wide;
  plan.sourcePixelSize = source.PixelSize;
  plan.destPixelSize = dest.PixelSize;
  plan.sampleMax = pair.wide ? 65535 : 255;
  for (int c = 0; c < pair.channels; ++c) {
    plan.kind[c] = pair.read[c];
    if (pair.read[c] == S::kLuma) {
      plan.sourceOffset[c][0] = source.RedOffset;
      plan.sourceOffset[c][1] = source.GreenOffset;
      plan.sourceOffset[c][2] = source.BlueOffset;
    } else {
      plan.sourceOffset[c][0] = SourceOffset(source, pair.read[c]);
    }
    for (uint16_t bit = 1; bit <= kToBlack; bit = static_cast<uint16_t>(bit << 1)) {
      if (!(pair.write[c] & bit)) continue;
      plan.destFrom[plan.destCount] = c;
      plan.destOffset[plan.destCount] = DestOffset(dest, bit);
      ++plan.destCount;
    }
  }
  return plan;
}
