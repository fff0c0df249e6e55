// The commands: each reads its files into images, calls the plug-in's members as an application
// would, and writes the result.
#include "commands.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace xqt::tool {
namespace {

using host::Color;
using host::Ref;

const std::string& In(const Args& args) { return args.positional.at(0); }
const std::string& Out(const Args& args) { return args.positional.back(); }

// Refuses early an output name whose type we cannot write, before any work is done.
void CheckOutput(const std::string& path) { KindForPath(path); }

void Refused(const std::string& file, const std::string& member, const std::string& why) {
  throw ToolError(file + ": " + member + " refused the image (" + why +
                  "; --debug shows the plug-in's reason)");
}

Ref Required(Ref result, const std::string& file, const std::string& member) {
  if (!result) Refused(file, member, "it returned nil");
  return result;
}

void Succeeded(bool ok, const std::string& file, const std::string& member) {
  if (!ok) Refused(file, member, "it returned false");
}

void Report(const Session& session, const std::string& what, double seconds) {
  if (!session.options().quiet) std::fprintf(stderr, "%s: %.1f ms\n", what.c_str(), seconds * 1e3);
}

// The rectangle of --rect, or the whole image.
std::vector<int64_t> RectOf(const Args& args, const PictureShape& shape) {
  if (auto rect = args.Value("rect")) return ParseIntegers(*rect, 4, "--rect");
  return {0, 0, shape.width, shape.height};
}

// Runs one member on a loaded image and writes the image (in-place operations).
int InPlace(Session* s, const Args& args, const std::string& member,
            const std::function<void(const Ref&, const PictureShape&)>& work) {
  CheckOutput(Out(args));
  Ref image = s->Load(In(args));
  const PictureShape shape = Describe(image);
  s->SetStage(In(args) + ": " + member);
  Report(*s, member, s->Run(member, [&] { work(image, shape); }));
  s->Save(image, Out(args));
  return 0;
}

// A destination for filters: nil lets the plug-in's factory make one in memory; with --mapped
// the destination is made file-mapped here.
Ref FilterDestination(Session* s, const PictureShape& shape, const std::string& file) {
  if (!s->options().mapped) return Ref();
  return s->NewImage(shape.width, shape.height, shape.format, file);
}

// Runs a filter that takes a destination and returns it.
int Filter(Session* s, const Args& args, const std::string& member,
           const std::function<Ref(const Ref& source, const Ref& dest)>& call) {
  CheckOutput(Out(args));
  Ref source = s->Load(In(args));
  const PictureShape shape = Describe(source);
  Ref dest = FilterDestination(s, shape, In(args));
  Ref result;
  s->SetStage(In(args) + ": " + member);
  Report(*s, member, s->Run(member, [&] { result = call(source, dest); }));
  Required(result, In(args), member);
  s->Watch(result);
  s->Save(result, Out(args));
  return 0;
}

int64_t ScaleMode(const Session& s, const std::string& name) {
  auto mode = s.constants().Find("Scale", name);
  if (!mode) {
    throw UsageError("unknown kernel '" + name + "' (known: " + s.constants().List("Scale") + ")");
  }
  return *mode;
}

int64_t DitherMatrix(const Session& s, const std::string& name) {
  auto matrix = s.constants().Find("Dither", name);
  if (!matrix) matrix = s.constants().Find("Dither", name + "Matrix");
  if (!matrix) {
    std::string known;
    for (const auto& [n, v] : s.constants().WithPrefix("Dither")) {
      if (!known.empty()) known += ", ";
      known +=
          n.size() > 6 && n.compare(n.size() - 6, 6, "Matrix") == 0 ? n.substr(0, n.size() - 6) : n;
    }
    throw UsageError("unknown dither matrix '" + name + "' (known: " + known + ")");
  }
  return *matrix;
}

// An integer option within low ... high, or `fallback` when it is not given.
int64_t IntegerIn(const Args& args, const std::string& name, int64_t fallback, int64_t low,
                  int64_t high) {
  const auto text = args.Value(name);
  const int64_t value = text ? ParseInteger(*text, "--" + name) : fallback;
  if (value < low || value > high) {
    throw UsageError("--" + name + " must lie in " + std::to_string(low) + " ... " +
                     std::to_string(high));
  }
  return value;
}

// ---- info ------------------------------------------------------------------------------------

int Info(Session* s, const Args& args) {
  for (const std::string& path : args.positional) {
    Ref image = s->Load(path);
    const PictureShape shape = Describe(image);
    const std::vector<std::string> channels = image.Call<std::vector<std::string>>("Channels");
    std::string names;
    for (const std::string& name : channels) names += (names.empty() ? "" : ", ") + name;
    const int64_t total = image.Get<int64_t>("TotalSize");
    std::printf("%s\n", path.c_str());
    std::printf("  size        %lld x %lld\n", static_cast<long long>(shape.width),
                static_cast<long long>(shape.height));
    std::printf("  format      ImageFormat%s (%lld, \"%s\")\n",
                s->constants().NameOf("ImageFormat", shape.format).c_str(),
                static_cast<long long>(shape.format),
                image.Get<std::string>("ImageFormatString").c_str());
    std::printf("  channels    %lld: %s\n", static_cast<long long>(shape.channelCount),
                names.c_str());
    std::printf("  pixel       %lld bytes, %lld bits per component\n",
                static_cast<long long>(shape.pixelSize), static_cast<long long>(shape.bits));
    std::printf("  row size    %lld bytes\n", static_cast<long long>(shape.rowSize));
    std::printf("  memory      %lld bytes%s\n", static_cast<long long>(total),
                shape.mapping ? " in a mapped file" : "");
  }
  return 0;
}

// ---- scale -----------------------------------------------------------------------------------

int Scale(Session* s, const Args& args) {
  CheckOutput(Out(args));
  if (args.Has("size") == args.Has("percent")) {
    throw UsageError("give either --size WxH or --percent P");
  }
  const bool fast = args.Has("fast");
  if (fast && (args.Has("mode") || args.Has("threads"))) {
    throw UsageError("--fast scales by nearest neighbour: it takes no --mode or --threads");
  }
  const int64_t mode = ScaleMode(*s, args.Value("mode").value_or("Lanczos3"));
  std::optional<int64_t> threads = 0;
  if (auto t = args.Value("threads")) {
    threads = *t == "off" ? std::nullopt : std::optional<int64_t>(ParseInteger(*t, "--threads"));
  }
  int64_t width = 0, height = 0;
  double percent = 0;
  if (auto size = args.Value("size")) {
    ParseSize(*size, &width, &height);
  } else {
    percent = ParseNumber(*args.Value("percent"), "--percent");
    if (!(percent > 0)) throw UsageError("--percent must be above 0");
  }

  Ref source = s->Load(In(args));
  const PictureShape shape = Describe(source);
  // A side left open keeps the aspect ratio.
  auto scaled = [](int64_t side, double factor) {
    const double v = std::round(static_cast<double>(side) * factor);
    if (!(v < 9.2e18)) throw UsageError("the scaled size is out of range");
    return std::max<int64_t>(1, static_cast<int64_t>(v));
  };
  if (percent > 0) {
    width = scaled(shape.width, percent / 100.0);
    height = scaled(shape.height, percent / 100.0);
  } else if (width == 0) {
    width = scaled(shape.width, static_cast<double>(height) / static_cast<double>(shape.height));
  } else if (height == 0) {
    height = scaled(shape.height, static_cast<double>(width) / static_cast<double>(shape.width));
  }
  Ref dest = s->NewImage(width, height, shape.format, Out(args));
  const std::string member = fast ? "ScaleFast" : threads ? "ScaleMT" : "Scale";
  const std::string label =
      member + " " + std::to_string(width) + "x" + std::to_string(height) +
      (fast ? std::string() : std::string(" ") + s->constants().NameOf("Scale", mode));
  s->SetStage(In(args) + ": " + member);
  bool ok = false;
  Report(*s, label, s->Run(label, [&] {
    if (fast) {
      ok = dest.Call<bool>("ScaleFast", source, width, height);
    } else if (threads) {
      ok = dest.Call<bool>("ScaleMT", *threads, source, nullptr, mode, width, height);
    } else {
      ok = dest.Call<bool>("Scale", source, nullptr, mode, width, height);
    }
  }));
  Succeeded(ok, In(args), member);
  s->Save(dest, Out(args));
  return 0;
}

// ---- rotate, mirror --------------------------------------------------------------------------

// The values of a free rotation's uncovered corners in every family: the colour for RGB, its
// gray as CopyPixels makes it ((77 R + 151 G + 28 B) >> 8), and for CMYK the inks 255 - R,
// 255 - G, 255 - B with no black, so that the corners show the colour when written as PNG.
struct Background {
  int64_t red = 0, green = 0, blue = 0, alpha = 0, gray = 0;
  int64_t cyan = 0, magenta = 0, yellow = 0, black = 0;
};

Background BackgroundOf(uint32_t color, int64_t alpha) {
  Background b;
  b.red = (color >> 16) & 0xff;
  b.green = (color >> 8) & 0xff;
  b.blue = color & 0xff;
  b.alpha = alpha;
  b.gray = (77 * b.red + 151 * b.green + 28 * b.blue) >> 8;
  b.cyan = 255 - b.red;
  b.magenta = 255 - b.green;
  b.yellow = 255 - b.blue;
  return b;
}

int RotateFree(Session* s, const Args& args, double angle) {
  if (args.Has("slow") || args.Has("in-place")) {
    throw UsageError("--slow and --in-place apply to 90, 180 and 270 only");
  }
  // Without --background the corners keep the member's defaults: 0 in every channel.
  Background background;
  const int64_t alpha = IntegerIn(args, "alpha", args.Has("background") ? 255 : 0, 0, 255);
  background.alpha = alpha;
  if (auto c = args.Value("background")) {
    background = BackgroundOf(ParseColor(*c, "--background"), alpha);
  }
  CheckOutput(Out(args));
  Ref source = s->Load(In(args));
  const std::string label = "Rotate " + args.positional.at(1);
  const Background& b = background;
  Ref result;
  s->SetStage(In(args) + ": Rotate");
  Report(*s, label, s->Run(label, [&] {
    result = source.Call<Ref>("Rotate", angle, b.red, b.green, b.blue, b.alpha, b.gray, b.cyan,
                              b.magenta, b.yellow, b.black);
  }));
  Required(result, In(args), "Rotate");
  s->Save(result, Out(args));
  return 0;
}

int Rotate(Session* s, const Args& args) {
  const double angle = ParseNumber(args.positional.at(1), "the angle");
  // Turns by whole quarters are exact: they keep to the turning members.
  double turn = std::fmod(angle, 360.0);
  if (turn < 0) turn += 360.0;
  if (turn != 90 && turn != 180 && turn != 270) return RotateFree(s, args, angle);
  if (args.Has("background") || args.Has("alpha")) {
    throw UsageError("--background and --alpha apply to angles other than 90, 180 and 270");
  }
  const std::string quarter = std::to_string(static_cast<int>(turn));
  const bool slow = args.Has("slow");
  const bool inPlace = args.Has("in-place");
  if (slow && quarter == "180") throw UsageError("--slow applies to 90 and 270");
  if (inPlace && quarter != "180") throw UsageError("only 180 turns in place");
  if (inPlace) {
    return InPlace(s, args, "Rotate180",
                   [](const Ref& image, const PictureShape&) { image.Call("Rotate180"); });
  }
  const std::string member = "Rotate" + quarter + (slow ? "slow" : "");
  CheckOutput(Out(args));
  Ref source = s->Load(In(args));
  const PictureShape shape = Describe(source);
  Ref dest;
  if (s->options().mapped) {
    const bool sideways = quarter != "180";
    dest = s->NewImage(sideways ? shape.height : shape.width, sideways ? shape.width : shape.height,
                       shape.format, In(args));
  }
  Ref result;
  s->SetStage(In(args) + ": " + member);
  Report(*s, member, s->Run(member, [&] { result = source.Call<Ref>(member, dest); }));
  Required(result, In(args), member);
  s->Save(result, Out(args));
  return 0;
}

int Mirror(Session* s, const Args& args) {
  const std::string axis = args.positional.at(1);
  if (axis != "h" && axis != "v") throw UsageError("mirror h (left-right) or v (top-bottom)");
  const std::string member = axis == "h" ? "HMirror" : "VMirror";
  return InPlace(s, args, member,
                 [&](const Ref& image, const PictureShape&) { image.Call(member); });
}

// ---- convert ---------------------------------------------------------------------------------

int Convert(Session* s, const Args& args) {
  CheckOutput(Out(args));
  std::optional<int64_t> format;
  if (auto name = args.Value("format")) {
    format = s->constants().Find("ImageFormat", *name);
    if (!format) {
      throw UsageError("unknown format '" + *name +
                       "' (known: " + s->constants().List("ImageFormat") + ")");
    }
  }
  Ref source = s->Load(In(args));
  const PictureShape shape = Describe(source);
  if (!format || *format == shape.format) {
    s->Save(source, Out(args));
    return 0;
  }
  Ref dest = s->NewImage(shape.width, shape.height, *format, Out(args));
  const PictureShape target = Describe(dest);
  bool ok = false;
  s->SetStage(In(args) + ": CopyPixels");
  Report(*s, "CopyPixels", s->Run("CopyPixels", [&] {
    if (target.bits == 16 && !shape.isGray) {
      // CopyPixels puts the gray of a colour pixel into the first byte of a 16-bit sample; going
      // through 8-bit gray gives the full 16-bit value instead.
      Ref gray = s->NewImage(shape.width, shape.height,
                             FormatForLayout(s->constants(), Layout::Gray), Out(args));
      ok = gray.Call<bool>("CopyPixels", source) && dest.Call<bool>("CopyPixels", gray);
    } else {
      ok = dest.Call<bool>("CopyPixels", source);
    }
  }));
  if (!ok) {
    throw ToolError(In(args) + ": the plug-in does not copy ImageFormat" +
                    s->constants().NameOf("ImageFormat", shape.format) + " into ImageFormat" +
                    s->constants().NameOf("ImageFormat", *format) +
                    " (CopyPixels returned false; RGB and CMYK do not convert into each other)");
  }
  s->Save(dest, Out(args));
  return 0;
}

// ---- point filters, dither, unsharp ----------------------------------------------------------

int Gamma(Session* s, const Args& args) {
  const bool rgb = args.Has("rgb");
  if (rgb == args.Has("gamma")) throw UsageError("give either --gamma G or --rgb R,G,B");
  std::vector<double> gammas;
  if (rgb) {
    const std::string text = *args.Value("rgb");
    size_t start = 0;
    while (true) {
      const size_t comma = text.find(',', start);
      gammas.push_back(ParseNumber(text.substr(start, comma - start), "--rgb"));
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
    if (gammas.size() != 3) throw UsageError("--rgb needs three gammas R,G,B");
  } else {
    gammas.push_back(ParseNumber(*args.Value("gamma"), "--gamma"));
  }
  std::optional<double> alpha;
  if (auto a = args.Value("alpha")) alpha = ParseNumber(*a, "--alpha");
  for (double g : gammas) {
    if (!(g > 0)) throw UsageError("gammas must be above 0");
  }
  if (alpha && !(*alpha > 0)) throw UsageError("gammas must be above 0");
  return Filter(s, args, "GammaFilter", [&](const Ref& source, const Ref& dest) {
    if (rgb && alpha) {
      return source.Call<Ref>("GammaFilter", dest, gammas[0], gammas[1], gammas[2], *alpha);
    }
    if (rgb) return source.Call<Ref>("GammaFilter", dest, gammas[0], gammas[1], gammas[2]);
    if (alpha) return source.Call<Ref>("GammaFilter", dest, gammas[0], *alpha);
    return source.Call<Ref>("GammaFilter", dest, gammas[0]);
  });
}

int Gain(Session* s, const Args& args) {
  const double gain = ParseNumber(args.Value("gain").value_or("0.5"), "--gain");
  const double bias = ParseNumber(args.Value("bias").value_or("0.5"), "--bias");
  // Outside these ranges the curve has no finite value.
  if (!(gain >= 0 && gain < 1)) throw UsageError("--gain must lie in 0 ... 1 (1 excluded)");
  if (!(bias > 0 && bias <= 1)) throw UsageError("--bias must lie in 0 ... 1 (0 excluded)");
  return Filter(s, args, "GainFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("GainFilter", dest, gain, bias);
  });
}

int Transfer(Session* s, const Args& args) {
  const bool perChannel = args.Has("red") || args.Has("green") || args.Has("blue");
  if (!perChannel && !args.Has("curve")) {
    throw UsageError("give --curve, or --red / --green / --blue");
  }
  const std::string common = args.Value("curve").value_or("identity");
  auto curve = [&](const char* name) {
    return ParseCurve(args.Value(name).value_or(common), std::string("--") + name);
  };
  const std::vector<int64_t> gray = curve("curve");
  const std::vector<int64_t> red = curve("red"), green = curve("green"), blue = curve("blue");
  std::optional<std::vector<int64_t>> alpha;
  if (args.Has("alpha")) alpha = curve("alpha");
  host::Host& host = s->host();
  return Filter(s, args, "TransferFilter", [&](const Ref& source, const Ref& dest) {
    if (perChannel) {
      Ref r = host.NewIntegerArray(red), g = host.NewIntegerArray(green),
          b = host.NewIntegerArray(blue);
      if (alpha) {
        Ref a = host.NewIntegerArray(*alpha);
        return source.Call<Ref>("TransferFilter", dest, r, g, b, a);
      }
      return source.Call<Ref>("TransferFilter", dest, r, g, b);
    }
    Ref g = host.NewIntegerArray(gray);
    if (alpha) {
      Ref a = host.NewIntegerArray(*alpha);
      return source.Call<Ref>("TransferFilter", dest, g, a);
    }
    return source.Call<Ref>("TransferFilter", dest, g);
  });
}

int Solarize(Session* s, const Args& args) {
  return Filter(s, args, "SolarizeFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("SolarizeFilter", dest);
  });
}

