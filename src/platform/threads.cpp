#include "platform/threads.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <vector>

#include "platform/system_calls.h"
#include "platform/system_info.h"

namespace platform {
namespace {

struct Task {
  TaskProc proc;
  void* argument;
};

// Started lazily and kept warm for the life of the process; the destructor (process exit, or the
// library's unload) stops the workers once the queue has drained.
class WorkerPool {
 public:
  ~WorkerPool() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    for (ThreadHandle worker : workers_) JoinThread(worker);
  }

  bool Submit(TaskProc proc, void* argument) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_ || !StartLocked()) return false;
    try {
      queue_.push_back({proc, argument});
    } catch (...) {
      return false;
    }
    wake_.notify_one();
    return true;
  }

  uint64_t Completed() {
    std::lock_guard<std::mutex> lock(mutex_);
    return completed_;
  }

  void WaitAfter(uint64_t seen, int64_t nanoseconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    finished_.wait_for(lock, std::chrono::nanoseconds(nanoseconds),
                       [&] { return completed_ != seen; });
  }

 private:
  bool StartLocked() {
    if (!workers_.empty()) return true;
    int64_t count = ProcessorCount();
    try {
      workers_.reserve(static_cast<size_t>(count));
    } catch (...) {
      return false;
    }
    // Whatever started serves the queue; none at all means the task cannot be taken.
    for (int64_t i = 0; i < count; ++i) {
      ThreadHandle worker;
      if (!StartThread(&RunWorker, this, kWorkerStackBytes, &worker)) break;
      workers_.push_back(worker);
    }
    return !workers_.empty();
  }

  static void RunWorker(void* pool) { static_cast<WorkerPool*>(pool)->Work(); }

  void Work() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      wake_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
      if (queue_.empty()) return;
      Task task = queue_.front();
      queue_.pop_front();
      lock.unlock();
      task.proc(task.argument);
      lock.lock();
      ++completed_;
      finished_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable finished_;
  std::deque<Task> queue_;
  std::vector<ThreadHandle> workers_;
  uint64_t completed_ = 0;
  bool stopping_ = false;
};

WorkerPool& Pool() {
  static WorkerPool pool;
  return pool;
}

}  // namespace

bool SubmitTask(TaskProc task, void* argument) { return Pool().Submit(task, argument); }

uint64_t CompletedTasks() { return Pool().Completed(); }

void WaitForTaskAfter(uint64_t seen, int64_t nanoseconds) { Pool().WaitAfter(seen, nanoseconds); }

}  // namespace platform
