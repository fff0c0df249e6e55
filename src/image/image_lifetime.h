// Closing images: releasing what a record holds.
#pragma once

#include "image/image_class_data.h"

// Releases every host reference the record holds. Safe to call twice.
void ReleaseImageReferences(ImageClassData* image);

// Destructor of PictureXQT.
void ImageDestructor(REALobject instance);
