#include "chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace xqt::tool {
namespace {

constexpr double kPi = 3.141592653589793;

struct Rgba {
  uint8_t r, g, b, a;
};

uint8_t Byte(double v) { return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L)); }

Rgba Gray(double v) { return {Byte(v), Byte(v), Byte(v), 255}; }

// Hue 0 ... 1 around the wheel, saturation and value 0 ... 1.
Rgba Hsv(double h, double s, double v) {
  h = (h - std::floor(h)) * 6.0;
  const int sector = static_cast<int>(h) % 6;
  const double f = h - std::floor(h);
  const double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
  double r = v, g = t, b = p;
  switch (sector) {
    case 1:
      r = q, g = v, b = p;
      break;
    case 2:
      r = p, g = v, b = t;
      break;
    case 3:
      r = p, g = q, b = v;
      break;
    case 4:
      r = t, g = p, b = v;
      break;
    case 5:
      r = v, g = p, b = q;
      break;
    default:
      break;
  }
  return {Byte(r * 255), Byte(g * 255), Byte(b * 255), 255};
}

// Smooth value noise from a hashed lattice, four octaves.
double Lattice(int64_t x, int64_t y) {
  uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15ULL ^
               static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4FULL;
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ULL;
  h ^= h >> 32;
  return static_cast<double>(h & 0xffff) / 65535.0;
}

double Noise(double x, double y) {
  double sum = 0, weight = 0.5, total = 0;
  for (int octave = 0; octave < 4; ++octave) {
    const double fx = std::floor(x), fy = std::floor(y);
    const double tx = x - fx, ty = y - fy;
    const double sx = tx * tx * (3 - 2 * tx), sy = ty * ty * (3 - 2 * ty);
    const auto ix = static_cast<int64_t>(fx), iy = static_cast<int64_t>(fy);
    const double top = Lattice(ix, iy) + (Lattice(ix + 1, iy) - Lattice(ix, iy)) * sx;
    const double bottom =
        Lattice(ix, iy + 1) + (Lattice(ix + 1, iy + 1) - Lattice(ix, iy + 1)) * sx;
    sum += weight * (top + (bottom - top) * sy);
    total += weight;
    weight *= 0.5;
    x *= 2.03;
    y *= 2.03;
  }
  return sum / total;
}

// A 5 x 7 block font for the letters the chart writes.
struct Glyph {
  char c;
  const char* rows[7];
};

constexpr Glyph kFont[] = {
    {'A', {".###.", "#...#", "#...#", "#####", "#...#", "#...#", "#...#"}},
    {'C', {".###.", "#...#", "#....", "#....", "#....", "#...#", ".###."}},
    {'E', {"#####", "#....", "#....", "####.", "#....", "#....", "#####"}},
    {'G', {".###.", "#...#", "#....", "#.###", "#...#", "#...#", ".###."}},
    {'H', {"#...#", "#...#", "#...#", "#####", "#...#", "#...#", "#...#"}},
    {'I', {".###.", "..#..", "..#..", "..#..", "..#..", "..#..", ".###."}},
    {'L', {"#....", "#....", "#....", "#....", "#....", "#....", "#####"}},
    {'M', {"#...#", "##.##", "#.#.#", "#.#.#", "#...#", "#...#", "#...#"}},
    {'P', {"####.", "#...#", "#...#", "####.", "#....", "#....", "#...."}},
    {'Q', {".###.", "#...#", "#...#", "#...#", "#.#.#", "#..#.", ".##.#"}},
    {'R', {"####.", "#...#", "#...#", "####.", "#.#..", "#..#.", "#...#"}},
    {'S', {".####", "#....", "#....", ".###.", "....#", "....#", "####."}},
    {'T', {"#####", "..#..", "..#..", "..#..", "..#..", "..#..", "..#.."}},
    {'U', {"#...#", "#...#", "#...#", "#...#", "#...#", "#...#", ".###."}},
    {'X', {"#...#", "#...#", ".#.#.", "..#..", ".#.#.", "#...#", "#...#"}},
    {'0', {".###.", "#...#", "#..##", "#.#.#", "##..#", "#...#", ".###."}},
    {'1', {"..#..", ".##..", "..#..", "..#..", "..#..", "..#..", ".###."}},
    {'2', {".###.", "#...#", "....#", "...#.", "..#..", ".#...", "#####"}},
    {'3', {"#####", "...#.", "..#..", "...#.", "....#", "#...#", ".###."}},
    {'4', {"...#.", "..##.", ".#.#.", "#..#.", "#####", "...#.", "...#."}},
    {'5', {"#####", "#....", "####.", "....#", "....#", "#...#", ".###."}},
    {'6', {"..##.", ".#...", "#....", "####.", "#...#", "#...#", ".###."}},
    {'7', {"#####", "....#", "...#.", "..#..", ".#...", ".#...", ".#..."}},
    {'8', {".###.", "#...#", "#...#", ".###.", "#...#", "#...#", ".###."}},
    {'9', {".###.", "#...#", "#...#", ".####", "....#", "...#.", ".##.."}},
};

