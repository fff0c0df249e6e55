// End-to-end runs of the built xqt on small files made here with libpng and libjpeg (and read back
// with the tool's own reader, itself checked against the samples written here): round trips
// of every file form, commands checked pixel by pixel against the plug-in's own results (or
// against values worked out here), and every error case: status, message, nothing written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <png.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// jpeglib.h needs FILE and size_t declared first.
// clang-format off
#include <jpeglib.h>
// clang-format on

#include "image_files.h"
#include "support/format_codes.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"
#include "support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using xqt::host::Ref;
using Args = std::vector<std::string>;

// ---- files written with libpng and libjpeg directly, in forms the tool's own writer never makes
// too (palettes, single bits, CMYK without an Adobe marker), so that the tool's reading is tested
// on files it did not write.

struct PngFile {
  uint32_t width = 0;
  uint32_t height = 0;
  int colorType = 0;  // PNG_COLOR_TYPE_...
  int bitDepth = 8;
  std::vector<uint8_t> pixels;   // rows packed as in the file (16-bit samples big-endian)
  std::vector<uint8_t> palette;  // RGB triples, for palette images
  std::vector<uint8_t> alphas;   // tRNS entries of a palette image
};

struct JpegFile {
  uint32_t width = 0;
  uint32_t height = 0;
  int components = 3;            // 1 gray, 3 RGB, 4 CMYK
  bool adobe = false;            // write an Adobe marker
  std::vector<uint8_t> samples;  // as stored (CMYK with Adobe marker: inverted)
};

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

struct JpegErrors {
  jpeg_error_mgr manager;
  jmp_buf jump;
};

bool JpegWriteAll(jpeg_compress_struct* c, FILE* file, const JpegFile* j) {
  if (setjmp(reinterpret_cast<JpegErrors*>(c->err)->jump)) return false;
  jpeg_create_compress(c);
  jpeg_stdio_dest(c, file);
  c->image_width = j->width;
  c->image_height = j->height;
  c->input_components = j->components;
  c->in_color_space = j->components == 1 ? JCS_GRAYSCALE : j->components == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(c);
  c->write_Adobe_marker = j->adobe ? TRUE : FALSE;
  jpeg_set_quality(c, 95, TRUE);
  jpeg_start_compress(c, TRUE);
  for (uint32_t y = 0; y < j->height; ++y) {
    JSAMPROW row = const_cast<JSAMPROW>(j->samples.data() + size_t{y} * j->width * j->components);
    jpeg_write_scanlines(c, &row, 1);
  }
  jpeg_finish_compress(c);
  return true;
}

// Samples per pixel of a PNG colour type (a palette index is one).
int Channels(int colorType) {
  return colorType == PNG_COLOR_TYPE_GRAY_ALPHA  ? 2
         : colorType == PNG_COLOR_TYPE_RGB       ? 3
         : colorType == PNG_COLOR_TYPE_RGB_ALPHA ? 4
                                                 : 1;
}

// Writes exactly what it is given.
void WritePng(const std::string& path, const PngFile& png) {
  FilePtr file = Open(path, "wb");
  png_structp p = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, PngFail, nullptr);
  png_infop info = png_create_info_struct(p);
  const bool ok = PngWriteAll(p, info, file.get(), &png);
  png_destroy_write_struct(&p, &info);
  if (!ok) throw std::runtime_error("cannot write " + path);
}

// At quality 95.
void WriteJpeg(const std::string& path, const JpegFile& jpeg) {
  FilePtr file = Open(path, "wb");
  jpeg_compress_struct c{};
  JpegErrors errors;  // libjpeg's errors jump back here instead of ending the process
  c.err = jpeg_std_error(&errors.manager);
  errors.manager.error_exit = [](j_common_ptr i) {
    std::longjmp(reinterpret_cast<JpegErrors*>(i->err)->jump, 1);
  };
  const bool ok = JpegWriteAll(&c, file.get(), &jpeg);
  jpeg_destroy_compress(&c);
  if (!ok) throw std::runtime_error("cannot write " + path);
}

// ---- runs of the tool ----------------------------------------------------------------------

struct Result {
  int status = -1;
  std::string out, err;
};

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(n);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
  return bytes;
}

PngFile Png(uint32_t w, uint32_t h, int colorType, int depth, std::vector<uint8_t> pixels = {}) {
  return PngFile{w, h, colorType, depth, std::move(pixels), {}, {}};
}

PngFile MakePng(uint32_t w, uint32_t h, int colorType, int depth, uint32_t seed) {
  return Png(w, h, colorType, depth,
             RandomBytes((size_t{w} * Channels(colorType) * depth + 7) / 8 * h, seed));
}

