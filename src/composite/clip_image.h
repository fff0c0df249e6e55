// Clipping views: an image that shows a rectangle of another image's pixels, sharing its storage.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// "ClipImage(x as integer, y as integer, width as integer, height as integer) as PictureXQT":
// the rectangle is fixed against self; nil when the host cannot make the instance.
REALobject ClipImage5(REALobject instance, int64_t x, int64_t y, int64_t width, int64_t height);

// "ClipImage as PictureXQT": a view of the whole image.
REALobject ClipImage1(REALobject instance);
