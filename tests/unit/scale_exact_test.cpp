// The resampler against a reference written straight from the formulas, bit for bit: every
// filter, every format pair and byte order, enlarging and shrinking, the plain loops and the
// vector loops, inline and on any number of workers, in memory and file-mapped.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/emulated_host.h"
#include "image/image_class_data.h"
#include "platform/cpu_features.h"
#include "plugin/plugin_main.h"
#include "scale/picture_scale.h"
#include "scale/scale_engine.h"

namespace {

using platform::SimdLevel;
using xqt::host::Host;
using xqt::host::Ref;

// Every level is asked for; one the processor lacks runs the best it has.
constexpr SimdLevel kEveryLevel[] = {SimdLevel::kScalar, SimdLevel::kBaseline, SimdLevel::kAVX2,
                                     SimdLevel::kAVX512};
const char* const kLevelNames[] = {"scalar", "baseline", "avx2", "avx512"};

// ---- The reference ---------------------------------------------------------------------------

double Sinc(double t) {
  if (t == 0) return 1;
  return std::sin(3.141592653589793 * t) / (3.141592653589793 * t);
}

double Kernel(int mode, double x) {
  switch (mode) {
    case 1:
      return x >= 1 ? 0 : 1 - x;
    case 2:
      return x > 0.5 ? 0 : 1;
    case 3:
      return x >= 3 ? 0 : Sinc(x) * Sinc(x / 3);
    case 4:
      return x >= 8 ? 0 : Sinc(x) * Sinc(x * 0.125);
    case 5:
      if (x >= 2) return 0;
      if (x < 1) return (7 * (x * x * x) - 12 * (x * x) + 16.0 / 3) / 6;
      return (-(7.0 / 3) * (x * x * x) + 12 * (x * x) - 20 * x + 32.0 / 3) / 6;
    case 6:
      if (x >= 2) return 0;
      if (x < 1) return ((1.25 * x - 2.25) * x) * x + 1;
      return ((-0.75 * x + 3.75) * x - 6) * x + 3;
    default:
      if (x >= 3) return 0;
      if (x < 1) return (4.0 / 3) * (x * x * x) - (7.0 / 3) * (x * x) + 1;
      if (x < 2) return -(7.0 / 12) * (x * x * x) + 3 * (x * x) - (59.0 / 12) * x + 2.5;
      return (1.0 / 12) * (x * x * x) - (2.0 / 3) * (x * x) + 1.75 * x - 1.5;
  }
}

double Radius(int mode) {
  const double radii[] = {1, 0.5, 3, 8, 2, 4, 3};
  return radii[mode - 1];
}

struct Taps {
  std::vector<int64_t> pixel;
  std::vector<float> weight;
  float sum = 0;
};

std::vector<Taps> Lists(int64_t outputs, int64_t inputs, int mode, bool vertical) {
  const double scale = static_cast<double>(outputs) / static_cast<double>(inputs);
  std::vector<Taps> lists(outputs);
  for (int64_t i = 0; i < outputs; ++i) {
    double c = (i + 0.5) / scale;
    double lo, hi;
    if (scale >= 1) {
      double r = Radius(mode);
      lo = vertical ? std::trunc(c - r) : std::floor(c - r);
      hi = vertical ? std::trunc(c + r) : std::ceil(c + r);
    } else {
      double w = Radius(mode) / scale;
      lo = std::trunc(c - w);
      hi = std::trunc(c + w);
    }
    double sum = 0;
    for (int64_t j = lo < 0 ? 0 : static_cast<int64_t>(lo);
         j <= static_cast<int64_t>(hi) && j < inputs; ++j) {
      double d = scale >= 1 ? c - j - 0.5 : (c - j - 0.5) * scale;
      double k = Kernel(mode, std::fabs(d));
      if (k == 0) continue;
      lists[i].pixel.push_back(j);
      lists[i].weight.push_back(static_cast<float>(k));
      sum += static_cast<float>(k);
    }
    lists[i].sum = static_cast<float>(sum);
  }
  return lists;
}

int64_t Limit(double v, int64_t max) {
  if (std::isnan(v)) return 0;
  double t = std::trunc(v);
  return t < 0 ? 0 : t > max ? max : static_cast<int64_t>(t);
}

// The channels a pair carries through the temp, read from one source pixel, and where each temp
// channel ends up in the destination.
struct RefPair {
  std::string name;
  bool wide = false;
  std::vector<double> (*read)(const ImageClassData& s, const uint8_t* p) = nullptr;
  std::vector<std::vector<int64_t ImageClassData::*>> write;
};

double Luma(const ImageClassData& s, const uint8_t* p) {
  return 0.3 * p[s.RedOffset] + 0.59 * p[s.GreenOffset] + 0.11 * p[s.BlueOffset];
}

using D = ImageClassData;
RefPair ReferencePair(const D& s, const D& d) {
  bool sa = s.HasAlpha, da = d.HasAlpha;
  auto pair = [](std::string name, auto read, std::vector<std::vector<int64_t D::*>> write) {
    RefPair p;
    p.name = std::move(name);
    p.read = read;
    p.write = std::move(write);
    return p;
  };
  const std::vector<int64_t D::*> none;
  if (s.IsCMYK && d.IsCMYK) {
    if (sa && da) {
      return pair("CMYKA_to_CMYKA",
                  +[](const D& s, const uint8_t* p) {
                    return std::vector<double>{double(p[s.CyanOffset]), double(p[s.MagentaOffset]),
                                               double(p[s.YellowOffset]), double(p[s.BlackOffset]),
                                               double(p[s.AlphaOffset])};
                  },
                  {{&D::CyanOffset},
                   {&D::MagentaOffset},
                   {&D::YellowOffset},
                   {&D::BlackOffset},
                   {&D::AlphaOffset}});
    }
    return pair("CMYK_to_CMYK",
                +[](const D& s, const uint8_t* p) {
                  return std::vector<double>{double(p[s.CyanOffset]), double(p[s.MagentaOffset]),
                                             double(p[s.YellowOffset]), double(p[s.BlackOffset])};
                },
                {{&D::CyanOffset}, {&D::MagentaOffset}, {&D::YellowOffset}, {&D::BlackOffset}});
  }
  if (s.IsCMYK && d.IsGray) {
    if (sa && da) {
      return pair("CMYKA_to_GA",
                  +[](const D& s, const uint8_t* p) {
                    return std::vector<double>{double(p[s.BlackOffset]), double(p[s.AlphaOffset])};
                  },
                  {{&D::GrayOffset}, {&D::AlphaOffset}});
    }
    return pair(
        "CMYK_to_G",
        +[](const D& s, const uint8_t* p) { return std::vector<double>{double(p[s.BlackOffset])}; },
        {{&D::GrayOffset}});
  }
  if (s.IsRGB && d.IsRGB) {
    if (sa && da) {
      return pair("RGBA_to_RGBA",
                  +[](const D& s, const uint8_t* p) {
                    return std::vector<double>{double(p[s.RedOffset]), double(p[s.GreenOffset]),
                                               double(p[s.BlueOffset]), double(p[s.AlphaOffset])};
                  },
                  {{&D::RedOffset}, {&D::GreenOffset}, {&D::BlueOffset}, {&D::AlphaOffset}});
    }
    return pair("RGB_to_RGB",
                +[](const D& s, const uint8_t* p) {
                  return std::vector<double>{double(p[s.RedOffset]), double(p[s.GreenOffset]),
                                             double(p[s.BlueOffset]), 0.0};
                },
                {{&D::RedOffset}, {&D::GreenOffset}, {&D::BlueOffset}, none});
  }
  if (s.IsRGB && d.IsGray) {
    if (sa && da) {
      return pair("RGBA_to_GA",
                  +[](const D& s, const uint8_t* p) {
                    return std::vector<double>{Luma(s, p), double(p[s.AlphaOffset])};
                  },
                  {{&D::GrayOffset}, {&D::AlphaOffset}});
    }
    return pair("RGB_to_G",
                +[](const D& s, const uint8_t* p) { return std::vector<double>{Luma(s, p)}; },
                {{&D::GrayOffset}});
  }
  // Gray sources.
  if (d.IsCMYK) {
    if (sa && da) {
      return pair("GA_to_CMYKA",
                  +[](const D& s, const uint8_t* p) {
                    return std::vector<double>{double(p[s.CyanOffset]), double(p[s.MagentaOffset]),
                                               double(p[s.RedOffset]), double(p[s.BlackOffset]),
                                               double(p[s.AlphaOffset])};
                  },
                  {{&D::CyanOffset},
                   {&D::MagentaOffset},
                   {&D::YellowOffset},
                   {&D::BlackOffset},
                   {&D::AlphaOffset}});
    }
    return pair("G_to_CMYK",
                +[](const D& s, const uint8_t* p) {
                  return std::vector<double>{double(p[s.CyanOffset]), double(p[s.MagentaOffset]),
                                             double(p[s.RedOffset]), double(p[s.BlackOffset])};
                },
                {{&D::CyanOffset}, {&D::MagentaOffset}, {&D::YellowOffset}, {&D::BlackOffset}});
  }
  if (d.IsRGB) {
    if (sa && da) {
      return pair(
          "GA_to_RGBA",
          +[](const D& s, const uint8_t* p) {
            return std::vector<double>{0.0, double(p[s.GrayOffset]), 0.0, double(p[s.AlphaOffset])};
          },
          {none, {&D::RedOffset, &D::GreenOffset, &D::BlueOffset}, none, {&D::AlphaOffset}});
    }
    return pair("G_to_RGB",
                +[](const D& s, const uint8_t* p) {
                  return std::vector<double>{0.0, double(p[s.GrayOffset]), 0.0, 0.0};
                },
                {none, {&D::RedOffset, &D::GreenOffset, &D::BlueOffset}, none, none});
  }
  if (s.BitsPerComponent == 16) {
    RefPair p = pair("G16_to_G16",
                     +[](const D& s, const uint8_t* p) {
                       uint16_t v;
                       std::memcpy(&v, p + s.GrayOffset, 2);
                       return std::vector<double>{double(v)};
                     },
                     {{&D::GrayOffset}});
    p.wide = true;
    return p;
  }
  if (sa && da) {
    return pair("GA_to_GA",
                +[](const D& s, const uint8_t* p) {
                  return std::vector<double>{double(p[s.GrayOffset]), double(p[s.AlphaOffset])};
                },
                {{&D::GrayOffset}, {&D::AlphaOffset}});
  }
  return pair(
      "G_to_G",
      +[](const D& s, const uint8_t* p) { return std::vector<double>{double(p[s.GrayOffset])}; },
      {{&D::GrayOffset}});
}

// Writes into `dest` what the formulas give; the temp rows come back in `temp` (channel values).
void ReferenceScale(ImageClassData* source, ImageClassData* dest, int mode, int64_t width,
                    int64_t height, std::vector<std::vector<double>>* tempOut = nullptr) {
  RefPair pair = ReferencePair(*source, *dest);
  const int64_t max = pair.wide ? 65535 : 255;
  const int64_t sh = source->Height;
  auto hl = Lists(width, source->Width, mode, false);
  const size_t ch = pair.write.size();
  std::vector<std::vector<double>> temp(sh, std::vector<double>(width * ch));
  for (int64_t y = 0; y < sh; ++y) {
    const uint8_t* row = source->GetRow(source, y);
    for (int64_t x = 0; x < width; ++x) {
      std::vector<double> sum(ch, 0.0);
      for (size_t t = 0; t < hl[x].pixel.size(); ++t) {
        auto v = pair.read(*source, row + hl[x].pixel[t] * source->PixelSize);
        for (size_t c = 0; c < ch; ++c) sum[c] += v[c] * static_cast<double>(hl[x].weight[t]);
      }
      for (size_t c = 0; c < ch; ++c) {
        temp[y][x * ch + c] = static_cast<double>(Limit(sum[c] / hl[x].sum, max));
      }
    }
  }
  if (tempOut) *tempOut = temp;
  auto vl = Lists(height, sh, mode, true);
  for (int64_t y = 0; y < height; ++y) {
    uint8_t* out = dest->GetRow(dest, y);
    for (int64_t x = 0; x < width; ++x) {
      for (size_t c = 0; c < ch; ++c) {
        double sum = 0;
        for (size_t t = 0; t < vl[y].pixel.size(); ++t) {
          sum += temp[vl[y].pixel[t]][x * ch + c] * static_cast<double>(vl[y].weight[t]);
        }
        int64_t value = Limit(sum / vl[y].sum + 0.5, max);
        for (int64_t D::*field : pair.write[c]) {
          uint8_t* at = out + x * dest->PixelSize + dest->*field;
          if (pair.wide) {
            auto v16 = static_cast<uint16_t>(value);
            std::memcpy(at, &v16, 2);
          } else {
            *at = static_cast<uint8_t>(value);
          }
        }
      }
    }
  }
}

// ---- The comparison --------------------------------------------------------------------------

constexpr int64_t kRGB = 1, kRGBA = 2, kARGB = 4, kXRGB = 5, kBGR = 6, kBGRA = 7, kABGR = 9,
                  kG = 11, kGA = 12, kAG = 13, kCMYK = 23, kCMYKA = 24, kACMYK = 25, kKYMC = 28,
                  kGray16 = 41;

struct FormatPair {
  int64_t source, dest;
  const char* pair;
};

// Every pair, and between them every byte order of each family.
const FormatPair kPairs[] = {
    {kCMYK, kKYMC, "CMYK_to_CMYK"},
    {kKYMC, kG, "CMYK_to_G"},
    {kRGB, kBGRA, "RGB_to_RGB"},
    {kBGR, kG, "RGB_to_G"},
    {kG, kCMYK, "G_to_CMYK"},
    {kAG, kKYMC, "G_to_CMYK"},
    {kG, kXRGB, "G_to_RGB"},
    {kG, kG, "G_to_G"},
    {kACMYK, kCMYKA, "CMYKA_to_CMYKA"},
    {kCMYKA, kAG, "CMYKA_to_GA"},
    {kARGB, kBGRA, "RGBA_to_RGBA"},
    {kABGR, kGA, "RGBA_to_GA"},
    {kAG, kACMYK, "GA_to_CMYKA"},
    {kGA, kRGBA, "GA_to_RGBA"},
    {kAG, kGA, "GA_to_GA"},
    {kGray16, kGray16, "G16_to_G16"},
    {kRGBA, kRGB, "RGB_to_RGB"},
    {kCMYKA, kCMYK, "CMYK_to_CMYK"},
    {kXRGB, kABGR, "RGB_to_RGB"},
    {kGA, kG, "G_to_G"},
};

struct Size {
  int64_t sw, sh, dw, dh;
};

// Enlarging and shrinking by integer and odd ratios, thin images, a single pixel, 10x and 0.1x.
const Size kSizes[] = {
    {13, 7, 29, 17}, {37, 23, 11, 5}, {1, 9, 5, 3},   {9, 1, 4, 6},
    {1, 1, 6, 5},    {5, 4, 50, 40},  {50, 40, 5, 4}, {12, 12, 12, 12},
};

class ScaleExact : public ::testing::Test {
 protected:
  ScaleExact() { host_.Attach(&REALPluginMain); }
  ~ScaleExact() override { platform::SetSimdLimit(platform::SimdLevel::kAVX512); }

