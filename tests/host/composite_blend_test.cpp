// BlendPicturesWithMaskWithBackground through the host: every family combination against a plain
// reference, the blend values at the mask's ends and middle, the rectangle and size rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/composite_support.h"
#include "support/plugin_fixture.h"

namespace {

using namespace composite_test;
using xqt::host::Color;

constexpr int64_t kRGB = 1, kRGBA = 2, kARGB = 4, kBGR = 6, kBGRA = 7, kG = 11, kGA = 12,
                  kCMYK = 23, kGray16 = 41;

// A gray image gives its gray to every channel; an RGB image asked for one gray value gives the
// weighted sum.
uint8_t Channel(const Layout& l, const uint8_t* pixel, int channel) {
  if (l.family == Family::kGray) return pixel[l.gray];
  const int64_t offsets[3] = {l.red, l.green, l.blue};
  return pixel[offsets[channel]];
}
uint8_t OneGray(const Layout& l, const uint8_t* pixel) {
  if (l.family == Family::kGray) return pixel[l.gray];
  return Gray(pixel[l.red], pixel[l.green], pixel[l.blue]);
}

struct BlendImages {
  const Ref* source;
  const Ref* dest;  // may be null
  const Ref* mask;  // may be null
  const Ref* result;
};

// The result's rows after a blend over the (in-bounds) rectangle, straight from the rules.
Rows ReferenceBlend(const BlendImages& images, uint32_t colour, int64_t x0, int64_t y0,
                    int64_t width, int64_t height) {
  Layout s = LayoutOf(*images.source), r = LayoutOf(*images.result);
  Layout d = images.dest ? LayoutOf(*images.dest) : Layout{};
  Layout m = images.mask ? LayoutOf(*images.mask) : Layout{};
  Rows sourceRows = Snapshot(*images.source), out = Snapshot(*images.result);
  Rows destRows = images.dest ? Snapshot(*images.dest) : Rows{};
  Rows maskRows = images.mask ? Snapshot(*images.mask) : Rows{};
  const uint8_t background[3] = {static_cast<uint8_t>(colour >> 16),
                                 static_cast<uint8_t>(colour >> 8), static_cast<uint8_t>(colour)};
  auto blend = [&](uint32_t sv, uint32_t other, uint32_t mv) -> uint8_t {
    if (!images.mask) return static_cast<uint8_t>(sv);
    uint32_t value =
        images.dest ? (other * mv + (255 - mv) * sv) / 255 : ((255 - mv) * sv + other * mv) / 255;
    return static_cast<uint8_t>(std::min<uint32_t>(value, 255));
  };
  for (int64_t y = y0; y < y0 + height; ++y) {
    for (int64_t x = x0; x < x0 + width; ++x) {
      const uint8_t* sp = sourceRows[y].data() + x * s.pixelSize;
      const uint8_t* dp = images.dest ? destRows[y].data() + x * d.pixelSize : nullptr;
      uint32_t mv = images.mask ? OneGray(m, maskRows[y].data() + x * m.pixelSize) : 0;
      uint8_t* rp = out[y].data() + x * r.pixelSize;
      if (r.family == Family::kRGB) {
        const int64_t offsets[3] = {r.red, r.green, r.blue};
        for (int c = 0; c < 3; ++c) {
          uint32_t other = dp ? Channel(d, dp, c) : background[c];
          rp[offsets[c]] = blend(Channel(s, sp, c), other, mv);
        }
      } else {
        uint32_t other = dp ? OneGray(d, dp) : Gray(background[0], background[1], background[2]);
        rp[r.gray] = blend(OneGray(s, sp), other, mv);
      }
    }
  }
  return out;
}

std::vector<Participant> GrayKinds() {
  return {Format(kG),
          Format(kGA),
          Format(13),
          Format(16),
          Format(21),
          Format(kGray16),
          Format(44),
          Clip(kGA),
          View(kRGBA, "RedChannel"),
          View(kBGRA, "AlphaChannel")};
}
std::vector<Participant> RGBKinds() {
  std::vector<Participant> kinds;
  for (int64_t code = 1; code <= 10; ++code) kinds.push_back(Format(code));
  kinds.push_back(Clip(kBGRA));
  kinds.push_back(View(kARGB, "RGBChannels"));
  kinds.push_back(View(kBGR, "MirroredView"));
  return kinds;
}

class Blend : public PluginTest {
 protected:
  bool Call(const Ref& source, const Ref* dest, const Ref* mask, const Ref& result, uint32_t colour,
            int64_t x, int64_t y, int64_t width, int64_t height) {
    return host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                  dest ? dest->get() : nullptr, mask ? mask->get() : nullptr,
                                  result, Color{colour}, x, y, width, height);
  }
  bool CallWhole(const Ref& source, const Ref* dest, const Ref* mask, const Ref& result,
                 uint32_t colour) {
    return host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                  dest ? dest->get() : nullptr, mask ? mask->get() : nullptr,
                                  result, Color{colour});
  }
  Ref Filled(int64_t width, int64_t height, int64_t format, uint8_t value) {
    Ref image = NewImage(width, height, format);
    Layout l = LayoutOf(image);
    for (int64_t y = 0; y < height; ++y) std::memset(RowOf(image, y), value, l.rowSize);
    return image;
  }
  uint8_t At(const Ref& image, int64_t x, int64_t y, int64_t offset) {
    return RowOf(image, y)[x * image.Get<int64_t>("PixelSize") + offset];
  }
};

