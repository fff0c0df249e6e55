#include "geometry/mirrors.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "geometry/turn_pixels.h"
#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "image/pixel_channels.h"
#include "plugin/debug_log.h"

namespace {

constexpr FamilyLabels kHMirrorLabels = {"HMirrorSelfG",    "HMirrorSelfGA",   "HMirrorSelfRGB",
                                         "HMirrorSelfRGBA", "HMirrorSelfCMYK", "HMirrorSelfCMYKA"};
constexpr FamilyLabels kVMirrorLabels = {"VMirrorSelfG",    "VMirrorSelfGA",   "VMirrorSelfRGB",
                                         "VMirrorSelfRGBA", "VMirrorSelfCMYK", "VMirrorSelfCMYKA"};
constexpr FamilyLabels kRotate180SelfLabels = {"Rotate180SelfG",    "Rotate180SelfGA",
                                               "Rotate180SelfRGB",  "Rotate180SelfRGBA",
                                               "Rotate180SelfCMYK", "Rotate180SelfCMYKA"};

// The source checks and the family; false when there is nothing to move.
bool Begin(ImageClassData* image, const FamilyLabels& labels, ChannelSet* channels) {
  if (!image || !StartTurnSource(image)) return false;
  PixelFamily family = FamilyOf(*image);
  if (family == PixelFamily::kNone) return false;
  DebugLog(LabelOf(labels, family));
  *channels = FamilyChannels(*image, family);
  return true;
}

// Two zero-filled buffers of one row each, freed at the end of the operation.
class RowPair {
 public:
  // Nothing is allocated for rows without bytes, or rows too short to hold the pixels that are
  // read back from them (an image over the caller's block may declare any row size).
  explicit RowPair(const ImageClassData& image, const ChannelSet& channels) {
    const int64_t rowSize = image.RowSize;
    if (rowSize < 1) {
      DebugLog("RowSize is 0");
      return;
    }
    int64_t last = 0;
    for (int c = 0; c < channels.count; ++c) {
      if (channels.offsets[c] > last) last = channels.offsets[c];
    }
    if (image.Width > 0 && (image.Width - 1) * image.PixelSize + last >= rowSize) {
      DebugLog("RowSize too small for the row", static_cast<long long>(rowSize));
      return;
    }
    a_ = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(rowSize), 1));
    b_ = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(rowSize), 1));
    if (!a_ || !b_) DebugLog("Failed to allocate the row buffers.");
  }
  ~RowPair() {
    std::free(a_);
    std::free(b_);
  }
  RowPair(const RowPair&) = delete;
  RowPair& operator=(const RowPair&) = delete;

  bool ok() const { return a_ && b_; }
  uint8_t* a() const { return a_; }
  uint8_t* b() const { return b_; }

 private:
  uint8_t* a_ = nullptr;
  uint8_t* b_ = nullptr;
};

// Copies row y into `buffer`; false when the row cannot be had.
bool ReadRow(ImageClassData* image, int64_t y, uint8_t* buffer) {
  const uint8_t* row = image->GetRow(image, y);
  if (!row) {
    DebugLogRowMissing(y);
    return false;
  }
  std::memcpy(buffer, row, static_cast<size_t>(image->RowSize));
  return true;
}

// Writes the channels of the pixels in `buffer` back into row y, in the same order or reversed.
template <class Mover>
void WriteRow(ImageClassData* image, int64_t y, const uint8_t* buffer, bool reversed,
              const Mover& mover) {
  uint8_t* row = image->GetRow(image, y);
  if (!row) {
    DebugLogRowMissing(y);
    return;
  }
  const int64_t pixelSize = image->PixelSize;
  mover.CopyRow(buffer, pixelSize, row, pixelSize, image->Width, reversed);
}

// Rows y and Height - 1 - y change places, both read before either is written; each is fetched
// again before it is written, since a mapped band may have moved in between.
void SwapRowPairs(ImageClassData* image, const ChannelSet& channels, bool reversed) {
  RowPair buffers(*image, channels);
  if (!buffers.ok()) return;
  const int64_t height = image->Height;
  WithPixelMover(*image, channels, *image, channels, [&](const auto& mover) {
    for (int64_t y = 0; y < height / 2; ++y) {
      const int64_t other = height - 1 - y;
      if (ReadRow(image, y, buffers.a()) && ReadRow(image, other, buffers.b())) {
        WriteRow(image, y, buffers.b(), reversed, mover);
        WriteRow(image, other, buffers.a(), reversed, mover);
      }
      YieldRow(image);
    }
    if (reversed && height % 2 == 1 && ReadRow(image, height / 2, buffers.a())) {
      WriteRow(image, height / 2, buffers.a(), true, mover);
    }
  });
}

}  // namespace

void HMirrorSelf(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  ChannelSet channels;
  if (!Begin(image, kHMirrorLabels, &channels)) return;
  const int64_t width = image->Width, pixelSize = image->PixelSize;
  WithPixelMover(*image, channels, *image, channels, [&](const auto& mover) {
    for (int64_t y = 0; y < image->Height; ++y) {
      uint8_t* row = image->GetRow(image, y);
      if (row) {
        mover.ReverseRow(row, pixelSize, width);
      } else {
        DebugLogRowMissing(y);
      }
      YieldRow(image);
    }
  });
}

void VMirrorSelf(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  ChannelSet channels;
  if (!Begin(image, kVMirrorLabels, &channels) || image->Height < 2) return;
  SwapRowPairs(image, channels, false);
}

void Rotate180Self(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  ChannelSet channels;
  if (!Begin(image, kRotate180SelfLabels, &channels)) return;
  SwapRowPairs(image, channels, true);
}
