// Kind 12: a cairo context whose target is an image surface, read through the cairo functions of
// the host process. ARGB32 keeps one native-endian word per pixel with alpha on top
// (premultiplied); RGB24 the same word with its top byte unused.
#include <bit>
#include <cstdint>

#include "picture/picture_kinds.h"
#include "platform/host_graphics.h"
#include "plugin/debug_log.h"

namespace {

using Handle = void*;
using TargetGetter = Handle (*)(Handle);
using SurfaceCall = void (*)(Handle);
using IntGetter = int (*)(Handle);
using DataGetter = unsigned char* (*)(Handle);

// cairo's own numbers.
constexpr int kImageSurface = 0;
constexpr int kFormatARGB32 = 0;
constexpr int kFormatRGB24 = 1;

template <class Fn>
Fn Find(const char* name) {
  return reinterpret_cast<Fn>(platform::FindHostFunction(name));
}

}  // namespace

bool ReadCairoBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap) {
  auto target = Find<TargetGetter>("cairo_get_target");
  auto surfaceType = Find<IntGetter>("cairo_surface_get_type");
  auto flush = Find<SurfaceCall>("cairo_surface_flush");
  auto data = Find<DataGetter>("cairo_image_surface_get_data");
  auto format = Find<IntGetter>("cairo_image_surface_get_format");
  auto width = Find<IntGetter>("cairo_image_surface_get_width");
  auto height = Find<IntGetter>("cairo_image_surface_get_height");
  auto stride = Find<IntGetter>("cairo_image_surface_get_stride");
  if (!target || !surfaceType || !flush || !data || !format || !width || !height || !stride) {
    DebugLog("cairo is not in this process.");
    return false;
  }
  Handle surface = target(locked.pictureData);
  if (!surface || surfaceType(surface) != kImageSurface) {
    DebugLog("cairo target is not an image surface.");
    return false;
  }
  // Pending drawing reaches the bytes before they are read or written.
  flush(surface);
  int pixelFormat = format(surface);
  int w = width(surface), h = height(surface), rowBytes = stride(surface);
  DebugLog("cairo format", pixelFormat);
  DebugLog("Width", w);
  DebugLog("Height", h);
  DebugLog("Stride", rowBytes);
  if (pixelFormat != kFormatARGB32 && pixelFormat != kFormatRGB24) {
    DebugLog("cairo format is not ARGB32 or RGB24.");
    return false;
  }
  unsigned char* pixels = data(surface);
  if (!pixels || w < 1 || h < 1 || rowBytes / 4 < w) {
    DebugLog("Bitmap has no usable rows.");
    return false;
  }
  bitmap.data = pixels;
  bitmap.width = w;
  bitmap.height = h;
  bitmap.rowBytes = static_cast<uint64_t>(rowBytes);
  bitmap.layout = std::endian::native == std::endian::little
                      ? picture_io::PictureLayout::kBGRA
                      : picture_io::PictureLayout::kAlphaFirst;
  bitmap.alphaIsPadding = pixelFormat == kFormatRGB24;
  bitmap.surface = surface;
  return true;
}

void MarkCairoSurfaceDirty(void* surface) {
  if (auto markDirty = Find<SurfaceCall>("cairo_surface_mark_dirty")) markDirty(surface);
}