  static void Randomise(ImageClassData* image, uint32_t seed) {
    std::mt19937 random(seed);
    for (int64_t y = 0; y < image->Height; ++y) {
      uint8_t* row = image->GetRow(image, y);
      for (int64_t i = 0; i < image->Width * image->PixelSize; ++i) {
        row[i] = static_cast<uint8_t>(random());
      }
    }
  }
  static std::vector<uint8_t> Bytes(ImageClassData* image) {
    std::vector<uint8_t> bytes;
    for (int64_t y = 0; y < image->Height; ++y) {
      uint8_t* row = image->GetRow(image, y);
      bytes.insert(bytes.end(), row, row + image->Width * image->PixelSize);
    }
    return bytes;
  }

  // Scales with the library and the reference from the same random start; true when equal.
  void ExpectExact(Ref& source, int64_t destFormat, int mode, const Size& size, int64_t threads,
                   bool threaded, const std::string& what) {
    ImageClassData* s = ImageData(source.get());
    Ref dest = host_.New("PictureXQT", size.dw + 2, size.dh + 1, destFormat);
    Ref expected = host_.New("PictureXQT", size.dw + 2, size.dh + 1, destFormat);
    ImageClassData* d = ImageData(dest.get());
    ImageClassData* e = ImageData(expected.get());
    Randomise(d, 99);
    Randomise(e, 99);
    ReferenceScale(s, e, mode, size.dw, size.dh);
    bool ok = threaded ? PictureScaleXQTMT(d, threads, s, nullptr, mode, size.dw, size.dh)
                       : PictureScaleXQT(d, s, nullptr, mode, size.dw, size.dh);
    ASSERT_TRUE(ok) << what;
    ASSERT_EQ(Bytes(d), Bytes(e)) << what;
  }

