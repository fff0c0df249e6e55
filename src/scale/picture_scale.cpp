#include "scale/picture_scale.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "image/image_checks.h"
#include "image/picture_factory.h"
#include "image/pixel_formats.h"
#include "platform/threads.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"
#include "scale/run_threads.h"
#include "scale/scale_engine.h"
#include "scale/scale_filters.h"
#include "scale/scale_pairs.h"
#include "scale/work_sharing.h"

namespace {

// Threads of the pool are named by a kernel only when it runs a numbered slice inline, which the
// slicing never does; the rule is kept for a scheduler that would.
void NameThread(const char* pass, int64_t threadIndex, int8_t flag) {
  if (threadIndex < 0 || flag != 0) return;
  char name[32];
  std::snprintf(name, sizeof(name), "%s %d", pass, static_cast<int>(threadIndex));
  platform::SetCurrentThreadName(name);
}

void LogPairStep(const ScalePair& pair, const char* suffix) {
  if (Debugging()) LogMessageX("%s%s_Scale%s", kDebugPrefix, pair.name, suffix);
}

void HorizontalJob(int64_t first, int64_t last, int64_t threadIndex, int8_t flag,
                   const void* context) {
  NameThread("PictureScale Horizontal", threadIndex, flag);
  if (first > last) return;
  const auto& scale = *static_cast<const ScaleContext*>(context);
  LogPairStep(*scale.plan->pair, "3mt");
  HorizontalRows(scale, first, last, nullptr);
}

void VerticalJob(int64_t first, int64_t last, int64_t threadIndex, int8_t flag,
                 const void* context) {
  NameThread("PictureScale Vertical", threadIndex, flag);
  const auto& scale = *static_cast<const ScaleContext*>(context);
  if (first <= last) {
    LogPairStep(*scale.plan->pair, "6mt");
    VerticalRows(scale, first, last, nullptr);
  }
  DebugLog("function 6 done");
}

// The scaler checks validity before the row accessor.
bool CheckImage(ImageClassData* image) {
  return StartImage(image, StartCheckOrder::kValidityFirst);
}

YieldData* InlineYield(ImageClassData* dest, ImageClassData* source, ImageClassData* temp) {
  for (ImageClassData* image : {dest, source, temp}) {
    if (image->YieldTicks != 0) return &image->Yield();
  }
  return nullptr;
}

void LogFactor(const char* label, double value) {
  if (Debugging()) LogMessageX("%s%s %f", kDebugPrefix, label, value);
}

// Owns the contribution array of a call and the blocks of its lists.
struct ContributionArray {
  ContributionList* lists = nullptr;
  int64_t count = 0;
  ~ContributionArray() { Reset(); }
  void Reset() {
    if (lists) FreeContributions(lists, count);
    std::free(lists);
    lists = nullptr;
    count = 0;
  }
  bool Allocate(int64_t n) {
    lists = static_cast<ContributionList*>(std::calloc(static_cast<size_t>(n), sizeof(*lists)));
    count = lists ? n : 0;
    return lists != nullptr;
  }
};

// Releases a temp the call made, on every way out.
struct MadeTemp {
  REALobject object = nullptr;
  ~MadeTemp() { UnlockObject(object); }
};

// ---- The temp as a ring of rows --------------------------------------------------------------
//
// A temp that no one else sees (no caller's, no factory's) is never made whole. Each slice takes
// destination rows a band at a time and runs both passes itself: the horizontal pass makes the
// temp rows the band's windows need and have not been made yet, into a ring that holds the widest
// band's window, and the vertical pass reads them back while they are still in cache. The sums
// are those of the whole temp, row by row, so the bytes are the same; rows that two bands of
// different slices share are made by both.
//
// The slices also build the lists: the column lists in chunks before any row, each band's row
// lists when the band is taken. Bands go out as the slices ask (RowClaims), so that a slice that
// starts late or runs slow is helped by the others instead of being waited for.

constexpr int64_t kBandRows = 64;
constexpr int64_t kListChunk = 256;  // column lists per set-up chunk

int64_t ListChunks(int64_t lists) { return (lists + kListChunk - 1) / kListChunk; }
// The last list of `chunk` out of `lists`.
int64_t ChunkEnd(int64_t chunk, int64_t lists) {
  return std::min(lists, (chunk + 1) * kListChunk) - 1;
}

struct RingTemp {
  ImageClassData image;  // first, so that the row accessor finds the ring from the record
  uint8_t* rows;
  int64_t capacity;
};

uint8_t* RingRow(ImageClassData* image, int64_t y) {
  auto* ring = reinterpret_cast<RingTemp*>(image);
  if (y < 0 || y >= image->Height || ring->capacity == 0) return nullptr;
  return ring->rows + (y % ring->capacity) * image->RowSize;
}

// A ring of `capacity` rows that keeps rows validLow ... made; false when it cannot be had.
bool GrowRing(RingTemp* ring, int64_t capacity, int64_t validLow, int64_t made) {
  const auto rowSize = static_cast<size_t>(ring->image.RowSize);
  auto* rows = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(capacity) * rowSize));
  if (!rows) return false;
  for (int64_t y = validLow; y <= made; ++y) {
    std::memcpy(rows + static_cast<size_t>(y % capacity) * rowSize,
                ring->rows + static_cast<size_t>(y % ring->capacity) * rowSize, rowSize);
  }
  std::free(ring->rows);
  ring->rows = rows;
  ring->capacity = capacity;
  return true;
}