TEST_F(Blend, EveryFamilyCombinationMatchesTheReference) {
  std::mt19937 rng(1357);
  const std::vector<Participant> gray = GrayKinds(), rgb = RGBKinds();
  auto pick = [&](bool isRGB) -> const Participant& {
    const std::vector<Participant>& kinds = isRGB ? rgb : gray;
    return kinds[rng() % kinds.size()];
  };
  auto odd = [&] { return 1 + 2 * static_cast<int64_t>(rng() % 8); };
  // Families: 0 none, 1 gray, 2 RGB. Two rounds with other formats and sizes each.
  for (int round = 0; round < 2; ++round) {
    for (int sourceRGB = 0; sourceRGB < 2; ++sourceRGB) {
      for (int dest = 0; dest < 3; ++dest) {
        for (int mask = 0; mask < 3; ++mask) {
          for (int resultRGB = 0; resultRGB < 2; ++resultRGB) {
            int64_t width = odd(), height = odd();
            auto larger = [&](bool isRGB) {
              return pick(isRGB).make(host_, width + static_cast<int64_t>(rng() % 3),
                                      height + static_cast<int64_t>(rng() % 3));
            };
            Ref source = pick(sourceRGB).make(host_, width, height);
            Ref destImage = dest ? larger(dest == 2) : Ref();
            Ref maskImage = mask ? larger(mask == 2) : Ref();
            Ref result = larger(resultRGB);
            for (const Ref* image : {&source, &destImage, &maskImage, &result}) {
              if (*image) FillRandom(*image, rng);
            }
            SCOPED_TRACE(std::to_string(sourceRGB) + std::to_string(dest) + std::to_string(mask) +
                         std::to_string(resultRGB) + " formats " +
                         std::to_string(source.Get<int64_t>("ImageFormat")) + " " +
                         std::to_string(result.Get<int64_t>("ImageFormat")));
            int64_t x = static_cast<int64_t>(rng() % width),
                    y = static_cast<int64_t>(rng() % height);
            int64_t w = 1 + static_cast<int64_t>(rng() % (width - x));
            int64_t h = 1 + static_cast<int64_t>(rng() % (height - y));
            uint32_t colour = rng() & 0xFFFFFF;
            BlendImages images{&source, dest ? &destImage : nullptr, mask ? &maskImage : nullptr,
                               &result};
            Rows expected = ReferenceBlend(images, colour, x, y, w, h);
            Rows sourceBefore = Snapshot(source);
            EXPECT_TRUE(Call(source, images.dest, images.mask, result, colour, x, y, w, h));
            ASSERT_EQ(Snapshot(result), expected);
            ASSERT_EQ(Snapshot(source), sourceBefore);
          }
        }
      }
    }
  }
}

