// Moving one pixel's channels between images for the turns and mirrors.
//
// Two movers with the same interface: one copies the family's channels byte by byte through the
// offsets of each image, the other copies the whole pixel at once when in both images the
// channels are exactly the pixel's bytes in the same order. Both move the same bytes; the second
// is only faster.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "geometry/turn_kernels.h"
#include "image/image_class_data.h"
#include "image/pixel_channels.h"

template <int N>
struct ChannelMover {
  int64_t from[N];
  int64_t to[N];
  void Copy(const uint8_t* source, uint8_t* dest) const {
    for (int c = 0; c < N; ++c) dest[to[c]] = source[from[c]];
  }
  // Pixel i of `source` to pixel i of `dest` (forward) or to pixel count - 1 - i (reversed).
  void CopyRow(const uint8_t* source, int64_t sourcePixelSize, uint8_t* dest, int64_t destPixelSize,
               int64_t count, bool reversed) const {
    for (int64_t i = 0; i < count; ++i) {
      Copy(source + (reversed ? count - 1 - i : i) * sourcePixelSize, dest + i * destPixelSize);
    }
  }
  // Reverses the pixels of a row in place (within one image, so from and to are equal).
  void ReverseRow(uint8_t* row, int64_t pixelSize, int64_t count) const {
    for (int64_t i = 0; i < count / 2; ++i) {
      uint8_t* a = row + i * pixelSize;
      uint8_t* b = row + (count - 1 - i) * pixelSize;
      for (int c = 0; c < N; ++c) std::swap(a[from[c]], b[from[c]]);
    }
  }
};

template <int N>
struct WholePixelMover {
  int64_t fromBase;
  int64_t toBase;
  void Copy(const uint8_t* source, uint8_t* dest) const {
    std::memcpy(dest + toBase, source + fromBase, N);
  }
  // Both images have pixels of N bytes here.
  void CopyRow(const uint8_t* source, int64_t, uint8_t* dest, int64_t, int64_t count,
               bool reversed) const {
    if (!reversed) {
      std::memcpy(dest + toBase, source + fromBase, static_cast<size_t>(count) * N);
    } else if (N == 4 && VectorTurns()) {
      ReversePixels4(source + fromBase, dest + toBase, count);
    } else {
      for (int64_t i = 0; i < count; ++i) Copy(source + (count - 1 - i) * N, dest + i * N);
    }
  }
  void ReverseRow(uint8_t* row, int64_t, int64_t count) const {
    if (N == 4 && VectorTurns()) {
      ReversePixelsInPlace4(row + fromBase, count);
      return;
    }
    for (int64_t i = 0; i < count / 2; ++i) {
      uint8_t* a = row + fromBase + i * N;
      uint8_t* b = row + fromBase + (count - 1 - i) * N;
      uint8_t held[N];
      std::memcpy(held, a, N);
      std::memcpy(a, b, N);
      std::memcpy(b, held, N);
    }
  }
};

// Calls body(mover) with the fastest mover that copies the channels `from` of `source` to the
// channels `to` of `dest` (the same channel list, in the same order).
template <class Body>
void WithPixelMover(const ImageClassData& source, const ChannelSet& from,
                    const ImageClassData& dest, const ChannelSet& to, Body&& body) {
  int64_t fromBase = 0, toBase = 0;
  bool whole = source.PixelSize == dest.PixelSize && CoversWholePixel(source, from, &fromBase) &&
               CoversWholePixel(dest, to, &toBase);
  for (int c = 0; whole && c < from.count; ++c) {
    whole = from.offsets[c] - fromBase == to.offsets[c] - toBase;
  }
  WithChannelCount(from.count, [&](auto n) {
    constexpr int N = decltype(n)::value;
    if (whole) {
      body(WholePixelMover<N>{fromBase, toBase});
    } else {
      ChannelMover<N> mover;
      for (int c = 0; c < N; ++c) {
        mover.from[c] = from.offsets[c];
        mover.to[c] = to.offsets[c];
      }
      body(mover);
    }
  });
}

// The checks every turn and mirror makes on its source: validity ("Picture not valid."), 8-bit
// samples ("BitsPerComponent > 8 not supported."), then the usual start checks with the host's
// turn.
bool StartTurnSource(ImageClassData* image);
