// Point filters, ordered dither and unsharp combination on a 6000 x 4000 RGBA image, next to a
// memcpy of the same bytes. Each filter writes into a dest made once, so the figures are the
// per-byte work and the memory traffic, not the allocation. The plug-in is the static library
// started through the emulated host, so the argument "level" caps the vector code
// (0 plain loops, 2 AVX2, 3 AVX-512; a level the processor lacks runs the best it has).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "host/emulated_host.h"
#include "platform/cpu_features.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

constexpr int64_t kWidth = 6000, kHeight = 4000, kRGBA = 2;

struct Images {
  Host host;
  Ref source, dest, blurred;
  Images() {
    host.Attach(&REALPluginMain);
    source = host.New("PictureXQT", kWidth, kHeight, kRGBA);
    dest = host.New("PictureXQT", kWidth, kHeight, kRGBA);
    blurred = host.New("PictureXQT", kWidth, kHeight, kRGBA);
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

// Caps the vector level for one benchmark run.
struct Level {
  explicit Level(const benchmark::State& state)
      : previous(platform::SetSimdLimit(static_cast<platform::SimdLevel>(state.range(0)))) {}
  ~Level() { platform::SetSimdLimit(previous); }
  platform::SimdLevel previous;
};

void Levels(benchmark::internal::Benchmark* b) {
  b->ArgName("level")->Arg(0)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight * 4);
}

void BM_Memcpy(benchmark::State& state) {
  std::vector<uint8_t> from(static_cast<size_t>(kWidth * kHeight * 4), 1);
  std::vector<uint8_t> to(from.size(), 0);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

void BM_GammaFilter(benchmark::State& state) {
  Images& images = Shared();
  Level level(state);
  for (auto _ : state) {
    Ref result = images.source.Call<Ref>("GammaFilter", images.dest, 2.2, 2.0, 1.8, 1.0);
    benchmark::DoNotOptimize(result.get());
  }
  SetBytes(state);
}
BENCHMARK(BM_GammaFilter)->Apply(Levels);

void BM_SolarizeFilter(benchmark::State& state) {
  Images& images = Shared();
  Level level(state);
  for (auto _ : state) {
    Ref result = images.source.Call<Ref>("SolarizeFilter", images.dest);
    benchmark::DoNotOptimize(result.get());
  }
  SetBytes(state);
}
BENCHMARK(BM_SolarizeFilter)->Apply(Levels);

void BM_DitherFilter(benchmark::State& state) {
  Images& images = Shared();
  Level level(state);
  int64_t matrix = state.range(1);
  for (auto _ : state) {
    Ref result = images.source.Call<Ref>("DitherFilter", images.dest, matrix, int64_t{4});
    benchmark::DoNotOptimize(result.get());
  }
  SetBytes(state);
}
BENCHMARK(BM_DitherFilter)
    ->ArgNames({"level", "matrix"})
    ->ArgsProduct({{0, 2, 3}, {1, 10}})
    ->Unit(benchmark::kMillisecond);

void BM_UnsharpFilter(benchmark::State& state) {
  Images& images = Shared();
  Level level(state);
  for (auto _ : state) {
    // In place on dest, against the blurred copy; dest's content does not change the work.
    bool ok = images.dest.Call<bool>("UnsharpFilter", images.blurred, 0.5, int64_t{4});
    benchmark::DoNotOptimize(ok);
  }
  SetBytes(state);
}
BENCHMARK(BM_UnsharpFilter)->Apply(Levels);

}  // namespace

BENCHMARK_MAIN();
