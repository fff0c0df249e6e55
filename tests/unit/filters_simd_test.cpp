// The vector kernels of the point filters, the dither and the unsharp combination against the plain
// loops: whole filters at every processor level on random images of odd sizes in every format they
// serve, clips, channel views and images filtered into themselves included. Equal means equal
// bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "filters/dither.h"
#include "filters/filter_simd.h"
#include "filters/point_filters.h"
#include "filters/unsharp.h"
#include "host/emulated_host.h"
#include "support/image_layout.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Ref;

// Every format with a family the filters handle, plus 16-bit gray and a scaling format.
const int64_t kFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 16,
                            23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 37, 41, 42, 45};

// The layouts and rows the kernels take, and those left to the plain loops.
TEST(FilterKernels, LayoutsThatTheKernelsRefuse) {
  ImageClassData a{}, b{};
  a.PixelSize = b.PixelSize = 4;
  const int64_t offsets[] = {0, 1, 2, 3};
  const int64_t shifted[] = {0, 1, 2, 7};
  const int64_t repeated[] = {0, 1, 2, 0};
  const int64_t moved[] = {1, 0, 2, 3};
  const uint8_t classes[] = {1, 1, 1, 2};
  BytePattern pattern;
  EXPECT_TRUE(VectorLayout(a, b, 4, offsets, offsets, classes, pattern));
  EXPECT_EQ(pattern.classes[3], 2);
  EXPECT_EQ(pattern.classes[4 + 3], 2);
  EXPECT_FALSE(VectorLayout(a, b, 4, shifted, shifted, classes, pattern));    // outside the pixel
  EXPECT_FALSE(VectorLayout(a, b, 4, repeated, repeated, classes, pattern));  // an offset twice
  EXPECT_FALSE(VectorLayout(a, b, 4, offsets, moved, classes, pattern));      // layouts differ
  b.PixelSize = 3;
  EXPECT_FALSE(VectorLayout(a, b, 3, offsets, offsets, classes, pattern));  // pixel sizes differ
  a.PixelSize = b.PixelSize = kMaxVectorPixel + 1;
  EXPECT_FALSE(VectorLayout(a, b, 4, offsets, offsets, classes, pattern));

  uint8_t row[64];
  EXPECT_TRUE(RowsSafeForVectors(row, row, 32));
  EXPECT_TRUE(RowsSafeForVectors(row, row + 32, 32));
  EXPECT_TRUE(RowsSafeForVectors(row + 32, row, 32));
  EXPECT_FALSE(RowsSafeForVectors(row, row + 1, 32));
  EXPECT_FALSE(RowsSafeForVectors(row + 31, row, 32));
}

// ---- Whole filters at every level ----

// The image whose rows ShiftedRow hands out one pixel along.
ImageClassData* gShiftedParent = nullptr;
uint8_t* ShiftedRow(ImageClassData*, int64_t y) {
  return gShiftedParent->GetRow(gShiftedParent, y) + gShiftedParent->PixelSize;
}

class FilterLevels : public StaticPluginTest {
 protected:
  Ref Random(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = NewImage(width, height, format);
    RandomizeWholeRows(image, seed);
    return image;
  }

  // Runs `filter` at every level, each time on fresh images from `make`, and expects the bytes
  // of all of them to equal those of the plain level.
  template <class Make, class Filter>
  void ExpectSameAtEveryLevel(Make&& make, Filter&& filter, const std::string& what) {
    ExpectEveryLevelAsPlain(
        [&] {
          std::vector<Ref> images = make();
          filter(images);
          std::vector<uint8_t> bytes;
          for (const Ref& image : images) {
            const std::vector<uint8_t> one = ImageSnapshot(image).data;
            bytes.insert(bytes.end(), one.begin(), one.end());
          }
          return bytes;
        },
        what);
  }

  // Source and dest, random, of the same format and an odd size.
  auto Pair(int64_t format, uint32_t seed) {
    return [this, format, seed] {
      return std::vector<Ref>{Random(37, 5, format, seed), Random(37, 5, format, seed + 1)};
    };
  }
};

TEST_F(FilterLevels, PointFiltersInEveryFormat) {
  uint32_t seed = 1;
  for (int64_t format : kFormats) {
    auto run = [](auto member) {
      return [member](std::vector<Ref>& images) {
        Ref result = Ref::Adopt(member(images[0].get(), images[1].get()));
        // Nil only where a 16-bit source is refused.
        if (result) {
          ASSERT_EQ(result.get(), images[1].get());
        }
      };
    };
    std::string name = "format " + std::to_string(format);
    ExpectSameAtEveryLevel(Pair(format, seed++), run([](REALobject s, REALobject d) {
                             return GammaFilterRGBA(s, d, 2.2, 0.7, 1.3, 3.0);
                           }),
                           "GammaFilterRGBA " + name);
    ExpectSameAtEveryLevel(Pair(format, seed++), run([](REALobject s, REALobject d) {
                             return GammaFilterGA(s, d, 0.45, 1.8);
                           }),
                           "GammaFilterGA " + name);
    ExpectSameAtEveryLevel(Pair(format, seed++), run([](REALobject s, REALobject d) {
                             return GammaFilterRGB(s, d, 1.5, 1.0, 0.8);
                           }),
                           "GammaFilterRGB, green a copy, " + name);
    ExpectSameAtEveryLevel(Pair(format, seed++), run([](REALobject s, REALobject d) {
                             return GainFilter(s, d, 0.3, 0.6);
                           }),
                           "GainFilter " + name);
    ExpectSameAtEveryLevel(Pair(format, seed++),
                           run([](REALobject s, REALobject d) { return SolarizeFilter(s, d); }),
                           "SolarizeFilter " + name);
  }
}

