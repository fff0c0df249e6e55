// Captures the plug-in's debug lines (static library only) for the life of the object.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/log_sink.h"
#include "plugin/debug_log.h"

class LogCapture {
 public:
  explicit LogCapture(bool enableDebugging = true) {
    {
      std::lock_guard<std::mutex> lock(Mutex());
      Lines().clear();
    }
    previous_ = platform::SetLogSink(&Sink);
    wasEnabled_ = Debugging();
    DebuggingEnabled = enableDebugging;
  }
  ~LogCapture() {
    platform::SetLogSink(previous_);
    DebuggingEnabled = wasEnabled_;
  }
  // A copy: worker threads may still be adding lines.
  std::vector<std::string> lines() const {
    std::lock_guard<std::mutex> lock(Mutex());
    return Lines();
  }
  bool Contains(const std::string& line) const {
    for (const auto& l : lines()) {
      if (l == line) return true;
    }
    return false;
  }
  // Whether the debug line with `text` was written (prefix and line end added here).
  bool Logged(const std::string& text) const { return Contains("XQT Debug: " + text + "\n"); }

 private:
  static std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
  }
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static void Sink(const char* line, size_t length) {
    std::lock_guard<std::mutex> lock(Mutex());
    Lines().emplace_back(line, length);
  }
  platform::LogSink previous_;
  bool wasEnabled_;
};

// Drives the monotonic clock by hand (static library only).
class ManualClock {
 public:
  ManualClock() { previous_ = platform::SetMonotonicClock(&Now); }
  ~ManualClock() { platform::SetMonotonicClock(previous_); }
  static void SetMilliseconds(double ms) { Nanos() = static_cast<int64_t>(ms * 1e6); }
  static void AdvanceMilliseconds(double ms) { Nanos() += static_cast<int64_t>(ms * 1e6); }

 private:
  static int64_t& Nanos() {
    static int64_t nanos = 0;
    return nanos;
  }
  static int64_t Now() { return Nanos(); }
  platform::ClockProc previous_;
};
