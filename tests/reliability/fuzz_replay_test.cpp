// Every input of the fuzzer's corpus (seeds and the crashes it found), and a batch of generated
// sequences, run through the fuzzer's interpreter in an ordinary build.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz/fuzz_driver.h"

namespace {

std::vector<uint8_t> ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(FuzzReplay, EveryCorpusInputLeavesNothingBehind) {
  size_t inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(XQT_FUZZ_CORPUS)) {
    if (!entry.is_regular_file()) continue;
    std::vector<uint8_t> bytes = ReadFile(entry.path());
    std::string left = xqt::fuzz::RunSequence(bytes.data(), bytes.size());
    EXPECT_EQ(left, "") << entry.path();
    ++inputs;
  }
  EXPECT_GE(inputs, 8u);
}

TEST(FuzzReplay, GeneratedSequencesLeaveNothingBehind) {
  std::mt19937 random(20261121);
  for (int i = 0; i < 3000; ++i) {
    std::vector<uint8_t> bytes(16 + random() % 240);
    for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
    std::string left = xqt::fuzz::RunSequence(bytes.data(), bytes.size());
    ASSERT_EQ(left, "") << "generated sequence " << i;
  }
}

TEST(FuzzReplay, EveryRegisteredMemberIsReachable) {
  // Constructors are reached through image creation, the rest through the declarations.
  EXPECT_GT(xqt::fuzz::ReachableMembers(), 100u);
}

}  // namespace

namespace {

// Found by the fuzzer, open: a rectangle whose x is beyond 32 bits (here ClipImage(x, y, w, h)
// with x = 9223372036854775807 on a 4-byte image) is left as given by FixImageRectangle, and
// ClipImage5 (src/composite/clip_image.cpp:20) multiplies x by PixelSize: signed overflow (UBSan).
// FillRectApply(x, y, w, h, color, alpha) with x = 2^62 overflows the same way in
// src/filters/fills.cpp:306. Enable when the rectangle rule refuses or clamps such an x.
TEST(FuzzRegressions, RectangleWithTheLargestXDoesNotOverflow) {
  std::vector<uint8_t> bytes = ReadFile(std::filesystem::path(XQT_FUZZ_CORPUS) / ".." /
                                        "regressions" / "clip-image-overflow");
  ASSERT_FALSE(bytes.empty());
  xqt::fuzz::AvoidOpenFaults(false);
  EXPECT_EQ(xqt::fuzz::RunSequence(bytes.data(), bytes.size()), "");
}

// Found by the fuzzer, open: Close on an image frees its storage while a view made from it (the
// view holds the parent locked) still points into it; FillRectApply(red, green, blue, alpha) on
// the view then reads and writes freed memory (AddressSanitizer: heap-use-after-free, freed by the
// host's UnlockObject called from the plug-in's destructor). Either Close keeps the storage while
// views hold the parent, or views must stop reaching it.
TEST(FuzzRegressions, CloseOnTheParentOfALiveViewKeepsTheViewSafe) {
  std::vector<uint8_t> bytes = ReadFile(std::filesystem::path(XQT_FUZZ_CORPUS) / ".." /
                                        "regressions" / "close-parent-of-view");
  ASSERT_FALSE(bytes.empty());
  xqt::fuzz::AvoidOpenFaults(false);
  EXPECT_EQ(xqt::fuzz::RunSequence(bytes.data(), bytes.size()), "");
}

// Found by the fuzzer, open and not yet narrowed down: SolarizeFilter(nil) on a file-mapped image
// (after DrawMaskedPictureRGB(pic, 100, 19, False) on it) dies of SIGBUS, a read or write of the
// mapped band beyond the end of the backing file.
TEST(FuzzRegressions, DISABLED_FiltersOnFileMappedImagesStayInsideTheFile) {
  std::vector<uint8_t> bytes =
      ReadFile(std::filesystem::path(XQT_FUZZ_CORPUS) / ".." / "regressions" / "mapped-bus-error");
  ASSERT_FALSE(bytes.empty());
  xqt::fuzz::AvoidOpenFaults(false);
  EXPECT_EQ(xqt::fuzz::RunSequence(bytes.data(), bytes.size()), "");
}

}  // namespace
