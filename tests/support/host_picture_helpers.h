// Host pictures in tests: random pixels through the host, and the process's picture libraries
// replaced for one scope (static library only).
#pragma once

#include <cstdint>
#include <random>

#include "host/emulated_host.h"
#include "platform/host_graphics.h"

inline void FillPictureRandom(xqt::host::Host& host, const xqt::host::Ref& picture, uint32_t seed) {
  std::mt19937 random(seed);
  for (int64_t y = 0; y < picture.Get<int64_t>("Height"); ++y) {
    for (int64_t x = 0; x < picture.Get<int64_t>("Width"); ++x) {
      host.SetPictureARGB(picture, x, y, static_cast<uint32_t>(random()));
    }
  }
}

// A process without the library: every lookup finds nothing.
inline void* NoPictureLibrary(const char*) { return nullptr; }

// Puts a finder of host functions in place while it lives.
class ScopedPictureLibrary {
 public:
  explicit ScopedPictureLibrary(platform::HostFunctionFinder finder)
      : previous_(platform::SetHostFunctionFinder(finder)) {}
  ~ScopedPictureLibrary() { platform::SetHostFunctionFinder(previous_); }
  ScopedPictureLibrary(const ScopedPictureLibrary&) = delete;
  ScopedPictureLibrary& operator=(const ScopedPictureLibrary&) = delete;

 private:
  platform::HostFunctionFinder previous_;
};
