#include "filters/area_filters.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/image_views.h"
#include "plugin/debug_log.h"
#include "plugin/host_arrays.h"

namespace {

// Radii beyond this would let the weighted sums leave 64 bits.
constexpr int64_t kMaxBlurRadius = 65535;
constexpr int64_t kMaxKernelSide = 99;

int64_t Clamp(int64_t v, int64_t lo, int64_t hi) { return v < lo ? lo : v > hi ? hi : v; }

}  // namespace

bool PlanChannels(const ImageClassData& source, const ImageClassData& dest, ChannelPlan& plan,
                  bool sameSize) {
  plan = {};
  plan.family = FamilyOf(source);
  ChannelList channels = FamilyChannelList(plan.family);
  if (channels.count == 0) return true;
  if (sameSize && !DestinationFits(source, dest, channels)) return false;
  for (int i = 0; i < channels.count; ++i) {
    if (!HasChannel(dest, channels.channels[i])) {
      DebugLog("dest lacks a channel of source");
      return false;
    }
  }
  plan.count = channels.count;
  plan.alpha = channels.channels[channels.count - 1] == Channel::kAlpha;
  plan.colours = plan.alpha ? plan.count - 1 : plan.count;
  for (int i = 0; i < plan.count; ++i) {
    plan.from[i] = ChannelOffset(source, channels.channels[i]);
    plan.to[i] = ChannelOffset(dest, channels.channels[i]);
  }
  return true;
}

void ExtractChannels(const uint8_t* row, int64_t width, int64_t pixelSize, const int64_t* offsets,
                     int count, uint8_t* out) {
  for (int64_t x = 0; x < width; ++x) {
    const uint8_t* pixel = row + x * pixelSize;
    for (int c = 0; c < count; ++c) *out++ = pixel[offsets[c]];
  }
}

RowWindow::RowWindow(ImageClassData* source, const ChannelPlan& plan, int64_t radius, int64_t pad)
    : source_(source),
      plan_(plan),
      radius_(radius),
      pad_(pad),
      slots_(std::min<int64_t>(2 * radius + 1, source->Height)),
      stride_((source->Width + 2 * pad) * plan.count) {
  rows_.resize(static_cast<size_t>(slots_ * stride_));
}

bool RowWindow::Advance(int64_t y) {
  const int64_t last = std::min(y + radius_, source_->Height - 1);
  const int64_t n = plan_.count, width = source_->Width;
  for (int64_t j = loaded_ + 1; j <= last; ++j) {
    const uint8_t* row = source_->GetRow(source_, j);
    if (!row) {
      DebugLog("Row not available", static_cast<long long>(j));
      return false;
    }
    uint8_t* slot = rows_.data() + (j % slots_) * stride_;
    ExtractChannels(row, width, source_->PixelSize, plan_.from, plan_.count, slot + pad_ * n);
    if (width > 0) {
      for (int64_t p = 0; p < pad_; ++p) {
        std::memcpy(slot + p * n, slot + pad_ * n, n);
        std::memcpy(slot + (pad_ + width + p) * n, slot + (pad_ + width - 1) * n, n);
      }
    }
    loaded_ = j;
  }
  return true;
}

const uint8_t* RowWindow::Row(int64_t j) const {
  j = Clamp(j, 0, source_->Height - 1);
  return rows_.data() + (j % slots_) * stride_ + pad_ * plan_.count;
}

Divider::Divider(uint64_t divisor) : divisor_(divisor) {
  // floor((2^64 - 1) / d) is at most two below the true reciprocal; the loop in the call fixes it.
  magic_ = ~uint64_t{0} / divisor;
}

