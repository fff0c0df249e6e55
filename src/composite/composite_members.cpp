#include "composite/composite_members.h"

#include "composite/clip_image.h"

void AddCompositeMembers(ClassMembers& members) {
  members.Method(Entry(&ClipImage1), "ClipImage as PictureXQT");
  members.Method(Entry(&ClipImage5),
                 "ClipImage(x as integer, y as integer, width as integer, height as integer) as "
                 "PictureXQT");
}
