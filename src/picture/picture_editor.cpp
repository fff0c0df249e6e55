#include "picture/picture_editor.h"

#include <cstdint>

#include "picture/graphics_draw.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

bool IsDesktop = false;
bool IsConsole = false;

namespace {

// The start-up whose host was probed; a new resolver (a new host) probes again.
uint64_t gProbedGeneration = 0;

constexpr int64_t kLargestPictureSide = 32767;

constexpr const char* kBestRepresentation =
    "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture";
constexpr const char* kMaskGetter = "Mask(create As Boolean = True) As Picture";
constexpr const char* kMaskSetter = "Mask(assigns newMask As Picture)";
constexpr const char* kAlphaConstructor = "Constructor(width as integer, height as integer)";

using BestRepresentationProc = REALpicture (*)(REALpicture, int64_t, int64_t, double);
using MaskGetterProc = REALpicture (*)(REALpicture, RBBoolean);
using MaskSetterProc = void (*)(REALpicture, REALpicture);
using AlphaConstructorProc = void (*)(REALpicture, int64_t, int64_t);

REALproc LoadMethod(REALobject object, const char* declaration) {
  auto load = hostapi::REALLoadObjectMethod.get();
  return load && object ? load(object, declaration) : nullptr;
}

void UnlockDescription(REALpicture picture) {
  if (auto unlock = hostapi::unlockPictureDescription.get()) unlock(picture);
}

void ClearPictureCache(REALpicture picture) {
  if (auto clearCache = hostapi::REALPictureClearCache.get()) clearCache(picture);
}

void SetInteger(REALobject object, const char* name, int64_t value) {
  if (auto set = hostapi::REALSetPropValueInteger.get()) set(object, name, value);
}

void LogSize(const char* label, int64_t width, int64_t height) {
  if (Debugging()) {
    LogMessageX("%s%s %lld, %lld", kDebugPrefix, label, static_cast<long long>(width),
                static_cast<long long>(height));
  }
}

// "newPicture" with depth 32: an opaque picture, one reference for the caller.
REALpicture NewPicture32(int64_t width, int64_t height) {
  DebugLogArgs("MyREALNewPicture", width, height, 32);
  auto make = hostapi::newPicture.get();
  if (!make || width < 1 || height < 1 || width > kLargestPictureSide ||
      height > kLargestPictureSide) {
    return nullptr;
  }
  return make(width, height, 32);
}

struct ConstructorCall {
  AlphaConstructorProc constructor;
  REALpicture picture;
  int64_t width, height;
};

void RunConstructor(void* context) {
  auto* call = static_cast<ConstructorCall*>(context);
  call->constructor(call->picture, call->width, call->height);
}

}  // namespace

void ProbeApplicationKind() {
  uint64_t generation = ResolverGeneration();
  if (gProbedGeneration == generation) return;
  gProbedGeneration = generation;
  IsDesktop = false;
  IsConsole = false;
  auto lookup = hostapi::pluginObjectType.get();
  if (!lookup) return;
  if (lookup("Application")) {
    IsDesktop = true;
  } else if (lookup("WebApplication") || lookup("ConsoleApplication")) {
    IsConsole = true;
  }
  DebugLog("IsDesktop", IsDesktop ? 1 : 0);
  DebugLog("IsConsole", IsConsole ? 1 : 0);
}

bool PictureInteger(REALobject object, const char* name, int64_t& value) {
  auto get = hostapi::REALGetPropValueInteger.get();
  RBInteger read = 0;
  if (!get || !object || get(object, name, &read) == 0) return false;
  value = read;
  return true;
}

bool PictureBoolean(REALobject object, const char* name, bool& value) {
  auto get = hostapi::REALGetPropValueBool.get();
  RBBoolean read = 0;
  if (!get || !object || get(object, name, &read) == 0) return false;
  value = read != 0;
  return true;
}

PictureEditor::~PictureEditor() { clear(); }