namespace {

// Horizontal weighted sums of one compact row: inner * (sum over |i| <= r) + f * (the two samples
// at distance r + 1), clamped at the ends, through a prefix sum so the radius does not matter.
template <int N>
void HorizontalSums(const uint8_t* px, int64_t width, int64_t r, uint64_t inner, uint64_t f,
                    std::vector<uint64_t>& prefix, uint64_t* out) {
  for (int c = 0; c < N; ++c) prefix[c] = 0;
  for (int64_t x = 0; x < width; ++x) {
    for (int c = 0; c < N; ++c) prefix[(x + 1) * N + c] = prefix[x * N + c] + px[x * N + c];
  }
  const int64_t last = width - 1;
  for (int64_t x = 0; x < width; ++x) {
    const int64_t lo = x - r, hi = x + r;
    const uint64_t before = lo < 0 ? static_cast<uint64_t>(-lo) : 0;
    const uint64_t after = hi > last ? static_cast<uint64_t>(hi - last) : 0;
    const int64_t a = lo < 0 ? 0 : lo, b = hi > last ? last : hi;
    const int64_t left = Clamp(lo - 1, 0, last), right = Clamp(hi + 1, 0, last);
    for (int c = 0; c < N; ++c) {
      uint64_t s =
          prefix[(b + 1) * N + c] - prefix[a * N + c] + before * px[c] + after * px[last * N + c];
      out[x * N + c] = inner * s + f * (px[left * N + c] + px[right * N + c]);
    }
  }
}

template <int N>
class BlurRowSource {
 public:
  BlurRowSource(ImageClassData* source, const ChannelPlan& plan, int64_t r, uint64_t inner,
                uint64_t f)
      : source_(source), plan_(plan), r_(r), inner_(inner), f_(f) {
    const size_t w = static_cast<size_t>(source->Width);
    compact_.resize(w * N);
    prefix_.resize((w + 1) * N);
  }
  // Horizontal sums of source row j (clamped) into `out`; false when the row is missing.
  bool Sums(int64_t j, uint64_t* out) {
    j = Clamp(j, 0, source_->Height - 1);
    const uint8_t* row = source_->GetRow(source_, j);
    if (!row) {
      DebugLog("Row not available", static_cast<long long>(j));
      return false;
    }
    ExtractChannels(row, source_->Width, source_->PixelSize, plan_.from, N, compact_.data());
    HorizontalSums<N>(compact_.data(), source_->Width, r_, inner_, f_, prefix_, out);
    return true;
  }

