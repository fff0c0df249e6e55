// libvips: vips_reduce (not vips_resize, which first shrinks with a box filter) on a memory image
// tagged for sequential access, written back to memory so that every row is computed once.
#include <vips/vips.h>

#include "peer_common.h"

int main(int argc, char** argv) {
  if (VIPS_INIT(argv[0])) return 1;
  vips_cache_set_max(0);
  struct Run {
    const char* id;
    const char* variant;
    VipsKernel kernel;
  };
  const Run runs[] = {{"W1", "lanczos3", VIPS_KERNEL_LANCZOS3},
                      {"W2", "lanczos3", VIPS_KERNEL_LANCZOS3},
                      {"W4", "lanczos3", VIPS_KERNEL_LANCZOS3},
                      {"W5", "linear", VIPS_KERNEL_LINEAR}};
  for (int threads : {1, 2}) {
    vips_concurrency_set(threads);
    for (const Run& run : runs) {
      if (argc > 1 && std::string(argv[1]) != run.id) continue;
      const peer::Workload& w = *peer::Find(run.id);
      std::vector<uint8_t> pixels = peer::Paint(w.sw, w.sh, w.channels);
      peer::Time("libvips", run.id, run.variant, threads, [&] {
        VipsImage* in = vips_image_new_from_memory(pixels.data(), pixels.size(), w.sw, w.sh,
                                                   w.channels, VIPS_FORMAT_UCHAR);
        vips_image_set_int(in, VIPS_META_SEQUENTIAL, 1);
        VipsImage* out = nullptr;
        if (vips_reduce(in, &out, static_cast<double>(w.sw) / w.dw,
                        static_cast<double>(w.sh) / w.dh, "kernel", run.kernel, nullptr)) {
          std::fprintf(stderr, "%s\n", vips_error_buffer());
          std::exit(1);
        }
        size_t size = 0;
        void* bytes = vips_image_write_to_memory(out, &size);
        g_free(bytes);
        g_object_unref(out);
        g_object_unref(in);
      });
    }
  }
  vips_shutdown();
  return 0;
}