int Dither(Session* s, const Args& args) {
  const int64_t matrix = DitherMatrix(*s, args.Value("matrix").value_or("Ordered8x8"));
  const int64_t levels = ParseInteger(args.Value("levels").value_or("2"), "--levels");
  if (levels < 2 || levels > 256) throw UsageError("--levels must lie in 2 ... 256");
  return Filter(s, args, "DitherFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("DitherFilter", dest, matrix, levels);
  });
}

int Unsharp(Session* s, const Args& args) {
  CheckOutput(Out(args));
  const double amount = ParseNumber(args.Value("amount").value_or("0.25"), "--amount");
  const int64_t threshold = ParseInteger(args.Value("threshold").value_or("4"), "--threshold");
  const int64_t radius = ParseInteger(args.Value("radius").value_or("3"), "--radius");
  if (radius < 1 || radius > 1000) throw UsageError("--radius must lie in 1 ... 1000");
  Ref image = s->Load(In(args));
  const PictureShape shape = Describe(image);
  const int64_t triangle = ScaleMode(*s, "Triangle");
  // The blur that unsharp masking needs, made with the plug-in's own scaler: down by the radius
  // and back up, both with the triangle kernel.
  const int64_t sw = std::max<int64_t>(1, (shape.width + radius - 1) / radius);
  const int64_t sh = std::max<int64_t>(1, (shape.height + radius - 1) / radius);
  Ref small = s->NewImage(sw, sh, shape.format, In(args));
  Ref blurred = s->NewImage(shape.width, shape.height, shape.format, In(args));
  bool ok = false;
  s->SetStage(In(args) + ": blur for UnsharpFilter");
  Report(*s, "blur (ScaleMT down and up)", s->Run("blur", [&] {
    ok = small.Call<bool>("ScaleMT", int64_t{0}, image, nullptr, triangle, sw, sh) &&
         blurred.Call<bool>("ScaleMT", int64_t{0}, small, nullptr, triangle, shape.width,
                            shape.height);
  }));
  Succeeded(ok, In(args), "ScaleMT");
  s->SetStage(In(args) + ": UnsharpFilter");
  Report(*s, "UnsharpFilter", s->Run("UnsharpFilter", [&] {
    ok = image.Call<bool>("UnsharpFilter", blurred, amount, threshold);
  }));
  Succeeded(ok, In(args), "UnsharpFilter");
  s->Save(image, Out(args));
  return 0;
}

