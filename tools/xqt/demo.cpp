// xqt demo: the plug-in at work on a test chart, with every result written as PNG, a contact
// sheet (index.html) and a table of the operations and their times.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "chart.h"
#include "commands.h"
#include "common/html.h"

namespace xqt::tool {
namespace {

using host::Color;
using host::Ref;

struct Entry {
  std::string file;  // without extension; empty for rows that only time an operation
  std::string operation;
  std::string parameters;
  int64_t width = 0;
  int64_t height = 0;
  double seconds = 0;
};

std::string Size(int64_t w, int64_t h) { return std::to_string(w) + "x" + std::to_string(h); }

class Demo {
 public:
  Demo(Session& session, std::filesystem::path dir) : s_(session), dir_(std::move(dir)) {}

  void Run();
  void PrintTable() const;
  void WriteIndex() const;
  double PluginSeconds() const {
    double total = 0;
    for (const Entry& e : entries_) total += e.seconds;
    return total;
  }

 private:
  int64_t Format(const char* name) const { return *s_.constants().Find("ImageFormat", name); }
  int64_t Kernel(const std::string& name) const { return *s_.constants().Find("Scale", name); }
  int64_t Matrix(const std::string& name) const {
    return *s_.constants().Find("Dither", name + "Matrix");
  }

  Ref New(int64_t w, int64_t h, int64_t format, bool mapped = false) {
    return s_.NewImage(w, h, format, mapped, "demo");
  }
  Ref Clone(const Ref& image) {
    Ref copy = image.Call<Ref>("Clone");
    Check(static_cast<bool>(copy), "Clone");
    s_.Watch(copy);
    return copy;
  }
  double Time(const std::string& label, const std::function<void()>& work) {
    s_.SetStage("demo: " + label);
    return s_.Run(label, work);
  }
  static void Check(bool ok, const std::string& what) {
    if (!ok) throw ToolError("demo: " + what + " failed (--debug shows the plug-in's reason)");
  }
  // Writes the image (and a thumbnail) and adds a row to the table.
  void Record(const std::string& file, const std::string& operation, const std::string& parameters,
              const Ref& image, double seconds);
  // A row for an operation whose result is not written again.
  void Note(const std::string& operation, const std::string& parameters, double seconds) {
    entries_.push_back(Entry{"", operation, parameters, 0, 0, seconds});
  }
  // Whether two images hold the same bytes in their visible pixels.
  bool Same(const Ref& a, const Ref& b) const;

