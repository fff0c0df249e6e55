#include "picture/picture_members.h"

#include "picture/picture_constructor.h"
#include "picture/picture_copy.h"
#include "picture/picture_draw.h"

void AddPictureMembers(ClassMembers& members) {
  auto add = [&members](REALproc function, const char* declaration) {
    members.Method(function, declaration, kPictureMemberFlags);
  };
  add(Entry(&ImageConstructorPicture), "Constructor(pic as picture, UseAlpha as boolean=false)");

  add(Entry(&rbCopyPicture5),
      "CopyPicture(x as integer, y as integer, w as integer, h as integer) as picture");
  add(Entry(&rbCopyPicture1), "CopyPicture as picture");
  add(Entry(&rbCopyPictureWithAlpha5),
      "CopyPictureWithAlpha(x as integer, y as integer, w as integer, h as integer) as picture");
  add(Entry(&rbCopyPictureWithAlpha1), "CopyPictureWithAlpha as picture");
  add(Entry(&rbCopyPictureWithMask5),
      "CopyPictureWithMask(x as integer, y as integer, w as integer, h as integer) as picture");
  add(Entry(&rbCopyPictureWithMask1), "CopyPictureWithMask as picture");
  add(Entry(&rbCopyMask5),
      "CopyMask(x as integer, y as integer, w as integer, h as integer) as picture");
  add(Entry(&rbCopyMask1), "CopyMask as picture");

  add(Entry(&DrawPictureRGB1), "DrawPictureRGB(pic as picture)");
  add(Entry(&DrawPictureRGB3),
      "DrawPictureRGB(pic as picture, DestX as integer, DestY as integer)");
  add(Entry(&DrawPictureRGB5),
      "DrawPictureRGB(pic as picture, DestX as integer, DestY as integer, DestWidth as integer, "
      "DestHeight as integer)");
  add(Entry(&DrawPictureRGB7),
      "DrawPictureRGB(pic as picture, DestX as integer, DestY as integer, DestWidth as integer, "
      "DestHeight as integer, SourceX as integer, SourceY as integer)");

  add(Entry(&DrawMaskedPictureRGB2),
      "DrawMaskedPictureRGB(pic as picture, InvertMask as boolean=False)");
  add(Entry(&DrawMaskedPictureRGB4),
      "DrawMaskedPictureRGB(pic as picture, DestX as integer, DestY as integer, InvertMask as "
      "boolean=False)");
  add(Entry(&DrawMaskedPictureRGB6),
      "DrawMaskedPictureRGB(pic as picture, DestX as integer, DestY as integer, DestWidth as "
      "integer, DestHeight as integer, InvertMask as boolean=False)");
  add(Entry(&DrawMaskedPictureRGB8),
      "DrawMaskedPictureRGB(pic as picture, DestX as integer, DestY as integer, DestWidth as "
      "integer, DestHeight as integer, SourceX as integer, SourceY as integer, InvertMask as "
      "boolean=False)");

  add(Entry(&DrawMaskedPictureApplyMaskRGB2),
      "DrawMaskedPictureApplyMaskRGB(pic as picture, InvertMask as boolean=False)");
  add(Entry(&DrawMaskedPictureApplyMaskRGB4),
      "DrawMaskedPictureApplyMaskRGB(pic as picture, DestX as integer, DestY as integer, "
      "InvertMask as boolean=False)");
  add(Entry(&DrawMaskedPictureApplyMaskRGB6),
      "DrawMaskedPictureApplyMaskRGB(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer, InvertMask as boolean=False)");
  add(Entry(&DrawMaskedPictureApplyMaskRGB8),
      "DrawMaskedPictureApplyMaskRGB(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer, SourceX as integer, SourceY as integer, "
      "InvertMask as boolean=False)");

  add(Entry(&DrawPictureRedToGrayChannel7),
      "DrawPictureRedToGrayChannel(pic as picture, DestX as integer, DestY as integer, DestWidth "
      "as integer, DestHeight as integer, SourceX as integer, SourceY as integer)");
  add(Entry(&DrawPictureRedToGrayChannel5),
      "DrawPictureRedToGrayChannel(pic as picture, DestX as integer, DestY as integer, DestWidth "
      "as integer, DestHeight as integer)");
  add(Entry(&DrawPictureGreenToGrayChannel7),
      "DrawPictureGreenToGrayChannel(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer, SourceX as integer, SourceY as integer)");
  add(Entry(&DrawPictureGreenToGrayChannel5),
      "DrawPictureGreenToGrayChannel(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer)");
  add(Entry(&DrawPictureBlueToGrayChannel7),
      "DrawPictureBlueToGrayChannel(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer, SourceX as integer, SourceY as integer)");
  add(Entry(&DrawPictureBlueToGrayChannel5),
      "DrawPictureBlueToGrayChannel(pic as picture, DestX as integer, DestY as integer, "
      "DestWidth as integer, DestHeight as integer)");
}
