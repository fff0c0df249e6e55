// PNG through libpng. libpng reports errors by longjmp, so every call into it that may fail runs
// in a small function whose state lives in plain structs: no destructor is ever jumped over.
#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "codecs.h"

namespace xqt::tool {
namespace {

constexpr bool kLittleEndian = std::endian::native == std::endian::little;

struct PngContext {
  png_structp png = nullptr;
  png_infop info = nullptr;
  char message[256] = {};
};

void OnPngError(png_structp png, png_const_charp text) {
  auto* context = static_cast<PngContext*>(png_get_error_ptr(png));
  std::snprintf(context->message, sizeof context->message, "%s", text ? text : "unknown error");
  png_longjmp(png, 1);
}

// Warnings (unknown chunks, odd gamma values) do not stop reading.
void OnPngWarning(png_structp, png_const_charp) {}

class PngReadHolder {
 public:
  PngReadHolder() {
    context.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &context, OnPngError, OnPngWarning);
    if (context.png) context.info = png_create_info_struct(context.png);
  }
  ~PngReadHolder() {
    if (context.png)
      png_destroy_read_struct(&context.png, context.info ? &context.info : nullptr, nullptr);
  }
  PngReadHolder(const PngReadHolder&) = delete;
  PngReadHolder& operator=(const PngReadHolder&) = delete;
  PngContext context;
};

class PngWriteHolder {
 public:
  PngWriteHolder() {
    context.png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &context, OnPngError, OnPngWarning);
    if (context.png) context.info = png_create_info_struct(context.png);
  }
  ~PngWriteHolder() {
    if (context.png) png_destroy_write_struct(&context.png, context.info ? &context.info : nullptr);
  }
  PngWriteHolder(const PngWriteHolder&) = delete;
  PngWriteHolder& operator=(const PngWriteHolder&) = delete;
  PngContext context;
};

// What the header says and the transforms chosen for it.
struct PngShape {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  int colorType = 0;
  int bitDepth = 0;
  int passes = 1;
  size_t rowBytes = 0;
  bool supported = true;
  Layout layout = Layout::RGB;
};

const char* ColorTypeName(int colorType) {
  switch (colorType) {
    case PNG_COLOR_TYPE_GRAY:
      return "gray";
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      return "gray + alpha";
    case PNG_COLOR_TYPE_RGB:
      return "RGB";
    case PNG_COLOR_TYPE_RGB_ALPHA:
      return "RGBA";
    case PNG_COLOR_TYPE_PALETTE:
      return "palette";
    default:
      return "unknown";
  }
}

bool PngReadHeader(PngContext* c, FILE* file, PngShape* shape) {
  if (setjmp(png_jmpbuf(c->png))) return false;
  png_init_io(c->png, file);
  png_read_info(c->png, c->info);
  shape->width = png_get_image_width(c->png, c->info);
  shape->height = png_get_image_height(c->png, c->info);
  shape->colorType = png_get_color_type(c->png, c->info);
  shape->bitDepth = png_get_bit_depth(c->png, c->info);
  const bool transparency = png_get_valid(c->png, c->info, PNG_INFO_tRNS) != 0;
  const bool wide = shape->bitDepth == 16;
  switch (shape->colorType) {
    case PNG_COLOR_TYPE_PALETTE:
      png_set_palette_to_rgb(c->png);
      if (transparency) png_set_tRNS_to_alpha(c->png);
      shape->layout = transparency ? Layout::RGBA : Layout::RGB;
      break;
    case PNG_COLOR_TYPE_GRAY:
      if (wide) {
        // A 16-bit gray image with a transparent value would need 16-bit gray + alpha.
        shape->supported = !transparency;
        if (kLittleEndian) png_set_swap(c->png);
        shape->layout = Layout::Gray16;
      } else {
        if (shape->bitDepth < 8) png_set_expand_gray_1_2_4_to_8(c->png);
        if (transparency) png_set_tRNS_to_alpha(c->png);
        shape->layout = transparency ? Layout::GrayAlpha : Layout::Gray;
      }
      break;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      shape->supported = !wide;
      shape->layout = Layout::GrayAlpha;
      break;
    case PNG_COLOR_TYPE_RGB:
      shape->supported = !wide;
      if (transparency) png_set_tRNS_to_alpha(c->png);
      shape->layout = transparency ? Layout::RGBA : Layout::RGB;
      break;
    case PNG_COLOR_TYPE_RGB_ALPHA:
      shape->supported = !wide;
      shape->layout = Layout::RGBA;
      break;
    default:
      shape->supported = false;
      break;
  }
  if (!shape->supported) return true;
  shape->passes = png_set_interlace_handling(c->png);
  png_read_update_info(c->png, c->info);
  shape->rowBytes = png_get_rowbytes(c->png, c->info);
  return true;
}

struct PngRows {
  uint8_t* buffer = nullptr;  // one row, or every row of an interlaced image
  size_t rowBytes = 0;
  png_uint_32 height = 0;
  int passes = 1;
  const RowSink* sink = nullptr;
};