  Session& s_;
  std::filesystem::path dir_;
  std::vector<Entry> entries_;
};

void Demo::Record(const std::string& file, const std::string& operation,
                  const std::string& parameters, const Ref& image, double seconds) {
  Check(static_cast<bool>(image), operation);
  const PictureShape shape = Describe(image);
  s_.Save(image, (dir_ / (file + ".png")).string());
  // The thumbnail fits in 240 x 180 and is made by the plug-in too (not timed).
  const double factor = std::min(
      {1.0, 240.0 / static_cast<double>(shape.width), 180.0 / static_cast<double>(shape.height)});
  const int64_t tw = std::max<int64_t>(1, static_cast<int64_t>(shape.width * factor));
  const int64_t th = std::max<int64_t>(1, static_cast<int64_t>(shape.height * factor));
  Ref thumb = New(tw, th, shape.format);
  s_.SetStage("demo: thumbnail of " + file);
  Check(thumb.Call<bool>("ScaleMT", int64_t{0}, image, nullptr, Kernel("Triangle"), tw, th),
        "thumbnail of " + file);
  s_.Save(thumb, (dir_ / "thumbs" / (file + ".png")).string());
  entries_.push_back(Entry{file, operation, parameters, shape.width, shape.height, seconds});
}

bool Demo::Same(const Ref& a, const Ref& b) const {
  const PictureShape sa = Describe(a), sb = Describe(b);
  if (sa.width != sb.width || sa.height != sb.height || sa.pixelSize != sb.pixelSize) return false;
  const size_t bytes = static_cast<size_t>(sa.width * sa.pixelSize);
  std::vector<uint8_t> row(bytes);
  for (int64_t y = 0; y < sa.height; ++y) {
    // A mapped image's row address holds only until its next row is fetched: copy one first.
    std::memcpy(row.data(), RowOf(a, y), bytes);
    if (std::memcmp(row.data(), RowOf(b, y), bytes) != 0) return false;
  }
  return true;
}

void Demo::Run() {
  const int64_t W = 2400, H = 1600;
  const int64_t rgba = Format("RGBA"), gray = Format("G"), cmyk = Format("CMYK");
  const char* kernels[] = {"Triangle", "Box", "Lanczos3", "Lanczos8", "Mitchell", "Poly3", "Cubic"};

  // The chart, drawn by the application through the rows the plug-in hands out.
  Ref chart = New(W, H, rgba);
  double t = Time("draw chart", [&] { DrawChart(chart, Describe(chart)); });
  Record("00-chart", "test chart", "2400x1600 RGBA, drawn by xqt through RawRowPtr", chart, t);

  // All seven kernels down to a third, on one worker per processor.
  const int64_t sw = 800, sh = 533;
  Ref small;
  for (const char* kernel : kernels) {
    Ref down = New(sw, sh, rgba);
    bool ok = false;
    t = Time(std::string("ScaleMT ") + kernel, [&] {
      ok = down.Call<bool>("ScaleMT", int64_t{0}, chart, nullptr, Kernel(kernel), sw, sh);
    });
    Check(ok, "ScaleMT");
    std::string lower = kernel;
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    Record("10-down-" + lower, "ScaleMT down", std::string(kernel) + ", 2400x1600 to 800x533", down,
           t);
    if (lower == "lanczos3") small = down;
  }

  // And up four times, from a crop at the edge of the zone plate and the star.
  Ref crop = chart.Call<Ref>("ClipImage", int64_t{560}, int64_t{470}, int64_t{240}, int64_t{150});
  Check(static_cast<bool>(crop), "ClipImage");
  Record("11-crop", "ClipImage", "240x150 at 560,470 (a view: no pixels copied)", crop, 0);
  for (const char* kernel : kernels) {
    Ref up = New(960, 600, rgba);
    bool ok = false;
    t = Time(std::string("ScaleMT up ") + kernel, [&] {
      ok = up.Call<bool>("ScaleMT", int64_t{0}, crop, nullptr, Kernel(kernel), int64_t{960},
                         int64_t{600});
    });
    Check(ok, "ScaleMT");
    std::string lower = kernel;
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    Record("12-up-" + lower, "ScaleMT up", std::string(kernel) + ", 240x150 to 960x600", up, t);
  }

  // Threaded and not: the same bytes, in less time.
  {
    const int64_t mw = 1200, mh = 800, mode = Kernel("Lanczos3");
    Ref inline_ = New(mw, mh, rgba), one = New(mw, mh, rgba), all = New(mw, mh, rgba);
    bool ok = true;
    const double tInline = Time(
        "Scale", [&] { ok = ok && inline_.Call<bool>("Scale", chart, nullptr, mode, mw, mh); });
    const double tOne = Time("ScaleMT 1", [&] {
      ok = ok && one.Call<bool>("ScaleMT", int64_t{1}, chart, nullptr, mode, mw, mh);
    });
    const double tAll = Time("ScaleMT 0", [&] {
      ok = ok && all.Call<bool>("ScaleMT", int64_t{0}, chart, nullptr, mode, mw, mh);
    });
    Check(ok, "Scale");
    const bool same = Same(inline_, one) && Same(inline_, all);
    Check(same, "identical results of Scale and ScaleMT");
    Note("Scale", "Lanczos3 to 1200x800, on the calling thread", tInline);
    Note("ScaleMT", "the same on 1 worker", tOne);
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    Record(
        "20-threads", "ScaleMT",
        "the same on one worker per processor (" + std::to_string(cores) + "); all three identical",
        all, tAll);
  }

  // Nearest neighbour.
  {
    Ref fast = New(sw, sh, rgba);
    bool ok = false;
    t = Time("ScaleFast", [&] { ok = fast.Call<bool>("ScaleFast", chart, sw, sh); });
    Check(ok, "ScaleFast");
    Record("21-fast", "ScaleFast", "nearest neighbour to 800x533", fast, t);
  }

  // File-mapped storage: the chart copied into a mapped file and scaled from there.
  {
    const int64_t mw = 1200, mh = 800, mode = Kernel("Mitchell");
    Ref mapped = New(W, H, rgba, true);
    bool ok = false;
    t = Time("CopyPixels into a mapped image",
             [&] { ok = mapped.Call<bool>("CopyPixels", chart); });
    Check(ok, "CopyPixels");
    Note("CopyPixels", "the chart into a file-mapped image", t);
    Ref mappedOut = New(mw, mh, rgba, true), memoryOut = New(mw, mh, rgba);
    t = Time("ScaleMT mapped", [&] {
      ok = mappedOut.Call<bool>("ScaleMT", int64_t{0}, mapped, nullptr, mode, mw, mh);
    });
    Check(ok, "ScaleMT of a mapped image");
    const double tMemory = Time("ScaleMT in memory", [&] {
      ok = memoryOut.Call<bool>("ScaleMT", int64_t{0}, chart, nullptr, mode, mw, mh);
    });
    Check(ok && Same(mappedOut, memoryOut), "mapped and in-memory scaling giving the same bytes");
    Note("ScaleMT", "Mitchell to 1200x800 in memory", tMemory);
    Record("22-mapped", "ScaleMT, file-mapped",
           "Mitchell to 1200x800, mapped file to mapped file (runs as Scale); same bytes as in "
           "memory",
           mappedOut, t);
  }

  // Turns and mirrors.
  {
    Ref result;
    for (const char* member : {"Rotate90", "Rotate270", "Rotate180", "Rotate90slow"}) {
      t = Time(member, [&] { result = small.Call<Ref>(member, nullptr); });
      Record(std::string("30-") + member, member, "into a new image made by the factory", result,
             t);
    }
    for (const char* member : {"Rotate180", "HMirror", "VMirror"}) {
      Ref copy = Clone(small);
      t = Time(member, [&] { copy.Call(member); });
      Record(std::string("31-") + member + "-self", member, "in place", copy, t);
    }
    t = Time("MirroredView", [&] { result = small.Call<Ref>("MirroredView"); });
    Record("32-mirrored-view", "MirroredView", "a view reading the rows bottom up", result, t);
    // Any other angle: a larger image, sampled bilinearly, its corners transparent black.
    t = Time("Rotate", [&] {
      result = small.Call<Ref>("Rotate", 30.0, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0},
                               int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0}, int64_t{0});
    });
    Record("33-rotate-30", "Rotate", "30 degrees counter-clockwise, uncovered corners transparent",
           result, t);
  }

