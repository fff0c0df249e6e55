// Point filters, dither and unsharp through the host: the channels each overload writes in every
// format, and what only the members do (refusals, views, the factory).
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "support/filter_cases.h"
#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

class Filters : public PluginTest {};

// Each overload on a source of 64 in every byte, into a dest of random bytes: the channels of the
// families it serves take the value below and every other byte stays. 64 maps to
// floor((64 / 255)^(1 / g) x 255 + 0.5): 128 for g = 2, 180 for 4, 161 for 3, 16 for 0.5; gray
// takes the truncated weighted gamma of (4, 3, 0.5): (77 x 4 + 151 x 3) / 256 = 2, so 128. Gain
// 0.5 leaves the curve straight and bias 0.25 gives t / (2 (1 - t) + 1) x 255 = 25.6 for
// t = 64 / 255, truncated 25. Solarisation maps 64 to 127. 16-bit gray is read and written through
// the first byte of its sample by the overloads that take it.
TEST_F(Filters, EachOverloadWritesItsChannelsInEveryFormat) {
  struct Case {
    const char* name;
    std::function<Ref(const Ref&, const Ref&)> call;
    int red, green, blue, gray, alpha;
    bool cmyk, wide;  // serves CMYK (one value in every ink); takes 16-bit gray
  };
  auto member = [](const char* name, auto... args) {
    return [=](const Ref& s, const Ref& d) { return s.Call<Ref>(name, d, args...); };
  };
  const Case cases[] = {
      {"gamma", member("GammaFilter", 2.0), 128, 128, 128, 128, -1, false, false},
      {"gamma, alpha", member("GammaFilter", 2.0, 0.5), 128, 128, 128, 128, 16, false, true},
      {"red, green, blue", member("GammaFilter", 4.0, 3.0, 0.5), 180, 161, 16, 128, -1, false,
       true},
      {"red, green, blue, alpha", member("GammaFilter", 4.0, 3.0, 0.5, 2.0), 180, 161, 16, 128, 128,
       false, true},
      {"gain", member("GainFilter", 0.5, 0.25), 25, 25, 25, 25, 25, false, false},
      {"solarize", member("SolarizeFilter"), 127, 127, 127, 127, 127, true, false},
  };
  for (int64_t format : kFilterFormats) {
    Ref source = NewImage(9, 4, format), dest = NewImage(9, 4, format);
    FillBytes(source, 64);
    const bool cmyk = dest.Get<bool>("IsCMYK");
    const bool family = dest.Get<bool>("IsGray") || dest.Get<bool>("IsRGB") || cmyk;
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << ", format " << format);
      Randomise(dest, 99);
      const Bytes before = PixelBytes(dest);
      Ref result = c.call(source, dest);
      if (format == kGray16 && !c.wide) {
        EXPECT_FALSE(result);
        EXPECT_EQ(PixelBytes(dest), before);
        continue;
      }
      ASSERT_EQ(result.get(), dest.get());
      const int ink = c.cmyk ? c.gray : -1;
      std::map<std::string, int> values = {{"Gray", c.gray}, {"Red", c.red}, {"Green", c.green},
                                           {"Blue", c.blue}, {"Cyan", ink},  {"Magenta", ink},
                                           {"Yellow", ink},  {"Black", ink}, {"Alpha", c.alpha}};
      const Bytes want =
          WithChannels(dest, before, [&](const std::string& name, size_t) { return values[name]; });
      EXPECT_EQ(PixelBytes(dest), family && (c.cmyk || !cmyk) ? want : before);
    }
  }
}

TEST_F(Filters, AlphaIsNeededOnlyWhenThePathWritesIt) {
  Ref source = NewImage(6, 4, kRGB), rgbaSource = NewImage(6, 4, kRGBA);
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0));
  EXPECT_FALSE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0, 1.0));
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", NewImage(6, 4, kRGBA), 2.0, 1.0));
  // The factory may not be able to make an image.
  host_.FailNextInstances(1);
  EXPECT_FALSE(source.Call<Ref>("SolarizeFilter", nullptr));
}

TEST_F(Filters, DitherLeavesTheDestForUnknownMatricesAndRefusesFewLevels) {
  Ref source = NewImage(5, 5, kRGB);
  Randomise(source, 7);
  Ref dest = NewImage(5, 5, kRGB);
  FillBytes(dest, 42);
  for (int64_t matrix : {int64_t{0}, int64_t{11}, int64_t{-1}}) {
    EXPECT_EQ(source.Call<Ref>("DitherFilter", dest, matrix, int64_t{2}).get(), dest.get());
  }
  for (int64_t levels : {int64_t{1}, int64_t{0}, int64_t{-5}}) {
    EXPECT_FALSE(source.Call<Ref>("DitherFilter", dest, int64_t{1}, levels));
    EXPECT_FALSE(source.Call<Ref>("DitherFilter", nullptr, int64_t{3}, levels));
  }
  EXPECT_EQ(PixelBytes(dest), Bytes(75, 42));
  // Huge level counts keep to the formulas: no level table, no overflow.
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, INT64_MAX));
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, int64_t{1000}));
}

class Unsharp : public PluginTest {};

TEST_F(Unsharp, MismatchedImagesAreRefused) {
  Ref self = NewImage(4, 4, kRGB);
  Randomise(self, 10);
  Bytes before = PixelBytes(self);
  Ref closed = NewImage(4, 4, kRGB);
  closed.Call("Close");
  for (const Ref& other :
       {Ref(), NewImage(5, 4, kRGB), NewImage(4, 3, kRGB), NewImage(4, 4, kRGBA), closed}) {
    EXPECT_FALSE(self.Call<bool>("UnsharpFilter", other, 1.0, int64_t{0}));
  }
  EXPECT_EQ(PixelBytes(self), before);
  EXPECT_FALSE(NewImage(4, 4, kGray16)
                   .Call<bool>("UnsharpFilter", NewImage(4, 4, kGray16), 1.0, int64_t{0}));
  // No family: accepted, nothing changed.
  Ref scaling = NewImage(4, 4, kScaling5);
  Randomise(scaling, 11);
  before = PixelBytes(scaling);
  EXPECT_TRUE(scaling.Call<bool>("UnsharpFilter", NewImage(4, 4, kScaling5), 1.0, int64_t{0}));
  EXPECT_EQ(PixelBytes(scaling), before);
}

// Solarised in place on the green view of an RGBA image: only the parent's green bytes change,
// 0 to 255 and 64 to 127.
TEST_F(Filters, ChannelViewsAreAddressedThroughTheirRecords) {
  Ref rgba = NewImage(8, 3, kRGBA);
  Randomise(rgba, 12);
  for (int64_t x = 0; x < 24; ++x) Pixel(rgba, x % 8, x / 8)[1] = x % 2 ? 64 : 0;
  Bytes expected = PixelBytes(rgba);
  for (size_t x = 0; x < 24; ++x) expected[x * 4 + 1] = x % 2 ? 127 : 255;
  Ref green = rgba.Call<Ref>("GreenChannel");
  EXPECT_EQ(green.Call<Ref>("SolarizeFilter", green).get(), green.get());
  EXPECT_EQ(PixelBytes(rgba), expected);
}

}  // namespace