// Whether pixel (x, y), relative to the text's top-left corner, is ink of `text` drawn with
// blocks of `scale` pixels and one block between letters.
bool TextInk(std::string_view text, int64_t scale, int64_t x, int64_t y) {
  if (x < 0 || y < 0 || scale < 1) return false;
  const int64_t column = x / scale, row = y / scale;
  if (row >= 7) return false;
  const auto index = static_cast<size_t>(column / 6);
  const int64_t inGlyph = column % 6;
  if (index >= text.size() || inGlyph == 5) return false;
  for (const Glyph& glyph : kFont) {
    if (glyph.c == text[index]) return glyph.rows[row][inGlyph] == '#';
  }
  return false;
}

int64_t TextWidth(std::string_view text, int64_t scale) {
  return static_cast<int64_t>(text.size()) * 6 * scale - scale;
}

// The chart's regions, laid out once from the image size.
struct ChartLayout {
  double W, H;
  int64_t titleBottom, titleScale, titleX, titleY;
  double zx, zy, zsize;   // zone plate square
  double sx, sy, radius;  // star centre
  double wx, wy;          // colour wheel centre
  int64_t linesX, linesTop, linesBottom;
  int64_t barsTop, barHeight;
  int64_t textureTop, rampTop;
};

ChartLayout MakeLayout(int64_t width, int64_t height) {
  ChartLayout l{};
  l.W = static_cast<double>(width);
  l.H = static_cast<double>(height);
  l.titleBottom = std::max<int64_t>(1, height * 12 / 100);
  l.titleScale = std::max<int64_t>(1, l.titleBottom / 11);
  const std::string_view title = "PICTUREXQT TEST CHART";
  l.titleX = std::max<int64_t>(0, (width - TextWidth(title, l.titleScale)) / 2);
  l.titleY = (l.titleBottom - 7 * l.titleScale) / 2;
  l.zsize = 0.38 * l.H;
  l.zx = 0.02 * l.W;
  l.zy = 0.15 * l.H;
  const double gap = 0.025 * l.W;
  l.radius = l.zsize / 2;
  l.sx = l.zx + l.zsize + gap + l.radius;
  l.sy = l.zy + l.radius;
  l.wx = l.sx + 2 * l.radius + gap;
  l.wy = l.sy;
  l.linesX = static_cast<int64_t>(0.85 * l.W);
  l.linesTop = static_cast<int64_t>(l.zy);
  l.linesBottom = static_cast<int64_t>(0.62 * l.H);
  l.barsTop = static_cast<int64_t>(0.64 * l.H);
  l.barHeight = std::max<int64_t>(1, static_cast<int64_t>(0.03 * l.H));
  l.textureTop = l.barsTop + 4 * l.barHeight + l.barHeight / 2;
  l.rampTop = static_cast<int64_t>(0.9 * l.H);
  return l;
}

// The fine-detail column: line gratings of periods 2 to 5, crosshatch, and small lettering.
Rgba FineDetail(const ChartLayout& l, int64_t x, int64_t y) {
  const int64_t width = static_cast<int64_t>(l.W) - l.linesX;
  const int64_t height = l.linesBottom - l.linesTop;
  const int64_t rx = x - l.linesX, ry = y - l.linesTop;
  const int64_t band = ry * 4 / std::max<int64_t>(1, height);
  const int64_t period = 2 + rx * 4 / std::max<int64_t>(1, width);
  bool ink = false;
  switch (band) {
    case 0:
      ink = rx % period == 0;
      break;
    case 1:
      ink = ry % period == 0;
      break;
    case 2:
      ink = (rx + ry) % 5 == 0 || (rx - ry + 1000000) % 7 == 0;
      break;
    default: {
      const int64_t top = l.linesTop + 3 * height / 4 + 4;
      ink = TextInk("0123456789", 1, rx - 4, y - top) ||
            TextInk("IMAGES 42", 2, rx - 4, y - top - 12) ||
            TextInk("SCALE", 3, rx - 4, y - top - 34);
      break;
    }
  }
  return ink ? Gray(20) : Gray(235);
}