// What the slices of one ring scale share. The set-up steps and the claims change as the slices
// run; everything else is read-only.
struct FusedScale {
  explicit FusedScale(int64_t columnCount)
      : columnChunks(ListChunks(columnCount)),
        shapeStep(1),
        paddedChunks(ListChunks(columnCount)) {}
  ScaleContext horizontal;  // temp replaced by each slice's ring
  ScaleContext vertical;
  int64_t tempFormat = 0;
  int64_t blockRows = 1;  // the temp rows the horizontal pass makes at once
  const ScaleFilter* filter = nullptr;
  double xScale = 1;
  double yScale = 1;
  mutable SharedChunks columnChunks;
  mutable SharedChunks shapeStep;
  mutable SharedChunks paddedChunks;
  mutable PaddedContributions padded;
  mutable bool paddedReady = false;  // written by the shape step, read after it
  mutable RowClaims claims;
  mutable std::atomic<bool> failed{false};
};

// The temp rows destination row y reads, or false when its list is empty.
bool WindowOf(const ContributionList& list, int64_t* low, int64_t* high) {
  *low = INT64_MAX;
  *high = -1;
  for (int64_t i = 0; i < list.count; ++i) {
    if (list.contributions[i].weight == 0) continue;
    *low = std::min(*low, list.contributions[i].pixel);
    *high = std::max(*high, list.contributions[i].pixel);
  }
  return *high >= 0;
}

bool BandWindow(const ContributionList* lists, int64_t first, int64_t last, int64_t* low,
                int64_t* high) {
  *low = INT64_MAX;
  *high = -1;
  for (int64_t y = first; y <= last; ++y) {
    int64_t rowLow, rowHigh;
    if (!WindowOf(lists[y], &rowLow, &rowHigh)) continue;
    *low = std::min(*low, rowLow);
    *high = std::max(*high, rowHigh);
  }
  return *high >= 0;
}

// The column lists and their padded form, shared by every slice, before the first row.
void SetUpColumns(const FusedScale& fused, YieldData* yield) {
  ContributionList* columns = fused.horizontal.contrib;
  const int64_t width = fused.horizontal.width;
  const ImageClassData& source = *fused.horizontal.source;
  fused.columnChunks.Run([&](int64_t chunk) {
    FillContributions(columns, chunk * kListChunk, ChunkEnd(chunk, width), fused.xScale,
                      source.Width, *fused.filter, EnlargeBounds::kFloorCeil, yield);
  });
  fused.shapeStep.Run([&](int64_t) { fused.paddedReady = fused.padded.Shape(columns, width); });
  fused.paddedChunks.Run([&](int64_t chunk) {
    if (!fused.paddedReady) return;
    fused.padded.Fill(columns, chunk * kListChunk, ChunkEnd(chunk, width));
  });
}