// ---- area and artistic filters -------------------------------------------------------------

// The plug-in's limit for box radii.
constexpr int64_t kMaxBoxRadius = 65535;

bool IsWholeNumber(const std::string& text) {
  const size_t digits = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  return text.size() > digits && text.find_first_not_of("0123456789", digits) == std::string::npos;
}

int Blur(Session* s, const Args& args) {
  const auto text = args.Value("radius");
  if (!text) throw UsageError("give --radius R or --radius H,V");
  const std::string range = "--radius must lie in 0 ... " + std::to_string(kMaxBoxRadius);
  if (text->find(',') != std::string::npos) {
    const std::vector<int64_t> r = ParseIntegers(*text, 2, "--radius");
    for (int64_t v : r) {
      if (v < 0 || v > kMaxBoxRadius) throw UsageError(range);
    }
    return Filter(s, args, "BoxBlurFilter", [&](const Ref& source, const Ref& dest) {
      return source.Call<Ref>("BoxBlurFilter", dest, r[0], r[1]);
    });
  }
  if (IsWholeNumber(*text)) {
    const int64_t radius = IntegerIn(args, "radius", 0, 0, kMaxBoxRadius);
    return Filter(s, args, "BoxBlurFilter", [&](const Ref& source, const Ref& dest) {
      return source.Call<Ref>("BoxBlurFilter", dest, radius);
    });
  }
  // A radius with a fraction weighs the box's edge samples by it.
  const double radius = ParseNumber(*text, "--radius");
  if (!(radius >= 0 && radius <= static_cast<double>(kMaxBoxRadius))) throw UsageError(range);
  return Filter(s, args, "BoxBlurFractionalFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("BoxBlurFractionalFilter", dest, radius);
  });
}

