// Host pictures: desktop pictures over real cairo image surfaces (or Direct2D's plain
// premultiplied bytes), console pictures over real gd images, masks, picture kinds, graphics that
// draw one picture into another, and the entry points through which a plug-in locks picture
// descriptions.

#include <algorithm>
#include <cstring>
#include <string>

#include "host/host_internal.h"
#include "host/picture_stores.h"

namespace xqt::host {

enum class PictureStore : uint8_t { kCairo, kDirect2D, kGD };

struct PictureData {
  int64_t type = kPictureTypeMutable;
  PictureStore store = PictureStore::kCairo;
  int64_t width = 0;
  int64_t height = 0;
  std::unique_ptr<PixelStore> pixels;
  bool hasAlphaChannel = false;
  int64_t verticalResolution = 72;
  int64_t horizontalResolution = 72;
  REALobject mask = nullptr;            // locked
  REALobject representation = nullptr;  // locked: what BestRepresentation gives
  int64_t locks = 0;
  int64_t cacheClears = 0;
  // Times this picture was drawn as the source of Graphics.DrawPicture, by signature.
  int64_t drawnWithDoubles = 0;
  int64_t drawnWithIntegers = 0;
  double lastRepresentationScale = 0;  // the scale BestRepresentation was last asked for

  ~PictureData() {
    Host::Impl* impl = CurrentImpl();
    if (impl != nullptr && !impl->tearingDown) {
      impl->Unlock(mask);
      impl->Unlock(representation);
    }
  }
};

namespace {

Host::Impl* Enter(const char* entry) {
  Host::Impl* impl = CurrentImpl();
  if (impl != nullptr) impl->CheckThread(entry);
  return impl;
}

PictureData* PictureOf(REALobject picture, const char* entry) {
  Host::Impl* impl = Enter(entry);
  Payload* p = impl && picture ? impl->PayloadOf(picture, PayloadKind::Picture, entry) : nullptr;
  return p ? p->picture.get() : nullptr;
}

uint32_t ReadARGB(PictureData& p, int64_t x, int64_t y) { return p.pixels->ReadARGB(x, y); }
void WriteARGB(PictureData& p, int64_t x, int64_t y, uint32_t argb) {
  p.pixels->WriteARGB(x, y, argb);
}

// A new picture object (one reference for the caller), opaque white.
REALobject MakePicture(Host::Impl& impl, int64_t width, int64_t height, PictureStore store,
                       bool hasAlphaChannel, bool trueColor = true) {
  if (width < 1 || height < 1 || width > 32767 || height > 32767) return nullptr;
  REALobject object = impl.NewInstance(impl.Find("Picture"));
  if (object == nullptr) return nullptr;
  auto data = std::make_shared<PictureData>();
  data->store = store;
  data->width = width;
  data->height = height;
  data->hasAlphaChannel = hasAlphaChannel;
  switch (store) {
    case PictureStore::kCairo:
      data->pixels = MakeCairoStore(width, height, hasAlphaChannel);
      break;
    case PictureStore::kDirect2D:
      data->pixels = MakeDirect2DStore(width, height);
      break;
    case PictureStore::kGD:
      data->pixels = MakeGdStore(width, height, hasAlphaChannel, trueColor);
      break;
  }
  if (!data->pixels) {
    impl.Unlock(object);
    return nullptr;
  }
  AsObject(object)->payload->picture = std::move(data);
  return object;
}

PictureStore DesktopStore(const Host::Impl& impl) {
  if (impl.options.appKind != AppKind::Desktop) return PictureStore::kGD;
  return impl.options.desktopPictures == DesktopPictures::kDirect2D ? PictureStore::kDirect2D
                                                                    : PictureStore::kCairo;
}

// Pictures the plug-in asks for are subject to fault injection; the test's own are not.
bool PictureFailureInjected(Host::Impl& impl) {
  if (impl.failPictures <= 0) return false;
  --impl.failPictures;
  return true;
}

REALobject NewPlainPicture(Host::Impl& impl, int64_t width, int64_t height) {
  return MakePicture(impl, width, height, DesktopStore(impl), false);
}

// --- Picture members ---------------------------------------------------------------------------

int64_t WidthGet(REALobject picture, int64_t) {
  PictureData* p = PictureOf(picture, "Picture.Width");
  return p ? p->width : 0;
}
int64_t HeightGet(REALobject picture, int64_t) {
  PictureData* p = PictureOf(picture, "Picture.Height");
  return p ? p->height : 0;
}
RBBoolean HasAlphaGet(REALobject picture, int64_t) {
  PictureData* p = PictureOf(picture, "Picture.HasAlphaChannel");
  return p && p->hasAlphaChannel ? 1 : 0;
}
int64_t VerticalGet(REALobject picture, int64_t) {
  PictureData* p = PictureOf(picture, "Picture.VerticalResolution");
  return p ? p->verticalResolution : 0;
}
void VerticalSet(REALobject picture, int64_t, int64_t value) {
  if (PictureData* p = PictureOf(picture, "Picture.VerticalResolution")) {
    p->verticalResolution = value;
  }
}
int64_t HorizontalGet(REALobject picture, int64_t) {
  PictureData* p = PictureOf(picture, "Picture.HorizontalResolution");
  return p ? p->horizontalResolution : 0;
}
void HorizontalSet(REALobject picture, int64_t, int64_t value) {
  if (PictureData* p = PictureOf(picture, "Picture.HorizontalResolution")) {
    p->horizontalResolution = value;
  }
}

REALobject GraphicsGet(REALobject picture, int64_t) {
  Host::Impl* impl = Enter("Picture.Graphics");
  if (PictureOf(picture, "Picture.Graphics") == nullptr) return nullptr;
  REALobject graphics = impl->NewInstance(impl->Find("Graphics"));
  if (graphics == nullptr) return nullptr;
  impl->Lock(picture);
  AsObject(graphics)->payload->objects.push_back(picture);
  return graphics;
}

// "Constructor(width as integer, height as integer)": a picture with alpha channel.
void AlphaConstructor(REALobject picture, int64_t width, int64_t height) {
  Host::Impl* impl = Enter("Picture.Constructor");
  Payload* payload = impl ? impl->PayloadOf(picture, PayloadKind::Picture, "Picture") : nullptr;
  if (payload == nullptr) return;
  if (PictureFailureInjected(*impl)) {
    impl->RaiseNew("OutOfMemoryException", "Not enough memory for a picture");
    return;
  }
  REALobject made = MakePicture(*impl, width, height, DesktopStore(*impl), true);
  if (made == nullptr) {
    impl->RaiseNew("OutOfBoundsException", "invalid picture size");
    return;
  }
  payload->picture = AsObject(made)->payload->picture;
  AsObject(made)->payload->picture.reset();
  impl->Unlock(made);
}

REALobject MaskOf(REALobject picture, bool create, const char* entry) {
  Host::Impl* impl = Enter(entry);
  PictureData* p = PictureOf(picture, entry);
  if (p == nullptr) return nullptr;
  if (p->mask == nullptr && create) {
    p->mask = MakePicture(*impl, p->width, p->height, p->store, false);
  }
  impl->Lock(p->mask);
  return p->mask;
}

REALobject MaskMethod(REALobject picture, RBBoolean create) {
  return MaskOf(picture, create != 0, "Picture.Mask");
}

void MaskAssign(REALobject picture, REALobject mask) {
  Host::Impl* impl = Enter("Picture.Mask=");
  PictureData* p = PictureOf(picture, "Picture.Mask=");
  if (p == nullptr) return;
  if (mask != nullptr && PictureOf(mask, "Picture.Mask=") == nullptr) return;
  impl->Lock(mask);
  impl->Unlock(p->mask);
  p->mask = mask;
}

REALobject BestRepresentation(REALobject picture, int64_t, int64_t, double scale) {
  Host::Impl* impl = Enter("Picture.BestRepresentation");
  PictureData* p = PictureOf(picture, "Picture.BestRepresentation");
  if (p == nullptr) return nullptr;
  p->lastRepresentationScale = scale;
  REALobject best = p->representation ? p->representation : picture;
  impl->Lock(best);
  return best;
}

// --- Drawing -------------------------------------------------------------------------------------

// The picture whose pixels stand for `picture` (a HiDPI picture draws its representation).
PictureData* Drawable(REALobject picture, const char* entry) {
  PictureData* p = PictureOf(picture, entry);
  while (p != nullptr && p->representation != nullptr) p = PictureOf(p->representation, entry);
  return p;
}

// Nearest-pixel copy of the source rectangle onto the destination rectangle, cut to both.
void Draw(REALobject graphics, REALobject image, double x, double y, double w, double h, double sx,
          double sy, double sw, double sh) {
  Host::Impl* impl = Enter("Graphics.DrawPicture");
  Payload* g = impl ? impl->PayloadOf(graphics, PayloadKind::Graphics, "DrawPicture") : nullptr;
  if (g == nullptr || g->objects.empty() || image == nullptr) return;
  PictureData* dest = Drawable(g->objects.front(), "DrawPicture");
  PictureData* source = Drawable(image, "DrawPicture");
  if (dest == nullptr || source == nullptr) return;
  if (sw == -10000) sw = double(source->width);
  if (sh == -10000) sh = double(source->height);
  if (w <= 0 || h <= 0 || sw <= 0 || sh <= 0) return;
  auto x0 = static_cast<int64_t>(x), y0 = static_cast<int64_t>(y);
  auto dw = static_cast<int64_t>(w), dh = static_cast<int64_t>(h);
  for (int64_t row = 0; row < dh; ++row) {
    int64_t ty = y0 + row;
    auto fy = static_cast<int64_t>(sy + (double(row) + 0.5) * sh / double(dh));
    if (ty < 0 || ty >= dest->height || fy < 0 || fy >= source->height) continue;
    for (int64_t col = 0; col < dw; ++col) {
      int64_t tx = x0 + col;
      auto fx = static_cast<int64_t>(sx + (double(col) + 0.5) * sw / double(dw));
      if (tx < 0 || tx >= dest->width || fx < 0 || fx >= source->width) continue;
      WriteARGB(*dest, tx, ty, ReadARGB(*source, fx, fy));
    }
  }
}

void DrawDouble(REALobject graphics, REALobject image, double x, double y, double w, double h,
                double sx, double sy, double sw, double sh) {
  if (PictureData* p = PictureOf(image, "DrawPicture")) ++p->drawnWithDoubles;
  Draw(graphics, image, x, y, w, h, sx, sy, sw, sh);
}

void DrawInteger(REALobject graphics, REALobject image, int64_t x, int64_t y, int64_t w, int64_t h,
                 int64_t sx, int64_t sy, int64_t sw, int64_t sh) {
  if (PictureData* p = PictureOf(image, "DrawPicture")) ++p->drawnWithIntegers;
  Draw(graphics, image, double(x), double(y), double(w), double(h), double(sx), double(sy),
       double(sw), double(sh));
}

REALproperty gPictureProperties[] = {
    HostProperty("Width", "Integer", &WidthGet),
    HostProperty("Height", "Integer", &HeightGet),
    HostProperty("HasAlphaChannel", "Boolean", &HasAlphaGet),
    HostProperty("VerticalResolution", "Integer", &VerticalGet, &VerticalSet),
    HostProperty("HorizontalResolution", "Integer", &HorizontalGet, &HorizontalSet),
    HostProperty("Graphics", "Graphics", &GraphicsGet),
};
REALmethodDefinition gPictureMethods[] = {
    HostMethod(&AlphaConstructor, "Constructor(width as integer, height as integer)"),
    HostMethod(&MaskMethod, "Mask(create As Boolean = True) As Picture"),
    HostMethod(&MaskAssign, "Mask(assigns newMask As Picture)"),
    HostMethod(
        &BestRepresentation,
        "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture"),
};
REALmethodDefinition gGraphicsMethods[] = {
    HostMethod(&DrawDouble,
               "DrawPicture(Image as Picture, x as Double, y as Double, w as Double, h as Double, "
               "sx as Double = 0, sy as Double = 0, sw as Double = -10000, sh as Double = -10000)"),
    HostMethod(&DrawInteger,
               "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as "
               "Integer, sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as "
               "Integer = -10000)"),
};

REALclassDefinition gPictureClasses[] = {
    HostClass("Picture", nullptr, gPictureProperties, 6, gPictureMethods, 4),
    HostClass("Graphics", nullptr, nullptr, 0, gGraphicsMethods, 2),
};

// --- Entry points --------------------------------------------------------------------------------

// Fills the whole 32-byte description; a kind the picture does not hold leaves it empty.
uint32_t OwnKind(const PictureData& p) { return p.pixels->Kind(); }

bool Describe(PictureData& p, REALpictureDescription* description, uint32_t type) {
  if (description == nullptr) return false;
  *description = REALpictureDescription{};
  if (type != OwnKind(p)) return false;
  void* data = p.pixels->DescriptionData();
  if (data == nullptr) return false;
  description->pictureType = type;
  description->pictureData = data;
  description->width = static_cast<int32_t>(p.width);
  description->height = static_cast<int32_t>(p.height);
  description->depth = 32;
  description->transparent = p.hasAlphaChannel ? 1 : 0;
  ++p.locks;
  return true;
}

// Only plain bitmaps can be locked; HiDPI, vector and immutable pictures cannot.
RBBoolean LockDescription(REALpicture picture, REALpictureDescription* description, uint32_t type) {
  PictureData* p = PictureOf(picture, "REALLockPictureDescription");
  return p && p->type == kPictureTypeMutable && Describe(*p, description, type) ? 1 : 0;
}

// Reports nothing: a picture it cannot lock leaves the description without data.
void LockNative(REALpicture picture, REALpictureDescription* description) {
  if (description != nullptr) *description = REALpictureDescription{};
  PictureData* p = PictureOf(picture, "lockPictureDescription");
  if (p == nullptr || p->type != kPictureTypeMutable) return;
  Describe(*p, description, OwnKind(*p));
}

void UnlockDescription(REALpicture picture) {
  Host::Impl* impl = Enter("unlockPictureDescription");
  PictureData* p = PictureOf(picture, "unlockPictureDescription");
  if (p == nullptr) return;
  if (p->locks == 0) {
    impl->Complain("unlockPictureDescription: the picture is not locked");
    return;
  }
  --p->locks;
}

void ClearCache(REALpicture picture) {
  if (PictureData* p = PictureOf(picture, "REALPictureClearCache")) ++p->cacheClears;
}

int64_t GetType(REALpicture picture) {
  PictureData* p = PictureOf(picture, "PluginPictureGetType");
  return p ? p->type : -1;
}

REALpicture GetMask(REALpicture picture, RBBoolean create) {
  return MaskOf(picture, create != 0, "REALGetPictureMask");
}

REALpicture NewPicture(int64_t width, int64_t height, int64_t depth) {
  Host::Impl* impl = Enter("newPicture");
  if (impl == nullptr || depth != 32 || PictureFailureInjected(*impl)) return nullptr;
  return NewPlainPicture(*impl, width, height);
}

// Pixel types 1 to 4: three or four bytes a pixel, none of them alpha.
REALpicture BuildFromBuffer(uint32_t width, uint32_t height, uint32_t pixelType, const void* pixels,
                            uint32_t rowBytes) {
  Host::Impl* impl = Enter("REALBuildPictureFromBuffer");
  if (impl == nullptr || pixels == nullptr || pixelType < kREALPixelRGB ||
      pixelType > kREALPixelBGRX) {
    return nullptr;
  }
  uint32_t pixelSize = pixelType <= kREALPixelBGR ? 3 : 4;
  if (uint64_t{rowBytes} < uint64_t{width} * pixelSize) return nullptr;
  if (PictureFailureInjected(*impl)) return nullptr;
  REALobject picture = NewPlainPicture(*impl, width, height);
  if (picture == nullptr) return nullptr;
  PictureData* p = AsObject(picture)->payload->picture.get();
  // Where red, green and blue sit in a pixel of each type.
  static constexpr int kOffsets[4][3] = {{0, 1, 2}, {2, 1, 0}, {1, 2, 3}, {2, 1, 0}};
  const int* at = kOffsets[pixelType - 1];
  for (int64_t y = 0; y < int64_t{height}; ++y) {
    const auto* row = static_cast<const uint8_t*>(pixels) + y * int64_t{rowBytes};
    for (int64_t x = 0; x < int64_t{width}; ++x) {
      const uint8_t* px = row + x * pixelSize;
      WriteARGB(*p, x, y, 0xFF000000u | (px[at[0]] << 16) | (px[at[1]] << 8) | px[at[2]]);
    }
  }
  return picture;
}

REALgraphics GraphicsGetter(REALpicture picture) { return GraphicsGet(picture, 0); }

// The application classes exist only in their kind of application; a reference to one names no
// class that objects are made of.
REALclassRef ObjectType(const char* className) {
  Host::Impl* impl = Enter("pluginObjectType");
  if (impl == nullptr || className == nullptr) return nullptr;
  std::string_view name = className;
  AppKind kind = impl->options.appKind;
  auto application = [impl](bool present) {
    return present ? reinterpret_cast<REALclassRef>(impl) : nullptr;
  };
  if (SameName(name, "Application")) return application(kind == AppKind::Desktop);
  if (SameName(name, "ConsoleApplication")) return application(kind == AppKind::Console);
  if (SameName(name, "WebApplication")) return application(kind == AppKind::Web);
  return reinterpret_cast<REALclassRef>(impl->Find(name));
}

template <class Proc, class F>
void* Entry(F* function) {
  Proc typed = function;
  return reinterpret_cast<void*>(typed);
}

}  // namespace

// Hosts from 2018.02 draw with Double coordinates, older ones with Integer coordinates.
bool OfferedOnVersion(const REALmethodDefinition& method, double version) {
  constexpr double kDoubleCoordinates = 2018.02;
  if (&method == &gGraphicsMethods[0]) return version >= kDoubleCoordinates;
  if (&method == &gGraphicsMethods[1]) return version < kDoubleCoordinates;
  return true;
}

void RegisterPictureClasses(Host::Impl& impl) {
  for (REALclassDefinition& def : gPictureClasses) impl.Register(&def, Origin::Builtin);
  impl.Find("Picture")->payload = PayloadKind::Picture;
  impl.Find("Graphics")->payload = PayloadKind::Graphics;
}

void* PictureEntryPoint(std::string_view name) {
  static const std::pair<std::string_view, void*> kEntries[] = {
      {"REALLockPictureDescription", Entry<REALLockPictureDescriptionProc>(&LockDescription)},
      {"lockPictureDescription", Entry<lockPictureDescriptionProc>(&LockNative)},
      {"unlockPictureDescription", Entry<unlockPictureDescriptionProc>(&UnlockDescription)},
      {"REALPictureClearCache", Entry<REALPictureClearCacheProc>(&ClearCache)},
      {"PluginPictureGetType", Entry<PluginPictureGetTypeProc>(&GetType)},
      {"REALGetPictureMask", Entry<REALGetPictureMaskProc>(&GetMask)},
      {"newPicture", Entry<newPictureProc>(&NewPicture)},
      {"REALBuildPictureFromBuffer", Entry<REALBuildPictureFromBufferProc>(&BuildFromBuffer)},
      {"pluginPictureGraphicsGetter", Entry<pluginPictureGraphicsGetterProc>(&GraphicsGetter)},
      {"pluginObjectType", Entry<pluginObjectTypeProc>(&ObjectType)},
  };
  for (const auto& [entryName, function] : kEntries) {
    if (entryName == name) return function;
  }
  return nullptr;
}

// --- The application's side ----------------------------------------------------------------------

namespace {

PictureData& Checked(const Ref& picture, const char* what) {
  Host::Impl* impl = CurrentImpl();
  Payload* p = impl ? impl->PayloadOf(picture.get(), PayloadKind::Picture, what) : nullptr;
  if (p == nullptr || !p->picture) throw std::invalid_argument(std::string(what) + ": no picture");
  return *p->picture;
}

PictureData& CheckedPixel(const Ref& picture, int64_t x, int64_t y, const char* what) {
  PictureData& p = Checked(picture, what);
  if (x < 0 || y < 0 || x >= p.width || y >= p.height) {
    throw std::out_of_range(std::string(what) + ": pixel outside the picture");
  }
  return p;
}

}  // namespace

bool Host::HasPictureLibraries() { return xqt::host::HasPictureLibraries(); }

Ref Host::NewDesktopPicture(int64_t width, int64_t height, bool hasAlphaChannel) {
  PictureStore store = impl_->options.desktopPictures == DesktopPictures::kDirect2D
                           ? PictureStore::kDirect2D
                           : PictureStore::kCairo;
  REALobject p = MakePicture(*impl_, width, height, store, hasAlphaChannel);
  if (p == nullptr) throw std::invalid_argument("NewDesktopPicture: bad size");
  return Ref::Adopt(p);
}

Ref Host::NewConsolePicture(int64_t width, int64_t height, bool trueColor) {
  REALobject p = MakePicture(*impl_, width, height, PictureStore::kGD, false, trueColor);
  if (p == nullptr) throw std::invalid_argument("NewConsolePicture: bad size");
  return Ref::Adopt(p);
}

Ref Host::NewPictureOfType(int32_t type, const Ref& representation) {
  PictureData& shown = Checked(representation, "NewPictureOfType");
  REALobject p = MakePicture(*impl_, shown.width, shown.height, shown.store, shown.hasAlphaChannel);
  if (p == nullptr) throw std::invalid_argument("NewPictureOfType: bad size");
  PictureData& data = *AsObject(p)->payload->picture;
  data.type = type;
  impl_->Lock(representation.get());
  data.representation = representation.get();
  return Ref::Adopt(p);
}

uint32_t Host::PictureARGB(const Ref& picture, int64_t x, int64_t y) const {
  return ReadARGB(CheckedPixel(picture, x, y, "PictureARGB"), x, y);
}

void Host::SetPictureARGB(const Ref& picture, int64_t x, int64_t y, uint32_t argb) {
  WriteARGB(CheckedPixel(picture, x, y, "SetPictureARGB"), x, y, argb);
}

uint32_t Host::PictureWord(const Ref& picture, int64_t x, int64_t y) const {
  return CheckedPixel(picture, x, y, "PictureWord").pixels->Word(x, y);
}

Ref Host::PictureMask(const Ref& picture) const {
  PictureData& p = Checked(picture, "PictureMask");
  return Ref::Retain(p.mask);
}

void Host::SetPictureMask(const Ref& picture, const Ref& mask) {
  Checked(picture, "SetPictureMask");
  MaskAssign(picture.get(), mask.get());
}

int64_t Host::PictureCacheClears(const Ref& picture) const {
  return Checked(picture, "PictureCacheClears").cacheClears;
}

int64_t Host::PictureDrawnAsSource(const Ref& picture, bool doubleSignature) const {
  PictureData& p = Checked(picture, "PictureDrawnAsSource");
  return doubleSignature ? p.drawnWithDoubles : p.drawnWithIntegers;
}

double Host::PictureRepresentationScale(const Ref& picture) const {
  return Checked(picture, "PictureRepresentationScale").lastRepresentationScale;
}

void* Host::PictureSurface(const Ref& picture) {
  return Checked(picture, "PictureSurface").pixels->Surface();
}

int64_t Host::OpenPictureLocks() const {
  int64_t locks = 0;
  for (Object* o : impl_->objects) {
    if (o->payload && o->payload->picture) locks += o->payload->picture->locks;
  }
  return locks;
}

}  // namespace xqt::host
