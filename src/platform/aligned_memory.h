// Memory aligned for vector loads: the C library's aligned_alloc on Linux and macOS, the C
// runtime's _aligned_malloc on Windows, which has no aligned_alloc. Blocks go back through
// AlignedFree only.
#pragma once

#include <cstddef>

namespace platform {

void* AlignedAllocate(size_t alignment, size_t size);  // null on failure
void AlignedFree(void* block);

}  // namespace platform
