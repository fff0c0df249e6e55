// AVX2 row kernels of the pixel operations, eight four-byte pixels at a time. The premultiplication
// gathers its table entries, so it gives the table's bytes by construction; the gray modes compute
// the plain loop's integer or double formula in the same order, four or eight lanes at a time, and
// the luminance an integer form that equals the double formula (see LuminanceRow). Pixels left over
// at a row's end take the plain formulas.
#include <immintrin.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "filters/pixel_simd.h"
#include "platform/cpu_features.h"
#include "platform/vector_target.h"

XQT_TARGET_BEGIN("avx2,fma")

namespace {

// The hardware's own prefetch falls behind kernels that spend time on arithmetic; asking for the
// lines 2 KB ahead keeps memory and arithmetic overlapped. Integer arithmetic: the address may lie
// past the row, which a prefetch may touch but a pointer may not point to.
void PrefetchAhead(const uint8_t* at) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(at) + 2048), _MM_HINT_T0);
}

// Kernels whose arithmetic leaves memory idle longest also ask for the lines 4 KB ahead into the
// second-level cache, so that the near prefetch finds them there.
void PrefetchFarAhead(const uint8_t* at) {
  PrefetchAhead(at);
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(at) + 4096), _MM_HINT_T1);
}

__m256i Load32(const uint8_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}
void Store32(uint8_t* at, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), value);
}

// The byte at `offset` of each pixel, as a 32-bit lane.
__m256i Channel(__m256i pixels, int offset) {
  return _mm256_and_si256(_mm256_srlv_epi32(pixels, _mm256_set1_epi32(8 * offset)),
                          _mm256_set1_epi32(0xFF));
}

// Bytes of each pixel at `offsets` set: a mask of those bytes.
__m256i ByteMask(std::initializer_list<int> offsets) {
  uint32_t mask = 0;
  for (int offset : offsets) mask |= 0xFFu << (8 * offset);
  return _mm256_set1_epi32(static_cast<int>(mask));
}

void PremultiplyRow(const uint8_t* table, uint8_t* row, int64_t pixels, const QuadOffsets& quad) {
  const int colours[3] = {quad.red, quad.green, quad.blue};
  const auto* base = reinterpret_cast<const int*>(table);
  const __m256i keep = ByteMask({quad.alpha});
  int64_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    uint8_t* at = row + 4 * i;
    PrefetchAhead(at);
    __m256i p = Load32(at);
    __m256i rows = _mm256_slli_epi32(Channel(p, quad.alpha), 8);
    __m256i out = _mm256_and_si256(p, keep);
    for (int offset : colours) {
      __m256i entry = _mm256_i32gather_epi32(base, _mm256_add_epi32(rows, Channel(p, offset)), 1);
      entry = _mm256_and_si256(entry, _mm256_set1_epi32(0xFF));
      out = _mm256_or_si256(out, _mm256_sllv_epi32(entry, _mm256_set1_epi32(8 * offset)));
    }
    Store32(at, out);
  }
  for (; i < pixels; ++i) {
    uint8_t* pixel = row + 4 * i;
    const uint8_t* line = table + pixel[quad.alpha] * 256;
    for (int offset : colours) pixel[offset] = line[pixel[offset]];
  }
}

// (integer)(red x wr + green x wg + blue x wb), the sums left to right, for eight pixels.
inline __attribute__((always_inline)) __m256i WeightedSum(__m256i red, __m256i green, __m256i blue,
                                                          double wr, double wg, double wb) {
  auto half = [&](int h) {
    auto lanes = [&](__m256i v) {
      return _mm256_cvtepi32_pd(h ? _mm256_extracti128_si256(v, 1) : _mm256_castsi256_si128(v));
    };
    __m256d sum = _mm256_add_pd(_mm256_mul_pd(lanes(red), _mm256_set1_pd(wr)),
                                _mm256_mul_pd(lanes(green), _mm256_set1_pd(wg)));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(lanes(blue), _mm256_set1_pd(wb)));
    return _mm256_cvttpd_epi32(sum);
  };
  return _mm256_setr_m128i(half(0), half(1));
}

// For each mask of eight lanes, the indices of its set lanes first (a permutation that packs
// them) and their count.
struct LanePacking {
  alignas(32) int32_t lanes[256][8];
  int count[256];
};
constexpr LanePacking kLanePacking = [] {
  LanePacking packing{};
  for (int mask = 0; mask < 256; ++mask) {
    for (int lane = 0; lane < 8; ++lane) {
      if (mask & (1 << lane)) packing.lanes[mask][packing.count[mask]++] = lane;
    }
  }
  return packing;
}();

