// Scale, ScaleMT and ScaleFast as an application calls them.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

class ScaleMembers : public PluginTest {
 protected:
  void Fill(const Ref& image, uint8_t (*value)(int64_t x, int64_t y, int64_t byte)) {
    int64_t ps = image.Get<int64_t>("PixelSize");
    ForEachPixel(image.Get<int64_t>("Width"), image.Get<int64_t>("Height"),
                 [&](int64_t x, int64_t y) {
                   for (int64_t b = 0; b < ps; ++b) Pixel(image, x, y)[b] = value(x, y, b);
                 });
  }
};

TEST_F(ScaleMembers, BoxToTheSameSizeCopies) {
  Ref source = NewImage(7, 5, kRGBA), dest = NewImage(7, 5, kRGBA);
  Fill(source, [](int64_t x, int64_t y, int64_t b) { return uint8_t(x * 31 + y * 7 + b * 50); });
  EXPECT_TRUE(dest.Call<bool>("Scale", source, nullptr, int64_t{2}, int64_t{7}, int64_t{5}));
  EXPECT_EQ(PixelBytes(dest), PixelBytes(source));
  Ref threaded = NewImage(7, 5, kRGBA);
  EXPECT_TRUE(threaded.Call<bool>("ScaleMT", int64_t{3}, source, nullptr, int64_t{2}, int64_t{7},
                                  int64_t{5}));
  EXPECT_EQ(PixelBytes(threaded), PixelBytes(source));
}

TEST_F(ScaleMembers, ASinglePixelEnlargesToItself) {
  Ref source = NewImage(1, 1, kCMYK), dest = NewImage(9, 6, kCMYK);
  std::memcpy(Pixel(source, 0, 0), "\x0a\x80\xf0\x33", 4);
  for (int64_t mode = 1; mode <= 7; ++mode) {
    ASSERT_TRUE(dest.Call<bool>("Scale", source, nullptr, mode, int64_t{9}, int64_t{6}));
    ForEachPixel(9, 6, [&](int64_t x, int64_t y) {
      EXPECT_EQ(std::memcmp(Pixel(dest, x, y), "\x0a\x80\xf0\x33", 4), 0) << mode;
    });
  }
}

// A hard edge makes Lanczos ring past both ends; the clamps keep 0 and 255. (Where alpha goes is
// the unit test's, scale_exact_test.cpp.)
TEST_F(ScaleMembers, OvershootIsClamped) {
  Ref source = NewImage(8, 1, kRGBA), dest = NewImage(24, 1, kRGB);
  Fill(source, [](int64_t x, int64_t, int64_t) { return uint8_t(x < 4 ? 0 : 255); });
  ASSERT_TRUE(dest.Call<bool>("Scale", source, nullptr, int64_t{3}, int64_t{24}, int64_t{1}));
  EXPECT_EQ(Pixel(dest, 0, 0)[0], 0);
  EXPECT_EQ(Pixel(dest, 23, 0)[0], 255);
}

TEST_F(ScaleMembers, RefusalsAreFalse) {
  Ref rgb = NewImage(4, 4, kRGB), cmyk = NewImage(4, 4, kCMYK), g16 = NewImage(4, 4, kGray16);
  Ref g = NewImage(4, 4, kG);
  // Which refusals the scalers make is the unit test's (scale_checks_test.cpp).
  EXPECT_FALSE(rgb.Call<bool>("Scale", cmyk, nullptr, int64_t{1}, int64_t{4}, int64_t{4}));
  EXPECT_FALSE(g.Call<bool>("Scale", g, nullptr, int64_t{8}, int64_t{4}, int64_t{4}));  // silent
  EXPECT_FALSE(g.Call<bool>("ScaleMT", int64_t{2}, g, nullptr, int64_t{1}, int64_t{0}, int64_t{4}));
  EXPECT_FALSE(g.Call<bool>("ScaleFast", g16, int64_t{4}, int64_t{4}));
  EXPECT_FALSE(rgb.Call<bool>("ScaleFast", cmyk, int64_t{4}, int64_t{4}));
  EXPECT_FALSE(rgb.Call<bool>("ScaleFast", nullptr, int64_t{4}, int64_t{4}));
}

