#include "scale/scale_members.h"

#include "scale/picture_scale.h"
#include "scale/scale_fast.h"

void AddScaleMembers(ClassMembers& members) {
  members.Method(Entry(&Scale),
                 "Scale(source as PictureXQT, temp as PictureXQT, mode as integer, width as "
                 "integer, height as integer) as boolean");
  members.Method(Entry(&ScaleMT),
                 "ScaleMT(threads as integer, source as PictureXQT, temp as PictureXQT, mode as "
                 "integer, width as integer, height as integer) as boolean");
  members.Method(Entry(&ScaleFast),
                 "ScaleFast(source as PictureXQT, width as integer, height as integer) as boolean");
}
