// Worker threads: the process-wide pool that row-parallel operations hand their slices to, and
// the naming of the calling thread.
#pragma once

#include <cstdint>

namespace platform {

using TaskProc = void (*)(void* argument);

// Queues `task(argument)` on the process-wide pool, started on first use with one worker per
// processor. Tasks run in the order queued. False when the pool cannot take the task.
bool SubmitTask(TaskProc task, void* argument);

// The number of tasks the pool has finished so far; with WaitForTaskAfter a caller can sleep
// until the next task finishes without missing one that finished just before it slept.
uint64_t CompletedTasks();

// Returns when a task finishes after `seen` tasks had finished, or after `nanoseconds`,
// whichever comes first.
void WaitForTaskAfter(uint64_t seen, int64_t nanoseconds);

// Names the calling thread; the system keeps the first 15 bytes.
void SetCurrentThreadName(const char* name);

}  // namespace platform
