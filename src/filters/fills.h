// Fills of PictureXQT: a value, a colour, random bytes, a colour blended over, zero.
//
// Every routine works in place through the image's row accessor and channel offsets. The forms
// without a rectangle run the rectangle form over the whole image. Integer channel arguments are
// stored as their low 8 bits.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// "FillRect(...)": every channel byte of the rectangle gets the value.
void FillRect1(REALobject instance, int64_t value);
void FillRect5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
               int64_t value);
// The value into the colour channels and `alpha` into alpha.
void FillRectA1(REALobject instance, int64_t value, int64_t alpha);
void FillRectA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                int64_t value, int64_t alpha);

// "FillRectRGB(...)": RGB images only; gray and CMYK images are left as they are.
void FillRectRGB1(REALobject instance, int64_t red, int64_t green, int64_t blue);
void FillRectRGB5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                  int64_t red, int64_t green, int64_t blue);
void FillRectRGBA1(REALobject instance, int64_t red, int64_t green, int64_t blue, int64_t alpha);
void FillRectRGBA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                   int64_t red, int64_t green, int64_t blue, int64_t alpha);
// The colour forms: red in bits 16-23, green in 8-15, blue in 0-7; the top byte is ignored.
void FillRectRGBc1(REALobject instance, uint32_t color);
void FillRectRGBcA1(REALobject instance, uint32_t color, int64_t alpha);
void FillRectRGBc5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                   uint32_t color);
void FillRectRGBcA5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height,
                    uint32_t color, int64_t alpha);

// "FillRectRandom": one rand() per written byte.
void FillRectRandom1(REALobject instance);
void FillRectRandom5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);

// "FillRectApply(...) as boolean": blends a colour over the rectangle of an RGB or gray image.
// False for an image that is not valid or of another family, and for one without a row accessor
// (nothing was blended); true otherwise, an empty rectangle included.
RBBoolean FillRectApplyRGBA1(REALobject instance, int64_t red, int64_t green, int64_t blue,
                             int64_t alpha);
RBBoolean FillRectApplyRGBA5(REALobject instance, int64_t x, int64_t y, int64_t width,
                             int64_t height, int64_t red, int64_t green, int64_t blue,
                             int64_t alpha);
RBBoolean FillRectApplyRGBcA1(REALobject instance, uint32_t color, int64_t alpha);
RBBoolean FillRectApplyRGBcA5(REALobject instance, int64_t x, int64_t y, int64_t width,
                              int64_t height, uint32_t color, int64_t alpha);

// "ClearRect": the whole form zeroes every byte of every row, padding included; the rectangle
// form zeroes whole pixels of the rectangle.
void ClearRect1(REALobject instance);
void ClearRect5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);
