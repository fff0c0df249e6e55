// Images and host pictures through the emulated host: copies into new pictures in every layout,
// reads from pictures (with masks and vector pictures), images made on a picture's own bitmap,
// desktop and console applications, and the failures that must end in nil.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/host_picture_helpers.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::AppKind;
using xqt::host::HostOptions;
using xqt::host::Ref;

// The native word of a cairo or Direct2D pixel: alpha (or the unused byte) on top.
uint32_t DesktopWord(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
  return a << 24 | r << 16 | g << 8 | b;
}

// An opaque picture pixel of the pixel's first three bytes, or of its fourth as gray.
uint32_t OpaqueRGB(const uint8_t* p) { return 0xFF000000u | p[0] << 16 | p[1] << 8 | p[2]; }
uint32_t OpaqueGray(uint8_t v) { return 0xFF000000u | v * 0x010101u; }

uint8_t Red(uint32_t argb) { return static_cast<uint8_t>(argb >> 16); }
uint8_t Green(uint32_t argb) { return static_cast<uint8_t>(argb >> 8); }
uint8_t Blue(uint32_t argb) { return static_cast<uint8_t>(argb); }

class PictureBridge : public PluginTest {
 protected:
  explicit PictureBridge(HostOptions options = {}) : PluginTest(options) {}
  void TearDown() override {
    EXPECT_EQ(host_.OpenPictureLocks(), 0);
    PluginTest::TearDown();
  }
};

// --- Copies into pictures and reads back, for every store of pictures -------------------------

// Where pictures live: a desktop application's cairo or Direct2D bitmaps, or a console
// or web application's gd images.
struct Store {
  const char* name;
  HostOptions options;
  bool gd;
};
const Store kCairo{"Cairo", {.desktopPictures = xqt::host::DesktopPictures::kCairo}, false};
const Store kDirect2D{
    "Direct2D", {.desktopPictures = xqt::host::DesktopPictures::kDirect2D}, false};
const Store kGd{"Gd", {.appKind = AppKind::Console}, true};
const Store kWeb{"Web", {.appKind = AppKind::Web}, true};

class PictureStores : public PictureBridge, public ::testing::WithParamInterface<Store> {
 protected:
  PictureStores() : PictureBridge(GetParam().options) {}
  void SetUp() override {
    if (GetParam().name != kDirect2D.name && !xqt::host::Host::HasPictureLibraries()) {
      GTEST_SKIP() << "this build has no cairo or gd pictures";
    }
  }
  // The word a copy holds for colour `rgb` and `alpha`: a desktop store has alpha on top, or 255
  // without; gd keeps seven bits of it (halved, not inverted), or 0.
  uint32_t Word(uint32_t rgb, uint32_t alpha, bool withAlpha) const {
    const uint32_t top = GetParam().gd ? (withAlpha ? alpha >> 1 : 0) : (withAlpha ? alpha : 255);
    return top << 24 | rgb;
  }
  Ref NewPicture(int64_t width, int64_t height) {
    return GetParam().gd ? host_.NewConsolePicture(width, height)
                         : host_.NewDesktopPicture(width, height, true);
  }
};

