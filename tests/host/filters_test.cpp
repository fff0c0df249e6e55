// Point filters, ordered dither and unsharp combination through the host and the real plug-in:
// the frame, the edge cases worked out by hand, and every served format against a reference
// written here from the formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kXRGB = 5, kBGRA = 7, kG = 11, kGA = 12, kAG = 13,
                  kCMYK = 23, kCMYKA = 24, kKYMC = 28, kScaling5 = 37, kGray16 = 41;

// Every format of a family, and some without one.
const int64_t kFamilyFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 15, 20,
                                  23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 37, 41, 42, 48};

// Channel names as the record's properties call them.
const char* const kGrayCh = "Gray";
const char* const kRedCh = "Red";
const char* const kGreenCh = "Green";
const char* const kBlueCh = "Blue";
const char* const kAlphaCh = "Alpha";

struct Mapped {
  const char* channel;
  std::vector<uint8_t> table;  // 256 entries
};

class Filters : public PluginTest {
 protected:
  int64_t Int(const Ref& image, const std::string& property) {
    return image.Get<int64_t>(property);
  }
  uint8_t& Byte(const Ref& image, int64_t x, int64_t y, const char* channel) {
    return Row(image, y)[x * Int(image, "PixelSize") + Int(image, std::string(channel) + "Offset")];
  }
  void FillAll(const Ref& image, uint8_t value) {
    int64_t bytes = Int(image, "Width") * Int(image, "PixelSize");
    for (int64_t y = 0; y < Int(image, "Height"); ++y) std::memset(Row(image, y), value, bytes);
  }
  std::vector<uint8_t> Pixels(const Ref& image) {
    std::vector<uint8_t> out;
    int64_t bytes = Int(image, "Width") * Int(image, "PixelSize");
    for (int64_t y = 0; y < Int(image, "Height"); ++y) {
      out.insert(out.end(), Row(image, y), Row(image, y) + bytes);
    }
    return out;
  }
  // The dest the filter should produce: `before` with each mapped channel written from the source.
  std::vector<uint8_t> Expected(const Ref& source, const Ref& dest, std::vector<uint8_t> before,
                                const std::vector<Mapped>& mapped) {
    int64_t w = Int(source, "Width"), h = Int(source, "Height");
    int64_t sp = Int(source, "PixelSize"), dp = Int(dest, "PixelSize");
    int64_t dw = Int(dest, "Width");
    for (const Mapped& m : mapped) {
      std::string offset = std::string(m.channel) + "Offset";
      int64_t so = Int(source, offset), dof = Int(dest, offset);
      for (int64_t y = 0; y < h; ++y) {
        for (int64_t x = 0; x < w; ++x) {
          uint8_t v = Row(source, y)[x * sp + so];
          before[(y * dw + x) * dp + dof] = m.table[v];
        }
      }
    }
    return before;
  }
  std::vector<const char*> FamilyChannels(const Ref& image) {
    if (image.Get<bool>("IsGray")) {
      if (image.Get<bool>("HasAlpha")) return {kGrayCh, kAlphaCh};
      return {kGrayCh};
    }
    if (image.Get<bool>("IsRGB")) {
      if (image.Get<bool>("HasAlpha")) return {kRedCh, kGreenCh, kBlueCh, kAlphaCh};
      return {kRedCh, kGreenCh, kBlueCh};
    }
    if (image.Get<bool>("IsCMYK")) {
      std::vector<const char*> inks = {"Cyan", "Magenta", "Yellow", "Black"};
      if (image.Get<bool>("HasAlpha")) inks.push_back(kAlphaCh);
      return inks;
    }
    return {};
  }
};

std::vector<uint8_t> GammaTable(double gamma) {
  std::vector<uint8_t> table(256);
  for (int i = 0; i < 256; ++i) {
    double v = std::floor(std::pow(i / 255.0, 1.0 / gamma) * 255.0 + 0.5);
    table[i] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
  }
  return table;
}

std::vector<uint8_t> Identity() {
  std::vector<uint8_t> table(256);
  for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i);
  return table;
}

