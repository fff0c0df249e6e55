// Quarter turns through the host, worked by hand, and the turns' own refusals. Every format, size
// and destination against the mapping of pixel positions, and the vector paths against the plain
// one, are the unit tests' (geometry_vector_test.cpp).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/format_codes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

class Geometry : public PluginTest {};

TEST_F(Geometry, ThreeByTwoByHand) {
  Ref image = NewImage(3, 2, kRGB);
  for (int64_t y = 0; y < 2; ++y) {
    for (int64_t x = 0; x < 3; ++x) std::memset(Row(image, y) + x * 3, int(10 * y + x), 3);
  }
  Ref left = image.Call<Ref>("Rotate90", nullptr);
  EXPECT_EQ(left.Get<int64_t>("Width"), 2);
  EXPECT_EQ(left.Get<int64_t>("Height"), 3);
  EXPECT_EQ(Row(left, 0)[0], 2);   // the source's top-right pixel
  EXPECT_EQ(Row(left, 0)[3], 12);  // below it
  EXPECT_EQ(Row(left, 2)[0], 0);   // the source's top-left
  Ref right = image.Call<Ref>("Rotate270", nullptr);
  EXPECT_EQ(Row(right, 0)[0], 10);  // the source's bottom-left pixel
  EXPECT_EQ(Row(right, 0)[3], 0);
  EXPECT_EQ(Row(right, 2)[3], 2);
}

// The refusals of every frame operation are in frame_refusals_test.cpp; these are the turns' own.
// The in-place members leave a 16-bit or a closed image alone, and no view of the source (nor the
// source seen through a view) is a destination: it would be overwritten while read.
TEST_F(Geometry, RefusedSourcesAndDestinations) {
  Ref sixteen = NewImage(4, 3, kGray16);
  RandomizeWholeRows(sixteen, 1);
  ImageSnapshot before(sixteen);
  Ref closed = NewImage(4, 6, kRGBA);
  closed.Call("Close");
  for (const char* name : {"HMirror", "VMirror", "Rotate180"}) {
    sixteen.Call(name);
    closed.Call(name);
  }
  ExpectSameBytes(before, sixteen, "16-bit gray");

  Ref square = NewImage(5, 5, kRGBA);
  RandomizeWholeRows(square, 3);
  ImageSnapshot squareBefore(square);
  Ref mirrored = square.Call<Ref>("MirroredView");
  EXPECT_FALSE(square.Call<Ref>("Rotate90", mirrored));
  EXPECT_FALSE(square.Call<Ref>("Rotate180", mirrored));
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate270", square));
  Ref clip = square.Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{5}, int64_t{5});
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate90slow", clip));
  ExpectSameBytes(squareBefore, square, "a view as destination");
}

}  // namespace
