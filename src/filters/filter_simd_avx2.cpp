// AVX2 row kernels of the filters. AVX2 has no byte permute wide enough for a 256-entry table, so
// tables are looked up through sixteen pshufb slices (about 48 instructions per 32 bytes and
// table): one table directly, four-byte pixels after a transpose that gives each table a register
// of its own, two tables (and the dither's pair) side by side; more tables on other pixel sizes
// gather one 32-bit word per byte from the path's block of tables. Cheaper forms where the call
// allows them: a table that is a line (a ramp) is computed, sixteen dither levels or fewer take one
// pshufb, and the unsharp combination adds its multiplied-out steps in 16-bit lanes, else computes
// its double formula four samples at a time. Row ends shorter than a block take the one-byte rules.
#include <immintrin.h>

#include <cstdint>

#include "filters/filter_simd.h"
#include "platform/cpu_features.h"
#include "platform/vector_target.h"

XQT_TARGET_BEGIN("avx2,fma")

namespace {

// How far ahead of the block being worked the next source and destination lines are asked for.
// The hardware's own prefetch stops at page ends and falls behind kernels that spend more time on
// arithmetic than on memory; without this the table kernels run at the sum of their arithmetic and
// memory times, with it near the larger of the two.
constexpr uintptr_t kPrefetchAhead = 2048;

// Integer arithmetic: the addresses may lie past the end of the rows, which a prefetch may touch
// but a pointer may not point to.
void PrefetchAhead(const uint8_t* at) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(at) + kPrefetchAhead),
               _MM_HINT_T0);
}

// Kernels light enough to wait on memory most also ask for the lines twice as far ahead into the
// second-level cache, so that the near prefetch finds them there.
void PrefetchFarAhead(const uint8_t* at) {
  PrefetchAhead(at);
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(at) + 2 * kPrefetchAhead),
               _MM_HINT_T1);
}

__m128i Load8(const uint8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); }
__m256i Load32(const uint8_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

// Thirty-two words, each below 256, back to bytes in order: words[g] held bytes 8g ... 8g + 7.
__m256i PackWords(__m256i w0, __m256i w1, __m256i w2, __m256i w3) {
  __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(w0, w1), _mm256_packus_epi32(w2, w3));
  // Each lane now holds four-byte runs in the order g0 g1 g2 g3 (low halves, then high halves).
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Writes `out` where `kind` is not 0, keeping the other bytes of `to`.
void StoreClasses(uint8_t* to, __m256i out, __m256i kind, bool everyByte) {
  auto* at = reinterpret_cast<__m256i*>(to);
  if (!everyByte) {
    __m256i keep = _mm256_cmpeq_epi8(kind, _mm256_setzero_si256());
    out = _mm256_blendv_epi8(out, _mm256_loadu_si256(at), keep);
  }
  _mm256_storeu_si256(at, out);
}

bool EveryByteWritten(const BytePattern& pattern) {
  for (int64_t i = 0; i < pattern.pixelSize; ++i) {
    if (pattern.classes[i] == 0) return false;
  }
  return true;
}

int64_t Advance(int64_t phase, int64_t step, int64_t period) {
  phase += step % period;
  return phase >= period ? phase - period : phase;
}

// A 256-entry table as sixteen 16-byte slices for pshufb, which gives 0 where the index has its
// top bit set. Both halves share the eight indices v - 16h (h = 0 ... 7). Below 128, v - 16h is
// non-negative for the slices up to v's own, so the low slices are stored as the XOR with the
// slice before them and their XOR telescopes to v's slice. From 128 on, v - 16h stays below 128
// only for the slices above v's own, so the high slices are stored as the XOR with the slice
// after them (h = 1 ... 7) beside a last slice that v - 128 always reaches. The top bit of v picks
// the half.
struct SliceTable {
  __m256i low[8];
  __m256i high[8];  // high[0]: the last slice, looked up with v - 128
  void Load(const uint8_t* table) {
    auto slice = [&](int h) {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * h));
    };
    low[0] = _mm256_broadcastsi128_si256(slice(0));
    for (int h = 1; h < 8; ++h) {
      low[h] = _mm256_broadcastsi128_si256(_mm_xor_si128(slice(h), slice(h - 1)));
      high[h] = _mm256_broadcastsi128_si256(_mm_xor_si128(slice(8 + h - 1), slice(8 + h)));
    }
    high[0] = _mm256_broadcastsi128_si256(slice(15));
  }
  __m256i operator()(__m256i v) const {
    __m256i lows = _mm256_shuffle_epi8(low[0], v);
    __m256i highs = _mm256_shuffle_epi8(high[0], _mm256_xor_si256(v, _mm256_set1_epi8(-128)));
    for (int h = 1; h < 8; ++h) {
      __m256i index = _mm256_sub_epi8(v, _mm256_set1_epi8(static_cast<char>(16 * h)));
      lows = _mm256_xor_si256(lows, _mm256_shuffle_epi8(low[h], index));
      highs = _mm256_xor_si256(highs, _mm256_shuffle_epi8(high[h], index));
    }
    return _mm256_blendv_epi8(lows, highs, v);
  }
};

