// Row kernels of the filters written with the compilers' vector extensions, sixteen bytes at a
// time: Advanced SIMD code on arm64, where they are the kernels of the baseline level. A 256-entry
// table is looked up as eight 32-entry pairs of vectors (one two-register table lookup each), of
// which bits 5, 6 and 7 of the byte then choose one. The unsharp combination works in bytes where
// its formula reduces to saturating steps (BuildUnsharpSteps) and otherwise computes the double
// formula two samples at a time. Lanes are widened and narrowed by interleaving bytes, as on a
// little-endian processor. They build everywhere, so the tests compare them with the plain loops on
// every machine.
#include <cstdint>
#include <cstring>

#include "filters/filter_simd.h"

namespace {

typedef uint8_t Bytes __attribute__((vector_size(16)));
typedef uint16_t Words __attribute__((vector_size(16)));
typedef uint32_t Quads __attribute__((vector_size(16)));
typedef int32_t Ints __attribute__((vector_size(16)));
typedef int32_t IntPair __attribute__((vector_size(8)));
typedef int64_t LongPair __attribute__((vector_size(16)));
typedef double DoublePair __attribute__((vector_size(16)));

constexpr int64_t kBlock = 16;

Bytes Load(const uint8_t* at) {
  Bytes value;
  std::memcpy(&value, at, sizeof(value));
  return value;
}
void Store(uint8_t* at, Bytes value) { std::memcpy(at, &value, sizeof(value)); }
Bytes Splat(uint8_t value) { return Bytes{} + value; }

// a where `mask` (all ones or all zeros per byte) is set, else b.
Bytes Select(Bytes mask, Bytes a, Bytes b) { return (mask & a) | (~mask & b); }

// Entries index & 31 of the 32-entry table low:high.
Bytes LookUp32(Bytes low, Bytes high, Bytes index) {
#if defined(__clang__)
  // Clang has no shuffle by a variable index; its builds use these kernels in tests only.
  Bytes out;
  for (int i = 0; i < 16; ++i) {
    const int k = index[i] & 31;
    out[i] = k < 16 ? low[k] : high[k - 16];
  }
  return out;
#else
  return __builtin_shuffle(low, high, index);
#endif
}

struct Table {
  Bytes slices[16];
  void Load(const uint8_t* table) {
    for (int h = 0; h < 16; ++h) std::memcpy(&slices[h], table + 16 * h, sizeof(slices[h]));
  }
  Bytes operator()(Bytes v) const {
    Bytes pairs[8];
    for (int h = 0; h < 8; ++h) pairs[h] = LookUp32(slices[2 * h], slices[2 * h + 1], v);
    const Bytes zero{};
    const Bytes bit5 = (Bytes)((v & 32) != zero), bit6 = (Bytes)((v & 64) != zero);
    const Bytes bit7 = (Bytes)((v & 128) != zero);
    Bytes quarters[4];
    for (int q = 0; q < 4; ++q) quarters[q] = Select(bit5, pairs[2 * q + 1], pairs[2 * q]);
    return Select(bit7, Select(bit6, quarters[3], quarters[2]),
                  Select(bit6, quarters[1], quarters[0]));
  }
};

int64_t Advance(int64_t phase, int64_t step, int64_t period) {
  phase += step % period;
  return phase >= period ? phase - period : phase;
}

// Writes `out` where `kind` is not 0, keeping the other bytes of `to`.
void StoreClasses(uint8_t* to, Bytes out, Bytes kind) {
  Store(to, Select((Bytes)(kind != Bytes{}), out, Load(to)));
}

void MapRowKernel(const ByteMapRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  Table tables[5];
  for (int t = 0; t < row.tableCount; ++t) tables[t].Load(row.tables + 256 * t);
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, i = 0;
  for (; i + kBlock <= bytes; i += kBlock) {
    const Bytes v = Load(from + i), kind = Load(classes + phase);
    Bytes out = tables[0](v);
    for (int t = 1; t < row.tableCount; ++t) {
      out = Select((Bytes)(kind == Splat(static_cast<uint8_t>(t + 1))), tables[t](v), out);
    }
    StoreClasses(to + i, out, kind);
    phase = Advance(phase, kBlock, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    uint8_t kind = classes[phase];
    if (kind) to[i] = row.tables[(kind - 1) * 256 + from[i]];
  }
}

// Up to 256 levels: the level index (v * top) >> 8, raised by one where v <= t, through one table.
void DitherRowIndexed(const DitherRow& row, const uint8_t* from, uint8_t* to, int64_t bytes) {
  Table outputs;
  outputs.Load(row.outputs);
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  const Words top = Words{} + static_cast<uint16_t>(row.top);
  int64_t phase = 0, cell = 0, i = 0;
  for (; i + kBlock <= bytes; i += kBlock) {
    const Bytes v = Load(from + i), t = Load(row.thresholds + cell);
    const Words low = (Words)__builtin_shufflevector(v, Bytes{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20,
                                                     5, 21, 6, 22, 7, 23);
    const Words high = (Words)__builtin_shufflevector(v, Bytes{}, 8, 24, 9, 25, 10, 26, 11, 27, 12,
                                                      28, 13, 29, 14, 30, 15, 31);
    // The products' high bytes, back in order.
    Bytes index = __builtin_shufflevector((Bytes)(low * top), (Bytes)(high * top), 1, 3, 5, 7, 9,
                                          11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    // v <= t is all ones: subtracting it adds one.
    index -= (Bytes)(v <= t);
    StoreClasses(to + i, outputs(index), Load(classes + phase));
    phase = Advance(phase, kBlock, period);
    cell = Advance(cell, kBlock, row.period);
  }
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
  if (row.outputs) return DitherRowIndexed(row, from, to, bytes);
  // The side-by-side levels split into a lowered and a raised table.
  uint8_t split[2][256];
  for (int v = 0; v < 256; ++v) {
    split[0][v] = row.levels[2 * v];
    split[1][v] = row.levels[2 * v + 1];
  }
  Table lowered, raised;
  lowered.Load(split[0]);
  raised.Load(split[1]);
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, cell = 0, i = 0;
  for (; i + kBlock <= bytes; i += kBlock) {
    const Bytes v = Load(from + i), t = Load(row.thresholds + cell);
    StoreClasses(to + i, Select((Bytes)(v <= t), raised(v), lowered(v)), Load(classes + phase));
    phase = Advance(phase, kBlock, period);
    cell = Advance(cell, kBlock, row.period);
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

// The unsharp rule as byte steps looked up by the size of the difference.
void UnsharpStepsRow(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  const UnsharpSteps& steps = *row.steps;
  Table up, down;
  up.Load(steps.up);
  down.Load(steps.down);
  const Bytes zero{}, ones = Splat(255);
  // Below the limit a stays; a limit past 255 keeps every sample, one of 0 or less none.
  const bool keepAll = row.limit > 255;
  const Bytes limit = Splat(static_cast<uint8_t>(row.limit > 0 && !keepAll ? row.limit : 0));
  const Bytes upFalls = steps.upFalls ? ones : zero, downFalls = steps.downFalls ? ones : zero;
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, i = 0;
  for (; i + kBlock <= bytes; i += kBlock) {
    const Bytes a = Load(self + i), b = Load(other + i);
    const Bytes rises = (Bytes)(a > b), sinks = (Bytes)(b > a);
    const Bytes size = ((a - b) & rises) | ((b - a) & sinks);
    const Bytes step = Select(rises, up(size), down(size));
    const Bytes falls = (rises & upFalls) | (sinks & downFalls);
    const Bytes sum = b + step, difference = b - step;
    const Bytes raised = sum | (Bytes)(sum < b);            // saturated at 255
    const Bytes lowered = difference & (Bytes)(b >= step);  // saturated at 0
    const Bytes keep = keepAll ? ones : (Bytes)(size < limit);
    StoreClasses(self + i, Select(keep, a, Select(falls, lowered, raised)), Load(classes + phase));
    phase = Advance(phase, kBlock, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    if (classes[phase]) self[i] = UnsharpByte(self[i], other[i], row.k, row.limit);
  }
}

// Two samples of b + d * k, clamped to 0 ... 255 and truncated.
IntPair Combine2(IntPair b, IntPair d, DoublePair k) {
  DoublePair x =
      __builtin_convertvector(b, DoublePair) + __builtin_convertvector(d, DoublePair) * k;
  const LongPair below = x < DoublePair{}, above = x >= DoublePair{255, 255};
  x = (DoublePair)(((LongPair)x & ~below & ~above) | ((LongPair)DoublePair{255, 255} & above));
  return __builtin_convertvector(__builtin_convertvector(x, LongPair), IntPair);
}

// Four bytes from the low byte of each 32-bit lane of four vectors, in order.
Bytes Narrow(const Ints (&lanes)[4]) {
  const Words low =
      (Words)__builtin_shufflevector((Words)lanes[0], (Words)lanes[1], 0, 2, 4, 6, 8, 10, 12, 14);
  const Words high =
      (Words)__builtin_shufflevector((Words)lanes[2], (Words)lanes[3], 0, 2, 4, 6, 8, 10, 12, 14);
  return __builtin_shufflevector((Bytes)low, (Bytes)high, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22,
                                 24, 26, 28, 30);
}

// Sixteen bytes as four vectors of 32-bit lanes.
void Widen(Bytes v, Ints (&lanes)[4]) {
  const Words low = (Words)__builtin_shufflevector(v, Bytes{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5,
                                                   21, 6, 22, 7, 23);
  const Words high = (Words)__builtin_shufflevector(v, Bytes{}, 8, 24, 9, 25, 10, 26, 11, 27, 12,
                                                    28, 13, 29, 14, 30, 15, 31);
  lanes[0] = (Ints)__builtin_shufflevector(low, Words{}, 0, 8, 1, 9, 2, 10, 3, 11);
  lanes[1] = (Ints)__builtin_shufflevector(low, Words{}, 4, 12, 5, 13, 6, 14, 7, 15);
  lanes[2] = (Ints)__builtin_shufflevector(high, Words{}, 0, 8, 1, 9, 2, 10, 3, 11);
  lanes[3] = (Ints)__builtin_shufflevector(high, Words{}, 4, 12, 5, 13, 6, 14, 7, 15);
}

void UnsharpDoubleRow(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  const DoublePair k = DoublePair{} + row.k;
  const Ints limit = Ints{} + row.limit;
  const uint8_t* classes = row.pattern->classes;
  const int64_t period = row.pattern->pixelSize;
  int64_t phase = 0, i = 0;
  for (; i + kBlock <= bytes; i += kBlock) {
    const Bytes old = Load(self + i);
    Ints a[4], b[4], out[4];
    Widen(old, a);
    Widen(Load(other + i), b);
    for (int q = 0; q < 4; ++q) {
      const Ints d = a[q] - b[q];
      const Ints sign = d >> 31;
      const Ints keep = ((d ^ sign) - sign) < limit;
      const IntPair low = Combine2(__builtin_shufflevector(b[q], b[q], 0, 1),
                                   __builtin_shufflevector(d, d, 0, 1), k);
      const IntPair high = Combine2(__builtin_shufflevector(b[q], b[q], 2, 3),
                                    __builtin_shufflevector(d, d, 2, 3), k);
      const Ints combined = __builtin_shufflevector(low, high, 0, 1, 2, 3);
      out[q] = (keep & a[q]) | (~keep & combined);
    }
    StoreClasses(self + i, Narrow(out), Load(classes + phase));
    phase = Advance(phase, kBlock, period);
  }
  for (; i < bytes; ++i, phase = Advance(phase, 1, period)) {
    if (classes[phase]) self[i] = UnsharpByte(self[i], other[i], row.k, row.limit);
  }
}

void UnsharpRowKernel(const UnsharpRow& row, const uint8_t* other, uint8_t* self, int64_t bytes) {
  if (row.steps) return UnsharpStepsRow(row, other, self, bytes);
  UnsharpDoubleRow(row, other, self, bytes);
}

}  // namespace

ByteMapRowProc ByteMapRowPortable() { return MapRowKernel; }
DitherRowProc DitherRowPortable() { return DitherRowKernel; }
UnsharpRowProc UnsharpRowPortable() { return UnsharpRowKernel; }
