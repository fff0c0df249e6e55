// The resampler: its filters, lists and small scales worked out by hand, then the vector loops
// against the plain loops bit for bit over every filter, format pair and byte order, enlarging and
// shrinking, inline and on any number of workers, in memory, file-mapped and through views.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/emulated_host.h"
#include "image/image_class_data.h"
#include "scale/picture_scale.h"
#include "scale/scale_filters.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using platform::SimdLevel;
using xqt::host::Ref;
using D = ImageClassData;

constexpr int64_t kRGB = 1, kRGBA = 2, kARGB = 4, kXRGB = 5, kBGR = 6, kBGRA = 7, kABGR = 9,
                  kG = 11, kGA = 12, kAG = 13, kCMYK = 23, kCMYKA = 24, kACMYK = 25, kKYMC = 28,
                  kScaling4 = 36, kGray16 = 41;

TEST(ScaleFilters, KernelsAtHandWorkedPoints) {
  constexpr double kPi = 3.141592653589793;
  // Triangle 1 - x; box 1 up to one half; Lanczos sinc(x) sinc(x / a), zero at the integers and
  // past a, (2 / pi)(3 / pi) at one half for a = 3; Mitchell (16/3) / 6 at 0, (77/24) / 6 at one
  // half, (1/3) / 6 at 1 and (-5/24) / 6 at 1.5; the two cubics 1 at 0 and 0 at the integers;
  // Poly3 ((1.25 x - 2.25) x) x + 1 at one half and -3/32 at 1.5; Cubic 7/12, -3/32 and 1/96 at
  // 0.5, 1.5 and 2.5.
  // Mode, radius, and points x with the kernel's value there.
  const std::tuple<int64_t, double, std::vector<std::pair<double, double>>> kernels[] = {
      {1, 1, {{0, 1}, {0.25, 0.75}, {1, 0}}},
      {2, 0.5, {{0.5, 1}, {0.51, 0}}},
      {3, 3, {{0, 1}, {0.5, 6 / (kPi * kPi)}, {1, 0}, {3, 0}, {3.5, 0}}},
      {4, 8, {{0, 1}, {2, 0}, {8, 0}, {8.5, 0}}},
      {5, 2, {{0, 8.0 / 9}, {0.5, 77.0 / 144}, {1, 1.0 / 18}, {1.5, -5.0 / 144}, {2, 0}}},
      {6, 4, {{0, 1}, {0.5, 0.59375}, {1, 0}, {1.5, -0.09375}, {2, 0}}},
      {7, 3, {{0, 1}, {0.5, 7.0 / 12}, {1, 0}, {1.5, -0.09375}, {2, 0}, {2.5, 1.0 / 96}, {3, 0}}},
  };
  for (const auto& [mode, radius, points] : kernels) {
    const ScaleFilter* filter = FindScaleFilter(mode);
    ASSERT_NE(filter, nullptr) << mode;
    EXPECT_EQ(filter->radius, radius);
    for (auto [x, k] : points) EXPECT_NEAR(filter->kernel(x), k, 1e-12) << mode << " at " << x;
  }
  EXPECT_EQ(FindScaleFilter(0), nullptr);
  EXPECT_EQ(FindScaleFilter(8), nullptr);
}

// The triangle's lists, with output sample i centred on (i + 0.5) / scale: enlarging 2 to 4 the
// distances are 0.25 and 0.75 (weights 0.75, 0.25); shrinking 4 to 2 the window is two wide and
// the distances are halved. Zero weights are not stored.
TEST(ScaleFilters, TriangleListsWorkedByHand) {
  using List = std::vector<std::pair<int64_t, float>>;
  auto lists = [](int64_t count, double scale, int64_t sources) {
    std::vector<ContributionList> built(static_cast<size_t>(count));
    BuildContributions(built.data(), count, scale, sources, *FindScaleFilter(1),
                       EnlargeBounds::kFloorCeil, nullptr);
    std::vector<List> out;
    for (const ContributionList& l : built) {
      List list;
      float sum = 0;
      for (int64_t t = 0; t < l.count; ++t) {
        list.emplace_back(l.contributions[t].pixel, l.contributions[t].weight);
        sum += l.contributions[t].weight;
      }
      EXPECT_EQ(l.weightSum, sum);
      out.push_back(list);
    }
    FreeContributions(built.data(), count);
    return out;
  };
  EXPECT_EQ(lists(4, 2.0, 2),
            (std::vector<List>{
                {{0, 0.75f}}, {{0, 0.75f}, {1, 0.25f}}, {{0, 0.25f}, {1, 0.75f}}, {{1, 0.75f}}}));
  EXPECT_EQ(lists(2, 0.5, 4), (std::vector<List>{{{0, 0.75f}, {1, 0.75f}, {2, 0.25f}},
                                                 {{1, 0.25f}, {2, 0.75f}, {3, 0.75f}}}));
}

