// Fills and pixel operations on a 6000 x 4000 RGBA image (96 MB, larger than the caches), next to
// a plain memcpy of the same buffer in the same run. Bytes per second count the image's bytes once
// per operation, so the ratios to memcpy read directly.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "host/emulated_host.h"
#include "plugin/host_interface.h"

namespace {

using xqt::host::Color;
using xqt::host::Host;
using xqt::host::Ref;

constexpr int64_t kWidth = 6000;
constexpr int64_t kHeight = 4000;
constexpr int64_t kRGBA = 2;

// One host for the whole run, with the plug-in linked in.
Host& TheHost() {
  static Host* host = [] {
    auto* created = new Host;
    created->Attach(&REALPluginMain);
    return created;
  }();
  return *host;
}

Ref NewImage() {
  Ref image = TheHost().New("PictureXQT", kWidth, kHeight, kRGBA);
  image.Call("FillRectRandom");
  return image;
}

int64_t ImageBytes(const Ref& image) {
  return image.Get<int64_t>("RowSize") * image.Get<int64_t>("Height");
}

void BM_Memcpy(benchmark::State& state) {
  Ref image = NewImage();
  const int64_t bytes = ImageBytes(image);
  const auto* from = static_cast<const uint8_t*>(image.Call<void*>("RawRowPtr", int64_t{0}));
  std::vector<uint8_t> to(static_cast<size_t>(bytes), 1);
  for (auto _ : state) {
    std::memcpy(to.data(), from, static_cast<size_t>(bytes));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

template <class Operation>
void Run(benchmark::State& state, Operation operation) {
  Ref image = NewImage();
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
void BM_FillRectRGBA(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("FillRectRGB", 10, 20, 30, 40); });
}
void BM_FillRectApply(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call<bool>("FillRectApply", Color{0x336699}, 128); });
}
void BM_Multiply(benchmark::State& state) {
  Run(state, [](const Ref& image) { image.Call("Multiply"); });
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
BENCHMARK(BM_FillRectRGBA)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillRectApply)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AutoLevel)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