void FusedRows(const FusedScale& fused, int64_t slice, YieldData* yield) {
  SetUpColumns(fused, yield);
  const ImageClassData& source = *fused.horizontal.source;
  const int64_t width = fused.horizontal.width;
  const int64_t pixelSize = fused.horizontal.plan->pair->TempPixelSize();
  RingTemp ring{};
  ring.image.Width = width;
  ring.image.Height = source.Height;
  ring.image.UnclippedHeight = source.Height;
  ring.image.PixelSize = pixelSize;
  ring.image.RowSize = width * pixelSize;
  ring.image.ImageFormat = fused.tempFormat;
  ring.image.Valid = true;
  ring.image.GetRow = &RingRow;
  ScaleContext horizontal = fused.horizontal;
  ScaleContext vertical = fused.vertical;
  horizontal.temp = vertical.temp = &ring.image;
  horizontal.padded = fused.paddedReady ? &fused.padded : nullptr;
  ContributionList* rows = vertical.contrib;
  // Rows validLow ... made are in the ring.
  int64_t validLow = 0, made = -1;
  int64_t first, last;
  while (fused.claims.Next(slice, kBandRows, &first, &last)) {
    FillContributions(rows, first, last, fused.yScale, source.Height, *fused.filter,
                      EnlargeBounds::kTruncate, yield);
    int64_t low, high;
    if (BandWindow(rows, first, last, &low, &high)) {
      // The horizontal pass makes rows in whole blocks; a band's last block runs on ahead.
      const int64_t capacity = high - low + fused.blockRows;
      if (capacity > ring.capacity && !GrowRing(&ring, capacity, validLow, made)) {
        DebugLog("Out of memory for the temp rows");
        fused.failed.store(true);
        return;
      }
      const int64_t from = low < validLow || low > made + 1 ? low : made + 1;
      if (from == low) validLow = low;
      if (high >= from) {
        const int64_t blocks = (high - from + fused.blockRows) / fused.blockRows;
        made = std::min(source.Height - 1, from + blocks * fused.blockRows - 1);
        HorizontalRows(horizontal, from, made, yield);
        validLow = std::max(validLow, made - ring.capacity + 1);
      }
    }
    VerticalRows(vertical, first, last, yield);
  }
  std::free(ring.rows);
}

void FusedJob(int64_t first, int64_t last, int64_t threadIndex, int8_t flag, const void* context) {
  NameThread("PictureScale", threadIndex, flag);
  const auto& fused = *static_cast<const FusedScale*>(context);
  if (first <= last) LogPairStep(*fused.horizontal.plan->pair, "36mt");
  FusedRows(fused, threadIndex < 0 ? 0 : threadIndex, nullptr);
}

// The whole of a scale whose temp is a ring of rows in each slice.
bool RingScale(const ScalePair& pair, const ScaleFilter& filter, bool threaded, int64_t threads,
               ImageClassData* dest, ImageClassData* source, int64_t width, int64_t height) {
  LogPairStep(pair, "7");
  if (!CheckImage(source) || !CheckImage(dest)) return false;
  if (dest->Width < width || dest->Height < height) {
    DebugLog("Destination smaller than the scaled size");
    return false;
  }
  const double xScale = static_cast<double>(width) / static_cast<double>(source->Width);
  const double yScale = static_cast<double>(height) / static_cast<double>(source->Height);
  ContributionArray columns, rows;
  FusedScale fused(width);
  if (!columns.Allocate(width) || !rows.Allocate(height) ||
      !fused.claims.Start(height, threaded ? SliceCount(threads) : 1)) {
    DebugLog("Out of memory for contributions");
    return false;
  }
  LogFactor("xScale*1000", xScale);
  LogFactor("yScale*1000", yScale);
  YieldData* yield = threaded ? nullptr : InlineYield(dest, source, source);
  LogPairStep(pair, xScale >= 1 ? "2" : "1");
  AllocateContributions(columns.lists, width, xScale, filter);
  if (yScale >= 1) {
    LogPairStep(pair, "5");
    LogFactor("wdth*1000", 1000 * filter.radius);
  } else {
    LogPairStep(pair, "4");
  }
  AllocateContributions(rows.lists, height, yScale, filter);
  PairPlan plan = MakePairPlan(pair, *source, *dest);
  fused.horizontal = {source, dest, height, width, nullptr, columns.lists, &plan, nullptr};
  fused.vertical = {source, dest, height, width, nullptr, rows.lists, &plan, nullptr};
  fused.tempFormat = pair.tempFormat;
  fused.blockRows = HorizontalBlockRows(plan, pair.TempPixelSize());
  fused.filter = &filter;
  fused.xScale = xScale;
  fused.yScale = yScale;
  if (threaded) {
    RunThreads(threads, height, &fused, &FusedJob);
  } else {
    FusedRows(fused, 0, yield);
  }
  DebugLog("function 6 done");
  return !fused.failed.load();
}

