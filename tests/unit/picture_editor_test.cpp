// The picture editor and the readers of each picture kind against the emulated host. What the
// members show of them (copies, reads, the copy route, console pictures) is in the picture
// bridge's host test.
#include "picture/picture_editor.h"

#include <gtest/gtest.h>
#if __has_include(<cairo.h>)
#include <cairo.h>
#endif

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/emulated_host.h"
#include "picture/graphics_draw.h"
#include "picture/picture_kinds.h"
#include "support/host_picture_helpers.h"
#include "support/log_capture.h"

namespace {

using picture_io::PictureLayout;
using xqt::host::AppKind;
using xqt::host::Host;
using xqt::host::HostOptions;
using xqt::host::Ref;

struct EditorHost {
  explicit EditorHost(HostOptions options = {}) : host(options) { host.Attach(&REALPluginMain); }
  ~EditorHost() {
    EXPECT_EQ(host.OpenPictureLocks(), 0);
    EXPECT_EQ(host.LiveObjects(), 0) << host.LiveReport();
    for (const std::string& error : host.ProtocolErrors()) ADD_FAILURE() << error;
  }
  Host host;
};

// How often the log holds `line` (written out whole).
int64_t Times(const LogCapture& log, const std::string& line) {
  auto lines = log.lines();
  return std::count(lines.begin(), lines.end(), line);
}

TEST(PictureWriter, SidesUpTo32767AreAccepted) {
  EditorHost env;
  LogCapture log;
  PictureWriter writer;
  EXPECT_TRUE(writer.NewPictureWriter(32767, 1));
  EXPECT_EQ(writer.width, 32767);
  EXPECT_EQ(env.host.OpenPictureLocks(), 1);
  writer.clear();
  EXPECT_EQ(env.host.OpenPictureLocks(), 0);

  EXPECT_FALSE(writer.NewPictureWriter(32768, 1));
  EXPECT_FALSE(writer.NewPictureWriter(1, 32768));
  EXPECT_FALSE(writer.NewPictureWriter(32768, 2, true));
  EXPECT_EQ(Times(log, "XQT Debug: width > 32767\n"), 2);
  EXPECT_EQ(Times(log, "XQT Debug: height > 32767\n"), 1);
  EXPECT_FALSE(writer.NewPictureWriter(0, 5));
  EXPECT_FALSE(writer.NewPictureWriter(5, -1, true));
  EXPECT_EQ(writer.picture, nullptr);
}

// Rows past the end fall back to row 0, never to memory beyond; only the first nine of those
// warnings reach the log.
TEST(PictureWriter, RowsPastTheEndReuseRowZero) {
  EditorHost env;
  LogCapture log;
  PictureWriter writer;
  ASSERT_TRUE(writer.NewPictureWriter(4, 3));
  uint8_t* base = writer.pixelBase;
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(writer.currentRow, base);
  writer.AddPixelRow();
  writer.AddPixelRow();
  EXPECT_EQ(writer.currentRow, base + 2 * writer.rowBytes);
  for (int y = 3; y < 24; ++y) {
    writer.AddPixelRow();
    EXPECT_EQ(writer.currentRow, base) << y;
  }
  EXPECT_EQ(Times(log, "y too big: 3 of 3 in GetRow\n"), 1);  // the one line without prefix
  int64_t tooBig = 0;
  for (const std::string& line : log.lines()) tooBig += line.rfind("y too big: ", 0) == 0;
  EXPECT_EQ(tooBig, 9);
  EXPECT_EQ(writer.warningCount, 21u);
  writer.clear();
  EXPECT_EQ(writer.warningCount, 0u);
  EXPECT_EQ(writer.currentRow, nullptr);
}

TEST(PictureWriter, RenderBuildsFromACallersBuffer) {
  EditorHost env;
  const uint8_t pixels[] = {0xFF, 1, 2, 3, 0xFF, 4,  5,  6,  0, 0, 0, 0,  // row 0 and padding
                            0xFF, 7, 8, 9, 0xFF, 10, 11, 12, 0, 0, 0, 0};
  PictureWriter writer;
  writer.width = 2;
  writer.height = 2;
  writer.rowBytes = 12;
  writer.buildBuffer = const_cast<uint8_t*>(pixels);
  writer.verticalResolution = writer.horizontalResolution = 144;
  Ref built = Ref::Adopt(writer.RenderPictureWriter());
  ASSERT_TRUE(built);
  EXPECT_EQ(env.host.PictureARGB(built, 1, 1), 0xFF0A0B0Cu);
  EXPECT_EQ(env.host.PictureARGB(built, 0, 0), 0xFF010203u);
  EXPECT_EQ(built.Get<int64_t>("VerticalResolution"), 144);
  EXPECT_EQ(writer.buildBuffer, nullptr);
  EXPECT_EQ(writer.RenderPictureWriter(), nullptr);  // idle: nothing to render
}

TEST(PictureReader, PicturesThatCannotBeWritten) {
  EditorHost env;
  LogCapture log;
  Ref bitmap = env.host.NewDesktopPicture(3, 3, true);
  struct Case {
    int32_t type;
    const char* message;
  } cases[] = {{kPictureTypeImage, "HiDPI Image, return false"},
               {kPictureTypeVector, "Vector image, return false"},
               {kPictureTypeImmutable, "Vector image, return false"}};
  PictureEditor editor;
  for (const Case& c : cases) {
    Ref kind = env.host.NewPictureOfType(c.type, bitmap);
    EXPECT_FALSE(editor.GetPictureEditor(kind.get(), false, true));
    EXPECT_TRUE(log.Logged(c.message)) << c.type;
    EXPECT_TRUE(editor.GetPictureEditor(kind.get(), true, false)) << c.type;
    editor.clear();
  }
  EXPECT_FALSE(editor.GetPictureEditor(nullptr, true, false));
  EXPECT_TRUE(editor.GetPictureEditor(bitmap.get(), false, true));
  EXPECT_TRUE(log.Logged("Mutable Image, ok"));
  EXPECT_TRUE(editor.lockedWithAlpha);
  EXPECT_EQ(editor.layout, picture_io::PictureLayout::kBGRA);  // cairo's native word
  EXPECT_FALSE(editor.alphaIsPadding);
}

TEST(PictureReader, BestRepresentationFromHost2016) {
  for (double version : {2015.04, 2016.0}) {
    EditorHost env({.version = version});
    LogCapture log;
    Ref bitmap = env.host.NewDesktopPicture(2, 2, false);
    Ref hidpi = env.host.NewPictureOfType(kPictureTypeImage, bitmap);
    PictureReader reader;
    ASSERT_TRUE(reader.GetPictureEditor(hidpi.get()));
    bool best = version >= 2016.0;
    EXPECT_EQ(log.Logged("best representation"), best) << version;
    EXPECT_EQ(log.Logged("Trying clone...."), !best) << version;
    // Either way the pixels read are the representation's.
    EXPECT_EQ(reader.picture == bitmap.get(), best);
    EXPECT_EQ(env.host.PictureRepresentationScale(hidpi), best ? 4.0 : 0.0);
  }
}

// A picture whose kind cannot be read (here: no cairo in the process) is refused, unlocked, and
// not read through a copy either, which would need the same library.
TEST(PictureReader, RefusedBitmapsAreUnlockedAgain) {
  if (!Host::HasPictureLibraries()) GTEST_SKIP() << "needs cairo and gd pictures";
  EditorHost env;
  LogCapture log;
  Ref picture = env.host.NewDesktopPicture(2, 2, false);
  PictureEditor editor;
  {
    ScopedPictureLibrary none(&NoPictureLibrary);
    EXPECT_FALSE(editor.GetPictureEditor(picture.get()));
  }
  EXPECT_TRUE(log.Logged("cairo is not in this process."));
  EXPECT_EQ(env.host.OpenPictureLocks(), 0);
  EXPECT_TRUE(editor.GetPictureEditor(picture.get()));
}

// Alpha pictures need a 2011.04 host and its Picture constructor, and survive failures.
// The failures of the host's constructor and of the instance end in a plain picture or nil: the
// picture bridge's host test.
TEST(PictureHelpers, AlphaPicturesNeedHost2011_04AndTheConstructor) {
  {
    EditorHost env({.version = 2011.03});
    EXPECT_EQ(NewPictureWithAlphaChannel(3, 3), nullptr);
  }
  {
    EditorHost env;
    LogCapture log;
    env.host.HideEntryPoint("REALLoadObjectMethod");  // before first use: entry points are cached
    EXPECT_EQ(NewPictureWithAlphaChannel(3, 2), nullptr);
    EXPECT_TRUE(log.Logged("Failed to get picture constructor."));
  }
  EditorHost env({.version = 2011.04});
  Ref picture = Ref::Adopt(NewPictureWithAlphaChannel(3, 2));
  ASSERT_TRUE(picture);
  EXPECT_TRUE(picture.Get<bool>("HasAlphaChannel"));
}

// Hosts after 2020 are asked through the picture's Mask method, older ones through the entry
// point (hidden here: then nothing reaches the mask); asking to create one never makes one.
TEST(PictureHelpers, MasksAreFetchedNeverCreated) {
  for (auto [version, hidden] : {std::pair{2019.0, false}, {2019.0, true}, {2021.03, true}}) {
    EditorHost env({.version = version});
    if (hidden) env.host.HideEntryPoint("REALGetPictureMask");
    Ref picture = env.host.NewDesktopPicture(2, 2, false);
    EXPECT_EQ(MyREALGetPictureMask(picture.get(), true), nullptr);
    EXPECT_FALSE(env.host.PictureMask(picture));
    Ref mask = env.host.NewDesktopPicture(2, 2, false);
    env.host.SetPictureMask(picture, mask);
    Ref fetched = Ref::Adopt(MyREALGetPictureMask(picture.get(), false));
    EXPECT_EQ(fetched.get(), hidden && version < 2020 ? nullptr : mask.get()) << version << hidden;
  }
}

// --- The direct copy against the host's own DrawPicture ----------------------------------------

struct Rectangle {
  int64_t x, y, w, h, sx, sy, sw, sh;
};

const Rectangle kRectangles[] = {
    {0, 0, 5, 4, 0, 0, -10000, -10000},  // whole picture
    {1, 1, 4, 4, 0, 0, 2, 2},            // enlarged
    {2, 0, 3, 5, 0, 0, 5, 4},            // reduced
    {-1, -2, 4, 4, 1, 1, 3, 3},          // partly left of and above the destination
    {0, 0, 3, 3, 3, 2, 5, 5},            // partly outside the source
    {4, 3, 9, 9, 0, 0, 7, 7},            // mostly outside the destination
};

void ExpectOwnCopyDrawsAsTheHost(Host& host, const Ref& source, const Ref& first,
                                 const Ref& second) {
  for (const Rectangle& r : kRectangles) {
    Ref graphics = first.Get<Ref>("Graphics");
    graphics.Call("DrawPicture", source, double(r.x), double(r.y), double(r.w), double(r.h),
                  double(r.sx), double(r.sy), double(r.sw), double(r.sh));
    OwnCopyPicture(second.get(), source.get(), r.x, r.y, r.w, r.h, r.sx, r.sy, r.sw, r.sh);
    for (int64_t y = 0; y < first.Get<int64_t>("Height"); ++y) {
      for (int64_t x = 0; x < first.Get<int64_t>("Width"); ++x) {
        ASSERT_EQ(host.PictureWord(second, x, y), host.PictureWord(first, x, y))
            << x << "," << y << " of rectangle " << r.x << "," << r.y << "," << r.w << "," << r.h;
      }
    }
  }
}

// Cairo and Direct2D pictures with and without alpha either side, and gd images.
TEST(OwnCopy, MatchesTheHostsDrawing) {
  for (auto store : {xqt::host::DesktopPictures::kCairo, xqt::host::DesktopPictures::kDirect2D}) {
    if (store == xqt::host::DesktopPictures::kCairo && !Host::HasPictureLibraries()) continue;
    EditorHost env({.desktopPictures = store});
    for (bool fromAlpha : {true, false}) {
      for (bool toAlpha : {true, false}) {
        Ref source = env.host.NewDesktopPicture(5, 4, fromAlpha);
        FillPictureRandom(env.host, source, fromAlpha * 10 + toAlpha);
        ExpectOwnCopyDrawsAsTheHost(env.host, source, env.host.NewDesktopPicture(6, 5, toAlpha),
                                    env.host.NewDesktopPicture(6, 5, toAlpha));
      }
    }
  }
  if (!Host::HasPictureLibraries()) return;
  EditorHost env({.appKind = AppKind::Console});
  Ref source = env.host.NewConsolePicture(5, 4);
  FillPictureRandom(env.host, source, 83);
  ExpectOwnCopyDrawsAsTheHost(env.host, source, env.host.NewConsolePicture(6, 5),
                              env.host.NewConsolePicture(6, 5));
}

TEST(OwnCopy, TakesOverWhenTheHostCannotDraw) {
  EditorHost env;
  LogCapture log;
  Ref source = env.host.NewDesktopPicture(2, 2, true);
  env.host.SetPictureARGB(source, 1, 1, 0x80102030);
  Ref dest = env.host.NewDesktopPicture(4, 4, false);
  env.host.HideEntryPoint("pluginPictureGraphicsGetter");
  EXPECT_TRUE(GraphicsDrawPicture(dest.get(), source.get(), 0, 0, 4, 4, 0, 0, 2, 2));
  EXPECT_TRUE(log.Logged("drawpicture failes?"));
  // Cairo's RGB24 has an unused byte, written opaque; Direct2D keeps the alpha as it came.
  bool padded = env.host.options().desktopPictures == xqt::host::DesktopPictures::kCairo;
  EXPECT_EQ(env.host.PictureWord(dest, 3, 3), padded ? 0xFF102030u : 0x80102030u);
  EXPECT_EQ(env.host.PictureDrawnAsSource(source, true), 0);
  // Nothing to lock, or nothing inside both: false.
  Ref vector = env.host.NewPictureOfType(kPictureTypeVector, source);
  EXPECT_FALSE(GraphicsDrawPicture(dest.get(), vector.get(), 0, 0, 4, 4, 0, 0, 2, 2));
  EXPECT_FALSE(OwnCopyPicture(dest.get(), source.get(), 4, 0, 2, 2, 0, 0, 2, 2));
  EXPECT_FALSE(OwnCopyPicture(dest.get(), source.get(), INT64_MIN, INT64_MAX, INT64_MAX, INT64_MAX,
                              INT64_MIN, INT64_MAX, INT64_MAX, 1));
  EXPECT_FALSE(GraphicsDrawPicture(nullptr, source.get(), 0, 0, 1, 1, 0, 0, 1, 1));
}

// --- The readers of each picture kind -----------------------------------------------------

// What CGBitmapContextGet… report of a context, and the functions that report it.
struct StandInContext {
  void* data;
  size_t width, height, bitsPerComponent, bitsPerPixel, bytesPerRow;
  uint32_t alphaInfo;
};

StandInContext& Of(void* context) { return *static_cast<StandInContext*>(context); }
template <class F>
void* Fn(F* f) {
  return reinterpret_cast<void*>(f);
}

void* CoreGraphicsStandIn(const char* name) {
  const std::pair<std::string_view, void*> functions[] = {
      {"CGBitmapContextGetData", Fn(+[](void* c) { return Of(c).data; })},
      {"CGBitmapContextGetWidth", Fn(+[](void* c) { return Of(c).width; })},
      {"CGBitmapContextGetHeight", Fn(+[](void* c) { return Of(c).height; })},
      {"CGBitmapContextGetBitsPerComponent", Fn(+[](void* c) { return Of(c).bitsPerComponent; })},
      {"CGBitmapContextGetBitsPerPixel", Fn(+[](void* c) { return Of(c).bitsPerPixel; })},
      {"CGBitmapContextGetBytesPerRow", Fn(+[](void* c) { return Of(c).bytesPerRow; })},
      {"CGBitmapContextGetAlphaInfo", Fn(+[](void* c) { return Of(c).alphaInfo; })},
      // A byte-order bit beside the alpha info.
      {"CGBitmapContextGetBitmapInfo", Fn(+[](void* c) { return Of(c).alphaInfo | 0x2000; })},
  };
  for (const auto& [known, function] : functions) {
    if (known == name) return function;
  }
  return nullptr;
}

REALpictureDescription Described(uint32_t kind, void* data, int32_t width = 3, int32_t height = 2) {
  REALpictureDescription description{};
  description.pictureType = kind;
  description.pictureData = data;
  description.width = width;
  description.height = height;
  return description;
}

TEST(PictureKinds, CoreGraphicsContextsByAlphaInfo) {
  ScopedPictureLibrary finder(&CoreGraphicsStandIn);
  uint8_t pixels[2 * 16] = {};
  struct Case {
    uint32_t alphaInfo;
    bool readable;
    PictureLayout layout;
    bool padding;
  } cases[] = {
      {kBitmapAlphaNone, false, {}, false},
      {kBitmapAlphaPremultipliedLast, true, PictureLayout::kAlphaLast, false},
      {kBitmapAlphaPremultipliedFirst, true, PictureLayout::kAlphaFirst, false},
      {kBitmapAlphaLast, true, PictureLayout::kAlphaLast, false},
      {kBitmapAlphaFirst, true, PictureLayout::kAlphaFirst, false},
      {kBitmapAlphaNoneSkipLast, true, PictureLayout::kAlphaLast, true},
      {kBitmapAlphaNoneSkipFirst, true, PictureLayout::kAlphaFirst, true},
      {kBitmapAlphaOnly, false, {}, false},
  };
  for (const Case& c : cases) {
    StandInContext context{pixels, 3, 2, 8, 32, 16, c.alphaInfo};
    PictureBitmap bitmap;
    ASSERT_EQ(ReadPictureBitmap(Described(pictureCGBitmapContext, &context), bitmap), c.readable)
        << c.alphaInfo;
    if (!c.readable) continue;
    EXPECT_EQ(bitmap.data, pixels);
    EXPECT_EQ(bitmap.rowBytes, 16u);
    EXPECT_EQ(bitmap.width, 3);
    EXPECT_EQ(bitmap.layout, c.layout) << c.alphaInfo;
    EXPECT_EQ(bitmap.alphaIsPadding, c.padding) << c.alphaInfo;
    EXPECT_EQ(bitmap.alphaInfo, c.alphaInfo);
  }
}

TEST(PictureKinds, CoreGraphicsRefusals) {
  LogCapture log;
  uint8_t pixels[64] = {};
  PictureBitmap bitmap;
  {
    ScopedPictureLibrary finder(&CoreGraphicsStandIn);
    StandInContext sixteenBits{pixels, 3, 2, 5, 16, 16, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &sixteenBits), bitmap));
    EXPECT_TRUE(log.Logged("BitsPerPixel is not 32."));
    StandInContext shortRows{pixels, 3, 2, 8, 32, 11, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &shortRows), bitmap));
    StandInContext noData{nullptr, 3, 2, 8, 32, 16, kBitmapAlphaNoneSkipFirst};
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, &noData), bitmap));
    EXPECT_TRUE(log.Logged("Bitmap has no usable rows."));
    EXPECT_TRUE(log.Logged("kCGImageAlphaNoneSkipFirst"));
  }
  // A console process has no Core Graphics: the context is never touched.
  ScopedPictureLibrary none(&NoPictureLibrary);
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureCGBitmapContext, pixels), bitmap));
  EXPECT_TRUE(log.Logged("Core Graphics is not in this process."));
}

