#include "scale/scale_filters.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "image/pixel_formats.h"

namespace {

constexpr double kPi = 3.141592653589793;

double Sinc(double t) {
  if (t == 0) return 1;
  return std::sin(kPi * t) / (kPi * t);
}

constexpr ScaleFilter kFilters[] = {
    {ScaleTriangle, &TriangleKernel, 1},
    {ScaleBox, &BoxKernel, 0.5},
    {ScaleLanczos3, &Lanczos3Kernel, 3, true},
    {ScaleLanczos8, &Lanczos8Kernel, 8, true},
    {ScaleMitchell, &MitchellKernel, 2},
    {ScalePoly3, &Poly3Kernel, 4},
    {ScaleCubic, &CubicKernel, 3},
};

// The kernel's values by the bits of their argument. A scale by a simple ratio gives every list
// the same few distances, so most taps of a big image find their weight here instead of in two
// sines; a value is the kernel's own result for the same argument, so the weights are the same.
class KernelMemo {
 public:
  explicit KernelMemo(FilterKernel kernel) : kernel_(kernel) {
    for (Entry& entry : entries_) entry.argument = kEmpty;
  }
  double operator()(double x) {
    uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    Entry& entry = entries_[(bits * 0x9E3779B97F4A7C15ull) >> (64 - kIndexBits)];
    if (entry.argument != bits) {
      entry.argument = bits;
      entry.value = kernel_(x);
    }
    return entry.value;
  }

 private:
  static constexpr int kIndexBits = 9;
  // A negative NaN: never the bits of a distance, which is never negative.
  static constexpr uint64_t kEmpty = ~0ull;
  struct Entry {
    uint64_t argument;
    double value;
  };
  FilterKernel kernel_;
  Entry entries_[1 << kIndexBits];
};

}  // namespace

double TriangleKernel(double x) { return x < 1 ? 1 - x : 0; }

double BoxKernel(double x) { return x > 0.5 ? 0 : 1; }

double Lanczos3Kernel(double x) { return x < 3 ? Sinc(x) * Sinc(x / 3) : 0; }

double Lanczos8Kernel(double x) { return x < 8 ? Sinc(x) * Sinc(x * 0.125) : 0; }

double MitchellKernel(double x) {
  if (x < 1) return (7 * (x * x * x) - 12 * (x * x) + 16.0 / 3) / 6;
  if (x < 2) return (-(7.0 / 3) * (x * x * x) + 12 * (x * x) - 20 * x + 32.0 / 3) / 6;
  return 0;
}

double Poly3Kernel(double x) {
  if (x < 1) return ((1.25 * x - 2.25) * x) * x + 1;
  if (x < 2) return ((-0.75 * x + 3.75) * x - 6) * x + 3;
  return 0;
}

double CubicKernel(double x) {
  if (x < 1) return (4.0 / 3) * (x * x * x) - (7.0 / 3) * (x * x) + 1;
  if (x < 2) return -(7.0 / 12) * (x * x * x) + 3 * (x * x) - (59.0 / 12) * x + 2.5;
  if (x < 3) return (1.0 / 12) * (x * x * x) - (2.0 / 3) * (x * x) + 1.75 * x - 1.5;
  return 0;
}

const ScaleFilter* FindScaleFilter(int64_t mode) {
  for (const ScaleFilter& filter : kFilters) {
    if (filter.mode == mode) return &filter;
  }
  return nullptr;
}

namespace {

bool Enlarging(double scale) { return scale >= 1; }

double HalfWidth(double scale, const ScaleFilter& filter) {
  return Enlarging(scale) ? filter.radius : filter.radius / scale;
}

// Window slots per list: the most non-zero weights a window can hold.
int64_t WindowRoom(double scale, const ScaleFilter& filter) {
  return static_cast<int64_t>(Enlarging(scale) ? 2 * filter.radius + 2
                                               : 2 * std::trunc(HalfWidth(scale, filter)) + 2);
}

}  // namespace

void AllocateContributions(ContributionList* lists, int64_t count, double scale,
                           const ScaleFilter& filter) {
  const int64_t room = WindowRoom(scale, filter);
  // One block holds every list's window, the first list owning it: thousands of small blocks
  // cost more to take and give back than the lists take to fill. It is not cleared, since only
  // the stored entries are ever read (clearing it was a tenth of a millisecond for W3).
  const size_t slots = count > 0 ? static_cast<size_t>(count) * static_cast<size_t>(room) : 0;
  auto* block =
      slots ? static_cast<Contribution*>(std::malloc(slots * sizeof(Contribution))) : nullptr;
  for (int64_t x = 0; x < count; ++x) {
    lists[x].count = 0;
    lists[x].weightSum = 0;
    lists[x].contributions = block ? block + x * room : nullptr;
  }
}

