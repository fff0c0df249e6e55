#include <windows.h>

#include "platform/host_graphics.h"
#include "platform/system_calls.h"

namespace platform {

DesktopGraphics SystemDesktopGraphics() { return DesktopGraphics::kDirect2D; }

// Direct2D pictures are plain bytes and need no function; a name is looked up in the host's
// executable.
void* FindFunctionInProcess(const char* name) {
  HMODULE host = GetModuleHandleW(nullptr);
  return host ? reinterpret_cast<void*>(GetProcAddress(host, name)) : nullptr;
}

}  // namespace platform
