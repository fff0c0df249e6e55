// Views: images that share another image's storage (channel views, the RGB and CMYK views, the
// mirrored view). A view keeps its parent locked, so the storage outlives every view.
#pragma once

#include <cstdint>

#include "image/image_class_data.h"
#include "plugin/host_interface.h"

// A gray view of one channel: a code-11 image (41 for 16-bit parents) whose pixels are the
// parent's PixelSize bytes apart, its gray at `offset`. `name` may be null.
REALobject NewChannelImageXQT(REALobject parent, int64_t offset, const char* name);

// Lets a new view share its parent's storage: the parent locked, the picture shared, the rows
// in memory reached directly, a mapped file through a mapping state of the view's own.
void ShareStorage(ImageClassData* view, REALobject parentInstance);

// True when writing one image can change the other's pixels: the same record, views of one
// image (through their parents), or images over the same memory block or host picture.
bool SharesStorage(const ImageClassData* a, const ImageClassData* b);

// "AlphaChannel as PictureXQT" and its siblings: nil when the image lacks the channel.
REALobject AlphaChannel(REALobject instance);
REALobject RedChannel(REALobject instance);
REALobject GreenChannel(REALobject instance);
REALobject BlueChannel(REALobject instance);
REALobject GrayChannel(REALobject instance);
REALobject CyanChannel(REALobject instance);
REALobject MagentaChannel(REALobject instance);
REALobject YellowChannel(REALobject instance);
REALobject BlackChannel(REALobject instance);

// "Channel(index as integer) as PictureXQT"
REALobject Channel(REALobject instance, int64_t index);

// "RGBChannels as PictureXQT", "CMYKChannels as PictureXQT"
REALobject RGBChannel(REALobject instance);
REALobject CMYKChannel(REALobject instance);

// "MirroredView as PictureXQT": the whole image with its rows in reverse order.
REALobject GetMirroredView(REALobject instance);
