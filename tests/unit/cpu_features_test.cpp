// Our own reading of the processor's features against the compiler's runtime check, where the
// compiler has one (Linux on x86-64).
#include "platform/cpu_features.h"

#include <gtest/gtest.h>

namespace {

#if defined(__x86_64__) && defined(__linux__)
TEST(CpuFeatures, AgreeWithTheCompilersRuntimeCheck) {
  __builtin_cpu_init();
  const platform::CpuFeatures& f = platform::ProcessorFeatures();
  EXPECT_EQ(f.fma, __builtin_cpu_supports("fma") != 0);
  EXPECT_EQ(f.avx2, __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(f.avx512f, __builtin_cpu_supports("avx512f") != 0);
  EXPECT_EQ(f.avx512vl, __builtin_cpu_supports("avx512vl") != 0);
  EXPECT_EQ(f.avx512dq, __builtin_cpu_supports("avx512dq") != 0);
  EXPECT_EQ(f.avx512bw, __builtin_cpu_supports("avx512bw") != 0);
  EXPECT_EQ(f.avx512vbmi, __builtin_cpu_supports("avx512vbmi") != 0);
}
#else
TEST(CpuFeatures, AgreeWithTheCompilersRuntimeCheck) {
  GTEST_SKIP() << "the compiler's check exists on Linux x86-64 only";
}
#endif

}  // namespace
