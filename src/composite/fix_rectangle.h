// The rectangle rule of copies between two images, and the first used byte of a pixel.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"

// Brings a destination rectangle (x, y, width, height) and a source origin (sourceX, sourceY)
// into the bounds of `dest` and of a source of sourceWidth x sourceHeight. A negative source
// origin moves the rectangle, a negative size flips it, a negative origin is cut off, and the
// size is cut to both images. Logs "Fix" and "Fixed". Refuses nothing: the result may be empty (a
// size below 1, possibly negative) and the caller decides what that means.
void FixRectangleSource(const ImageClassData* dest, int64_t& x, int64_t& y, int64_t& width,
                        int64_t& height, int64_t& sourceX, int64_t& sourceY, int64_t sourceWidth,
                        int64_t sourceHeight);

// The smallest byte offset within a pixel among the red, green, blue, gray and alpha channels the
// image has (CMYK offsets are not looked at), or -1 when it has none of them.
int64_t GetMinOffset(const ImageClassData* image);
