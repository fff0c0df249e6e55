// File-mapped storage when Windows refuses: a backing file that cannot be created (a missing
// folder, or a file another program holds without sharing) or sized (past the largest file the
// volume allows). The image stays invalid, every member refuses it, and no open file, host object
// or backing file is left. A view that cannot be mapped takes the same path as on POSIX systems,
// where an address-space limit produces it; Windows has no such limit short of filling the
// address space.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"
#include "support/plugin_fixture.h"
#include "support/scratch_folder.h"

namespace {

using xqt::host::Ref;
namespace rel = xqt::reliability;

class FileFaultsWindows : public PluginTest {
 protected:
  // A file-mapped RGBA image at `path` must come out invalid, take a fill and a scale without
  // effect, close twice, and leave no host object, misuse or open file behind.
  void ExpectRefused(const std::string& path, int64_t width, int64_t height) {
    const int64_t files = rel::OpenDescriptors();
    {
      Ref item = host_.NewFolderItem(path);
      Ref image = host_.New("PictureXQT", width, height, int64_t{2}, int64_t{0}, item);
      EXPECT_FALSE(image.Get<bool>("Valid"));
      image.Call("FillRect", int64_t{0x0A141E}, int64_t{255});
      Ref small = host_.New("PictureXQT", int64_t{8}, int64_t{8}, int64_t{2});
      EXPECT_FALSE(small.Call<bool>("Scale", image, nullptr, int64_t{1}, int64_t{8}, int64_t{8}));
      image.Call("Close");
      image.Call("Close");
    }
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    EXPECT_TRUE(host_.ProtocolErrors().empty());
    EXPECT_EQ(rel::OpenDescriptors(), files);
  }
};

TEST_F(FileFaultsWindows, CreatingTheBackingFileFails) {
  ScratchFolder folder("xqt-faults");
  ExpectRefused(folder.Named("missing") + "\\backing", 64, 64);
  EXPECT_TRUE(folder.IsEmpty());

  // Another program has the file open and shares it with no one.
  const std::string held = folder.Named("held");
  HANDLE other = CreateFileA(held.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  ExpectRefused(held, 64, 64);
  CloseHandle(other);
  DeleteFileA(held.c_str());
  EXPECT_TRUE(folder.IsEmpty());
}

TEST_F(FileFaultsWindows, SizingTheBackingFileFailsPastTheVolumesLargestFile) {
  ScratchFolder folder("xqt-faults");
  // 2^26 × 2^24 RGBA pixels need 4 PiB, more than any volume's largest file.
  ExpectRefused(folder.Named("backing"), int64_t{1} << 26, int64_t{1} << 24);
  EXPECT_TRUE(folder.IsEmpty());
}

}  // namespace
