// The premultiplication tables and their float fallback, the luminance kernel of the levels
// stretch, and the debug labels of the fills, through the static library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "filters/pixel_ops.h"
#include "filters/pixel_simd.h"
#include "host/emulated_host.h"
#include "support/image_layout.h"
#include "support/log_capture.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kRGBX = 3, kG = 11, kGA = 12, kCMYKA = 24, kGray16 = 41;

class FillsUnit : public StaticPluginTest {
 protected:
  static uint8_t* Row(const Ref& image, int64_t y) {
    return static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
  }
};

// The tables tabulate the float formula: premultiplying, and unpremultiplying to the largest
// colour that premultiplies to the value (the value itself where none does).
TEST_F(FillsUnit, TablesHoldTheFormulas) {
  InitMultiplyTable();
  ASSERT_EQ(InitedMultiplyTable, 2);
  for (int a = 0; a < 256; ++a) {
    int inverse[256];
    for (int m = 0; m < 256; ++m) inverse[m] = m;
    for (int c = 0; c < 256; ++c) {
      const int m = MultiplyValue(static_cast<uint8_t>(c), static_cast<uint8_t>(a));
      ASSERT_EQ(MultiplyTable[a * 256 + c], m) << a << ", " << c;
      inverse[m] = c;
    }
    for (int m = 0; m < 256; ++m) ASSERT_EQ(UnmultiplyTable[a * 256 + m], inverse[m]);
  }
  // The corners: row 0 maps 0 to 255 and keeps the rest; row 255 is the identity both ways.
  EXPECT_EQ(UnmultiplyTable[0], 255);
  EXPECT_EQ(UnmultiplyTable[7], 7);
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(MultiplyTable[255 * 256 + c], c);
    EXPECT_EQ(UnmultiplyTable[255 * 256 + c], c);
  }
  // A second call changes nothing.
  uint8_t* before = MultiplyTable;
  InitMultiplyTable();
  EXPECT_EQ(MultiplyTable, before);
}

// Worked out in single precision: 200 * (128 / 255) + 0.5 = 100.9, 100 / (128 / 255) = 199.2.
TEST_F(FillsUnit, FloatFormulas) {
  EXPECT_EQ(MultiplyValue(200, 128), 100);
  EXPECT_EQ(MultiplyValue(255, 1), 1);
  EXPECT_EQ(MultiplyValue(77, 1), 0);
  EXPECT_EQ(UnmultiplyValue(100, 128), 199);  // the table gives 200
  EXPECT_EQ(UnmultiplyValue(200, 100), 254);  // 510 stored as a byte
  EXPECT_EQ(UnmultiplyValue(2, 1), 254);
  EXPECT_EQ(UnmultiplyValue(0, 0), 0);  // alpha 0 writes 0
  EXPECT_EQ(UnmultiplyValue(9, 0), 0);
}

// With the tables missing (an allocation failed), the operations use the formulas.
TEST_F(FillsUnit, FallbackWithoutTables) {
  InitMultiplyTable();
  ASSERT_EQ(InitedMultiplyTable, 2);
  Ref withTables = NewImage(3, 1, kRGBA);
  Ref withFormula = NewImage(3, 1, kRGBA);
  const uint8_t pixels[12] = {100, 200, 0, 128, 200, 9, 255, 100, 7, 8, 9, 0};
  std::memcpy(Row(withTables, 0), pixels, 12);
  std::memcpy(Row(withFormula, 0), pixels, 12);
  withTables.Call("Unmultiply");
  InitedMultiplyTable = 1;
  withFormula.Call("Unmultiply");
  InitedMultiplyTable = 2;
  // Worked out from the table's definition and from the formula by a separate script.
  const uint8_t table[12] = {200, 200, 0, 128, 200, 24, 255, 100, 7, 8, 9, 0};
  const uint8_t formula[12] = {199, 142, 0, 128, 254, 23, 138, 100, 0, 0, 0, 0};
  EXPECT_EQ(std::memcmp(Row(withTables, 0), table, 12), 0);
  EXPECT_EQ(std::memcmp(Row(withFormula, 0), formula, 12), 0);

  // Premultiplying gives the same bytes either way.
  std::memcpy(Row(withTables, 0), pixels, 12);
  std::memcpy(Row(withFormula, 0), pixels, 12);
  withTables.Call("Multiply");
  InitedMultiplyTable = 1;
  withFormula.Call("Multiply");
  InitedMultiplyTable = 2;
  EXPECT_EQ(std::memcmp(Row(withTables, 0), Row(withFormula, 0), 12), 0);
}

