// BlendPicturesWithMaskWithBackground through the host: every family combination at the mask's
// ends, the blend values at the ends and the middle by hand, the rectangle and size rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/composite_support.h"
#include "support/format_codes.h"
#include "support/plugin_fixture.h"

namespace {

using namespace composite_test;
using xqt::host::Color;

// A gray image gives its gray to every channel; an RGB image asked for one gray value gives the
// weighted sum.
uint8_t Channel(const Layout& l, const uint8_t* pixel, int channel) {
  if (l.gray) return pixel[l.grayOffset];
  const int64_t offsets[3] = {l.red, l.green, l.blue};
  return pixel[offsets[channel]];
}
uint8_t OneGray(const Layout& l, const uint8_t* pixel) {
  if (l.gray) return pixel[l.grayOffset];
  return Gray(pixel[l.red], pixel[l.green], pixel[l.blue]);
}

// The result's bytes after a blend without a mask over the (in-bounds) rectangle: the source's
// colour, read as above.
Bytes ReferenceCopy(const Ref& source, const Ref& result, int64_t x0, int64_t y0, int64_t width,
                    int64_t height) {
  ImageSnapshot from(source), out(result);
  const Layout &s = from.layout, &r = out.layout;
  for (int64_t y = y0; y < y0 + height; ++y) {
    for (int64_t x = x0; x < x0 + width; ++x) {
      const uint8_t* sp = from.Pixel(x, y);
      uint8_t* rp = out.Pixel(x, y);
      if (r.rgb) {
        rp[r.red] = Channel(s, sp, 0);
        rp[r.green] = Channel(s, sp, 1);
        rp[r.blue] = Channel(s, sp, 2);
      } else {
        rp[r.grayOffset] = OneGray(s, sp);
      }
    }
  }
  return out.data;
}

std::vector<Participant> GrayKinds() {
  std::vector<Participant> kinds = {Clip(kGA), View(kRGBA, "RedChannel"),
                                    View(kBGRA, "AlphaChannel")};
  for (int64_t code : {kG, kGA, kAG, int64_t{16}, int64_t{21}, kGray16, int64_t{44}}) {
    kinds.push_back(Format(code));
  }
  return kinds;
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
  // The blend of the rectangle, or of the whole image without one.
  template <class... Rectangle>
  bool Call(const Ref& source, const Ref* dest, const Ref* mask, const Ref& result, uint32_t colour,
            Rectangle... rectangle) {
    return host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                  dest ? dest->get() : nullptr, mask ? mask->get() : nullptr,
                                  result, Color{colour}, int64_t{rectangle}...);
  }
  Ref Filled(int64_t width, int64_t height, int64_t format, uint8_t value) {
    Ref image = NewImage(width, height, format);
    Layout l = LayoutOf(image);
    for (int64_t y = 0; y < height; ++y) std::memset(Row(image, y), value, l.rowSize);
    return image;
  }
  uint8_t At(const Ref& image, int64_t x, int64_t y, int64_t offset) {
    return Row(image, y)[x * image.Get<int64_t>("PixelSize") + offset];
  }
};

