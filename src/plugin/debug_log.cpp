#include "plugin/debug_log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/log_sink.h"

std::atomic<bool> DebuggingEnabled{false};

bool getDebugging(REALobject, intptr_t) { return Debugging(); }

void setDebugging(REALobject, intptr_t, bool value) {
  DebuggingEnabled.store(value, std::memory_order_relaxed);
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
