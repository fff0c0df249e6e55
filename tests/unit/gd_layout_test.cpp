// The gd image prefix declared in the host-interface header matches the real gd library.
#if __has_include(<cairo.h>) && __has_include(<gd.h>)
#include <gd.h>
#include <gtest/gtest.h>

#include <cstddef>

#include "plugin/host_interface.h"

namespace {

// A field's name, its offset in our prefix and in gd's own image.
struct Field {
  const char* name;
  size_t ours, gds;
};
#define G(field) \
  Field { #field, offsetof(gdImagePrefix, field), offsetof(gdImage, field) }

TEST(GdLayout, EveryFieldSitsWhereGdPutsIt) {
  for (const Field& f : {G(pixels), G(sx), G(sy), G(colorsTotal), G(red), G(transparent), G(brush),
                         G(tileColorMap), G(style), G(thick), G(alpha), G(trueColor), G(tpixels),
                         G(alphaBlendingFlag), G(saveAlphaFlag)}) {
    EXPECT_EQ(f.ours, f.gds) << f.name;
  }
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
