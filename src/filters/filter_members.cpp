#include "filters/filter_members.h"

#include "filters/area_filters.h"
#include "filters/artistic_filters.h"
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
  members.Method(Entry(&BoxBlurFilter),
                 "BoxBlurFilter(dest as PictureXQT, Radius as integer) as PictureXQT");
  members.Method(Entry(&BoxBlurFilterHV),
                 "BoxBlurFilter(dest as PictureXQT, HorizontalRadius as integer, VerticalRadius as "
                 "integer) as PictureXQT");
  members.Method(Entry(&BoxBlurFractionalFilter),
                 "BoxBlurFractionalFilter(dest as PictureXQT, Radius as double) as PictureXQT");
  members.Method(Entry(&ApplyMatrix),
                 "ApplyMatrix(dest as PictureXQT, Matrix() as integer) as PictureXQT");
  members.Method(Entry(&ApplyMatrixD),
                 "ApplyMatrix(dest as PictureXQT, Matrix() as integer, Divisor as integer) as "
                 "PictureXQT");
  members.Method(Entry(&ApplyMatrixDB),
                 "ApplyMatrix(dest as PictureXQT, Matrix() as integer, Divisor as integer, Bias as "
                 "integer) as PictureXQT");
  members.Method(Entry(&OilFilter),
                 "OilFilter(dest as PictureXQT, Radius as integer, Levels as integer) as "
                 "PictureXQT");
  members.Method(Entry(&DiffuseFilter),
                 "DiffuseFilter(dest as PictureXQT, Radius as integer) as PictureXQT");
  members.Method(Entry(&EngraveFilter), "EngraveFilter(dest as PictureXQT) as PictureXQT");
  members.Method(Entry(&NeonFilter), "NeonFilter(dest as PictureXQT) as PictureXQT");
  members.Method(Entry(&StampFilter),
                 "StampFilter(dest as PictureXQT, Threshold as integer) as PictureXQT");
}
