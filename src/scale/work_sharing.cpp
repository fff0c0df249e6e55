#include "scale/work_sharing.h"

#include <new>
#include <thread>

#include "scale/run_threads.h"

void SharedChunks::WaitForAll() {
  // Only chunks that running slices have taken are left, each a few microseconds long.
  while (done_.load(std::memory_order_acquire) < total_) std::this_thread::yield();
}

bool RowClaims::Start(int64_t rows, int64_t slices) {
  ranges_.reset(new (std::nothrow) Range[static_cast<size_t>(slices)]);
  if (!ranges_) return false;
  slices_ = slices;
  for (int64_t i = 0; i < slices; ++i) {
    int64_t first, last;
    SliceRows(rows, slices, i, &first, &last);
    ranges_[i] = {first, last + 1};
  }
  return true;
}

bool RowClaims::Next(int64_t slice, int64_t most, int64_t* first, int64_t* last) {
  // Takes shrink with what is left, down to a quarter of `most`, so that the last rows of a range
  // can still be split with a slice that has run out.
  const int64_t least = most / 4 > 0 ? most / 4 : 1;
  std::lock_guard<std::mutex> lock(mutex_);
  Range& own = ranges_[slice];
  if (own.front >= own.back) {
    int64_t fullest = -1, fullestLeft = 0;
    for (int64_t i = 0; i < slices_; ++i) {
      const int64_t left = ranges_[i].back - ranges_[i].front;
      if (left > fullestLeft) {
        fullest = i;
        fullestLeft = left;
      }
    }
    if (fullest < 0) return false;
    const int64_t handed = (fullestLeft + 1) / 2;
    ranges_[fullest].back -= handed;
    own = {ranges_[fullest].back, ranges_[fullest].back + handed};
  }
  const int64_t left = own.back - own.front;
  int64_t take = left / 2 < most ? left / 2 : most;
  if (take < least) take = least;
  if (take > left) take = left;
  *first = own.front;
  *last = own.front + take - 1;
  own.front += take;
  return true;
}
