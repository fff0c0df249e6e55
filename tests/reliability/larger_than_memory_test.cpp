// An image larger than the process may address: in a child whose address space is limited to
// 64 MiB beyond what it uses already, a file-mapped image four times that size is filled,
// mirrored, scaled and turned; the mapped band is the only storage in memory. The results are
// checked against the same work on a small in-memory image.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"
#include "support/scratch_folder.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;
namespace rel = xqt::reliability;

constexpr int64_t kRGBA = 2;
constexpr int64_t kLanczos3 = 3;
constexpr int64_t kOut = 64;  // side of the scaled results

// Quadrants TL, TR, BL, BR in red, green, blue and white, mirrored both ways.
void FillQuadrantsAndMirror(const Ref& image) {
  const int64_t hw = image.Get<int64_t>("Width") / 2, hh = image.Get<int64_t>("Height") / 2;
  const uint32_t colours[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
  for (int q = 0; q < 4; ++q) {
    image.Call("FillRect", q % 2 * hw, q / 2 * hh, hw, hh, int64_t{colours[q]}, int64_t{255});
  }
  image.Call("VMirror");
  image.Call("HMirror");
}

// Both scaled to kOut x kOut agree within 1 away from the quadrant edges; else what differs.
std::string ScaledInteriorsDiffer(const Ref& a, const Ref& b, Host& host) {
  Ref sa = host.New("PictureXQT", kOut, kOut, kRGBA),
      sb = host.New("PictureXQT", kOut, kOut, kRGBA);
  if (!sa.Call<bool>("Scale", a, nullptr, kLanczos3, kOut, kOut) ||
      !sb.Call<bool>("Scale", b, nullptr, kLanczos3, kOut, kOut)) {
    return "not scaled";
  }
  auto edge = [](int64_t v) { return v >= kOut / 2 - 6 && v < kOut / 2 + 6; };
  for (int64_t y = 0; y < kOut; ++y) {
    auto* ra = static_cast<const uint8_t*>(sa.Call<void*>("RawRowPtr", y));
    auto* rb = static_cast<const uint8_t*>(sb.Call<void*>("RawRowPtr", y));
    for (int64_t i = 0; i < kOut * 4 && !edge(y); ++i) {
      if (!edge(i / 4) && std::abs(ra[i] - rb[i]) > 1) {
        return "byte " + std::to_string(i) + " of row " + std::to_string(y) + ": " +
               std::to_string(ra[i]) + " vs " + std::to_string(rb[i]);
      }
    }
  }
  return "";
}

int LargeImageInChild(const std::string& folder, int64_t width, int64_t height) {
  Host host;
  host.Load(Host::DefaultPluginPath());
  rel::LimitAddressSpace(int64_t{64} << 20);
  std::string wrong;
  {
    Ref item = host.NewFolderItem(folder + "/large");
    Ref big = host.New("PictureXQT", width, height, kRGBA, int64_t{0}, item);
    if (!big.Get<bool>("Valid") || !big.Get<bool>("IsMapping")) return 2;
    std::fprintf(stderr, "mapped image %lld MiB, band %lld MiB\n",
                 static_cast<long long>(big.Get<int64_t>("TotalSize") >> 20),
                 static_cast<long long>(big.Get<int64_t>("MappingBlockSize") >> 20));
    // The same work on a small image, whose quadrants fall on the same scaled pixels.
    Ref small = host.New("PictureXQT", int64_t{256}, int64_t{256} * height / width, kRGBA);
    FillQuadrantsAndMirror(big);
    FillQuadrantsAndMirror(small);
    wrong = ScaledInteriorsDiffer(big, small, host);
    if (!wrong.empty()) wrong = "mirrored and scaled: " + wrong;
    // A half turn: into a result image when one of the full size fits under the limit, else in
    // place.
    Ref turnedBig;
    try {
      turnedBig = big.Call<Ref>("Rotate180", nullptr);
    } catch (const xqt::host::HostException& e) {
      std::fprintf(stderr, "result image refused: %s\n", e.message().c_str());
      big.Call("Rotate180");
      turnedBig = big;
    }
    Ref turnedSmall = small.Call<Ref>("Rotate180", nullptr);
    if (wrong.empty()) {
      wrong = turnedBig && turnedSmall ? ScaledInteriorsDiffer(turnedBig, turnedSmall, host)
                                       : "not turned";
      if (!wrong.empty()) wrong = "turned and scaled: " + wrong;
    }
  }
  if (host.LiveObjects() != 0) wrong += host.LiveReport();
  if (!host.ProtocolErrors().empty()) wrong += "misuse of the host";
  if (!wrong.empty()) std::fprintf(stderr, "%s\n", wrong.c_str());
  return wrong.empty() ? 0 : 1;
}

TEST(LargerThanMemory, AFileMappedImageFourTimesTheAddressLimitIsFilledScaledAndTurned) {
  if (rel::UnderAddressSanitizer()) GTEST_SKIP() << "the sanitizer reserves more than the limit";
  ScratchFolder folder("xqt-large");
  // 4096 x 16384 RGBA pixels: 256 MiB of storage, four times the 64 MiB limit, in 16 MiB bands.
  // The emulator applies no limit and runs many times slower: there a quarter of the rows.
  const int64_t height = rel::UnderEmulator() ? 4096 : 16384;
  EXPECT_EQ(rel::RunInChild([&] { return LargeImageInChild(folder.Named(), 4096, height); }), 0);
  EXPECT_TRUE(folder.IsEmpty());  // the backing file is removed at close
}

}  // namespace
