// The integer colour rules that copying, blending, fast scaling and picture output share.
#pragma once

#include <cstdint>

// Gray of an RGB pixel. The weights sum to 256, so white stays 255 and the shift truncates.
constexpr uint8_t GrayFromRGB(uint32_t red, uint32_t green, uint32_t blue) {
  return static_cast<uint8_t>((77 * red + 151 * green + 28 * blue) >> 8);
}

// A gray value widened to 16 bits: 0x12 becomes 0x1212, so 255 stays full scale.
constexpr uint16_t Gray16FromGray(uint8_t gray) {
  return static_cast<uint16_t>((gray << 8) | gray);
}

// Gray into the CMYK family: no colour, the gray byte as black, taken over as it is (not
// inverted), so gray 255 becomes K = 255.
struct CMYKBytes {
  uint8_t cyan, magenta, yellow, black;
};
constexpr CMYKBytes CMYKFromGray(uint8_t gray) { return {0, 0, 0, gray}; }

// CMYK into gray keeps the black byte alone.
constexpr uint8_t GrayFromCMYK(const CMYKBytes& cmyk) { return cmyk.black; }

// The bytes of a host colour value (red in bits 16-23, green 8-15, blue 0-7).
constexpr uint8_t RedOfColor(uint32_t color) { return static_cast<uint8_t>(color >> 16); }
constexpr uint8_t GreenOfColor(uint32_t color) { return static_cast<uint8_t>(color >> 8); }
constexpr uint8_t BlueOfColor(uint32_t color) { return static_cast<uint8_t>(color); }

static_assert(GrayFromRGB(255, 0, 0) == 76);
static_assert(GrayFromRGB(0, 255, 0) == 150);
static_assert(GrayFromRGB(0, 0, 255) == 27);
static_assert(GrayFromRGB(255, 255, 255) == 255);
static_assert(Gray16FromGray(0x12) == 0x1212);
