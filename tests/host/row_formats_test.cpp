// RowInFormat, RowStringInFormat and DataStringInFormat through the host: hand-worked pixels in
// every family, alpha that is kept, made opaque or inverted, round trips through other formats,
// and the refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

class RowFormatsTest : public PluginTest {
 protected:
  // The row as a memory block; `inverted` counts alpha as transparency.
  Bytes RowIn(const Ref& image, int64_t y, int64_t format, bool inverted = false) {
    Ref block = inverted ? image.Call<Ref>("RowInFormat", y, format, true)
                         : image.Call<Ref>("RowInFormat", y, format);
    return Bytes(Host::BlockData(block), Host::BlockData(block) + Host::BlockSize(block));
  }
  void AssignRow(const Ref& image, int64_t y, int64_t format, const Bytes& bytes,
                 bool inverted = false) {
    Ref block = host_.NewMemoryBlock(static_cast<int64_t>(bytes.size()));
    std::memcpy(Host::BlockData(block), bytes.data(), bytes.size());
    inverted ? image.Assign("RowInFormat", block, y, format, true)
             : image.Assign("RowInFormat", block, y, format);
  }
  // Returned strings are Latin-1: the host's UTF-8 reading maps each character back to a byte.
  static Bytes Latin1(const std::string& utf8) {
    Bytes out;
    for (size_t i = 0; i < utf8.size(); ++i) {
      auto c = static_cast<uint8_t>(utf8[i]);
      out.push_back(c < 0x80 ? c : static_cast<uint8_t>((c & 0x03) << 6 | (utf8[++i] & 0x3F)));
    }
    return out;
  }
  // Byte strings go in as Latin-1 host strings, to `member` with the arguments after the string.
  template <class... Args>
  void AssignString(const Ref& image, const char* member, const Bytes& bytes, Args... args) {
    struct Held {  // released when the assignment returns or throws
      Host& host;
      REALstring string;
      ~Held() { host.ReleaseString(string); }
    } held{host_, host_.NewString(
                      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                      kREALEncodingISOLatin1)};
    image.Assign(member, held.string, args...);
  }
};

TEST_F(RowFormatsTest, RGBARowInOtherFormats) {
  Ref image = NewImage(3, 2, kRGBA);
  SetPixels(image, 1, {10, 20, 30, 40, 255, 0, 0, 255, 0, 0, 0, 0});
  // Channels move to the new byte order; alpha goes with them.
  EXPECT_EQ(RowIn(image, 1, kBGRA), (Bytes{30, 20, 10, 40, 0, 0, 255, 255, 0, 0, 0, 0}));
  // The padding byte of XRGB is zero.
  EXPECT_EQ(RowIn(image, 1, kXRGB), (Bytes{0, 10, 20, 30, 0, 255, 0, 0, 0, 0, 0, 0}));
  // Gray: (77 x 10 + 151 x 20 + 28 x 30) >> 8 = 4630 >> 8 = 18; pure red gives 76.
  EXPECT_EQ(RowIn(image, 1, kGA), (Bytes{18, 40, 76, 255, 0, 0}));
  EXPECT_EQ(RowIn(image, 1, kAG), (Bytes{40, 18, 255, 76, 0, 0}));
  // CMYK: brightest 30 gives K = 225; C = ceil(20 x 255 / 30) = 170, M = ceil(10 x 255 / 30) =
  // 85, Y = 0. Red is M = Y = 255; black is K = 255 alone.
  EXPECT_EQ(RowIn(image, 1, kCMYKA),
            (Bytes{170, 85, 0, 225, 40, 0, 255, 255, 0, 255, 0, 0, 0, 255, 0}));
  EXPECT_EQ(RowIn(image, 1, kAKYMC),
            (Bytes{40, 225, 0, 85, 170, 255, 0, 255, 255, 0, 0, 255, 0, 0, 0}));
  // The same row as a byte string, and the whole image packed without padding.
  EXPECT_EQ(Latin1(image.Call<std::string>("RowStringInFormat", 1, kBGRA)),
            (Bytes{30, 20, 10, 40, 0, 0, 255, 255, 0, 0, 0, 0}));
  Bytes all = Latin1(image.Call<std::string>("DataStringInFormat", kG));
  EXPECT_EQ(all, (Bytes{0, 0, 0, 18, 76, 0}));
}

