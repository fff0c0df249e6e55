#include "geometry/rotate.h"

#include <cmath>
#include <vector>

#include "filters/area_filters.h"
#include "image/image_checks.h"
#include "image/picture_factory.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

uint8_t Byte(int64_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Source rows from a table fetched once: in-memory rows stay put.
struct TableRows {
  const uint8_t* const* rows;
  const uint8_t* operator()(int64_t y) const { return rows[y]; }
};

// Source rows fetched for every use: a mapped band may move with each fetch, so each address is
// read before the next fetch.
struct FetchedRows {
  ImageClassData* image;
  const uint8_t* operator()(int64_t y) const { return image->GetRow(image, y); }
};

template <int N, class Rows>
bool RotateRows(ImageClassData* source, ImageClassData* dest, const RotationGeometry& g,
                const ChannelPlan& plan, const uint8_t* background, const Rows& rows) {
  const int64_t width = source->Width, height = source->Height, step = source->PixelSize;
  const double c = g.cosine, s = g.sine;
  const double halfW = width / 2.0, halfH = height / 2.0;
  const double limitX = width - 0.5, limitY = height - 0.5;
  for (int64_t v = 0; v < g.height; ++v) {
    uint8_t* to = dest->GetRow(dest, v);
    if (!to) {
      DebugLog("Row not available", static_cast<long long>(v));
      return false;
    }
    const double dy = v + 0.5 - g.height / 2.0;
    for (int64_t u = 0; u < g.width; ++u) {
      const double dx = u + 0.5 - g.width / 2.0;
      double sx = halfW + c * dx - s * dy - 0.5;
      double sy = halfH + s * dx + c * dy - 0.5;
      uint8_t* pixel = to + u * dest->PixelSize;
      if (!(sx >= -0.5 && sx <= limitX && sy >= -0.5 && sy <= limitY)) {
        for (int k = 0; k < N; ++k) pixel[plan.to[k]] = background[k];
        continue;
      }
      sx = sx < 0 ? 0 : sx > width - 1 ? static_cast<double>(width - 1) : sx;
      sy = sy < 0 ? 0 : sy > height - 1 ? static_cast<double>(height - 1) : sy;
      int64_t x0 = static_cast<int64_t>(sx), y0 = static_cast<int64_t>(sy);
      int64_t fx = std::lround((sx - x0) * 256.0), fy = std::lround((sy - y0) * 256.0);
      if (fx == 256) ++x0, fx = 0;
      if (fy == 256) ++y0, fy = 0;
      const int64_t x1 = x0 + 1 < width ? x0 + 1 : x0, y1 = y0 + 1 < height ? y0 + 1 : y0;
      int64_t top[N], bottom[N];
      const uint8_t* r0 = rows(y0);
      if (!r0) return false;
      for (int k = 0; k < N; ++k) {
        top[k] = r0[x0 * step + plan.from[k]] * (256 - fx) + r0[x1 * step + plan.from[k]] * fx;
      }
      const uint8_t* r1 = rows(y1);
      if (!r1) return false;
      for (int k = 0; k < N; ++k) {
        bottom[k] = r1[x0 * step + plan.from[k]] * (256 - fx) + r1[x1 * step + plan.from[k]] * fx;
        pixel[plan.to[k]] =
            static_cast<uint8_t>((top[k] * (256 - fy) + bottom[k] * fy + 32768) >> 16);
      }
    }
    YieldRow(source);
  }
  return true;
}

template <int N>
void RotateN(ImageClassData* source, ImageClassData* dest, const RotationGeometry& g,
             const ChannelPlan& plan, const uint8_t* background) {
  if (source->IsMapping) {
    RotateRows<N>(source, dest, g, plan, background, FetchedRows{source});
    return;
  }
  std::vector<const uint8_t*> table(static_cast<size_t>(source->Height));
  for (int64_t y = 0; y < source->Height; ++y) {
    table[y] = source->GetRow(source, y);
    if (!table[y]) {
      DebugLog("Row not available", static_cast<long long>(y));
      return;
    }
  }
  RotateRows<N>(source, dest, g, plan, background, TableRows{table.data()});
}

}  // namespace

