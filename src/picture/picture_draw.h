// Reading host pictures into images: colour into the RGB channels, optionally with the picture's
// mask as alpha, or one colour byte into the gray channel.
//
// The mask's sense: a mask is gray, black where the picture shows and white where it does not,
// so alpha is the complement of the mask's gray (255 - gray). InvertMask takes the mask the
// other way round, as an alpha map (alpha = gray). A picture without a mask is opaque in both
// senses. The ApplyMask forms premultiply the colour by that alpha, c x a / 255 rounded, the rule
// of Multiply, so a hidden pixel becomes black; self's alpha, if any, gets the alpha as well.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

void DrawPictureRGB1(REALobject instance, REALpicture pic);
void DrawPictureRGB3(REALobject instance, REALpicture pic, int64_t destX, int64_t destY);
void DrawPictureRGB5(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                     int64_t destWidth, int64_t destHeight);
void DrawPictureRGB7(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                     int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY);

void DrawMaskedPictureRGB2(REALobject instance, REALpicture pic, RBBoolean invertMask);
void DrawMaskedPictureRGB4(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           RBBoolean invertMask);
void DrawMaskedPictureRGB6(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           int64_t destWidth, int64_t destHeight, RBBoolean invertMask);
void DrawMaskedPictureRGB8(REALobject instance, REALpicture pic, int64_t destX, int64_t destY,
                           int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY,
                           RBBoolean invertMask);

void DrawMaskedPictureApplyMaskRGB2(REALobject instance, REALpicture pic, RBBoolean invertMask);
void DrawMaskedPictureApplyMaskRGB4(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, RBBoolean invertMask);
void DrawMaskedPictureApplyMaskRGB6(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    RBBoolean invertMask);
void DrawMaskedPictureApplyMaskRGB8(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    int64_t sourceX, int64_t sourceY, RBBoolean invertMask);

void DrawPictureRedToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                  int64_t destY, int64_t destWidth, int64_t destHeight);
void DrawPictureRedToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                  int64_t destY, int64_t destWidth, int64_t destHeight,
                                  int64_t sourceX, int64_t sourceY);
void DrawPictureGreenToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight);
void DrawPictureGreenToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                    int64_t destY, int64_t destWidth, int64_t destHeight,
                                    int64_t sourceX, int64_t sourceY);
void DrawPictureBlueToGrayChannel5(REALobject instance, REALpicture pic, int64_t destX,
                                   int64_t destY, int64_t destWidth, int64_t destHeight);
void DrawPictureBlueToGrayChannel7(REALobject instance, REALpicture pic, int64_t destX,
                                   int64_t destY, int64_t destWidth, int64_t destHeight,
                                   int64_t sourceX, int64_t sourceY);