TEST_F(RowFormatsTest, AlphaOpaqueKeptOrInverted) {
  Ref gray = NewImage(2, 1, kG);
  SetPixels(gray, 0, {7, 200});
  // No alpha in the image: the row shows it opaque, or 0 when the caller counts transparency.
  EXPECT_EQ(RowIn(gray, 0, kRGBA), (Bytes{7, 7, 7, 255, 200, 200, 200, 255}));
  EXPECT_EQ(RowIn(gray, 0, kRGBA, true), (Bytes{7, 7, 7, 0, 200, 200, 200, 0}));

  Ref rgba = NewImage(2, 1, kRGBA);
  SetPixels(rgba, 0, {1, 2, 3, 40, 4, 5, 6, 255});
  EXPECT_EQ(RowIn(rgba, 0, kRGBA, true), (Bytes{1, 2, 3, 215, 4, 5, 6, 0}));
  // Writing with inversion stores 255 - alpha.
  AssignRow(rgba, 0, kRGBA, {9, 8, 7, 0, 6, 5, 4, 255}, true);
  EXPECT_EQ(RowBytes(rgba, 0, 8), (Bytes{9, 8, 7, 255, 6, 5, 4, 0}));
  // A format without alpha leaves the image's alpha as it was.
  AssignRow(rgba, 0, kRGB, {100, 110, 120, 130, 140, 150});
  EXPECT_EQ(RowBytes(rgba, 0, 8), (Bytes{100, 110, 120, 255, 130, 140, 150, 0}));
}

TEST_F(RowFormatsTest, SixteenBitGrayAndCMYKImages) {
  Ref gray16 = NewImage(2, 1, kGray16);
  uint16_t samples[2] = {0xABCD, 0x0012};
  std::memcpy(Row(gray16, 0), samples, 4);
  // The high byte of each sample, as the picture bridge shows 16-bit gray.
  EXPECT_EQ(RowIn(gray16, 0, kG), (Bytes{0xAB, 0x00}));
  // Eight-bit gray widens by 257: 0x12 becomes 0x1212.
  AssignRow(gray16, 0, kG, {0x12, 0xFF});
  std::memcpy(samples, Row(gray16, 0), 4);
  EXPECT_EQ(samples[0], 0x1212);
  EXPECT_EQ(samples[1], 0xFFFF);

  Ref cmyk = NewImage(3, 1, kCMYK);
  SetPixels(cmyk, 0, {170, 85, 0, 225, 0, 0, 0, 100, 100, 200, 7, 100});
  // CMYK to RGB as pictures show it: 255 - (K + C x (255 - K) / 255), the division truncating.
  // 255 - (225 + 170 x 30 / 255) = 10; 255 - (225 + 85 x 30 / 255) = 20; 255 - 225 = 30. The
  // second pixel: 255 - 100 = 155 in every channel. The third: 100 x 155 / 255 = 60.8, 200 x 155
  // / 255 = 121.6 and 7 x 155 / 255 = 4.3 give 255 - 160 = 95, 255 - 221 = 34, 255 - 104 = 151.
  EXPECT_EQ(RowIn(cmyk, 0, kRGB), (Bytes{10, 20, 30, 155, 155, 155, 95, 34, 151}));
  // CMYK to gray keeps the black byte, as CopyPixels does.
  EXPECT_EQ(RowIn(cmyk, 0, kG), (Bytes{225, 100, 100}));
  // Gray into CMYK: no colour, the gray byte as black.
  AssignRow(cmyk, 0, kG, {33, 44, 55});
  EXPECT_EQ(RowBytes(cmyk, 0, 12), (Bytes{0, 0, 0, 33, 0, 0, 0, 44, 0, 0, 0, 55}));
}

