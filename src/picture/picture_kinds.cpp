#include "picture/picture_kinds.h"

#include "platform/host_graphics.h"
#include "plugin/debug_log.h"

uint32_t DesktopPictureKind() {
  switch (platform::SystemDesktopGraphics()) {
    case platform::DesktopGraphics::kCoreGraphics:
      return pictureCGBitmapContext;
    case platform::DesktopGraphics::kDirect2D:
      return pictureD2DBytes;
    case platform::DesktopGraphics::kCairo:
      break;
  }
  return pictureCairoContext;
}

bool ReadPictureBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap) {
  bitmap = PictureBitmap{};
  bitmap.kind = locked.pictureType;
  if (!locked.pictureData) {
    DebugLog("picture data is nil");
    return false;
  }
  switch (locked.pictureType) {
    case pictureCGBitmapContext:
      return ReadCoreGraphicsBitmap(locked, bitmap);
    case pictureGDImagePtr:
      return ReadGDBitmap(locked, bitmap);
    case pictureCairoContext:
      return ReadCairoBitmap(locked, bitmap);
    case pictureD2DBytes:
      return ReadDirect2DBitmap(locked, bitmap);
    default:
      DebugLog("picture kind cannot be read", static_cast<long long>(locked.pictureType));
      return false;
  }
}

void FinishWrittenBitmap(const PictureBitmap& bitmap) {
  if (bitmap.kind == pictureCairoContext && bitmap.surface) MarkCairoSurfaceDirty(bitmap.surface);
}
