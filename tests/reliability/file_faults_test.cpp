// File-mapped storage when the system refuses: file creation (no descriptor left), sizing (a
// file-size limit) and mapping (an address-space limit), each in a child process. The image
// stays invalid, every member refuses it, and no descriptor, host object or backing file is left.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"
#include "support/scratch_folder.h"

namespace {

using xqt::host::Host;
using xqt::host::HostException;
using xqt::host::Ref;
namespace rel = xqt::reliability;

// In the child: makes a file-mapped RGBA image of width × height named into `folder`, expects it
// invalid (or valid when `expectValid`), exercises it, and checks what is left. Returns 0 when
// everything held, else a code naming the first failure.
int MappedImageInChild(const std::string& folder, int64_t width, int64_t height, bool expectValid,
                       rlim_t fileSize) {
  int64_t descriptors = rel::OpenDescriptors();
  {
    Host host;
    host.Load(Host::DefaultPluginPath());  // before the limit: the host copies the plug-in
    if (fileSize != 0) {
      rlimit limit{};
      limit.rlim_cur = limit.rlim_max = fileSize;
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    try {
      Ref item = host.NewFolderItem(folder + "/backing");
      Ref image = host.New("PictureXQT", width, height, int64_t{2}, int64_t{0}, item);
      if (image.Get<bool>("Valid") != expectValid) return 2;
      // Members on the refused image answer false or nil; on an accepted one they work.
      image.Call("FillRect", int64_t{0x0A141E}, int64_t{255});
      Ref small = host.New("PictureXQT", int64_t{8}, int64_t{8}, int64_t{2});
      bool scaled = small.Call<bool>("Scale", image, nullptr, int64_t{1}, int64_t{8}, int64_t{8});
      if (scaled != expectValid) return 4;
      image.Call("Close");
      image.Call("Close");  // a second close finds nothing to release
    } catch (const HostException& e) {
      std::fprintf(stderr, "%s: %s\n", e.className().c_str(), e.message().c_str());
      return 5;
    }
    if (host.LiveObjects() != 0) {
      std::fprintf(stderr, "%s", host.LiveReport().c_str());
      return 6;
    }
    for (const std::string& error : host.ProtocolErrors()) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return 7;
    }
  }
  if (rel::CountEntries(folder.c_str()) != 0) return 8;
  // The host's private copy of the plug-in is released with the host; the plug-in's own file is
  // the only descriptor it may add, and only while loaded.
  if (rel::OpenDescriptors() != descriptors) return 9;
  return 0;
}

TEST(FileFaults, SizingTheBackingFileFailsUnderAFileSizeLimit) {
  ScratchFolder folder("xqt-faults");
  // 64 rows of 4096 bytes need 256 KiB; the limit allows 64 KiB.
  int status = rel::RunInChild(
      [&] { return MappedImageInChild(folder.Named(), 1024, 64, false, 64 * 1024); });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(folder.IsEmpty());
}

// In the child, after a limit is set: a file-mapped image named into `folder` must come out
// invalid, take a fill without effect and leave no host object or misuse. 0, or a failure code.
int RefusedImageInChild(Host& host, const std::string& folder, int64_t width, int64_t height) {
  Ref item = host.NewFolderItem(folder + "/backing");
  int code = 0;
  try {
    Ref image = host.New("PictureXQT", width, height, int64_t{2}, int64_t{0}, item);
    if (image.Get<bool>("Valid")) code = 2;
    image.Call("FillRect", int64_t{0x010203}, int64_t{4});
    image.Call("Close");
  } catch (const HostException& e) {
    std::fprintf(stderr, "%s: %s\n", e.className().c_str(), e.message().c_str());
    code = 5;
  }
  item.reset();
  if (host.LiveObjects() != 0) code = 6;
  if (!host.ProtocolErrors().empty()) code = 7;
  return code;
}

TEST(FileFaults, CreatingTheBackingFileFailsWithoutDescriptors) {
  ScratchFolder folder("xqt-faults");
  // The plug-in is loaded first; then no descriptor is left for the backing file.
  int status = rel::RunInChild([&] {
    Host host;
    host.Load(Host::DefaultPluginPath());
    // The lowest free descriptor becomes the limit, so that the next open fails.
    int lowest = dup(0);
    close(lowest);
    rlimit limit{};
    limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(lowest);
    setrlimit(RLIMIT_NOFILE, &limit);
    return RefusedImageInChild(host, folder.Named(), 64, 64);
  });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(FileFaults, MappingTheBandFailsUnderAnAddressSpaceLimit) {
  if (rel::UnderAddressSanitizer()) GTEST_SKIP() << "the sanitizer reserves more than the limit";
  if (rel::UnderEmulator()) GTEST_SKIP() << "the emulator applies no address-space limit";
  ScratchFolder folder("xqt-faults");
  // The first band of a 64 MiB image is 16 MiB; 8 MiB of address space beyond what the process
  // already uses cannot hold it.
  int status = rel::RunInChild([&] {
    Host host;
    host.Load(Host::DefaultPluginPath());
    std::ifstream in("/proc/self/statm");
    int64_t pages = 0;
    in >> pages;
    rlimit limit{};
    limit.rlim_cur = limit.rlim_max =
        static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + 8 * 1024 * 1024);
    setrlimit(RLIMIT_AS, &limit);
    return RefusedImageInChild(host, folder.Named(), 4096, 4096);
  });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(FileFaults, WithinTheLimitsTheSameImageWorks) {
  // The control: the same child run without a limit gets a valid image and still leaves nothing.
  ScratchFolder folder("xqt-faults");
  EXPECT_EQ(rel::RunInChild([&] { return MappedImageInChild(folder.Named(), 1024, 64, true, 0); }),
            0);
  EXPECT_TRUE(folder.IsEmpty());
}

}  // namespace
