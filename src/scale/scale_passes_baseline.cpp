// The row-buffer loops for baseline x86-64.
#include <cstdint>
#include <cstring>

#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

namespace scale_baseline {
#define XQT_MULADD(a, b, c) ((c) + (a) * (b))
#include "scale/scale_passes.inc"
#undef XQT_MULADD
}  // namespace scale_baseline

const ScalePassCode& BaselinePassCode() { return scale_baseline::kPassCode; }
