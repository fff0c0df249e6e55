// The filters' vector kernels alone against the rule for one byte, whole filters at every level
// against the plain level, and the processor features that choose the kernels.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "filters/dither.h"
#include "filters/filter_simd.h"
#include "filters/point_filters.h"
#include "filters/unsharp.h"
#include "host/emulated_host.h"
#include "platform/cpu_features.h"
#include "support/filter_cases.h"
#include "support/format_codes.h"
#include "support/image_layout.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Ref;

// Random classes for a pixel of `size` bytes: each position left alone or in one of `kinds`.
BytePattern RandomPattern(int64_t size, int kinds, std::mt19937& random) {
  BytePattern pattern;
  pattern.pixelSize = size;
  uint8_t classOf[kMaxVectorPixel];
  for (int64_t i = 0; i < size; ++i) classOf[i] = static_cast<uint8_t>(random() % (kinds + 1));
  for (int64_t i = 0; i < size + kPatternSlack; ++i) pattern.classes[i] = classOf[i % size];
  return pattern;
}

std::vector<uint8_t> RandomBytes(size_t count, std::mt19937& random) {
  std::vector<uint8_t> bytes(count);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
  return bytes;
}

// Runs `kernel(from, to)` on a row of `bytes` placed at a random offset (every alignment) inside
// guarded random buffers, and expects each byte `i` of `to` to become `rule(i, from, to)` of the
// bytes before, and nothing outside the row to change. Every third byte of `to` lies near the
// byte of `from`, so that thresholds decide often.
template <class Kernel, class Rule>
::testing::AssertionResult RowFollows(int64_t bytes, std::mt19937& random, Kernel&& kernel,
                                      Rule&& rule) {
  const size_t guard = 80 + random() % 64;
  std::vector<uint8_t> from = RandomBytes(bytes + 2 * guard, random);
  std::vector<uint8_t> to = RandomBytes(bytes + 2 * guard, random);
  for (int64_t i = 0; i < bytes; i += 3) {
    to[guard + i] = static_cast<uint8_t>(from[guard + i] + random() % 9 - 4);
  }
  std::vector<uint8_t> expected = to;
  for (int64_t i = 0; i < bytes; ++i) expected[guard + i] = rule(i, from[guard + i], to[guard + i]);
  kernel(from.data() + guard, to.data() + guard);
  if (to == expected) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "row of " << bytes << " bytes differs";
}

struct KernelSet {
  const char* name;
  ByteMapRowProc map;
  DitherRowProc dither;
  UnsharpRowProc unsharp;
};

std::vector<KernelSet> AvailableKernels() {
  std::vector<KernelSet> sets = {
      {"portable", ByteMapRowPortable(), DitherRowPortable(), UnsharpRowPortable()}};
  if (ByteMapRowAVX2())
    sets.push_back({"AVX2", ByteMapRowAVX2(), DitherRowAVX2(), UnsharpRowAVX2()});
  if (UnsharpRowAVX512())
    sets.push_back({"AVX-512", ByteMapRowAVX512(), DitherRowAVX512(), UnsharpRowAVX512()});
  return sets;
}

// Random tables, and single tables that are stretches of the levels filter (one in four random),
// which go to the kernels as ramps too where FitByteRamp fits them exactly: kernels may compute a
// ramp instead of looking it up.
TEST(FilterKernels, ByteMapsEqualTheOneByteRule) {
  std::mt19937 random(11);
  for (const KernelSet& set : AvailableKernels()) {
    if (!set.map) continue;
    int ramps = 0;
    for (int64_t size = 1; size <= kMaxVectorPixel; ++size) {
      for (int tables = 0; tables <= 5; ++tables) {
        for (int64_t width : {0, 1, 7, 33, 131}) {
          const BytePattern pattern = RandomPattern(size, std::max(tables, 1), random);
          std::vector<uint8_t> block = RandomBytes(5 * 256 + kTableSlack, random);
          if (tables == 0 && random() % 4 != 0) {
            const int lo = static_cast<int>(random() % 256), span = 1 + random() % 255;
            for (int v = 0; v < 256; ++v) block[v] = std::clamp((v - lo) * 255 / span, 0, 255);
          }
          ByteRamp ramp;
          const bool ramped = tables == 0 && FitByteRamp(block.data(), ramp);
          ramps += ramped;
          const ByteMapRow row{&pattern, block.data(), std::max(tables, 1),
                               ramped ? &ramp : nullptr};
          ASSERT_TRUE(RowFollows(
              width * size, random,
              [&](const uint8_t* from, uint8_t* to) { set.map(row, from, to, width * size); },
              [&](int64_t i, uint8_t from, uint8_t to) {
                const int kind = pattern.classes[i % size];
                return kind ? block[(kind - 1) * 256 + from] : to;
              }))
              << set.name << " pixel " << size << " tables " << tables << " width " << width
              << (ramped ? " as a ramp" : "");
        }
      }
    }
    // Nearly every stretch is a line; the few that are not keep their table.
    EXPECT_GT(ramps, 40) << set.name;
  }
}