  // Fills and pixel operations, each on a copy, in the middle of the image.
  {
    const int64_t x = 150, y = 100, w = 500, h = 333;
    struct Fill {
      const char* file;
      const char* member;
      const char* parameters;
      std::function<void(const Ref&)> call;
    };
    const Fill fills[] = {
        {"40-fillrgb", "FillRectRGB", "orange, rectangle 150,100,500,333",
         [&](const Ref& i) { i.Call("FillRectRGB", x, y, w, h, Color{0xff8800}); }},
        {"41-fillapply", "FillRectApply", "blue at alpha 128 over the rectangle",
         [&](const Ref& i) {
           Check(i.Call<bool>("FillRectApply", x, y, w, h, Color{0x2040ff}, int64_t{128}),
                 "FillRectApply");
         }},
        {"42-invert", "Invert", "the rectangle, alpha included",
         [&](const Ref& i) { i.Call("Invert", x, y, w, h); }},
        {"43-random", "FillRectRandom", "random bytes in the rectangle",
         [&](const Ref& i) { i.Call("FillRectRandom", x, y, w, h); }},
        {"44-clear", "ClearRect", "zero bytes (transparent black)",
         [&](const Ref& i) { i.Call("ClearRect", x, y, w, h); }},
        {"45-gray", "RGBToGray", "mode 2 (Rec. 709 weights), the image stays RGB",
         [&](const Ref& i) { Check(i.Call<bool>("RGBToGray", int64_t{2}), "RGBToGray"); }},
        {"46-premultiply", "Multiply", "colours times alpha (see the alpha ramp)",
         [&](const Ref& i) { i.Call("Multiply"); }},
    };
    for (const Fill& fill : fills) {
      Ref copy = Clone(small);
      t = Time(fill.member, [&] { fill.call(copy); });
      Record(fill.file, fill.member, fill.parameters, copy, t);
    }
    // A flat copy made with a transfer curve, and the levels stretched back.
    Ref flat;
    Ref curve = s_.host().NewIntegerArray(ParseCurve("0:70,255:170", "curve"));
    t = Time("TransferFilter", [&] { flat = small.Call<Ref>("TransferFilter", nullptr, curve); });
    Record("47-flat", "TransferFilter", "curve 0:70,255:170 (less contrast)", flat, t);
    Ref levelled = Clone(flat);
    bool ok = false;
    t = Time("AutoLevel", [&] { ok = levelled.Call<bool>("AutoLevel"); });
    Check(ok, "AutoLevel");
    Record("48-autolevel", "AutoLevel", "the flat copy stretched back", levelled, t);
  }

