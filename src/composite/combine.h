// Combine: an image or a colour laid into self through a gray mask (255 takes the new value, 0
// keeps self's), optionally with a source whose colours are already multiplied by its alpha.
#pragma once

#include <cstdint>

#include "composite/row_formats.h"
#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// What is laid into self: an image, or one colour given in some family with its alpha.
struct CombineSource {
  ImageClassData* image = nullptr;  // null: the colour below
  PixelFamily colourFamily = PixelFamily::kNone;
  PixelValue colour{{0, 0, 0, 0}, 255};
};

// Combines `source` into the rectangle (x, y, width, height) of `self` through `mask`; every image
// is addressed at the same coordinates, and the rectangle is fixed (FixImageRectangle) against
// the area all of them cover. With alpha a of the source (255 without) and mask m, t = a x m:
//   plain:          result = (s t + d (65025 - t)) / 65025
//   premultiplied:  result = (s m 255 + d (65025 - t)) / 65025, at most full scale
// rounded to nearest; self's alpha, if any, becomes (a m 255 + d_a (65025 - t)) / 65025. False,
// with a debug line, for an unusable image, a mask that is not gray or RGB, or an empty rectangle.
bool CombineInto(ImageClassData* self, const CombineSource& source, ImageClassData* mask, int64_t x,
                 int64_t y, int64_t width, int64_t height, bool premultiplied);

// The members; declarations in composite_members.cpp and docs/members.md.
RBBoolean rbCombine2(REALobject instance, REALobject source, REALobject mask);
RBBoolean rbCombine3(REALobject instance, REALobject source, REALobject mask, RBBoolean premultiplied);
RBBoolean rbCombine6(REALobject instance, REALobject source, REALobject mask, int64_t x, int64_t y,
                int64_t width, int64_t height);
RBBoolean rbCombine7(REALobject instance, REALobject source, REALobject mask, int64_t x, int64_t y,
                int64_t width, int64_t height, RBBoolean premultiplied);
RBBoolean rbCombineColor(REALobject instance, REALobject mask, uint32_t backColour);
RBBoolean rbCombineColorRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                        int64_t height, uint32_t backColour);
RBBoolean rbCombineGray(REALobject instance, REALobject mask, int64_t value, int64_t alpha);
RBBoolean rbCombineGrayRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                       int64_t height, int64_t value, int64_t alpha);
RBBoolean rbCombineRGB(REALobject instance, REALobject mask, int64_t red, int64_t green, int64_t blue,
                  int64_t alpha);
RBBoolean rbCombineRGBRect(REALobject instance, REALobject mask, int64_t x, int64_t y, int64_t width,
                      int64_t height, int64_t red, int64_t green, int64_t blue, int64_t alpha);
RBBoolean rbCombineCMYK(REALobject instance, REALobject mask, int64_t cyan, int64_t magenta,
                   int64_t yellow, int64_t black, int64_t alpha);
