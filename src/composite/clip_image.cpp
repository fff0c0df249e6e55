#include "composite/clip_image.h"

#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/image_storage.h"
#include "image/image_views.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

REALobject ClipImage5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height) {
  DebugLog("ClipImage5");
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  FixImageRectangle(image->Width, image->Height, x, y, width, height);
  REALobject clip = NewBareImage();
  if (!clip) return nullptr;
  ImageClassData* view = ImageData(clip);

  // Channels move by x pixels; the row start stays the parent's.
  int64_t shift = x * image->PixelSize;
  auto channel = [shift](bool has, int64_t offset) { return has ? offset + shift : offset; };
  view->HasRed = image->HasRed;
  view->RedOffset = channel(image->HasRed, image->RedOffset);
  view->HasGreen = image->HasGreen;
  view->GreenOffset = channel(image->HasGreen, image->GreenOffset);
  view->HasBlue = image->HasBlue;
  view->BlueOffset = channel(image->HasBlue, image->BlueOffset);
  view->HasGray = image->HasGray;
  view->GrayOffset = channel(image->HasGray, image->GrayOffset);
  view->HasAlpha = image->HasAlpha;
  view->AlphaOffset = channel(image->HasAlpha, image->AlphaOffset);
  view->HasCyan = image->HasCyan;
  view->CyanOffset = channel(image->HasCyan, image->CyanOffset);
  view->HasMagenta = image->HasMagenta;
  view->MagentaOffset = channel(image->HasMagenta, image->MagentaOffset);
  view->HasYellow = image->HasYellow;
  view->YellowOffset = channel(image->HasYellow, image->YellowOffset);
  view->HasBlack = image->HasBlack;
  view->BlackOffset = channel(image->HasBlack, image->BlackOffset);
  view->ChannelCount = image->ChannelCount;
  for (int64_t i = 0; i < 8; ++i) {
    view->ChannelOffsets[i] = image->ChannelOffsets[i] + (i < image->ChannelCount ? shift : 0);
  }

  view->Width = width;
  view->Height = height;
  view->UnclippedHeight = image->UnclippedHeight;
  view->RowOffset = image->RowOffset + y;
  view->PixelSize = image->PixelSize;
  view->BitsPerComponent = image->BitsPerComponent;
  view->IsGray = image->IsGray;
  view->IsRGB = image->IsRGB;
  view->IsCMYK = image->IsCMYK;
  view->Valid = image->Valid;
  view->GetRow = image->GetRow;
  view->ImageFormat = image->ImageFormat;
  view->RowSize = image->RowSize;
  view->TotalSize = image->TotalSize;
  if (image->MemoryTarget) StoreObject(&view->MemoryTarget, image->MemoryTarget);
  ShareStorage(view, instance);
  return clip;
}

REALobject ClipImage1(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  return ClipImage5(instance, 0, 0, image->Width, image->Height);
}