int Convolve(Session* s, const Args& args) {
  const auto text = args.Value("matrix");
  if (!text) throw UsageError("give --matrix, a preset name or the entries");
  const std::vector<int64_t> entries = ParseMatrix(*text, "--matrix");
  // Divisor and bias stay within 32 bits, as the entries do.
  constexpr int64_t kLow = std::numeric_limits<int32_t>::min();
  constexpr int64_t kHigh = std::numeric_limits<int32_t>::max();
  std::optional<int64_t> divisor, bias;
  if (args.Has("divisor")) {
    divisor = IntegerIn(args, "divisor", 1, kLow, kHigh);
    if (*divisor == 0) throw UsageError("--divisor must not be 0");
  }
  if (args.Has("bias")) bias = IntegerIn(args, "bias", 0, kLow, kHigh);
  if (bias && !divisor) {
    // The divisor the plug-in takes when none is given: the sum of the entries, 1 when it is 0.
    int64_t sum = 0;
    for (int64_t v : entries) sum += v;
    divisor = sum == 0 ? 1 : sum;
  }
  host::Host& host = s->host();
  return Filter(s, args, "ApplyMatrix", [&](const Ref& source, const Ref& dest) {
    Ref matrix = host.NewIntegerArray(entries);
    if (bias) return source.Call<Ref>("ApplyMatrix", dest, matrix, *divisor, *bias);
    if (divisor) return source.Call<Ref>("ApplyMatrix", dest, matrix, *divisor);
    return source.Call<Ref>("ApplyMatrix", dest, matrix);
  });
}

int Oil(Session* s, const Args& args) {
  const int64_t radius = IntegerIn(args, "radius", 3, 1, 32);
  const int64_t levels = IntegerIn(args, "levels", 20, 2, 256);
  return Filter(s, args, "OilFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("OilFilter", dest, radius, levels);
  });
}