  Host host_;
};

std::string Describe(const FormatPair& p, int mode, const Size& z, const char* code) {
  return std::string(p.pair) + " " + std::to_string(p.source) + "->" + std::to_string(p.dest) +
         " mode " + std::to_string(mode) + " " + std::to_string(z.sw) + "x" + std::to_string(z.sh) +
         "->" + std::to_string(z.dw) + "x" + std::to_string(z.dh) + " " + code;
}

TEST_F(ScaleExact, ThePairTheReferenceExpectsIsTheOneChosen) {
  for (const FormatPair& p : kPairs) {
    Ref s = host_.New("PictureXQT", 3, 3, p.source);
    Ref d = host_.New("PictureXQT", 3, 3, p.dest);
    EXPECT_EQ(ReferencePair(*ImageData(s.get()), *ImageData(d.get())).name, p.pair);
  }
}

TEST_F(ScaleExact, EveryPairFilterAndSizeInlineWithAndWithoutVectors) {
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    const char* name = kLevelNames[static_cast<int>(code)];
    for (const FormatPair& p : kPairs) {
      for (const Size& z : kSizes) {
        Ref source = host_.New("PictureXQT", z.sw, z.sh, p.source);
        Randomise(ImageData(source.get()), static_cast<uint32_t>(z.sw * 131 + z.sh));
        for (int mode = 1; mode <= 7; ++mode) {
          ExpectExact(source, p.dest, mode, z, 0, false, Describe(p, mode, z, name));
        }
      }
    }
  }
}

