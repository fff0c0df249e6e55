#include "picture/picture_draw.h"

#include <algorithm>
#include <cstring>

#include "composite/fix_rectangle.h"
#include "composite/pixel_conversions.h"
#include "image/image_checks.h"
#include "image/image_class_data.h"
#include "picture/picture_editor.h"
#include "picture/picture_pixels.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

using namespace picture_io;

namespace {

enum class DrawInto : uint8_t { kRGB, kRedToGray, kGreenToGray, kBlueToGray };
enum class MaskUse : uint8_t { kNone, kStore, kApply };

struct DrawRequest {
  const char* label;
  DrawInto into;
  MaskUse mask;
  bool invertMask;
};

// The premultiplication rule of Multiply: c x (a / 255) rounded, in single precision.
uint8_t ApplyAlpha(uint8_t colour, uint8_t alpha) {
  return static_cast<uint8_t>(static_cast<int>(colour * (alpha / 255.0f) + 0.5f));
}

uint8_t MaskGray(PictureLayout layout, const uint8_t* pixel) {
  PictureRGBA p{};
  WithLayout(layout, [&]<PictureLayout L>() { p = LoadPicturePixel<L>(pixel); });
  // Masks are gray, so this is their gray byte; a coloured mask counts by its brightness.
  return GrayFromRGB(p.red, p.green, p.blue);
}

void StoreGray(const ImageClassData& image, uint8_t* pixel, uint8_t value) {
  if (image.BitsPerComponent == 16) {
    uint16_t wide = Gray16FromGray(value);
    std::memcpy(pixel + image.GrayOffset, &wide, 2);
  } else {
    pixel[image.GrayOffset] = value;
  }
}

// One row: `count` picture pixels from `from` into the image pixels from `to`; the first
// `maskCount` of them have mask pixels from `mask`, the others count as unmasked.
template <PictureLayout L>
void DrawRow(const ImageClassData& image, uint8_t* to, const uint8_t* from, int64_t count,
             const uint8_t* mask, PictureLayout maskLayout, int64_t maskCount,
             const DrawRequest& request) {
  const int64_t step = image.PixelSize;
  const bool storeAlpha = request.mask != MaskUse::kNone && image.HasAlpha;
  for (int64_t i = 0; i < count; ++i, from += 4, to += step) {
    PictureRGBA p = LoadPicturePixel<L>(from);
    uint8_t alpha = 255;
    if (mask && i < maskCount) {
      uint8_t gray = MaskGray(maskLayout, mask + i * 4);
      alpha = request.invertMask ? gray : static_cast<uint8_t>(255 - gray);
    }
    if (request.mask == MaskUse::kApply) {
      p.red = ApplyAlpha(p.red, alpha);
      p.green = ApplyAlpha(p.green, alpha);
      p.blue = ApplyAlpha(p.blue, alpha);
    }
    switch (request.into) {
      case DrawInto::kRGB:
        to[image.RedOffset] = p.red;
        to[image.GreenOffset] = p.green;
        to[image.BlueOffset] = p.blue;
        break;
      case DrawInto::kRedToGray:
        StoreGray(image, to, p.red);
        break;
      case DrawInto::kGreenToGray:
        StoreGray(image, to, p.green);
        break;
      case DrawInto::kBlueToGray:
        StoreGray(image, to, p.blue);
        break;
    }
    if (storeAlpha) to[image.AlphaOffset] = alpha;
  }
}

bool HasTargetChannels(const ImageClassData& image, DrawInto into) {
  if (into == DrawInto::kRGB) {
    if (image.HasRed && image.HasGreen && image.HasBlue) return true;
    DebugLog("Image has no red, green and blue channels.");
    return false;
  }
  if (image.HasGray) return true;
  DebugLog("Image has no gray channel.");
  return false;
}

void DrawPicture(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                 int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY,
                 const DrawRequest& request) {
  DebugLog(request.label);
  ImageClassData* image = ImageData(instance);
  if (!StartImage(image)) return;
  if (!pic) {
    DebugLog("picture is nil");
    return;
  }
  if (!HasTargetChannels(*image, request.into)) return;
  int64_t pictureWidth = 0, pictureHeight = 0;
  PictureInteger(pic, "Width", pictureWidth);
  PictureInteger(pic, "Height", pictureHeight);
  FixRectangleSource(image, destX, destY, destWidth, destHeight, sourceX, sourceY, pictureWidth,
                     pictureHeight);
  if (destWidth < 1 || destHeight < 1) {
    DebugLog("nothing to draw");
    return;
  }

  PictureReader reader;
  DebugLog("GetPictureReader");
  if (!reader.GetPictureEditor(pic, true, false)) return;
  // The bitmap read may be smaller than the picture says (a representation, a copy).
  destWidth = std::min(destWidth, reader.width - sourceX);
  destHeight = std::min(destHeight, reader.height - sourceY);
  if (destWidth < 1 || destHeight < 1) {
    DebugLog("nothing to draw");
    return;
  }

  PictureReader maskReader;
  bool haveMask = false;
  if (request.mask != MaskUse::kNone) {
    if (REALpicture mask = MyREALGetPictureMask(pic, false)) {
      haveMask = maskReader.GetPictureEditor(mask, true, false);
      UnlockObject(mask);
    }
  }
  int64_t maskCount = haveMask ? std::clamp<int64_t>(maskReader.width - sourceX, 0, destWidth) : 0;
  PictureLayout maskLayout = haveMask ? LayoutOf(maskReader) : PictureLayout::kAlphaFirst;
  auto advanceMask = [&] {
    if (haveMask && maskReader.y + 1 < maskReader.height) maskReader.AddPixelRow();
  };
  for (int64_t i = 0; i < sourceY; ++i) {
    reader.AddPixelRow();
    advanceMask();
  }

  WithLayout(LayoutOf(reader), [&]<PictureLayout L>() {
    for (int64_t row = 0; row < destHeight; ++row) {
      uint8_t* to = image->GetRow(image, destY + row);
      if (!to) {
        DebugLog("no row", static_cast<long long>(destY + row));
        break;
      }
      const uint8_t* mask = nullptr;
      if (haveMask && maskReader.y == sourceY + row && maskReader.currentRow) {
        mask = maskReader.currentRow + sourceX * 4;
      }
      if (reader.currentRow) {
        DrawRow<L>(*image, to + destX * image->PixelSize, reader.currentRow + sourceX * 4,
                   destWidth, mask, maskLayout, maskCount, request);
      }
      if (row + 1 < destHeight) {
        reader.AddPixelRow();
        advanceMask();
      }
      YieldRow(image);
    }
  });
  maskReader.clear();
  reader.clear();
}

int64_t WidthOf(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? image->Width : 0;
}

int64_t HeightOf(REALobject instance) {
  ImageClassData* image = ImageData(instance);
  return image ? image->Height : 0;
}

constexpr DrawRequest kRGB{"DrawPictureRGB", DrawInto::kRGB, MaskUse::kNone, false};

DrawRequest Masked(bool invertMask) {
  return {"DrawMaskedPictureRGB", DrawInto::kRGB, MaskUse::kStore, invertMask};
}

DrawRequest ApplyMask(bool invertMask) {
  return {"DrawMaskedPictureApplyMaskRGB", DrawInto::kRGB, MaskUse::kApply, invertMask};
}

constexpr DrawRequest kRed{"DrawPictureRedToGrayChannel", DrawInto::kRedToGray, MaskUse::kNone,
                           false};
constexpr DrawRequest kGreen{"DrawPictureGreenToGrayChannel", DrawInto::kGreenToGray,
                             MaskUse::kNone, false};
constexpr DrawRequest kBlue{"DrawPictureBlueToGrayChannel", DrawInto::kBlueToGray, MaskUse::kNone,
                            false};

}  // namespace