 private:
  ImageClassData* source_;
  const ChannelPlan& plan_;
  int64_t r_;
  uint64_t inner_, f_;
  std::vector<uint8_t> compact_;
  std::vector<uint64_t> prefix_;
};

template <int N>
bool BlurRowsN(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan, int64_t rx,
               int64_t ry, uint64_t inner, uint64_t fx, uint64_t fy) {
  const int64_t width = source->Width, height = source->Height;
  const size_t cells = static_cast<size_t>(width) * N;
  BlurRowSource<N> rows(source, plan, rx, inner, fx);
  std::vector<uint64_t> vsum(cells, 0), enter(cells), leave(cells), top(cells);
  const uint64_t side = inner * static_cast<uint64_t>(2 * rx + 1) + 2 * fx;
  const uint64_t total = side * (inner * static_cast<uint64_t>(2 * ry + 1) + 2 * fy);
  const Divider divide(total);
  const uint64_t half = total / 2;

  // Rows -ry ... ry clamped: row 0 ry + 1 times, the last row once more for each step past it.
  const int64_t reach = std::min(ry, height - 1);
  for (int64_t j = 0; j <= reach; ++j) {
    if (!rows.Sums(j, enter.data())) return true;
    uint64_t times = 1;
    if (j == 0) times += static_cast<uint64_t>(ry);
    if (j == height - 1) times += static_cast<uint64_t>(ry - reach);
    for (size_t i = 0; i < cells; ++i) vsum[i] += times * enter[i];
  }
  for (int64_t y = 0; y < height; ++y) {
    if (fy) {
      if (!rows.Sums(y - ry - 1, top.data()) || !rows.Sums(y + ry + 1, enter.data())) return true;
    }
    uint8_t* to = dest->GetRow(dest, y);
    if (!to) {
      DebugLog("Row not available", static_cast<long long>(y));
      return true;
    }
    for (int64_t x = 0; x < width; ++x) {
      uint8_t* pixel = to + x * dest->PixelSize;
      for (int c = 0; c < N; ++c) {
        const size_t i = static_cast<size_t>(x) * N + c;
        uint64_t s = inner * vsum[i];
        if (fy) s += fy * (top[i] + enter[i]);
        pixel[plan.to[c]] = static_cast<uint8_t>(divide(s + half));
      }
    }
    if (y + 1 < height) {
      if (!fy && !rows.Sums(y + ry + 1, enter.data())) return true;
      if (!rows.Sums(y - ry, leave.data())) return true;
      for (size_t i = 0; i < cells; ++i) vsum[i] += enter[i] - leave[i];
    }
    YieldRow(source);
  }
  return true;
}

bool RefuseRadius(int64_t radius) {
  if (radius < 0) {
    DebugLog("Radius below 0", static_cast<long long>(radius));
    return true;
  }
  if (radius > kMaxBlurRadius) {
    DebugLog("Radius too large", static_cast<long long>(radius));
    return true;
  }
  return false;
}

bool RunBlur(ImageClassData* source, ImageClassData* dest, int64_t rx, int64_t ry, uint64_t inner,
             uint64_t fx, uint64_t fy) {
  // The running sums read each source row again after the rows above it are written.
  if (source == dest) {
    DebugLog("Destination is the source.");
    return false;
  }
  if (SharesStorage(source, dest)) {
    DebugLog("Destination shares the source's storage.");
    return false;
  }
  ChannelPlan plan;
  if (!PlanChannels(*source, *dest, plan)) return false;
  return BoxBlurRows(source, dest, plan, rx, ry, inner, fx, fy);
}

int64_t RoundedQuotient(int64_t sum, int64_t divisor) {
  // Halves away from zero, in magnitudes so that both signs round alike.
  const bool negative = (sum < 0) != (divisor < 0);
  const uint64_t s = sum < 0 ? 0 - static_cast<uint64_t>(sum) : static_cast<uint64_t>(sum);
  const uint64_t d =
      divisor < 0 ? 0 - static_cast<uint64_t>(divisor) : static_cast<uint64_t>(divisor);
  const int64_t q = static_cast<int64_t>((s + d / 2) / d);
  return negative ? -q : q;
}

template <int N>
bool ConvolveRowsN(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan,
                   const int64_t* kernel, int64_t side, int64_t divisor, int64_t bias) {
  const int64_t h = side / 2, width = source->Width;
  RowWindow window(source, plan, h, h);
  std::vector<const uint8_t*> taps(static_cast<size_t>(side));
  for (int64_t y = 0; y < source->Height; ++y) {
    if (!window.Advance(y)) return true;
    for (int64_t j = 0; j < side; ++j) taps[j] = window.Row(y + j - h);
    uint8_t* to = dest->GetRow(dest, y);
    if (!to) {
      DebugLog("Row not available", static_cast<long long>(y));
      return true;
    }
    const uint8_t* centre = window.Row(y);
    for (int64_t x = 0; x < width; ++x) {
      uint8_t* pixel = to + x * dest->PixelSize;
      for (int c = 0; c < plan.colours; ++c) {
        int64_t sum = 0;
        const int64_t* k = kernel;
        for (int64_t j = 0; j < side; ++j) {
          const uint8_t* tap = taps[j] + (x - h) * N + c;
          for (int64_t i = 0; i < side; ++i) sum += *k++ * tap[i * N];
        }
        pixel[plan.to[c]] =
            static_cast<uint8_t>(Clamp(RoundedQuotient(sum, divisor) + bias, 0, 255));
      }
      if (plan.alpha) pixel[plan.to[N - 1]] = centre[x * N + N - 1];
    }
    YieldRow(source);
  }
  return true;
}

// The kernel of a host array: its side, or 0 (with a debug line) when it cannot be one.
int64_t ReadKernel(REALarray matrix, std::vector<int64_t>& kernel) {
  const int64_t count = ArrayCount(matrix);
  int64_t side = 1;
  while (side * side < count) side += 2;
  if (count == 0 || side * side != count) {
    DebugLog("Matrix is not square.", static_cast<long long>(count));
    return 0;
  }
  if (side > kMaxKernelSide) {
    DebugLog("Matrix too large.", static_cast<long long>(side));
    return 0;
  }
  kernel.resize(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    const int64_t v = REALGetArrayInt(matrix, i);
    if (v > INT32_MAX || v < INT32_MIN) {
      DebugLog("Matrix entry out of range.", static_cast<long long>(i));
      return 0;
    }
    kernel[static_cast<size_t>(i)] = v;
  }
  return side;
}

REALobject RunMatrix(REALobject instance, REALobject dest, REALarray matrix, bool hasDivisor,
                     int64_t divisor, int64_t bias) {
  return RunFilter(instance, dest, "ApplyMatrix", SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) {
                     std::vector<int64_t> kernel;
                     const int64_t side = ReadKernel(matrix, kernel);
                     if (!side) return false;
                     if (!hasDivisor) {
                       divisor = 0;
                       for (int64_t v : kernel) divisor += v;
                       if (divisor == 0) divisor = 1;
                     }
                     if (divisor == 0) {
                       DebugLog("Divisor is 0");
                       return false;
                     }
                     ChannelPlan plan;
                     if (!PlanChannels(*s, *d, plan)) return false;
                     // Weighted sums stay below 2^53 (99 x 99 taps of 32-bit weights times 255),
                     // so a bias beyond 2^60 clamps every sample alike and cannot overflow.
                     constexpr int64_t kBiasLimit = int64_t{1} << 60;
                     bias = std::clamp(bias, -kBiasLimit, kBiasLimit);
                     return ConvolveRows(s, d, plan, kernel.data(), side, divisor, bias);
                   });
}

}  // namespace

