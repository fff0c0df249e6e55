// File-mapped images through the host: the backing file's life, failures that leave no file, and
// images over several bands giving every operation, in every role, the bytes of memory.
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "support/environment.h"
#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/mapped_image_files.h"
#include "support/plugin_fixture.h"

namespace {

namespace fs = std::filesystem;
using xqt::host::Color;
using xqt::host::Ref;

// Every path out of the constructor and every way of closing removes the backing file.
class FileMapping : public MappedImagesTest<PluginTest> {
 protected:
  Ref NewMappedAt(const fs::path& path, int64_t width, int64_t height, int64_t blockSize = 0) {
    Ref item = host_.NewFolderItem(path.string());
    return host_.New("PictureXQT", width, height, kRGB, blockSize, item);
  }

  // The first byte of row y, through MapInRows and the band the Memory block shows.
  uint8_t* RowThroughBand(const Ref& image, int64_t y) {
    if (!image.Call<bool>("MapInRows", y, y)) return nullptr;
    int64_t first = image.Get<int64_t>("MappingFirstRow");
    int64_t last = image.Get<int64_t>("MappingLastRow");
    if (y < first || y > last) return nullptr;
    Ref band = image.Get<Ref>("Memory");
    if (!band) return nullptr;
    return xqt::host::Host::BlockData(band) + (y - first) * image.Get<int64_t>("RowSize");
  }
};

// The block-size property; how a band follows from the size asked for is the unit test's.
TEST_F(FileMapping, BlockSizeProperty) {
  Ref image = NewMapped(100, 10000, kRGB, int64_t{1} << 40);
  ASSERT_TRUE(image.Get<bool>("Valid"));
  // The whole file; then whole multiples of the floor, from the first band again.
  ExpectIntegers(image, {{"MappingBlockSize", 10000 * kPage}, {"MappingRows", 10000}});
  image.Set("MappingBlockSize", 2 * kMiB16 + 100);
  ExpectIntegers(image, {{"MappingBlockSize", 2 * kMiB16},
                         {"MappingRows", 8192},
                         {"MappingFirstRow", 0},
                         {"MappingLastRow", 8191}});
  ASSERT_TRUE(image.Get<Ref>("Memory"));
}

TEST_F(FileMapping, NamedFileIsRemovedToo) {
  fs::path path = scratch_ / "named backing file.raw";
  Ref image = NewMappedAt(path, 30, 30);
  ASSERT_TRUE(image.Get<bool>("Valid"));
  EXPECT_EQ(image.Get<std::string>("FilePath"), path.string());
  ASSERT_TRUE(fs::exists(path));
  image.Call("Close");
  EXPECT_FALSE(fs::exists(path));

  // An existing file is truncated and reused, then removed all the same.
  fs::path existing = scratch_ / "existing";
  std::ofstream(existing) << std::string(100000, 'x');
  ASSERT_EQ(fs::file_size(existing), 100000u);
  Ref reused = NewMappedAt(existing, 10, 2);
  ASSERT_TRUE(reused.Get<bool>("Valid"));
  EXPECT_EQ(fs::file_size(existing), static_cast<uintmax_t>(3 * kPage));
  uint8_t* row = RowThroughBand(reused, 1);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row[0], 0);
  reused.reset();
  EXPECT_FALSE(fs::exists(existing));

  // An empty path means a temporary file.
  Ref unnamed = NewMappedAt("", 10, 10);
  ASSERT_TRUE(unnamed.Get<bool>("Valid"));
  EXPECT_EQ(fs::path(unnamed.Get<std::string>("FilePath")).parent_path(), scratch_.path());
}

// A second image naming the file of a live one must neither cut that file short (the first
// image's mapped pages would fault) nor remove it when it fails or closes.
TEST_F(FileMapping, FileOfALiveImageIsNotTakenOver) {
  fs::path path = scratch_ / "shared";
  Ref first = NewMappedAt(path, 10, 23);
  ASSERT_TRUE(first.Get<bool>("Valid"));
  uint8_t* row = RowThroughBand(first, 22);
  ASSERT_NE(row, nullptr);
  row[2] = 0x5A;  // blue of pixel 0
  Ref blue = first.Call<Ref>("BlueChannel");
  ASSERT_TRUE(blue);

  for (int64_t height : {1, 23, 40}) {
    Ref second = NewMappedAt(path, 10, height);
    EXPECT_FALSE(second.Get<bool>("Valid")) << height;
    second.Call("Close");
  }
  EXPECT_EQ(fs::file_size(path), static_cast<uintmax_t>(24 * kPage));
  row = RowThroughBand(first, 22);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row[2], 0x5A);

  // Close removes the name, so a new image gets a new file there while the view keeps the old one
  // (Windows may keep the name while the view lives: the file is then refused, not taken over).
  first.Call("Close");
  Ref third = NewMappedAt(path, 10, 2);
