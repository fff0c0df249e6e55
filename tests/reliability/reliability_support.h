// Shared by the reliability tests: process probes (descriptors, threads, memory), child processes
// with resource limits, and the check of a file-mapped image the system may refuse.
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
#include <iterator>
#include <string>

#include "host/emulated_host.h"

namespace xqt::reliability {

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
inline int64_t CountEntries(const char* directory) {
  std::error_code ec;
  auto it = std::filesystem::directory_iterator(directory, ec);
  return ec ? 0 : std::distance(it, std::filesystem::directory_iterator());
}
inline int64_t OpenDescriptors() { return CountEntries("/proc/self/fd"); }
inline int64_t Threads() { return CountEntries("/proc/self/task"); }

// The n-th figure of /proc/self/statm (0 the whole size, 1 the resident part) in bytes.
inline int64_t Statm(int n) {
  std::ifstream in("/proc/self/statm");
  int64_t pages[2] = {};
  in >> pages[0] >> pages[1];
  return pages[n] * sysconf(_SC_PAGESIZE);
}
inline int64_t ResidentBytes() { return Statm(1); }
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
#endif
#endif
  return false;
}

inline std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return s;
}

// The next n creations of one kind fail: 0 instances, 1 MemoryBlocks, 2 pictures; any other kind
// or n = 0 disarms.
inline void ArmFaults(host::Host& host, int kind, int n) {
  host.FailNextInstances(kind == 0 ? n : 0);
  host.FailNextMemoryBlocks(kind == 1 ? n : 0);
  host.FailNextPictures(kind == 2 ? n : 0);
}

// What a finished piece of work left in the host: objects, strings, misuse of the interface.
inline std::string LeftInHost(host::Host& host) {
  std::string left;
  if (host.LiveObjects() != 0) left += "live objects:\n" + host.LiveReport();
  if (host.LiveStrings() != 0) left += "live strings: " + std::to_string(host.LiveStrings()) + "\n";
  for (const std::string& error : host.ProtocolErrors()) left += "misuse: " + error + "\n";
  host.ClearProtocolErrors();
  return left;
}

// A file-mapped RGBA image of width x height at `path` must come out valid only when
// `expectValid`; a fill and a scale from it then work, else they do nothing; two closes release
// it. Returns what went wrong, including any host object, misuse or open file left behind.
inline std::string CheckMappedImage(host::Host& host, const std::string& path, int64_t width,
                                    int64_t height, bool expectValid) {
  const int64_t descriptors = OpenDescriptors();
  std::string wrong;
  try {
    host::Ref item = host.NewFolderItem(path);
    host::Ref image = host.New("PictureXQT", width, height, int64_t{2}, int64_t{0}, item);
    if (image.Get<bool>("Valid") != expectValid) wrong += "Valid is wrong; ";
    image.Call("FillRect", int64_t{0x0A141E}, int64_t{255});
    host::Ref small = host.New("PictureXQT", int64_t{8}, int64_t{8}, int64_t{2});
    if (small.Call<bool>("Scale", image, nullptr, int64_t{1}, int64_t{8}, int64_t{8}) !=
        expectValid) {
      wrong += "Scale from it is wrong; ";
    }
    image.Call("Close");
    image.Call("Close");  // a second close finds nothing to release
  } catch (const host::HostException& e) {
    wrong += e.className() + ": " + e.message() + "; ";
  }
  wrong += LeftInHost(host);
  if (OpenDescriptors() != descriptors) wrong += "a descriptor is left open; ";
  return wrong;
}

#if !defined(_WIN32)
// Runs `body` in a child process and returns its exit status (the body's result), or 128 + signal
// when it died. Output goes to stderr.
inline int RunInChild(const std::function<int()>& body) {
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    std::signal(SIGXFSZ, SIG_IGN);  // a write past a file-size limit fails with EFBIG instead
    int status = 100;
    try {
      status = body();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "child: %s\n", e.what());
    }
    std::fflush(nullptr);
    _exit(status);
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

// Limits a resource of this process, soft and hard.
inline void Limit(int resource, int64_t value) {
  rlimit limit{};
  limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(value);
  setrlimit(resource, &limit);
}

// Limits the address space to what the process uses now plus `extra` bytes.
inline void LimitAddressSpace(int64_t extra) { Limit(RLIMIT_AS, Statm(0) + extra); }
#endif

}  // namespace xqt::reliability
