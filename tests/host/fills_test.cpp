// Fills and pixel operations through the host: what each overload writes in every format, the
// rectangle rule, and the edge cases, with values worked out by hand.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support/format_codes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

// Pixels as their channel values in the family's order, alpha last.
using Pixels = std::vector<std::vector<int>>;

// Sets pixels x, x + 1, ... of row y.
void SetPixels(const Ref& image, int64_t x, int64_t y, const Pixels& pixels) {
  Layout l = LayoutOf(image);
  for (const std::vector<int>& values : pixels) {
    uint8_t* pixel = Row(image, y) + x++ * l.pixelSize;
    for (size_t c = 0; c < values.size(); ++c) pixel[l.channels[c]] = uint8_t(values[c]);
  }
}

// `count` pixels of row y from x on.
Pixels GetPixels(const Ref& image, int64_t x, int64_t y, int64_t count = 1) {
  Layout l = LayoutOf(image);
  Pixels out;
  for (; count > 0; --count, ++x) {
    out.emplace_back();
    for (int64_t offset : l.channels) out.back().push_back(Row(image, y)[x * l.pixelSize + offset]);
  }
  return out;
}

// The next `count` bytes that the C library's generator, seeded with `seed`, gives; seeded again
// after, so that the plug-in draws the same bytes.
std::vector<int> Draws(unsigned seed, int count) {
  std::srand(seed);
  std::vector<int> draws;
  while (count-- > 0) draws.push_back(static_cast<uint8_t>(std::rand()));
  std::srand(seed);
  return draws;
}

// Applies `change(pixel, layout)` to every pixel of an in-bounds rectangle of a snapshot.
template <class Change>
void ForRect(ImageSnapshot& bytes, int64_t x, int64_t y, int64_t w, int64_t h, Change change) {
  for (int64_t j = y; j < y + h; ++j) {
    for (int64_t i = x; i < x + w; ++i) change(bytes.Pixel(i, j), bytes.layout);
  }
}

class Fills : public PluginTest {};

// One fill of a rectangle or of the whole 23 x 9 image. FillRect writes the low byte of
// `value` into every channel of the family; FillRectRGB (`rgb`) writes red (bits 16-23, the top
// byte ignored), green and blue into RGB images and leaves the others alone. A separate alpha
// (when not -1) goes into an alpha channel.
struct FillCase {
  void (*call)(const Ref&);
  int64_t x, y, width, height;
  int value, alpha;
  bool rgb;
};