void FillContributions(ContributionList* lists, int64_t from, int64_t to, double scale,
                       int64_t sourceCount, const ScaleFilter& filter, EnlargeBounds bounds,
                       YieldData* yield) {
  const double radius = filter.radius;
  const bool enlarging = Enlarging(scale);
  const double halfWidth = HalfWidth(scale, filter);
  const int64_t room = WindowRoom(scale, filter);
  KernelMemo memo(filter.kernel);
  auto kernel = [&](double x) { return filter.memoize ? memo(x) : filter.kernel(x); };
  for (int64_t x = from; x <= to; ++x) {
    ContributionList& list = lists[x];
    list.count = 0;
    list.weightSum = 0;
    double center = (x + 0.5) / scale;
    double low, high;
    if (enlarging && bounds == EnlargeBounds::kFloorCeil) {
      low = std::floor(center - radius);
      high = std::ceil(center + radius);
    } else {
      low = std::trunc(center - halfWidth);
      high = std::trunc(center + halfWidth);
    }
    if (list.contributions) {
      int64_t left = low > 0 ? static_cast<int64_t>(low) : 0;
      int64_t right = high < static_cast<double>(sourceCount - 1) ? static_cast<int64_t>(high)
                                                                  : sourceCount - 1;
      double sum = 0;
      for (int64_t j = left; j <= right; ++j) {
        double distance = enlarging ? center - j - 0.5 : (center - j - 0.5) * scale;
        double weight = kernel(std::fabs(distance));
        if (weight == 0) continue;
        // The window never holds more than `room` non-zero weights; the guard keeps a rounding
        // accident inside the block.
        if (list.count == room) break;
        auto stored = static_cast<float>(weight);
        list.contributions[list.count].weight = stored;
        list.contributions[list.count].pixel = j;
        ++list.count;
        sum += stored;
      }
      list.weightSum = static_cast<float>(sum);
    }
    if (yield && yield->YieldTicks != 0) YieldData::DoYield(yield);
  }
}

void BuildContributions(ContributionList* lists, int64_t count, double scale, int64_t sourceCount,
                        const ScaleFilter& filter, EnlargeBounds bounds, YieldData* yield) {
  AllocateContributions(lists, count, scale, filter);
  FillContributions(lists, 0, count - 1, scale, sourceCount, filter, bounds, yield);
}

void FreeContributions(ContributionList* lists, int64_t count) {
  if (count > 0) std::free(lists[0].contributions);
  for (int64_t i = 0; i < count; ++i) {
    lists[i].contributions = nullptr;
    lists[i].count = 0;
  }
}

PaddedContributions::~PaddedContributions() {
  std::free(first);
  std::free(taps);
  std::free(weights);
  std::free(weightSum);
}

bool PaddedContributions::Shape(const ContributionList* lists, int64_t listCount) {
  int64_t widest = 0;
  for (int64_t x = 0; x < listCount; ++x) {
    const ContributionList& list = lists[x];
    if (list.count > 0) {
      int64_t span = list.contributions[list.count - 1].pixel - list.contributions[0].pixel + 1;
      if (span > widest) widest = span;
    }
  }
  // Windows that step evenly are summed source column by source column for several windows at
  // once, each window a whole number of steps long: the stride is rounded up to a multiple of the
  // step in the middle of the row, its extra weights zeros like the padding.
  step = 0;
  if (listCount >= 2) {
    const ContributionList& before = lists[listCount / 2 - 1];
    const ContributionList& middle = lists[listCount / 2];
    if (before.count > 0 && middle.count > 0) {
      step = middle.contributions[0].pixel - before.contributions[0].pixel;
    }
  }
  if (step > 0 && widest % step != 0) widest += step - widest % step;
  stride = widest;
  count = listCount;
  size_t lists64 = static_cast<size_t>(listCount > 0 ? listCount : 1);
  first = static_cast<int64_t*>(std::malloc(lists64 * sizeof(int64_t)));
  taps = static_cast<int64_t*>(std::malloc(lists64 * sizeof(int64_t)));
  weightSum = static_cast<double*>(std::malloc(lists64 * sizeof(double)));
  weights = static_cast<double*>(
      std::malloc(lists64 * static_cast<size_t>(stride > 0 ? stride : 1) * sizeof(double)));
  if (!first || !taps || !weightSum || !weights) return false;
  for (int64_t x = 0; x < listCount; ++x) {
    const ContributionList& list = lists[x];
    if (list.count > 0) {
      first[x] = list.contributions[0].pixel;
    } else {
      first[x] = x > 0 ? first[x - 1] : 0;
    }
  }
  return true;
}

void PaddedContributions::Fill(const ContributionList* lists, int64_t from, int64_t to) {
  for (int64_t x = from; x <= to; ++x) {
    const ContributionList& list = lists[x];
    weightSum[x] = list.weightSum;
    double* row = weights + x * stride;
    std::fill(row, row + stride, 0.0);
    if (list.count == 0) {
      taps[x] = 0;
      continue;
    }
    taps[x] = list.contributions[list.count - 1].pixel - first[x] + 1;
    for (int64_t i = 0; i < list.count; ++i) {
      row[list.contributions[i].pixel - first[x]] = list.contributions[i].weight;
    }
  }
}

bool PaddedContributions::Build(const ContributionList* lists, int64_t listCount) {
  if (!Shape(lists, listCount)) return false;
  Fill(lists, 0, listCount - 1);
  return true;
}
