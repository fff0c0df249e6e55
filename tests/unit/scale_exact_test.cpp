// The resampler: filters, lists and small scales by hand; every level against the plain loops bit
// for bit, inline and on workers; refusals and their lines, the factory's temp, and RunThreads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/emulated_host.h"
#include "image/image_class_data.h"
#include "platform/system_info.h"
#include "scale/picture_scale.h"
#include "scale/run_threads.h"
#include "scale/scale_fast.h"
#include "scale/scale_filters.h"
#include "scale/work_sharing.h"
#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/log_capture.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using platform::SimdLevel;
using xqt::host::Host;
using xqt::host::Ref;
using D = ImageClassData;

constexpr int64_t kACMYK = 25;

TEST(ScaleFilters, KernelsAtHandWorkedPoints) {
  constexpr double kPi = 3.141592653589793;
  // Triangle 1 - x; box 1 up to one half; Lanczos sinc(x) sinc(x / a), zero at the integers and
  // past a, (2 / pi)(3 / pi) at one half for a = 3; Mitchell (16/3) / 6 at 0, (77/24) / 6 at one
  // half, (1/3) / 6 at 1 and (-5/24) / 6 at 1.5; the two cubics 1 at 0 and 0 at the integers;
  // Poly3 ((1.25 x - 2.25) x) x + 1 at one half and -3/32 at 1.5; Cubic 7/12, -3/32 and 1/96 at
  // 0.5, 1.5 and 2.5. Rows: mode, radius, and points x with the kernel's value there.
  const std::tuple<int64_t, double, std::vector<std::pair<double, double>>> kernels[] = {
      {1, 1, {{0, 1}, {0.25, 0.75}, {1, 0}}},
      {2, 0.5, {{0.5, 1}, {0.51, 0}}},
      {3, 3, {{0, 1}, {0.5, 6 / (kPi * kPi)}, {1, 0}, {3, 0}, {3.5, 0}}},
      {4, 8, {{0, 1}, {2, 0}, {8, 0}, {8.5, 0}}},
      {5, 2, {{0, 8.0 / 9}, {0.5, 77.0 / 144}, {1, 1.0 / 18}, {1.5, -5.0 / 144}, {2, 0}}},
      {6, 4, {{0, 1}, {0.5, 0.59375}, {1, 0}, {1.5, -0.09375}, {2, 0}}},
      {7, 3, {{0, 1}, {0.5, 7.0 / 12}, {1, 0}, {1.5, -0.09375}, {2, 0}, {2.5, 1.0 / 96}, {3, 0}}},
  };
  for (const auto& [mode, radius, points] : kernels) {
    const ScaleFilter* filter = FindScaleFilter(mode);
    ASSERT_NE(filter, nullptr) << mode;
    EXPECT_EQ(filter->radius, radius);
    for (auto [x, k] : points) EXPECT_NEAR(filter->kernel(x), k, 1e-12) << mode << " at " << x;
  }
  EXPECT_EQ(FindScaleFilter(0), nullptr);
  EXPECT_EQ(FindScaleFilter(8), nullptr);
}

// The triangle's lists, with output sample i centred on (i + 0.5) / scale: enlarging 2 to 4 the
// distances are 0.25 and 0.75 (weights 0.75, 0.25); shrinking 4 to 2 the window is two wide and
// the distances are halved. Zero weights are not stored.
TEST(ScaleFilters, TriangleListsWorkedByHand) {
  using List = std::vector<std::pair<int64_t, float>>;
  auto lists = [](int64_t count, double scale, int64_t sources) {
    std::vector<ContributionList> built(static_cast<size_t>(count));
    BuildContributions(built.data(), count, scale, sources, *FindScaleFilter(1),
                       EnlargeBounds::kFloorCeil, nullptr);
    std::vector<List> out;
    for (const ContributionList& l : built) {
      List list;
      float sum = 0;
      for (int64_t t = 0; t < l.count; ++t) {
        list.emplace_back(l.contributions[t].pixel, l.contributions[t].weight);
        sum += l.contributions[t].weight;
      }
      EXPECT_EQ(l.weightSum, sum);
      out.push_back(list);
    }
    FreeContributions(built.data(), count);
    return out;
  };
  EXPECT_EQ(lists(4, 2.0, 2),
            (std::vector<List>{
                {{0, 0.75f}}, {{0, 0.75f}, {1, 0.25f}}, {{0, 0.25f}, {1, 0.75f}}, {{1, 0.75f}}}));
  EXPECT_EQ(lists(2, 0.5, 4), (std::vector<List>{{{0, 0.75f}, {1, 0.75f}, {2, 0.25f}},
                                                 {{1, 0.25f}, {2, 0.75f}, {3, 0.75f}}}));
}

