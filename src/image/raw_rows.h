// Direct access to one row in the image's own format.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// "RawRowPtr(index as integer) as Ptr": the row's address.
void* rbGetRowPtr(REALobject instance, int64_t index);

// "RawRow(index as integer) as memoryblock": a block over the row, no copy; valid while the image
// lives and, for a file-mapped image, until another band is mapped.
REALobject rbGetRow(REALobject instance, int64_t index);

// "Row(index as integer) as memoryblock": a copy of the row's RowSize bytes, padding included.
REALobject rbGetRowCopy(REALobject instance, int64_t index);

// Assigning "Row(index)": copies RowSize bytes from the block into the row.
void rbSetRow(REALobject instance, int64_t index, REALobject value);
