// Scale, ScaleMT, ScaleFast and Rotate by any angle as an application calls them: the turns against
// the turn members, the box, uncovered pixels, bilinear samples worked out by hand, and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <tuple>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
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

// A hard edge makes Lanczos ring past both ends; the clamps keep 0 and 255.
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
  EXPECT_FALSE(g.Call<bool>("Scale", g, nullptr, int64_t{8}, int64_t{4}, int64_t{4}));  // silent
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

// The host gets a turn before each wait on the workers, one per pass through a caller's temp.
TEST_F(ScaleMembers, TheHostGetsTurnsWhileScaling) {
  Ref source = NewImage(300, 300, kRGB), dest = NewImage(200, 200, kRGB);
  Ref temp = NewImage(200, 300, kRGBA);
  const int64_t before = host_.YieldCount();
  ASSERT_TRUE(
      dest.Call<bool>("ScaleMT", int64_t{2}, source, temp, int64_t{4}, int64_t{200}, int64_t{200}));
  EXPECT_GE(host_.YieldCount() - before, 2);
}

class RotateAngle : public PluginTest {
 protected:
  Ref Turn(const Ref& image, double angle) {
    return image.Call<Ref>("Rotate", angle, int64_t{10}, int64_t{20}, int64_t{30}, int64_t{40},
                           int64_t{50}, int64_t{60}, int64_t{70}, int64_t{80}, int64_t{90});
  }
};

TEST_F(RotateAngle, QuarterTurnsMatchTheTurnMembers) {
  for (int64_t format : {kRGB, kRGBA, kG, kGA, kCMYK, kCMYKA}) {
    SCOPED_TRACE(format);
    Ref source = NewImage(7, 5, format);
    Randomise(source, static_cast<uint32_t>(format));
    ExpectSameChannels(Turn(source, 0), source.Call<Ref>("Clone"));
    ExpectSameChannels(Turn(source, 360), source.Call<Ref>("Clone"));
    ExpectSameChannels(Turn(source, 90), source.Call<Ref>("Rotate90", nullptr));
    ExpectSameChannels(Turn(source, -270), source.Call<Ref>("Rotate90", nullptr));
    ExpectSameChannels(Turn(source, -90), source.Call<Ref>("Rotate270", nullptr));
    ExpectSameChannels(Turn(source, 180), source.Call<Ref>("Rotate180", nullptr));
  }
  // Another byte order, a clip and a channel view.
  Ref source = NewImage(11, 6, kBGRA);
  Randomise(source, 8);
  Ref clip = source.Call<Ref>("ClipImage", 2, 1, 7, 4);
  ExpectSameChannels(Turn(clip, 90), clip.Call<Ref>("Rotate90", nullptr));
  Ref view = source.Call<Ref>("GreenChannel");
  ExpectSameChannels(Turn(view, 0).Call<Ref>("GrayChannel"), view);
}

TEST_F(RotateAngle, BoundingBoxAndUncoveredCorners) {
  Ref source = NewImage(40, 20, kRGBA);
  source.Call("FillRectRGB", 200, 100, 50, 255);
  Ref turned = Turn(source, 30);
  // 40 cos 30 + 20 sin 30 = 44.64 -> 45; 40 sin 30 + 20 cos 30 = 37.32 -> 38.
  ASSERT_EQ(turned.Get<int64_t>("Width"), 45);
  ASSERT_EQ(turned.Get<int64_t>("Height"), 38);
  EXPECT_EQ(turned.Get<int64_t>("ImageFormat"), kRGBA);
  // Corners lie outside: red, green, blue, alpha arguments (10, 20, 30, 40). The centre samples a
  // uniform area: the colour itself.
  EXPECT_EQ(RowBytes(turned, 0, 4), (Bytes{10, 20, 30, 40}));
  EXPECT_EQ(Bytes(Pixel(turned, 22, 19), Pixel(turned, 22, 19) + 4), (Bytes{200, 100, 50, 255}));

  // The corners of the other families, 45 degrees of 9 x 9 (9 sqrt 2 = 12.73 -> 13 wide): gray and
  // alpha arguments 50 and 40, cyan ... black 60 ... 90.
  for (auto [format, channel, value] : {std::tuple{kGA, "Gray", 50},
                                        {kGA, "Alpha", 40},
                                        {kCMYK, "Cyan", 60},
                                        {kCMYK, "Yellow", 80},
                                        {kCMYK, "Black", 90}}) {
    Ref image = NewImage(9, 9, format), turned = Turn(image, 45);
    EXPECT_EQ(turned.Get<int64_t>("Width"), 13);
    EXPECT_EQ(Row(turned, 0)[image.Get<int64_t>(std::string(channel) + "Offset")], value)
        << channel;
  }
}

TEST_F(RotateAngle, BilinearSampleByHand) {
  // A 4 x 4 ramp 0, 64, 128, 192 across; turned by 10 degrees, the box is
  // ceil(4 cos 10 + 4 sin 10) = ceil(4.63) = 5 each way. The centre pixel (2, 2) of the result
  // has centre offset (0, 0) from the box centre, so it samples source point (1.5, 1.5):
  // midway between 64 and 128 in x, uniform in y: 96.
  Ref ramp = NewImage(4, 4, kG);
  ForEachPixel(4, 4, [&](int64_t x, int64_t y) { Row(ramp, y)[x] = static_cast<uint8_t>(64 * x); });
  Ref turned = Turn(ramp, 10);
  ASSERT_EQ(turned.Get<int64_t>("Width"), 5);
  EXPECT_EQ(Row(turned, 2)[2], 96);
  // Result pixel (3, 2): offset (1, 0), source point 1.5 + cos 10 = 2.4848, 1.5 + sin 10 =
  // 1.6736: x weight round(0.4848 x 256) = 124 between 128 and 192: (128 x 132 + 192 x 124 +
  // 128) / 256 = 159 (rounded in the 16-bit product: (40704 x 256 + 32768) >> 16 = 159).
  EXPECT_EQ(Row(turned, 2)[3], 159);
}

TEST_F(RotateAngle, Refusals) {
  Ref source = NewImage(5, 4, kRGB);
  EXPECT_FALSE(Turn(source, std::nan("")));
  EXPECT_FALSE(Turn(source, INFINITY));
}

}  // namespace
