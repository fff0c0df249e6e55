// OpenCV: INTER_CUBIC (Keys, a = -0.75) against our Poly3 when enlarging. Its Lanczos keeps an
// 8-tap window when shrinking, so it is not the same work as ours there and is left out.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "peer_common.h"

int main(int argc, char** argv) {
  for (int threads : {1, 2}) {
    cv::setNumThreads(threads);
    if (argc > 1 && std::string(argv[1]) != "W3") continue;
    const peer::Workload& w = *peer::Find("W3");
    std::vector<uint8_t> pixels = peer::Paint(w.sw, w.sh, w.channels);
    cv::Mat source(w.sh, w.sw, CV_8UC3, pixels.data());
    cv::Mat dest;
    peer::Time("OpenCV", "W3", "cubic", threads,
               [&] { cv::resize(source, dest, cv::Size(w.dw, w.dh), 0, 0, cv::INTER_CUBIC); });
  }
  return 0;
}