// The vector paths against the plain level, on rows long enough for whole blocks and a rest,
// with a rectangle off the image's corner, in the layouts they take and some they refuse. The
// 256 x 256 image holds every (colour, alpha) pair of the premultiplication.
TEST_F(FillsUnit, EveryLevelGivesThePlainBytes) {
  using Operation = std::function<void(const Ref&)>;
  const std::vector<std::pair<const char*, Operation>> operations = {
      {"FillRect alpha", [](const Ref& i) { i.Call("FillRect", 3, 1, 250, 2, 77, 200); }},
      {"FillRectRGB alpha", [](const Ref& i) { i.Call("FillRectRGB", 1, 0, 255, 3, 9, 8, 7, 6); }},
      {"FillRectApply",
       [](const Ref& i) { i.Call<bool>("FillRectApply", 2, 1, 254, 2, 10, 220, 3, 99); }},
      {"FillRectApply out of range",
       [](const Ref& i) { i.Call<bool>("FillRectApply", -300, 4000, 70000, 300); }},
      {"Multiply", [](const Ref& i) { i.Call("Multiply", 1, 1, 255, 255); }},
      {"Unmultiply", [](const Ref& i) { i.Call("Unmultiply"); }},
      {"AutoLevel", [](const Ref& i) { i.Call<bool>("AutoLevel", 1, 0, 250, 3); }},
      {"RGBToGray 0", [](const Ref& i) { i.Call<bool>("RGBToGray", 0); }},
      {"RGBToGray 1", [](const Ref& i) { i.Call<bool>("RGBToGray", 1); }},
      {"RGBToGray 2", [](const Ref& i) { i.Call<bool>("RGBToGray", 2); }},
      {"RGBToGray 3", [](const Ref& i) { i.Call<bool>("RGBToGray", 3); }},
      {"RGBToGray 4", [](const Ref& i) { i.Call<bool>("RGBToGray", 4); }},
  };
  InitMultiplyTable();
  for (int64_t format : {kRGBA, kRGBX, int64_t{4}, int64_t{7}, kRGB, kG, kGA}) {
    for (const auto& [name, entry] : operations) {
      const Operation& operation = entry;
      ExpectEveryLevelAsPlain(
          [&] {
            Ref image = NewImage(256, 256, format);
            const int64_t bytes = image.Get<int64_t>("RowSize");
            std::mt19937 random(static_cast<uint32_t>(format));
            for (int64_t y = 0; y < 256; ++y) {
              uint8_t* row = Row(image, y);
              for (int64_t x = 0; x < bytes; ++x) {
                row[x] =
                    static_cast<uint8_t>(format == kRGBA ? (x % 4 == 3 ? y : x / 4) : random());
              }
            }
            operation(image);
            return ImageSnapshot(image).data;
          },
          std::string(name) + ", format " + std::to_string(format));
    }
  }
}

// The luminance kernel against the double formula on every colour, in two byte orders, on rows
// whose length leaves a rest: the partial histograms of a row add up to the formula's, in every
// level or in the tails asked for. Grays and the other multiples of a thousandth are where the
// integer form needs the double one.
TEST(PixelKernels, LuminanceOfEveryColour) {
  const LuminanceRowProc kernel = LuminanceRowAVX2();
  if (!kernel) GTEST_SKIP() << "the processor has no AVX2";
  constexpr int64_t kRow = 4093;  // prime, so rows start at every colour phase
  std::mt19937 random(5);
  for (const QuadOffsets quad : {QuadOffsets{0, 1, 2, 3}, QuadOffsets{3, 2, 1, 0}}) {
    std::vector<uint8_t> row(kRow * 4);
    for (int64_t first = 0; first < (1 << 24); first += kRow) {
      const int64_t pixels = std::min<int64_t>(kRow, (1 << 24) - first);
      uint32_t expected[256] = {};
      for (int64_t i = 0; i < pixels; ++i) {
        const auto colour = static_cast<uint32_t>(first + i);
        const int r = colour >> 16, g = (colour >> 8) & 0xFF, b = colour & 0xFF;
        row[4 * i + quad.red] = static_cast<uint8_t>(r);
        row[4 * i + quad.green] = static_cast<uint8_t>(g);
        row[4 * i + quad.blue] = static_cast<uint8_t>(b);
        row[4 * i + quad.alpha] = static_cast<uint8_t>(random());
        ++expected[static_cast<int>(r * 0.177 + g * 0.813 + b * 0.01)];
      }
      // Every level, then tails that move along the rows.
      const int lowEnd = static_cast<int>(first % 200), highStart = lowEnd + 40;
      for (const LevelTails tails : {kEveryLevel, LevelTails{lowEnd, highStart}}) {
        uint32_t counts[4][256] = {};
        kernel(row.data(), pixels, quad, counts, tails);
        for (int v = 0; v < 256; ++v) {
          if (v > tails.lowEnd && v < tails.highStart) continue;
          ASSERT_EQ(counts[0][v] + counts[1][v] + counts[2][v] + counts[3][v], expected[v])
              << "level " << v << " in the row from colour " << first << ", red at " << quad.red
              << ", tails " << tails.lowEnd << " " << tails.highStart;
        }
      }
    }
  }
}

