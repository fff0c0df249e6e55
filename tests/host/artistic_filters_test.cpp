// Oil, diffuse, engrave, neon and stamp through the host and the real plug-in: small cases
// worked by hand, every family against the gray result, and refusals.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "support/filter_cases.h"
#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

class ArtisticFilters : public PluginTest {
 protected:
  // The pixel bytes of `image` with `level` (one byte a pixel) written as every family writes a
  // gray level: in every colour, or for CMYK as black ink 255 - level and no other ink; and with
  // `alpha` as the alpha.
  static Bytes AsFamily(const Ref& image, const Bytes& level, const Bytes& alpha) {
    return WithChannels(image, PixelBytes(image), [&](const std::string& name, size_t i) -> int {
      if (name == "Alpha") return alpha[i];
      if (name == "Black") return 255 - level[i];
      return name == "Cyan" || name == "Magenta" || name == "Yellow" ? 0 : level[i];
    });
  }
};

// A dot of 255 amid a 3 x 3 black gray image, edges clamped. Oil: no window holds the dot twice,
// so the dark bucket wins everywhere. Neon: 2 (|right - left| + |down - up|) clamped, 255 beside
// the dot and 0 elsewhere. Engrave: 128 + I(x+1, y+1) - I(x-1, y-1), 383 -> 255 at (0, 0),
// 128 - 255 -> 0 at (2, 2), 128 elsewhere. Stamp: at or above the threshold white. Diffuse by 0
// is a copy.
TEST_F(ArtisticFilters, SmallCasesByHand) {
  Ref image = NewImage(3, 3, kG);
  FillBytes(image, 0);
  Row(image, 1)[1] = 255;
  auto run = [&](const char* name, auto... args) {
    return PixelBytes(image.Call<Ref>(name, nullptr, args...));
  };
  EXPECT_EQ(run("OilFilter", int64_t{1}, int64_t{2}), Bytes(9, 0));
  EXPECT_EQ(run("NeonFilter"), (Bytes{0, 255, 0, 255, 0, 255, 0, 255, 0}));
  EXPECT_EQ(run("EngraveFilter"), (Bytes{255, 128, 128, 128, 128, 128, 128, 128, 0}));
  EXPECT_EQ(run("StampFilter", int64_t{255}), (Bytes{0, 0, 0, 0, 255, 0, 0, 0, 0}));
  EXPECT_EQ(run("DiffuseFilter", int64_t{0}), PixelBytes(image));
}

// Every family filters like gray: an image whose colours all hold a gray image's levels (CMYK
// holding 255 - level as black ink, which reads back as that level) gives the gray result in
// every colour channel; alpha stays where it was, or moves with its pixel in the diffusion. Neon
// and oil work per ink, so CMYK is compared only for the filters that write a level.
TEST_F(ArtisticFilters, EveryFamilyFiltersLikeGray) {
  Ref gray = NewImage(11, 7, kG);
  Randomise(gray, 3);
  const Bytes levels = PixelBytes(gray);
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
  for (int64_t format : kFilterFormats) {
    if (format == kGray16) continue;  // refused by the frame
    SCOPED_TRACE(format);
    Ref image = NewImage(11, 7, format);
    // Alpha holds the level too, so that a pixel that moves can be told by its alpha.
    const Bytes start = AsFamily(image, levels, levels);
    const size_t row = start.size() / 7;
    for (int64_t y = 0; y < 7; ++y) {
      SetPixels(image, y, Bytes(start.begin() + y * row, start.begin() + (y + 1) * row));
    }
    for (const Filter& filter : filters) {
      if (image.Get<bool>("IsCMYK") && filter.perChannel) continue;
      SCOPED_TRACE(filter.name);
      const Bytes want = PixelBytes(filter.run(gray));
      Ref got = filter.run(image);
      EXPECT_EQ(PixelBytes(got), AsFamily(got, want, filter.movesPixels ? want : levels));
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