// Every family's colours reach a picture as RowInFormat shows them in RGBA (worked by hand in the
// row formats test: gray repeated, 16-bit gray by its high byte, CMYK by the ink rule), alpha as
// stored (the colours never multiplied by it) or none; the mask is that alpha as gray, so white
// without alpha.
TEST_P(PictureStores, EveryFormatCopiesAsItsRGBARow) {
  std::vector<Ref> images;
  for (int64_t code : AllFormats()) images.push_back(NewImage(3, 2, code));
  images.push_back(NewImage(3, 2, kRGB).Call<Ref>("GreenChannel"));  // gray in 3-byte pixels
  images.push_back(NewImage(3, 2, kCMYKA).Call<Ref>("AlphaChannel"));
  for (const Ref& image : images) {
    if (!image.Get<bool>("IsGray") && !image.Get<bool>("IsRGB") && !image.Get<bool>("IsCMYK")) {
      continue;
    }
    SCOPED_TRACE(image.Get<int64_t>("ImageFormat"));
    Randomise(image, 3);
    const bool alpha = image.Get<bool>("HasAlpha");
    Ref colour = image.Call<Ref>("CopyPicture"), mask = image.Call<Ref>("CopyMask");
    Ref withAlpha = image.Call<Ref>("CopyPictureWithAlpha");
    Ref withMask = image.Call<Ref>("CopyPictureWithMask");
    ASSERT_TRUE(colour && mask && withAlpha && withMask && host_.PictureMask(withMask));
    EXPECT_FALSE(colour.Get<bool>("HasAlphaChannel"));
    EXPECT_GE(host_.PictureCacheClears(colour), 1);
    for (int64_t y = 0; y < 2; ++y) {
      Ref row = image.Call<Ref>("RowInFormat", y, kRGBA);
      const uint8_t* p = xqt::host::Host::BlockData(row);
      for (int64_t x = 0; x < 3; ++x, p += 4) {
        const uint32_t rgb = OpaqueRGB(p) & 0xFFFFFF;
        EXPECT_EQ(host_.PictureWord(colour, x, y), Word(rgb, 255, false));
        EXPECT_EQ(host_.PictureWord(mask, x, y), Word(p[3] * 0x010101u, 255, false));
        EXPECT_EQ(host_.PictureWord(withMask, x, y), Word(rgb, 255, false));
        EXPECT_EQ(host_.PictureWord(host_.PictureMask(withMask), x, y),
                  host_.PictureWord(mask, x, y));
        if (alpha) {
          EXPECT_EQ(host_.PictureWord(withAlpha, x, y), Word(rgb, p[3], true));
        }
      }
    }
  }
}

// A picture of every store reads back as stored: the colours leave the image's alpha alone, and
// a masked draw takes the mask (black shows) as alpha.
TEST_P(PictureStores, PicturesReadBackAsStored) {
  Ref picture = NewPicture(5, 4), mask = NewPicture(5, 4);
  FillPictureRandom(host_, picture, 67);
  ForEachPixel(5, 4, [&](int64_t x, int64_t y) {
    host_.SetPictureARGB(mask, x, y, x == 4 && y == 3 ? 0xFF000000 : 0xFFFFFFFF);
  });
  Ref colours = NewImage(5, 4, kBGRA), masked = NewImage(5, 4, kARGB);
  FillBytes(colours, 0x5A);
  colours.Call("DrawPictureRGB", picture);
  host_.SetPictureMask(picture, mask);
  masked.Call("DrawMaskedPictureRGB", picture, false);
  ForEachPixel(5, 4, [&](int64_t x, int64_t y) {
    const uint32_t rgb = host_.PictureARGB(picture, x, y) & 0xFFFFFF;
    const uint8_t *q = Pixel(colours, x, y), *m = Pixel(masked, x, y);
    EXPECT_EQ(DesktopWord(q[2], q[1], q[0], q[3]), 0x5A000000u | rgb);
    EXPECT_EQ(DesktopWord(m[1], m[2], m[3], m[0]), (x == 4 && y == 3 ? 0xFF000000u : 0) | rgb);
  });
}

