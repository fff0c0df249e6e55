// Pixel storage in memory: the in-memory and caller's-block constructors, the linear row
// accessors, sizing, cloning and closing.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// Row y of storage that is wholly addressable; no checks, callers keep y inside the image.
uint8_t* GetRowLinear(ImageClassData* image, int64_t y);
uint8_t* GetRowLinearMirrored(ImageClassData* image, int64_t y);

// Row y of an image over a table of row addresses (a gd picture's rows); null, with a debug
// line, outside the table.
uint8_t* GetRowGDImage(ImageClassData* image, int64_t y);
uint8_t* GetRowGDImageMirrored(ImageClassData* image, int64_t y);

// Bytes per row of an in-memory image: PixelSize x Width rounded up to 64; -1 on overflow.
int64_t InMemoryRowSize(const ImageClassData& image);

// "Constructor(width as integer, height as integer, ImageFormat as integer)"
void ImageConstructor(REALobject instance, int64_t width, int64_t height, int64_t format);

// "Constructor(Buf as MemoryBlock, width as integer, height as integer, ImageFormat as integer,
// RowSize as integer)"
void ImageConstructorMemory(REALobject instance, REALmemoryBlock buffer, int64_t width,
                            int64_t height, int64_t format, int64_t rowSize);

// Shared "CalculateMemory(...) as Int64" and "CanAllocateImage(...) as boolean".
int64_t CalculateMemory(int64_t width, int64_t height, int64_t format);
RBBoolean CanAllocateImage(int64_t width, int64_t height, int64_t format);

// "Close", also the destructor. Releases storage and references; safe to call twice.
void ImageDestructor(REALobject instance);

// "Clone as PictureXQT": a plain in-memory image of the visible rows in visible order.
REALobject Clone(REALobject instance);

// "ClearCache": asks the host to redraw the picture this image wraps.
void ClearCache(REALobject instance);

// A new PictureXQT instance without a constructor run, or nil (with a debug line).
REALobject NewBareImage();

// Allocates the host block of an in-memory image of `size` bytes and attaches it; raises
// OutOfMemoryException when it cannot. False when the image stays without storage.
bool AttachNewBlock(ImageClassData* image, int64_t size);
