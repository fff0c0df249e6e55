// Quarter and half turns of a PictureXQT into a destination image.
//
// Each returns the destination (one reference for the caller) or nil. A nil destination is made
// through the source's factory with the source's format. A destination that is the source
// itself, that is smaller than the turned image, or whose format lacks the source's channels is
// refused: nothing is ever written outside an image.
#pragma once

#include "plugin/host_interface.h"

// Counter-clockwise: source pixel (x, y) goes to column y, row Width - 1 - x.
// "Rotate90(dest as PictureXQT=nil) as PictureXQT": in tiles that stay inside the mapped bands.
REALobject Rotate90fast(REALobject instance, REALobject dest);
// "Rotate90slow(dest as PictureXQT=nil) as PictureXQT": row by row.
REALobject Rotate90(REALobject instance, REALobject dest);

// Clockwise: source pixel (x, y) goes to column Height - 1 - y, row x.
// "Rotate270(dest as PictureXQT=nil) as PictureXQT" and "Rotate270slow(...)".
REALobject Rotate270fast(REALobject instance, REALobject dest);
REALobject Rotate270(REALobject instance, REALobject dest);

// "Rotate180(dest as PictureXQT=nil) as PictureXQT": pixel (x, y) goes to (Width - 1 - x,
// Height - 1 - y).
REALobject Rotate180(REALobject instance, REALobject dest);