bool RotationFor(double angle, int64_t width, int64_t height, RotationGeometry& g) {
  if (!std::isfinite(angle)) return false;
  double turn = std::fmod(angle, 360.0);
  if (turn < 0) turn += 360.0;
  if (turn == 0) {
    g.cosine = 1, g.sine = 0;
  } else if (turn == 90) {
    g.cosine = 0, g.sine = 1;
  } else if (turn == 180) {
    g.cosine = -1, g.sine = 0;
  } else if (turn == 270) {
    g.cosine = 0, g.sine = -1;
  } else {
    g.cosine = std::cos(turn * kPi / 180.0);
    g.sine = std::sin(turn * kPi / 180.0);
  }
  const double c = std::fabs(g.cosine), s = std::fabs(g.sine);
  // A hair below the whole number, so that rounding in cos and sin does not add a column.
  const double w = std::ceil(width * c + height * s - 1e-9);
  const double h = std::ceil(width * s + height * c - 1e-9);
  if (!(w <= 2147483647.0 && h <= 2147483647.0)) return false;
  g.width = w < 1 ? 1 : static_cast<int64_t>(w);
  g.height = h < 1 ? 1 : static_cast<int64_t>(h);
  return true;
}

void RotateInto(ImageClassData* source, ImageClassData* dest, const RotationGeometry& geometry,
                const uint8_t* background) {
  ChannelPlan plan;
  if (!PlanChannels(*source, *dest, plan, false) || plan.count == 0 || source->Width < 1) return;
  switch (plan.count) {
    case 1:
      return RotateN<1>(source, dest, geometry, plan, background);
    case 2:
      return RotateN<2>(source, dest, geometry, plan, background);
    case 3:
      return RotateN<3>(source, dest, geometry, plan, background);
    case 4:
      return RotateN<4>(source, dest, geometry, plan, background);
    default:
      return RotateN<5>(source, dest, geometry, plan, background);
  }
}

REALobject RotateAngle(REALobject instance, double angle, int64_t red, int64_t green, int64_t blue,
                       int64_t alpha, int64_t gray, int64_t cyan, int64_t magenta, int64_t yellow,
                       int64_t black) {
  DebugLog("Rotate");
  ImageClassData* source = ImageData(instance);
  if (!StartImage(source)) return nullptr;
  if (source->BitsPerComponent > 8) {
    DebugLog("BitsPerComponent > 8 not supported.");
    return nullptr;
  }
  if (source->Width < 1) {
    // Nothing to turn: a box of no width has no centre to turn about.
    DebugLog("Width is 0");
    return nullptr;
  }
  const PixelFamily family = FamilyOf(*source);
  if (family == PixelFamily::kNone) {
    DebugLog("Unsupported format");
    return nullptr;
  }
  RotationGeometry g;
  if (!RotationFor(angle, source->Width, source->Height, g)) {
    DebugLog("Angle not supported");
    return nullptr;
  }
  uint8_t background[5];
  switch (family) {
    case PixelFamily::kGray:
    case PixelFamily::kGrayAlpha:
      background[0] = Byte(gray);
      background[1] = Byte(alpha);
      break;
    case PixelFamily::kRGB:
    case PixelFamily::kRGBA:
      background[0] = Byte(red), background[1] = Byte(green), background[2] = Byte(blue);
      background[3] = Byte(alpha);
      break;
    default:
      background[0] = Byte(cyan), background[1] = Byte(magenta), background[2] = Byte(yellow);
      background[3] = Byte(black), background[4] = Byte(alpha);
      break;
  }
  REALobject result = CreatePicture(source, g.width, g.height, source->ImageFormat);
  ImageClassData* dest = ImageData(result);
  if (!dest || !dest->GetRow || !dest->Valid || dest->Width < g.width || dest->Height < g.height) {
    DebugLog("Result not available");
    if (result) UnlockObject(result);
    return nullptr;
  }
  ChannelPlan plan;
  if (!PlanChannels(*source, *dest, plan, false)) {
    UnlockObject(result);
    return nullptr;
  }
  RotateInto(source, dest, g, background);
  return result;
}
