// End-to-end runs of the built xqt on small files made here with libpng and libjpeg: round trips
// of every file form, commands checked pixel by pixel against the plug-in's own results (or
// against values worked out here), and every error case: status, message, nothing written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <png.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/plugin_fixture.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using xqt::host::Ref;
using xqt::test::JpegFile;
using xqt::test::PngFile;

constexpr int64_t kRGB = 1, kRGBA = 2, kG = 11, kGA = 12;

struct Result {
  int status = -1;
  std::string out;
  std::string err;
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

PngFile MakePng(uint32_t w, uint32_t h, int colorType, int depth, uint32_t seed) {
  PngFile p;
  p.width = w;
  p.height = h;
  p.colorType = colorType;
  p.bitDepth = depth;
  int channels = colorType == PNG_COLOR_TYPE_GRAY_ALPHA  ? 2
                 : colorType == PNG_COLOR_TYPE_RGB       ? 3
                 : colorType == PNG_COLOR_TYPE_RGB_ALPHA ? 4
                                                         : 1;
  p.pixels = RandomBytes((size_t{w} * channels * depth + 7) / 8 * h, seed);
  return p;
}

// A smooth picture, so that JPEG keeps it close.
JpegFile MakeJpeg(uint32_t w, uint32_t h, int components, bool adobe) {
  JpegFile j;
  j.width = w;
  j.height = h;
  j.components = components;
  j.adobe = adobe;
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      for (int c = 0; c < components; ++c) {
        j.samples.push_back(static_cast<uint8_t>(20 + x * 3 + y * 2 + c * 10));
      }
    }
  }
  return j;
}

class XqtTool : public PluginTest {
 protected:
  void SetUp() override {
    std::random_device entropy;
    dir_ = fs::temp_directory_path() / ("xqt-tool-test-" + std::to_string(entropy()));
    fs::create_directories(dir_);
  }
  void TearDown() override {
    PluginTest::TearDown();
    std::error_code error;
    fs::remove_all(dir_, error);
  }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  static std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
  }

  Result Run(const std::vector<std::string>& args) const {
    std::string command = Quote(XQT_TOOL_PATH);
    for (const std::string& a : args) command.append(" ").append(Quote(a));
    command.append(" >").append(Quote(Path("stdout.txt")));
    command.append(" 2>").append(Quote(Path("stderr.txt")));
    const int raw = std::system(command.c_str());
    Result r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = Slurp(dir_ / "stdout.txt");
    r.err = Slurp(dir_ / "stderr.txt");
    fs::remove(dir_ / "stdout.txt");
    fs::remove(dir_ / "stderr.txt");
    return r;
  }

  // Runs a command that must succeed quietly.
  void Ok(std::vector<std::string> args) const {
    args.push_back("--quiet");
    const Result r = Run(args);
    ASSERT_EQ(r.status, 0) << r.err;
  }

  // Runs a command that must fail with one line naming `file` and containing `reason`, leaving
  // no file but the inputs behind.
  void Fails(std::vector<std::string> args, const std::string& file, const std::string& reason,
             int status = 1) const {
    std::vector<fs::path> before;
    for (const auto& entry : fs::directory_iterator(dir_)) before.push_back(entry.path());
    args.push_back("--quiet");
    const Result r = Run(args);
    EXPECT_EQ(r.status, status) << r.err;
    EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
    if (!file.empty()) {
      EXPECT_NE(r.err.find(file), std::string::npos) << r.err;
    }
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), status == 2 ? 2 : 1) << r.err;
    std::vector<fs::path> after;
    for (const auto& entry : fs::directory_iterator(dir_)) after.push_back(entry.path());
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    EXPECT_EQ(after, before) << "files were left behind";
  }

  // An image of the plug-in holding the rows of an 8-bit PNG of gray, GA, RGB or RGBA.
  Ref PictureOf(const PngFile& png) {
    const int64_t format = png.colorType == PNG_COLOR_TYPE_GRAY         ? kG
                           : png.colorType == PNG_COLOR_TYPE_GRAY_ALPHA ? kGA
                           : png.colorType == PNG_COLOR_TYPE_RGB        ? kRGB
                                                                        : kRGBA;
    Ref image = NewImage(png.width, png.height, format);
    const size_t rowBytes = png.pixels.size() / png.height;
    for (uint32_t y = 0; y < png.height; ++y) {
      std::memcpy(image.Call<void*>("RawRowPtr", int64_t{y}), png.pixels.data() + y * rowBytes,
                  rowBytes);
    }
    return image;
  }

  // The packed visible pixels of an image whose format is one of the four above.
  std::vector<uint8_t> Pixels(const Ref& image) {
    std::vector<uint8_t> out;
    const int64_t bytes = image.Get<int64_t>("Width") * image.Get<int64_t>("PixelSize");
    for (int64_t y = 0; y < image.Get<int64_t>("Height"); ++y) {
      auto* row = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
      out.insert(out.end(), row, row + bytes);
    }
    return out;
  }

  fs::path dir_;
};

