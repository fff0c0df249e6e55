// Copying a rectangle of one image into another of any gray, RGB or CMYK format.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// Copies the rectangle (destX, destY, destWidth, destHeight) of `dest` from `source`, starting at
// (sourceX, sourceY), after the start checks of both images and the rectangle rule of
// FixRectangleSource. True when pixels were copied; false (with a debug line) for a nil or
// unusable image, an empty rectangle, a family outside gray, RGB and CMYK, or a pair between the
// RGB and CMYK families, which is refused without touching a pixel.
bool CopyPixels(ImageClassData* dest, ImageClassData* source, int64_t destX, int64_t destY,
                int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY);

// Whether two images share one packed 8-bit layout, so rows copy as plain bytes.
bool QualifiesForBlockCopy(const ImageClassData& dest, const ImageClassData& source);

// "CopyPixels(source as PictureXQT, DestX as integer, DestY as integer, DestWidth as integer,
// DestHeight as integer, SourceX as integer, SourceY as integer) as boolean"
RBBoolean rbCopyPixels8(REALobject instance, REALobject source, int64_t destX, int64_t destY,
                   int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY);

// "CopyPixels(source as PictureXQT, DestX as integer, DestY as integer, DestWidth as integer,
// DestHeight as integer) as boolean": from the source's top-left corner.
RBBoolean rbCopyPixels6(REALobject instance, REALobject source, int64_t destX, int64_t destY,
                   int64_t destWidth, int64_t destHeight);

// "CopyPixels(source as PictureXQT) as boolean": the whole of self from the top-left corners.
RBBoolean rbCopyPixels2(REALobject instance, REALobject source);