// Odd-sized random images taken out in another format and written back give the same pixels
// wherever the way there loses nothing.
TEST_F(RowFormatsTest, RoundTrips) {
  const std::pair<int64_t, int64_t> trips[] = {{kRGBA, kBGRA}, {kRGBA, kCMYKA}, {kRGBA, kAKYMC},
                                               {kRGB, kCMYK},  {kG, kRGB},      {kG, kCMYK},
                                               {kGA, kAG},     {kG, kGray16},   {kCMYK, kAKYMC}};
  for (auto [format, via] : trips) {
    SCOPED_TRACE(testing::Message() << format << " via " << via);
    Ref image = NewImage(7, 5, format);
    Randomise(image, static_cast<uint32_t>(format * 64 + via));
    const Bytes before = PixelBytes(image);
    const size_t row = before.size() / 5;
    // Rows through memory blocks and strings, the whole image through one string.
    Bytes row2 = RowIn(image, 2, via);
    Bytes row3 = Latin1(image.Call<std::string>("RowStringInFormat", 3, via));
    Bytes all = Latin1(image.Call<std::string>("DataStringInFormat", via));
    FillBytes(image, 0);
    AssignRow(image, 2, via, row2);
    AssignString(image, "RowStringInFormat", row3, int64_t{3}, via);
    const Bytes rows = PixelBytes(image);
    EXPECT_EQ(Bytes(rows.begin() + 2 * row, rows.begin() + 4 * row),
              Bytes(before.begin() + 2 * row, before.begin() + 4 * row));
    // The image's string is its rows' strings one after the other.
    EXPECT_EQ(Bytes(all.begin() + 3 * row3.size(), all.begin() + 4 * row3.size()), row3);
    FillBytes(image, 0);
    AssignString(image, "DataStringInFormat", all, via);
    EXPECT_EQ(PixelBytes(image), before);
  }
}

TEST_F(RowFormatsTest, ClipAndChannelViewsUseTheirOffsets) {
  Ref image = NewImage(4, 2, kRGBA);
  SetPixels(image, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  Ref clip = image.Call<Ref>("ClipImage", 1, 1, 2, 1);
  EXPECT_EQ(RowIn(clip, 0, kRGB), (Bytes{5, 6, 7, 9, 10, 11}));
  AssignRow(clip, 0, kRGB, {50, 60, 70, 90, 100, 110});
  EXPECT_EQ(RowBytes(image, 1, 16),
            (Bytes{1, 2, 3, 4, 50, 60, 70, 8, 90, 100, 110, 12, 13, 14, 15, 16}));
}

TEST_F(RowFormatsTest, Refusals) {
  Ref image = NewImage(3, 2, kRGBA);
  for (int64_t format : {int64_t{0}, int64_t{14}, int64_t{22}, int64_t{35}, int64_t{49}}) {
    std::string message =
        "ImageFormat " + std::to_string(format) + " is not a gray, RGB or CMYK pixel format.";
    EXPECT_HOST_EXCEPTION("UnsupportedOperationException", message,
                          image.Call<Ref>("RowInFormat", int64_t{0}, format));
    EXPECT_HOST_EXCEPTION("UnsupportedOperationException", message,
                          image.Call<std::string>("DataStringInFormat", format));
  }
  EXPECT_OUT_OF_RANGE("index", "RowInFormat", 0, 1, 2,
                      image.Call<Ref>("RowInFormat", int64_t{2}, kRGB));
  EXPECT_OUT_OF_RANGE("index", "RowStringInFormat", 0, 1, -1,
                      image.Call<std::string>("RowStringInFormat", int64_t{-1}, kRGB));
  EXPECT_HOST_EXCEPTION("NilObjectException", "Memoryblock is nil",
                        image.Assign("RowInFormat", nullptr, int64_t{0}, kRGB));
  // Short data changes nothing.
  SetPixels(image, 0, Bytes(12, 77));
  EXPECT_HOST_EXCEPTION("OutOfBoundsException", "The data has 8 bytes, 9 are needed.",
                        AssignRow(image, 0, kRGB, Bytes(8, 1)));
  EXPECT_HOST_EXCEPTION("OutOfBoundsException", "The data has 11 bytes, 12 are needed.",
                        AssignString(image, "RowStringInFormat", Bytes(11, 1), int64_t{0}, kBGRA));
  EXPECT_HOST_EXCEPTION("OutOfBoundsException", "The data has 5 bytes, 6 are needed.",
                        AssignString(image, "DataStringInFormat", Bytes(5, 1), kG));
  EXPECT_EQ(RowBytes(image, 0, 12), Bytes(12, 77));
  // A closed image has no row accessor: refused, not read.
  Ref closed = NewImage(3, 2, kRGBA);
  closed.Call("Close");
  EXPECT_HOST_EXCEPTION("UnsupportedOperationException", "GetRow is nil",
                        closed.Call<Ref>("RowInFormat", int64_t{0}, kRGB));
  EXPECT_HOST_EXCEPTION("UnsupportedOperationException", "GetRow is nil",
                        AssignString(closed, "DataStringInFormat", Bytes(6, 1), kG));
}

}  // namespace
