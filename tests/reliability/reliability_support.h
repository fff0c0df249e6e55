// Process-level probes for the reliability tests: descriptors, threads, memory, child processes.
#pragma once

#if defined(_WIN32)
// windows.h first: the other two build on its types.
// clang-format off
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
// clang-format on
#else
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace xqt::reliability {

inline int64_t CountEntries(const char* directory) {
  int64_t n = 0;
  std::error_code ec;
  for (auto it = std::filesystem::directory_iterator(directory, ec);
       !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
    ++n;
  }
  return n;
}

#if defined(_WIN32)
// Open disk files stand for descriptors: the process's other handles (events, threads, keys) come
// and go with the system's own work. Handle values are small multiples of four, handed out lowest
// first, so the walk stops once it has seen as many as the process holds.
inline int64_t OpenDescriptors() {
  DWORD total = 0;
  GetProcessHandleCount(GetCurrentProcess(), &total);
  const uintptr_t last = 4 * (uintptr_t{total} * 4 + 4096);
  int64_t files = 0;
  DWORD seen = 0;
  for (uintptr_t value = 4; seen < total && value <= last; value += 4) {
    HANDLE handle = reinterpret_cast<HANDLE>(value);
    DWORD flags = 0;
    if (!GetHandleInformation(handle, &flags)) continue;
    ++seen;
    files += GetFileType(handle) == FILE_TYPE_DISK;
  }
  return files;
}
inline int64_t Threads() {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return 0;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  int64_t n = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    n += entry.th32OwnerProcessID == GetCurrentProcessId();
  }
  CloseHandle(snapshot);
  return n;
}
inline int64_t ResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return static_cast<int64_t>(counters.WorkingSetSize);
}
#else
inline int64_t OpenDescriptors() { return CountEntries("/proc/self/fd"); }
inline int64_t Threads() { return CountEntries("/proc/self/task"); }

// Resident and virtual size in bytes, from /proc/self/statm.
inline int64_t ResidentBytes() {
  std::ifstream in("/proc/self/statm");
  int64_t size = 0, resident = 0;
  in >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}
#endif

// Set by the cross build's emulator (cmake/aarch64-linux-gnu.cmake), a user-mode emulator that runs
// several times slower than the processor and applies no address-space limit to the emulated
// process.
inline bool UnderEmulator() { return std::getenv("XQT_EMULATOR") != nullptr; }

inline bool UnderAddressSanitizer() {
#if defined(__SANITIZE_ADDRESS__)
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  return true;
#else
  return false;
#endif
#else
  return false;
#endif
}

#if !defined(_WIN32)
// Runs `body` in a child process with the given limits applied (0: unchanged) and returns its
// exit status (the body's result), or 128 + signal when it died. Output goes to stderr.
inline int RunInChild(const std::function<int()>& body, rlim_t addressSpace = 0,
                      rlim_t fileSize = 0, rlim_t descriptors = 0) {
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    std::signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails with EFBIG instead
    rlimit limit{};
    if (addressSpace != 0) {
      limit.rlim_cur = limit.rlim_max = addressSpace;
      setrlimit(RLIMIT_AS, &limit);
    }
    if (fileSize != 0) {
      limit.rlim_cur = limit.rlim_max = fileSize;
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (descriptors != 0) {
      limit.rlim_cur = limit.rlim_max = descriptors;
      setrlimit(RLIMIT_NOFILE, &limit);
    }
    int status = 100;
    try {
      status = body();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "child: %s\n", e.what());
    } catch (...) {
      std::fprintf(stderr, "child: unknown exception\n");
    }
    std::fflush(nullptr);
    _exit(status);
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

#endif

}  // namespace xqt::reliability
