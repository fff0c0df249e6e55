#include "filters/point_filters.h"

#include <cmath>

#include "filters/filter_simd.h"
#include "plugin/debug_log.h"
#include "plugin/host_arrays.h"

void BuildGammaTable(double gamma, ByteTable& table) {
  double exponent = 1.0 / gamma;
  for (int i = 0; i < 256; ++i) {
    int64_t v = TruncateToInteger(std::pow(i / 255.0, exponent) * 255.0 + 0.5);
    table[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
  }
}

double CombinedGrayGamma(double redGamma, double greenGamma, double blueGamma) {
  // 128-bit sums: the truncated gammas are whatever the application passed.
  __int128 sum = static_cast<__int128>(77) * TruncateToInteger(redGamma) +
                 static_cast<__int128>(151) * TruncateToInteger(greenGamma) +
                 static_cast<__int128>(28) * TruncateToInteger(blueGamma);
  return static_cast<double>(static_cast<int64_t>(sum / 256));
}

void BuildGainTable(double gain, double bias, ByteTable& table) {
  double e = std::log(1 - gain) / -0.6931471805599453;
  double k = 1.0 / bias - 2.0;
  for (int i = 0; i < 256; ++i) {
    double t = i / 255.0;
    double g;
    if (t < 0.001) {
      g = 0;
    } else if (t > 0.999) {
      g = 1.0;
    } else if (t < 0.5) {
      g = std::pow(2 * t, e) * 0.5;
    } else {
      g = 1.0 - std::pow(2 * (1 - t), e) * 0.5;
    }
    double v = g / ((1.0 - g) * k + 1.0) * 255.0;
    // A NaN (gain above 1, bias 0) passes neither comparison and truncates to 0.
    table[i] = v < 0 ? 0 : v > 255 ? 255 : static_cast<uint8_t>(TruncateToInteger(v));
  }
}

void ReadTransferTable(REALarray array, ByteTable& table) {
  for (int i = 0; i < 256; ++i) table[i] = 0;
  int64_t count = ArrayCount(array);
  for (int64_t i = 0; i < count && i < 256; ++i) {
    table[i] = static_cast<uint8_t>(REALGetArrayInt(array, i));
  }
}

// clang-format off
const ByteTable kSolarizeTable = {
    255, 253, 251, 249, 247, 245, 243, 241, 239, 237, 235, 233, 231, 229, 227, 225,
    223, 221, 219, 217, 215, 213, 211, 209, 207, 205, 203, 201, 199, 197, 195, 193,
    191, 189, 187, 185, 183, 180, 179, 177, 175, 173, 171, 169, 167, 164, 163, 161,
    159, 157, 155, 153, 151, 148, 147, 145, 143, 141, 139, 137, 135, 132, 131, 129,
    127, 125, 122, 121, 119, 117, 114, 113, 111, 109, 106, 105, 103, 101,  98,  97,
     95,  93,  90,  89,  87,  85,  82,  81,  79,  77,  74,  73,  71,  69,  66,  65,
     63,  61,  58,  56,  55,  53,  50,  48,  47,  45,  42,  40,  39,  37,  34,  32,
     31,  29,  26,  24,  23,  21,  18,  16,  15,  13,  10,   8,   7,   5,   2,   0,
      0,   2,   4,   6,   9,  11,  13,  15,  16,  18,  20,  22,  25,  27,  29,  31,
     32,  34,  36,  38,  41,  43,  45,  47,  48,  50,  52,  54,  57,  59,  61,  63,
     65,  66,  68,  70,  73,  75,  77,  79,  81,  82,  84,  86,  89,  91,  93,  95,
     97,  98, 100, 102, 105, 107, 109, 111, 113, 114, 116, 118, 121, 123, 125, 127,
    129, 131, 132, 134, 137, 139, 141, 143, 145, 147, 148, 150, 153, 155, 157, 159,
    161, 163, 164, 166, 169, 171, 173, 175, 177, 179, 180, 182, 185, 187, 189, 191,
    193, 195, 196, 198, 201, 203, 205, 207, 209, 211, 212, 214, 217, 219, 221, 223,
    225, 227, 228, 230, 233, 235, 237, 239, 241, 243, 244, 246, 249, 251, 253, 255,
};
// clang-format on

namespace {

// One row of a path with N channels. Channels are read and written one after the other, so a dest
// that shares bytes with the source sees exactly the sequential result.
template <int N>
void MapRow(const uint8_t* from, uint8_t* to, int64_t width, int64_t fromStep, int64_t toStep,
            const int64_t* fromOffsets, const int64_t* toOffsets, const uint8_t* const* tables) {
  int64_t f[N], t[N];
  const uint8_t* lut[N];
  for (int i = 0; i < N; ++i) {
    f[i] = fromOffsets[i];
    t[i] = toOffsets[i];
    lut[i] = tables[i];
  }
  for (int64_t x = 0; x < width; ++x) {
    const uint8_t* pixel = from + x * fromStep;
    uint8_t* out = to + x * toStep;
    for (int i = 0; i < N; ++i) out[t[i]] = lut[i][pixel[f[i]]];
  }
}

using MapRowProc = void (*)(const uint8_t*, uint8_t*, int64_t, int64_t, int64_t, const int64_t*,
                            const int64_t*, const uint8_t* const*);
constexpr MapRowProc kMapRow[6] = {nullptr, MapRow<1>, MapRow<2>, MapRow<3>, MapRow<4>, MapRow<5>};

using C = Channel;
using Paths = MappingPath[kPixelFamilies];

// Indexed by PixelFamily: none, gray, gray+alpha, RGB, RGB+alpha, CMYK, CMYK+alpha.

// One table for the colour channels; alpha not written.
constexpr Paths kOneCurvePaths = {
    {},
    {nullptr, 1, {{C::kGray, 0}}},
    {nullptr, 1, {{C::kGray, 0}}},
    {nullptr, 3, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}}},
    {nullptr, 3, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}}},
    {},
    {},
};

