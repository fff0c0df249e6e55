// Faults the reliability work found outside the plug-in, in the emulated host, kept as tests.
#include <gtest/gtest.h>

#include <cstdint>

#include "support/image_bytes.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::Ref;

class HostRegressions : public PluginTest {};

// Found by the fuzzer: the emulated host's Graphics.DrawPicture read a palette gd picture's
// tpixels, which are null, and crashed; the plug-in reaches it through
// DrawMaskedPictureApplyMaskRGB with a palette console picture. The host now reads palette
// pixels through their colour table, so the drawing shows the picture's colours.
TEST_F(HostRegressions, DrawingAPalettePictureShowsItsColours) {
  if (!xqt::host::Host::HasPictureLibraries()) GTEST_SKIP() << "needs gd pictures";
  Ref image = NewImage(16, 16, 2);
  Ref palette = host_.NewConsolePicture(16, 16, false);
  for (int64_t y = 0; y < 16; ++y) {
    for (int64_t x = 0; x < 16; ++x) {
      host_.SetPictureARGB(palette, x, y, 0xFF000000u | (x % 3 == 0 ? 0xFF0000u : 0x0000FFu));
    }
  }
  image.Call("DrawMaskedPictureApplyMaskRGB", palette, false);
  for (int64_t x : {0, 1, 2, 3, 15}) {
    const uint8_t* pixel = Pixel(image, x, 7);
    const bool red = x % 3 == 0;
    EXPECT_EQ(pixel[0], red ? 255 : 0) << x;
    EXPECT_EQ(pixel[2], red ? 0 : 255) << x;
    EXPECT_EQ(pixel[3], 255) << x;
  }
}

}  // namespace
