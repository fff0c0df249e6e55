// Quarter turns, half turns and mirrors through the host: every format and odd sizes against the
// mapping of pixel positions, destinations and refusals.
// The vector paths are held to the plain one by the unit tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/format_codes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

// Every format with 8-bit samples.
std::vector<int64_t> EightBitFormats() {
  std::vector<int64_t> codes;
  for (int64_t code = 1; code <= 48; ++code) {
    if (code != 14 && code != kGray16) codes.push_back(code);
  }
  return codes;
}

enum class Op { k90, k270, k180 };

// Where source pixel (x, y) of a width x height image goes.
void Map(Op op, int64_t width, int64_t height, int64_t x, int64_t y, int64_t* dx, int64_t* dy) {
  switch (op) {
    case Op::k90:  // counter-clockwise
      *dx = y;
      *dy = width - 1 - x;
      break;
    case Op::k270:  // clockwise
      *dx = height - 1 - y;
      *dy = x;
      break;
    case Op::k180:
      *dx = width - 1 - x;
      *dy = height - 1 - y;
      break;
  }
}

// The destination as it must be after the turn: its old bytes, with the family's channels of
// every source pixel written at the mapped position.
ImageSnapshot Expected(const Ref& source, const Ref& dest, Op op) {
  ImageSnapshot from(source);
  ImageSnapshot to(dest);
  for (int64_t y = 0; y < from.layout.height; ++y) {
    for (int64_t x = 0; x < from.layout.width; ++x) {
      int64_t dx = 0, dy = 0;
      Map(op, from.layout.width, from.layout.height, x, y, &dx, &dy);
      for (size_t c = 0; c < from.layout.channels.size(); ++c) {
        to.Pixel(dx, dy)[to.layout.channels[c]] = from.Pixel(x, y)[from.layout.channels[c]];
      }
    }
  }
  return to;
}

