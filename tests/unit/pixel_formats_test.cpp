// The format table: layout of every code and the invariants operations rely on.
#include "image/pixel_formats.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "image/image_class_data.h"
#include "image/pixel_format_table.h"

namespace {

ImageClassData Layout(int64_t format, bool* accepted = nullptr) {
  ImageClassData image{};
  bool ok = InitImageClassData(&image, 7, 5, format);
  if (accepted) *accepted = ok;
  return image;
}

TEST(PixelFormats, RejectedCodesKeepTheResetRecord) {
  for (int64_t code : {int64_t{0}, int64_t{14}, int64_t{-1}, int64_t{49}}) {
    ImageClassData image{};
    image.PixelSize = 9;
    image.HasRed = true;
    image.ChannelOffsets[3] = 5;
    EXPECT_FALSE(InitImageClassData(&image, 7, 5, code)) << code;
    EXPECT_EQ(image.PixelSize, 0);
    EXPECT_FALSE(image.HasRed);
    EXPECT_EQ(image.ChannelOffsets[3], 0);
    EXPECT_EQ(image.ImageFormat, code);
    EXPECT_EQ(image.Width, 7);
    EXPECT_EQ(image.UnclippedHeight, 5);
  }
}

TEST(PixelFormats, SizesBelowOneChangeNothing) {
  ImageClassData image{};
  image.PixelSize = 9;
  EXPECT_FALSE(InitImageClassData(&image, 0, 5, ImageFormatRGB));
  EXPECT_FALSE(InitImageClassData(&image, 5, 0, ImageFormatRGB));
  EXPECT_FALSE(InitImageClassData(nullptr, 5, 5, ImageFormatRGB));
  EXPECT_EQ(image.PixelSize, 9);
  EXPECT_EQ(image.Width, 0);
}

TEST(PixelFormats, SpecialCodes) {
  bool ok = false;
  ImageClassData buffer = Layout(ImageFormatBuffer, &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(buffer.PixelSize, 1);
  EXPECT_EQ(buffer.ChannelCount, 0);
  EXPECT_FALSE(buffer.IsGray || buffer.IsRGB || buffer.IsCMYK);

  ImageClassData scaling = Layout(ImageFormatScaling5);
  EXPECT_EQ(scaling.PixelSize, 5);
  EXPECT_EQ(scaling.ChannelCount, 0);
  EXPECT_STREQ(FormatRow(ImageFormatScaling5)->formatString, "Scaling");

  ImageClassData gray16 = Layout(ImageFormatGray16);
  EXPECT_EQ(gray16.PixelSize, 2);
  EXPECT_EQ(gray16.BitsPerComponent, 16);
  EXPECT_TRUE(gray16.IsGray && gray16.HasGray);
  EXPECT_STREQ(FormatRow(ImageFormatGray16)->formatString, "G16");

  ImageClassData alphaOfARGB = Layout(ImageFormatAofARGB);
  EXPECT_EQ(ImageFormatAofARGB, ImageFormat1of4);
  EXPECT_EQ(alphaOfARGB.PixelSize, 4);
  EXPECT_EQ(alphaOfARGB.GrayOffset, 0);
  EXPECT_FALSE(alphaOfARGB.HasAlpha);

  ImageClassData xrgb = Layout(ImageFormatXRGB);
  EXPECT_EQ(xrgb.ChannelCount, 3);
  EXPECT_EQ(xrgb.ChannelOffsets[0], 1);
  EXPECT_EQ(xrgb.RedOffset, 1);
  EXPECT_EQ(xrgb.BlueOffset, 3);
  EXPECT_EQ(FormatRow(ImageFormatRofBGR)->gray, 2);
  EXPECT_EQ(FormatRow(ImageFormat4of4)->gray, 3);
  EXPECT_EQ(Layout(ImageFormatG1).ImageFormat, ImageFormatG);
}

// Every accepted code: channels inside the pixel, offsets in memory order, one family at most,
// names matching the channels.
TEST(PixelFormats, EveryCodeKeepsTheInvariants) {
  for (int64_t code = 1; code <= kHighestFormatCode; ++code) {
    if (code == 14) continue;
    SCOPED_TRACE(code);
    bool ok = false;
    ImageClassData image = Layout(code, &ok);
    ASSERT_TRUE(ok);
    ASSERT_GE(image.PixelSize, 1);
    EXPECT_LE(image.ChannelCount, image.PixelSize);
    EXPECT_LE(image.ChannelCount, 8);
    EXPECT_LE(int(image.IsGray) + int(image.IsRGB) + int(image.IsCMYK), 1);
    struct {
      bool has;
      int64_t offset;
    } channels[] = {{image.HasRed, image.RedOffset},         {image.HasGreen, image.GreenOffset},
                    {image.HasBlue, image.BlueOffset},       {image.HasGray, image.GrayOffset},
                    {image.HasAlpha, image.AlphaOffset},     {image.HasCyan, image.CyanOffset},
                    {image.HasMagenta, image.MagentaOffset}, {image.HasYellow, image.YellowOffset},
                    {image.HasBlack, image.BlackOffset}};
    std::set<int64_t> named;
    for (const auto& channel : channels) {
      if (!channel.has) {
        EXPECT_EQ(channel.offset, 0);
        continue;
      }
      EXPECT_LT(channel.offset, image.PixelSize);
      EXPECT_TRUE(named.insert(channel.offset).second) << "two channels share a byte";
    }
    for (int64_t i = 1; i < image.ChannelCount; ++i) {
      EXPECT_LT(image.ChannelOffsets[i - 1], image.ChannelOffsets[i]);
    }
    for (int64_t i = 0; i < image.ChannelCount; ++i) {
      EXPECT_LT(image.ChannelOffsets[i], image.PixelSize);
    }
    EXPECT_TRUE(!image.IsRGB || (image.HasRed && image.HasGreen && image.HasBlue));
    EXPECT_TRUE(!image.IsCMYK ||
                (image.HasCyan && image.HasMagenta && image.HasYellow && image.HasBlack));
    EXPECT_TRUE(!image.IsGray || image.HasGray);
    // Named channels are exactly the listed ones, except the multi-gray formats, which flag only
    // their first gray.
    bool multiGray = code >= ImageFormatG2 && code <= ImageFormatG8;
    if (!multiGray) {
      EXPECT_EQ(static_cast<int64_t>(named.size()), image.ChannelCount);
      for (int64_t i = 0; i < image.ChannelCount; ++i) {
        EXPECT_TRUE(named.count(image.ChannelOffsets[i]));
      }
    }
    ChannelNameList names = ChannelNames(code);
    bool nameless = (code >= 15 && code <= 22) || (code >= 33 && code <= 40);
    EXPECT_EQ(names.count, nameless ? 0 : image.ChannelCount);
    // The name of each channel sits at that channel's offset.
    const std::map<std::string, int64_t> offsetByName = {
        {"Red", image.RedOffset},         {"Green", image.GreenOffset},
        {"Blue", image.BlueOffset},       {"Alpha", image.AlphaOffset},
        {"Gray", image.GrayOffset},       {"Cyan", image.CyanOffset},
        {"Magenta", image.MagentaOffset}, {"Yellow", image.YellowOffset},
        {"Black", image.BlackOffset}};
    for (int i = 0; i < names.count && !multiGray; ++i) {
      EXPECT_EQ(offsetByName.at(names.names[i]), image.ChannelOffsets[i]) << names.names[i];
    }
  }
}

TEST(PixelFormats, MultiGrayNamesAreTheFirstN) {
  ChannelNameList five = ChannelNames(ImageFormatG5);
  ASSERT_EQ(five.count, 5);
  EXPECT_STREQ(five.names[0], "Gray");
  EXPECT_STREQ(five.names[4], "Gray5");
  EXPECT_EQ(ChannelNames(ImageFormatG8).count, 8);
  EXPECT_EQ(ChannelNames(ImageFormatRofRGB).count, 0);
  ImageClassData g3 = Layout(ImageFormatG3);
  EXPECT_EQ(g3.ChannelCount, 3);
  EXPECT_EQ(g3.ChannelOffsets[2], 2);
}

TEST(PixelFormats, ChannelCountsByFamily) {
  struct Case {
    int64_t code;
    int64_t channels;
  } cases[] = {{ImageFormatRGBX, 3},  {ImageFormatXBGR, 3},  {ImageFormatABGR, 4},
               {ImageFormatCMYKX, 4}, {ImageFormatXKYMC, 4}, {ImageFormatAKYMC, 5},
               {ImageFormatGA, 2},    {ImageFormat3of4, 1},  {ImageFormatG8, 8}};
  for (const Case& c : cases) EXPECT_EQ(Layout(c.code).ChannelCount, c.channels) << c.code;
  ImageClassData xcmyk = Layout(ImageFormatXCMYK);
  EXPECT_EQ(xcmyk.ChannelOffsets[0], 1);
  EXPECT_EQ(xcmyk.CyanOffset, 1);
  EXPECT_EQ(Layout(ImageFormatAKYMC).CyanOffset, 4);
}

}  // namespace