// The solarisation table, row by row as the documentation prints it.
const uint8_t kSolarized[256] = {
    255, 253, 251, 249, 247, 245, 243, 241, 239, 237, 235, 233, 231, 229, 227, 225,  //
    223, 221, 219, 217, 215, 213, 211, 209, 207, 205, 203, 201, 199, 197, 195, 193,  //
    191, 189, 187, 185, 183, 180, 179, 177, 175, 173, 171, 169, 167, 164, 163, 161,  //
    159, 157, 155, 153, 151, 148, 147, 145, 143, 141, 139, 137, 135, 132, 131, 129,  //
    127, 125, 122, 121, 119, 117, 114, 113, 111, 109, 106, 105, 103, 101, 98,  97,   //
    95,  93,  90,  89,  87,  85,  82,  81,  79,  77,  74,  73,  71,  69,  66,  65,   //
    63,  61,  58,  56,  55,  53,  50,  48,  47,  45,  42,  40,  39,  37,  34,  32,   //
    31,  29,  26,  24,  23,  21,  18,  16,  15,  13,  10,  8,   7,   5,   2,   0,    //
    0,   2,   4,   6,   9,   11,  13,  15,  16,  18,  20,  22,  25,  27,  29,  31,   //
    32,  34,  36,  38,  41,  43,  45,  47,  48,  50,  52,  54,  57,  59,  61,  63,   //
    65,  66,  68,  70,  73,  75,  77,  79,  81,  82,  84,  86,  89,  91,  93,  95,   //
    97,  98,  100, 102, 105, 107, 109, 111, 113, 114, 116, 118, 121, 123, 125, 127,  //
    129, 131, 132, 134, 137, 139, 141, 143, 145, 147, 148, 150, 153, 155, 157, 159,  //
    161, 163, 164, 166, 169, 171, 173, 175, 177, 179, 180, 182, 185, 187, 189, 191,  //
    193, 195, 196, 198, 201, 203, 205, 207, 209, 211, 212, 214, 217, 219, 221, 223,  //
    225, 227, 228, 230, 233, 235, 237, 239, 241, 243, 244, 246, 249, 251, 253, 255,  //
};

// --- The frame ---

TEST_F(Filters, NilDestIsMadeLikeTheSourceAndAGivenDestIsReturned) {
  Ref source = NewImage(7, 5, kBGRA);
  Randomise(source, 1);
  Ref made = source.Call<Ref>("GammaFilter", nullptr, 1.0);
  ASSERT_TRUE(made);
  EXPECT_NE(made.get(), source.get());
  EXPECT_EQ(Int(made, "Width"), 7);
  EXPECT_EQ(Int(made, "Height"), 5);
  EXPECT_EQ(Int(made, "ImageFormat"), kBGRA);

  Ref dest = NewImage(7, 5, kRGBA);
  Ref returned = source.Call<Ref>("SolarizeFilter", dest);
  EXPECT_EQ(returned.get(), dest.get());
  // In place: the source is its own dest.
  Ref self = source.Call<Ref>("GammaFilter", source, 2.0);
  EXPECT_EQ(self.get(), source.get());
}

