#include "plugin/memory_block.h"

#include "plugin/host_api.h"

void REALNewMemoryBlockWork(void* context) {
  auto* request = static_cast<MemoryBlockRequest*>(context);
  request->block = nullptr;
  auto newInstance = hostapi::PluginNewInstance.get();
  auto loadMethod = hostapi::REALLoadObjectMethod.get();
  if (!newInstance || !loadMethod) return;
  REALobject block = newInstance("MemoryBlock");
  if (!block) return;
  using Constructor = void (*)(REALobject, int64_t);
  auto construct =
      reinterpret_cast<Constructor>(loadMethod(block, "Constructor(bytes as Integer)"));
  if (construct) construct(block, request->size);
  if (!construct || MemoryBlockSize(block) < request->size) {
    UnlockObject(block);
    return;
  }
  request->block = block;
}

REALmemoryBlock NewMemoryBlock(int64_t size) {
  MemoryBlockRequest request{size, nullptr};
  auto guarded = hostapi::PluginCallFunctionWithExceptionHandler.get();
  if (!guarded) {
    // Without the guard an exception of the host's allocator reaches the application directly.
    REALNewMemoryBlockWork(&request);
    return request.block;
  }
  // The guard hands back the exception raised inside, which is ours to release.
  if (REALobject exception = guarded(&REALNewMemoryBlockWork, &request)) {
    UnlockObject(exception);
    UnlockObject(request.block);
    return nullptr;
  }
  return request.block;
}

uint8_t* MemoryBlockData(REALmemoryBlock block) {
  if (!block) return nullptr;
  auto getPtr = hostapi::memoryBlockGetPtr.get();
  return getPtr ? static_cast<uint8_t*>(getPtr(block)) : nullptr;
}

int64_t MemoryBlockSize(REALmemoryBlock block) {
  if (!block) return 0;
  auto getSize = hostapi::memoryBlockGetSize.get();
  return getSize ? getSize(block) : 0;
}
