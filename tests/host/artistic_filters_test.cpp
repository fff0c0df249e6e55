// Oil, diffuse, engrave, neon and stamp through the host and the real plug-in: small cases
// worked by hand, every family against the gray result, and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

const int64_t kFormats[] = {kRGB, kRGBA, kBGRA, kG, kGA, kCMYK, kCMYKA};

// An image read into plain memory: channel values in the filters' order, alpha last.
struct Pixels {
  int64_t w = 0, h = 0;
  int colours = 0;
  bool alpha = false, cmyk = false;
  std::vector<std::vector<int>> at;  // [y * w + x][channel]
  const std::vector<int>& P(int64_t x, int64_t y) const {
    return at[std::clamp<int64_t>(y, 0, h - 1) * w + std::clamp<int64_t>(x, 0, w - 1)];
  }
};

class ArtisticFilters : public PluginTest {
 protected:
  Pixels Read(const Ref& image) {
    Pixels p;
    p.w = image.Get<int64_t>("Width");
    p.h = image.Get<int64_t>("Height");
    p.alpha = image.Get<bool>("HasAlpha");
    p.cmyk = image.Get<bool>("IsCMYK");
    std::vector<int64_t> offsets = ChannelOffsets(image);
    p.colours = static_cast<int>(offsets.size()) - (p.alpha ? 1 : 0);
    ForEachPixel(p.w, p.h, [&](int64_t x, int64_t y) {
      p.at.emplace_back();
      for (int64_t o : offsets) p.at.back().push_back(Pixel(image, x, y)[o]);
    });
    return p;
  }
  // A gray level as the filters write it into the colour channels of `p`'s family.
  static std::vector<int> Level(const Pixels& p, int v, int alpha) {
    std::vector<int> out;
    if (p.cmyk) {
      out = {0, 0, 0, 255 - v};
    } else {
      out.assign(static_cast<size_t>(p.colours), v);
    }
    if (p.alpha) out.push_back(alpha);
    return out;
  }
};

TEST_F(ArtisticFilters, SmallCasesByHand) {
  Ref image = NewImage(3, 3, kG);
  FillBytes(image, 0);
  Row(image, 1)[1] = 255;
  // Oil: eight of nine neighbours in the dark bucket, so the dot goes.
  EXPECT_EQ(Row(image.Call<Ref>("OilFilter", nullptr, int64_t{1}, int64_t{2}), 1)[1], 0);
  // Neon at the dot's neighbour (1, 0): |0 - 0| + |255 - 0| (down minus up, the top clamped)
  // doubled and clamped: 255. At the dot itself every difference is 0.
  Ref neon = image.Call<Ref>("NeonFilter", nullptr);
  EXPECT_EQ(Row(neon, 0)[1], 255);
  EXPECT_EQ(Row(neon, 1)[1], 0);
  // Engrave: 128 + I(x+1, y+1) - I(x-1, y-1); at (0, 0) the lit side is the dot: 383 -> 255;
  // at (2, 2) the shaded side is: 128 - 255 -> 0; elsewhere flat 128.
  Ref engraved = image.Call<Ref>("EngraveFilter", nullptr);
  EXPECT_EQ(Row(engraved, 0)[0], 255);
  EXPECT_EQ(Row(engraved, 2)[2], 0);
  EXPECT_EQ(Row(engraved, 0)[2], 128);
  // Stamp: at or above the threshold white.
  Ref stamp = image.Call<Ref>("StampFilter", nullptr, int64_t{255});
  EXPECT_EQ(Row(stamp, 1)[1], 255);
  EXPECT_EQ(Row(stamp, 0)[0], 0);
  // Diffuse by 0 is a copy.
  EXPECT_EQ(PixelBytes(image.Call<Ref>("DiffuseFilter", nullptr, int64_t{0})), PixelBytes(image));
}

// Every family filters like gray: an image whose colours all hold a gray image's levels (CMYK
// holding 255 - level as black ink, which reads back as that level) gives the gray result in
// every colour channel; alpha stays where it was, or moves with its pixel in the diffusion. Neon
// and oil work per ink, so CMYK is compared only for the filters that write a level.
TEST_F(ArtisticFilters, EveryFamilyFiltersLikeGray) {
  Ref gray = NewImage(11, 7, kG);
  Randomise(gray, 3);
  const Pixels levels = Read(gray);
  struct Filter {
    const char* name;
    std::function<Ref(const Ref&)> run;
    bool perChannel, movesPixels;
  };
  auto member = [](const char* name, auto... args) {
    return [=](const Ref& i) { return i.Call<Ref>(name, nullptr, args...); };
  };
  const Filter filters[] = {
      {"NeonFilter", member("NeonFilter"), true, false},
      {"EngraveFilter", member("EngraveFilter"), false, false},
      {"StampFilter", member("StampFilter", int64_t{100}), false, false},
      {"OilFilter 2 4", member("OilFilter", int64_t{2}, int64_t{4}), true, false},
      {"OilFilter 9 256", member("OilFilter", int64_t{9}, int64_t{256}), true, false},
      // Diffuse draws dx then dy from rand(), which the plug-in shares with this process.
      {"DiffuseFilter",
       [](const Ref& i) {
         std::srand(99);
         return i.Call<Ref>("DiffuseFilter", nullptr, int64_t{3});
       },
       false, true},
  };
  for (int64_t format : kFormats) {
    SCOPED_TRACE(format);
    Ref image = NewImage(11, 7, format);
    const std::vector<int64_t> offsets = ChannelOffsets(image);
    const Pixels p = Read(image);
    // Alpha holds the level too, so that a pixel that moves can be told by its alpha.
    ForEachPixel(p.w, p.h, [&](int64_t x, int64_t y) {
      const std::vector<int> level = Level(p, levels.P(x, y)[0], levels.P(x, y)[0]);
      for (size_t c = 0; c < offsets.size(); ++c)
        Pixel(image, x, y)[offsets[c]] = uint8_t(level[c]);
    });
    for (const Filter& filter : filters) {
      if (p.cmyk && filter.perChannel) continue;
      SCOPED_TRACE(filter.name);
      const Pixels want = Read(filter.run(gray)), got = Read(filter.run(image));
      ForEachPixel(p.w, p.h, [&](int64_t x, int64_t y) {
        const int level = want.P(x, y)[0];
        ASSERT_EQ(got.P(x, y), Level(p, level, filter.movesPixels ? level : levels.P(x, y)[0]))
            << "pixel " << x << ", " << y;
      });
    }
  }
}

TEST_F(ArtisticFilters, Refusals) {
  Ref source = NewImage(5, 4, kRGB);
  EXPECT_FALSE(source.Call<Ref>("OilFilter", nullptr, int64_t{0}, int64_t{4}));
  EXPECT_FALSE(source.Call<Ref>("OilFilter", nullptr, int64_t{33}, int64_t{4}));
  EXPECT_FALSE(source.Call<Ref>("OilFilter", nullptr, int64_t{1}, int64_t{1}));
  EXPECT_FALSE(source.Call<Ref>("OilFilter", nullptr, int64_t{1}, int64_t{257}));
  EXPECT_FALSE(source.Call<Ref>("DiffuseFilter", nullptr, int64_t{-1}));
  EXPECT_FALSE(source.Call<Ref>("DiffuseFilter", nullptr, int64_t{256}));
}

}  // namespace
