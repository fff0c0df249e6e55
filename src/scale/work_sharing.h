// Work that the slices of one RunThreads call share out among themselves as they go, so that a
// slice that starts late or runs slow leaves no other slice idle at the end.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

// Set-up work cut into chunks, taken by whichever slices run. A slice waits only for the chunks
// other slices have taken, so one that has not started yet holds nobody up.
class SharedChunks {
 public:
  explicit SharedChunks(int64_t total) : total_(total) {}
  // Runs chunks until none is left, then returns once every chunk is done.
  template <typename Work>
  void Run(Work&& work) {
    for (int64_t chunk = next_.fetch_add(1); chunk < total_; chunk = next_.fetch_add(1)) {
      work(chunk);
      done_.fetch_add(1, std::memory_order_release);
    }
    WaitForAll();
  }

 private:
  void WaitForAll();
  const int64_t total_;
  std::atomic<int64_t> next_{0};
  std::atomic<int64_t> done_{0};
};

// The rows of a pass, in slices as RunThreads cuts them. Each slice takes rows from the front of
// its own range, fewer at a time as the range runs out; a slice whose range is empty takes over
// the back half of the fullest other range.
class RowClaims {
 public:
  // False when the ranges cannot be allocated.
  bool Start(int64_t rows, int64_t slices);
  // The next rows for `slice`, at most `most` of them; false when no rows are left.
  bool Next(int64_t slice, int64_t most, int64_t* first, int64_t* last);

 private:
  struct Range {
    int64_t front;
    int64_t back;  // one past the last row
  };
  std::mutex mutex_;  // a claim comes every band of rows, far too seldom to contend
  std::unique_ptr<Range[]> ranges_;
  int64_t slices_ = 0;
};
