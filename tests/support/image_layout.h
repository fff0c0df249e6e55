// What a test needs to know of an image's layout, read through its properties, and a copy of all
// its rows to compare against after an operation.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/emulated_host.h"
#include "support/image_bytes.h"

struct Layout {
  int64_t width, height, pixelSize, rowSize, bits, format;
  bool gray, rgb, cmyk, alpha;
  int64_t red, green, blue, grayOffset, alphaOffset, cyan, magenta, yellow, black;
  // The family's channels in the order the paths visit them, alpha last.
  std::vector<int64_t> channels;
};

inline Layout LayoutOf(const xqt::host::Ref& image) {
  Layout l{};
  l.width = image.Get<int64_t>("Width");
  l.height = image.Get<int64_t>("Height");
  l.pixelSize = image.Get<int64_t>("PixelSize");
  l.rowSize = image.Get<int64_t>("RowSize");
  l.bits = image.Get<int64_t>("BitsPerComponent");
  l.format = image.Get<int64_t>("ImageFormat");
  l.gray = image.Get<bool>("IsGray");
  l.rgb = image.Get<bool>("IsRGB");
  l.cmyk = image.Get<bool>("IsCMYK");
  l.alpha = image.Get<bool>("HasAlpha");
  l.red = image.Get<int64_t>("RedOffset");
  l.green = image.Get<int64_t>("GreenOffset");
  l.blue = image.Get<int64_t>("BlueOffset");
  l.grayOffset = image.Get<int64_t>("GrayOffset");
  l.alphaOffset = image.Get<int64_t>("AlphaOffset");
  l.cyan = image.Get<int64_t>("CyanOffset");
  l.magenta = image.Get<int64_t>("MagentaOffset");
  l.yellow = image.Get<int64_t>("YellowOffset");
  l.black = image.Get<int64_t>("BlackOffset");
  if (l.gray) {
    l.channels = {l.grayOffset};
  } else if (l.rgb) {
    l.channels = {l.red, l.green, l.blue};
  } else if (l.cmyk) {
    l.channels = {l.cyan, l.magenta, l.yellow, l.black};
  }
  if (!l.channels.empty() && l.alpha) l.channels.push_back(l.alphaOffset);
  return l;
}

// All bytes of all rows (RowSize each, padding included), one row fetched at a time since a
// file-mapped image's rows move.
struct ImageSnapshot {
  explicit ImageSnapshot(const xqt::host::Ref& image) : layout(LayoutOf(image)) {
    data.resize(static_cast<size_t>(layout.rowSize * layout.height));
    for (int64_t y = 0; y < layout.height; ++y) {
      std::memcpy(Row(y), ::Row(image, y), static_cast<size_t>(layout.rowSize));
    }
  }
  uint8_t* Row(int64_t y) { return data.data() + y * layout.rowSize; }
  uint8_t* Pixel(int64_t x, int64_t y) { return Row(y) + x * layout.pixelSize; }

  Layout layout;
  std::vector<uint8_t> data;
};

// Random bytes in every byte of every row, padding included.
inline void RandomizeWholeRows(const xqt::host::Ref& image, uint32_t seed) {
  std::mt19937 random(seed);
  const Layout l = LayoutOf(image);
  for (int64_t y = 0; y < l.height; ++y) {
    uint8_t* row = Row(image, y);
    for (int64_t i = 0; i < l.rowSize; ++i) row[i] = static_cast<uint8_t>(random());
  }
}

// Every byte of `image` equals the snapshot; the first difference is reported.
inline void ExpectSameBytes(const ImageSnapshot& expected, const xqt::host::Ref& image,
                            const std::string& what) {
  ImageSnapshot actual(image);
  ASSERT_EQ(expected.data.size(), actual.data.size()) << what;
  for (size_t i = 0; i < expected.data.size(); ++i) {
    if (expected.data[i] != actual.data[i]) {
      ADD_FAILURE() << what << ": first difference at row "
                    << static_cast<int64_t>(i) / expected.layout.rowSize << ", byte "
                    << static_cast<int64_t>(i) % expected.layout.rowSize << ": expected "
                    << int(expected.data[i]) << ", got " << int(actual.data[i]);
      return;
    }
  }
}

// Every channel of `a`'s family equals the same channel of `b`, pixel by pixel, each read at its
// own image's offset; other bytes are not looked at.
inline void ExpectSameChannels(const xqt::host::Ref& a, const xqt::host::Ref& b) {
  ImageSnapshot mine(a), theirs(b);
  ASSERT_EQ(mine.layout.width, theirs.layout.width);
  ASSERT_EQ(mine.layout.height, theirs.layout.height);
  std::vector<std::pair<int64_t, int64_t>> offsets;
  for (const char* name :
       {"Gray", "Red", "Green", "Blue", "Cyan", "Magenta", "Yellow", "Black", "Alpha"}) {
    if (a.Get<bool>(std::string("Has") + name)) {
      offsets.emplace_back(a.Get<int64_t>(std::string(name) + "Offset"),
                           b.Get<int64_t>(std::string(name) + "Offset"));
    }
  }
  for (int64_t y = 0; y < mine.layout.height; ++y) {
    for (int64_t x = 0; x < mine.layout.width; ++x) {
      for (auto [from, to] : offsets) {
        ASSERT_EQ(mine.Pixel(x, y)[from], theirs.Pixel(x, y)[to]) << "pixel " << x << ", " << y;
      }
    }
  }
}
