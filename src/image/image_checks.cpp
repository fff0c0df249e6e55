#include "image/image_checks.h"

#include <cstdint>

#include "plugin/debug_log.h"

namespace {

// Rectangles come from the application unchecked: sums saturate instead of overflowing.
int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b < 0 ? INT64_MIN : INT64_MAX;
}

void FixSpan(int64_t extent, int64_t& origin, int64_t& length) {
  if (length < 0) {
    origin = SaturatingAdd(origin, length);
    length = length == INT64_MIN ? INT64_MAX : -length;
  }
  if (origin < 0) {
    // A cut longer than the span leaves nothing, not a negative length.
    length = SaturatingAdd(length, origin);
    if (length < 0) length = 0;
    origin = 0;
  }
  if (origin >= extent) {
    // Pinned to the edge: callers compute byte offsets from the origin even when nothing is left.
    origin = extent;
    length = 0;
  } else if (length > extent - origin) {
    length = extent - origin;
  }
}

}  // namespace

bool StartImage(ImageClassData* image, StartCheckOrder order) {
  if (!image) return false;
  bool validityFirst = order == StartCheckOrder::kValidityFirst;
  if (validityFirst && !image->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (!image->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (!validityFirst && !image->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (image->Width < 0) {
    DebugLog("Width is 0");
    return false;
  }
  if (image->Height < 1) {
    DebugLog("Height is 0");
    return false;
  }
  YieldRow(image);
  DebugLog("StartImage ok");
  return true;
}

void FixImageRectangle(int64_t imageWidth, int64_t imageHeight, int64_t& x, int64_t& y,
                       int64_t& width, int64_t& height) {
  DebugLogArgs("Fix", x, y, width, height);
  FixSpan(imageWidth, x, width);
  FixSpan(imageHeight, y, height);
  DebugLogArgs("Fixed", x, y, width, height);
}
