// Combine through the host: hand-worked blends of images and colours through masks, the
// premultiplied form, rectangles, every family against a plain reference from the formulas, and
// the refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kBGRA = 7, kG = 11, kGA = 12, kCMYK = 23, kCMYKA = 24,
                  kKYMCA = 29, kGray16 = 41;

class CombineTest : public PluginTest {
 protected:
  Ref Mask(const Bytes& values) {
    Ref mask = NewImage(static_cast<int64_t>(values.size()), 1, kG);
    SetPixels(mask, 0, values);
    return mask;
  }
};

TEST_F(CombineTest, ImageThroughMask) {
  Ref self = NewImage(3, 1, kRGB);
  SetPixels(self, 0, {100, 100, 100, 100, 100, 100, 100, 100, 100});
  Ref source = NewImage(3, 1, kRGB);
  SetPixels(source, 0, {200, 50, 0, 200, 50, 0, 200, 50, 0});
  // Mask 255 takes the source, 0 keeps self; 128 weighs t = 255 x 128 = 32640 of 65025:
  // (200 x 32640 + 100 x 32385 + 32512) / 65025 = 9799012 / 65025 = 150,
  // (50 x 32640 + 100 x 32385 + 32512) / 65025 = 4903012 / 65025 = 75,
  // (0 + 100 x 32385 + 32512) / 65025 = 3271012 / 65025 = 50.
  Ref mask = Mask({255, 0, 128});
  EXPECT_TRUE(self.Call<bool>("Combine", source, mask));
  EXPECT_EQ(RowBytes(self, 0, 9), (Bytes{200, 50, 0, 100, 100, 100, 150, 75, 50}));
}

TEST_F(CombineTest, SourceAlphaAndSelfAlpha) {
  // A source alpha of 128 under mask 255 weighs like mask 128 without alpha; self's alpha 0
  // becomes (128 x 255 x 255 + 0 + 32512) / 65025 = 128.
  Ref self = NewImage(1, 1, kRGBA);
  SetPixels(self, 0, {100, 100, 100, 0});
  Ref source = NewImage(1, 1, kBGRA);
  SetPixels(source, 0, {0, 50, 200, 128});
  EXPECT_TRUE(self.Call<bool>("Combine", source, Mask({255})));
  EXPECT_EQ(RowBytes(self, 0, 4), (Bytes{150, 75, 50, 128}));
}

TEST_F(CombineTest, PremultipliedSource) {
  // Source (100, 0, 0) premultiplied by alpha 128 over self (0, 0, 200), mask 255:
  // red (100 x 255 x 255 + 32512) / 65025 = 100; blue (200 x (65025 - 32640) + 32512) / 65025 =
  // 6509512 / 65025 = 100, close to 200 x 127 / 255 = 99.6.
  Ref self = NewImage(1, 1, kRGB);
  SetPixels(self, 0, {0, 0, 200});
  Ref source = NewImage(1, 1, kRGBA);
  SetPixels(source, 0, {100, 0, 0, 128});
  Ref mask = Mask({255});
  EXPECT_TRUE(self.Call<bool>("Combine", source, mask, true));
  EXPECT_EQ(RowBytes(self, 0, 3), (Bytes{100, 0, 100}));
  // Colours beyond their alpha (not really premultiplied) stop at 255.
  SetPixels(self, 0, {255, 255, 255});
  SetPixels(source, 0, {255, 255, 255, 128});
  EXPECT_TRUE(self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{0}, int64_t{1},
                              int64_t{1}, true));
  EXPECT_EQ(RowBytes(self, 0, 3), (Bytes{255, 255, 255}));
}

