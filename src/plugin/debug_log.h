// The process-wide debug switch and the debug log.
//
// Every call site tests the switch first, so a disabled log costs one load. Lines begin with
// "XQT Debug: " and are cut at 4095 characters.
#pragma once

#include <atomic>
#include <cstdint>

#include "plugin/host_interface.h"

// Relaxed loads: worker threads read the switch, only the host's thread writes it.
extern std::atomic<bool> DebuggingEnabled;

inline bool Debugging() { return DebuggingEnabled.load(std::memory_order_relaxed); }

inline constexpr const char* kDebugPrefix = "XQT Debug: ";
inline constexpr int kDebugLineCapacity = 4096;

// Accessors of the shared property "Debugging"; any non-zero byte switches the log on.
RBBoolean getDebugging();
void setDebugging(RBBoolean value);

// Formats one line (at most 4095 characters) and writes it to the log.
void LogMessageX(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The line shapes in use, each tested against the switch at the call site.
inline void DebugLog(const char* text) {
  if (Debugging()) LogMessageX("%s%s", kDebugPrefix, text);
}
inline void DebugLog(const char* label, long long value) {
  if (Debugging()) LogMessageX("%s%s %lld", kDebugPrefix, label, value);
}
inline void DebugLog(const char* label, const char* text) {
  if (Debugging()) LogMessageX("%s%s %s", kDebugPrefix, label, text ? text : "(null)");
}
inline void DebugLogPointer(const char* label, const void* pointer) {
  if (Debugging()) LogMessageX("%s%s %p", kDebugPrefix, label, pointer);
}
inline void DebugLogResult(const char* label, int result, int error) {
  if (Debugging()) LogMessageX("%s%s %d, %d", kDebugPrefix, label, result, error);
}
inline void DebugLogUnsigned(const char* label, unsigned long value) {
  if (Debugging()) LogMessageX("%s%s %lu", kDebugPrefix, label, value);
}
inline void DebugLogArgs(const char* function, long long a, long long b, long long c) {
  if (Debugging()) LogMessageX("%s%s %lld, %lld, %lld", kDebugPrefix, function, a, b, c);
}
inline void DebugLogArgs(const char* function, long long a, long long b, long long c, long long d) {
  if (Debugging()) LogMessageX("%s%s %lld, %lld, %lld, %lld", kDebugPrefix, function, a, b, c, d);
}
