// AVX-512 row kernels of the filters. The byte maps and the dither look bytes up with VBMI
// (vpermi2b over two 128-byte halves of a table, the top bit choosing the half); so does the
// unsharp combination where its formula reduces to saturating byte steps (BuildUnsharpSteps),
// and otherwise it computes the double formula eight samples at a time, which needs no VBMI.
// Whole 64-byte blocks are loaded and stored plainly; masks only at row ends and around bytes a
// path leaves alone.

// GCC 12 takes the deliberately undefined source operand of some AVX-512 intrinsics
// (_mm512_undefined_*) for an uninitialised variable once they are inlined here.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <cstdint>

#include "filters/filter_simd.h"
#include "platform/cpu_features.h"
#include "platform/vector_target.h"

// The double kernel without VBMI, for AVX-512 processors that lack it.
XQT_TARGET_BEGIN("avx512f,avx512vl,avx512dq,avx512bw")

namespace {

// The mask of the first `bytes` lanes (bytes < 64).
__mmask64 Head(int64_t bytes) { return (uint64_t{1} << bytes) - 1; }

// Blocks end on 64-byte boundaries of the dest, so that no store straddles two cache lines: the
// bytes up to the next boundary, at most `left`.
int64_t BlockLength(const uint8_t* to, int64_t left) {
  int64_t length = 64 - static_cast<int64_t>(reinterpret_cast<uintptr_t>(to) & 63);
  return length < left ? length : left;
}

// Whole blocks take plain loads and stores: masked ones cost more on some cores even with every
// bit set.
__m512i LoadBlock(const uint8_t* at, __mmask64 inside) {
  return inside == ~__mmask64{0} ? _mm512_loadu_si512(at) : _mm512_maskz_loadu_epi8(inside, at);
}
void StoreBlock(uint8_t* at, __mmask64 write, __m512i value) {
  if (write == ~__mmask64{0}) {
    _mm512_storeu_si512(at, value);
  } else {
    _mm512_mask_storeu_epi8(at, write, value);
  }
}

// Steps the phase of a pattern of `period` bytes by a block of `count` bytes; `whole` is
// 64 mod period, so that whole blocks need no division.
int64_t Advance(int64_t phase, int64_t count, int64_t whole, int64_t period) {
  phase += count == 64 ? whole : count % period;
  return phase >= period ? phase - period : phase;
}

// Sixteen samples of the unsharp rule.
__m128i Unsharp16(__m128i self, __m128i other, __m512d k, __m512i limit) {
  __m512i a = _mm512_cvtepu8_epi32(self);
  __m512i b = _mm512_cvtepu8_epi32(other);
  __m512i d = _mm512_sub_epi32(a, b);
  __mmask16 keep = _mm512_cmplt_epi32_mask(_mm512_abs_epi32(d), limit);
  const __m512d zero = _mm512_setzero_pd(), top = _mm512_set1_pd(255.0);
  __m512d x0 = _mm512_add_pd(_mm512_cvtepi32_pd(_mm512_castsi512_si256(b)),
                             _mm512_mul_pd(_mm512_cvtepi32_pd(_mm512_castsi512_si256(d)), k));
  __m512d x1 = _mm512_add_pd(_mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(b, 1)),
                             _mm512_mul_pd(_mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(d, 1)), k));
  x0 = _mm512_min_pd(_mm512_max_pd(x0, zero), top);
  x1 = _mm512_min_pd(_mm512_max_pd(x1, zero), top);
  __m512i v = _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvttpd_epi32(x0)),
                                 _mm512_cvttpd_epi32(x1), 1);
  return _mm512_cvtepi32_epi8(_mm512_mask_mov_epi32(v, keep, a));
}

void UnsharpRowDouble(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  const __m512d k = _mm512_set1_pd(row.k);
  const __m512i limit = _mm512_set1_epi32(row.limit);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, whole = 64 % period;
  for (int64_t i = 0, count; i < bytes; i += count) {
    count = BlockLength(self + i, bytes - i);
    __mmask64 inside = count == 64 ? ~__mmask64{0} : Head(count);
    __m512i a = LoadBlock(self + i, inside);
    __m512i b = LoadBlock(other + i, inside);
    __m512i kind = _mm512_loadu_si512(classes + phase);
    // One 64-byte store: a masked narrowing store per sixteen samples is slow on some cores.
    __m512i out = _mm512_castsi128_si512(
        Unsharp16(_mm512_castsi512_si128(a), _mm512_castsi512_si128(b), k, limit));
    out = _mm512_inserti32x4(
        out, Unsharp16(_mm512_extracti32x4_epi32(a, 1), _mm512_extracti32x4_epi32(b, 1), k, limit),
        1);
    out = _mm512_inserti32x4(
        out, Unsharp16(_mm512_extracti32x4_epi32(a, 2), _mm512_extracti32x4_epi32(b, 2), k, limit),
        2);
    out = _mm512_inserti32x4(
        out, Unsharp16(_mm512_extracti32x4_epi32(a, 3), _mm512_extracti32x4_epi32(b, 3), k, limit),
        3);
    StoreBlock(self + i, inside & _mm512_test_epi8_mask(kind, kind), out);
    phase = Advance(phase, count, whole, period);
  }
}

}  // namespace

XQT_TARGET_END

// Byte look-ups with VBMI.
XQT_TARGET_BEGIN("avx512f,avx512vl,avx512dq,avx512bw,avx512vbmi")

