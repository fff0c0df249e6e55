// The image core through the host: formats, sizes, rows, clones, views, clips and the factory.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

class ImageCore : public PluginTest {
 protected:
  // A value that encodes each pixel's coordinates, written into every byte of it.
  static int Coordinates(int64_t x, int64_t y) { return static_cast<int>((x * 7 + y * 13) & 0xFF); }
  void FillWithCoordinates(const Ref& image) {
    const auto size = static_cast<size_t>(image.Get<int64_t>("PixelSize"));
    ForEachPixel(
        image.Get<int64_t>("Width"), image.Get<int64_t>("Height"),
        [&](int64_t x, int64_t y) { std::memset(Pixel(image, x, y), Coordinates(x, y), size); });
  }
};

TEST_F(ImageCore, FormatPropertiesAndOffsetsThroughTheHost) {
  for (auto [format, name] :
       {std::pair{kRGB, "RGB"}, {kScaling5, "Scaling"}, {kGray16, "G16"}, {kRofRGB, ""}}) {
    EXPECT_EQ(NewImage(3, 2, format).Get<std::string>("ImageFormatString"), name);
  }
  EXPECT_EQ(NewImage(3, 2, kG5).Call<std::vector<std::string>>("Channels"),
            (std::vector<std::string>{"Gray", "Gray2", "Gray3", "Gray4", "Gray5"}));
  EXPECT_TRUE(NewImage(3, 2, kRofRGB).Call<std::vector<std::string>>("Channels").empty());
  EXPECT_EQ(NewImage(3, 2, kKYMCA).Call<std::vector<std::string>>("Channels"),
            (std::vector<std::string>{"Black", "Yellow", "Magenta", "Cyan", "Alpha"}));

  Ref xrgb = NewImage(3, 2, kXRGB);
  EXPECT_EQ(xrgb.Call<int64_t>("ChannelOffset", 0), 1);
  EXPECT_OUT_OF_RANGE("index", "ChannelOffset", 0, 2, 3, xrgb.Call<int64_t>("ChannelOffset", 3));

  // The offset setters take any byte of the pixel.
  Ref gray = NewImage(4, 4, kRofRGB);
  gray.Set("RedOffset", int64_t{2});  // no red channel, still a byte of the pixel
  EXPECT_EQ(gray.Get<int64_t>("RedOffset"), 2);
  EXPECT_FALSE(gray.Get<bool>("HasRed"));
  EXPECT_OUT_OF_RANGE("value", "AlphaOffset", 0, 2, 3, gray.Set("AlphaOffset", int64_t{3}));
  EXPECT_OUT_OF_RANGE("value", "GrayOffset", 0, 2, -1, gray.Set("GrayOffset", int64_t{-1}));
}

TEST_F(ImageCore, SizesOfInMemoryImages) {
  // Rows of whole 64-byte units: 30 bytes take 64, 68 take 128.
  for (auto [w, h, format, bytes] :
       {std::tuple{10, 10, kRGB, 640}, {0, 10, kRGB, 0}, {16, 1, kRGBA, 64}, {17, 2, kRGBA, 256}}) {
    EXPECT_EQ(host_.CallShared<int64_t>("PictureXQT", "CalculateMemory", w, h, format), bytes);
  }
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "CanAllocateImage", 1, 1, 14));
  EXPECT_TRUE(host_.CallShared<bool>("PictureXQT", "CanAllocateImage", 1, 1, kG));
  EXPECT_FALSE(host_.CallShared<bool>("PictureXQT", "CanAllocateImage", INT64_MAX, 2, kRGBA));

  Ref tiny = NewImage(1, 1, kRGBA);
  ExpectIntegers(tiny, {{"RowSize", 64}, {"TotalSize", 64}, {"MappingRows", 1}});
  Ref memory = tiny.Get<Ref>("Memory");
  EXPECT_EQ(memory.get(), tiny.Get<Ref>("MemoryTarget").get());
  EXPECT_EQ(Host::BlockSize(memory), 64);
}

TEST_F(ImageCore, OversizedImagesRaiseOutOfMemory) {
  EXPECT_HOST_EXCEPTION("OutOfMemoryException",
                        "Failed to allocate 0 bytes of memory for image buffer.",
                        NewImage(int64_t{1} << 40, int64_t{1} << 40, kRGBA));
  EXPECT_HOST_EXCEPTION("OutOfMemoryException",
                        "Failed to allocate 4503599627370496 bytes of memory for image buffer.",
                        NewImage(int64_t{1} << 30, int64_t{1} << 20, kRGBA));
  host_.FailNextMemoryBlocks(1);
  EXPECT_HOST_EXCEPTION("OutOfMemoryException",
                        "Failed to allocate 640 bytes of memory for image buffer.",
                        NewImage(10, 10, kRGB));
  EXPECT_TRUE(NewImage(10, 10, kRGB).Get<bool>("Valid"));
}

