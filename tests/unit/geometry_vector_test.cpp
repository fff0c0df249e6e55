// Turns and mirrors: the plain path against the mapping of pixel positions (pinned by hand), every
// vector level against the plain path bit for bit; labels and refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "geometry/rotate.h"
#include "geometry/turn_kernels.h"
#include "host/emulated_host.h"
#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/log_capture.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using platform::SimdLevel;
using xqt::host::Ref;

enum class Op { k90, k270, k180, kHMirror, kVMirror };

// Where pixel (x, y) of a w x h image goes; a quarter turn of 90 is counter-clockwise.
std::pair<int64_t, int64_t> Map(Op op, int64_t w, int64_t h, int64_t x, int64_t y) {
  const int64_t fx = w - 1 - x, fy = h - 1 - y;
  return op == Op::k90        ? std::pair{y, fx}
         : op == Op::k270     ? std::pair{fy, x}
         : op == Op::k180     ? std::pair{fx, fy}
         : op == Op::kHMirror ? std::pair{fx, y}
                              : std::pair{x, fy};
}

// The destination's old bytes with the family's channels of each source pixel at its new place.
ImageSnapshot Expected(const Ref& source, const Ref& dest, Op op) {
  ImageSnapshot from(source), to(dest);
  const Layout& l = from.layout;
  for (int64_t y = 0; y < l.height; ++y) {
    for (int64_t x = 0; x < l.width; ++x) {
      auto [dx, dy] = Map(op, l.width, l.height, x, y);
      for (size_t c = 0; c < l.channels.size(); ++c) {
        to.Pixel(dx, dy)[to.layout.channels[c]] = from.Pixel(x, y)[l.channels[c]];
      }
    }
  }
  return to;
}

struct TurnCase {
  const char* name;
  Op op;
};
constexpr TurnCase kTurns[] = {{"Rotate90", Op::k90},
                               {"Rotate270", Op::k270},
                               {"Rotate90slow", Op::k90},
                               {"Rotate270slow", Op::k270},
                               {"Rotate180", Op::k180}};
constexpr TurnCase kInPlace[] = {
    {"HMirror", Op::kHMirror}, {"VMirror", Op::kVMirror}, {"Rotate180", Op::k180}};

// An image `shift` larger (the turn takes its top left), a clip `shift` pixels in, a mirrored
// view, or an image over a caller's block whose rows are not whole 64-byte units.
enum class Into { kImage, kClip, kMirroredView, kCallersBlock };

class TurnsUnit : public StaticPluginTest {
 protected:
  ~TurnsUnit() override { SetVectorTurns(true); }

  Ref NewRandom(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = NewImage(width, height, format);
    RandomizeWholeRows(image, seed);
    return image;
  }

  // `run` returns the image it wrote (checked by `run` on the plain path): alike on every path.
  void ExpectPathsAgree(const std::function<Ref(bool plain)>& run, const std::string& what) {
    ExpectEveryLevelAsPlain(
        [&](SimdLevel level) {
          SetVectorTurns(level != SimdLevel::kScalar);
          std::vector<uint8_t> bytes = ImageSnapshot(run(level == SimdLevel::kScalar)).data;
          SetVectorTurns(true);
          return bytes;
        },
        what);
  }

  // `turn` of `source` into a fresh random target of `format` (the source's if 0).
  void ExpectTurn(const Ref& source, const TurnCase& turn, Into into = Into::kImage,
                  int64_t shift = 0, int64_t format = 0) {
    int64_t w = source.Get<int64_t>("Width"), h = source.Get<int64_t>("Height");
    if (turn.op != Op::k180) std::swap(w, h);
    if (format == 0) format = source.Get<int64_t>("ImageFormat");
    const int64_t rowSize = w * 4 + 4;
    ExpectPathsAgree(
        [&](bool plain) {
          Ref storage = into == Into::kCallersBlock
                            ? host_.New("PictureXQT", host_.NewMemoryBlock(rowSize * h), w, h,
                                        format, rowSize)
                            : NewImage(w + shift, h + shift, format);
          RandomizeWholeRows(storage, 600);
          Ref target = into == Into::kClip ? storage.Call<Ref>("ClipImage", shift, shift, w, h)
                       : into == Into::kMirroredView ? storage.Call<Ref>("MirroredView")
                                                     : storage;
          std::optional<ImageSnapshot> expected;
          if (plain) expected.emplace(Expected(source, target, turn.op));
          EXPECT_EQ(source.Call<Ref>(turn.name, target).get(), target.get()) << turn.name;
          if (plain) ExpectSameBytes(*expected, target, turn.name);
          return storage;
        },
        std::string(turn.name) + " into target " + std::to_string(static_cast<int>(into)));
  }
};

