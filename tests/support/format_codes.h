// Image format codes as an application passes them, and the list of every valid code.
#pragma once

#include <cstdint>
#include <vector>

inline constexpr int64_t kRGB = 1, kRGBA = 2, kRGBX = 3, kARGB = 4, kXRGB = 5, kBGR = 6, kBGRA = 7,
                         kBGRX = 8, kABGR = 9, kXBGR = 10, kG = 11, kGA = 12, kAG = 13,
                         kRofRGB = 15, kBuffer = 22, kCMYK = 23, kCMYKA = 24, kCMYKX = 26,
                         kKYMC = 28, kKYMCA = 29, kAKYMC = 30, kScaling3 = 35, kScaling4 = 36,
                         kScaling5 = 37, kGray16 = 41, kG5 = 45;

// Every format code; 14 is the one gap in 1 to 48.
inline std::vector<int64_t> AllFormats() {
  std::vector<int64_t> codes;
  for (int64_t code = 1; code <= 48; ++code) {
    if (code != 14) codes.push_back(code);
  }
  return codes;
}