Rgba ChartPixel(const ChartLayout& l, int64_t x, int64_t y) {
  const double fx = static_cast<double>(x) + 0.5, fy = static_cast<double>(y) + 0.5;
  const double u = fx / l.W, v = fy / l.H;
  if (y < l.titleBottom) {
    const bool ink = TextInk("PICTUREXQT TEST CHART", l.titleScale, x - l.titleX, y - l.titleY);
    if (ink) return {250, 250, 240, 255};
    return {Byte(20 + 30 * u), Byte(30 + 40 * v / 0.12), Byte(90 + 80 * u), 255};
  }
  if (y >= l.rampTop) {
    // Alpha ramp under a rainbow, with ticks every sixteenth.
    Rgba c = Hsv(u, 0.85, 0.95);
    if (static_cast<int64_t>(u * 16 * 64) % 64 == 0) c = {0, 0, 0, 255};
    c.a = Byte(u * 255.0);
    return c;
  }
  if (y >= l.textureTop) {
    const double n = Noise(fx / 90.0, fy / 90.0);
    if (n < 0.42) return {Byte(20 + 60 * n), Byte(60 + 120 * n), Byte(140 + 150 * n), 255};
    if (n < 0.47) return {225, 205, 150, 255};
    if (n < 0.6) return {Byte(40 + 200 * (n - 0.47)), Byte(120 + 150 * (n - 0.47)), 40, 255};
    if (n < 0.7) return Gray(90 + 300 * (n - 0.6));
    return Gray(245);
  }
  if (y >= l.barsTop) {
    const int64_t bar = (y - l.barsTop) / l.barHeight;
    const double t = std::clamp((u - 0.02) / 0.96, 0.0, 1.0);
    const uint8_t ramp = Byte(t * 255.0);
    switch (bar) {
      case 0:
        return {ramp, 0, 0, 255};
      case 1:
        return {0, ramp, 0, 255};
      case 2:
        return {0, 0, ramp, 255};
      default:
        // The gray bar steps in 32 levels on its lower half, to show banding and dither.
        if ((y - l.barsTop) % l.barHeight >= l.barHeight / 2) {
          return Gray(std::floor(t * 32.0) * 255.0 / 31.0);
        }
        return {ramp, ramp, ramp, 255};
    }
  }
  if (x >= l.linesX && y >= l.linesTop && y < l.linesBottom) return FineDetail(l, x, y);
  // Zone plate: circular fringes whose frequency rises to the pixel limit at the edges.
  if (fx >= l.zx && fx < l.zx + l.zsize && fy >= l.zy && fy < l.zy + l.zsize) {
    const double dx = fx - (l.zx + l.zsize / 2), dy = fy - (l.zy + l.zsize / 2);
    const double rmax = l.zsize / 2;
    return Gray(127.5 + 127.5 * std::cos(kPi * (dx * dx + dy * dy) / (2.0 * rmax)));
  }
  // Star of 48 spokes, black and white, with a gray hub.
  {
    const double dx = fx - l.sx, dy = fy - l.sy, r = std::hypot(dx, dy);
    if (r < l.radius) {
      if (r < l.radius * 0.04) return Gray(128);
      const double angle = std::atan2(dy, dx) / (2 * kPi) + 0.5;
      return static_cast<int64_t>(angle * 48.0) % 2 ? Gray(15) : Gray(240);
    }
  }
  // Colour wheel: hue around, saturation outwards.
  {
    const double dx = fx - l.wx, dy = fy - l.wy, r = std::hypot(dx, dy);
    if (r < l.radius) {
      return Hsv(std::atan2(dy, dx) / (2 * kPi) + 0.5, r / l.radius, 1.0);
    }
  }
  // Background: a soft diagonal gradient.
  return {Byte(200 - 60 * v), Byte(210 - 40 * u), Byte(225 - 30 * (u + v) / 2), 255};
}

}  // namespace

void DrawChart(const host::Ref& image, const PictureShape& shape) {
  const ChartLayout layout = MakeLayout(shape.width, shape.height);
  for (int64_t y = 0; y < shape.height; ++y) {
    uint8_t* row = RowOf(image, y);
    for (int64_t x = 0; x < shape.width; ++x) {
      const Rgba c = ChartPixel(layout, x, y);
      uint8_t* pixel = row + x * shape.pixelSize;
      pixel[shape.red] = c.r;
      pixel[shape.green] = c.g;
      pixel[shape.blue] = c.b;
      if (shape.hasAlpha) pixel[shape.alpha] = c.a;
    }
  }
}

void DrawRoundMask(const host::Ref& image, const PictureShape& shape) {
  const double cx = static_cast<double>(shape.width) / 2,
               cy = static_cast<double>(shape.height) / 2;
  const double reach = std::min(cx, cy);
  for (int64_t y = 0; y < shape.height; ++y) {
    uint8_t* row = RowOf(image, y);
    for (int64_t x = 0; x < shape.width; ++x) {
      const double d =
          std::hypot(static_cast<double>(x) + 0.5 - cx, static_cast<double>(y) + 0.5 - cy) / reach;
      const double t = std::clamp((1.0 - d) / 0.6, 0.0, 1.0);
      row[x * shape.pixelSize + shape.gray] = Byte(255.0 * (1.0 - t * t * (3 - 2 * t)));
    }
  }
}

}  // namespace xqt::tool