#if __has_include(<cairo.h>)
TEST(PictureKinds, CairoImageSurfaces) {
  LogCapture log;
  struct Case {
    cairo_format_t format;
    bool readable;
    bool padding;
  } cases[] = {{CAIRO_FORMAT_ARGB32, true, false},
               {CAIRO_FORMAT_RGB24, true, true},
               {CAIRO_FORMAT_A8, false, false}};
  for (const Case& c : cases) {
    cairo_surface_t* surface = cairo_image_surface_create(c.format, 5, 3);
    cairo_t* context = cairo_create(surface);
    PictureBitmap bitmap;
    EXPECT_EQ(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap), c.readable);
    if (c.readable) {
      EXPECT_EQ(bitmap.data, cairo_image_surface_get_data(surface));
      EXPECT_EQ(bitmap.rowBytes, static_cast<uint64_t>(cairo_image_surface_get_stride(surface)));
      EXPECT_EQ(bitmap.width, 5);
      EXPECT_EQ(bitmap.height, 3);
      EXPECT_EQ(bitmap.layout, PictureLayout::kBGRA);  // the native word on this machine
      EXPECT_EQ(bitmap.alphaIsPadding, c.padding);
      EXPECT_EQ(bitmap.surface, surface);
    }
    cairo_destroy(context);
    cairo_surface_destroy(surface);
  }
  EXPECT_TRUE(log.Logged("cairo format is not ARGB32 or RGB24."));

  // A context drawing into something other than pixels in memory, and a process without cairo.
  cairo_surface_t* recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
  cairo_t* context = cairo_create(recording);
  PictureBitmap bitmap;
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap));
  EXPECT_TRUE(log.Logged("cairo target is not an image surface."));
  {
    ScopedPictureLibrary none(&NoPictureLibrary);
    EXPECT_FALSE(ReadPictureBitmap(Described(pictureCairoContext, context), bitmap));
    EXPECT_TRUE(log.Logged("cairo is not in this process."));
  }
  cairo_destroy(context);
  cairo_surface_destroy(recording);
}

#else
TEST(PictureKinds, CairoImageSurfaces) { GTEST_SKIP() << "this build has no cairo"; }
#endif

TEST(PictureKinds, Direct2DBytesAndOtherKinds) {
  uint8_t pixels[3 * 2 * 4] = {};
  PictureBitmap bitmap;
  ASSERT_TRUE(ReadPictureBitmap(Described(pictureD2DBytes, pixels), bitmap));
  EXPECT_EQ(bitmap.data, pixels);
  EXPECT_EQ(bitmap.rowBytes, 12u);
  EXPECT_EQ(bitmap.layout, PictureLayout::kBGRA);
  EXPECT_FALSE(bitmap.alphaIsPadding);
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureD2DBytes, pixels, 0, 2), bitmap));
  // Kinds we do not read, and descriptions without data, are refused whatever they claim.
  for (uint32_t kind : {0u, 7u, uint32_t{pictureGDData}, 11u, 13u, 15u}) {
    EXPECT_FALSE(ReadPictureBitmap(Described(kind, pixels), bitmap)) << kind;
  }
  EXPECT_FALSE(ReadPictureBitmap(Described(pictureD2DBytes, nullptr), bitmap));
}

}  // namespace
