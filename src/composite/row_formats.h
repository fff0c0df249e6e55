// Pixels of one format rewritten in another: the rules CopyPixels uses between the gray, RGB and
// CMYK families, RGB and CMYK exchanged as host pictures see CMYK, and the members that read and
// write rows (or the whole image) in a format of the caller's choice.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

enum class PixelFamily : uint8_t { kNone, kGray8, kGray16, kRGB, kCMYK };

// Where a pixel keeps its channels: gray uses channel[0]; RGB red, green, blue; CMYK cyan,
// magenta, yellow, black. alpha is -1 when there is none.
struct PixelLayout {
  PixelFamily family = PixelFamily::kNone;
  int64_t pixelSize = 0;
  int64_t channel[4] = {-1, -1, -1, -1};
  int64_t alpha = -1;
};

// The layout of an image as its record gives it (clips and channel views included); kNone when
// the image belongs to no family.
PixelLayout LayoutOfImage(const ImageClassData& image);
// The packed layout of a format code; kNone for codes that are not pixel formats.
PixelLayout LayoutOfFormat(int64_t code);

// Channel values of one pixel: 8-bit, except a 16-bit gray value; alpha 8-bit.
struct PixelValue {
  uint32_t v[4];
  uint32_t alpha;
};

// RGB to CMYK, the inverse of the CMYK to RGB rule of the picture bridge: black takes what the
// brightest channel leaves, and each ink is rounded up, so RGB -> CMYK -> RGB gives back the same
// bytes.
PixelValue CMYKFromRGBValue(uint32_t red, uint32_t green, uint32_t blue);
// A colour moved from one family into another.
PixelValue ConvertValue(PixelFamily from, PixelFamily to, PixelValue value);

struct AlphaRule {
  bool invertSource = false;  // the source keeps 255 - alpha
  bool invertDest = false;    // the destination wants 255 - alpha
  bool keepDest = false;      // a destination alpha with no source alpha stays (else opaque)
};

// Converts `count` pixels from `source` (laid out as `from`) into `dest` (laid out as `to`).
// Bytes of `dest` outside the channels of `to` are not touched.
void ConvertPixels(const PixelLayout& from, const uint8_t* source, const PixelLayout& to,
                   uint8_t* dest, int64_t count, AlphaRule alpha);

// "RowInFormat(index as integer, ImageFormat as integer) as memoryblock" and its assignment.
REALobject rbRowInFormat(REALobject instance, int64_t index, int64_t format);
void rbSetRowInFormat(REALobject instance, int64_t index, int64_t format, REALobject value);
// "RowInFormat(index as integer, ImageFormat as integer, InvertAlpha as boolean) as memoryblock"
REALobject rbRowInFormatInvert(REALobject instance, int64_t index, int64_t format,
                               RBBoolean invertAlpha);
void rbSetRowInFormatInvert(REALobject instance, int64_t index, int64_t format,
                            RBBoolean invertAlpha, REALobject value);
// "RowStringInFormat(index as integer, ImageFormat as integer) as string"
REALstring rbRowStringInFormat(REALobject instance, int64_t index, int64_t format);
void rbSetRowStringInFormat(REALobject instance, int64_t index, int64_t format, REALstring value);
// "DataStringInFormat(ImageFormat as integer) as string"
REALstring rbDataStringInFormat(REALobject instance, int64_t format);
void rbSetDataStringInFormat(REALobject instance, int64_t format, REALstring value);
