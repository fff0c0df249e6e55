#include "filters/dither.h"

#include "filters/filter_frame.h"
#include "filters/filter_simd.h"
#include "plugin/debug_log.h"

namespace {

// The matrices in program order. DitherOrdered6x6Matrix and DitherOrdered8x8Matrix are larger
// tables read with a smaller side: only their first 36 and 64 entries are ever read (the 8 x 8
// one is stored only that far).
constexpr int64_t kMagic2x2[] = {0, 2, 3, 1};
constexpr int64_t kMagic4x4[] = {0, 14, 3, 13, 11, 5, 8, 6, 12, 2, 15, 1, 7, 9, 4, 10};
constexpr int64_t kOrdered4x4[] = {0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5};
constexpr int64_t kLines4x4[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
// Row 5 repeats 25 and 33 and holds 36: the table is kept as it has always been.
constexpr int64_t k90Halftone6x6[] = {29, 18, 12, 19, 30, 34, 17, 7,  4,  8,  20, 28,
                                      11, 3,  0,  1,  9,  27, 16, 6,  2,  5,  13, 26,
                                      25, 15, 10, 14, 21, 31, 33, 25, 24, 23, 33, 36};
constexpr int64_t kOrdered6x6[] = {1,  59, 15, 55, 2,  56, 12, 52, 33, 17, 47, 31, 34, 18, 44, 28,
                                   9,  49, 5,  63, 10, 50, 6,  60, 41, 25, 37, 21, 42, 26, 38, 22,
                                   3,  57, 13, 53, 0,  58, 14, 54, 35, 19, 45, 29, 32, 16, 46, 30,
                                   11, 51, 7,  61, 8,  48, 4,  62, 43, 27, 39, 23, 40, 24, 36, 20};
constexpr int64_t kOrdered8x8[] = {1,   235, 59,  219, 15,  231, 55,  215, 2,   232, 56,  216, 12,
                                   228, 52,  212, 129, 65,  187, 123, 143, 79,  183, 119, 130, 66,
                                   184, 120, 140, 76,  180, 116, 33,  193, 17,  251, 47,  207, 31,
                                   247, 34,  194, 18,  248, 44,  204, 28,  244, 161, 97,  145, 81,
                                   175, 111, 159, 95,  162, 98,  146, 82,  172, 108, 156, 92};
constexpr int64_t kCluster3[] = {9,  11, 10, 8,  6,  7,  12, 17, 16, 5,  0,  1,
                                 13, 14, 15, 4,  3,  2,  8,  6,  7,  9,  11, 10,
                                 5,  0,  1,  12, 17, 16, 4,  3,  2,  13, 14, 15};
constexpr int64_t kCluster4[] = {18, 20, 19, 16, 13, 11, 12, 15, 27, 28, 29, 22, 4,  3,  2,  9,
                                 26, 31, 30, 21, 5,  0,  1,  10, 23, 25, 24, 17, 8,  6,  7,  14,
                                 13, 11, 12, 15, 18, 20, 19, 16, 4,  3,  2,  9,  27, 28, 29, 22,
                                 5,  0,  1,  10, 26, 31, 30, 21, 8,  6,  7,  14, 23, 25, 24, 17};
// clang-format off
constexpr int64_t kCluster8[] = {
     64,  69,  77,  87,  86,  76,  68,  67,  63,  58,  50,  40,  41,  51,  59,  60,
     70,  94, 100, 109, 108,  99,  93,  75,  57,  33,  27,  18,  19,  28,  34,  52,
     78, 101, 114, 116, 115, 112,  98,  83,  49,  26,  13,  11,  12,  15,  29,  44,
     88, 110, 123, 124, 125, 118, 107,  85,  39,  17,   4,   3,   2,   9,  20,  42,
     89, 111, 122, 127, 126, 117, 106,  84,  38,  16,   5,   0,   1,  10,  21,  43,
     79, 102, 119, 121, 120, 113,  97,  82,  48,  25,   8,   6,   7,  14,  30,  45,
     71,  95, 103, 104, 105,  96,  92,  74,  56,  32,  24,  23,  22,  31,  35,  53,
     65,  72,  80,  90,  91,  81,  73,  66,  62,  55,  47,  37,  36,  46,  54,  61,
     63,  58,  50,  40,  41,  51,  59,  60,  64,  69,  77,  87,  86,  76,  68,  67,
     57,  33,  27,  18,  19,  28,  34,  52,  70,  94, 100, 109, 108,  99,  93,  75,
     49,  26,  13,  11,  12,  15,  29,  44,  78, 101, 114, 116, 115, 112,  98,  83,
     39,  17,   4,   3,   2,   9,  20,  42,  88, 110, 123, 124, 125, 118, 107,  85,
     38,  16,   5,   0,   1,  10,  21,  43,  89, 111, 122, 127, 126, 117, 106,  84,
     48,  25,   8,   6,   7,  14,  30,  45,  79, 102, 119, 121, 120, 113,  97,  82,
     56,  32,  24,  23,  22,  31,  35,  53,  71,  95, 103, 104, 105,  96,  92,  74,
     62,  55,  47,  37,  36,  46,  54,  61,  65,  72,  80,  90,  91,  81,  73,  66,
};
// clang-format on

// Indexed by code - 1.
constexpr const int64_t* kMatrices[10] = {kMagic2x2,      kMagic4x4,   kOrdered4x4, kLines4x4,
                                          k90Halftone6x6, kOrdered6x6, kOrdered8x8, kCluster3,
                                          kCluster4,      kCluster8};
// Indexed by code.
constexpr int64_t kSides[11] = {0, 2, 4, 4, 4, 6, 6, 8, 6, 8, 16};

constexpr int kMaxSide = 16;

// One channel list per family: gray, gray and alpha, red, green, blue, and those with alpha.
struct DitherPath {
  const char* label;
  PixelFamily family;
};
constexpr DitherPath kPaths[] = {
    {"DitherFilterG", PixelFamily::kGray},
    {"DitherFilterGA", PixelFamily::kGrayAlpha},
    {"DitherFilterRGB", PixelFamily::kRGB},
    {"DitherFilterRGBA", PixelFamily::kRGBA},
};

// The levels of step 4 and 5 for every source value v: L[D[v]], L[D[v] + 1] and F[v].
struct DitherLevels {
  uint8_t lowered[256];
  uint8_t raised[256];
  int64_t scaled[256];
};

void BuildLevels(int64_t n, int64_t levels, DitherLevels& out) {
  // 128-bit products: levels is the application's and may be anything from 2 up.
  __int128 top = static_cast<__int128>(levels) - 1;
  auto level = [&](__int128 k) { return static_cast<uint8_t>(k * 255 / top); };
  int64_t spread = (n * n) | 1;
  for (int v = 0; v < 256; ++v) {
    __int128 d = v * top / 256;
    out.lowered[v] = level(d);
    out.raised[v] = level(d + 1);
    out.scaled[v] = (v * spread) >> 8;
  }
}

// Output byte for every matrix cell and source value: cells[r * n + c][v].
using CellTables = uint8_t[kMaxSide * kMaxSide][256];

void BuildCellTables(const int64_t* matrix, int64_t n, const DitherLevels& levels,
                     CellTables& cells) {
  for (int64_t cell = 0; cell < n * n; ++cell) {
    int64_t threshold = matrix[cell];
    // Raised where the scaled value does not exceed the threshold: dark areas come out light.
    for (int v = 0; v < 256; ++v) {
      cells[cell][v] = levels.scaled[v] <= threshold ? levels.raised[v] : levels.lowered[v];
    }
  }
}

// What the vector kernels need: the lowered and raised levels side by side, and for every matrix
// row the thresholds of a row of pixels byte by byte, each turned into the largest source value
// that is raised (F grows with v and F[0] = 0, so F[v] <= t exactly when v <= that value).
struct DitherVectors {
  BytePattern pattern;
  alignas(64) uint8_t levels[512 + kTableSlack];
  uint8_t outputs[256];
  int64_t top;
  uint8_t thresholds[kMaxSide][kMaxSide * kMaxVectorPixel + kPatternSlack];
  int64_t period;
};

void BuildVectors(const int64_t* matrix, int64_t n, int64_t count, const DitherLevels& levels,
                  DitherVectors& out) {
  // Up to 256 levels the kernels may also compute D[v] and look the level up once.
  out.top = count <= 256 ? count - 1 : 0;
  for (int64_t k = 0; k < 256; ++k) {
    out.outputs[k] = out.top ? static_cast<uint8_t>(k <= out.top ? k * 255 / out.top : 0) : 0;
  }
  for (int v = 0; v < 256; ++v) {
    out.levels[2 * v] = levels.lowered[v];
    out.levels[2 * v + 1] = levels.raised[v];
  }
  int64_t size = out.pattern.pixelSize;
  out.period = n * size;
  for (int64_t r = 0; r < n; ++r) {
    for (int64_t i = 0; i < out.period + kPatternSlack; ++i) {
      int64_t threshold = matrix[r * n + (i / size) % n];
      int top = 0;
      while (top < 255 && levels.scaled[top + 1] <= threshold) ++top;
      out.thresholds[r][i] = static_cast<uint8_t>(top);
    }
  }
}

template <int N>
void DitherRows(ImageClassData* source, ImageClassData* dest, const int64_t* fromOffsets,
                const int64_t* toOffsets, int64_t n, const CellTables& cells,
                DitherRowProc vectorRow, const DitherVectors& vectors) {
  int64_t f[N], t[N];
  for (int i = 0; i < N; ++i) {
    f[i] = fromOffsets[i];
    t[i] = toOffsets[i];
  }
  int64_t width = source->Width;
  int64_t fromStep = source->PixelSize, toStep = dest->PixelSize;
  ForEachFilterRow(source, dest, [&](int64_t y, const uint8_t* from, uint8_t* to) {
    if (vectorRow && RowsSafeForVectors(from, to, width * fromStep)) {
      DitherRow row{&vectors.pattern,
                    vectors.levels,
                    vectors.thresholds[y % n],
                    vectors.period,
                    vectors.top ? vectors.outputs : nullptr,
                    vectors.top};
      vectorRow(row, from, to, width * fromStep);
      return;
    }
    const uint8_t(*rowCells)[256] = cells + (y % n) * n;
    int64_t column = 0;
    for (int64_t x = 0; x < width; ++x) {
      const uint8_t* table = rowCells[column];
      if (++column == n) column = 0;
      const uint8_t* pixel = from + x * fromStep;
      uint8_t* out = to + x * toStep;
      // One threshold for all channels of the pixel.
      for (int i = 0; i < N; ++i) out[t[i]] = table[pixel[f[i]]];
    }
  });
}

}  // namespace

const int64_t* DitherMatrix(int64_t code) {
  return code >= 1 && code <= 10 ? kMatrices[code - 1] : nullptr;
}

int64_t DitherMatrixSide(int64_t code) { return code >= 1 && code <= 10 ? kSides[code] : 0; }

bool rbDitherFilter(ImageClassData* source, ImageClassData* dest, int64_t matrix, int64_t levels) {
  PixelFamily family = FamilyOf(*source);
  const DitherPath* path = nullptr;
  for (const DitherPath& candidate : kPaths) {
    if (candidate.family == family) path = &candidate;
  }
  if (!path) return true;
  DebugLog(path->label);
  const int64_t* thresholds = DitherMatrix(matrix);
  if (!thresholds) return true;
  if (levels < 2) {
    // One level would divide by zero and fewer give negative levels.
    DebugLog("Levels below 2 not supported.", static_cast<long long>(levels));
    return false;
  }
  ChannelList channels = FamilyChannelList(family);
  if (!DestinationFits(*source, *dest, channels)) return false;

  int64_t fromOffsets[4], toOffsets[4];
  for (int i = 0; i < channels.count; ++i) {
    fromOffsets[i] = ChannelOffset(*source, channels.channels[i]);
    toOffsets[i] = ChannelOffset(*dest, channels.channels[i]);
  }
  int64_t n = DitherMatrixSide(matrix);
  DitherLevels table;
  BuildLevels(n, levels, table);
  CellTables cells;
  BuildCellTables(thresholds, n, table, cells);

  DitherRowProc vectorRow = ActiveDitherRow();
  DitherVectors vectors;
  const uint8_t classes[4] = {1, 1, 1, 1};
  if (vectorRow && VectorLayout(*source, *dest, channels.count, fromOffsets, toOffsets, classes,
                                vectors.pattern)) {
    BuildVectors(thresholds, n, levels, table, vectors);
  } else {
    vectorRow = nullptr;
  }
  switch (channels.count) {
    case 1:
      DitherRows<1>(source, dest, fromOffsets, toOffsets, n, cells, vectorRow, vectors);
      break;
    case 2:
      DitherRows<2>(source, dest, fromOffsets, toOffsets, n, cells, vectorRow, vectors);
      break;
    case 3:
      DitherRows<3>(source, dest, fromOffsets, toOffsets, n, cells, vectorRow, vectors);
      break;
    default:
      DitherRows<4>(source, dest, fromOffsets, toOffsets, n, cells, vectorRow, vectors);
      break;
  }
  return true;
}

REALobject DitherFilter(REALobject instance, REALobject dest, int64_t matrix, int64_t levels) {
  return RunFilter(
      instance, dest, "DitherFilter", SourceBits::kEightOnly,
      [&](ImageClassData* s, ImageClassData* d) { return rbDitherFilter(s, d, matrix, levels); });
}
