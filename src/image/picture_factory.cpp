#include "image/picture_factory.h"

#include "plugin/debug_log.h"
#include "plugin/host_api.h"

REALobject globalFactory = nullptr;

void SetFactory(REALobject factory) {
  DebugLog("SetFactory");
  DebugLogPointer("globalFactory", globalFactory);
  DebugLogPointer("f", factory);
  StoreObject(&globalFactory, factory);
  DebugLogPointer("globalFactory", globalFactory);
}

REALobject getcurrentFactory(REALobject, intptr_t) {
  LockObject(globalFactory);
  return globalFactory;
}

void AddFactoryMembers(ClassMembers& members) {
  members.events = {
      {"NewPictureXQT(Width as integer, Height as integer, ImageFormat as integer) as PictureXQT",
       0},
  };
  members.sharedProperties = {
      {nullptr, "currentFactory", "PictureFactoryXQT", kSharedPropertyFlags,
       Entry(&getcurrentFactory), nullptr, 0},
  };
  members.SharedMethod(Entry(&SetFactory), "SetFactory(factory as PictureFactoryXQT)");
}
