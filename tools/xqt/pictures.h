// PictureXQT images seen from the application side: their layout read through properties, the
// class constants the plug-in registered, and rows moved between images and files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/emulated_host.h"
#include "image_files.h"

namespace xqt::tool {

// The layout of one image, read through its properties.
struct PictureShape {
  int64_t width = 0;
  int64_t height = 0;
  int64_t format = 0;
  int64_t pixelSize = 0;
  int64_t bits = 8;
  int64_t rowSize = 0;
  int64_t channelCount = 0;
  bool valid = false;
  bool mapping = false;
  bool isGray = false;
  bool isRGB = false;
  bool isCMYK = false;
  bool hasAlpha = false;
  int64_t gray = 0, red = 0, green = 0, blue = 0, alpha = 0;
  int64_t cyan = 0, magenta = 0, yellow = 0, black = 0;
};

PictureShape Describe(const host::Ref& image);

// The class constants of PictureXQT as the plug-in registered them.
class Constants {
 public:
  explicit Constants(const host::Host& host);
  // Constants whose name starts with `prefix`, the prefix removed, in registration order.
  std::vector<std::pair<std::string, int64_t>> WithPrefix(std::string_view prefix) const;
  // A value named with or without the prefix, in any case, or given as a number that one of
  // the constants has: "RGB", "imageformatrgb" and "1" all name ImageFormatRGB.
  std::optional<int64_t> Find(std::string_view prefix, std::string_view text) const;
  // The first registered name of a value, without the prefix; the number when none.
  std::string NameOf(std::string_view prefix, int64_t value) const;
  // The names accepted for a prefix, for messages ("box, triangle, ...").
  std::string List(std::string_view prefix) const;

 private:
  std::vector<std::pair<std::string, int64_t>> all_;
};

// The format of the image that holds a file's rows.
int64_t FormatForLayout(const Constants& constants, Layout layout);

// The layout in which an image is written to a file of the given kind; throws ToolError naming
// `path` for images that have none (raw buffers, scaling temps).
Layout OutputLayout(const PictureShape& shape, FileKind kind, const std::string& path);

// Packed file samples to the channels of an image row and back, through the image's offsets.
// CMYK rows written to a PNG are converted to RGB for display.
void UnpackRow(const PictureShape& shape, Layout layout, const uint8_t* packed, uint8_t* row,
               int64_t width);
void PackRow(const PictureShape& shape, Layout layout, const uint8_t* row, uint8_t* packed,
             int64_t width);

// The address of row y of an image, through the application's RawRowPtr; throws ToolError when
// the plug-in gives none.
uint8_t* RowOf(const host::Ref& image, int64_t y);

}  // namespace xqt::tool