TEST_F(ScaleExact, AnyThreadCountGivesTheSameBytes) {
  const Size z{61, 47, 23, 71};
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    for (const FormatPair& p : {kPairs[2], kPairs[3], kPairs[10], kPairs[15]}) {
      Ref source = host_.New("PictureXQT", z.sw, z.sh, p.source);
      Randomise(ImageData(source.get()), 7);
      for (int64_t threads : {-1, 0, 1, 2, 3, 7}) {
        for (int mode : {3, 6}) {
          ExpectExact(source, p.dest, mode, z, threads, true,
                      Describe(p, mode, z, "threads") + std::to_string(threads));
        }
      }
    }
  }
}

TEST_F(ScaleExact, GrayViewsOfWiderPixels) {
  // A channel view is a gray image whose pixels are four bytes apart.
  Ref parent = host_.New("PictureXQT", 29, 19, kBGRA);
  Randomise(ImageData(parent.get()), 3);
  Ref view = parent.Call<Ref>("RedChannel");
  ASSERT_EQ(ImageData(view.get())->PixelSize, 4);
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    for (int mode = 1; mode <= 7; ++mode) {
      ExpectExact(view, kG, mode, {29, 19, 10, 41}, 0, false, "view mode " + std::to_string(mode));
      ExpectExact(view, kRGB, mode, {29, 19, 31, 7}, 2, true, "view mode " + std::to_string(mode));
    }
  }
}

