// Quarter turns, half turns and mirrors through the host: every format and odd sizes against the
// mapping of pixel positions, destinations and refusals.
// The vector paths are held to the plain one by the unit tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>

#include "support/format_codes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

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

// The destination as it must be after the operation (it may be the source itself): its old
// bytes, with the family's channels of every source pixel written at the mapped position.
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

class Geometry : public PluginTest {
 protected:
  // Turns `source` into a given destination (`extra` columns and rows larger, whose top left it
  // takes) and into a new one, both checked against the mapping.
  void CheckTurn(const Ref& source, const TurnCase& turn, int64_t destFormat, uint32_t seed,
                 int64_t extra = 0) {
    SCOPED_TRACE(turn.name);
    int64_t width = source.Get<int64_t>("Width"), height = source.Get<int64_t>("Height");
    if (turn.op != Op::k180) std::swap(width, height);
    Ref dest = NewImage(width + extra, height + extra, destFormat);
    RandomizeWholeRows(dest, seed);
    ImageSnapshot expected = Expected(source, dest, turn.op);
    EXPECT_EQ(source.Call<Ref>(turn.name, dest).get(), dest.get());
    ExpectSameBytes(expected, dest, "given destination");

    Ref made = source.Call<Ref>(turn.name, nullptr);
    ASSERT_TRUE(made);
    EXPECT_EQ(made.Get<int64_t>("ImageFormat"), source.Get<int64_t>("ImageFormat"));
    EXPECT_EQ(made.Get<int64_t>("Width"), width);
    EXPECT_EQ(made.Get<int64_t>("Height"), height);
    // The new image's channel bytes are the destination's; its other bytes are not looked at.
    if (destFormat == source.Get<int64_t>("ImageFormat") && extra == 0) {
      ExpectSameChannels(made, dest);
    }
  }
};

TEST_F(Geometry, ThreeByTwoByHand) {
  Ref image = NewImage(3, 2, kRGB);
  for (int64_t y = 0; y < 2; ++y) {
    for (int64_t x = 0; x < 3; ++x) std::memset(Row(image, y) + x * 3, int(10 * y + x), 3);
  }
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

// Every format with 8-bit samples at odd and degenerate sizes: each turn into a destination of
// the same format, and the in-place mirrors and half turn.
TEST_F(Geometry, EveryFormatAgainstTheMapping) {
  const int64_t sizes[][2] = {{13, 7}, {1, 1}, {1, 6}, {5, 1}, {2, 3}, {37, 23}, {4, 4}, {130, 3}};
  const std::pair<const char*, Op> inPlace[] = {
      {"HMirror", Op::kHMirror}, {"VMirror", Op::kVMirror}, {"Rotate180", Op::k180}};
  uint32_t seed = 1;
  for (int64_t code : AllFormats()) {
    if (code == kGray16) continue;
    for (const auto& size : sizes) {
      SCOPED_TRACE("format " + std::to_string(code) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref image = NewImage(size[0], size[1], code);
      RandomizeWholeRows(image, ++seed);
      for (const TurnCase& turn : kTurns) CheckTurn(image, turn, code, ++seed);
      for (auto [name, op] : inPlace) {
        ImageSnapshot expected = Expected(image, image, op);
        image.Call(name);
        ExpectSameBytes(expected, image, name);
      }
    }
  }
}

// An RGBA destination has the source's channels; its alpha stays as it was. A larger one takes
// the turned image at its top left.
TEST_F(Geometry, DestinationsOfOtherByteOrdersAndSizes) {
  for (auto [from, to, extra] : {std::tuple{kBGR, kRGBA, 0},
                                 {kCMYK, kCMYKX, 0},
                                 {kCMYK, kKYMCA, 0},
                                 {kG, kGA, 0},
                                 {kRGBA, kRGBA, 4},
                                 {kRGB, kRGBA, 1}}) {
    Ref source = NewImage(9, 4, from);
    RandomizeWholeRows(source, static_cast<uint32_t>(to));
    for (const TurnCase& turn : kTurns) CheckTurn(source, turn, to, 9, extra);
  }
}

// The refusals of every frame operation are in frame_refusals_test.cpp; these are the turns' own.
// The in-place members leave a 16-bit or a closed image alone, and no view of the source (nor the
// source seen through a view) is a destination: it would be overwritten while read.
TEST_F(Geometry, RefusedSourcesAndDestinations) {
  Ref sixteen = NewImage(4, 3, kGray16);
  RandomizeWholeRows(sixteen, 1);
  ImageSnapshot before(sixteen);
  Ref closed = NewImage(4, 6, kRGBA);
  closed.Call("Close");
  for (const char* name : {"HMirror", "VMirror", "Rotate180"}) {
    sixteen.Call(name);
    closed.Call(name);
  }
  ExpectSameBytes(before, sixteen, "16-bit gray");

  Ref square = NewImage(5, 5, kRGBA);
  RandomizeWholeRows(square, 3);
  ImageSnapshot squareBefore(square);
  Ref mirrored = square.Call<Ref>("MirroredView");
  EXPECT_FALSE(square.Call<Ref>("Rotate90", mirrored));
  EXPECT_FALSE(square.Call<Ref>("Rotate180", mirrored));
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate270", square));
  Ref clip = square.Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{5}, int64_t{5});
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate90slow", clip));
  ExpectSameBytes(squareBefore, square, "a view as destination");
}

}  // namespace
