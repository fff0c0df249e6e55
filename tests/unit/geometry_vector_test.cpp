// The vector kernels of the turns against the plain per-pixel paths, bit for bit: the band kernel
// alone on rows off their alignment, then whole turns at each vector level on random images of odd
// sizes in every format they serve, clips and mirrored views included; the debug labels; and the
// box of a rotated image.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
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

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (auto& b : bytes) b = static_cast<uint8_t>(random());
  return bytes;
}

TEST(TurnKernels, BandAgainstPlainLoop) {
  TurnBandProc kernel = TurnBandAVX2();
  if (!kernel) GTEST_SKIP() << "no AVX2 on this processor";
  // Destination rows 256 bytes apart, each moved by 0, 4, 16 or 32 bytes at random, so that runs
  // on and off the 32-byte alignment streamed stores need meet in one group of four; the run
  // starts 64 bytes into a row. Nothing but the runs may change.
  constexpr int64_t kStride = 256, kOffset = 64;
  const int64_t shifts[] = {0, 4, 16, 32};
  std::mt19937 random(5);
  for (int64_t count : {0, 1, 3, 4, 5, 8, 13, 31}) {
    std::vector<uint8_t> source = RandomBytes(static_cast<size_t>(count) * 64, 3);
    const uint8_t* rows[16];
    for (int r = 0; r < 16; ++r) rows[r] = source.data() + r * count * 4;
    for (bool clockwise : {false, true}) {
      for (bool stream : {false, true}) {
        SCOPED_TRACE(std::to_string(count) + " " + std::to_string(clockwise) + " " +
                     std::to_string(stream));
        std::vector<uint8_t> buffer = RandomBytes(static_cast<size_t>(count * kStride + 64), 4);
        std::vector<uint8_t> expected = buffer;
        const int64_t aligned =
            64 - static_cast<int64_t>(reinterpret_cast<uintptr_t>(buffer.data()) % 64);
        std::vector<uint8_t*> dest(static_cast<size_t>(count));
        for (int64_t i = 0; i < count; ++i) {
          const int64_t at = aligned + i * kStride + shifts[random() % 4];
          dest[i] = buffer.data() + at;
          // Destination row i takes pixel i of the source rows, or pixel count - 1 - i.
          const int64_t x = clockwise ? i : count - 1 - i;
          for (int r = 0; r < 16; ++r) {
            std::memcpy(&expected[at + kOffset + r * 4], rows[r] + x * 4, 4);
          }
        }
        kernel(rows, dest.data(), kOffset, count, clockwise, stream);
        EXPECT_EQ(buffer, expected);
      }
    }
  }
}

class TurnsUnit : public StaticPluginTest {
 protected:
  ~TurnsUnit() override { SetVectorTurns(true); }

  Ref NewRandom(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = NewImage(width, height, format);
    RandomizeWholeRows(image, seed);
    return image;
  }

  // A destination to turn into, and the image that owns its storage (itself, or a clip's parent).
  struct Target {
    Ref into, storage;
  };

  // `turn` of `source` by the plain path and by the vector paths of every level, each into a
  // fresh target from `make` (all alike): the same bytes in all their storage.
  void ExpectTurnsAgree(const Ref& source, const char* turn, const std::function<Target()>& make) {
    ExpectEveryLevelAsPlain(
        [&](SimdLevel level) {
          Target target = make();
          SetVectorTurns(level != SimdLevel::kScalar);
          EXPECT_EQ(source.Call<Ref>(turn, target.into).get(), target.into.get()) << turn;
          SetVectorTurns(true);
          return ImageSnapshot(target.storage).data;
        },
        turn);
  }
};

