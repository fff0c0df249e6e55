// Quarter turns, half turns and mirrors on a 6000 x 4000 RGBA image (96 MB, larger than the
// caches), next to a plain memcpy of the same buffer in the same run. Bytes per second count the
// image's bytes once per operation, so the ratios to memcpy read directly. The quarter turns also
// on a 1200 x 800 image (under 4 MB), which they write through the caches rather than past them.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kWidth = 6000;
constexpr int64_t kHeight = 4000;
constexpr int64_t kSmallWidth = 1200;
constexpr int64_t kSmallHeight = 800;
constexpr int64_t kRGBA = 2;

void BM_Memcpy(benchmark::State& state) { MemcpyImage(state, RandomImage(kWidth, kHeight, kRGBA)); }
void BM_MemcpySmall(benchmark::State& state) {
  MemcpyImage(state, RandomImage(kSmallWidth, kSmallHeight, kRGBA));
}

// A turn into a destination made once, so the timing holds no allocation.
void TurnInto(benchmark::State& state, const char* name, bool quarter, int64_t width = kWidth,
              int64_t height = kHeight) {
  Ref image = RandomImage(width, height, kRGBA);
  Ref dest = quarter ? RandomImage(height, width, kRGBA) : RandomImage(width, height, kRGBA);
  for (auto _ : state) {
    Ref result = image.Call<Ref>(name, dest);
    benchmark::DoNotOptimize(result.get());
  }
  state.SetBytesProcessed(state.iterations() * ImageBytes(image));
}

void InPlace(benchmark::State& state, const char* name) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  for (auto _ : state) image.Call(name);
  state.SetBytesProcessed(state.iterations() * ImageBytes(image));
}

void BM_Rotate90(benchmark::State& state) { TurnInto(state, "Rotate90", true); }
void BM_Rotate270(benchmark::State& state) { TurnInto(state, "Rotate270", true); }
void BM_Rotate90Small(benchmark::State& state) {
  TurnInto(state, "Rotate90", true, kSmallWidth, kSmallHeight);
}
void BM_Rotate270Small(benchmark::State& state) {
  TurnInto(state, "Rotate270", true, kSmallWidth, kSmallHeight);
}
void BM_Rotate90slow(benchmark::State& state) { TurnInto(state, "Rotate90slow", true); }
void BM_Rotate270slow(benchmark::State& state) { TurnInto(state, "Rotate270slow", true); }
void BM_Rotate180Into(benchmark::State& state) { TurnInto(state, "Rotate180", false); }
void BM_Rotate180InPlace(benchmark::State& state) { InPlace(state, "Rotate180"); }
void BM_HMirror(benchmark::State& state) { InPlace(state, "HMirror"); }
void BM_VMirror(benchmark::State& state) { InPlace(state, "VMirror"); }

}  // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate90)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate270)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate90slow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate270slow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate180Into)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate180InPlace)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HMirror)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VMirror)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->Name("BM_Memcpy_again");
BENCHMARK(BM_MemcpySmall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Rotate90Small)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Rotate270Small)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
