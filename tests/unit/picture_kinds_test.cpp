// The readers of each picture kind: Core Graphics over stand-ins for its context queries, cairo
// over real image surfaces, Direct2D over a plain buffer, and the kinds that are refused.
#include "picture/picture_kinds.h"

#include <gtest/gtest.h>
#if __has_include(<cairo.h>)
#include <cairo.h>
#endif

#include <string_view>

#include "support/host_picture_helpers.h"
#include "support/log_capture.h"

namespace {

using picture_io::PictureLayout;

// What CGBitmapContextGet… report of a context, and the functions that report it.
struct StandInContext {
  void* data;
  size_t width, height, bitsPerComponent, bitsPerPixel, bytesPerRow;
  uint32_t alphaInfo;
};

StandInContext& Of(void* context) { return *static_cast<StandInContext*>(context); }
void* Data(void* c) { return Of(c).data; }
size_t Width(void* c) { return Of(c).width; }
size_t Height(void* c) { return Of(c).height; }
size_t BitsPerComponent(void* c) { return Of(c).bitsPerComponent; }
size_t BitsPerPixel(void* c) { return Of(c).bitsPerPixel; }
size_t BytesPerRow(void* c) { return Of(c).bytesPerRow; }
uint32_t AlphaInfo(void* c) { return Of(c).alphaInfo; }
uint32_t BitmapInfo(void* c) { return Of(c).alphaInfo | 0x2000; }  // a byte-order bit beside it

void* CoreGraphicsStandIn(const char* name) {
  const std::pair<std::string_view, void*> functions[] = {
      {"CGBitmapContextGetData", reinterpret_cast<void*>(&Data)},
      {"CGBitmapContextGetWidth", reinterpret_cast<void*>(&Width)},
      {"CGBitmapContextGetHeight", reinterpret_cast<void*>(&Height)},
      {"CGBitmapContextGetBitsPerComponent", reinterpret_cast<void*>(&BitsPerComponent)},
      {"CGBitmapContextGetBitsPerPixel", reinterpret_cast<void*>(&BitsPerPixel)},
      {"CGBitmapContextGetBytesPerRow", reinterpret_cast<void*>(&BytesPerRow)},
      {"CGBitmapContextGetAlphaInfo", reinterpret_cast<void*>(&AlphaInfo)},
      {"CGBitmapContextGetBitmapInfo", reinterpret_cast<void*>(&BitmapInfo)},
  };
  for (const auto& [known, function] : functions) {
    if (known == name) return function;
  }
  return nullptr;
}

REALpictureDescription Described(uint32_t kind, void* data, int32_t width = 3, int32_t height = 2) {
  REALpictureDescription description{};
  description.pictureType = kind;
  description.pictureData = data;
  description.width = width;
  description.height = height;
  return description;
}

TEST(PictureKinds, CoreGraphicsContextsByAlphaInfo) {
  ScopedPictureLibrary finder(&CoreGraphicsStandIn);
  uint8_t pixels[2 * 16] = {};
  struct Case {
    uint32_t alphaInfo;
    bool readable;
    PictureLayout layout;
    bool padding;
  } cases[] = {
      {kBitmapAlphaNone, false, {}, false},
      {kBitmapAlphaPremultipliedLast, true, PictureLayout::kAlphaLast, false},
      {kBitmapAlphaPremultipliedFirst, true, PictureLayout::kAlphaFirst, false},
      {kBitmapAlphaLast, true, PictureLayout::kAlphaLast, false},
      {kBitmapAlphaFirst, true, PictureLayout::kAlphaFirst, false},
      {kBitmapAlphaNoneSkipLast, true, PictureLayout::kAlphaLast, true},
      {kBitmapAlphaNoneSkipFirst, true, PictureLayout::kAlphaFirst, true},
      {kBitmapAlphaOnly, false, {}, false},
  };
  for (const Case& c : cases) {
    StandInContext context{pixels, 3, 2, 8, 32, 16, c.alphaInfo};
    PictureBitmap bitmap;
    ASSERT_EQ(ReadPictureBitmap(Described(pictureCGBitmapContext, &context), bitmap), c.readable)
        << c.alphaInfo;
    if (!c.readable) continue;
    EXPECT_EQ(bitmap.data, pixels);
    EXPECT_EQ(bitmap.rowBytes, 16u);
    EXPECT_EQ(bitmap.width, 3);
    EXPECT_EQ(bitmap.layout, c.layout) << c.alphaInfo;
    EXPECT_EQ(bitmap.alphaIsPadding, c.padding) << c.alphaInfo;
    EXPECT_EQ(bitmap.alphaInfo, c.alphaInfo);
  }
}

TEST(PictureKinds, CoreGraphicsRefusals) {
  LogCapture log;
  uint8_t pixels[64] = {};
  PictureBitmap bitmap;
  {
    ScopedPictureLibrary finder(&CoreGraphicsStandIn);
    StandInContext sixteenBits{pixels, 3, 2, 5, 16, 16, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &sixteenBits), bitmap));
    EXPECT_TRUE(log.Logged("BitsPerPixel is not 32."));
    StandInContext shortRows{pixels, 3, 2, 8, 32, 11, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &shortRows), bitmap));
    StandInContext noData{nullptr, 3, 2, 8, 32, 16, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &noData), bitmap));
    EXPECT_TRUE(log.Logged("Bitmap has no usable rows."));
    EXPECT_TRUE(log.Logged("kCGImageAlphaNoneSkipFirst"));
  }
  // A console process has no Core Graphics: the context is never touched.
  ScopedPictureLibrary none(&NoPictureLibrary);
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, pixels), bitmap));
  EXPECT_TRUE(log.Logged("Core Graphics is not in this process."));
}

