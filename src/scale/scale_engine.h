// The two passes of the resampler over a range of rows, shared by the inline and the threaded
// scaler: source rows into temp rows (horizontal), temp columns into destination rows (vertical).
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/yield.h"
#include "scale/scale_filters.h"
#include "scale/scale_pairs.h"

// The parameter block of one pass, read-only for every slice. The first six fields are the
// scale job context of the threaded kernels; the rest is the plan they run.
struct ScaleContext {
  ImageClassData* source;
  ImageClassData* dest;
  int64_t height;
  int64_t width;
  ImageClassData* temp;
  ContributionList* contrib;
  const PairPlan* plan;
  const PaddedContributions* padded;  // horizontal pass only
};

// Runs the horizontal pass over source rows first ... last, or the vertical pass over destination
// rows first ... last. `yield`, when not null, gets a turn after each row (the inline scaler).
void HorizontalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield);
void VerticalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield);

// The vector loops of the horizontal pass take blocks of eight source rows; a single byte channel
// into a one-byte temp pixel takes kRowGroups blocks at once, so that one weight broadcast serves
// several multiply-adds.
constexpr int kRowGroups = 4;
bool GroupedRows(const PairPlan& pair, int64_t tempPixelSize);
// The source rows the horizontal pass takes at once for this pair and temp.
int64_t HorizontalBlockRows(const PairPlan& pair, int64_t tempPixelSize);

// The sample limits: truncation for the horizontal pass, rounding half up for the vertical one.
// Not-a-number (an empty list) gives 0.
inline int64_t TruncateSample(double value, int64_t max) {
  if (!(value >= 1)) return 0;
  if (value >= static_cast<double>(max)) return max;
  return static_cast<int64_t>(value);
}

// The vector loops of one instruction set (scale_passes.inc), over in-memory images only: rows of
// a mapped image are good only until the next fetch, so those take the plain loops. Each returns
// false, before touching any row, when its buffers cannot be had; the caller then takes the plain
// loops. The horizontal loops need `context.padded`.
struct ScalePassCode {
  bool (*horizontalRows)(const ScaleContext& context, int64_t first, int64_t last,
                         YieldData* yield);
  bool (*verticalRows)(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield);
};
const ScalePassCode& BaselinePassCode();
#if defined(__x86_64__)
const ScalePassCode* AVX2PassCode();
const ScalePassCode* AVX512PassCode();
#else
// The AVX files build on x86-64 only.
inline const ScalePassCode* AVX2PassCode() { return nullptr; }
inline const ScalePassCode* AVX512PassCode() { return nullptr; }
#endif

// The plain per-sample loops.
void ScalarHorizontalRow(const ScaleContext& context, int64_t y);
void ScalarVerticalRow(const ScaleContext& context, int64_t y);
