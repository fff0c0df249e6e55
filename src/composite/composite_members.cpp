#include "composite/composite_members.h"

#include "composite/blend_with_mask.h"
#include "composite/clip_image.h"
#include "composite/combine.h"
#include "composite/copy_pixels.h"
#include "composite/row_formats.h"

namespace {

void AddCombineMembers(ClassMembers& members) {
  members.Method(Entry(&rbCombine2),
                 "Combine(Source as PictureXQT, Mask as PictureXQT) as boolean");
  members.Method(Entry(&rbCombine3),
                 "Combine(Source as PictureXQT, Mask as PictureXQT, PreMultipliedSource as "
                 "boolean) as boolean");
  members.Method(Entry(&rbCombine6),
                 "Combine(Source as PictureXQT, Mask as PictureXQT, X As Integer, Y As Integer, "
                 "Width As Integer, Height As Integer) as boolean");
  members.Method(Entry(&rbCombine7),
                 "Combine(Source as PictureXQT, Mask as PictureXQT, X As Integer, Y As Integer, "
                 "Width As Integer, Height As Integer, PreMultipliedSource as boolean) as "
                 "boolean");
  members.Method(Entry(&rbCombineColor),
                 "Combine(Mask as PictureXQT, BackColour As color) as boolean");
  members.Method(Entry(&rbCombineColorRect),
                 "Combine(Mask as PictureXQT, X As Integer, Y As Integer, Width As Integer, "
                 "Height As Integer, BackColour As color) as boolean");
  members.Method(Entry(&rbCombineGray),
                 "Combine(Mask as PictureXQT, Value as integer, Alpha as integer) as boolean");
  members.Method(Entry(&rbCombineGrayRect),
                 "Combine(Mask as PictureXQT, X As Integer, Y As Integer, Width As Integer, "
                 "Height As Integer, Value as integer, Alpha as integer) as boolean");
  members.Method(Entry(&rbCombineRGB),
                 "Combine(Mask as PictureXQT, red as integer, green as integer, blue as integer, "
                 "alpha as integer) as boolean");
  members.Method(Entry(&rbCombineRGBRect),
                 "Combine(Mask as PictureXQT, X As Integer, Y As Integer, Width As Integer, "
                 "Height As Integer, red as integer, green as integer, blue as integer, alpha as "
                 "integer) as boolean");
  members.Method(Entry(&rbCombineCMYK),
                 "Combine(Mask as PictureXQT, cyan as integer, magenta as integer, yellow as "
                 "integer, black as integer, alpha as integer) as boolean");
}

void AddRowFormatMembers(ClassMembers& members) {
  members.AssignableMethod(Entry(&rbRowInFormat), Entry(&rbSetRowInFormat),
                           "RowInFormat(index as integer, ImageFormat as integer) as memoryblock");
  members.AssignableMethod(Entry(&rbRowInFormatInvert), Entry(&rbSetRowInFormatInvert),
                           "RowInFormat(index as integer, ImageFormat as integer, InvertAlpha as "
                           "boolean) as memoryblock");
  members.AssignableMethod(Entry(&rbRowStringInFormat), Entry(&rbSetRowStringInFormat),
                           "RowStringInFormat(index as integer, ImageFormat as integer) as string");
  members.AssignableMethod(Entry(&rbDataStringInFormat), Entry(&rbSetDataStringInFormat),
                           "DataStringInFormat(ImageFormat as integer) as string");
}

}  // namespace

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
  AddCombineMembers(members);
  AddRowFormatMembers(members);
}