class ScaleExact : public StaticPluginTest {
 protected:
  // Scales `source` to width x height inside a larger random destination, inline or on
  // `threads` workers, and returns every byte of the destination.
  std::vector<uint8_t> Scaled(const Ref& source, int64_t format, int mode, int64_t width,
                              int64_t height, bool threaded = false, int64_t threads = 0,
                              REALobject temp = nullptr) {
    Ref dest = NewImage(width + 2, height + 1, format);
    RandomizeWholeRows(dest, 99);
    D *d = ImageData(dest.get()), *s = ImageData(source.get());
    const bool ok = threaded ? PictureScaleXQTMT(d, threads, s, temp, mode, width, height)
                             : PictureScaleXQT(d, s, temp, mode, width, height);
    EXPECT_TRUE(ok);
    return ImageSnapshot(dest).data;
  }

  // A row (or column) of gray samples, 8 or 16 bits, scaled with `mode` to `count` samples.
  std::vector<int64_t> Line(int64_t format, const std::vector<int64_t>& in, bool column, int mode,
                            int64_t count) {
    const auto n = static_cast<int64_t>(in.size());
    Ref source = NewImage(column ? 1 : n, column ? n : 1, format);
    Ref dest = NewImage(column ? 1 : count, column ? count : 1, format);
    // Gray is the first byte of both formats.
    auto at = [&](const Ref& image, int64_t i) {
      return column ? Row(image, i) : Pixel(image, i, 0);
    };
    const bool wide = format == kGray16;
    for (int64_t i = 0; i < n; ++i) {
      const auto sample = static_cast<uint16_t>(in[i]);
      if (wide) std::memcpy(at(source, i), &sample, 2);
      if (!wide) *at(source, i) = static_cast<uint8_t>(sample);
    }
    EXPECT_TRUE(PictureScaleXQT(ImageData(dest.get()), ImageData(source.get()), nullptr, mode,
                                column ? 1 : count, column ? count : 1));
    std::vector<int64_t> out;
    for (int64_t i = 0; i < count; ++i) {
      uint16_t sample = *at(dest, i);
      if (wide) std::memcpy(&sample, at(dest, i), 2);
      out.push_back(sample);
    }
    return out;
  }
};

// The first pass (along rows) truncates, the second (down columns) rounds: with the lists above,
// 0.25 * 101 = 25.25 and 0.75 * 101 = 75.75 give 25 and 75 along a row and 25 and 76 down a column;
// shrinking, 50 / 1.75 = 28.6 and 160 / 1.75 = 91.4. Box enlarging doubles each sample. Every
// level gives these.
TEST_F(ScaleExact, LinesWorkedByHand) {
  for (SimdLevel level :
       {SimdLevel::kScalar, SimdLevel::kBaseline, SimdLevel::kAVX2, SimdLevel::kAVX512}) {
    LevelCap cap(level);
    SCOPED_TRACE(LevelName(level));
    using V = std::vector<int64_t>;
    EXPECT_EQ(Line(kG, {0, 101}, false, 1, 4), (V{0, 25, 75, 101}));
    EXPECT_EQ(Line(kG, {0, 101}, true, 1, 4), (V{0, 25, 76, 101}));
    EXPECT_EQ(Line(kG, {0, 40, 80, 120}, false, 1, 2), (V{28, 91}));
    EXPECT_EQ(Line(kG, {10, 20, 30}, false, 2, 6), (V{10, 10, 20, 20, 30, 30}));
    EXPECT_EQ(Line(kG, {10, 20, 30}, true, 2, 6), (V{10, 10, 20, 20, 30, 30}));
    EXPECT_EQ(Line(kGray16, {0, 1001}, false, 1, 4), (V{0, 250, 750, 1001}));
    EXPECT_EQ(Line(kGray16, {0, 1001}, true, 1, 4), (V{0, 250, 751, 1001}));
  }
}