  // Point filters.
  Ref solarized;
  {
    Ref result;
    t = Time("GammaFilter", [&] { result = small.Call<Ref>("GammaFilter", nullptr, 2.2); });
    Record("50-gamma-2.2", "GammaFilter", "gamma 2.2 (brighter)", result, t);
    t = Time("GammaFilter", [&] { result = small.Call<Ref>("GammaFilter", nullptr, 0.5); });
    Record("51-gamma-0.5", "GammaFilter", "gamma 0.5 (darker)", result, t);
    t = Time("GammaFilter",
             [&] { result = small.Call<Ref>("GammaFilter", nullptr, 1.0, 1.6, 0.7); });
    Record("52-gamma-rgb", "GammaFilter", "red 1.0, green 1.6, blue 0.7", result, t);
    t = Time("GainFilter", [&] { result = small.Call<Ref>("GainFilter", nullptr, 0.8, 0.5); });
    Record("53-gain", "GainFilter", "gain 0.8, bias 0.5 (more contrast)", result, t);
    t = Time("GainFilter", [&] { result = small.Call<Ref>("GainFilter", nullptr, 0.5, 0.7); });
    Record("54-bias", "GainFilter", "gain 0.5, bias 0.7 (brighter)", result, t);
    Ref r = s_.host().NewIntegerArray(ParseCurve("posterize4", "curve"));
    Ref g = s_.host().NewIntegerArray(ParseCurve("contrast", "curve"));
    Ref b = s_.host().NewIntegerArray(ParseCurve("invert", "curve"));
    t = Time("TransferFilter",
             [&] { result = small.Call<Ref>("TransferFilter", nullptr, r, g, b); });
    Record("55-transfer", "TransferFilter", "red posterized to 4, green S-curve, blue inverted",
           result, t);
    t = Time("SolarizeFilter", [&] { solarized = small.Call<Ref>("SolarizeFilter", nullptr); });
    Record("56-solarize", "SolarizeFilter", "every channel, alpha included", solarized, t);
  }

  // Unsharp masking: a blur made with the scaler, then the image pushed away from it.
  {
    const int64_t triangle = Kernel("Triangle");
    Ref down = New(sw / 4, sh / 4, rgba), blurred = New(sw, sh, rgba);
    bool ok = false;
    t = Time("blur", [&] {
      ok = down.Call<bool>("ScaleMT", int64_t{0}, small, nullptr, triangle, sw / 4, sh / 4) &&
           blurred.Call<bool>("ScaleMT", int64_t{0}, down, nullptr, triangle, sw, sh);
    });
    Check(ok, "blur");
    Record("57-blurred", "ScaleMT down and up", "Triangle, a quarter and back (the blur)", blurred,
           t);
    Ref sharp = Clone(small);
    t = Time("UnsharpFilter",
             [&] { ok = sharp.Call<bool>("UnsharpFilter", blurred, 0.25, int64_t{3}); });
    Check(ok, "UnsharpFilter");
    Record("58-unsharp", "UnsharpFilter", "amount 0.25 (detail doubled), threshold 3", sharp, t);
  }

