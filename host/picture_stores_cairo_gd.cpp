// The stores over real libraries: cairo image surfaces and gd images.
#include <cairo.h>
#include <gd.h>

#include <cstring>

#include "host/picture_stores.h"
#include "plugin/host_interface.h"

namespace xqt::host {
namespace {

class CairoStore : public PixelStore {
 public:
  CairoStore(cairo_surface_t* surface, cairo_t* context) : surface_(surface), context_(context) {}
  ~CairoStore() override {
    cairo_destroy(context_);
    cairo_surface_destroy(surface_);
  }
  uint32_t Kind() const override { return pictureCairoContext; }
  void* DescriptionData() override { return context_; }
  void* Surface() override { return surface_; }
  // A native word: alpha (RGB24: an unused byte) on top, then red, green and blue.
  uint32_t Word(int64_t x, int64_t y) override {
    cairo_surface_flush(surface_);
    uint32_t word;
    std::memcpy(&word, At(x, y), 4);
    return word;
  }
  uint32_t ReadARGB(int64_t x, int64_t y) override {
    uint32_t word = Word(x, y);
    return Padded() ? 0xFF000000u | word : word;
  }
  void WriteARGB(int64_t x, int64_t y, uint32_t argb) override {
    if (Padded()) argb |= 0xFF000000u;
    cairo_surface_flush(surface_);
    std::memcpy(At(x, y), &argb, 4);
    cairo_surface_mark_dirty(surface_);
  }

 private:
  bool Padded() const { return cairo_image_surface_get_format(surface_) == CAIRO_FORMAT_RGB24; }
  uint8_t* At(int64_t x, int64_t y) {
    return cairo_image_surface_get_data(surface_) + y * cairo_image_surface_get_stride(surface_) +
           x * 4;
  }
  cairo_surface_t* surface_;
  cairo_t* context_;
};

// gd keeps 7 bits of transparency: 0 opaque, 127 clear.
uint32_t AlphaFromGd(uint32_t transparency) { return 255 - (transparency * 255 + 63) / 127; }
uint32_t GdFromAlpha(uint32_t alpha) { return ((255 - alpha) * 127 + 127) / 255; }

class GdStore : public PixelStore {
 public:
  explicit GdStore(gdImagePtr image) : image_(image) {}
  ~GdStore() override { gdImageDestroy(image_); }
  uint32_t Kind() const override { return pictureGDImagePtr; }
  void* DescriptionData() override { return image_; }
  uint32_t Word(int64_t x, int64_t y) override {
    // Palette images have no true-colour rows; gd resolves their pixels itself.
    return static_cast<uint32_t>(image_->trueColor
                                     ? image_->tpixels[y][x]
                                     : gdImageGetTrueColorPixel(image_, int(x), int(y)));
  }
  uint32_t ReadARGB(int64_t x, int64_t y) override {
    uint32_t word = Word(x, y);
    return (AlphaFromGd((word >> 24) & 0x7F) << 24) | (word & 0xFFFFFF);
  }
  void WriteARGB(int64_t x, int64_t y, uint32_t argb) override {
    uint32_t a = argb >> 24;
    if (image_->trueColor) {
      image_->tpixels[y][x] = static_cast<int>((GdFromAlpha(a) << 24) | (argb & 0xFFFFFF));
      return;
    }
    int r = (argb >> 16) & 0xFF, g = (argb >> 8) & 0xFF, b = argb & 0xFF;
    gdImageSetPixel(image_, int(x), int(y),
                    gdImageColorResolveAlpha(image_, r, g, b, int(GdFromAlpha(a))));
  }

 private:
  gdImagePtr image_;
};

}  // namespace

std::unique_ptr<PixelStore> MakeCairoStore(int64_t width, int64_t height, bool alpha) {
  cairo_surface_t* surface = cairo_image_surface_create(
      alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, int(width), int(height));
  cairo_t* context = cairo_create(surface);
  if (cairo_status(context) != CAIRO_STATUS_SUCCESS) {
    cairo_destroy(context);
    cairo_surface_destroy(surface);
    return nullptr;
  }
  cairo_set_source_rgb(context, 1, 1, 1);
  cairo_paint(context);
  cairo_surface_flush(surface);
  return std::make_unique<CairoStore>(surface, context);
}

std::unique_ptr<PixelStore> MakeGdStore(int64_t width, int64_t height, bool alpha, bool trueColor) {
  gdImagePtr image = trueColor ? gdImageCreateTrueColor(int(width), int(height))
                               : gdImageCreate(int(width), int(height));
  if (image == nullptr) return nullptr;
  if (trueColor) {
    gdImageAlphaBlending(image, 0);
    gdImageSaveAlpha(image, alpha ? 1 : 0);
    gdImageFilledRectangle(image, 0, 0, int(width) - 1, int(height) - 1, 0xFFFFFF);
  }
  return std::make_unique<GdStore>(image);
}

bool HasPictureLibraries() { return true; }

}  // namespace xqt::host
