// The fuzzer's interpreter: each step is an opcode byte and the bytes its operation reads, to make
// or drop images, set properties, arm the host's fault injection or call any registered member
// (found through its declaration, so later members are fuzzed too) with arguments from a small
// vocabulary. The meaning of every byte stays fixed: the committed inputs replay the same calls.
#include "fuzz/fuzz_driver.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/emulated_host.h"
#include "reliability/reliability_support.h"

namespace xqt::fuzz {
namespace {

using host::Host;
using host::Ref;
using Value = Host::DynamicValue;
using reliability::Lower;
using reliability::OpenDescriptors;

constexpr size_t kPoolSize = 8;
constexpr size_t kMaxSteps = 24;
constexpr int64_t kMaxSide = 40;

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return pos_ >= size_; }
  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint32_t Word() {
    uint32_t w = 0;
    for (int i = 0; i < 4; ++i) w = (w << 8) | Byte();
    return w;
  }
  template <class T, size_t N>
  T Pick(const T (&table)[N]) {
    return table[Byte() % N];
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

constexpr int64_t kMin = std::numeric_limits<int64_t>::min(), kMax = -(kMin + 1), kBit = 1;
constexpr int64_t kMin32 = std::numeric_limits<int32_t>::min(), kMax32 = -(kMin32 + 1);

// Extremes for any integer: sign and width boundaries, and sizes whose products overflow.
constexpr int64_t kExtremes[] = {
    kMin,       kMax,          kMin32,     kMax32, kBit << 31, (kBit << 32) + 1,
    kBit << 40, -(kBit << 40), kBit << 62, -1,     -2,         -1000};
// Extremes for a width or height: every product with another side of at least one is refused by
// the host's allocator or overflows, so no sequence asks for a real multi-gigabyte block.
constexpr int64_t kSideExtremes[] = {kMin, kMax, kBit << 40, kBit << 62, -1, -70};
constexpr int64_t kMiddles[] = {100, 255, 256, 257, 1000, 4096, 65535, 65536};
constexpr int64_t kSideMiddles[] = {63, 64, 65, 100, 129};

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(),
                 kInf = std::numeric_limits<double>::infinity();
const double kDoubles[] = {0.0,   1.0,    0.5,  -1.0, 2.2,   255.0,        1e-310,
                           1e308, -1e308, kNaN, kInf, -kInf, double(kMax), -0.0};

bool Is(const std::string& type, const char* name) { return Lower(type) == Lower(name); }

bool IsSide(const std::string& name) {
  const std::string n = Lower(name);
  // Radii too: an area filter's work grows with their square, and a sequence must stay quick.
  return n == "w" || n == "h" || n.find("width") != std::string::npos ||
         n.find("height") != std::string::npos || n.find("radius") != std::string::npos;
}

struct World {
  World() {
    host.Load(Host::DefaultPluginPath());
    const host::ClassInfo* picture = host.FindClass("PictureXQT");
    const host::ClassInfo* factory = host.FindClass("PictureFactoryXQT");
    if (picture == nullptr) throw std::runtime_error("PictureXQT is not registered");
    for (const auto& m : picture->methods) {
      if (!Is(m.declaration.name, "Constructor")) methods.push_back(&m);
    }
    for (const auto& m : picture->sharedMethods) shared.push_back(&m);
    for (size_t i = 0; factory && i < factory->sharedMethods.size(); ++i) {
      shared.push_back(&factory->sharedMethods[i]);
    }
    // A folder of this process's own for the backing files that inputs name.
    std::error_code failed;
    auto base = std::filesystem::temp_directory_path(failed);
    for (int attempt = 0; !failed && folder.empty() && attempt < 100; ++attempt) {
      auto candidate = base / ("xqt-fuzz-" + std::to_string(std::random_device{}()));
      if (std::filesystem::create_directory(candidate, failed)) folder = candidate.string();
    }
  }
  Host host;
  std::vector<const host::ClassInfo::Member*> methods, shared;
  std::string folder;
};

// The world lives as long as the process, so that the plug-in stays loaded; its folder is removed
// when the process ends.
World& TheWorld() {
  static World* world = new World();
  [[maybe_unused]] static const int removal = std::atexit([] {
    std::error_code ignored;
    if (!world->folder.empty()) std::filesystem::remove_all(world->folder, ignored);
  });
  return *world;
}

class Sequence {
 public:
  Sequence(World& w, Reader& r) : w_(w), r_(r) {}

  void Run() {
    for (size_t step = 0; step < kMaxSteps && !r_.empty(); ++step) {
      uint8_t op = r_.Byte();
      try {
        const int kind = op % 10;
        if (kind == 4) ArmFault();
        if (kind <= 1) {
          MakeImage();
        } else if (kind == 2) {
          Drop();
        } else if (kind == 3) {
          SetProperty();
        } else if (kind == 5) {
          CallShared();
        } else {
          CallMember();
        }
      } catch (const std::logic_error&) {
        // a call the host itself would not make (no matching overload)
      } catch (const std::runtime_error&) {
        // a refusal: the plug-in's exception, or a host-side creation failing under injection
      }
      reliability::ArmFaults(w_.host, 0, 0);
    }
  }

  std::vector<std::string> paths;

 private:
  void Keep(Ref ref) {
    if (!ref) return;
    if (ref.ClassName() != "PictureXQT") return;  // views and results are PictureXQT
    if (pool_.size() >= kPoolSize) pool_.erase(pool_.begin() + (r_.Byte() % pool_.size()));
    pool_.push_back(std::move(ref));
  }

  int64_t Side() {
    const uint8_t b = r_.Byte();
    return b < 200 ? b % (kMaxSide + 1) : b < 230 ? r_.Pick(kSideMiddles) : r_.Pick(kSideExtremes);
  }

  int64_t Format() {
    const uint8_t b = r_.Byte();
    return b < 240 ? b % 50 : r_.Pick(kExtremes);
  }

  void MakeImage() {
    uint8_t kind = r_.Byte() % 5;
    Host& h = w_.host;
    if (kind == 0) {
      Keep(h.New("PictureXQT", Side(), Side(), Format()));
    } else if (kind == 1) {
      // Over a caller's block: the block is sized from an in-memory twin, since the caller answers
      // for the row size and the block's size.
      const int64_t width = Side() % (kMaxSide + 1), height = Side() % (kMaxSide + 1);
      const int64_t format = Format();
      Ref twin = h.New("PictureXQT", width < 0 ? 0 : width, height < 0 ? 0 : height, format);
      int64_t rowSize = twin.Get<int64_t>("RowSize");
      if (rowSize <= 0 || height <= 0) return;
      int64_t padding = r_.Byte() % 9;
      Ref block = h.NewMemoryBlock((rowSize + padding) * height);
      Keep(h.New("PictureXQT", block, width, height, format, rowSize + padding));
    } else if (kind == 2) {
      // File-mapped: small sides only, so that no sequence writes gigabytes to disk.
      const int64_t width = r_.Byte() % (kMaxSide + 1), height = r_.Byte() % (kMaxSide + 1);
      const int64_t format = Format();
      int64_t blockSize = (r_.Byte() & 1) ? r_.Pick(kExtremes) : int64_t{r_.Byte()} * 4096;
      Ref folder;
      if ((r_.Byte() & 1) && !w_.folder.empty()) {
        folder = h.NewFolderItem(w_.folder + "/mapped-" + std::to_string(r_.Byte()));
      }
      Ref image = folder ? h.New("PictureXQT", width, height, format, blockSize, folder)
                         : h.New("PictureXQT", width, height, format, blockSize, nullptr);
      try {
        paths.push_back(image.Get<std::string>("FilePath"));
      } catch (const std::exception&) {
      }
      Keep(std::move(image));
    } else if (kind == 3) {
      const int64_t width = r_.Byte() % 33, height = r_.Byte() % 33, p = r_.Byte() % 3;
      // A desktop picture reads two bytes: the first once chose a bitmap layout and is skipped,
      // so that committed inputs keep their meaning; the second gives the alpha channel.
      Ref picture = p == 0 ? h.NewConsolePicture(width, height, true)
                    : p == 1
                        ? h.NewConsolePicture(width, height, false)
                        : h.NewDesktopPicture(width, height, (r_.Byte(), (r_.Byte() & 1) != 0));
      Keep(h.New("PictureXQT", picture, (r_.Byte() & 1) != 0));
      if (pictures_.size() < 4) pictures_.push_back(std::move(picture));
    } else {
      Keep(h.New("PictureXQT", Side(), Side(), int64_t{r_.Byte() % 49}));
    }
  }

  void Drop() {
    if (!pool_.empty()) pool_.erase(pool_.begin() + (r_.Byte() % pool_.size()));
  }

  void SetProperty() {
    if (pool_.empty()) return;
    const Ref& image = pool_[r_.Byte() % pool_.size()];
    static const char* const kProperties[] = {"YieldTicks",  "MappingBlockSize", "RedOffset",
                                              "GreenOffset", "BlueOffset",       "GrayOffset",
                                              "AlphaOffset"};
    const char* name = r_.Pick(kProperties);
    int64_t value = (r_.Byte() & 1) ? r_.Pick(kExtremes) : int64_t{r_.Byte()} - 16;
    image.Set(name, value);
  }

  // The next one to three creations of one kind fail.
  void ArmFault() {
    const uint8_t b = r_.Byte();
    reliability::ArmFaults(w_.host, b % 3, 1 + (b >> 4) % 3);
  }

  REALobject AnyImage() {
    const uint8_t b = r_.Byte();
    return pool_.empty() || b % 8 == 0 ? nullptr : pool_[b % pool_.size()].get();
  }

  Value Argument(const host::Declaration::Param& param) {
    Value v;
    const std::string& type = param.type;
    if (Is(type, "integer") || Is(type, "int64") || Is(type, "int32") || Is(type, "color")) {
      const uint8_t b = r_.Byte();  // read for a colour too, then unused
      const bool side = IsSide(param.name);
      v.integer = Is(type, "color") ? int64_t{r_.Word()}
                  : b < 150         ? (side ? b % (kMaxSide + 1) : int64_t{b % 80} - 8)
                  : b < 210         ? (side ? r_.Pick(kSideMiddles) : r_.Pick(kMiddles))
                                    : (side ? r_.Pick(kSideExtremes) : r_.Pick(kExtremes));
    } else if (Is(type, "boolean")) {
      v.integer = r_.Byte() & 1;
    } else if (Is(type, "double")) {
      const uint8_t b = r_.Byte();
      v.type = Value::Type::Double;
      v.real =
          b < 128 ? static_cast<double>(static_cast<int8_t>(r_.Byte())) / 16.0 : r_.Pick(kDoubles);
    } else if (Is(type, "string")) {
      v.type = Value::Type::String;
      const uint8_t b = r_.Byte() % 4;
      v.text = b == 0 ? "" : b == 1 ? "Red" : b == 2 ? std::string(5000, 'x') : "\xff\xfe";
    } else if (Is(type, "ptr")) {
      v.type = Value::Type::Ptr;  // nil: no caller can vouch for an address the fuzzer invents
    } else if (Is(type, "String()")) {
      v.type = Value::Type::Object;
      if (const uint8_t b = r_.Byte() % 3; b > 0) {
        arrays_.push_back(
            w_.host.NewStringArray(std::vector<std::string>(b == 1 ? 0 : 1000, "Red")));
        v.object = arrays_.back().get();
      }
    } else if (Is(type, "MemoryBlock")) {
      v.type = Value::Type::Object;
      if (const uint8_t b = r_.Byte() % 4; b > 0) {
        blocks_.push_back(w_.host.NewMemoryBlock(b == 1 ? 0 : b == 2 ? 16 : 64 * 1024));
        v.object = blocks_.back().get();
      }
    } else if (Is(type, "Picture")) {
      v.type = Value::Type::Object;
      if (const uint8_t b = r_.Byte() % 4; b > 0) {
        const int64_t width = r_.Byte() % 33, height = r_.Byte() % 33;
        // Palette pictures come in through MakeImage; adding them here would change what every
        // committed input means.
        pictures_.push_back(b == 1 ? w_.host.NewConsolePicture(width, height, true)
                                   : w_.host.NewDesktopPicture(width, height, (r_.Byte(), b == 2)));
        v.object = pictures_.back().get();
      }
    } else {
      v.type = Value::Type::Object;
      v.object = AnyImage();  // PictureXQT, or nil for other classes after coercion
    }
    return v;
  }
  void Call(const host::ClassInfo::Member& member, REALobject self, bool shared) {
    std::vector<Value> args;
    for (const auto& param : member.declaration.params) args.push_back(Argument(param));
    // XQT_FUZZ_TRACE=1 prints each call before it is made, to turn a crash into a regression test.
    if (std::getenv("XQT_FUZZ_TRACE") != nullptr) {
      std::fprintf(stderr, "call %s on %p:", member.entry->declaration, static_cast<void*>(self));
      for (const Value& v : args) {
        using T = Value::Type;
        if (v.type == T::Double) std::fprintf(stderr, " %g", v.real);
        if (v.type == T::Object) std::fprintf(stderr, " obj %p", static_cast<void*>(v.object));
        if (v.type == T::String) std::fprintf(stderr, " str(%zu)", v.text.size());
        if (v.type != T::Double && v.type != T::Object && v.type != T::String) {
          std::fprintf(stderr, " %lld", static_cast<long long>(v.integer));
        }
      }
      std::fprintf(stderr, "\n");
    }
    Host::DynamicResult result = w_.host.CallDeclared(self, member, args, shared);
    if (result.value.type == Value::Type::Object && result.value.object != nullptr) {
      Keep(Ref::Adopt(result.value.object));
    }
    arrays_.clear();
  }

  void CallMember() {
    if (pool_.empty() || w_.methods.empty()) return;
    uint8_t b = r_.Byte();
    const Ref self = pool_[r_.Byte() % pool_.size()];
    Call(*w_.methods[(size_t{b} << 8 | r_.Byte()) % w_.methods.size()], self.get(), false);
  }

  void CallShared() {
    if (w_.shared.empty()) return;
    const auto& member = *w_.shared[r_.Byte() % w_.shared.size()];
    if (Is(member.declaration.name, "SetFactory")) return;  // needs a factory subclass
    Call(member, nullptr, true);
  }

  World& w_;
  Reader& r_;
  std::vector<Ref> arrays_, pictures_, blocks_, pool_;  // released in the reverse order
};

}  // namespace

size_t ReachableMembers() {
  World& w = TheWorld();
  return w.methods.size() + w.shared.size();
}

std::string RunSequence(const uint8_t* data, size_t size) {
  World& w = TheWorld();
  const int64_t descriptors = OpenDescriptors();
  std::vector<std::string> paths;
  {
    Reader reader(data, size);
    Sequence sequence(w, reader);
    sequence.Run();
    paths = std::move(sequence.paths);
  }
  std::string left = reliability::LeftInHost(w.host);
  if (const int64_t now = OpenDescriptors(); now != descriptors) {
    left += "descriptors: " + std::to_string(descriptors) + " before, " + std::to_string(now) +
            " after\n";
  }
  for (const std::string& path : paths) {
    std::error_code ec;
    if (!path.empty() && std::filesystem::remove(path, ec))
      left += "backing file left: " + path + "\n";
  }
  return left;
}

}  // namespace xqt::fuzz