TEST_F(FilterLevels, DitherInEveryFormat) {
  const int64_t levelsList[] = {2, 3, 5, 16, 255, 256, 1000};
  uint32_t seed = 500;
  for (int64_t format : kFormats) {
    for (int64_t matrix = 1; matrix <= 10; ++matrix) {
      int64_t levels = levelsList[(matrix + format) % 7];
      ExpectSameAtEveryLevel(
          Pair(format, seed++),
          [&](std::vector<Ref>& images) {
            Ref result = Ref::Adopt(DitherFilter(images[0].get(), images[1].get(), matrix, levels));
            EXPECT_EQ(result.get() != nullptr, format != 41);  // 16-bit sources are refused
          },
          "format " + std::to_string(format) + " matrix " + std::to_string(matrix));
    }
  }
}

TEST_F(FilterLevels, UnsharpInEveryFormat) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    double amount;
    int64_t threshold;
  };
  // Finite factors take the formula; an overflowing, infinite or NaN one keeps the table.
  const Case cases[] = {{0.6, 3}, {-0.4, 0}, {2.5, 40}, {1e308, 1}, {inf, 2}, {-inf, 0}, {nan, 0}};
  uint32_t seed = 900;
  for (int64_t format : kFormats) {
    for (const Case& c : cases) {
      ExpectSameAtEveryLevel(
          Pair(format, seed++),
          [&](std::vector<Ref>& images) {
            EXPECT_EQ(UnsharpFilter(images[1].get(), images[0].get(), c.amount, c.threshold),
                      format != 41);
          },
          "format " + std::to_string(format) + " amount " + std::to_string(c.amount));
    }
  }
}

// Clips (offsets past the pixel, a row start inside the parent), channel views (one byte of a
// wider pixel), an image filtered into itself, and a dest that shares bytes with its source one
// pixel along: the kernels take what suits them, the plain loops the rest, with equal bytes.
TEST_F(FilterLevels, SharedAndShiftedStorage) {
  uint32_t seed = 2000;
  for (int64_t format : {1, 2, 12, 24, 41}) {
    auto parent = [&, format] {
      return std::vector<Ref>{Random(41, 7, format, seed), Random(41, 7, format, seed + 1)};
    };
    ++seed;
    auto clip = [](const Ref& image) {
      return image.Call<Ref>("ClipImage", int64_t{3}, int64_t{1}, int64_t{29}, int64_t{5});
    };
    ExpectSameAtEveryLevel(
        parent,
        [&](std::vector<Ref>& images) {
          Ref from = clip(images[0]), to = clip(images[1]);
          Ref a = Ref::Adopt(GammaFilterRGBA(from.get(), to.get(), 1.7, 0.6, 2.4, 1.2));
          Ref b = Ref::Adopt(DitherFilter(from.get(), to.get(), 10, 4));
          EXPECT_EQ(UnsharpFilter(to.get(), from.get(), 0.8, 2), format != 41);
        },
        "clips of format " + std::to_string(format));
    ExpectSameAtEveryLevel(
        parent,
        [&](std::vector<Ref>& images) {
          Ref a = Ref::Adopt(SolarizeFilter(images[0].get(), images[0].get()));
          Ref b = Ref::Adopt(DitherFilter(images[1].get(), images[1].get(), 3, 3));
          EXPECT_EQ(UnsharpFilter(images[1].get(), images[1].get(), 1.5, 0), format != 41);
        },
        "in place, format " + std::to_string(format));
  }
  for (int64_t index = 0; index < 4; ++index) {
    ExpectSameAtEveryLevel(
        [&] {
          return std::vector<Ref>{Random(43, 6, 2, seed), Random(43, 6, 2, seed + 1)};
        },
        [&](std::vector<Ref>& images) {
          Ref from = images[0].Call<Ref>("Channel", index);
          Ref to = images[1].Call<Ref>("Channel", index);
          Ref a = Ref::Adopt(GammaFilterG(from.get(), to.get(), 1.9));
          Ref b = Ref::Adopt(DitherFilter(from.get(), to.get(), 7, 6));
          EXPECT_TRUE(UnsharpFilter(to.get(), from.get(), 0.3, 5));
          // A channel view into a different channel of the same pixels.
          Ref other = images[0].Call<Ref>("Channel", (index + 1) % 4);
          Ref c = Ref::Adopt(GammaFilterG(from.get(), other.get(), 0.6));
        },
        "channel " + std::to_string(index));
    ++seed;
  }
  // A dest whose rows start one pixel into the source's rows: partly overlapping rows with the
  // same layout, which only the plain loop (each pixel after the previous one) gets right.
  ExpectSameAtEveryLevel(
      [&] {
        return std::vector<Ref>{Random(45, 5, 2, seed), Random(44, 5, 2, seed)};
      },
      [&](std::vector<Ref>& images) {
        Ref from =
            images[0].Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{44}, int64_t{5});
        ImageClassData* to = ImageData(images[1].get());
        gShiftedParent = ImageData(images[0].get());
        GetRowProc own = to->GetRow;
        to->GetRow = ShiftedRow;
        Ref a = Ref::Adopt(GammaFilterRGBA(from.get(), images[1].get(), 2.0, 0.5, 1.0, 3.0));
        Ref b = Ref::Adopt(DitherFilter(from.get(), images[1].get(), 2, 3));
        EXPECT_TRUE(UnsharpFilter(images[1].get(), from.get(), 0.5, 0));
        to->GetRow = own;
      },
      "overlapping rows");
}

}  // namespace
