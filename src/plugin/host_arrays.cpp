#include "plugin/host_arrays.h"

#include "plugin/exceptions.h"
#include "plugin/host_api.h"

int64_t ArrayCount(REALarray array) {
  if (!array) return 0;
  auto ubound = hostapi::RuntimeUBound.get();
  return ubound ? ubound(array) + 1 : 0;
}

RBInteger REALGetArrayInt(REALarray array, int64_t index) {
  if (!array) return 0;
  auto ubound = hostapi::RuntimeUBound.get();
  if (!ubound) return 0;
  int64_t upper = ubound(array);
  if (index < 0 || index > upper) {
    RaiseOutOfBoundsException(index, upper + 1, "index", nullptr);
    return 0;
  }
  if (auto storage = hostapi::REALGetArrayIntegerStorage.get()) {
    if (RBInteger* elements = storage(array)) return elements[index];
  }
  RBInteger value = 0;
  if (auto get = hostapi::PluginIntegerArrayGet.get()) {
    if (!get(array, index, &value)) value = 0;
  }
  return value;
}

REALarray NewStringArray() {
  auto create = hostapi::REALCreateArray.get();
  return create ? create(kREALArrayString, -1) : nullptr;
}

void AppendToStringArray(REALarray array, REALstring value) {
  if (!array) return;
  if (auto append = hostapi::REALAppendArrayString.get()) append(array, value);
}
