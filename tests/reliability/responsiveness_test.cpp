// A responsive host: while Scale and ScaleMT work on a large image the host gets its turns often
// enough, and thousands of ScaleMT calls leave no thread, memory, descriptor or host object.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "reliability/reliability_support.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;
namespace rel = xqt::reliability;

constexpr int64_t kRGBA = 2;
constexpr int64_t kLanczos3 = 3;

// Sanitizer builds and emulated processors run several times slower; the bound is for the host,
// not for the build.
double Bound(double milliseconds) {
  return rel::UnderAddressSanitizer() || rel::UnderEmulator() ? milliseconds * 8 : milliseconds;
}

class Responsiveness : public PluginTest {
 protected:
  // The longest gap in milliseconds between consecutive yields while `scale` scales a large
  // image into `dest`, with `ticks` as its YieldTicks.
  double LongestGap(int64_t ticks,
                    const std::function<bool(const Ref& dest, const Ref& source)>& scale) {
    Ref source = NewImage(3000, 2000, kRGBA);
    source.Call("FillRect", int64_t{0x4080C0}, int64_t{255});
    Ref dest = NewImage(1200, 900, kRGBA);
    dest.Set("YieldTicks", ticks);
    auto times = host_.RecordYieldTimes();
    EXPECT_TRUE(scale(dest, source));
    host_.OnYield(nullptr);
    EXPECT_GE(times->size(), 2u);
    int64_t longest = 0;
    for (size_t i = 1; i < times->size(); ++i) {
      longest = std::max(longest, (*times)[i] - (*times)[i - 1]);
    }
    RecordProperty("longest_gap_us", static_cast<int>(longest / 1000));
    return static_cast<double>(longest) / 1e6;
  }
};

TEST_F(Responsiveness, ScaleYieldsAtLeastEveryFiftyMilliseconds) {
  EXPECT_LE(LongestGap(-10,
                       [](const Ref& dest, const Ref& source) {
                         return dest.Call<bool>("Scale", source, nullptr, kLanczos3, int64_t{1200},
                                                int64_t{900});
                       }),
            Bound(50.0));
}

TEST_F(Responsiveness, ThreadedScaleYieldsWhileItWaits) {
  // The waiting thread yields between its checks of the slices; a few milliseconds at most, with
  // room for a machine shared with other builds.
  EXPECT_LE(LongestGap(0,
                       [](const Ref& dest, const Ref& source) {
                         return dest.Call<bool>("ScaleMT", int64_t{4}, source, nullptr, kLanczos3,
                                                int64_t{1200}, int64_t{900});
                       }),
            Bound(15.0));
}

TEST_F(Responsiveness, ThousandsOfThreadedScalesLeaveNothingBehind) {
  Ref source = NewImage(23, 17, kRGBA);
  source.Call("FillRect", int64_t{0x123456}, int64_t{200});
  Ref dest = NewImage(11, 9, kRGBA);
  // Warm up: the first calls may create what stays for the process (the workers' queue).
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(dest.Call<bool>("ScaleMT", int64_t{4}, source, nullptr, kLanczos3, int64_t{11},
                                int64_t{9}));
  }
  int64_t descriptors = rel::OpenDescriptors();
  int64_t resident = rel::ResidentBytes();
  int64_t threads = rel::Threads();
  int64_t objects = host_.LiveObjects();
  for (int i = 0; i < 3000; ++i) {
    ASSERT_TRUE(dest.Call<bool>("ScaleMT", int64_t{1 + i % 8}, source, nullptr, int64_t{1 + i % 7},
                                int64_t{11}, int64_t{9}));
  }
  // Workers may still be winding down after the last wait.
  for (int i = 0; i < 100 && rel::Threads() > threads; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_LE(rel::Threads(), threads);
  EXPECT_EQ(rel::OpenDescriptors(), descriptors);
  // Under the sanitizer freed memory waits in its quarantine; its leak check covers that build.
  if (!rel::UnderAddressSanitizer()) {
    EXPECT_LT(rel::ResidentBytes() - resident, int64_t{8} << 20);
  }
  EXPECT_EQ(host_.LiveObjects(), objects) << host_.LiveReport();
}

}  // namespace