TEST_F(ScaleMembers, ScaleFastFitsTheWholeSourceIntoTheDestination) {
  Ref source = NewImage(8, 6, kBGRA), dest = NewImage(4, 3, kRGBA);
  Fill(source, [](int64_t x, int64_t y, int64_t b) { return uint8_t(x * 16 + y + b * 64); });
  // Asked for 16 x 12, the destination holds 4 x 3: every other pixel of every other row.
  ASSERT_TRUE(dest.Call<bool>("ScaleFast", source, int64_t{16}, int64_t{12}));
  ForEachPixel(4, 3, [&](int64_t x, int64_t y) {
    const uint8_t *s = Pixel(source, 2 * x, 2 * y), *d = Pixel(dest, x, y);
    EXPECT_EQ(Bytes(d, d + 4), (Bytes{s[2], s[1], s[0], s[3]}));  // alpha copied
  });
  // One column wide: every pixel of a row takes column 0.
  Ref column = NewImage(5, 2, kRGBA);
  ASSERT_TRUE(column.Call<bool>("ScaleFast", source, int64_t{1}, int64_t{2}));
  EXPECT_EQ(Pixel(column, 0, 1)[0], Pixel(source, 0, 3)[2]);
}

TEST_F(ScaleMembers, ScaleFastConversions) {
  Ref rgb = NewImage(2, 1, kRGB), gray = NewImage(2, 1, kG), cmyk = NewImage(2, 1, kCMYKA);
  std::memcpy(Pixel(rgb, 0, 0), "\xc8\x64\x32\x00\xff\x00", 6);
  ASSERT_TRUE(gray.Call<bool>("ScaleFast", rgb, int64_t{2}, int64_t{1}));
  // (77 x 200 + 151 x 100 + 28 x 50) / 256 = 31900 / 256 = 124.6 and 151 x 255 / 256 = 150.4,
  // both cut.
  EXPECT_EQ(Pixel(gray, 0, 0)[0], 124);
  EXPECT_EQ(Pixel(gray, 1, 0)[0], 150);
  Fill(cmyk, [](int64_t, int64_t, int64_t) { return uint8_t(9); });
  ASSERT_TRUE(cmyk.Call<bool>("ScaleFast", gray, int64_t{2}, int64_t{1}));
  // Gray goes into the black ink; the other inks are cleared and the alpha is left alone.
  EXPECT_EQ(std::memcmp(Pixel(cmyk, 0, 0), "\x00\x00\x00\x7c\x09", 5), 0);
  Ref ga = NewImage(2, 1, kGA);
  ASSERT_TRUE(ga.Call<bool>("ScaleFast", cmyk, int64_t{2}, int64_t{1}));
  EXPECT_EQ(Pixel(ga, 0, 0)[0], 0x7c);  // black, not inverted
  EXPECT_EQ(Pixel(ga, 0, 0)[1], 9);
}

// The calling thread gives the host a turn before each wait on the workers, one per pass through
// a caller's temp; the turns amid the rows of Scale and of a fused ScaleMT are the responsiveness
// test's.
TEST_F(ScaleMembers, TheHostGetsTurnsWhileScaling) {
  Ref source = NewImage(300, 300, kRGB), dest = NewImage(200, 200, kRGB);
  Ref temp = NewImage(200, 300, kRGBA);
  const int64_t before = host_.YieldCount();
  ASSERT_TRUE(
      dest.Call<bool>("ScaleMT", int64_t{2}, source, temp, int64_t{4}, int64_t{200}, int64_t{200}));
  EXPECT_GE(host_.YieldCount() - before, 2);
}

}  // namespace