// A smooth picture, so that JPEG keeps it close.
JpegFile MakeJpeg(uint32_t w, uint32_t h, int components, bool adobe) {
  JpegFile j{w, h, components, adobe, std::vector<uint8_t>(size_t{w} * h * components)};
  for (size_t i = 0, x, y; i < j.samples.size(); ++i) {
    x = i / components % w, y = i / components / w;
    j.samples[i] = static_cast<uint8_t>(20 + x * 3 + y * 2 + i % components * 10);
  }
  return j;
}

// A file as the tool's reader gives it, as the PngFile of its layout (16-bit samples big-endian as
// PNG stores them); CMYK as four samples of ink.
PngFile Read(const std::string& path) {
  const int types[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_GRAY,
                       PNG_COLOR_TYPE_RGB,  PNG_COLOR_TYPE_RGB_ALPHA,  -1};  // in Layout's order
  PngFile file;
  size_t rowBytes = 0;
  xqt::tool::ReadImageFile(
      path,
      [&](const xqt::tool::ImageHeader& h) {
        const bool wide = h.layout == xqt::tool::Layout::Gray16;
        file = Png(h.width, h.height, types[static_cast<int>(h.layout)], wide ? 16 : 8);
        rowBytes = h.width * xqt::tool::BytesPerPixel(h.layout);
      },
      [&](int64_t, const uint8_t* row) {
        file.pixels.insert(file.pixels.end(), row, row + rowBytes);
      });
  for (size_t i = 0;
       file.bitDepth == 16 && std::endian::native == std::endian::little && i < file.pixels.size();
       i += 2) {
    std::swap(file.pixels[i], file.pixels[i + 1]);
  }
  return file;
}

class XqtTool : public PluginTest {
 protected:
  std::string Path(const std::string& name) const { return dir_.Named(name); }

  // A command line split at spaces; words naming a .png, .jpg or .bmp file become its path in the
  // scratch folder.
  Args Line(const std::string& line) const {
    Args args;
    std::istringstream words(line);
    for (std::string w; words >> w;) {
      const std::string type = w.size() > 4 ? w.substr(w.size() - 4) : "";
      args.push_back(type == ".png" || type == ".jpg" || type == ".bmp" ? Path(w) : w);
    }
    return args;
  }

  static std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
  }

  Result Run(const Args& args) const {
    std::string command = Quote(XQT_TOOL_PATH);
    for (const std::string& a : args) command.append(" ").append(Quote(a));
    const int raw = std::system(
        (command + " >" + Quote(Path("stdout.txt")) + " 2>" + Quote(Path("stderr.txt"))).c_str());
    Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp(dir_ / "stdout.txt"),
             Slurp(dir_ / "stderr.txt")};
    fs::remove(dir_ / "stdout.txt"), fs::remove(dir_ / "stderr.txt");
    return r;
  }

  // Runs a command that must succeed quietly, and reads the PNG it wrote to out.png.
  PngFile Ok(const std::string& line) const {
    fs::remove(dir_ / "out.png");
    const Result r = Run(Line(line + " --quiet"));
    EXPECT_EQ(r.status, 0) << line << "\n" << r.err;
    return r.status == 0 && fs::exists(dir_ / "out.png") ? Read(Path("out.png")) : PngFile{};
  }

  std::vector<fs::path> Listing() const {
    std::vector<fs::path> names;
    for (const auto& entry : fs::directory_iterator(dir_.path())) names.push_back(entry.path());
    std::sort(names.begin(), names.end());
    return names;
  }

  // Runs a command that must fail with one line naming `file` and containing `reason` (a usage
  // error, status 2, adds the usage line), leaving no file but the inputs behind.
  void Fails(const std::string& line, const std::string& reason, const std::string& file = "",
             int status = 2) const {
    SCOPED_TRACE(line);
    const std::vector<fs::path> before = Listing();
    const Result r = Run(Line(line + " --quiet"));
    EXPECT_EQ(r.status, status) << r.err;
    EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(file), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), status == 2 ? 2 : 1) << r.err;
    EXPECT_EQ(Listing(), before) << "files were left behind";
  }

  // An image of the plug-in holding the rows of an 8-bit PNG of gray, GA, RGB or RGBA.
  Ref PictureOf(const PngFile& png) {
    const int64_t formats[] = {kG, kGA, kRGB, kRGBA};
    Ref image = NewImage(png.width, png.height, formats[Channels(png.colorType) - 1]);
    const auto row = png.pixels.begin();
    const size_t n = png.pixels.size() / png.height;
    for (uint32_t y = 0; y < png.height; ++y)
      SetPixels(image, y, Bytes(row + y * n, row + y * n + n));
    return image;
  }

  ScratchFolder dir_{"xqt-tool"};
};