// LinearStep for sixteen signed d in 16-bit lanes: m as h x 65536 + l with l in -32768 ... 32767,
// so that d x h and the high half of d x l are exact 16-bit products.
struct LinearLanes {
  __m256i high, low;
  explicit LinearLanes(const LinearStep& step) {
    const auto l = static_cast<int16_t>(step.m & 0xFFFF);
    high = _mm256_set1_epi16(static_cast<int16_t>((step.m - l) / 65536));
    low = _mm256_set1_epi16(l);
  }
  __m256i operator()(__m256i d) const {
    return _mm256_add_epi16(_mm256_mullo_epi16(d, high), _mm256_mulhi_epi16(d, low));
  }
};

// A byte ramp: clamp(line(v - base), 0, 255) for thirty-two bytes.
struct RampLanes {
  LinearLanes line;
  __m256i base;
  explicit RampLanes(const ByteRamp& ramp)
      : line(ramp.step), base(_mm256_set1_epi16(static_cast<int16_t>(ramp.base))) {}
  __m256i operator()(__m256i v) const {
    const __m256i zero = _mm256_setzero_si256();
    __m256i low = line(_mm256_sub_epi16(_mm256_unpacklo_epi8(v, zero), base));
    __m256i high = line(_mm256_sub_epi16(_mm256_unpackhi_epi8(v, zero), base));
    return _mm256_packus_epi16(low, high);
  }
};

// One table that is a line, computed. Steady: the pixel size divides 32, so every block starts
// at the same phase of the pattern.
template <bool Steady>
void MapRowRamp(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  const RampLanes ramp(*row.ramp);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  bool everyByte = EveryByteWritten(*row.pattern);
  const __m256i steadyKind = Load32(classes);
  int64_t phase = 0, i = 0;
  auto block = [&] {
    StoreClasses(to + i, ramp(Load32(from + i)), Steady ? steadyKind : Load32(classes + phase),
                 everyByte);
    if (!Steady) phase = Advance(phase, 32, period);
    i += 32;
  };
  // A line per round: the arithmetic is light enough for the loop's own cost to show.
  while (i + 64 <= bytes) {
    PrefetchFarAhead(from + i);
    if (to != from) PrefetchAhead(to + i);
    block();
    block();
  }
  if (i + 32 <= bytes) block();
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    if (classes[phase]) to[i] = row.tables[from[i]];
  }
}

