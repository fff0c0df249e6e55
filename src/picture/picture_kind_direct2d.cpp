// Kind 14: Direct2D's bytes, a plain pointer to premultiplied B, G, R, A pixels in rows of
// width × 4 bytes, sized by the description.
#include "picture/picture_kinds.h"
#include "plugin/debug_log.h"

bool ReadDirect2DBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap) {
  DebugLog("Width", locked.width);
  DebugLog("Height", locked.height);
  if (locked.width < 1 || locked.height < 1) {
    DebugLog("Bitmap has no usable rows.");
    return false;
  }
  bitmap.data = static_cast<uint8_t*>(locked.pictureData);
  bitmap.width = locked.width;
  bitmap.height = locked.height;
  bitmap.rowBytes = static_cast<uint64_t>(locked.width) * 4;
  bitmap.layout = picture_io::PictureLayout::kBGRA;
  return true;
}
