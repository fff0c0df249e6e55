#include "picture/graphics_draw.h"

#include <algorithm>
#include <cstring>

#include "picture/picture_editor.h"
#include "picture/picture_pixels.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

using namespace picture_io;

namespace {

constexpr const char* kDrawDoubles =
    "DrawPicture(Image as Picture, x as Double, y as Double, w as Double, h as Double, sx as "
    "Double = 0, sy as Double = 0, sw as Double = -10000, sh as Double = -10000)";
constexpr const char* kDrawIntegers =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as "
    "Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

using DrawDoublesProc = void (*)(REALgraphics, REALpicture, double, double, double, double, double,
                                 double, double, double);
using DrawIntegersProc = void (*)(REALgraphics, REALpicture, int64_t, int64_t, int64_t, int64_t,
                                  int64_t, int64_t, int64_t, int64_t);

constexpr int64_t kWholeSource = -10000;

bool DrawThroughHost(REALpicture destination, REALpicture source, int64_t x, int64_t y, int64_t w,
                     int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh) {
  auto getter = hostapi::pluginPictureGraphicsGetter.get();
  REALgraphics graphics = getter ? getter(destination) : nullptr;
  if (Debugging()) LogMessageX("%s%s %f", kDebugPrefix, "RealbasicVersion", rbversion);
  if (!graphics) return false;
  auto load = hostapi::REALLoadObjectMethod.get();
  bool drawn = false;
  if (rbversion >= 2018.02) {
    auto draw = reinterpret_cast<DrawDoublesProc>(load ? load(graphics, kDrawDoubles) : nullptr);
    if (draw) {
      draw(graphics, source, double(x), double(y), double(w), double(h), double(sx), double(sy),
           double(sw), double(sh));
      drawn = true;
    }
  } else {
    auto draw = reinterpret_cast<DrawIntegersProc>(load ? load(graphics, kDrawIntegers) : nullptr);
    if (draw) {
      draw(graphics, source, x, y, w, h, sx, sy, sw, sh);
      drawn = true;
    }
  }
  if (!drawn) DebugLog("Failed to get DrawPicture function.");
  UnlockObject(graphics);
  return drawn;
}

// Row `row` of a locked bitmap (inside it: callers clip first).
uint8_t* EditorRow(const PictureEditor& editor, int64_t row) {
  if (editor.rowPointers) return reinterpret_cast<uint8_t*>(editor.rowPointers[row]);
  return editor.pixelBase + static_cast<uint64_t>(row) * editor.rowBytes;
}

// Padding layouts keep no alpha in their A byte; a gd image keeps 7 bits, 0 opaque and 127 clear.
bool SkipsAlpha(const PictureEditor& editor) { return editor.alphaIsPadding; }

uint8_t AlphaFromGD(uint8_t field) {
  return static_cast<uint8_t>(((127 - field) * 255 + 63) / 127);
}
uint8_t GDFromAlpha(uint8_t alpha) {
  return static_cast<uint8_t>(((255 - alpha) * 127 + 127) / 255);
}

template <PictureLayout D, PictureLayout S>
void CopyPixel(uint8_t* to, const uint8_t* from, bool sourceSkips, bool destSkips) {
  if (D == S && sourceSkips == destSkips) {
    std::memcpy(to, from, 4);
    return;
  }
  PictureRGBA p = LoadPicturePixel<S>(from);
  uint8_t alpha = S == PictureLayout::kGD ? AlphaFromGD(p.alpha) : sourceSkips ? 255 : p.alpha;
  if (D == PictureLayout::kGD) {
    alpha = GDFromAlpha(alpha);
  } else if (destSkips) {
    alpha = 255;
  }
  StorePicturePixel<D>(to, p.red, p.green, p.blue, alpha);
}

using Wide = __int128;

// Source position of destination step i of n over a source span starting at `origin`: the
// centre of the step, by nearest pixel. Exact in 128 bits for any values the application passes.
Wide SourceStep(Wide origin, int64_t i, int64_t n, int64_t span) {
  return origin + (2 * Wide{i} + 1) * span / (2 * Wide{n});
}

// The steps 0 ... length - 1 from `origin` that land in 0 ... extent - 1, as [first, end).
void VisibleSteps(int64_t origin, int64_t length, int64_t extent, int64_t& first, int64_t& end) {
  Wide low = std::max<Wide>(0, -Wide{origin});
  Wide high = std::min<Wide>(length, Wide{extent} - origin);
  first = static_cast<int64_t>(std::min<Wide>(low, length));
  end = high > low ? static_cast<int64_t>(high) : first;
}

void LogRectangle(const char* label, int64_t a, int64_t b, int64_t c, int64_t d) {
  DebugLogArgs(label, a, b, c, d);
}

}  // namespace

bool OwnCopyPicture(REALpicture destination, REALpicture source, int64_t x, int64_t y, int64_t w,
                    int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh) {
  DebugLog("OwnCopy");
  if (!destination || !source) return false;
  ProbeApplicationKind();
  // The bitmaps themselves, with no copy route: that route draws, which is what failed.
  PictureEditor to, from;
  if (!to.GetPictureEditorInternal(destination, false, true, 2)) return false;
  DebugLogPointer("destpic", destination);
  if (!from.GetPictureEditorInternal(source, true, false, 2)) return false;
  DebugLogPointer("sourcepic", source);
  if (sw == kWholeSource) sw = from.width;
  if (sh == kWholeSource) sh = from.height;
  LogRectangle("dest rectangle", x, y, w, h);
  LogRectangle("source rectangle", sx, sy, sw, sh);
  DebugLog("sx", sx);
  DebugLog("sy", sy);
  DebugLog("sw", sw);
  DebugLog("sh", sh);
  DebugLog("dw", w);
  DebugLog("dh", h);
  if (w < 1 || h < 1 || sw < 1 || sh < 1) return false;

  // Destination steps that land inside the destination; each is then checked against the source.
  int64_t firstRow, endRow, firstColumn, endColumn;
  VisibleSteps(y, h, to.height, firstRow, endRow);
  VisibleSteps(x, w, to.width, firstColumn, endColumn);
  bool sourceSkips = SkipsAlpha(from), destSkips = SkipsAlpha(to);
  bool copied = false;
  WithLayout(LayoutOf(to), [&]<PictureLayout D>() {
    WithLayout(LayoutOf(from), [&]<PictureLayout S>() {
      for (int64_t row = firstRow; row < endRow; ++row) {
        Wide fy = SourceStep(sy, row, h, sh);
        if (fy < 0 || fy >= from.height) continue;
        uint8_t* target = EditorRow(to, y + row);
        const uint8_t* origin = EditorRow(from, static_cast<int64_t>(fy));
        for (int64_t column = firstColumn; column < endColumn; ++column) {
          Wide fx = SourceStep(sx, column, w, sw);
          if (fx < 0 || fx >= from.width) continue;
          CopyPixel<D, S>(target + (x + column) * 4, origin + static_cast<int64_t>(fx) * 4,
                          sourceSkips, destSkips);
          copied = true;
        }
      }
    });
  });
  return copied;
}

bool GraphicsDrawPicture(REALpicture destination, REALpicture source, int64_t x, int64_t y,
                         int64_t w, int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh) {
  if (!destination || !source) {
    DebugLog("picture is nil");
    return false;
  }
  if (DrawThroughHost(destination, source, x, y, w, h, sx, sy, sw, sh)) return true;
  DebugLog("drawpicture failes?");
  return OwnCopyPicture(destination, source, x, y, w, h, sx, sy, sw, sh);
}