// Every file form is read as libpng or libjpeg decodes it (palettes and single bits expanded, CMYK
// samples as inks) and written back unchanged, or within JPEG's loss; conversions worked out by
// hand.
TEST_F(XqtTool, FilesAreReadAsDecodedAndKeepTheirFormWrittenBack) {
  std::vector<std::pair<std::string, PngFile>>
      cases;  // a file converted to out.png, and the result
  uint32_t seed = 1;
  for (const auto& [colorType, depth] : {std::pair{PNG_COLOR_TYPE_GRAY, 8},
                                         {PNG_COLOR_TYPE_GRAY, 16},
                                         {PNG_COLOR_TYPE_GRAY_ALPHA, 8},
                                         {PNG_COLOR_TYPE_RGB, 8},
                                         {PNG_COLOR_TYPE_RGB_ALPHA, 8}}) {
    const std::string name = "kind" + std::to_string(seed) + ".png";
    cases.emplace_back("convert " + name + " out.png", MakePng(37, 23, colorType, depth, seed++));
    WritePng(Path(name), cases.back().second);
  }
  // A palette with and without tRNS: entries past the tRNS list are opaque.
  PngFile palette = MakePng(9, 5, PNG_COLOR_TYPE_PALETTE, 8, 7);
  palette.palette = RandomBytes(256 * 3, 8);
  for (bool transparent : {false, true}) {
    palette.alphas = transparent ? RandomBytes(200, 9) : std::vector<uint8_t>();
    const std::string name = transparent ? "trns.png" : "palette.png";
    WritePng(Path(name), palette);
    PngFile rgb = Png(9, 5, transparent ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, 8);
    for (uint8_t index : palette.pixels) {
      for (int c = 0; c < 3; ++c) rgb.pixels.push_back(palette.palette[index * 3 + c]);
      if (transparent) rgb.pixels.push_back(index < 200 ? palette.alphas[index] : 255);
    }
    cases.emplace_back("convert " + name + " out.png", rgb);
  }
  // 13 one-bit pixels take two bytes a row, most significant bit first.
  const PngFile bits = MakePng(13, 3, PNG_COLOR_TYPE_GRAY, 1, 11);
  WritePng(Path("bits.png"), bits);
  PngFile gray = Png(13, 3, PNG_COLOR_TYPE_GRAY, 8);
  for (uint32_t i = 0; i < 3 * 13; ++i) {
    gray.pixels.push_back((bits.pixels[i / 13 * 2 + i % 13 / 8] >> (7 - i % 13 % 8)) & 1 ? 255 : 0);
  }
  cases.emplace_back("convert bits.png out.png", gray);
  for (int components : {1, 3}) {
    const std::string name = "c" + std::to_string(components) + ".jpg";
    WriteJpeg(Path(name), MakeJpeg(41, 19, components, false));
    cases.emplace_back("convert " + name + " out.png", Read(Path(name)));
  }
  // Gray into CMYK puts the gray into black ink, which the PNG shows as 255 - gray in R, G and B
  // (R = (255 - C)(255 - K) / 255 with no C, M or Y); gray into 16 bits is v * 257, v twice.
  const PngFile small = MakePng(6, 5, PNG_COLOR_TYPE_GRAY, 8, 32);
  WritePng(Path("gray.png"), small);
  PngFile black = Png(6, 5, PNG_COLOR_TYPE_RGB, 8), wide = Png(6, 5, PNG_COLOR_TYPE_GRAY, 16);
  for (uint8_t v : small.pixels) {
    black.pixels.insert(black.pixels.end(), 3, static_cast<uint8_t>(255 - v));
    wide.pixels.insert(wide.pixels.end(), 2, v);
  }
  cases.emplace_back("convert gray.png out.png --format CMYK", black);
  cases.emplace_back("convert gray.png out.png --format Gray16", wide);
  for (const auto& [line, want] : cases) {
    SCOPED_TRACE(line);
    const PngFile out = Ok(line);
    EXPECT_EQ(std::tie(out.colorType, out.bitDepth, out.width, out.height, out.pixels),
              std::tie(want.colorType, want.bitDepth, want.width, want.height, want.pixels));
  }

  // JPEG is read as written, within its loss (CMYK with an Adobe marker stores 255 for no ink),
  // and written back with its components, the marker for CMYK, and its samples within 4.
  for (int components : {1, 3, 4}) {
    SCOPED_TRACE(testing::Message() << components << " components");
    const JpegFile made = MakeJpeg(41, 19, components, components == 4);
    WriteJpeg(Path("in.jpg"), made);
    const PngFile decoded = Read(Path("in.jpg"));
    Ok("convert in.jpg out.jpg --quality 100");
    const PngFile again = Read(Path("out.jpg"));
    EXPECT_EQ(Slurp(dir_ / "out.jpg").find("Adobe") != std::string::npos, components == 4);
    ASSERT_EQ(decoded.pixels.size(), made.samples.size());
    ASSERT_EQ(again.pixels.size(), made.samples.size());
    for (size_t i = 0; i < made.samples.size(); ++i) {
      const int written = components == 4 ? 255 - made.samples[i] : made.samples[i];
      ASSERT_LE(std::abs(decoded.pixels[i] - written), 4) << i;
      ASSERT_LE(std::abs(again.pixels[i] - decoded.pixels[i]), 4) << i;
    }
  }

  // Without an Adobe marker the CMYK samples are the inks; each ink is its own channel (the
  // channels of the picture made here differ by 10).
  const char* inks[] = {"Cyan", "Magenta", "Yellow", "Black"};
  for (bool adobe : {true, false}) {
    const JpegFile made = MakeJpeg(16, 16, 4, adobe);
    WriteJpeg(Path("cmyk.jpg"), made);
    for (int c = 0; c < 4; ++c) {
      SCOPED_TRACE(testing::Message() << inks[c] << (adobe ? " Adobe" : " plain"));
      const PngFile out = Ok(std::string("channel cmyk.jpg out.png ") + inks[c]);
      ASSERT_EQ(out.pixels.size(), 256u);
      for (size_t i = 0; i < 256; ++i) {
        const int ink = made.samples[i * 4 + c];
        ASSERT_LE(std::abs(out.pixels[i] - (adobe ? 255 - ink : ink)), 4) << i;
      }
    }
  }

  // info names the format each file is read into; 5 pixels of 2 bytes padded to 64, four rows:
  // 256 bytes.
  WritePng(Path("g16.png"), MakePng(5, 4, PNG_COLOR_TYPE_GRAY, 16, 1));
  const Result r = Run(Line("info g16.png kind3.png cmyk.jpg"));
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* line :
       {"ImageFormatGray16 (41, \"G16\")", "16 bits per component", "ImageFormatGA (12",
        "ImageFormatCMYK (23", "Cyan, Magenta, Yellow, Black", "memory      256 bytes"}) {
    EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
  }

  // The top-left pixel of a 30-degree turn lies far outside the turned image, on the background.
  WritePng(Path("rgba.png"), MakePng(40, 30, PNG_COLOR_TYPE_RGB_ALPHA, 8, 71));
  WritePng(Path("ga.png"), MakePng(40, 30, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 72));
  WriteJpeg(Path("cmyk.jpg"), MakeJpeg(40, 30, 4, true));
  // CMYK is written to PNG as R = (255 - C)(255 - K) / 255: the inks show the colour again;
  // without a background no ink at all, white paper.
  const std::pair<const char*, std::vector<uint8_t>> corners[] = {
      {"rotate rgba.png out.png 30", {0, 0, 0, 0}},
      {"rotate rgba.png out.png 30 --background #3366cc", {0x33, 0x66, 0xcc, 255}},
      {"rotate ga.png out.png 30 --background white --alpha 40", {255, 40}},
      {"rotate ga.png out.png 30 --alpha 40", {0, 40}},
      {"rotate cmyk.jpg out.png 30 --background #3366cc", {0x33, 0x66, 0xcc}},
      {"rotate cmyk.jpg out.png 30", {255, 255, 255}}};
  for (const auto& [line, corner] : corners) {
    SCOPED_TRACE(line);
    const PngFile out = Ok(line);
    ASSERT_EQ(out.pixels.size(), corner.size() * out.width * out.height);
    EXPECT_EQ(std::vector<uint8_t>(out.pixels.begin(), out.pixels.begin() + corner.size()), corner);
  }
}

