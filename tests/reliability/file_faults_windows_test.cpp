// File-mapped storage when Windows refuses to create the backing file (a missing folder, a file
// held unshared) or to size it: the image stays invalid and nothing is left. A view that cannot be
// mapped takes the POSIX path, where an address-space limit produces it.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>

#include "reliability/reliability_support.h"
#include "support/plugin_fixture.h"
#include "support/scratch_folder.h"

namespace {

namespace rel = xqt::reliability;

class FileFaultsWindows : public PluginTest {};

TEST_F(FileFaultsWindows, CreatingTheBackingFileFails) {
  ScratchFolder folder("xqt-faults");
  EXPECT_EQ(rel::CheckMappedImage(host_, folder.Named("missing") + "\\backing", 64, 64, false), "");
  EXPECT_TRUE(folder.IsEmpty());

  // Another program has the file open and shares it with no one.
  const std::string held = folder.Named("held");
  HANDLE other = CreateFileA(held.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_EQ(rel::CheckMappedImage(host_, held, 64, 64, false), "");
  CloseHandle(other);
  DeleteFileA(held.c_str());
  EXPECT_TRUE(folder.IsEmpty());
}

TEST_F(FileFaultsWindows, SizingTheBackingFileFailsPastTheVolumesLargestFile) {
  ScratchFolder folder("xqt-faults");
  // 2^26 × 2^24 RGBA pixels need 4 PiB, more than any volume's largest file.
  EXPECT_EQ(rel::CheckMappedImage(host_, folder.Named("backing"), int64_t{1} << 26,
                                  int64_t{1} << 24, false),
            "");
  EXPECT_TRUE(folder.IsEmpty());
}

}  // namespace
