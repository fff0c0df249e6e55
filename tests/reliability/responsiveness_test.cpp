// A responsive host: Scale and ScaleMT give the host its turns while they write the rows of a large
// image, and thousands of ScaleMT calls leave no thread, memory, descriptor or host object.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "reliability/reliability_support.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;
namespace rel = xqt::reliability;

constexpr int64_t kRGBA = 2, kLanczos3 = 3, kWidth = 2000, kHeight = 1500;

class Responsiveness : public PluginTest {
 protected:
  // The numbers of finished rows of the result that the host saw at its turns while `scale` scaled
  // an opaque image into a transparent one with `ticks` as its YieldTicks; every turn must come on
  // the host's own thread.
  std::set<int64_t> RowsSeenAtTurns(int64_t ticks,
                                    const std::function<bool(const Ref&, const Ref&)>& scale) {
    Ref source = NewImage(3000, 2000, kRGBA);
    source.Call("FillRect", int64_t{0x4080C0}, int64_t{255});
    Ref dest = NewImage(kWidth, kHeight, kRGBA);
    dest.Call("FillRect", int64_t{0}, int64_t{0});
    dest.Set("YieldTicks", ticks);
    std::vector<const volatile uint8_t*> alpha;
    for (int64_t y = 0; y < kHeight; ++y) alpha.push_back(Row(dest, y) + 3);
    std::set<int64_t> seen;
    const std::thread::id host = std::this_thread::get_id();
    host_.OnYield([&] {
      EXPECT_EQ(std::this_thread::get_id(), host);
      int64_t done = 0;
      for (const volatile uint8_t* a : alpha) done += *a != 0;
      seen.insert(done);
    });
    EXPECT_TRUE(scale(dest, source));
    host_.OnYield(nullptr);
    return seen;
  }
};

// A turn is due once a millisecond has passed, so writing millions of pixels meets several; with an
// interval beyond any run there is none.
TEST_F(Responsiveness, ScaleGivesTheHostTurnsWhileItWritesTheRows) {
  auto scale = [](const Ref& dest, const Ref& source) {
    return dest.Call<bool>("Scale", source, nullptr, kLanczos3, kWidth, kHeight);
  };
  const std::set<int64_t> seen = RowsSeenAtTurns(-1, scale);
  EXPECT_TRUE(seen.lower_bound(1) != seen.lower_bound(kHeight)) << "no turn amid the rows";
  EXPECT_EQ(RowsSeenAtTurns(-(int64_t{1} << 40), scale).size(), 0u);
}

// The waiting thread gives the host a turn before each check of the slices, whatever YieldTicks.
TEST_F(Responsiveness, ThreadedScaleYieldsWhileItWaits) {
  const std::set<int64_t> seen = RowsSeenAtTurns(0, [](const Ref& dest, const Ref& source) {
    return dest.Call<bool>("ScaleMT", int64_t{4}, source, nullptr, kLanczos3, kWidth, kHeight);
  });
  EXPECT_TRUE(seen.lower_bound(1) != seen.lower_bound(kHeight)) << "no turn amid the rows";
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
  const int64_t descriptors = rel::OpenDescriptors(), resident = rel::ResidentBytes();
  const int64_t threads = rel::Threads(), objects = host_.LiveObjects();
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
