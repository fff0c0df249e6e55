// Point filters, ordered dither and unsharp combination through the host: which channels each
// overload writes in every format, and cases worked out by hand. The rules of the frame are in
// frame_refusals_test.cpp; the tables and the vector rows are pinned by the unit tests.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

// Every format of a family, and some without one.
const int64_t kFamilyFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 15, 20,
                                  23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 37, 41, 42, 48};

class Filters : public PluginTest {
 protected:
  int64_t Int(const Ref& image, const std::string& property) {
    return image.Get<int64_t>(property);
  }
  uint8_t& Byte(const Ref& image, int64_t x, int64_t y, const char* channel) {
    return Row(image, y)[x * Int(image, "PixelSize") + Int(image, std::string(channel) + "Offset")];
  }
  // `pixels` of `image` with `value` written into the byte at `offset` of every pixel.
  void SetChannel(const Ref& image, std::vector<uint8_t>& pixels, int64_t offset, int value) {
    const int64_t size = Int(image, "PixelSize");
    for (size_t i = 0; i < pixels.size(); i += static_cast<size_t>(size)) {
      pixels[i + static_cast<size_t>(offset)] = static_cast<uint8_t>(value);
    }
  }
};

// Solarisation at hand-picked points of its table (which the unit tests pin whole): the falling
// half from 255 and the rising half from 0, each meeting 127 or 129 at the fold.
const uint8_t kIn[8] = {0, 1, 63, 64, 127, 128, 254, 255};
const uint8_t kSolarized[8] = {255, 253, 129, 127, 0, 0, 253, 255};

// --- The frame ---

// Gamma 1 maps every value to itself, alpha too.
TEST_F(Filters, GammaOneIsTheIdentity) {
  Ref source = NewImage(7, 5, kBGRA);
  Randomise(source, 1);
  EXPECT_EQ(PixelBytes(source.Call<Ref>("GammaFilter", nullptr, 1.0, 1.0)), PixelBytes(source));
}

// The rules the frame shares are in frame_refusals_test.cpp.
TEST_F(Filters, AlphaIsNeededOnlyWhenThePathWritesIt) {
  Ref source = NewImage(6, 4, kRGB), rgbaSource = NewImage(6, 4, kRGBA);
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0));
  EXPECT_FALSE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0, 1.0));
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", NewImage(6, 4, kRGBA), 2.0, 1.0));
  // The factory may not be able to make an image.
  host_.FailNextInstances(1);
  EXPECT_FALSE(source.Call<Ref>("SolarizeFilter", nullptr));
}

// --- Gamma ---

// Which channels each overload writes, in every format. A source of 64 in every byte maps to
// floor((64 / 255)^(1 / g) x 255 + 0.5): 128 for g = 2, 180 for 4, 161 for 3 and 16 for 0.5. A
// gray image takes the truncated weighted gamma of (4, 3, 0.5): (77 x 4 + 151 x 3) / 256 = 2,
// so 128; 16-bit gray is read and written through the first byte of its sample.
TEST_F(Filters, GammaOverloadsWriteTheirChannelsInEveryFormat) {
  struct Case {
    std::vector<double> gammas;
    int red, green, blue, gray, alpha;  // alpha -1: left alone
  };
  const Case cases[] = {{{2.0}, 128, 128, 128, 128, -1},
                        {{2.0, 0.5}, 128, 128, 128, 128, 16},
                        {{4.0, 3.0, 0.5}, 180, 161, 16, 128, -1},
                        {{4.0, 3.0, 0.5, 2.0}, 180, 161, 16, 128, 128}};
  for (int64_t format : kFamilyFormats) {
    SCOPED_TRACE("format " + std::to_string(format));
    Ref source = NewImage(9, 4, format);
    FillBytes(source, 64);
    Ref dest = NewImage(9, 4, format);
    for (const Case& c : cases) {
      Randomise(dest, 99);
      std::vector<uint8_t> expected = PixelBytes(dest);
      const std::vector<double>& g = c.gammas;
      Ref result;
      if (g.size() == 1) result = source.Call<Ref>("GammaFilter", dest, g[0]);
      if (g.size() == 2) result = source.Call<Ref>("GammaFilter", dest, g[0], g[1]);
      if (g.size() == 3) result = source.Call<Ref>("GammaFilter", dest, g[0], g[1], g[2]);
      if (g.size() == 4) result = source.Call<Ref>("GammaFilter", dest, g[0], g[1], g[2], g[3]);
      if (format == kGray16 && g.size() == 1) {
        EXPECT_FALSE(result);  // only the one-gamma form checks the sample size
        continue;
      }
      ASSERT_EQ(result.get(), dest.get());
      const bool family = dest.Get<bool>("IsGray") || dest.Get<bool>("IsRGB");
      for (auto [name, value] : {std::pair{"Gray", c.gray},
                                 {"Red", c.red},
                                 {"Green", c.green},
                                 {"Blue", c.blue},
                                 {"Alpha", family ? c.alpha : -1}}) {
        if (value >= 0 && dest.Get<bool>(std::string("Has") + name)) {
          SetChannel(dest, expected, Int(dest, std::string(name) + "Offset"), value);
        }
      }
      EXPECT_EQ(PixelBytes(dest), expected) << g.size() << " gammas";
    }
  }
}

