// Vector row kernels of the pixel operations, for pixels of four bytes whose channels lie at
// offsets 0 ... 3 of the pixel (RGBA and its byte orders). Each gives the bytes of the plain loop
// in pixel_ops.cpp; null where the processor or the active cap (platform::ActiveSimdLevel) has
// no kernel, and the plain loop runs.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "image/pixel_channels.h"

// Byte positions inside a four-byte pixel.
struct QuadOffsets {
  int red, green, blue, alpha;
};

// True, with the positions, when the pixels are four bytes and red, green, blue and alpha (alpha
// only when `withAlpha`) lie at distinct offsets 0 ... 3.
bool QuadLayout(const ImageClassData& image, bool withAlpha, QuadOffsets& quad);

// Each colour byte v becomes table[alpha x 256 + v]; alpha stays. The table holds 3 bytes past
// its 65536 entries (the kernels read four bytes at a time).
using PremultiplyRowProc = void (*)(const uint8_t* table, uint8_t* row, int64_t pixels,
                                    const QuadOffsets& quad);

// The levels whose count must be whole: those up to lowEnd and those from highStart on (every
// level when the two tails meet).
struct LevelTails {
  int lowEnd;
  int highStart;
};
inline constexpr LevelTails kEveryLevel = {255, 0};

// Adds each pixel's luminance (integer)(red x 0.177 + green x 0.813 + blue x 0.01), capped at
// 255, to counts[(pixel index) mod 4]: four histograms, summed by the caller, keep repeated
// levels from waiting on each other. A kernel may leave out pixels whose level lies between the
// tails.
using LuminanceRowProc = void (*)(const uint8_t* row, int64_t pixels, const QuadOffsets& quad,
                                  uint32_t (*counts)[256], const LevelTails& tails);

// The gray value of mode 0 ... 4 into red, green and blue of every pixel; the fourth byte stays.
using GrayRowProc = void (*)(uint8_t* row, int64_t pixels, const QuadOffsets& quad, int mode);

PremultiplyRowProc ActivePremultiplyRow();
LuminanceRowProc ActiveLuminanceRow();
GrayRowProc ActiveGrayRow();

#if defined(__x86_64__)
PremultiplyRowProc PremultiplyRowAVX2();
LuminanceRowProc LuminanceRowAVX2();
GrayRowProc GrayRowAVX2();
#else
// The AVX files build on x86-64 only.
inline PremultiplyRowProc PremultiplyRowAVX2() { return nullptr; }
inline LuminanceRowProc LuminanceRowAVX2() { return nullptr; }
inline GrayRowProc GrayRowAVX2() { return nullptr; }
#endif
