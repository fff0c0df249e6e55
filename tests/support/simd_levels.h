// Running a path at the plain level and at every vector level, and comparing what each wrote
// (static library only: the level is capped process-wide).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/cpu_features.h"

// Every vector level is asked for; one the processor lacks runs the best it has.
inline constexpr platform::SimdLevel kVectorLevels[] = {
    platform::SimdLevel::kBaseline, platform::SimdLevel::kAVX2, platform::SimdLevel::kAVX512};

inline const char* LevelName(platform::SimdLevel level) {
  const char* const names[] = {"plain", "baseline", "avx2", "avx512"};
  return names[static_cast<int>(level)];
}

// Caps the level for the life of the object; the previous cap comes back, also on failure.
class LevelCap {
 public:
  explicit LevelCap(platform::SimdLevel level) : previous_(platform::SetSimdLimit(level)) {}
  ~LevelCap() { platform::SetSimdLimit(previous_); }
  LevelCap(const LevelCap&) = delete;
  LevelCap& operator=(const LevelCap&) = delete;

 private:
  platform::SimdLevel previous_;
};

// Equal byte strings, or where the first difference is.
inline ::testing::AssertionResult SameBytes(const std::vector<uint8_t>& got,
                                            const std::vector<uint8_t>& want) {
  if (got.size() != want.size()) {
    return ::testing::AssertionFailure() << got.size() << " bytes instead of " << want.size();
  }
  const auto at = std::mismatch(got.begin(), got.end(), want.begin()).first;
  if (at == got.end()) return ::testing::AssertionSuccess();
  const auto index = at - got.begin();
  return ::testing::AssertionFailure()
         << "byte " << index << " is " << int(got[index]) << " instead of " << int(want[index]);
}

// Runs `produce` (which returns every byte the path wrote, and may take the level) at the plain
// level and then at each vector level, and expects the plain bytes every time.
template <class Produce>
void ExpectEveryLevelAsPlain(Produce&& produce, const std::string& what) {
  auto run = [&](platform::SimdLevel level) {
    LevelCap cap(level);
    if constexpr (std::is_invocable_v<Produce&, platform::SimdLevel>) {
      return produce(level);
    } else {
      return produce();
    }
  };
  const std::vector<uint8_t> plain = run(platform::SimdLevel::kScalar);
  for (platform::SimdLevel level : kVectorLevels) {
    ASSERT_TRUE(SameBytes(run(level), plain)) << what << " at level " << LevelName(level);
  }
}