// --- Gain ---

TEST_F(Filters, GainOnEveryChannelIncludingAlpha) {
  Ref source = NewImage(16, 16, kGA);
  ForEachPixel(16, 16, [&](int64_t x, int64_t y) {
    Byte(source, x, y, "Gray") = static_cast<uint8_t>(y * 16 + x);
    Byte(source, x, y, "Alpha") = static_cast<uint8_t>(255 - (y * 16 + x));
  });
  // Gain and bias 0.5 are the identity up to truncation.
  Ref result = source.Call<Ref>("GainFilter", nullptr, 0.5, 0.5);
  ASSERT_TRUE(result);
  std::vector<uint8_t> in = PixelBytes(source), out = PixelBytes(result);
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_LE(out[i], in[i]);
    EXPECT_GE(out[i] + 1, in[i]);
    if (in[i] == 0 || in[i] == 255) {
      EXPECT_EQ(out[i], in[i]);
    }
  }
  // Bias 0.25 gives t / (2 (1 - t) + 1) x 255: 128 / 255 = 0.50196 gives 64.12, truncated 64.
  Ref rgba = NewImage(1, 1, kRGBA);
  FillBytes(rgba, 128);
  EXPECT_EQ(PixelBytes(rgba.Call<Ref>("GainFilter", nullptr, 0.5, 0.25)),
            (std::vector<uint8_t>{64, 64, 64, 64}));
  // CMYK is not a family of this filter.
  Ref cmyk = NewImage(3, 3, kCMYK);
  Randomise(cmyk, 4);
  Ref dest = NewImage(3, 3, kCMYK);
  FillBytes(dest, 7);
  EXPECT_EQ(cmyk.Call<Ref>("GainFilter", dest, 0.3, 0.8).get(), dest.get());
  EXPECT_EQ(PixelBytes(dest), std::vector<uint8_t>(36, 7));
}

// --- Solarize ---

TEST_F(Filters, SolarizeMapsEveryChannelAlphaIncludedInEveryFormat) {
  for (int64_t format : kFamilyFormats) {
    if (format == kGray16) continue;
    SCOPED_TRACE("format " + std::to_string(format));
    // Pixel x holds point x % 8 in every byte; the dest's other bytes stay.
    Ref source = NewImage(16, 2, format), dest = NewImage(16, 2, format);
    const int64_t pixelSize = Int(source, "PixelSize");
    for (int x = 0; x < 32; ++x) {
      std::memset(Pixel(source, x % 16, x / 16), kIn[x % 8], static_cast<size_t>(pixelSize));
    }
    Randomise(dest, 6);
    std::vector<uint8_t> expected = PixelBytes(dest);
    for (int64_t offset : ChannelOffsets(source)) {
      for (size_t x = 0; x < 32; ++x) expected[x * pixelSize + offset] = kSolarized[x % 8];
    }
    EXPECT_EQ(source.Call<Ref>("SolarizeFilter", dest).get(), dest.get());
    EXPECT_EQ(PixelBytes(dest), expected);
  }
}

// --- Dither ---

