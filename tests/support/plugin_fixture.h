// End-to-end fixture: the real libImages.so in a fresh emulated host, and the check that a test
// leaves no host object, string or misuse behind.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "host/emulated_host.h"

// The options of an application's host. On Windows a built application maps files at the 64 KiB
// allocation granularity, while the band arithmetic of the tests is written for the 4 KiB page,
// which the development environment keeps on every system; so Windows runs them in that mode.
inline xqt::host::HostOptions ApplicationHost() {
  xqt::host::HostOptions options;
#if defined(_WIN32)
  options.inRuntime = false;
#endif
  return options;
}

class PluginTest : public ::testing::Test {
 protected:
  explicit PluginTest(xqt::host::HostOptions options = ApplicationHost()) : host_(options) {
    host_.Load(xqt::host::Host::DefaultPluginPath());
  }
  void TearDown() override {
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    EXPECT_EQ(host_.LiveStrings(), 0) << host_.LiveReport();
    for (const std::string& error : host_.ProtocolErrors()) ADD_FAILURE() << error;
  }

  // An in-memory image.
  xqt::host::Ref NewImage(int64_t width, int64_t height, int64_t format) {
    return host_.New("PictureXQT", width, height, format);
  }

  xqt::host::Host host_;
};

// Expects the statement after the message to raise the host exception `expectedClass` with
// `expectedMessage`; the statement comes last so that it may contain commas.
#define EXPECT_HOST_EXCEPTION(expectedClass, expectedMessage, ...) \
  do {                                                             \
    try {                                                          \
      __VA_ARGS__;                                                 \
      ADD_FAILURE() << "no " << expectedClass << " raised";        \
    } catch (const xqt::host::HostException& e) {                  \
      EXPECT_EQ(e.className(), expectedClass);                     \
      EXPECT_EQ(e.message(), expectedMessage);                     \
    }                                                              \
  } while (0)
