// Where a host picture's pixels live: a real cairo image surface (Linux desktop), Direct2D's plain
// premultiplied bytes (Windows desktop) or a real gd image (consoles). Each store reads and writes
// pixels as 0xAARRGGBB with alpha 255 opaque, and hands out what a description of its kind holds.
// A store whose library a system lacks cannot be made there (picture_stores_missing.cpp).
#pragma once

#include <cstdint>
#include <memory>

namespace xqt::host {

class PixelStore {
 public:
  virtual ~PixelStore() = default;
  virtual uint32_t Kind() const = 0;                // the picture kind its description is locked as
  virtual void* DescriptionData() = 0;              // what that description's pictureData holds
  virtual uint32_t Word(int64_t x, int64_t y) = 0;  // the 32-bit word as stored
  virtual uint32_t ReadARGB(int64_t x, int64_t y) = 0;
  virtual void WriteARGB(int64_t x, int64_t y, uint32_t argb) = 0;
  virtual void* Surface() { return nullptr; }  // a cairo surface, for tests
};

// Opaque white pictures; null when the store cannot be made (size, memory, or no library here).
std::unique_ptr<PixelStore> MakeCairoStore(int64_t width, int64_t height, bool alpha);
std::unique_ptr<PixelStore> MakeGdStore(int64_t width, int64_t height, bool alpha, bool trueColor);
std::unique_ptr<PixelStore> MakeDirect2DStore(int64_t width, int64_t height);

// Whether this build has real cairo and gd pictures.
bool HasPictureLibraries();

}  // namespace xqt::host