TEST_F(Filters, DitherMagic2x2AtHalfGray) {
  Ref source = NewImage(4, 4, kG);
  FillBytes(source, 128);
  Ref result = source.Call<Ref>("DitherFilter", nullptr, int64_t{1}, int64_t{2});
  ASSERT_TRUE(result);
  // F[128] = 128 * 5 >> 8 = 2: raised where the threshold (0 2 / 3 1) is 2 or 3.
  const uint8_t cell[2][2] = {{0, 255}, {255, 0}};
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(Byte(result, x, y, "Gray"), cell[y % 2][x % 2]);
  }
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
  EXPECT_EQ(PixelBytes(dest), std::vector<uint8_t>(75, 42));
  // Huge level counts keep to the formulas: no level table, no overflow.
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, INT64_MAX));
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, int64_t{1000}));
}

// --- Unsharp ---

class Unsharp : public Filters {};

// Self and other of one value in every byte, and self's first pixel after the filter. Amount 1
// gives k = 5: 100 + 100 x 5 clamps to 255, 200 - 100 x 5 to 0. Amount 0.25 gives k = 2:
// 90 + 10 x 2 = 110, unless the difference is below the threshold, which is compared in 32 bits
// (2^32 + 11 is 11, 2^32 is 0). In CMYK without alpha the byte at AlphaOffset 0 (cyan in CMYK,
// black in KYMC) is mapped again as alpha: 110 against 90 gives 130; with alpha it moves once.
TEST_F(Unsharp, CasesByHand) {
  struct Case {
    int64_t format;
    uint8_t self, other;
    double amount;
    int64_t threshold;
    std::vector<uint8_t> pixel;
  };
  const Case cases[] = {
      {kRGBA, 200, 100, 1.0, 0, {255, 255, 255, 255}},
      {kRGBA, 100, 200, 1.0, 0, {0, 0, 0, 0}},
      {kGA, 100, 90, 0.25, 10, {110, 110}},
      {kGA, 110, 90, 0.25, 21, {110, 110}},
      {kG, 100, 90, 0.25, (int64_t{1} << 32) + 11, {100}},
      {kG, 100, 90, 0.25, int64_t{1} << 32, {110}},
      {kCMYK, 100, 90, 0.25, 0, {130, 110, 110, 110}},
      {kKYMC, 100, 90, 0.25, 0, {130, 110, 110, 110}},
      {kCMYKA, 100, 90, 0.25, 0, {110, 110, 110, 110, 110}},
  };
  for (const Case& c : cases) {
    Ref self = NewImage(3, 2, c.format), other = NewImage(3, 2, c.format);
    FillBytes(self, c.self);
    FillBytes(other, c.other);
    EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, c.amount, c.threshold));
    std::vector<uint8_t> want;
    for (int i = 0; i < 6; ++i) want.insert(want.end(), c.pixel.begin(), c.pixel.end());
    EXPECT_EQ(PixelBytes(self), want) << c.format << " " << c.threshold;
  }
  // Amount 0 or a threshold past every difference leaves self alone.
  Ref self = NewImage(9, 5, kBGRA), other = NewImage(9, 5, kBGRA);
  Randomise(self, 8);
  Randomise(other, 9);
  std::vector<uint8_t> before = PixelBytes(self);
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, 0.0, int64_t{0}));
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, 7.5, int64_t{256}));
  EXPECT_EQ(PixelBytes(self), before);
}

TEST_F(Unsharp, MismatchedImagesAreRefused) {
  Ref self = NewImage(4, 4, kRGB);
  Randomise(self, 10);
  std::vector<uint8_t> before = PixelBytes(self);
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", nullptr, 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(5, 4, kRGB), 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(4, 3, kRGB), 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(4, 4, kRGBA), 1.0, int64_t{0}));
  Ref closed = NewImage(4, 4, kRGB);
  closed.Call("Close");
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", closed, 1.0, int64_t{0}));
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

// --- Views ---

TEST_F(Filters, ChannelViewsAreAddressedThroughTheirRecords) {
  Ref rgba = NewImage(8, 3, kRGBA);
  Randomise(rgba, 12);
  for (int64_t x = 0; x < 24; ++x) Pixel(rgba, x % 8, x / 8)[1] = kIn[x % 8];
  std::vector<uint8_t> expected = PixelBytes(rgba);
  for (size_t x = 0; x < 24; ++x) expected[x * 4 + 1] = kSolarized[x % 8];
  // In place on the view: only the green bytes of the parent change.
  Ref green = rgba.Call<Ref>("GreenChannel");
  EXPECT_EQ(green.Call<Ref>("SolarizeFilter", green).get(), green.get());
  EXPECT_EQ(PixelBytes(rgba), expected);
}

}  // namespace