// Table 0 for the colour channels, table 1 for alpha.
constexpr Paths kCurveAndAlphaPaths = {
    {},
    {nullptr, 1, {{C::kGray, 0}}},
    {nullptr, 2, {{C::kGray, 0}, {C::kAlpha, 1}}},
    {nullptr, 3, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}}},
    {nullptr, 4, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}, {C::kAlpha, 1}}},
    {},
    {},
};

// Tables 0-2 for red, green, blue, 3 for alpha; gray images take table `gray`.
constexpr MappingPath GrayPath(uint8_t gray) { return {nullptr, 1, {{C::kGray, gray}}}; }
constexpr MappingPath GrayAlphaPath(uint8_t gray) {
  return {nullptr, 2, {{C::kGray, gray}, {C::kAlpha, 3}}};
}
constexpr MappingPath kRGBPath = {nullptr, 3, {{C::kRed, 0}, {C::kGreen, 1}, {C::kBlue, 2}}};
constexpr MappingPath kRGBAPath = {
    nullptr, 4, {{C::kRed, 0}, {C::kGreen, 1}, {C::kBlue, 2}, {C::kAlpha, 3}}};

// The gamma overloads give gray images the combined gamma (table 3 without alpha, 4 with); the
// transfer overloads give them the green curve (table 1).
constexpr Paths kGammaRGBPaths = {{}, GrayPath(3), GrayPath(3), kRGBPath, kRGBPath, {}, {}};
constexpr Paths kGammaRGBAPaths = {{}, GrayPath(4), GrayAlphaPath(4), kRGBPath, kRGBAPath, {}, {}};
constexpr Paths kTransferRGBPaths = {{}, GrayPath(1), GrayPath(1), kRGBPath, kRGBPath, {}, {}};
constexpr Paths kTransferRGBAPaths = {{}, GrayPath(1), GrayAlphaPath(1), kRGBPath, kRGBAPath,
                                      {}, {}};

