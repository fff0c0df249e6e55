// Where debug lines go: one line per message on stderr (and the debugger on Windows), each written
// at once so that lines from worker threads never interleave.
#pragma once

#include <cstddef>

namespace platform {

// Receives one complete line, newline included.
using LogSink = void (*)(const char* line, size_t length);

// Writes `length` bytes of `text` followed by a newline as one line.
void WriteLogLine(const char* text, size_t length);

// Replaces the sink (tests capture lines this way); null restores stderr. Returns the old sink.
LogSink SetLogSink(LogSink sink);

}  // namespace platform
