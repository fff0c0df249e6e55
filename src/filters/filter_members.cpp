#include "filters/filter_members.h"

#include "filters/dither.h"
#include "filters/point_filters.h"
#include "filters/unsharp.h"

void AddFilterMembers(ClassMembers& members) {
  members.Method(Entry(&GammaFilterG),
                 "GammaFilter(dest as PictureXQT, gamma as double) as PictureXQT");
  members.Method(Entry(&GammaFilterGA),
                 "GammaFilter(dest as PictureXQT, gamma as double, alphaGamma as double) as "
                 "PictureXQT");
  members.Method(Entry(&GammaFilterRGB),
                 "GammaFilter(dest as PictureXQT, redGamma as double, greenGamma as double, "
                 "blueGamma as double) as PictureXQT");
  members.Method(Entry(&GammaFilterRGBA),
                 "GammaFilter(dest as PictureXQT, redGamma as double, greenGamma as double, "
                 "blueGamma as double, alphaGamma as double) as PictureXQT");
  members.Method(Entry(&GainFilter),
                 "GainFilter(dest as PictureXQT, gain as double, bias as double) as PictureXQT");
  members.Method(Entry(&TransferFilterG),
                 "TransferFilter(dest as PictureXQT, gray() as integer) as PictureXQT");
  members.Method(Entry(&TransferFilterGA),
                 "TransferFilter(dest as PictureXQT, gray() as integer, alpha() as integer) as "
                 "PictureXQT");
  members.Method(Entry(&TransferFilterRGB),
                 "TransferFilter(dest as PictureXQT, red() as integer, green() as integer, blue() "
                 "as integer) as PictureXQT");
  members.Method(Entry(&TransferFilterRGBA),
                 "TransferFilter(dest as PictureXQT, red() as integer, green() as integer, blue() "
                 "as integer, alpha() as integer) as PictureXQT");
  members.Method(Entry(&SolarizeFilter), "SolarizeFilter(dest as PictureXQT) as PictureXQT");
  members.Method(Entry(&DitherFilter),
                 "DitherFilter(dest as PictureXQT, matrix as integer, levels as integer) as "
                 "PictureXQT");
  members.Method(Entry(&UnsharpFilter),
                 "UnsharpFilter(origpixels as PictureXQT, Amount as double, Threshold as integer) "
                 "as boolean");
}
