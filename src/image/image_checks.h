// What every pixel operation does before and between rows.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"

// Which of the first two start checks comes first; operations differ, and the first failure is
// the one that is logged.
enum class StartCheckOrder { kRowAccessorFirst, kValidityFirst };

// The start checks: a row accessor ("GetRow is nil") and validity ("Picture not valid.") in the
// given order, a width that is not negative ("Width is 0": a width of 0 passes on purpose), a
// height of at least one ("Height is 0"); then the host gets a turn and "StartImage ok" is
// logged. False, with the debug line, at the first failure; nil is refused.
bool StartImage(ImageClassData* image, StartCheckOrder order = StartCheckOrder::kRowAccessorFirst);

// Gives the host a turn after a row when the application asked for yields.
inline void YieldRow(ImageClassData* image) {
  if (image->YieldTicks != 0) YieldData::DoYield(&image->Yield());
}

// Fixes a rectangle against an image of `imageWidth` x `imageHeight` alone: a negative size flips
// the rectangle, a negative origin is cut off, and the rectangle is cut to the image. Logs "Fix"
// and "Fixed". The result may be empty (a size below 1); the caller decides what that means.
void FixImageRectangle(int64_t imageWidth, int64_t imageHeight, int64_t& x, int64_t& y,
                       int64_t& width, int64_t& height);
