#include "scale/scale_engine.h"

#include "image/image_checks.h"
#include "platform/cpu_features.h"
#include "plugin/debug_log.h"

namespace {

// The vector loops for the level the process may use, or null for the plain loops.
const ScalePassCode* PassCode() {
  switch (platform::ActiveSimdLevel()) {
    case platform::SimdLevel::kAVX512:
      if (const ScalePassCode* code = AVX512PassCode()) return code;
      [[fallthrough]];
    case platform::SimdLevel::kAVX2:
      if (const ScalePassCode* code = AVX2PassCode()) return code;
      [[fallthrough]];
    case platform::SimdLevel::kBaseline:
      return &BaselinePassCode();
    case platform::SimdLevel::kScalar:
      break;
  }
  return nullptr;
}

void Yield(YieldData* yield) {
  if (yield && yield->YieldTicks != 0) YieldData::DoYield(yield);
}

}  // namespace

bool GroupedRows(const PairPlan& pair, int64_t tempPixelSize) {
  int live = 0;
  for (int c = 0; c < pair.channels; ++c) {
    if (pair.kind[c] == SourceChannel::kLuma) return false;
    if (pair.kind[c] != SourceChannel::kZero) ++live;
  }
  return live == 1 && pair.channels == 1 && !pair.wide && tempPixelSize == 1;
}

int64_t HorizontalBlockRows(const PairPlan& pair, int64_t tempPixelSize) {
  return GroupedRows(pair, tempPixelSize) ? 8 * kRowGroups : 8;
}

void HorizontalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield) {
  if (first > last) return;
  const ScalePassCode* code = PassCode();
  if (code && context.padded && !context.source->IsMapping && !context.temp->IsMapping &&
      code->horizontalRows(context, first, last, yield)) {
    return;
  }
  for (int64_t y = first; y <= last; ++y) {
    ScalarHorizontalRow(context, y);
    Yield(yield);
  }
}

void VerticalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield) {
  if (first > last) return;
  const ScalePassCode* code = PassCode();
  if (code && !context.temp->IsMapping && !context.dest->IsMapping &&
      code->verticalRows(context, first, last, yield)) {
    return;
  }
  for (int64_t y = first; y <= last; ++y) {
    ScalarVerticalRow(context, y);
    Yield(yield);
  }
}
