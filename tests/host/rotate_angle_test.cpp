// Rotate by any angle through the host and the real plug-in: the quarter turns against the
// Rotate90 family, the bounding box, uncovered pixels from the family's arguments, bilinear
// samples worked out by hand, and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

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