#if __has_include(<cairo.h>)
TEST(PictureKinds, CairoImageSurfaces) {
  LogCapture log;
  struct Case {
    cairo_format_t format;
    bool readable;
    bool padding;
  } cases[] = {{CAIRO_FORMAT_ARGB32, true, false},
               {CAIRO_FORMAT_RGB24, true, true},
               {CAIRO_FORMAT_A8, false, false}};
  for (const Case& c : cases) {
    cairo_surface_t* surface = cairo_image_surface_create(c.format, 5, 3);
    cairo_t* context = cairo_create(surface);
    PictureBitmap bitmap;
    EXPECT_EQ(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap), c.readable);
    if (c.readable) {
      EXPECT_EQ(bitmap.data, cairo_image_surface_get_data(surface));
      EXPECT_EQ(bitmap.rowBytes, static_cast<uint64_t>(cairo_image_surface_get_stride(surface)));
      EXPECT_EQ(bitmap.width, 5);
      EXPECT_EQ(bitmap.height, 3);
      EXPECT_EQ(bitmap.layout, PictureLayout::kBGRA);  // the native word on this machine
      EXPECT_EQ(bitmap.alphaIsPadding, c.padding);
      EXPECT_EQ(bitmap.surface, surface);
    }
    cairo_destroy(context);
    cairo_surface_destroy(surface);
  }
  EXPECT_TRUE(log.Logged("cairo format is not ARGB32 or RGB24."));

  // A context drawing into something other than pixels in memory, and a process without cairo.
  cairo_surface_t* recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
  cairo_t* context = cairo_create(recording);
  PictureBitmap bitmap;
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap));
  EXPECT_TRUE(log.Logged("cairo target is not an image surface."));
  {
    ScopedPictureLibrary none(&NoPictureLibrary);
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap));
    EXPECT_TRUE(log.Logged("cairo is not in this process."));
  }
  cairo_destroy(context);
  cairo_surface_destroy(recording);
}

#else
TEST(PictureKinds, CairoImageSurfaces) { GTEST_SKIP() << "this build has no cairo"; }
#endif

TEST(PictureKinds, Direct2DBytesAndOtherKinds) {
  uint8_t pixels[3 * 2 * 4] = {};
  PictureBitmap bitmap;
  ASSERT_TRUE(ReadPictureBitmap(Described(pictureD2DBytes, pixels), bitmap));
  EXPECT_EQ(bitmap.data, pixels);
  EXPECT_EQ(bitmap.rowBytes, 12u);
  EXPECT_EQ(bitmap.layout, PictureLayout::kBGRA);
  EXPECT_FALSE(bitmap.alphaIsPadding);
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureD2DBytes, pixels, 0, 2), bitmap));
  // Kinds we do not read, and descriptions without data, are refused whatever they claim.
  for (uint32_t kind : {0u, 7u, uint32_t{pictureGDData}, 11u, 13u, 15u}) {
    EXPECT_FALSE(ReadPictureBitmap(Described(kind, pixels), bitmap)) << kind;
  }
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureD2DBytes, nullptr), bitmap));
}

}  // namespace
