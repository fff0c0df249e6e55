#include "plugin/debug_log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/log_sink.h"

std::atomic<bool> DebuggingEnabled{false};

RBBoolean getDebugging() { return Debugging() ? 1 : 0; }

void setDebugging(RBBoolean value) {
  DebuggingEnabled.store(value != 0, std::memory_order_relaxed);
}

void LogMessageX(const char* format, ...) {
  char buffer[kDebugLineCapacity];
  va_list args;
  va_start(args, format);
  int length = std::vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  if (length < 0) return;
  if (length > kDebugLineCapacity - 1) length = kDebugLineCapacity - 1;
  platform::WriteLogLine(buffer, static_cast<size_t>(length));
}
