// The plug-in's static library started in an emulated host inside the test process; each test ends
// with no host object left alive.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "host/emulated_host.h"
#include "plugin/plugin_main.h"

class StaticPluginTest : public ::testing::Test {
 protected:
  explicit StaticPluginTest(xqt::host::HostOptions options = {}) : host_(options) {
    host_.Attach(&REALPluginMain);
  }
  ~StaticPluginTest() override { EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport(); }

  // An in-memory image.
  xqt::host::Ref NewImage(int64_t width, int64_t height, int64_t format) {
    return host_.New("PictureXQT", width, height, format);
  }

  xqt::host::Host host_;
};
