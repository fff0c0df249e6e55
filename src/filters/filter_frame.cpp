#include "filters/filter_frame.h"

#include <cmath>

#include "image/picture_factory.h"
#include "plugin/host_api.h"

int64_t TruncateToInteger(double value) {
  if (std::isnan(value)) return 0;
  // 2^63 is exact in double; everything below it in magnitude converts without overflow.
  constexpr double kLimit = 9223372036854775808.0;
  if (value >= kLimit) return INT64_MAX;
  if (value < -kLimit) return INT64_MIN;
  return static_cast<int64_t>(value);
}

namespace {

// The checks of the source, in the frame's order.
bool SourceAccepted(ImageClassData* source, SourceBits bits) {
  if (!source->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (bits == SourceBits::kEightOnly && source->BitsPerComponent >= 9) {
    DebugLog("BitsPerComponent > 8 not supported.");
    return false;
  }
  if (!source->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (source->Width < 0) {
    DebugLog("Width is 0");
    return false;
  }
  if (source->Height < 1) {
    DebugLog("Height is 0");
    return false;
  }
  YieldRow(source);
  DebugLog("StartImage ok");
  return true;
}

// The checks of the dest: the same tests in the start-check order, without the turn and the
// "StartImage ok" line the source already gave.
bool DestAccepted(const ImageClassData* dest) {
  if (!dest->GetRow) {
    DebugLog("GetRow is nil");
    return false;
  }
  if (!dest->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (dest->Width < 0) {
    DebugLog("Width is 0");
    return false;
  }
  if (dest->Height < 1) {
    DebugLog("Height is 0");
    return false;
  }
  return true;
}

}  // namespace

bool OpenFilterFrame(REALobject instance, REALobject dest, const char* name, SourceBits bits,
                     FilterFrame& frame) {
  frame = FilterFrame{};
  if (name) DebugLog(name);
  ImageClassData* source = ImageData(instance);
  if (!source || !SourceAccepted(source, bits)) return false;

  REALobject result = dest;
  if (result) {
    // The dest goes back to the host as the result, so it carries a reference of its own.
    LockObject(result);
    DebugLog("dest");
  } else {
    result = CreatePicture(source, source->Width, source->Height, source->ImageFormat);
    if (!result) return false;
  }
  ImageClassData* target = ImageData(result);
  if (!target || !DestAccepted(target)) {
    UnlockObject(result);
    return false;
  }
  frame.source = source;
  frame.dest = target;
  frame.destObject = result;
  return true;
}

REALobject AbandonFilterFrame(FilterFrame& frame) {
  UnlockObject(frame.destObject);
  frame = FilterFrame{};
  return nullptr;
}

bool DestinationFits(const ImageClassData& source, const ImageClassData& dest,
                     const ChannelList& channels) {
  if (dest.Width < source.Width || dest.Height < source.Height) {
    DebugLog("dest smaller than source");
    return false;
  }
  for (int i = 0; i < channels.count; ++i) {
    if (!HasChannel(dest, channels.channels[i])) {
      DebugLog("dest lacks a channel of source");
      return false;
    }
  }
  return true;
}
