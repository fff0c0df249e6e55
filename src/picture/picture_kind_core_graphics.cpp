// Kind 8: a Core Graphics bitmap context, opaque, read through the CGBitmapContextGet… functions of
// the host process. Alpha infos 1 to 6 are addressable; the alpha-first infos keep A, R, G, B in
// memory and the alpha-last ones R, G, B, A, and the skip infos (5, 6) carry no alpha in A.
#include <cstddef>
#include <cstdint>

#include "picture/picture_kinds.h"
#include "platform/host_graphics.h"
#include "plugin/debug_log.h"

namespace {

using Context = void*;
using DataGetter = void* (*)(Context);
using SizeGetter = size_t (*)(Context);
using InfoGetter = uint32_t (*)(Context);

template <class Fn>
Fn Find(const char* name) {
  return reinterpret_cast<Fn>(platform::FindHostFunction(name));
}

const char* AlphaInfoName(uint32_t info) {
  switch (info) {
    case kBitmapAlphaPremultipliedLast:
      return "kCGImageAlphaPremultipliedLast";
    case kBitmapAlphaPremultipliedFirst:
      return "kCGImageAlphaPremultipliedFirst";
    case kBitmapAlphaLast:
      return "kCGImageAlphaLast";
    case kBitmapAlphaFirst:
      return "kCGImageAlphaFirst";
    case kBitmapAlphaNoneSkipLast:
      return "kCGImageAlphaNoneSkipLast";
    case kBitmapAlphaNoneSkipFirst:
      return "kCGImageAlphaNoneSkipFirst";
    default:
      return nullptr;
  }
}

}  // namespace

bool ReadCoreGraphicsBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap) {
  auto data = Find<DataGetter>("CGBitmapContextGetData");
  auto width = Find<SizeGetter>("CGBitmapContextGetWidth");
  auto height = Find<SizeGetter>("CGBitmapContextGetHeight");
  auto bitsPerComponent = Find<SizeGetter>("CGBitmapContextGetBitsPerComponent");
  auto bitsPerPixel = Find<SizeGetter>("CGBitmapContextGetBitsPerPixel");
  auto bytesPerRow = Find<SizeGetter>("CGBitmapContextGetBytesPerRow");
  auto alphaInfo = Find<InfoGetter>("CGBitmapContextGetAlphaInfo");
  auto bitmapInfo = Find<InfoGetter>("CGBitmapContextGetBitmapInfo");
  if (!data || !width || !height || !bitsPerComponent || !bitsPerPixel || !bytesPerRow ||
      !alphaInfo || !bitmapInfo) {
    DebugLog("Core Graphics is not in this process.");
    return false;
  }
  Context context = locked.pictureData;
  size_t w = width(context), h = height(context), stride = bytesPerRow(context);
  size_t pixelBits = bitsPerPixel(context);
  uint32_t info = alphaInfo(context) & kBitmapAlphaInfoMask;
  DebugLog("Width", static_cast<long long>(w));
  DebugLog("Height", static_cast<long long>(h));
  DebugLog("BitsPerComponent", static_cast<long long>(bitsPerComponent(context)));
  DebugLog("BitsPerPixel", static_cast<long long>(pixelBits));
  DebugLog("BytesPerRow", static_cast<long long>(stride));
  DebugLog("lMacAlphaInfo", static_cast<long long>(info));
  DebugLog("BitmapInfo", static_cast<long long>(bitmapInfo(context)));
  const char* name = AlphaInfoName(info);
  if (!name) {
    DebugLog(info == kBitmapAlphaNone ? "kCGImageAlphaNone is not supported."
                                      : "kCGImageAlphaOnly is not supported.");
    return false;
  }
  DebugLog(name);
  if (pixelBits != 32) {
    DebugLog("BitsPerPixel is not 32.");
    return false;
  }
  // Rows are walked from the data pointer; a bitmap whose rows cannot hold its width is refused.
  void* pixels = data(context);
  constexpr size_t kLargestSide = size_t{1} << 31;
  if (!pixels || w < 1 || h < 1 || w >= kLargestSide || h >= kLargestSide || stride / 4 < w) {
    DebugLog("Bitmap has no usable rows.");
    return false;
  }
  bool alphaLast = info == kBitmapAlphaPremultipliedLast || info == kBitmapAlphaLast ||
                   info == kBitmapAlphaNoneSkipLast;
  bitmap.data = static_cast<uint8_t*>(pixels);
  bitmap.width = static_cast<int64_t>(w);
  bitmap.height = static_cast<int64_t>(h);
  bitmap.rowBytes = stride;
  bitmap.layout =
      alphaLast ? picture_io::PictureLayout::kAlphaLast : picture_io::PictureLayout::kAlphaFirst;
  bitmap.alphaIsPadding = info == kBitmapAlphaNoneSkipLast || info == kBitmapAlphaNoneSkipFirst;
  bitmap.alphaInfo = info;
  return true;
}
