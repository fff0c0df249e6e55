// File-mapped storage when the system refuses to create (no descriptor left), size (a file-size
// limit) or map (an address-space limit) the backing file, in a child that loads the plug-in
// before the limit: the image stays invalid, and no descriptor, object or file is left.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"
#include "support/scratch_folder.h"

namespace {

using xqt::host::Host;
namespace rel = xqt::reliability;

void ExpectInChild(const std::function<void()>& limit, int64_t width, int64_t height,
                   bool expectValid) {
  ScratchFolder folder("xqt-faults");
  const std::string path = folder.Named("backing");
  const int status = rel::RunInChild([&] {
    Host host;
    host.Load(Host::DefaultPluginPath());  // before the limit: the host copies the plug-in
    limit();
    const std::string wrong = rel::CheckMappedImage(host, path, width, height, expectValid);
    if (!wrong.empty()) std::fprintf(stderr, "%s\n", wrong.c_str());
    return wrong.empty() ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(FileFaults, SizingTheBackingFileFailsUnderAFileSizeLimit) {
  // 64 rows of 4096 bytes need 256 KiB; the limit allows 64 KiB.
  ExpectInChild([] { rel::Limit(RLIMIT_FSIZE, 64 * 1024); }, 1024, 64, false);
}

TEST(FileFaults, CreatingTheBackingFileFailsWithoutDescriptors) {
  // The lowest free descriptor becomes the limit, so that the next open fails.
  ExpectInChild(
      [] {
        const int lowest = dup(0);
        close(lowest);
        rel::Limit(RLIMIT_NOFILE, lowest);
      },
      64, 64, false);
}

TEST(FileFaults, MappingTheBandFailsUnderAnAddressSpaceLimit) {
  if (rel::UnderAddressSanitizer()) GTEST_SKIP() << "the sanitizer reserves more than the limit";
  if (rel::UnderEmulator()) GTEST_SKIP() << "the emulator applies no address-space limit";
  // The first band of a 64 MiB image is 16 MiB; 8 MiB beyond what the process uses cannot hold it.
  ExpectInChild([] { rel::LimitAddressSpace(8 * 1024 * 1024); }, 4096, 4096, false);
}

TEST(FileFaults, WithinTheLimitsTheSameImageWorks) {
  ExpectInChild([] {}, 1024, 64, true);
}

}  // namespace