// Every channel of the family, alpha included, through table 0.
constexpr Paths kGainPaths = {
    {},
    {"GainFilterG", 1, {{C::kGray, 0}}},
    {"GainFilterGA", 2, {{C::kGray, 0}, {C::kAlpha, 0}}},
    {"GainFilterRGB", 3, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}}},
    {"GainFilterRGBA", 4, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}, {C::kAlpha, 0}}},
    {},
    {},
};
constexpr Paths kSolarizePaths = {
    {},
    {"SolarizeFilterG", 1, {{C::kGray, 0}}},
    {"SolarizeFilterGA", 2, {{C::kGray, 0}, {C::kAlpha, 0}}},
    {"SolarizeFilterRGB", 3, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}}},
    {"SolarizeFilterRGBA", 4, {{C::kRed, 0}, {C::kGreen, 0}, {C::kBlue, 0}, {C::kAlpha, 0}}},
    {"SolarizeFilterCMYK", 4, {{C::kCyan, 0}, {C::kMagenta, 0}, {C::kYellow, 0}, {C::kBlack, 0}}},
    {"SolarizeFilterCMYKA",
     5,
     {{C::kCyan, 0}, {C::kMagenta, 0}, {C::kYellow, 0}, {C::kBlack, 0}, {C::kAlpha, 0}}},
};

const MappingPath& PathFor(const Paths& paths, const ImageClassData* source) {
  return paths[static_cast<int>(FamilyOf(*source))];
}

}  // namespace

bool MapThroughTables(ImageClassData* source, ImageClassData* dest, const MappingPath& path,
                      const ByteTable* tables) {
  int count = path.count;
  if (count < 1 || count > 5) return true;
  ChannelList written;
  int64_t fromOffsets[5], toOffsets[5];
  const uint8_t* luts[5];
  for (int i = 0; i < count; ++i) {
    Channel channel = path.channels[i].channel;
    written.channels[written.count++] = channel;
    fromOffsets[i] = ChannelOffset(*source, channel);
    toOffsets[i] = ChannelOffset(*dest, channel);
    luts[i] = tables[path.channels[i].table];
  }
  if (!DestinationFits(*source, *dest, written)) return false;
  if (path.label) DebugLog(path.label);

  MapRowProc mapRow = kMapRow[count];
  int64_t width = source->Width;
  int64_t fromStep = source->PixelSize, toStep = dest->PixelSize;

  // The vector kernels want the path's distinct tables back to back and each byte position's
  // table; rows they cannot take go through the plain loop.
  ByteMapRowProc vectorRow = ActiveByteMapRow();
  alignas(64) uint8_t block[5 * 256 + kTableSlack] = {};
  BytePattern pattern;
  ByteMapRow plan{&pattern, block, 0};
  if (vectorRow) {
    uint8_t classes[5], distinct[5];
    for (int i = 0; i < count; ++i) {
      int j = 0;
      while (j < plan.tableCount && distinct[j] != path.channels[i].table) ++j;
      if (j == plan.tableCount) {
        distinct[j] = path.channels[i].table;
        for (int v = 0; v < 256; ++v) block[256 * j + v] = luts[i][v];
        ++plan.tableCount;
      }
      classes[i] = static_cast<uint8_t>(j + 1);
    }
    if (!VectorLayout(*source, *dest, count, fromOffsets, toOffsets, classes, pattern)) {
      vectorRow = nullptr;
    }
  }
  ForEachFilterRow(source, dest, [&](int64_t, const uint8_t* from, uint8_t* to) {
    int64_t bytes = width * fromStep;
    if (vectorRow && RowsSafeForVectors(from, to, bytes)) {
      vectorRow(plan, from, to, bytes);
    } else {
      mapRow(from, to, width, fromStep, toStep, fromOffsets, toOffsets, luts);
    }
  });
  return true;
}

