// The colour moves behind the format-converting rows and Combine: RGB to CMYK undone exactly by
// the picture bridge's CMYK to RGB for every colour, and the gray steps of CopyPixels.
#include <gtest/gtest.h>

#include <cstdint>

#include "composite/row_formats.h"
#include "picture/image_pixels.h"

namespace {

TEST(CombineConversions, RGBThroughCMYKComesBackForEveryColour) {
  int64_t failures = 0;
  for (uint32_t r = 0; r < 256; ++r) {
    for (uint32_t g = 0; g < 256; ++g) {
      for (uint32_t b = 0; b < 256; ++b) {
        PixelValue cmyk = CMYKFromRGBValue(r, g, b);
        uint32_t k = cmyk.v[3];
        bool inRange = cmyk.v[0] < 256 && cmyk.v[1] < 256 && cmyk.v[2] < 256 && k < 256;
        if (!inRange || picture_io::RGBFromCMYK(cmyk.v[0], k) != r ||
            picture_io::RGBFromCMYK(cmyk.v[1], k) != g ||
            picture_io::RGBFromCMYK(cmyk.v[2], k) != b) {
          if (++failures < 5) ADD_FAILURE() << r << " " << g << " " << b;
        }
      }
    }
  }
  EXPECT_EQ(failures, 0);
}

TEST(CombineConversions, FamiliesMeetAsCopyPixelsDoes) {
  // Black and white ends: white has no ink, black is K alone.
  PixelValue white = CMYKFromRGBValue(255, 255, 255);
  EXPECT_EQ(white.v[0] + white.v[1] + white.v[2] + white.v[3], 0u);
  PixelValue black = CMYKFromRGBValue(0, 0, 0);
  EXPECT_EQ(black.v[3], 255u);
  EXPECT_EQ(black.v[0] + black.v[1] + black.v[2], 0u);

  PixelValue gray{{0x12, 0, 0, 0}, 77};
  PixelValue wide = ConvertValue(PixelFamily::kGray8, PixelFamily::kGray16, gray);
  EXPECT_EQ(wide.v[0], 0x1212u);
  EXPECT_EQ(wide.alpha, 77u);
  EXPECT_EQ(ConvertValue(PixelFamily::kGray16, PixelFamily::kGray8, {{0xABCD, 0, 0, 0}, 1}).v[0],
            0xABu);
  PixelValue cmyk = ConvertValue(PixelFamily::kGray8, PixelFamily::kCMYK, {{200, 0, 0, 0}, 9});
  EXPECT_EQ(cmyk.v[0] + cmyk.v[1] + cmyk.v[2], 0u);
  EXPECT_EQ(cmyk.v[3], 200u);
  EXPECT_EQ(ConvertValue(PixelFamily::kCMYK, PixelFamily::kGray8, {{1, 2, 3, 44}, 9}).v[0], 44u);
  // Pure red, green and blue give 76, 150 and 27; 16-bit gray of red is 76 x 257.
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray8, {{255, 0, 0, 0}, 9}).v[0], 76u);
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray8, {{0, 255, 0, 0}, 9}).v[0], 150u);
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray16, {{255, 0, 0, 0}, 9}).v[0],
            76u * 257u);
  // A 16-bit gray into RGB goes through its high byte.
  PixelValue rgb = ConvertValue(PixelFamily::kGray16, PixelFamily::kRGB, {{0x8001, 0, 0, 0}, 5});
  EXPECT_EQ(rgb.v[0], 0x80u);
  EXPECT_EQ(rgb.v[2], 0x80u);
  EXPECT_EQ(rgb.alpha, 5u);
}

TEST(CombineConversions, LayoutsFollowTheFormatTable) {
  PixelLayout argb = LayoutOfFormat(4);
  EXPECT_EQ(argb.family, PixelFamily::kRGB);
  EXPECT_EQ(argb.pixelSize, 4);
  EXPECT_EQ(argb.alpha, 0);
  EXPECT_EQ(argb.channel[0], 1);
  EXPECT_EQ(LayoutOfFormat(41).family, PixelFamily::kGray16);
  PixelLayout xkymc = LayoutOfFormat(32);
  EXPECT_EQ(xkymc.channel[0], 4);  // cyan last
  EXPECT_EQ(xkymc.channel[3], 1);
  for (int64_t code : {-1, 0, 14, 22, 33, 40, 49}) {
    EXPECT_EQ(LayoutOfFormat(code).family, PixelFamily::kNone) << code;
  }
}

}  // namespace
