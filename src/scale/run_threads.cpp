#include "scale/run_threads.h"

#include <cstdlib>
#include <new>

#include "platform/system_info.h"
#include "platform/threads.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

namespace {

constexpr int64_t kMaximumWorkers = 32;
constexpr int64_t kPollNanoseconds = 1000000;

void* DefaultAllocator(size_t bytes) { return std::calloc(1, bytes); }

std::atomic<ThreadDataAllocator> gAllocator{&DefaultAllocator};

void YieldToHost() {
  if (auto yield = hostapi::REALYieldToRB.get()) yield();
}

// The worker entry: runs one record on a pool thread.
void ThreadFunction(void* argument) {
  DebugLog("threadFunction");
  static_cast<ThreadData*>(argument)->Run();
}

}  // namespace

ThreadDataAllocator SetThreadDataAllocator(ThreadDataAllocator allocator) {
  return gAllocator.exchange(allocator ? allocator : &DefaultAllocator);
}

void ThreadData::Run() {
  // The caller may free the record as soon as done is set: nothing of it is read after that.
  const int64_t slice = index;
  DebugLog("Starting job.", static_cast<long long>(slice));
  if (job) {
    job(first, last, index, static_cast<int8_t>(threaded), context);
  } else {
    DebugLog("No work?", static_cast<long long>(slice));
  }
  if (mutex) {
    std::lock_guard<std::mutex> lock(*mutex);
    done.store(1, std::memory_order_release);
  } else {
    done.store(1, std::memory_order_release);
  }
  DebugLog("Job done.", static_cast<long long>(slice));
}

bool ThreadData::IsDone() {
  if (mutex) {
    std::lock_guard<std::mutex> lock(*mutex);
    return done.load(std::memory_order_acquire) != 0;
  }
  return done.load(std::memory_order_acquire) != 0;
}

int64_t SliceCount(int64_t threads) {
  if (threads < 0) return 1;
  const int64_t count = threads < kMaximumWorkers ? threads : kMaximumWorkers;
  return count == 0 ? platform::ProcessorCount() : count;
}

// Equal slices, the last taking what the division leaves.
void SliceRows(int64_t rows, int64_t count, int64_t index, int64_t* first, int64_t* last) {
  const int64_t chunk = rows / count;
  *first = index * chunk;
  *last = index == count - 1 ? rows - 1 : index * chunk + chunk - 1;
}

void RunThreads(int64_t threads, int64_t rows, const void* context, ThreadJob job) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld", kDebugPrefix, "RunThreads", static_cast<long long>(threads),
                static_cast<long long>(rows));
  }
  if (threads < 0) {
    DebugLog("No thread");
    if (job) job(0, rows - 1, -1, 0, context);
    return;
  }
  const int64_t count = SliceCount(threads);
  DebugLog("Threaded", static_cast<long long>(count));
  DebugLog("InitThreads", static_cast<long long>(count));

  // Count-prefixed, as one block; the records start after the prefix's own aligned slot.
  constexpr size_t kPrefix =
      alignof(ThreadData) > sizeof(int64_t) ? alignof(ThreadData) : sizeof(int64_t);
  void* block = gAllocator.load()(kPrefix + sizeof(ThreadData) * static_cast<size_t>(count));
  if (!block) {
    DebugLog("Failed to create thread data.");
    return;
  }
  *static_cast<int64_t*>(block) = count;
  auto* records = reinterpret_cast<ThreadData*>(static_cast<char*>(block) + kPrefix);
  for (int64_t i = 0; i < count; ++i) {
    ThreadData* record = new (&records[i]) ThreadData{};
    record->mutex = new (std::nothrow) std::mutex;
  }

  DebugLog("CreateJobs", static_cast<long long>(count));
  for (int64_t i = 0; i < count; ++i) {
    ThreadData& record = records[i];
    SliceRows(rows, count, i, &record.first, &record.last);
    record.done.store(0);
    record.context = context;
    record.job = job;
  }
  if (Debugging()) {
    for (int64_t i = 0; i < count; ++i) DebugLogArgs("Job", i, records[i].first, records[i].last);
  }

  DebugLog("StartThreads");
  for (int64_t i = 0; i < count; ++i) {
    ThreadData& record = records[i];
    DebugLog("InitThread", static_cast<long long>(i));
    record.index = i;
    record.threaded = 1;
    record.thread = 0;
    record.started = 1;
    if (!platform::SubmitTask(&ThreadFunction, &record)) {
      // Not dispatched: it runs below on this thread instead.
      record.started = 0;
      record.threaded = 0;
    }
  }

  DebugLog("RunOnMainThread");
  for (int64_t i = 0; i < count; ++i) {
    if (!records[i].started) records[i].Run();
  }

  DebugLog("WaitForThreads");
  YieldToHost();
  for (int64_t i = 0; i < count; ++i) {
    ThreadData& record = records[i];
    DebugLog("Wait for thread", static_cast<long long>(i));
    if (!record.started) continue;
    for (;;) {
      uint64_t seen = platform::CompletedTasks();
      if (record.IsDone()) break;
      YieldToHost();
      // Wakes early when a slice finishes; the host still gets a turn at least every 1 ms.
      platform::WaitForTaskAfter(seen, kPollNanoseconds);
    }
  }

  if (Debugging()) {
    for (int64_t i = 0; i < count; ++i) {
      DebugLogArgs("After Job", i, records[i].first, records[i].last, records[i].done.load());
    }
  }

  for (int64_t i = count - 1; i >= 0; --i) {
    ThreadData& record = records[i];
    record.started = 0;
    delete record.mutex;
    record.mutex = nullptr;
    record.~ThreadData();
  }
  std::free(block);
  DebugLog("Done with all.");
}
