// An image larger than the process may address: in a child whose address space is limited to a
// few hundred MiB beyond what it uses already, a file-mapped image four times that size is
// filled, mirrored, scaled and turned; the mapped band is the only storage in memory. The results
// are checked against the same work on a small in-memory image.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;
namespace rel = xqt::reliability;

constexpr int64_t kRGBA = 2;
constexpr int64_t kLanczos3 = 3;
constexpr int64_t kOut = 64;  // side of the scaled results
constexpr int64_t kLimit = int64_t{256} << 20;

constexpr uint32_t kColours[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};

// Quadrants TL, TR, BL, BR in the four colours.
void FillQuadrants(const Ref& image, int64_t width, int64_t height) {
  int64_t hw = width / 2, hh = height / 2;
  int64_t xs[4] = {0, hw, 0, hw}, ys[4] = {0, 0, hh, hh};
  for (int q = 0; q < 4; ++q) {
    image.Call("FillRect", xs[q], ys[q], hw, hh, int64_t{kColours[q]}, int64_t{255});
  }
}

// The scaled result's pixels away from the quadrant edges, as RGB words.
bool SameInteriors(const Ref& a, const Ref& b, std::string& why) {
  for (int64_t y = 0; y < kOut; ++y) {
    if (y >= kOut / 2 - 6 && y < kOut / 2 + 6) continue;
    auto* ra = static_cast<const uint8_t*>(a.Call<void*>("RawRowPtr", y));
    auto* rb = static_cast<const uint8_t*>(b.Call<void*>("RawRowPtr", y));
    if (ra == nullptr || rb == nullptr) {
      why = "no row " + std::to_string(y);
      return false;
    }
    for (int64_t x = 0; x < kOut; ++x) {
      if (x >= kOut / 2 - 6 && x < kOut / 2 + 6) continue;
      for (int c = 0; c < 4; ++c) {
        if (std::abs(int(ra[x * 4 + c]) - int(rb[x * 4 + c])) > 1) {
          why = "pixel " + std::to_string(x) + "," + std::to_string(y) + " channel " +
                std::to_string(c) + ": " + std::to_string(ra[x * 4 + c]) + " vs " +
                std::to_string(rb[x * 4 + c]);
          return false;
        }
      }
    }
  }
  return true;
}

int64_t AddressSpace() {
  std::ifstream in("/proc/self/statm");
  int64_t pages = 0;
  in >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

int LargeImageInChild(const std::string& folder, int64_t width, int64_t height) {
  Host host;
  host.Load(Host::DefaultPluginPath());
  rlimit limit{};
  limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(AddressSpace() + kLimit);
  setrlimit(RLIMIT_AS, &limit);
  std::string why;
  {
    Ref item = host.NewFolderItem(folder + "/large");
    Ref big = host.New("PictureXQT", width, height, kRGBA, int64_t{0}, item);
    if (!big.Get<bool>("Valid") || !big.Get<bool>("IsMapping")) return 2;
    std::fprintf(stderr, "mapped image %lld x %lld, %lld MiB, band %lld MiB\n",
                 static_cast<long long>(width), static_cast<long long>(height),
                 static_cast<long long>(big.Get<int64_t>("TotalSize") >> 20),
                 static_cast<long long>(big.Get<int64_t>("MappingBlockSize") >> 20));
    // The same work on a small image, whose quadrants fall on the same scaled pixels.
    Ref small = host.New("PictureXQT", int64_t{256}, int64_t{256} * height / width, kRGBA);
    for (const Ref* image : {&big, &small}) {
      FillQuadrants(*image, image->Get<int64_t>("Width"), image->Get<int64_t>("Height"));
      image->Call("VMirror");
      image->Call("HMirror");
    }
    Ref scaledBig = host.New("PictureXQT", kOut, kOut, kRGBA);
    Ref scaledSmall = host.New("PictureXQT", kOut, kOut, kRGBA);
    if (!scaledBig.Call<bool>("Scale", big, nullptr, kLanczos3, kOut, kOut)) return 3;
    if (!scaledSmall.Call<bool>("Scale", small, nullptr, kLanczos3, kOut, kOut)) return 4;
    if (!SameInteriors(scaledBig, scaledSmall, why)) {
      std::fprintf(stderr, "mirrored and scaled: %s\n", why.c_str());
      return 5;
    }
    // A half turn in place, then scaled again.
    Ref turnedBig;
    try {
      turnedBig = big.Call<Ref>("Rotate180", nullptr);
    } catch (const xqt::host::HostException& e) {
      // A result image of the full size does not fit under the limit.
      std::fprintf(stderr, "result image refused: %s\n", e.message().c_str());
    }
    Ref turnedSmall = small.Call<Ref>("Rotate180", nullptr);
    if (turnedBig) {
      if (!scaledBig.Call<bool>("Scale", turnedBig, nullptr, kLanczos3, kOut, kOut)) return 7;
    } else {
      big.Call("Rotate180");
      if (!scaledBig.Call<bool>("Scale", big, nullptr, kLanczos3, kOut, kOut)) return 7;
    }
    if (!turnedSmall) return 8;
    if (!scaledSmall.Call<bool>("Scale", turnedSmall, nullptr, kLanczos3, kOut, kOut)) return 9;
    if (!SameInteriors(scaledBig, scaledSmall, why)) {
      std::fprintf(stderr, "turned and scaled: %s\n", why.c_str());
      return 10;
    }
  }
  if (host.LiveObjects() != 0) {
    std::fprintf(stderr, "%s", host.LiveReport().c_str());
    return 11;
  }
  if (!host.ProtocolErrors().empty()) return 12;
  return 0;
}

TEST(LargerThanMemory, AFileMappedImageFourTimesTheAddressLimitIsFilledScaledAndTurned) {
  if (rel::UnderAddressSanitizer()) GTEST_SKIP() << "the sanitizer reserves more than the limit";
  char name[] = "/tmp/xqt-large-XXXXXX";
  ASSERT_NE(mkdtemp(name), nullptr);
  // 4096 × 65536 RGBA pixels: 1 GiB of storage, four times the 256 MiB limit. The emulator
  // applies no limit and runs many times slower: there a quarter of the rows, still mapped in
  // bands.
  const int64_t height = rel::UnderEmulator() ? 16384 : 65536;
  int status = rel::RunInChild([&] { return LargeImageInChild(name, 4096, height); });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(rel::CountEntries(name), 0);  // the backing file is removed at close
  std::error_code ec;
  std::filesystem::remove_all(name, ec);
}

}  // namespace
