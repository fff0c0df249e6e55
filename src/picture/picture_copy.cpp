#include "picture/picture_copy.h"

#include <algorithm>

#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "picture/graphics_draw.h"
#include "picture/image_pixels.h"
#include "picture/picture_editor.h"
#include "picture/picture_pixels.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

using namespace picture_io;

namespace {

constexpr int64_t kDebugPictureSide = 512;

const char* FamilyLabel(ImageFamily family) {
  switch (family) {
    case ImageFamily::kGray8:
    case ImageFamily::kGray16:
      return "have Gray image";
    case ImageFamily::kRGB:
      return "have RGB image";
    case ImageFamily::kCMYK:
      return "have CMYK image";
    case ImageFamily::kNone:
      break;
  }
  return "unsupported image format";
}

template <PictureLayout L, ImageFamily F>
void CopyRow(const ImageClassData& image, const uint8_t* from, uint8_t* to, int64_t count,
             PictureCopyKind kind) {
  const int64_t step = image.PixelSize;
  for (int64_t i = 0; i < count; ++i, from += step, to += 4) {
    ImageRGBA p = ReadImagePixel<F>(image, from);
    switch (kind) {
      case PictureCopyKind::kColour:
        StorePicturePixel<L>(to, p.red, p.green, p.blue, kOpaqueAlpha<L>);
        break;
      case PictureCopyKind::kColourWithAlpha:
        StorePicturePixel<L>(to, p.red, p.green, p.blue, StoredAlpha<L>(p.alpha));
        break;
      case PictureCopyKind::kMask:
        StorePicturePixel<L>(to, p.alpha, p.alpha, p.alpha, kOpaqueAlpha<L>);
        break;
    }
  }
}

void LogLayout(const ImageClassData& image, int64_t rows, int64_t columns) {
  DebugLog("ps", static_cast<long long>(image.PixelSize));
  DebugLog("pw.PixelSize", 4);
  DebugLog("roffset", static_cast<long long>(image.RedOffset));
  DebugLog("Goffset", static_cast<long long>(image.GreenOffset));
  DebugLog("boffset", static_cast<long long>(image.BlueOffset));
  DebugLog("uh", static_cast<long long>(rows));
  DebugLog("uw", static_cast<long long>(columns));
}

}  // namespace

REALpicture CopyImageToPicture(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h,
                               PictureCopyKind kind) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  FixImageRectangle(image->Width, image->Height, x, y, w, h);
  if (w < 1 || h < 1) return nullptr;
  if (!StartImage(image)) return nullptr;
  ImageFamily family = FamilyOf(*image);
  DebugLog(FamilyLabel(family));
  if (family == ImageFamily::kNone) return nullptr;

  PictureWriter writer;
  if (!writer.NewPictureWriter(w, h, kind == PictureCopyKind::kColourWithAlpha)) return nullptr;
  // The writer's bitmap is the size asked for; the bounds are kept all the same.
  int64_t rows = std::min(h, writer.height);
  int64_t columns = std::min(w, writer.width);
  LogLayout(*image, rows, columns);
  WithLayout(LayoutOf(writer), [&]<PictureLayout L>() {
    WithFamily(family, [&]<ImageFamily F>() {
      for (int64_t row = 0; row < rows; ++row) {
        const uint8_t* from = image->GetRow(image, y + row);
        if (!from) {
          DebugLog("no row", static_cast<long long>(y + row));
          break;
        }
        if (writer.currentRow) {
          CopyRow<L, F>(*image, from + x * image->PixelSize, writer.currentRow, columns, kind);
        }
        if (row + 1 < rows) writer.AddPixelRow();
        YieldRow(image);
      }
    });
  });
  DebugLog("after loop");
  REALpicture result = writer.RenderPictureWriter();
  DebugLog("after RenderPictureWriter");
  DebugLog("EndImage...");
  writer.clear();
  DebugLog("EndImage done");
  DebugLogPointer("result", result);
  return result;
}

REALpicture rbCopyPicture5(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h) {
  DebugLogArgs("rbCopyPicture", x, y, w, h);
  return CopyImageToPicture(instance, x, y, w, h, PictureCopyKind::kColour);
}

REALpicture rbCopyPictureWithAlpha5(REALobject instance, int64_t x, int64_t y, int64_t w,
                                    int64_t h) {
  DebugLogArgs("rbCopyPictureWithAlpha", x, y, w, h);
  return CopyImageToPicture(instance, x, y, w, h, PictureCopyKind::kColourWithAlpha);
}

REALpicture rbCopyMask5(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h) {
  DebugLogArgs("rbCopyMask", x, y, w, h);
  return CopyImageToPicture(instance, x, y, w, h, PictureCopyKind::kMask);
}

void AddPictureMask(REALpicture picture, REALpicture mask, int64_t width, int64_t height) {
  DebugLog("AddPictureMask");
  if (width < 1) {
    DebugLog("invalid width");
    return;
  }
  if (height < 1) {
    DebugLog("invalid height");
    return;
  }
  if (!picture) {
    DebugLog("picture is nil");
    return;
  }
  if (!mask) {
    DebugLog("no mask to add");
    return;
  }
  REALpicture own = MyREALGetPictureMask(picture, true);
  if (own) {
    DebugLog("draw mask into mask");
    GraphicsDrawPicture(own, mask, 0, 0, width, height, 0, 0, width, height);
    UnlockObject(own);
    return;
  }
  // The mask getter never creates one; a picture without a mask yet gets this one assigned.
  DebugLog("assign mask");
  SetPictureMask(picture, mask);
}

REALpicture rbCopyPictureWithMask5(REALobject instance, int64_t x, int64_t y, int64_t w,
                                   int64_t h) {
  DebugLogArgs("rbCopyPictureWithMask", x, y, w, h);
  REALpicture picture = rbCopyPicture5(instance, x, y, w, h);
  REALpicture mask = rbCopyMask5(instance, x, y, w, h);
  int64_t width = 0, height = 0;
  if (picture) {
    PictureInteger(picture, "Width", width);
    PictureInteger(picture, "Height", height);
  }
  AddPictureMask(picture, mask, width, height);
  UnlockObject(mask);
  return picture;
}

namespace {

template <REALpicture (*Copy)(REALobject, int64_t, int64_t, int64_t, int64_t)>
REALpicture WholeImage(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  return Copy(instance, 0, 0, image->Width, image->Height);
}

}  // namespace

REALpicture rbCopyPicture1(REALobject instance) { return WholeImage<&rbCopyPicture5>(instance); }
REALpicture rbCopyPictureWithAlpha1(REALobject instance) {
  return WholeImage<&rbCopyPictureWithAlpha5>(instance);
}
REALpicture rbCopyMask1(REALobject instance) { return WholeImage<&rbCopyMask5>(instance); }
REALpicture rbCopyPictureWithMask1(REALobject instance) {
  return WholeImage<&rbCopyPictureWithMask5>(instance);
}

REALpicture GetDebugPicture(REALobject instance, intptr_t) {
  ImageClassData* image = ImageData(instance);
  if (!image || !image->DebugPictureEnabled) return nullptr;
  return rbCopyPictureWithMask5(instance, 0, 0, kDebugPictureSide, kDebugPictureSide);
}
