// What the filter tests share: formats that cover every layout the filters serve, and the bytes an
// image should hold after a filter wrote some of its channels.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/image_bytes.h"

// Every byte order, padding and alpha place of each family, gray inside wider pixels, 16-bit gray,
// and a format of no family.
inline constexpr int64_t kFilterFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                             12, 13, 15, 16, 20, 23, 24, 25, 26, 27, 28,
                                             29, 30, 31, 32, 37, 41, 42, 45, 48};

// `bytes` of `image` with each channel the image has set, in every pixel i, to value(name, i),
// a channel's name as in its Has and Offset properties; values below 0 leave the byte alone.
template <class Value>
Bytes WithChannels(const xqt::host::Ref& image, Bytes bytes, Value&& value) {
  const auto size = static_cast<size_t>(image.Get<int64_t>("PixelSize"));
  for (const std::string name :
       {"Gray", "Red", "Green", "Blue", "Cyan", "Magenta", "Yellow", "Black", "Alpha"}) {
    if (!image.Get<bool>("Has" + name)) continue;
    const auto offset = static_cast<size_t>(image.Get<int64_t>(name + "Offset"));
    for (size_t i = offset; i < bytes.size(); i += size) {
      const int v = value(name, i / size);
      if (v >= 0) bytes[i] = static_cast<uint8_t>(v);
    }
  }
  return bytes;
}