  // Gray, 16-bit gray and CMYK.
  Ref grayImage = New(sw, sh, gray);
  {
    bool ok = false;
    t = Time("CopyPixels to gray", [&] { ok = grayImage.Call<bool>("CopyPixels", small); });
    Check(ok, "CopyPixels");
    Record("60-gray", "CopyPixels", "RGBA into ImageFormatG: (77R + 151G + 28B) >> 8", grayImage,
           t);
    Ref wide = New(sw, sh, Format("Gray16"));
    t = Time("CopyPixels to Gray16", [&] { ok = wide.Call<bool>("CopyPixels", grayImage); });
    Check(ok, "CopyPixels");
    Record("61-gray16", "CopyPixels", "G into ImageFormatGray16: v x 257, written as 16-bit PNG",
           wide, t);
    Ref inks = New(sw, sh, cmyk);
    t = Time("CopyPixels to CMYK", [&] { ok = inks.Call<bool>("CopyPixels", grayImage); });
    Check(ok, "CopyPixels");
    Record("62-gray-to-cmyk", "CopyPixels",
           "G into ImageFormatCMYK: black ink takes the gray value as it is", inks, t);
    // A naive separation through channel views: each ink is the inverse of one colour.
    Ref separated = New(sw, sh, cmyk);
    t = Time("separation", [&] {
      separated.Call("ClearRect");
      const std::pair<const char*, const char*> pairs[] = {{"CyanChannel", "RedChannel"},
                                                           {"MagentaChannel", "GreenChannel"},
                                                           {"YellowChannel", "BlueChannel"}};
      for (const auto& [ink, light] : pairs) {
        Ref to = separated.Call<Ref>(ink), from = small.Call<Ref>(light);
        Check(to && from && to.Call<bool>("CopyPixels", from), "CopyPixels between channels");
        to.Call("Invert");
      }
    });
    Record("63-cmyk", "CopyPixels, Invert on channel views",
           "cyan = 255 - red, magenta = 255 - green, yellow = 255 - blue; also 63-cmyk.jpg",
           separated, t);
    s_.Save(separated, (dir_ / "63-cmyk.jpg").string());
    Ref view;
    t = Time("RedChannel", [&] { view = small.Call<Ref>("RedChannel"); });
    Record("64-red-channel", "RedChannel", "a gray view of the red bytes (PixelSize 4)", view, t);
    t = Time("AlphaChannel", [&] { view = small.Call<Ref>("AlphaChannel"); });
    Record("65-alpha-channel", "AlphaChannel", "a gray view of the alpha bytes", view, t);
    t = Time("MagentaChannel", [&] { view = separated.Call<Ref>("MagentaChannel"); });
    Record("66-magenta-channel", "MagentaChannel", "the magenta ink of the separation", view, t);
  }

  // Ordered dithers.
  {
    struct Dither {
      const char* matrix;
      int64_t levels;
      bool colour;
    };
    const Dither dithers[] = {{"Ordered8x8", 2, false}, {"Cluster8", 2, false},
                              {"Magic4x4", 2, false},   {"90Halftone6x6", 2, false},
                              {"Lines4x4", 3, false},   {"Ordered4x4", 3, true}};
    for (const Dither& d : dithers) {
      Ref result;
      const Ref& source = d.colour ? small : grayImage;
      t = Time("DitherFilter", [&] {
        result = source.Call<Ref>("DitherFilter", nullptr, Matrix(d.matrix), d.levels);
      });
      std::string file = std::string("70-dither-") + d.matrix + (d.colour ? "-rgba" : "");
      std::transform(file.begin(), file.end(), file.begin(), ::tolower);
      Record(file, "DitherFilter",
             std::string(d.matrix) + ", " + std::to_string(d.levels) + " levels" +
                 (d.colour ? " per channel of RGBA" : " of gray"),
             result, t);
    }
  }

