// The two passes of the resampler over a range of rows, shared by the inline and the threaded
// scaler: source rows into temp rows (horizontal), temp columns into destination rows (vertical).
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
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

// Instruction sets the pass loops are built for, in increasing order.
enum class ScaleCode : int {
  kScalar = 0,    // the plain per-sample loops of the reference, with a row fetch per sample
  kBaseline = 1,  // row buffers and vector loops for baseline x86-64
  kAVX2 = 2,      // the same loops built for AVX2 and FMA
  kAVX512 = 3,    // and for AVX-512
};

// The best code this processor runs, capped by SetScaleCodeLimit.
ScaleCode ActiveScaleCode();
// Caps the code the passes use (tests run the plain loops this way); returns the old cap.
ScaleCode SetScaleCodeLimit(ScaleCode limit);

// Runs the horizontal pass over source rows first ... last, or the vertical pass over destination
// rows first ... last. `yield`, when not null, gets a turn after each row (the inline scaler).
void HorizontalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield);
void VerticalRows(const ScaleContext& context, int64_t first, int64_t last, YieldData* yield);

// The sample limits: truncation for the horizontal pass, rounding half up for the vertical one.
// Not-a-number (an empty list) gives 0.
inline int64_t TruncateSample(double value, int64_t max) {
  if (!(value >= 1)) return 0;
  if (value >= static_cast<double>(max)) return max;
  return static_cast<int64_t>(value);
}

// Per-instruction-set loops over row buffers (scale_passes.inc). `buffer` holds at least
// (source width + padded stride) x channels doubles; `sums` width x channels doubles.
struct ScalePassCode {
  void (*horizontalRow)(const ScaleContext& context, int64_t y, double* buffer);
  void (*verticalRow)(const ScaleContext& context, int64_t y, double* sums);
};
const ScalePassCode& BaselinePassCode();
const ScalePassCode* AVX2PassCode();    // null when not built
const ScalePassCode* AVX512PassCode();  // null when not built

// The plain per-sample loops.
void ScalarHorizontalRow(const ScaleContext& context, int64_t y);
void ScalarVerticalRow(const ScaleContext& context, int64_t y);
