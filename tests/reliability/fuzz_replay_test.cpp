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

// Inputs the fuzzer found crashing, replayed by name from the regressions folder.
void Replay(const char* name) {
  std::vector<uint8_t> bytes =
      ReadFile(std::filesystem::path(XQT_FUZZ_CORPUS) / ".." / "regressions" / name);
  ASSERT_FALSE(bytes.empty()) << name;
  EXPECT_EQ(xqt::fuzz::RunSequence(bytes.data(), bytes.size()), "") << name;
}

// ClipImage(x, y, w, h) with x = 2^63 - 1 on a 4-byte image, and FillRectApply with x = 2^62: the
// rectangle rule left x as given and it was multiplied by PixelSize, a signed overflow.
TEST(FuzzRegressions, RectangleWithTheLargestXDoesNotOverflow) { Replay("clip-image-overflow"); }

// Close on an image freed its storage while a view made from it still pointed into it, and
// FillRectApply on the view then wrote freed memory.
TEST(FuzzRegressions, CloseOnTheParentOfALiveViewKeepsTheViewSafe) {
  Replay("close-parent-of-view");
}

// A second file-mapped image named the backing file of a live one and truncated it (removing it
// on failure); SolarizeFilter on the first image then touched pages past the file's end: SIGBUS.
TEST(FuzzRegressions, SecondImageOnABackingFileLeavesItWhole) { Replay("mapped-bus-error"); }

// ClipImage(8, -2^63, 0, 0) cut the lowest origin to 0 and left a height of -2^63; RawRowPtr on
// that clip computed height - 1, a signed overflow. Cut rectangles now end empty.
TEST(FuzzRegressions, ClipBelowTheLowestRowIsEmpty) { Replay("clip-below-the-lowest-row"); }

}  // namespace
