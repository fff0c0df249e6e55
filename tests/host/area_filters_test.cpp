// Box blurs and ApplyMatrix through the host and the real plug-in: hand-worked cases, every
// family against direct sums over the clamped neighbourhood, and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

const int64_t kFormats[] = {kRGB, kRGBA, kXRGB, kBGRA, kG, kGA, kAG, kCMYK, kCMYKA, kKYMC};

class AreaFilters : public PluginTest {
 protected:
  // Every channel of `result` (alpha too unless `keepAlpha`) against `finish` of the direct sum
  // over the clamped neighbourhood of `source`, weighted by `weight(i, j)` for -r .. r each way;
  // a kept alpha must equal the source's.
  template <class Weight, class Finish>
  void ExpectSums(const Ref& source, const Ref& result, int64_t rx, int64_t ry, Weight weight,
                  Finish finish, bool keepAlpha = false) {
    const int64_t w = source.Get<int64_t>("Width"), h = source.Get<int64_t>("Height");
    const std::vector<int64_t> in = ChannelOffsets(source), out = ChannelOffsets(result);
    const size_t kept = keepAlpha && source.Get<bool>("HasAlpha") ? in.size() - 1 : in.size();
    ImageSnapshot from(source), to(result);
    auto at = [&](int64_t x, int64_t y, int64_t offset) {
      return from.Pixel(std::clamp<int64_t>(x, 0, w - 1), std::clamp<int64_t>(y, 0, h - 1))[offset];
    };
    ForEachPixel(w, h, [&](int64_t x, int64_t y) {
      for (size_t k = 0; k < in.size(); ++k) {
        int64_t sum = 0;
        for (int64_t j = -ry; j <= ry && k < kept; ++j) {
          for (int64_t i = -rx; i <= rx; ++i) sum += weight(i, j) * at(x + i, y + j, in[k]);
        }
        ASSERT_EQ(to.Pixel(x, y)[out[k]], k < kept ? finish(sum) : at(x, y, in[k]))
            << "x " << x << " y " << y << " channel " << k << " radii " << rx << "," << ry;
      }
    });
  }
  // The blur written out as its double sum: weight `inner` inside the box, f on its rim, rounded.
  void ExpectBlur(const Ref& source, const Ref& result, int64_t rx, int64_t ry, int64_t inner,
                  int64_t f) {
    auto weight = [&](int64_t d, int64_t r) { return d < -r || d > r ? f : inner; };
    const int64_t total = (inner * (2 * rx + 1) + 2 * f) * (inner * (2 * ry + 1) + 2 * f);
    ExpectSums(
        source, result, rx + 1, ry + 1,
        [&](int64_t i, int64_t j) { return weight(i, rx) * weight(j, ry); },
        [&](int64_t sum) { return (sum + total / 2) / total; });
  }
};

// Each 3 x 3 box holds three columns of the step: 0, 0, 255 / 3 = 85, 510 / 3 = 170. Blurred only
// vertically, the uniform columns stay. Half a pixel more weighs 1/2, 1, 1, 1, 1/2 over 4 samples:
// at x = 1, (255 / 2) / 4 = 31.9 rounds to 32; at x = 2, (255 + 255 / 2) / 4 = 95.6 to 96; at
// x = 3, (2 x 255 + 255 / 2) / 4 = 159.4 to 159; at x = 4, (3 x 255 + 255 / 2) / 4 = 223.1 to 223.
TEST_F(AreaFilters, StepEdgeByHand) {
  Ref image = NewImage(6, 2, kG);
  const Bytes step = {0, 0, 0, 255, 255, 255};
  for (int64_t y = 0; y < 2; ++y) SetPixels(image, y, step);
  Ref boxed = image.Call<Ref>("BoxBlurFilter", nullptr, int64_t{1});
  Ref vertical = image.Call<Ref>("BoxBlurFilter", nullptr, int64_t{0}, int64_t{3});
  Ref fractional = image.Call<Ref>("BoxBlurFractionalFilter", nullptr, 1.5);
  for (int64_t y = 0; y < 2; ++y) {
    EXPECT_EQ(RowBytes(boxed, y, 6), (Bytes{0, 0, 85, 170, 255, 255}));
    EXPECT_EQ(RowBytes(vertical, y, 6), step);
    EXPECT_EQ(RowBytes(fractional, y, 6), (Bytes{0, 32, 96, 159, 223, 255}));
  }
}