namespace {

// A 256-entry table in four registers.
struct Table {
  __m512i q0, q1, q2, q3;
  void Load(const uint8_t* entries) {
    q0 = _mm512_loadu_si512(entries);
    q1 = _mm512_loadu_si512(entries + 64);
    q2 = _mm512_loadu_si512(entries + 128);
    q3 = _mm512_loadu_si512(entries + 192);
  }
  __m512i operator()(__m512i v) const {
    __m512i low = _mm512_permutex2var_epi8(q0, v, q1);
    __m512i high = _mm512_permutex2var_epi8(q2, v, q3);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(v), low, high);
  }
};

template <int Tables>
void MapRow(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  Table tables[Tables];
  for (int j = 0; j < Tables; ++j) tables[j].Load(row.tables + 256 * j);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, whole = 64 % period;
  for (int64_t i = 0, count; i < bytes; i += count) {
    count = BlockLength(to + i, bytes - i);
    __mmask64 inside = count == 64 ? ~__mmask64{0} : Head(count);
    __m512i v = LoadBlock(from + i, inside);
    __m512i kind = _mm512_loadu_si512(classes + phase);
    __m512i out = tables[0](v);
    for (int j = 1; j < Tables; ++j) {
      __mmask64 mine = _mm512_cmpeq_epi8_mask(kind, _mm512_set1_epi8(static_cast<char>(j + 1)));
      out = _mm512_mask_mov_epi8(out, mine, tables[j](v));
    }
    StoreBlock(to + i, inside & _mm512_test_epi8_mask(kind, kind), out);
    phase = Advance(phase, count, whole, period);
  }
}

void MapRowAny(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  switch (row.tableCount) {
    case 1:
      return MapRow<1>(row, from, to, bytes);
    case 2:
      return MapRow<2>(row, from, to, bytes);
    case 3:
      return MapRow<3>(row, from, to, bytes);
    case 4:
      return MapRow<4>(row, from, to, bytes);
    default:
      return MapRow<5>(row, from, to, bytes);
  }
}

void DitherRowKernel(const DitherRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  // The side-by-side levels split into a lowered and a raised table.
  alignas(64) uint8_t lowered[256], raised[256];
  for (int v = 0; v < 256; ++v) {
    lowered[v] = row.levels[2 * v];
    raised[v] = row.levels[2 * v + 1];
  }
  Table low, high;
  low.Load(lowered);
  high.Load(raised);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, whole = 64 % period, cell = 0, wholeCells = 64 % row.period;
  for (int64_t i = 0, count; i < bytes; i += count) {
    count = BlockLength(to + i, bytes - i);
    __mmask64 inside = count == 64 ? ~__mmask64{0} : Head(count);
    __m512i v = LoadBlock(from + i, inside);
    __m512i kind = _mm512_loadu_si512(classes + phase);
    __m512i threshold = _mm512_loadu_si512(row.thresholds + cell);
    __mmask64 up = _mm512_cmple_epu8_mask(v, threshold);
    __m512i out = _mm512_mask_blend_epi8(up, low(v), high(v));
    StoreBlock(to + i, inside & _mm512_test_epi8_mask(kind, kind), out);
    phase = Advance(phase, count, whole, period);
    cell = Advance(cell, count, wholeCells, row.period);
  }
}

// The unsharp rule as byte steps (UnsharpSteps): sixty-four samples per block.
void UnsharpStepsRow(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  const UnsharpSteps& steps = *row.steps;
  Table up, down;
  up.Load(steps.up);
  down.Load(steps.down);
  const __m512i limit = _mm512_set1_epi8(static_cast<char>(row.limit > 0 ? row.limit : 0));
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, whole = 64 % period;
  for (int64_t i = 0, count; i < bytes; i += count) {
    count = BlockLength(self + i, bytes - i);
    __mmask64 inside = count == 64 ? ~__mmask64{0} : Head(count);
    __m512i a = LoadBlock(self + i, inside);
    __m512i b = LoadBlock(other + i, inside);
    __m512i kind = _mm512_loadu_si512(classes + phase);
    __mmask64 rises = _mm512_cmpgt_epu8_mask(a, b), sinks = _mm512_cmplt_epu8_mask(a, b);
    __m512i size = _mm512_or_si512(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a));
    __m512i step = _mm512_mask_blend_epi8(rises, down(size), up(size));
    __mmask64 falls = (steps.upFalls ? rises : 0) | (steps.downFalls ? sinks : 0);
    __m512i out =
        _mm512_mask_blend_epi8(falls, _mm512_adds_epu8(b, step), _mm512_subs_epu8(b, step));
    // Below the limit a stays; a limit past 255 keeps every sample.
    __mmask64 keep = row.limit > 255 ? ~__mmask64{0} : _mm512_cmplt_epu8_mask(size, limit);
    out = _mm512_mask_mov_epi8(out, keep, a);
    StoreBlock(self + i, inside & _mm512_test_epi8_mask(kind, kind), out);
    phase = Advance(phase, count, whole, period);
  }
}

// The byte steps where the call has them, else the double formula.
void UnsharpRowBytes(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  if (row.steps) return UnsharpStepsRow(row, other, self, bytes);
  UnsharpRowDouble(row, other, self, bytes);
}

}  // namespace

XQT_TARGET_END

namespace {

bool HasVBMI() { return platform::ProcessorFeatures().avx512vbmi; }

bool HasAVX512() { return platform::ProcessorRuns(platform::SimdLevel::kAVX512); }

}  // namespace

ByteMapRowProc ByteMapRowAVX512() { return HasAVX512() && HasVBMI() ? MapRowAny : nullptr; }
DitherRowProc DitherRowAVX512() { return HasAVX512() && HasVBMI() ? DitherRowKernel : nullptr; }
UnsharpRowProc UnsharpRowAVX512() {
  if (!HasAVX512()) return nullptr;
  return HasVBMI() ? UnsharpRowBytes : UnsharpRowDouble;
}
