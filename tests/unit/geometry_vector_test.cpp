// The turns' vector paths against the plain per-pixel path, bit for bit, at every vector level:
// random images of odd sizes in every format they serve, clips, mirrored views, destinations
// whose rows leave the band kernel's alignment, and a size that streams; then the debug labels
// and a rotation box too large.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
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

  // `turn` of `source` into `into`, which must be returned.
  static void Turn(const Ref& source, const char* turn, const Ref& into) {
    EXPECT_EQ(source.Call<Ref>(turn, into).get(), into.get()) << turn;
  }
};

TEST_F(TurnsUnit, VectorAndPlainPathsGiveTheSameBytes) {
  // Bands of 16 rows with rows and columns left over in every direction, and single pixels.
  const int64_t sizes[][2] = {{131, 77}, {7, 5},  {3, 9},   {4, 4},   {257, 130}, {1, 1},
                              {1, 40},   {40, 1}, {19, 16}, {16, 17}, {33, 35}};
  uint32_t seed = 10;
  for (int64_t format : kFourByteFormats) {
    for (const auto& size : sizes) {
      const int64_t w = size[0], h = size[1];
      const std::string what =
          std::to_string(format) + ", " + std::to_string(w) + " x " + std::to_string(h) + ": ";
      Ref source = NewRandom(w, h, format, seed += 100);
      for (const char* turn : {"Rotate90", "Rotate270", "Rotate180"}) {
        const bool half = std::string(turn) == "Rotate180";
        ExpectPathsAgree(
            [&] {
              Ref dest = NewRandom(half ? w : h, half ? h : w, format, seed + 1);
              Turn(source, turn, dest);
              return dest;
            },
            what + turn);
      }
      for (const char* inPlace : {"HMirror", "Rotate180"}) {
        ExpectPathsAgree(
            [&] {
              Ref image = NewRandom(w, h, format, seed + 2);
              image.Call(inPlace);
              return image;
            },
            what + inPlace + " in place");
      }
    }
  }
}

// Clips shift the pixels within the rows, so the bands start off the cache lines (and in the
// source, off the rows' alignment); a mirrored view lists its rows backwards. The large image
// streams its stores, and over a caller's block of odd row size its runs are aligned only now
// and then.
TEST_F(TurnsUnit, ClipsViewsAndLargeImagesAgreeAcrossPaths) {
  const int64_t clips[][4] = {{1, 2, 37, 41}, {3, 0, 20, 33}, {0, 5, 33, 19}};
  for (const auto& c : clips) {
    Ref parent = NewRandom(c[0] + c[2] + 2, c[1] + c[3] + 1, kRGBA, 500);
    Ref source = parent.Call<Ref>("ClipImage", c[0], c[1], c[2], c[3]);
    for (const char* turn : {"Rotate90", "Rotate270"}) {
      const std::string what = std::string(turn) + " of the clip at " + std::to_string(c[0]);
      ExpectPathsAgree(
          [&] {
            Ref whole = NewRandom(c[3] + c[1] + 3, c[2] + c[0] + 1, kRGBA, 600);
            Turn(source, turn, whole.Call<Ref>("ClipImage", c[1], c[0], c[3], c[2]));
            return whole;
          },
          what + " into a clip");
      ExpectPathsAgree(
          [&] {
            Ref whole = NewRandom(c[3], c[2], kRGBA, 700);
            Turn(source, turn, whole.Call<Ref>("MirroredView"));
            return whole;
          },
          what + " into a mirrored view");
    }
  }
  Ref large = NewRandom(1450, 1451, kRGBA, 800);
  for (const char* turn : {"Rotate90", "Rotate270"}) {
    ExpectPathsAgree(
        [&] {
          Ref dest = NewRandom(1451, 1450, kRGBA, 900);
          Turn(large, turn, dest);
          return dest;
        },
        std::string(turn) + " streamed");
    ExpectPathsAgree(
        [&] {
          const int64_t rowSize = 1451 * 4 + 4;
          Ref dest = host_.New("PictureXQT", host_.NewMemoryBlock(rowSize * 1450), int64_t{1451},
                               int64_t{1450}, kRGBA, rowSize);
          RandomizeWholeRows(dest, 900);
          Turn(large, turn, dest);
          return dest;
        },
        std::string(turn) + " streamed over a caller's block");
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