TEST_F(CombineTest, ColoursInEveryFamily) {
  Ref mask = Mask({255, 0});
  // A host colour into gray: (77 x 10 + 151 x 20 + 28 x 30) >> 8 = 18.
  Ref gray = NewImage(2, 1, kG);
  SetPixels(gray, 0, {1, 2});
  EXPECT_TRUE(gray.Call<bool>("Combine", mask, Color{0x0A141E}));
  EXPECT_EQ(RowBytes(gray, 0, 2), (Bytes{18, 2}));
  // A gray colour into CMYK: the gray byte becomes black, as CopyPixels moves gray into CMYK.
  Ref cmyk = NewImage(2, 1, kCMYKA);
  SetPixels(cmyk, 0, {9, 9, 9, 9, 9, 9, 9, 9, 9, 9});
  EXPECT_TRUE(cmyk.Call<bool>("Combine", mask, int64_t{200}, int64_t{255}));
  EXPECT_EQ(RowBytes(cmyk, 0, 10), (Bytes{0, 0, 0, 200, 255, 9, 9, 9, 9, 9}));
  // An RGB colour into KYMC order: (10, 20, 30) is C 170, M 85, Y 0, K 225.
  Ref kymc = NewImage(1, 1, kKYMCA);
  EXPECT_TRUE(
      kymc.Call<bool>("Combine", Mask({255}), int64_t{10}, int64_t{20}, int64_t{30}, int64_t{255}));
  EXPECT_EQ(RowBytes(kymc, 0, 5), (Bytes{225, 0, 85, 170, 255}));
  // A CMYK colour into RGB: 255 - (K + C x (255 - K) / 255) with K = 100: cyan 255 gives 0.
  Ref rgb = NewImage(1, 1, kRGB);
  EXPECT_TRUE(rgb.Call<bool>("Combine", Mask({255}), int64_t{255}, int64_t{0}, int64_t{0},
                             int64_t{100}, int64_t{255}));
  EXPECT_EQ(RowBytes(rgb, 0, 3), (Bytes{0, 155, 155}));
  // 16-bit gray blends in 16 bits: 65535 at t = 32640 gives 65535 x 32640 / 65025 = 32896.
  Ref gray16 = NewImage(1, 1, kGray16);
  std::memset(Row(gray16, 0), 0, 2);
  EXPECT_TRUE(gray16.Call<bool>("Combine", Mask({128}), int64_t{255}, int64_t{255}));
  uint16_t sample;
  std::memcpy(&sample, Row(gray16, 0), 2);
  EXPECT_EQ(sample, 32896);
}

TEST_F(CombineTest, RectanglesAreFixedAgainstEveryImage) {
  Ref self = NewImage(5, 3, kG);
  for (int64_t y = 0; y < 3; ++y) SetPixels(self, y, Bytes(5, 10));
  // The mask covers 4 x 2 only: the rectangle (-1, 1, 9, 9) becomes (0, 1, 4, 1).
  Ref mask = NewImage(4, 2, kG);
  for (int64_t y = 0; y < 2; ++y) SetPixels(mask, y, Bytes(4, 255));
  EXPECT_TRUE(self.Call<bool>("Combine", mask, int64_t{-1}, int64_t{1}, int64_t{9}, int64_t{9},
                              int64_t{99}, int64_t{255}));
  EXPECT_EQ(RowBytes(self, 0, 5), Bytes(5, 10));
  EXPECT_EQ(RowBytes(self, 1, 5), (Bytes{99, 99, 99, 99, 10}));
  EXPECT_EQ(RowBytes(self, 2, 5), Bytes(5, 10));
  // A negative size flips: (3, 0, -2, 1) is columns 1 and 2 of row 0.
  EXPECT_TRUE(self.Call<bool>("Combine", mask, int64_t{3}, int64_t{0}, int64_t{-2}, int64_t{1},
                              Color{0x000000}));
  EXPECT_EQ(RowBytes(self, 0, 5), (Bytes{10, 0, 0, 10, 10}));
  Ref source = NewImage(5, 3, kRGB);
  EXPECT_TRUE(
      self.Call<bool>("Combine", source, mask, int64_t{3}, int64_t{1}, int64_t{5}, int64_t{5}));
  EXPECT_EQ(RowBytes(self, 1, 5), (Bytes{99, 99, 99, 0, 10}));
  // Row 2 lies outside the mask: nothing is left.
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{0}, int64_t{2}, int64_t{1}, int64_t{1},
                               int64_t{1}, int64_t{2}, int64_t{3}, int64_t{255}));
  EXPECT_EQ(RowBytes(self, 2, 5), Bytes(5, 10));
}

TEST_F(CombineTest, SelfAsSourceOrMask) {
  Ref self = NewImage(3, 2, kRGBA);
  std::mt19937 random(3);
  for (int64_t y = 0; y < 2; ++y) {
    for (int i = 0; i < 12; ++i) Row(self, y)[i] = random() & 0xFF;
    Row(self, y)[3] = 255;  // an opaque pixel keeps self's alpha exactly
  }
  Bytes before = RowBytes(self, 0, 12);
  Ref mask = NewImage(3, 2, kG);
  for (int64_t y = 0; y < 2; ++y) SetPixels(mask, y, {255, 128, 1});
  EXPECT_TRUE(self.Call<bool>("Combine", self, mask));
  // s = d gives d exactly for the colours.
  Bytes after = RowBytes(self, 0, 12);
  for (int i = 0; i < 12; ++i) {
    if (i % 4 != 3) {
      EXPECT_EQ(after[i], before[i]) << i;
    }
  }
  EXPECT_EQ(after[3], 255);
  // A gray self as its own mask: 0 keeps, 255 takes the colour.
  Ref gray = NewImage(2, 1, kG);
  SetPixels(gray, 0, {0, 255});
  EXPECT_TRUE(gray.Call<bool>("Combine", gray, int64_t{7}, int64_t{255}));
  EXPECT_EQ(RowBytes(gray, 0, 2), (Bytes{0, 7}));
}

