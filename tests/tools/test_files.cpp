#include "test_files.h"

#include <cstddef>
#include <cstdio>
// clang-format off
#include <jpeglib.h>
// clang-format on
#include <png.h>

#include <csetjmp>
#include <memory>
#include <stdexcept>

namespace xqt::test {
namespace {

using FilePtr = std::unique_ptr<FILE, int (*)(FILE*)>;

FilePtr Open(const std::string& path, const char* mode) {
  FilePtr file(std::fopen(path.c_str(), mode), [](FILE* f) { return std::fclose(f); });
  if (!file) throw std::runtime_error("cannot open " + path);
  return file;
}

void PngFail(png_structp png, png_const_charp) { png_longjmp(png, 1); }

bool PngWriteAll(png_structp png, png_infop info, FILE* file, const PngFile* p) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_init_io(png, file);
  png_set_IHDR(png, info, p->width, p->height, p->bitDepth, p->colorType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (p->colorType == PNG_COLOR_TYPE_PALETTE) {
    png_set_PLTE(png, info, reinterpret_cast<png_const_colorp>(p->palette.data()),
                 static_cast<int>(p->palette.size() / 3));
    if (!p->alphas.empty()) {
      png_set_tRNS(png, info, p->alphas.data(), static_cast<int>(p->alphas.size()), nullptr);
    }
  }
  png_write_info(png, info);
  const size_t rowBytes = p->pixels.size() / p->height;
  for (uint32_t y = 0; y < p->height; ++y) {
    png_write_row(png, const_cast<png_bytep>(p->pixels.data() + y * rowBytes));
  }
  png_write_end(png, info);
  return true;
}

bool PngReadAll(png_structp png, png_infop info, FILE* file, PngFile* p) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_init_io(png, file);
  png_read_info(png, info);
  p->width = png_get_image_width(png, info);
  p->height = png_get_image_height(png, info);
  p->colorType = png_get_color_type(png, info);
  p->bitDepth = png_get_bit_depth(png, info);
  const size_t rowBytes = png_get_rowbytes(png, info);
  p->pixels.resize(rowBytes * p->height);
  for (uint32_t y = 0; y < p->height; ++y)
    png_read_row(png, p->pixels.data() + y * rowBytes, nullptr);
  png_read_end(png, nullptr);
  return true;
}

struct JpegErrors {
  jpeg_error_mgr manager;
  jmp_buf jump;
};

// libjpeg's errors jump back to the caller instead of ending the process.
template <class Struct>
void CatchErrors(Struct& info, JpegErrors& errors) {
  info.err = jpeg_std_error(&errors.manager);
  errors.manager.error_exit = [](j_common_ptr i) {
    std::longjmp(reinterpret_cast<JpegErrors*>(i->err)->jump, 1);
  };
}

bool JpegWriteAll(jpeg_compress_struct* c, FILE* file, const JpegFile* j, int quality) {
  if (setjmp(reinterpret_cast<JpegErrors*>(c->err)->jump)) return false;
  jpeg_create_compress(c);
  jpeg_stdio_dest(c, file);
  c->image_width = j->width;
  c->image_height = j->height;
  c->input_components = j->components;
  c->in_color_space = j->components == 1 ? JCS_GRAYSCALE : j->components == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(c);
  c->write_Adobe_marker = j->adobe ? TRUE : FALSE;
  jpeg_set_quality(c, quality, TRUE);
  jpeg_start_compress(c, TRUE);
  for (uint32_t y = 0; y < j->height; ++y) {
    JSAMPROW row = const_cast<JSAMPROW>(j->samples.data() + size_t{y} * j->width * j->components);
    jpeg_write_scanlines(c, &row, 1);
  }
  jpeg_finish_compress(c);
  return true;
}

bool JpegReadAll(jpeg_decompress_struct* d, FILE* file, JpegFile* j) {
  if (setjmp(reinterpret_cast<JpegErrors*>(d->err)->jump)) return false;
  jpeg_create_decompress(d);
  jpeg_stdio_src(d, file);
  jpeg_read_header(d, TRUE);
  if (d->jpeg_color_space == JCS_CMYK || d->jpeg_color_space == JCS_YCCK) {
    d->out_color_space = JCS_CMYK;
  }
  jpeg_start_decompress(d);
  j->width = d->output_width;
  j->height = d->output_height;
  j->components = d->output_components;
  j->adobe = d->saw_Adobe_marker != 0;
  j->samples.resize(size_t{j->width} * j->height * j->components);
  for (uint32_t y = 0; y < j->height; ++y) {
    JSAMPROW row = j->samples.data() + size_t{y} * j->width * j->components;
    jpeg_read_scanlines(d, &row, 1);
  }
  jpeg_finish_decompress(d);
  return true;
}

}  // namespace

int Channels(int colorType) {
  return colorType == PNG_COLOR_TYPE_GRAY_ALPHA  ? 2
         : colorType == PNG_COLOR_TYPE_RGB       ? 3
         : colorType == PNG_COLOR_TYPE_RGB_ALPHA ? 4
                                                 : 1;
}

void WritePng(const std::string& path, const PngFile& png) {
  FilePtr file = Open(path, "wb");
  png_structp p = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, PngFail, nullptr);
  png_infop info = png_create_info_struct(p);
  const bool ok = PngWriteAll(p, info, file.get(), &png);
  png_destroy_write_struct(&p, &info);
  if (!ok) throw std::runtime_error("cannot write " + path);
}

PngFile ReadPng(const std::string& path) {
  FilePtr file = Open(path, "rb");
  png_structp p = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, PngFail, nullptr);
  png_infop info = png_create_info_struct(p);
  PngFile png;
  const bool ok = PngReadAll(p, info, file.get(), &png);
  png_destroy_read_struct(&p, &info, nullptr);
  if (!ok) throw std::runtime_error("cannot read " + path);
  return png;
}

void WriteJpeg(const std::string& path, const JpegFile& jpeg, int quality) {
  FilePtr file = Open(path, "wb");
  jpeg_compress_struct c{};
  JpegErrors errors;
  CatchErrors(c, errors);
  const bool ok = JpegWriteAll(&c, file.get(), &jpeg, quality);
  jpeg_destroy_compress(&c);
  if (!ok) throw std::runtime_error("cannot write " + path);
}

JpegFile ReadJpeg(const std::string& path) {
  FilePtr file = Open(path, "rb");
  jpeg_decompress_struct d{};
  JpegErrors errors;
  CatchErrors(d, errors);
  JpegFile jpeg;
  const bool ok = JpegReadAll(&d, file.get(), &jpeg);
  jpeg_destroy_decompress(&d);
  if (!ok) throw std::runtime_error("cannot read " + path);
  return jpeg;
}

}  // namespace xqt::test