// ---- commands against the plug-in ------------------------------------------------------------

// Each command writes exactly the image the plug-in's member gives for the same file and options.
TEST_F(XqtTool, EveryCommandWritesWhatThePluginComputes) {
  const std::map<std::string, PngFile> files = {
      {"rgba.png", MakePng(37, 23, PNG_COLOR_TYPE_RGB_ALPHA, 8, 21)},
      {"rgb.png", MakePng(31, 27, PNG_COLOR_TYPE_RGB, 8, 22)},
      {"gray.png", MakePng(29, 19, PNG_COLOR_TYPE_GRAY, 8, 23)},
      {"ga.png", MakePng(17, 11, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 24)},
      {"mask.png", MakePng(31, 27, PNG_COLOR_TYPE_GRAY, 8, 25)}};
  for (const auto& [name, png] : files) WritePng(Path(name), png);
  using I = int64_t;
  auto member = [](const char* name, auto... args) {
    return [=](const Ref& i) { return i.Call<Ref>(name, nullptr, args...); };
  };
  auto matrix = [&](std::vector<I> entries, auto... args) {
    return [=, this](const Ref& i) {
      return i.Call<Ref>("ApplyMatrix", nullptr, host_.NewIntegerArray(entries), args...);
    };
  };
  // A 5 x 5 kernel with entries of both signs, and the same as text.
  std::vector<I> wide(25);
  std::string wideText;
  for (size_t i = 0; i < wide.size(); ++i) {
    wide[i] = static_cast<I>(i % 7) - 3;
    wideText += (i ? "," : "") + std::to_string(wide[i]);
  }
  // #3366cc as Rotate's background: gray (77 * 0x33 + 151 * 0x66 + 28 * 0xcc) >> 8 = 25041 >> 8
  // = 97, and the inks 255 - RGB.
  auto rotate = [](double angle, I alpha) {
    return [=](const Ref& i) {
      return i.Call<Ref>("Rotate", angle, I{0x33}, I{0x66}, I{0xcc}, alpha, I{97}, I{0xcc}, I{0x99},
                         I{0x33}, I{0});
    };
  };
  // A result of the given size and format that `fill` writes into; `copied` fills it with
  // CopyPixels from what `view` gives.
  auto into = [this](I width, I height, I format, std::function<bool(const Ref&, Ref&)> fill) {
    return [=, this](const Ref& i) {
      Ref out = NewImage(width, height, format);
      return fill(i, out) ? out : Ref();
    };
  };
  auto copied = [&](I width, I height, I format, std::function<Ref(const Ref&)> view) {
    return into(width, height, format,
                [=](const Ref& i, Ref& o) { return o.Call<bool>("CopyPixels", view(i)); });
  };
  const I z = 0;
  std::vector<std::pair<std::string, std::function<Ref(const Ref&)>>> cases = {
      {"gamma rgba.png out.png --gamma 2.2", member("GammaFilter", 2.2)},
      {"gamma rgba.png out.png --rgb 1,1.5,0.7 --alpha 2",
       member("GammaFilter", 1.0, 1.5, 0.7, 2.0)},
      {"gain rgba.png out.png --gain 0.7 --bias 0.4", member("GainFilter", 0.7, 0.4)},
      {"solarize rgba.png out.png", member("SolarizeFilter")},
      {"dither gray.png out.png --matrix Cluster4 --levels 3", member("DitherFilter", I{9}, I{3})},
      {"blur rgba.png out.png --radius 2", member("BoxBlurFilter", I{2})},
      {"blur rgb.png out.png --radius 2 --mapped", member("BoxBlurFilter", I{2})},
      {"blur ga.png out.png --radius 3,0", member("BoxBlurFilter", I{3}, I{0})},
      {"blur gray.png out.png --radius 1.5", member("BoxBlurFractionalFilter", 1.5)},
      {"matrix rgb.png out.png --matrix sharpen", matrix({0, -1, 0, -1, 5, -1, 0, -1, 0})},
      // A bias alone keeps the plug-in's divisor: the sum of the entries, here 0, so 1.
      {"matrix gray.png out.png --matrix Edge --bias 128",
       matrix({-1, -1, -1, -1, 8, -1, -1, -1, -1}, I{1}, I{128})},
      {"matrix rgba.png out.png --divisor -3 --matrix " + wideText, matrix(wide, I{-3})},
      {"oil rgb.png out.png --radius 2 --levels 8", member("OilFilter", I{2}, I{8})},
      {"diffuse rgba.png out.png --radius 3 --seed 7",
       [](const Ref& i) {
         std::srand(7);
         return i.Call<Ref>("DiffuseFilter", nullptr, I{3});
       }},
      {"engrave rgba.png out.png", member("EngraveFilter")},
      {"transfer rgb.png out.png --curve invert",
       [&](const Ref& i) {
         std::vector<I> invert(256);
         for (I v = 0; v < 256; ++v) invert[v] = 255 - v;
         return i.Call<Ref>("TransferFilter", nullptr, host_.NewIntegerArray(invert));
       }},
      // Views are written as their pixels, here copied out of the image they look into.
      {"clip rgb.png out.png --rect 2,3,4,2",
       copied(4, 2, kRGB,
              [](const Ref& i) { return i.Call<Ref>("ClipImage", I{2}, I{3}, I{4}, I{2}); })},
      {"channel rgb.png out.png green",
       copied(31, 27, kG, [](const Ref& i) { return i.Call<Ref>("Channel", I{1}); })},
      // The in-place commands write the image they changed.
      {"mirror rgb.png out.png h", [](const Ref& i) { return i.Call("HMirror"), i; }},
      {"fill rgb.png out.png --color #102030 --rect 1,1,2,2",
       [](const Ref& i) {
         return i.Call("FillRectRGB", I{1}, I{1}, I{2}, I{2}, xqt::host::Color{0x102030}), i;
       }},
      {"neon ga.png out.png", member("NeonFilter")},
      {"stamp rgb.png out.png --threshold 100", member("StampFilter", I{100})},
      {"rotate rgba.png out.png 90", member("Rotate90")},
      {"rotate rgba.png out.png 270 --slow", member("Rotate270slow")},
      {"rotate ga.png out.png 180", member("Rotate180")},
      // Quarter turns in any spelling keep to the exact turning members.
      {"rotate rgb.png out.png -90", member("Rotate270")},
      {"rotate ga.png out.png 450.0", member("Rotate90")},
      {"rotate rgba.png out.png 30",
       [=](const Ref& i) { return i.Call<Ref>("Rotate", 30.0, z, z, z, z, z, z, z, z, z); }},
      {"rotate rgba.png out.png -12.5 --background #3366cc --alpha 200 --mapped",
       rotate(-12.5, 200)},
      {"rotate gray.png out.png 100 --background #3366cc", rotate(100.0, 255)},
      {"scale rgb.png out.png --percent 200 --fast",
       into(62, 54, kRGB,
            [](const Ref& i, Ref& o) { return o.Call<bool>("ScaleFast", i, I{62}, I{54}); })},
      {"convert rgb.png out.png --format G", copied(31, 27, kG, [](const Ref& i) { return i; })},
      {"blend rgb.png out.png --mask mask.png --background #3366cc",
       into(31, 27, kRGB,
            [&](const Ref& i, Ref& o) {
              return host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", i,
                                            nullptr, PictureOf(files.at("mask.png")), o,
                                            xqt::host::Color{0x3366cc});
            })},
  };
  // Every kernel the same with threads, without them and on a file-mapped image.
  for (const auto& [mode, code] :
       {std::pair<std::string, I>{"Triangle", 1}, {"Lanczos8", 4}, {"Mitchell", 5}, {"Cubic", 7}}) {
    auto scaled = into(13, 40, kRGB, [code = code](const Ref& i, Ref& o) {
      return o.Call<bool>("ScaleMT", I{0}, i, nullptr, code, I{13}, I{40});
    });
    for (const char* extra : {"", " --threads off", " --mapped"}) {
      cases.push_back({"scale rgb.png out.png --size 13x40 --mode " + mode + extra, scaled});
    }
  }
  for (const auto& [line, expected] : cases) {
    SCOPED_TRACE(line);
    std::string command, in;
    std::istringstream(line) >> command >> in;
    Ref result = expected(PictureOf(files.at(in)));
    ASSERT_TRUE(result);
    const PngFile out = Ok(line);
    EXPECT_EQ(out.width, static_cast<uint32_t>(result.Get<int64_t>("Width")));
    EXPECT_EQ(out.pixels, PixelBytes(result));
  }
}

