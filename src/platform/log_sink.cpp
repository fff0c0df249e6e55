#include "platform/log_sink.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

void WriteToStderr(const char* line, size_t length) {
  while (length > 0) {
    ssize_t written = ::write(STDERR_FILENO, line, length);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;
    }
    line += written;
    length -= static_cast<size_t>(written);
  }
}

std::atomic<LogSink> gSink{&WriteToStderr};

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
  return gSink.exchange(sink ? sink : &WriteToStderr, std::memory_order_acq_rel);
}

}  // namespace platform
