// The filters' tables, the transfer overloads (whose host arrays the typed calls of the emulated
// host cannot pass), dither and unsharp on one-colour images worked out by hand, with the plug-in
// linked in and started by the emulated host; and the box blurs' division.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "filters/area_filters.h"
#include "filters/dither.h"
#include "filters/filter_frame.h"
#include "filters/point_filters.h"
#include "filters/unsharp.h"
#include "host/emulated_host.h"
#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/log_capture.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Ref;

class FilterUnits : public StaticPluginTest {
 protected:
  Ref Filled(int64_t format, uint8_t value, int64_t width = 5, int64_t height = 3) {
    Ref image = NewImage(width, height, format);
    FillBytes(image, value);
    return image;
  }
};

TEST(FilterTables, TruncationSaturatesAndDropsNaN) {
  EXPECT_EQ(TruncateToInteger(2.99), 2);
  EXPECT_EQ(TruncateToInteger(-2.99), -2);
  EXPECT_EQ(TruncateToInteger(std::numeric_limits<double>::infinity()), INT64_MAX);
  EXPECT_EQ(TruncateToInteger(-std::numeric_limits<double>::infinity()), INT64_MIN);
  EXPECT_EQ(TruncateToInteger(1e300), INT64_MAX);
  EXPECT_EQ(TruncateToInteger(std::nan("")), 0);
}

TEST(FilterTables, GammaEntries) {
  ByteTable table;
  BuildGammaTable(2.0, table);
  EXPECT_EQ(table[64], 128);  // sqrt(64 / 255) * 255 = 127.75
  EXPECT_EQ(table[0], 0);
  EXPECT_EQ(table[255], 255);
  BuildGammaTable(1.0, table);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(table[i], i);
  // Gamma 0: an infinite exponent keeps 255 only. Gamma -1 gives 255 x 255 / i, at least 255, and
  // sends 0 to +inf, which clamps too.
  BuildGammaTable(0.0, table);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(table[i], i == 255 ? 255 : 0) << i;
  BuildGammaTable(-1.0, table);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(table[i], 255) << i;
}

TEST(FilterTables, CombinedGrayGammaTruncatesEachGammaAndTheSum) {
  EXPECT_EQ(CombinedGrayGamma(2.2, 2.2, 2.2), 2.0);
  EXPECT_EQ(CombinedGrayGamma(0.99, 0.5, 0.1), 0.0);
  EXPECT_EQ(CombinedGrayGamma(1.0, 1.0, 1.0), 1.0);
  EXPECT_EQ(CombinedGrayGamma(4.0, 0.0, 0.0), 1.0);  // 308 / 256
  EXPECT_EQ(CombinedGrayGamma(3.0, 0.0, 0.0), 0.0);  // 231 / 256
  EXPECT_EQ(CombinedGrayGamma(-4.0, 0.0, 0.0), -1.0);
  EXPECT_EQ(CombinedGrayGamma(1e300, 1e300, 1e300), static_cast<double>(INT64_MAX));
}

TEST(FilterTables, GainEnds) {
  ByteTable table;
  for (double gain : {0.1, 0.5, 0.9}) {
    for (double bias : {0.1, 0.5, 0.9}) {
      BuildGainTable(gain, bias, table);
      EXPECT_EQ(table[0], 0);
      EXPECT_EQ(table[255], 255);
      for (int i = 1; i < 256; ++i) EXPECT_GE(table[i], table[i - 1]) << gain << " " << bias;
    }
  }
  // Gain 1 makes a step at the middle; above 1 the curve is undefined and gives 0.
  BuildGainTable(1.0, 0.5, table);
  EXPECT_EQ(table[127], 0);
  EXPECT_EQ(table[128], 255);
  BuildGainTable(1.5, 0.5, table);
  EXPECT_EQ(table[100], 0);
  EXPECT_EQ(table[255], 255);
  // Gain and bias 0.5 are the identity up to truncation.
  BuildGainTable(0.5, 0.5, table);
  for (int i = 0; i < 256; ++i) EXPECT_TRUE(table[i] == i || table[i] == i - 1) << i;
  // Bias 0.25 gives t / (2 (1 - t) + 1) x 255: 128 / 255 = 0.50196 gives 64.12, truncated 64.
  BuildGainTable(0.5, 0.25, table);
  EXPECT_EQ(table[128], 64);
}

