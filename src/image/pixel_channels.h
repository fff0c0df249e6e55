// The channels that pixel operations touch, by family, and the row walk they share.
//
// An operation is written once over a list of channel offsets and instantiated per channel
// count; which offsets and which debug label a family uses is data.
#pragma once

#include <cstdint>
#include <type_traits>

#include "image/image_checks.h"
#include "image/image_class_data.h"

enum class PixelFamily : uint8_t { kNone, kGray, kGrayAlpha, kRGB, kRGBA, kCMYK, kCMYKA };

inline constexpr int kPixelFamilies = 7;

// The family by the record's family flags and HasAlpha.
PixelFamily FamilyOf(const ImageClassData& image);

inline bool FamilyHasAlpha(PixelFamily family) {
  return family == PixelFamily::kGrayAlpha || family == PixelFamily::kRGBA ||
         family == PixelFamily::kCMYKA;
}

// A channel of a family, found in any byte order through the record's offsets.
enum class Channel : uint8_t {
  kGray,
  kRed,
  kGreen,
  kBlue,
  kAlpha,
  kCyan,
  kMagenta,
  kYellow,
  kBlack
};

int64_t ChannelOffset(const ImageClassData& image, Channel channel);
bool HasChannel(const ImageClassData& image, Channel channel);

// Up to five channels in the order a path maps them.
struct ChannelList {
  int count = 0;
  Channel channels[5] = {};
};

// A family's channels in the order the paths visit them: gray; red, green, blue; cyan, magenta,
// yellow, black; alpha last. None for kNone.
ChannelList FamilyChannelList(PixelFamily family);

// The offsets of a family's channels in one record, in FamilyChannelList's order.
struct ChannelSet {
  int count = 0;
  int64_t offsets[5] = {};
};

ChannelSet FamilyChannels(const ImageClassData& image, PixelFamily family);

// The same channels as `family` names them, read from another record (a turn's destination);
// false when that record lacks one of them.
bool MatchingChannels(const ImageClassData& image, PixelFamily family, ChannelSet* channels);

// One debug label per family; null where the operation has no path for it.
struct FamilyLabels {
  const char* gray;
  const char* grayAlpha;
  const char* rgb;
  const char* rgba;
  const char* cmyk;
  const char* cmyka;
};
const char* LabelOf(const FamilyLabels& labels, PixelFamily family);

// HasRed + HasGreen + HasBlue + HasGray + HasAlpha.
int64_t FlaggedChannelCount(const ImageClassData& image);

// True when the channels are exactly the PixelSize bytes of a pixel from *base on, so work on
// whole spans of pixels touches channels only.
bool CoversWholePixel(const ImageClassData& image, const ChannelSet& channels, int64_t* base);

// Calls body(std::integral_constant<int, N>) for a channel count of 1 to 5.
template <class Body>
void WithChannelCount(int count, Body&& body) {
  switch (count) {
    case 1:
      body(std::integral_constant<int, 1>{});
      break;
    case 2:
      body(std::integral_constant<int, 2>{});
      break;
    case 3:
      body(std::integral_constant<int, 3>{});
      break;
    case 4:
      body(std::integral_constant<int, 4>{});
      break;
    case 5:
      body(std::integral_constant<int, 5>{});
      break;
    default:
      break;
  }
}

// Logs a row that the accessor could not give.
void DebugLogRowMissing(int64_t y);

// Calls body(row) for rows y ... y + height - 1 and gives the host its turn after each. A row the
// accessor cannot give is skipped with a debug line.
template <class Body>
void ForEachRow(ImageClassData* image, int64_t y, int64_t height, Body&& body) {
  for (int64_t r = y; r < y + height; ++r) {
    uint8_t* row = image->GetRow(image, r);
    if (row) {
      body(row);
    } else {
      DebugLogRowMissing(r);
    }
    YieldRow(image);
  }
}