TEST_F(Filters, RefusedSourcesAndDestsGiveNilAndHoldNothing) {
  Ref source = NewImage(6, 4, kRGB);
  Ref closed = NewImage(6, 4, kRGB);
  closed.Call("Close");  // no row accessor any more
  EXPECT_FALSE(closed.Call<Ref>("GammaFilter", nullptr, 2.0));
  EXPECT_FALSE(source.Call<Ref>("GammaFilter", closed, 2.0));
  Ref invalid = NewImage(0, 4, kRGB);
  EXPECT_FALSE(invalid.Call<Ref>("SolarizeFilter", nullptr));
  EXPECT_FALSE(source.Call<Ref>("SolarizeFilter", invalid));

  // A dest smaller than the source, or without the channels the path writes.
  Ref narrow = NewImage(5, 4, kRGB);
  Ref shortImage = NewImage(6, 3, kRGB);
  Ref gray = NewImage(6, 4, kG);
  std::vector<uint8_t> before = Pixels(gray);
  EXPECT_FALSE(source.Call<Ref>("GammaFilter", narrow, 2.0));
  EXPECT_FALSE(source.Call<Ref>("GammaFilter", shortImage, 2.0));
  EXPECT_FALSE(source.Call<Ref>("GammaFilter", gray, 2.0));
  EXPECT_EQ(Pixels(gray), before);
  // Alpha is needed only when the path writes it.
  Ref rgba = NewImage(6, 4, kRGBA);
  Ref rgbaSource = NewImage(6, 4, kRGBA);
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0));
  EXPECT_FALSE(rgbaSource.Call<Ref>("GammaFilter", source, 2.0, 1.0));
  EXPECT_TRUE(rgbaSource.Call<Ref>("GammaFilter", rgba, 2.0, 1.0));
  // A larger dest is fine.
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", NewImage(9, 9, kXRGB), int64_t{1}, int64_t{2}));
  // The factory may not be able to make an image.
  host_.FailNextInstances(1);
  EXPECT_FALSE(source.Call<Ref>("SolarizeFilter", nullptr));
}

TEST_F(Filters, SixteenBitGrayIsRefusedOrReadAsItsFirstByte) {
  Ref wide = NewImage(5, 3, kGray16);
  Randomise(wide, 2);
  EXPECT_FALSE(wide.Call<Ref>("GammaFilter", nullptr, 2.0));
  EXPECT_FALSE(wide.Call<Ref>("GainFilter", nullptr, 0.5, 0.5));
  EXPECT_FALSE(wide.Call<Ref>("SolarizeFilter", nullptr));
  EXPECT_FALSE(wide.Call<Ref>("DitherFilter", nullptr, int64_t{1}, int64_t{2}));
  Ref dest = NewImage(5, 3, kGray16);
  Randomise(dest, 3);
  auto expected = Expected(wide, dest, Pixels(dest), {{kGrayCh, GammaTable(2.0)}});
  Ref result = wide.Call<Ref>("GammaFilter", dest, 2.0, 1.0);
  ASSERT_TRUE(result);
  EXPECT_EQ(Pixels(dest), expected);  // the second byte of each sample is left alone
}

// --- Gamma ---

TEST_F(Filters, GammaByHand) {
  Ref source = NewImage(3, 1, kRGB);
  for (int x = 0; x < 3; ++x) {
    Byte(source, x, 0, kRedCh) = 64;
    Byte(source, x, 0, kGreenCh) = static_cast<uint8_t>(x == 0 ? 0 : 255);
    Byte(source, x, 0, kBlueCh) = 200;
  }
  Ref same = source.Call<Ref>("GammaFilter", nullptr, 1.0);
  EXPECT_EQ(Pixels(same), Pixels(source));
  // (integer)(sqrt(64 / 255) * 255 + 0.5) = (integer)(127.75 + 0.5) = 128.
  Ref brighter = source.Call<Ref>("GammaFilter", nullptr, 2.0);
  EXPECT_EQ(Byte(brighter, 1, 0, kRedCh), 128);
  EXPECT_EQ(Byte(brighter, 0, 0, kGreenCh), 0);
  EXPECT_EQ(Byte(brighter, 1, 0, kGreenCh), 255);
  // Per channel: red 2.0, green 1.0, blue 0.5 (200^2 / 255 = 156.86 -> 157).
  Ref split = source.Call<Ref>("GammaFilter", nullptr, 2.0, 1.0, 0.5);
  EXPECT_EQ(Byte(split, 2, 0, kRedCh), 128);
  EXPECT_EQ(Byte(split, 2, 0, kGreenCh), 255);
  EXPECT_EQ(Byte(split, 2, 0, kBlueCh), 157);
}

