// PNG and JPEG files as streams of rows, independent of the plug-in.
//
// A file is read as a header (size and one of a few sample layouts) followed by its rows, each
// handed to a sink as packed samples; a file is written from a source that hands out packed rows.
// Writes go to a temporary file beside the target that is renamed over it only when everything
// was written, so a failure never leaves a half-written file.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

namespace xqt::tool {

// A failure the tool reports as one line: the text names the file and the reason.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Packed sample layouts of rows in files. Gray16 samples are 16-bit values in the machine's byte
// order (PictureXQT keeps them so); CMYK samples are ink amounts, 0 meaning no ink.
enum class Layout { Gray, GrayAlpha, Gray16, RGB, RGBA, CMYK };

int BytesPerPixel(Layout layout);
const char* LayoutName(Layout layout);

enum class FileKind { PNG, JPEG };

const char* FileKindName(FileKind kind);

struct ImageHeader {
  int64_t width = 0;
  int64_t height = 0;
  Layout layout = Layout::RGB;
  FileKind kind = FileKind::PNG;
};

// Called once with the header before any row; may throw to stop reading.
using HeaderSink = std::function<void(const ImageHeader& header)>;
// Called once per row, top to bottom, with width * BytesPerPixel(layout) bytes.
using RowSink = std::function<void(int64_t y, const uint8_t* row)>;
// Returns row y as width * BytesPerPixel(layout) packed bytes, valid until the next call.
using RowSource = std::function<const uint8_t*(int64_t y)>;

// Reads a PNG (8- and 16-bit gray, 8-bit gray + alpha, RGB, RGBA, palette and low-depth gray
// expanded) or a JPEG (gray, RGB, CMYK; Adobe-inverted CMYK is turned back into ink amounts).
// Throws ToolError naming the file and the reason.
void ReadImageFile(const std::string& path, const HeaderSink& onHeader, const RowSink& onRow);

struct WriteOptions {
  int jpegQuality = 90;    // 1 ... 100
  int pngCompression = 6;  // zlib level 0 ... 9
};

// The file kind that a path's extension selects (.png, .jpg, .jpeg, any case); throws ToolError
// for any other extension.
FileKind KindForPath(const std::string& path);

// Writes the rows in the header's layout; PNG takes every layout except CMYK, JPEG takes Gray,
// RGB and CMYK (written Adobe-inverted, as other programs expect). Throws ToolError; the target
// is then left as it was.
void WriteImageFile(const std::string& path, const ImageHeader& header, const RowSource& rows,
                    const WriteOptions& options = {});

}  // namespace xqt::tool
