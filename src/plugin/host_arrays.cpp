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
  // The host hands out the element reader that fits this array.
  auto getterFor = hostapi::PluginIntegerArrayGetProc.get();
  auto get = getterFor ? reinterpret_cast<REALIntegerArrayGetter>(getterFor(array)) : nullptr;
  return get ? get(array, index) : 0;
}

REALarray NewStringArray() {
  auto create = hostapi::RuntimeArrayCreateSingleDimBoundedArray.get();
  return create ? create(kREALArrayOfString, -1) : nullptr;
}

void AppendToStringArray(REALarray array, REALstring value) {
  if (!array) return;
  auto ubound = hostapi::RuntimeUBound.get();
  auto inserterFor = hostapi::PluginStringArrayInsertProc.get();
  if (!ubound || !inserterFor) return;
  if (auto insert = reinterpret_cast<REALStringArrayInsert>(inserterFor(array))) {
    insert(array, ubound(array) + 1, value);
  }
}
