#include "image/image_views.h"

#include "composite/clip_image.h"
#include "image/file_mapping.h"
#include "image/image_storage.h"
#include "image/pixel_format_table.h"
#include "image/pixel_formats.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/host_strings.h"

namespace {

// Copies what every view takes over from its parent's layout and storage.
void CopyGeometry(ImageClassData* view, const ImageClassData* parent) {
  view->Valid = parent->Valid;
  view->GetRow = parent->GetRow;
  view->PixelSize = parent->PixelSize;
  view->RowSize = parent->RowSize;
  view->Width = parent->Width;
  view->Height = parent->Height;
  view->UnclippedHeight = parent->UnclippedHeight;
  view->TotalSize = parent->TotalSize;
  view->RowOffset = parent->RowOffset;
  view->OwnsBuffer = false;
}

REALobject ChannelView(REALobject instance, bool has, int64_t offset, const char* name) {
  ImageClassData* image = ImageData(instance);
  if (!image || !has) return nullptr;
  return NewChannelImageXQT(instance, offset, name);
}

}  // namespace

void ShareStorage(ImageClassData* view, REALobject parentInstance) {
  const ImageClassData* parent = ImageData(parentInstance);
  StoreObject(&view->Parent, parentInstance);
  if (parent->Target) StoreObject(&view->Target, parent->Target);
  view->tpixels = parent->tpixels;
  if (!parent->IsMapping) {
    view->RowBuffer = parent->RowBuffer;
    view->MappedAddress = nullptr;
    view->MappingRows = parent->MappingRows;
    return;
  }
  ShareParentFile(view, parent);
  if (view->GetRow) view->GetRow(view, 0);
}

REALobject NewChannelImageXQT(REALobject parentInstance, int64_t offset, const char* name) {
  DebugLog("NewChannelImageXQT");
  const ImageClassData* parent = ImageData(parentInstance);
  REALobject instance = NewBareImage();
  if (!instance || !parent) return instance;
  ImageClassData* view = ImageData(instance);
  REALstring channelName = BuildAsciiString(name ? name : "");
  StoreString(&view->Channel, channelName);
  UnlockString(channelName);
  view->HasGray = true;
  view->IsGray = true;
  view->ChannelCount = 1;
  view->ChannelOffsets[0] = view->GrayOffset = offset;
  CopyGeometry(view, parent);
  view->BitsPerComponent = parent->BitsPerComponent;
  view->ImageFormat = parent->BitsPerComponent == 16 ? ImageFormatGray16 : ImageFormatG;
  ShareStorage(view, parentInstance);
  return instance;
}

REALobject AlphaChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasAlpha, image->AlphaOffset, "Alpha") : nullptr;
}
REALobject RedChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasRed, image->RedOffset, "Red") : nullptr;
}
REALobject GreenChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasGreen, image->GreenOffset, "Green") : nullptr;
}
REALobject BlueChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasBlue, image->BlueOffset, "Blue") : nullptr;
}
REALobject GrayChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasGray, image->GrayOffset, "Gray") : nullptr;
}
REALobject CyanChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasCyan, image->CyanOffset, "Cyan") : nullptr;
}
REALobject MagentaChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasMagenta, image->MagentaOffset, "Magenta")
               : nullptr;
}
REALobject YellowChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasYellow, image->YellowOffset, "Yellow") : nullptr;
}
REALobject BlackChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? ChannelView(instance, image->HasBlack, image->BlackOffset, "Black") : nullptr;
}

REALobject Channel(REALobject instance, int64_t index) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  if (index < 0 || index >= image->ChannelCount) {
    RaiseOutOfBoundsException(index, image->ChannelCount, "index", "Channel");
    return nullptr;
  }
  ChannelNameList names = ChannelNames(image->ImageFormat);
  const char* name = index < names.count ? names.names[index] : nullptr;
  return NewChannelImageXQT(instance, image->ChannelOffsets[index], name);
}

REALobject RGBChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image || !image->IsRGB) return nullptr;
  int64_t format = image->ImageFormat;
  if (format < ImageFormatRGB || format > ImageFormatXBGR) return nullptr;
  REALobject result = NewBareImage();
  if (!result) return nullptr;
  ImageClassData* view = ImageData(result);
  CopyGeometry(view, image);
  view->IsRGB = true;
  view->RedOffset = image->RedOffset;
  view->HasRed = image->HasRed;
  view->GreenOffset = image->GreenOffset;
  view->HasGreen = image->HasGreen;
  view->BlueOffset = image->BlueOffset;
  view->HasBlue = image->HasBlue;
  view->ChannelCount = 3;
  view->BitsPerComponent = 8;
  bool rgbOrder = format <= ImageFormatXRGB;
  view->ImageFormat = rgbOrder ? ImageFormatRGB : ImageFormatBGR;
  view->ChannelOffsets[0] = rgbOrder ? image->RedOffset : image->BlueOffset;
  view->ChannelOffsets[1] = image->GreenOffset;
  view->ChannelOffsets[2] = rgbOrder ? image->BlueOffset : image->RedOffset;
  ShareStorage(view, instance);
  return result;
}

REALobject CMYKChannel(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image || !image->IsCMYK) return nullptr;
  int64_t format = image->ImageFormat;
  if (format < ImageFormatCMYK || format > ImageFormatXKYMC) return nullptr;
  REALobject result = NewBareImage();
  if (!result) return nullptr;
  ImageClassData* view = ImageData(result);
  CopyGeometry(view, image);
  view->IsCMYK = true;
  view->CyanOffset = image->CyanOffset;
  view->HasCyan = image->HasCyan;
  view->MagentaOffset = image->MagentaOffset;
  view->HasMagenta = image->HasMagenta;
  view->YellowOffset = image->YellowOffset;
  view->HasYellow = image->HasYellow;
  view->BlackOffset = image->BlackOffset;
  view->HasBlack = image->HasBlack;
  view->ChannelCount = 4;
  view->BitsPerComponent = 8;
  bool cmykOrder = format <= ImageFormatXCMYK;
  view->ImageFormat = cmykOrder ? ImageFormatCMYK : ImageFormatKYMC;
  const int64_t cmyk[4] = {image->CyanOffset, image->MagentaOffset, image->YellowOffset,
                           image->BlackOffset};
  for (int i = 0; i < 4; ++i) view->ChannelOffsets[i] = cmyk[cmykOrder ? i : 3 - i];
  ShareStorage(view, instance);
  return result;
}

REALobject GetMirroredView(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  REALobject clip = ClipImage5(instance, 0, 0, image->Width, image->Height);
  if (!clip) return nullptr;
  ImageClassData* view = ImageData(clip);
  if (view->GetRow == &GetRowLinear) {
    view->GetRow = &GetRowLinearMirrored;
  } else if (view->GetRow == &GetRowLinearMirrored) {
    view->GetRow = &GetRowLinear;
  } else if (view->GetRow == &GetRowMapping) {
    view->GetRow = &GetRowMappingMirrored;
  } else if (view->GetRow == &GetRowMappingMirrored) {
    view->GetRow = &GetRowMapping;
  }
  if (view->GetRow) view->GetRow(view, 0);
  return clip;
}
