#include "host/picture_stores.h"

#include <cstring>
#include <vector>

#include "plugin/host_interface.h"

namespace xqt::host {
namespace {

// Premultiplied B, G, R, A bytes in rows of width × 4: the native word with alpha on top.
class Direct2DStore : public PixelStore {
 public:
  Direct2DStore(int64_t width, int64_t height)
      : width_(width), bytes_(static_cast<size_t>(width * height * 4), 0xFF) {}
  uint32_t Kind() const override { return pictureD2DBytes; }
  void* DescriptionData() override { return bytes_.data(); }
  uint32_t Word(int64_t x, int64_t y) override {
    uint32_t word;
    std::memcpy(&word, At(x, y), 4);
    return word;
  }
  uint32_t ReadARGB(int64_t x, int64_t y) override { return Word(x, y); }
  void WriteARGB(int64_t x, int64_t y, uint32_t argb) override { std::memcpy(At(x, y), &argb, 4); }

 private:
  uint8_t* At(int64_t x, int64_t y) { return bytes_.data() + (y * width_ + x) * 4; }
  int64_t width_;
  std::vector<uint8_t> bytes_;
};

}  // namespace

std::unique_ptr<PixelStore> MakeDirect2DStore(int64_t width, int64_t height) {
  return std::make_unique<Direct2DStore>(width, height);
}

}  // namespace xqt::host
