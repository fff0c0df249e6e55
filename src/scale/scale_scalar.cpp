// The plain loops: one row fetch per sample and one sum per channel, as the kernels are written.
// They are the fallback when a row buffer cannot be had, and what the vector loops must match.
#include <cstring>

#include "plugin/debug_log.h"
#include "scale/scale_engine.h"

namespace {

double ReadSample(const PairPlan& plan, int c, const uint8_t* pixel) {
  const int64_t* offset = plan.sourceOffset[c];
  switch (plan.kind[c]) {
    case SourceChannel::kZero:
      return 0;
    case SourceChannel::kLuma:
      return 0.3 * pixel[offset[0]] + 0.59 * pixel[offset[1]] + 0.11 * pixel[offset[2]];
    default:
      break;
  }
  if (plan.wide) {
    uint16_t value;
    std::memcpy(&value, pixel + offset[0], sizeof(value));
    return value;
  }
  return pixel[offset[0]];
}

double ReadTemp(bool wide, const uint8_t* pixel, int c) {
  if (!wide) return pixel[c];
  uint16_t value;
  std::memcpy(&value, pixel + 2 * c, sizeof(value));
  return value;
}

void StoreSample(bool wide, uint8_t* at, int64_t value) {
  if (!wide) {
    *at = static_cast<uint8_t>(value);
    return;
  }
  auto sample = static_cast<uint16_t>(value);
  std::memcpy(at, &sample, sizeof(sample));
}

}  // namespace

void ScalarHorizontalRow(const ScaleContext& context, int64_t y) {
  const PairPlan& plan = *context.plan;
  ImageClassData* source = context.source;
  ImageClassData* temp = context.temp;
  const int sampleBytes = plan.wide ? 2 : 1;
  for (int64_t x = 0; x < context.width; ++x) {
    const ContributionList& list = context.contrib[x];
    double sum[kMaxTempChannels] = {};
    // Fetched again for every output sample: a mapped image's row is good only until the next
    // fetch, and the temp may share its storage.
    const uint8_t* row = source->GetRow(source, y);
    if (row) {
      for (int64_t i = 0; i < list.count; ++i) {
        const Contribution& contribution = list.contributions[i];
        if (contribution.weight == 0) continue;
        const uint8_t* pixel = row + contribution.pixel * plan.sourcePixelSize;
        for (int c = 0; c < plan.channels; ++c) {
          sum[c] += ReadSample(plan, c, pixel) * static_cast<double>(contribution.weight);
        }
      }
    } else {
      DebugLog("GetRow source failed", static_cast<long long>(y));
    }
    uint8_t* out = temp->GetRow(temp, y);
    if (!out) {
      DebugLog("GetRow temp failed", static_cast<long long>(y));
      continue;
    }
    uint8_t* pixel = out + x * temp->PixelSize;
    for (int c = 0; c < plan.channels; ++c) {
      int64_t value = TruncateSample(sum[c] / static_cast<double>(list.weightSum), plan.sampleMax);
      StoreSample(plan.wide, pixel + c * sampleBytes, value);
    }
  }
}

void ScalarVerticalRow(const ScaleContext& context, int64_t y) {
  const PairPlan& plan = *context.plan;
  ImageClassData* temp = context.temp;
  ImageClassData* dest = context.dest;
  const ContributionList& list = context.contrib[y];
  for (int64_t x = 0; x < context.width; ++x) {
    double sum[kMaxTempChannels] = {};
    for (int64_t i = 0; i < list.count; ++i) {
      const Contribution& contribution = list.contributions[i];
      if (contribution.weight == 0) continue;
      const uint8_t* row = temp->GetRow(temp, contribution.pixel);
      if (!row) {
        DebugLog("GetRow temp failed", static_cast<long long>(contribution.pixel));
        continue;
      }
      const uint8_t* pixel = row + x * temp->PixelSize;
      for (int c = 0; c < plan.channels; ++c) {
        sum[c] += ReadTemp(plan.wide, pixel, c) * static_cast<double>(contribution.weight);
      }
    }
    uint8_t* out = dest->GetRow(dest, y);
    if (!out) {
      DebugLog("GetRow mdest is nil", static_cast<long long>(y));
      continue;
    }
    uint8_t* pixel = out + x * plan.destPixelSize;
    for (int d = 0; d < plan.destCount; ++d) {
      double value = sum[plan.destFrom[d]] / static_cast<double>(list.weightSum) + 0.5;
      StoreSample(plan.wide, pixel + plan.destOffset[d], TruncateSample(value, plan.sampleMax));
    }
  }
}