// ---- errors ----------------------------------------------------------------------------------

// Refusals of the files, the arguments and the plug-in: status, one line naming what was wrong,
// nothing written.
TEST_F(XqtTool, RefusalsAreReportedAndNothingIsWritten) {
  std::ofstream(Path("text.png")) << "just some text, not an image\n";
  std::ofstream(Path("empty.png")).close();
  WritePng(Path("full.png"), MakePng(64, 64, PNG_COLOR_TYPE_RGB, 8, 41));
  const std::string png = Slurp(dir_ / "full.png");
  std::ofstream(Path("cut.png"), std::ios::binary) << png.substr(0, png.size() / 2);
  std::ofstream(Path("head.png"), std::ios::binary) << png.substr(0, 20);
  WriteJpeg(Path("full.jpg"), MakeJpeg(64, 64, 3, false));
  const std::string jpeg = Slurp(dir_ / "full.jpg");
  std::ofstream(Path("cut.jpg"), std::ios::binary) << jpeg.substr(0, jpeg.size() / 2);
  WritePng(Path("rgb16.png"), MakePng(4, 4, PNG_COLOR_TYPE_RGB, 16, 42));
  const std::pair<const char*, const char*> cases[] = {
      {"missing.png", "No such file"}, {"text.png", "not an image"},
      {"empty.png", "empty file"},     {"cut.png", "truncated or corrupt PNG"},
      {"head.png", "not a valid PNG"}, {"cut.jpg", "truncated JPEG"}};
  for (const auto& [file, reason] : cases) {
    Fails(std::string("convert ") + file + " out.png", reason, file, 1);
  }
  Fails("info rgb16.png", "unsupported PNG depth: 16-bit RGB", "rgb16.png", 1);
  WritePng(Path("in.png"), MakePng(8, 8, PNG_COLOR_TYPE_RGB, 8, 51));
  WritePng(Path("g16.png"), MakePng(8, 8, PNG_COLOR_TYPE_GRAY, 16, 82));
  // Usage errors (status 2) name no file.
  const std::pair<const char*, const char*> usage[] = {
      {"scale in.png out.png --size 0x10", "at least 1"},
      {"scale in.png out.png --size 99999999999999999999x4", "out of range"},
      {"scale in.png out.png --size 10x10 --mode Sharpest", "unknown kernel"},
      {"scale in.png out.png", "--size"},
      {"convert in.png out.png --format RGB48", "unknown format"},
      {"frobnicate in.png", "unknown command"},
      {"dither in.png out.png --levels 1", "--levels"},
      {"blur in.png out.png", "--radius"},
      {"blur in.png out.png --radius 2,-1", "--radius must lie in 0 ... 65535"},
      {"blur in.png out.png --radius 65536", "--radius must lie in 0 ... 65535"},
      {"blur in.png out.png --radius -0.5", "--radius must lie in 0 ... 65535"},
      {"blur in.png out.png --radius nan", "'nan' is not a number"},
      {"blur in.png out.png --radius 1,2,3", "needs 2 numbers"},
      {"blur in.png out.png --radius 1.5,2", "not a whole number"},
      {"matrix in.png out.png", "--matrix"},
      {"matrix in.png out.png --matrix sharper", "unknown matrix 'sharper'"},
      {"matrix in.png out.png --matrix 1,2,3,4", "4 entries do not make a square of odd side"},
      {"matrix in.png out.png --matrix 1,1,1,1,,1,1,1,1", "is not a whole number"},
      {"matrix in.png out.png --matrix 0,0,0,0,4294967296,0,0,0,0", "does not fit in 32 bits"},
      {"matrix in.png out.png --matrix blur --divisor 0", "--divisor must not be 0"},
      {"oil in.png out.png --radius 33", "--radius must lie in 1 ... 32"},
      {"oil in.png out.png --levels 1", "--levels must lie in 2 ... 256"},
      {"diffuse in.png out.png --radius 256", "--radius must lie in 0 ... 255"},
      {"diffuse in.png out.png --seed -1", "--seed must lie in 0 ..."},
      {"stamp in.png out.png --threshold 257", "--threshold must lie in 0 ... 256"},
      {"neon in.png out.png --radius 2", "unknown option --radius"},
      {"rotate in.png out.png 30deg", "the angle: '30deg' is not a number"},
      {"rotate in.png out.png 30 --slow", "apply to 90, 180 and 270 only"},
      {"rotate in.png out.png -90 --background red", "apply to angles other than 90"},
      {"rotate in.png out.png 30 --background reddish", "is not a colour"},
      {"rotate in.png out.png 30 --alpha 256", "--alpha must lie in 0 ... 255"},
  };
  for (const auto& [line, reason] : usage) Fails(line, reason);
  // Refusals of the files or of the plug-in (status 1) name the file.
  const std::array<const char*, 3> refused[] = {
      {"scale in.png out.png --size 4000000000x4000000000", "overflows", "out.png"},
      {"convert in.png out.bmp", "unknown output file type", "out.bmp"},
      {"convert in.png out.png --format CMYK", "does not copy ImageFormatRGB into", "in.png"},
      // A size whose bytes the host cannot provide: its exception, with class and message.
      {"scale in.png out.png --size 1000000x1000000",
       "the plug-in raised OutOfMemoryException: Failed to allocate", ""},
      // The plug-in's filters take 8-bit components only: its nil is named.
      {"blur g16.png out.png --radius 1", "BoxBlurFilter refused the image (it returned nil",
       "g16.png"},
      {"rotate g16.png out.png 30", "Rotate refused the image", "g16.png"},
  };
  for (const auto& [line, reason, file] : refused) Fails(line, reason, file, 1);
}