TEST(FilterTables, SolarizeShape) {
  EXPECT_EQ(kSolarizeTable[0], 255);
  EXPECT_EQ(kSolarizeTable[127], 0);
  EXPECT_EQ(kSolarizeTable[128], 0);
  EXPECT_EQ(kSolarizeTable[255], 255);
  for (int i = 1; i < 128; ++i) EXPECT_LE(kSolarizeTable[i], kSolarizeTable[i - 1]);
  for (int i = 129; i < 256; ++i) EXPECT_GE(kSolarizeTable[i], kSolarizeTable[i - 1]);
  // The printed table is not symmetric; spot values from its rows.
  EXPECT_EQ(kSolarizeTable[37], 180);
  EXPECT_EQ(kSolarizeTable[66], 122);
  EXPECT_EQ(kSolarizeTable[132], 9);
  EXPECT_EQ(kSolarizeTable[250], 244);
}

// Sums of the n x n entries read, and of entry index times entry, added up from the printed tables.
TEST(FilterTables, DitherMatricesAsPrinted) {
  const int64_t expected[11][4] = {
      // side, sum, weighted sum, largest
      {0, 0, 0, 0},       {2, 6, 11, 3},       {4, 120, 900, 15},        {4, 120, 996, 15},
      {4, 120, 1240, 15}, {6, 635, 12146, 36}, {6, 1134, 20074, 63},     {8, 8160, 258736, 251},
      {6, 306, 5355, 17}, {8, 992, 31248, 31}, {16, 16256, 2072640, 127}};
  for (int64_t code = 1; code <= 10; ++code) {
    int64_t n = DitherMatrixSide(code);
    ASSERT_EQ(n, expected[code][0]) << code;
    const int64_t* m = DitherMatrix(code);
    int64_t sum = 0, weighted = 0, largest = 0;
    for (int64_t i = 0; i < n * n; ++i) {
      sum += m[i];
      weighted += i * m[i];
      largest = std::max(largest, m[i]);
    }
    EXPECT_EQ((std::vector<int64_t>{n, sum, weighted, largest}),
              std::vector<int64_t>(expected[code], expected[code] + 4))
        << code;
  }
  EXPECT_EQ(DitherMatrix(0), nullptr);
  EXPECT_EQ(DitherMatrix(11), nullptr);
  EXPECT_EQ(DitherMatrixSide(11), 0);
}

TEST(FilterTables, UnsharpTable) {
  static uint8_t table[65536];
  BuildUnsharpTable(1.0, 0, table);
  EXPECT_EQ(table[200 * 256 + 100], 255);
  EXPECT_EQ(table[100 * 256 + 200], 0);
  EXPECT_EQ(table[101 * 256 + 100], 105);  // 100 + 1 * 5
  EXPECT_EQ(table[99 * 256 + 100], 95);
  // Truncation toward zero before clamping: 3 - 1 * 2.5 = 0.5 -> 0; 2 + 1 * 2.5 = 4.5 -> 4.
  BuildUnsharpTable(0.375, 0, table);
  EXPECT_EQ(table[2 * 256 + 3], 0);
  EXPECT_EQ(table[3 * 256 + 2], 4);
  BuildUnsharpTable(0.0, 256, table);
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(table[i], i >> 8);
  // A NaN amount maps every difference at or above the threshold to 0.
  BuildUnsharpTable(std::nan(""), 1, table);
  EXPECT_EQ(table[5 * 256 + 5], 5);
  EXPECT_EQ(table[6 * 256 + 5], 0);
}

