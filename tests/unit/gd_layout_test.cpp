// The gd image prefix declared in the host-interface header matches the real gd library.
#if __has_include(<cairo.h>) && __has_include(<gd.h>)
#include <gd.h>
#include <gtest/gtest.h>

#include <cstddef>

#include "plugin/host_interface.h"

namespace {

#define EXPECT_SAME_OFFSET(field) \
  EXPECT_EQ(offsetof(gdImagePrefix, field), offsetof(gdImage, field)) << #field

TEST(GdLayout, EveryFieldSitsWhereGdPutsIt) {
  EXPECT_SAME_OFFSET(pixels);
  EXPECT_SAME_OFFSET(sx);
  EXPECT_SAME_OFFSET(sy);
  EXPECT_SAME_OFFSET(colorsTotal);
  EXPECT_SAME_OFFSET(red);
  EXPECT_SAME_OFFSET(transparent);
  EXPECT_SAME_OFFSET(brush);
  EXPECT_SAME_OFFSET(tileColorMap);
  EXPECT_SAME_OFFSET(style);
  EXPECT_SAME_OFFSET(thick);
  EXPECT_SAME_OFFSET(alpha);
  EXPECT_SAME_OFFSET(trueColor);
  EXPECT_SAME_OFFSET(tpixels);
  EXPECT_SAME_OFFSET(alphaBlendingFlag);
  EXPECT_SAME_OFFSET(saveAlphaFlag);
  EXPECT_LE(sizeof(gdImagePrefix), sizeof(gdImage));
}

TEST(GdLayout, RealImageReadsThroughThePrefix) {
  gdImagePtr image = gdImageCreateTrueColor(3, 2);
  ASSERT_NE(image, nullptr);
  gdImageAlphaBlending(image, 0);  // store the pixel as given
  gdImageSetPixel(image, 2, 1, gdTrueColorAlpha(10, 20, 30, 5));
  auto* prefix = reinterpret_cast<gdImagePrefix*>(image);
  EXPECT_EQ(prefix->sx, 3);
  EXPECT_EQ(prefix->sy, 2);
  EXPECT_NE(prefix->trueColor, 0);
  EXPECT_EQ(prefix->pixels, nullptr);
  EXPECT_EQ(prefix->tpixels[1][2], (5 << 24) | (10 << 16) | (20 << 8) | 30);
  gdImageDestroy(image);
}

}  // namespace

#else
#include <gtest/gtest.h>

TEST(GdLayout, NeedCairoAndGd) { GTEST_SKIP() << "this build has no gd"; }
#endif