// The dither kernels with real level tables (random level counts, also past 256), given the
// output levels where they may use them.
TEST(FilterKernels, DitherRowsEqualTheOneByteRule) {
  std::mt19937 random(12);
  for (const KernelSet& set : AvailableKernels()) {
    if (!set.dither) continue;
    for (int64_t size = 1; size <= kMaxVectorPixel; ++size) {
      for (int64_t n : {2, 6, 16}) {
        BytePattern pattern = RandomPattern(size, 1, random);
        // Sixteen levels or fewer for the smallest matrices, which kernels may look up at once.
        int64_t count = 2 + random() % (n == 2 ? 16 : size % 2 ? 255 : 400);
        int64_t top = count - 1;
        std::vector<uint8_t> outputs(256), levels(512 + kTableSlack);
        for (int64_t k = 0; k < 256; ++k) outputs[k] = static_cast<uint8_t>(k * 255 / top);
        for (int64_t v = 0; v < 256; ++v) {
          levels[2 * v] = static_cast<uint8_t>(v * top / 256 * 255 / top);
          levels[2 * v + 1] = static_cast<uint8_t>((v * top / 256 + 1) * 255 / top);
        }
        int64_t period = n * size;
        std::vector<uint8_t> thresholds(period + kPatternSlack);
        for (int64_t i = 0; i < period + kPatternSlack; ++i) {
          thresholds[i] = i < period ? static_cast<uint8_t>(random()) : thresholds[i % period];
        }
        DitherRow row{&pattern, levels.data(), thresholds.data(), period};
        if (count <= 256) {
          row.outputs = outputs.data();
          row.top = top;
        }
        for (int64_t width : {1, 5, 47, 129}) {
          ASSERT_TRUE(RowFollows(
              width * size, random,
              [&](const uint8_t* from, uint8_t* to) { set.dither(row, from, to, width * size); },
              [&](int64_t i, uint8_t v, uint8_t to) {
                if (!pattern.classes[i % size]) return to;
                return levels[2 * v + (v <= thresholds[i % period] ? 1 : 0)];
              }))
              << set.name << " pixel " << size << " n " << n << " levels " << count << " width "
              << width;
        }
      }
    }
  }
}

