// Combine through the host: hand-worked blends of images and colours through masks, the
// premultiplied form, rectangles, every family at the ends of the mask, and the refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/composite_participants.h"
#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

class CombineTest : public PluginTest {
 protected:
  Ref Mask(const Bytes& values) {
    return composite_test::GrayImage(host_, static_cast<int64_t>(values.size()), 1, values);
  }
};

TEST_F(CombineTest, ImageThroughMask) {
  Ref self = NewImage(3, 1, kRGB);
  SetPixels(self, 0, {100, 100, 100, 100, 100, 100, 100, 100, 100});
  Ref source = NewImage(3, 1, kRGB);
  SetPixels(source, 0, {200, 50, 0, 200, 50, 0, 200, 50, 0});
  // Mask 255 takes the source, 0 keeps self; 128 weighs t = 255 x 128 = 32640 of 65025:
  // (200 x 32640 + 100 x 32385 + 32512) / 65025 = 9799012 / 65025 = 150,
  // (50 x 32640 + 100 x 32385 + 32512) / 65025 = 4903012 / 65025 = 75,
  // (0 + 100 x 32385 + 32512) / 65025 = 3271012 / 65025 = 50.
  EXPECT_TRUE(self.Call<bool>("Combine", source, Mask({255, 0, 128})));
  EXPECT_EQ(RowBytes(self, 0, 9), (Bytes{200, 50, 0, 100, 100, 100, 150, 75, 50}));
  // A source alpha of 128 under mask 255 weighs as mask 128 without alpha; self's alpha 0
  // becomes (128 x 255 x 255 + 0 + 32512) / 65025 = 128.
  Ref withAlpha = NewImage(1, 1, kRGBA), alphaSource = NewImage(1, 1, kBGRA);
  SetPixels(withAlpha, 0, {100, 100, 100, 0});
  SetPixels(alphaSource, 0, {0, 50, 200, 128});
  EXPECT_TRUE(withAlpha.Call<bool>("Combine", alphaSource, Mask({255})));
  EXPECT_EQ(RowBytes(withAlpha, 0, 4), (Bytes{150, 75, 50, 128}));
}

TEST_F(CombineTest, PremultipliedSource) {
  // Source (100, 0, 0) premultiplied by alpha 128 over self (0, 0, 200), mask 255:
  // red (100 x 255 x 255 + 32512) / 65025 = 100; blue (200 x (65025 - 32640) + 32512) / 65025 =
  // 6509512 / 65025 = 100, close to 200 x 127 / 255 = 99.6.
  Ref self = NewImage(1, 1, kRGB);
  SetPixels(self, 0, {0, 0, 200});
  Ref source = NewImage(1, 1, kRGBA);
  SetPixels(source, 0, {100, 0, 0, 128});
  Ref mask = Mask({255});
  EXPECT_TRUE(self.Call<bool>("Combine", source, mask, true));
  EXPECT_EQ(RowBytes(self, 0, 3), (Bytes{100, 0, 100}));
  // Colours beyond their alpha (not really premultiplied) stop at 255.
  SetPixels(self, 0, {255, 255, 255});
  SetPixels(source, 0, {255, 255, 255, 128});
  EXPECT_TRUE(self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{0}, int64_t{1},
                              int64_t{1}, true));
  EXPECT_EQ(RowBytes(self, 0, 3), (Bytes{255, 255, 255}));
}

