// The emulated host's pictures (pixel layouts, gd images, kinds and locks), and the gd image
// prefix of the host-interface header against the real gd library.
#if __has_include(<cairo.h>) && __has_include(<gd.h>)
#include <cairo.h>
#include <gd.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "host/emulated_host.h"
#include "plugin/host_interface.h"

namespace {

using xqt::host::AppKind;
using xqt::host::Host;
using xqt::host::HostOptions;
using xqt::host::Ref;

REALResolverProc gResolver = nullptr;
void CaptureResolver(REALResolverProc resolver) { gResolver = resolver; }

template <class Proc>
Proc Resolve(const char* name) {
  return reinterpret_cast<Proc>(gResolver(name));
}

class HostPictures : public ::testing::Test {
 protected:
  explicit HostPictures(HostOptions options = {}) : host_(options) {
    host_.Attach(&CaptureResolver);
  }
  void TearDown() override {
    EXPECT_EQ(host_.OpenPictureLocks(), 0);
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    for (const auto& error : host_.ProtocolErrors()) ADD_FAILURE() << error;
  }
  Host host_;
};

TEST_F(HostPictures, DesktopPicturesAreCairoSurfaces) {
  // ARGB32 keeps the alpha as stored; RGB24's top byte is unused and reads as opaque.
  for (bool alpha : {true, false}) {
    Ref picture = host_.NewDesktopPicture(3, 2, alpha);
    host_.SetPictureARGB(picture, 2, 1, 0x44112233);
    auto* surface = static_cast<cairo_surface_t*>(host_.PictureSurface(picture));
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(cairo_image_surface_get_format(surface),
              alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24);
    uint32_t word;
    std::memcpy(&word,
                cairo_image_surface_get_data(surface) + cairo_image_surface_get_stride(surface) + 8,
                4);
    EXPECT_EQ(word & 0xFFFFFF, 0x112233u);
    EXPECT_EQ(host_.PictureWord(picture, 2, 1), word);
    EXPECT_EQ(host_.PictureARGB(picture, 2, 1), alpha ? 0x44112233u : 0xFF112233u);
  }
  REALpictureDescription description{};
  Ref picture = host_.NewDesktopPicture(3, 2, true);
  auto lock = Resolve<REALLockPictureDescriptionProc>("REALLockPictureDescription");
  EXPECT_EQ(lock(picture.get(), &description, pictureCGBitmapContext), 0);
  ASSERT_EQ(lock(picture.get(), &description, pictureCairoContext), 1);
  EXPECT_EQ(cairo_get_target(static_cast<cairo_t*>(description.pictureData)),
            host_.PictureSurface(picture));
  EXPECT_EQ(description.width, 3);
  EXPECT_EQ(description.depth, 32);
  EXPECT_EQ(description.transparent, 1);
  Resolve<unlockPictureDescriptionProc>("unlockPictureDescription")(picture.get());
}

class Direct2DPictures : public HostPictures {
 protected:
  Direct2DPictures() : HostPictures({.desktopPictures = xqt::host::DesktopPictures::kDirect2D}) {}
};

TEST_F(Direct2DPictures, DesktopPicturesArePlainBGRABytes) {
  Ref picture = host_.NewDesktopPicture(3, 2, true);
  host_.SetPictureARGB(picture, 2, 1, 0x44112233);
  REALpictureDescription description{};
  Resolve<lockPictureDescriptionProc>("lockPictureDescription")(picture.get(), &description);
  ASSERT_EQ(description.pictureType, pictureD2DBytes);
  const auto* bytes = static_cast<const uint8_t*>(description.pictureData);
  EXPECT_EQ(bytes[(1 * 3 + 2) * 4 + 0], 0x33);  // B, G, R, A in rows of width × 4 bytes
  EXPECT_EQ(bytes[(1 * 3 + 2) * 4 + 3], 0x44);
  Resolve<unlockPictureDescriptionProc>("unlockPictureDescription")(picture.get());
  EXPECT_EQ(host_.PictureARGB(picture, 2, 1), 0x44112233u);
}

class ConsoleHostPictures : public HostPictures {
 protected:
  ConsoleHostPictures() : HostPictures({.appKind = AppKind::Console}) {}
};

// A console application knows no Application class, and its pictures, the plug-in's new ones too,
// are gd images.
TEST_F(ConsoleHostPictures, PicturesAreGdImages) {
  auto objectType = Resolve<pluginObjectTypeProc>("pluginObjectType");
  EXPECT_EQ(objectType("Application"), nullptr);
  EXPECT_NE(objectType("ConsoleApplication"), nullptr);
  Ref picture = host_.NewConsolePicture(4, 3);
  host_.SetPictureARGB(picture, 1, 2, 0xFF102030);
  EXPECT_EQ(host_.PictureWord(picture, 1, 2), 0x00102030u);  // gd: 0 is opaque
  host_.SetPictureARGB(picture, 0, 0, 0x00102030);
  EXPECT_EQ(host_.PictureWord(picture, 0, 0), 0x7F102030u);
  EXPECT_EQ(host_.PictureARGB(picture, 0, 0), 0x00102030u);

  REALpictureDescription description{};
  auto lock = Resolve<REALLockPictureDescriptionProc>("REALLockPictureDescription");
  auto unlock = Resolve<unlockPictureDescriptionProc>("unlockPictureDescription");
  EXPECT_FALSE(lock(picture.get(), &description, pictureCGBitmapContext));
  ASSERT_TRUE(lock(picture.get(), &description, pictureGDImagePtr));
  auto* gd = static_cast<gdImagePtr>(description.pictureData);
  EXPECT_EQ(gdImageSX(gd), 4);
  EXPECT_TRUE(gdImageTrueColor(gd));
  EXPECT_EQ(gd->tpixels[2][1], 0x00102030);
  unlock(picture.get());

  Ref palette = host_.NewConsolePicture(4, 3, false);
  ASSERT_TRUE(lock(palette.get(), &description, pictureGDImagePtr));
  EXPECT_FALSE(gdImageTrueColor(static_cast<gdImagePtr>(description.pictureData)));
  unlock(palette.get());
  Ref made = Ref::Adopt(Resolve<newPictureProc>("newPicture")(2, 2, 32));
  EXPECT_TRUE(lock(made.get(), &description, pictureGDImagePtr));
  unlock(made.get());
}

TEST_F(HostPictures, PluginMadePicturesAndTheirFailures) {
  auto newPicture = Resolve<newPictureProc>("newPicture");
  REALobject made = newPicture(3, 4, 32);
  ASSERT_NE(made, nullptr);
  Ref picture = Ref::Adopt(made);
  EXPECT_EQ(picture.Get<int64_t>("Height"), 4);
  EXPECT_FALSE(picture.Get<bool>("HasAlphaChannel"));
  host_.FailNextPictures(1);
  EXPECT_EQ(newPicture(3, 4, 32), nullptr);

  // Every pixel type reads its own byte order; none of them carries alpha.
  const uint8_t bytes[] = {9, 1, 2, 3, 9, 4, 5, 6};
  auto build = Resolve<REALBuildPictureFromBufferProc>("REALBuildPictureFromBuffer");
  Ref rgb = Ref::Adopt(build(2, 1, kREALPixelRGB, bytes + 1, 6));
  EXPECT_EQ(host_.PictureARGB(rgb, 0, 0), 0xFF010203u);
  EXPECT_EQ(host_.PictureARGB(rgb, 1, 0), 0xFF090405u);
  Ref xrgb = Ref::Adopt(build(2, 1, kREALPixelXRGB, bytes, 8));
  EXPECT_EQ(host_.PictureARGB(xrgb, 1, 0), 0xFF040506u);
  Ref bgrx = Ref::Adopt(build(2, 1, kREALPixelBGRX, bytes, 8));
  EXPECT_EQ(host_.PictureARGB(bgrx, 0, 0), 0xFF020109u);
  EXPECT_EQ(build(2, 1, kREALPixelRGB, bytes, 5), nullptr);  // rows shorter than the width
  EXPECT_EQ(build(2, 1, 5, bytes, 8), nullptr);

  Ref alpha = host_.New("Picture", 6, 7);
  EXPECT_TRUE(alpha.Get<bool>("HasAlphaChannel"));
  EXPECT_EQ(alpha.Get<int64_t>("Width"), 6);
}

// A field's name, its offset in our prefix and in gd's own image.
struct Field {
  const char* name;
  size_t ours, gds;
};
#define G(field) \
  Field { #field, offsetof(gdImagePrefix, field), offsetof(gdImage, field) }

TEST(GdLayout, EveryFieldSitsWhereGdPutsIt) {
  for (const Field& f : {G(pixels), G(sx), G(sy), G(colorsTotal), G(red), G(transparent), G(brush),
                         G(tileColorMap), G(style), G(thick), G(alpha), G(trueColor), G(tpixels),
                         G(alphaBlendingFlag), G(saveAlphaFlag)}) {
    EXPECT_EQ(f.ours, f.gds) << f.name;
  }
  EXPECT_LE(sizeof(gdImagePrefix), sizeof(gdImage));
}

TEST(GdLayout, RealImageReadsThroughThePrefix) {
  gdImagePtr image = gdImageCreateTrueColor(3, 2);
  ASSERT_NE(image, nullptr);
  gdImageAlphaBlending(image, 0);  // store the pixel as given
  gdImageSetPixel(image, 2, 1, gdTrueColorAlpha(10, 20, 30, 5));
  auto* prefix = reinterpret_cast<gdImagePrefix*>(image);
  EXPECT_EQ(prefix->sx, 3);
  EXPECT_EQ(prefix->sy, 2);
  EXPECT_NE(prefix->trueColor, 0);
  EXPECT_EQ(prefix->pixels, nullptr);
  EXPECT_EQ(prefix->tpixels[1][2], (5 << 24) | (10 << 16) | (20 << 8) | 30);
  gdImageDestroy(image);
}

}  // namespace

#else
#include <gtest/gtest.h>

TEST(HostPictures, NeedCairoAndGd) { GTEST_SKIP() << "this build has no cairo and gd pictures"; }
#endif
