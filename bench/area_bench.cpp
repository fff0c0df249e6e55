// Box blurs at radius 1, 10 and 100 on a 6000 x 4000 RGBA image (the time must not grow with the
// radius), the fractional blur, a 3 x 3 ApplyMatrix, the oil filter at radius 2, 8 and 32 on a
// 1500 x 1000 image (its time grows with the radius, not its square), and Rotate by 30 degrees
// (compare with bench/peers/rotate_vips.sh, which runs libvips on the same image size in the same
// run).
#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Ref;

constexpr int64_t kWidth = 6000;
constexpr int64_t kHeight = 4000;
constexpr int64_t kRGBA = 2;

void SetPixels(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_BoxBlur(benchmark::State& state) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  Ref dest = RandomImage(kWidth, kHeight, kRGBA);
  for (auto _ : state) {
    Ref result = image.Call<Ref>("BoxBlurFilter", dest, static_cast<int64_t>(state.range(0)));
    benchmark::DoNotOptimize(result.get());
  }
  SetPixels(state);
}
BENCHMARK(BM_BoxBlur)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_BoxBlurFractional(benchmark::State& state) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  Ref dest = RandomImage(kWidth, kHeight, kRGBA);
  for (auto _ : state) {
    Ref result = image.Call<Ref>("BoxBlurFractionalFilter", dest, 10.5);
    benchmark::DoNotOptimize(result.get());
  }
  SetPixels(state);
}
BENCHMARK(BM_BoxBlurFractional)->Unit(benchmark::kMillisecond);

void BM_ApplyMatrix3x3(benchmark::State& state) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  Ref dest = RandomImage(kWidth, kHeight, kRGBA);
  Ref kernel = BenchHost().NewIntegerArray({1, 2, 1, 2, 4, 2, 1, 2, 1});
  for (auto _ : state) {
    Ref result = image.Call<Ref>("ApplyMatrix", dest, kernel);
    benchmark::DoNotOptimize(result.get());
  }
  SetPixels(state);
}
BENCHMARK(BM_ApplyMatrix3x3)->Unit(benchmark::kMillisecond);

void BM_Oil(benchmark::State& state) {
  constexpr int64_t kOilWidth = 1500, kOilHeight = 1000;
  Ref image = RandomImage(kOilWidth, kOilHeight, kRGBA);
  Ref dest = RandomImage(kOilWidth, kOilHeight, kRGBA);
  for (auto _ : state) {
    Ref result =
        image.Call<Ref>("OilFilter", dest, static_cast<int64_t>(state.range(0)), int64_t{64});
    benchmark::DoNotOptimize(result.get());
  }
  state.SetItemsProcessed(state.iterations() * kOilWidth * kOilHeight);
}
BENCHMARK(BM_Oil)->Arg(2)->Arg(8)->Arg(32)->Unit(benchmark::kMillisecond);

void BM_Rotate30(benchmark::State& state) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  for (auto _ : state) {
    Ref result = image.Call<Ref>("Rotate", 30.0, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0},
                                 int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0});
    benchmark::DoNotOptimize(result.get());
  }
  SetPixels(state);
}
BENCHMARK(BM_Rotate30)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