TEST_F(CombineTest, ColoursInEveryFamily) {
  Ref mask = Mask({255, 0});
  // A host colour into gray: (77 x 10 + 151 x 20 + 28 x 30) >> 8 = 18.
  Ref gray = NewImage(2, 1, kG);
  SetPixels(gray, 0, {1, 2});
  EXPECT_TRUE(gray.Call<bool>("Combine", mask, Color{0x0A141E}));
  EXPECT_EQ(RowBytes(gray, 0, 2), (Bytes{18, 2}));
  // A gray colour into CMYK: the gray byte becomes black, as CopyPixels moves gray into CMYK.
  Ref cmyk = NewImage(2, 1, kCMYKA);
  SetPixels(cmyk, 0, {9, 9, 9, 9, 9, 9, 9, 9, 9, 9});
  EXPECT_TRUE(cmyk.Call<bool>("Combine", mask, int64_t{200}, int64_t{255}));
  EXPECT_EQ(RowBytes(cmyk, 0, 10), (Bytes{0, 0, 0, 200, 255, 9, 9, 9, 9, 9}));
  // An RGB colour into KYMC order: (10, 20, 30) is C 170, M 85, Y 0, K 225.
  Ref kymc = NewImage(1, 1, kKYMCA);
  EXPECT_TRUE(
      kymc.Call<bool>("Combine", Mask({255}), int64_t{10}, int64_t{20}, int64_t{30}, int64_t{255}));
  EXPECT_EQ(RowBytes(kymc, 0, 5), (Bytes{225, 0, 85, 170, 255}));
  // A CMYK colour into RGB: 255 - (K + C x (255 - K) / 255) with K = 100: cyan 255 gives 0.
  Ref rgb = NewImage(1, 1, kRGB);
  EXPECT_TRUE(rgb.Call<bool>("Combine", Mask({255}), int64_t{255}, int64_t{0}, int64_t{0},
                             int64_t{100}, int64_t{255}));
  EXPECT_EQ(RowBytes(rgb, 0, 3), (Bytes{0, 155, 155}));
  // 16-bit gray blends in 16 bits: 65535 at t = 32640 gives 65535 x 32640 / 65025 = 32896,
  // 0x8080.
  Ref gray16 = NewImage(1, 1, kGray16);
  FillBytes(gray16, 0);
  EXPECT_TRUE(gray16.Call<bool>("Combine", Mask({128}), int64_t{255}, int64_t{255}));
  EXPECT_EQ(RowBytes(gray16, 0, 2), (Bytes{0x80, 0x80}));
}

TEST_F(CombineTest, RectanglesAreFixedAgainstEveryImage) {
  Ref self = NewImage(5, 3, kG), mask = NewImage(4, 2, kG);
  FillBytes(self, 10);
  // The mask covers 4 x 2 only: the rectangle (-1, 1, 9, 9) becomes (0, 1, 4, 1).
  FillBytes(mask, 255);
  EXPECT_TRUE(self.Call<bool>("Combine", mask, int64_t{-1}, int64_t{1}, int64_t{9}, int64_t{9},
                              int64_t{99}, int64_t{255}));
  EXPECT_EQ(RowBytes(self, 0, 5), Bytes(5, 10));
  EXPECT_EQ(RowBytes(self, 1, 5), (Bytes{99, 99, 99, 99, 10}));
  EXPECT_EQ(RowBytes(self, 2, 5), Bytes(5, 10));
  // A negative size flips: (3, 0, -2, 1) is columns 1 and 2 of row 0.
  EXPECT_TRUE(self.Call<bool>("Combine", mask, int64_t{3}, int64_t{0}, int64_t{-2}, int64_t{1},
                              Color{0x000000}));
  EXPECT_EQ(RowBytes(self, 0, 5), (Bytes{10, 0, 0, 10, 10}));
  Ref source = NewImage(5, 3, kRGB);
  EXPECT_TRUE(
      self.Call<bool>("Combine", source, mask, int64_t{3}, int64_t{1}, int64_t{5}, int64_t{5}));
  EXPECT_EQ(RowBytes(self, 1, 5), (Bytes{99, 99, 99, 0, 10}));
  // Row 2 lies outside the mask: nothing is left.
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{0}, int64_t{2}, int64_t{1}, int64_t{1},
                               int64_t{1}, int64_t{2}, int64_t{3}, int64_t{255}));
  EXPECT_EQ(RowBytes(self, 2, 5), Bytes(5, 10));
}

TEST_F(CombineTest, SelfAsSourceOrMask) {
  Ref self = NewImage(3, 1, kRGBA);
  Randomise(self, 3);
  Row(self, 0)[3] = 255;  // an opaque pixel keeps self's alpha exactly
  Bytes before = RowBytes(self, 0, 12);
  EXPECT_TRUE(self.Call<bool>("Combine", self, Mask({255, 128, 1})));
  // s = d gives d exactly for the colours.
  Bytes after = RowBytes(self, 0, 12);
  for (int i : {3, 7, 11}) after[i] = before[i] = 0;
  EXPECT_EQ(after, before);
  EXPECT_EQ(Row(self, 0)[3], 255);
  // A gray self as its own mask: 0 keeps, 255 takes the colour.
  Ref gray = NewImage(2, 1, kG);
  SetPixels(gray, 0, {0, 255});
  EXPECT_TRUE(gray.Call<bool>("Combine", gray, int64_t{7}, int64_t{255}));
  EXPECT_EQ(RowBytes(gray, 0, 2), (Bytes{0, 7}));
}

