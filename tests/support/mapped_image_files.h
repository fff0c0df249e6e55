// File-mapped images whose temporary backing files land in a scratch folder left empty at the end.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "host/emulated_host.h"
#include "support/scratch_folder.h"

// The page bands are counted in, and the smallest band of an image larger than it.
inline constexpr int64_t kPage = 4096, kMiB16 = kPage * kPage;

// `Base` is the fixture that owns `host_` (the static library's or the real plug-in's).
template <class Base>
class MappedImagesTest : public Base {
 protected:
  using Base::Base;
  ~MappedImagesTest() override { EXPECT_TRUE(scratch_.IsEmpty()) << "backing file left behind"; }

  // A file-mapped image over a temporary file; RGB unless told.
  xqt::host::Ref NewMapped(int64_t width, int64_t height, int64_t format = 1,
                           int64_t blockSize = 0) {
    return this->host_.New("PictureXQT", width, height, format, blockSize, nullptr);
  }

  ScratchFolder scratch_{"xqt-mapped"};
};
