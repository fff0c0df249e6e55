// Mirrors and the half turn of a PictureXQT in place. Only the family's channel bytes move;
// padding and the further gray channels of multi-gray formats stay where they are.
#pragma once

#include "plugin/host_interface.h"

// "HMirror": left-right; pixel x of each row swaps with pixel Width - 1 - x.
void HMirrorSelf(REALobject instance);

// "VMirror": top-bottom; row y swaps with row Height - 1 - y through two row buffers, so that a
// pair of rows costs two fetches for reading and two for writing.
void VMirrorSelf(REALobject instance);

// "Rotate180": as VMirror, with each row written back reversed; the middle row of an odd height
// is reversed too.
void Rotate180Self(REALobject instance);