// One filter over one pair: the whole of a scale once the arguments are checked. `threads` is
// used when `threaded`.
bool FilterScale(const ScaleFilter& filter, bool threaded, int64_t threads, ImageClassData* dest,
                 ImageClassData* source, REALobject tempObject, int64_t width, int64_t height) {
  const ScalePair* pair = ChooseScalePair(*source, *dest);
  if (!pair) return false;
  if (Debugging()) {
    LogMessageX("%s%s_Scale %lld, %lld", kDebugPrefix, pair->name, static_cast<long long>(width),
                static_cast<long long>(height));
  }
  DebugLog("sizeof(MyPixel)", static_cast<long long>(pair->TempPixelSize()));
  DebugLog("Creating PictureReader");

  if (!tempObject && !FactoryInstalled(source)) {
    DebugLog("Create temp picture");
    return RingScale(*pair, filter, threaded, threads, dest, source, width, height);
  }
  MadeTemp made;
  if (!tempObject) {
    DebugLog("Create temp picture");
    made.object = CreatePicture(source, width, source->Height, pair->tempFormat);
    if (!made.object) {
      DebugLog("CreatePicture returned nil");
      return false;
    }
    const ImageClassData* madeImage = ImageData(made.object);
    if (!madeImage->Valid) {
      DebugLog("CreatePicture gave invalid picture");
      return false;
    }
    bool fallBack = false;
    if (madeImage->ImageFormat != pair->tempFormat) {
      DebugLog("CreatePicture gave invalid format");
      if (!threaded) return false;
      fallBack = true;
    } else if (threaded && madeImage->IsMapping) {
      DebugLog("CreatePicture gave mapping picture");
      fallBack = true;
    }
    if (fallBack) {
      return PictureScaleXQT(dest, source, made.object, filter.mode, width, height);
    }
    tempObject = made.object;
  }
  LogPairStep(*pair, "7");
  ImageClassData* temp = ImageData(tempObject);

  if (!CheckImage(source) || !CheckImage(dest) || !CheckImage(temp)) return false;
  // Nothing is written outside an image: the destination must hold the result and the temp the
  // pair's samples for every source row.
  if (dest->Width < width || dest->Height < height) {
    DebugLog("Destination smaller than the scaled size");
    return false;
  }
  if (temp->PixelSize < pair->TempPixelSize() || temp->Width < width ||
      temp->Height < source->Height) {
    DebugLog("Temp picture too small");
    return false;
  }

  const double xScale = static_cast<double>(width) / static_cast<double>(source->Width);
  const double yScale = static_cast<double>(height) / static_cast<double>(source->Height);
  ContributionArray contrib;
  if (!contrib.Allocate(width)) {
    DebugLog("Out of memory for contributions");
    return false;
  }
  DebugLogPointer("contrib", contrib.lists);
  LogFactor("xScale*1000", xScale);
  LogFactor("yScale*1000", yScale);
  YieldData* yield = threaded ? nullptr : InlineYield(dest, source, temp);

  LogPairStep(*pair, xScale >= 1 ? "2" : "1");
  BuildContributions(contrib.lists, width, xScale, source->Width, filter, EnlargeBounds::kFloorCeil,
                     yield);
  PairPlan plan = MakePairPlan(*pair, *source, *dest);
  PaddedContributions padded;
  bool paddedReady = padded.Build(contrib.lists, width);
  ScaleContext context{source, dest,          height, width,
                       temp,   contrib.lists, &plan,  paddedReady ? &padded : nullptr};

  LogPairStep(*pair, "3");
  if (threaded) {
    RunThreads(threads, source->Height, &context, &HorizontalJob);
  } else {
    HorizontalRows(context, 0, source->Height - 1, yield);
  }

  FreeContributions(contrib.lists, contrib.count);
  if (height > width) {
    contrib.Reset();
    if (!contrib.Allocate(height)) {
      DebugLog("Out of memory for contributions");
      return false;
    }
  }
  if (yScale >= 1) {
    LogPairStep(*pair, "5");
    LogFactor("wdth*1000", 1000 * filter.radius);
  } else {
    LogPairStep(*pair, "4");
  }
  BuildContributions(contrib.lists, height, yScale, source->Height, filter,
                     EnlargeBounds::kTruncate, yield);
  context.contrib = contrib.lists;
  context.padded = nullptr;

  LogPairStep(*pair, "6");
  if (threaded) {
    RunThreads(threads, height, &context, &VerticalJob);
  } else {
    VerticalRows(context, 0, height - 1, yield);
    DebugLog("function 6 done");
  }
  return true;
}

