#include "platform/log_sink.h"

#include <atomic>
#include <cstring>

#include "platform/system_calls.h"

namespace platform {
namespace {

std::atomic<LogSink> gSink{&WriteToSystemLog};

}  // namespace

void WriteLogLine(const char* text, size_t length) {
  // One buffer, one write: the caller's text is at most a few kilobytes.
  char line[8192];
  if (length > sizeof(line) - 1) length = sizeof(line) - 1;
  std::memcpy(line, text, length);
  line[length] = '\n';
  gSink.load(std::memory_order_acquire)(line, length + 1);
}

LogSink SetLogSink(LogSink sink) {
  return gSink.exchange(sink ? sink : &WriteToSystemLog, std::memory_order_acq_rel);
}

}  // namespace platform