TEST_F(Fills, FillsInEveryFormat) {
  using C = Color;
  using R = const Ref&;
  const FillCase cases[] = {
      {[](R i) { i.Call("FillRect", 3, 2, 17, 5, 0x1A7); }, 3, 2, 17, 5, 0xA7, -1, false},
      {[](R i) { i.Call("FillRect", 0, 4, 23, 5, 0x31, 0xC4); }, 0, 4, 23, 5, 0x31, 0xC4, false},
      {[](R i) { i.Call("FillRect", 9); }, 0, 0, 23, 9, 9, -1, false},
      {[](R i) { i.Call("FillRect", 5, 6); }, 0, 0, 23, 9, 5, 6, false},
      {[](R i) { i.Call("FillRectRGB", 1, 1, 3, 2, 10, 20, 30); }, 1, 1, 3, 2, 0x0A141E, -1, true},
      {[](R i) { i.Call("FillRectRGB", 0, 0, 2, 2, 40, 50, 300, 70); }, 0, 0, 2, 2, 0x28322C, 70,
       true},
      {[](R i) { i.Call("FillRectRGB", 2, 3, 5, 2, C{0xFF112233}); }, 2, 3, 5, 2, 0x112233, -1,
       true},
      {[](R i) { i.Call("FillRectRGB", 4, 0, 3, 1, C{0x445566}, 0x77); }, 4, 0, 3, 1, 0x445566,
       0x77, true},
      {[](R i) { i.Call("FillRectRGB", 1, 2, 3); }, 0, 0, 23, 9, 0x010203, -1, true},
      {[](R i) { i.Call("FillRectRGB", 4, 5, 6, 7); }, 0, 0, 23, 9, 0x040506, 7, true},
      {[](R i) { i.Call("FillRectRGB", C{0x0A0B0C}); }, 0, 0, 23, 9, 0x0A0B0C, -1, true},
      {[](R i) { i.Call("FillRectRGB", C{0x0D0E0F}, 9); }, 0, 0, 23, 9, 0x0D0E0F, 9, true},
  };
  for (int64_t code : AllFormats()) {
    SCOPED_TRACE("format " + std::to_string(code));
    Ref image = NewImage(23, 9, code);
    RandomizeWholeRows(image, static_cast<uint32_t>(code));
    ImageSnapshot expected(image);
    for (const FillCase& c : cases) {
      ForRect(expected, c.x, c.y, c.width, c.height, [&](uint8_t* p, const Layout& l) {
        if (c.rgb && !l.rgb) return;
        if (c.rgb) {
          p[l.red] = static_cast<uint8_t>(c.value >> 16);
          p[l.green] = static_cast<uint8_t>(c.value >> 8);
          p[l.blue] = static_cast<uint8_t>(c.value);
        } else {
          for (int64_t offset : l.channels) p[offset] = static_cast<uint8_t>(c.value);
        }
        if (c.alpha >= 0 && l.alpha && !l.channels.empty()) {
          p[l.alphaOffset] = static_cast<uint8_t>(c.alpha);
        }
      });
      c.call(image);
      ExpectSameBytes(expected, image, "case " + std::to_string(&c - cases));
    }
  }
}

// (x, y, width, height) and the pixels filled: a negative size is the mirrored rectangle, a
// rectangle partly outside is cut, one entirely outside or absurd fills nothing and breaks nothing.
TEST_F(Fills, RectanglesAreFlippedAndCut) {
  constexpr int64_t kMin = INT64_MIN, kMax = INT64_MAX;
  const int64_t cases[][8] = {{10, 10, -5, -5, 5, 5, 5, 5},
                              {-4, 17, 7, 10, 0, 17, 3, 3},
                              {20, 0, 5, 5, 0, 0, 0, 0},
                              {0, -10, 5, 10, 0, 0, 0, 0},
                              {kMin, kMin, kMin, kMin, 0, 0, 0, 0},
                              {kMax, kMax, kMax, kMax, 0, 0, 0, 0},
                              {kMin, kMin, kMax, kMax, 0, 0, 0, 0}};
  Ref image = NewImage(20, 20, kG);
  for (const auto& c : cases) {
    image.Call("FillRect", 0);
    ImageSnapshot expected(image);
    ForRect(expected, c[4], c[5], c[6], c[7], [](uint8_t* p, const Layout&) { *p = 200; });
    image.Call("FillRect", c[0], c[1], c[2], c[3], 200);
    ExpectSameBytes(expected, image, std::to_string(c[0]) + ", " + std::to_string(c[1]));
  }
  image.Call("FillRect", 9);
  ImageSnapshot before(image);
  image.Call("ClearRect", -30, 0, 10, 20);
  image.Call("Invert", 0, 20, 20, 1);
  ExpectSameBytes(before, image, "outside");
}

// A clip's fills reach its parent's bytes; a channel view is one of the one-of-n formats that
// FillsInEveryFormat fills.
TEST_F(Fills, ClipsFillTheirParentsPixels) {
  Ref image = NewImage(30, 20, kRGBA);
  RandomizeWholeRows(image, 7);
  ImageSnapshot expected(image);
  Ref clip = image.Call<Ref>("ClipImage", 10, 5, 12, 8);
  clip.Call("FillRect", 2, 1, 4, 3, 0x55);
  ForRect(expected, 12, 6, 4, 3, [](uint8_t* p, const Layout&) { std::memset(p, 0x55, 4); });
  ExpectSameBytes(expected, image, "clip FillRect");
  clip.Call("Invert");
  ForRect(expected, 10, 5, 12, 8, [](uint8_t* p, const Layout&) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(~p[i]);
  });
  ExpectSameBytes(expected, image, "clip Invert");
  // ClearRect of a rectangle counts from the row's start, not from the clip's first channel.
  clip.Call("ClearRect", 0, 0, 3, 2);
  ForRect(expected, 0, 5, 3, 2, [](uint8_t* p, const Layout&) { std::memset(p, 0, 4); });
  ExpectSameBytes(expected, image, "clip ClearRect");
}

