// The frame that every filter taking a `dest as PictureXQT` shares: source checks, the
// destination (given and locked, or made through the factory), destination checks, and the walk
// over the rows.
#pragma once

#include <cstdint>

#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/pixel_channels.h"
#include "plugin/debug_log.h"
#include "plugin/host_interface.h"

// A double truncated toward zero as the filters' formulas cast to an integer. Values beyond the
// 64-bit range saturate and NaN gives 0: the platform cast is undefined there, and every caller
// clamps to a byte afterwards, so this keeps +inf bright and -inf dark.
int64_t TruncateToInteger(double value);

// What the frame hands to the per-family work.
struct FilterFrame {
  ImageClassData* source = nullptr;
  ImageClassData* dest = nullptr;
  REALobject destObject = nullptr;  // the result: one reference, for the caller
};

enum class SourceBits : bool { kAny, kEightOnly };

// Logs `name` (unless null: the caller logged its own entry line), checks the source (its
// BitsPerComponent only with kEightOnly), locks the given dest or makes one of the source's size
// and format through the source's factory, and checks the dest. False, with nothing held, when
// a step fails.
bool OpenFilterFrame(REALobject instance, REALobject dest, const char* name, SourceBits bits,
                     FilterFrame& frame);

// True when `dest` can take what a path writes from `source`: at least the source's size and every
// channel in `channels`. Otherwise a debug line and false. Callers check before writing anything.
bool DestinationFits(const ImageClassData& source, const ImageClassData& dest,
                     const ChannelList& channels);

// Drops the frame's reference to the dest; returns nil for the caller to return.
REALobject AbandonFilterFrame(FilterFrame& frame);

// Runs a whole filter in the frame: `work(source, dest)` does the per-family work and returns
// false to refuse the destination. The result is the dest, or nil with the reference dropped.
template <class Work>
REALobject RunFilter(REALobject instance, REALobject dest, const char* name, SourceBits bits,
                     Work&& work) {
  FilterFrame frame;
  if (!OpenFilterFrame(instance, dest, name, bits, frame)) return nullptr;
  if (!work(frame.source, frame.dest)) return AbandonFilterFrame(frame);
  return frame.destObject;
}

// Walks the source's rows top to bottom: fetches dest row y, then source row y, and calls
// `mapRow(y, sourceRow, destRow)`; the host gets a turn after each row. A row that cannot be
// fetched (a file mapping that failed) ends the walk with a debug line.
template <class MapRow>
void ForEachFilterRow(ImageClassData* source, ImageClassData* dest, MapRow&& mapRow) {
  for (int64_t y = 0; y < source->Height; ++y) {
    uint8_t* to = dest->GetRow(dest, y);
    const uint8_t* from = source->GetRow(source, y);
    if (!to || !from) {
      DebugLog("Row not available", static_cast<long long>(y));
      return;
    }
    mapRow(y, from, to);
    YieldRow(source);
  }
}
