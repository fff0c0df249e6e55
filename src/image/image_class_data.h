// The record inside every PictureXQT instance.
//
// The host binds most properties of PictureXQT straight to these fields, so the order and the
// slot sizes are part of the plug-in's interface: Integers are 64-bit, and every flag sits in a
// 64-bit slot of which the host's standard accessors read and write only the low byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "plugin/host_interface.h"
#include "plugin/yield.h"

struct ImageClassData;

// Returns the address of row y as this record sees it, or null.
using GetRowProc = uint8_t* (*)(ImageClassData* image, int64_t y);

// A boolean in a 64-bit slot.
struct Flag64 {
  uint64_t slot = 0;
  Flag64& operator=(bool value) {
    slot = value ? 1 : 0;
    return *this;
  }
  operator bool() const { return (slot & 0xFF) != 0; }
};
static_assert(sizeof(Flag64) == 8);

struct ImageClassData {
  // Yield data first: long loops hand the record to YieldData::DoYield as its YieldData.
  int64_t YieldTicks;
  int64_t LastYield;
  int64_t MappingBlockSize;
  int64_t TotalSize;
  REALobject Factory;
  REALmemoryBlock MemoryTarget;
  Flag64 DebugPictureEnabled;
  int64_t RedOffset;
  Flag64 HasRed;
  int64_t GreenOffset;
  Flag64 HasGreen;
  int64_t BlueOffset;
  Flag64 HasBlue;
  int64_t GrayOffset;
  Flag64 HasGray;
  int64_t AlphaOffset;
  Flag64 HasAlpha;
  int64_t CyanOffset;
  Flag64 HasCyan;
  int64_t MagentaOffset;
  Flag64 HasMagenta;
  int64_t YellowOffset;
  Flag64 HasYellow;
  int64_t BlackOffset;
  Flag64 HasBlack;
  int64_t Width;
  Flag64 IsGray;
  int64_t Height;
  int64_t UnclippedHeight;
  Flag64 IsRGB;
  int64_t RowSize;
  Flag64 IsCMYK;
  int64_t PixelSize;
  int64_t BitsPerComponent;
  Flag64 Valid;
  int64_t ImageFormat;
  int64_t RowOffset;
  int64_t ChannelCount;
  int64_t MappingFirstRow;
  int64_t MappingLastRow;
  int64_t MappingRows;
  int64_t ChannelOffsets[8];
  REALobject Parent;
  REALfolderItem FileItem;
  REALpicture Target;
  REALstring Channel;
  REALstring FilePath;
  Flag64 OwnsBuffer;
  uint8_t* RowBuffer;
  void* MappedAddress;
  Flag64 OwnsFile;
  Flag64 IsMapped;
  int32_t FileDescriptor;
  Flag64 IsMapping;
  uint8_t** tpixels;
  GetRowProc GetRow;

  YieldData& Yield() { return *reinterpret_cast<YieldData*>(this); }
};

static_assert(offsetof(ImageClassData, YieldTicks) == 0);
static_assert(offsetof(ImageClassData, LastYield) == 8);

// The record of a PictureXQT instance, found at the offset the host filled into the class
// definition; null for nil.
ImageClassData* ImageData(REALobject instance);
