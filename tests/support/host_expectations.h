// What several end-to-end tests share: a walk over every pixel, integer properties checked as a
// table, and the wording of an argument outside its range.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "host/emulated_host.h"

// Calls `visit(x, y)` for every pixel of a width x height image, row by row.
template <class Visit>
void ForEachPixel(int64_t width, int64_t height, Visit&& visit) {
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 0; x < width; ++x) visit(x, y);
  }
}

// Each named integer property of `object` has its value.
inline void ExpectIntegers(const xqt::host::Ref& object,
                           std::initializer_list<std::pair<const char*, int64_t>> expected) {
  for (auto [name, value] : expected) EXPECT_EQ(object.Get<int64_t>(name), value) << name;
}

// "The parameter index to method Row is too big. Range is 0 to 99, but value is 100."
inline std::string OutOfRange(const char* parameter, const char* method, int64_t low, int64_t high,
                              int64_t value) {
  return std::string("The parameter ") + parameter + " to method " + method + " is too " +
         (value < low ? "small" : "big") + ". Range is " + std::to_string(low) + " to " +
         std::to_string(high) + ", but value is " + std::to_string(value) + ".";
}

// Expects the statement to raise OutOfBoundsException with the message above.
#define EXPECT_OUT_OF_RANGE(parameter, method, low, high, value, ...)                            \
  EXPECT_HOST_EXCEPTION("OutOfBoundsException", OutOfRange(parameter, method, low, high, value), \
                        __VA_ARGS__)
