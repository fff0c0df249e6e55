#include "filters/pixel_simd.h"

#include "platform/cpu_features.h"

bool QuadLayout(const ImageClassData& image, bool withAlpha, QuadOffsets& quad) {
  if (image.PixelSize != 4 || !image.HasRed || !image.HasGreen || !image.HasBlue) return false;
  if (withAlpha && !image.HasAlpha) return false;
  const int64_t offsets[4] = {image.RedOffset, image.GreenOffset, image.BlueOffset,
                              withAlpha ? image.AlphaOffset : -1};
  unsigned seen = 0;
  for (int64_t offset : offsets) {
    if (offset == -1 && !withAlpha) continue;
    if (offset < 0 || offset > 3 || (seen & (1u << offset)) != 0) return false;
    seen |= 1u << offset;
  }
  // Without alpha the fourth byte is the one no colour uses.
  int spare = 0;
  while (seen & (1u << spare)) ++spare;
  quad = {static_cast<int>(offsets[0]), static_cast<int>(offsets[1]), static_cast<int>(offsets[2]),
          withAlpha ? static_cast<int>(offsets[3]) : spare};
  return true;
}

PremultiplyRowProc ActivePremultiplyRow() {
  return platform::LevelAllowed(platform::SimdLevel::kAVX2) ? PremultiplyRowAVX2() : nullptr;
}
LuminanceRowProc ActiveLuminanceRow() {
  return platform::LevelAllowed(platform::SimdLevel::kAVX2) ? LuminanceRowAVX2() : nullptr;
}
GrayRowProc ActiveGrayRow() {
  return platform::LevelAllowed(platform::SimdLevel::kAVX2) ? GrayRowAVX2() : nullptr;
}