// Tall images take the sampled levels stretch: its cut-offs must be those of the whole
// histogram, also where the sampled rows mislead either way (then everything is counted), where
// the limits fall exactly on a cumulative count, where grays make
// the integer luminance defer to the double one, where one level holds most pixels, and where
// the image has one colour.
TEST_F(FillsUnit, SampledStretchGivesThePlainBytes) {
  constexpr int64_t kWidth = 203, kHeight = 600;
  // Each byte from its row, its index in the row and a random source.
  using Paint = std::function<uint8_t(int64_t y, int64_t i, std::mt19937&)>;
  // Exactly as many pixels as each limit up to a level: the cut-offs are the levels before the
  // next pixels, where "at most the limit" and "below it" part. Levels 10, 50 and 200, none a
  // gray, whose level the double formula may lower.
  const auto total = static_cast<float>(kWidth * kHeight);
  const auto low = static_cast<int64_t>(0.005f * total),
             high = static_cast<int64_t>(total * 0.995f);
  const std::vector<std::pair<const char*, Paint>> images = {
      {"random", [](int64_t, int64_t, std::mt19937& r) -> uint8_t { return r(); }},
      {"sampled rows dark",
       [](int64_t y, int64_t, std::mt19937& r) -> uint8_t {
         return y % 32 == 0 ? r() % 40 : 100 + r() % 150;
       }},
      {"sampled rows bright",
       [](int64_t y, int64_t, std::mt19937& r) -> uint8_t {
         return y % 32 == 0 ? 215 + r() % 40 : r() % 150;
       }},
      {"limits reached exactly",
       [&](int64_t y, int64_t i, std::mt19937&) -> uint8_t {
         const int64_t index = y * kWidth + i / 4;
         const int level = index < low ? 10 : index < high ? 50 : 200;
         return i % 4 == 3 ? 255 : i % 4 == 2 ? level + 10 : level;
       }},
      {"grays", [](int64_t y, int64_t i, std::mt19937&) -> uint8_t { return (i / 4 + y) % 256; }},
      {"one level most",
       [](int64_t, int64_t, std::mt19937& r) -> uint8_t { return r() % 100 < 98 ? 20 : r(); }},
      {"one colour", [](int64_t, int64_t, std::mt19937&) -> uint8_t { return 77; }}};
  for (const auto& [name, entry] : images) {
    const Paint& paint = entry;
    for (bool rectangle : {false, true}) {
      ExpectEveryLevelAsPlain(
          [&] {
            Ref image = NewImage(kWidth, kHeight, kRGBA);
            std::mt19937 random(9);
            for (int64_t y = 0; y < kHeight; ++y) {
              uint8_t* row = Row(image, y);
              for (int64_t i = 0; i < kWidth * 4; ++i) row[i] = paint(y, i, random);
            }
            EXPECT_TRUE(rectangle ? image.Call<bool>("AutoLevel", 3, 7, kWidth - 5, kHeight - 9)
                                  : image.Call<bool>("AutoLevel"));
            return ImageSnapshot(image).data;
          },
          std::string(name) + (rectangle ? " in a rectangle" : ""));
    }
  }
}

TEST_F(FillsUnit, LabelsNameThePath) {
  Ref rgbx = NewImage(4, 2, kRGBX);
  Ref rgba = NewImage(4, 2, kRGBA);
  Ref gray16 = NewImage(4, 2, kGray16);
  Ref gray = NewImage(4, 2, kG);
  Ref ga = NewImage(4, 2, kGA);
  Ref cmyka = NewImage(4, 2, kCMYKA);
  LogCapture log;
  rgbx.Call("FillRect", 3, 1, -2, -1, 1);
  rgbx.Call("FillRect", 1);
  ga.Call("FillRect", 1, 2);
  cmyka.Call("FillRect", 1);
  rgbx.Call("FillRect", 1, 2);
  gray16.Call("Invert");
  gray.Call("Invert");
  rgba.Call("Invert");
  EXPECT_TRUE(gray.Call<bool>("FillRectApply", Color{0xC86432}, 128));
  rgba.Call("Multiply");
  cmyka.Call("Unmultiply");
  EXPECT_TRUE(rgba.Call<bool>("AutoLevel"));
  EXPECT_FALSE(gray16.Call<bool>("AutoLevel"));
  EXPECT_EQ(rgba.Call<int64_t>("CompareImages", rgba), 8);
  rgbx.Call("FillRectRGB", Color{1});
  NewImage(4, 2, 14).Call("FillRect", 1);  // an invalid format
  Ref rgb = NewImage(4, 2, kRGB);
  rgb.Call("Close");
  rgb.Call("ClearRect");
  // Each path names itself, with its arguments as the rectangle rule fixed them.
  for (const char* line :
       {"Fix 3, 1, -2, -1",  "Fixed 1, 0, 2, 1",    "FillRect5RGB",
        "StartImage ok",     "FillRectA5GA",        "FillRect5CMYKA",
        "Invert G",          "HasGray16 1",         "HasGray 1",
        "Invert RGBA",       "FillRectApplyRGBcA1", "FillRectApply5G",
        "gray 124",          "alpha 128",           "alpha1 127",
        "alpha 32896",       "alpha1 32639",        "Multiply5RGBA",
        "Unmultiply5CMYKA",  "AutoLevel5_RGB",      "BitsPerComponent > 8 not supported.",
        "CompareImagesRGBA", "FillRectRGBc1",       "Picture not valid.",
        "GetRow is nil"}) {
    EXPECT_TRUE(log.Logged(line)) << line;
  }
}

}  // namespace
