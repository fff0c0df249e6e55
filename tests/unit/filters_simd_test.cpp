// The vector kernels of the point filters, the dither and the unsharp combination: each kernel
// alone against the rule for one byte, then whole filters at every processor level against the
// plain loops on random images of odd sizes in every format they serve, clips, channel views and
// images filtered into themselves included. Equal means equal bytes. And the processor features
// that choose the kernels, against the compiler's own check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
#include "support/image_layout.h"
#include "support/simd_levels.h"
#include "support/static_plugin.h"

namespace {

using xqt::host::Ref;

// Every format with a family the filters handle, plus 16-bit gray and a scaling format.
const int64_t kFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 16,
                            23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 37, 41, 42, 45};

// Each kernel alone, portable ones included (x86 levels do not reach those), against the rule
// for one byte, on random rows of every pixel size and class layout.

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
  if (UnsharpRowAVX512()) {
    sets.push_back({"AVX-512", ByteMapRowAVX512(), DitherRowAVX512(), UnsharpRowAVX512()});
  }
  return sets;
}

TEST(FilterKernels, ByteMapsEqualTheOneByteRule) {
  std::mt19937 random(11);
  for (const KernelSet& set : AvailableKernels()) {
    if (!set.map) continue;
    for (int64_t size = 1; size <= kMaxVectorPixel; ++size) {
      for (int tables = 1; tables <= 5; ++tables) {
        BytePattern pattern = RandomPattern(size, tables, random);
        std::vector<uint8_t> block = RandomBytes(5 * 256 + kTableSlack, random);
        const ByteMapRow row{&pattern, block.data(), tables};
        for (int64_t width : {0, 1, 7, 33, 131}) {
          ASSERT_TRUE(RowFollows(
              width * size, random,
              [&](const uint8_t* from, uint8_t* to) { set.map(row, from, to, width * size); },
              [&](int64_t i, uint8_t from, uint8_t to) {
                const int kind = pattern.classes[i % size];
                return kind ? block[(kind - 1) * 256 + from] : to;
              }))
              << set.name << " pixel " << size << " tables " << tables << " width " << width;
        }
      }
    }
  }
}

