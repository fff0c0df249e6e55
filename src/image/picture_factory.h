// The factory through which operations make their result images.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"
#include "plugin/member_table.h"

// The process-wide factory installed with PictureFactoryXQT.SetFactory, locked while held.
extern REALobject globalFactory;

// A new image of at least width x height (one reference for the caller), or nil: from the
// image's own factory, then the process-wide one, then a plain in-memory image. The format is
// not checked: callers that depend on it check it themselves.
REALobject CreatePicture(const ImageClassData* image, int64_t width, int64_t height,
                         int64_t format);

// Whether CreatePicture would ask a factory for this image's pictures.
bool FactoryInstalled(const ImageClassData* image);

// Shared method "SetFactory(factory as PictureFactoryXQT)": installs or clears the factory.
void SetFactory(REALobject factory);

// Getter of the shared property currentFactory: the installed factory, locked for the caller.
REALobject getcurrentFactory();

// "CreatePictureXQT(width as integer, height as integer, ImageFormat as integer) as PictureXQT"
REALobject CreatePictureLocal(REALobject instance, int64_t width, int64_t height, int64_t format);
// The shared forms on PictureXQT and PictureFactoryXQT.
REALobject CreatePictureGlobal(int64_t width, int64_t height, int64_t format);

// The event, shared property and shared methods of PictureFactoryXQT.
void AddFactoryMembers(ClassMembers& members);