TEST_F(ScaleExact, FileMappedSourcesGiveTheSameBytes) {
  const Size z{33, 40, 17, 90};
  Ref mapped = host_.New("PictureXQT", z.sw, z.sh, kRGBA, int64_t{0}, nullptr);
  ASSERT_TRUE(ImageData(mapped.get())->IsMapping);
  Randomise(ImageData(mapped.get()), 5);
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    ExpectExact(mapped, kBGRA, 3, z, 0, false, "mapped Scale");
    ExpectExact(mapped, kGA, 5, z, 2, true, "mapped ScaleMT");
  }
}

TEST_F(ScaleExact, RowsWiderThanOneStripAndBlocksOfRowsThatDoNotFill) {
  // The vector loops take source columns in strips of a few hundred and rows eight at a time:
  // widths that need several strips, heights that leave a part block, and every channel count
  // they are built for (3 live channels beside a zero one, luma, 16-bit, 5 channels).
  const Size sizes[] = {{1203, 13, 401, 9}, {611, 5, 1500, 11}};
  const FormatPair pairs[] = {kPairs[10], kPairs[2], kPairs[3],  kPairs[15],
                              kPairs[14], kPairs[8], kPairs[11], kPairs[0]};
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    for (const FormatPair& p : pairs) {
      for (const Size& z : sizes) {
        Ref source = host_.New("PictureXQT", z.sw, z.sh, p.source);
        Randomise(ImageData(source.get()), static_cast<uint32_t>(z.sw));
        for (int mode : {3, 5}) {
          ExpectExact(source, p.dest, mode, z, 0, false,
                      Describe(p, mode, z, kLevelNames[static_cast<int>(code)]));
        }
      }
    }
  }
}