// Both forms of the unsharp kernels: the double formula, and the byte steps wherever
// BuildUnsharpSteps accepts the factor (random factors too, whose products round anywhere).
TEST(FilterKernels, UnsharpRowsEqualTheTable) {
  std::mt19937 random(13);
  std::vector<double> amounts = {0.0, 0.25, 1.0, -0.3, 3.7, -2.0, -0.25, 1e300, -1e300, 1e-310};
  std::uniform_real_distribution<double> spread(-3.0, 3.0);
  for (int i = 0; i < 40; ++i) amounts.push_back(spread(random));
  const int64_t thresholds[] = {0, 1, 17, 255, 256, -5};
  std::vector<uint8_t> table(65536);
  int stepped = 0, multiplied = 0;
  for (const KernelSet& set : AvailableKernels()) {
    for (double amount : amounts) {
      for (int64_t threshold : thresholds) {
        BuildUnsharpTable(amount, threshold, *reinterpret_cast<uint8_t(*)[65536]>(table.data()));
        UnsharpRow row{nullptr, amount * 4.0 + 1.0, static_cast<int32_t>(threshold)};
        UnsharpSteps steps;
        bool haveSteps = BuildUnsharpSteps(row.k, row.limit, steps);
        for (bool useSteps : {false, true}) {
          if (useSteps && !haveSteps) continue;
          stepped += useSteps;
          multiplied += useSteps && steps.linear;
          int64_t size = 1 + random() % kMaxVectorPixel;
          BytePattern pattern = RandomPattern(size, 1, random);
          int64_t bytes = (1 + random() % 200) * size;
          row.pattern = &pattern;
          row.steps = useSteps ? &steps : nullptr;
          ASSERT_TRUE(RowFollows(
              bytes, random,
              [&](const uint8_t* other, uint8_t* self) { set.unsharp(row, other, self, bytes); },
              [&](int64_t i, uint8_t other, uint8_t self) {
                return pattern.classes[i % size] ? table[self * 256 + other] : self;
              }))
              << set.name << " amount " << amount << " threshold " << threshold
              << (useSteps ? " in steps" : "");
        }
      }
    }
  }
  // The steps serve the usual factors, most of them multiplied out too, or this test would not
  // reach those paths.
  EXPECT_GT(stepped, 100);
  EXPECT_GT(multiplied, stepped / 2) << stepped;
}

// The image whose rows ShiftedRow hands out one pixel along.
ImageClassData* gShiftedParent = nullptr;
uint8_t* ShiftedRow(ImageClassData*, int64_t y) {
  return gShiftedParent->GetRow(gShiftedParent, y) + gShiftedParent->PixelSize;
}

// A filter from one image into another of `format`, saying whether it answered as it should
// (dither and unsharp refuse 16-bit sources). Every dither matrix, level counts past a byte too;
// finite unsharp factors (the formula) and overflowing, infinite or NaN ones (the table).
using Filter = std::function<bool(REALobject from, REALobject to, int64_t format)>;

std::vector<std::pair<std::string, Filter>> EveryFilter() {
  auto point = [](auto call) {
    return [=](REALobject s, REALobject d, int64_t) {
      Ref result = Ref::Adopt(call(s, d));
      return !result || result.get() == d;
    };
  };
  std::vector<std::pair<std::string, Filter>> filters = {
      {"GammaFilterRGBA",
       point([](auto s, auto d) { return GammaFilterRGBA(s, d, 2.2, 0.7, 1.3, 3.0); })},
      {"GammaFilterGA", point([](auto s, auto d) { return GammaFilterGA(s, d, 0.45, 1.8); })},
      {"GammaFilterRGB, green a copy,",
       point([](auto s, auto d) { return GammaFilterRGB(s, d, 1.5, 1.0, 0.8); })},
      {"GammaFilterG", point([](auto s, auto d) { return GammaFilterG(s, d, 1.9); })},
      {"GainFilter", point([](auto s, auto d) { return GainFilter(s, d, 0.3, 0.6); })},
      {"SolarizeFilter", point([](auto s, auto d) { return SolarizeFilter(s, d); })}};
  const int64_t levels[] = {2, 3, 5, 16, 255, 256, 1000};
  for (int64_t matrix = 1; matrix <= 10; ++matrix) {
    filters.emplace_back(
        "dither matrix " + std::to_string(matrix), [=](REALobject s, REALobject d, int64_t format) {
          Ref result = Ref::Adopt(DitherFilter(s, d, matrix, levels[(matrix + format) % 7]));
          return (result.get() != nullptr) == (format != 41);
        });
  }
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& c :
       {std::pair{0.6, 3}, {-0.4, 0}, {2.5, 40}, {1e308, 1}, {inf, 2}, {-inf, 0}, {nan, 0}}) {
    filters.emplace_back(
        "unsharp " + std::to_string(c.first),
        [amount = c.first, threshold = c.second](REALobject s, REALobject d, int64_t format) {
          return UnsharpFilter(d, s, amount, threshold) == (format != 41);
        });
  }
  return filters;
}

// Where the two images of a case lie, and the filter run from one to the other.
using Images = std::vector<Ref>;
using Pair = std::function<void(REALobject from, REALobject to)>;
struct Storage {
  const char* name;
  std::vector<int64_t> formats;
  std::function<void(Images&, const Pair&)> run;
};

