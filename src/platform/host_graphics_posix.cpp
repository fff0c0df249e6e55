#include <dlfcn.h>

#include <atomic>

#include "platform/host_graphics.h"

namespace platform {
namespace {

std::atomic<HostFunctionFinder> gFinder{nullptr};

}  // namespace

DesktopGraphics SystemDesktopGraphics() {
#if defined(__APPLE__)
  return DesktopGraphics::kCoreGraphics;
#else
  return DesktopGraphics::kCairo;
#endif
}

// The plug-in is loaded privately, so the default scope is the host's executable and the
// libraries it loaded globally: exactly where its graphics library lives.
void* FindHostFunction(const char* name) {
  if (HostFunctionFinder finder = gFinder.load(std::memory_order_acquire)) return finder(name);
  return name ? dlsym(RTLD_DEFAULT, name) : nullptr;
}

HostFunctionFinder SetHostFunctionFinder(HostFunctionFinder finder) {
  return gFinder.exchange(finder, std::memory_order_acq_rel);
}

}  // namespace platform