TEST_F(AreaFilters, BoxBlurOfAnyRadiusMatchesDirectSums) {
  for (int64_t format : kFormats) {
    SCOPED_TRACE(format);
    Ref source = NewImage(13, 9, format);
    Randomise(source, static_cast<uint32_t>(format));
    // Radii past the image's sides too: the clamped edges fill the whole box.
    const int64_t pairs[][2] = {{0, 0}, {1, 1}, {2, 2}, {5, 5}, {23, 23},
                                {3, 0}, {0, 2}, {7, 1}, {1, 12}};
    for (auto& p : pairs) {
      ExpectBlur(source, source.Call<Ref>("BoxBlurFilter", nullptr, p[0], p[1]), p[0], p[1], 1, 0);
    }
    // Fractions in 1/256 steps: 0.25 is 64, 2.75 is 192, whole radii carry no rim.
    ExpectBlur(source, source.Call<Ref>("BoxBlurFractionalFilter", nullptr, 0.25), 0, 0, 256, 64);
    ExpectBlur(source, source.Call<Ref>("BoxBlurFractionalFilter", nullptr, 2.75), 2, 2, 256, 192);
    ExpectBlur(source, source.Call<Ref>("BoxBlurFractionalFilter", nullptr, 3.0), 3, 3, 256, 0);
    // Into a larger given dest of another byte order.
    Ref dest = NewImage(14, 10, format == kRGBA ? kBGRA : format);
    EXPECT_EQ(source.Call<Ref>("BoxBlurFilter", dest, int64_t{2}).get(), dest.get());
    ExpectBlur(source, dest, 2, 2, 1, 0);
  }
}

// Sharpening (5 in the centre, -1 across), edges clamped: at the centre 5 x 50 - 20 - 40 - 60 - 80
// = 50, at the top left 5 x 10 - 10 - 10 - 20 - 40 = -30, clamped to 0; row by row the sums are
// -30, -10, 10 / 30, 50, 70 / 90, 110, 130. Divided by 2 they round half away from zero (-15,
// -5, 5, ...) before bias 100 is added; divided by 4 every one is a half (-7.5 gives -8, 2.5
// gives 3), plus bias 10. The divisor defaults to the sum of the entries: ones make the mean,
// 450 / 9 = 50 at the centre; a single entry is a scale, 2 / 1 doubling and 2 / 2 a copy.
TEST_F(AreaFilters, MatrixByHand) {
  Ref image = NewImage(3, 3, kG);
  const Bytes values = {10, 20, 30, 40, 50, 60, 70, 80, 90};
  for (int64_t y = 0; y < 3; ++y) {
    SetPixels(image, y, Bytes(values.begin() + 3 * y, values.begin() + 3 * y + 3));
  }
  auto apply = [&](std::vector<int64_t> kernel, auto... args) {
    return PixelBytes(
        image.Call<Ref>("ApplyMatrix", nullptr, host_.NewIntegerArray(kernel), args...));
  };
  const std::vector<int64_t> sharpen = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  EXPECT_EQ(apply(sharpen), (Bytes{0, 0, 10, 30, 50, 70, 90, 110, 130}));
  EXPECT_EQ(apply(sharpen, int64_t{2}, int64_t{100}),
            (Bytes{85, 95, 105, 115, 125, 135, 145, 155, 165}));
  EXPECT_EQ(apply(sharpen, int64_t{4}, int64_t{10}), (Bytes{2, 7, 13, 18, 23, 28, 33, 38, 43}));
  EXPECT_EQ(apply(std::vector<int64_t>(9, 1))[4], 50);
  EXPECT_EQ(apply({2}, int64_t{1}), (Bytes{20, 40, 60, 80, 100, 120, 140, 160, 180}));
  EXPECT_EQ(apply({2}), values);
}

