// The multiply-and-correct division the box blurs use, against the processor's division, and the
// rotation box for angles whose sine and cosine round.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>

#include "filters/area_filters.h"
#include "geometry/rotate.h"

namespace {

TEST(AreaDivider, MatchesDivisionEverywhere) {
  std::mt19937_64 random(1);
  const uint64_t divisors[] = {
      1, 2, 3, 7, 9, 255, 49729, 3ull * 3 * 65536 * 65536, ~uint64_t{0}, (uint64_t{1} << 63) + 1};
  for (uint64_t d : divisors) {
    const Divider divide(d);
    const uint64_t edges[] = {0, 1, d - 1, d, d + 1, ~uint64_t{0}, ~uint64_t{0} - 1};
    for (uint64_t n : edges) ASSERT_EQ(divide(n), n / d) << n << " / " << d;
    for (int i = 0; i < 20000; ++i) {
      const uint64_t n = random() >> (random() % 64);
      ASSERT_EQ(divide(n), n / d) << n << " / " << d;
    }
  }
  for (int i = 0; i < 20000; ++i) {
    const uint64_t d = (random() >> (random() % 64)) | 1;
    const uint64_t n = random();
    ASSERT_EQ(Divider(d)(n), n / d) << n << " / " << d;
  }
}

TEST(AreaRotation, BoxOfTheTurnedImage) {
  RotationGeometry g;
  ASSERT_TRUE(RotationFor(90, 6000, 4000, g));
  EXPECT_EQ(g.width, 4000);
  EXPECT_EQ(g.height, 6000);
  EXPECT_EQ(g.cosine, 0);
  ASSERT_TRUE(RotationFor(-720, 5, 3, g));
  EXPECT_EQ(g.width, 5);
  EXPECT_EQ(g.height, 3);
  // 30 degrees: 6000 cos 30 + 4000 sin 30 = 7196.15, 6000 sin 30 + 4000 cos 30 = 6464.10.
  ASSERT_TRUE(RotationFor(30, 6000, 4000, g));
  EXPECT_EQ(g.width, 7197);
  EXPECT_EQ(g.height, 6465);
  // 60 degrees of a square of 2: 2 (cos 60 + sin 60) = 2.732 -> 3.
  ASSERT_TRUE(RotationFor(60, 2, 2, g));
  EXPECT_EQ(g.width, 3);
  EXPECT_FALSE(RotationFor(std::numeric_limits<double>::infinity(), 2, 2, g));
  EXPECT_FALSE(RotationFor(45, int64_t{1} << 40, 2, g));
}

}  // namespace