// Every combination of gray and RGB kinds for source, destination, mask and result, on random
// pixels of odd sizes: without a mask the result takes the source's colour; a mask of 0 gives the
// same, and a mask of 255 gives what the destination, or an image of the background colour, gives
// without a mask. The weights in between are worked out by hand below.
TEST_F(Blend, EveryFamilyCombinationAtTheMaskEnds) {
  std::mt19937 rng(1357);
  const std::vector<Participant> gray = GrayKinds(), rgb = RGBKinds();
  auto pick = [&](bool isRGB) -> const Participant& {
    const std::vector<Participant>& kinds = isRGB ? rgb : gray;
    return kinds[rng() % kinds.size()];
  };
  auto odd = [&] { return 1 + 2 * static_cast<int64_t>(rng() % 8); };
  // Twice over each choice of source (gray, RGB), destination (none, gray, RGB), mask and result.
  for (int choice = 0; choice < 48; ++choice) {
    const int sourceRGB = choice & 1, dest = (choice >> 1) % 3, maskRGB = (choice / 6) & 1;
    const int resultRGB = (choice / 12) & 1;
    const int64_t width = odd(), height = odd();
    const Participant& resultKind = pick(resultRGB);
    const uint32_t seed = rng();
    auto fresh = [&] {
      Ref image = resultKind.make(host_, width + 1, height + 2);
      RandomizeWholeRows(image, seed);
      return image;
    };
    Ref source = pick(sourceRGB).make(host_, width, height);
    Ref destImage = dest ? pick(dest == 2).make(host_, width, height + 1) : Ref();
    Ref mask = pick(maskRGB).make(host_, width, height + 1);
    RandomizeWholeRows(source, rng());
    if (destImage) RandomizeWholeRows(destImage, rng());
    const uint32_t colour = rng() & 0xFFFFFF;
    Ref background = NewImage(width, height, kRGB);
    background.Call("FillRectRGB", Color{colour});
    const Ref& other = destImage ? destImage : background;
    SCOPED_TRACE(source.Get<std::string>("ImageFormatString") + " " +
                 other.Get<std::string>("ImageFormatString") + " " + resultKind.name);
    const int64_t x = static_cast<int64_t>(rng() % width);
    const int64_t y = static_cast<int64_t>(rng() % height);
    const int64_t w = 1 + static_cast<int64_t>(rng() % (width - x));
    const int64_t h = 1 + static_cast<int64_t>(rng() % (height - y));
    const Ref* destArg = destImage ? &destImage : nullptr;

    Ref plain = fresh(), taken = fresh();
    const Bytes expected = ReferenceCopy(source, plain, x, y, w, h);
    const ImageSnapshot sourceBefore(source);
    EXPECT_TRUE(Call(source, destArg, nullptr, plain, colour, x, y, w, h));
    ASSERT_EQ(ImageSnapshot(plain).data, expected);
    ASSERT_EQ(ImageSnapshot(source).data, sourceBefore.data);
    EXPECT_TRUE(Call(other, nullptr, nullptr, taken, colour, x, y, w, h));
    for (uint8_t level : {0, 255}) {
      for (int64_t row = 0; row < height + 1; ++row) {
        std::memset(Row(mask, row), level, static_cast<size_t>(LayoutOf(mask).rowSize));
      }
      Ref masked = fresh();
      EXPECT_TRUE(Call(source, destArg, &mask, masked, colour, x, y, w, h));
      ASSERT_EQ(ImageSnapshot(masked).data, ImageSnapshot(level ? taken : plain).data)
          << int(level);
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
  EXPECT_TRUE(Call(black, nullptr, &zero, result, kWhite));
  EXPECT_EQ(At(result, 2, 1, 0), 0);
  EXPECT_TRUE(Call(black, nullptr, &full, result, 0x102030));
  EXPECT_EQ(At(result, 2, 1, 0), 0x10);
  EXPECT_EQ(At(result, 2, 1, 1), 0x20);
  EXPECT_EQ(At(result, 2, 1, 2), 0x30);
  EXPECT_TRUE(Call(black, &picture, &full, result, kWhite));
  EXPECT_EQ(At(result, 0, 0, 1), 200);
  // Mask 128 over white with source 0: (127 x 0 + 255 x 128) / 255 = 128.
  EXPECT_TRUE(Call(black, nullptr, &half, result, kWhite));
  EXPECT_EQ(At(result, 1, 1, 2), 128);
  // Mask 128 between 0 and 200: (200 x 128 + 127 x 0) / 255 = 100.39, truncated.
  EXPECT_TRUE(Call(black, &picture, &half, result, kWhite));
  EXPECT_EQ(At(result, 1, 0, 0), 100);
}

TEST_F(Blend, GrayResultsUseTheWeights) {
  Ref red = NewImage(1, 1, kBGRA);
  const uint8_t pixel[4] = {0, 0, 255, 9};  // blue, green, red, alpha
  std::memcpy(Row(red, 0), pixel, 4);
  Ref result = Filled(1, 1, kG, 0);
  EXPECT_TRUE(Call(red, nullptr, nullptr, result, 0));
  EXPECT_EQ(At(result, 0, 0, 0), 76);
  // The background becomes gray by the same weights: pure green gives 150.
  Ref full = Filled(1, 1, kG, 255);
  EXPECT_TRUE(Call(red, nullptr, &full, result, 0x00FF00));
  EXPECT_EQ(At(result, 0, 0, 0), 150);
  // A 16-bit gray result takes the value as one byte at its gray offset.
  Ref wide = Filled(1, 1, kGray16, 0x33);
  EXPECT_TRUE(Call(red, nullptr, nullptr, wide, 0));
  EXPECT_EQ(At(wide, 0, 0, 0), 76);
  EXPECT_EQ(At(wide, 0, 0, 1), 0x33);
}

TEST_F(Blend, WithoutAMaskDestinationAndBackgroundPlayNoPart) {
  std::mt19937 rng(5);
  Ref source = NewImage(5, 3, kARGB), dest = NewImage(5, 3, kRGB);
  RandomizeWholeRows(source, rng());
  RandomizeWholeRows(dest, rng());
  Ref withDest = Filled(5, 3, kBGR, 1), plain = Filled(5, 3, kBGR, 1);
  EXPECT_TRUE(Call(source, &dest, nullptr, withDest, 0xFF00FF));
  EXPECT_TRUE(Call(source, nullptr, nullptr, plain, 0x00FF00));
  EXPECT_EQ(ImageSnapshot(withDest).data, ImageSnapshot(plain).data);
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
  EXPECT_FALSE(Call(source, nullptr, &smallMask, result, 0));
  EXPECT_FALSE(Call(source, &smallDest, &smallMask, result, 0));
  // CMYK anywhere, and nil where an image is required.
  Ref cmyk = Filled(6, 4, kCMYK, 0);
  EXPECT_FALSE(Call(cmyk, nullptr, nullptr, result, 0));
  EXPECT_FALSE(Call(source, nullptr, nullptr, cmyk, 0));
  EXPECT_FALSE(Call(source, nullptr, &cmyk, result, 0));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", nullptr,
                                      nullptr, nullptr, result, Color{0}));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                      nullptr, nullptr, nullptr, Color{0}));
}

}  // namespace