TEST_F(XqtTool, EveryCommandHasHelp) {
  const Result list = Run({"--help"});
  ASSERT_EQ(list.status, 0);
  std::istringstream commands(
      "info scale rotate mirror convert gamma gain transfer solarize dither unsharp blur matrix "
      "oil "
      "diffuse engrave neon stamp blend copy clip channel fill invert autolevel gray classes demo");
  for (std::string command; commands >> command;) {
    SCOPED_TRACE(command);
    EXPECT_NE(list.out.find("  " + command + " "), std::string::npos);
    const Result help = Run({command, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: xqt " + command, 0), 0u) << help.out;
  }
}

// Runs xqt with its standard error on a pseudo-terminal and returns what it drew there.
std::string RunOnTerminal(std::vector<std::string> args) {
  args.insert(args.begin(), XQT_TOOL_PATH);
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    dup2(open("/dev/null", O_WRONLY), 1);
    execv(argv[0], argv.data());
    _exit(127);
  }
  if (child < 0) return "no terminal";
  // Read while it runs, so that a long run never fills the terminal's buffer; the read ends with
  // an error once the child has closed its side.
  std::string drawn;
  char buffer[4096];
  for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) drawn.append(buffer, n);
  int status = 0;
  waitpid(child, &status, 0), close(terminal);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? drawn : drawn + "\n(failed)";
}

