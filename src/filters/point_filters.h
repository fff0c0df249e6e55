// Point filters: every channel value of the source goes through a 256-entry table into the dest
// (gamma, gain and bias, a caller's transfer curve, solarisation).
#pragma once

#include <cstdint>

#include "filters/filter_frame.h"
#include "image/image_class_data.h"
#include "plugin/host_interface.h"

using ByteTable = uint8_t[256];

// Entry i = clamp((integer)(pow(i / 255.0, 1.0 / gamma) * 255.0 + 0.5), 0, 255).
void BuildGammaTable(double gamma, ByteTable& table);

// The one gamma the colour overloads use for gray images: each gamma truncated to an integer,
// weighted 77 / 151 / 28 and divided by 256 as integers (2.2 gives 2, anything below 1 gives 0).
double CombinedGrayGamma(double redGamma, double greenGamma, double blueGamma);

// The gain step (a power curve through the middle) followed by the bias step.
void BuildGainTable(double gain, double bias, ByteTable& table);

// Entries 0 ... min(upper bound, 255) of a host integer array, each as its low 8 bits; the rest
// (and every entry of a nil array) 0.
void ReadTransferTable(REALarray array, ByteTable& table);

// Falls from 255 at 0 to 0 at 127 and 128 and rises back to 255 at 255.
extern const ByteTable kSolarizeTable;

// One channel of a path: mapped through tables[table], read and written at its own offset in each
// image.
struct MappedChannel {
  Channel channel;
  uint8_t table;
};

// What a filter does to one family of sources. No channels: the family is left alone.
struct MappingPath {
  const char* label;  // logged when the path runs; null for none
  int count;
  MappedChannel channels[5];
};

// Maps the source's pixels into the dest along `path`: dest row y before source row y, channel by
// channel in the path's order. False (nothing written) when the dest cannot take the path.
bool MapThroughTables(ImageClassData* source, ImageClassData* dest, const MappingPath& path,
                      const ByteTable* tables);

// The per-overload work over two records; false refuses the dest.
bool rbGammaFilterG(ImageClassData* source, ImageClassData* dest, double gamma);
bool rbGammaFilterGA(ImageClassData* source, ImageClassData* dest, double gamma, double alphaGamma);
bool rbGammaFilterRGB(ImageClassData* source, ImageClassData* dest, double redGamma,
                      double greenGamma, double blueGamma);
bool rbGammaFilterRGBA(ImageClassData* source, ImageClassData* dest, double redGamma,
                       double greenGamma, double blueGamma, double alphaGamma);
bool rbGainFilter(ImageClassData* source, ImageClassData* dest, double gain, double bias);
bool rbTransferFilterG(ImageClassData* source, ImageClassData* dest, REALarray gray);
bool rbTransferFilterGA(ImageClassData* source, ImageClassData* dest, REALarray gray,
                        REALarray alpha);
bool rbTransferFilterRGB(ImageClassData* source, ImageClassData* dest, REALarray red,
                         REALarray green, REALarray blue);
bool rbTransferFilterRGBA(ImageClassData* source, ImageClassData* dest, REALarray red,
                          REALarray green, REALarray blue, REALarray alpha);
bool rbSolarizeFilter(ImageClassData* source, ImageClassData* dest);

// The registered members.
// "GammaFilter(dest as PictureXQT, gamma as double) as PictureXQT" and its three siblings.
REALobject GammaFilterG(REALobject instance, REALobject dest, double gamma);
REALobject GammaFilterGA(REALobject instance, REALobject dest, double gamma, double alphaGamma);
REALobject GammaFilterRGB(REALobject instance, REALobject dest, double redGamma, double greenGamma,
                          double blueGamma);
REALobject GammaFilterRGBA(REALobject instance, REALobject dest, double redGamma, double greenGamma,
                           double blueGamma, double alphaGamma);
// "GainFilter(dest as PictureXQT, gain as double, bias as double) as PictureXQT"
REALobject GainFilter(REALobject instance, REALobject dest, double gain, double bias);
// "TransferFilter(dest as PictureXQT, gray() as integer) as PictureXQT" and its three siblings.
REALobject TransferFilterG(REALobject instance, REALobject dest, REALarray gray);
REALobject TransferFilterGA(REALobject instance, REALobject dest, REALarray gray, REALarray alpha);
REALobject TransferFilterRGB(REALobject instance, REALobject dest, REALarray red, REALarray green,
                             REALarray blue);
REALobject TransferFilterRGBA(REALobject instance, REALobject dest, REALarray red, REALarray green,
                              REALarray blue, REALarray alpha);
// "SolarizeFilter(dest as PictureXQT) as PictureXQT"
REALobject SolarizeFilter(REALobject instance, REALobject dest);