// One or two tables through slices: the second for the bytes of class 2.
template <int Tables>
void MapRowSlices(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  SliceTable first, second;
  first.Load(row.tables);
  if (Tables == 2) second.Load(row.tables + 256);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  bool everyByte = EveryByteWritten(*row.pattern);
  const __m256i two = _mm256_set1_epi8(2);
  int64_t phase = 0, i = 0;
  for (; i + 32 <= bytes; i += 32) {
    PrefetchAhead(from + i);
    PrefetchAhead(to + i);
    __m256i v = Load32(from + i), kind = Load32(classes + phase);
    __m256i out = first(v);
    if (Tables == 2) out = _mm256_blendv_epi8(out, second(v), _mm256_cmpeq_epi8(kind, two));
    StoreClasses(to + i, out, kind, everyByte);
    phase = Advance(phase, 32, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    uint8_t kind = classes[phase];
    if (kind) to[i] = row.tables[(kind - 1) * 256 + from[i]];
  }
}

bool IdentityTable(const uint8_t* table) {
  for (int v = 0; v < 256; ++v) {
    if (table[v] != v) return false;
  }
  return true;
}

// Four-byte pixels with several tables: 128 bytes are transposed so that each register holds one
// byte position of 32 pixels, which then needs one table only; the transpose is its own inverse.
void Transpose(__m256i (&r)[4]) {
  // Within each 16-byte lane, byte c of the four pixels side by side, then a 4 x 4 transpose of
  // 32-bit groups across the registers.
  const __m256i group = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4,
                                         8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  for (__m256i& v : r) v = _mm256_shuffle_epi8(v, group);
  __m256i t0 = _mm256_unpacklo_epi32(r[0], r[1]), t1 = _mm256_unpackhi_epi32(r[0], r[1]);
  __m256i t2 = _mm256_unpacklo_epi32(r[2], r[3]), t3 = _mm256_unpackhi_epi32(r[2], r[3]);
  r[0] = _mm256_unpacklo_epi64(t0, t2);
  r[1] = _mm256_unpackhi_epi64(t0, t2);
  r[2] = _mm256_unpacklo_epi64(t1, t3);
  r[3] = _mm256_unpackhi_epi64(t1, t3);
}

// The inverse of Transpose: the 32-bit transpose first, then the byte grouping (both undo
// themselves).
void Untranspose(__m256i (&r)[4]) {
  __m256i t0 = _mm256_unpacklo_epi32(r[0], r[1]), t1 = _mm256_unpackhi_epi32(r[0], r[1]);
  __m256i t2 = _mm256_unpacklo_epi32(r[2], r[3]), t3 = _mm256_unpackhi_epi32(r[2], r[3]);
  r[0] = _mm256_unpacklo_epi64(t0, t2);
  r[1] = _mm256_unpackhi_epi64(t0, t2);
  r[2] = _mm256_unpacklo_epi64(t1, t3);
  r[3] = _mm256_unpackhi_epi64(t1, t3);
  const __m256i group = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4,
                                         8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  for (__m256i& v : r) v = _mm256_shuffle_epi8(v, group);
}

void MapRowQuads(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  const uint8_t* classes = row.pattern->classes;
  SliceTable tables[4];
  // A table that maps every byte to itself (a gamma of 1) is a copy: its lookup is skipped.
  bool lookUp[4];
  for (int c = 0; c < 4; ++c) {
    lookUp[c] = classes[c] && !IdentityTable(row.tables + (classes[c] - 1) * 256);
    if (lookUp[c]) tables[c].Load(row.tables + (classes[c] - 1) * 256);
  }
  bool everyByte = EveryByteWritten(*row.pattern);
  // Blocks of 128 bytes keep every register at phase 0.
  int64_t i = 0;
  for (; i + 128 <= bytes; i += 128) {
    for (int line = 0; line < 128; line += 64) {
      PrefetchAhead(from + i + line);
      PrefetchAhead(to + i + line);
    }
    __m256i r[4];
    for (int q = 0; q < 4; ++q) r[q] = Load32(from + i + 32 * q);
    Transpose(r);
    for (int c = 0; c < 4; ++c) {
      if (lookUp[c]) r[c] = tables[c](r[c]);
    }
    Untranspose(r);
    for (int q = 0; q < 4; ++q) StoreClasses(to + i + 32 * q, r[q], Load32(classes), everyByte);
  }
  for (; i < bytes; ++i) {
    uint8_t kind = classes[i % 4];
    if (kind) to[i] = row.tables[(kind - 1) * 256 + from[i]];
  }
}

void MapRowKernel(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  // A chain of slices costs about what four gathers do. One table takes one chain per register;
  // four-byte pixels take one per register after a transpose, whatever their tables; two tables
  // take two chains; past that the gathers win.
  if (row.tableCount == 1) {
    if (!row.ramp) return MapRowSlices<1>(row, from, to, bytes);
    return 32 % row.pattern->pixelSize == 0 ? MapRowRamp<true>(row, from, to, bytes)
                                            : MapRowRamp<false>(row, from, to, bytes);
  }
  if (row.pattern->pixelSize == 4) return MapRowQuads(row, from, to, bytes);
  if (row.tableCount == 2) return MapRowSlices<2>(row, from, to, bytes);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  bool everyByte = EveryByteWritten(*row.pattern);
  const auto* base = reinterpret_cast<const int*>(row.tables);
  const __m256i low = _mm256_set1_epi32(0xFF);
  const __m128i one = _mm_set1_epi8(1);
  int64_t phase = 0, i = 0;
  for (; i + 32 <= bytes; i += 32) {
    __m256i words[4];
    for (int g = 0; g < 4; ++g) {
      __m256i v = _mm256_cvtepu8_epi32(Load8(from + i + 8 * g));
      __m256i table = _mm256_cvtepu8_epi32(_mm_subs_epu8(Load8(classes + phase + 8 * g), one));
      __m256i index = _mm256_add_epi32(v, _mm256_slli_epi32(table, 8));
      words[g] = _mm256_and_si256(_mm256_i32gather_epi32(base, index, 1), low);
    }
    StoreClasses(to + i, PackWords(words[0], words[1], words[2], words[3]), Load32(classes + phase),
                 everyByte);
    phase = Advance(phase, 32, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    uint8_t kind = classes[phase];
    if (kind) to[i] = row.tables[(kind - 1) * 256 + from[i]];
  }
}

// Sixteen output levels or fewer: one shuffle looks them up.
struct ShortTable {
  __m256i entries;
  void Load(const uint8_t* table) {
    entries = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table)));
  }
  __m256i operator()(__m256i index) const { return _mm256_shuffle_epi8(entries, index); }
};