  // Blending through a mask, and a collage of copies.
  {
    Ref mask = New(sw, sh, gray);
    DrawRoundMask(mask, Describe(mask));
    Record("80-mask", "mask", "a vignette drawn by xqt", mask, 0);
    Ref result = New(sw, sh, rgba);
    bool ok = false;
    t = Time("Blend", [&] {
      ok = s_.host().CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", small,
                                      nullptr, mask, result, Color{0xffffff});
    });
    Check(ok, "BlendPicturesWithMaskWithBackground");
    Record("81-blend-background", "BlendPicturesWithMaskWithBackground",
           "the image towards white through the vignette", result, t);
    Ref both = New(sw, sh, rgba);
    t = Time("Blend", [&] {
      ok = s_.host().CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", small,
                                      solarized, mask, both, Color{0});
    });
    Check(ok, "BlendPicturesWithMaskWithBackground");
    Record("82-blend-image", "BlendPicturesWithMaskWithBackground",
           "the image towards its solarized copy through the vignette", both, t);

    Ref collage = New(1200, 800, Format("RGB"));
    t = Time("collage", [&] {
      collage.Call("FillRectRGB", Color{0xf4f1ea});
      // The star and the wheel at full size, the zone plate from the gray copy, the small chart.
      ok = collage.Call<bool>("CopyPixels", chart, int64_t{20}, int64_t{20}, int64_t{620},
                              int64_t{620}, int64_t{710}, int64_t{234}) &&
           collage.Call<bool>("CopyPixels", grayImage, int64_t{660}, int64_t{20}, int64_t{520},
                              int64_t{300}, int64_t{0}, int64_t{60}) &&
           collage.Call<bool>("CopyPixels", small, int64_t{660}, int64_t{340}, int64_t{520},
                              int64_t{440}, int64_t{140}, int64_t{60});
    });
    Check(ok, "CopyPixels");
    Record("83-collage", "CopyPixels", "three rectangles from RGBA and gray images into RGB",
           collage, t);
  }

  // Area and artistic filters.
  {
    host::Host& host = s_.host();
    struct Effect {
      const char* file;
      const char* member;
      const char* parameters;
      std::function<Ref()> call;
    };
    auto matrix = [&](const char* preset) {
      return host.NewIntegerArray(ParseMatrix(preset, "matrix"));
    };
    const Effect effects[] = {
        {"90-boxblur", "BoxBlurFilter", "radius 6: the mean of a 13 x 13 box",
         [&] { return small.Call<Ref>("BoxBlurFilter", nullptr, int64_t{6}); }},
        {"91-boxblur-rows", "BoxBlurFilter", "radii 16 and 0: along the rows only",
         [&] { return small.Call<Ref>("BoxBlurFilter", nullptr, int64_t{16}, int64_t{0}); }},
        {"92-boxblur-fraction", "BoxBlurFractionalFilter", "radius 2.5",
         [&] { return small.Call<Ref>("BoxBlurFractionalFilter", nullptr, 2.5); }},
        {"93-sharpen", "ApplyMatrix", "sharpen: 0,-1,0,-1,5,-1,0,-1,0",
         [&] { return small.Call<Ref>("ApplyMatrix", nullptr, matrix("sharpen")); }},
        {"94-emboss", "ApplyMatrix", "emboss: -2,-1,0,-1,1,1,0,1,2",
         [&] { return small.Call<Ref>("ApplyMatrix", nullptr, matrix("emboss")); }},
        {"95-oil", "OilFilter", "radius 3, 20 levels",
         [&] { return small.Call<Ref>("OilFilter", nullptr, int64_t{3}, int64_t{20}); }},
        {"96-diffuse", "DiffuseFilter", "radius 4",
         [&] { return small.Call<Ref>("DiffuseFilter", nullptr, int64_t{4}); }},
        {"97-engrave", "EngraveFilter", "gray relief of the brightness",
         [&] { return small.Call<Ref>("EngraveFilter", nullptr); }},
        {"98-neon", "NeonFilter", "edges in their own colour",
         [&] { return small.Call<Ref>("NeonFilter", nullptr); }},
        {"99-stamp", "StampFilter", "threshold 128",
         [&] { return small.Call<Ref>("StampFilter", nullptr, int64_t{128}); }},
    };
    for (const Effect& effect : effects) {
      Ref result;
      t = Time(effect.member, [&] { result = effect.call(); });
      Record(effect.file, effect.member, effect.parameters, result, t);
    }
  }
}

void Demo::PrintTable() const {
  std::printf("\n  %-3s %-28s %-36s %-10s %9s\n", "#", "file", "operation", "size", "ms");
  int number = 0;
  for (const Entry& e : entries_) {
    ++number;
    std::string operation = e.operation;
    if (operation.size() > 36) operation = operation.substr(0, 33) + "...";
    std::printf("  %-3d %-28s %-36s %-10s %9.1f\n", number,
                e.file.empty() ? "-" : (e.file + ".png").c_str(), operation.c_str(),
                e.file.empty() ? "" : Size(e.width, e.height).c_str(), e.seconds * 1e3);
    std::printf("      %s\n", e.parameters.c_str());
  }
}

