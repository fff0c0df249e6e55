// BlendPicturesWithMaskWithBackground through the host: every family combination at the mask's
// ends against CopyPixels, the blend values in the middle by hand, the rectangle and size rules.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/composite_participants.h"
#include "support/format_codes.h"
#include "support/plugin_fixture.h"

namespace {

using namespace composite_test;
using xqt::host::Color;

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
    FillBytes(image, value);
    return image;
  }
};

// Every combination of gray and RGB kinds for source, destination, mask and result, on random
// pixels of odd sizes: without a mask the result takes the source's colour as CopyPixels moves it
// (the weights are worked out by hand below); a mask of 0 gives the same, and a mask of 255 gives
// what the destination, or an image of the background colour, gives without a mask.
TEST_F(Blend, EveryFamilyCombinationAtTheMaskEnds) {
  std::mt19937 rng(1357);
  const std::vector<Participant> kinds[2] = {
      {Format(kG), Format(kAG), Format(kGray16), Format(int64_t{44}), Clip(kGA),
       View(kRGBA, "RedChannel"), View(kBGRA, "AlphaChannel")},
      {Format(kRGB), Format(kARGB), Format(kXBGR), Format(kBGRA), Clip(kBGRA),
       View(kARGB, "RGBChannels"), View(kBGR, "MirroredView")}};
  // Results without alpha, which a blend leaves alone and CopyPixels would take over.
  const std::vector<Participant> results[2] = {
      {Format(kG), Format(int64_t{16}), Format(int64_t{21}), View(kBGRA, "AlphaChannel")},
      {Format(kBGR), Format(kRGBX), Format(kXBGR), Clip(kRGB), View(kBGR, "MirroredView")}};
  auto pick = [&](const std::vector<Participant>& from) -> const Participant& {
    return from[rng() % from.size()];
  };
  auto odd = [&] { return 1 + 2 * static_cast<int64_t>(rng() % 8); };
  // Twice over each choice of source (gray, RGB), destination (none, gray, RGB), mask and result.
  for (int choice = 0; choice < 48; ++choice) {
    const int sourceRGB = choice & 1, dest = (choice >> 1) % 3, maskRGB = (choice / 6) & 1;
    const int64_t width = odd(), height = odd();
    const Participant& resultKind = pick(results[(choice / 12) & 1]);
    const uint32_t seed = rng();
    auto fresh = [&] {
      Ref image = resultKind.Make(host_, width + 1, height + 2);
      RandomizeWholeRows(image, seed);
      return image;
    };
    Ref source = pick(kinds[sourceRGB]).Make(host_, width, height);
    Ref destImage = dest ? pick(kinds[dest - 1]).Make(host_, width, height + 1) : Ref();
    Ref mask = pick(kinds[maskRGB]).Make(host_, width, height + 1);
    RandomizeWholeRows(source, rng());
    if (destImage) RandomizeWholeRows(destImage, rng());
    const uint32_t colour = rng() & 0xFFFFFF;
    Ref background = NewImage(width, height, kRGB);
    background.Call("FillRectRGB", Color{colour});
    const Ref& other = destImage ? destImage : background;
    SCOPED_TRACE(source.Get<std::string>("ImageFormatString") + " " +
                 other.Get<std::string>("ImageFormatString") + " " + resultKind.Name());
    const int64_t x = static_cast<int64_t>(rng() % width);
    const int64_t y = static_cast<int64_t>(rng() % height);
    const int64_t w = 1 + static_cast<int64_t>(rng() % (width - x));
    const int64_t h = 1 + static_cast<int64_t>(rng() % (height - y));
    const Ref* destArg = destImage ? &destImage : nullptr;

    Ref copied = fresh(), plain = fresh(), taken = fresh();
    ASSERT_TRUE(copied.Call<bool>("CopyPixels", source, x, y, w, h, x, y));
    const ImageSnapshot sourceBefore(source);
    EXPECT_TRUE(Call(source, destArg, nullptr, plain, colour, x, y, w, h));
    ASSERT_EQ(ImageSnapshot(plain).data, ImageSnapshot(copied).data);
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

// Between the mask's ends, by hand: (source x (255 - m) + other x m) / 255, truncated.
TEST_F(Blend, MaskMiddleAndSixteenBitResults) {
  Ref black = Filled(3, 2, kRGB, 0), picture = Filled(3, 2, kRGB, 200);
  Ref half = Filled(3, 2, kG, 128), result = Filled(3, 2, kRGB, 7);
  // Over white: (127 x 0 + 255 x 128) / 255 = 128.
  EXPECT_TRUE(Call(black, nullptr, &half, result, 0xFFFFFF));
  EXPECT_EQ(Pixel(result, 1, 1)[2], 128);
  // Between 0 and 200: (200 x 128 + 127 x 0) / 255 = 100.39.
  EXPECT_TRUE(Call(black, &picture, &half, result, 0xFFFFFF));
  EXPECT_EQ(Pixel(result, 1, 0)[0], 100);
  // A 16-bit gray result takes the gray, 76 for red, as one byte at its gray offset.
  Ref red = Filled(1, 1, kRGB, 0);
  Row(red, 0)[0] = 255;
  Ref wide = Filled(1, 1, kGray16, 0x33);
  EXPECT_TRUE(Call(red, nullptr, nullptr, wide, 0));
  EXPECT_EQ(Pixel(wide, 0, 0)[0], 76);
  EXPECT_EQ(Pixel(wide, 0, 0)[1], 0x33);
}

// Alpha is neither read nor written (the family test holds no result with alpha): a BGRA result
// takes the ARGB source's red and keeps its own alpha.
TEST_F(Blend, ResultAlphaIsLeftAlone) {
  Ref source = NewImage(5, 3, kARGB);
  RandomizeWholeRows(source, 5);
  Ref result = Filled(5, 3, kBGRA, 1);
  EXPECT_TRUE(Call(source, nullptr, nullptr, result, 0x00FF00));
  EXPECT_EQ(Pixel(result, 4, 2)[2], Pixel(source, 4, 2)[1]);
  EXPECT_EQ(Pixel(result, 4, 2)[3], 1);
}

TEST_F(Blend, RectangleAndSizes) {
  Ref source = Filled(6, 4, kG, 9);
  // A negative width counts back from X; the rest of the result stays as it was.
  Ref result = Filled(8, 5, kG, 0);
  EXPECT_TRUE(Call(source, nullptr, nullptr, result, 0, 4, 1, -3, 2));
  for (int64_t x = 0; x < 8; ++x) {
    EXPECT_EQ(Pixel(result, x, 1)[0], x >= 1 && x <= 3 ? 9 : 0) << x;
    EXPECT_EQ(Pixel(result, x, 2)[0], x >= 1 && x <= 3 ? 9 : 0) << x;
    EXPECT_EQ(Pixel(result, x, 3)[0], 0) << x;
  }
  // The rectangle is cut to the source alone, even inside a larger result.
  Ref cut = Filled(8, 5, kG, 0);
  EXPECT_TRUE(Call(source, nullptr, nullptr, cut, 0, -2, 2, 20, 20));
  EXPECT_EQ(Pixel(cut, 5, 3)[0], 9);
  EXPECT_EQ(Pixel(cut, 6, 3)[0], 0);
  EXPECT_EQ(Pixel(cut, 0, 4)[0], 0);
  EXPECT_EQ(Pixel(cut, 0, 1)[0], 0);
  EXPECT_FALSE(Call(source, nullptr, nullptr, cut, 0, 6, 0, 2, 2));

  Ref smallMask = Filled(6, 3, kG, 0), smallDest = Filled(5, 4, kG, 0);
  EXPECT_FALSE(Call(source, nullptr, &smallMask, result, 0));
  EXPECT_FALSE(Call(source, &smallDest, &smallMask, result, 0));
  // Nil where an image is required (the other refusals are the unit tests').
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", nullptr,
                                      nullptr, nullptr, result, Color{0}));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                      nullptr, nullptr, nullptr, Color{0}));
}

}  // namespace