// An image made on a picture works on the picture's own bitmap: blue, green, red and alpha (or
// the unused byte) in the store's native word; its copies and views read through those rows.
TEST_P(PictureStores, ImageOnAPictureSharesItsBitmap) {
  const bool gd = GetParam().gd;
  for (bool pictureAlpha : {true, false}) {
    if (gd && !pictureAlpha) continue;  // gd's true-colour pictures all have alpha
    Ref picture = gd ? host_.NewConsolePicture(6, 4) : host_.NewDesktopPicture(6, 4, pictureAlpha);
    FillPictureRandom(host_, picture, 11);
    // Cairo's RGB24 has an unused top byte, which is never taken for alpha.
    bool padded = !pictureAlpha && GetParam().name == kCairo.name;
    for (bool useAlpha : {false, true}) {
      Ref image = host_.New("PictureXQT", picture, useAlpha);
      bool alpha = useAlpha && !padded;
      ExpectIntegers(image,
                     {{"ImageFormat", gd ? (alpha ? kARGB : kXRGB) : (alpha ? kBGRA : kBGRX)},
                      {"ChannelCount", alpha ? 4 : 3},
                      {"RowSize", 24},
                      {"RedOffset", 2},
                      {"BlueOffset", 0}});
      EXPECT_EQ(image.Get<bool>("HasAlpha"), alpha);
      EXPECT_TRUE(image.Get<bool>("IsRGB"));
      EXPECT_EQ(image.Get<Ref>("Target").get(), picture.get());
      ForEachPixel(6, 4, [&](int64_t x, int64_t y) {
        const uint8_t* p = Pixel(image, x, y);  // gd's own word: its 7-bit alpha as is
        EXPECT_EQ(DesktopWord(p[2], p[1], p[0], p[3]), host_.PictureWord(picture, x, y));
      });
      Pixel(image, 5, 3)[2] = 0x12;
      Pixel(image, 5, 3)[1] = 0x34;
      EXPECT_EQ(Red(host_.PictureARGB(picture, 5, 3)), 0x12);
      EXPECT_EQ(Green(host_.PictureARGB(picture, 5, 3)), 0x34);
      Ref copy = image.Call<Ref>("CopyPicture");
      EXPECT_EQ(host_.PictureARGB(copy, 5, 3) & 0xFFFFFF,
                host_.PictureARGB(picture, 5, 3) & 0xFFFFFF);
      EXPECT_EQ(Pixel(image.Call<Ref>("MirroredView"), 5, 0)[1], 0x34);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, PictureStores, ::testing::Values(kCairo, kDirect2D, kGd, kWeb),
                         [](const auto& info) { return info.param.name; });

// --- Copies of rectangles, and images that cannot be shown -----------------------------------

TEST_F(PictureBridge, RectanglesAreFixedAsClipsAreAndEmptyOnesGiveNil) {
  Ref image = NewImage(6, 4, kRGBA);
  Randomise(image, 5);
  EXPECT_FALSE(image.Call<Ref>("CopyPicture", 0, 0, 0, 10));
  EXPECT_FALSE(image.Call<Ref>("CopyPictureWithAlpha", 0, 0, 10, 0));
  EXPECT_FALSE(image.Call<Ref>("CopyMask", 6, 0, 2, 2));
  EXPECT_FALSE(image.Call<Ref>("CopyPictureWithMask", 0, 4, 2, 2));

  // The copy with a mask carries the alpha as a gray picture beside the colours.
  auto expectRegion = [&](const Ref& picture, int64_t x0, int64_t y0, int64_t w, int64_t h,
                          bool masked = false) {
    ASSERT_TRUE(picture);
    Ref mask = host_.PictureMask(picture);
    ASSERT_EQ(bool(mask), masked);
    EXPECT_EQ(picture.Get<int64_t>("Width"), w);
    EXPECT_EQ(picture.Get<int64_t>("Height"), h);
    ForEachPixel(w, h, [&](int64_t x, int64_t y) {
      const uint8_t* p = Pixel(image, x0 + x, y0 + y);
      EXPECT_EQ(host_.PictureARGB(picture, x, y), OpaqueRGB(p));
      if (masked) {
        EXPECT_EQ(host_.PictureARGB(mask, x, y), OpaqueGray(p[3]));
      }
    });
  };
  expectRegion(image.Call<Ref>("CopyPicture", 5, 3, -3, -2), 2, 1, 3, 2);  // flipped
  expectRegion(image.Call<Ref>("CopyPicture", -2, -1, 5, 3), 0, 0, 3, 2);  // cut at the origin
  expectRegion(image.Call<Ref>("CopyPictureWithMask", 4, 1, 9, 9), 4, 1, 2, 3, true);  // and edge
  Ref clip = image.Call<Ref>("ClipImage", 1, 2, 4, 2);
  Ref fromClip = clip.Call<Ref>("CopyPicture");
  clip.reset();
  expectRegion(fromClip, 1, 2, 4, 2);
}

TEST_F(PictureBridge, ImagesThatCannotBeShownGiveNil) {
  Ref buffer = NewImage(4, 4, kBuffer);
  EXPECT_FALSE(buffer.Call<Ref>("CopyPicture"));
  Ref closed = NewImage(4, 4, kRGB);
  closed.Call("Close");
  EXPECT_FALSE(closed.Call<Ref>("CopyPicture"));
  EXPECT_FALSE(closed.Call<Ref>("CopyPictureWithMask"));
}

TEST_F(PictureBridge, DebugPictureShowsTheTopLeftWithMaskWhenEnabled) {
  Ref image = NewImage(600, 3, kRGBA);
  Randomise(image, 17);
  EXPECT_FALSE(image.Get<Ref>("DebugPicture"));
  image.Set("DebugPictureEnabled", true);
  Ref picture = image.Get<Ref>("DebugPicture");
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture.Get<int64_t>("Width"), 512);
  EXPECT_EQ(picture.Get<int64_t>("Height"), 3);
  Ref mask = host_.PictureMask(picture);
  ASSERT_TRUE(mask);
  const uint8_t* p = Pixel(image, 511, 2);
  EXPECT_EQ(host_.PictureARGB(picture, 511, 2), OpaqueRGB(p));
  EXPECT_EQ(host_.PictureARGB(mask, 511, 2), OpaqueGray(p[3]));
}

// --- Reads from pictures ---------------------------------------------------------------------

TEST_F(PictureBridge, DrawRectanglesFollowTheCopyRule) {
  Ref picture = host_.NewDesktopPicture(4, 4, true);
  FillPictureRandom(host_, picture, 19);
  Ref image = NewImage(6, 6, kRGB), second = NewImage(6, 6, kRGB);
  FillBytes(image, 0);
  FillBytes(second, 0);
  image.Call("DrawPictureRGB", picture, 3, 2, 10, 10, 1, 1);
  ForEachPixel(6, 6, [&](int64_t x, int64_t y) {
    bool inside = x >= 3 && y >= 2 && y < 5;  // three columns and rows from source (1, 1)
    uint32_t argb = inside ? host_.PictureARGB(picture, x - 2, y - 1) : 0xFF000000u;
    EXPECT_EQ(OpaqueRGB(Pixel(image, x, y)), argb | 0xFF000000u) << x << "," << y;
  });
  // The three-argument form draws self's size from the offset, cut to both.
  second.Call("DrawPictureRGB", picture, -1, 4);
  EXPECT_EQ(Pixel(second, 0, 4)[0], Red(host_.PictureARGB(picture, 1, 0)));
  EXPECT_EQ(Pixel(second, 2, 5)[2], Blue(host_.PictureARGB(picture, 3, 1)));
  EXPECT_EQ(Pixel(second, 3, 4)[0], 0);
  EXPECT_EQ(Pixel(second, 0, 3)[0], 0);
}

// Colours (200, 100, 51) and (255, 0, 128) under mask grays 51 and 0. The alpha is 255 - gray
// (204 = 0.8 x 255, and 255), or the gray itself in the inverted sense (51 = 0.2 x 255, and 0).
// Applying premultiplies, rounded to nearest: 0.8 x (200, 100, 51) = (160, 80, 40.8 -> 41) and
// 0.2 x (200, 100, 51) = (40, 20, 10.2 -> 10).
TEST_F(PictureBridge, MasksBecomeAlphaInBothSensesAndApplyPremultiplies) {
  Ref picture = host_.NewDesktopPicture(2, 1, false), mask = host_.NewDesktopPicture(2, 1, false);
  host_.SetPictureARGB(picture, 0, 0, 0xFFC86433);
  host_.SetPictureARGB(picture, 1, 0, 0xFFFF0080);
  host_.SetPictureARGB(mask, 0, 0, OpaqueGray(51));
  host_.SetPictureARGB(mask, 1, 0, OpaqueGray(0));
  host_.SetPictureMask(picture, mask);
  const struct {
    bool invert;
    Bytes stored, applied;  // ARGB as stored, RGBA premultiplied
  } senses[] = {
      {false, {204, 200, 100, 51, 255, 255, 0, 128}, {160, 80, 41, 204, 255, 0, 128, 255}},
      {true, {51, 200, 100, 51, 0, 255, 0, 128}, {40, 20, 10, 51, 0, 0, 0, 0}}};
  for (const auto& sense : senses) {
    Ref stored = NewImage(2, 1, kARGB), applied = NewImage(2, 1, kRGBA);
    Ref noAlpha = NewImage(2, 1, kRGB);
    stored.Call("DrawMaskedPictureRGB", picture, sense.invert);
    applied.Call("DrawMaskedPictureApplyMaskRGB", picture, 0, 0, 2, 1, 0, 0, sense.invert);
    noAlpha.Call("DrawMaskedPictureApplyMaskRGB", picture, sense.invert);
    EXPECT_EQ(PixelBytes(stored), sense.stored) << sense.invert;
    EXPECT_EQ(PixelBytes(applied), sense.applied) << sense.invert;
    const Bytes& a = sense.applied;
    EXPECT_EQ(PixelBytes(noAlpha), Bytes({a[0], a[1], a[2], a[4], a[5], a[6]})) << sense.invert;
  }
  // Without a mask the picture is opaque, whichever sense is asked for.
  host_.SetPictureMask(picture, Ref());
  Ref opaque = NewImage(5, 2, kRGBA);
  opaque.Call("DrawMaskedPictureApplyMaskRGB", picture, 1, 1, true);
  EXPECT_EQ(Pixel(opaque, 1, 1)[3], 255);
  EXPECT_EQ(Pixel(opaque, 1, 1)[0], Red(host_.PictureARGB(picture, 0, 0)));
}

TEST_F(PictureBridge, OneColourIntoTheGrayChannel) {
  Ref picture = host_.NewDesktopPicture(3, 3, true);
  FillPictureRandom(host_, picture, 31);
  Ref red = NewImage(3, 3, kG);
  Ref green = NewImage(3, 3, kGA);
  Ref blue = NewImage(3, 3, kGray16);
  Ref rgb = NewImage(3, 3, kRGB);
  for (const Ref* image : {&red, &green, &blue, &rgb}) Randomise(*image, 37);
  std::vector<uint8_t> before(Row(rgb, 0), Row(rgb, 0) + 9);
  red.Call("DrawPictureRedToGrayChannel", picture, 0, 0, 3, 3);
  green.Call("DrawPictureGreenToGrayChannel", picture, 1, 0, 3, 3, 0, 1);
  blue.Call("DrawPictureBlueToGrayChannel", picture, 0, 0, 3, 3, 0, 0);
  rgb.Call("DrawPictureRedToGrayChannel", picture, 0, 0, 3, 3);
  ForEachPixel(3, 3, [&](int64_t x, int64_t y) {
    uint32_t argb = host_.PictureARGB(picture, x, y);
    EXPECT_EQ(Pixel(red, x, y)[0], Red(argb));
    uint16_t wide;
    std::memcpy(&wide, Pixel(blue, x, y), 2);
    EXPECT_EQ(wide, Blue(argb) * 257);
  });
  EXPECT_EQ(Pixel(green, 1, 0)[0], Green(host_.PictureARGB(picture, 0, 1)));
  EXPECT_EQ(Pixel(green, 2, 1)[0], Green(host_.PictureARGB(picture, 1, 2)));
  EXPECT_EQ(std::vector<uint8_t>(Row(rgb, 0), Row(rgb, 0) + 9), before);  // no gray channel
}

TEST_F(PictureBridge, VectorPicturesAreReadThroughACopyAndKeepTheirMask) {
  Ref bitmap = host_.NewDesktopPicture(4, 3, false);
  FillPictureRandom(host_, bitmap, 43);
  Ref vector = host_.NewPictureOfType(kPictureTypeVector, bitmap);
  Ref mask = host_.NewDesktopPicture(4, 3, false);
  host_.SetPictureARGB(mask, 2, 1, 0xFF404040);
  host_.SetPictureMask(vector, mask);
  Ref image = NewImage(4, 3, kRGBA);
  image.Call("DrawMaskedPictureRGB", vector, false);
  EXPECT_EQ(host_.PictureMask(vector).get(), mask.get());
  EXPECT_EQ(host_.PictureDrawnAsSource(vector, true), 1);  // 2021 hosts draw with Doubles
  EXPECT_EQ(host_.PictureDrawnAsSource(vector, false), 0);
  uint32_t argb = host_.PictureARGB(bitmap, 2, 1);
  const uint8_t* p = Pixel(image, 2, 1);
  EXPECT_EQ(p[0], Red(argb));
  EXPECT_EQ(p[1], Green(argb));
  EXPECT_EQ(p[3], 255 - 0x40);
  EXPECT_EQ(Pixel(image, 0, 0)[3], 0);  // white mask: hidden
}

// No image is made on a nil picture or on one without a bitmap of its own (a HiDPI picture is
// read through its best representation: the editor's unit test); nothing is drawn from nil.
TEST_F(PictureBridge, NilAndUnlockablePictures) {
  EXPECT_HOST_EXCEPTION("NilObjectException", "picture is nil",
                        host_.New("PictureXQT", nullptr, false));
  Ref bitmap = host_.NewDesktopPicture(4, 3, true);
  Ref hidpi = host_.NewPictureOfType(kPictureTypeImage, bitmap);
  EXPECT_HOST_EXCEPTION("UnsupportedOperationException", "Failed to access picture. Not a bitmap?",
                        host_.New("PictureXQT", hidpi, false));
  Ref image = NewImage(2, 2, kRGB);
  Randomise(image, 47);
  std::vector<uint8_t> before(Row(image, 0), Row(image, 0) + 6);
  image.Call("DrawPictureRGB", nullptr);
  image.Call("DrawMaskedPictureRGB", nullptr, false);
  EXPECT_EQ(std::vector<uint8_t>(Row(image, 0), Row(image, 0) + 6), before);
}

TEST_F(PictureBridge, FailedPictureCreationsGiveNilOrAPlainPicture) {
  Ref image = NewImage(3, 2, kRGBA);
  Randomise(image, 53);
  host_.FailNextPictures(1);
  EXPECT_FALSE(image.Call<Ref>("CopyPicture"));
  host_.FailNextPictures(1);  // the picture with alpha fails; a plain one stands in
  Ref plain = image.Call<Ref>("CopyPictureWithAlpha");
  ASSERT_TRUE(plain);
  EXPECT_FALSE(plain.Get<bool>("HasAlphaChannel"));
  host_.FailNextPictures(2);
  EXPECT_FALSE(image.Call<Ref>("CopyPictureWithAlpha"));
  host_.FailNextInstances(1);
  EXPECT_TRUE(image.Call<Ref>("CopyPictureWithAlpha"));
  host_.FailNextPictures(1);  // the colour picture is made first; without it there is nothing
  EXPECT_FALSE(image.Call<Ref>("CopyPictureWithMask"));
}

// --- Console and web applications: gd pictures -----------------------------------------------

class ConsolePictures : public PictureBridge {
 protected:
  ConsolePictures() : PictureBridge({.appKind = AppKind::Console}) {}
  void SetUp() override {
    if (!xqt::host::Host::HasPictureLibraries()) GTEST_SKIP() << "this build has no gd pictures";
  }
};

TEST_F(ConsolePictures, PaletteAndVectorPicturesAreRefused) {
  Ref palette = host_.NewConsolePicture(3, 3, false);
  EXPECT_HOST_EXCEPTION("UnsupportedOperationException", "Failed to access picture. Not a bitmap?",
                        host_.New("PictureXQT", palette, false));
  Ref image = NewImage(3, 3, kRGB);
  Randomise(image, 73);
  std::vector<uint8_t> before(Row(image, 2), Row(image, 2) + 9);
  image.Call("DrawPictureRGB", palette);
  Ref bitmap = host_.NewConsolePicture(3, 3);
  Ref vector = host_.NewPictureOfType(kPictureTypeVector, bitmap);
  image.Call("DrawPictureRGB", vector);  // no copy route in console applications
  EXPECT_EQ(std::vector<uint8_t>(Row(image, 2), Row(image, 2) + 9), before);
  EXPECT_EQ(host_.PictureDrawnAsSource(vector, true), 0);
}

}  // namespace
