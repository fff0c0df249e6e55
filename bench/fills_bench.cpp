// Fills and pixel operations on a 6000 x 4000 RGBA image (96 MB, larger than the caches), next to
// a plain memcpy of the same buffer in the same run. Bytes per second count the image's bytes once
// per operation, so the ratios to memcpy read directly.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Color;
using xqt::host::Ref;

constexpr int64_t kWidth = 6000;
constexpr int64_t kHeight = 4000;
constexpr int64_t kRGBA = 2;

void BM_Memcpy(benchmark::State& state) { MemcpyImage(state, RandomImage(kWidth, kHeight, kRGBA)); }

template <class Operation>
void Run(benchmark::State& state, Operation operation) {
  Ref image = RandomImage(kWidth, kHeight, kRGBA);
  for (auto _ : state) operation(image);
  state.SetBytesProcessed(state.iterations() * ImageBytes(image));
}

void BM_FillRect(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("FillRect", int64_t{77}); });
}
void BM_ClearRect(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("ClearRect"); });
}
void BM_ClearRectRectangle(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("ClearRect", 0, 0, kWidth, kHeight); });
}
void BM_Invert(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("Invert"); });
}
void BM_FillRectAlpha(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("FillRect", int64_t{77}, int64_t{200}); });
}
void BM_FillRectRGBA(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("FillRectRGB", 10, 20, 30, 40); });
}
void BM_FillRectRGBColorAlpha(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("FillRectRGB", Color{0x336699}, int64_t{40}); });
}
void BM_FillRectApply(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call<bool>("FillRectApply", Color{0x336699}, 128); });
}
void BM_Multiply(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("Multiply"); });
}
void BM_Unmultiply(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("Unmultiply"); });
}
void BM_RGBToGray(benchmark::State& state) {
  const int64_t mode = state.range(0);
  Run(state, [mode](const Ref& image) { image.Call<bool>("RGBToGray", mode); });
}
void BM_AutoLevel(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call<bool>("AutoLevel"); });
}

}  // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClearRect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClearRectRectangle)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Invert)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRectAlpha)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRectRGBA)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRectRGBColorAlpha)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRectApply)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Unmultiply)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AutoLevel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RGBToGray)->ArgName("mode")->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->Name("BM_Memcpy_again");

BENCHMARK_MAIN();
