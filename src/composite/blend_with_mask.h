// Blending a source image with a second image or a background colour through a mask.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// Writes into `result`, over the rectangle (x, y, width, height) fixed against the source, the
// source blended by the mask's gray m with `destImage` ((d m + (255 - m) s) / 255) or, without a
// destination image, with the background colour (((255 - m) s + b m) / 255); without a mask, the
// source itself. Every image is gray or RGB and addressed at the same x and y; gray values feed
// every channel of an RGB result, RGB values become (77 R + 151 G + 28 B) >> 8 for a gray one.
// False, with a debug line and the result untouched, when a check fails.
bool BlendWithMask(ImageClassData* source, ImageClassData* destImage, ImageClassData* mask,
                   ImageClassData* result, uint32_t backgroundColour, int64_t x, int64_t y,
                   int64_t width, int64_t height);

// Shared "BlendPicturesWithMaskWithBackground(SourceImage as PictureXQT, DestImage as PictureXQT,
// Mask as PictureXQT, Result as PictureXQT, BackgroundColour as Color, X As Integer, Y As Integer,
// Width As Integer, Height As Integer) as Boolean"
RBBoolean BlendPicturesWithMaskWithBackground9(REALobject sourceImage, REALobject destImage,
                                          REALobject mask, REALobject result,
                                          uint32_t backgroundColour, int64_t x, int64_t y,
                                          int64_t width, int64_t height);

// Shared "BlendPicturesWithMaskWithBackground(SourceImage as PictureXQT, DestImage as PictureXQT,
// Mask as PictureXQT, Result as PictureXQT, BackgroundColour as Color) as Boolean": the whole
// source.
RBBoolean BlendPicturesWithMaskWithBackground5(REALobject sourceImage, REALobject destImage,
                                          REALobject mask, REALobject result,
                                          uint32_t backgroundColour);