// The filter functions, one per mode.
#define XQT_FILTER_FUNCTIONS(name, mode)                                                          \
  bool name##PictureScale(ImageClassData* dest, ImageClassData* source, REALobject temp,          \
                          int64_t width, int64_t height) {                                        \
    return FilterScale(*FindScaleFilter(mode), false, 0, dest, source, temp, width, height);      \
  }                                                                                               \
  bool name##PictureScaleMT(ImageClassData* dest, int64_t threads, ImageClassData* source,        \
                            REALobject temp, int64_t width, int64_t height) {                     \
    return FilterScale(*FindScaleFilter(mode), true, threads, dest, source, temp, width, height); \
  }
XQT_FILTER_FUNCTIONS(triangle, ScaleTriangle)
XQT_FILTER_FUNCTIONS(box, ScaleBox)
XQT_FILTER_FUNCTIONS(lanczos3, ScaleLanczos3)
XQT_FILTER_FUNCTIONS(lanczos8, ScaleLanczos8)
XQT_FILTER_FUNCTIONS(mitchell, ScaleMitchell)
XQT_FILTER_FUNCTIONS(poly3, ScalePoly3)
XQT_FILTER_FUNCTIONS(cubic, ScaleCubic)
#undef XQT_FILTER_FUNCTIONS

using FilterFunction = bool (*)(ImageClassData*, ImageClassData*, REALobject, int64_t, int64_t);
using FilterFunctionMT = bool (*)(ImageClassData*, int64_t, ImageClassData*, REALobject, int64_t,
                                  int64_t);

constexpr FilterFunction kFilterFunctions[] = {
    &trianglePictureScale, &boxPictureScale,   &lanczos3PictureScale, &lanczos8PictureScale,
    &mitchellPictureScale, &poly3PictureScale, &cubicPictureScale,
};
constexpr FilterFunctionMT kFilterFunctionsMT[] = {
    &trianglePictureScaleMT, &boxPictureScaleMT,   &lanczos3PictureScaleMT, &lanczos8PictureScaleMT,
    &mitchellPictureScaleMT, &poly3PictureScaleMT, &cubicPictureScaleMT,
};

bool ValidMode(int64_t mode) {
  if (mode >= ScaleTriangle && mode <= ScaleCubic) return true;
  if (Debugging()) {
    LogMessageX("%s%s %lld", kDebugPrefix, "Invalid mode", static_cast<long long>(mode));
  }
  return false;
}

}  // namespace

bool PictureScaleXQT(ImageClassData* dest, ImageClassData* source, REALobject temp, int64_t mode,
                     int64_t width, int64_t height) {
  if (!dest) {
    DebugLog("dest is nil");
    return false;
  }
  if (!source) {
    DebugLog("source is nil");
    return false;
  }
  if (height < 1) {
    DebugLog("pDestHeight < 1");
    return false;
  }
  if (width < 1) {
    DebugLog("pDestWidth < 1");
    return false;
  }
  if (!ValidMode(mode)) return false;
  return kFilterFunctions[mode - 1](dest, source, temp, width, height);
}

bool PictureScaleXQTMT(ImageClassData* dest, int64_t threads, ImageClassData* source,
                       REALobject temp, int64_t mode, int64_t width, int64_t height) {
  if (!dest || !source || height < 1 || width < 1) return false;
  if (!ValidMode(mode)) return false;
  // A mapped image pages its rows through one window and cannot be read from several threads;
  // that holds for a caller's temp as much as for the source and the destination.
  const ImageClassData* tempImage = ImageData(temp);
  if (source->IsMapping || dest->IsMapping || (tempImage && tempImage->IsMapping)) {
    return PictureScaleXQT(dest, source, temp, mode, width, height);
  }
  return kFilterFunctionsMT[mode - 1](dest, threads, source, temp, width, height);
}

RBBoolean Scale(REALobject instance, REALobject source, REALobject temp, int64_t mode,
                int64_t width, int64_t height) {
  return PictureScaleXQT(ImageData(instance), ImageData(source), temp, mode, width, height);
}

RBBoolean ScaleMT(REALobject instance, int64_t threads, REALobject source, REALobject temp,
                  int64_t mode, int64_t width, int64_t height) {
  return PictureScaleXQTMT(ImageData(instance), threads, ImageData(source), temp, mode, width,
                           height);
}