// Every family, with and without alpha, against the formulas evaluated here on random images of
// odd sizes, with a gray or an RGB mask.
TEST_F(CombineTest, EveryFamilyAgainstReference) {
  struct Case {
    int64_t self, source, mask;
  };
  const Case cases[] = {{kG, kGA, kG},        {kGA, kG, kRGB},       {kRGB, kRGBA, kG},
                        {kRGBA, kBGRA, kG},   {kBGRA, kRGB, kRGB},   {kCMYK, kCMYKA, kG},
                        {kCMYKA, kKYMCA, kG}, {kGray16, kGray16, kG}};
  std::mt19937 random(11);
  for (const Case& c : cases) {
    for (bool pre : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.self << " " << c.source << " " << c.mask << " " << pre);
      const int64_t w = 7, h = 5;
      Ref self = NewImage(w, h, c.self), source = NewImage(w, h, c.source);
      Ref mask = NewImage(w, h, c.mask);
      for (const Ref* image : {&self, &source, &mask}) {
        int64_t bytes = w * image->Get<int64_t>("PixelSize");
        for (int64_t y = 0; y < h; ++y) {
          for (int64_t i = 0; i < bytes; ++i) Row(*image, y)[i] = random() & 0xFF;
        }
      }
      auto offsets = [](const Ref& image) {
        if (image.Get<bool>("IsRGB")) {
          return std::vector<int64_t>{image.Get<int64_t>("RedOffset"),
                                      image.Get<int64_t>("GreenOffset"),
                                      image.Get<int64_t>("BlueOffset")};
        }
        if (image.Get<bool>("IsCMYK")) {
          return std::vector<int64_t>{
              image.Get<int64_t>("CyanOffset"), image.Get<int64_t>("MagentaOffset"),
              image.Get<int64_t>("YellowOffset"), image.Get<int64_t>("BlackOffset")};
        }
        return std::vector<int64_t>{image.Get<int64_t>("GrayOffset")};
      };
      std::vector<int64_t> so = offsets(self), ro = offsets(source), mo = offsets(mask);
      int64_t sps = self.Get<int64_t>("PixelSize"), rps = source.Get<int64_t>("PixelSize");
      int64_t mps = mask.Get<int64_t>("PixelSize");
      bool selfAlpha = self.Get<bool>("HasAlpha"), sourceAlpha = source.Get<bool>("HasAlpha");
      int64_t sa = self.Get<int64_t>("AlphaOffset"), ra = source.Get<int64_t>("AlphaOffset");
      bool wide = c.self == kGray16;
      std::vector<Bytes> expected;
      for (int64_t y = 0; y < h; ++y) {
        Bytes row = RowBytes(self, y, w * sps);
        const uint8_t* s = Row(source, y);
        const uint8_t* m = Row(mask, y);
        for (int64_t x = 0; x < w; ++x) {
          uint64_t mv = mo.size() == 3 ? (77 * m[x * mps + mo[0]] + 151 * m[x * mps + mo[1]] +
                                          28 * m[x * mps + mo[2]]) >>
                                             8
                                       : m[x * mps + mo[0]];
          uint64_t a = sourceAlpha ? s[x * rps + ra] : 255;
          uint64_t t = a * mv;
          for (size_t k = 0; k < so.size(); ++k) {
            uint64_t sv, dv;
            if (wide) {
              uint16_t v;
              std::memcpy(&v, s + x * rps + ro[k], 2);
              sv = v;
              std::memcpy(&v, &row[x * sps + so[k]], 2);
              dv = v;
            } else {
              sv = s[x * rps + ro[k]];
              dv = row[x * sps + so[k]];
            }
            uint64_t out = pre ? (sv * mv * 255 + dv * (65025 - t) + 32512) / 65025
                               : (sv * t + dv * (65025 - t) + 32512) / 65025;
            out = std::min<uint64_t>(out, wide ? 65535 : 255);
            if (wide) {
              auto v = static_cast<uint16_t>(out);
              std::memcpy(&row[x * sps + so[k]], &v, 2);
            } else {
              row[x * sps + so[k]] = static_cast<uint8_t>(out);
            }
          }
          if (selfAlpha) {
            uint64_t da = row[x * sps + sa];
            row[x * sps + sa] =
                static_cast<uint8_t>((a * mv * 255 + da * (65025 - t) + 32512) / 65025);
          }
        }
        expected.push_back(row);
      }
      EXPECT_TRUE(self.Call<bool>("Combine", source, mask, pre));
      for (int64_t y = 0; y < h; ++y) EXPECT_EQ(RowBytes(self, y, w * sps), expected[y]) << y;
    }
  }
}

