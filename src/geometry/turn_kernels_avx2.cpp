// AVX2 kernel of the quarter turns: a band of sixteen source rows of 4-byte pixels, four columns
// at a time, so that every step reads 16 bytes of each source row and writes a whole 64-byte run
// (one cache line when aligned) of four destination rows. Whole lines let streaming stores skip
// reading the destination before writing it, which otherwise costs as much as the turn itself.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "geometry/turn_kernels.h"
#include "platform/cpu_features.h"
#include "platform/vector_target.h"

XQT_TARGET_BEGIN("avx2")

namespace {

// Four pixels of row `low` in the low lane and four of row `high` in the high lane.
__m256i LoadPair(const uint8_t* low, const uint8_t* high) {
  __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(low));
  __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(high));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(a), b, 1);
}

template <bool kStream>
void Store(uint8_t* at, __m256i value) {
  if constexpr (kStream) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(at), value);
  } else {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), value);
  }
}

// The run of 16 pixels from one column of rows 0-3 and 8-11 (`low`) and of rows 4-7 and 12-15
// (`high`). Both halves of a line back to back: a streamed line written in parts is read first.
template <bool kStream>
void StoreRun(uint8_t* at, __m256i low, __m256i high) {
  Store<kStream>(at, _mm256_permute2x128_si256(low, high, 0x20));
  Store<kStream>(at + 32, _mm256_permute2x128_si256(low, high, 0x31));
}

// Pixels x ... x + 3 of the sixteen rows into 16-pixel runs of dest[0 ... 3]. Rows r and r + 8
// share a register, so the 4 x 4 transposes within the lanes leave column k of rows 0-3 and 8-11
// in one register and of rows 4-7 and 12-15 in another; joining their lanes gives the run. Eight
// registers live at a time: nothing spills, which matters where the stack is not 32-aligned.
template <bool kStream>
void TurnFour(const uint8_t* const source[16], int64_t x, uint8_t* const dest[4]) {
  const int64_t at = x * 4;
  __m256i r0 = LoadPair(source[0] + at, source[8] + at);
  __m256i r1 = LoadPair(source[1] + at, source[9] + at);
  __m256i r2 = LoadPair(source[2] + at, source[10] + at);
  __m256i r3 = LoadPair(source[3] + at, source[11] + at);
  __m256i r4 = LoadPair(source[4] + at, source[12] + at);
  __m256i r5 = LoadPair(source[5] + at, source[13] + at);
  __m256i r6 = LoadPair(source[6] + at, source[14] + at);
  __m256i r7 = LoadPair(source[7] + at, source[15] + at);
  __m256i t0 = _mm256_unpacklo_epi32(r0, r1), t1 = _mm256_unpackhi_epi32(r0, r1);
  __m256i t2 = _mm256_unpacklo_epi32(r2, r3), t3 = _mm256_unpackhi_epi32(r2, r3);
  __m256i t4 = _mm256_unpacklo_epi32(r4, r5), t5 = _mm256_unpackhi_epi32(r4, r5);
  __m256i t6 = _mm256_unpacklo_epi32(r6, r7), t7 = _mm256_unpackhi_epi32(r6, r7);
  StoreRun<kStream>(dest[0], _mm256_unpacklo_epi64(t0, t2), _mm256_unpacklo_epi64(t4, t6));
  StoreRun<kStream>(dest[1], _mm256_unpackhi_epi64(t0, t2), _mm256_unpackhi_epi64(t4, t6));
  StoreRun<kStream>(dest[2], _mm256_unpacklo_epi64(t1, t3), _mm256_unpacklo_epi64(t5, t7));
  StoreRun<kStream>(dest[3], _mm256_unpackhi_epi64(t1, t3), _mm256_unpackhi_epi64(t5, t7));
}

void TurnBand(const uint8_t* const source[16], uint8_t* const* destRows, int64_t offset,
              int64_t count, bool clockwise, bool stream) {
  auto destRow = [&](int64_t x) { return destRows[clockwise ? x : count - 1 - x] + offset; };
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    uint8_t* const dest[4] = {destRow(x), destRow(x + 1), destRow(x + 2), destRow(x + 3)};
    const auto misaligned =
        (reinterpret_cast<uintptr_t>(dest[0]) | reinterpret_cast<uintptr_t>(dest[1]) |
         reinterpret_cast<uintptr_t>(dest[2]) | reinterpret_cast<uintptr_t>(dest[3])) &
        31;
    if (stream && misaligned == 0) {
      TurnFour<true>(source, x, dest);
    } else {
      TurnFour<false>(source, x, dest);
    }
  }
  for (; x < count; ++x) {
    uint8_t* dest = destRow(x);
    for (int r = 0; r < 16; ++r) std::memcpy(dest + r * 4, source[r] + x * 4, 4);
  }
  // Streamed stores are ordered with no others; the host may read the image on another thread.
  if (stream) _mm_sfence();
}

}  // namespace

XQT_TARGET_END

TurnBandProc TurnBandAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? TurnBand : nullptr;
}