// The luminance in integers: S = 177 red + 813 green + 10 blue is a thousand times the exact
// weighted sum, and the double formula, whose rounding errors stay far below 0.001, truncates to
// S / 1000 except where S is a multiple of 1000 (grays among them): there it may land just below
// and give one less, so blocks holding such a pixel take the double formula.
struct LuminanceLanes {
  explicit LuminanceLanes(const QuadOffsets& quad) : quad(quad) {
    int weights[4] = {0, 0, 0, 0};
    weights[quad.red] = 177;
    weights[quad.green] = 813;
    weights[quad.blue] = 10;
    // Bytes 0 and 2 of each pixel are the two words of a lane, bytes 1 and 3 likewise.
    evenWeights = _mm256_set1_epi32(weights[0] | weights[2] << 16);
    oddWeights = _mm256_set1_epi32(weights[1] | weights[3] << 16);
  }
  __m256i operator()(__m256i p) const {
    const __m256i words = _mm256_set1_epi32(0x00FF00FF);
    __m256i sum = _mm256_add_epi32(
        _mm256_madd_epi16(_mm256_and_si256(p, words), evenWeights),
        _mm256_madd_epi16(_mm256_and_si256(_mm256_srli_epi16(p, 8), words), oddWeights));
    // S < 256000: S / 1000 = (S / 8) / 125, and x / 125 = ((x x 33555) >> 16) >> 6 for x < 32768.
    __m256i luminance = _mm256_srli_epi32(
        _mm256_mulhi_epu16(_mm256_srli_epi32(sum, 3), _mm256_set1_epi32(33555)), 6);
    __m256i whole = _mm256_cmpeq_epi32(_mm256_madd_epi16(luminance, _mm256_set1_epi32(1000)), sum);
    if (_mm256_testz_si256(whole, whole)) return luminance;
    // Black and white, which images stretched to their limits are full of, give their level
    // exactly.
    const __m256i extreme = _mm256_or_si256(_mm256_cmpeq_epi32(sum, _mm256_setzero_si256()),
                                            _mm256_cmpeq_epi32(sum, _mm256_set1_epi32(255000)));
    if (_mm256_testc_si256(extreme, whole)) return luminance;
    luminance = WeightedSum(Channel(p, quad.red), Channel(p, quad.green), Channel(p, quad.blue),
                            0.177, 0.813, 0.01);
    return _mm256_min_epi32(luminance, _mm256_set1_epi32(255));
  }
  QuadOffsets quad;
  __m256i evenWeights, oddWeights;
};

int PlainLuminance(const uint8_t* pixel, const QuadOffsets& quad) {
  auto luminance = static_cast<int>(pixel[quad.red] * 0.177 + pixel[quad.green] * 0.813 +
                                    pixel[quad.blue] * 0.01);
  return luminance > 255 ? 255 : luminance;
}

// Every pixel counted.
void CountEveryLevel(const uint8_t* row, int64_t pixels, const QuadOffsets& quad,
                     uint32_t (*counts)[256]) {
  const LuminanceLanes lanes(quad);
  int64_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    const uint8_t* at = row + 4 * i;
    PrefetchFarAhead(at);
    const __m256i luminance = lanes(Load32(at));
    // Two levels per general register: stored and read back instead, they would wait on the
    // counters' stores.
    for (int half = 0; half < 2; ++half) {
      __m128i pair =
          half ? _mm256_extracti128_si256(luminance, 1) : _mm256_castsi256_si128(luminance);
      const auto low = static_cast<uint64_t>(_mm_cvtsi128_si64(pair));
      const auto high = static_cast<uint64_t>(_mm_extract_epi64(pair, 1));
      ++counts[0][low & 0xFF];
      ++counts[1][low >> 32];
      ++counts[2][high & 0xFF];
      ++counts[3][high >> 32];
    }
  }
  for (; i < pixels; ++i) ++counts[i & 3][PlainLuminance(row + 4 * i, quad)];
}

// Only the pixels in the tails counted.
void CountTails(const uint8_t* row, int64_t pixels, const QuadOffsets& quad,
                uint32_t (*counts)[256], const LevelTails& tails) {
  const LuminanceLanes lanes(quad);
  const __m256i lowEnd = _mm256_set1_epi32(tails.lowEnd);
  const __m256i highStart = _mm256_set1_epi32(tails.highStart);
  // The levels in the tails are packed without a branch per run (whether a run reaches into a
  // tail is hard to predict) and counted a chunk at a time.
  constexpr int64_t kChunk = 1024;
  int32_t inside[kChunk + 8];
  int64_t i = 0;
  while (i + 8 <= pixels) {
    const int64_t end = i + std::min<int64_t>(kChunk, (pixels - i) & ~int64_t{7});
    int64_t packed = 0;
    for (; i < end; i += 8) {
      const uint8_t* at = row + 4 * i;
      if ((i & 8) == 0) PrefetchFarAhead(at);
      const __m256i luminance = lanes(Load32(at));
      const __m256i between = _mm256_and_si256(_mm256_cmpgt_epi32(luminance, lowEnd),
                                               _mm256_cmpgt_epi32(highStart, luminance));
      const int mask = ~_mm256_movemask_ps(_mm256_castsi256_ps(between)) & 0xFF;
      const __m256i order =
          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kLanePacking.lanes[mask]));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(inside + packed),
                          _mm256_permutevar8x32_epi32(luminance, order));
      packed += kLanePacking.count[mask];
    }
    for (int64_t k = 0; k < packed; ++k) ++counts[k & 3][inside[k]];
  }
  for (; i < pixels; ++i) ++counts[i & 3][PlainLuminance(row + 4 * i, quad)];
}

