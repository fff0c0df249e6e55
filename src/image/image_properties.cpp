#include "image/image_properties.h"

#include "image/image_class_data.h"
#include "image/pixel_format_table.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/host_arrays.h"
#include "plugin/host_strings.h"
#include "plugin/memory_block.h"

namespace {

void SetOffset(REALobject instance, int64_t ImageClassData::*field, int64_t value,
               const char* property) {
  ImageClassData* image = ImageData(instance);
  if (!image) return;
  if (value < 0 || value >= image->PixelSize) {
    RaiseOutOfBoundsException(value, image->PixelSize, "value", property);
    return;
  }
  image->*field = value;
}

}  // namespace

void SetRedOffset(REALobject instance, intptr_t, int64_t value) {
  SetOffset(instance, &ImageClassData::RedOffset, value, "RedOffset");
}
void SetGreenOffset(REALobject instance, intptr_t, int64_t value) {
  SetOffset(instance, &ImageClassData::GreenOffset, value, "GreenOffset");
}
void SetBlueOffset(REALobject instance, intptr_t, int64_t value) {
  SetOffset(instance, &ImageClassData::BlueOffset, value, "BlueOffset");
}
void SetGrayOffset(REALobject instance, intptr_t, int64_t value) {
  SetOffset(instance, &ImageClassData::GrayOffset, value, "GrayOffset");
}
void SetAlphaOffset(REALobject instance, intptr_t, int64_t value) {
  SetOffset(instance, &ImageClassData::AlphaOffset, value, "AlphaOffset");
}

int64_t GetTotalSizeInt64(REALobject instance, intptr_t) {
  ImageClassData* image = ImageData(instance);
  return image ? image->TotalSize : 0;
}

REALobject GetMemory(REALobject instance, intptr_t) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  if (image->MemoryTarget && MemoryBlockData(image->MemoryTarget) == image->RowBuffer) {
    LockObject(image->MemoryTarget);
    return image->MemoryTarget;
  }
  if (!image->RowBuffer) return nullptr;
  auto wrap = hostapi::PtrToMemoryBlock.get();
  return wrap ? wrap(image->RowBuffer) : nullptr;
}

REALstring GetImageFormatString(REALobject instance, intptr_t) {
  ImageClassData* image = ImageData(instance);
  const PixelFormatRow* row = image ? FormatRow(image->ImageFormat) : nullptr;
  return BuildAsciiString(row && row->formatString ? row->formatString : "");
}

int64_t ChannelOffset(REALobject instance, int64_t index) {
  ImageClassData* image = ImageData(instance);
  if (!image) return 0;
  if (index < 0 || index >= image->ChannelCount) {
    RaiseOutOfBoundsException(index, image->ChannelCount, "index", "ChannelOffset");
    return 0;
  }
  return image->ChannelOffsets[index];
}

REALarray Channels(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  REALarray names = NewStringArray();
  if (!image || !names) return names;
  ChannelNameList list = ChannelNames(image->ImageFormat);
  for (int i = 0; i < list.count; ++i) {
    REALstring name = BuildAsciiString(list.names[i]);
    AppendToStringArray(names, name);
    UnlockString(name);
  }
  return names;
}