int Diffuse(Session* s, const Args& args) {
  const int64_t radius = IntegerIn(args, "radius", 3, 0, 255);
  std::optional<int64_t> seed;
  if (args.Has("seed")) seed = IntegerIn(args, "seed", 0, 0, std::numeric_limits<unsigned>::max());
  return Filter(s, args, "DiffuseFilter", [&](const Ref& source, const Ref& dest) {
    // The plug-in draws from the C library's rand(), seeded from the clock when it loads; seeding
    // it again here, in the same process, makes the scatter repeatable.
    if (seed) std::srand(static_cast<unsigned>(*seed));
    return source.Call<Ref>("DiffuseFilter", dest, radius);
  });
}

int Stamp(Session* s, const Args& args) {
  const int64_t threshold = IntegerIn(args, "threshold", 128, 0, 256);
  return Filter(s, args, "StampFilter", [&](const Ref& source, const Ref& dest) {
    return source.Call<Ref>("StampFilter", dest, threshold);
  });
}

// Engrave and neon take no parameters.
int Plain(Session* s, const Args& args, const std::string& member) {
  return Filter(s, args, member,
                [&](const Ref& source, const Ref& dest) { return source.Call<Ref>(member, dest); });
}

// ---- blend, copy, clip, channel --------------------------------------------------------------

int Blend(Session* s, const Args& args) {
  CheckOutput(Out(args));
  if (args.Has("over") && args.Has("background")) {
    throw UsageError("--over and --background exclude each other");
  }
  const uint32_t background =
      ParseColor(args.Value("background").value_or("white"), "--background");
  std::optional<std::vector<int64_t>> rect;
  if (auto r = args.Value("rect")) rect = ParseIntegers(*r, 4, "--rect");
  Ref source = s->Load(In(args));
  Ref mask, over;
  if (auto m = args.Value("mask")) mask = s->Load(*m);
  if (auto o = args.Value("over")) over = s->Load(*o);
  const PictureShape shape = Describe(source);
  Ref result = s->NewImage(shape.width, shape.height, shape.format, Out(args));
  bool ok = false;
  s->SetStage(In(args) + ": BlendPicturesWithMaskWithBackground");
  Report(*s, "BlendPicturesWithMaskWithBackground", s->Run("Blend", [&] {
    // Outside a rectangle the result shows the source.
    if (rect) result.Call<bool>("CopyPixels", source);
    if (rect) {
      ok = s->host().CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                      over, mask, result, Color{background}, (*rect)[0], (*rect)[1],
                                      (*rect)[2], (*rect)[3]);
    } else {
      ok = s->host().CallShared<bool>("PictureXQT", "BlendPicturesWithMaskWithBackground", source,
                                      over, mask, result, Color{background});
    }
  }));
  Succeeded(ok, In(args), "BlendPicturesWithMaskWithBackground");
  s->Save(result, Out(args));
  return 0;
}

int Copy(Session* s, const Args& args) {
  CheckOutput(Out(args));
  const std::string& into = args.positional.at(1);
  std::vector<int64_t> at = {0, 0};
  if (auto a = args.Value("at")) at = ParseIntegers(*a, 2, "--at");
  std::optional<std::vector<int64_t>> from;
  if (auto f = args.Value("from")) from = ParseIntegers(*f, 4, "--from");
  Ref source = s->Load(In(args));
  Ref dest = s->Load(into);
  const PictureShape shape = Describe(source);
  const std::vector<int64_t> r =
      from.value_or(std::vector<int64_t>{0, 0, shape.width, shape.height});
  bool ok = false;
  s->SetStage(In(args) + ": CopyPixels");
  Report(*s, "CopyPixels", s->Run("CopyPixels", [&] {
    ok = dest.Call<bool>("CopyPixels", source, at[0], at[1], r[2], r[3], r[0], r[1]);
  }));
  Succeeded(ok, In(args), "CopyPixels");
  s->Save(dest, Out(args));
  return 0;
}

int Clip(Session* s, const Args& args) {
  CheckOutput(Out(args));
  if (!args.Has("rect")) throw UsageError("clip needs --rect x,y,w,h");
  const std::vector<int64_t> r = ParseIntegers(*args.Value("rect"), 4, "--rect");
  Ref image = s->Load(In(args));
  s->SetStage(In(args) + ": ClipImage");
  Ref view = Required(image.Call<Ref>("ClipImage", r[0], r[1], r[2], r[3]), In(args), "ClipImage");
  if (view.Get<int64_t>("Width") < 1 || view.Get<int64_t>("Height") < 1) {
    throw ToolError(In(args) + ": the rectangle " + *args.Value("rect") +
                    " lies outside the image");
  }
  s->Save(view, Out(args));
  return 0;
}

int Channel(Session* s, const Args& args) {
  CheckOutput(Out(args));
  const std::string& name = args.positional.at(1);
  Ref image = s->Load(In(args));
  const std::vector<std::string> names = image.Call<std::vector<std::string>>("Channels");
  std::string known;
  for (size_t i = 0; i < names.size(); ++i) {
    known += (i ? ", " : "") + names[i];
    if (names[i].size() == name.size() &&
        std::equal(name.begin(), name.end(), names[i].begin(),
                   [](char a, char b) { return std::tolower(a) == std::tolower(b); })) {
      s->SetStage(In(args) + ": Channel");
      Ref view = Required(image.Call<Ref>("Channel", static_cast<int64_t>(i)), In(args), "Channel");
      s->Save(view, Out(args));
      return 0;
    }
  }
  throw ToolError(In(args) + ": no channel '" + name + "' (it has: " + known + ")");
}

// ---- fills and pixel operations --------------------------------------------------------------

