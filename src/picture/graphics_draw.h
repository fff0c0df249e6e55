// Drawing one host picture into another.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// Draws the source rectangle (sx, sy, sw, sh) of `source` into the rectangle (x, y, w, h) of
// `destination` through the host's Graphics.DrawPicture; when the host cannot draw, copies the
// pixels itself. A source width or height of -10000 means the whole source, as the host reads it.
// True when drawn.
bool GraphicsDrawPicture(REALpicture destination, REALpicture source, int64_t x, int64_t y,
                         int64_t w, int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh);

// The direct copy behind GraphicsDrawPicture: both bitmaps locked, the source rectangle scaled
// to the destination rectangle by nearest pixel, as the host's own DrawPicture does, and cut to
// both pictures. False when either picture cannot be locked or nothing lies inside both.
bool OwnCopyPicture(REALpicture destination, REALpicture source, int64_t x, int64_t y, int64_t w,
                    int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh);