// ---- files in and out ------------------------------------------------------------------------

TEST_F(XqtTool, PngOfEveryColourTypeSurvivesARoundTripUnchanged) {
  const struct {
    int colorType;
    int depth;
  } kinds[] = {{PNG_COLOR_TYPE_GRAY, 8},
               {PNG_COLOR_TYPE_GRAY, 16},
               {PNG_COLOR_TYPE_GRAY_ALPHA, 8},
               {PNG_COLOR_TYPE_RGB, 8},
               {PNG_COLOR_TYPE_RGB_ALPHA, 8}};
  uint32_t seed = 1;
  for (const auto& kind : kinds) {
    SCOPED_TRACE(testing::Message() << "colour type " << kind.colorType << ", " << kind.depth);
    const PngFile in = MakePng(37, 23, kind.colorType, kind.depth, seed++);
    xqt::test::WritePng(Path("in.png"), in);
    Ok({"convert", Path("in.png"), Path("out.png")});
    const PngFile out = xqt::test::ReadPng(Path("out.png"));
    EXPECT_EQ(out.colorType, in.colorType);
    EXPECT_EQ(out.bitDepth, in.bitDepth);
    EXPECT_EQ(out.width, in.width);
    EXPECT_EQ(out.height, in.height);
    EXPECT_EQ(out.pixels, in.pixels);
  }
}

TEST_F(XqtTool, PaletteAndOneBitGrayAreExpanded) {
  PngFile palette = MakePng(9, 5, PNG_COLOR_TYPE_PALETTE, 8, 7);
  palette.palette = RandomBytes(256 * 3, 8);
  for (bool transparent : {false, true}) {
    SCOPED_TRACE(transparent ? "with tRNS" : "without tRNS");
    palette.alphas = transparent ? RandomBytes(200, 9) : std::vector<uint8_t>();
    xqt::test::WritePng(Path("pal.png"), palette);
    Ok({"convert", Path("pal.png"), Path("out.png")});
    const PngFile out = xqt::test::ReadPng(Path("out.png"));
    ASSERT_EQ(out.colorType, transparent ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB);
    std::vector<uint8_t> expected;
    for (uint8_t index : palette.pixels) {
      for (int c = 0; c < 3; ++c) expected.push_back(palette.palette[index * 3 + c]);
      // Entries past the tRNS list are opaque.
      if (transparent) expected.push_back(index < 200 ? palette.alphas[index] : 255);
    }
    EXPECT_EQ(out.pixels, expected);
  }

  const PngFile bits = MakePng(13, 3, PNG_COLOR_TYPE_GRAY, 1, 11);
  xqt::test::WritePng(Path("bits.png"), bits);
  Ok({"convert", Path("bits.png"), Path("out.png")});
  const PngFile out = xqt::test::ReadPng(Path("out.png"));
  ASSERT_EQ(out.bitDepth, 8);
  const size_t rowBytes = 2;
  for (uint32_t y = 0; y < 3; ++y) {
    for (uint32_t x = 0; x < 13; ++x) {
      const bool on = (bits.pixels[y * rowBytes + x / 8] >> (7 - x % 8)) & 1;
      EXPECT_EQ(out.pixels[y * 13 + x], on ? 255 : 0) << x << "," << y;
    }
  }
}

TEST_F(XqtTool, JpegIsReadAsDecodedAndKeepsItsFormThroughARoundTrip) {
  const struct {
    int components;
    bool adobe;
  } kinds[] = {{1, false}, {3, false}, {4, true}};
  for (const auto& kind : kinds) {
    SCOPED_TRACE(testing::Message() << kind.components << " components");
    xqt::test::WriteJpeg(Path("in.jpg"), MakeJpeg(41, 19, kind.components, kind.adobe));
    const JpegFile decoded = xqt::test::ReadJpeg(Path("in.jpg"));
    if (kind.components < 4) {
      // Read exactly as libjpeg decodes it.
      Ok({"convert", Path("in.jpg"), Path("out.png")});
      EXPECT_EQ(xqt::test::ReadPng(Path("out.png")).pixels, decoded.samples);
    }
    Ok({"convert", Path("in.jpg"), Path("out.jpg"), "--quality", "100"});
    const JpegFile again = xqt::test::ReadJpeg(Path("out.jpg"));
    ASSERT_EQ(again.components, kind.components);
    EXPECT_EQ(again.adobe, kind.components == 4);
    ASSERT_EQ(again.samples.size(), decoded.samples.size());
    int worst = 0;
    for (size_t i = 0; i < again.samples.size(); ++i) {
      worst = std::max(worst, std::abs(again.samples[i] - decoded.samples[i]));
    }
    EXPECT_LE(worst, 4);
  }
}

