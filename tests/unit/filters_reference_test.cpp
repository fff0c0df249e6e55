// Dither and unsharp against references written here straight from the formulas, on random
// images of odd sizes in every format of a family.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "filters/dither.h"
#include "filters/filter_frame.h"
#include "filters/unsharp.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

const int64_t kFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 16,
                            23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 37, 42, 45};

class FilterReference : public ::testing::Test {
 protected:
  FilterReference() { host_.Attach(&REALPluginMain); }
  ~FilterReference() override { EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport(); }

  Ref Random(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = host_.New("PictureXQT", width, height, format);
    ImageClassData* data = ImageData(image.get());
    std::mt19937 random(seed);
    for (int64_t y = 0; y < height; ++y) {
      uint8_t* row = data->GetRow(data, y);
      for (int64_t i = 0; i < width * data->PixelSize; ++i) row[i] = static_cast<uint8_t>(random());
    }
    return image;
  }
  static std::vector<uint8_t> Bytes(const Ref& image) {
    ImageClassData* data = ImageData(image.get());
    std::vector<uint8_t> out;
    for (int64_t y = 0; y < data->Height; ++y) {
      uint8_t* row = data->GetRow(data, y);
      out.insert(out.end(), row, row + data->Width * data->PixelSize);
    }
    return out;
  }
  // The family's channels (alpha last) as the documentation lists them.
  static std::vector<Channel> Channels(const ImageClassData& image) {
    std::vector<Channel> out;
    if (image.IsGray) out = {Channel::kGray};
    if (image.IsRGB) out = {Channel::kRed, Channel::kGreen, Channel::kBlue};
    if (image.IsCMYK) out = {Channel::kCyan, Channel::kMagenta, Channel::kYellow, Channel::kBlack};
    if (!out.empty() && image.HasAlpha) out.push_back(Channel::kAlpha);
    return out;
  }

  Host host_;
};

TEST_F(FilterReference, DitherFollowsTheFormulas) {
  const int64_t levelsList[] = {2, 3, 7, 256, 300};
  uint32_t seed = 1;
  for (int64_t format : kFormats) {
    for (int64_t matrix = 1; matrix <= 10; ++matrix) {
      int64_t levels = levelsList[matrix % 5];
      Ref source = Random(37, 19, format, seed++);
      Ref dest = Random(37, 19, format, seed++);
      ImageClassData* s = ImageData(source.get());
      ImageClassData* d = ImageData(dest.get());
      std::vector<uint8_t> expected = Bytes(dest);
      std::vector<Channel> channels = s->IsCMYK ? std::vector<Channel>{} : Channels(*s);
      int64_t n = DitherMatrixSide(matrix);
      const int64_t* m = DitherMatrix(matrix);
      for (int64_t y = 0; y < 19; ++y) {
        for (int64_t x = 0; x < 37; ++x) {
          int64_t t = m[(y % n) * n + (x % n)];
          for (Channel c : channels) {
            int64_t v = s->GetRow(s, y)[x * s->PixelSize + ChannelOffset(*s, c)];
            int64_t level = v * (levels - 1) / 256;
            int64_t f = (v * ((n * n) | 1)) >> 8;
            if (f <= t) ++level;
            expected[(y * 37 + x) * d->PixelSize + ChannelOffset(*d, c)] =
                static_cast<uint8_t>(level * 255 / (levels - 1));
          }
        }
      }
      Ref result = Ref::Adopt(DitherFilter(source.get(), dest.get(), matrix, levels));
      ASSERT_EQ(result.get(), dest.get());
      ASSERT_EQ(Bytes(dest), expected) << "format " << format << " matrix " << matrix;
    }
  }
}

TEST_F(FilterReference, UnsharpFollowsTheFormula) {
  const double amounts[] = {0.0, 0.3, 1.7, -0.2};
  const int64_t thresholds[] = {0, 3, 40, 255};
  uint32_t seed = 100;
  for (int64_t format : kFormats) {
    for (int i = 0; i < 4; ++i) {
      Ref self = Random(23, 9, format, seed++);
      Ref other = Random(23, 9, format, seed++);
      ImageClassData* s = ImageData(self.get());
      ImageClassData* o = ImageData(other.get());
      std::vector<uint8_t> expected = Bytes(self);
      std::vector<Channel> channels = Channels(*s);
      // CMYK maps the byte at AlphaOffset after the inks, also when that is an ink.
      if (s->IsCMYK && !s->HasAlpha) channels.push_back(Channel::kAlpha);
      double k = amounts[i] * 4.0 + 1.0;
      for (int64_t y = 0; y < 9; ++y) {
        for (int64_t x = 0; x < 23; ++x) {
          for (Channel c : channels) {
            uint8_t& a = expected[(y * 23 + x) * s->PixelSize + ChannelOffset(*s, c)];
            int b = o->GetRow(o, y)[x * o->PixelSize + ChannelOffset(*o, c)];
            int diff = a - b;
            if (std::abs(diff) >= thresholds[i]) {
              double v = std::trunc(b + diff * k);
              a = static_cast<uint8_t>(v < 0 ? 0 : v >= 255 ? 255 : v);
            }
          }
        }
      }
      EXPECT_TRUE(UnsharpFilter(self.get(), other.get(), amounts[i], thresholds[i]));
      ASSERT_EQ(Bytes(self), expected) << "format " << format << " case " << i;
    }
  }
}

}  // namespace
