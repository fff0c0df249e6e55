#include "image/image_storage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "image/file_mapping.h"
#include "image/pixel_format_table.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/memory_block.h"

namespace {

constexpr int64_t kRowAlignment = 64;

void RaiseAllocationFailure(int64_t size) {
  char message[100];
  std::snprintf(message, sizeof(message),
                "Failed to allocate %lld bytes of memory for image buffer.",
                static_cast<long long>(size));
  RaiseException("OutOfMemoryException", message);
}

// Height x RowSize, or -1 when it does not fit in 64 bits.
int64_t StorageSize(int64_t height, int64_t rowSize) {
  int64_t size = 0;
  if (rowSize < 0 || __builtin_mul_overflow(height, rowSize, &size)) return -1;
  return size;
}

}  // namespace

uint8_t* GetRowLinear(ImageClassData* image, int64_t y) {
  return image->RowBuffer + (y + image->RowOffset) * image->RowSize;
}

uint8_t* GetRowLinearMirrored(ImageClassData* image, int64_t y) {
  return image->RowBuffer + (image->Height - 1 - y + image->RowOffset) * image->RowSize;
}

uint8_t* GetRowGDImage(ImageClassData* image, int64_t y) {
  int64_t r = y + image->RowOffset;
  if (r < 0) {
    DebugLog("Error: index<0 in GetRowGDImage!");
    return nullptr;
  }
  if (r >= image->UnclippedHeight) {
    DebugLog("Error: index>=Height in GetRowGDImage!");
    DebugLog("index", static_cast<long long>(y));
    DebugLog("OffsetRow", static_cast<long long>(image->RowOffset));
    DebugLog("Height", static_cast<long long>(image->Height));
    DebugLog("TotalHeight", static_cast<long long>(image->UnclippedHeight));
    return nullptr;
  }
  if (!image->tpixels) {
    DebugLog("Error: tpixels is nil in GetRowGDImage!");
    return nullptr;
  }
  return image->tpixels[r];
}

uint8_t* GetRowGDImageMirrored(ImageClassData* image, int64_t y) {
  return GetRowGDImage(image, image->Height - 1 - y);
}

int64_t InMemoryRowSize(const ImageClassData& image) {
  int64_t bytes = 0;
  if (__builtin_mul_overflow(image.PixelSize, image.Width, &bytes) ||
      __builtin_add_overflow(bytes, kRowAlignment - 1, &bytes)) {
    return -1;
  }
  return bytes / kRowAlignment * kRowAlignment;
}

bool AttachNewBlock(ImageClassData* image, int64_t size) {
  REALmemoryBlock block = size >= 0 ? NewMemoryBlock(size) : nullptr;
  if (!block) {
    RaiseAllocationFailure(size);
    return false;
  }
  image->MemoryTarget = block;  // the new block's reference now belongs to the record
  image->MappedAddress = nullptr;
  image->RowBuffer = MemoryBlockData(block);
  image->OwnsBuffer = false;
  image->TotalSize = size;
  image->GetRow = &GetRowLinear;
  return true;
}

void ImageConstructor(REALobject instance, int64_t width, int64_t height, int64_t format) {
  DebugLogArgs("ImageConstructor", width, height, format);
  ImageClassData* image = ImageData(instance);
  if (!image || !InitImageClassData(image, width, height, format)) return;
  int64_t rowSize = InMemoryRowSize(*image);
  int64_t size = StorageSize(height, rowSize);
  DebugLog("RowSize", static_cast<long long>(rowSize));
  DebugLog("Allocating Size", static_cast<long long>(size));
  if (size < 0) {
    // Report the byte count the multiplication gives when it wraps, as large sizes do.
    auto wrapped = static_cast<uint64_t>(height) * static_cast<uint64_t>(image->PixelSize) *
                   static_cast<uint64_t>(image->Width);
    RaiseAllocationFailure(static_cast<int64_t>(wrapped));
    return;
  }
  if (!AttachNewBlock(image, size)) return;
  image->RowSize = rowSize;
  image->MappingRows = height;
  image->Valid = true;
}

void ImageConstructorMemory(REALobject instance, REALmemoryBlock buffer, int64_t width,
                            int64_t height, int64_t format, int64_t rowSize) {
  DebugLogArgs("ImageConstructorMemory", width, height, format, rowSize);
  if (!buffer) {
    DebugLog("m", "is nil");
    RaiseException("NilObjectException", "Memoryblock is nil.");
    return;
  }
  ImageClassData* image = ImageData(instance);
  if (!image || !InitImageClassData(image, width, height, format)) return;
  uint8_t* data = MemoryBlockData(buffer);
  if (!data) {
    DebugLog("buffer", "is nil");
    RaiseException("NilObjectException", "Memoryblock is nil.");
    return;
  }
  StoreObject(&image->MemoryTarget, buffer);
  image->RowBuffer = data;
  image->MappedAddress = nullptr;
  image->MappingRows = height;
  image->OwnsBuffer = false;
  // The caller answers for the stride and the block's size; the product only has to exist.
  image->TotalSize = StorageSize(height, rowSize) < 0 ? 0 : height * rowSize;
  image->RowSize = rowSize;
  image->GetRow = &GetRowLinear;
  image->Valid = true;
}

