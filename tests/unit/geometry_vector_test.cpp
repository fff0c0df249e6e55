// The turns' vector paths against the plain per-pixel path, bit for bit, at every vector level:
// random images of odd sizes in every format they serve, clips, mirrored views, destinations
// whose rows leave the band kernel's alignment, and a size that streams; then the debug labels
// and a rotation box too large.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "geometry/rotate.h"
#include "geometry/turn_kernels.h"
#include "host/emulated_host.h"
#include "support/image_layout.h"
#include "support/log_capture.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using platform::SimdLevel;
using xqt::host::Ref;

// Formats whose pixels are four channel bytes: RGBA, ARGB, BGRA, ABGR, CMYK, KYMC.
constexpr int64_t kFourByteFormats[] = {2, 4, 7, 9, 23, 28};
constexpr int64_t kRGBA = 2, kG = 11, kGray16 = 41;

// Where a turn writes: a whole image, a clip of a larger one whose rows start `shift` pixels in,
// a mirrored view, or an image over a caller's block whose rows are not whole 64-byte units.
enum class Into { kImage, kClip, kMirroredView, kCallersBlock };

class TurnsUnit : public StaticPluginTest {
 protected:
  ~TurnsUnit() override { SetVectorTurns(true); }

  Ref NewRandom(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = NewImage(width, height, format);
    RandomizeWholeRows(image, seed);
    return image;
  }

  // `run` on fresh images by the plain path and by the vector paths of every level returns the
  // image that holds what it wrote: the same bytes in all of its rows every time.
  void ExpectPathsAgree(const std::function<Ref()>& run, const std::string& what) {
    ExpectEveryLevelAsPlain(
        [&](SimdLevel level) {
          SetVectorTurns(level != SimdLevel::kScalar);
          std::vector<uint8_t> bytes = ImageSnapshot(run()).data;
          SetVectorTurns(true);
          return bytes;
        },
        what);
  }

  // `turn` of `source` into a fresh random target, which it returns, on every path.
  void ExpectTurnsAgree(const Ref& source, const char* turn, Into into, int64_t shift = 0) {
    int64_t w = source.Get<int64_t>("Width"), h = source.Get<int64_t>("Height");
    if (std::string(turn) != "Rotate180") std::swap(w, h);
    const int64_t format = source.Get<int64_t>("ImageFormat"), rowSize = w * 4 + 4;
    ExpectPathsAgree(
        [&] {
          Ref storage = into == Into::kCallersBlock
                            ? host_.New("PictureXQT", host_.NewMemoryBlock(rowSize * h), w, h,
                                        format, rowSize)
                            : NewImage(w + 2 * shift, h + shift, format);
          RandomizeWholeRows(storage, 600);
          Ref target = into == Into::kClip ? storage.Call<Ref>("ClipImage", shift, shift, w, h)
                       : into == Into::kMirroredView ? storage.Call<Ref>("MirroredView")
                                                     : storage;
          EXPECT_EQ(source.Call<Ref>(turn, target).get(), target.get()) << turn;
          return storage;
        },
        std::string(turn) + " into target " + std::to_string(static_cast<int>(into)));
  }
};

TEST_F(TurnsUnit, VectorAndPlainPathsGiveTheSameBytes) {
  // Bands of 16 rows with rows and columns left over in every direction, and single pixels.
  const int64_t sizes[][2] = {{131, 77}, {7, 5},  {3, 9},   {4, 4},   {257, 130}, {1, 1},
                              {1, 40},   {40, 1}, {19, 16}, {16, 17}, {33, 35}};
  uint32_t seed = 10;
  for (int64_t format : kFourByteFormats) {
    for (const auto& size : sizes) {
      SCOPED_TRACE(std::to_string(format) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref source = NewRandom(size[0], size[1], format, seed += 100);
      for (const char* turn : {"Rotate90", "Rotate270", "Rotate180"}) {
        ExpectTurnsAgree(source, turn, Into::kImage);
      }
      for (const char* inPlace : {"HMirror", "Rotate180"}) {
        ExpectPathsAgree(
            [&] {
              Ref image = NewRandom(size[0], size[1], format, seed + 2);
              image.Call(inPlace);
              return image;
            },
            std::string(inPlace) + " in place");
      }
    }
  }
}

// Clips shift the pixels within the rows, so the bands start off the cache lines (and in the
// source, off the rows' alignment); a mirrored view lists its rows backwards. The large image
// streams its stores, and over a caller's block its runs are aligned only now and then.
TEST_F(TurnsUnit, ClipsViewsAndLargeImagesAgreeAcrossPaths) {
  const int64_t clips[][4] = {{1, 2, 37, 41}, {3, 0, 20, 33}, {0, 5, 33, 19}};
  for (const auto& c : clips) {
    SCOPED_TRACE("clip at " + std::to_string(c[0]) + ", " + std::to_string(c[1]));
    Ref parent = NewRandom(c[0] + c[2] + 2, c[1] + c[3] + 1, kRGBA, 500);
    Ref source = parent.Call<Ref>("ClipImage", c[0], c[1], c[2], c[3]);
    for (const char* turn : {"Rotate90", "Rotate270"}) {
      ExpectTurnsAgree(source, turn, Into::kClip, c[1] + 1);
      ExpectTurnsAgree(source, turn, Into::kMirroredView);
    }
  }
  Ref large = NewRandom(1450, 1451, kRGBA, 800);
  for (const char* turn : {"Rotate90", "Rotate270"}) {
    ExpectTurnsAgree(large, turn, Into::kImage);
    ExpectTurnsAgree(large, turn, Into::kCallersBlock);
  }
}

TEST_F(TurnsUnit, LabelsAndRefusals) {
  Ref rgba = NewRandom(5, 3, kRGBA, 1);
  Ref gray = NewRandom(5, 3, kG, 2);
  LogCapture log;
  Ref turned = rgba.Call<Ref>("Rotate90", nullptr);
  EXPECT_TRUE(log.Logged("Rotate90fast"));
  EXPECT_TRUE(log.Logged("Rotate90RGBA"));
  Ref slow = gray.Call<Ref>("Rotate270slow", nullptr);
  EXPECT_TRUE(log.Logged("Rotate270"));
  EXPECT_TRUE(log.Logged("Rotate270G"));
  gray.Call("VMirror");
  EXPECT_TRUE(log.Logged("VMirrorSelfG"));
  rgba.Call("Rotate180");
  EXPECT_TRUE(log.Logged("Rotate180SelfRGBA"));
  EXPECT_FALSE(rgba.Call<Ref>("Rotate90", gray));
  EXPECT_TRUE(log.Logged("Destination too small."));
  EXPECT_FALSE(rgba.Call<Ref>("Rotate180", gray));
  EXPECT_TRUE(log.Logged("Destination lacks the source's channels."));
  EXPECT_FALSE(NewImage(2, 2, kGray16).Call<Ref>("Rotate90", nullptr));
  EXPECT_TRUE(log.Logged("BitsPerComponent > 8 not supported."));
}

// A box whose sides do not fit is refused; the boxes of the angles are the host test's.
TEST(AreaRotation, BoxTooLargeIsRefused) {
  RotationGeometry g;
  EXPECT_FALSE(RotationFor(45, int64_t{1} << 40, 2, g));
}

}  // namespace