bool PictureEditor::GetPictureEditor(REALpicture source, bool forReading, bool forWriting) {
  clear();
  if (!source) {
    DebugLog("picture is nil");
    return false;
  }
  reading = forReading;
  writing = forWriting;
  warningCount = 0;
  ProbeApplicationKind();

  int64_t type = kPictureTypeMutable;
  if (auto getType = hostapi::PluginPictureGetType.get()) type = getType(source);
  DebugLog("PictureType", type);

  bool bestRepresentation = false;
  switch (type) {
    case kPictureTypeImage:
      if (writing) {
        DebugLog("HiDPI Image, return false");
        return false;
      }
      bestRepresentation = reading;
      break;
    case kPictureTypeVector:
      if (writing) {
        DebugLog("Vector image, return false");
        return false;
      }
      break;
    case kPictureTypeMutable:
      DebugLog("Mutable Image, ok");
      break;
    case kPictureTypeImmutable:
      // Immutable bitmaps cannot be written either; the host reports them with the vector text.
      if (writing) {
        DebugLog("Vector image, return false");
        return false;
      }
      bestRepresentation = reading;
      break;
    default:
      break;
  }

  if (bestRepresentation && rbversion >= 2016.0) {
    auto best = reinterpret_cast<BestRepresentationProc>(LoadMethod(source, kBestRepresentation));
    if (!best) {
      DebugLog("BestRepresentation missing");
    } else {
      int64_t w = 0, h = 0;
      PictureInteger(source, "Width", w);
      PictureInteger(source, "Height", h);
      DebugLog("best representation");
      REALpicture chosen = best(source, w, h, 4.0);
      if (chosen) {
        bool locked = GetPictureEditorInternal(chosen, reading, false, 1);
        UnlockObject(chosen);
        return locked;
      }
    }
  }
  return GetPictureEditorInternal(source, reading, writing, 1);
}

bool PictureEditor::GetPictureEditorInternal(REALpicture source, bool forReading, bool forWriting,
                                             int attempt) {
  reading = forReading;
  writing = forWriting;
  bool alpha = false;
  if (PictureBoolean(source, "HasAlphaChannel", alpha)) {
    DebugLog("PictureHasAlphaChannel", alpha ? 1 : 0);
  } else {
    DebugLog("HasAlphaChannel property not found.");
    alpha = false;
  }
  hasAlphaChannel = alpha;

  // A desktop picture in the system's own kind, or else in whatever kind the picture holds.
  if (!IsConsole && (GetPictureEditorOfKind(source, DesktopPictureKind(), hasAlphaChannel) ||
                     GetPictureEditorOwnKind(source, hasAlphaChannel))) {
    IsDesktop = true;
    return true;
  }
  if (!IsDesktop && GetPictureEditorOfKind(source, pictureGDImagePtr, false)) {
    IsConsole = true;
    return true;
  }
  if (!IsConsole && attempt == 1 && reading && !writing) {
    DebugLog("Trying clone....");
    if (ReadThroughCopy(source)) return true;
  }
  DebugLog("GetPictureEditor failed");
  return false;
}

// A picture that cannot be locked (HiDPI, vector, immutable) is drawn into a plain one, which is
// read instead. A mask is taken off for the drawing, so that the copy holds the colours as they
// are and not blended with the mask, and put back afterwards.
bool PictureEditor::ReadThroughCopy(REALpicture source) {
  DebugLog("DuplicatePictureWithoutMaskOrAlpha");
  int64_t w = 0, h = 0;
  if (!PictureInteger(source, "Width", w) || !PictureInteger(source, "Height", h) || w < 1 ||
      h < 1) {
    DebugLog("Picture has no size.");
    return false;
  }
  REALpicture copy = nullptr;
  if (hasAlphaChannel) {
    copy = NewPictureWithAlphaChannel(w, h);
    if (copy) GraphicsDrawPicture(copy, source, 0, 0, w, h, 0, 0, w, h);
  } else {
    REALpicture mask = MyREALGetPictureMask(source, false);
    if (mask) SetPictureMask(source, nullptr);
    copy = NewPicture32(w, h);
    DebugLogPointer("pic", copy);
    if (copy) GraphicsDrawPicture(copy, source, 0, 0, w, h, 0, 0, w, h);
    if (mask) {
      SetPictureMask(source, mask);
      UnlockObject(mask);
    }
  }
  if (!copy) return false;

  int64_t vertical = 0, horizontal = 0;
  if (PictureInteger(source, "VerticalResolution", vertical) &&
      PictureInteger(source, "HorizontalResolution", horizontal) && vertical >= 1 &&
      horizontal >= 1) {
    LogSize("set resoluton to", horizontal, vertical);
    SetInteger(copy, "VerticalResolution", vertical);
    SetInteger(copy, "HorizontalResolution", horizontal);
  }
  bool locked = GetPictureEditorInternal(copy, true, false, 2);
  UnlockObject(copy);
  return locked;
}

