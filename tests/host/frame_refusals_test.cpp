// The rules every operation of the filter frame shares: the destination it makes or takes, the
// sources and destinations it refuses, and the source as its own destination.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include "support/format_codes.h"
#include "support/host_expectations.h"
#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Host;
using xqt::host::Ref;

struct Operation {
  const char* name;
  bool turns;      // the result is the source's size turned a quarter
  bool takesDest;  // false: the operation always makes its result
  bool inPlace;    // the source as its own destination: the same bytes as a new one, or refused
  std::function<Ref(Host&, const Ref& source, const Ref& dest)> call;  // dest may be nil
};

template <class... Args>
Operation Member(const char* name, bool turns, bool inPlace, Args... args) {
  return {name, turns, true, inPlace, [name, args...](Host&, const Ref& source, const Ref& dest) {
            return source.Call<Ref>(name, dest, args...);
          }};
}

const Operation kOperations[] = {
    Member("GammaFilter", false, true, 2.0),
    Member("GainFilter", false, true, 0.5, 0.5),
    Member("SolarizeFilter", false, true),
    Member("DitherFilter", false, true, int64_t{1}, int64_t{2}),
    Member("BoxBlurFilter", false, false, int64_t{1}),  // its running sums read rows it wrote
    Member("BoxBlurFractionalFilter", false, false, 1.5),
    {"ApplyMatrix", false, true, true,
     [](Host& host, const Ref& source, const Ref& dest) {
       return source.Call<Ref>("ApplyMatrix", dest,
                               host.NewIntegerArray({-1, -1, -1, -1, 8, -1, -1, -1, -1}),
                               int64_t{1}, int64_t{0});
     }},
    Member("OilFilter", false, true, int64_t{2}, int64_t{8}),
    Member("DiffuseFilter", false, true, int64_t{3}),
    Member("EngraveFilter", false, true),
    Member("NeonFilter", false, true),
    Member("StampFilter", false, true, int64_t{10}),
    Member("Rotate90", true, false),
    Member("Rotate270", true, false),
    Member("Rotate90slow", true, false),
    Member("Rotate270slow", true, false),
    Member("Rotate180", false, false),
    {"Rotate", false, false, false,
     [](Host&, const Ref& source, const Ref&) {
       return source.Call<Ref>("Rotate", 30.0, int64_t{10}, int64_t{20}, int64_t{30}, int64_t{40},
                               int64_t{50}, int64_t{60}, int64_t{70}, int64_t{80}, int64_t{90});
     }},
};

class FrameRefusals : public PluginTest {};

TEST_F(FrameRefusals, EveryOperationRefusesTheSameSourcesAndDestinations) {
  const int64_t w = 6, h = 4;
  for (const Operation& op : kOperations) {
    SCOPED_TRACE(op.name);
    const int64_t dw = op.turns ? h : w, dh = op.turns ? w : h;
    Ref source = NewImage(w, h, kRGBA);
    Randomise(source, 1);
    Ref made = op.call(host_, source, Ref());  // a new image of the source's format
    ASSERT_TRUE(made);
    EXPECT_NE(made.get(), source.get());
    EXPECT_EQ(made.Get<int64_t>("ImageFormat"), kRGBA);
    Ref closed = NewImage(w, h, kRGBA);
    closed.Call("Close");  // no row accessor any more
    EXPECT_FALSE(op.call(host_, closed, Ref()));
    EXPECT_FALSE(op.call(host_, NewImage(0, h, kRGBA), Ref()));
    Ref wide = NewImage(w, h, kGray16);
    Randomise(wide, 2);
    const Bytes wideBefore = PixelBytes(wide);
    EXPECT_FALSE(op.call(host_, wide, Ref()));
    EXPECT_EQ(PixelBytes(wide), wideBefore);
    if (!op.takesDest) continue;

    ExpectIntegers(made, {{"Width", dw}, {"Height", dh}});
    Ref given = NewImage(dw, dh, kBGRA);  // another byte order is fine, and is returned
    EXPECT_EQ(op.call(host_, source, given).get(), given.get());
    EXPECT_TRUE(op.call(host_, source, NewImage(dw + 3, dh + 5, kRGBA)));  // so is a larger one
    EXPECT_FALSE(op.call(host_, source, closed));
    EXPECT_FALSE(op.call(host_, source, NewImage(0, dh, kRGBA)));
    for (Ref dest : {NewImage(dw - 1, dh, kRGBA), NewImage(dw, dh - 1, kRGBA),
                     NewImage(dw, dh, kGA), NewImage(dw, dh, kCMYKA)}) {
      Randomise(dest, 3);
      const Bytes before = PixelBytes(dest);
      EXPECT_FALSE(op.call(host_, source, dest));
      EXPECT_EQ(PixelBytes(dest), before);
    }
  }
}

// Filters that may write into their source read only its original pixels: in place equals into
// a copy. The others refuse. The seed is set for the diffusion, whose offsets are random.
TEST_F(FrameRefusals, InPlaceEqualsANewDestinationOrIsRefused) {
  for (const Operation& op : kOperations) {
    for (int64_t format : {kRGBA, kCMYK, kCMYKA}) {
      SCOPED_TRACE(testing::Message() << op.name << " " << format);
      if (!op.takesDest) continue;
      Ref source = NewImage(9, 6, format);
      Randomise(source, 4);
      const Bytes before = PixelBytes(source);
      if (!op.inPlace) {
        EXPECT_FALSE(op.call(host_, source, source));
        EXPECT_EQ(PixelBytes(source), before);
        continue;
      }
      Ref apart = source.Call<Ref>("Clone");  // a destination of the same bytes
      std::srand(7);
      ASSERT_TRUE(op.call(host_, source, apart));
      std::srand(7);
      EXPECT_EQ(op.call(host_, source, source).get(), source.get());
      EXPECT_EQ(PixelBytes(source), PixelBytes(apart));
    }
  }
}

}  // namespace