class FilterLevels : public StaticPluginTest {};

// Each filter at every level against the plain level, every byte of both images: apart in every
// format, and storages the kernels must handle with care or leave to the plain loops: clips and
// an image into itself, channel views (also into another channel of the same pixels), and a dest
// whose rows start one pixel into the source's, which only the pixel-by-pixel loop gets right.
TEST_F(FilterLevels, EveryFilterInEveryStorage) {
  auto clip = [](const Ref& image, int64_t x, int64_t y, int64_t width, int64_t height) {
    return image.Call<Ref>("ClipImage", x, y, width, height);
  };
  const std::vector<int64_t> some = {kRGB, kRGBA, kGA, kCMYKA, kGray16};
  const Storage storages[] = {
      {"apart",
       {std::begin(kFilterFormats), std::end(kFilterFormats)},
       [](Images& images, const Pair& filter) { filter(images[0].get(), images[1].get()); }},
      {"clips, and in place", some,
       [&](Images& images, const Pair& filter) {
         Ref from = clip(images[0], 3, 1, 29, 5), to = clip(images[1], 3, 1, 29, 5);
         filter(from.get(), to.get());
         filter(images[0].get(), images[0].get());
       }},
      {"channel views",
       {kRGBA},
       [](Images& images, const Pair& filter) {
         for (int64_t index = 0; index < 4; ++index) {
           Ref from = images[0].Call<Ref>("Channel", index);
           Ref to = images[1].Call<Ref>("Channel", index);
           Ref next = images[0].Call<Ref>("Channel", (index + 1) % 4);
           filter(from.get(), to.get());
           filter(from.get(), next.get());
         }
       }},
      {"overlapping rows",
       {kRGBA},
       [&](Images& images, const Pair& filter) {
         Ref from = clip(images[0], 0, 0, 40, 7), to = clip(images[1], 0, 0, 40, 7);
         ImageClassData* rows = ImageData(to.get());
         gShiftedParent = ImageData(images[0].get());
         rows->GetRow = ShiftedRow;
         filter(from.get(), to.get());
       }},
  };
  const auto filters = EveryFilter();
  uint32_t seed = 1;
  for (const Storage& storage : storages) {
    for (int64_t format : storage.formats) {
      for (const auto& [name, filter] : filters) {
        seed += 2;
        ExpectEveryLevelAsPlain(
            [&, &name = name, &filter = filter] {
              std::vector<Ref> images = {NewImage(41, 7, format), NewImage(41, 7, format)};
              RandomizeWholeRows(images[0], seed);
              RandomizeWholeRows(images[1], seed + 1);
              storage.run(images, [&](REALobject from, REALobject to) {
                EXPECT_TRUE(filter(from, to, format)) << name;
              });
              std::vector<uint8_t> bytes = ImageSnapshot(images[0]).data;
              const std::vector<uint8_t> second = ImageSnapshot(images[1]).data;
              bytes.insert(bytes.end(), second.begin(), second.end());
              return bytes;
            },
            std::string(storage.name) + ", " + name + ", format " + std::to_string(format));
      }
    }
  }
}

#if defined(__x86_64__) && defined(__linux__)
TEST(CpuFeatures, AgreeWithTheCompilersRuntimeCheck) {
  __builtin_cpu_init();
  const platform::CpuFeatures& f = platform::ProcessorFeatures();
  EXPECT_EQ(f.fma, __builtin_cpu_supports("fma") != 0);
  EXPECT_EQ(f.avx2, __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(f.avx512f, __builtin_cpu_supports("avx512f") != 0);
  EXPECT_EQ(f.avx512vl, __builtin_cpu_supports("avx512vl") != 0);
  EXPECT_EQ(f.avx512dq, __builtin_cpu_supports("avx512dq") != 0);
  EXPECT_EQ(f.avx512bw, __builtin_cpu_supports("avx512bw") != 0);
  EXPECT_EQ(f.avx512vbmi, __builtin_cpu_supports("avx512vbmi") != 0);
}
#endif

}  // namespace
