// Artistic filters: oil paint, diffusion, engraving, neon edges and a two-tone stamp. Each reads a
// window of copied source rows (see RowWindow), so it also works in place.
#pragma once

#include <cstdint>

#include "filters/area_filters.h"
#include "plugin/host_interface.h"

// Brightness of a compact pixel of `family`: gray itself, (77 R + 151 G + 28 B) / 256, or for
// CMYK 255 - min(255, (77 C + 151 M + 28 Y) / 256 + K).
int PixelIntensity(PixelFamily family, const uint8_t* pixel);

// "OilFilter(dest as PictureXQT, Radius as integer, Levels as integer) as PictureXQT"
REALobject OilFilter(REALobject instance, REALobject dest, int64_t radius, int64_t levels);
// "DiffuseFilter(dest as PictureXQT, Radius as integer) as PictureXQT"
REALobject DiffuseFilter(REALobject instance, REALobject dest, int64_t radius);
// "EngraveFilter(dest as PictureXQT) as PictureXQT"
REALobject EngraveFilter(REALobject instance, REALobject dest);
// "NeonFilter(dest as PictureXQT) as PictureXQT"
REALobject NeonFilter(REALobject instance, REALobject dest);
// "StampFilter(dest as PictureXQT, Threshold as integer) as PictureXQT"
REALobject StampFilter(REALobject instance, REALobject dest, int64_t threshold);