// Which source channels feed which destination channels, on one colour at 1:1 with the box
// (weights of 1, so the values pass unchanged but for the luma's truncation):
// 0.3 * 100 + 0.59 * 200 + 0.11 * 50 = 153.5 -> 153. Gray from CMYK is its black; without alpha
// in the source the destination's alpha is left as it was (33).
TEST_F(ScaleExact, ChannelsReachTheirPlaces) {
  using Channels = std::vector<std::pair<std::string, uint8_t>>;
  const Channels rgb = {{"Red", 100}, {"Green", 200}, {"Blue", 50}};
  struct Case {
    int64_t from;
    Channels in;
    int64_t to;
    Channels out;
  } const cases[] = {
      {kBGR, rgb, kG, {{"Gray", 153}}},
      {kABGR,
       {{"Red", 100}, {"Green", 200}, {"Blue", 50}, {"Alpha", 7}},
       kGA,
       {{"Gray", 153}, {"Alpha", 7}}},
      {kG, {{"Gray", 77}}, kXRGB, {{"Red", 77}, {"Green", 77}, {"Blue", 77}}},
      {kGA,
       {{"Gray", 77}, {"Alpha", 99}},
       kRGBA,
       {{"Red", 77}, {"Green", 77}, {"Blue", 77}, {"Alpha", 99}}},
      {kKYMC, {{"Cyan", 10}, {"Magenta", 20}, {"Yellow", 30}, {"Black", 40}}, kG, {{"Gray", 40}}},
      {kCMYKA, {{"Black", 4}, {"Alpha", 5}}, kAG, {{"Gray", 4}, {"Alpha", 5}}},
      {kRGB, rgb, kBGRA, {{"Red", 100}, {"Green", 200}, {"Blue", 50}, {"Alpha", 33}}},
  };
  auto at = [](const Ref& image, int64_t x, int64_t y, const std::string& channel) {
    return Pixel(image, x, y) + image.Get<int64_t>(channel + "Offset");
  };
  for (const Case& c : cases) {
    Ref source = NewImage(3, 2, c.from), dest = NewImage(3, 2, c.to);
    FillBytes(dest, 33);
    ForEachPixel(3, 2, [&](int64_t x, int64_t y) {
      for (const auto& [channel, value] : c.in) *at(source, x, y, channel) = value;
    });
    ASSERT_TRUE(PictureScaleXQT(ImageData(dest.get()), ImageData(source.get()), nullptr, 2, 3, 2));
    ForEachPixel(3, 2, [&](int64_t x, int64_t y) {
      for (const auto& [channel, value] : c.out) {
        EXPECT_EQ(*at(dest, x, y, channel), value) << c.from << " to " << c.to << " " << channel;
      }
    });
  }
}

// A caller's temp shows the first pass alone, truncated (75.75 above), in every channel.
TEST_F(ScaleExact, TheTempHoldsTheTruncatedFirstPass) {
  Ref source = NewImage(2, 1, kABGR), temp = NewImage(4, 1, kScaling4);
  SetPixels(source, 0, {0, 0, 0, 0, 101, 101, 101, 101});
  Scaled(source, kRGBA, 1, 4, 2, false, 0, temp.get());
  EXPECT_EQ(RowBytes(temp, 0, 16),
            (Bytes{0, 0, 0, 0, 25, 25, 25, 25, 75, 75, 75, 75, 101, 101, 101, 101}));
}

// Pairs of every kind, and between them every byte order of each family.
const std::pair<int64_t, int64_t> kPairs[] = {
    {kCMYK, kKYMC},     {kKYMC, kG},   {kRGB, kBGRA},   {kBGR, kG},       {kG, kCMYK},
    {kAG, kKYMC},       {kG, kXRGB},   {kG, kG},        {kACMYK, kCMYKA}, {kCMYKA, kAG},
    {kARGB, kBGRA},     {kABGR, kGA},  {kAG, kACMYK},   {kGA, kRGBA},     {kAG, kGA},
    {kGray16, kGray16}, {kRGBA, kRGB}, {kCMYKA, kCMYK}, {kXRGB, kABGR},   {kGA, kG},
    {kRGB, kRGB},
};

