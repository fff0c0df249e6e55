#include "filters/pixel_channels.h"

#include "plugin/debug_log.h"

PixelFamily FamilyOf(const ImageClassData& image) {
  bool alpha = image.HasAlpha;
  if (image.IsGray) return alpha ? PixelFamily::kGrayAlpha : PixelFamily::kGray;
  if (image.IsRGB) return alpha ? PixelFamily::kRGBA : PixelFamily::kRGB;
  if (image.IsCMYK) return alpha ? PixelFamily::kCMYKA : PixelFamily::kCMYK;
  return PixelFamily::kNone;
}

namespace {

struct Channel {
  int64_t ImageClassData::*offset;
  Flag64 ImageClassData::*present;
};

constexpr Channel kGray = {&ImageClassData::GrayOffset, &ImageClassData::HasGray};
constexpr Channel kRed = {&ImageClassData::RedOffset, &ImageClassData::HasRed};
constexpr Channel kGreen = {&ImageClassData::GreenOffset, &ImageClassData::HasGreen};
constexpr Channel kBlue = {&ImageClassData::BlueOffset, &ImageClassData::HasBlue};
constexpr Channel kCyan = {&ImageClassData::CyanOffset, &ImageClassData::HasCyan};
constexpr Channel kMagenta = {&ImageClassData::MagentaOffset, &ImageClassData::HasMagenta};
constexpr Channel kYellow = {&ImageClassData::YellowOffset, &ImageClassData::HasYellow};
constexpr Channel kBlack = {&ImageClassData::BlackOffset, &ImageClassData::HasBlack};
constexpr Channel kAlpha = {&ImageClassData::AlphaOffset, &ImageClassData::HasAlpha};

struct ChannelList {
  int count;
  Channel channels[5];
};

ChannelList ListOf(PixelFamily family) {
  switch (family) {
    case PixelFamily::kGray:
      return {1, {kGray}};
    case PixelFamily::kGrayAlpha:
      return {2, {kGray, kAlpha}};
    case PixelFamily::kRGB:
      return {3, {kRed, kGreen, kBlue}};
    case PixelFamily::kRGBA:
      return {4, {kRed, kGreen, kBlue, kAlpha}};
    case PixelFamily::kCMYK:
      return {4, {kCyan, kMagenta, kYellow, kBlack}};
    case PixelFamily::kCMYKA:
      return {5, {kCyan, kMagenta, kYellow, kBlack, kAlpha}};
    case PixelFamily::kNone:
      break;
  }
  return {0, {}};
}

}  // namespace

ChannelSet FamilyChannels(const ImageClassData& image, PixelFamily family) {
  ChannelList list = ListOf(family);
  ChannelSet set;
  set.count = list.count;
  for (int i = 0; i < list.count; ++i) set.offsets[i] = image.*(list.channels[i].offset);
  return set;
}

bool MatchingChannels(const ImageClassData& image, PixelFamily family, ChannelSet* channels) {
  ChannelList list = ListOf(family);
  for (int i = 0; i < list.count; ++i) {
    if (!(image.*(list.channels[i].present))) return false;
  }
  *channels = FamilyChannels(image, family);
  return true;
}

const char* LabelOf(const FamilyLabels& labels, PixelFamily family) {
  switch (family) {
    case PixelFamily::kGray:
      return labels.gray;
    case PixelFamily::kGrayAlpha:
      return labels.grayAlpha;
    case PixelFamily::kRGB:
      return labels.rgb;
    case PixelFamily::kRGBA:
      return labels.rgba;
    case PixelFamily::kCMYK:
      return labels.cmyk;
    case PixelFamily::kCMYKA:
      return labels.cmyka;
    case PixelFamily::kNone:
      break;
  }
  return nullptr;
}

int64_t FlaggedChannelCount(const ImageClassData& image) {
  return (image.HasRed ? 1 : 0) + (image.HasGreen ? 1 : 0) + (image.HasBlue ? 1 : 0) +
         (image.HasGray ? 1 : 0) + (image.HasAlpha ? 1 : 0);
}

bool CoversWholePixel(const ImageClassData& image, const ChannelSet& channels, int64_t* base) {
  if (channels.count < 1 || channels.count != image.PixelSize) return false;
  int64_t least = channels.offsets[0];
  for (int i = 1; i < channels.count; ++i) {
    if (channels.offsets[i] < least) least = channels.offsets[i];
  }
  unsigned seen = 0;
  for (int i = 0; i < channels.count; ++i) {
    int64_t at = channels.offsets[i] - least;
    if (at >= channels.count || (seen & (1u << at)) != 0) return false;
    seen |= 1u << at;
  }
  *base = least;
  return true;
}

void DebugLogRowMissing(int64_t y) { DebugLog("Row is nil", static_cast<long long>(y)); }
