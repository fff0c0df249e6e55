// What the benchmarks share: one host for the whole run that loads the real plug-in library, as
// an application's host does (XQT_PLUGIN names another), random images, and a memcpy of an
// image's bytes to measure the operations against.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/emulated_host.h"

inline xqt::host::Host& BenchHost() {
  static xqt::host::Host* host = [] {
    auto* created = new xqt::host::Host;
    const char* chosen = std::getenv("XQT_PLUGIN");
    created->Load(chosen && *chosen ? chosen : XQT_BENCH_PLUGIN);
    return created;
  }();
  return *host;
}

// An in-memory image of random pixels.
inline xqt::host::Ref RandomImage(int64_t width, int64_t height, int64_t format) {
  xqt::host::Ref image = BenchHost().New("PictureXQT", width, height, format);
  image.Call("FillRectRandom");
  return image;
}

inline int64_t ImageBytes(const xqt::host::Ref& image) {
  return image.Get<int64_t>("RowSize") * image.Get<int64_t>("Height");
}

// memcpy of all of `image`'s bytes into a buffer of its own, bytes per second counted once.
inline void MemcpyImage(benchmark::State& state, const xqt::host::Ref& image) {
  const int64_t bytes = ImageBytes(image);
  const auto* from = static_cast<const uint8_t*>(image.Call<void*>("RawRowPtr", int64_t{0}));
  std::vector<uint8_t> to(static_cast<size_t>(bytes), 1);
  for (auto _ : state) {
    std::memcpy(to.data(), from, static_cast<size_t>(bytes));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