TEST_F(Blend, MaskEndsAndMiddle) {
  Ref black = Filled(3, 2, kRGB, 0);
  Ref picture = Filled(3, 2, kRGB, 200);
  const uint32_t kWhite = 0xFFFFFF;
  // Mask 0 keeps the source, mask 255 takes the background or the destination image.
  Ref zero = Filled(3, 2, kG, 0), full = Filled(3, 2, kG, 255), half = Filled(3, 2, kG, 128);
  Ref result = Filled(3, 2, kRGB, 7);
  EXPECT_TRUE(CallWhole(black, nullptr, &zero, result, kWhite));
  EXPECT_EQ(At(result, 2, 1, 0), 0);
  EXPECT_TRUE(CallWhole(black, nullptr, &full, result, 0x102030));
  EXPECT_EQ(At(result, 2, 1, 0), 0x10);
  EXPECT_EQ(At(result, 2, 1, 1), 0x20);
  EXPECT_EQ(At(result, 2, 1, 2), 0x30);
  EXPECT_TRUE(CallWhole(black, &picture, &full, result, kWhite));
  EXPECT_EQ(At(result, 0, 0, 1), 200);
  // Mask 128 over white with source 0: (127 x 0 + 255 x 128) / 255 = 128.
  EXPECT_TRUE(CallWhole(black, nullptr, &half, result, kWhite));
  EXPECT_EQ(At(result, 1, 1, 2), 128);
  // Mask 128 between 0 and 200: (200 x 128 + 127 x 0) / 255 = 100.39, truncated.
  EXPECT_TRUE(CallWhole(black, &picture, &half, result, kWhite));
  EXPECT_EQ(At(result, 1, 0, 0), 100);
}

TEST_F(Blend, GrayResultsUseTheWeights) {
  Ref red = NewImage(1, 1, kBGRA);
  const uint8_t pixel[4] = {0, 0, 255, 9};  // blue, green, red, alpha
  std::memcpy(RowOf(red, 0), pixel, 4);
  Ref result = Filled(1, 1, kG, 0);
  EXPECT_TRUE(CallWhole(red, nullptr, nullptr, result, 0));
  EXPECT_EQ(At(result, 0, 0, 0), 76);
  // The background becomes gray by the same weights: pure green gives 150.
  Ref full = Filled(1, 1, kG, 255);
  EXPECT_TRUE(CallWhole(red, nullptr, &full, result, 0x00FF00));
  EXPECT_EQ(At(result, 0, 0, 0), 150);
  // A 16-bit gray result takes the value as one byte at its gray offset.
  Ref wide = Filled(1, 1, kGray16, 0x33);
  EXPECT_TRUE(CallWhole(red, nullptr, nullptr, wide, 0));
  EXPECT_EQ(At(wide, 0, 0, 0), 76);
  EXPECT_EQ(At(wide, 0, 0, 1), 0x33);
}

TEST_F(Blend, WithoutAMaskDestinationAndBackgroundPlayNoPart) {
  std::mt19937 rng(5);
  Ref source = NewImage(5, 3, kARGB), dest = NewImage(5, 3, kRGB);
  FillRandom(source, rng);
  FillRandom(dest, rng);
  Ref withDest = Filled(5, 3, kBGR, 1), plain = Filled(5, 3, kBGR, 1);
  EXPECT_TRUE(CallWhole(source, &dest, nullptr, withDest, 0xFF00FF));
  EXPECT_TRUE(CallWhole(source, nullptr, nullptr, plain, 0x00FF00));
  EXPECT_EQ(Snapshot(withDest), Snapshot(plain));
  // Alpha is neither read nor written: the source's alpha bytes did not reach the result, whose
  // padding-free BGR pixels hold the source's colour.
  EXPECT_EQ(At(plain, 4, 2, 2), At(source, 4, 2, 1));
}

