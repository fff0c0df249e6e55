// Nearest-neighbour scaling: ScaleFast of PictureXQT.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// Fits the whole source into the top-left min(dest size, width x height) pixels of `dest`.
bool ScalePictureFast(ImageClassData* dest, ImageClassData* source, int64_t width, int64_t height);

// "ScaleFast(source as PictureXQT, width as integer, height as integer) as boolean"
RBBoolean ScaleFast(REALobject instance, REALobject source, int64_t width, int64_t height);
