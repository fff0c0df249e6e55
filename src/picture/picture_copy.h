// Rendering an image into new host pictures: colour, colour with alpha, the alpha as a gray mask,
// and colour with that mask attached; and the DebugPicture property built on them.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// What a copy writes into each 32-bit picture pixel.
enum class PictureCopyKind : uint8_t {
  kColour,           // colour, opaque
  kColourWithAlpha,  // colour and the image's alpha, into a picture with alpha channel
  kMask,             // the image's alpha as opaque gray: full alpha gives white
};

// The rectangle (fixed against the image as ClipImage fixes it) rendered into a new host picture
// (one reference for the caller), or nil.
REALpicture CopyImageToPicture(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h,
                               PictureCopyKind kind);

// "CopyPicture(x as integer, y as integer, w as integer, h as integer) as picture" and the
// whole-image "CopyPicture as picture"; likewise for the other three.
REALpicture rbCopyPicture5(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h);
REALpicture rbCopyPicture1(REALobject instance);
REALpicture rbCopyPictureWithAlpha5(REALobject instance, int64_t x, int64_t y, int64_t w,
                                    int64_t h);
REALpicture rbCopyPictureWithAlpha1(REALobject instance);
REALpicture rbCopyMask5(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h);
REALpicture rbCopyMask1(REALobject instance);
REALpicture rbCopyPictureWithMask5(REALobject instance, int64_t x, int64_t y, int64_t w, int64_t h);
REALpicture rbCopyPictureWithMask1(REALobject instance);

// Gives `picture` the pixels of `mask` as its mask: drawn into the mask the picture has, or
// assigned as its mask when the host keeps none for it yet.
void AddPictureMask(REALpicture picture, REALpicture mask, int64_t width, int64_t height);

// Getter of the property DebugPicture: the top-left 512 x 512 pixels with mask while
// DebugPictureEnabled is true, else nil.
REALpicture GetDebugPicture(REALobject instance, intptr_t param);
