// The layout of every pixel format, as data: one row per code.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"

enum class ChannelFamily : uint8_t { kNone, kGray, kRGB, kCMYK };

struct PixelFormatRow {
  const char* formatString;  // null: the format has no string
  int8_t pixelSize;          // 0: the code is not a format
  ChannelFamily family;
  // Byte offsets within the pixel; -1 where the format lacks the channel.
  int8_t red, green, blue, gray, alpha, cyan, magenta, yellow, black;
  const char* channelOffsets;  // offsets of the real channels in memory order, as digits
  int8_t bitsPerComponent;
};

inline constexpr int64_t kHighestFormatCode = 48;

// The row of `code`, or null outside 0 ... 48.
const PixelFormatRow* FormatRow(int64_t code);

struct ChannelNameList {
  const char* const* names;
  int count;
};

// The channel names of `code` in memory order ("Red", "Green", ...); none for codes 14-22, 33-40
// and codes outside the table.
ChannelNameList ChannelNames(int64_t code);

// Fills the layout fields of `image` from the format; false (with the reset values kept) for a
// null record, a size below 1 or a code that is not a format.
bool InitImageClassData(ImageClassData* image, int64_t width, int64_t height, int64_t format);
