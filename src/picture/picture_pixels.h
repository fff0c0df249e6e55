// The layouts of a locked host picture's 32-bit pixel, and the moves between them and the
// colour channels of an image. Colour values are stored and read as they are: premultiplied
// bitmaps are not divided, straight ones not multiplied.
#pragma once

#include <cstdint>
#include <cstring>

#include "picture/picture_editor.h"

// Inline helpers of the picture bridge, kept apart from the same short names elsewhere.
namespace picture_io {

inline PictureLayout LayoutOf(const PictureEditor& editor) { return editor.layout; }

struct PictureRGBA {
  uint8_t red, green, blue;
  uint8_t alpha;  // the alpha byte as stored; gd: the 7-bit field
};

template <PictureLayout L>
inline PictureRGBA LoadPicturePixel(const uint8_t* p) {
  if constexpr (L == PictureLayout::kAlphaLast) {
    return {p[0], p[1], p[2], p[3]};
  } else if constexpr (L == PictureLayout::kAlphaFirst) {
    return {p[1], p[2], p[3], p[0]};
  } else if constexpr (L == PictureLayout::kBGRA) {
    return {p[2], p[1], p[0], p[3]};
  } else {
    uint32_t word;
    std::memcpy(&word, p, 4);
    return {static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8),
            static_cast<uint8_t>(word), static_cast<uint8_t>((word >> 24) & 0x7F)};
  }
}

// `alpha` is the byte to store; for gd it is the 7-bit field (0 opaque).
template <PictureLayout L>
inline void StorePicturePixel(uint8_t* p, uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha) {
  if constexpr (L == PictureLayout::kAlphaLast) {
    p[0] = red, p[1] = green, p[2] = blue, p[3] = alpha;
  } else if constexpr (L == PictureLayout::kAlphaFirst) {
    p[0] = alpha, p[1] = red, p[2] = green, p[3] = blue;
  } else if constexpr (L == PictureLayout::kBGRA) {
    p[0] = blue, p[1] = green, p[2] = red, p[3] = alpha;
  } else {
    uint32_t word = (uint32_t{alpha} & 0x7F) << 24 | uint32_t{red} << 16 | uint32_t{green} << 8 |
                    uint32_t{blue};
    std::memcpy(p, &word, 4);
  }
}

// The alpha byte that marks an opaque pixel in each layout.
template <PictureLayout L>
inline constexpr uint8_t kOpaqueAlpha = L == PictureLayout::kGD ? 0 : 255;

// An image alpha written into a layout: gd takes it halved into its 7-bit field, not inverted,
// so 255 becomes 127 (kept so, pictures made this way read back the same in every release).
template <PictureLayout L>
inline uint8_t StoredAlpha(uint8_t alpha) {
  if constexpr (L == PictureLayout::kGD) {
    return static_cast<uint8_t>((alpha >> 1) & 127);
  } else {
    return alpha;
  }
}

// Calls body.template operator()<L>() with the layout of `editor` as a constant.
template <class Body>
inline void WithLayout(PictureLayout layout, Body&& body) {
  switch (layout) {
    case PictureLayout::kAlphaLast:
      body.template operator()<PictureLayout::kAlphaLast>();
      break;
    case PictureLayout::kAlphaFirst:
      body.template operator()<PictureLayout::kAlphaFirst>();
      break;
    case PictureLayout::kBGRA:
      body.template operator()<PictureLayout::kBGRA>();
      break;
    case PictureLayout::kGD:
      body.template operator()<PictureLayout::kGD>();
      break;
  }
}

}  // namespace picture_io