TEST_F(Filters, GrayImagesTakeTheTruncatedCombinedGamma) {
  Ref gray = NewImage(16, 16, kG);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) Byte(gray, x, y, kGrayCh) = static_cast<uint8_t>(y * 16 + x);
  }
  Ref two = gray.Call<Ref>("GammaFilter", nullptr, 2.0);
  Ref combined = gray.Call<Ref>("GammaFilter", nullptr, 2.2, 2.2, 2.2);
  EXPECT_EQ(Pixels(combined), Pixels(two));
  // Gammas below 1 truncate to 0: an infinite exponent keeps only 255.
  Ref dark = gray.Call<Ref>("GammaFilter", nullptr, 0.5, 0.5, 0.5, 3.0);
  std::vector<uint8_t> expected(256, 0);
  expected[255] = 255;
  EXPECT_EQ(Pixels(dark), expected);
  // Weights 77 / 151 / 28: gammas 1, 3, 1 give (77 + 453 + 28) / 256 = 2.
  EXPECT_EQ(Pixels(gray.Call<Ref>("GammaFilter", nullptr, 1.9, 3.99, 1.0)), Pixels(two));
}

TEST_F(Filters, GammaOverloadsWriteTheirChannelsInEveryFormat) {
  for (int64_t format : kFamilyFormats) {
    Ref source = NewImage(13, 7, format);
    Randomise(source, 10 + static_cast<uint32_t>(format));
    Ref dest = NewImage(13, 7, format);
    bool gray = source.Get<bool>("IsGray"), rgb = source.Get<bool>("IsRGB");
    bool alpha = source.Get<bool>("HasAlpha");
    auto g20 = GammaTable(2.0), g05 = GammaTable(0.5), g13 = GammaTable(1.3), g30 = GammaTable(3.0);
    auto g07 = GammaTable(0.7);
    struct Case {
      std::vector<double> args;
      std::vector<Mapped> mapped;
    };
    std::vector<Case> cases;
    if (gray) {
      // Combined gray gamma of (2.5, 1.5, 3.7) = (154 + 151 + 84) / 256 = 1.
      cases.push_back({{2.0}, {{kGrayCh, g20}}});
      std::vector<Mapped> ga = {{kGrayCh, g20}};
      if (alpha) ga.push_back({kAlphaCh, g05});
      cases.push_back({{2.0, 0.5}, ga});
      cases.push_back({{2.5, 1.5, 3.7}, {{kGrayCh, Identity()}}});
      std::vector<Mapped> rgbaOnGray = {{kGrayCh, Identity()}};
      if (alpha) rgbaOnGray.push_back({kAlphaCh, g07});
      cases.push_back({{2.5, 1.5, 3.7, 0.7}, rgbaOnGray});
    } else if (rgb) {
      cases.push_back({{2.0}, {{kRedCh, g20}, {kGreenCh, g20}, {kBlueCh, g20}}});
      std::vector<Mapped> ga = {{kRedCh, g20}, {kGreenCh, g20}, {kBlueCh, g20}};
      if (alpha) ga.push_back({kAlphaCh, g05});
      cases.push_back({{2.0, 0.5}, ga});
      cases.push_back({{1.3, 3.0, 0.5}, {{kRedCh, g13}, {kGreenCh, g30}, {kBlueCh, g05}}});
      std::vector<Mapped> all = {{kRedCh, g13}, {kGreenCh, g30}, {kBlueCh, g05}};
      if (alpha) all.push_back({kAlphaCh, g07});
      cases.push_back({{1.3, 3.0, 0.5, 0.7}, all});
    } else {
      cases.push_back({{2.0}, {}});
      cases.push_back({{2.0, 0.5}, {}});
      cases.push_back({{1.3, 3.0, 0.5}, {}});
      cases.push_back({{1.3, 3.0, 0.5, 0.7}, {}});
    }
    for (const Case& c : cases) {
      Randomise(dest, 99);
      auto expected = Expected(source, dest, Pixels(dest), c.mapped);
      Ref result;
      const auto& a = c.args;
      if (a.size() == 1) result = source.Call<Ref>("GammaFilter", dest, a[0]);
      if (a.size() == 2) result = source.Call<Ref>("GammaFilter", dest, a[0], a[1]);
      if (a.size() == 3) result = source.Call<Ref>("GammaFilter", dest, a[0], a[1], a[2]);
      if (a.size() == 4) result = source.Call<Ref>("GammaFilter", dest, a[0], a[1], a[2], a[3]);
      if (format == kGray16 && a.size() == 1) {
        // Only the one-gamma overload checks the sample size.
        EXPECT_FALSE(result);
        continue;
      }
      ASSERT_EQ(result.get(), dest.get()) << format;
      EXPECT_EQ(Pixels(dest), expected) << "format " << format << ", " << a.size() << " gammas";
    }
  }
}

