// One-shot fork/join over a range of rows: contiguous slices, one per worker, awaited in order
// while the host keeps getting turns.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

// A row-parallel kernel: rows first ... last (inclusive; empty when last < first), the slice's
// number (-1 when the whole range runs inline), 1 for a slice handed to a worker, and the
// caller's read-only parameter block.
using ThreadJob = void (*)(int64_t first, int64_t last, int64_t threadIndex, int8_t flag,
                           const void* context);

// One slice of a RunThreads call.
struct ThreadData {
  int64_t index;
  uintptr_t thread;   // never set here: slices go to the shared pool, not to threads of their own
  std::mutex* mutex;  // guards done; null when it could not be allocated
  uint8_t started;
  std::atomic<uint8_t> done;  // atomic so that a record without a mutex is still race-free
  uint8_t threaded;
  int64_t first;
  int64_t last;
  const void* context;
  ThreadJob job;

  void Run();
  bool IsDone();
};

// Runs `job` over rows 0 ... rows-1 and returns when every slice is done. threads < 0 runs it
// inline; 0 uses one slice per processor; otherwise at most 32 slices.
void RunThreads(int64_t threads, int64_t rows, const void* context, ThreadJob job);

// The slices RunThreads makes for `threads` (one when they run inline), and the rows of slice
// `index` of `count` over `rows`, so that a job can share its rows out between the slices.
int64_t SliceCount(int64_t threads);
void SliceRows(int64_t rows, int64_t count, int64_t index, int64_t* first, int64_t* last);

// The allocation of the record array (zeroed memory that std::free releases), replaceable so
// that tests can make it fail. Returns the old one; null restores the default.
using ThreadDataAllocator = void* (*)(size_t bytes);
ThreadDataAllocator SetThreadDataAllocator(ThreadDataAllocator allocator);
