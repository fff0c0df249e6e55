// The few calls each system implements in its own file (system_posix.cpp, system_windows.cpp);
// the clock, the log and the worker pool around them are written once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

int64_t SystemMonotonicNanoseconds();

// Writes one complete line, newline included, where the system's debug output goes.
void WriteToSystemLog(const char* line, size_t length);

// Threads of the worker pool, started with an explicit stack so that every system gives them the
// same room (macOS gives secondary threads 512 KiB by default, Linux 8 MiB).
inline constexpr size_t kWorkerStackBytes = size_t{512} << 10;
// Starts a detached thread running run(argument); false when it cannot start.
bool StartThread(void (*run)(void*), void* argument, size_t stackBytes);

// A function of the host process by its C name, or null.
void* FindFunctionInProcess(const char* name);

}  // namespace platform