// Every family and the moves between them, with and without alpha, on random images: a full mask
// over an opaque source writes what CopyPixels writes (alpha becomes 255), and an empty mask leaves
// self as it was, premultiplied or not; the weights in between are worked out by hand above.
TEST_F(CombineTest, EveryFamilyMeetsCopyPixelsAtTheMaskEnds) {
  struct Case {
    int64_t self, source, mask;
  };
  const Case cases[] = {{kG, kGA, kG},        {kGA, kG, kRGB},        {kRGB, kRGBA, kG},
                        {kRGBA, kBGRA, kG},   {kBGRA, kRGB, kRGB},    {kCMYK, kCMYKA, kG},
                        {kCMYKA, kKYMCA, kG}, {kGray16, kGray16, kG}, {kG, kBGR, kG},
                        {kGA, kRGBA, kG},     {kRGBA, kAG, kG},       {kGray16, kG, kG},
                        {kKYMC, kGA, kG},     {kG, kCMYKX, kG}};
  for (const Case& c : cases) {
    for (bool pre : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.self << " " << c.source << " " << c.mask << " " << pre);
      Ref self = NewImage(7, 5, c.self), source = NewImage(7, 5, c.source);
      Ref mask = NewImage(7, 5, c.mask);
      Randomise(self, 1);
      Randomise(source, 2);
      for (const Ref* image : {&self, &source}) {
        if (!image->Get<bool>("HasAlpha")) continue;
        const int64_t alpha = image->Get<int64_t>("AlphaOffset");
        ForEachPixel(7, 5, [&](int64_t x, int64_t y) { Pixel(*image, x, y)[alpha] = 255; });
      }
      const Bytes before = PixelBytes(self);
      Ref copy = self.Call<Ref>("Clone");
      ASSERT_TRUE(copy.Call<bool>("CopyPixels", source));
      FillBytes(mask, 0);
      EXPECT_TRUE(self.Call<bool>("Combine", source, mask, pre));
      EXPECT_EQ(PixelBytes(self), before);
      FillBytes(mask, 255);
      EXPECT_TRUE(self.Call<bool>("Combine", source, mask, pre));
      EXPECT_EQ(PixelBytes(self), PixelBytes(copy));
    }
  }
}

TEST_F(CombineTest, Refusals) {
  Ref self = NewImage(2, 2, kRGB), mask = NewImage(2, 2, kG), source = NewImage(2, 2, kRGB);
  FillBytes(self, 50);
  FillBytes(mask, 255);
  Ref cmykMask = NewImage(2, 2, kCMYK);
  Ref closed = NewImage(2, 2, kG);
  closed.Call("Close");
  EXPECT_FALSE(self.Call<bool>("Combine", source, nullptr));
  EXPECT_FALSE(self.Call<bool>("Combine", nullptr, mask));
  EXPECT_FALSE(self.Call<bool>("Combine", nullptr, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", cmykMask, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", closed, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", closed, mask, false));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{256}, int64_t{255}));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{1}, int64_t{2}, int64_t{-1}, int64_t{255}));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{1}, int64_t{2}, int64_t{3}, int64_t{4},
                               int64_t{300}));
  // Rectangles that leave nothing.
  EXPECT_FALSE(
      self.Call<bool>("Combine", mask, int64_t{2}, int64_t{0}, int64_t{1}, int64_t{1}, Color{0}));
  EXPECT_FALSE(
      self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{2}));
  EXPECT_FALSE(self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{-3}, int64_t{2},
                               int64_t{2}, true));
  EXPECT_EQ(PixelBytes(self), Bytes(12, 50));
  // A closed self is refused too.
  EXPECT_FALSE(closed.Call<bool>("Combine", mask, int64_t{1}, int64_t{255}));
}

}  // namespace