TEST_F(TurnsUnit, VectorAndPlainPathsGiveTheSameBytes) {
  // Bands of 16 rows with rows and columns left over in every direction, and single pixels.
  const int64_t sizes[][2] = {{131, 77}, {7, 5},  {3, 9},   {4, 4},   {257, 130}, {1, 1},
                              {1, 40},   {40, 1}, {19, 16}, {16, 17}, {33, 35}};
  uint32_t seed = 10;
  for (int64_t format : kFourByteFormats) {
    for (const auto& size : sizes) {
      SCOPED_TRACE("format " + std::to_string(format) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref source = NewRandom(size[0], size[1], format, seed += 100);
      for (const char* turn : {"Rotate90", "Rotate270", "Rotate180"}) {
        bool quarter = std::string(turn) != "Rotate180";
        int64_t w = quarter ? size[1] : size[0], h = quarter ? size[0] : size[1];
        ExpectTurnsAgree(source, turn, [&] {
          Ref dest = NewRandom(w, h, format, seed + 1);
          return Target{dest, dest};
        });
      }
      for (const char* mirror : {"HMirror", "Rotate180"}) {
        Ref vectorImage = NewRandom(size[0], size[1], format, seed + 2);
        Ref plainImage = NewRandom(size[0], size[1], format, seed + 2);
        SetVectorTurns(true);
        vectorImage.Call(mirror);
        SetVectorTurns(false);
        plainImage.Call(mirror);
        EXPECT_TRUE(SameBytes(ImageSnapshot(vectorImage).data, ImageSnapshot(plainImage).data))
            << mirror;
      }
    }
  }
}

TEST_F(TurnsUnit, ClipsViewsAndLargeImagesAgreeAcrossPaths) {
  // Clips shift the pixels within the rows, so the bands start off the cache lines (and in the
  // source, off the rows' alignment); a mirrored view lists its rows backwards.
  const int64_t clips[][4] = {{1, 2, 37, 41}, {3, 0, 20, 33}, {0, 5, 33, 19}};
  for (const auto& c : clips) {
    SCOPED_TRACE("clip " + std::to_string(c[0]) + " " + std::to_string(c[1]));
    Ref parent = NewRandom(c[0] + c[2] + 2, c[1] + c[3] + 1, kRGBA, 500);
    Ref source = parent.Call<Ref>("ClipImage", c[0], c[1], c[2], c[3]);
    for (const char* turn : {"Rotate90", "Rotate270"}) {
      ExpectTurnsAgree(source, turn, [&] {
        Ref whole = NewRandom(c[3] + c[1] + 3, c[2] + c[0] + 1, kRGBA, 600);
        return Target{whole.Call<Ref>("ClipImage", c[1], c[0], c[3], c[2]), whole};
      });
      ExpectTurnsAgree(source, turn, [&] {
        Ref whole = NewRandom(c[3], c[2], kRGBA, 700);
        return Target{whole.Call<Ref>("MirroredView"), whole};
      });
    }
  }
  // Large enough for streamed stores, and of a height that leaves rows besides the bands.
  Ref large = NewRandom(1450, 1451, kRGBA, 800);
  for (const char* turn : {"Rotate90", "Rotate270"}) {
    ExpectTurnsAgree(large, turn, [&] {
      Ref dest = NewRandom(1451, 1450, kRGBA, 900);
      return Target{dest, dest};
    });
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

// The rotation box for angles whose sine and cosine round.
TEST(AreaRotation, BoxOfTheTurnedImage) {
  RotationGeometry g;
  ASSERT_TRUE(RotationFor(90, 6000, 4000, g));
  EXPECT_EQ(g.width, 4000);
  EXPECT_EQ(g.height, 6000);
  EXPECT_EQ(g.cosine, 0);
  ASSERT_TRUE(RotationFor(-720, 5, 3, g));
  EXPECT_EQ(g.width, 5);
  EXPECT_EQ(g.height, 3);
  // 30 degrees: 6000 cos 30 + 4000 sin 30 = 7196.15, 6000 sin 30 + 4000 cos 30 = 6464.10.
  ASSERT_TRUE(RotationFor(30, 6000, 4000, g));
  EXPECT_EQ(g.width, 7197);
  EXPECT_EQ(g.height, 6465);
  // 60 degrees of a square of 2: 2 (cos 60 + sin 60) = 2.732 -> 3.
  ASSERT_TRUE(RotationFor(60, 2, 2, g));
  EXPECT_EQ(g.width, 3);
  EXPECT_FALSE(RotationFor(std::numeric_limits<double>::infinity(), 2, 2, g));
  EXPECT_FALSE(RotationFor(45, int64_t{1} << 40, 2, g));
}

}  // namespace
