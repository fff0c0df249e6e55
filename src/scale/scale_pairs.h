// The format pairs of the scalers: which source channels feed which temp channels, and which
// destination channels each temp channel lands in. One engine serves every pair and every byte
// order through these tables and the records' channel offsets.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "image/pixel_channels.h"

// A byte channel of the source (one past its Channel), or one of the two reads of no one byte.
enum class SourceChannel : uint8_t {
  kZero,  // a constant 0 (the padding and unused bytes of a temp pixel)
  kGray = 1 + static_cast<int>(Channel::kGray),
  kRed = 1 + static_cast<int>(Channel::kRed),
  kGreen = 1 + static_cast<int>(Channel::kGreen),
  kBlue = 1 + static_cast<int>(Channel::kBlue),
  kAlpha = 1 + static_cast<int>(Channel::kAlpha),
  kCyan = 1 + static_cast<int>(Channel::kCyan),
  kMagenta = 1 + static_cast<int>(Channel::kMagenta),
  kYellow = 1 + static_cast<int>(Channel::kYellow),
  kBlack = 1 + static_cast<int>(Channel::kBlack),
  kLuma,  // 0.3 R + 0.59 G + 0.11 B of the sample, before weighting
};

// Destination channels that one temp channel is written to.
enum DestChannel : uint16_t {
  kToRed = 1 << 0,
  kToGreen = 1 << 1,
  kToBlue = 1 << 2,
  kToGray = 1 << 3,
  kToAlpha = 1 << 4,
  kToCyan = 1 << 5,
  kToMagenta = 1 << 6,
  kToYellow = 1 << 7,
  kToBlack = 1 << 8,
};

inline constexpr int kMaxTempChannels = 5;

struct ScalePair {
  const char* name;    // "RGB_to_RGB"
  int64_t tempFormat;  // ImageFormatScaling N
  int channels;        // samples per temp pixel
  bool wide;           // 16-bit samples (Gray16)
  SourceChannel read[kMaxTempChannels];
  uint16_t write[kMaxTempChannels];

  int64_t TempPixelSize() const { return channels * (wide ? 2 : 1); }
};

// The offset of a channel in a record's pixels; 0 for kZero and kLuma, which read no one byte.
int64_t SourceOffset(const ImageClassData& image, SourceChannel channel);

// The resampler's pair for these formats, or null when there is none.
const ScalePair* ChooseScalePair(const ImageClassData& source, const ImageClassData& dest);

// A pair with the channel offsets of two actual images filled in, ready for the pass loops.
struct PairPlan {
  const ScalePair* pair;
  int channels;
  bool wide;
  int64_t sourcePixelSize;
  SourceChannel kind[kMaxTempChannels];
  int64_t sourceOffset[kMaxTempChannels][3];  // one offset, or red, green and blue for kLuma
  int64_t destPixelSize;
  int destCount;                             // destination channels written
  int destFrom[3 * kMaxTempChannels];        // temp channel of each
  int64_t destOffset[3 * kMaxTempChannels];  // its byte offset in the destination pixel
  int64_t sampleMax;                         // 255 or 65535
};

PairPlan MakePairPlan(const ScalePair& pair, const ImageClassData& source,
                      const ImageClassData& dest);
