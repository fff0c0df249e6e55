// The resampling scaler: Scale and ScaleMT of PictureXQT.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// The entry points over records; `temp` is the caller's intermediate image or nil. `threads` is
// handed to RunThreads unchanged. True when the destination was written.
bool PictureScaleXQT(ImageClassData* dest, ImageClassData* source, REALobject temp, int64_t mode,
                     int64_t width, int64_t height);
bool PictureScaleXQTMT(ImageClassData* dest, int64_t threads, ImageClassData* source,
                       REALobject temp, int64_t mode, int64_t width, int64_t height);

// "Scale(source as PictureXQT, temp as PictureXQT, mode as integer, width as integer, height as
// integer) as boolean"
RBBoolean Scale(REALobject instance, REALobject source, REALobject temp, int64_t mode,
                int64_t width, int64_t height);
// "ScaleMT(threads as integer, source as PictureXQT, temp as PictureXQT, mode as integer, width
// as integer, height as integer) as boolean"
RBBoolean ScaleMT(REALobject instance, int64_t threads, REALobject source, REALobject temp,
                  int64_t mode, int64_t width, int64_t height);