class ScaleExact : public StaticPluginTest {
 protected:
  // Every byte of a larger random destination after scaling into its top left.
  std::vector<uint8_t> Scaled(const Ref& source, int64_t format, int mode, int64_t width,
                              int64_t height, bool threaded = false, int64_t threads = 0,
                              REALobject temp = nullptr) {
    Ref dest = NewImage(width + 2, height + 1, format);
    RandomizeWholeRows(dest, 99);
    D *d = ImageData(dest.get()), *s = ImageData(source.get());
    const bool ok = threaded ? PictureScaleXQTMT(d, threads, s, temp, mode, width, height)
                             : PictureScaleXQT(d, s, temp, mode, width, height);
    EXPECT_TRUE(ok);
    return ImageSnapshot(dest).data;
  }

  // A row (or column) of gray samples, 8 or 16 bits, scaled with `mode` to `count` samples.
  std::vector<int64_t> Line(int64_t format, const std::vector<int64_t>& in, bool column, int mode,
                            int64_t count) {
    const auto n = static_cast<int64_t>(in.size());
    Ref source = NewImage(column ? 1 : n, column ? n : 1, format);
    Ref dest = NewImage(column ? 1 : count, column ? count : 1, format);
    auto at = [&](const Ref& image, int64_t i) {
      return column ? Row(image, i) : Pixel(image, i, 0);
    };
    const bool wide = format == kGray16;
    for (int64_t i = 0; i < n; ++i) {
      const auto sample = static_cast<uint16_t>(in[i]);
      if (wide) std::memcpy(at(source, i), &sample, 2);
      if (!wide) *at(source, i) = static_cast<uint8_t>(sample);
    }
    EXPECT_TRUE(PictureScaleXQT(ImageData(dest.get()), ImageData(source.get()), nullptr, mode,
                                column ? 1 : count, column ? count : 1));
    std::vector<int64_t> out;
    for (int64_t i = 0; i < count; ++i) {
      uint16_t sample = *at(dest, i);
      if (wide) std::memcpy(&sample, at(dest, i), 2);
      out.push_back(sample);
    }
    return out;
  }
};

// The first pass (along rows) truncates, the second (down columns) rounds: with the lists above,
// 0.25 * 101 = 25.25 and 0.75 * 101 = 75.75 give 25 and 75 along a row and 25 and 76 down a column;
// shrinking, 50 / 1.75 = 28.6 and 160 / 1.75 = 91.4. Box enlarging doubles each sample. On the
// plain path; every level gives its bytes (below).
TEST_F(ScaleExact, LinesWorkedByHand) {
  LevelCap plain(SimdLevel::kScalar);
  using V = std::vector<int64_t>;
  EXPECT_EQ(Line(kG, {0, 101}, false, 1, 4), (V{0, 25, 75, 101}));
  EXPECT_EQ(Line(kG, {0, 101}, true, 1, 4), (V{0, 25, 76, 101}));
  EXPECT_EQ(Line(kG, {0, 40, 80, 120}, false, 1, 2), (V{28, 91}));
  EXPECT_EQ(Line(kG, {10, 20, 30}, false, 2, 6), (V{10, 10, 20, 20, 30, 30}));
  EXPECT_EQ(Line(kG, {10, 20, 30}, true, 2, 6), (V{10, 10, 20, 20, 30, 30}));
  EXPECT_EQ(Line(kGray16, {0, 1001}, false, 1, 4), (V{0, 250, 750, 1001}));
  EXPECT_EQ(Line(kGray16, {0, 1001}, true, 1, 4), (V{0, 250, 751, 1001}));
}

