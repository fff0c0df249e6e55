#include "filters/artistic_filters.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "plugin/debug_log.h"

namespace {

constexpr int64_t kMaxOilRadius = 32;
constexpr int64_t kMaxDiffuseRadius = 255;

bool IsCMYK(PixelFamily family) {
  return family == PixelFamily::kCMYK || family == PixelFamily::kCMYKA;
}

uint8_t Byte(int64_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Writes one gray level into the colour channels of a compact pixel: the same value for gray and
// RGB, no inks and K = 255 - v for CMYK.
void PutLevel(PixelFamily family, int colours, uint8_t v, uint8_t* out) {
  if (IsCMYK(family)) {
    out[0] = out[1] = out[2] = 0;
    out[3] = static_cast<uint8_t>(255 - v);
    return;
  }
  for (int c = 0; c < colours; ++c) out[c] = v;
}

// Walks the rows with a window of `radius` rows around each one (padded by `pad` pixels);
// `pixel(window, y, x, out)` fills the compact result pixel, which is stored at the dest's offsets.
template <class Pixel>
bool WindowRows(ImageClassData* source, ImageClassData* dest, const ChannelPlan& plan,
                int64_t radius, int64_t pad, Pixel&& pixel) {
  if (source->Width < 1 || plan.count == 0) return true;
  RowWindow window(source, plan, radius, pad);
  uint8_t out[5];
  for (int64_t y = 0; y < source->Height; ++y) {
    if (!window.Advance(y)) return true;
    uint8_t* to = dest->GetRow(dest, y);
    if (!to) {
      DebugLog("Row not available", static_cast<long long>(y));
      return true;
    }
    for (int64_t x = 0; x < source->Width; ++x) {
      pixel(window, y, x, out);
      uint8_t* target = to + x * dest->PixelSize;
      for (int c = 0; c < plan.count; ++c) target[plan.to[c]] = out[c];
    }
    YieldRow(source);
  }
  return true;
}

template <class Body>
REALobject RunWindowFilter(REALobject instance, REALobject dest, const char* name, Body&& body) {
  return RunFilter(instance, dest, name, SourceBits::kEightOnly,
                   [&](ImageClassData* s, ImageClassData* d) {
                     ChannelPlan plan;
                     if (!PlanChannels(*s, *d, plan)) return false;
                     return body(s, d, plan);
                   });
}

}  // namespace

int PixelIntensity(PixelFamily family, const uint8_t* p) {
  switch (family) {
    case PixelFamily::kGray:
    case PixelFamily::kGrayAlpha:
      return p[0];
    case PixelFamily::kRGB:
    case PixelFamily::kRGBA:
      return (77 * p[0] + 151 * p[1] + 28 * p[2]) >> 8;
    case PixelFamily::kCMYK:
    case PixelFamily::kCMYKA: {
      int ink = ((77 * p[0] + 151 * p[1] + 28 * p[2]) >> 8) + p[3];
      return 255 - (ink > 255 ? 255 : ink);
    }
    case PixelFamily::kNone:
      break;
  }
  return 0;
}

// The intensity buckets of a window of pixels: how many pixels fall in each and the sums of their
// colour channels, with the set of occupied buckets kept so that the most common one is found
// without scanning every level.
class OilHistogram {
 public:
  OilHistogram(const ChannelPlan& plan, int64_t levels)
      : plan_(plan),
        levels_(levels),
        counts_(static_cast<size_t>(levels), 0),
        sums_(static_cast<size_t>(levels) * 4, 0),
        position_(static_cast<size_t>(levels), -1) {}

  void Clear() {
    for (int b : occupied_) {
      counts_[b] = 0;
      for (int c = 0; c < 4; ++c) sums_[b * 4 + c] = 0;
      position_[b] = -1;
    }
    occupied_.clear();
  }

  // Adds (sign 1) or removes (sign -1) the window's column at x around row y.
  void AddColumn(const RowWindow& w, int64_t y, int64_t radius, int64_t x, int sign) {
    const int n = plan_.count;
    for (int64_t j = -radius; j <= radius; ++j) {
      const uint8_t* p = w.Row(y + j) + x * n;
      const int bucket = static_cast<int>(PixelIntensity(plan_.family, p) * levels_ / 256);
      for (int c = 0; c < plan_.colours; ++c) sums_[bucket * 4 + c] += sign * p[c];
      if (sign > 0) {
        if (counts_[bucket]++ == 0) {
          position_[bucket] = static_cast<int>(occupied_.size());
          occupied_.push_back(bucket);
        }
      } else if (--counts_[bucket] == 0) {
        const int last = occupied_.back();
        occupied_[position_[bucket]] = last;
        position_[last] = position_[bucket];
        occupied_.pop_back();
        position_[bucket] = -1;
      }
    }
  }

  // The rounded mean colour of the most common bucket; ties go to the darker bucket.
  void Mean(uint8_t* out) const {
    int best = occupied_[0];
    for (int b : occupied_) {
      if (counts_[b] > counts_[best] || (counts_[b] == counts_[best] && b < best)) best = b;
    }
    const int64_t count = counts_[best];
    for (int c = 0; c < plan_.colours; ++c) {
      out[c] = static_cast<uint8_t>((sums_[best * 4 + c] + count / 2) / count);
    }
  }

