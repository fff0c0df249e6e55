// Linux and macOS.
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/aligned_memory.h"
#include "platform/system_calls.h"
#include "platform/system_info.h"
#include "platform/threads.h"

namespace platform {

int64_t MappingGranularity() {
  long size = sysconf(_SC_PAGESIZE);
  return size > 0 ? size : 4096;
}

int64_t ProcessorCount() {
  long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? count : 1;
}

int64_t SystemMonotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// One write() per line, so lines from worker threads never interleave.
void WriteToSystemLog(const char* line, size_t length) {
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

void SetCurrentThreadName(const char* name) {
  // Linux keeps 15 bytes and refuses longer names; macOS keeps 63.
  char shortName[16];
  std::strncpy(shortName, name ? name : "", sizeof(shortName) - 1);
  shortName[sizeof(shortName) - 1] = '\0';
#if defined(__APPLE__)
  pthread_setname_np(shortName);
#else
  pthread_setname_np(pthread_self(), shortName);
#endif
}

namespace {

struct ThreadStart {
  void (*run)(void*);
  void* argument;
};

void* RunThread(void* start) {
  ThreadStart what = *static_cast<ThreadStart*>(start);
  delete static_cast<ThreadStart*>(start);
  what.run(what.argument);
  return nullptr;
}

}  // namespace

bool StartThread(void (*run)(void*), void* argument, size_t stackBytes) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setstacksize(&attributes, stackBytes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  auto* start = new (std::nothrow) ThreadStart{run, argument};
  pthread_t thread;
  bool started = start && pthread_create(&thread, &attributes, &RunThread, start) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) {
    delete start;
    return false;
  }
  return true;
}

void* AlignedAllocate(size_t alignment, size_t size) {
  // aligned_alloc wants a size that is a multiple of the alignment.
  size_t rounded = (size + alignment - 1) / alignment * alignment;
  return std::aligned_alloc(alignment, rounded == 0 ? alignment : rounded);
}

void AlignedFree(void* block) { std::free(block); }

}  // namespace platform