// Which source channels feed which destination channels, on one colour at 1:1 with the box
// (weights of 1, so the values pass unchanged but for the luma's truncation):
// 0.3 * 100 + 0.59 * 200 + 0.11 * 50 = 153.5 -> 153. Gray from CMYK is its black; without alpha
// in the source the destination's alpha is left as it was (33).
TEST_F(ScaleExact, ChannelsReachTheirPlaces) {
  using Channels = std::vector<std::pair<std::string, uint8_t>>;
  const Channels rgb = {{"Red", 100}, {"Green", 200}, {"Blue", 50}}, gray = {{"Gray", 77}},
                 ga = {{"Gray", 77}, {"Alpha", 99}};
  const Channels rgba = {{"Red", 100}, {"Green", 200}, {"Blue", 50}, {"Alpha", 7}};
  const std::tuple<int64_t, Channels, int64_t, Channels> cases[] = {
      {kBGR, rgb, kG, {{"Gray", 153}}},
      {kABGR, rgba, kGA, {{"Gray", 153}, {"Alpha", 7}}},
      {kG, gray, kXRGB, {{"Red", 77}, {"Green", 77}, {"Blue", 77}}},
      {kGA, ga, kRGBA, {{"Red", 77}, {"Green", 77}, {"Blue", 77}, {"Alpha", 99}}},
      {kKYMC, {{"Cyan", 10}, {"Magenta", 20}, {"Yellow", 30}, {"Black", 40}}, kG, {{"Gray", 40}}},
      {kCMYKA, {{"Black", 4}, {"Alpha", 5}}, kAG, {{"Gray", 4}, {"Alpha", 5}}},
      {kRGB, rgb, kBGRA, {{"Red", 100}, {"Green", 200}, {"Blue", 50}, {"Alpha", 33}}},
  };
  auto at = [](const Ref& image, int64_t x, int64_t y, const std::string& channel) {
    return Pixel(image, x, y) + image.Get<int64_t>(channel + "Offset");
  };
  for (const auto& [from, in, to, out] : cases) {
    SCOPED_TRACE(testing::Message() << from << " to " << to);
    Ref source = NewImage(3, 2, from), dest = NewImage(3, 2, to);
    FillBytes(dest, 33);
    ForEachPixel(3, 2, [&, &in = in](int64_t x, int64_t y) {
      for (const auto& [channel, value] : in) *at(source, x, y, channel) = value;
    });
    ASSERT_TRUE(PictureScaleXQT(ImageData(dest.get()), ImageData(source.get()), nullptr, 2, 3, 2));
    ForEachPixel(3, 2, [&, &out = out](int64_t x, int64_t y) {
      for (const auto& [channel, value] : out)
        EXPECT_EQ(*at(dest, x, y, channel), value) << channel;
    });
  }
}

// A caller's temp shows the first pass alone, truncated (75.75 above), in every channel.
TEST_F(ScaleExact, TheTempHoldsTheTruncatedFirstPass) {
  Ref source = NewImage(2, 1, kABGR), temp = NewImage(4, 1, kScaling4);
  SetPixels(source, 0, {0, 0, 0, 0, 101, 101, 101, 101});
  Scaled(source, kRGBA, 1, 4, 2, false, 0, temp.get());
  EXPECT_EQ(RowBytes(temp, 0, 16),
            (Bytes{0, 0, 0, 0, 25, 25, 25, 25, 75, 75, 75, 75, 101, 101, 101, 101}));
}

// Pairs of every kind, and between them every byte order of each family.
const std::pair<int64_t, int64_t> kPairs[] = {
    {kCMYK, kKYMC},     {kKYMC, kG},   {kRGB, kBGRA},   {kBGR, kG},       {kG, kCMYK},
    {kAG, kKYMC},       {kG, kXRGB},   {kG, kG},        {kACMYK, kCMYKA}, {kCMYKA, kAG},
    {kARGB, kBGRA},     {kABGR, kGA},  {kAG, kACMYK},   {kGA, kRGBA},     {kAG, kGA},
    {kGray16, kGray16}, {kRGBA, kRGB}, {kCMYKA, kCMYK}, {kXRGB, kABGR},   {kGA, kG},
    {kRGB, kRGB},
};

struct Size {
  int64_t sw, sh, dw, dh;
};

// Formats, mode and sizes, for the failure message.
std::string Describe(std::pair<int64_t, int64_t> p, int mode, const Size& z) {
  return testing::PrintToString(std::tuple{p.first, p.second, mode, z.sw, z.sh, z.dw, z.dh});
}

