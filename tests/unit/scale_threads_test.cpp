// RunThreads: the slicing, the inline mode, the worker cap, the refusal when the records cannot
// be had, and the host's turns while the caller waits.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "host/emulated_host.h"
#include "platform/system_info.h"
#include "plugin/plugin_main.h"
#include "scale/run_threads.h"
#include "support/log_capture.h"

namespace {

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

class RunThreadsTest : public ::testing::Test {
 protected:
  RunThreadsTest() { host_.Attach(&REALPluginMain); }
  xqt::host::Host host_;
};

TEST_F(RunThreadsTest, ContiguousSlicesTheLastTakingTheRemainder) {
  EXPECT_EQ(RunSlices(4, 10),
            (std::vector<Slice>{{0, 0, 1, 1}, {1, 2, 3, 1}, {2, 4, 5, 1}, {3, 6, 9, 1}}));
  // Fewer rows than workers: no rebalancing, the last slice does them all.
  std::vector<Slice> few = RunSlices(8, 3);
  ASSERT_EQ(few.size(), 8u);
  for (int64_t i = 0; i < 7; ++i) EXPECT_EQ(few[i], Slice(i, 0, -1, 1));
  EXPECT_EQ(few[7], Slice(7, 0, 2, 1));
  for (const Slice& slice : RunSlices(3, 0)) {
    EXPECT_EQ(std::get<1>(slice), 0);
    EXPECT_EQ(std::get<2>(slice), -1);
  }
}

TEST_F(RunThreadsTest, WorkerCounts) {
  EXPECT_EQ(RunSlices(100, 1000).size(), 32u);
  EXPECT_EQ(RunSlices(0, 1000).size(), static_cast<size_t>(platform::ProcessorCount()));
  EXPECT_EQ(RunSlices(1, 5), (std::vector<Slice>{{0, 0, 4, 1}}));
}

TEST_F(RunThreadsTest, NegativeCountRunsInlineOnce) {
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

// The worker finishes only once the host has had ten turns, which can come only from the caller's
// wait; the cap keeps a wait that never yields from hanging the suite.
TEST_F(RunThreadsTest, TheHostGetsTurnsWhileTheCallerWaits) {
  std::atomic<int64_t> turns{0};
  host_.OnYield([&] { turns.fetch_add(1); });
  auto waitForTurns = [](int64_t, int64_t, int64_t, int8_t, const void* context) {
    const auto& seen = *static_cast<const std::atomic<int64_t>*>(context);
    const auto cap = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (seen.load() < 10 && std::chrono::steady_clock::now() < cap) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  };
  RunThreads(1, 1, &turns, waitForTurns);
  host_.OnYield(nullptr);
  EXPECT_GE(turns.load(), 10);
}

}  // namespace
