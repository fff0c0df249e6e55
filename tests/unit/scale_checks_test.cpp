// The scalers' refusals and their debug lines, the temp from the factory and its fallbacks, and
// RunThreads: the slicing, the inline mode, the worker cap and the refusal when the records cannot
// be had (the host's turns while the caller waits are the responsiveness test's).
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "host/emulated_host.h"
#include "image/image_class_data.h"
#include "platform/system_info.h"
#include "scale/picture_scale.h"
#include "scale/run_threads.h"
#include "scale/scale_fast.h"
#include "support/log_capture.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kG = 11, kCMYK = 23, kScaling1 = 33, kScaling4 = 36,
                  kGray16 = 41;

using ScaleChecks = StaticPluginTest;
ImageClassData* Image(const Ref& ref) { return ImageData(ref.get()); }

TEST_F(ScaleChecks, ArgumentsInOrderWithTheirMessages) {
  Ref dest = NewImage(4, 4, kRGB), source = NewImage(4, 4, kRGB);
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
  // The threaded form is silent about everything but the mode.
  LogCapture log;
  EXPECT_FALSE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 3, 0, 4));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(PictureScaleXQTMT(Image(dest), 2, Image(source), nullptr, 8, 4, 4));
  EXPECT_TRUE(log.Logged("Invalid mode 8"));
}

TEST_F(ScaleChecks, PairsThatDoNotExistAreRefusedSilently) {
  Ref rgb = NewImage(4, 4, kRGB), cmyk = NewImage(4, 4, kCMYK), g = NewImage(4, 4, kG),
      g16 = NewImage(4, 4, kGray16);
  LogCapture log;
  EXPECT_FALSE(PictureScaleXQT(Image(rgb), Image(cmyk), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(cmyk), Image(rgb), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(g), Image(g16), nullptr, 1, 4, 4));
  EXPECT_FALSE(PictureScaleXQT(Image(g16), Image(g), nullptr, 1, 4, 4));
  EXPECT_TRUE(log.lines().empty());
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

// A factory that has no picture to give: the plain image it falls back to is made by the host.
REALobject NoPictureFactory(REALobject, int64_t, int64_t, int64_t) { return nullptr; }

TEST_F(ScaleChecks, ATempTheHostCannotMakeFailsTheScale) {
  host_.DefineSubclass("EmptyFactory", "PictureFactoryXQT",
                       {{"NewPictureXQT", reinterpret_cast<void*>(&NoPictureFactory)}});
  Ref dest = NewImage(6, 6, kRGBA), source = NewImage(3, 3, kRGBA);
  source.Set("Factory", host_.New("EmptyFactory"));
  LogCapture log;
  host_.FailNextInstances(1);
  EXPECT_FALSE(PictureScaleXQT(Image(dest), Image(source), nullptr, 1, 6, 6));
  EXPECT_TRUE(log.Logged("CreatePicture returned nil"));
}

// A factory that answers with a format of its own choosing.
int64_t gFactoryFormat = 0;
REALobject FixedFormatFactory(REALobject, int64_t width, int64_t height, int64_t) {
  return Host::Current().New("PictureXQT", width, height, gFactoryFormat).release();
}

TEST_F(ScaleChecks, ATempOfTheWrongFormat) {
  host_.DefineSubclass("FixedFactory", "PictureFactoryXQT",
                       {{"NewPictureXQT", reinterpret_cast<void*>(&FixedFormatFactory)}});
  Ref dest = NewImage(5, 5, kG), source = NewImage(10, 10, kG);
  Image(dest)->Factory = nullptr;
  source.Set("Factory", host_.New("FixedFactory"));
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
    // The threaded form falls back to the inline one with that temp, which serves when its
    // pixels are wide enough.
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

TEST_F(ScaleChecks, InvalidImagesAreRefusedWithTheirLines) {
  Ref dest = NewImage(4, 4, kRGB), source = NewImage(4, 4, kRGB);
  LogCapture log;
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

// Contiguous slices, the last taking the remainder, and with fewer rows than workers all of them;
// at most 32 workers, one per processor for 0, and a negative count runs inline once, flag 0.
TEST_F(RunThreadsTest, SlicesAndWorkers) {
  EXPECT_EQ(RunSlices(4, 10),
            (std::vector<Slice>{{0, 0, 1, 1}, {1, 2, 3, 1}, {2, 4, 5, 1}, {3, 6, 9, 1}}));
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

TEST_F(RunThreadsTest, LogsEachSliceAndTheWait) {
  LogCapture log;
  RunSlices(2, 5);
  for (const char* line : {"RunThreads 2, 5", "Threaded 2", "Job 0, 0, 1", "Job 1, 2, 4",
                           "WaitForThreads", "After Job 1, 2, 4, 1", "Done with all."}) {
    EXPECT_TRUE(log.Logged(line)) << line;
  }
}

}  // namespace