void Demo::WriteIndex() const {
  const std::filesystem::path target = dir_ / "index.html";
  const std::filesystem::path temporary = dir_ / ".index.html.tmp";
  {
    std::ofstream html(temporary);
    html << "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\">\n"
            "<title>PictureXQT at work</title>\n<style>\n"
            "body{font:14px sans-serif;background:#eee;margin:20px}\n"
            ".grid{display:flex;flex-wrap:wrap;gap:14px}\n"
            ".card{background:#fff;padding:10px;width:250px;border-radius:6px;"
            "box-shadow:0 1px 3px #0003}\n"
            ".card img{display:block;margin:0 auto 6px;max-width:240px;"
            "background:repeating-conic-gradient(#ccc 0 25%,#fff 0 50%) 0 0/16px 16px}\n"
            ".op{font-weight:bold}.p{color:#444}.t{color:#070;font-family:monospace}\n"
            "td,th{padding:2px 10px;text-align:left}td.n{text-align:right}\n"
            "</style></head><body>\n<h1>PictureXQT at work</h1>\n"
            "<p>Every image below was made by the plug-in libImages.so, loaded through the "
            "emulated host by <code>xqt demo</code>. Times are those of the plug-in calls.</p>\n"
            "<div class=\"grid\">\n";
    for (const Entry& e : entries_) {
      if (e.file.empty()) continue;
      html << "<div class=\"card\"><a href=\"" << HtmlEscape(e.file) << ".png\"><img src=\"thumbs/"
           << HtmlEscape(e.file) << ".png\" alt=\"" << HtmlEscape(e.file) << "\"></a>"
           << "<div class=\"op\">" << HtmlEscape(e.operation) << "</div><div class=\"p\">"
           << HtmlEscape(e.parameters) << "</div><div class=\"t\">" << Size(e.width, e.height)
           << ", ";
      char ms[32];
      std::snprintf(ms, sizeof ms, "%.1f ms", e.seconds * 1e3);
      html << ms << "</div></div>\n";
    }
    html << "</div>\n<h2>All operations</h2>\n<table>\n<tr><th>operation</th><th>parameters"
            "</th><th>ms</th></tr>\n";
    for (const Entry& e : entries_) {
      char ms[32];
      std::snprintf(ms, sizeof ms, "%.1f", e.seconds * 1e3);
      html << "<tr><td>" << HtmlEscape(e.operation) << "</td><td>" << HtmlEscape(e.parameters)
           << "</td><td class=\"n\">" << ms << "</td></tr>\n";
    }
    html << "</table>\n</body></html>\n";
    if (!html.flush()) throw ToolError(target.string() + ": write failed");
  }
  std::error_code error;
  std::filesystem::rename(temporary, target, error);
  if (error) throw ToolError(target.string() + ": " + error.message());
}

}  // namespace

int RunDemo(Session* session, const Args& args) {
  const auto start = std::chrono::steady_clock::now();
  const std::filesystem::path dir = args.Value("out").value_or("demo-out");
  std::error_code error;
  std::filesystem::create_directories(dir / "thumbs", error);
  if (error) throw ToolError(dir.string() + ": cannot create the folder (" + error.message() + ")");

  host::Host& host = session->host();
  std::printf("Loaded the plug-in through the emulated host (control version %d).\n",
              host.RegisteredPluginVersion());
  for (const host::ClassInfo* info : host.PluginClasses()) {
    const REALclassDefinition* d = info->definition;
    if (!d) continue;
    std::printf(
        "  %-18s properties %zu, methods %zu, constants %zu, events %zu, shared properties %zu, "
        "shared methods %zu\n",
        info->name.c_str(), d->propertyCount, d->methodCount, d->constantCount, d->eventCount,
        d->sharedPropertyCount, d->sharedMethodCount);
  }
  std::printf("Drawing a 2400x1600 test chart and running it through the plug-in...\n");
  std::fflush(stdout);

  // Written files are compressed lightly: the demo is about the plug-in, not zlib.
  if (!args.Has("compression")) {
    WriteOptions write = session->options().write;
    write.pngCompression = 3;
    session->SetWriteOptions(write);
  }
  Demo demo(*session, dir);
  demo.Run();
  demo.WriteIndex();
  demo.PrintTable();
  const double total =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("\n%.1f s in all, %.1f s of it in the plug-in; results in %s\n", total,
              demo.PluginSeconds(), (dir / "index.html").string().c_str());
  return 0;
}

}  // namespace xqt::tool
