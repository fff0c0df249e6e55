#include "filters/fill_members.h"

#include "filters/fills.h"
#include "filters/pixel_ops.h"

void AddFillMembers(ClassMembers& members) {
  members.Method(Entry(&FillRect1), "FillRect(Value as integer)");
  members.Method(Entry(&FillRectA1), "FillRect(Value as integer, Alpha as Integer)");
  members.Method(Entry(&FillRect5),
                 "FillRect(x as integer, y as integer, width as integer, height as integer, Value "
                 "as integer)");
  members.Method(Entry(&FillRectA5),
                 "FillRect(x as integer, y as integer, width as integer, height as integer, Value "
                 "as integer, Alpha as Integer)");

  members.Method(Entry(&FillRectRandom1), "FillRectRandom");
  members.Method(Entry(&FillRectRandom5),
                 "FillRectRandom(x as integer, y as integer, width as integer, height as integer)");

  members.Method(Entry(&FillRectRGB1),
                 "FillRectRGB(red as integer, green as integer, blue as integer)");
  members.Method(Entry(&FillRectRGB5),
                 "FillRectRGB(x as integer, y as integer, width as integer, height as integer, red "
                 "as integer, green as integer, blue as integer)");
  members.Method(Entry(&FillRectRGBA1),
                 "FillRectRGB(red as integer, green as integer, blue as integer, alpha as "
                 "integer)");
  members.Method(Entry(&FillRectRGBA5),
                 "FillRectRGB(x as integer, y as integer, width as integer, height as integer, red "
                 "as integer, green as integer, blue as integer, alpha as integer)");
  members.Method(Entry(&FillRectRGBc1), "FillRectRGB(FillColor as color)");
  members.Method(Entry(&FillRectRGBcA1), "FillRectRGB(FillColor as color, alpha as integer)");
  members.Method(Entry(&FillRectRGBc5),
                 "FillRectRGB(x as integer, y as integer, width as integer, height as integer, "
                 "FillColor as color)");
  members.Method(Entry(&FillRectRGBcA5),
                 "FillRectRGB(x as integer, y as integer, width as integer, height as integer, "
                 "FillColor as color, alpha as integer)");

  members.Method(Entry(&FillRectApplyRGBA1),
                 "FillRectApply(red as integer, green as integer, blue as integer, alpha as "
                 "integer) as boolean");
  members.Method(Entry(&FillRectApplyRGBA5),
                 "FillRectApply(x as integer, y as integer, width as integer, height as integer, "
                 "red as integer, green as integer, blue as integer, alpha as integer) as boolean");
  members.Method(Entry(&FillRectApplyRGBcA1),
                 "FillRectApply(FillColor as color, alpha as integer) as boolean");
  members.Method(Entry(&FillRectApplyRGBcA5),
                 "FillRectApply(x as integer, y as integer, width as integer, height as integer, "
                 "FillColor as color, alpha as integer) as boolean");

  members.Method(Entry(&ClearRect1), "ClearRect");
  members.Method(Entry(&ClearRect5),
                 "ClearRect(x as integer, y as integer, width as integer, height as integer)");

  members.Method(Entry(&Invert1), "Invert");
  members.Method(Entry(&Invert5), "Invert(x as integer, y as integer, w as integer, h as integer)");
  members.Method(Entry(&Multiply1), "Multiply");
  members.Method(Entry(&Multiply5),
                 "Multiply(x as integer, y as integer, width as integer, height as integer)");
  members.Method(Entry(&Unmultiply1), "Unmultiply");
  members.Method(Entry(&Unmultiply5),
                 "Unmultiply(x as integer, y as integer, width as integer, height as integer)");
  members.Method(Entry(&AutoLevel1), "AutoLevel as boolean");
  members.Method(Entry(&AutoLevel5),
                 "AutoLevel(x as integer, y as integer, w as integer, h as integer) as boolean");
  members.Method(Entry(&RGBToGray), "RGBToGray(mode as integer = 0) as boolean");
  members.Method(Entry(&CompareImages), "CompareImages(other as PictureXQT) as Int64");
}
