// Accessors of the PictureXQT properties that are more than a field read.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// Offset setters: accept 0 <= value < PixelSize and store it, nothing else; otherwise raise the
// out-of-bounds exception naming the property.
void SetRedOffset(REALobject instance, intptr_t param, int64_t value);
void SetGreenOffset(REALobject instance, intptr_t param, int64_t value);
void SetBlueOffset(REALobject instance, intptr_t param, int64_t value);
void SetGrayOffset(REALobject instance, intptr_t param, int64_t value);
void SetAlphaOffset(REALobject instance, intptr_t param, int64_t value);

int64_t GetTotalSizeInt64(REALobject instance, intptr_t param);

// The MemoryBlock holding row 0: the image's own block, or a block that merely points at the
// rows (for a file-mapped image, the band mapped now); nil without storage.
REALobject GetMemory(REALobject instance, intptr_t param);

// Getter of ImageFormatString: "RGB", "G16", "Scaling", ...; empty for codes without a string.
REALstring GetImageFormatString(REALobject instance, intptr_t param);

// "ChannelOffset(index as integer) as integer"
int64_t ChannelOffset(REALobject instance, int64_t index);

// "Channels as String()"
REALarray Channels(REALobject instance);
