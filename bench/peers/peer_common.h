// What every peer program shares: the workloads, the test image (painted exactly as
// bench/scale_bench.cpp paints it) and the timing (the fastest run after a warm-up, wall time and
// the CPU time of the whole process, so that a second thread shows).
#pragma once

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace peer {

struct Workload {
  const char* id;
  int channels;  // 4 RGBA, 3 RGB, 1 gray
  int sw, sh, dw, dh;
};

inline const Workload kWorkloads[] = {
    {"W1", 4, 6000, 4000, 1500, 1000}, {"W2", 4, 6000, 4000, 600, 400},
    {"W3", 3, 1000, 667, 3000, 2000},  {"W4", 1, 6000, 4000, 1500, 1000},
    {"W5", 3, 6000, 4000, 3000, 2000},
};

inline const Workload* Find(const std::string& id) {
  for (const Workload& w : kWorkloads) {
    if (id == w.id) return &w;
  }
  return nullptr;
}

inline std::vector<uint8_t> Paint(int width, int height, int pixelSize) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * pixelSize);
  std::mt19937 random(1234);
  for (int64_t y = 0; y < height; ++y) {
    uint8_t* row = pixels.data() + y * width * pixelSize;
    for (int64_t x = 0; x < width; ++x) {
      for (int64_t b = 0; b < pixelSize; ++b) {
        double v = 255.0 * x / width * (b + 1) / pixelSize;
        v += 40 * std::sin(x * 0.05 + b) * std::cos(y * 0.07);
        if ((x / 97 + y / 61) % 2) v = 255 - v;
        if (x % 151 == 0 || y % 173 == 0) v = 20;
        v += static_cast<int>(random() % 9) - 4;
        row[x * pixelSize + b] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
      }
    }
  }
  return pixels;
}

inline double Now(clockid_t clock) {
  timespec t;
  clock_gettime(clock, &t);
  return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

// Runs `work` once to warm up, then PEER_RUNS times (9 when unset); prints the fastest run:
//   peer workload variant threads wall_ms cpu_ms
// run_peers.sh sets PEER_RUNS=1 and calls each program once per round, between our own runs.
inline void Time(const char* peer, const char* workload, const char* variant, int threads,
                 const std::function<void()>& work) {
  const char* chosen = std::getenv("PEER_RUNS");
  const int runs = chosen && std::atoi(chosen) > 0 ? std::atoi(chosen) : 9;
  work();
  double wall = 1e300, cpu = 1e300;
  for (int i = 0; i < runs; ++i) {
    double w0 = Now(CLOCK_MONOTONIC), c0 = Now(CLOCK_PROCESS_CPUTIME_ID);
    work();
    wall = std::min(wall, Now(CLOCK_MONOTONIC) - w0);
    cpu = std::min(cpu, Now(CLOCK_PROCESS_CPUTIME_ID) - c0);
  }
  std::printf("%s %s %s %d %.2f %.2f\n", peer, workload, variant, threads, wall, cpu);
  std::fflush(stdout);
}

}  // namespace peer