TEST_F(ImageCore, ImagesOverTheCallersBlock) {
  Ref block = host_.NewMemoryBlock(1000);
  Ref image = host_.New("PictureXQT", block, 5, 4, kRGB, 100);
  EXPECT_TRUE(image.Get<bool>("Valid"));
  ExpectIntegers(image, {{"RowSize", 100}, {"TotalSize", 400}});
  EXPECT_EQ(image.Call<void*>("RawRowPtr", 3), Host::BlockData(block) + 300);
  EXPECT_EQ(image.Get<Ref>("Memory").get(), block.get());
  block.reset();  // the image keeps the block alive
  EXPECT_EQ(host_.LiveObjects("MemoryBlock"), 1);
  image.Call("Close");
  image.Call("Close");
  EXPECT_EQ(host_.LiveObjects("MemoryBlock"), 0);

  EXPECT_HOST_EXCEPTION("NilObjectException", "Memoryblock is nil.",
                        host_.New("PictureXQT", nullptr, 5, 4, kRGB, 100));
  EXPECT_HOST_EXCEPTION("NilObjectException", "Memoryblock is nil.",
                        host_.New("PictureXQT", host_.NewMemoryBlock(0), 5, 4, kRGB, 100));
}

TEST_F(ImageCore, RowsAreCopiedWithTheirPaddingOrRaiseOutOfMemory) {
  Ref image = NewImage(3, 100, kRGB);
  ASSERT_EQ(image.Get<int64_t>("RowSize"), 64);
  auto* row = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", 7));
  for (int i = 0; i < 64; ++i) row[i] = static_cast<uint8_t>(i + 1);
  Ref copy = image.Call<Ref>("Row", 7);
  ASSERT_EQ(Host::BlockSize(copy), 64);
  EXPECT_EQ(std::memcmp(Host::BlockData(copy), row, 64), 0);

  Host::BlockData(copy)[63] = 200;
  image.Assign("Row", copy, 9);
  auto* written = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", 9));
  EXPECT_EQ(written[0], 1);
  EXPECT_EQ(written[63], 200);

  Ref shortBlock = host_.NewMemoryBlock(10);
  std::memset(Host::BlockData(shortBlock), 0xEE, 10);
  image.Assign("Row", shortBlock, 9);
  EXPECT_EQ(written[9], 0xEE);
  EXPECT_EQ(written[10], 11);  // the rest of the row is left alone

  EXPECT_EQ(Host::BlockData(image.Call<Ref>("RawRow", 7)), row);  // the row itself

  host_.FailNextMemoryBlocks(1);
  EXPECT_HOST_EXCEPTION("OutOfMemoryException",
                        "Failed to allocate a memoryblock with 64 bytes in size.",
                        image.Call<Ref>("Row", 1));
}

TEST_F(ImageCore, RowIndexChecks) {
  Ref image = NewImage(3, 100, kRGB);
  EXPECT_HOST_EXCEPTION("OutOfBoundsException",
                        "The parameter index to method RawRow is too small. Range is 0 to 99, "
                        "but value is -1.",
                        image.Call<void*>("RawRowPtr", -1));
  EXPECT_OUT_OF_RANGE("index", "RawRow", 0, 99, 100, image.Call<Ref>("RawRow", 100));
  EXPECT_OUT_OF_RANGE("index", "Row", 0, 99, 100, image.Call<Ref>("Row", 100));
  EXPECT_OUT_OF_RANGE("index", "Row", 0, 99, 100,
                      image.Assign("Row", host_.NewMemoryBlock(64), 100));
  EXPECT_HOST_EXCEPTION("NilObjectException", "Memoryblock is nil",
                        image.Assign("Row", nullptr, 1));

  Ref invalid = NewImage(0, 3, kRGB);
  EXPECT_FALSE(invalid.Call<Ref>("Row", 0));
  EXPECT_FALSE(invalid.Call<Ref>("RawRow", 0));
  // Assigning checks the index against the (zero) height even on an invalid image.
  EXPECT_OUT_OF_RANGE("index", "Row", 0, -1, 0, invalid.Assign("Row", host_.NewMemoryBlock(4), 0));
}

