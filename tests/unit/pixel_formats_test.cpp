// The format table: layout of every code and the invariants operations rely on.
#include "image/pixel_formats.h"

#include <gtest/gtest.h>

#include <cstring>
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

// The formats without a name spelt byte by byte: the one-of-n codes pick a byte of a wider pixel
// and have no channel names; 16-bit gray, the buffer and the scaling formats.
TEST(PixelFormats, LayoutsOfTheUnspeltFormats) {
  struct Case {
    int64_t code, pixelSize, channels, offset;
  } cases[] = {{ImageFormatAofARGB, 4, 1, 0}, {ImageFormat3of4, 4, 1, 2},
               {ImageFormatRofBGR, 3, 1, 2},  {ImageFormat4of4, 4, 1, 3},
               {ImageFormatGray16, 2, 1, 0},  {ImageFormatBuffer, 1, 0, 0},
               {ImageFormatScaling5, 5, 0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    const ImageClassData image = Layout(c.code);
    EXPECT_EQ(image.PixelSize, c.pixelSize);
    ASSERT_EQ(image.ChannelCount, c.channels);
    EXPECT_EQ(image.ChannelOffsets[0], c.offset);
  }
  EXPECT_FALSE(Layout(ImageFormatAofARGB).HasAlpha);  // a gray view of the alpha byte
  EXPECT_STREQ(ChannelNames(ImageFormatG5).names[4], "Gray5");
  EXPECT_STREQ(ChannelNames(ImageFormatGray16).names[0], "Gray");
  EXPECT_EQ(Layout(ImageFormatGray16).BitsPerComponent, 16);
  EXPECT_STREQ(FormatRow(ImageFormatGray16)->formatString, "G16");
  EXPECT_STREQ(FormatRow(ImageFormatScaling5)->formatString, "Scaling");
  const ImageClassData buffer = Layout(ImageFormatBuffer);
  EXPECT_FALSE(buffer.IsGray || buffer.IsRGB || buffer.IsCMYK);
}

// Every accepted code: channels inside the pixel, offsets in memory order, one family at most,
// names matching the channels, and a name spelt one letter a byte (X for padding) is the layout.
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
    const bool multiGray = code >= ImageFormatG2 && code <= ImageFormatG8;
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
    if (!multiGray) {
      EXPECT_EQ(static_cast<int64_t>(named.size()), image.ChannelCount);
      for (int64_t i = 0; i < image.ChannelCount; ++i) {
        EXPECT_TRUE(named.count(image.ChannelOffsets[i]));
      }
    }
    ChannelNameList names = ChannelNames(code);
    bool nameless = (code >= 15 && code <= 22) || (code >= 33 && code <= 40);
    EXPECT_EQ(names.count, nameless ? 0 : image.ChannelCount);
    // A format spelt one letter a byte (X a padding byte) has its k-th channel, named by that
    // letter (K for Black), at the letter's byte.
    const char* spelt = FormatRow(code)->formatString;
    if (spelt && std::string(spelt) != "Scaling" && code != ImageFormatGray16) {
      EXPECT_EQ(image.PixelSize, static_cast<int64_t>(std::strlen(spelt)));
      int k = 0;
      for (int64_t i = 0; spelt[i] != 0; ++i) {
        if (spelt[i] == 'X') continue;
        ASSERT_LT(k, names.count) << spelt;
        EXPECT_EQ(image.ChannelOffsets[k], i) << spelt;
        EXPECT_EQ(names.names[k++][0], spelt[i] == 'K' ? 'B' : spelt[i]) << spelt;
      }
      EXPECT_EQ(k, image.ChannelCount);
    }
    // The name of each channel sits at that channel's offset.
    for (int i = 0; i < names.count && !multiGray; ++i) {
      EXPECT_EQ(offsetByName.at(names.names[i]), image.ChannelOffsets[i]) << names.names[i];
    }
  }
}

}  // namespace
