// JPEG through libjpeg-turbo. Like libpng it reports errors by longjmp, so the calls that may fail
// run in small functions whose state lives in plain structs.
//
// CMYK: files with an Adobe marker (what almost every program writes) store inverted samples,
// 255 meaning no ink; we read them back into ink amounts and write them the same way.
// jpeglib.h uses FILE and size_t without including their headers.
#include <cstddef>
#include <cstdio>
// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "codecs.h"

namespace xqt::tool {
namespace {

struct JpegErrors {
  jpeg_error_mgr manager;
  jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
  bool truncated;
};

void OnJpegError(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

// libjpeg only warns about a file that ends early and pads the picture with gray; a truncated
// file is an error for us. Other warnings (stray bytes between markers) are common and harmless.
void OnJpegMessage(j_common_ptr info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) {
    auto* errors = reinterpret_cast<JpegErrors*>(info->err);
    (*info->err->format_message)(info, errors->message);
    errors->truncated = true;
    std::longjmp(errors->jump, 1);
  }
}

struct JpegReadState {
  jpeg_decompress_struct info;
  JpegErrors errors;
  bool created;
};

struct JpegShape {
  JDIMENSION width;
  JDIMENSION height;
  int components;
  bool supported;
  bool invert;
  Layout layout;
  J_COLOR_SPACE space;
};

bool JpegReadHeader(JpegReadState* s, FILE* file, JpegShape* shape) {
  if (setjmp(s->errors.jump)) return false;
  jpeg_create_decompress(&s->info);
  s->created = true;
  jpeg_stdio_src(&s->info, file);
  jpeg_read_header(&s->info, TRUE);
  shape->space = s->info.jpeg_color_space;
  shape->supported = true;
  shape->invert = false;
  switch (s->info.jpeg_color_space) {
    case JCS_GRAYSCALE:
      s->info.out_color_space = JCS_GRAYSCALE;
      shape->layout = Layout::Gray;
      break;
    case JCS_RGB:
    case JCS_YCbCr:
      s->info.out_color_space = JCS_RGB;
      shape->layout = Layout::RGB;
      break;
    case JCS_CMYK:
    case JCS_YCCK:
      s->info.out_color_space = JCS_CMYK;
      shape->layout = Layout::CMYK;
      shape->invert = s->info.saw_Adobe_marker != 0;
      break;
    default:
      shape->supported = false;
      return true;
  }
  jpeg_start_decompress(&s->info);
  shape->width = s->info.output_width;
  shape->height = s->info.output_height;
  shape->components = s->info.output_components;
  return true;
}

struct JpegRows {
  uint8_t* buffer;
  JDIMENSION height;
  size_t rowBytes;
  bool invert;
  const RowSink* sink;
};

bool JpegReadRows(JpegReadState* s, const JpegRows* rows) {
  if (setjmp(s->errors.jump)) return false;
  for (JDIMENSION y = 0; y < rows->height; ++y) {
    JSAMPROW row = rows->buffer;
    if (jpeg_read_scanlines(&s->info, &row, 1) != 1) {
      std::snprintf(s->errors.message, sizeof s->errors.message, "no scanline %u", y);
      s->errors.truncated = true;
      return false;
    }
    if (rows->invert) {
      for (size_t i = 0; i < rows->rowBytes; ++i) rows->buffer[i] = 255 - rows->buffer[i];
    }
    (*rows->sink)(y, rows->buffer);
  }
  jpeg_finish_decompress(&s->info);
  return true;
}

struct JpegWriteState {
  jpeg_compress_struct info;
  JpegErrors errors;
  bool created;
};

struct JpegWrite {
  JDIMENSION width;
  JDIMENSION height;
  int components;
  J_COLOR_SPACE space;
  int quality;
  bool invert;
  uint8_t* scratch;  // one row, for inverted CMYK
  const RowSource* rows;
};

bool JpegWriteAll(JpegWriteState* s, FILE* file, const JpegWrite* w) {
  if (setjmp(s->errors.jump)) return false;
  jpeg_create_compress(&s->info);
  s->created = true;
  jpeg_stdio_dest(&s->info, file);
  s->info.image_width = w->width;
  s->info.image_height = w->height;
  s->info.input_components = w->components;
  s->info.in_color_space = w->space;
  jpeg_set_defaults(&s->info);
  jpeg_set_quality(&s->info, w->quality, TRUE);
  jpeg_start_compress(&s->info, TRUE);
  const size_t rowBytes = static_cast<size_t>(w->width) * w->components;
  for (JDIMENSION y = 0; y < w->height; ++y) {
    const uint8_t* source = (*w->rows)(y);
    JSAMPROW row = const_cast<JSAMPROW>(source);
    if (w->invert) {
      for (size_t i = 0; i < rowBytes; ++i) w->scratch[i] = 255 - source[i];
      row = w->scratch;
    }
    jpeg_write_scanlines(&s->info, &row, 1);
  }
  jpeg_finish_compress(&s->info);
  return true;
}

void InstallErrors(JpegErrors* errors, jpeg_error_mgr** slot) {
  *slot = jpeg_std_error(&errors->manager);
  errors->manager.error_exit = OnJpegError;
  errors->manager.emit_message = OnJpegMessage;
  errors->message[0] = '\0';
  errors->truncated = false;
}

class JpegReadHolder {
 public:
  JpegReadHolder() {
    std::memset(&state, 0, sizeof state);
    InstallErrors(&state.errors, &state.info.err);
  }
  ~JpegReadHolder() {
    if (state.created) jpeg_destroy_decompress(&state.info);
  }
  JpegReadHolder(const JpegReadHolder&) = delete;
  JpegReadHolder& operator=(const JpegReadHolder&) = delete;
  JpegReadState state;
};

class JpegWriteHolder {
 public:
  JpegWriteHolder() {
    std::memset(&state, 0, sizeof state);
    InstallErrors(&state.errors, &state.info.err);
  }
  ~JpegWriteHolder() {
    if (state.created) jpeg_destroy_compress(&state.info);
  }
  JpegWriteHolder(const JpegWriteHolder&) = delete;
  JpegWriteHolder& operator=(const JpegWriteHolder&) = delete;
  JpegWriteState state;
};

}  // namespace

void ReadJpeg(FILE* file, const std::string& name, const HeaderSink& onHeader,
              const RowSink& onRow) {
  JpegReadHolder holder;
  JpegReadState* s = &holder.state;
  JpegShape shape{};
  if (!JpegReadHeader(s, file, &shape)) {
    if (s->errors.manager.msg_code == JERR_BAD_PRECISION) {
      throw ToolError(name + ": unsupported JPEG depth: " + std::to_string(s->info.data_precision) +
                      "-bit samples (8-bit only)");
    }
    if (s->errors.truncated) throw ToolError(name + ": truncated JPEG (" + s->errors.message + ")");
    throw ToolError(name + ": not a valid JPEG file (" + s->errors.message + ")");
  }
  if (!shape.supported) {
    throw ToolError(name + ": unsupported JPEG colour space " +
                    std::to_string(static_cast<int>(shape.space)));
  }
  if (shape.components != BytesPerPixel(shape.layout)) {
    throw ToolError(name + ": unexpected JPEG component count " + std::to_string(shape.components));
  }
  std::vector<uint8_t> buffer(static_cast<size_t>(shape.width) * shape.components);
  onHeader(ImageHeader{shape.width, shape.height, shape.layout, FileKind::JPEG});
  JpegRows rows{buffer.data(), shape.height, buffer.size(), shape.invert, &onRow};
  if (!JpegReadRows(s, &rows)) {
    if (s->errors.truncated) throw ToolError(name + ": truncated JPEG (" + s->errors.message + ")");
    throw ToolError(name + ": corrupt JPEG data (" + s->errors.message + ")");
  }
}

void WriteJpeg(FILE* file, const std::string& name, const ImageHeader& header,
               const RowSource& rows, int quality) {
  // libjpeg keeps dimensions below 65536.
  constexpr int64_t kLimit = JPEG_MAX_DIMENSION;
  if (header.width < 1 || header.height < 1 || header.width > kLimit || header.height > kLimit) {
    throw ToolError(name + ": a JPEG cannot hold an image of " + std::to_string(header.width) +
                    " x " + std::to_string(header.height));
  }
  JpegWrite w{};
  w.width = static_cast<JDIMENSION>(header.width);
  w.height = static_cast<JDIMENSION>(header.height);
  w.quality = quality;
  w.rows = &rows;
  switch (header.layout) {
    case Layout::Gray:
      w.components = 1;
      w.space = JCS_GRAYSCALE;
      break;
    case Layout::RGB:
      w.components = 3;
      w.space = JCS_RGB;
      break;
    case Layout::CMYK:
      w.components = 4;
      w.space = JCS_CMYK;
      w.invert = true;
      break;
    default:
      throw ToolError(name + ": JPEG has no " + LayoutName(header.layout) + " form");
  }
  std::vector<uint8_t> scratch(static_cast<size_t>(w.width) * w.components);
  w.scratch = scratch.data();
  JpegWriteHolder holder;
  if (!JpegWriteAll(&holder.state, file, &w)) {
    throw ToolError(name + ": cannot write JPEG (" + holder.state.errors.message + ")");
  }
}

}  // namespace xqt::tool