// Views read the parent's rows, in memory and in a mapped file alike; only in-memory images clone.
TEST_F(ImageCore, MirroredViewsClipsAndClones) {
  for (bool mapped : {false, true}) {
    SCOPED_TRACE(mapped ? "file-mapped" : "in memory");
    Ref image =
        mapped ? host_.New("PictureXQT", 4, 8, kRGB, int64_t{0}, nullptr) : NewImage(4, 8, kRGB);
    ASSERT_EQ(image.Get<bool>("IsMapping"), mapped);
    FillWithCoordinates(image);
    Ref mirror = image.Call<Ref>("MirroredView");
    ASSERT_TRUE(mirror);
    EXPECT_EQ(mirror.Get<bool>("IsMapping"), mapped);
    EXPECT_EQ(*Pixel(mirror, 1, 0), Coordinates(1, 7));
    EXPECT_EQ(*Pixel(mirror, 2, 7), Coordinates(2, 0));
    EXPECT_EQ(*Pixel(mirror.Call<Ref>("MirroredView"), 3, 1), Coordinates(3, 1));

    Ref clip = image.Call<Ref>("ClipImage", 1, 3, 2, 5);
    uint8_t* red = Row(clip, 0) + clip.Get<int64_t>("RedOffset");
    EXPECT_EQ(*red, Coordinates(1, 3));
    *red = 1;  // the parent's pixel
    EXPECT_EQ(*Pixel(image, 1, 3), 1);
    Ref green = clip.Call<Ref>("GreenChannel");
    EXPECT_EQ(Row(green, 4)[green.Get<int64_t>("GrayOffset") + 3], Coordinates(2, 7));

    Ref clone = (mapped ? image : mirror).Call<Ref>("Clone");
    if (mapped) {
      EXPECT_FALSE(clone);
      continue;
    }
    ASSERT_TRUE(clone);
    EXPECT_EQ(clone.Get<int64_t>("RowOffset"), 0);
    EXPECT_FALSE(clone.Get<Ref>("Parent"));
    EXPECT_EQ(*Pixel(clone, 0, 0), Coordinates(0, 7));
    EXPECT_EQ(*Pixel(clone, 3, 7), Coordinates(3, 0));
    *Pixel(clone, 0, 0) = 99;  // a clone owns its pixels
    EXPECT_EQ(*Pixel(image, 0, 7), Coordinates(0, 7));

    // Views keep the parent alive after the application drops it.
    image.reset();
    EXPECT_EQ(*Pixel(mirror, 1, 0), Coordinates(1, 7));
    EXPECT_EQ(mirror.Get<Ref>("Parent").Get<int64_t>("Height"), 8);
  }
}

TEST_F(ImageCore, ChannelViews) {
  Ref gray = NewImage(2, 2, kG);
  EXPECT_FALSE(gray.Call<Ref>("RedChannel"));
  Ref grayView = gray.Call<Ref>("GrayChannel");
  EXPECT_EQ(grayView.Get<int64_t>("ImageFormat"), kG);
  EXPECT_EQ(grayView.Get<std::string>("Channel"), "Gray");

  Ref deep = NewImage(2, 2, kGray16);
  EXPECT_FALSE(deep.Call<Ref>("AlphaChannel"));
  EXPECT_EQ(deep.Call<Ref>("GrayChannel").Get<int64_t>("ImageFormat"), kGray16);

  Ref bgra = NewImage(3, 2, kBGRA);
  Ref red = bgra.Call<Ref>("RedChannel");
  ExpectIntegers(red, {{"ImageFormat", kG}, {"PixelSize", 4}, {"GrayOffset", 2}});
  EXPECT_TRUE(red.Get<bool>("IsGray"));
  Pixel(red, 1, 1)[2] = 250;  // the view writes into the parent
  EXPECT_EQ(Pixel(bgra, 1, 1)[2], 250);

  Ref green = bgra.Call<Ref>("Channel", 1);
  EXPECT_EQ(green.Get<std::string>("Channel"), "Green");
  EXPECT_EQ(green.Get<int64_t>("GrayOffset"), 1);
  EXPECT_OUT_OF_RANGE("index", "Channel", 0, 3, 4, bgra.Call<Ref>("Channel", 4));

  Ref rgb = bgra.Call<Ref>("RGBChannels");
  ExpectIntegers(rgb, {{"ImageFormat", kBGR}, {"RedOffset", 2}});
  EXPECT_EQ(rgb.Call<int64_t>("ChannelOffset", 0), 0);  // blue first in a BGR layout
  EXPECT_FALSE(rgb.Get<bool>("HasAlpha"));
  EXPECT_FALSE(bgra.Call<Ref>("CMYKChannels"));

  Ref kymca = NewImage(2, 2, kKYMCA);
  Ref cmyk = kymca.Call<Ref>("CMYKChannels");
  ExpectIntegers(cmyk, {{"ImageFormat", kKYMC}, {"CyanOffset", 3}});
  EXPECT_EQ(cmyk.Call<int64_t>("ChannelOffset", 0), 0);  // black first
  EXPECT_FALSE(NewImage(2, 2, kCMYK).Call<Ref>("RGBChannels"));
}