void LuminanceRow(const uint8_t* row, int64_t pixels, const QuadOffsets& quad,
                  uint32_t (*counts)[256], const LevelTails& tails) {
  if (tails.lowEnd + 1 >= tails.highStart) return CountEveryLevel(row, pixels, quad, counts);
  CountTails(row, pixels, quad, counts, tails);
}

int GrayOf(int r, int g, int b, int mode) {
  switch (mode) {
    case 0:
      return (2 * r + 3 * g + b) / 6;
    case 1:
      return (3 * r + 4 * g + b) >> 3;
    case 2:
      return static_cast<int>(r * 0.2126 + g * 0.7152 + b * 0.0722);
    case 3:
      return static_cast<int>(r * 0.299 + g * 0.587 + b * 0.114);
    default:
      return (77 * r + 151 * g + 29 * b) >> 8;
  }
}

template <int Mode>
__m256i GrayLanes(__m256i r, __m256i g, __m256i b) {
  if constexpr (Mode == 0) {
    // x / 6 = (x x 10923) >> 16 for 0 <= x < 32768 (10923 x 6 = 65536 + 2); x is at most 1530.
    __m256i x = _mm256_add_epi32(
        _mm256_add_epi32(_mm256_add_epi32(r, r), _mm256_mullo_epi16(g, _mm256_set1_epi32(3))), b);
    return _mm256_mulhi_epu16(x, _mm256_set1_epi32(10923));
  } else if constexpr (Mode == 1) {
    __m256i x = _mm256_add_epi32(_mm256_mullo_epi16(r, _mm256_set1_epi32(3)),
                                 _mm256_add_epi32(_mm256_slli_epi32(g, 2), b));
    return _mm256_srli_epi32(x, 3);
  } else if constexpr (Mode == 2) {
    return WeightedSum(r, g, b, 0.2126, 0.7152, 0.0722);
  } else if constexpr (Mode == 3) {
    return WeightedSum(r, g, b, 0.299, 0.587, 0.114);
  } else {
    // The products and their sum stay below 65536, within the low half of each lane.
    __m256i x = _mm256_add_epi32(_mm256_mullo_epi16(r, _mm256_set1_epi32(77)),
                                 _mm256_mullo_epi16(g, _mm256_set1_epi32(151)));
    x = _mm256_add_epi32(x, _mm256_mullo_epi16(b, _mm256_set1_epi32(29)));
    return _mm256_srli_epi32(x, 8);
  }
}

template <int Mode>
void GrayRowMode(uint8_t* row, int64_t pixels, const QuadOffsets& quad) {
  // The gray byte (byte 0 of each lane) copied to the red, green and blue positions.
  int8_t spread[32];
  for (int i = 0; i < 32; ++i) {
    const int offset = i % 4;
    spread[i] = offset == quad.red || offset == quad.green || offset == quad.blue
                    ? static_cast<int8_t>(i - offset)
                    : static_cast<int8_t>(-128);
  }
  const __m256i toColours = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(spread));
  const __m256i keep =
      _mm256_xor_si256(ByteMask({quad.red, quad.green, quad.blue}), _mm256_set1_epi32(-1));
  int64_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    uint8_t* at = row + 4 * i;
    PrefetchAhead(at);
    __m256i p = Load32(at);
    __m256i gray =
        GrayLanes<Mode>(Channel(p, quad.red), Channel(p, quad.green), Channel(p, quad.blue));
    Store32(at, _mm256_or_si256(_mm256_and_si256(p, keep), _mm256_shuffle_epi8(gray, toColours)));
  }
  for (; i < pixels; ++i) {
    uint8_t* pixel = row + 4 * i;
    auto gray =
        static_cast<uint8_t>(GrayOf(pixel[quad.red], pixel[quad.green], pixel[quad.blue], Mode));
    pixel[quad.red] = pixel[quad.green] = pixel[quad.blue] = gray;
  }
}

void GrayRow(uint8_t* row, int64_t pixels, const QuadOffsets& quad, int mode) {
  switch (mode) {
    case 0:
      return GrayRowMode<0>(row, pixels, quad);
    case 1:
      return GrayRowMode<1>(row, pixels, quad);
    case 2:
      return GrayRowMode<2>(row, pixels, quad);
    case 3:
      return GrayRowMode<3>(row, pixels, quad);
    default:
      return GrayRowMode<4>(row, pixels, quad);
  }
}

}  // namespace

XQT_TARGET_END

PremultiplyRowProc PremultiplyRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? PremultiplyRow : nullptr;
}
LuminanceRowProc LuminanceRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? LuminanceRow : nullptr;
}
GrayRowProc GrayRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? GrayRow : nullptr;
}