// The generator is the C library's, shared with the plug-in in this process: seeding it here
// predicts every byte, in the order the bytes are drawn.
TEST_F(Fills, RandomBytesInDrawingOrder) {
  // Block path of an in-memory RGBA image: bytes x*4 up to width*4 of each row, in memory order.
  Ref image = NewImage(12, 4, kRGBA);
  image.Call("FillRect", 0);
  std::vector<int> draws = Draws(1234, 40);
  image.Call("FillRectRandom", 2, 1, 7, 2);
  ImageSnapshot expected(image);
  std::fill(expected.data.begin(), expected.data.end(), 0);
  size_t next = 0;
  for (int64_t y = 1; y < 3; ++y) {
    for (int64_t i = 2 * 4; i < 7 * 4; ++i) expected.Row(y)[i] = uint8_t(draws[next++]);
  }
  ExpectSameBytes(expected, image, "block path: pixels x ... width - 1");
  // x at or past the width: nothing.
  image.Call("FillRect", 0);
  image.Call("FillRectRandom", 6, 0, 5, 4);
  EXPECT_EQ(ImageSnapshot(image).data, std::vector<uint8_t>(expected.data.size(), 0));

  // Per-pixel path of KYMC: cyan, magenta, yellow, black are bytes 3, 2, 1, 0.
  Ref kymc = NewImage(5, 3, kKYMC);
  kymc.Call("FillRect", 0);
  draws = Draws(99, 12);
  kymc.Call("FillRectRandom", 1, 1, 3, 1);
  Pixels want = {{0, 0, 0, 0}};
  for (auto d = draws.begin(); d != draws.end(); d += 4) want.emplace_back(d, d + 4);
  want.push_back({0, 0, 0, 0});
  EXPECT_EQ(GetPixels(kymc, 0, 1, 5), want);
  // The whole-image form reaches every pixel of an image whose rows start at x = 0.
  draws = Draws(5, 18);
  Ref rgb = NewImage(3, 2, kRGB);
  rgb.Call("FillRectRandom");
  for (int64_t i = 0; i < 6; ++i) {
    EXPECT_EQ(GetPixels(rgb, i % 3, i / 3)[0], std::vector<int>(&draws[3 * i], &draws[3 * i + 3]));
  }
}