// A clip's rows are its parent's, its channels moved by the pixels cut at the left. A negative
// size flips the rectangle; origins outside are cut.
TEST_F(ImageCore, ClipRectangles) {
  Ref image = NewImage(100, 100, kRGBA);
  ExpectIntegers(image.Call<Ref>("ClipImage", 10, 10, 20, 20),
                 {{"Width", 20}, {"Height", 20}, {"RowOffset", 10}, {"RedOffset", 40}});
  ExpectIntegers(image.Call<Ref>("ClipImage", 30, 30, -20, -20),
                 {{"RowOffset", 10}, {"Width", 20}});
  ExpectIntegers(image.Call<Ref>("ClipImage", -5, 90, 20, 20),
                 {{"Width", 15}, {"Height", 10}, {"RedOffset", 0}});
  EXPECT_EQ(image.Call<Ref>("ClipImage", 100, 0, 5, 5).Get<int64_t>("Width"), 0);
  // A cut longer than the rectangle leaves it empty, never of negative size.
  ExpectIntegers(image.Call<Ref>("ClipImage", -5, -7, 3, 4), {{"Width", 0}, {"Height", 0}});
  // x + width saturates at the lowest value and the cut leaves nothing; y + height is -1, so the
  // flipped span of the largest length covers every row.
  ExpectIntegers(image.Call<Ref>("ClipImage", INT64_MIN, INT64_MAX, INT64_MIN, INT64_MIN),
                 {{"Width", 0}, {"Height", 100}});
  Ref lowest = image.Call<Ref>("ClipImage", 8, INT64_MIN, 0, 0);
  EXPECT_EQ(lowest.Get<int64_t>("Height"), 0);
  EXPECT_OUT_OF_RANGE("index", "RawRow", 0, -1, 38, lowest.Call<void*>("RawRowPtr", 38));
  EXPECT_EQ(image.Call<Ref>("ClipImage").Get<int64_t>("Width"), 100);
}

// Factories as an application writes them.
int64_t gExtraWidth = 0;
bool gAnswerNil = false;
REALobject WiderFactory(REALobject, int64_t width, int64_t height, int64_t format) {
  if (gAnswerNil) return nullptr;
  return Host::Current().New("PictureXQT", width + gExtraWidth, height, format).release();
}

TEST_F(ImageCore, FactoriesAnswerFirstPerImageThenProcessWide) {
  host_.DefineSubclass("WideFactory", "PictureFactoryXQT",
                       {{"NewPictureXQT", reinterpret_cast<void*>(&WiderFactory)}});
  Ref image = NewImage(4, 4, kRGB);
  gExtraWidth = 10;
  gAnswerNil = false;
  image.Set("Factory", host_.New("WideFactory"));
  EXPECT_EQ(image.Call<Ref>("CreatePictureXQT", 5, 6, kRGB).Get<int64_t>("Width"), 15);
  // Without the image, only the process-wide factory is asked.
  EXPECT_EQ(
      host_.CallShared<Ref>("PictureXQT", "CreatePictureXQT", 5, 6, kRGB).Get<int64_t>("Width"), 5);
  // The plug-in holds the process-wide factory after the application dropped it.
  host_.CallShared("PictureFactoryXQT", "SetFactory", host_.New("WideFactory"));
  EXPECT_EQ(host_.LiveObjects("WideFactory"), 2);
  gExtraWidth = 3;
  EXPECT_EQ(
      host_.CallShared<Ref>("PictureFactoryXQT", "NewPictureXQT", 5, 6, kRGB).Get<int64_t>("Width"),
      8);
  // A smaller answer is refused and the plain image made instead.
  gExtraWidth = -1;
  EXPECT_EQ(image.Call<Ref>("CreatePictureXQT", 5, 6, kRGB).Get<int64_t>("Width"), 5);
  gAnswerNil = true;
  EXPECT_EQ(image.Call<Ref>("CreatePictureXQT", 5, 6, kG).Get<int64_t>("ImageFormat"), kG);
  EXPECT_FALSE(image.Call<Ref>("CreatePictureXQT", 0, 5, kRGB));
  host_.CallShared("PictureFactoryXQT", "SetFactory", nullptr);
  EXPECT_FALSE(host_.GetShared<Ref>("PictureFactoryXQT", "currentFactory"));
  EXPECT_EQ(host_.LiveObjects("WideFactory"), 1);  // the image's own
}

}  // namespace