bool BoxBlurRows(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan, int64_t rx,
                 int64_t ry, uint64_t inner, uint64_t fx, uint64_t fy) {
  if (source->Width < 1) return true;
  bool done = true;
  WithChannelCount(plan.count, [&](auto n) {
    done = BlurRowsN<n()>(source, dest, plan, rx, ry, inner, fx, fy);
  });
  return done;
}

bool ConvolveRows(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan,
                  const int64_t* kernel, int64_t side, int64_t divisor, int64_t bias) {
  if (source->Width < 1) return true;
  bool done = true;
  WithChannelCount(plan.count, [&](auto n) {
    done = ConvolveRowsN<n()>(source, dest, plan, kernel, side, divisor, bias);
  });
  return done;
}

REALobject BoxBlurFilter(REALobject instance, REALobject dest, int64_t radius) {
  return RunFilter(instance, dest, "BoxBlurFilter", SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) {
                     if (RefuseRadius(radius)) return false;
                     return RunBlur(s, d, radius, radius, 1, 0, 0);
                   });
}

REALobject BoxBlurFilterHV(REALobject instance, REALobject dest, int64_t horizontal,
                           int64_t vertical) {
  return RunFilter(instance, dest, "BoxBlurFilter", SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) {
                     if (RefuseRadius(horizontal) || RefuseRadius(vertical)) return false;
                     return RunBlur(s, d, horizontal, vertical, 1, 0, 0);
                   });
}

REALobject BoxBlurFractionalFilter(REALobject instance, REALobject dest, double radius) {
  return RunFilter(instance, dest, "BoxBlurFractionalFilter", SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) {
                     if (!(radius >= 0) || !(radius <= static_cast<double>(kMaxBlurRadius))) {
                       DebugLog("Radius out of range");
                       return false;
                     }
                     const int64_t whole = static_cast<int64_t>(radius);
                     // The fraction in 1/256 steps; a fraction that rounds to a whole sample
                     // becomes the next radius.
                     int64_t f = static_cast<int64_t>(std::lround((radius - whole) * 256.0));
                     int64_t r = whole;
                     if (f == 256) {
                       r += 1;
                       f = 0;
                     }
                     if (RefuseRadius(r)) return false;
                     const uint64_t fw = static_cast<uint64_t>(f);
                     return RunBlur(s, d, r, r, 256, fw, fw);
                   });
}

REALobject ApplyMatrix(REALobject instance, REALobject dest, REALarray matrix) {
  return RunMatrix(instance, dest, matrix, false, 0, 0);
}

REALobject ApplyMatrixD(REALobject instance, REALobject dest, REALarray matrix, int64_t divisor) {
  return RunMatrix(instance, dest, matrix, true, divisor, 0);
}

REALobject ApplyMatrixDB(REALobject instance, REALobject dest, REALarray matrix, int64_t divisor,
                         int64_t bias) {
  return RunMatrix(instance, dest, matrix, true, divisor, bias);
}