TEST_F(Fills, BlendLosesOneAtBothEnds) {
  Ref image = NewImage(4, 2, kRGBA);
  SetPixels(image, 0, 0, {{0, 1, 255, 77}, {128, 200, 10, 5}});
  // Alpha 255: colour - 1 for colours of at least 1; alpha untouched.
  EXPECT_TRUE(image.Call<bool>("FillRectApply", 0, 0, 2, 1, 0, 1, 255, 255));
  EXPECT_EQ(GetPixels(image, 0, 0, 2), (Pixels{{0, 0, 254, 77}, {0, 0, 254, 5}}));
  // Alpha 0: every value of at least 1 drops by one, whatever the colour.
  SetPixels(image, 0, 0, {{0, 1, 255, 77}});
  EXPECT_TRUE(image.Call<bool>("FillRectApply", 0, 0, 1, 1, 255, 255, 255, 0));
  EXPECT_EQ(GetPixels(image, 0, 0)[0], (std::vector<int>{0, 0, 254, 77}));
  // Alpha 128 over 0, 1, 100, 255 with colour 200 gives 100, 100, 150, 227.
  SetPixels(image, 0, 1, {{0, 1, 100, 9}, {255, 255, 255, 9}});
  EXPECT_TRUE(image.Call<bool>("FillRectApply", 0, 1, 2, 1, Color{0xC8C8C8}, 128));
  EXPECT_EQ(GetPixels(image, 0, 1, 2), (Pixels{{100, 100, 150, 9}, {227, 227, 227, 9}}));

  // Gray: (77 x 200 + 151 x 100 + 28 x 50) / 256 = 124, then blended: 62, 62, 112, 189.
  Ref gray = NewImage(4, 1, kG);
  SetPixels(gray, 0, 0, {{0}, {1}, {100}, {255}});
  EXPECT_TRUE(gray.Call<bool>("FillRectApply", Color{0xC86432}, 128));
  EXPECT_EQ(GetPixels(gray, 0, 0, 4), (Pixels{{62}, {62}, {112}, {189}}));

  // True for an empty rectangle; false for CMYK and for an image that is not valid.
  ImageSnapshot before(image);
  EXPECT_TRUE(image.Call<bool>("FillRectApply", 2, 0, 0, 2, 1, 2, 3, 4));
  EXPECT_TRUE(image.Call<bool>("FillRectApply", 9, 9, 2, 2, 1, 2, 3, 4));
  ExpectSameBytes(before, image, "empty rectangle");
  EXPECT_FALSE(NewImage(2, 2, kCMYK).Call<bool>("FillRectApply", 1, 2, 3, 4));
  EXPECT_FALSE(NewImage(2, 2, kScaling4).Call<bool>("FillRectApply", Color{1}, 4));
  EXPECT_FALSE(NewImage(0, 2, kRGB).Call<bool>("FillRectApply", 1, 2, 3, 4));
}

TEST_F(Fills, ClearZeroesRowsOrPixels) {
  Ref image = NewImage(5, 3, kRGB);  // 15 bytes of pixels in rows of 64
  RandomizeWholeRows(image, 8);
  ImageSnapshot expected(image);
  ASSERT_EQ(expected.layout.rowSize, 64);
  ForRect(expected, 1, 1, 3, 2, [](uint8_t* p, const Layout&) { std::memset(p, 0, 3); });
  image.Call("ClearRect", 1, 1, 3, 5);
  ExpectSameBytes(expected, image, "rectangle");
  // The whole form clears the padding too.
  image.Call("ClearRect");
  EXPECT_EQ(ImageSnapshot(image).data, std::vector<uint8_t>(64 * 3, 0));

  // A padding byte of the pixel (RGBX) is cleared by the rectangle form as well.
  Ref padded = NewImage(3, 1, kRGBX);
  RandomizeWholeRows(padded, 9);
  padded.Call("ClearRect", 0, 0, 3, 1);
  EXPECT_EQ(RowBytes(padded, 0, 12), Bytes(12, 0));
}

TEST_F(Fills, InvertEveryFormatAgainstTheReference) {
  for (int64_t code : AllFormats()) {
    SCOPED_TRACE("format " + std::to_string(code));
    Ref image = NewImage(21, 5, code);
    RandomizeWholeRows(image, static_cast<uint32_t>(code) + 100);
    ImageSnapshot expected(image);
    ForRect(expected, 1, 1, 19, 3, [](uint8_t* p, const Layout& l) {
      std::vector<int64_t> bytes = l.channels;
      if (l.bits == 16) bytes.push_back(l.grayOffset + 1);  // the whole sample: both its bytes
      for (int64_t offset : bytes) p[offset] = static_cast<uint8_t>(255 - p[offset]);
    });
    image.Call("Invert", 1, 1, 19, 3);
    ExpectSameBytes(expected, image, "Invert");
    image.Call("Invert");
    image.Call("Invert");
    ExpectSameBytes(expected, image, "Invert twice");
  }
  Ref sixteen = NewImage(1, 1, kGray16);
  uint16_t sample = 0x1234;
  std::memcpy(Row(sixteen, 0), &sample, 2);
  sixteen.Call("Invert");
  std::memcpy(&sample, Row(sixteen, 0), 2);
  EXPECT_EQ(sample, 0xEDCB);
}

