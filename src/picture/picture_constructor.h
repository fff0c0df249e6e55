// A PictureXQT made directly on a host picture's bitmap: no pixels are copied, and writes into
// the image change the picture.
#pragma once

#include "plugin/host_interface.h"

// "Constructor(pic as picture, UseAlpha as boolean=false)". Raises NilObjectException for a nil
// picture and UnsupportedOperationException when the picture has no bitmap the image can use.
// The image keeps the picture in Target, locked, as the owner of the memory. Images on gd
// pictures reach their rows through gd's row table, so they have no Memory block.
void ImageConstructorPicture(REALobject instance, REALpicture pic, RBBoolean useAlpha);
