// Parsers of option values.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "commands.h"

namespace xqt::tool {
namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (true) {
    const size_t end = text.find(separator, start);
    parts.push_back(text.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return parts;
}

}  // namespace

int64_t ParseInteger(const std::string& text, const std::string& what) {
  int64_t value = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (begin != end && *begin == '+') ++begin;
  auto [stop, error] = std::from_chars(begin, end, value);
  if (error == std::errc::result_out_of_range) {
    throw UsageError(what + ": '" + text + "' is out of range");
  }
  if (error != std::errc() || stop != end || begin == end) {
    throw UsageError(what + ": '" + text + "' is not a whole number");
  }
  return value;
}

double ParseNumber(const std::string& text, const std::string& what) {
  // strtod accepts the forms people type (1, 1.5, .5, 2e-1); anything after the number is wrong.
  char* stop = nullptr;
  const double value = std::strtod(text.c_str(), &stop);
  if (text.empty() || stop != text.c_str() + text.size() || !std::isfinite(value)) {
    throw UsageError(what + ": '" + text + "' is not a number");
  }
  return value;
}

void ParseSize(const std::string& text, int64_t* width, int64_t* height) {
  const size_t x = Lower(text).find('x');
  if (x == std::string::npos) {
    throw UsageError("--size: '" + text + "' is not WIDTHxHEIGHT (for example 640x480)");
  }
  const std::string w = text.substr(0, x);
  const std::string h = text.substr(x + 1);
  if (w.empty() && h.empty()) throw UsageError("--size: give a width, a height or both");
  *width = w.empty() ? 0 : ParseInteger(w, "--size width");
  *height = h.empty() ? 0 : ParseInteger(h, "--size height");
  if ((!w.empty() && *width < 1) || (!h.empty() && *height < 1)) {
    throw UsageError("--size: '" + text + "': width and height must be at least 1");
  }
}

std::vector<int64_t> ParseIntegers(const std::string& text, size_t count, const std::string& what) {
  const std::vector<std::string> parts = Split(text, ',');
  if (parts.size() != count) {
    throw UsageError(what + ": '" + text + "' needs " + std::to_string(count) +
                     " numbers separated by commas");
  }
  std::vector<int64_t> values;
  for (const std::string& part : parts) values.push_back(ParseInteger(part, what));
  return values;
}

uint32_t ParseColor(const std::string& text, const std::string& what) {
  static const std::pair<const char*, uint32_t> kNames[] = {
      {"black", 0x000000}, {"white", 0xffffff},  {"gray", 0x808080}, {"grey", 0x808080},
      {"red", 0xff0000},   {"green", 0x00ff00},  {"blue", 0x0000ff}, {"yellow", 0xffff00},
      {"cyan", 0x00ffff},  {"magenta", 0xff00ff}};
  const std::string lower = Lower(text);
  for (const auto& [name, value] : kNames) {
    if (lower == name) return value;
  }
  std::string hex = lower;
  if (!hex.empty() && hex[0] == '#') hex.erase(0, 1);
  uint32_t value = 0;
  auto [stop, error] = std::from_chars(hex.data(), hex.data() + hex.size(), value, 16);
  if (hex.size() != 6 || error != std::errc() || stop != hex.data() + hex.size()) {
    throw UsageError(what + ": '" + text + "' is not a colour (#rrggbb or a name like white)");
  }
  return value;
}

std::vector<int64_t> ParseCurve(const std::string& text, const std::string& what) {
  std::vector<int64_t> table(256);
  const std::string lower = Lower(text);
  if (lower == "identity" || lower == "invert") {
    for (int i = 0; i < 256; ++i) table[i] = lower == "invert" ? 255 - i : i;
    return table;
  }
  if (lower == "contrast") {
    // A smooth S-curve: darker shadows, brighter highlights, the ends kept.
    for (int i = 0; i < 256; ++i) {
      const double t = i / 255.0;
      const double s = t * t * (3.0 - 2.0 * t);
      table[i] = std::lround(s * 255.0);
    }
    return table;
  }
  if (lower.rfind("posterize", 0) == 0) {
    const int64_t levels = ParseInteger(lower.substr(9), what + " posterize levels");
    if (levels < 2 || levels > 256) throw UsageError(what + ": posterize needs 2 ... 256 levels");
    for (int i = 0; i < 256; ++i) {
      const int64_t level = i * levels / 256;
      table[i] = level * 255 / (levels - 1);
    }
    return table;
  }
  std::vector<std::pair<int64_t, int64_t>> points;
  for (const std::string& part : Split(text, ',')) {
    const size_t colon = part.find(':');
    if (colon == std::string::npos) {
      throw UsageError(what + ": '" + part + "' is not a point x:y");
    }
    const int64_t x = ParseInteger(part.substr(0, colon), what);
    const int64_t y = ParseInteger(part.substr(colon + 1), what);
    if (x < 0 || x > 255 || y < 0 || y > 255) {
      throw UsageError(what + ": point " + part + " lies outside 0 ... 255");
    }
    if (!points.empty() && x <= points.back().first) {
      throw UsageError(what + ": the x values of the points must rise");
    }
    points.emplace_back(x, y);
  }
  if (points.empty()) throw UsageError(what + ": no points");
  for (int i = 0; i < 256; ++i) {
    if (i <= points.front().first) {
      table[i] = points.front().second;
    } else if (i >= points.back().first) {
      table[i] = points.back().second;
    } else {
      size_t k = 1;
      while (points[k].first < i) ++k;
      const auto [x0, y0] = points[k - 1];
      const auto [x1, y1] = points[k];
      table[i] = y0 + ((y1 - y0) * (i - x0) * 2 + (x1 - x0)) / (2 * (x1 - x0));
    }
  }
  return table;
}

const std::vector<MatrixPreset>& MatrixPresets() {
  static const std::vector<MatrixPreset> kPresets = {
      {"sharpen",
       {0, -1, 0, -1, 5, -1, 0, -1, 0},
       "the pixel pushed away from its four neighbours"},
      {"blur", {1, 1, 1, 1, 1, 1, 1, 1, 1}, "the mean of the 3 x 3 box"},
      {"gaussian", {1, 2, 1, 2, 4, 2, 1, 2, 1}, "a 3 x 3 bell, divided by 16"},
      {"edge",
       {-1, -1, -1, -1, 8, -1, -1, -1, -1},
       "edges bright on black; --bias 128 shows both sides"},
      {"emboss", {-2, -1, 0, -1, 1, 1, 0, 1, 2}, "a relief; the sum 1 keeps the brightness"},
  };
  return kPresets;
}

std::vector<int64_t> ParseMatrix(const std::string& text, const std::string& what) {
  const std::string lower = Lower(text);
  std::string names;
  for (const MatrixPreset& preset : MatrixPresets()) {
    if (lower == preset.name) return preset.entries;
    names += (names.empty() ? "" : ", ") + std::string(preset.name);
  }
  // Anything without a digit was meant as a preset name.
  if (text.find_first_of("0123456789") == std::string::npos) {
    throw UsageError(what + ": unknown matrix '" + text + "' (known: " + names +
                     ", or entries like 0,-1,0,-1,5,-1,0,-1,0)");
  }
  std::vector<int64_t> entries;
  for (const std::string& part : Split(text, ',')) {
    const int64_t v = ParseInteger(part, what);
    // The plug-in keeps its sums in 64 bits by taking entries of 32 bits only.
    if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) {
      throw UsageError(what + ": entry " + part + " does not fit in 32 bits");
    }
    entries.push_back(v);
  }
  size_t side = 1;
  while (side * side < entries.size()) side += 2;
  if (side * side != entries.size()) {
    throw UsageError(what + ": " + std::to_string(entries.size()) +
                     " entries do not make a square of odd side (9, 25, 49, ... entries)");
  }
  if (side > kMaxMatrixSide) {
    throw UsageError(what + ": a side of " + std::to_string(side) + " is above " +
                     std::to_string(kMaxMatrixSide));
  }
  return entries;
}

}  // namespace xqt::tool
