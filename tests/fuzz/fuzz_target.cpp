// libFuzzer entry: one input is one sequence of member calls (fuzz_driver.cpp).
#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_driver.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // File-mapped images write their backing files: cap them, so that a size the plug-in fails to
  // refuse shows up as a failed write instead of a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  limit.rlim_cur = limit.rlim_max = rlim_t{1} << 30;
  setrlimit(RLIMIT_FSIZE, &limit);
  std::fprintf(stderr, "fuzzing %zu members\n", xqt::fuzz::ReachableMembers());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string left = xqt::fuzz::RunSequence(data, size);
  if (!left.empty()) {
    std::fprintf(stderr, "sequence left resources behind:\n%s", left.c_str());
    std::abort();
  }
  return 0;
}