// Which channel takes which array, per overload and family, on a ramp into a dest of 77 in every
// byte: red, green, blue, gray and alpha hold the curve of their column at the pixel's index (none:
// the byte stays). The curves are the arrays' low bytes, zero past the end of the green one, and
// of the alpha one, 300 long, the first 256 entries with no index error raised; gray images take
// the green curve from the colour overloads, a nil or empty array is the zero curve, and CMYK is
// left alone.
TEST_F(FilterUnits, TransferOverloadsByFamily) {
  std::vector<int64_t> up(256), down(256), third(256), alpha(300), zero(256);
  for (int i = 0; i < 300; ++i) alpha[i] = i ^ 0x55;
  for (int i = 0; i < 256; ++i) {
    up[i] = i + 1;  // 255 + 1 is 0 in its low byte
    down[i] = i < 200 ? 255 - i : 0;
    third[i] = i / 3 - 80;  // -80 is 176
  }
  Ref rArray = host_.NewIntegerArray(up);
  Ref gArray = host_.NewIntegerArray(std::vector<int64_t>(down.begin(), down.begin() + 200));
  Ref bArray = host_.NewIntegerArray(third), aArray = host_.NewIntegerArray(alpha);
  Ref empty = host_.NewIntegerArray({});
  REALobject r = rArray.get(), g = gArray.get(), b = bArray.get(), a = aArray.get();
  auto *u = &up, *d = &down, *t = &third, *al = &alpha, *z = &zero;
  decltype(u) none = nullptr;
  const struct {
    int arrays;  // the overload of one (G, with `first`), two (GA), three (RGB) or four (RGBA)
    REALobject first;
    int64_t format;
    const std::vector<int64_t>* want[5];  // red, green, blue, gray, alpha
  } cases[] = {
      {1, r, kRGBA, {u, u, u, none, none}},
      {2, g, kRGBA, {d, d, d, none, al}},
      {3, r, kRGBA, {u, d, t, none, none}},
      {4, r, kRGBA, {u, d, t, none, al}},
      {1, r, kGA, {none, none, none, u, none}},
      {1, nullptr, kGA, {none, none, none, z, none}},
      {1, empty.get(), kGA, {none, none, none, z, none}},
      {3, r, kGA, {none, none, none, d, none}},
      {4, r, kGA, {none, none, none, d, al}},
      {4, r, kCMYK, {none, none, none, none, none}},
  };
  const Channel channels[5] = {Channel::kRed, Channel::kGreen, Channel::kBlue, Channel::kGray,
                               Channel::kAlpha};
  for (const auto& c : cases) {
    // Every byte of a pixel holds the pixel's index, so 16 x 16 covers all values.
    Ref source = NewImage(16, 16, c.format), dest = Filled(c.format, 77, 16, 16);
    for (int v = 0; v < 256; ++v)
      std::memset(Pixel(source, v % 16, v / 16), v, source.Get<int64_t>("PixelSize"));
    REALobject s = source.get(), o = dest.get();
    Ref result;
    host_.RunAsPluginCall([&] {
      result = Ref::Adopt(c.arrays == 1   ? TransferFilterG(s, o, c.first)
                          : c.arrays == 2 ? TransferFilterGA(s, o, g, a)
                          : c.arrays == 3 ? TransferFilterRGB(s, o, r, g, b)
                                          : TransferFilterRGBA(s, o, r, g, b, a));
    });
    ASSERT_EQ(result.get(), dest.get());
    const ImageClassData& data = *ImageData(dest.get());
    for (int v = 0; v < 256; ++v) {
      for (int64_t i = 0; i < data.PixelSize; ++i) {
        uint8_t want = 77;
        for (int k = 0; k < 5; ++k) {
          if (c.want[k] && ChannelOffset(data, channels[k]) == i) want = uint8_t((*c.want[k])[v]);
        }
        ASSERT_EQ(Pixel(dest, v % 16, v / 16)[i], want)
            << "format " << c.format << " at " << v << " byte " << i;
      }
    }
  }
}

// The debug trace: the gain and bias logged in thousandths, the refusal's reason, and the
// unsharp arguments before both images are started.
TEST_F(FilterUnits, DebugLinesOfGainAndUnsharp) {
  auto debug = [](std::vector<std::string> lines) {
    for (std::string& line : lines) line = "XQT Debug: " + line + "\n";
    return lines;
  };
  Ref source = NewImage(4, 2, kRGB), other = NewImage(4, 2, kRGB), wide = NewImage(4, 2, kGray16);
  LogCapture gain;
  EXPECT_EQ(GainFilter(wide.get(), nullptr, 0.25, 0.5), nullptr);
  EXPECT_EQ(gain.lines(),
            debug({"GainFilter 250.000000, 500.000000", "BitsPerComponent > 8 not supported."}));
  LogCapture unsharp;
  EXPECT_TRUE(UnsharpFilter(source.get(), other.get(), 0.5, 3));
  EXPECT_EQ(unsharp.lines(), debug({"unsharpFilter", "pAmount 0.500000", "pThreshold 3",
                                    "StartImage ok", "StartImage ok", "unsharpFilterRGB"}));
}

