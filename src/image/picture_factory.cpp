#include "image/picture_factory.h"

#include "image/image_storage.h"
#include "plugin/class_registry.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

REALobject globalFactory = nullptr;

namespace {

using NewPictureHandler = REALobject (*)(REALobject factory, int64_t width, int64_t height,
                                         int64_t format);

// Keeps `picture` when it is a valid image of at least the requested size; drops it otherwise.
REALobject Accept(REALobject picture, int64_t width, int64_t height) {
  if (!picture) return nullptr;
  // The event is declared to return a PictureXQT, so a host without the class check is trusted.
  auto lookup = hostapi::pluginObjectType.get();
  auto isA = hostapi::RuntimeObjectIsa.get();
  REALclassRef pictureClass = lookup ? lookup("PictureXQT") : nullptr;
  if (isA && pictureClass && isA(picture, pictureClass) == 0) {
    UnlockObject(picture);
    return nullptr;
  }
  const ImageClassData* image = ImageData(picture);
  if (image->Valid && image->Width >= width && image->Height >= height) return picture;
  UnlockObject(picture);
  return nullptr;
}

REALobject AskFactory(REALobject factory, int64_t width, int64_t height, int64_t format) {
  if (!factory) return nullptr;
  auto getEvent = hostapi::GetEventInstance.get();
  REALclassDefinition& factoryClass = PictureFactoryXQTClass();
  if (!getEvent || factoryClass.eventCount < 1) return nullptr;
  // The host wrote its own index of the event into the entry at registration.
  auto handler =
      reinterpret_cast<NewPictureHandler>(getEvent(factory, factoryClass.events[0].forSystemUse));
  DebugLogPointer("Event NewPictureXQT", reinterpret_cast<void*>(handler));
  if (!handler) return nullptr;
  REALobject picture = handler(factory, width, height, format);
  DebugLogPointer("o", picture);
  return Accept(picture, width, height);
}

}  // namespace

REALobject CreatePicture(const ImageClassData* image, int64_t width, int64_t height,
                         int64_t format) {
  DebugLog("CreatePicture");
  DebugLog("width", static_cast<long long>(width));
  DebugLog("height", static_cast<long long>(height));
  DebugLogPointer("globalFactory", globalFactory);
  if (image && image->Factory) {
    if (REALobject picture = AskFactory(image->Factory, width, height, format)) return picture;
  }
  if (REALobject picture = AskFactory(globalFactory, width, height, format)) return picture;
  REALobject picture = NewBareImage();
  if (!picture) return nullptr;
  ImageConstructor(picture, width, height, format);
  DebugLogPointer("o", picture);
  return Accept(picture, width, height);
}

bool FactoryInstalled(const ImageClassData* image) {
  return (image && image->Factory) || globalFactory;
}

REALobject CreatePictureLocal(REALobject instance, int64_t width, int64_t height, int64_t format) {
  return CreatePicture(ImageData(instance), width, height, format);
}

REALobject CreatePictureGlobal(int64_t width, int64_t height, int64_t format) {
  return CreatePicture(nullptr, width, height, format);
}

void SetFactory(REALobject factory) {
  DebugLog("SetFactory");
  DebugLogPointer("globalFactory", globalFactory);
  DebugLogPointer("f", factory);
  StoreObject(&globalFactory, factory);
  DebugLogPointer("globalFactory", globalFactory);
}

REALobject getcurrentFactory() {
  LockObject(globalFactory);
  return globalFactory;
}

void AddFactoryMembers(ClassMembers& members) {
  members.events = {EventEntry(
      "NewPictureXQT(Width as integer, Height as integer, ImageFormat as integer) as PictureXQT")};
  members.sharedProperties = {PropertyEntry("currentFactory", "PictureFactoryXQT",
                                            kSharedPropertyFlags, Entry(&getcurrentFactory),
                                            nullptr)};
  members.SharedMethod(Entry(&SetFactory), "SetFactory(factory as PictureFactoryXQT)");
  members.SharedMethod(
      Entry(&CreatePictureGlobal),
      "NewPictureXQT(Width as integer, Height as integer, ImageFormat as integer) as PictureXQT");
}