// --- Gain ---

TEST_F(Filters, GainHalfAndHalfIsTheIdentityUpToTruncation) {
  Ref source = NewImage(16, 16, kGA);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      Byte(source, x, y, kGrayCh) = static_cast<uint8_t>(y * 16 + x);
      Byte(source, x, y, kAlphaCh) = static_cast<uint8_t>(255 - (y * 16 + x));
    }
  }
  Ref result = source.Call<Ref>("GainFilter", nullptr, 0.5, 0.5);
  ASSERT_TRUE(result);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      for (const char* channel : {kGrayCh, kAlphaCh}) {
        int in = Byte(source, x, y, channel), out = Byte(result, x, y, channel);
        EXPECT_LE(out, in);
        EXPECT_GE(out, in - 1);
        if (in == 0 || in == 255) {
          EXPECT_EQ(out, in);
        }
      }
    }
  }
  // CMYK is not a family of this filter.
  Ref cmyk = NewImage(3, 3, kCMYK);
  Randomise(cmyk, 4);
  Ref dest = NewImage(3, 3, kCMYK);
  FillAll(dest, 7);
  EXPECT_EQ(cmyk.Call<Ref>("GainFilter", dest, 0.3, 0.8).get(), dest.get());
  EXPECT_EQ(Pixels(dest), std::vector<uint8_t>(36, 7));
}

TEST_F(Filters, GainCurveOnEveryChannelIncludingAlpha) {
  // gain 0.5 makes the gain step the identity; bias 0.25 gives v = t / (2 (1 - t) + 1) * 255.
  std::vector<uint8_t> table(256);
  for (int i = 0; i < 256; ++i) {
    double t = i / 255.0;
    double g = t < 0.001 ? 0 : t > 0.999 ? 1 : t;
    double v = g / ((1.0 - g) * 2.0 + 1.0) * 255.0;
    table[i] = static_cast<uint8_t>(v);
  }
  for (int64_t format : {kRGBA, kAG, kXRGB, kG}) {
    Ref source = NewImage(11, 3, format);
    Randomise(source, 5);
    Ref dest = NewImage(11, 3, format);
    std::vector<Mapped> mapped;
    for (const char* channel : FamilyChannels(source)) mapped.push_back({channel, table});
    auto expected = Expected(source, dest, Pixels(dest), mapped);
    source.Call<Ref>("GainFilter", dest, 0.5, 0.25);
    // Tolerate no difference: the formula steps are exact in double.
    EXPECT_EQ(Pixels(dest), expected) << format;
  }
}

// --- Solarize ---

TEST_F(Filters, SolarizeMapsEveryChannelAlphaIncluded) {
  std::vector<uint8_t> table(kSolarized, kSolarized + 256);
  for (int64_t format : kFamilyFormats) {
    if (format == kGray16) continue;
    Ref source = NewImage(16, 16, format);
    // Every value in every channel.
    int64_t pixelSize = Int(source, "PixelSize");
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 16; ++x) {
        std::memset(Row(source, y) + x * pixelSize, y * 16 + x, static_cast<size_t>(pixelSize));
      }
    }
    Ref dest = NewImage(16, 16, format);
    Randomise(dest, 6);
    std::vector<Mapped> mapped;
    for (const char* channel : FamilyChannels(source)) mapped.push_back({channel, table});
    auto expected = Expected(source, dest, Pixels(dest), mapped);
    EXPECT_EQ(source.Call<Ref>("SolarizeFilter", dest).get(), dest.get());
    EXPECT_EQ(Pixels(dest), expected) << format;
  }
  Ref rgba = NewImage(3, 1, kRGBA);
  const uint8_t alphas[3] = {128, 0, 255}, solarized[3] = {0, 255, 255};
  for (int x = 0; x < 3; ++x) Byte(rgba, x, 0, kAlphaCh) = alphas[x];
  Ref result = rgba.Call<Ref>("SolarizeFilter", nullptr);
  for (int x = 0; x < 3; ++x) EXPECT_EQ(Byte(result, x, 0, kAlphaCh), solarized[x]);
}

