#include "scale/scale_engine.h"

#include <atomic>
#include <cstdlib>

#include "image/image_checks.h"
#include "plugin/debug_log.h"

namespace {

std::atomic<int> gCodeLimit{static_cast<int>(ScaleCode::kAVX512)};

ScaleCode ProcessorCode() {
#if defined(__x86_64__)
  static const ScaleCode code = [] {
    __builtin_cpu_init();
    if (AVX512PassCode() && __builtin_cpu_supports("avx512f") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("fma")) {
      return ScaleCode::kAVX512;
    }
    if (AVX2PassCode() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
      return ScaleCode::kAVX2;
    }
    return ScaleCode::kBaseline;
  }();
  return code;
#else
  return ScaleCode::kBaseline;
#endif
}

const ScalePassCode* PassCode(ScaleCode code) {
  switch (code) {
    case ScaleCode::kAVX512:
      return AVX512PassCode();
    case ScaleCode::kAVX2:
      return AVX2PassCode();
    case ScaleCode::kBaseline:
      return &BaselinePassCode();
    case ScaleCode::kScalar:
      break;
  }
  return nullptr;
}

// A row buffer of `count` doubles, or null: the caller then takes the plain loops.
double* NewBuffer(int64_t count) {
  if (count < 1) count = 1;
  return static_cast<double*>(std::malloc(static_cast<size_t>(count) * sizeof(double)));
}

void Yield(YieldData* yield) {
  if (yield && yield->YieldTicks != 0) YieldData::DoYield(yield);
}

}  // namespace

ScaleCode ActiveScaleCode() {
  int limit = gCodeLimit.load(std::memory_order_relaxed);
  ScaleCode best = ProcessorCode();
  return static_cast<int>(best) < limit ? best : static_cast<ScaleCode>(limit);
}

ScaleCode SetScaleCodeLimit(ScaleCode limit) {
  return static_cast<ScaleCode>(gCodeLimit.exchange(static_cast<int>(limit)));
}

void HorizontalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield) {
  if (first > last) return;
  const ScalePassCode* code = PassCode(ActiveScaleCode());
  double* buffer = nullptr;
  if (code && context.padded) {
    int64_t sourceWidth = context.source->Width > 0 ? context.source->Width : 0;
    buffer = NewBuffer((sourceWidth + context.padded->stride) * context.plan->channels);
  }
  for (int64_t y = first; y <= last; ++y) {
    if (buffer) {
      code->horizontalRow(context, y, buffer);
    } else {
      ScalarHorizontalRow(context, y);
    }
    Yield(yield);
  }
  std::free(buffer);
}

void VerticalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield) {
  if (first > last) return;
  const ScalePassCode* code = PassCode(ActiveScaleCode());
  double* sums = code ? NewBuffer(context.width * context.plan->channels) : nullptr;
  for (int64_t y = first; y <= last; ++y) {
    if (sums) {
      code->verticalRow(context, y, sums);
    } else {
      ScalarVerticalRow(context, y);
    }
    Yield(yield);
  }
  std::free(sums);
}
