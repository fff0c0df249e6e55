#include "image/pixel_channels.h"

#include "plugin/debug_log.h"

PixelFamily FamilyOf(const ImageClassData& image) {
  bool alpha = image.HasAlpha;
  if (image.IsGray) return alpha ? PixelFamily::kGrayAlpha : PixelFamily::kGray;
  if (image.IsRGB) return alpha ? PixelFamily::kRGBA : PixelFamily::kRGB;
  if (image.IsCMYK) return alpha ? PixelFamily::kCMYKA : PixelFamily::kCMYK;
  return PixelFamily::kNone;
}

int64_t ChannelOffset(const ImageClassData& image, Channel channel) {
  switch (channel) {
    case Channel::kGray:
      return image.GrayOffset;
    case Channel::kRed:
      return image.RedOffset;
    case Channel::kGreen:
      return image.GreenOffset;
    case Channel::kBlue:
      return image.BlueOffset;
    case Channel::kAlpha:
      return image.AlphaOffset;
    case Channel::kCyan:
      return image.CyanOffset;
    case Channel::kMagenta:
      return image.MagentaOffset;
    case Channel::kYellow:
      return image.YellowOffset;
    case Channel::kBlack:
      return image.BlackOffset;
  }
  return 0;
}

bool HasChannel(const ImageClassData& image, Channel channel) {
  switch (channel) {
    case Channel::kGray:
      return image.HasGray;
    case Channel::kRed:
      return image.HasRed;
    case Channel::kGreen:
      return image.HasGreen;
    case Channel::kBlue:
      return image.HasBlue;
    case Channel::kAlpha:
      return image.HasAlpha;
    case Channel::kCyan:
      return image.HasCyan;
    case Channel::kMagenta:
      return image.HasMagenta;
    case Channel::kYellow:
      return image.HasYellow;
    case Channel::kBlack:
      return image.HasBlack;
  }
  return false;
}

ChannelList FamilyChannelList(PixelFamily family) {
  using C = Channel;
  switch (family) {
    case PixelFamily::kGray:
      return {1, {C::kGray}};
    case PixelFamily::kGrayAlpha:
      return {2, {C::kGray, C::kAlpha}};
    case PixelFamily::kRGB:
      return {3, {C::kRed, C::kGreen, C::kBlue}};
    case PixelFamily::kRGBA:
      return {4, {C::kRed, C::kGreen, C::kBlue, C::kAlpha}};
    case PixelFamily::kCMYK:
      return {4, {C::kCyan, C::kMagenta, C::kYellow, C::kBlack}};
    case PixelFamily::kCMYKA:
      return {5, {C::kCyan, C::kMagenta, C::kYellow, C::kBlack, C::kAlpha}};
    case PixelFamily::kNone:
      break;
  }
  return {};
}

ChannelSet FamilyChannels(const ImageClassData& image, PixelFamily family) {
  ChannelList list = FamilyChannelList(family);
  ChannelSet set;
  set.count = list.count;
  for (int i = 0; i < list.count; ++i) set.offsets[i] = ChannelOffset(image, list.channels[i]);
  return set;
}

bool MatchingChannels(const ImageClassData& image, PixelFamily family, ChannelSet* channels) {
  ChannelList list = FamilyChannelList(family);
  for (int i = 0; i < list.count; ++i) {
    if (!HasChannel(image, list.channels[i])) return false;
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
