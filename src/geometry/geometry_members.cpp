#include "geometry/geometry_members.h"

#include "geometry/mirrors.h"
#include "geometry/rotate.h"
#include "geometry/turns.h"

void AddGeometryMembers(ClassMembers& members) {
  members.Method(Entry(&Rotate90fast), "Rotate90(dest as PictureXQT=nil) as PictureXQT");
  members.Method(Entry(&Rotate270fast), "Rotate270(dest as PictureXQT=nil) as PictureXQT");
  members.Method(Entry(&Rotate90), "Rotate90slow(dest as PictureXQT=nil) as PictureXQT");
  members.Method(Entry(&Rotate270), "Rotate270slow(dest as PictureXQT=nil) as PictureXQT");
  members.Method(Entry(&Rotate180), "Rotate180(dest as PictureXQT=nil) as PictureXQT");
  members.Method(Entry(&Rotate180Self), "Rotate180");
  members.Method(Entry(&HMirrorSelf), "HMirror");
  members.Method(Entry(&VMirrorSelf), "VMirror");
  members.Method(
      Entry(&RotateAngle),
      "Rotate(angle as double, Red as integer = 0, Green as integer = 0, Blue as integer "
      "= 0, Alpha as integer = 0, Gray as integer = 0, Cyan as integer = 0, Magenta as "
      "integer = 0, Yellow as integer = 0, Black as integer = 0) as PictureXQT");
}