int64_t CalculateMemory(int64_t width, int64_t height, int64_t format) {
  ImageClassData scratch{};
  if (!InitImageClassData(&scratch, width, height, format)) return 0;
  int64_t rowSize = InMemoryRowSize(scratch);
  int64_t size = StorageSize(height, rowSize);
  DebugLog("RowSize", static_cast<long long>(rowSize));
  DebugLog("Allocating Size", static_cast<long long>(size));
  return size < 0 ? 0 : size;
}

RBBoolean CanAllocateImage(int64_t width, int64_t height, int64_t format) {
  return CalculateMemory(width, height, format) > 0;
}

void ImageDestructor(REALobject instance) {
  DebugLog("ImageDestructor");
  ImageClassData* image = ImageData(instance);
  if (!image) return;
  StoreString(&image->Channel, nullptr);
  if (image->OwnsBuffer && image->RowBuffer) {
    DebugLog("Free Buffer");
    std::free(image->RowBuffer);
    image->RowBuffer = nullptr;
  }
  if (image->IsMapped) {
    DebugLog("Unmapping");
    UnmapBand(image);
  }
  // Views hold a descriptor of their own on the parent's file; this releases it too.
  ReleaseBackingFile(image);
  image->OwnsBuffer = false;
  image->GetRow = nullptr;
  image->RowBuffer = nullptr;
  image->MappedAddress = nullptr;
  StoreObject(&image->Parent, nullptr);
  StoreObject(&image->MemoryTarget, nullptr);
  StoreString(&image->FilePath, nullptr);
  StoreObject(&image->FileItem, nullptr);
  StoreObject(&image->Factory, nullptr);
  if (image->Target) {
    DebugLog("REALPictureClearCache...");
    if (auto clearCache = hostapi::REALPictureClearCache.get()) clearCache(image->Target);
    StoreObject(&image->Target, nullptr);
  }
  DebugLog("Destructor done.");
}

REALobject NewBareImage() {
  auto newInstance = hostapi::PluginNewInstance.get();
  REALobject instance = newInstance ? newInstance("PictureXQT") : nullptr;
  if (!instance) DebugLog("Failed to crate PictureXQT object");
  return instance;
}

REALobject Clone(REALobject instance) {
  DebugLog("Clone");
  ImageClassData* source = ImageData(instance);
  if (!source) return nullptr;
  if (source->IsMapping) {
    DebugLog("Can't clone mapped images");
    return nullptr;
  }
  if (!source->Valid) {
    DebugLog("Picture not valid.");
    return nullptr;
  }
  if (!source->GetRow) {
    DebugLog("GetRow is nil");
    return nullptr;
  }
  REALobject clone = NewBareImage();
  if (!clone) return nullptr;
  ImageClassData* copy = ImageData(clone);
  int64_t size = StorageSize(source->Height, source->RowSize);
  DebugLogPointer("tpixels", source->tpixels);
  DebugLog("RowSize", static_cast<long long>(source->RowSize));
  DebugLog("Height", static_cast<long long>(source->Height));
  DebugLog("Size", static_cast<long long>(size));
  if (!AttachNewBlock(copy, size)) {
    UnlockObject(clone);
    return nullptr;
  }
  DebugLog("channel offsets...");
  std::memcpy(copy->ChannelOffsets, source->ChannelOffsets, sizeof(copy->ChannelOffsets));
  copy->RedOffset = source->RedOffset;
  copy->HasRed = source->HasRed;
  copy->GreenOffset = source->GreenOffset;
  copy->HasGreen = source->HasGreen;
  copy->BlueOffset = source->BlueOffset;
  copy->HasBlue = source->HasBlue;
  copy->GrayOffset = source->GrayOffset;
  copy->HasGray = source->HasGray;
  copy->AlphaOffset = source->AlphaOffset;
  copy->HasAlpha = source->HasAlpha;
  copy->CyanOffset = source->CyanOffset;
  copy->HasCyan = source->HasCyan;
  copy->MagentaOffset = source->MagentaOffset;
  copy->HasMagenta = source->HasMagenta;
  copy->YellowOffset = source->YellowOffset;
  copy->HasYellow = source->HasYellow;
  copy->BlackOffset = source->BlackOffset;
  copy->HasBlack = source->HasBlack;
  copy->Width = source->Width;
  copy->PixelSize = source->PixelSize;
  copy->BitsPerComponent = source->BitsPerComponent;
  copy->ImageFormat = source->ImageFormat;
  copy->ChannelCount = source->ChannelCount;
  copy->IsGray = source->IsGray;
  copy->IsRGB = source->IsRGB;
  copy->IsCMYK = source->IsCMYK;
  copy->Height = copy->UnclippedHeight = source->Height;
  copy->RowSize = source->RowSize;
  copy->RowOffset = 0;
  copy->MappingRows = -1;
  copy->Valid = true;

  DebugLog("Copy row data", static_cast<long long>(source->Height));
  for (int64_t y = 0; y < source->Height; ++y) {
    uint8_t* from = source->GetRow(source, y);
    uint8_t* to = copy->GetRow(copy, y);
    if (!from) {
      DebugLog("sbuf is empty for line", static_cast<long long>(y));
      break;
    }
    if (!to) {
      DebugLog("dbuf is empty for line", static_cast<long long>(y));
      break;
    }
    std::memcpy(to, from, static_cast<size_t>(source->RowSize));
  }
  DebugLog("done");
  return clone;
}

void ClearCache(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  if (!image || !image->Target) return;
  if (auto clearCache = hostapi::REALPictureClearCache.get()) clearCache(image->Target);
}
