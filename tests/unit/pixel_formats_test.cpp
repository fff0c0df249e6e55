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

// Layouts read off the format names: pixel size, channel count, first and last channel offset and
// the name of the first channel (none for the one-of-n codes, which pick a byte of a wider pixel).
TEST(PixelFormats, LayoutsOfTheNames) {
  struct Case {
    int64_t code, pixelSize, channels, first, last;
    const char* firstName;
  } cases[] = {
      {ImageFormatXRGB, 4, 3, 1, 3, "Red"},     {ImageFormatRGBX, 4, 3, 0, 2, "Red"},
      {ImageFormatXBGR, 4, 3, 1, 3, "Blue"},    {ImageFormatABGR, 4, 4, 0, 3, "Alpha"},
      {ImageFormatCMYKX, 5, 4, 0, 3, "Cyan"},   {ImageFormatXCMYK, 5, 4, 1, 4, "Cyan"},
      {ImageFormatXKYMC, 5, 4, 1, 4, "Black"},  {ImageFormatAKYMC, 5, 5, 0, 4, "Alpha"},
      {ImageFormatGA, 2, 2, 0, 1, "Gray"},      {ImageFormatAofARGB, 4, 1, 0, 0, nullptr},
      {ImageFormat3of4, 4, 1, 2, 2, nullptr},   {ImageFormatRofBGR, 3, 1, 2, 2, nullptr},
      {ImageFormat4of4, 4, 1, 3, 3, nullptr},   {ImageFormatGray16, 2, 1, 0, 0, "Gray"},
      {ImageFormatG3, 3, 3, 0, 2, "Gray"},      {ImageFormatG8, 8, 8, 0, 7, "Gray"},
      {ImageFormatBuffer, 1, 0, 0, 0, nullptr}, {ImageFormatScaling5, 5, 0, 0, 0, nullptr}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    const ImageClassData image = Layout(c.code);
    EXPECT_EQ(image.PixelSize, c.pixelSize);
    ASSERT_EQ(image.ChannelCount, c.channels);
    if (c.channels > 0) {
      EXPECT_EQ(image.ChannelOffsets[0], c.first);
      EXPECT_EQ(image.ChannelOffsets[c.channels - 1], c.last);
    }
    const ChannelNameList names = ChannelNames(c.code);
    EXPECT_EQ(names.count, c.firstName ? c.channels : 0);
    if (c.firstName) {
      EXPECT_STREQ(names.names[0], c.firstName);
    }
  }
  EXPECT_FALSE(Layout(ImageFormatAofARGB).HasAlpha);  // a gray view of the alpha byte
  EXPECT_STREQ(ChannelNames(ImageFormatG5).names[4], "Gray5");
  EXPECT_EQ(Layout(ImageFormatGray16).BitsPerComponent, 16);
  EXPECT_STREQ(FormatRow(ImageFormatGray16)->formatString, "G16");
  EXPECT_STREQ(FormatRow(ImageFormatScaling5)->formatString, "Scaling");
  const ImageClassData buffer = Layout(ImageFormatBuffer);
  EXPECT_FALSE(buffer.IsGray || buffer.IsRGB || buffer.IsCMYK);
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
    const struct {
      const char* name;
      bool has;
      int64_t offset;
    } channels[] = {{"Red", image.HasRed, image.RedOffset},
                    {"Green", image.HasGreen, image.GreenOffset},
                    {"Blue", image.HasBlue, image.BlueOffset},
                    {"Gray", image.HasGray, image.GrayOffset},
                    {"Alpha", image.HasAlpha, image.AlphaOffset},
                    {"Cyan", image.HasCyan, image.CyanOffset},
                    {"Magenta", image.HasMagenta, image.MagentaOffset},
                    {"Yellow", image.HasYellow, image.YellowOffset},
                    {"Black", image.HasBlack, image.BlackOffset}};
    std::set<int64_t> named;
    std::map<std::string, int64_t> offsetByName;
    for (const auto& channel : channels) {
      offsetByName[channel.name] = channel.offset;
      if (!channel.has) {
        EXPECT_EQ(channel.offset, 0);
        continue;
      }
      EXPECT_LT(channel.offset, image.PixelSize);
      EXPECT_TRUE(named.insert(channel.offset).second) << "two channels share a byte";
    }
    for (int64_t i = 0; i < image.ChannelCount; ++i) {  // rising, and inside the pixel
      const int64_t next =
          i + 1 < image.ChannelCount ? image.ChannelOffsets[i + 1] : image.PixelSize;
      EXPECT_LT(image.ChannelOffsets[i], next);
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
    for (int i = 0; i < names.count && !multiGray; ++i) {
      EXPECT_EQ(offsetByName.at(names.names[i]), image.ChannelOffsets[i]) << names.names[i];
    }
  }
}

}  // namespace
