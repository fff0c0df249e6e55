// The resampler on the workloads W1-W5 (the scale alone, no file I/O) with 1 and 2 threads, and
// ScaleFast against a memcpy of the bytes it moves, called through the plug-in library. Images are
// deterministic and natural-looking: gradients, a texture, hard edges, thin lines and a little
// noise (painted the same way by bench/peers/peer_common.h, so that the peers scale the same
// pixels).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kRGB = 1, kRGBA = 2, kG = 11;

void Paint(const Ref& image) {
  const int64_t width = image.Get<int64_t>("Width"), height = image.Get<int64_t>("Height");
  const int64_t pixelSize = image.Get<int64_t>("PixelSize");
  std::mt19937 random(1234);
  for (int64_t y = 0; y < height; ++y) {
    auto* row = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
    for (int64_t x = 0; x < width; ++x) {
      for (int64_t b = 0; b < pixelSize; ++b) {
        double v = 255.0 * x / width * (b + 1) / pixelSize;
        v += 40 * std::sin(x * 0.05 + b) * std::cos(y * 0.07);  // texture
        if ((x / 97 + y / 61) % 2) v = 255 - v;                 // hard edges
        if (x % 151 == 0 || y % 173 == 0) v = 20;               // thin lines
        v += static_cast<int>(random() % 9) - 4;                // noise
        row[x * pixelSize + b] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
      }
    }
  }
}

Ref& Source(int64_t width, int64_t height, int64_t format) {
  static std::map<std::tuple<int64_t, int64_t, int64_t>, Ref> cache;
  Ref& ref = cache[{width, height, format}];
  if (!ref) {
    ref = BenchHost().New("PictureXQT", width, height, format);
    Paint(ref);
  }
  return ref;
}

// As an application calls it: ScaleMT on a destination made beforehand, with a nil temp.
void Workload(benchmark::State& state, int64_t format, int64_t sw, int64_t sh, int64_t dw,
              int64_t dh, int64_t mode) {
  const int64_t threads = state.range(0);
  Ref& source = Source(sw, sh, format);
  Ref dest = BenchHost().New("PictureXQT", dw, dh, format);
  for (auto _ : state) {
    bool ok = dest.Call<bool>("ScaleMT", threads, source, nullptr, mode, dw, dh);
    if (!ok) state.SkipWithError("ScaleMT refused");
  }
}

void W1(benchmark::State& s) { Workload(s, kRGBA, 6000, 4000, 1500, 1000, 3); }
void W2(benchmark::State& s) { Workload(s, kRGBA, 6000, 4000, 600, 400, 3); }
void W3Mitchell(benchmark::State& s) { Workload(s, kRGB, 1000, 667, 3000, 2000, 5); }
void W3Poly3(benchmark::State& s) { Workload(s, kRGB, 1000, 667, 3000, 2000, 6); }
void W4(benchmark::State& s) { Workload(s, kG, 6000, 4000, 1500, 1000, 3); }
void W5(benchmark::State& s) { Workload(s, kRGB, 6000, 4000, 3000, 2000, 1); }

void Register(const char* name, void (*fn)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, fn)
      ->Arg(1)
      ->Arg(2)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime()
      ->MeasureProcessCPUTime()  // both threads' time, not the waiting caller's
      ->MinWarmUpTime(0.2);
}

// ScaleFast of W1's sizes, and a memcpy of the destination's bytes plus the source rows read.
void FastW1(benchmark::State& state) {
  Ref& source = Source(6000, 4000, kRGBA);
  Ref dest = BenchHost().New("PictureXQT", 1500, 1000, kRGBA);
  for (auto _ : state) {
    benchmark::DoNotOptimize(dest.Call<bool>("ScaleFast", source, int64_t{1500}, int64_t{1000}));
  }
}

void MemcpyW1(benchmark::State& state) {
  std::vector<uint8_t> from(1000 * 6000 * 4 + 1500 * 1000 * 4), to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::ClobberMemory();
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register("W1_RGBA_6000x4000_to_1500x1000_Lanczos3", &W1);
  Register("W2_RGBA_6000x4000_to_600x400_Lanczos3", &W2);
  Register("W3_RGB_1000x667_to_3000x2000_Mitchell", &W3Mitchell);
  Register("W3_RGB_1000x667_to_3000x2000_Poly3", &W3Poly3);
  Register("W4_G_6000x4000_to_1500x1000_Lanczos3", &W4);
  Register("W5_RGB_6000x4000_to_3000x2000_Triangle", &W5);
  for (auto* b : {benchmark::RegisterBenchmark("ScaleFast_W1", &FastW1),
                  benchmark::RegisterBenchmark("Memcpy_W1_bytes", &MemcpyW1)}) {
    b->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly(true);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
