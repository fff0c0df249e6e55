// The participants of the copy, blend and combine tests: formats, views, clips and file-mapped
// images made at a given size, and gray images of given values.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "support/image_bytes.h"
#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace composite_test {

using xqt::host::Host;
using xqt::host::Ref;

// An image of format `code`, or what `member` makes of one: "ClipImage" a clip two columns and one
// row in from a larger parent's corner, "Mapped" a file-mapped image in a temporary file.
struct Participant {
  int64_t code;
  const char* member = nullptr;

  std::string Name() const {
    return (member ? std::string(member) + " of " : std::string("format ")) + std::to_string(code);
  }
  Ref Make(Host& host, int64_t width, int64_t height) const {
    const std::string what = member ? member : "";
    if (what == "Mapped") return host.New("PictureXQT", width, height, code, int64_t{0}, nullptr);
    if (what == "ClipImage") {
      return host.New("PictureXQT", width + 3, height + 2, code)
          .Call<Ref>("ClipImage", int64_t{2}, int64_t{1}, width, height);
    }
    Ref image = host.New("PictureXQT", width, height, code);
    return member ? image.Call<Ref>(member) : image;
  }
};

inline Participant Format(int64_t code) { return {code}; }
inline Participant View(int64_t code, const char* member) { return {code, member}; }
inline Participant Clip(int64_t code) { return {code, "ClipImage"}; }
inline Participant Mapped(int64_t code) { return {code, "Mapped"}; }

// A gray image of `width` x `height` whose pixels are `values`, row by row.
inline Ref GrayImage(Host& host, int64_t width, int64_t height, const Bytes& values) {
  Ref image = host.New("PictureXQT", width, height, int64_t{11});
  for (int64_t y = 0; y < height; ++y) {
    std::memcpy(Row(image, y), values.data() + y * width, static_cast<size_t>(width));
  }
  return image;
}

}  // namespace composite_test