int Fill(Session* s, const Args& args) {
  const int kinds = args.Has("color") + args.Has("value") + args.Has("random") + args.Has("clear");
  if (kinds != 1) throw UsageError("give one of --color, --value, --random, --clear");
  if (args.Has("blend") && !args.Has("color")) throw UsageError("--blend goes with --color");
  std::optional<uint32_t> color;
  if (auto c = args.Value("color")) color = ParseColor(*c, "--color");
  std::optional<int64_t> value, alpha, blend;
  if (auto v = args.Value("value")) value = ParseInteger(*v, "--value");
  if (auto a = args.Value("alpha")) alpha = ParseInteger(*a, "--alpha");
  if (auto b = args.Value("blend")) blend = ParseInteger(*b, "--blend");
  for (const auto& v : {value, alpha, blend}) {
    if (v && (*v < 0 || *v > 255)) throw UsageError("values and alphas lie in 0 ... 255");
  }
  if (blend && alpha) throw UsageError("--blend is itself the alpha of the colour");
  const std::string member = blend                ? "FillRectApply"
                             : color              ? "FillRectRGB"
                             : value              ? "FillRect"
                             : args.Has("random") ? "FillRectRandom"
                                                  : "ClearRect";
  return InPlace(s, args, member, [&](const Ref& image, const PictureShape& shape) {
    const std::vector<int64_t> r = RectOf(args, shape);
    const Color c{color.value_or(0)};
    if (member == "FillRectRGB" && !shape.isRGB) {
      throw ToolError(In(args) + ": FillRectRGB fills RGB images only; use --value");
    }
    if (blend) {
      Succeeded(image.Call<bool>("FillRectApply", r[0], r[1], r[2], r[3], c, *blend), In(args),
                member);
    } else if (color && alpha) {
      image.Call("FillRectRGB", r[0], r[1], r[2], r[3], c, *alpha);
    } else if (color) {
      image.Call("FillRectRGB", r[0], r[1], r[2], r[3], c);
    } else if (value && alpha) {
      image.Call("FillRect", r[0], r[1], r[2], r[3], *value, *alpha);
    } else if (value) {
      image.Call("FillRect", r[0], r[1], r[2], r[3], *value);
    } else if (member == "FillRectRandom") {
      image.Call("FillRectRandom", r[0], r[1], r[2], r[3]);
    } else {
      image.Call("ClearRect", r[0], r[1], r[2], r[3]);
    }
  });
}

int Invert(Session* s, const Args& args) {
  return InPlace(s, args, "Invert", [&](const Ref& image, const PictureShape& shape) {
    const std::vector<int64_t> r = RectOf(args, shape);
    image.Call("Invert", r[0], r[1], r[2], r[3]);
  });
}

int AutoLevel(Session* s, const Args& args) {
  return InPlace(s, args, "AutoLevel", [&](const Ref& image, const PictureShape& shape) {
    const std::vector<int64_t> r = RectOf(args, shape);
    Succeeded(image.Call<bool>("AutoLevel", r[0], r[1], r[2], r[3]), In(args),
              "AutoLevel (8-bit RGB images only)");
  });
}

int Gray(Session* s, const Args& args) {
  const int64_t mode = ParseInteger(args.Value("mode").value_or("0"), "--mode");
  if (mode < 0 || mode > 4) throw UsageError("--mode lies in 0 ... 4");
  return InPlace(s, args, "RGBToGray", [&](const Ref& image, const PictureShape&) {
    Succeeded(image.Call<bool>("RGBToGray", mode), In(args), "RGBToGray (RGB images only)");
  });
}

int Premultiply(Session* s, const Args& args, const std::string& member) {
  return InPlace(s, args, member, [&](const Ref& image, const PictureShape& shape) {
    const std::vector<int64_t> r = RectOf(args, shape);
    image.Call(member, r[0], r[1], r[2], r[3]);
  });
}

// ---- classes ---------------------------------------------------------------------------------

int Classes(Session* s, const Args& args) {
  const bool members = args.Has("members");
  for (const host::ClassInfo* info : s->host().PluginClasses()) {
    const REALclassDefinition* d = info->definition;
    if (!d) continue;
    std::printf("%s\n", info->name.c_str());
    std::printf("  properties         %zu\n", d->propertyCount);
    std::printf("  methods            %zu\n", d->methodCount);
    std::printf("  constants          %zu\n", d->constantCount);
    std::printf("  events             %zu\n", d->eventCount);
    std::printf("  shared properties  %zu\n", d->sharedPropertyCount);
    std::printf("  shared methods     %zu\n", d->sharedMethodCount);
    if (!members) continue;
    for (size_t i = 0; i < d->methodCount; ++i) {
      std::printf("    method         %s\n", d->methods[i].declaration);
    }
    for (size_t i = 0; i < d->sharedMethodCount; ++i) {
      std::printf("    shared method  %s\n", d->sharedMethods[i].declaration);
    }
    for (size_t i = 0; i < d->eventCount; ++i) {
      std::printf("    event          %s\n", d->events[i].declaration);
    }
  }
  return 0;
}

std::string MatrixHelp() {
  std::string help =
      "M is a preset or k x k whole numbers row by row (k odd, at most 99), for example\n"
      "1,2,1,0,0,0,-1,-2,-1. Each colour channel becomes round(sum / D) + B; alpha is kept.\n"
      "Without --divisor D is the sum of the entries (1 when they sum to 0).\n\npresets:";
  for (const MatrixPreset& preset : MatrixPresets()) {
    std::string entries;
    for (int64_t v : preset.entries) {
      if (!entries.empty()) entries += ',';
      entries += std::to_string(v);
    }
    char line[160];
    std::snprintf(line, sizeof line, "\n  %-9s %-26s %s", preset.name, entries.c_str(),
                  preset.about);
    help += line;
  }
  return help;
}

const OptionSpec kRect{"rect", "X,Y,W,H", "only this rectangle (default: the whole image)"};

}  // namespace

const std::vector<OptionSpec>& GlobalOptionSpecs() {
  static const std::vector<OptionSpec> kOptions = {
      {"plugin", "PATH", "the plug-in to load (default: libImages.so beside xqt, or $XQT_PLUGIN)"},
      {"quiet", "", "no progress line and no timings on stderr"},
      {"debug", "", "switch on the plug-in's debug log (on stderr)"},
      {"mapped", "", "hold images in file-mapped storage instead of memory"},
      {"quality", "Q", "JPEG quality of written files, 1 ... 100 (default 90)"},
      {"compression", "N", "zlib level of written PNG files, 0 ... 9 (default 6)"},
      {"help", "", "show the help of the command"},
  };
  return kOptions;
}