// --- Dither ---

TEST_F(Filters, DitherMagic2x2AtHalfGray) {
  Ref source = NewImage(4, 4, kG);
  FillAll(source, 128);
  Ref result = source.Call<Ref>("DitherFilter", nullptr, int64_t{1}, int64_t{2});
  ASSERT_TRUE(result);
  // F[128] = 128 * 5 >> 8 = 2: raised where the threshold (0 2 / 3 1) is 2 or 3.
  const uint8_t cell[2][2] = {{0, 255}, {255, 0}};
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(Byte(result, x, y, kGrayCh), cell[y % 2][x % 2]);
  }
}

TEST_F(Filters, DitherOfBlackAndWhite) {
  for (int64_t matrix = 1; matrix <= 10; ++matrix) {
    Ref black = NewImage(17, 17, kRGBA);
    FillAll(black, 0);
    Ref light = black.Call<Ref>("DitherFilter", nullptr, matrix, int64_t{2});
    EXPECT_EQ(Pixels(light), std::vector<uint8_t>(17 * 17 * 4, 255)) << matrix;

    Ref white = NewImage(17, 17, kG);
    FillAll(white, 255);
    Ref dark = white.Call<Ref>("DitherFilter", nullptr, matrix, int64_t{2});
    std::vector<uint8_t> pixels = Pixels(dark);
    int raised = 0;
    for (uint8_t v : pixels) raised += v == 255;
    // F[255] exceeds every threshold except where a matrix reaches it: the 36 of the 6 x 6
    // halftone (F = 36), and the larger entries that the 6 x 6 and 8 x 8 ordered tables hold.
    if (matrix == 6 || matrix == 7) {
      EXPECT_GT(raised, 0) << matrix;
    } else if (matrix == 5) {
      // Only cell (row 5, column 5) is raised: pixels (5 + 6i, 5 + 6j) inside 17 x 17.
      EXPECT_EQ(raised, 4);
      EXPECT_EQ(Byte(dark, 5, 11, kGrayCh), 255);
    } else {
      EXPECT_EQ(raised, 0) << matrix;
    }
  }
}

TEST_F(Filters, DitherLeavesTheDestForUnknownMatricesAndRefusesFewLevels) {
  Ref source = NewImage(5, 5, kRGB);
  Randomise(source, 7);
  Ref dest = NewImage(5, 5, kRGB);
  FillAll(dest, 42);
  for (int64_t matrix : {int64_t{0}, int64_t{11}, int64_t{-1}}) {
    EXPECT_EQ(source.Call<Ref>("DitherFilter", dest, matrix, int64_t{2}).get(), dest.get());
  }
  EXPECT_EQ(Pixels(dest), std::vector<uint8_t>(75, 42));
  for (int64_t levels : {int64_t{1}, int64_t{0}, int64_t{-5}}) {
    EXPECT_FALSE(source.Call<Ref>("DitherFilter", dest, int64_t{1}, levels));
    EXPECT_FALSE(source.Call<Ref>("DitherFilter", nullptr, int64_t{3}, levels));
  }
  EXPECT_EQ(Pixels(dest), std::vector<uint8_t>(75, 42));
  // Huge level counts keep to the formulas: no level table, no overflow.
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, INT64_MAX));
  EXPECT_TRUE(source.Call<Ref>("DitherFilter", dest, int64_t{2}, int64_t{1000}));
}

// --- Unsharp ---

class Unsharp : public Filters {
 protected:
  // Self and other with the given values in every byte.
  std::pair<Ref, Ref> Pair(int64_t format, uint8_t self, uint8_t other) {
    Ref a = NewImage(3, 2, format), b = NewImage(3, 2, format);
    FillAll(a, self);
    FillAll(b, other);
    return {a, b};
  }
};

