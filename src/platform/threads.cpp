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

// Started lazily and kept warm for the life of the process.
class WorkerPool {
 public:
  bool Submit(TaskProc proc, void* argument) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!StartLocked()) return false;
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
    if (workers_ > 0) return true;
    int64_t count = ProcessorCount();
    // Whatever started serves the queue; none at all means the task cannot be taken.
    for (int64_t i = 0; i < count; ++i) {
      if (!StartThread(&RunWorker, this, kWorkerStackBytes)) break;
      ++workers_;
    }
    return workers_ > 0;
  }

  static void RunWorker(void* pool) { static_cast<WorkerPool*>(pool)->Work(); }

  void Work() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      wake_.wait(lock, [&] { return !queue_.empty(); });
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
  int64_t workers_ = 0;
  uint64_t completed_ = 0;
};

// Never destroyed: the workers end with the process. A destructor would join them at exit, and
// in a Windows DLL that runs after the system has stopped the threads, on a lock one of them may
// have held.
WorkerPool& Pool() {
  static WorkerPool* pool = new WorkerPool;
  return *pool;
}

}  // namespace

bool SubmitTask(TaskProc task, void* argument) { return Pool().Submit(task, argument); }

uint64_t CompletedTasks() { return Pool().Completed(); }

void WaitForTaskAfter(uint64_t seen, int64_t nanoseconds) { Pool().WaitAfter(seen, nanoseconds); }

}  // namespace platform
