// The premultiplication tables and their float fallback, the fills at every level against the
// plain one, and the debug labels of the fills, through the static library.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "filters/pixel_ops.h"
#include "host/emulated_host.h"
#include "support/image_layout.h"
#include "support/log_capture.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kRGBX = 3, kG = 11, kGA = 12;

class FillsUnit : public StaticPluginTest {};

// By hand: premultiplying is c x a / 255 + 0.5, truncated, in single precision, in the table and
// the formula alike; the table unpremultiplies to the largest colour that premultiplies to the
// value (the value itself where none does), the formula divides (alpha 0 writes 0).
TEST_F(FillsUnit, TablesHoldTheFormulas) {
  InitMultiplyTable();
  ASSERT_EQ(InitedMultiplyTable, 2);
  auto multiply = [](int a, int c, int want) {
    EXPECT_EQ(MultiplyTable[a * 256 + c], want) << a << ", " << c;
    EXPECT_EQ(MultiplyValue(static_cast<uint8_t>(c), static_cast<uint8_t>(a)), want);
  };
  multiply(128, 200, 100);  // 100.39 + 0.5
  multiply(1, 255, 1);
  multiply(1, 127, 0);  // 0.498 + 0.5
  multiply(1, 128, 1);
  auto unmultiply = [](int a, int m) { return UnmultiplyTable[a * 256 + m]; };
  EXPECT_EQ(unmultiply(128, 100), 200);       // 199 and 200 both give 100
  EXPECT_EQ(UnmultiplyValue(100, 128), 199);  // 100 / (128 / 255) = 199.2
  EXPECT_EQ(unmultiply(1, 0), 127);
  EXPECT_EQ(unmultiply(1, 1), 255);
  EXPECT_EQ(unmultiply(1, 2), 2);         // nothing premultiplies to 2 at alpha 1
  EXPECT_EQ(UnmultiplyValue(2, 1), 254);  // 510 stored as a byte
  EXPECT_EQ(unmultiply(0, 0), 255);       // every colour gives 0 at alpha 0
  EXPECT_EQ(unmultiply(0, 7), 7);
  EXPECT_EQ(UnmultiplyValue(9, 0), 0);
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(MultiplyTable[255 * 256 + c], c);
    EXPECT_EQ(unmultiply(255, c), c);
  }
  // A second call changes nothing.
  uint8_t* before = MultiplyTable;
  InitMultiplyTable();
  EXPECT_EQ(MultiplyTable, before);
}

// With the tables missing (an allocation failed), the operations use the formulas: unmultiplying
// gives other bytes than the table, premultiplying the same bytes. By hand: the formula's
// c x 255 / a + 0.5 keeps the low byte (200 at 128: 398, 142; 255 at 100: 650, 138); the table
// gives the largest colour that premultiplies to c, or c where none does (9 at 100: 22 to 24).
TEST_F(FillsUnit, FallbackWithoutTables) {
  InitMultiplyTable();
  ASSERT_EQ(InitedMultiplyTable, 2);
  const Bytes pixels = {100, 200, 0, 128, 200, 9, 255, 100, 7, 8, 9, 0};
  auto run = [&](const char* member, bool tables) {
    Ref image = NewImage(3, 1, kRGBA);
    SetPixels(image, 0, pixels);
    InitedMultiplyTable = tables ? 2 : 1;
    image.Call(member);
    InitedMultiplyTable = 2;
    return RowBytes(image, 0, 12);
  };
  EXPECT_EQ(run("Unmultiply", true), (Bytes{200, 200, 0, 128, 200, 24, 255, 100, 7, 8, 9, 0}));
  EXPECT_EQ(run("Unmultiply", false), (Bytes{199, 142, 0, 128, 254, 23, 138, 100, 0, 0, 0, 0}));
  EXPECT_EQ(run("Multiply", true), run("Multiply", false));
}

// The vector paths against the plain level, on rows long enough for whole blocks and a rest,
// with a rectangle off the image's corner, in the layouts they take and some they refuse. The
// 256 x 256 image holds every (colour, alpha) pair of the premultiplication.
TEST_F(FillsUnit, EveryLevelGivesThePlainBytes) {
  using Operation = std::function<void(const Ref&)>;
  std::vector<std::pair<std::string, Operation>> operations = {
      {"FillRect alpha", [](const Ref& i) { i.Call("FillRect", 3, 1, 250, 2, 77, 200); }},
      {"FillRectRGB alpha", [](const Ref& i) { i.Call("FillRectRGB", 1, 0, 255, 3, 9, 8, 7, 6); }},
      {"FillRectApply",
       [](const Ref& i) { i.Call<bool>("FillRectApply", 2, 1, 254, 2, 10, 220, 3, 99); }},
      {"FillRectApply out of range",
       [](const Ref& i) { i.Call<bool>("FillRectApply", -300, 4000, 70000, 300); }},
      {"Multiply", [](const Ref& i) { i.Call("Multiply", 1, 1, 255, 255); }},
      {"Unmultiply", [](const Ref& i) { i.Call("Unmultiply"); }},
      {"AutoLevel", [](const Ref& i) { i.Call<bool>("AutoLevel", 1, 0, 250, 3); }},
  };
  for (int64_t mode = 0; mode <= 4; ++mode) {
    operations.emplace_back("RGBToGray " + std::to_string(mode),
                            [mode](const Ref& i) { i.Call<bool>("RGBToGray", mode); });
  }
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
          name + ", format " + std::to_string(format));
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
      {"one colour", [](int64_t, int64_t, std::mt19937&) -> uint8_t { return 77; }},
      {"black and white among colours", [](int64_t y, int64_t i, std::mt19937& r) -> uint8_t {
         return (i / 4) % 3 ? r() : (i / 4 + y) % 2 ? 255 : 0;
       }}};
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

// The values are the host tests'; here a fill logs its rectangle as the rule fixed it, the blend
// its gray and weights, and an invalid image its refusal.
TEST_F(FillsUnit, LabelsNameThePath) {
  Ref rgbx = NewImage(4, 2, kRGBX), gray = NewImage(4, 2, kG);
  LogCapture log;
  rgbx.Call("FillRect", 3, 1, -2, -1, 1);
  EXPECT_TRUE(gray.Call<bool>("FillRectApply", Color{0xC86432}, 128));
  NewImage(4, 2, 14).Call("FillRect", 1);  // an invalid format
  for (const char* line :
       {"Fix 3, 1, -2, -1", "Fixed 1, 0, 2, 1", "FillRect5RGB", "FillRectApply5G", "gray 124",
        "alpha 128", "alpha1 127", "Picture not valid."}) {
    EXPECT_TRUE(log.Logged(line)) << line;
  }
}

}  // namespace
