// CopyPixels through the host: every pair of formats, views, clips and file-mapped images against
// a plain reference written from the copy tables (refused pairs change nothing), the gray recipes
// by hand, and copies within one image.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/composite_participants.h"
#include "support/format_codes.h"
#include "support/plugin_fixture.h"

namespace {

using namespace composite_test;

uint8_t Gray(int red, int green, int blue) {
  return static_cast<uint8_t>((77 * red + 151 * green + 28 * blue) >> 8);
}

// The destination pixel after one source pixel is copied into it, straight from the two tables;
// false for a pair that copies nothing.
bool ReferencePixel(const Layout& d, const Layout& s, const uint8_t* sp, uint8_t* dp) {
  const bool alpha = d.alpha && s.alpha;
  if (d.rgb && s.rgb) {
    dp[d.red] = sp[s.red];
    dp[d.green] = sp[s.green];
    dp[d.blue] = sp[s.blue];
  } else if (d.rgb && s.gray) {
    dp[d.red] = dp[d.green] = dp[d.blue] = sp[s.grayOffset];
  } else if (d.cmyk && s.cmyk) {
    dp[d.cyan] = sp[s.cyan];
    dp[d.magenta] = sp[s.magenta];
    dp[d.yellow] = sp[s.yellow];
    dp[d.black] = sp[s.black];
  } else if (d.cmyk && s.gray) {
    dp[d.cyan] = dp[d.magenta] = dp[d.yellow] = 0;
    dp[d.black] = sp[s.grayOffset];
  } else if (d.gray && s.gray && !alpha && d.bits == 16) {
    // 16 to 16 keeps the sample; 8 to 16 widens by 257.
    const auto wide = static_cast<uint16_t>(sp[s.grayOffset] * 257);
    if (s.bits == 16) {
      std::memcpy(dp + d.grayOffset, sp + s.grayOffset, 2);
    } else {
      std::memcpy(dp + d.grayOffset, &wide, 2);
    }
  } else if (d.gray && s.gray) {
    dp[d.grayOffset] = sp[s.grayOffset];
  } else if (d.gray && (s.rgb || (alpha && s.cmyk))) {
    // With alpha on both sides, a CMYK source gives whatever its red, green and blue offsets hold.
    dp[d.grayOffset] = Gray(sp[s.red], sp[s.green], sp[s.blue]);
  } else if (d.gray && s.cmyk) {
    dp[d.grayOffset] = sp[s.black];
  } else {
    return false;
  }
  if (alpha) dp[d.alphaOffset] = sp[s.alphaOffset];
  return true;
}

std::vector<Participant> Participants() {
  std::vector<Participant> all;
  for (int64_t code = 1; code <= 48; ++code) {
    if (code == 14 || (code > 33 && code <= 40)) continue;  // one Scaling format is enough
    all.push_back(Format(code));
  }
  // Gray views whose pixels are several bytes apart, a 16-bit one among them; clips, whose offsets
  // reach past PixelSize; file-mapped images.
  all.insert(
      all.end(),
      {View(kRGBA, "RedChannel"), View(kARGB, "AlphaChannel"), View(kXRGB, "BlueChannel"),
       View(kCMYKA, "BlackChannel"), View(kGray16, "GrayChannel"), View(kRGBA, "RGBChannels"),
       View(kBGRA, "MirroredView"), Mapped(kXRGB), Mapped(kGray16), Mapped(kRGBA)});
  for (int64_t code : {kBGRA, kRGB, kGA, kG, kKYMC, kCMYKA, kGray16}) all.push_back(Clip(code));
  return all;
}

int64_t OddSize(std::mt19937& rng) { return 1 + 2 * static_cast<int64_t>(rng() % 9); }

int64_t Between(std::mt19937& rng, int64_t low, int64_t high) {
  return low + static_cast<int64_t>(rng() % static_cast<uint64_t>(high - low + 1));
}

class CopyPixelsTest : public PluginTest {};

TEST_F(CopyPixelsTest, EveryPairMatchesTheReference) {
  std::mt19937 rng(20240531);
  std::vector<Participant> all = Participants();
  for (const Participant& to : all) {
    for (const Participant& from : all) {
      SCOPED_TRACE(from.Name() + " into " + to.Name());
      Ref dest = to.Make(host_, OddSize(rng), OddSize(rng));
      Ref source = from.Make(host_, OddSize(rng), OddSize(rng));
      ASSERT_TRUE(dest && source);
      RandomizeWholeRows(dest, rng());
      RandomizeWholeRows(source, rng());
      ImageSnapshot before(dest), sourceBefore(source), expected(dest);
      const Layout &d = before.layout, &s = sourceBefore.layout;
      const int64_t x = Between(rng, 0, d.width - 1), sourceX = Between(rng, 0, s.width - 1);
      const int64_t width = Between(rng, 1, std::min(d.width - x, s.width - sourceX));
      const int64_t y = Between(rng, 0, d.height - 1), sourceY = Between(rng, 0, s.height - 1);
      const int64_t height = Between(rng, 1, std::min(d.height - y, s.height - sourceY));
      bool copied = true;
      for (int64_t row = 0; row < height && copied; ++row) {
        for (int64_t i = 0; i < width && copied; ++i) {
          copied = ReferencePixel(d, s, sourceBefore.Pixel(sourceX + i, sourceY + row),
                                  expected.Pixel(x + i, y + row));
        }
      }
      EXPECT_EQ(dest.Call<bool>("CopyPixels", source, x, y, width, height, sourceX, sourceY),
                copied);
      ASSERT_EQ(ImageSnapshot(dest).data, copied ? expected.data : before.data);
      ASSERT_EQ(ImageSnapshot(source).data, sourceBefore.data);
    }
  }
}

TEST_F(CopyPixelsTest, ShortFormsCopyFromTheTopLeftCorner) {
  Ref source = GrayImage(host_, 4, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  // The whole-image form: the overlapping top-left 3 x 2.
  Ref small = GrayImage(host_, 3, 2, {0, 0, 0, 0, 0, 0});
  EXPECT_TRUE(small.Call<bool>("CopyPixels", source));
  EXPECT_EQ(PixelBytes(small), (Bytes{1, 2, 3, 5, 6, 7}));
  // A larger destination keeps what the source does not cover.
  const uint8_t E = 0xEE;
  Ref large = GrayImage(host_, 5, 4, Bytes(20, E));
  EXPECT_TRUE(large.Call<bool>("CopyPixels", source));
  EXPECT_EQ(PixelBytes(large),
            (Bytes{1, 2, 3, 4, E, 5, 6, 7, 8, E, 9, 10, 11, 12, E, E, E, E, E, E}));
  // The five-argument form reads from the source's origin.
  Ref placed = GrayImage(host_, 5, 4, Bytes(20, 0));
  EXPECT_TRUE(placed.Call<bool>("CopyPixels", source, 2, 1, 2, 2));
  EXPECT_EQ(PixelBytes(placed),
            (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 0, 5, 6, 0, 0, 0, 0, 0, 0}));
}

// The rectangle rule itself is the unit tests'; here its six arguments reach it in their order.
// Source pixel (column c, row r) holds 6 r + c + 1.
TEST_F(CopyPixelsTest, RectangleRuleThroughTheHost) {
  Bytes values(24);
  for (int i = 0; i < 24; ++i) values[i] = static_cast<uint8_t>(i + 1);
  Ref source = GrayImage(host_, 6, 4, values);
  // 3 x 1 at (1, 2) from (2, 1): 9, 10, 11 into bytes 13 to 15.
  Ref dest = GrayImage(host_, 6, 4, Bytes(24, 0xEE));
  EXPECT_TRUE(dest.Call<bool>("CopyPixels", source, 1, 2, 3, 1, 2, 1));
  Bytes want(24, 0xEE);
  want[13] = 9, want[14] = 10, want[15] = 11;
  EXPECT_EQ(PixelBytes(dest), want);
  // Sizes -2 x -2 count back from (4, 3): 2 x 2 at (2, 1) from the source's corner.
  dest = GrayImage(host_, 6, 4, Bytes(24, 0xEE));
  EXPECT_TRUE(dest.Call<bool>("CopyPixels", source, 4, 3, -2, -2, 0, 0));
  want.assign(24, 0xEE);
  want[8] = 1, want[9] = 2, want[14] = 7, want[15] = 8;
  EXPECT_EQ(PixelBytes(dest), want);
  // A rectangle below self copies nothing (the other empty cuts are the unit tests').
  dest = GrayImage(host_, 6, 4, Bytes(24, 0xEE));
  EXPECT_FALSE(dest.Call<bool>("CopyPixels", source, 0, 4, 5, 1, 0, 0));
  EXPECT_FALSE(dest.Call<bool>("CopyPixels", nullptr));
  EXPECT_EQ(PixelBytes(dest), Bytes(24, 0xEE));
}

// The gray recipes by hand, into destinations whose bytes were all 0x77: RGB to gray by
// (77 R + 151 G + 28 B) >> 8, so red 76, green 150, blue 27; the same with alpha on both sides,
// alpha taken over; gray into CMYK as black, no colour, not inverted; 8 to 16 bits widens by 257;
// 16 to 8 bits keeps the sample's first byte in memory, 16 to 16 the whole sample; RGB into 16-bit
// gray writes one byte at the gray offset.
TEST_F(CopyPixelsTest, GrayRecipes) {
  struct Case {
    int64_t to, from, width;
    Bytes source, expected;
  };
  const Case cases[] = {
      {kG,
       kRGB,
       5,
       {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 1, 1, 1},
       {76, 150, 27, 255, 1}},
      {kAG, kARGB, 2, {9, 255, 0, 0, 200, 0, 0, 255}, {9, 76, 200, 27}},
      {kCMYK, kG, 2, {255, 0x40}, {0, 0, 0, 255, 0, 0, 0, 0x40}},
      {kGray16, kG, 2, {0x12, 0xFF}, {0x12, 0x12, 0xFF, 0xFF}},
      {kG, kGray16, 2, {0x56, 0x34, 0x01, 0x02}, {0x56, 0x01}},
      {kGray16, kGray16, 2, {0x56, 0x34, 0x01, 0x02}, {0x56, 0x34, 0x01, 0x02}},
      {kGray16, kRGB, 1, {255, 255, 255}, {255, 0x77}},
  };
  for (const Case& c : cases) {
    Ref source = NewImage(c.width, 1, c.from), dest = NewImage(c.width, 1, c.to);
    SetPixels(source, 0, c.source);
    FillBytes(dest, 0x77);
    EXPECT_TRUE(dest.Call<bool>("CopyPixels", source)) << c.from << " into " << c.to;
    EXPECT_EQ(RowBytes(dest, 0, c.expected.size()), c.expected) << c.from << " into " << c.to;
  }
}

// Rows overlapping themselves, on the block path (RGBA, G) and per pixel (RGBX, GA), to the right
// and to the left, and a clip copied into its parent: the same as a copy from an untouched clone.
TEST_F(CopyPixelsTest, CopyWithinOneImageEqualsCopyFromAClone) {
  std::mt19937 rng(11);
  for (int64_t code : {kRGBA, kRGBX, kG, kGA}) {
    for (auto [dx, sx] : {std::pair<int64_t, int64_t>{3, 0}, std::pair<int64_t, int64_t>{0, 3}}) {
      SCOPED_TRACE(std::to_string(code) + " " + std::to_string(dx));
      Ref image = NewImage(17, 5, code);
      RandomizeWholeRows(image, rng());
      Ref expected = image.Call<Ref>("Clone");
      EXPECT_TRUE(expected.Call<bool>("CopyPixels", image.Call<Ref>("Clone"), dx, 1, 14, 3, sx, 2));
      EXPECT_TRUE(image.Call<bool>("CopyPixels", image, dx, 1, 14, 3, sx, 2));
      EXPECT_EQ(PixelBytes(image), PixelBytes(expected));
    }
  }
  Ref parent = NewImage(20, 4, kXRGB);
  RandomizeWholeRows(parent, rng());
  Ref expected = parent.Call<Ref>("Clone");
  EXPECT_TRUE(expected.Call<bool>("CopyPixels", parent.Call<Ref>("Clone"), 4, 0, 15, 4, 2, 0));
  Ref clip = parent.Call<Ref>("ClipImage", int64_t{2}, int64_t{0}, int64_t{15}, int64_t{4});
  EXPECT_TRUE(parent.Call<bool>("CopyPixels", clip, 4, 0, 15, 4, 0, 0));
  EXPECT_EQ(PixelBytes(parent), PixelBytes(expected));
}

// A refused pair still asks each file-mapped image for the first row of the rectangle.
TEST_F(CopyPixelsTest, RefusedPairStillMapsTheFirstRows) {
  Ref source = host_.New("PictureXQT", int64_t{1}, int64_t{20000}, kCMYK, int64_t{0}, nullptr);
  Ref dest = host_.New("PictureXQT", int64_t{1}, int64_t{20000}, kRGB, int64_t{0}, nullptr);
  ASSERT_EQ(source.Get<int64_t>("MappingLastRow"), 4095);
  const ImageSnapshot before(dest);
  EXPECT_FALSE(dest.Call<bool>("CopyPixels", source, 0, 7000, 1, 10, 0, 6000));
  // The bands start two rows before the rows asked for.
  EXPECT_EQ(source.Get<int64_t>("MappingFirstRow"), 5998);
  EXPECT_EQ(dest.Get<int64_t>("MappingFirstRow"), 6998);
  ExpectSameBytes(before, dest, "refused pair");
}

}  // namespace