// The progress line needs a terminal and an operation that yields for a while: an oil filter of
// the largest radius on a picture of a few hundred thousand pixels.
TEST_F(XqtTool, ProgressIsDrawnOnATerminalOnlyAndNotWithQuiet) {
  WritePng(Path("in.png"), MakePng(1100, 800, PNG_COLOR_TYPE_RGB, 8, 5));
  const std::vector<std::string> oil = {
      "oil", Path("in.png"), Path("out.png"), "--radius", "32", "--levels", "256"};
  const std::string drawn = RunOnTerminal(oil);
  EXPECT_EQ(drawn.find("(failed)"), std::string::npos) << drawn;
  EXPECT_NE(drawn.find("\033[KOilFilter ["), std::string::npos) << drawn;
  EXPECT_NE(drawn.find(" yields"), std::string::npos) << drawn;
  // The line is cleared once the operation ends, before the timing is written.
  EXPECT_NE(drawn.find("\r\033[K"), std::string::npos) << drawn;

  std::vector<std::string> quiet = oil;
  quiet.push_back("--quiet");
  const std::string silent = RunOnTerminal(quiet);
  EXPECT_EQ(silent.find("yields"), std::string::npos) << silent;
  EXPECT_EQ(silent.find("(failed)"), std::string::npos) << silent;

  // Not a terminal: the same run writes only its timing line.
  const Result piped = Run(oil);
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.err.find("yields"), std::string::npos) << piped.err;
  EXPECT_NE(piped.err.find("OilFilter"), std::string::npos) << piped.err;
}

