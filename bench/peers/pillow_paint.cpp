// Writes a workload's source image to stdout, for the Pillow script.
#include <unistd.h>

#include "peer_common.h"

int main(int argc, char** argv) {
  const peer::Workload* w = argc > 1 ? peer::Find(argv[1]) : nullptr;
  if (!w) return 1;
  std::vector<uint8_t> pixels = peer::Paint(w->sw, w->sh, w->channels);
  size_t done = 0;
  while (done < pixels.size()) {
    ssize_t n = write(1, pixels.data() + done, pixels.size() - done);
    if (n <= 0) return 1;
    done += static_cast<size_t>(n);
  }
  return 0;
}
