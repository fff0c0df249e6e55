// Dither and unsharp on one-colour images, with the results worked out by hand, in a format of
// each family: which bytes each filter touches and what it writes there.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "filters/dither.h"
#include "filters/unsharp.h"
#include "host/emulated_host.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kRGBA = 2, kRGBX = 3, kG = 11, kGA = 12, kCMYK = 23, kCMYKA = 24;

class FiltersByHand : public StaticPluginTest {
 protected:
  // A 5 x 3 image with every byte `value`.
  Ref Filled(int64_t format, uint8_t value) {
    Ref image = NewImage(5, 3, format);
    ImageClassData* data = ImageData(image.get());
    for (int64_t y = 0; y < 3; ++y) std::memset(data->GetRow(data, y), value, 5 * data->PixelSize);
    return image;
  }
  static uint8_t At(const Ref& image, int64_t x, int64_t y, int64_t offset) {
    ImageClassData* data = ImageData(image.get());
    return data->GetRow(data, y)[x * data->PixelSize + offset];
  }
};

// Matrix 1 is 2 x 2 (n * n | 1 = 5). At two levels, 100 gives level 100 * 1 / 256 = 0 and
// f = 100 * 5 >> 8 = 1, raised to level 1 (255) wherever the matrix entry is at least 1. At three
// levels, 200 gives level 1 (127) and f = 3, raised to 255 only where the entry is 3. Every channel
// and the alpha is written; the destination's padding and CMYK images keep their bytes (7).
TEST_F(FiltersByHand, DitherOfOneColour) {
  const int64_t* m = DitherMatrix(1);
  ASSERT_EQ(DitherMatrixSide(1), 2);
  struct Case {
    int64_t format;
    uint8_t value;
    int64_t levels, raisedFrom;
    uint8_t low, high;
  };
  for (const Case& c : {Case{kRGBA, 100, 2, 1, 0, 255}, Case{kGA, 100, 2, 1, 0, 255},
                        Case{kRGBX, 200, 3, 3, 127, 255}, Case{kG, 200, 3, 3, 127, 255},
                        Case{kCMYKA, 100, 2, 256, 7, 7}}) {
    Ref source = Filled(c.format, c.value);
    Ref dest = Filled(c.format, 7);
    Ref result = Ref::Adopt(DitherFilter(source.get(), dest.get(), 1, c.levels));
    ASSERT_EQ(result.get(), dest.get());
    ImageClassData* d = ImageData(dest.get());
    for (int64_t y = 0; y < 3; ++y) {
      for (int64_t x = 0; x < 5; ++x) {
        const uint8_t want = m[(y % 2) * 2 + x % 2] >= c.raisedFrom ? c.high : c.low;
        for (int64_t i = 0; i < d->PixelSize; ++i) {
          const bool padding = c.format == kRGBX && i == 3;
          EXPECT_EQ(At(dest, x, y, i), padding ? 7 : want)
              << "format " << c.format << " at " << x << "," << y << " byte " << i;
        }
      }
    }
  }
}

// Amount 0.1 is a factor of 1.4: 95 over 90 differs by 5, at or over the threshold of 3, and
// becomes trunc(90 + 5 * 1.4) = 97. CMYK without alpha maps the byte at its AlphaOffset (cyan)
// once more after the inks: trunc(90 + 7 * 1.4) = 99. Padding stays, and below the threshold
// nothing changes.
TEST_F(FiltersByHand, UnsharpOfOneColour) {
  for (int64_t format : {kRGBA, kRGBX, kG, kGA, kCMYK, kCMYKA}) {
    Ref self = Filled(format, 95);
    Ref other = Filled(format, 90);
    EXPECT_TRUE(UnsharpFilter(self.get(), other.get(), 0.1, 3));
    ImageClassData* s = ImageData(self.get());
    for (int64_t i = 0; i < s->PixelSize; ++i) {
      uint8_t want = 97;
      if (format == kRGBX && i == 3) want = 95;
      if (format == kCMYK && i == s->AlphaOffset) want = 99;
      EXPECT_EQ(At(self, 4, 2, i), want) << "format " << format << " byte " << i;
    }
    Ref near = Filled(format, 92);
    EXPECT_TRUE(UnsharpFilter(near.get(), other.get(), 0.1, 3));
    EXPECT_EQ(At(near, 1, 1, 0), 92);
  }
  // Past both ends: 10 against 100 by a factor of 3 is -170, 250 against 200 is 350.
  Ref dark = Filled(kG, 10), bright = Filled(kG, 250);
  Ref mid = Filled(kG, 100), lower = Filled(kG, 200);
  EXPECT_TRUE(UnsharpFilter(dark.get(), mid.get(), 0.5, 0));
  EXPECT_TRUE(UnsharpFilter(bright.get(), lower.get(), 0.5, 0));
  EXPECT_EQ(At(dark, 0, 0, 0), 0);
  EXPECT_EQ(At(bright, 0, 0, 0), 255);
}

}  // namespace