bool PictureEditor::GetPictureEditorOfKind(REALpicture source, uint32_t kind, bool withAlpha) {
  auto lock = hostapi::REALLockPictureDescription.get();
  REALpictureDescription locked{};
  if (!lock || lock(source, &locked, kind) == 0) {
    DebugLog("REALLockPictureDescription failed for kind", static_cast<long long>(kind));
    return false;
  }
  DebugLog("REALLockPictureDescription ok for kind", static_cast<long long>(kind));
  PictureBitmap read;
  if (locked.pictureType != kind || !ReadPictureBitmap(locked, read)) {
    DebugLog("picture refused, kind", static_cast<long long>(locked.pictureType));
    UnlockDescription(source);
    return false;
  }
  TakeBitmap(source, read, withAlpha);
  return true;
}

bool PictureEditor::GetPictureEditorOwnKind(REALpicture source, bool withAlpha) {
  auto lock = hostapi::lockPictureDescription.get();
  if (!lock) return false;
  REALpictureDescription locked{};
  lock(source, &locked);
  // The lock reports nothing; a description without data is a picture it could not lock.
  if (!locked.pictureData) {
    DebugLog("lockPictureDescription failed.");
    return false;
  }
  DebugLog("lockPictureDescription gave kind", static_cast<long long>(locked.pictureType));
  PictureBitmap read;
  if (!ReadPictureBitmap(locked, read)) {
    DebugLog("picture refused, kind", static_cast<long long>(locked.pictureType));
    UnlockDescription(source);
    return false;
  }
  TakeBitmap(source, read, withAlpha);
  return true;
}

void PictureEditor::TakeBitmap(REALpicture source, const PictureBitmap& read, bool withAlpha) {
  DebugLog("setPicture");
  SetPicture(source);
  bitmap = read;
  rowBytes = read.rowBytes;
  bytesPerPixel = 4;
  width = read.width;
  height = read.height;
  pixelBase = currentRow = read.data;
  rowPointers = read.rows;
  x = y = 0;
  layout = read.layout;
  alphaIsPadding = read.alphaIsPadding;
  lockedWithAlpha = withAlpha && read.kind != pictureGDImagePtr;
  ReadResolutions();
}

void PictureEditor::SetPicture(REALpicture locked) {
  StoreObject(&picture, locked);
  needPictureUnlock = true;
}

void PictureEditor::ReadResolutions() {
  if (!PictureInteger(picture, "VerticalResolution", verticalResolution)) verticalResolution = 0;
  if (!PictureInteger(picture, "HorizontalResolution", horizontalResolution)) {
    horizontalResolution = 0;
  }
}

bool PictureEditor::Warn() {
  bool loggable = warningCount < 9;
  ++warningCount;
  return loggable;
}

void PictureEditor::AddPixelRow() {
  int64_t previous = y;
  ++y;
  x = 0;
  if (previous < -1 && Warn()) DebugLog("y is too small", static_cast<long long>(y));
  if (!pixelBase) DebugLog("Warning: Pixelbase is nil!");
  if (y >= height && Warn() && Debugging()) {
    LogMessageX("y too big: %d of %d in %s", static_cast<int>(y), static_cast<int>(height),
                "GetRow");
  }
  // Outside the bitmap (and for a row the gd table lacks) row 0 serves, never memory beyond.
  if (y >= height || y < 0) {
    currentRow = pixelBase;
  } else if (rowPointers) {
    int* row = rowPointers[y];
    if (!row && Warn()) DebugLog("r is nil!");
    currentRow = row ? reinterpret_cast<uint8_t*>(row) : pixelBase;
  } else {
    currentRow = pixelBase ? pixelBase + static_cast<uint64_t>(y) * rowBytes : nullptr;
  }
}

REALpicture PictureEditor::RenderPictureWriter() {
  DebugLog("RenderPictureWriter");
  REALpicture result = nullptr;
  if (picture) {
    LockObject(picture);
    ClearPictureCache(picture);
    result = picture;
  } else if (buildBuffer) {
    auto build = hostapi::REALBuildPictureFromBuffer.get();
    if (build && width >= 1 && height >= 1 && width <= kLargestPictureSide &&
        height <= kLargestPictureSide) {
      uint32_t pixelType = bytesPerPixel == 3 ? kREALPixelRGB : kREALPixelXRGB;
      result = build(static_cast<uint32_t>(width), static_cast<uint32_t>(height), pixelType,
                     buildBuffer, static_cast<uint32_t>(rowBytes));
    }
  }
  DebugLogPointer("RenderPictureWriter done", result);
  if (verticalResolution > 0 && horizontalResolution > 0 && result) {
    SetInteger(result, "VerticalResolution", verticalResolution);
    SetInteger(result, "HorizontalResolution", horizontalResolution);
  }
  clear();
  return result;
}

