#include "geometry/geometry_members.h"

#include "geometry/mirrors.h"
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
}