bool PngReadRows(PngContext* c, const PngRows* rows) {
  if (setjmp(png_jmpbuf(c->png))) return false;
  if (rows->passes == 1) {
    for (png_uint_32 y = 0; y < rows->height; ++y) {
      png_read_row(c->png, rows->buffer, nullptr);
      (*rows->sink)(y, rows->buffer);
    }
  } else {
    // Interlaced rows are complete only after the last pass.
    for (int pass = 0; pass < rows->passes; ++pass) {
      for (png_uint_32 y = 0; y < rows->height; ++y) {
        png_read_row(c->png, rows->buffer + y * rows->rowBytes, nullptr);
      }
    }
    for (png_uint_32 y = 0; y < rows->height; ++y) {
      (*rows->sink)(y, rows->buffer + y * rows->rowBytes);
    }
  }
  png_read_end(c->png, nullptr);
  return true;
}

struct PngWrite {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  int colorType = 0;
  int bitDepth = 8;
  int compression = 6;
  bool swap = false;
  const RowSource* rows = nullptr;
};

bool PngWriteAll(PngContext* c, FILE* file, const PngWrite* w) {
  if (setjmp(png_jmpbuf(c->png))) return false;
  png_init_io(c->png, file);
  png_set_compression_level(c->png, w->compression);
  png_set_IHDR(c->png, c->info, w->width, w->height, w->bitDepth, w->colorType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(c->png, c->info);
  if (w->swap) png_set_swap(c->png);
  for (png_uint_32 y = 0; y < w->height; ++y) {
    png_write_row(c->png, const_cast<png_bytep>((*w->rows)(y)));
  }
  png_write_end(c->png, c->info);
  return true;
}

}  // namespace

void ReadPng(FILE* file, const std::string& name, const HeaderSink& onHeader,
             const RowSink& onRow) {
  PngReadHolder holder;
  PngContext* c = &holder.context;
  if (!c->png || !c->info) throw ToolError(name + ": out of memory starting libpng");
  PngShape shape;
  if (!PngReadHeader(c, file, &shape)) {
    throw ToolError(name + ": not a valid PNG file (" + c->message + ")");
  }
  if (!shape.supported) {
    throw ToolError(name + ": unsupported PNG depth: " + std::to_string(shape.bitDepth) + "-bit " +
                    ColorTypeName(shape.colorType) +
                    " (16 bits are read only for gray without transparency)");
  }
  const size_t packed = static_cast<size_t>(shape.width) * BytesPerPixel(shape.layout);
  if (shape.rowBytes != packed) {
    throw ToolError(name + ": unexpected PNG row size " + std::to_string(shape.rowBytes));
  }
  std::vector<uint8_t> buffer;
  const size_t rowsHeld = shape.passes == 1 ? 1 : shape.height;
  if (shape.rowBytes != 0 && rowsHeld > std::numeric_limits<size_t>::max() / shape.rowBytes) {
    throw ToolError(name + ": interlaced PNG too large to read");
  }
  try {
    buffer.resize(rowsHeld * shape.rowBytes);
  } catch (const std::bad_alloc&) {
    throw ToolError(name + ": not enough memory to read this interlaced PNG");
  }
  onHeader(ImageHeader{shape.width, shape.height, shape.layout, FileKind::PNG});
  PngRows rows{buffer.data(), shape.rowBytes, shape.height, shape.passes, &onRow};
  if (!PngReadRows(c, &rows)) {
    throw ToolError(name + ": truncated or corrupt PNG data (" + c->message + ")");
  }
}

void WritePng(FILE* file, const std::string& name, const ImageHeader& header, const RowSource& rows,
              int compression) {
  PngWrite w;
  constexpr int64_t kLimit = 0x7fffffff;
  if (header.width < 1 || header.height < 1 || header.width > kLimit || header.height > kLimit) {
    throw ToolError(name + ": a PNG cannot hold an image of " + std::to_string(header.width) +
                    " x " + std::to_string(header.height));
  }
  w.width = static_cast<png_uint_32>(header.width);
  w.height = static_cast<png_uint_32>(header.height);
  w.compression = compression;
  w.rows = &rows;
  switch (header.layout) {
    case Layout::Gray:
      w.colorType = PNG_COLOR_TYPE_GRAY;
      break;
    case Layout::GrayAlpha:
      w.colorType = PNG_COLOR_TYPE_GRAY_ALPHA;
      break;
    case Layout::Gray16:
      w.colorType = PNG_COLOR_TYPE_GRAY;
      w.bitDepth = 16;
      w.swap = kLittleEndian;
      break;
    case Layout::RGB:
      w.colorType = PNG_COLOR_TYPE_RGB;
      break;
    case Layout::RGBA:
      w.colorType = PNG_COLOR_TYPE_RGB_ALPHA;
      break;
    case Layout::CMYK:
      throw ToolError(name + ": PNG has no CMYK form");
  }
  PngWriteHolder holder;
  PngContext* c = &holder.context;
  if (!c->png || !c->info) throw ToolError(name + ": out of memory starting libpng");
  if (!PngWriteAll(c, file, &w)) throw ToolError(name + ": cannot write PNG (" + c->message + ")");
}

}  // namespace xqt::tool
