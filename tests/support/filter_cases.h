// What the filter tests share: formats that cover every layout the filters serve, and the bytes an
// image should hold after a filter wrote one value into some of its channels.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/image_bytes.h"

// Every byte order, padding and alpha place of each family, gray inside wider pixels, 16-bit gray,
// and a format of no family.
inline constexpr int64_t kFilterFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                             12, 13, 15, 16, 20, 23, 24, 25, 26, 27, 28,
                                             29, 30, 31, 32, 37, 41, 42, 45, 48};

// `bytes` of `image` with, in every pixel, each named channel the image has set to its value
// (values below 0 leave the channel alone).
inline Bytes WithChannels(const xqt::host::Ref& image, Bytes bytes,
                          const std::vector<std::pair<const char*, int>>& values) {
  const auto size = static_cast<size_t>(image.Get<int64_t>("PixelSize"));
  for (auto [name, value] : values) {
    if (value < 0 || !image.Get<bool>(std::string("Has") + name)) continue;
    const auto offset = static_cast<size_t>(image.Get<int64_t>(std::string(name) + "Offset"));
    for (size_t i = offset; i < bytes.size(); i += size) bytes[i] = static_cast<uint8_t>(value);
  }
  return bytes;
}