// Pins the mapping: a 3 x 2 RGB image whose pixels hold 10 y + x.
TEST_F(TurnsUnit, ThreeByTwoByHand) {
  Ref image = NewImage(3, 2, kRGB);
  SetPixels(image, 0, {0, 0, 0, 1, 1, 1, 2, 2, 2});
  SetPixels(image, 1, {10, 10, 10, 11, 11, 11, 12, 12, 12});
  Ref left = image.Call<Ref>("Rotate90", nullptr);
  EXPECT_EQ(left.Get<int64_t>("Width"), 2);
  EXPECT_EQ(left.Get<int64_t>("Height"), 3);
  EXPECT_EQ(Row(left, 0)[0], 2);   // the source's top-right pixel
  EXPECT_EQ(Row(left, 0)[3], 12);  // below it
  EXPECT_EQ(Row(left, 2)[0], 0);   // the source's top-left
  Ref right = image.Call<Ref>("Rotate270", nullptr);
  EXPECT_EQ(Row(right, 0)[0], 10);  // the source's bottom-left pixel
  EXPECT_EQ(Row(right, 0)[3], 0);
  EXPECT_EQ(Row(right, 2)[3], 2);
}

// Every 8-bit format at odd and degenerate sizes, four-byte pixels also in bands and tiles with
// rows and columns left over; each turn into the same format and into a new image, and in place.
TEST_F(TurnsUnit, EveryFormatOnEveryPath) {
  const int64_t sizes[][2] = {{13, 7}, {1, 1},   {1, 6},    {5, 1},   {2, 3},  {37, 23},
                              {4, 4},  {130, 3}, {131, 77}, {7, 5},   {3, 9},  {257, 130},
                              {1, 40}, {40, 1},  {19, 16},  {16, 17}, {33, 35}};
  uint32_t seed = 1;
  for (int64_t format : AllFormats()) {
    if (format == kGray16) continue;
    for (const auto& size : sizes) {
      // The bands only where the vector paths serve: pixels of four bytes.
      if (size[0] * size[1] > 1000 && NewImage(1, 1, format).Get<int64_t>("PixelSize") != 4)
        continue;
      SCOPED_TRACE("format " + std::to_string(format) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref source = NewRandom(size[0], size[1], format, ++seed);
      for (const TurnCase& turn : kTurns) {
        ExpectTurn(source, turn);
        // A new image has the source's format (its pixels come from the same path).
        if (&size == sizes) {
          EXPECT_EQ(source.Call<Ref>(turn.name, nullptr).Get<int64_t>("ImageFormat"), format);
        }
      }
      for (const TurnCase& turn : kInPlace) {
        ExpectPathsAgree(
            [&](bool plain) {
              Ref image = NewRandom(size[0], size[1], format, seed);
              std::optional<ImageSnapshot> expected;
              if (plain) expected.emplace(Expected(image, image, turn.op));
              image.Call(turn.name);
              if (plain) ExpectSameBytes(*expected, image, turn.name);
              return image;
            },
            std::string(turn.name) + " in place");
      }
    }
  }
}

// Other byte orders take the source's channels and keep their alpha; larger ones, the top left.
TEST_F(TurnsUnit, DestinationsOfOtherByteOrdersAndSizes) {
  const std::tuple<int64_t, int64_t, int64_t> targets[] = {{kBGR, kRGBA, 0},   {kCMYK, kCMYKX, 0},
                                                           {kCMYK, kKYMCA, 0}, {kG, kGA, 0},
                                                           {kRGBA, kRGBA, 4},  {kRGB, kRGBA, 1}};
  for (auto [from, to, extra] : targets) {
    Ref source = NewRandom(9, 4, from, static_cast<uint32_t>(to));
    for (const TurnCase& turn : kTurns) ExpectTurn(source, turn, Into::kImage, extra, to);
  }
}

// Clips start the bands off the cache lines, a mirrored view lists its rows backwards; the large
// image streams its stores, over a caller's block aligned only now and then.
TEST_F(TurnsUnit, ClipsViewsAndLargeImages) {
  const int64_t clips[][4] = {{1, 2, 37, 41}, {3, 0, 20, 33}, {0, 5, 33, 19}};
  for (const auto& c : clips) {
    SCOPED_TRACE("clip at " + std::to_string(c[0]) + ", " + std::to_string(c[1]));
    Ref parent = NewRandom(c[0] + c[2] + 2, c[1] + c[3] + 1, kRGBA, 500);
    Ref source = parent.Call<Ref>("ClipImage", c[0], c[1], c[2], c[3]);
    for (const TurnCase& turn : {kTurns[0], kTurns[1]}) {
      ExpectTurn(source, turn, Into::kClip, c[1] + 1);
      ExpectTurn(source, turn, Into::kMirroredView);
    }
  }
  Ref large = NewRandom(1450, 1451, kRGBA, 800);
  for (const TurnCase& turn : {kTurns[0], kTurns[1]}) {
    ExpectTurn(large, turn);
    ExpectTurn(large, turn, Into::kCallersBlock);
  }
}

// The turns' own refusals (every frame operation's are frame_refusals_test.cpp's): in place, a
// 16-bit or closed image is left alone; no view of the source is a destination.
TEST_F(TurnsUnit, LabelsAndRefusals) {
  Ref rgba = NewRandom(5, 5, kRGBA, 1);
  Ref gray = NewRandom(5, 3, kG, 2);
  LogCapture log;
  rgba.Call<Ref>("Rotate90", nullptr);
  gray.Call<Ref>("Rotate270slow", nullptr);
  gray.Call("VMirror");
  rgba.Call("Rotate180");
  EXPECT_FALSE(rgba.Call<Ref>("Rotate90", gray));
  EXPECT_FALSE(rgba.Call<Ref>("Rotate180", NewImage(5, 5, kG)));
  EXPECT_FALSE(NewImage(2, 2, kGray16).Call<Ref>("Rotate90", nullptr));
  for (const char* line :
       {"Rotate90fast", "Rotate90RGBA", "Rotate270", "Rotate270G", "VMirrorSelfG",
        "Rotate180SelfRGBA", "Destination too small.", "Destination lacks the source's channels.",
        "BitsPerComponent > 8 not supported."}) {
    EXPECT_TRUE(log.Logged(line)) << line;
  }

  Ref sixteen = NewRandom(4, 3, kGray16, 1);
  ImageSnapshot before(sixteen);
  Ref closed = NewImage(4, 6, kRGBA);
  closed.Call("Close");
  for (const char* name : {"HMirror", "VMirror", "Rotate180"}) {
    sixteen.Call(name);
    closed.Call(name);
  }
  ExpectSameBytes(before, sixteen, "16-bit gray");

  ImageSnapshot rgbaBefore(rgba);
  Ref mirrored = rgba.Call<Ref>("MirroredView");
  EXPECT_FALSE(rgba.Call<Ref>("Rotate90", mirrored));
  EXPECT_TRUE(log.Logged("Destination shares the source's storage."));
  EXPECT_FALSE(rgba.Call<Ref>("Rotate180", mirrored));
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate270", rgba));
  Ref clip = rgba.Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{5}, int64_t{5});
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate90slow", clip));
  ExpectSameBytes(rgbaBefore, rgba, "a view as destination");

  // A rotation whose box does not fit is refused (the boxes of the angles are the host test's).
  RotationGeometry g;
  EXPECT_FALSE(RotationFor(45, int64_t{1} << 40, 2, g));
}

}  // namespace