 private:
  const ChannelPlan& plan_;
  int64_t levels_;
  std::vector<int64_t> counts_;
  std::vector<int64_t> sums_;
  std::vector<int> position_;  // index in occupied_, or -1
  std::vector<int> occupied_;
};

REALobject OilFilter(REALobject instance, REALobject dest, int64_t radius, int64_t levels) {
  return RunWindowFilter(
      instance, dest, "OilFilter", [&](ImageClassData* s, ImageClassData* d, ChannelPlan& plan) {
        if (radius < 1 || radius > kMaxOilRadius) {
          DebugLog("Radius out of range", static_cast<long long>(radius));
          return false;
        }
        if (levels < 2 || levels > 256) {
          DebugLog("Levels out of range", static_cast<long long>(levels));
          return false;
        }
        OilHistogram histogram(plan, levels);
        int64_t lastY = -1, lastX = -1;
        return WindowRows(s, d, plan, radius, radius,
                          [&](const RowWindow& w, int64_t y, int64_t x, uint8_t* out) {
                            // Along a row the window slides: one column leaves and one comes in.
                            if (y != lastY || x != lastX + 1) {
                              histogram.Clear();
                              for (int64_t i = x - radius; i <= x + radius; ++i) {
                                histogram.AddColumn(w, y, radius, i, 1);
                              }
                            } else {
                              histogram.AddColumn(w, y, radius, x - radius - 1, -1);
                              histogram.AddColumn(w, y, radius, x + radius, 1);
                            }
                            lastY = y;
                            lastX = x;
                            histogram.Mean(out);
                            const int n = plan.count;
                            if (plan.alpha) out[n - 1] = w.Row(y)[x * n + n - 1];
                          });
      });
}

REALobject DiffuseFilter(REALobject instance, REALobject dest, int64_t radius) {
  return RunWindowFilter(instance, dest, "DiffuseFilter",
                         [&](ImageClassData* s, ImageClassData* d, ChannelPlan& plan) {
                           if (radius < 0 || radius > kMaxDiffuseRadius) {
                             DebugLog("Radius out of range", static_cast<long long>(radius));
                             return false;
                           }
                           const int n = plan.count;
                           const int span = static_cast<int>(2 * radius + 1);
                           const int64_t last = s->Width - 1;
                           return WindowRows(
                               s, d, plan, radius, 0,
                               [&](const RowWindow& w, int64_t y, int64_t x, uint8_t* out) {
                                 // dx before dy, each from its own rand() call.
                                 int64_t dx = std::rand() % span - radius;
                                 int64_t dy = std::rand() % span - radius;
                                 int64_t sx = x + dx;
                                 sx = sx < 0 ? 0 : sx > last ? last : sx;
                                 std::memcpy(out, w.Row(y + dy) + sx * n, static_cast<size_t>(n));
                               });
                         });
}

REALobject EngraveFilter(REALobject instance, REALobject dest) {
  return RunWindowFilter(
      instance, dest, "EngraveFilter",
      [&](ImageClassData* s, ImageClassData* d, ChannelPlan& plan) {
        const int n = plan.count;
        return WindowRows(
            s, d, plan, 1, 1, [&](const RowWindow& w, int64_t y, int64_t x, uint8_t* out) {
              const int lit = PixelIntensity(plan.family, w.Row(y + 1) + (x + 1) * n);
              const int shade = PixelIntensity(plan.family, w.Row(y - 1) + (x - 1) * n);
              PutLevel(plan.family, plan.colours, Byte(128 + lit - shade), out);
              if (plan.alpha) out[n - 1] = w.Row(y)[x * n + n - 1];
            });
      });
}

REALobject NeonFilter(REALobject instance, REALobject dest) {
  return RunWindowFilter(
      instance, dest, "NeonFilter", [&](ImageClassData* s, ImageClassData* d, ChannelPlan& plan) {
        const int n = plan.count;
        return WindowRows(s, d, plan, 1, 1,
                          [&](const RowWindow& w, int64_t y, int64_t x, uint8_t* out) {
                            const uint8_t* up = w.Row(y - 1) + x * n;
                            const uint8_t* down = w.Row(y + 1) + x * n;
                            const uint8_t* mid = w.Row(y) + x * n;
                            for (int c = 0; c < plan.colours; ++c) {
                              const int gx = std::abs(mid[n + c] - mid[c - n]);
                              const int gy = std::abs(down[c] - up[c]);
                              out[c] = Byte(2 * (gx + gy));
                            }
                            if (plan.alpha) out[n - 1] = mid[n - 1];
                          });
      });
}

REALobject StampFilter(REALobject instance, REALobject dest, int64_t threshold) {
  return RunWindowFilter(
      instance, dest, "StampFilter", [&](ImageClassData* s, ImageClassData* d, ChannelPlan& plan) {
        const int n = plan.count;
        return WindowRows(s, d, plan, 0, 0,
                          [&](const RowWindow& w, int64_t y, int64_t x, uint8_t* out) {
                            const uint8_t* p = w.Row(y) + x * n;
                            const bool light = PixelIntensity(plan.family, p) >= threshold;
                            PutLevel(plan.family, plan.colours, light ? 255 : 0, out);
                            if (plan.alpha) out[n - 1] = p[n - 1];
                          });
      });
}