// Up to 256 levels: the level index (v * top) >> 8, raised by one where v <= t, through one table.
template <class Table>
void DitherRowIndexed(const DitherRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  Table outputs;
  outputs.Load(row.outputs);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  bool everyByte = EveryByteWritten(*row.pattern);
  const __m256i top = _mm256_set1_epi16(static_cast<int16_t>(row.top));
  const __m256i zero = _mm256_setzero_si256();
  int64_t phase = 0, cell = 0, i = 0;
  auto block = [&] {
    __m256i v = Load32(from + i), t = Load32(row.thresholds + cell);
    // v x 256 in each word, so that the high half of the product is (v x top) >> 8; unpacking and
    // packing within the lanes keep the byte order.
    __m256i low = _mm256_mulhi_epu16(_mm256_unpacklo_epi8(zero, v), top);
    __m256i high = _mm256_mulhi_epu16(_mm256_unpackhi_epi8(zero, v), top);
    __m256i index = _mm256_packus_epi16(low, high);
    // v <= t, unsigned, is all ones: subtracting it adds one.
    index = _mm256_sub_epi8(index, _mm256_cmpeq_epi8(_mm256_max_epu8(v, t), t));
    StoreClasses(to + i, outputs(index), Load32(classes + phase), everyByte);
    phase = Advance(phase, 32, period);
    cell = Advance(cell, 32, row.period);
    i += 32;
  };
  while (i + 64 <= bytes) {
    PrefetchAhead(from + i);
    PrefetchAhead(to + i);
    block();
    block();
  }
  if (i + 32 <= bytes) block();
  for (; i < bytes; ++i) {
    if (classes[phase]) {
      int v = from[i];
      to[i] = row.outputs[((v * row.top) >> 8) + (v <= row.thresholds[cell] ? 1 : 0)];
    }
    phase = Advance(phase, 1, period);
    cell = Advance(cell, 1, row.period);
  }
}

void DitherRowKernel(const DitherRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  if (row.outputs) {
    return row.top < 16 ? DitherRowIndexed<ShortTable>(row, from, to, bytes)
                        : DitherRowIndexed<SliceTable>(row, from, to, bytes);
  }
  // The side-by-side levels split into a lowered and a raised table.
  uint8_t split[2][256];
  for (int v = 0; v < 256; ++v) {
    split[0][v] = row.levels[2 * v];
    split[1][v] = row.levels[2 * v + 1];
  }
  SliceTable lowered, raised;
  lowered.Load(split[0]);
  raised.Load(split[1]);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  bool everyByte = EveryByteWritten(*row.pattern);
  int64_t phase = 0, cell = 0, i = 0;
  for (; i + 32 <= bytes; i += 32) {
    PrefetchAhead(from + i);
    PrefetchAhead(to + i);
    __m256i v = Load32(from + i), t = Load32(row.thresholds + cell);
    // v <= t, unsigned.
    __m256i up = _mm256_cmpeq_epi8(_mm256_max_epu8(v, t), t);
    StoreClasses(to + i, _mm256_blendv_epi8(lowered(v), raised(v), up), Load32(classes + phase),
                 everyByte);
    phase = Advance(phase, 32, period);
    cell = Advance(cell, 32, row.period);
  }
  for (; i < bytes; ++i) {
    if (classes[phase]) {
      int v = from[i];
      to[i] = row.levels[2 * v + (v <= row.thresholds[cell] ? 1 : 0)];
    }
    phase = Advance(phase, 1, period);
    cell = Advance(cell, 1, row.period);
  }
}