TEST_F(AreaFilters, MatrixMatchesDirectSumsAndKeepsAlpha) {
  std::mt19937 random(9);
  std::vector<int64_t> kernel(25);
  for (int64_t& v : kernel) v = static_cast<int64_t>(random() % 21) - 10;
  Ref array = host_.NewIntegerArray(kernel);
  for (int64_t format : kFormats) {
    SCOPED_TRACE(format);
    Ref source = NewImage(9, 7, format);
    Randomise(source, static_cast<uint32_t>(format) + 40);
    Ref result = source.Call<Ref>("ApplyMatrix", nullptr, array, int64_t{-7}, int64_t{128});
    // The sum / -7 rounded half away from zero, plus the bias; alpha is kept.
    ExpectSums(
        source, result, 2, 2, [&](int64_t i, int64_t j) { return kernel[(j + 2) * 5 + i + 2]; },
        [](int64_t sum) {
          const int64_t magnitude = (std::llabs(sum) + 3) / 7;
          return std::clamp<int64_t>((sum > 0 ? -magnitude : magnitude) + 128, 0, 255);
        },
        true);
  }
}

TEST_F(AreaFilters, Refusals) {
  Ref source = NewImage(5, 4, kRGBA);
  Randomise(source, 5);
  for (int64_t radius : {-1, 65536})
    EXPECT_FALSE(source.Call<Ref>("BoxBlurFilter", nullptr, radius));
  EXPECT_FALSE(source.Call<Ref>("BoxBlurFilter", nullptr, int64_t{1}, int64_t{-2}));
  EXPECT_FALSE(source.Call<Ref>("BoxBlurFractionalFilter", nullptr, -0.5));
  EXPECT_FALSE(source.Call<Ref>("BoxBlurFractionalFilter", nullptr, std::nan("")));
  // The running sums read source rows after writing rows above them: no view of the source either.
  Ref mirrored = source.Call<Ref>("MirroredView");
  EXPECT_FALSE(source.Call<Ref>("BoxBlurFilter", mirrored, int64_t{1}));
  EXPECT_FALSE(mirrored.Call<Ref>("BoxBlurFractionalFilter", source, 1.5));

  // Kernels that are not square, of an even side (no centre), empty, or too large an entry.
  for (std::vector<int64_t> kernel :
       {std::vector<int64_t>(8, 1), std::vector<int64_t>(4, 1), {}, {int64_t{1} << 40}}) {
    EXPECT_FALSE(source.Call<Ref>("ApplyMatrix", nullptr, host_.NewIntegerArray(kernel)));
  }
  Ref ones = host_.NewIntegerArray({1, 1, 1, 1, 1, 1, 1, 1, 1});
  EXPECT_FALSE(source.Call<Ref>("ApplyMatrix", nullptr, nullptr));
  EXPECT_FALSE(source.Call<Ref>("ApplyMatrix", nullptr, ones, int64_t{0}));
  // The extreme biases push every sample to one end (and must not overflow on the way).
  for (int64_t bias : {INT64_MAX, INT64_MIN}) {
    Ref result = source.Call<Ref>("ApplyMatrix", nullptr, ones, int64_t{1}, bias);
    ASSERT_TRUE(result);
    EXPECT_EQ(Row(result, 2)[1], bias > 0 ? 255 : 0);
  }
  // A refused given dest goes back with its reference dropped (TearDown counts them).
  Ref dest = NewImage(5, 4, kRGBA);
  EXPECT_FALSE(source.Call<Ref>("ApplyMatrix", dest, ones, int64_t{0}, int64_t{0}));
}

}  // namespace
