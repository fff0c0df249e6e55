#include "geometry/turns.h"

#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

#include "geometry/turn_kernels.h"
#include "geometry/turn_pixels.h"
#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/image_views.h"
#include "image/picture_factory.h"
#include "image/pixel_channels.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

bool StartTurnSource(ImageClassData* image) {
  if (!image->Valid) {
    DebugLog("Picture not valid.");
    return false;
  }
  if (image->BitsPerComponent >= 9) {
    DebugLog("BitsPerComponent > 8 not supported.");
    return false;
  }
  return StartImage(image);
}

namespace {

// Side of the square blocks of in-memory turns: the source and destination rows of a block stay
// in the second-level cache. Measured best between 32 and 256 on 6000 x 4000 RGBA.
constexpr int64_t kCacheTile = 128;

// Source rows in a band of the band kernel: their pixels fill 64 bytes, a cache line, of every
// destination row.
constexpr int64_t kBandRows = 16;

// Destinations from this size on are streamed past the caches: they would not stay there anyway,
// and a line written whole is then not read first. Below it, the caller finds the result cached.
// Measured on RGBA: the two ways equal at 3.8 MB, streaming a third faster at 8 MB.
constexpr int64_t kStreamBytes = int64_t{4} << 20;

enum class Turn : uint8_t { kCounterClockwise, kClockwise, kHalf };

struct TurnKind {
  const char* entry;
  Turn turn;
  bool tiled;
  FamilyLabels labels;
};

constexpr TurnKind kRotate90Tiled = {
    "Rotate90fast",
    Turn::kCounterClockwise,
    true,
    {"Rotate90G", "Rotate90GA", "Rotate90RGB", "Rotate90RGBA", "Rotate90CMYK", "Rotate90CMYKA"}};
constexpr TurnKind kRotate90Rows = {"Rotate90", Turn::kCounterClockwise, false,
                                    kRotate90Tiled.labels};
constexpr TurnKind kRotate270Tiled = {"Rotate270fast",
                                      Turn::kClockwise,
                                      true,
                                      {"Rotate270G", "Rotate270GA", "Rotate270RGB", "Rotate270RGBA",
                                       "Rotate270CMYK", "Rotate270CMYKA"}};
constexpr TurnKind kRotate270Rows = {"Rotate270", Turn::kClockwise, false, kRotate270Tiled.labels};
constexpr TurnKind kRotate180 = {"Rotate180",
                                 Turn::kHalf,
                                 false,
                                 {"Rotate180G", "Rotate180GA", "Rotate180RGB", "Rotate180RGBA",
                                  "Rotate180CMYK", "Rotate180CMYKA"}};

// Why `dest` cannot take the turned image, or null when it can; fills `to` with its channels.
const char* DestinationProblem(const ImageClassData* dest, const ImageClassData* source,
                               int64_t width, int64_t height, PixelFamily family, ChannelSet* to) {
  if (!dest) return "Destination is nil";
  if (!dest->GetRow) return "GetRow is nil";
  if (!dest->Valid) return "Picture not valid.";
  if (dest->Width < 0) return "Width is 0";
  if (dest->Height < 1) return "Height is 0";
  // One record has one mapped band: reading and writing through it would leave row addresses
  // dangling, and the turn would read pixels it has already overwritten.
  if (dest == source) return "Destination is the source.";
  // A view of the source (or the source seen through a view) would be overwritten while read.
  if (SharesStorage(dest, source)) return "Destination shares the source's storage.";
  if (dest->Width < width || dest->Height < height) return "Destination too small.";
  if (family != PixelFamily::kNone && !MatchingChannels(*dest, family, to)) {
    return "Destination lacks the source's channels.";
  }
  return nullptr;
}

// The destination with one reference for the caller, checked, or nil: a given one is locked
// because it goes back to the host, a missing one comes from the source's factory.
REALobject AcquireDestination(REALobject dest, ImageClassData* source, int64_t width,
                              int64_t height, PixelFamily family, ChannelSet* to) {
  REALobject result = dest;
  if (result) {
    LockObject(result);
  } else {
    result = CreatePicture(source, width, height, source->ImageFormat);
    if (!result) {
      DebugLog("CreatePicture failed");
      return nullptr;
    }
  }
  if (const char* problem =
          DestinationProblem(ImageData(result), source, width, height, family, to)) {
    DebugLog(problem);
    if (Debugging()) {
      const ImageClassData* image = ImageData(result);
      DebugLogArgs("Destination needs", width, height, image ? image->Width : -1,
                   image ? image->Height : -1);
    }
    UnlockObject(result);
    return nullptr;
  }
  return result;
}

// Destination rows through a table fetched once (rows in memory stay put).
struct TableRows {
  uint8_t* const* rows;
  uint8_t* operator()(int64_t y) const { return rows[y]; }
};

// Destination rows fetched for every pixel: a mapped band may move with each fetch.
struct FetchedRows {
  ImageClassData* image;
  uint8_t* operator()(int64_t y) const { return image->GetRow(image, y); }
};

// One source row of a block: pixels x0 ... x1 - 1 of source row y to their destination rows.
template <class Rows, class Mover>
void TurnRowOfBlock(const uint8_t* row, int64_t y, int64_t x0, int64_t x1, int64_t width,
                    int64_t height, int64_t pixelSize, int64_t destPixelSize, bool clockwise,
                    const Rows& rows, const Mover& mover) {
  if (clockwise) {
    const int64_t column = (height - 1 - y) * destPixelSize;
    for (int64_t x = x0; x < x1; ++x) {
      if (uint8_t* dest = rows(x)) mover.Copy(row + x * pixelSize, dest + column);
    }
  } else {
    // Destination rows ascending, so that a mapped destination's band only moves forward.
    const int64_t column = y * destPixelSize;
    for (int64_t x = x1 - 1; x >= x0; --x) {
      if (uint8_t* dest = rows(width - 1 - x)) mover.Copy(row + x * pixelSize, dest + column);
    }
  }
}

// Four source rows of a block of 4-byte pixels, both images in memory: 4 x 4 blocks through the
// vector kernel, the columns left over pixel by pixel. False when a row is missing.
bool TurnFourRowsOfBlock(const uint8_t* const rowsIn[4], int64_t y, int64_t x0, int64_t x1,
                         int64_t width, int64_t height, bool clockwise, const TableRows& rows,
                         const WholePixelMover<4>& mover) {
  int64_t x = x0;
  for (; x + 4 <= x1; x += 4) {
    const uint8_t* source[4];
    uint8_t* dest[4];
    for (int k = 0; k < 4; ++k) {
      source[k] = rowsIn[k] + x * 4 + mover.fromBase;
      uint8_t* destRow = clockwise ? rows(x + k) : rows(width - 1 - x - k);
      if (!destRow) return false;
      dest[k] = destRow + (clockwise ? height - 4 - y : y) * 4 + mover.toBase;
    }
    TurnBlock4(source, dest, clockwise);
  }
  for (int k = 0; k < 4; ++k) {
    TurnRowOfBlock(rowsIn[k], y + k, x, x1, width, height, 4, 4, clockwise, rows, mover);
  }
  return true;
}

// Walks source rows begin ... end - 1 in blocks of `tile` x `tile` pixels: for each source row of
// a block, the block's pixels go to `tile` destination rows. One block as large as the image is
// the row-by-row turn. `vector`: both images in memory, pixels of 4 bytes moved whole.
template <class Rows, class Mover>
void TurnBlocks(ImageClassData* source, int64_t begin, int64_t end, int64_t destPixelSize,
                bool clockwise, int64_t tile, bool vector, const Rows& rows, const Mover& mover) {
  const int64_t width = source->Width, height = source->Height;
  const int64_t pixelSize = source->PixelSize;
  for (int64_t y0 = begin; y0 < end; y0 += tile) {
    const int64_t y1 = end - y0 > tile ? y0 + tile : end;
    for (int64_t x0 = 0; x0 < width; x0 += tile) {
      const int64_t x1 = width - x0 > tile ? x0 + tile : width;
      int64_t y = y0, last = y1;
      if constexpr (std::is_same_v<Rows, TableRows> && std::is_same_v<Mover, WholePixelMover<4>>) {
        // Groups of four rows; clockwise from the bottom up, so that each destination row is
        // written front to back. The rows left over (or of a failed group) go one by one.
        const int64_t groups = vector ? (y1 - y0) / 4 : 0;
        for (int64_t g = 0; g < groups; ++g) {
          const int64_t first = clockwise ? y1 - 4 * (g + 1) : y0 + 4 * g;
          const uint8_t* four[4];
          for (int k = 0; k < 4; ++k) four[k] = source->GetRow(source, first + k);
          if (!four[0] || !four[1] || !four[2] || !four[3] ||
              !TurnFourRowsOfBlock(four, first, x0, x1, width, height, clockwise, rows, mover)) {
            break;
          }
          if (clockwise) {
            last = first;
          } else {
            y = first + 4;
          }
          YieldRow(source);
        }
      }
      for (; y < last; ++y) {
        if (const uint8_t* row = source->GetRow(source, y)) {
          TurnRowOfBlock(row, y, x0, x1, width, height, pixelSize, destPixelSize, clockwise, rows,
                         mover);
        } else {
          DebugLogRowMissing(y);
        }
        YieldRow(source);
      }
    }
  }
}

// Both images in memory, pixels of 4 bytes moved whole, every destination row present: bands of
// 16 source rows through the band kernel, placed so that their runs start on a cache line of the
// destination. The source rows outside the bands, and the bands with a missing row, go by blocks.
void TurnInBands(ImageClassData* source, bool clockwise, TurnBandProc kernel, const TableRows& rows,
                 const WholePixelMover<4>& mover) {
  const int64_t width = source->Width, height = source->Height;
  // In destination columns: lead ... lead + 16 x bands - 1 are the bands'.
  const uintptr_t start =
      reinterpret_cast<uintptr_t>(rows(0)) + static_cast<uintptr_t>(mover.toBase);
  int64_t lead = start % 4 == 0 ? static_cast<int64_t>((64 - start % 64) % 64 / 4) : 0;
  if (lead > height) lead = height;
  const int64_t bands = (height - lead) / kBandRows;
  // The image is in memory, so its byte count fits.
  const bool stream = width * height * 4 >= kStreamBytes;
  // The source rows of destination columns c0 ... c1 - 1.
  auto byBlocks = [&](int64_t c0, int64_t c1) {
    if (c0 >= c1) return;
    TurnBlocks(source, clockwise ? height - c1 : c0, clockwise ? height - c0 : c1, 4, clockwise,
               kCacheTile, true, rows, mover);
  };
  byBlocks(0, lead);
  for (int64_t b = 0; b < bands; ++b) {
    const int64_t column = lead + b * kBandRows;
    const uint8_t* band[kBandRows];
    bool complete = true;
    for (int64_t k = 0; k < kBandRows && complete; ++k) {
      const uint8_t* row = source->GetRow(source, clockwise ? height - 1 - column - k : column + k);
      complete = row != nullptr;
      if (row) band[k] = row + mover.fromBase;
    }
    if (!complete) {
      byBlocks(column, column + kBandRows);
      continue;
    }
    kernel(band, rows.rows, column * 4 + mover.toBase, width, clockwise, stream);
    for (int64_t k = 0; k < kBandRows; ++k) YieldRow(source);
  }
  byBlocks(lead + bands * kBandRows, height);
}

// The tile side of a turn with a mapped image: a block of source rows and the destination rows
// it writes each fit in the band of their image (fetching a row outside the band maps a band
// that starts two rows above it). At least one, so that tiny bands still make progress.
int64_t BandTile(const ImageClassData* source, const ImageClassData* dest) {
  int64_t tile = INT64_MAX;
  for (const ImageClassData* image : {source, dest}) {
    if (image->IsMapping && image->MappingRows - 2 < tile) tile = image->MappingRows - 2;
  }
  return tile < 1 ? 1 : tile;
}

template <class Mover>
void QuarterTurn(ImageClassData* source, ImageClassData* dest, bool clockwise, bool tiled,
                 const Mover& mover) {
  const int64_t width = source->Width, height = source->Height;
  if (width < 1) {
    for (int64_t y = 0; y < height; ++y) source->GetRow(source, y);
    return;
  }
  const bool inMemory = !source->IsMapping && !dest->IsMapping;
  int64_t tile;
  if (!tiled) {
    tile = width > height ? width : height;
  } else if (inMemory) {
    tile = kCacheTile;
  } else {
    tile = BandTile(source, dest);
    dest->GetRow(dest, 0);
    source->GetRow(source, 0);
  }
  const int64_t destPixelSize = dest->PixelSize;
  if (!dest->IsMapping) {
    std::unique_ptr<uint8_t*[]> table(new (std::nothrow) uint8_t*[static_cast<size_t>(width)]);
    if (table) {
      bool complete = true;
      for (int64_t y = 0; y < width; ++y) {
        table[y] = dest->GetRow(dest, y);
        complete = complete && table[y];
      }
      const TableRows rows{table.get()};
      if constexpr (std::is_same_v<Mover, WholePixelMover<4>>) {
        TurnBandProc kernel = tiled && inMemory && complete ? ActiveTurnBand() : nullptr;
        if (kernel) {
          TurnInBands(source, clockwise, kernel, rows, mover);
          return;
        }
      }
      TurnBlocks(source, 0, height, destPixelSize, clockwise, tile,
                 tiled && inMemory && VectorTurns(), rows, mover);
      return;
    }
  }
  TurnBlocks(source, 0, height, destPixelSize, clockwise, tile, false, FetchedRows{dest}, mover);
}

template <class Mover>
void HalfTurn(ImageClassData* source, ImageClassData* dest, const Mover& mover) {
  const int64_t width = source->Width, height = source->Height;
  const int64_t pixelSize = source->PixelSize, destPixelSize = dest->PixelSize;
  for (int64_t y = 0; y < height; ++y) {
    const uint8_t* row = source->GetRow(source, y);
    uint8_t* target = dest->GetRow(dest, height - 1 - y);
    if (row && target) {
      mover.CopyRow(row, pixelSize, target, destPixelSize, width, true);
    } else {
      DebugLogRowMissing(y);
    }
    YieldRow(source);
  }
}

REALobject TurnInto(REALobject instance, REALobject dest, const TurnKind& kind) {
  DebugLog(kind.entry);
  ImageClassData* source = ImageData(instance);
  if (!source || !StartTurnSource(source)) return nullptr;
  const bool quarter = kind.turn != Turn::kHalf;
  const int64_t width = quarter ? source->Height : source->Width;
  const int64_t height = quarter ? source->Width : source->Height;
  PixelFamily family = FamilyOf(*source);
  ChannelSet to;
  REALobject result = AcquireDestination(dest, source, width, height, family, &to);
  if (!result || family == PixelFamily::kNone) return result;

  DebugLog(LabelOf(kind.labels, family));
  ImageClassData* target = ImageData(result);
  ChannelSet from = FamilyChannels(*source, family);
  WithPixelMover(*source, from, *target, to, [&](const auto& mover) {
    if (quarter) {
      QuarterTurn(source, target, kind.turn == Turn::kClockwise, kind.tiled, mover);
    } else {
      HalfTurn(source, target, mover);
    }
  });
  return result;
}

}  // namespace

REALobject Rotate90fast(REALobject instance, REALobject dest) {
  return TurnInto(instance, dest, kRotate90Tiled);
}

REALobject Rotate90(REALobject instance, REALobject dest) {
  return TurnInto(instance, dest, kRotate90Rows);
}

REALobject Rotate270fast(REALobject instance, REALobject dest) {
  return TurnInto(instance, dest, kRotate270Tiled);
}

REALobject Rotate270(REALobject instance, REALobject dest) {
  return TurnInto(instance, dest, kRotate270Rows);
}

REALobject Rotate180(REALobject instance, REALobject dest) {
  return TurnInto(instance, dest, kRotate180);
}