TEST_F(Unsharp, CasesByHand) {
  auto [s, o] = Pair(kRGBA, 200, 100);
  EXPECT_TRUE(s.Call<bool>("UnsharpFilter", o, 1.0, int64_t{0}));
  EXPECT_EQ(Pixels(s), std::vector<uint8_t>(Pixels(s).size(), 255));  // 100 + 100 * 5
  auto [s2, o2] = Pair(kRGBA, 100, 200);
  EXPECT_TRUE(s2.Call<bool>("UnsharpFilter", o2, 1.0, int64_t{0}));
  EXPECT_EQ(Pixels(s2), std::vector<uint8_t>(Pixels(s2).size(), 0));
  // Amount 0.25: k = 2, so 90 + 10 * 2 = 110; below the threshold nothing moves.
  auto [s3, o3] = Pair(kGA, 100, 90);
  EXPECT_TRUE(s3.Call<bool>("UnsharpFilter", o3, 0.25, int64_t{10}));
  EXPECT_EQ(Byte(s3, 1, 1, kGrayCh), 110);
  EXPECT_EQ(Byte(s3, 1, 1, kAlphaCh), 110);
  auto [s4, o4] = Pair(kGA, 100, 90);
  EXPECT_TRUE(s4.Call<bool>("UnsharpFilter", o4, 0.25, int64_t{11}));
  EXPECT_EQ(Byte(s4, 1, 1, kGrayCh), 100);
  // The threshold is compared in 32 bits: 2^32 + 11 is 11, 2^32 is 0.
  auto [s5, o5] = Pair(kG, 100, 90);
  EXPECT_TRUE(s5.Call<bool>("UnsharpFilter", o5, 0.25, (int64_t{1} << 32) + 11));
  EXPECT_EQ(Byte(s5, 0, 0, kGrayCh), 100);
  EXPECT_TRUE(s5.Call<bool>("UnsharpFilter", o5, 0.25, int64_t{1} << 32));
  EXPECT_EQ(Byte(s5, 0, 0, kGrayCh), 110);
}

TEST_F(Unsharp, NeutralSettingsLeaveSelfAlone) {
  Ref self = NewImage(9, 5, kBGRA), other = NewImage(9, 5, kBGRA);
  Randomise(self, 8);
  Randomise(other, 9);
  std::vector<uint8_t> before = Pixels(self);
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, 0.0, int64_t{0}));
  EXPECT_EQ(Pixels(self), before);
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, 7.5, int64_t{256}));
  EXPECT_EQ(Pixels(self), before);
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, -3.0, int64_t{1000}));
  EXPECT_EQ(Pixels(self), before);
}

TEST_F(Unsharp, MismatchedImagesAreRefused) {
  Ref self = NewImage(4, 4, kRGB);
  Randomise(self, 10);
  std::vector<uint8_t> before = Pixels(self);
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", nullptr, 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(5, 4, kRGB), 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(4, 3, kRGB), 1.0, int64_t{0}));
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", NewImage(4, 4, kRGBA), 1.0, int64_t{0}));
  Ref closed = NewImage(4, 4, kRGB);
  closed.Call("Close");
  EXPECT_FALSE(self.Call<bool>("UnsharpFilter", closed, 1.0, int64_t{0}));
  EXPECT_EQ(Pixels(self), before);
  Ref wide = NewImage(4, 4, kGray16), wideOther = NewImage(4, 4, kGray16);
  EXPECT_FALSE(wide.Call<bool>("UnsharpFilter", wideOther, 1.0, int64_t{0}));
  // No family: accepted, nothing changed.
  Ref scaling = NewImage(4, 4, kScaling5), scalingOther = NewImage(4, 4, kScaling5);
  Randomise(scaling, 11);
  before = Pixels(scaling);
  EXPECT_TRUE(scaling.Call<bool>("UnsharpFilter", scalingOther, 1.0, int64_t{0}));
  EXPECT_EQ(Pixels(scaling), before);
}

