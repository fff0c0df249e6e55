// Kind 10: a gd 2.x image, true colour only: rows of native 0xAARRGGBB words found through gd's
// row table, alpha in 7 bits (0 opaque, 127 clear).
#include "picture/picture_kinds.h"
#include "plugin/debug_log.h"

bool ReadGDBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap) {
  const auto* gd = static_cast<const gdImagePrefix*>(locked.pictureData);
  DebugLogPointer("pixels", gd->pixels);
  DebugLog("sx", gd->sx);
  DebugLog("sy", gd->sy);
  DebugLog("colorsTotal", gd->colorsTotal);
  DebugLog("trueColor", gd->trueColor);
  DebugLogPointer("tpixels", gd->tpixels);
  DebugLog("alphaBlendingFlag", gd->alphaBlendingFlag);
  if (gd->pixels || !gd->tpixels || !gd->trueColor) {
    DebugLog("gd image is not true colour.");
    return false;
  }
  // The description's size must lie inside the gd image whose rows are walked.
  if (locked.width < 1 || locked.height < 1 || locked.width > gd->sx || locked.height > gd->sy ||
      !gd->tpixels[0]) {
    DebugLog("gd image has no usable rows.");
    return false;
  }
  bitmap.rows = gd->tpixels;
  bitmap.data = reinterpret_cast<uint8_t*>(gd->tpixels[0]);
  bitmap.width = locked.width;
  bitmap.height = locked.height;
  bitmap.rowBytes = static_cast<uint64_t>(locked.width) * 4;
  bitmap.layout = picture_io::PictureLayout::kGD;
  bitmap.alphaIsPadding = false;
  return true;
}