// Maps that are lines (the levels stretch) go to the kernels as ramps too, which they may compute
// instead of looking up; random tables are mixed in, which FitByteRamp must refuse or fit exactly.
TEST(FilterKernels, RampsEqualTheirTables) {
  std::mt19937 random(14);
  for (const KernelSet& set : AvailableKernels()) {
    if (!set.map) continue;
    int ramps = 0;
    for (int trial = 0; trial < 300; ++trial) {
      std::vector<uint8_t> table = RandomBytes(256 + kTableSlack, random);
      if (trial % 4 != 0) {
        int lo = static_cast<int>(random() % 256), hi = static_cast<int>(random() % 256);
        if (lo > hi) std::swap(lo, hi);
        const double scale = 255.0 / static_cast<double>(hi - lo);
        for (int v = 0; v < 256; ++v) {
          table[v] = v < lo     ? 0
                     : v > hi   ? 255
                     : hi == lo ? 0
                                : static_cast<uint8_t>((v - lo) * scale);
        }
      }
      ByteRamp ramp;
      if (!FitByteRamp(table.data(), ramp)) continue;
      ++ramps;
      const int64_t size = 1 + random() % kMaxVectorPixel;
      const BytePattern pattern = RandomPattern(size, 1, random);
      const int64_t bytes = static_cast<int64_t>(random() % 150) * size;
      const ByteMapRow row{&pattern, table.data(), 1, &ramp};
      ASSERT_TRUE(RowFollows(
          bytes, random, [&](const uint8_t* from, uint8_t* to) { set.map(row, from, to, bytes); },
          [&](int64_t i, uint8_t from, uint8_t to) {
            return pattern.classes[i % size] ? table[from] : to;
          }))
          << set.name << " trial " << trial << " base " << ramp.base << " m " << ramp.step.m;
    }
    // Nearly every stretch is a line; the few that are not keep their table.
    EXPECT_GT(ramps, 200) << set.name;
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
        for (int64_t i = 0; i < period; ++i) thresholds[i] = static_cast<uint8_t>(random());
        for (int64_t i = period; i < period + kPatternSlack; ++i) {
          thresholds[i] = thresholds[i % period];
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
  if (!AvailableKernels().empty()) {
    EXPECT_GT(stepped, 100);
    EXPECT_GT(multiplied, stepped / 2) << stepped;
  }
}

// The layouts and rows the kernels take, and those left to the plain loops.
TEST(FilterKernels, LayoutsThatTheKernelsRefuse) {
  ImageClassData a{}, b{};
  a.PixelSize = b.PixelSize = 4;
  const int64_t offsets[] = {0, 1, 2, 3};
  const int64_t shifted[] = {0, 1, 2, 7};
  const int64_t repeated[] = {0, 1, 2, 0};
  const int64_t moved[] = {1, 0, 2, 3};
  const uint8_t classes[] = {1, 1, 1, 2};
  BytePattern pattern;
  EXPECT_TRUE(VectorLayout(a, b, 4, offsets, offsets, classes, pattern));
  EXPECT_EQ(pattern.classes[3], 2);
  EXPECT_EQ(pattern.classes[4 + 3], 2);
  EXPECT_FALSE(VectorLayout(a, b, 4, shifted, shifted, classes, pattern));    // outside the pixel
  EXPECT_FALSE(VectorLayout(a, b, 4, repeated, repeated, classes, pattern));  // an offset twice
  EXPECT_FALSE(VectorLayout(a, b, 4, offsets, moved, classes, pattern));      // layouts differ
  b.PixelSize = 3;
  EXPECT_FALSE(VectorLayout(a, b, 3, offsets, offsets, classes, pattern));  // pixel sizes differ
  a.PixelSize = b.PixelSize = kMaxVectorPixel + 1;
  EXPECT_FALSE(VectorLayout(a, b, 4, offsets, offsets, classes, pattern));

  uint8_t row[64];
  EXPECT_TRUE(RowsSafeForVectors(row, row, 32));
  EXPECT_TRUE(RowsSafeForVectors(row, row + 32, 32));
  EXPECT_TRUE(RowsSafeForVectors(row + 32, row, 32));
  EXPECT_FALSE(RowsSafeForVectors(row, row + 1, 32));
  EXPECT_FALSE(RowsSafeForVectors(row + 31, row, 32));
}

// ---- Whole filters at every level ----

// The image whose rows ShiftedRow hands out one pixel along.
ImageClassData* gShiftedParent = nullptr;
uint8_t* ShiftedRow(ImageClassData*, int64_t y) {
  return gShiftedParent->GetRow(gShiftedParent, y) + gShiftedParent->PixelSize;
}

class FilterLevels : public StaticPluginTest {
 protected:
  Ref Random(int64_t width, int64_t height, int64_t format, uint32_t seed) {
    Ref image = NewImage(width, height, format);
    RandomizeWholeRows(image, seed);
    return image;
  }

  // Runs `filter` at every level, each time on fresh images from `make`, and expects the bytes
  // of all of them to equal those of the plain level.
  template <class Make, class Filter>
  void ExpectSameAtEveryLevel(Make&& make, Filter&& filter, const std::string& what) {
    ExpectEveryLevelAsPlain(
        [&] {
          std::vector<Ref> images = make();
          filter(images);
          std::vector<uint8_t> bytes;
          for (const Ref& image : images) {
            const std::vector<uint8_t> one = ImageSnapshot(image).data;
            bytes.insert(bytes.end(), one.begin(), one.end());
          }
          return bytes;
        },
        what);
  }

  // Source and dest, random, of the same format and an odd size.
  auto Pair(int64_t format, uint32_t seed) {
    return [this, format, seed] {
      return std::vector<Ref>{Random(37, 5, format, seed), Random(37, 5, format, seed + 1)};
    };
  }
};

// Each filter on a random pair of every format, at every level: the point filters, the dither
// with every matrix (level counts past a byte too), and the unsharp filter with finite factors
// (the formula) and overflowing, infinite or NaN ones (the table).
TEST_F(FilterLevels, EveryFilterInEveryFormat) {
  using Filter = std::function<bool(REALobject, REALobject, int64_t format)>;
  // Each filter says whether it answered as it should: a point filter with its dest or nil, the
  // dither and unsharp filters refusing 16-bit sources only.
  auto object = [](REALobject dest, REALobject result) {
    Ref adopted = Ref::Adopt(result);
    return !result || result == dest;
  };
  std::vector<std::pair<std::string, Filter>> filters = {
      {"GammaFilterRGBA",
       [&](REALobject s, REALobject d, int64_t) {
         return object(d, GammaFilterRGBA(s, d, 2.2, 0.7, 1.3, 3.0));
       }},
      {"GammaFilterGA", [&](REALobject s, REALobject d,
                            int64_t) { return object(d, GammaFilterGA(s, d, 0.45, 1.8)); }},
      {"GammaFilterRGB, green a copy,",
       [&](REALobject s, REALobject d, int64_t) {
         return object(d, GammaFilterRGB(s, d, 1.5, 1.0, 0.8));
       }},
      {"GainFilter",
       [&](REALobject s, REALobject d, int64_t) { return object(d, GainFilter(s, d, 0.3, 0.6)); }},
      {"SolarizeFilter",
       [&](REALobject s, REALobject d, int64_t) { return object(d, SolarizeFilter(s, d)); }}};
  const int64_t levels[] = {2, 3, 5, 16, 255, 256, 1000};
  for (int64_t matrix = 1; matrix <= 10; ++matrix) {
    filters.emplace_back(
        "dither matrix " + std::to_string(matrix),
        [&, matrix](REALobject s, REALobject d, int64_t format) {
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
  uint32_t seed = 1;
  for (int64_t format : kFormats) {
    for (const auto& [name, filter] : filters) {
      ExpectSameAtEveryLevel(
          Pair(format, seed++),
          [&, &name = name, &filter = filter](std::vector<Ref>& images) {
            EXPECT_TRUE(filter(images[0].get(), images[1].get(), format)) << name;
          },
          name + " format " + std::to_string(format));
    }
  }
}

// Clips (offsets past the pixel, a row start inside the parent), channel views (one byte of a
// wider pixel), an image filtered into itself, and a dest that shares bytes with its source one
// pixel along: the kernels take what suits them, the plain loops the rest, with equal bytes.
TEST_F(FilterLevels, SharedAndShiftedStorage) {
  uint32_t seed = 2000;
  for (int64_t format : {1, 2, 12, 24, 41}) {
    auto parent = [&, format] {
      return std::vector<Ref>{Random(41, 7, format, seed), Random(41, 7, format, seed + 1)};
    };
    ++seed;
    auto clip = [](const Ref& image) {
      return image.Call<Ref>("ClipImage", int64_t{3}, int64_t{1}, int64_t{29}, int64_t{5});
    };
    ExpectSameAtEveryLevel(
        parent,
        [&](std::vector<Ref>& images) {
          Ref from = clip(images[0]), to = clip(images[1]);
          Ref a = Ref::Adopt(GammaFilterRGBA(from.get(), to.get(), 1.7, 0.6, 2.4, 1.2));
          Ref b = Ref::Adopt(DitherFilter(from.get(), to.get(), 10, 4));
          EXPECT_EQ(UnsharpFilter(to.get(), from.get(), 0.8, 2), format != 41);
        },
        "clips of format " + std::to_string(format));
    ExpectSameAtEveryLevel(
        parent,
        [&](std::vector<Ref>& images) {
          Ref a = Ref::Adopt(SolarizeFilter(images[0].get(), images[0].get()));
          Ref b = Ref::Adopt(DitherFilter(images[1].get(), images[1].get(), 3, 3));
          EXPECT_EQ(UnsharpFilter(images[1].get(), images[1].get(), 1.5, 0), format != 41);
        },
        "in place, format " + std::to_string(format));
  }
  for (int64_t index = 0; index < 4; ++index) {
    ExpectSameAtEveryLevel(
        [&] {
          return std::vector<Ref>{Random(43, 6, 2, seed), Random(43, 6, 2, seed + 1)};
        },
        [&](std::vector<Ref>& images) {
          Ref from = images[0].Call<Ref>("Channel", index);
          Ref to = images[1].Call<Ref>("Channel", index);
          Ref a = Ref::Adopt(GammaFilterG(from.get(), to.get(), 1.9));
          Ref b = Ref::Adopt(DitherFilter(from.get(), to.get(), 7, 6));
          EXPECT_TRUE(UnsharpFilter(to.get(), from.get(), 0.3, 5));
          // A channel view into a different channel of the same pixels.
          Ref other = images[0].Call<Ref>("Channel", (index + 1) % 4);
          Ref c = Ref::Adopt(GammaFilterG(from.get(), other.get(), 0.6));
        },
        "channel " + std::to_string(index));
    ++seed;
  }
  // A dest whose rows start one pixel into the source's rows: partly overlapping rows with the
  // same layout, which only the plain loop (each pixel after the previous one) gets right.
  ExpectSameAtEveryLevel(
      [&] {
        return std::vector<Ref>{Random(45, 5, 2, seed), Random(44, 5, 2, seed)};
      },
      [&](std::vector<Ref>& images) {
        Ref from =
            images[0].Call<Ref>("ClipImage", int64_t{0}, int64_t{0}, int64_t{44}, int64_t{5});
        ImageClassData* to = ImageData(images[1].get());
        gShiftedParent = ImageData(images[0].get());
        GetRowProc own = to->GetRow;
        to->GetRow = ShiftedRow;
        Ref a = Ref::Adopt(GammaFilterRGBA(from.get(), images[1].get(), 2.0, 0.5, 1.0, 3.0));
        Ref b = Ref::Adopt(DitherFilter(from.get(), images[1].get(), 2, 3));
        EXPECT_TRUE(UnsharpFilter(images[1].get(), from.get(), 0.5, 0));
        to->GetRow = own;
      },
      "overlapping rows");
}

// Our own reading of the processor's features against the compiler's runtime check, where the
// compiler has one (Linux on x86-64).
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
#else
TEST(CpuFeatures, AgreeWithTheCompilersRuntimeCheck) {
  GTEST_SKIP() << "the compiler's check exists on Linux x86-64 only";
}
#endif

}  // namespace
