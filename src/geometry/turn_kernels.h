// Vector kernels for 4-byte pixels moved whole (RGBA, CMYK and their byte orders): reversing a
// row, turning 4 x 4 blocks, and on x86-64 turning bands of 16 rows with AVX2. Each has a plain
// per-pixel path beside it in the callers that gives the same bytes; the switch lets tests run
// both.
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

// Sixteen source rows of `count` 4-byte pixels turned into runs of 16 pixels: pixel x of
// source[r] becomes pixel r of the run that starts `offset` bytes into destination row
// destRows[clockwise ? x : count - 1 - x]. `stream` writes the runs past the caches (for
// destinations larger than they hold). The runs must not overlap the source rows.
using TurnBandProc = void (*)(const uint8_t* const source[16], uint8_t* const* destRows,
                              int64_t offset, int64_t count, bool clockwise, bool stream);

// The band kernel when the vector turns are on and the processor and the cap allow AVX2; null
// otherwise, and the callers turn 4 x 4 blocks.
TurnBandProc ActiveTurnBand();

#if defined(__x86_64__)
TurnBandProc TurnBandAVX2();  // null when the processor lacks AVX2
#else
// The AVX files build on x86-64 only.
inline TurnBandProc TurnBandAVX2() { return nullptr; }
#endif