TEST_F(Blend, RectangleAndSizes) {
  Ref source = Filled(6, 4, kG, 9);
  // A negative width counts back from X; the rest of the result stays as it was.
  Ref result = Filled(8, 5, kG, 0);
  EXPECT_TRUE(Call(source, nullptr, nullptr, result, 0, 4, 1, -3, 2));
  for (int64_t x = 0; x < 8; ++x) {
    EXPECT_EQ(At(result, x, 1, 0), x >= 1 && x <= 3 ? 9 : 0) << x;
    EXPECT_EQ(At(result, x, 2, 0), x >= 1 && x <= 3 ? 9 : 0) << x;
    EXPECT_EQ(At(result, x, 3, 0), 0) << x;
  }
  // The rectangle is cut to the source alone, even inside a larger result.
  Ref cut = Filled(8, 5, kG, 0);
  EXPECT_TRUE(Call(source, nullptr, nullptr, cut, 0, -2, 2, 20, 20));
  EXPECT_EQ(At(cut, 5, 3, 0), 9);
  EXPECT_EQ(At(cut, 6, 3, 0), 0);
  EXPECT_EQ(At(cut, 0, 4, 0), 0);
  EXPECT_EQ(At(cut, 0, 1, 0), 0);
  EXPECT_FALSE(Call(source, nullptr, nullptr, cut, 0, 6, 0, 2, 2));

  // A result one pixel narrower than the source is refused even for a rectangle that fits.
  Ref narrow = Filled(5, 4, kG, 0);
  EXPECT_FALSE(Call(source, nullptr, nullptr, narrow, 0, 0, 0, 2, 2));
  EXPECT_EQ(At(narrow, 0, 0, 0), 0);
  Ref smallMask = Filled(6, 3, kG, 0), smallDest = Filled(5, 4, kG, 0);
  EXPECT_FALSE(CallWhole(source, nullptr, &smallMask, result, 0));
  EXPECT_FALSE(CallWhole(source, &smallDest, &smallMask, result, 0));
  // CMYK anywhere, and nil where an image is required.
  Ref cmyk = Filled(6, 4, kCMYK, 0);
  EXPECT_FALSE(CallWhole(cmyk, nullptr, nullptr, result, 0));
  EXPECT_FALSE(CallWhole(source, nullptr, nullptr, cmyk, 0));
  EXPECT_FALSE(CallWhole(source, nullptr, &cmyk, result, 0));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", nullptr,
                                      nullptr, nullptr, result, Color{0}));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                      nullptr, nullptr, nullptr, Color{0}));
}

TEST_F(Blend, FileMappedImagesAcrossBands) {
  const int64_t kHeight = 9000;
  Ref source = host_.New("PictureXQT", int64_t{2}, kHeight, kRGB, int64_t{0}, nullptr);
  Ref mask = host_.New("PictureXQT", int64_t{2}, kHeight, kG, int64_t{0}, nullptr);
  Ref result = host_.New("PictureXQT", int64_t{2}, kHeight, kGA, int64_t{0}, nullptr);
  ASSERT_TRUE(source.Get<bool>("Valid") && mask.Get<bool>("Valid") && result.Get<bool>("Valid"));
  ASSERT_LT(source.Get<int64_t>("MappingRows"), kHeight);
  for (int64_t y = 0; y < kHeight; ++y) {
    std::memset(RowOf(source, y), static_cast<int>(y & 0xFF), 6);
    std::memset(RowOf(mask, y), y % 2 ? 255 : 0, 2);
  }
  EXPECT_TRUE(CallWhole(source, nullptr, &mask, result, 0x000000));
  for (int64_t y = 0; y < kHeight; ++y) {
    // Mask 0 keeps the source's gray (equal channels give that value), mask 255 the black.
    uint8_t want = y % 2 ? 0 : static_cast<uint8_t>(y & 0xFF);
    ASSERT_EQ(RowOf(result, y)[0], want) << y;
  }
}

}  // namespace