// Matrix 1 is 2 x 2 (n * n | 1 = 5). At two levels, 100 gives level 100 * 1 / 256 = 0 and
// f = 100 * 5 >> 8 = 1, raised to level 1 (255) wherever the matrix entry is at least 1. At three
// levels, 200 gives level 1 (127) and f = 3, raised to 255 only where the entry is 3. Every channel
// and the alpha is written; the destination's padding and CMYK images keep their bytes (7).
TEST_F(FilterUnits, DitherOfOneColourByHand) {
  const int64_t* m = DitherMatrix(1);  // 2 x 2
  const struct {
    int64_t format;
    uint8_t value;
    int64_t levels, raisedFrom;
    uint8_t low, high;
  } cases[] = {{kRGBA, 100, 2, 1, 0, 255},
               {kGA, 100, 2, 1, 0, 255},
               {kRGBX, 200, 3, 3, 127, 255},
               {kG, 200, 3, 3, 127, 255},
               {kCMYKA, 100, 2, 256, 7, 7}};
  for (const auto& c : cases) {
    Ref source = Filled(c.format, c.value), dest = Filled(c.format, 7);
    Ref result = Ref::Adopt(DitherFilter(source.get(), dest.get(), 1, c.levels));
    ASSERT_EQ(result.get(), dest.get());
    for (int64_t p = 0; p < 15 * ImageData(dest.get())->PixelSize; ++p) {
      const int64_t size = ImageData(dest.get())->PixelSize, x = p / size % 5, y = p / size / 5;
      const uint8_t want = m[(y % 2) * 2 + x % 2] >= c.raisedFrom ? c.high : c.low;
      EXPECT_EQ(Pixel(dest, x, y)[p % size], c.format == kRGBX && p % size == 3 ? 7 : want)
          << "format " << c.format << " at " << x << "," << y << " byte " << p % size;
    }
  }
}

// Amount 0.1 is a factor of 1.4: 95 over 90 differs by 5, at or over the threshold of 3, and
// becomes trunc(90 + 5 * 1.4) = 97. CMYK without alpha maps the byte at its AlphaOffset 0 (cyan,
// or black in KYMC) once more after the inks: trunc(90 + 7 * 1.4) = 99. Padding stays.
TEST_F(FilterUnits, UnsharpOfOneColourByHand) {
  for (int64_t format : {kRGBA, kRGBX, kG, kGA, kCMYK, kKYMC, kCMYKA}) {
    Ref self = Filled(format, 95), other = Filled(format, 90);
    EXPECT_TRUE(UnsharpFilter(self.get(), other.get(), 0.1, 3));
    ImageClassData* s = ImageData(self.get());
    for (int64_t i = 0; i < s->PixelSize; ++i) {
      uint8_t want = 97;
      if (format == kRGBX && i == 3) want = 95;
      if ((format == kCMYK || format == kKYMC) && i == s->AlphaOffset) want = 99;
      EXPECT_EQ(Pixel(self, 4, 2)[i], want) << "format " << format << " byte " << i;
    }
  }
  // The threshold is taken in 32 bits: 2^32 + 5 is 5, which the difference of 5 meets, and
  // 2^32 + 6 is 6, which it does not. The table's own thresholds and ends are in UnsharpTable.
  for (const auto& [threshold, want] :
       {std::pair{(int64_t{1} << 32) + 5, 97}, std::pair{(int64_t{1} << 32) + 6, 95}}) {
    Ref self = Filled(kG, 95), other = Filled(kG, 90);
    EXPECT_TRUE(UnsharpFilter(self.get(), other.get(), 0.1, threshold));
    EXPECT_EQ(Pixel(self, 2, 1)[0], want) << threshold;
  }
}

// The multiply-and-correct division the box blurs use, against the processor's division.
TEST(AreaDivider, MatchesDivisionEverywhere) {
  std::mt19937_64 random(1);
  const uint64_t divisors[] = {
      1, 2, 3, 7, 9, 255, 49729, 3ull * 3 * 65536 * 65536, ~uint64_t{0}, (uint64_t{1} << 63) + 1};
  for (uint64_t d : divisors) {
    const Divider divide(d);
    const uint64_t edges[] = {0, 1, d - 1, d, d + 1, ~uint64_t{0}, ~uint64_t{0} - 1};
    for (uint64_t n : edges) ASSERT_EQ(divide(n), n / d) << n << " / " << d;
    for (int i = 0; i < 20000; ++i) {
      const uint64_t n = random() >> (random() % 64);
      ASSERT_EQ(divide(n), n / d) << n << " / " << d;
    }
  }
  for (int i = 0; i < 20000; ++i) {
    const uint64_t d = (random() >> (random() % 64)) | 1;
    const uint64_t n = random();
    ASSERT_EQ(Divider(d)(n), n / d) << n << " / " << d;
  }
}

}  // namespace
