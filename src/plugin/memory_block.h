// Host MemoryBlocks made by the plug-in.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

struct MemoryBlockRequest {
  int64_t size;
  REALmemoryBlock block;  // nil until made
};

// Makes a MemoryBlock of at least request->size bytes, or leaves `block` nil. The argument is
// untyped so that the host's guarded call can run it.
void REALNewMemoryBlockWork(void* request);

// Runs REALNewMemoryBlockWork under the host's exception handler, so that an exception the host
// raises while allocating becomes a nil result (directly on a host without the handler). The
// caller raises its own OutOfMemoryException.
REALmemoryBlock NewMemoryBlock(int64_t size);

uint8_t* MemoryBlockData(REALmemoryBlock block);  // null for nil
int64_t MemoryBlockSize(REALmemoryBlock block);   // 0 for nil
