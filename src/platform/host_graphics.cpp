#include "platform/host_graphics.h"

#include <atomic>

#include "platform/system_calls.h"

namespace platform {
namespace {

std::atomic<HostFunctionFinder> gFinder{nullptr};

}  // namespace

void* FindHostFunction(const char* name) {
  if (HostFunctionFinder finder = gFinder.load(std::memory_order_acquire)) return finder(name);
  return name ? FindFunctionInProcess(name) : nullptr;
}

HostFunctionFinder SetHostFunctionFinder(HostFunctionFinder finder) {
  return gFinder.exchange(finder, std::memory_order_acq_rel);
}

}  // namespace platform
