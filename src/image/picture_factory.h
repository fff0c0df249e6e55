// The factory through which operations make their result images.
#pragma once

#include "plugin/host_interface.h"
#include "plugin/member_table.h"

// The process-wide factory installed with PictureFactoryXQT.SetFactory, locked while held.
extern REALobject globalFactory;

// Shared method "SetFactory(factory as PictureFactoryXQT)": installs or clears the factory.
void SetFactory(REALobject factory);

// Getter of the shared property currentFactory: the installed factory, locked for the caller.
REALobject getcurrentFactory(REALobject instance, intptr_t param);

// The event, shared property and shared methods of PictureFactoryXQT.
void AddFactoryMembers(ClassMembers& members);