// Integer and odd ratios, thin images, a single pixel, 10x and 0.1x; then a channel view (gray
// pixels four bytes apart) and a file-mapped image.
TEST_F(ScaleExact, EveryPairFilterSizeAndSource) {
  const Size sizes[] = {{13, 7, 29, 17}, {37, 23, 11, 5}, {1, 9, 5, 3},   {9, 1, 4, 6},
                        {1, 1, 6, 5},    {5, 4, 50, 40},  {50, 40, 5, 4}, {12, 12, 12, 12}};
  for (const auto& p : kPairs) {
    for (const Size& z : sizes) {
      Ref source = NewImage(z.sw, z.sh, p.first);
      RandomizeWholeRows(source, static_cast<uint32_t>(z.sw * 131 + z.sh));
      for (int mode = 1; mode <= 7; ++mode) {
        ExpectEveryLevelAsPlain([&] { return Scaled(source, p.second, mode, z.dw, z.dh); },
                                Describe(p, mode, z));
      }
    }
  }
  Ref parent = NewImage(29, 19, kBGRA);
  RandomizeWholeRows(parent, 3);
  Ref mapped = host_.New("PictureXQT", int64_t{33}, int64_t{40}, kRGBA, int64_t{0}, nullptr);
  ASSERT_TRUE(ImageData(mapped.get())->IsMapping);
  Randomise(mapped, 5);
  for (const Ref& source : {parent.Call<Ref>("RedChannel"), mapped}) {
    for (int mode = 1; mode <= 7; ++mode) {
      const std::string what =
          std::to_string(source.Get<int64_t>("Width")) + " mode " + std::to_string(mode);
      ExpectEveryLevelAsPlain([&] { return Scaled(source, kG, mode, 10, 41); }, what);
      ExpectEveryLevelAsPlain([&] { return Scaled(source, kRGB, mode, 31, 7, true, 2); }, what);
    }
  }
}

// Widths of several column strips, heights leaving part blocks and bands, every channel count of
// the vector loops, a shrink whose windows are too tall for the ring; any number of workers.
TEST_F(ScaleExact, StripsBandsAndWorkers) {
  const Size sizes[] = {{1203, 13, 401, 9},
                        {611, 5, 1500, 11},
                        {180, 11, 400, 37},
                        {31, 700, 29, 3},
                        {61, 47, 23, 71}};
  for (const auto& p : {kPairs[10], kPairs[2], kPairs[3], kPairs[15], kPairs[14], kPairs[8],
                        kPairs[11], kPairs[0], kPairs[20], kPairs[6]}) {
    for (const Size& z : sizes) {
      Ref source = NewImage(z.sw, z.sh, p.first);
      RandomizeWholeRows(source, static_cast<uint32_t>(z.sw + z.sh));
      for (int mode : {3, 5, 6}) {
        ExpectEveryLevelAsPlain(
            [&] {
              std::vector<uint8_t> inline_ = Scaled(source, p.second, mode, z.dw, z.dh);
              const bool last = &z == &sizes[std::size(sizes) - 1];
              for (int64_t threads :
                   last ? std::vector<int64_t>{-1, 0, 1, 2, 3, 7} : std::vector<int64_t>{2}) {
                EXPECT_TRUE(
                    SameBytes(Scaled(source, p.second, mode, z.dw, z.dh, true, threads), inline_))
                    << threads << " threads";
              }
              return inline_;
            },
            Describe(p, mode, z));
      }
    }
  }
}

constexpr int64_t kScaling1 = 33;

using ScaleChecks = StaticPluginTest;
ImageClassData* Image(const Ref& ref) { return ImageData(ref.get()); }

