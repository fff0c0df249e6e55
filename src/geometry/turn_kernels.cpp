#include "geometry/turn_kernels.h"

#include <atomic>
#include <cstring>

#include "platform/cpu_features.h"

// Written with the compilers' vector extensions: four 4-byte pixels to a 128-bit vector, which
// gives SSE2 code on x86-64 and Advanced SIMD code on arm64.

namespace {

std::atomic<bool> gVectorTurns{true};

typedef uint32_t Pixels __attribute__((vector_size(16)));
typedef uint64_t Pairs __attribute__((vector_size(16)));

inline Pixels Load(const uint8_t* at) {
  Pixels value;
  std::memcpy(&value, at, sizeof(value));
  return value;
}
inline void Store(uint8_t* at, Pixels value) { std::memcpy(at, &value, sizeof(value)); }
inline Pixels Reverse(Pixels value) { return __builtin_shufflevector(value, value, 3, 2, 1, 0); }
// Pixels 0 and 1, or 2 and 3, of a and b interleaved: a0 b0 a1 b1, or a2 b2 a3 b3.
inline Pixels ZipLow(Pixels a, Pixels b) { return __builtin_shufflevector(a, b, 0, 4, 1, 5); }
inline Pixels ZipHigh(Pixels a, Pixels b) { return __builtin_shufflevector(a, b, 2, 6, 3, 7); }
// The low, or high, pixel pairs of a and b.
inline Pixels PairsLow(Pixels a, Pixels b) {
  return (Pixels)__builtin_shufflevector((Pairs)a, (Pairs)b, 0, 2);
}
inline Pixels PairsHigh(Pixels a, Pixels b) {
  return (Pixels)__builtin_shufflevector((Pairs)a, (Pairs)b, 1, 3);
}

}  // namespace

bool VectorTurns() { return gVectorTurns.load(std::memory_order_relaxed); }

void SetVectorTurns(bool enabled) { gVectorTurns.store(enabled, std::memory_order_relaxed); }

TurnBandProc ActiveTurnBand() {
  if (!VectorTurns() || !platform::LevelAllowed(platform::SimdLevel::kAVX2)) return nullptr;
  return TurnBandAVX2();
}

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
    Pixels low = Load(left);
    Pixels high = Load(right);
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
  Pixels r0 = Load(source[0]), r1 = Load(source[1]), r2 = Load(source[2]), r3 = Load(source[3]);
  Pixels t0 = ZipLow(r0, r1);   // a0 b0 a1 b1
  Pixels t1 = ZipHigh(r0, r1);  // a2 b2 a3 b3
  Pixels t2 = ZipLow(r2, r3);   // c0 d0 c1 d1
  Pixels t3 = ZipHigh(r2, r3);  // c2 d2 c3 d3
  Pixels columns[4] = {PairsLow(t0, t2), PairsHigh(t0, t2), PairsLow(t1, t3), PairsHigh(t1, t3)};
  for (int j = 0; j < 4; ++j) Store(dest[j], clockwise ? Reverse(columns[j]) : columns[j]);
}
