// The participants of the copy and blend tests: formats, views, clips and file-mapped images made
// at a given size.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/image_layout.h"
#include "support/plugin_fixture.h"

namespace composite_test {

using xqt::host::Host;
using xqt::host::Ref;

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