struct Size {
  int64_t sw, sh, dw, dh;
};

std::string Describe(std::pair<int64_t, int64_t> p, int mode, const Size& z) {
  return std::to_string(p.first) + "->" + std::to_string(p.second) + " mode " +
         std::to_string(mode) + " " + std::to_string(z.sw) + "x" + std::to_string(z.sh) + "->" +
         std::to_string(z.dw) + "x" + std::to_string(z.dh);
}

// Enlarging and shrinking by integer and odd ratios, thin images, a single pixel, 10x and 0.1x;
// then a channel view (a gray image whose pixels are four bytes apart) and a file-mapped image
// (read through its band; that it gives the bytes of memory is the mapped images' test).
TEST_F(ScaleExact, EveryPairFilterSizeAndSource) {
  const Size sizes[] = {{13, 7, 29, 17}, {37, 23, 11, 5}, {1, 9, 5, 3},   {9, 1, 4, 6},
                        {1, 1, 6, 5},    {5, 4, 50, 40},  {50, 40, 5, 4}, {12, 12, 12, 12}};
  for (const auto& p : kPairs) {
    for (const Size& z : sizes) {
      Ref source = NewImage(z.sw, z.sh, p.first);
      RandomizeWholeRows(source, static_cast<uint32_t>(z.sw * 131 + z.sh));
      for (int mode = 1; mode <= 7; ++mode) {
        ExpectEveryLevelAsPlain([&] { return Scaled(source, p.second, mode, z.dw, z.dh); },
                                Describe(p, mode, z));
      }
    }
  }
  Ref parent = NewImage(29, 19, kBGRA);
  RandomizeWholeRows(parent, 3);
  Ref mapped = host_.New("PictureXQT", int64_t{33}, int64_t{40}, kRGBA, int64_t{0}, nullptr);
  ASSERT_TRUE(ImageData(mapped.get())->IsMapping);
  Randomise(mapped, 5);
  for (const Ref& source : {parent.Call<Ref>("RedChannel"), mapped}) {
    for (int mode = 1; mode <= 7; ++mode) {
      const std::string what =
          std::to_string(source.Get<int64_t>("Width")) + " mode " + std::to_string(mode);
      ExpectEveryLevelAsPlain([&] { return Scaled(source, kG, mode, 10, 41); }, what);
      ExpectEveryLevelAsPlain([&] { return Scaled(source, kRGB, mode, 31, 7, true, 2); }, what);
    }
  }
}

// The vector loops take source columns in strips of a few hundred and rows eight at a time, and
// convert each temp row once per strip into a ring read again by the next rows, in bands: widths
// of several strips, heights that leave part blocks and part bands, every channel count they are
// built for, and a shrink whose windows are too tall for the ring. Workers split the rows; any
// number of them gives the inline bytes.
TEST_F(ScaleExact, StripsBandsAndWorkers) {
  const Size sizes[] = {{1203, 13, 401, 9},
                        {611, 5, 1500, 11},
                        {180, 11, 400, 37},
                        {31, 700, 29, 3},
                        {61, 47, 23, 71}};
  for (const auto& p : {kPairs[10], kPairs[2], kPairs[3], kPairs[15], kPairs[14], kPairs[8],
                        kPairs[11], kPairs[0], kPairs[20], kPairs[6]}) {
    for (const Size& z : sizes) {
      Ref source = NewImage(z.sw, z.sh, p.first);
      RandomizeWholeRows(source, static_cast<uint32_t>(z.sw + z.sh));
      for (int mode : {3, 5, 6}) {
        ExpectEveryLevelAsPlain(
            [&] {
              std::vector<uint8_t> inline_ = Scaled(source, p.second, mode, z.dw, z.dh);
              const bool last = &z == &sizes[std::size(sizes) - 1];
              for (int64_t threads :
                   last ? std::vector<int64_t>{-1, 0, 1, 2, 3, 7} : std::vector<int64_t>{2}) {
                EXPECT_TRUE(
                    SameBytes(Scaled(source, p.second, mode, z.dw, z.dh, true, threads), inline_))
                    << threads << " threads";
              }
              return inline_;
            },
            Describe(p, mode, z));
      }
    }
  }
}

}  // namespace
