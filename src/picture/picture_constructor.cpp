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

void ConstructOnBitmapContext(ImageClassData* image, REALpicture picture, bool useAlpha) {
  DebugLog("ImageConstructorPictureGUI");
  auto lock = hostapi::lockPictureDescription.get();
  REALpictureDescription description{};
  if (lock) lock(picture, &description);
  // The native lock reports nothing; a description without data is a picture it could not lock.
  if (!description.pictureData) {
    DebugLog("lockPictureDescription failed.");
    return;
  }
  DebugLog("des.pictureType", description.pictureType);
  const auto* context = static_cast<const REALbitmapContext*>(description.pictureData);
  if (description.pictureType == pictureCGBitmapContext && context) {
    uint32_t info = context->bitmapInfo & 7;
    DebugLog("Width", context->width);
    DebugLog("Height", context->height);
    DebugLog("BytesPerRow", context->bytesPerRow);
    DebugLog("AlphaInfo", info);
    int64_t format = 0, channels = 0;
    switch (info) {
      case kBitmapAlphaPremultipliedLast:
      case kBitmapAlphaNoneSkipLast:
        format = useAlpha ? ImageFormatRGBA : ImageFormatRGBX;
        channels = useAlpha ? 4 : 3;
        break;
      case kBitmapAlphaPremultipliedFirst:
        format = useAlpha ? ImageFormatARGB : ImageFormatXRGB;
        channels = useAlpha ? 3 : 4;  // inverted on purpose: applications count on it
        break;
      case kBitmapAlphaNoneSkipFirst:
        format = useAlpha ? ImageFormatARGB : ImageFormatXRGB;
        channels = useAlpha ? 4 : 3;
        break;
      default:
        DebugLog("Unknown Alpha Info");
        break;
    }
    // Rows are taken from the data pointer at the context's stride; anything else is refused.
    bool usable = context->data && context->bitsPerPixel == 32 && context->width >= 1 &&
                  context->height >= 1 && context->bytesPerRow >= context->width * 4;
    if (!usable) DebugLog("Bitmap has no usable rows.");
    if (format != 0 && usable &&
        InitImageClassData(image, context->width, context->height, format)) {
      image->ChannelCount = channels;
      image->RowBuffer = static_cast<uint8_t*>(context->data);
      image->tpixels = nullptr;
      image->GetRow = &GetRowLinear;
      AttachPicture(image, picture, context->bytesPerRow);
    }
  }
  if (auto unlock = hostapi::unlockPictureDescription.get()) unlock(picture);
}

void ConstructOnGDImage(ImageClassData* image, REALpicture picture, bool useAlpha) {
  DebugLog("ImageConstructorPictureConsole");
  auto lock = hostapi::REALLockPictureDescription.get();
  REALpictureDescription description{};
  if (!lock || !lock(picture, &description, pictureGDImagePtr)) {
    DebugLog("REALLockPictureDescription with pictureGDImagePtr failed.");
    return;
  }
  const auto* gd = static_cast<const gdImagePrefix*>(description.pictureData);
  bool trueColour = description.pictureType == pictureGDImagePtr && gd && !gd->pixels &&
                    gd->tpixels && gd->trueColor;
  int64_t width = description.width, height = description.height;
  if (!trueColour) {
    DebugLog("not a true colour gd image");
  } else if (width < 1 || height < 1 || width > gd->sx || height > gd->sy) {
    DebugLog("gd image has no usable rows.");
  } else if (InitImageClassData(image, width, height,
                                useAlpha ? ImageFormatARGB : ImageFormatXRGB)) {
    // A gd pixel is a native word 0xAARRGGBB: blue first in memory on this machine.
    image->RedOffset = 2;
    image->GreenOffset = 1;
    image->BlueOffset = 0;
    image->AlphaOffset = 3;
    image->HasAlpha = useAlpha;
    image->ChannelCount = useAlpha ? 4 : 3;
    for (int64_t i = 0; i < 8; ++i) image->ChannelOffsets[i] = i < image->ChannelCount ? i : 0;
    image->RowBuffer = nullptr;
    image->tpixels = reinterpret_cast<uint8_t**>(gd->tpixels);
    image->GetRow = &GetRowGDImage;
    AttachPicture(image, picture, 4 * width);
  }
  if (auto unlock = hostapi::unlockPictureDescription.get()) unlock(picture);
  DebugLog("Constructor done");
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
  if (!IsConsole) ConstructOnBitmapContext(image, pic, useAlpha);
  if (!image->Valid && !IsDesktop) ConstructOnGDImage(image, pic, useAlpha);
  if (image->ChannelCount < 1) DebugLog("ChannelCount not set!");
  if (image->PixelSize < 1) DebugLog("PixelSize not set!");
  if (image->Height < 1) DebugLog("Height not set!");
  if (image->Width < 1) DebugLog("Width not set!");
  if (!image->Valid) {
    RaiseException("UnsupportedOperationException", "Failed to access picture. Not a bitmap?");
  }
}