// The values are the unit tests' (tables and formulas); here every family with alpha in its byte
// orders: 200 at alpha 128 premultiplies to 100, alpha kept; images without alpha are left alone.
TEST_F(Fills, PremultiplicationRoundTrip) {
  for (int64_t code : {kRGBA, kGA, kAG, kCMYKA}) {
    Ref other = NewImage(2, 2, code);
    std::vector<int> values(LayoutOf(other).channels.size(), 200);
    values.back() = 128;
    SetPixels(other, 1, 1, {values});
    other.Call("Multiply", 1, 1, 1, 1);
    std::vector<int> want(values.size(), 100);
    want.back() = 128;
    EXPECT_EQ(GetPixels(other, 1, 1)[0], want) << code;
    other.Call("Unmultiply");
    EXPECT_EQ(GetPixels(other, 1, 1)[0], values) << code;
  }
  Ref opaque = NewImage(3, 2, kRGB);
  RandomizeWholeRows(opaque, 1);
  ImageSnapshot before(opaque);
  opaque.Call("Multiply");
  opaque.Call("Unmultiply", 0, 0, 3, 2);
  ExpectSameBytes(before, opaque, "no alpha");
}

TEST_F(Fills, AutoLevelStretch) {
  // 200 gray pixels: one of 10, one of 20, 196 of 100, one of 200, one of 250. The limits are 1
  // and 199, so lo = 18 (20 has luminance 19) and hi = 249; the scale is 255 / 231.
  Ref image = NewImage(10, 20, kRGBA);
  image.Call("FillRectRGB", 100, 100, 100, 33);
  SetPixels(image, 0, 0,
            {{10, 10, 10, 33}, {20, 20, 20, 33}, {200, 200, 200, 33}, {250, 250, 250, 33}});
  EXPECT_TRUE(image.Call<bool>("AutoLevel"));
  EXPECT_EQ(GetPixels(image, 0, 0, 4),
            (Pixels{{0, 0, 0, 33}, {2, 2, 2, 33}, {200, 200, 200, 33}, {255, 255, 255, 33}}));
  EXPECT_EQ(GetPixels(image, 9, 19)[0], (std::vector<int>{90, 90, 90, 33}));

  // One colour: hi = lo = luminance - 1 and the scale is infinite. Values above become 255,
  // values below 0, and lo itself 0.
  Ref flat = NewImage(3, 3, kRGB);
  flat.Call("FillRectRGB", 10, 200, 30);  // luminance 164
  EXPECT_TRUE(flat.Call<bool>("AutoLevel", 0, 0, 3, 3));
  EXPECT_EQ(GetPixels(flat, 1, 1)[0], (std::vector<int>{0, 255, 0}));
  flat.Call("FillRectRGB", 196, 200, 0);  // luminance 197, so red is lo
  EXPECT_TRUE(flat.Call<bool>("AutoLevel"));
  EXPECT_EQ(GetPixels(flat, 2, 2)[0], (std::vector<int>{0, 255, 0}));

  for (int64_t code : {kG, kCMYK, kGray16}) {
    EXPECT_FALSE(NewImage(3, 3, code).Call<bool>("AutoLevel")) << code;
  }
  EXPECT_FALSE(flat.Call<bool>("AutoLevel", 3, 0, 2, 2));
}

