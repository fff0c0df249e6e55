#include <dlfcn.h>

#include "platform/host_graphics.h"
#include "platform/system_calls.h"

namespace platform {

DesktopGraphics SystemDesktopGraphics() {
#if defined(__APPLE__)
  return DesktopGraphics::kCoreGraphics;
#else
  return DesktopGraphics::kCairo;
#endif
}

// The plug-in is loaded privately, so the default scope is the host's executable and the
// libraries it loaded globally: exactly where its graphics library lives.
void* FindFunctionInProcess(const char* name) { return dlsym(RTLD_DEFAULT, name); }

}  // namespace platform
