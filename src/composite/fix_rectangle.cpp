#include "composite/fix_rectangle.h"

#include "plugin/debug_log.h"

namespace {

// Rectangles come from the application unchecked: sums saturate instead of overflowing.
int64_t Add(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b < 0 ? INT64_MIN : INT64_MAX;
}
int64_t Subtract(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b > 0 ? INT64_MIN : INT64_MAX;
}

// One axis through the six steps; each step is its own function because other operations reason
// about them one by one.

// (a) Source columns left of the source's edge do not exist: the rectangle moves with them.
void MoveBySourceOrigin(int64_t& origin, int64_t& length, int64_t& sourceOrigin) {
  if (sourceOrigin >= 0) return;
  length = Add(length, sourceOrigin);
  origin = Add(origin, sourceOrigin);
  sourceOrigin = 0;
}

// (b) A negative size counts back from the origin.
void FlipNegativeSize(int64_t& origin, int64_t& length) {
  if (length >= 0) return;
  origin = Add(origin, length);
  length = Subtract(0, length);
}

// (c) The part left of the destination's edge is cut off, and the source start moves with it.
void CutNegativeOrigin(int64_t& origin, int64_t& length, int64_t& sourceOrigin) {
  if (origin >= 0) return;
  length = Add(length, origin);
  sourceOrigin = Subtract(sourceOrigin, origin);
  origin = 0;
}

// (d) A start at or beyond the destination's edge leaves nothing.
void EmptyBeyondEdge(int64_t extent, int64_t origin, int64_t& length) {
  if (origin >= extent) length = 0;
}

// (e) and (f): the size is cut to what is left of an image after the start.
void CutToExtent(int64_t extent, int64_t origin, int64_t& length) {
  int64_t room = Subtract(extent, origin);
  if (length > room) length = room;
}

void LogRectangle(const char* label, int64_t x, int64_t y, int64_t width, int64_t height,
                  int64_t sourceX, int64_t sourceY, int64_t sourceWidth, int64_t sourceHeight) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld, %lld, %lld, %lld, %lld, %lld, %lld", kDebugPrefix, label,
                static_cast<long long>(x), static_cast<long long>(y), static_cast<long long>(width),
                static_cast<long long>(height), static_cast<long long>(sourceX),
                static_cast<long long>(sourceY), static_cast<long long>(sourceWidth),
                static_cast<long long>(sourceHeight));
  }
}

}  // namespace

void FixRectangleSource(const ImageClassData* dest, int64_t& x, int64_t& y, int64_t& width,
                        int64_t& height, int64_t& sourceX, int64_t& sourceY, int64_t sourceWidth,
                        int64_t sourceHeight) {
  LogRectangle("Fix", x, y, width, height, sourceX, sourceY, sourceWidth, sourceHeight);
  MoveBySourceOrigin(x, width, sourceX);
  MoveBySourceOrigin(y, height, sourceY);
  FlipNegativeSize(x, width);
  FlipNegativeSize(y, height);
  CutNegativeOrigin(x, width, sourceX);
  CutNegativeOrigin(y, height, sourceY);
  EmptyBeyondEdge(dest->Width, x, width);
  EmptyBeyondEdge(dest->Height, y, height);
  CutToExtent(dest->Width, x, width);
  CutToExtent(dest->Height, y, height);
  CutToExtent(sourceWidth, sourceX, width);
  CutToExtent(sourceHeight, sourceY, height);
  LogRectangle("Fixed", x, y, width, height, sourceX, sourceY, sourceWidth, sourceHeight);
}

int64_t GetMinOffset(const ImageClassData* image) {
  int64_t lowest = -1;
  bool found = false;
  auto consider = [&](bool has, int64_t offset) {
    if (has && (!found || offset < lowest)) lowest = offset;
    found = found || has;
  };
  consider(image->HasRed, image->RedOffset);
  consider(image->HasGreen, image->GreenOffset);
  consider(image->HasBlue, image->BlueOffset);
  consider(image->HasGray, image->GrayOffset);
  consider(image->HasAlpha, image->AlphaOffset);
  return lowest;
}
