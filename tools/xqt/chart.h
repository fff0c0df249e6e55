// The demo's test chart, drawn by the application into a PictureXQT through its row addresses:
// a zone plate, a star of spokes, a colour wheel, gradient bars, fine lines, noise texture, block
// lettering and an alpha ramp, so that every operation has something to show.
#pragma once

#include <cstdint>

#include "host/emulated_host.h"
#include "pictures.h"

namespace xqt::tool {

// Draws into an RGB-family image (with or without alpha) of any size.
void DrawChart(const host::Ref& image, const PictureShape& shape);

// Draws a soft vignette mask into a gray image: 0 (keep the source) in the middle, rising to
// 255 (take the background) at the edges.
void DrawRoundMask(const host::Ref& image, const PictureShape& shape);

}  // namespace xqt::tool
