// Windows.
#include <malloc.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "platform/aligned_memory.h"
#include "platform/system_calls.h"
#include "platform/system_info.h"
#include "platform/threads.h"

namespace platform {

// Views of a file start at multiples of the allocation granularity (64 KiB), not of the page.
int64_t MappingGranularity() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwAllocationGranularity > 0 ? info.dwAllocationGranularity : 65536;
}

int64_t ProcessorCount() {
  DWORD count = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
  return count > 0 ? count : 1;
}

int64_t SystemMonotonicNanoseconds() {
  static const int64_t frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return f.QuadPart > 0 ? f.QuadPart : 1;
  }();
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  // Split so that the product stays inside 64 bits for centuries of uptime.
  int64_t seconds = now.QuadPart / frequency, rest = now.QuadPart % frequency;
  return seconds * 1000000000 + rest * 1000000000 / frequency;
}

// The debugger sees each line through OutputDebugString; a console (or a redirected stderr) gets
// it in one write as well.
void WriteToSystemLog(const char* line, size_t length) {
  std::string text(line, length);
  OutputDebugStringA(text.c_str());
  HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
  if (error == nullptr || error == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(error, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// Thread descriptions exist from Windows 10 1607 on, so the function is looked up, not linked.
void SetCurrentThreadName(const char* name) {
  using Describe = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  auto describe = kernel ? reinterpret_cast<Describe>(reinterpret_cast<void*>(
                               GetProcAddress(kernel, "SetThreadDescription")))
                         : nullptr;
  if (!describe || !name) return;
  wchar_t wide[64];
  int count = MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, 63);
  if (count <= 0) return;
  wide[63] = L'\0';
  describe(GetCurrentThread(), wide);
}

namespace {

struct ThreadStart {
  void (*run)(void*);
  void* argument;
};

DWORD WINAPI RunThread(void* start) {
  ThreadStart what = *static_cast<ThreadStart*>(start);
  delete static_cast<ThreadStart*>(start);
  what.run(what.argument);
  return 0;
}

}  // namespace

bool StartThread(void (*run)(void*), void* argument, size_t stackBytes) {
  auto* start = new (std::nothrow) ThreadStart{run, argument};
  HANDLE thread = start ? CreateThread(nullptr, stackBytes, &RunThread, start,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr)
                        : nullptr;
  if (!thread) {
    delete start;
    return false;
  }
  CloseHandle(thread);  // detached: the thread runs on without it
  return true;
}

void* AlignedAllocate(size_t alignment, size_t size) {
  return _aligned_malloc(size == 0 ? alignment : size, alignment);
}

void AlignedFree(void* block) { _aligned_free(block); }

}  // namespace platform