bool rbGammaFilterG(ImageClassData* source, ImageClassData* dest, double gamma) {
  ByteTable tables[1];
  BuildGammaTable(gamma, tables[0]);
  return MapThroughTables(source, dest, PathFor(kOneCurvePaths, source), tables);
}

bool rbGammaFilterGA(ImageClassData* source, ImageClassData* dest, double gamma,
                     double alphaGamma) {
  ByteTable tables[2];
  BuildGammaTable(gamma, tables[0]);
  BuildGammaTable(alphaGamma, tables[1]);
  return MapThroughTables(source, dest, PathFor(kCurveAndAlphaPaths, source), tables);
}

bool rbGammaFilterRGB(ImageClassData* source, ImageClassData* dest, double redGamma,
                      double greenGamma, double blueGamma) {
  ByteTable tables[4];
  BuildGammaTable(redGamma, tables[0]);
  BuildGammaTable(greenGamma, tables[1]);
  BuildGammaTable(blueGamma, tables[2]);
  BuildGammaTable(CombinedGrayGamma(redGamma, greenGamma, blueGamma), tables[3]);
  return MapThroughTables(source, dest, PathFor(kGammaRGBPaths, source), tables);
}

bool rbGammaFilterRGBA(ImageClassData* source, ImageClassData* dest, double redGamma,
                       double greenGamma, double blueGamma, double alphaGamma) {
  ByteTable tables[5];
  BuildGammaTable(redGamma, tables[0]);
  BuildGammaTable(greenGamma, tables[1]);
  BuildGammaTable(blueGamma, tables[2]);
  BuildGammaTable(alphaGamma, tables[3]);
  BuildGammaTable(CombinedGrayGamma(redGamma, greenGamma, blueGamma), tables[4]);
  return MapThroughTables(source, dest, PathFor(kGammaRGBAPaths, source), tables);
}

bool rbGainFilter(ImageClassData* source, ImageClassData* dest, double gain, double bias) {
  ByteTable tables[1];
  BuildGainTable(gain, bias, tables[0]);
  return MapThroughTables(source, dest, PathFor(kGainPaths, source), tables);
}

bool rbTransferFilterG(ImageClassData* source, ImageClassData* dest, REALarray gray) {
  ByteTable tables[1];
  ReadTransferTable(gray, tables[0]);
  return MapThroughTables(source, dest, PathFor(kOneCurvePaths, source), tables);
}

bool rbTransferFilterGA(ImageClassData* source, ImageClassData* dest, REALarray gray,
                        REALarray alpha) {
  ByteTable tables[2];
  ReadTransferTable(gray, tables[0]);
  ReadTransferTable(alpha, tables[1]);
  return MapThroughTables(source, dest, PathFor(kCurveAndAlphaPaths, source), tables);
}

bool rbTransferFilterRGB(ImageClassData* source, ImageClassData* dest, REALarray red,
                         REALarray green, REALarray blue) {
  ByteTable tables[3];
  ReadTransferTable(red, tables[0]);
  ReadTransferTable(green, tables[1]);
  ReadTransferTable(blue, tables[2]);
  return MapThroughTables(source, dest, PathFor(kTransferRGBPaths, source), tables);
}

bool rbTransferFilterRGBA(ImageClassData* source, ImageClassData* dest, REALarray red,
                          REALarray green, REALarray blue, REALarray alpha) {
  ByteTable tables[4];
  ReadTransferTable(red, tables[0]);
  ReadTransferTable(green, tables[1]);
  ReadTransferTable(blue, tables[2]);
  ReadTransferTable(alpha, tables[3]);
  return MapThroughTables(source, dest, PathFor(kTransferRGBAPaths, source), tables);
}