// The in-place forms: the image against a copy of itself.
ImageSnapshot ExpectedInPlace(const Ref& image, bool horizontal, bool vertical) {
  ImageSnapshot from(image);
  ImageSnapshot to = from;
  const Layout& l = from.layout;
  for (int64_t y = 0; y < l.height; ++y) {
    for (int64_t x = 0; x < l.width; ++x) {
      int64_t dx = horizontal ? l.width - 1 - x : x, dy = vertical ? l.height - 1 - y : y;
      for (int64_t offset : l.channels) to.Pixel(dx, dy)[offset] = from.Pixel(x, y)[offset];
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
  // Turns `source` into a given destination and into a new one, both checked against the mapping.
  void CheckTurn(const Ref& source, const TurnCase& turn, int64_t destFormat, uint32_t seed) {
    SCOPED_TRACE(turn.name);
    int64_t width = source.Get<int64_t>("Width"), height = source.Get<int64_t>("Height");
    bool quarter = turn.op != Op::k180;
    Ref dest = NewImage(quarter ? height : width, quarter ? width : height, destFormat);
    RandomizeWholeRows(dest, seed);
    ImageSnapshot expected = Expected(source, dest, turn.op);
    Ref result = source.Call<Ref>(turn.name, dest);
    ASSERT_TRUE(result);
    EXPECT_EQ(result.get(), dest.get());
    ExpectSameBytes(expected, dest, "given destination");

    Ref made = source.Call<Ref>(turn.name, nullptr);
    ASSERT_TRUE(made);
    EXPECT_EQ(made.Get<int64_t>("ImageFormat"), source.Get<int64_t>("ImageFormat"));
    EXPECT_EQ(made.Get<int64_t>("Width"), dest.Get<int64_t>("Width"));
    EXPECT_EQ(made.Get<int64_t>("Height"), dest.Get<int64_t>("Height"));
    // The new image's channel bytes are the destination's; its other bytes are not looked at.
    if (destFormat == source.Get<int64_t>("ImageFormat")) ExpectSameChannels(made, dest);
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

TEST_F(Geometry, EveryFormatAndTurnAgainstTheMapping) {
  const int64_t sizes[][2] = {{13, 7}, {1, 1}, {1, 6}, {5, 1}, {2, 3}, {37, 23}};
  uint32_t seed = 1;
  for (int64_t code : EightBitFormats()) {
    for (const auto& size : sizes) {
      SCOPED_TRACE("format " + std::to_string(code) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref source = NewImage(size[0], size[1], code);
      RandomizeWholeRows(source, ++seed);
      for (const TurnCase& turn : kTurns) CheckTurn(source, turn, code, ++seed);
    }
  }
}

TEST_F(Geometry, InPlaceMirrorsAndHalfTurn) {
  const int64_t sizes[][2] = {{13, 7}, {1, 1}, {1, 6}, {6, 1}, {4, 4}, {130, 3}};
  uint32_t seed = 100;
  for (int64_t code : EightBitFormats()) {
    for (const auto& size : sizes) {
      SCOPED_TRACE("format " + std::to_string(code) + ", " + std::to_string(size[0]) + " x " +
                   std::to_string(size[1]));
      Ref image = NewImage(size[0], size[1], code);
      RandomizeWholeRows(image, ++seed);
      ImageSnapshot expected = ExpectedInPlace(image, true, false);
      image.Call("HMirror");
      ExpectSameBytes(expected, image, "HMirror");
      expected = ExpectedInPlace(image, false, true);
      image.Call("VMirror");
      ExpectSameBytes(expected, image, "VMirror");
      expected = ExpectedInPlace(image, true, true);
      image.Call("Rotate180");
      ExpectSameBytes(expected, image, "Rotate180");
    }
  }
}

TEST_F(Geometry, DestinationsOfOtherByteOrders) {
  Ref source = NewImage(9, 4, kBGR);
  RandomizeWholeRows(source, 6);
  // An RGBA destination has the source's channels; its alpha stays as it was.
  for (const TurnCase& turn : kTurns) CheckTurn(source, turn, kRGBA, 9);
  Ref cmyk = NewImage(9, 4, kCMYK);
  RandomizeWholeRows(cmyk, 7);
  for (const TurnCase& turn : kTurns) CheckTurn(cmyk, turn, kCMYKX, 9);
  for (const TurnCase& turn : kTurns) CheckTurn(cmyk, turn, kKYMCA, 9);
  Ref gray = NewImage(9, 4, kG);
  RandomizeWholeRows(gray, 8);
  for (const TurnCase& turn : kTurns) CheckTurn(gray, turn, kGA, 9);
}

TEST_F(Geometry, LargerDestinationsTakeTheTopLeft) {
  Ref source = NewImage(6, 4, kRGBA);
  RandomizeWholeRows(source, 1);
  Ref dest = NewImage(10, 10, kRGBA);
  RandomizeWholeRows(dest, 2);
  ImageSnapshot expected(dest);
  ImageSnapshot from(source);
  for (int64_t y = 0; y < 4; ++y) {
    for (int64_t x = 0; x < 6; ++x) std::memcpy(expected.Pixel(y, 5 - x), from.Pixel(x, y), 4);
  }
  EXPECT_EQ(source.Call<Ref>("Rotate90", dest).get(), dest.get());
  ExpectSameBytes(expected, dest, "larger destination");
}

TEST_F(Geometry, RefusedSourcesAndDestinations) {
  Ref sixteen = NewImage(4, 3, kGray16);
  RandomizeWholeRows(sixteen, 1);
  ImageSnapshot before(sixteen);
  for (const TurnCase& turn : kTurns) EXPECT_FALSE(sixteen.Call<Ref>(turn.name, nullptr));
  sixteen.Call("HMirror");
  sixteen.Call("VMirror");
  sixteen.Call("Rotate180");
  ExpectSameBytes(before, sixteen, "16-bit gray");

  Ref source = NewImage(6, 4, kRGBA);
  RandomizeWholeRows(source, 2);
  struct Refusal {
    const char* why;
    Ref dest;
  };
  std::vector<Refusal> refusals = {
      {"one column short", NewImage(3, 6, kRGBA)},
      {"one row short", NewImage(4, 5, kRGBA)},
      {"no alpha", NewImage(4, 6, kRGB)},
      {"gray", NewImage(4, 6, kGA)},
      {"CMYK", NewImage(4, 6, kCMYKA)},
      {"not valid", NewImage(4, 6, 14)},
  };
  for (Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.why);
    bool valid = refusal.dest.Get<bool>("Valid");
    std::vector<uint8_t> destBefore =
        valid ? ImageSnapshot(refusal.dest).data : std::vector<uint8_t>{};
    for (const char* name : {"Rotate90", "Rotate270", "Rotate90slow", "Rotate270slow"}) {
      EXPECT_FALSE(source.Call<Ref>(name, refusal.dest));
    }
    if (valid) {
      EXPECT_EQ(ImageSnapshot(refusal.dest).data, destBefore);
    }
  }
  EXPECT_FALSE(source.Call<Ref>("Rotate180", NewImage(5, 4, kRGBA)));
  // The source itself is not a destination.
  Ref square = NewImage(5, 5, kRGBA);
  RandomizeWholeRows(square, 3);
  ImageSnapshot squareBefore(square);
  EXPECT_FALSE(square.Call<Ref>("Rotate90", square));
  EXPECT_FALSE(square.Call<Ref>("Rotate180", square));
  // Nor is any view of it: its mirrored view, a clip of it, or a view as the source.
  Ref mirrored = square.Call<Ref>("MirroredView");
  EXPECT_FALSE(square.Call<Ref>("Rotate90", mirrored));
  EXPECT_FALSE(square.Call<Ref>("Rotate180", mirrored));
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate270", square));
  Ref clip = square.Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{5}, int64_t{5});
  EXPECT_FALSE(mirrored.Call<Ref>("Rotate90slow", clip));
  ExpectSameBytes(squareBefore, square, "source as destination");

  // A source without a family still returns the destination, unchanged.
  Ref raw = NewImage(3, 2, kScaling3);
  Ref rawDest = NewImage(2, 3, kScaling3);
  RandomizeWholeRows(rawDest, 4);
  ImageSnapshot rawBefore(rawDest);
  EXPECT_EQ(raw.Call<Ref>("Rotate90", rawDest).get(), rawDest.get());
  ExpectSameBytes(rawBefore, rawDest, "no family");

  // Closed images: the source and the destination.
  Ref closed = NewImage(4, 6, kRGBA);
  closed.Call("Close");
  EXPECT_FALSE(source.Call<Ref>("Rotate90", closed));
  EXPECT_FALSE(closed.Call<Ref>("Rotate90", nullptr));
  closed.Call("HMirror");
  closed.Call("VMirror");
  closed.Call("Rotate180");
}

}  // namespace
