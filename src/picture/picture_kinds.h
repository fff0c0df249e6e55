// The kinds of picture data a host hands out, read into one description of a bitmap.
//
// Each system keeps its desktop pictures in its own graphics library: a Core Graphics bitmap
// context on macOS (kind 8), a cairo context over an image surface on Linux (kind 12), Direct2D's
// premultiplied B,G,R,A bytes on Windows (kind 14). Console pictures are gd images everywhere
// (kind 10). The editor locks a description of one of these kinds, and the reader of that kind
// turns it into a PictureBitmap: where row 0 is, how rows follow, and how a pixel's four bytes are
// ordered. Pixel values are taken as they are stored, premultiplied or not.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

namespace picture_io {

// The byte order of a locked bitmap's 32-bit pixel.
enum class PictureLayout : uint8_t {
  kAlphaLast,   // R, G, B, A in memory (Core Graphics alpha infos 1, 3, 5)
  kAlphaFirst,  // A, R, G, B in memory (alpha infos 2, 4, 6; cairo's word on big-endian machines)
  kBGRA,        // B, G, R, A in memory (cairo's word on little-endian machines, Direct2D)
  kGD,          // one native word: 7-bit gd alpha in bits 24-30, then R, G, B
};

}  // namespace picture_io

struct PictureBitmap {
  uint32_t kind = 0;        // the picture kind it was read from
  uint8_t* data = nullptr;  // row 0
  int** rows = nullptr;     // gd's row table; null where rows follow at rowBytes
  int64_t width = 0;
  int64_t height = 0;
  uint64_t rowBytes = 0;
  picture_io::PictureLayout layout = picture_io::PictureLayout::kAlphaFirst;
  bool alphaIsPadding = false;  // the fourth byte holds no alpha (skip infos, cairo RGB24)
  uint32_t alphaInfo = 0;       // a Core Graphics context's alpha info; 0 for the other kinds
  void* surface = nullptr;      // a cairo surface, told after writing that its bytes changed
};

// The desktop kind of this system's host: 8, 12 or 14.
uint32_t DesktopPictureKind();

// Reads a locked description of any kind we can address; false, with a debug line, for a kind
// or a bitmap we cannot (a missing graphics library, an unknown format, rows too short).
bool ReadPictureBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap);

// Tells the graphics library that the bitmap's bytes were written.
void FinishWrittenBitmap(const PictureBitmap& bitmap);

// The readers of each kind.
bool ReadCoreGraphicsBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap);
bool ReadCairoBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap);
bool ReadGDBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap);
bool ReadDirect2DBitmap(const REALpictureDescription& locked, PictureBitmap& bitmap);
void MarkCairoSurfaceDirty(void* surface);
