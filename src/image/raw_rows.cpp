#include "image/raw_rows.h"

#include <cstdio>
#include <cstring>

#include "image/image_class_data.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/memory_block.h"

namespace {

// The row of a valid image, after the index check naming `function`; null otherwise.
uint8_t* CheckedRow(REALobject instance, int64_t index, const char* function) {
  ImageClassData* image = ImageData(instance);
  if (!image) return nullptr;
  if (!image->Valid) {
    DebugLog("Picture not valid.");
    return nullptr;
  }
  if (index < 0 || index >= image->Height) {
    RaiseOutOfBoundsException(index, image->Height, "index", function);
    return nullptr;
  }
  if (!image->GetRow) {
    DebugLog("GetRow is nil");
    return nullptr;
  }
  return image->GetRow(image, index);
}

}  // namespace

void* rbGetRowPtr(REALobject instance, int64_t index) {
  return CheckedRow(instance, index, "RawRow");
}

REALobject rbGetRow(REALobject instance, int64_t index) {
  uint8_t* row = CheckedRow(instance, index, "RawRow");
  if (!row) return nullptr;
  auto wrap = hostapi::PtrToMemoryBlock.get();
  return wrap ? wrap(row) : nullptr;
}

REALobject rbGetRowCopy(REALobject instance, int64_t index) {
  uint8_t* row = CheckedRow(instance, index, "Row");
  ImageClassData* image = ImageData(instance);
  if (!row || image->RowSize < 1) return nullptr;
  REALmemoryBlock block = NewMemoryBlock(image->RowSize);
  uint8_t* data = MemoryBlockData(block);
  if (!data) {
    UnlockObject(block);
    if (Debugging()) {
      LogMessageX("%s%s %lld", kDebugPrefix, "Error: Failed to allocate memoryblock",
                  static_cast<long long>(image->RowSize));
    }
    char message[128];
    std::snprintf(message, sizeof(message),
                  "Failed to allocate a memoryblock with %lld bytes in size.",
                  static_cast<long long>(image->RowSize));
    RaiseException("OutOfMemoryException", message);
    return nullptr;
  }
  std::memcpy(data, row, static_cast<size_t>(image->RowSize));
  return block;
}

void rbSetRow(REALobject instance, int64_t index, REALobject value) {
  ImageClassData* image = ImageData(instance);
  if (!image) return;
  if (index < 0 || index >= image->Height) {
    RaiseOutOfBoundsException(index, image->Height, "index", "Row");
    return;
  }
  if (!value) {
    DebugLog("m", "is nil");
    RaiseException("NilObjectException", "Memoryblock is nil");
    return;
  }
  uint8_t* row = image->GetRow ? image->GetRow(image, index) : nullptr;
  uint8_t* data = MemoryBlockData(value);
  if (!data) {
    DebugLog("r", "is nil");
    RaiseException("NilObjectException", "Memoryblock is nil");
    return;
  }
  if (!row || image->RowSize < 1) return;
  // A block that knows its size and is shorter than a row gives what it has; a block over
  // foreign memory (size 0) is trusted for a whole row, as the caller promises.
  int64_t count = image->RowSize;
  int64_t available = MemoryBlockSize(value);
  if (available > 0 && available < count) count = available;
  std::memcpy(row, data, static_cast<size_t>(count));
}