TEST_F(Fills, GrayConversionModes) {
  Ref image = NewImage(5, 1, kARGB);
  const Pixels colours = {
      {255, 255, 255, 1}, {255, 0, 0, 2}, {0, 255, 0, 3}, {0, 0, 255, 4}, {10, 200, 30, 5}};
  // Gray per colour and mode, worked out from the five formulas.
  const int expected[5][5] = {{255, 85, 127, 42, 108},
                              {255, 95, 127, 31, 107},
                              {254, 54, 182, 18, 147},
                              {255, 76, 149, 29, 123},
                              {255, 76, 150, 28, 124}};
  for (int64_t mode = 0; mode <= 4; ++mode) {
    SetPixels(image, 0, 0, colours);
    EXPECT_TRUE(image.Call<bool>("RGBToGray", mode));
    for (int64_t x = 0; x < 5; ++x) {
      int g = expected[mode][x];
      EXPECT_EQ(GetPixels(image, x, 0)[0], (std::vector<int>{g, g, g, colours[x][3]}))
          << "mode " << mode << ", pixel " << x;
    }
  }
  ImageSnapshot before(image);
  EXPECT_FALSE(image.Call<bool>("RGBToGray", 5));
  EXPECT_FALSE(image.Call<bool>("RGBToGray", -1));
  ExpectSameBytes(before, image, "bad mode");
  EXPECT_FALSE(NewImage(2, 2, kGA).Call<bool>("RGBToGray", 0));
  EXPECT_FALSE(NewImage(2, 2, kCMYK).Call<bool>("RGBToGray", 0));
}

TEST_F(Fills, CompareImagesCountsPixels) {
  Ref a = NewImage(7, 5, kRGBA);
  Ref b = NewImage(7, 5, kBGRA);
  RandomizeWholeRows(a, 1);
  RandomizeWholeRows(b, 2);
  EXPECT_EQ(a.Call<int64_t>("CompareImages", b), 35);
  EXPECT_EQ(a.Call<int64_t>("CompareImages", a), 35);
  EXPECT_EQ(a.Call<int64_t>("CompareImages", nullptr), -1);
  // Alpha, height or family differ.
  for (Ref other : {NewImage(7, 5, kRGB), NewImage(7, 6, kRGBA), NewImage(7, 5, kCMYKA)}) {
    EXPECT_EQ(a.Call<int64_t>("CompareImages", other), -1);
  }
  EXPECT_EQ(NewImage(3, 3, kG).Call<int64_t>("CompareImages", NewImage(3, 3, kGray16)), -1);
  EXPECT_EQ(NewImage(3, 3, kScaling4).Call<int64_t>("CompareImages", NewImage(3, 3, kScaling4)),
            -1);
  Ref invalid = NewImage(7, 5, 14);
  ASSERT_FALSE(invalid.Get<bool>("Valid"));
  EXPECT_EQ(a.Call<int64_t>("CompareImages", invalid), 0);
  EXPECT_EQ(invalid.Call<int64_t>("CompareImages", a), 0);
  // A clip of no width compares as 0 pixels.
  Ref empty = a.Call<Ref>("ClipImage", 7, 0, 1, 5);
  ASSERT_EQ(empty.Get<int64_t>("Width"), 0);
  EXPECT_EQ(empty.Call<int64_t>("CompareImages", b.Call<Ref>("ClipImage", 7, 0, 1, 5)), 0);
}

// An image whose storage is gone keeps Valid but has no row accessor: every operation refuses.
TEST_F(Fills, ClosedImagesAreRefused) {
  Ref image = NewImage(4, 4, kRGBA);
  Ref other = NewImage(4, 4, kRGBA);
  image.Call("Close");
  image.Call("FillRect", 1);
  image.Call("FillRect", 1, 2);
  image.Call("FillRectRGB", 1, 2, 3);
  image.Call("ClearRect", 0, 0, 2, 2);
  for (const char* member : {"FillRectRandom", "ClearRect", "Invert", "Multiply", "Unmultiply"}) {
    image.Call(member);
  }
  EXPECT_FALSE(image.Call<bool>("FillRectApply", 1, 2, 3, 4));
  EXPECT_FALSE(image.Call<bool>("AutoLevel"));
  EXPECT_FALSE(image.Call<bool>("RGBToGray", 0));
  EXPECT_EQ(image.Call<int64_t>("CompareImages", other), -1);
  EXPECT_EQ(other.Call<int64_t>("CompareImages", image), -1);
}

}  // namespace