// Four samples of the unsharp formula from 32-bit lanes.
__m128i Combine4(__m128i b, __m128i d, __m256d k) {
  __m256d x = _mm256_add_pd(_mm256_cvtepi32_pd(b), _mm256_mul_pd(_mm256_cvtepi32_pd(d), k));
  x = _mm256_min_pd(_mm256_max_pd(x, _mm256_setzero_pd()), _mm256_set1_pd(255.0));
  return _mm256_cvttpd_epi32(x);
}

// The unsharp rule with its steps multiplied out (UnsharpSteps::linear): clamp(b + line(a - b)) in
// 16-bit lanes, thirty-two samples per block.
void UnsharpLinearRow(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  // Below the limit a stays: a limit past 255 keeps every sample.
  if (row.limit > 255) return;
  const LinearLanes line(row.steps->line);
  const __m256i zero = _mm256_setzero_si256();
  // A limit of 0 or less keeps none.
  const __m256i limit = _mm256_set1_epi8(static_cast<char>(row.limit > 0 ? row.limit : 0));
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  const bool everyByte = EveryByteWritten(*row.pattern);
  int64_t phase = 0, i = 0;
  for (; i + 32 <= bytes; i += 32) {
    PrefetchAhead(self + i);
    PrefetchAhead(other + i);
    __m256i a = Load32(self + i), b = Load32(other + i);
    __m256i size = _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
    // size >= limit, unsigned: limit - size saturates to 0.
    __m256i moves = _mm256_cmpeq_epi8(_mm256_subs_epu8(limit, size), zero);
    __m256i low = _mm256_unpacklo_epi8(b, zero), high = _mm256_unpackhi_epi8(b, zero);
    low = _mm256_add_epi16(low, line(_mm256_sub_epi16(_mm256_unpacklo_epi8(a, zero), low)));
    high = _mm256_add_epi16(high, line(_mm256_sub_epi16(_mm256_unpackhi_epi8(a, zero), high)));
    // Packing saturates to 0 ... 255 and undoes the unpacking lane by lane.
    __m256i out = _mm256_blendv_epi8(a, _mm256_packus_epi16(low, high), moves);
    StoreClasses(self + i, out, Load32(classes + phase), everyByte);
    phase = Advance(phase, 32, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    if (classes[phase]) self[i] = UnsharpByte(self[i], other[i], row.k, row.limit);
  }
}

void UnsharpRowKernel(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  if (row.steps && row.steps->linear) return UnsharpLinearRow(row, other, self, bytes);
  const __m256d k = _mm256_set1_pd(row.k);
  const __m256i limit = _mm256_set1_epi32(row.limit);
  const uint8_t* classes = row.pattern->classes;
  int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, i = 0;
  for (; i + 8 <= bytes; i += 8) {
    __m128i old = Load8(self + i);
    __m256i a = _mm256_cvtepu8_epi32(old);
    __m256i b = _mm256_cvtepu8_epi32(Load8(other + i));
    __m256i d = _mm256_sub_epi32(a, b);
    __m256i keep = _mm256_cmpgt_epi32(limit, _mm256_abs_epi32(d));
    __m256i v = _mm256_setr_m128i(
        Combine4(_mm256_castsi256_si128(b), _mm256_castsi256_si128(d), k),
        Combine4(_mm256_extracti128_si256(b, 1), _mm256_extracti128_si256(d, 1), k));
    v = _mm256_blendv_epi8(v, a, keep);
    __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    __m128i out = _mm_packus_epi16(words, words);
    __m128i untouched = _mm_cmpeq_epi8(Load8(classes + phase), _mm_setzero_si128());
    _mm_storel_epi64(reinterpret_cast<__m128i*>(self + i), _mm_blendv_epi8(out, old, untouched));
    phase = Advance(phase, 8, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    if (classes[phase]) self[i] = UnsharpByte(self[i], other[i], row.k, row.limit);
  }
}

}  // namespace

XQT_TARGET_END

ByteMapRowProc ByteMapRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? MapRowKernel : nullptr;
}
DitherRowProc DitherRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? DitherRowKernel : nullptr;
}
UnsharpRowProc UnsharpRowAVX2() {
  return platform::ProcessorRuns(platform::SimdLevel::kAVX2) ? UnsharpRowKernel : nullptr;
}