TEST_F(ScaleChecks, RefusalsWithTheirLinesOrSilently) {
  Ref dest = NewImage(4, 4, kRGB), source = NewImage(4, 4, kRGB), cmyk = NewImage(4, 4, kCMYK),
      g = NewImage(4, 4, kG), g16 = NewImage(4, 4, kGray16);
  struct Case {
    ImageClassData *d, *s;
    int64_t mode, width, height;
    const char* line;
  } cases[] = {
      {nullptr, nullptr, 9, 0, 0, "XQT Debug: dest is nil"},
      {Image(dest), nullptr, 9, 0, 0, "XQT Debug: source is nil"},
      {Image(dest), Image(source), 9, 0, 0, "XQT Debug: pDestHeight < 1"},
      {Image(dest), Image(source), 9, 0, 1, "XQT Debug: pDestWidth < 1"},
      {Image(dest), Image(source), 8, 1, 1, "XQT Debug: Invalid mode 8"},
      {Image(dest), Image(source), 0, 1, 1, "XQT Debug: Invalid mode 0"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_FALSE(PictureScaleXQT(c.d, c.s, nullptr, c.mode, c.width, c.height)) << c.line;
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().front(), std::string(c.line) + "\n");
  }
  // The threaded form is silent about everything but the mode; pairs that do not exist, always.
  LogCapture log;
  EXPECT_FALSE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 3, 0, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(source), Image(cmyk), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(cmyk), Image(source), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(g), Image(g16), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(g16), Image(g), nullptr, 1, 4, 4));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 8, 4, 4));
  EXPECT_TRUE(log.Logged("Invalid mode 8"));
  Image(source)->Valid = false;
  EXPECT_FALSE(PictureScaleXQT(Image(dest), Image(source), nullptr, 1, 4, 4));
  EXPECT_TRUE(log.Logged("Picture not valid."));
  Image(source)->Valid = true;
  auto getRow = Image(dest)->GetRow;
  Image(dest)->GetRow = nullptr;
  EXPECT_FALSE(PictureScaleXQT(Image(dest), Image(source), nullptr, 1, 4, 4));
  EXPECT_FALSE(ScalePictureFast(Image(dest), Image(source), 4, 4));
  EXPECT_TRUE(log.Logged("GetRow is nil"));
  Image(dest)->GetRow = getRow;
}

TEST_F(ScaleChecks, NothingIsWrittenOutsideTheImages) {
  LogCapture log;
  Ref source = NewImage(8, 8, kRGB), shortTemp = NewImage(4, 7, kScaling4),
      narrowTemp = NewImage(4, 8, kScaling1);
  const int64_t live = host_.LiveObjects();
  EXPECT_FALSE(PictureScaleXQT(Image(NewImage(4, 4, kRGB)), Image(source), nullptr, 1, 5, 4));
  EXPECT_TRUE(log.Logged("Destination smaller than the scaled size"));
  // A caller's temp must hold the pair's pixels for every source row.
  EXPECT_FALSE(
      PictureScaleXQT(Image(NewImage(4, 4, kRGB)), Image(source), shortTemp.get(), 1, 4, 4));
  EXPECT_FALSE(
      PictureScaleXQT(Image(NewImage(4, 4, kRGB)), Image(source), narrowTemp.get(), 1, 4, 4));
  EXPECT_TRUE(log.Logged("Temp picture too small"));
  EXPECT_EQ(host_.LiveObjects(), live);  // nothing made is left behind
}

// A factory that answers with a format of its own choosing, or with nothing for 0: the plain
// image it then falls back to is made by the host.
int64_t gFactoryFormat = 0;
REALobject FixedFormatFactory(REALobject, int64_t width, int64_t height, int64_t) {
  if (gFactoryFormat == 0) return nullptr;
  return Host::Current().New("PictureXQT", width, height, gFactoryFormat).release();
}

TEST_F(ScaleChecks, ATempTheHostCannotMakeOrOfTheWrongFormat) {
  host_.DefineSubclass("FixedFactory", "PictureFactoryXQT",
                       {{"NewPictureXQT", reinterpret_cast<void*>(&FixedFormatFactory)}});
  Ref dest = NewImage(5, 5, kG), source = NewImage(10, 10, kG);
  Image(dest)->Factory = nullptr;
  source.Set("Factory", host_.New("FixedFactory"));
  {
    gFactoryFormat = 0;
    LogCapture log;
    host_.FailNextInstances(1);
    EXPECT_FALSE(PictureScaleXQT(Image(dest), Image(source), nullptr, 2, 5, 5));
    EXPECT_TRUE(log.Logged("CreatePicture returned nil"));
  }
  int64_t live = host_.LiveObjects();
  {
    // The inline form refuses it.
    gFactoryFormat = kRGBA;
    LogCapture log;
    EXPECT_FALSE(PictureScaleXQT(Image(dest), Image(source), nullptr, 2, 5, 5));
    EXPECT_TRUE(log.Logged("CreatePicture gave invalid format"));
    EXPECT_EQ(host_.LiveObjects(), live);
  }
  {
    // The threaded form falls back to the inline one, which takes the temp if wide enough.
    LogCapture log;
    EXPECT_TRUE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 2, 5, 5));
    EXPECT_TRUE(log.Logged("CreatePicture gave invalid format"));
    EXPECT_FALSE(log.Logged("RunThreads 2, 10"));
    EXPECT_EQ(host_.LiveObjects(), live);
  }
  {
    gFactoryFormat = kScaling1;
    LogCapture log;
    EXPECT_TRUE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 2, 5, 5));
    EXPECT_TRUE(log.Logged("RunThreads 2, 10"));
  }
}