TEST_F(XqtTool, DemoWritesItsContactSheetAndTable) {
  const Result r = Run({"demo", "--out", Path("demo"), "--quiet"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("constants 88"), std::string::npos);
  for (const char* kernel :
       {"Triangle", "Box", "Lanczos3", "Lanczos8", "Mitchell", "Poly3", "Cubic"}) {
    EXPECT_NE(r.out.find(std::string(kernel) + ", 2400x1600 to 800x533"), std::string::npos);
  }
  const std::string html = Slurp(dir_ / "demo" / "index.html");
  size_t links = 0;
  for (size_t at = html.find("<a href=\""); at != std::string::npos;
       at = html.find("<a href=\"", at + 1)) {
    const size_t start = at + 9;
    const std::string file = html.substr(start, html.find('"', start) - start);
    EXPECT_TRUE(fs::exists(dir_ / "demo" / file)) << file;
    EXPECT_TRUE(fs::exists(dir_ / "demo" / "thumbs" / file)) << file;
    ++links;
  }
  EXPECT_GT(links, 50u);
  EXPECT_TRUE(fs::exists(dir_ / "demo" / "63-cmyk.jpg"));
  for (const char* file : {"33-rotate-30.png", "90-boxblur.png", "94-emboss.png", "95-oil.png"}) {
    EXPECT_TRUE(fs::exists(dir_ / "demo" / file)) << file;
  }
}

}  // namespace