void DrawPictureRGB1(REALobject instance, REALpicture pic) {
  DrawPicture(instance, pic, 0, 0, WidthOf(instance), HeightOf(instance), 0, 0, kRGB);
}
void DrawPictureRGB3(REALobject instance, REALpicture pic, int64_t destX, int64_t destY) {
  DrawPicture(instance, pic, destX, destY, WidthOf(instance), HeightOf(instance), 0, 0, kRGB);
}
void DrawPictureRGB5(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                     int64_t destWidth, int64_t destHeight) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, kRGB);
}
void DrawPictureRGB7(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                     int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY, kRGB);
}

void DrawMaskedPictureRGB2(REALobject instance, REALpicture pic, RBBoolean invertMask) {
  DrawPicture(instance, pic, 0, 0, WidthOf(instance), HeightOf(instance), 0, 0, Masked(invertMask));
}
void DrawMaskedPictureRGB4(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, WidthOf(instance), HeightOf(instance), 0, 0,
              Masked(invertMask));
}
void DrawMaskedPictureRGB6(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           int64_t destWidth, int64_t destHeight, RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, Masked(invertMask));
}
void DrawMaskedPictureRGB8(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY,
                           RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY,
              Masked(invertMask));
}

void DrawMaskedPictureApplyMaskRGB2(REALobject instance, REALpicture pic, RBBoolean invertMask) {
  DrawPicture(instance, pic, 0, 0, WidthOf(instance), HeightOf(instance), 0, 0,
              ApplyMask(invertMask));
}
void DrawMaskedPictureApplyMaskRGB4(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, WidthOf(instance), HeightOf(instance), 0, 0,
              ApplyMask(invertMask));
}
void DrawMaskedPictureApplyMaskRGB6(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, ApplyMask(invertMask));
}
void DrawMaskedPictureApplyMaskRGB8(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    int64_t sourceX, int64_t sourceY, RBBoolean invertMask) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY,
              ApplyMask(invertMask));
}

void DrawPictureRedToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                  int64_t destY, int64_t destWidth, int64_t destHeight) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, kRed);
}
void DrawPictureRedToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                  int64_t destY, int64_t destWidth, int64_t destHeight,
                                  int64_t sourceX, int64_t sourceY) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY, kRed);
}
void DrawPictureGreenToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, kGreen);
}
void DrawPictureGreenToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    int64_t sourceX, int64_t sourceY) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY, kGreen);
}
void DrawPictureBlueToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                   int64_t destY, int64_t destWidth, int64_t destHeight) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, 0, 0, kBlue);
}
void DrawPictureBlueToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                   int64_t destY, int64_t destWidth, int64_t destHeight,
                                   int64_t sourceX, int64_t sourceY) {
  DrawPicture(instance, pic, destX, destY, destWidth, destHeight, sourceX, sourceY, kBlue);
}