// File-mapped images (rows reached through the mapping accessor) give the same pixels as
// in-memory ones, for Combine and for the whole image read as one string.
TEST_F(CombineTest, FileMappedImagesMatchInMemoryOnes) {
  const int64_t w = 301, h = 9;
  std::mt19937 random(5);
  auto randomImage = [&](int64_t format) {
    Ref image = NewImage(w, h, format);
    int64_t bytes = w * image.Get<int64_t>("PixelSize");
    for (int64_t y = 0; y < h; ++y) {
      for (int64_t i = 0; i < bytes; ++i) Row(image, y)[i] = random() & 0xFF;
    }
    return image;
  };
  auto mappedCopy = [&](const Ref& image, int64_t format) {
    Ref mapped = host_.New("PictureXQT", w, h, format, int64_t{1}, nullptr);
    EXPECT_TRUE(mapped.Call<bool>("CopyPixels", image));
    return mapped;
  };
  Ref self = randomImage(kRGBA), source = randomImage(kCMYKA), mask = randomImage(kG);
  Ref mappedSelf = mappedCopy(self, kRGBA), mappedSource = mappedCopy(source, kCMYKA);
  Ref mappedMask = mappedCopy(mask, kG);

  EXPECT_TRUE(self.Call<bool>("Combine", source, mask, int64_t{3}, int64_t{2}, int64_t{290},
                              int64_t{6}, true));
  EXPECT_TRUE(mappedSelf.Call<bool>("Combine", mappedSource, mappedMask, int64_t{3}, int64_t{2},
                                    int64_t{290}, int64_t{6}, true));
  EXPECT_EQ(mappedSelf.Call<std::string>("DataStringInFormat", kRGBA),
            self.Call<std::string>("DataStringInFormat", kRGBA));
}

TEST_F(CombineTest, Refusals) {
  Ref self = NewImage(2, 2, kRGB);
  for (int64_t y = 0; y < 2; ++y) SetPixels(self, y, Bytes(6, 50));
  Ref mask = NewImage(2, 2, kG);
  for (int64_t y = 0; y < 2; ++y) SetPixels(mask, y, Bytes(2, 255));
  Ref source = NewImage(2, 2, kRGB);
  Ref cmykMask = NewImage(2, 2, kCMYK);
  Ref closed = NewImage(2, 2, kG);
  closed.Call("Close");
  EXPECT_FALSE(self.Call<bool>("Combine", source, nullptr));
  EXPECT_FALSE(self.Call<bool>("Combine", nullptr, mask));
  EXPECT_FALSE(self.Call<bool>("Combine", nullptr, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", cmykMask, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", closed, Color{0}));
  EXPECT_FALSE(self.Call<bool>("Combine", closed, mask, false));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{256}, int64_t{255}));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{1}, int64_t{2}, int64_t{-1}, int64_t{255}));
  EXPECT_FALSE(self.Call<bool>("Combine", mask, int64_t{1}, int64_t{2}, int64_t{3}, int64_t{4},
                               int64_t{300}));
  // Rectangles that leave nothing.
  EXPECT_FALSE(
      self.Call<bool>("Combine", mask, int64_t{2}, int64_t{0}, int64_t{1}, int64_t{1}, Color{0}));
  EXPECT_FALSE(
      self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{2}));
  EXPECT_FALSE(self.Call<bool>("Combine", source, mask, int64_t{0}, int64_t{-3}, int64_t{2},
                               int64_t{2}, true));
  for (int64_t y = 0; y < 2; ++y) EXPECT_EQ(RowBytes(self, y, 6), Bytes(6, 50));
  // A closed self is refused too.
  EXPECT_FALSE(closed.Call<bool>("Combine", mask, int64_t{1}, int64_t{255}));
}

}  // namespace
