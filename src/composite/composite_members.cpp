#include "composite/composite_members.h"

#include "composite/blend_with_mask.h"
#include "composite/clip_image.h"
#include "composite/copy_pixels.h"

void AddCompositeMembers(ClassMembers& members) {
  members.Method(Entry(&ClipImage1), "ClipImage as PictureXQT");
  members.Method(Entry(&ClipImage5),
                 "ClipImage(x as integer, y as integer, width as integer, height as integer) as "
                 "PictureXQT");
  members.Method(Entry(&rbCopyPixels8),
                 "CopyPixels(source as PictureXQT, DestX as integer, DestY as integer, DestWidth "
                 "as integer, DestHeight as integer, SourceX as integer, SourceY as integer) as "
                 "boolean");
  members.Method(Entry(&rbCopyPixels6),
                 "CopyPixels(source as PictureXQT, DestX as integer, DestY as integer, DestWidth "
                 "as integer, DestHeight as integer) as boolean");
  members.Method(Entry(&rbCopyPixels2), "CopyPixels(source as PictureXQT) as boolean");
  members.SharedMethod(Entry(&BlendPicturesWithMaskWithBackground5),
                       "BlendPicturesWithMaskWithBackground(SourceImage as PictureXQT, DestImage "
                       "as PictureXQT, Mask as PictureXQT, Result as PictureXQT, BackgroundColour "
                       "as Color) as Boolean");
  members.SharedMethod(Entry(&BlendPicturesWithMaskWithBackground9),
                       "BlendPicturesWithMaskWithBackground(SourceImage as PictureXQT, DestImage "
                       "as PictureXQT, Mask as PictureXQT, Result as PictureXQT, BackgroundColour "
                       "as Color, X As Integer, Y As Integer, Width As Integer, Height As "
                       "Integer) as Boolean");
}
