// The rules of copying and blending on plain records: the rectangle rule, the first used byte of a
// pixel, when rows copy as bytes, and the checks with their debug lines in their order; then the
// colour moves behind the format-converting rows and Combine: RGB to CMYK undone exactly by the
// picture bridge's CMYK to RGB for every colour, and the gray steps of CopyPixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "composite/blend_with_mask.h"
#include "composite/copy_pixels.h"
#include "composite/fix_rectangle.h"
#include "composite/row_formats.h"
#include "image/image_class_data.h"
#include "image/image_storage.h"
#include "image/pixel_format_table.h"
#include "image/pixel_formats.h"
#include "picture/image_pixels.h"
#include "support/log_capture.h"

namespace {

// An in-memory image on a vector, without a host.
struct TestImage {
  ImageClassData record{};
  std::vector<uint8_t> pixels;

  TestImage(int64_t width, int64_t height, int64_t format) {
    EXPECT_TRUE(InitImageClassData(&record, width, height, format));
    record.RowSize = record.PixelSize * width;
    pixels.assign(static_cast<size_t>(record.RowSize * height), 0x5A);
    record.RowBuffer = pixels.data();
    record.GetRow = &GetRowLinear;
    record.Valid = true;
  }
  ImageClassData* operator->() { return &record; }
  ImageClassData* get() { return &record; }
};

ImageClassData Layout(int64_t format) {
  ImageClassData image{};
  EXPECT_TRUE(InitImageClassData(&image, 7, 5, format)) << format;
  return image;
}

struct Rectangle {
  int64_t x, y, width, height, sourceX, sourceY;
  bool operator==(const Rectangle&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Rectangle& r) {
  return out << r.x << ", " << r.y << ", " << r.width << ", " << r.height << ", " << r.sourceX
             << ", " << r.sourceY;
}

// FixRectangleSource against a destination of 30 x 20 and a source of 25 x 15.
Rectangle Fixed(Rectangle r) {
  ImageClassData dest{};
  dest.Width = 30;
  dest.Height = 20;
  FixRectangleSource(&dest, r.x, r.y, r.width, r.height, r.sourceX, r.sourceY, 25, 15);
  return r;
}

bool Empty(const Rectangle& r) { return r.width < 1 || r.height < 1; }

TEST(FixRectangleSource, CutToBothImages) {
  const Rectangle cases[][2] = {
      {{3, 4, 10, 6, 2, 1}, {3, 4, 10, 6, 2, 1}},  // inside both: as it is
      // Five source columns do not exist: the copy starts five columns further left, five narrower.
      {{10, 2, 20, 5, -5, 0}, {5, 2, 15, 5, 0, 0}},
      {{1, 8, 4, 6, 0, -3}, {1, 5, 4, 3, 0, 0}},
      // Negative sizes count back from the origin, after the source origin: -10 - 3 from x 17.
      {{20, 10, -10, -4, 0, 0}, {10, 6, 10, 4, 0, 0}},
      {{20, 0, -10, 5, -3, 0}, {4, 0, 13, 5, 0, 0}},
      // A negative origin is cut and the source moves with it.
      {{-4, -2, 10, 6, 2, 1}, {0, 0, 6, 4, 6, 3}},
      // Cut to the destination, and to a source narrower than what is left of it.
      {{26, 17, 10, 10, 0, 0}, {26, 17, 4, 3, 0, 0}},
      {{0, 0, 30, 20, 10, 5}, {0, 0, 15, 10, 10, 5}},
  };
  for (const auto& c : cases) EXPECT_EQ(Fixed(c[0]), c[1]);
  // Flipped into negative space and then cut to nothing; past the source's right edge.
  EXPECT_TRUE(Empty(Fixed({-5, 0, -3, 5, 0, 0})));
  EXPECT_TRUE(Empty(Fixed({0, 0, 5, 5, 25, 0})));
  // A start beyond an edge empties that axis; the other is tested on its own.
  Rectangle right = Fixed({30, 2, 5, 5, 0, 0});
  EXPECT_LT(right.width, 1);
  EXPECT_EQ(right.height, 5);
  Rectangle below = Fixed({2, 20, 5, 5, 0, 0});
  EXPECT_EQ(below.width, 5);
  EXPECT_LT(below.height, 1);
}

TEST(FixRectangleSource, ExtremeValuesNeitherOverflowNorEscape) {
  const int64_t kMax = INT64_MAX, kMin = INT64_MIN;
  for (Rectangle r :
       {Rectangle{kMax, kMax, kMax, kMax, kMax, kMax},
        Rectangle{kMin, kMin, kMin, kMin, kMin, kMin}, Rectangle{kMax, 0, kMin, 5, 0, 0},
        Rectangle{kMin, 0, kMax, 5, kMax, 0}, Rectangle{0, 0, kMax, kMax, kMin, kMin}}) {
    Rectangle fixed = Fixed(r);
    if (Empty(fixed)) continue;
    EXPECT_GE(fixed.x, 0);
    EXPECT_LE(fixed.x + fixed.width, 30);
    EXPECT_GE(fixed.sourceX, 0);
    EXPECT_LE(fixed.sourceX + fixed.width, 25);
    EXPECT_LE(fixed.y + fixed.height, 20);
    EXPECT_LE(fixed.sourceY + fixed.height, 15);
  }
}

TEST(FixRectangleSource, LogsBeforeAndAfter) {
  LogCapture log;
  Fixed({10, 2, 20, 5, -5, 0});
  EXPECT_TRUE(log.Contains("XQT Debug: Fix 10, 2, 20, 5, -5, 0, 25, 15\n"));
  EXPECT_TRUE(log.Contains("XQT Debug: Fixed 5, 2, 15, 5, 0, 0, 25, 15\n"));
}

int64_t MinOffsetOf(int64_t format) {
  ImageClassData image = Layout(format);
  return GetMinOffset(&image);
}

TEST(GetMinOffset, SmallestPresentOffsetOrMinusOne) {
  // The padding byte is no channel; alpha may come first; CMYK offsets are not looked at, and a
  // raw buffer has no channel.
  const std::pair<int64_t, int64_t> cases[] = {
      {ImageFormatRGB, 0},    {ImageFormatXRGB, 1},   {ImageFormatXBGR, 1}, {ImageFormatABGR, 0},
      {ImageFormatAG, 0},     {ImageFormat3of3, 2},   {ImageFormat4of4, 3}, {ImageFormatCMYK, -1},
      {ImageFormatXCMYK, -1}, {ImageFormatBuffer, -1}};
  for (auto [format, offset] : cases) EXPECT_EQ(MinOffsetOf(format), offset) << format;

  // A clip's offsets, moved by its x, and an alpha alone in front.
  ImageClassData clip = Layout(ImageFormatBGRA);
  clip.RedOffset += 12;
  clip.GreenOffset += 12;
  clip.BlueOffset += 12;
  clip.AlphaOffset += 12;
  EXPECT_EQ(GetMinOffset(&clip), 12);
  ImageClassData cmyka = Layout(ImageFormatACMYK);
  EXPECT_EQ(GetMinOffset(&cmyka), 0);
}

TEST(BlockCopy, OnlyOnePackedEightBitLayoutQualifies) {
  auto qualifies = [](int64_t to, int64_t from) {
    ImageClassData dest = Layout(to), source = Layout(from);
    return QualifiesForBlockCopy(dest, source);
  };
  for (int64_t code : {ImageFormatRGB, ImageFormatRGBA, ImageFormatARGB, ImageFormatBGR,
                       ImageFormatBGRA, ImageFormatABGR, ImageFormatG, ImageFormatGA}) {
    EXPECT_TRUE(qualifies(code, code)) << code;
  }
  // Padding, a gray byte of a wider pixel, 16 bits and CMYK never qualify.
  for (int64_t code : {ImageFormatRGBX, ImageFormatXRGB, ImageFormat2of3, ImageFormat1of4,
                       ImageFormatG2, ImageFormatGray16, ImageFormatCMYK, ImageFormatCMYKA}) {
    EXPECT_FALSE(qualifies(code, code)) << code;
  }
  EXPECT_FALSE(qualifies(ImageFormatRGB, ImageFormatBGR));    // red and blue swap places
  EXPECT_FALSE(qualifies(ImageFormatGA, ImageFormatAG));      // alpha moves
  EXPECT_FALSE(qualifies(ImageFormatRGBA, ImageFormatRGB));   // presence differs
  EXPECT_FALSE(qualifies(ImageFormatARGB, ImageFormatRGBA));  // offsets differ

  // The gray offsets are not compared; the alpha offsets only when self has alpha.
  ImageClassData grayDest = Layout(ImageFormatG), graySource = Layout(ImageFormatG);
  graySource.GrayOffset = 0;
  grayDest.GrayOffset = 0;
  grayDest.HasAlpha = false;
  ImageClassData movedGray = grayDest;
  movedGray.GrayOffset = 5;
  EXPECT_TRUE(QualifiesForBlockCopy(movedGray, graySource));
  ImageClassData rgbDest = Layout(ImageFormatRGB), rgbSource = Layout(ImageFormatRGB);
  rgbSource.AlphaOffset = 2;
  EXPECT_TRUE(QualifiesForBlockCopy(rgbDest, rgbSource));

  // Mapped storage copies per pixel.
  ImageClassData mapped = Layout(ImageFormatRGBA);
  mapped.IsMapping = true;
  ImageClassData plain = Layout(ImageFormatRGBA);
  EXPECT_FALSE(QualifiesForBlockCopy(mapped, plain));
  EXPECT_FALSE(QualifiesForBlockCopy(plain, mapped));
}

TEST(CopyPixelsChecks, RefusalsInTheirOrder) {
  LogCapture log;
  TestImage dest(6, 4, ImageFormatRGB), source(5, 3, ImageFormatRGB);
  auto copy = [&]() { return CopyPixels(dest.get(), source.get(), 0, 0, 6, 4, 0, 0); };
  auto last = [&]() { return log.lines().empty() ? std::string() : log.lines().back(); };

  size_t mark = log.lines().size();
  EXPECT_FALSE(CopyPixels(dest.get(), nullptr, 0, 0, 6, 4, 0, 0));
  EXPECT_EQ(log.lines().size(), mark);  // a nil source is refused silently

  // Validity of either image comes first, before the row accessor.
  dest->Valid = false;
  dest->GetRow = nullptr;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: Picture not valid.\n");
  dest->Valid = true;
  source->Valid = false;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: Picture not valid.\n");
  source->Valid = true;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: GetRow is nil\n");
  dest->GetRow = &GetRowLinear;

  // A width of 0 passes the width test and is stopped by the empty rectangle; a height of 0 is
  // refused at once.
  dest->Width = 0;
  mark = log.lines().size();
  EXPECT_FALSE(copy());
  const std::vector<std::string> all = log.lines();
  std::vector<std::string> since(all.begin() + static_cast<ptrdiff_t>(mark), all.end());
  EXPECT_EQ(since.front(), "XQT Debug: StartImage ok\n");
  EXPECT_EQ(since.back(), "XQT Debug: Nothing to copy\n");
  EXPECT_EQ(std::count(since.begin(), since.end(), "XQT Debug: Fixed 0, 0, 0, 3, 0, 0, 5, 3\n"), 1);
  dest->Width = -1;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: Width is 0\n");
  dest->Width = 6;
  dest->Height = 0;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: Height is 0\n");
  dest->Height = 4;

  // Then the source, in the order row accessor, validity, width, height.
  source->GetRow = nullptr;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: GetRow is nil\n");
  source->GetRow = &GetRowLinear;
  source->Height = 0;
  EXPECT_FALSE(copy());
  EXPECT_EQ(last(), "XQT Debug: Height is 0\n");
  source->Height = 3;

  mark = log.lines().size();
  EXPECT_TRUE(copy());
  const std::vector<std::string> expected = {
      "XQT Debug: StartImage ok\n",
      "XQT Debug: StartImage ok\n",
      "XQT Debug: Fix 0, 0, 6, 4, 0, 0, 5, 3\n",
      "XQT Debug: Fixed 0, 0, 5, 3, 0, 0, 5, 3\n",
      "XQT Debug: CopyPixelsBlock\n",
      "XQT Debug: pixel size 3, 3\n",
      "XQT Debug: min offset 0, 0\n",
      "XQT Debug: offset 0, 0\n",
      "XQT Debug: uh 3\n",
      "XQT Debug: pw 15\n",
      "XQT Debug: y 0\n",
      "XQT Debug: row 0\n",
  };
  ASSERT_GE(log.lines().size(), mark + expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(log.lines()[mark + i], expected[i]) << i;
}

TEST(CopyPixelsChecks, PairsLogTheirLabel) {
  struct Case {
    int64_t to, from;
    const char* label;
    bool copied;
  };
  const Case cases[] = {
      {ImageFormatRGBA, ImageFormatBGRA, "CopyPixelsRGBAtoRGBA", true},
      {ImageFormatARGB, ImageFormatGA, "CopyPixelsGAtoRGBA", true},
      {ImageFormatRGBA, ImageFormatCMYKA, "CopyPixelsCMYKAtoRGBA", false},
      {ImageFormatCMYKA, ImageFormatAKYMC, "CopyPixelsCMYKAtoCMYKA", true},
      {ImageFormatCMYKA, ImageFormatAG, "CopyPixelsGAtoCMYKA", true},
      {ImageFormatKYMCA, ImageFormatRGBA, "CopyPixelsRGBAtoCMYKA", false},
      {ImageFormatGA, ImageFormatAG, "CopyPixelsGAtoGA", true},
      {ImageFormatAG, ImageFormatABGR, "CopyPixelsRGBAtoGA", true},
      {ImageFormatGA, ImageFormatCMYKA, "CopyPixelsCMYKAtoGA", true},
      {ImageFormatG, ImageFormatXCMYK, "CopyPixelsCMYKtoG", true},
      {ImageFormat2of4, ImageFormatBGR, "CopyPixelsRGBtoG", true},
      {ImageFormatG, ImageFormat3of3, "CopyPixelsGtoG", true},
      {ImageFormatG, ImageFormatGray16, "CopyPixelsGray16toG", true},
      {ImageFormatGray16, ImageFormatG3, "CopyPixelsGtoGray16", true},
      {ImageFormatGray16, ImageFormatGray16, "CopyPixelsGray16toGray16", true},
      {ImageFormatXRGB, ImageFormatRGBX, "CopyPixelsRGBtoRGB", true},
      {ImageFormatRGBA, ImageFormatG, "CopyPixelsGtoRGB", true},  // a source without alpha
      {ImageFormatRGB, ImageFormatKYMC, "CopyPixelsCMYKtoRGB", false},
      {ImageFormatCMYKX, ImageFormatKYMCA, "CopyPixelsCMYKtoCMYK", true},
      {ImageFormatXKYMC, ImageFormatGA, "CopyPixelsGtoCMYK", true},
      {ImageFormatCMYK, ImageFormatBGRX, "CopyPixelsRGBtoCMYK", false},
  };
  for (const Case& c : cases) {
    LogCapture log;
    TestImage dest(3, 2, c.to), source(4, 3, c.from);
    EXPECT_EQ(CopyPixels(dest.get(), source.get(), 0, 0, 3, 2, 1, 1), c.copied) << c.label;
    EXPECT_TRUE(log.Contains(std::string("XQT Debug: ") + c.label + "\n")) << c.label;
  }
  // Formats outside the three families.
  TestImage buffer(3, 2, ImageFormatBuffer), scaling(3, 2, ImageFormatScaling3),
      rgb(3, 2, ImageFormatRGB);
  EXPECT_FALSE(CopyPixels(buffer.get(), rgb.get(), 0, 0, 3, 2, 0, 0));
  EXPECT_FALSE(CopyPixels(rgb.get(), scaling.get(), 0, 0, 3, 2, 0, 0));
}

TEST(CopyPixelsChecks, SixteenBitSampleMustFitItsPixel) {
  LogCapture log;
  TestImage dest(3, 2, ImageFormatGray16), source(3, 2, ImageFormatG);
  std::vector<uint8_t> before = dest.pixels;
  dest->GrayOffset = 1;  // the second byte would be the next pixel's, or past the row
  EXPECT_FALSE(CopyPixels(dest.get(), source.get(), 0, 0, 3, 2, 0, 0));
  EXPECT_EQ(dest.pixels, before);
  EXPECT_TRUE(log.Contains("XQT Debug: 16-bit gray sample does not fit its pixel\n"));
}

TEST(BlendChecks, RefusalsInTheirOrder) {
  TestImage source(4, 3, ImageFormatRGB), dest(4, 3, ImageFormatG), mask(4, 3, ImageFormatGA),
      result(4, 3, ImageFormatBGRA), cmyk(4, 3, ImageFormatCMYK), narrow(3, 3, ImageFormatRGB);
  std::vector<uint8_t> resultBefore = result.pixels;
  struct Case {
    ImageClassData *source, *dest, *mask, *result;
    int64_t width;
    const char* line;
  };
  ImageClassData invalid = source.record;
  invalid.Valid = false;
  ImageClassData closed = source.record;
  closed.GetRow = nullptr;
  const Case cases[] = {
      {nullptr, dest.get(), mask.get(), result.get(), 4, "SourceImage is nil"},
      {&invalid, dest.get(), mask.get(), result.get(), 4, "Picture not valid."},
      {&closed, dest.get(), mask.get(), result.get(), 4, "GetRow is nil"},
      {cmyk.get(), dest.get(), mask.get(), result.get(), 4, "SourceImage is not RGB or Gray."},
      {source.get(), dest.get(), mask.get(), result.get(), 0, "Width or height is 0. 0, 3"},
      {source.get(), dest.get(), mask.get(), nullptr, 4, "Result is nil"},
      {source.get(), dest.get(), mask.get(), &invalid, 4, "Picture not valid."},
      {source.get(), dest.get(), mask.get(), narrow.get(), 2, "Result too small."},
      {source.get(), dest.get(), mask.get(), cmyk.get(), 4, "Result is not RGB or Gray."},
      {source.get(), &invalid, mask.get(), result.get(), 4, "Picture not valid."},
      {source.get(), narrow.get(), mask.get(), result.get(), 4, "DestImage too small."},
      {source.get(), cmyk.get(), mask.get(), result.get(), 4, "DestImage is not RGB or Gray."},
      {source.get(), dest.get(), &closed, result.get(), 4, "GetRow is nil"},
      {source.get(), dest.get(), narrow.get(), result.get(), 4, "Mask too small."},
      {source.get(), dest.get(), cmyk.get(), result.get(), 4, "Mask is not RGB or Gray."},
      // An unused DestImage is still checked.
      {source.get(), cmyk.get(), nullptr, result.get(), 4, "DestImage is not RGB or Gray."},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_FALSE(BlendWithMask(c.source, c.dest, c.mask, c.result, 0xFFFFFF, 0, 0, c.width, 3))
        << c.line;
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().front(), "XQT Debug: BlendPicturesWithMaskWithBackground5\n");
    EXPECT_EQ(log.lines().back(), std::string("XQT Debug: ") + c.line + "\n");
  }
  EXPECT_EQ(result.pixels, resultBefore);
}

TEST(BlendChecks, VariantLabelsNameTheFamilies) {
  TestImage rgb(4, 3, ImageFormatRGB), gray(4, 3, ImageFormat2of3), result(4, 3, ImageFormatG);
  struct Case {
    ImageClassData *dest, *mask;
    std::vector<std::string> labels;
  };
  const Case cases[] = {
      {nullptr, nullptr, {"BlendPictureBG2", "BlendPictureBG3", "BlendPictureBG3_RGB_Gray"}},
      {gray.get(), nullptr, {"BlendPictureBG3", "BlendPictureBG3_RGB_Gray"}},
      {nullptr, gray.get(), {"BlendPictureBG4", "BlendPictureBG4_RGB_Gray_Gray"}},
      {rgb.get(), gray.get(), {"BlendPictureBG6", "BlendPictureBG6_RGB_RGB_Gray_Gray"}},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_TRUE(BlendWithMask(rgb.get(), c.dest, c.mask, result.get(), 0, 1, 1, 2, 2));
    std::vector<std::string> labels;
    for (const std::string& line : log.lines()) {
      if (line.rfind("XQT Debug: BlendPictureBG", 0) == 0) {
        labels.push_back(line.substr(11, line.size() - 12));
      }
    }
    EXPECT_EQ(labels, c.labels);
    EXPECT_TRUE(log.Contains("XQT Debug: Fixed 1, 1, 2, 2\n"));
  }
}

TEST(CombineConversions, RGBThroughCMYKComesBackForEveryColour) {
  int64_t failures = 0;
  for (uint32_t r = 0; r < 256; ++r) {
    for (uint32_t g = 0; g < 256; ++g) {
      for (uint32_t b = 0; b < 256; ++b) {
        PixelValue cmyk = CMYKFromRGBValue(r, g, b);
        uint32_t k = cmyk.v[3];
        bool inRange = cmyk.v[0] < 256 && cmyk.v[1] < 256 && cmyk.v[2] < 256 && k < 256;
        if (!inRange || picture_io::RGBFromCMYK(cmyk.v[0], k) != r ||
            picture_io::RGBFromCMYK(cmyk.v[1], k) != g ||
            picture_io::RGBFromCMYK(cmyk.v[2], k) != b) {
          if (++failures < 5) ADD_FAILURE() << r << " " << g << " " << b;
        }
      }
    }
  }
  EXPECT_EQ(failures, 0);
}

TEST(CombineConversions, FamiliesMeetAsCopyPixelsDoes) {
  // Black and white ends: white has no ink, black is K alone.
  PixelValue white = CMYKFromRGBValue(255, 255, 255);
  EXPECT_EQ(white.v[0] + white.v[1] + white.v[2] + white.v[3], 0u);
  PixelValue black = CMYKFromRGBValue(0, 0, 0);
  EXPECT_EQ(black.v[3], 255u);
  EXPECT_EQ(black.v[0] + black.v[1] + black.v[2], 0u);

  PixelValue gray{{0x12, 0, 0, 0}, 77};
  PixelValue wide = ConvertValue(PixelFamily::kGray8, PixelFamily::kGray16, gray);
  EXPECT_EQ(wide.v[0], 0x1212u);
  EXPECT_EQ(wide.alpha, 77u);
  EXPECT_EQ(ConvertValue(PixelFamily::kGray16, PixelFamily::kGray8, {{0xABCD, 0, 0, 0}, 1}).v[0],
            0xABu);
  PixelValue cmyk = ConvertValue(PixelFamily::kGray8, PixelFamily::kCMYK, {{200, 0, 0, 0}, 9});
  EXPECT_EQ(cmyk.v[0] + cmyk.v[1] + cmyk.v[2], 0u);
  EXPECT_EQ(cmyk.v[3], 200u);
  EXPECT_EQ(ConvertValue(PixelFamily::kCMYK, PixelFamily::kGray8, {{1, 2, 3, 44}, 9}).v[0], 44u);
  // Pure red, green and blue give 76, 150 and 27; 16-bit gray of red is 76 x 257.
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray8, {{255, 0, 0, 0}, 9}).v[0], 76u);
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray8, {{0, 255, 0, 0}, 9}).v[0], 150u);
  EXPECT_EQ(ConvertValue(PixelFamily::kRGB, PixelFamily::kGray16, {{255, 0, 0, 0}, 9}).v[0],
            76u * 257u);
  // A 16-bit gray into RGB goes through its high byte.
  PixelValue rgb = ConvertValue(PixelFamily::kGray16, PixelFamily::kRGB, {{0x8001, 0, 0, 0}, 5});
  EXPECT_EQ(rgb.v[0], 0x80u);
  EXPECT_EQ(rgb.v[2], 0x80u);
  EXPECT_EQ(rgb.alpha, 5u);
}

TEST(CombineConversions, LayoutsFollowTheFormatTable) {
  PixelLayout argb = LayoutOfFormat(4);
  EXPECT_EQ(argb.family, PixelFamily::kRGB);
  EXPECT_EQ(argb.pixelSize, 4);
  EXPECT_EQ(argb.alpha, 0);
  EXPECT_EQ(argb.channel[0], 1);
  EXPECT_EQ(LayoutOfFormat(41).family, PixelFamily::kGray16);
  PixelLayout xkymc = LayoutOfFormat(32);
  EXPECT_EQ(xkymc.channel[0], 4);  // cyan last
  EXPECT_EQ(xkymc.channel[3], 1);
  for (int64_t code : {-1, 0, 14, 22, 33, 40, 49}) {
    EXPECT_EQ(LayoutOfFormat(code).family, PixelFamily::kNone) << code;
  }
}

}  // namespace
