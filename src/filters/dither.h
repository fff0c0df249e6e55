// Ordered dither: every channel reduced to evenly spaced levels against a threshold matrix.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// The stored table of matrix `code` (1 ... 10) and its side n; element (r, c) is entry r * n + c.
// Null outside 1 ... 10.
const int64_t* DitherMatrix(int64_t code);
int64_t DitherMatrixSide(int64_t code);

// The dither of `source` into `dest`, after the frame. False refuses the dest (levels below 2, or
// a dest that cannot take the path); an unknown matrix or an unhandled family leaves dest alone.
bool rbDitherFilter(ImageClassData* source, ImageClassData* dest, int64_t matrix, int64_t levels);

// "DitherFilter(dest as PictureXQT, matrix as integer, levels as integer) as PictureXQT"
REALobject DitherFilter(REALobject instance, REALobject dest, int64_t matrix, int64_t levels);
