// The rectangle and validity checks that the fills and pixel operations start with.
#pragma once

#include <cstdint>

#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "plugin/debug_log.h"

struct ImageRect {
  int64_t x, y, width, height;
};

inline bool CheckValid(const ImageClassData* image) {
  if (image->Valid) return true;
  DebugLog("Picture not valid.");
  return false;
}

// Fixes the rectangle against the image; false when nothing of it is left.
inline bool FixRect(const ImageClassData* image, ImageRect& r) {
  FixImageRectangle(image->Width, image->Height, r.x, r.y, r.width, r.height);
  return r.width >= 1 && r.height >= 1;
}
