// ImageMagick through Magick++: resize with the named filter. Its memory limits are raised so that
// the pixel cache stays in RAM (run_peers.sh points it at bench/peers/policy.xml, since Debian's
// policy caps what a program may raise), and its thread limit set per run (it only starts a second
// thread on images of 8192 rows or more).
#include <Magick++.h>

#include "peer_common.h"

int main(int argc, char** argv) {
  Magick::InitializeMagick(argv[0]);
  const MagickCore::MagickSizeType lots = MagickCore::MagickSizeType{16} << 30;
  MagickCore::SetMagickResourceLimit(MagickCore::MemoryResource, lots);
  MagickCore::SetMagickResourceLimit(MagickCore::MapResource, lots);
  MagickCore::SetMagickResourceLimit(MagickCore::AreaResource, lots);
  struct Run {
    const char* id;
    const char* variant;
    Magick::FilterTypes filter;
  };
  const Run runs[] = {{"W1", "lanczos", Magick::LanczosFilter},
                      {"W2", "lanczos", Magick::LanczosFilter},
                      {"W3", "mitchell", Magick::MitchellFilter},
                      {"W4", "lanczos", Magick::LanczosFilter},
                      {"W5", "triangle", Magick::TriangleFilter}};
  for (int threads : {1, 2}) {
    MagickCore::SetMagickResourceLimit(MagickCore::ThreadResource, threads);
    for (const Run& run : runs) {
      if (argc > 1 && std::string(argv[1]) != run.id) continue;
      const peer::Workload& w = *peer::Find(run.id);
      std::vector<uint8_t> pixels = peer::Paint(w.sw, w.sh, w.channels);
      const char* map = w.channels == 4 ? "RGBA" : w.channels == 3 ? "RGB" : "I";
      Magick::Image source(w.sw, w.sh, map, Magick::CharPixel, pixels.data());
      peer::Time("ImageMagick", run.id, run.variant, threads, [&] {
        Magick::Image image(source);
        image.filterType(run.filter);
        Magick::Geometry size(w.dw, w.dh);
        size.aspect(true);
        image.resize(size);
      });
    }
  }
  return 0;
}