void PictureEditor::clear() {
  DebugLog("clear");
  DebugLog("NeedPictureUnlock", needPictureUnlock ? 1 : 0);
  DebugLog("reading", reading ? 1 : 0);
  DebugLog("writing", writing ? 1 : 0);
  warningCount = 0;
  // Written bytes are announced to the graphics library before the description is let go.
  if (needPictureUnlock && picture && writing) FinishWrittenBitmap(bitmap);
  if (needPictureUnlock && picture) UnlockDescription(picture);
  needPictureUnlock = false;
  bitmap = PictureBitmap{};
  if (writing && picture) ClearPictureCache(picture);
  StoreObject(&picture, nullptr);
  // An idle editor addresses nothing.
  pixelBase = currentRow = nullptr;
  rowPointers = nullptr;
  buildBuffer = nullptr;
  width = height = 0;
  rowBytes = 0;
  x = y = 0;
  reading = writing = false;
  DebugLog("ClosePictureReader done");
}

bool PictureWriter::NewPictureWriter(int64_t w, int64_t h) {
  clear();
  LogSize("NewPictureWriter with size", w, h);
  if (w > kLargestPictureSide) {
    DebugLog("width > 32767");
    return false;
  }
  if (h > kLargestPictureSide) {
    DebugLog("height > 32767");
    return false;
  }
  if (w < 1 || h < 1) {
    DebugLog("size < 1");
    return false;
  }
  REALpicture made = NewPicture32(w, h);
  DebugLogPointer("pic", made);
  if (!made) return false;
  bool result = GetPictureEditor(made, false, true);
  UnlockObject(made);
  DebugLog("result", result ? 1 : 0);
  return result;
}

bool PictureWriter::NewPictureWriter(int64_t w, int64_t h, bool alpha) {
  clear();
  LogSize("NewPictureWriter with size and alpha", w, h);
  DebugLog("AlphaChannel", alpha ? 1 : 0);
  if (alpha && w >= 1 && h >= 1 && w <= kLargestPictureSide && h <= kLargestPictureSide) {
    DebugLog("NewPictureWriterWithAlphaChannel");
    REALpicture made = NewPictureWithAlphaChannel(w, h);
    if (made) {
      bool locked = GetPictureEditor(made, false, true);
      UnlockObject(made);
      if (locked) return true;
    }
  }
  DebugLog("no alpha channel requested, so make a normal picture...");
  return NewPictureWriter(w, h);
}

REALpicture NewPictureWithAlphaChannel(int64_t width, int64_t height) {
  LogSize("NewPictureWithAlphaChannel", width, height);
  DebugLog("TARGET_COCOA true");
  DebugLog("SupportsAlphaChannel true");
  if (rbversion < 2011.04) return nullptr;
  auto newInstance = hostapi::PluginNewInstance.get();
  REALpicture made = newInstance ? newInstance("Picture") : nullptr;
  if (!made) {
    DebugLog("Failed to allocate picture.");
    return nullptr;
  }
  auto constructor = reinterpret_cast<AlphaConstructorProc>(LoadMethod(made, kAlphaConstructor));
  if (!constructor) {
    DebugLog("Failed to get picture constructor.");
    UnlockObject(made);
    return nullptr;
  }
  // A host that cannot make the bitmap raises; that is a failure here, not the caller's exception.
  ConstructorCall call{constructor, made, width, height};
  bool raised = false;
  if (auto guarded = hostapi::PluginCallFunctionWithExceptionHandler.get()) {
    REALobject exception = guarded(&RunConstructor, &call);
    raised = exception != nullptr;
    UnlockObject(exception);
  } else {
    RunConstructor(&call);
  }
  int64_t madeWidth = 0;
  if (raised || !PictureInteger(made, "Width", madeWidth) || madeWidth < 1) {
    DebugLog("Failed to allocate picture.");
    UnlockObject(made);
    return nullptr;
  }
  return made;
}

REALpicture MyREALGetPictureMask(REALpicture picture, bool /*create*/) {
  DebugLog("MyREALGetPictureMask");
  if (!picture) return nullptr;
  if (rbversion > 2020.0) {
    if (auto mask = reinterpret_cast<MaskGetterProc>(LoadMethod(picture, kMaskGetter))) {
      return mask(picture, 0);
    }
    DebugLog("No Mask function!?");
  }
  auto get = hostapi::REALGetPictureMask.get();
  return get ? get(picture, 0) : nullptr;
}

bool SetPictureMask(REALpicture picture, REALpicture mask) {
  auto assign = reinterpret_cast<MaskSetterProc>(LoadMethod(picture, kMaskSetter));
  if (!assign) {
    DebugLog("No Mask setter!?");
    return false;
  }
  assign(picture, mask);
  return true;
}
