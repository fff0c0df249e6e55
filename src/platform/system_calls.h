// The few calls each system implements in its own file (system_posix.cpp, system_windows.cpp);
// the clock, the log and the worker pool around them are written once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

int64_t SystemMonotonicNanoseconds();

// Writes one complete line, newline included, where the system's debug output goes.
void WriteToSystemLog(const char* line, size_t length);

// A function of the host process by its C name, or null.
void* FindFunctionInProcess(const char* name);

}  // namespace platform