TEST_F(XqtTool, CmykJpegSamplesBecomeInkAmounts) {
  // With an Adobe marker 255 means no ink; without one the samples are the inks themselves.
  for (bool adobe : {true, false}) {
    SCOPED_TRACE(adobe ? "Adobe" : "plain");
    xqt::test::WriteJpeg(Path("cmyk.jpg"), MakeJpeg(16, 16, 4, adobe));
    const JpegFile decoded = xqt::test::ReadJpeg(Path("cmyk.jpg"));
    ASSERT_EQ(decoded.adobe, adobe);
    const char* inks[] = {"Cyan", "Magenta", "Yellow", "Black"};
    for (int c = 0; c < 4; ++c) {
      Ok({"channel", Path("cmyk.jpg"), Path("ink.png"), inks[c]});
      const PngFile ink = xqt::test::ReadPng(Path("ink.png"));
      ASSERT_EQ(ink.pixels.size(), 256u);
      for (size_t i = 0; i < 256; ++i) {
        const uint8_t stored = decoded.samples[i * 4 + c];
        ASSERT_EQ(ink.pixels[i], adobe ? 255 - stored : stored) << inks[c] << " " << i;
      }
    }
  }
}

TEST_F(XqtTool, InfoNamesTheFormatEachFileIsReadInto) {
  xqt::test::WritePng(Path("g16.png"), MakePng(5, 4, PNG_COLOR_TYPE_GRAY, 16, 1));
  xqt::test::WritePng(Path("ga.png"), MakePng(5, 4, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 2));
  xqt::test::WriteJpeg(Path("cmyk.jpg"), MakeJpeg(5, 4, 4, true));
  const Result r = Run({"info", Path("g16.png"), Path("ga.png"), Path("cmyk.jpg")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("ImageFormatGray16 (41, \"G16\")"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("16 bits per component"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("ImageFormatGA (12"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("ImageFormatCMYK (23"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Cyan, Magenta, Yellow, Black"), std::string::npos) << r.out;
  // 5 pixels of 2 bytes padded to 64, four rows.
  EXPECT_NE(r.out.find("memory      256 bytes"), std::string::npos) << r.out;
}

// ---- commands against the plug-in ------------------------------------------------------------

TEST_F(XqtTool, CommandsWriteWhatThePluginComputes) {
  const PngFile rgba = MakePng(37, 23, PNG_COLOR_TYPE_RGB_ALPHA, 8, 21);
  const PngFile rgb = MakePng(31, 27, PNG_COLOR_TYPE_RGB, 8, 22);
  const PngFile gray = MakePng(29, 19, PNG_COLOR_TYPE_GRAY, 8, 23);
  const PngFile ga = MakePng(17, 11, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 24);
  xqt::test::WritePng(Path("rgba.png"), rgba);
  xqt::test::WritePng(Path("rgb.png"), rgb);
  xqt::test::WritePng(Path("gray.png"), gray);
  xqt::test::WritePng(Path("ga.png"), ga);

  auto check = [&](const std::vector<std::string>& args, const Ref& expected) {
    SCOPED_TRACE(args[0] + " " + (args.size() > 3 ? args[3] : ""));
    ASSERT_TRUE(expected);
    Ok(args);
    EXPECT_EQ(xqt::test::ReadPng(Path("out.png")).pixels, Pixels(expected));
  };
  {
    Ref source = PictureOf(rgba);
    check({"gamma", Path("rgba.png"), Path("out.png"), "--gamma", "2.2"},
          source.Call<Ref>("GammaFilter", nullptr, 2.2));
    check({"gamma", Path("rgba.png"), Path("out.png"), "--rgb", "1,1.5,0.7", "--alpha", "2"},
          source.Call<Ref>("GammaFilter", nullptr, 1.0, 1.5, 0.7, 2.0));
    check({"gain", Path("rgba.png"), Path("out.png"), "--gain", "0.7", "--bias", "0.4"},
          source.Call<Ref>("GainFilter", nullptr, 0.7, 0.4));
    check({"solarize", Path("rgba.png"), Path("out.png")},
          source.Call<Ref>("SolarizeFilter", nullptr));
    check({"rotate", Path("rgba.png"), Path("out.png"), "90"},
          source.Call<Ref>("Rotate90", nullptr));
    check({"rotate", Path("rgba.png"), Path("out.png"), "270", "--slow"},
          source.Call<Ref>("Rotate270slow", nullptr));
  }
  for (const auto& [mode, code] : {std::pair<const char*, int64_t>{"Triangle", 1},
                                   {"Lanczos8", 4},
                                   {"Mitchell", 5},
                                   {"Cubic", 7}}) {
    Ref source = PictureOf(rgb);
    Ref expected = NewImage(13, 40, kRGB);
    ASSERT_TRUE(expected.Call<bool>("ScaleMT", int64_t{0}, source, nullptr, code, int64_t{13},
                                    int64_t{40}));
    check({"scale", Path("rgb.png"), Path("out.png"), "--size", "13x40", "--mode", mode}, expected);
    check({"scale", Path("rgb.png"), Path("out.png"), "--size", "13x40", "--mode", mode,
           "--threads", "off"},
          expected);
    check(
        {"scale", Path("rgb.png"), Path("out.png"), "--size", "13x40", "--mode", mode, "--mapped"},
        expected);
  }
  {
    Ref source = PictureOf(rgb);
    Ref expected = NewImage(62, 54, kRGB);
    ASSERT_TRUE(expected.Call<bool>("ScaleFast", source, int64_t{62}, int64_t{54}));
    check({"scale", Path("rgb.png"), Path("out.png"), "--percent", "200", "--fast"}, expected);
    Ref grayOf = NewImage(31, 27, kG);
    ASSERT_TRUE(grayOf.Call<bool>("CopyPixels", source));
    check({"convert", Path("rgb.png"), Path("out.png"), "--format", "G"}, grayOf);
  }
  {
    Ref source = PictureOf(gray);
    check({"dither", Path("gray.png"), Path("out.png"), "--matrix", "Cluster4", "--levels", "3"},
          source.Call<Ref>("DitherFilter", nullptr, int64_t{9}, int64_t{3}));
    Ref ga8 = PictureOf(ga);
    check({"rotate", Path("ga.png"), Path("out.png"), "180"}, ga8.Call<Ref>("Rotate180", nullptr));
  }
  {
    // A mask of the gray image's top-left corner blends RGB towards a colour.
    const PngFile mask = MakePng(31, 27, PNG_COLOR_TYPE_GRAY, 8, 25);
    xqt::test::WritePng(Path("mask.png"), mask);
    Ref source = PictureOf(rgb), maskImage = PictureOf(mask);
    Ref expected = NewImage(31, 27, kRGB);
    ASSERT_TRUE(host_.CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                       nullptr, maskImage, expected, xqt::host::Color{0x3366cc}));
    check({"blend", Path("rgb.png"), Path("out.png"), "--mask", Path("mask.png"), "--background",
           "#3366cc"},
          expected);
  }
}

TEST_F(XqtTool, CommandsWithResultsWorkedOutByHand) {
  const PngFile rgb = MakePng(11, 7, PNG_COLOR_TYPE_RGB, 8, 31);
  xqt::test::WritePng(Path("rgb.png"), rgb);
  auto at = [&](const PngFile& p, uint32_t x, uint32_t y, int c, int channels) {
    return p.pixels[(y * p.width + x) * channels + c];
  };

  Ok({"transfer", Path("rgb.png"), Path("out.png"), "--curve", "invert"});
  PngFile out = xqt::test::ReadPng(Path("out.png"));
  for (size_t i = 0; i < rgb.pixels.size(); ++i) ASSERT_EQ(out.pixels[i], 255 - rgb.pixels[i]);

  Ok({"mirror", Path("rgb.png"), Path("out.png"), "h"});
  out = xqt::test::ReadPng(Path("out.png"));
  for (int c = 0; c < 3; ++c) EXPECT_EQ(at(out, 0, 3, c, 3), at(rgb, 10, 3, c, 3));

  Ok({"clip", Path("rgb.png"), Path("out.png"), "--rect", "2,3,4,2"});
  out = xqt::test::ReadPng(Path("out.png"));
  ASSERT_EQ(out.width, 4u);
  ASSERT_EQ(out.height, 2u);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(at(out, 3, 1, c, 3), at(rgb, 5, 4, c, 3));

  Ok({"channel", Path("rgb.png"), Path("out.png"), "green"});
  out = xqt::test::ReadPng(Path("out.png"));
  ASSERT_EQ(out.colorType, PNG_COLOR_TYPE_GRAY);
  EXPECT_EQ(at(out, 6, 2, 0, 1), at(rgb, 6, 2, 1, 3));

  Ok({"fill", Path("rgb.png"), Path("out.png"), "--color", "#102030", "--rect", "1,1,2,2"});
  out = xqt::test::ReadPng(Path("out.png"));
  EXPECT_EQ(at(out, 2, 2, 0, 3), 0x10);
  EXPECT_EQ(at(out, 2, 2, 2, 3), 0x30);
  EXPECT_EQ(at(out, 3, 3, 0, 3), at(rgb, 3, 3, 0, 3));

  // Gray into CMYK puts the gray into black ink; shown as PNG that is 255 - gray.
  const PngFile gray = MakePng(6, 5, PNG_COLOR_TYPE_GRAY, 8, 32);
  xqt::test::WritePng(Path("gray.png"), gray);
  Ok({"convert", Path("gray.png"), Path("out.png"), "--format", "CMYK"});
  out = xqt::test::ReadPng(Path("out.png"));
  ASSERT_EQ(out.colorType, PNG_COLOR_TYPE_RGB);
  for (size_t i = 0; i < gray.pixels.size(); ++i) {
    ASSERT_EQ(out.pixels[i * 3], 255 - gray.pixels[i]);
  }
  // And 8-bit gray into 16 bits is v * 257, big-endian in the file.
  Ok({"convert", Path("gray.png"), Path("out.png"), "--format", "Gray16"});
  out = xqt::test::ReadPng(Path("out.png"));
  ASSERT_EQ(out.bitDepth, 16);
  EXPECT_EQ(out.pixels[0], gray.pixels[0]);
  EXPECT_EQ(out.pixels[1], gray.pixels[0]);
}

// ---- area filters, artistic effects, free rotation -------------------------------------------

TEST_F(XqtTool, AreaFiltersEffectsAndFreeRotationWriteWhatThePluginComputes) {
  const PngFile rgba = MakePng(37, 23, PNG_COLOR_TYPE_RGB_ALPHA, 8, 61);
  const PngFile rgb = MakePng(31, 27, PNG_COLOR_TYPE_RGB, 8, 62);
  const PngFile gray = MakePng(29, 19, PNG_COLOR_TYPE_GRAY, 8, 63);
  const PngFile ga = MakePng(17, 11, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 64);
  const std::pair<const char*, const PngFile*> files[] = {
      {"rgba.png", &rgba}, {"rgb.png", &rgb}, {"gray.png", &gray}, {"ga.png", &ga}};
  for (const auto& [name, png] : files) xqt::test::WritePng(Path(name), *png);
  auto matrix = [&](const std::vector<int64_t>& entries) { return host_.NewIntegerArray(entries); };
  const std::vector<int64_t> sharpen = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  const std::vector<int64_t> edge = {-1, -1, -1, -1, 8, -1, -1, -1, -1};
  // A 5 x 5 kernel with entries of both signs, and the same as text.
  std::vector<int64_t> wide(25);
  std::string wideText;
  for (size_t i = 0; i < wide.size(); ++i) {
    wide[i] = static_cast<int64_t>(i % 7) - 3;
    if (i) wideText += ',';
    wideText += std::to_string(wide[i]);
  }

  struct Case {
    std::vector<std::string> args;  // after IN OUT
    const char* in;
    std::function<Ref(const Ref&)> expected;
  };
  const Case cases[] = {
      {{"blur", "--radius", "2"},
       "rgba.png",
       [](const Ref& i) { return i.Call<Ref>("BoxBlurFilter", nullptr, int64_t{2}); }},
      {{"blur", "--radius", "2", "--mapped"},
       "rgb.png",
       [](const Ref& i) { return i.Call<Ref>("BoxBlurFilter", nullptr, int64_t{2}); }},
      {{"blur", "--radius", "3,0"},
       "ga.png",
       [](const Ref& i) { return i.Call<Ref>("BoxBlurFilter", nullptr, int64_t{3}, int64_t{0}); }},
      {{"blur", "--radius", "1.5"},
       "gray.png",
       [](const Ref& i) { return i.Call<Ref>("BoxBlurFractionalFilter", nullptr, 1.5); }},
      {{"matrix", "--matrix", "sharpen"},
       "rgb.png",
       [&](const Ref& i) { return i.Call<Ref>("ApplyMatrix", nullptr, matrix(sharpen)); }},
      // A bias alone keeps the plug-in's divisor: the sum of the entries, here 0, so 1.
      {{"matrix", "--matrix", "Edge", "--bias", "128"},
       "gray.png",
       [&](const Ref& i) {
         return i.Call<Ref>("ApplyMatrix", nullptr, matrix(edge), int64_t{1}, int64_t{128});
       }},
      {{"matrix", "--matrix", wideText, "--divisor", "-3"},
       "rgba.png",
       [&](const Ref& i) {
         return i.Call<Ref>("ApplyMatrix", nullptr, matrix(wide), int64_t{-3});
       }},
      {{"oil", "--radius", "2", "--levels", "8"},
       "rgb.png",
       [](const Ref& i) { return i.Call<Ref>("OilFilter", nullptr, int64_t{2}, int64_t{8}); }},
      {{"diffuse", "--radius", "3", "--seed", "7"},
       "rgba.png",
       [](const Ref& i) {
         std::srand(7);
         return i.Call<Ref>("DiffuseFilter", nullptr, int64_t{3});
       }},
      {{"engrave"}, "rgba.png", [](const Ref& i) { return i.Call<Ref>("EngraveFilter", nullptr); }},
      {{"neon"}, "ga.png", [](const Ref& i) { return i.Call<Ref>("NeonFilter", nullptr); }},
      {{"stamp", "--threshold", "100"},
       "rgb.png",
       [](const Ref& i) { return i.Call<Ref>("StampFilter", nullptr, int64_t{100}); }},
      {{"rotate", "30"},
       "rgba.png",
       [](const Ref& i) {
         const int64_t z = 0;
         return i.Call<Ref>("Rotate", 30.0, z, z, z, z, z, z, z, z, z);
       }},
      // #3366cc: gray (77 * 0x33 + 151 * 0x66 + 28 * 0xcc) >> 8 = 25041 >> 8 = 97; inks 255 - RGB.
      {{"rotate", "-12.5", "--background", "#3366cc", "--alpha", "200", "--mapped"},
       "rgba.png",
       [](const Ref& i) {
         return i.Call<Ref>("Rotate", -12.5, int64_t{0x33}, int64_t{0x66}, int64_t{0xcc},
                            int64_t{200}, int64_t{97}, int64_t{0xcc}, int64_t{0x99}, int64_t{0x33},
                            int64_t{0});
       }},
      {{"rotate", "100", "--background", "#3366cc"},
       "gray.png",
       [](const Ref& i) {
         return i.Call<Ref>("Rotate", 100.0, int64_t{0x33}, int64_t{0x66}, int64_t{0xcc},
                            int64_t{255}, int64_t{97}, int64_t{0xcc}, int64_t{0x99}, int64_t{0x33},
                            int64_t{0});
       }},
      // Quarter turns in any spelling keep to the exact turning members.
      {{"rotate", "-90"},
       "rgb.png",
       [](const Ref& i) { return i.Call<Ref>("Rotate270", nullptr); }},
      {{"rotate", "450.0"},
       "ga.png",
       [](const Ref& i) { return i.Call<Ref>("Rotate90", nullptr); }},
  };
  for (const Case& c : cases) {
    std::string trace;
    for (const std::string& a : c.args) trace += a + " ";
    SCOPED_TRACE(trace + c.in);
    const PngFile* png = nullptr;
    for (const auto& [name, file] : files) {
      if (std::string(name) == c.in) png = file;
    }
    Ref expected = c.expected(PictureOf(*png));
    ASSERT_TRUE(expected);
    std::vector<std::string> args = {c.args[0], Path(c.in), Path("out.png")};
    args.insert(args.end(), c.args.begin() + 1, c.args.end());
    Ok(args);
    const PngFile out = xqt::test::ReadPng(Path("out.png"));
    EXPECT_EQ(out.width, static_cast<uint32_t>(expected.Get<int64_t>("Width")));
    EXPECT_EQ(out.pixels, Pixels(expected));
  }
}

TEST_F(XqtTool, FreeRotationCornersTakeTheBackgroundInEveryFamily) {
  // The top-left pixel of a 30-degree turn lies far outside the turned image.
  xqt::test::WritePng(Path("rgba.png"), MakePng(40, 30, PNG_COLOR_TYPE_RGB_ALPHA, 8, 71));
  xqt::test::WritePng(Path("ga.png"), MakePng(40, 30, PNG_COLOR_TYPE_GRAY_ALPHA, 8, 72));
  xqt::test::WriteJpeg(Path("cmyk.jpg"), MakeJpeg(40, 30, 4, true));
  auto corner = [&](std::vector<std::string> args) {
    Ok(args);
    const PngFile out = xqt::test::ReadPng(Path("out.png"));
    const size_t channels = out.pixels.size() / (size_t{out.width} * out.height);
    return std::vector<uint8_t>(out.pixels.begin(), out.pixels.begin() + channels);
  };
  const std::string rgba = Path("rgba.png"), ga = Path("ga.png"), out = Path("out.png");
  EXPECT_EQ(corner({"rotate", rgba, out, "30"}), (std::vector<uint8_t>{0, 0, 0, 0}));
  EXPECT_EQ(corner({"rotate", rgba, out, "30", "--background", "#3366cc"}),
            (std::vector<uint8_t>{0x33, 0x66, 0xcc, 255}));
  EXPECT_EQ(corner({"rotate", ga, out, "30", "--background", "white", "--alpha", "40"}),
            (std::vector<uint8_t>{255, 40}));
  EXPECT_EQ(corner({"rotate", ga, out, "30", "--alpha", "40"}), (std::vector<uint8_t>{0, 40}));
  // CMYK is written to PNG as R = (255 - C)(255 - K) / 255: the inks show the colour again;
  // without a background no ink at all, white paper.
  EXPECT_EQ(corner({"rotate", Path("cmyk.jpg"), out, "30", "--background", "#3366cc"}),
            (std::vector<uint8_t>{0x33, 0x66, 0xcc}));
  EXPECT_EQ(corner({"rotate", Path("cmyk.jpg"), out, "30"}), (std::vector<uint8_t>{255, 255, 255}));
}

// ---- errors ----------------------------------------------------------------------------------

TEST_F(XqtTool, BadFilesAreReportedAndNothingIsWritten) {
  Fails({"convert", Path("missing.png"), Path("out.png")}, "missing.png", "No such file");
  std::ofstream(Path("text.png")) << "just some text, not an image\n";
  Fails({"convert", Path("text.png"), Path("out.png")}, "text.png", "not an image");
  std::ofstream(Path("empty.png")).close();
  Fails({"convert", Path("empty.png"), Path("out.png")}, "empty.png", "empty file");

  xqt::test::WritePng(Path("full.png"), MakePng(64, 64, PNG_COLOR_TYPE_RGB, 8, 41));
  std::string bytes = Slurp(dir_ / "full.png");
  std::ofstream(Path("cut.png"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  Fails({"convert", Path("cut.png"), Path("out.png")}, "cut.png", "truncated or corrupt PNG");
  std::ofstream(Path("head.png"), std::ios::binary) << bytes.substr(0, 20);
  Fails({"convert", Path("head.png"), Path("out.png")}, "head.png", "not a valid PNG");

  xqt::test::WriteJpeg(Path("full.jpg"), MakeJpeg(64, 64, 3, false));
  bytes = Slurp(dir_ / "full.jpg");
  std::ofstream(Path("cut.jpg"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  Fails({"convert", Path("cut.jpg"), Path("out.png")}, "cut.jpg", "truncated JPEG");

  xqt::test::WritePng(Path("rgb16.png"), MakePng(4, 4, PNG_COLOR_TYPE_RGB, 16, 42));
  Fails({"info", Path("rgb16.png")}, "rgb16.png", "unsupported PNG depth: 16-bit RGB");
  fs::remove(dir_ / "full.png");
  fs::remove(dir_ / "full.jpg");
}

TEST_F(XqtTool, BadArgumentsAreReportedAndNothingIsWritten) {
  xqt::test::WritePng(Path("in.png"), MakePng(8, 8, PNG_COLOR_TYPE_RGB, 8, 51));
  const std::string in = Path("in.png"), out = Path("out.png");
  Fails({"scale", in, out, "--size", "0x10"}, "", "at least 1", 2);
  Fails({"scale", in, out, "--size", "99999999999999999999x4"}, "", "out of range", 2);
  Fails({"scale", in, out, "--size", "4000000000x4000000000"}, "out.png", "overflows");
  Fails({"scale", in, out, "--size", "10x10", "--mode", "Sharpest"}, "", "unknown kernel", 2);
  Fails({"convert", in, out, "--format", "RGB48"}, "", "unknown format", 2);
  Fails({"convert", in, Path("out.bmp")}, "out.bmp", "unknown output file type");
  Fails({"convert", in, out, "--format", "CMYK"}, "in.png", "does not copy ImageFormatRGB into");
  Fails({"scale", in, out}, "", "--size", 2);
  Fails({"frobnicate", in}, "", "unknown command", 2);
  Fails({"dither", in, out, "--levels", "1"}, "", "--levels", 2);
  // A size whose bytes the host cannot provide: its exception, with class and message.
  Fails({"scale", in, out, "--size", "1000000x1000000"}, "",
        "the plug-in raised OutOfMemoryException: Failed to allocate");
}

TEST_F(XqtTool, BadFilterAndRotationArgumentsAreReportedAndNothingIsWritten) {
  xqt::test::WritePng(Path("in.png"), MakePng(8, 8, PNG_COLOR_TYPE_RGB, 8, 81));
  xqt::test::WritePng(Path("g16.png"), MakePng(8, 8, PNG_COLOR_TYPE_GRAY, 16, 82));
  const std::string in = Path("in.png"), out = Path("out.png");
  const struct {
    std::vector<std::string> args;
    const char* reason;
  } usage[] = {
      {{"blur", in, out}, "--radius"},
      {{"blur", in, out, "--radius", "-1"}, "--radius must lie in 0 ... 65535"},
      {{"blur", in, out, "--radius", "65536"}, "--radius must lie in 0 ... 65535"},
      {{"blur", in, out, "--radius", "-0.5"}, "--radius must lie in 0 ... 65535"},
      {{"blur", in, out, "--radius", "nan"}, "'nan' is not a number"},
      {{"blur", in, out, "--radius", "1,2,3"}, "needs 2 numbers"},
      {{"blur", in, out, "--radius", "1.5,2"}, "not a whole number"},
      {{"matrix", in, out}, "--matrix"},
      {{"matrix", in, out, "--matrix", "sharper"}, "unknown matrix 'sharper'"},
      {{"matrix", in, out, "--matrix", "1,2,3,4"}, "4 entries do not make a square of odd side"},
      {{"matrix", in, out, "--matrix", "1,1,1,1,,1,1,1,1"}, "is not a whole number"},
      {{"matrix", in, out, "--matrix", "0,0,0,0,4294967296,0,0,0,0"}, "does not fit in 32 bits"},
      {{"matrix", in, out, "--matrix", "blur", "--divisor", "0"}, "--divisor must not be 0"},
      {{"oil", in, out, "--radius", "33"}, "--radius must lie in 1 ... 32"},
      {{"oil", in, out, "--levels", "1"}, "--levels must lie in 2 ... 256"},
      {{"diffuse", in, out, "--radius", "256"}, "--radius must lie in 0 ... 255"},
      {{"diffuse", in, out, "--seed", "-1"}, "--seed must lie in 0 ..."},
      {{"stamp", in, out, "--threshold", "257"}, "--threshold must lie in 0 ... 256"},
      {{"neon", in, out, "--radius", "2"}, "unknown option --radius"},
      {{"rotate", in, out, "nan"}, "the angle: 'nan' is not a number"},
      {{"rotate", in, out, "30deg"}, "the angle: '30deg' is not a number"},
      {{"rotate", in, out, "30", "--slow"}, "apply to 90, 180 and 270 only"},
      {{"rotate", in, out, "-90", "--background", "red"}, "apply to angles other than 90"},
      {{"rotate", in, out, "30", "--background", "reddish"}, "is not a colour"},
      {{"rotate", in, out, "30", "--alpha", "256"}, "--alpha must lie in 0 ... 255"},
  };
  for (const auto& c : usage) {
    SCOPED_TRACE(c.args[0] + " " + c.args.back());
    Fails(c.args, "", c.reason, 2);
  }
  // The plug-in's filters take 8-bit components only: its nil is named.
  Fails({"blur", Path("g16.png"), out, "--radius", "1"}, "g16.png",
        "BoxBlurFilter refused the image (it returned nil");
  Fails({"rotate", Path("g16.png"), out, "30"}, "g16.png", "Rotate refused the image");
}

TEST_F(XqtTool, EveryCommandHasHelp) {
  const Result list = Run({"--help"});
  ASSERT_EQ(list.status, 0);
  for (const char* command :
       {"info",     "scale",    "rotate", "mirror",    "convert", "gamma",   "gain",
        "transfer", "solarize", "dither", "unsharp",   "blur",    "matrix",  "oil",
        "diffuse",  "engrave",  "neon",   "stamp",     "blend",   "copy",    "clip",
        "channel",  "fill",     "invert", "autolevel", "gray",    "classes", "demo"}) {
    SCOPED_TRACE(command);
    EXPECT_NE(list.out.find(std::string("  ") + command + " "), std::string::npos);
    const Result help = Run({command, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind(std::string("usage: xqt ") + command, 0), 0u) << help.out;
  }
}

// Runs xqt with its standard error on a pseudo-terminal and returns what it drew there.
std::string RunOnTerminal(const std::vector<std::string>& args) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) return "no terminal";
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  if (terminal < 0) return "no terminal";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, terminal, 2);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  std::vector<std::string> all = {XQT_TOOL_PATH};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t child = -1;
  const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(terminal);
  std::string drawn;
  if (spawned == 0) {
    // Read while it runs, so that a long run never fills the terminal's buffer; the read ends
    // with an error once the child has closed its side.
    char buffer[4096];
    for (ssize_t n; (n = read(master, buffer, sizeof buffer)) > 0;) drawn.append(buffer, n);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) drawn += "\n(failed)";
  }
  close(master);
  return drawn;
}

// The progress line needs a terminal and an operation that yields for a while: an oil filter of
// the largest radius on a picture of a few hundred thousand pixels.
TEST_F(XqtTool, ProgressIsDrawnOnATerminalOnlyAndNotWithQuiet) {
  xqt::test::WritePng(Path("in.png"), MakePng(1100, 800, PNG_COLOR_TYPE_RGB, 8, 5));
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
