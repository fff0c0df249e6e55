// Rotation by any angle into a new image sized to the turned bounding box.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// The turn of `angle` degrees, counter-clockwise as shown (the direction of Rotate90).
struct RotationGeometry {
  double cosine = 1, sine = 0;    // exact for multiples of 90 degrees
  int64_t width = 0, height = 0;  // the bounding box of the turned source
};

// False for an angle that is not finite or a box beyond 2^31 pixels a side.
bool RotationFor(double angle, int64_t width, int64_t height, RotationGeometry& geometry);

// Fills `dest` (at least geometry.width x geometry.height, the source's channels) with the turned
// source: bilinear samples with 8-bit weights, `background` (one byte per channel of the
// family, alpha last) where the source does not reach.
void RotateInto(ImageClassData* source, ImageClassData* dest, const RotationGeometry& geometry,
                const uint8_t* background);

// "Rotate(angle as double, Red as integer = 0, Green as integer = 0, Blue as integer = 0, Alpha
// as integer = 0, Gray as integer = 0, Cyan as integer = 0, Magenta as integer = 0, Yellow as
// integer = 0, Black as integer = 0) as PictureXQT"
REALobject RotateAngle(REALobject instance, double angle, int64_t red, int64_t green, int64_t blue,
                       int64_t alpha, int64_t gray, int64_t cyan, int64_t magenta, int64_t yellow,
                       int64_t black);