using Slice = std::tuple<int64_t, int64_t, int64_t, int>;  // index, first, last, flag

struct Recorder {
  std::mutex mutex;
  std::vector<Slice> slices;
};

void Record(int64_t first, int64_t last, int64_t index, int8_t flag, const void* context) {
  auto* recorder = static_cast<Recorder*>(const_cast<void*>(context));
  std::lock_guard<std::mutex> lock(recorder->mutex);
  recorder->slices.emplace_back(index, first, last, flag);
}

std::vector<Slice> RunSlices(int64_t threads, int64_t rows) {
  Recorder recorder;
  RunThreads(threads, rows, &recorder, &Record);
  std::sort(recorder.slices.begin(), recorder.slices.end());
  return recorder.slices;
}

void* NoMemory(size_t) { return nullptr; }

using RunThreadsTest = StaticPluginTest;

// Contiguous slices, the last taking the remainder (all rows when fewer than workers); at most 32
// workers, one per processor for 0; a negative count runs inline once, flag 0.
TEST_F(RunThreadsTest, SlicesAndWorkers) {
  {
    LogCapture log;
    EXPECT_EQ(RunSlices(4, 10),
              (std::vector<Slice>{{0, 0, 1, 1}, {1, 2, 3, 1}, {2, 4, 5, 1}, {3, 6, 9, 1}}));
    for (const char* line : {"RunThreads 4, 10", "Threaded 4", "Job 0, 0, 1", "Job 3, 6, 9",
                             "WaitForThreads", "After Job 3, 6, 9, 1", "Done with all."}) {
      EXPECT_TRUE(log.Logged(line)) << line;
    }
  }
  std::vector<Slice> few = RunSlices(8, 3);
  ASSERT_EQ(few.size(), 8u);
  for (int64_t i = 0; i < 7; ++i) EXPECT_EQ(few[i], Slice(i, 0, -1, 1));
  EXPECT_EQ(few[7], Slice(7, 0, 2, 1));
  EXPECT_EQ(RunSlices(3, 0), (std::vector<Slice>{{0, 0, -1, 1}, {1, 0, -1, 1}, {2, 0, -1, 1}}));
  EXPECT_EQ(RunSlices(100, 1000).size(), 32u);
  EXPECT_EQ(RunSlices(0, 1000).size(), static_cast<size_t>(platform::ProcessorCount()));
  EXPECT_EQ(RunSlices(1, 5), (std::vector<Slice>{{0, 0, 4, 1}}));
  LogCapture log;
  EXPECT_EQ(RunSlices(-1, 7), (std::vector<Slice>{{-1, 0, 6, 0}}));
  EXPECT_TRUE(log.Logged("No thread"));
  for (const std::string& line : log.lines()) EXPECT_EQ(line.find("Threaded"), std::string::npos);
}

TEST_F(RunThreadsTest, NoRecordsNoWork) {
  LogCapture log;
  ThreadDataAllocator previous = SetThreadDataAllocator(&NoMemory);
  EXPECT_TRUE(RunSlices(4, 10).empty());
  SetThreadDataAllocator(previous);
  EXPECT_TRUE(log.Logged("Failed to create thread data."));
}

// Slices ask in any order: each takes its own rows first, front to back, then the others'; every
// row goes out exactly once and no take is longer than asked.
TEST(RowClaimsTest, EveryRowOnceInTakesOfAtMostTheBand) {
  RowClaims claims;
  ASSERT_TRUE(claims.Start(1000, 3));
  std::vector<int> taken(1000);
  int64_t first = 0, last = 0, expected = 666;
  auto take = [&](int64_t slice) {
    if (!claims.Next(slice, 64, &first, &last)) return false;
    EXPECT_LE(first, last);
    EXPECT_LE(last - first + 1, 64);
    for (int64_t y = first; y <= last; ++y) ++taken[y];
    return true;
  };
  ASSERT_TRUE(take(0));
  EXPECT_EQ(first, 0);
  while (expected < 1000 && take(2)) {
    EXPECT_EQ(first, expected);
    expected = last + 1;
  }
  while (take(2)) {
  }
  EXPECT_FALSE(take(0));
  EXPECT_FALSE(take(1));
  for (int64_t y = 0; y < 1000; ++y) ASSERT_EQ(taken[y], 1) << y;
}

}  // namespace
