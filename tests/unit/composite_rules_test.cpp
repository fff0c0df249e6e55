// The rules of copying and blending on plain records: the rectangle rule, when rows copy as bytes,
// and the checks with their debug lines in their order; then Combine's colour moves: RGB to CMYK,
// undone exactly by the picture bridge's CMYK to RGB for every colour, and 16-bit gray.
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

TEST(BlockCopy, OnlyOnePackedEightBitLayoutQualifies) {
  // Padding, a gray byte of a wider pixel, 16 bits and CMYK never qualify; nor do pairs whose red
  // and blue swap places, whose alpha moves, is present in one only, or whose offsets differ.
  const struct {
    int64_t to, from;
    bool qualifies;
  } cases[] = {
      {ImageFormatRGB, ImageFormatRGB, true},    {ImageFormatRGBA, ImageFormatRGBA, true},
      {ImageFormatARGB, ImageFormatARGB, true},  {ImageFormatBGR, ImageFormatBGR, true},
      {ImageFormatBGRA, ImageFormatBGRA, true},  {ImageFormatABGR, ImageFormatABGR, true},
      {ImageFormatG, ImageFormatG, true},        {ImageFormatGA, ImageFormatGA, true},
      {ImageFormatRGBX, ImageFormatRGBX, false}, {ImageFormatXRGB, ImageFormatXRGB, false},
      {ImageFormat2of3, ImageFormat2of3, false}, {ImageFormat1of4, ImageFormat1of4, false},
      {ImageFormatG2, ImageFormatG2, false},     {ImageFormatGray16, ImageFormatGray16, false},
      {ImageFormatCMYK, ImageFormatCMYK, false}, {ImageFormatCMYKA, ImageFormatCMYKA, false},
      {ImageFormatRGB, ImageFormatBGR, false},   {ImageFormatGA, ImageFormatAG, false},
      {ImageFormatRGBA, ImageFormatRGB, false},  {ImageFormatARGB, ImageFormatRGBA, false}};
  for (const auto& c : cases) {
    EXPECT_EQ(QualifiesForBlockCopy(Layout(c.to), Layout(c.from)), c.qualifies)
        << c.to << " " << c.from;
  }

  // The gray offsets are not compared; the alpha offsets only when self has alpha.
  ImageClassData movedGray = Layout(ImageFormatG);
  movedGray.GrayOffset = 5;
  EXPECT_TRUE(QualifiesForBlockCopy(movedGray, Layout(ImageFormatG)));
  ImageClassData rgbSource = Layout(ImageFormatRGB);
  rgbSource.AlphaOffset = 2;
  EXPECT_TRUE(QualifiesForBlockCopy(Layout(ImageFormatRGB), rgbSource));
  // Mapped storage copies per pixel.
  ImageClassData mapped = Layout(ImageFormatRGBA);
  mapped.IsMapping = true;
  ImageClassData plain = Layout(ImageFormatRGBA);
  EXPECT_FALSE(QualifiesForBlockCopy(mapped, plain));
  EXPECT_FALSE(QualifiesForBlockCopy(plain, mapped));
}

// Each case spoils fresh images and names the line that refuses: validity of either image before
// the row accessor, then the destination's accessor, width and height, then the source's.
TEST(CopyPixelsChecks, RefusalsInTheirOrder) {
  using Spoil = void (*)(ImageClassData&, ImageClassData&);
  const std::pair<Spoil, const char*> cases[] = {
      {[](ImageClassData& d, ImageClassData&) { d.Valid = false, d.GetRow = nullptr; },
       "Picture not valid."},
      {[](ImageClassData& d, ImageClassData& s) { d.GetRow = nullptr, s.Valid = false; },
       "Picture not valid."},
      {[](ImageClassData& d, ImageClassData&) { d.GetRow = nullptr; }, "GetRow is nil"},
      {[](ImageClassData& d, ImageClassData&) { d.Width = -1; }, "Width is 0"},
      {[](ImageClassData& d, ImageClassData&) { d.Height = 0; }, "Height is 0"},
      {[](ImageClassData&, ImageClassData& s) { s.GetRow = nullptr; }, "GetRow is nil"},
      {[](ImageClassData&, ImageClassData& s) { s.Height = 0; }, "Height is 0"},
  };
  for (const auto& [spoil, line] : cases) {
    TestImage dest(6, 4, ImageFormatRGB), source(5, 3, ImageFormatRGB);
    spoil(dest.record, source.record);
    LogCapture log;
    EXPECT_FALSE(CopyPixels(dest.get(), source.get(), 0, 0, 6, 4, 0, 0)) << line;
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back(), std::string("XQT Debug: ") + line + "\n");
  }

  TestImage dest(6, 4, ImageFormatRGB), source(5, 3, ImageFormatRGB);
  auto copy = [&]() { return CopyPixels(dest.get(), source.get(), 0, 0, 6, 4, 0, 0); };
  LogCapture log;
  EXPECT_FALSE(CopyPixels(dest.get(), nullptr, 0, 0, 6, 4, 0, 0));
  EXPECT_TRUE(log.lines().empty());  // a nil source is refused silently
  // A width of 0 passes the width test and is stopped by the empty rectangle.
  dest->Width = 0;
  EXPECT_FALSE(copy());
  const std::vector<std::string> refused = log.lines();
  ASSERT_FALSE(refused.empty());
  EXPECT_EQ(refused.front(), "XQT Debug: StartImage ok\n");
  EXPECT_EQ(refused.back(), "XQT Debug: Nothing to copy\n");
  EXPECT_EQ(std::count(refused.begin(), refused.end(), "XQT Debug: Fixed 0, 0, 0, 3, 0, 0, 5, 3\n"),
            1);
  dest->Width = 6;

  const size_t mark = log.lines().size();
  EXPECT_TRUE(copy());
  const std::vector<std::string> expected = {
      "XQT Debug: StartImage ok\n",
      "XQT Debug: StartImage ok\n",
      "XQT Debug: Fix 0, 0, 6, 4, 0, 0, 5, 3\n",
      "XQT Debug: Fixed 0, 0, 5, 3, 0, 0, 5, 3\n",
      "XQT Debug: CopyPixelsBlock\n",
  };
  ASSERT_GE(log.lines().size(), mark + expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(log.lines()[mark + i], expected[i]) << i;
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

// Gray widens by 257 and narrows to its high byte; into RGB it goes through that byte, alpha kept.
TEST(CombineConversions, SixteenBitGrayMeetsTheOtherFamilies) {
  const PixelValue wide =
      ConvertValue(PixelFamily::kGray8, PixelFamily::kGray16, {{0x12, 0, 0, 0}, 77});
  EXPECT_EQ(wide.v[0], 0x1212u);
  EXPECT_EQ(wide.alpha, 77u);
  EXPECT_EQ(ConvertValue(PixelFamily::kGray16, PixelFamily::kGray8, {{0xABCD, 0, 0, 0}, 1}).v[0],
            0xABu);
  const PixelValue rgb =
      ConvertValue(PixelFamily::kGray16, PixelFamily::kRGB, {{0x8001, 0, 0, 0}, 5});
  EXPECT_EQ(rgb.v[0], 0x80u);
  EXPECT_EQ(rgb.v[2], 0x80u);
  EXPECT_EQ(rgb.alpha, 5u);
}

}  // namespace
