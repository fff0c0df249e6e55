// An image larger than the process may address: in a child whose address space is limited to
// 64 MiB beyond what it uses already, a file-mapped image four times that size is filled,
// mirrored, scaled and turned; the mapped band is the only storage in memory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"
#include "support/image_bytes.h"
#include "support/scratch_folder.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;
namespace rel = xqt::reliability;

constexpr int64_t kRGBA = 2;
constexpr int64_t kOut = 64;  // side of the scaled results
// Quadrants TL, TR, BL, BR: red, green, blue, white.
constexpr uint32_t kColours[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};

// Scaled to kOut x kOut, every pixel more than 6 from the quadrant edges, beyond the reach of the
// kernel's lobes, has its quadrant's colour: kColours[q ^ flip]. Else what differs.
std::string ScaledQuadrantsDiffer(Host& host, const Ref& image, int flip) {
  Ref scaled = host.New("PictureXQT", kOut, kOut, kRGBA);
  if (!scaled.Call<bool>("Scale", image, nullptr, int64_t{3}, kOut, kOut)) return "not scaled";
  auto edge = [](int64_t v) { return v >= kOut / 2 - 6 && v < kOut / 2 + 6; };
  for (int64_t i = 0; i < kOut * kOut * 4; ++i) {
    const int64_t x = i / 4 % kOut, y = i / 4 / kOut, c = i % 4;
    const uint32_t colour = kColours[(2 * (y >= kOut / 2) + (x >= kOut / 2)) ^ flip] << 8 | 255;
    const uint8_t got = Pixel(scaled, x, y)[c];
    if (!edge(x) && !edge(y) && std::abs(got - int(colour >> (24 - 8 * c) & 255)) > 1) {
      return "pixel " + std::to_string(x) + "," + std::to_string(y) + " channel " +
             std::to_string(c) + " is " + std::to_string(got);
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
    const int64_t hw = width / 2, hh = height / 2;
    for (int q = 0; q < 4; ++q) {
      const int64_t c = kColours[q];
      big.Call("FillRectRGB", q % 2 * hw, q / 2 * hh, hw, hh, c >> 16, c >> 8 & 255, c & 255,
               int64_t{255});
    }
    // Mirrored both ways, each quadrant shows the colour of the one diagonally across.
    big.Call("VMirror");
    big.Call("HMirror");
    wrong = ScaledQuadrantsDiffer(host, big, 3);
    // A half turn undoes the two mirrors: into a result image when one of the full size fits under
    // the limit, else in place.
    Ref turned;
    try {
      turned = big.Call<Ref>("Rotate180", nullptr);
    } catch (const xqt::host::HostException& e) {
      std::fprintf(stderr, "result image refused: %s\n", e.message().c_str());
      big.Call("Rotate180");
      turned = big;
    }
    if (wrong.empty()) wrong = turned ? ScaledQuadrantsDiffer(host, turned, 0) : "not turned";
  }
  wrong += rel::LeftInHost(host);
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