TEST_F(ScaleExact, ConvertedTempRowsReusedAcrossStripsAndBands) {
  // The vertical loops convert each temp row once per strip of columns into a ring that the next
  // destination rows read again, in bands of rows: enlarging shapes that need several strips and
  // several bands with a part band at the end, with the temp's zero channel dropped (RGB), kept
  // (RGBA, Gray16) or feeding a single byte (G_to_RGB); and a shrink whose windows are too tall for
  // the ring, which takes the other loops.
  const Size sizes[] = {{180, 11, 400, 37}, {31, 700, 29, 3}};
  const FormatPair pairs[] = {
      {kRGB, kRGB, "RGB_to_RGB"}, kPairs[2], kPairs[10], kPairs[15], kPairs[6], kPairs[3]};
  for (SimdLevel code : kEveryLevel) {
    platform::SetSimdLimit(code);
    for (const FormatPair& p : pairs) {
      for (const Size& z : sizes) {
        Ref source = host_.New("PictureXQT", z.sw, z.sh, p.source);
        Randomise(ImageData(source.get()), static_cast<uint32_t>(z.sw + z.sh));
        for (int mode : {3, 6}) {
          const std::string what = Describe(p, mode, z, kLevelNames[static_cast<int>(code)]);
          ExpectExact(source, p.dest, mode, z, 0, false, what);
          ExpectExact(source, p.dest, mode, z, 2, true, what + " 2 threads");
        }
      }
    }
  }
}

TEST_F(ScaleExact, TheTempHoldsTheTruncatedHorizontalPass) {
  // A caller's temp shows the first pass alone: truncated, not rounded, in the pair's layout.
  Ref source = host_.New("PictureXQT", 19, 11, kABGR);
  Randomise(ImageData(source.get()), 11);
  Ref temp = host_.New("PictureXQT", 8, 11, int64_t{36});
  Ref dest = host_.New("PictureXQT", 8, 5, kRGBA);
  Ref expected = host_.New("PictureXQT", 8, 5, kRGBA);
  std::vector<std::vector<double>> reference;
  ReferenceScale(ImageData(source.get()), ImageData(expected.get()), 3, 8, 5, &reference);
  ASSERT_TRUE(PictureScaleXQT(ImageData(dest.get()), ImageData(source.get()), temp.get(), 3, 8, 5));
  ImageClassData* t = ImageData(temp.get());
  for (int64_t y = 0; y < 11; ++y) {
    const uint8_t* row = t->GetRow(t, y);
    for (int64_t i = 0; i < 8 * 4; ++i) ASSERT_EQ(row[i], reference[y][i]) << y << " " << i;
  }
}

}  // namespace
