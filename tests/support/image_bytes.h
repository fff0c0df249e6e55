// Direct access to an image's pixel bytes from a test, through RawRowPtr as an application would.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/emulated_host.h"

using Bytes = std::vector<uint8_t>;

inline uint8_t* Row(const xqt::host::Ref& image, int64_t y) {
  return static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
}

inline uint8_t* Pixel(const xqt::host::Ref& image, int64_t x, int64_t y) {
  return Row(image, y) + x * image.Get<int64_t>("PixelSize");
}

inline void SetPixels(const xqt::host::Ref& image, int64_t y, const Bytes& bytes) {
  std::memcpy(Row(image, y), bytes.data(), bytes.size());
}

inline Bytes RowBytes(const xqt::host::Ref& image, int64_t y, size_t count) {
  const uint8_t* row = Row(image, y);
  return Bytes(row, row + count);
}

// The pixel bytes of every row, one row after the other without padding.
inline Bytes PixelBytes(const xqt::host::Ref& image) {
  const auto bytes =
      static_cast<size_t>(image.Get<int64_t>("Width") * image.Get<int64_t>("PixelSize"));
  Bytes out;
  for (int64_t y = 0; y < image.Get<int64_t>("Height"); ++y) {
    const Bytes row = RowBytes(image, y, bytes);
    out.insert(out.end(), row.begin(), row.end());
  }
  return out;
}

// `value` in every pixel byte of every row.
inline void FillBytes(const xqt::host::Ref& image, uint8_t value) {
  const auto bytes =
      static_cast<size_t>(image.Get<int64_t>("Width") * image.Get<int64_t>("PixelSize"));
  for (int64_t y = 0; y < image.Get<int64_t>("Height"); ++y)
    std::memset(Row(image, y), value, bytes);
}

// Random bytes in every pixel byte of every row.
inline void Randomise(const xqt::host::Ref& image, uint32_t seed) {
  std::mt19937 random(seed);
  const int64_t bytes = image.Get<int64_t>("Width") * image.Get<int64_t>("PixelSize");
  const int64_t height = image.Get<int64_t>("Height");
  for (int64_t y = 0; y < height; ++y) {
    uint8_t* row = Row(image, y);
    for (int64_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>(random());
  }
}

// The family's channel offsets, alpha last, in the order the filters visit them.
inline std::vector<int64_t> ChannelOffsets(const xqt::host::Ref& image) {
  std::vector<int64_t> out;
  for (const char* name :
       {"Gray", "Red", "Green", "Blue", "Cyan", "Magenta", "Yellow", "Black", "Alpha"}) {
    if (image.Get<bool>(std::string("Has") + name)) {
      out.push_back(image.Get<int64_t>(std::string(name) + "Offset"));
    }
  }
  return out;
}
