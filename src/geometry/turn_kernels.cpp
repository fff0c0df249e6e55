#include "geometry/turn_kernels.h"

#include <atomic>
#include <cstring>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// SSE2 is part of every x86-64 processor, so no run-time detection is needed.
#if defined(__SSE2__)
constexpr bool kCompiledIn = true;
#else
constexpr bool kCompiledIn = false;
#endif

std::atomic<bool> gVectorTurns{true};

}  // namespace

bool VectorTurns() { return kCompiledIn && gVectorTurns.load(std::memory_order_relaxed); }

void SetVectorTurns(bool enabled) { gVectorTurns.store(enabled, std::memory_order_relaxed); }

#if defined(__SSE2__)

namespace {

inline __m128i Load(const uint8_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}
inline void Store(uint8_t* at, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value);
}
inline __m128i Reverse(__m128i value) { return _mm_shuffle_epi32(value, _MM_SHUFFLE(0, 1, 2, 3)); }

}  // namespace

void ReversePixels4(const uint8_t* source, uint8_t* dest, int64_t count) {
  int64_t i = 0;
  for (; i + 4 <= count; i += 4) Store(dest + i * 4, Reverse(Load(source + (count - 4 - i) * 4)));
  for (; i < count; ++i) std::memcpy(dest + i * 4, source + (count - 1 - i) * 4, 4);
}

void ReversePixelsInPlace4(uint8_t* pixels, int64_t count) {
  int64_t i = 0;
  // Blocks of four from both ends while they do not meet.
  for (; 2 * (i + 4) <= count; i += 4) {
    uint8_t* left = pixels + i * 4;
    uint8_t* right = pixels + (count - 4 - i) * 4;
    __m128i low = Load(left);
    __m128i high = Load(right);
    Store(left, Reverse(high));
    Store(right, Reverse(low));
  }
  for (; i < count / 2; ++i) {
    uint8_t held[4];
    std::memcpy(held, pixels + i * 4, 4);
    std::memcpy(pixels + i * 4, pixels + (count - 1 - i) * 4, 4);
    std::memcpy(pixels + (count - 1 - i) * 4, held, 4);
  }
}

void TurnBlock4(const uint8_t* const source[4], uint8_t* const dest[4], bool clockwise) {
  __m128i r0 = Load(source[0]), r1 = Load(source[1]), r2 = Load(source[2]), r3 = Load(source[3]);
  __m128i t0 = _mm_unpacklo_epi32(r0, r1);  // a0 b0 a1 b1
  __m128i t1 = _mm_unpackhi_epi32(r0, r1);  // a2 b2 a3 b3
  __m128i t2 = _mm_unpacklo_epi32(r2, r3);  // c0 d0 c1 d1
  __m128i t3 = _mm_unpackhi_epi32(r2, r3);  // c2 d2 c3 d3
  __m128i columns[4] = {_mm_unpacklo_epi64(t0, t2), _mm_unpackhi_epi64(t0, t2),
                        _mm_unpacklo_epi64(t1, t3), _mm_unpackhi_epi64(t1, t3)};
  for (int j = 0; j < 4; ++j) Store(dest[j], clockwise ? Reverse(columns[j]) : columns[j]);
}

#else

void ReversePixels4(const uint8_t* source, uint8_t* dest, int64_t count) {
  for (int64_t i = 0; i < count; ++i) std::memcpy(dest + i * 4, source + (count - 1 - i) * 4, 4);
}

void ReversePixelsInPlace4(uint8_t* pixels, int64_t count) {
  for (int64_t i = 0; i < count / 2; ++i) {
    uint8_t held[4];
    std::memcpy(held, pixels + i * 4, 4);
    std::memcpy(pixels + i * 4, pixels + (count - 1 - i) * 4, 4);
    std::memcpy(pixels + (count - 1 - i) * 4, held, 4);
  }
}

void TurnBlock4(const uint8_t* const source[4], uint8_t* const dest[4], bool clockwise) {
  for (int j = 0; j < 4; ++j) {
    for (int k = 0; k < 4; ++k)
      std::memcpy(dest[j] + k * 4, source[clockwise ? 3 - k : k] + j * 4, 4);
  }
}

#endif
