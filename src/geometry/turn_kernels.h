// Vector kernels for 4-byte pixels moved whole (RGBA, CMYK and their byte orders): reversing a
// row and turning 4 x 4 blocks. Each has a plain per-pixel path beside it in the callers that
// gives the same bytes; the switch lets tests run both.
#pragma once

#include <cstdint>

// True when the vector kernels are switched on (the default).
bool VectorTurns();
// Switches the vector kernels off (false) or back on; for tests and benchmarks.
void SetVectorTurns(bool enabled);

// dest pixel i = source pixel count - 1 - i, for 4-byte pixels; the spans must not overlap.
void ReversePixels4(const uint8_t* source, uint8_t* dest, int64_t count);

// Reverses a span of 4-byte pixels in place.
void ReversePixelsInPlace4(uint8_t* pixels, int64_t count);

// The 4 x 4 block of 4-byte pixels at `source` rows s[0..3] turned into four destination rows:
// counter-clockwise, d[j] receives pixel j of each source row, in source row order; clockwise,
// in reverse source row order. The pointers address the first pixel of the block in each row.
void TurnBlock4(const uint8_t* const source[4], uint8_t* const dest[4], bool clockwise);
