// File-mapped images whose rows span several bands of the mapping (a band holds 16 MiB, 4096 rows
// of one page each) give every operation the same bytes as the same pixels in memory: as source,
// as destination, as mask, and in place. The band arithmetic itself is the unit tests'.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/mapped_image_files.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

// The image operated on, another of the same format and size, and the maker of images of the
// kind under test (file-mapped, or in memory).
struct On {
  Ref i, o;
  std::function<Ref(int64_t width, int64_t height, int64_t format)> make;
};

struct Operation {
  const char* name;
  int64_t format, width, height;
  std::function<Ref(const On&)> run;  // returns what to compare
};

class MappedImages : public MappedImagesTest<PluginTest> {
 protected:
  // The bytes of the image operated on and of the result, the images of the operation's kind
  // filled with the same random bytes either way.
  Bytes Run(const Operation& operation, bool mapped) {
    uint32_t seed = 0;
    auto make = [&](int64_t width, int64_t height, int64_t format) {
      Ref made = mapped ? NewMapped(width, height, format) : NewImage(width, height, format);
      EXPECT_EQ(made.Get<bool>("IsMapping"), mapped);
      Randomise(made, ++seed);
      return made;
    };
    Ref self = make(operation.width, operation.height, operation.format);
    EXPECT_TRUE(!mapped || self.Get<int64_t>("MappingRows") < operation.height);
    Ref out =
        operation.run({self, make(operation.width, operation.height, operation.format), make});
    Bytes bytes = PixelBytes(self), result = out ? PixelBytes(out) : Bytes{};
    EXPECT_FALSE(result.empty());
    bytes.insert(bytes.end(), result.begin(), result.end());
    return bytes;
  }
};

TEST_F(MappedImages, EveryOperationGivesTheBytesOfMemory) {
  const Ref kernel = host_.NewIntegerArray({1, 2, 1, 2, 4, 2, 1, 2, 1});
  const Operation operations[] = {
      {"Rotate90 into a mapped image", kCMYK, 1100, 4200,  // 1024 rows a band there
       [](const On& on) { return on.i.Call<Ref>("Rotate90", on.make(4200, 1100, kCMYK)); }},
      {"Rotate270 and Rotate180 into new images", kRGBA, 37, 4200,
       [](const On& on) {
         return on.i.Call<Ref>("Rotate270", nullptr).Call<Ref>("Rotate180", nullptr);
       }},
      {"Rotate90 of a clip", kG, 37, 4200,
       [](const On& on) {
         return on.i.Call<Ref>("ClipImage", 3, 50, 30, 4100).Call<Ref>("Rotate90", nullptr);
       }},
      {"mirrors and the half turn in place", kRGBA, 37, 4201,
       [](const On& on) {
         on.i.Call("VMirror");
         on.i.Call("Rotate180");
         on.i.Call("HMirror");
         return on.i;
       }},
      {"fills", kRGBA, 37, 4200,
       [](const On& on) {
         on.i.Call("FillRect", 3, 4000, 20, 150, 7);
         on.i.Call("Invert", 0, 10, 37, 4100);
         return on.i;
       }},
      {"BoxBlurFilter", kRGBA, 37, 4200,
       [](const On& on) {
         return on.i.Call<Ref>("BoxBlurFilter", nullptr, int64_t{3}, int64_t{300});
       }},
      {"ApplyMatrix", kRGBA, 37, 4200,
       [&](const On& on) { return on.i.Call<Ref>("ApplyMatrix", nullptr, kernel); }},
      {"Rotate by 30 degrees", kRGBA, 37, 4200,
       [](const On& on) { return on.i.Call<Ref>("Rotate", 30.0, 1, 2, 3, 4, 5, 6, 7, 8, 9); }},
      {"DitherFilter into a mapped dest", kRGB, 301, 4200,
       [](const On& on) { return on.i.Call<Ref>("DitherFilter", on.o, int64_t{10}, int64_t{3}); }},
      {"CopyPixels across bands", kRGBA, 3, 9000,
       [](const On& on) {
         EXPECT_TRUE(on.o.Call<bool>("CopyPixels", on.i, 0, 1000, 3, 8000, 0, 0));
         return on.o;
       }},
      {"CopyPixels within one image", kXRGB, 2, 9000,
       [](const On& on) {
         EXPECT_TRUE(on.i.Call<bool>("CopyPixels", on.i, 0, 8800, 2, 100, 0, 0));
         return on.i;
       }},
      {"Combine through a mask", kRGBA, 301, 4200,
       [](const On& on) {
         EXPECT_TRUE(on.i.Call<bool>("Combine", on.o, on.make(301, 4200, kG), int64_t{3},
                                     int64_t{2}, int64_t{290}, int64_t{4100}, true));
         return on.i;
       }},
      {"blend with a mask into a mapped result", kRGB, 2, 9000,
       [&](const On& on) {
         Ref result = on.make(2, 9000, kGA);
         EXPECT_TRUE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground",
                                            on.i, nullptr, on.o, result, Color{0x102030}));
         return result;
       }},
      {"ScaleMT", kRGB, 40, 4200,
       [](const On& on) {
         Ref dest = on.make(17, 61, kGA);
         EXPECT_TRUE(dest.Call<bool>("ScaleMT", int64_t{2}, on.i, nullptr, int64_t{5}, int64_t{17},
                                     int64_t{61}));
         return dest;
       }},
  };
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    EXPECT_TRUE(Run(operation, true) == Run(operation, false));
  }
}

}  // namespace