#if !defined(_WIN32)
  EXPECT_TRUE(third.Get<bool>("Valid"));
#endif
  row = RowThroughBand(blue, 22);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row[2], 0x5A);
}

// Sizes and formats that make no image give an invalid one, in memory and mapped (without a file).
TEST_F(FileMapping, BadArgumentsGiveAnInvalidImageAndNoFile) {
  // The last three overflow the row's bytes, the file's size, and with the size fitting its tail.
  const int64_t cases[][3] = {{0, 10, kRGB},
                              {10, 0, kRGB},
                              {-5, 10, kRGB},
                              {10, 10, 0},
                              {10, 10, 14},
                              {10, 10, 49},
                              {INT64_MAX / 2, 10, kRGB},
                              {100, INT64_MAX / kPage + 1, kRGB},
                              {100, INT64_MAX / kPage, kRGB}};
  for (const auto& c : cases) {
    for (bool mapped : {true, false}) {
      if (!mapped && &c - cases >= 6) continue;
      Ref image = mapped ? NewMapped(c[0], c[1], c[2]) : NewImage(c[0], c[1], c[2]);
      EXPECT_FALSE(image.Get<bool>("Valid")) << c[0] << " x " << c[1] << " format " << c[2];
      EXPECT_FALSE(image.Get<bool>("IsMapping"));
      EXPECT_EQ(image.Get<std::string>("FilePath"), "");
      EXPECT_FALSE(image.Call<bool>("MapInRows", int64_t{0}, int64_t{0}));
      EXPECT_FALSE(image.Call<Ref>("Clone"));
      EXPECT_EQ(image.Call<void*>("RawRowPtr", 0), nullptr);
      image.Call("Close");
    }
  }
}

TEST_F(FileMapping, FileThatCannotBeMadeGivesAnInvalidImage) {
  Ref image = NewMappedAt(scratch_ / "missing" / "file", 10, 10);
  EXPECT_FALSE(image.Get<bool>("Valid"));
  EXPECT_FALSE(image.Get<bool>("IsMapping"));
  EXPECT_FALSE(fs::exists(scratch_ / "missing"));

  // No place for a temporary file: no name can be had.
  SetEnvironment("TMPDIR", (scratch_ / "missing").string());
  EXPECT_HOST_EXCEPTION("UnsupportedOperationException", "Failed to get temp path.",
                        NewMapped(10, 10));
}

#if !defined(_WIN32)
// In a child whose files may not grow past 64 KiB: 11 pages fit, 101 do not. The child's exit
// code is the number of failed checks.
TEST_F(FileMapping, FileThatCannotBeSizedIsRemoved) {
  fs::path named = scratch_ / "named";
  pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{64 * 1024, 64 * 1024};
    setrlimit(RLIMIT_FSIZE, &limit);
    int failed = 0;
    {
      Ref small = NewMapped(10, 10);
      failed += small.Get<bool>("Valid") ? 0 : 1;
    }
    Ref temporary = NewMapped(100, 100);
    failed += temporary.Get<bool>("Valid") || temporary.Get<bool>("IsMapping") ? 1 : 0;
    Ref atPath = NewMappedAt(named, 100, 100);
    failed += atPath.Get<bool>("Valid") || fs::exists(named) ? 1 : 0;
    failed += scratch_.IsEmpty() ? 0 : 1;
    _exit(failed);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

TEST_F(FileMapping, ViewsReleaseTheirDescriptors) {
  Ref image = NewMapped(10, 10);
  ASSERT_TRUE(image.Get<bool>("Valid"));
  auto openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{});
  };
  auto before = openFiles();
  for (int i = 0; i < 20; ++i) {
    Ref view = image.Call<Ref>("RedChannel");
    ASSERT_TRUE(view);
    Ref mirrored = view.Call<Ref>("MirroredView");
  }
  EXPECT_EQ(openFiles(), before);
}

// The image operated on, another like it, and the maker of images of the kind under test.
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
  // The bytes of the image operated on and of the result, from the same random bytes either way.
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
