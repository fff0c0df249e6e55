// Helpers of the copy and blend tests: an image's layout as the host shows it, its rows as bytes,
// and the participants (formats, views, clips, file-mapped images) that the pair tests run over.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/plugin_fixture.h"

namespace composite_test {

using xqt::host::Host;
using xqt::host::Ref;

enum class Family { kNone, kGray, kRGB, kCMYK };

struct Layout {
  int64_t width = 0, height = 0, pixelSize = 0, bits = 0, rowSize = 0;
  Family family = Family::kNone;
  bool hasAlpha = false;
  int64_t red = 0, green = 0, blue = 0, gray = 0, alpha = 0;
  int64_t cyan = 0, magenta = 0, yellow = 0, black = 0;
};

inline Layout LayoutOf(const Ref& image) {
  Layout l;
  l.width = image.Get<int64_t>("Width");
  l.height = image.Get<int64_t>("Height");
  l.pixelSize = image.Get<int64_t>("PixelSize");
  l.bits = image.Get<int64_t>("BitsPerComponent");
  l.rowSize = image.Get<int64_t>("RowSize");
  if (image.Get<bool>("IsGray")) l.family = Family::kGray;
  if (image.Get<bool>("IsRGB")) l.family = Family::kRGB;
  if (image.Get<bool>("IsCMYK")) l.family = Family::kCMYK;
  l.hasAlpha = image.Get<bool>("HasAlpha");
  l.red = image.Get<int64_t>("RedOffset");
  l.green = image.Get<int64_t>("GreenOffset");
  l.blue = image.Get<int64_t>("BlueOffset");
  l.gray = image.Get<int64_t>("GrayOffset");
  l.alpha = image.Get<int64_t>("AlphaOffset");
  l.cyan = image.Get<int64_t>("CyanOffset");
  l.magenta = image.Get<int64_t>("MagentaOffset");
  l.yellow = image.Get<int64_t>("YellowOffset");
  l.black = image.Get<int64_t>("BlackOffset");
  return l;
}

inline uint8_t* RowOf(const Ref& image, int64_t y) {
  return static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
}

// Every row of the image, RowSize bytes each (a clip's rows start at its parent's row start).
using Rows = std::vector<std::vector<uint8_t>>;

inline Rows Snapshot(const Ref& image) {
  Layout l = LayoutOf(image);
  Rows rows;
  for (int64_t y = 0; y < l.height; ++y) {
    const uint8_t* row = RowOf(image, y);
    rows.emplace_back(row, row + l.rowSize);
  }
  return rows;
}

inline void FillRandom(const Ref& image, std::mt19937& rng) {
  Layout l = LayoutOf(image);
  for (int64_t y = 0; y < l.height; ++y) {
    uint8_t* row = RowOf(image, y);
    for (int64_t i = 0; i < l.rowSize; ++i) row[i] = static_cast<uint8_t>(rng());
  }
}

inline uint8_t Gray(int red, int green, int blue) {
  return static_cast<uint8_t>((77 * red + 151 * green + 28 * blue) >> 8);
}

// Something to copy from or into, made at a given size.
struct Participant {
  std::string name;
  std::function<Ref(Host&, int64_t width, int64_t height)> make;
};

inline Participant Format(int64_t code) {
  return {"format " + std::to_string(code), [code](Host& host, int64_t width, int64_t height) {
            return host.New("PictureXQT", width, height, code);
          }};
}

// A view made by `member` of a parent of `code`.
inline Participant View(int64_t code, const char* member) {
  return {std::string(member) + " of " + std::to_string(code),
          [code, member](Host& host, int64_t width, int64_t height) {
            return host.New("PictureXQT", width, height, code).Call<Ref>(member);
          }};
}

// A clip two columns and one row in from a larger parent's corner.
inline Participant Clip(int64_t code) {
  return {"clip of " + std::to_string(code), [code](Host& host, int64_t width, int64_t height) {
            return host.New("PictureXQT", width + 3, height + 2, code)
                .Call<Ref>("ClipImage", int64_t{2}, int64_t{1}, width, height);
          }};
}

// A file-mapped image in a temporary file.
inline Participant Mapped(int64_t code) {
  return {"mapped " + std::to_string(code), [code](Host& host, int64_t width, int64_t height) {
            return host.New("PictureXQT", width, height, code, int64_t{0}, nullptr);
          }};
}

}  // namespace composite_test
