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

// The view of one named channel, or nil when the image lacks it.
REALobject ChannelView(REALobject instance, Flag64 ImageClassData::*has,
                       int64_t ImageClassData::*offset, const char* name) {
  ImageClassData* image = ImageData(instance);
  if (!image || !(image->*has)) return nullptr;
  return NewChannelImageXQT(instance, image->*offset, name);
}

}  // namespace

void ShareStorage(ImageClassData* view, REALobject parentInstance) {
  const ImageClassData* parent = ImageData(parentInstance);
  StoreObject(&view->Parent, parentInstance);
  if (parent->Target) StoreObject(&view->Target, parent->Target);
  // The view holds the block too: Close on the parent releases the parent's hold on its storage
  // while views may still be reading it.
  if (parent->MemoryTarget) StoreObject(&view->MemoryTarget, parent->MemoryTarget);
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

namespace {

// The image whose storage a view reaches in the end.
const ImageClassData* StorageOwner(const ImageClassData* image) {
  // Views hold their parent locked, so the chain is finite and every link alive.
  while (image && image->Parent) image = ImageData(image->Parent);
  return image;
}

}  // namespace

bool SharesStorage(const ImageClassData* a, const ImageClassData* b) {
  if (!a || !b) return false;
  if (a == b) return true;
  const ImageClassData* ownerA = StorageOwner(a);
  const ImageClassData* ownerB = StorageOwner(b);
  if (ownerA == ownerB) return true;
  if (ownerA->MemoryTarget && ownerA->MemoryTarget == ownerB->MemoryTarget) return true;
  return ownerA->Target && ownerA->Target == ownerB->Target;
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
  return ChannelView(instance, &ImageClassData::HasAlpha, &ImageClassData::AlphaOffset, "Alpha");
}
REALobject RedChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasRed, &ImageClassData::RedOffset, "Red");
}
REALobject GreenChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasGreen, &ImageClassData::GreenOffset, "Green");
}
REALobject BlueChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasBlue, &ImageClassData::BlueOffset, "Blue");
}
REALobject GrayChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasGray, &ImageClassData::GrayOffset, "Gray");
}
REALobject CyanChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasCyan, &ImageClassData::CyanOffset, "Cyan");
}
REALobject MagentaChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasMagenta, &ImageClassData::MagentaOffset,
                     "Magenta");
}
REALobject YellowChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasYellow, &ImageClassData::YellowOffset, "Yellow");
}
REALobject BlackChannel(REALobject instance) {
  return ChannelView(instance, &ImageClassData::HasBlack, &ImageClassData::BlackOffset, "Black");
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

namespace {

// The channels of a colour family in their natural order, and the format codes of its two byte
// orders: the view of the first order lists them as they are, the second reversed (BGR, KYMC).
struct FamilyLayout {
  Flag64 ImageClassData::*family;
  int64_t firstOrderFrom, firstOrderTo, secondOrderTo;
  int64_t firstFormat, secondFormat;
  int channelCount;
  int64_t ImageClassData::*offsets[4];
  Flag64 ImageClassData::*flags[4];
};

constexpr FamilyLayout kRGBLayout = {
    &ImageClassData::IsRGB,
    ImageFormatRGB,
    ImageFormatXRGB,
    ImageFormatXBGR,
    ImageFormatRGB,
    ImageFormatBGR,
    3,
    {&ImageClassData::RedOffset, &ImageClassData::GreenOffset, &ImageClassData::BlueOffset},
    {&ImageClassData::HasRed, &ImageClassData::HasGreen, &ImageClassData::HasBlue}};

constexpr FamilyLayout kCMYKLayout = {&ImageClassData::IsCMYK,
                                      ImageFormatCMYK,
                                      ImageFormatXCMYK,
                                      ImageFormatXKYMC,
                                      ImageFormatCMYK,
                                      ImageFormatKYMC,
                                      4,
                                      {&ImageClassData::CyanOffset, &ImageClassData::MagentaOffset,
                                       &ImageClassData::YellowOffset, &ImageClassData::BlackOffset},
                                      {&ImageClassData::HasCyan, &ImageClassData::HasMagenta,
                                       &ImageClassData::HasYellow, &ImageClassData::HasBlack}};

// A view of an image's colour channels without its alpha or padding.
REALobject FamilyView(REALobject instance, const FamilyLayout& layout) {
  ImageClassData* image = ImageData(instance);
  if (!image || !(image->*layout.family)) return nullptr;
  int64_t format = image->ImageFormat;
  if (format < layout.firstOrderFrom || format > layout.secondOrderTo) return nullptr;
  REALobject result = NewBareImage();
  if (!result) return nullptr;
  ImageClassData* view = ImageData(result);
  CopyGeometry(view, image);
  view->*layout.family = true;
  bool firstOrder = format <= layout.firstOrderTo;
  view->ImageFormat = firstOrder ? layout.firstFormat : layout.secondFormat;
  view->ChannelCount = layout.channelCount;
  view->BitsPerComponent = 8;
  for (int i = 0; i < layout.channelCount; ++i) {
    view->*layout.offsets[i] = image->*layout.offsets[i];
    view->*layout.flags[i] = bool(image->*layout.flags[i]);
    int source = firstOrder ? i : layout.channelCount - 1 - i;
    view->ChannelOffsets[i] = image->*layout.offsets[source];
  }
  ShareStorage(view, instance);
  return result;
}

}  // namespace

REALobject RGBChannel(REALobject instance) { return FamilyView(instance, kRGBLayout); }

REALobject CMYKChannel(REALobject instance) { return FamilyView(instance, kCMYKLayout); }

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
  } else if (view->GetRow == &GetRowGDImage) {
    view->GetRow = &GetRowGDImageMirrored;
  } else if (view->GetRow == &GetRowGDImageMirrored) {
    view->GetRow = &GetRowGDImage;
  }
  if (view->GetRow) view->GetRow(view, 0);
  return clip;
}
