// stb_image_resize: Mitchell and triangle filters, clamped edges, linear colour space (no sRGB
// conversion, like ours); an alpha channel is declared premultiplied, so it is filtered like the
// others, as ours is. Single-threaded.
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#include <stb/stb_image_resize.h>

#include "peer_common.h"

int main(int argc, char** argv) {
  struct Run {
    const char* id;
    const char* variant;
    stbir_filter filter;
  };
  const Run runs[] = {{"W3", "mitchell", STBIR_FILTER_MITCHELL},
                      {"W5", "triangle", STBIR_FILTER_TRIANGLE}};
  for (const Run& run : runs) {
    if (argc > 1 && std::string(argv[1]) != run.id) continue;
    const peer::Workload& w = *peer::Find(run.id);
    std::vector<uint8_t> pixels = peer::Paint(w.sw, w.sh, w.channels);
    std::vector<uint8_t> out(static_cast<size_t>(w.dw) * w.dh * w.channels);
    peer::Time("stb", run.id, run.variant, 1, [&] {
      stbir_resize_uint8_generic(pixels.data(), w.sw, w.sh, 0, out.data(), w.dw, w.dh, 0,
                                 w.channels, w.channels == 4 ? 3 : STBIR_ALPHA_CHANNEL_NONE,
                                 w.channels == 4 ? STBIR_FLAG_ALPHA_PREMULTIPLIED : 0,
                                 STBIR_EDGE_CLAMP, run.filter, STBIR_COLORSPACE_LINEAR, nullptr);
    });
  }
  return 0;
}
