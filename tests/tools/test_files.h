// PNG and JPEG files written and read with libpng and libjpeg directly, so that the tool's tests
// do not lean on the tool's own codecs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace xqt::test {

struct PngFile {
  uint32_t width = 0;
  uint32_t height = 0;
  int colorType = 0;  // PNG_COLOR_TYPE_...
  int bitDepth = 8;
  std::vector<uint8_t> pixels;   // rows packed as in the file (16-bit samples big-endian)
  std::vector<uint8_t> palette;  // RGB triples, for palette images
  std::vector<uint8_t> alphas;   // tRNS entries of a palette image
};

// Samples per pixel of a PNG colour type (a palette index is one).
int Channels(int colorType);
// Writes exactly what it is given; throws std::runtime_error on failure.
void WritePng(const std::string& path, const PngFile& png);
// Reads with no transforms, so the test sees the file's own samples.
PngFile ReadPng(const std::string& path);

struct JpegFile {
  uint32_t width = 0;
  uint32_t height = 0;
  int components = 3;            // 1 gray, 3 RGB, 4 CMYK
  bool adobe = false;            // an Adobe marker was seen
  std::vector<uint8_t> samples;  // as stored (CMYK with Adobe marker: inverted)
};

void WriteJpeg(const std::string& path, const JpegFile& jpeg, int quality = 95);
JpegFile ReadJpeg(const std::string& path);

}  // namespace xqt::test
