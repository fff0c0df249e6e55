// Combine and the format-converting rows on a 6000 x 4000 image through the emulated host and the
// real plug-in: an RGBA image through a gray mask (plain and premultiplied), a colour through the
// mask, and every row read out in BGRA, CMYKA or gray. CopyPixels between the same
// formats is measured beside them as the per-pixel yardstick.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include "bench_host.h"
#include "host/emulated_host.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

constexpr int64_t kWidth = 6000, kHeight = 4000;
constexpr int64_t kRGBA = 2, kBGRA = 7, kG = 11, kCMYKA = 24;

Ref Image(int64_t format) {
  Ref image = BenchHost().New("PictureXQT", kWidth, kHeight, format);
  auto* first = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", int64_t{0}));
  auto size = static_cast<size_t>(image.Get<int64_t>("TotalSize"));
  for (size_t i = 0; i < size; ++i) first[i] = static_cast<uint8_t>(i * 7 + i / 4093);
  return image;
}

void SetPixels(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_CombineImage(benchmark::State& state) {
  Ref self = Image(kRGBA), source = Image(kBGRA), mask = Image(kG);
  bool premultiplied = state.range(0) != 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(self.Call<bool>("Combine", source, mask, premultiplied));
  }
  SetPixels(state);
}
BENCHMARK(BM_CombineImage)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_CombineColour(benchmark::State& state) {
  Ref self = Image(kRGBA), mask = Image(kG);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        self.Call<bool>("Combine", mask, int64_t{10}, int64_t{20}, int64_t{30}, int64_t{200}));
  }
  SetPixels(state);
}
BENCHMARK(BM_CombineColour)->Unit(benchmark::kMillisecond);

void BM_CopyPixelsBGRAtoRGBA(benchmark::State& state) {
  Ref self = Image(kRGBA), source = Image(kBGRA);
  for (auto _ : state) benchmark::DoNotOptimize(self.Call<bool>("CopyPixels", source));
  SetPixels(state);
}
BENCHMARK(BM_CopyPixelsBGRAtoRGBA)->Unit(benchmark::kMillisecond);

// Every row through RowInFormat: the conversion plus one MemoryBlock per row.
void BM_RowInFormat(benchmark::State& state) {
  Ref image = Image(kRGBA);
  int64_t format = state.range(0);
  for (auto _ : state) {
    for (int64_t y = 0; y < kHeight; ++y) {
      Ref row = image.Call<Ref>("RowInFormat", y, format);
      benchmark::DoNotOptimize(Host::BlockData(row));
    }
  }
  SetPixels(state);
}
BENCHMARK(BM_RowInFormat)->Arg(kBGRA)->Arg(kCMYKA)->Arg(kG)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
