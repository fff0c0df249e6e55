// Host arrays.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// Element `index` of a host integer array; 0 for nil. An index outside the array raises the
// out-of-bounds exception and gives 0.
RBInteger REALGetArrayInt(REALarray array, int64_t index);

// Number of elements (upper bound + 1); 0 for nil or a host that cannot tell.
int64_t ArrayCount(REALarray array);

// A new, empty string array (one reference for the caller), or nil.
REALarray NewStringArray();
void AppendToStringArray(REALarray array, REALstring value);