const std::vector<CommandSpec>& Commands() {
  using P = Session*;
  static const std::vector<CommandSpec> kCommands = {
      {"info",
       "FILE...",
       "format, size, channels, row size and memory of image files",
       "Reads each file into a PictureXQT and prints what the plug-in reports about it.",
       {},
       1,
       1000,
       Info},
      {"scale",
       "IN OUT (--size WxH | --percent P) [options]",
       "resample with one of seven kernels (Scale, ScaleMT, ScaleFast)",
       "Resamples IN to the given size. --size 640x keeps the aspect ratio. By default the two\n"
       "passes run on one worker per processor (ScaleMT with threads 0).",
       {{"size", "WxH", "the new size; leave a side out to keep the aspect ratio"},
        {"percent", "P", "the new size as a percentage of the old"},
        {"mode", "KERNEL", "Triangle, Box, Lanczos3 (default), Lanczos8, Mitchell, Poly3, Cubic"},
        {"threads", "N", "workers for ScaleMT: 0 one per processor (default), off: plain Scale"},
        {"fast", "", "nearest neighbour (ScaleFast)"}},
       2,
       2,
       Scale},
      {"rotate",
       "IN OUT ANGLE [--slow] [--in-place] [--background C [--alpha A]]",
       "turn by any angle (Rotate90, Rotate180, Rotate270, Rotate)",
       "ANGLE is in degrees, counter-clockwise. 90, 180 and 270 (and their equals, such as -90)\n"
       "are exact turns made by Rotate90, Rotate180 and Rotate270 (90 is a quarter turn\n"
       "counter-clockwise). Any other angle is a free rotation by Rotate: the result is as large\n"
       "as the turned image's bounding box, sampled bilinearly, and the corners it does not cover\n"
       "take the background (by default 0 in every channel: transparent black, or no ink).",
       {{"slow", "", "90 and 270: the row-by-row forms Rotate90slow and Rotate270slow"},
        {"in-place", "", "180 only: turn the image itself (Rotate180 without destination)"},
        {"background", "COLOUR", "free angles: the colour of the uncovered corners (opaque)"},
        {"alpha", "A", "free angles: the alpha of the corners, 0 ... 255"}},
       3,
       3,
       [](P s, const Args& a) {
         Args b = a;
         b.positional = {a.positional[0], a.positional[2], a.positional[1]};
         return Rotate(s, b);
       }},
      {"mirror",
       "IN OUT h|v",
       "mirror left-right (h, HMirror) or top-bottom (v, VMirror)",
       "",
       {},
       3,
       3,
       [](P s, const Args& a) {
         Args b = a;
         b.positional = {a.positional[0], a.positional[2], a.positional[1]};
         return Mirror(s, b);
       }},
      {"convert",
       "IN OUT [--format NAME]",
       "copy into another pixel format (CopyPixels)",
       "Without --format the image is only written in the type OUT names (PNG or JPEG).\n"
       "NAME is a format constant with or without its prefix: RGB, BGRA, G, GA, Gray16, CMYK...",
       {{"format", "NAME", "the pixel format to convert to"}},
       2,
       2,
       Convert},
      {"gamma",
       "IN OUT (--gamma G | --rgb R,G,B) [--alpha A]",
       "gamma correction (GammaFilter)",
       "",
       {{"gamma", "G", "one gamma for the colour channels"},
        {"rgb", "R,G,B", "a gamma per colour channel"},
        {"alpha", "A", "a gamma for the alpha channel too"}},
       2,
       2,
       Gamma},
      {"gain",
       "IN OUT [--gain G] [--bias B]",
       "gain and bias curve (GainFilter)",
       "Gain and bias 0.5 leave the image as it is; gain above 0.5 adds contrast, bias above 0.5\n"
       "brightens.",
       {{"gain", "G", "0 ... 1, default 0.5"}, {"bias", "B", "0 ... 1, default 0.5"}},
       2,
       2,
       Gain},
      {"transfer",
       "IN OUT --curve C | --red C --green C --blue C [--alpha C]",
       "map channels through curves (TransferFilter)",
       "A curve is a list of points x:y (for example 0:0,64:32,255:255) joined by straight lines,\n"
       "or identity, invert, contrast or posterizeN.",
       {{"curve", "C", "the curve of the gray or all colour channels"},
        {"red", "C", "the curve of red"},
        {"green", "C", "the curve of green (and of gray images)"},
        {"blue", "C", "the curve of blue"},
        {"alpha", "C", "the curve of alpha"}},
       2,
       2,
       Transfer},
      {"solarize", "IN OUT", "solarisation (SolarizeFilter)", "", {}, 2, 2, Solarize},
      {"dither",
       "IN OUT [--matrix M] [--levels N]",
       "ordered dither (DitherFilter)",
       "",
       {{"matrix", "M",
         "Magic2x2, Magic4x4, Ordered4x4, Lines4x4, 90Halftone6x6, Ordered6x6, Ordered8x8 "
         "(default), Cluster3, Cluster4, Cluster8"},
        {"levels", "N", "levels per channel, 2 ... 256 (default 2)"}},
       2,
       2,
       Dither},
      {"unsharp",
       "IN OUT [--amount A] [--threshold T] [--radius R]",
       "sharpen with unsharp masking (UnsharpFilter over a blur made by ScaleMT)",
       "Sharpens by (4A + 1) where the image differs from its blur by at least T.",
       {{"amount", "A", "default 0.25 (detail doubled)"},
        {"threshold", "T", "default 4"},
        {"radius", "R", "blur radius in pixels, default 3"}},
       2,
       2,
       Unsharp},
      {"blur",
       "IN OUT --radius R | --radius H,V",
       "box blur (BoxBlurFilter, BoxBlurFractionalFilter)",
       "Every channel, alpha included, becomes the mean of the (2R + 1) x (2R + 1) box around the\n"
       "pixel. H,V gives each axis its own radius (10,0 blurs along rows only). A radius with a\n"
       "fraction, such as 1.5, weighs the box's outer samples by the fraction\n"
       "(BoxBlurFractionalFilter).",
       {{"radius", "R", "0 ... 65535; whole, fractional or H,V"}},
       2,
       2,
       Blur},
      {"matrix",
       "IN OUT --matrix M [--divisor D] [--bias B]",
       "convolution with a square kernel (ApplyMatrix)",
       MatrixHelp(),
       {{"matrix", "M", "a preset name or the entries"},
        {"divisor", "D", "not 0 (default: the sum of the entries)"},
        {"bias", "B", "added after the division (default 0)"}},
       2,
       2,
       Convolve},
      {"oil",
       "IN OUT [--radius R] [--levels N]",
       "oil paint (OilFilter)",
       "Each pixel takes the mean colour of those neighbours whose brightness falls into the most\n"
       "common of N brightness levels.",
       {{"radius", "R", "the neighbourhood, 1 ... 32 (default 3)"},
        {"levels", "N", "brightness levels, 2 ... 256 (default 20)"}},
       2,
       2,
       Oil},
      {"diffuse",
       "IN OUT [--radius R] [--seed N]",
       "scatter pixels (DiffuseFilter)",
       "Each pixel is copied from a random neighbour at most R pixels away on each axis.",
       {{"radius", "R", "0 ... 255 (default 3)"},
        {"seed", "N", "seed the random numbers, for a repeatable result (default: the clock)"}},
       2,
       2,
       Diffuse},
      {"engrave",
       "IN OUT",
       "gray relief (EngraveFilter)",
       "",
       {},
       2,
       2,
       [](P s, const Args& a) { return Plain(s, a, "EngraveFilter"); }},
      {"neon",
       "IN OUT",
       "edges glowing in their own colour (NeonFilter)",
       "",
       {},
       2,
       2,
       [](P s, const Args& a) { return Plain(s, a, "NeonFilter"); }},
      {"stamp",
       "IN OUT [--threshold T]",
       "black and white by brightness (StampFilter)",
       "Pixels at least as bright as T become white, the others black; alpha is kept.",
       {{"threshold", "T", "0 ... 256 (default 128)"}},
       2,
       2,
       Stamp},
      {"blend",
       "IN OUT [--mask M] [--over IMAGE | --background COLOUR] [--rect X,Y,W,H]",
       "blend through a mask (BlendPicturesWithMaskWithBackground)",
       "Where the mask is black the result shows IN, where it is white the background colour or\n"
       "the image of --over. Gray and RGB images only.",
       {{"mask", "FILE", "the mask image"},
        {"over", "FILE", "blend towards this image"},
        {"background", "COLOUR", "blend towards this colour (default white)"},
        kRect},
       2,
       2,
       Blend},
      {"copy",
       "IN INTO OUT [--at X,Y] [--from X,Y,W,H]",
       "copy pixels of IN into INTO, converting families (CopyPixels)",
       "",
       {{"at", "X,Y", "where the pixels land in INTO (default 0,0)"},
        {"from", "X,Y,W,H", "the rectangle of IN to copy (default all)"}},
       3,
       3,
       Copy},
      {"clip",
       "IN OUT --rect X,Y,W,H",
       "cut out a rectangle (ClipImage)",
       "",
       {{"rect", "X,Y,W,H", "the rectangle"}},
       2,
       2,
       Clip},
      {"channel",
       "IN OUT NAME",
       "one channel as a gray image (Channel views)",
       "NAME is one of the image's channels: Red, Green, Blue, Alpha, Gray, Cyan...",
       {},
       3,
       3,
       [](P s, const Args& a) {
         Args b = a;
         b.positional = {a.positional[0], a.positional[2], a.positional[1]};
         return Channel(s, b);
       }},
      {"fill",
       "IN OUT (--color C [--alpha A | --blend A] | --value V [--alpha A] | --random | "
       "--clear) [--rect X,Y,W,H]",
       "fill a rectangle (FillRectRGB, FillRectApply, FillRect, FillRectRandom, ClearRect)",
       "",
       {{"color", "C", "an RGB colour: #rrggbb or a name"},
        {"value", "V", "one byte value for every channel"},
        {"alpha", "A", "the alpha to fill with"},
        {"blend", "A", "blend the colour over the pixels with this alpha"},
        {"random", "", "random bytes"},
        {"clear", "", "zero bytes"},
        kRect},
       2,
       2,
       Fill},
      {"invert",
       "IN OUT [--rect X,Y,W,H]",
       "invert every channel (Invert)",
       "",
       {kRect},
       2,
       2,
       Invert},
      {"autolevel",
       "IN OUT [--rect X,Y,W,H]",
       "stretch the levels of an RGB image (AutoLevel)",
       "",
       {kRect},
       2,
       2,
       AutoLevel},
      {"gray",
       "IN OUT [--mode 0..4]",
       "gray values into the RGB channels (RGBToGray)",
       "The image stays RGB; convert --format G makes a gray image.",
       {{"mode", "N", "the weighting, 0 ... 4 (default 0)"}},
       2,
       2,
       Gray},
      {"premultiply",
       "IN OUT [--rect X,Y,W,H]",
       "multiply colours by alpha (Multiply)",
       "",
       {kRect},
       2,
       2,
       [](P s, const Args& a) { return Premultiply(s, a, "Multiply"); }},
      {"unpremultiply",
       "IN OUT [--rect X,Y,W,H]",
       "undo premultiplication (Unmultiply)",
       "",
       {kRect},
       2,
       2,
       [](P s, const Args& a) { return Premultiply(s, a, "Unmultiply"); }},
      {"classes",
       "[--members]",
       "the classes the plug-in registers, with their members",
       "",
       {{"members", "", "list every method declaration too"}},
       0,
       0,
       Classes},
      {"demo",
       "[--out DIR]",
       "draw a test chart and show the plug-in at work on it",
       "Writes every result as PNG with an index.html contact sheet into DIR (default demo-out)\n"
       "and prints a table of the operations and their times.",
       {{"out", "DIR", "the folder for the results (default demo-out)"}},
       0,
       0,
       RunDemo},
  };
  return kCommands;
}

}  // namespace xqt::tool