bool rbSolarizeFilter(ImageClassData* source, ImageClassData* dest) {
  return MapThroughTables(source, dest, PathFor(kSolarizePaths, source), &kSolarizeTable);
}

// The members: the frame around the work. GammaFilterG, GainFilter, TransferFilterG and
// SolarizeFilter refuse 16-bit sources; the other overloads read their first byte as 8-bit gray.

REALobject GammaFilterG(REALobject instance, REALobject dest, double gamma) {
  return RunFilter(
      instance, dest, "GammaFilterG", SourceBits::kEightOnly,
      [&](ImageClassData* s, ImageClassData* d) { return rbGammaFilterG(s, d, gamma); });
}

REALobject GammaFilterGA(REALobject instance, REALobject dest, double gamma, double alphaGamma) {
  return RunFilter(instance, dest, "GammaFilterGA", SourceBits::kAny,
                   [&](ImageClassData* s, ImageClassData* d) {
                     return rbGammaFilterGA(s, d, gamma, alphaGamma);
                   });
}

REALobject GammaFilterRGB(REALobject instance, REALobject dest, double redGamma, double greenGamma,
                          double blueGamma) {
  return RunFilter(instance, dest, "GammaFilterRGB", SourceBits::kAny,
                   [&](ImageClassData* s, ImageClassData* d) {
                     return rbGammaFilterRGB(s, d, redGamma, greenGamma, blueGamma);
                   });
}

REALobject GammaFilterRGBA(REALobject instance, REALobject dest, double redGamma, double greenGamma,
                           double blueGamma, double alphaGamma) {
  return RunFilter(instance, dest, "GammaFilterRGBA", SourceBits::kAny,
                   [&](ImageClassData* s, ImageClassData* d) {
                     return rbGammaFilterRGBA(s, d, redGamma, greenGamma, blueGamma, alphaGamma);
                   });
}

REALobject GainFilter(REALobject instance, REALobject dest, double gain, double bias) {
  if (Debugging()) LogMessageX("%s%s %f, %f", kDebugPrefix, "GainFilter", gain * 1000, bias * 1000);
  return RunFilter(
      instance, dest, nullptr, SourceBits::kEightOnly,
      [&](ImageClassData* s, ImageClassData* d) { return rbGainFilter(s, d, gain, bias); });
}

REALobject TransferFilterG(REALobject instance, REALobject dest, REALarray gray) {
  return RunFilter(
      instance, dest, "TransferFilterG", SourceBits::kEightOnly,
      [&](ImageClassData* s, ImageClassData* d) { return rbTransferFilterG(s, d, gray); });
}

REALobject TransferFilterGA(REALobject instance, REALobject dest, REALarray gray, REALarray alpha) {
  return RunFilter(
      instance, dest, "TransferFilterGA", SourceBits::kAny,
      [&](ImageClassData* s, ImageClassData* d) { return rbTransferFilterGA(s, d, gray, alpha); });
}

REALobject TransferFilterRGB(REALobject instance, REALobject dest, REALarray red, REALarray green,
                             REALarray blue) {
  return RunFilter(instance, dest, "TransferFilterRGB", SourceBits::kAny,
                   [&](ImageClassData* s, ImageClassData* d) {
                     return rbTransferFilterRGB(s, d, red, green, blue);
                   });
}

REALobject TransferFilterRGBA(REALobject instance, REALobject dest, REALarray red, REALarray green,
                              REALarray blue, REALarray alpha) {
  return RunFilter(instance, dest, "TransferFilterRGBA", SourceBits::kAny,
                   [&](ImageClassData* s, ImageClassData* d) {
                     return rbTransferFilterRGBA(s, d, red, green, blue, alpha);
                   });
}

REALobject SolarizeFilter(REALobject instance, REALobject dest) {
  return RunFilter(instance, dest, "SolarizeFilter", SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) { return rbSolarizeFilter(s, d); });
}
