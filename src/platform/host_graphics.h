// The graphics library of the host process, found at run time so that the plug-in links none.
//
// Desktop pictures live in the system's graphics library (Core Graphics on macOS, cairo on Linux,
// Direct2D on Windows); the plug-in reaches the few functions it needs by name in the process
// that loaded it. Console processes have no such library, and a lookup there finds nothing.
#pragma once

namespace platform {

// The kind of desktop picture this system's host hands out.
enum class DesktopGraphics { kCoreGraphics, kCairo, kDirect2D };
DesktopGraphics SystemDesktopGraphics();

// A function of the host process by its C name, or null when the process has none of that name.
void* FindHostFunction(const char* name);

// Replaces the lookup (tests put stand-ins for a library this system lacks); null restores the
// process lookup. Returns the previous replacement.
using HostFunctionFinder = void* (*)(const char* name);
HostFunctionFinder SetHostFunctionFinder(HostFunctionFinder finder);

}  // namespace platform