TEST_F(Unsharp, CMYKWithoutAlphaMapsTheFirstByteTwice) {
  // Cyan is the byte at AlphaOffset 0 in CMYK: 100 against 90 with k = 2 gives 110, then 110
  // against 90 gives 130. The other inks move once: 50 against 60 gives 40.
  Ref self = NewImage(2, 2, kCMYK), other = NewImage(2, 2, kCMYK);
  FillAll(self, 50);
  FillAll(other, 60);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 2; ++x) {
      Byte(self, x, y, "Cyan") = 100;
      Byte(other, x, y, "Cyan") = 90;
    }
  }
  EXPECT_TRUE(self.Call<bool>("UnsharpFilter", other, 0.25, int64_t{0}));
  EXPECT_EQ(Byte(self, 1, 1, "Cyan"), 130);
  EXPECT_EQ(Byte(self, 1, 1, "Magenta"), 40);
  EXPECT_EQ(Byte(self, 1, 1, "Black"), 40);
  // In KYMC the byte at offset 0 is black.
  Ref kymc = NewImage(1, 1, kKYMC), kymcOther = NewImage(1, 1, kKYMC);
  FillAll(kymc, 100);
  FillAll(kymcOther, 90);
  EXPECT_TRUE(kymc.Call<bool>("UnsharpFilter", kymcOther, 0.25, int64_t{0}));
  EXPECT_EQ(Byte(kymc, 0, 0, "Black"), 130);
  EXPECT_EQ(Byte(kymc, 0, 0, "Cyan"), 110);
  // With alpha, alpha is mapped once like the inks.
  Ref cmyka = NewImage(1, 1, kCMYKA), cmykaOther = NewImage(1, 1, kCMYKA);
  FillAll(cmyka, 100);
  FillAll(cmykaOther, 90);
  EXPECT_TRUE(cmyka.Call<bool>("UnsharpFilter", cmykaOther, 0.25, int64_t{0}));
  EXPECT_EQ(Pixels(cmyka), std::vector<uint8_t>(5, 110));
}

// --- Views and mapped files ---

TEST_F(Filters, ChannelViewsAndMappedFilesAreAddressedThroughTheirRecords) {
  Ref rgba = NewImage(9, 6, kRGBA);
  Randomise(rgba, 12);
  std::vector<uint8_t> before = Pixels(rgba);
  Ref green = rgba.Call<Ref>("GreenChannel");
  ASSERT_TRUE(green);
  // In place on the view: only the green bytes of the parent change.
  EXPECT_EQ(green.Call<Ref>("SolarizeFilter", green).get(), green.get());
  std::vector<uint8_t> after = Pixels(rgba);
  int64_t greenOffset = Int(rgba, "GreenOffset");
  for (size_t i = 0; i < before.size(); ++i) {
    uint8_t want = (static_cast<int64_t>(i % 4) == greenOffset) ? kSolarized[before[i]] : before[i];
    ASSERT_EQ(after[i], want) << i;
  }
  // A file-mapped image a few rows at a time, as source and as dest.
  Ref mapped = host_.New("PictureXQT", int64_t{301}, int64_t{40}, kRGB, int64_t{4096}, nullptr);
  ASSERT_TRUE(mapped.Get<bool>("Valid"));
  Randomise(mapped, 13);
  Ref memory = NewImage(301, 40, kRGB);
  for (int64_t y = 0; y < 40; ++y) {
    std::vector<uint8_t> row(Row(mapped, y), Row(mapped, y) + 301 * 3);
    std::memcpy(Row(memory, y), row.data(), row.size());
  }
  Ref mappedDest = host_.New("PictureXQT", int64_t{301}, int64_t{40}, kRGB, int64_t{4096}, nullptr);
  EXPECT_TRUE(mapped.Call<Ref>("DitherFilter", mappedDest, int64_t{10}, int64_t{3}));
  Ref expected = memory.Call<Ref>("DitherFilter", nullptr, int64_t{10}, int64_t{3});
  EXPECT_EQ(Pixels(mappedDest), Pixels(expected));
}

}  // namespace
