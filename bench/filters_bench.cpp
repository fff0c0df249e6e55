// Point filters, ordered dither and unsharp combination on a 6000 x 4000 RGBA image, next to a
// memcpy of the same bytes in the same run. Each filter writes into a dest made once, so the
// figures are the per-byte work and the memory traffic, not the allocation. The library runs the
// best vector level it was built for and the processor has.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kWidth = 6000, kHeight = 4000, kRGBA = 2;

struct Images {
  Ref source, dest, blurred;
  Images() {
    source = BenchHost().New("PictureXQT", kWidth, kHeight, kRGBA);
    dest = BenchHost().New("PictureXQT", kWidth, kHeight, kRGBA);
    blurred = BenchHost().New("PictureXQT", kWidth, kHeight, kRGBA);
    std::mt19937 random(7);
    for (int64_t y = 0; y < kHeight; ++y) {
      auto* row = static_cast<uint8_t*>(source.Call<void*>("RawRowPtr", y));
      auto* other = static_cast<uint8_t*>(blurred.Call<void*>("RawRowPtr", y));
      for (int64_t i = 0; i < kWidth * 4; ++i) {
        row[i] = static_cast<uint8_t>(random());
        other[i] = static_cast<uint8_t>(row[i] ^ (random() & 0x1F));
      }
    }
  }
};

Images& Shared() {
  static Images images;
  return images;
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight * 4);
}

void BM_Memcpy(benchmark::State& state) { MemcpyImage(state, Shared().source); }

template <class Filter>
void Into(benchmark::State& state, Filter filter) {
  Images& images = Shared();
  for (auto _ : state) {
    Ref result = filter(images);
    benchmark::DoNotOptimize(result.get());
  }
  SetBytes(state);
}

void BM_GammaFilter(benchmark::State& state) {
  Into(state,
       [](Images& i) { return i.source.Call<Ref>("GammaFilter", i.dest, 2.2, 2.0, 1.8, 1.0); });
}
void BM_SolarizeFilter(benchmark::State& state) {
  Into(state, [](Images& i) { return i.source.Call<Ref>("SolarizeFilter", i.dest); });
}
void BM_DitherFilter(benchmark::State& state) {
  const int64_t matrix = state.range(0);
  Into(state, [matrix](Images& i) {
    return i.source.Call<Ref>("DitherFilter", i.dest, matrix, int64_t{4});
  });
}

void BM_UnsharpFilter(benchmark::State& state) {
  Images& images = Shared();
  for (auto _ : state) {
    // In place on dest, against the blurred copy; dest's content does not change the work.
    bool ok = images.dest.Call<bool>("UnsharpFilter", images.blurred, 0.5, int64_t{4});
    benchmark::DoNotOptimize(ok);
  }
  SetBytes(state);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GammaFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SolarizeFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DitherFilter)->ArgName("matrix")->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UnsharpFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->Name("BM_Memcpy_again");

BENCHMARK_MAIN();
