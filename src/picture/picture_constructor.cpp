#include "picture/picture_constructor.h"

#include "image/image_class_data.h"
#include "image/image_storage.h"
#include "image/pixel_format_table.h"
#include "image/pixel_formats.h"
#include "picture/picture_editor.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"

namespace {

// Storage fields shared by both kinds of picture, once the layout is in place.
void AttachPicture(ImageClassData* image, REALpicture picture, int64_t rowSize) {
  image->RowSize = rowSize;
  image->TotalSize = image->Height * rowSize;
  image->RowOffset = 0;
  image->MappingRows = image->Height;
  image->OwnsBuffer = false;
  image->IsMapping = false;
  image->MappedAddress = nullptr;
  StoreObject(&image->Target, picture);
  image->Valid = true;
}

// The format of an image over a bitmap of `layout`; 0 when the image cannot address it.
int64_t FormatOverBitmap(const PictureBitmap& bitmap, bool useAlpha, int64_t& channels) {
  channels = useAlpha ? 4 : 3;
  if (bitmap.kind == pictureCGBitmapContext) {
    DebugLog("AlphaInfo", static_cast<long long>(bitmap.alphaInfo));
    switch (bitmap.alphaInfo) {
      case kBitmapAlphaPremultipliedLast:
      case kBitmapAlphaNoneSkipLast:
        return useAlpha ? ImageFormatRGBA : ImageFormatRGBX;
      case kBitmapAlphaPremultipliedFirst:
        channels = useAlpha ? 3 : 4;  // inverted on purpose: applications count on it
        return useAlpha ? ImageFormatARGB : ImageFormatXRGB;
      case kBitmapAlphaNoneSkipFirst:
        return useAlpha ? ImageFormatARGB : ImageFormatXRGB;
      default:
        DebugLog("Unknown Alpha Info");
        return 0;
    }
  }
  // An unused fourth byte is never taken for alpha.
  if (bitmap.alphaIsPadding) {
    useAlpha = false;
    channels = 3;
  }
  switch (bitmap.layout) {
    case picture_io::PictureLayout::kBGRA:
      return useAlpha ? ImageFormatBGRA : ImageFormatBGRX;
    case picture_io::PictureLayout::kAlphaFirst:
      return useAlpha ? ImageFormatARGB : ImageFormatXRGB;
    case picture_io::PictureLayout::kAlphaLast:
      return useAlpha ? ImageFormatRGBA : ImageFormatRGBX;
    case picture_io::PictureLayout::kGD:
      break;
  }
  return 0;
}

// An image on the rows of a desktop bitmap.
void ConstructOnBitmap(ImageClassData* image, REALpicture picture, const PictureBitmap& bitmap,
                       bool useAlpha) {
  DebugLog("des.pictureType", static_cast<long long>(bitmap.kind));
  DebugLog("Width", bitmap.width);
  DebugLog("Height", bitmap.height);
  DebugLog("BytesPerRow", static_cast<long long>(bitmap.rowBytes));
  int64_t channels = 0;
  int64_t format = FormatOverBitmap(bitmap, useAlpha, channels);
  if (format != 0 && InitImageClassData(image, bitmap.width, bitmap.height, format)) {
    image->ChannelCount = channels;
    image->RowBuffer = bitmap.data;
    image->tpixels = nullptr;
    image->GetRow = &GetRowLinear;
    AttachPicture(image, picture, static_cast<int64_t>(bitmap.rowBytes));
  }
}

// An image on the rows of a true-colour gd image.
void ConstructOnGDImage(ImageClassData* image, REALpicture picture, const PictureBitmap& bitmap,
                        bool useAlpha) {
  if (!InitImageClassData(image, bitmap.width, bitmap.height,
                          useAlpha ? ImageFormatARGB : ImageFormatXRGB)) {
    return;
  }
  // A gd pixel is a native word 0xAARRGGBB: blue first in memory on this machine.
  image->RedOffset = 2;
  image->GreenOffset = 1;
  image->BlueOffset = 0;
  image->AlphaOffset = 3;
  image->HasAlpha = useAlpha;
  image->ChannelCount = useAlpha ? 4 : 3;
  for (int64_t i = 0; i < 8; ++i) image->ChannelOffsets[i] = i < image->ChannelCount ? i : 0;
  image->RowBuffer = nullptr;
  image->tpixels = reinterpret_cast<uint8_t**>(bitmap.rows);
  image->GetRow = &GetRowGDImage;
  AttachPicture(image, picture, 4 * bitmap.width);
}

}  // namespace

void ImageConstructorPicture(REALobject instance, REALpicture pic, RBBoolean useAlpha) {
  DebugLog("ImageConstructorPicture");
  if (!pic) {
    RaiseException("NilObjectException", "picture is nil");
    return;
  }
  ImageClassData* image = ImageData(instance);
  if (!image) return;
  ProbeApplicationKind();
  // The picture is locked only while its bitmap is read; the image keeps the picture, whose
  // bitmap stays where it is while the picture lives.
  PictureEditor editor;
  if (!IsConsole && (editor.GetPictureEditorOfKind(pic, DesktopPictureKind(), useAlpha) ||
                     editor.GetPictureEditorOwnKind(pic, useAlpha))) {
    DebugLog("ImageConstructorPictureGUI");
    if (editor.bitmap.kind == pictureGDImagePtr) {
      ConstructOnGDImage(image, pic, editor.bitmap, useAlpha);
    } else {
      ConstructOnBitmap(image, pic, editor.bitmap, useAlpha);
    }
  } else if (!IsDesktop && editor.GetPictureEditorOfKind(pic, pictureGDImagePtr, false)) {
    DebugLog("ImageConstructorPictureConsole");
    ConstructOnGDImage(image, pic, editor.bitmap, useAlpha);
  }
  editor.clear();
  if (image->ChannelCount < 1) DebugLog("ChannelCount not set!");
  if (image->PixelSize < 1) DebugLog("PixelSize not set!");
  if (image->Height < 1) DebugLog("Height not set!");
  if (image->Width < 1) DebugLog("Width not set!");
  if (!image->Valid) {
    RaiseException("UnsupportedOperationException", "Failed to access picture. Not a bitmap?");
  }
}
