// The emulated host: the host's side of the plug-in interface, for tests, tools and benchmarks.
//
// A Host loads the plug-in (a private copy of libImages.so through dlopen, or an entry point linked
// in), hands REALPluginMain a resolver, and implements every entry point the plug-in looks up. Code
// that uses it reads like application code:
//
//   xqt::host::Host host;
//   host.Load("build/libImages.so");
//   auto image = host.New("PictureXQT", 640, 480, int64_t{2});
//   int64_t rowSize = image.Get<int64_t>("RowSize");
//   bool ok = image.Call<bool>("FillRect", 255, 0, 0, 255);
//
// Members are found by name and by the types of the C++ arguments, matched against the parsed
// declarations the plug-in registered: integral types match Integer / Int64, bool matches Boolean,
// double matches Double, Color matches Color, Ref / REALobject / nullptr match object types (the
// object's class must be the declared one or derive from it), strings match String, void* matches
// Ptr. Every declared parameter must be passed, defaults included. A host exception raised by the
// plug-in during a call is thrown as HostException once the call returns.
//
// Only one Host exists at a time (the plug-in's entry points carry no context); it is reachable
// through Host::Current().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "plugin/host_interface.h"

namespace xqt::host {

class Host;

// A host exception raised by the plug-in and delivered to the caller.
class HostException : public std::runtime_error {
 public:
  HostException(std::string className, std::string message);
  const std::string& className() const { return className_; }
  const std::string& message() const { return message_; }

 private:
  std::string className_;
  std::string message_;
};

// A host Color: red in bits 16-23, green in 8-15, blue in 0-7, the top byte the host's alpha.
struct Color {
  uint32_t value = 0;
};

// An owning reference to a host object: unlocks at destruction, locks on copy.
class Ref {
 public:
  Ref() = default;
  // Takes over one reference that the caller already holds.
  static Ref Adopt(REALobject object);
  // Takes a new reference.
  static Ref Retain(REALobject object);
  Ref(const Ref& other);
  Ref(Ref&& other) noexcept;
  Ref& operator=(const Ref& other);
  Ref& operator=(Ref&& other) noexcept;
  ~Ref();

  REALobject get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  REALobject release();  // gives up the reference without unlocking
  void reset();
  std::string ClassName() const;

  // Instance members, by name and argument types.
  template <class R = void, class... A>
  R Call(std::string_view name, A&&... args) const;
  // Assigns `value` through an assignable method: obj.Assign("Row", memoryBlock, 3) is Row(3) = mb.
  template <class V, class... A>
  void Assign(std::string_view name, V&& value, A&&... args) const;
  template <class T>
  T Get(std::string_view property) const;
  template <class T>
  void Set(std::string_view property, T&& value) const;

 private:
  REALobject object_ = nullptr;
};

// A parsed declaration: "Name(a as integer, b as PictureXQT = nil) as boolean".
struct Declaration {
  struct Param {
    std::string name;
    std::string type;          // as written, e.g. "integer", "PictureXQT", "String()"
    std::string defaultValue;  // empty when none
  };
  std::string name;
  std::vector<Param> params;
  std::string returnType;  // empty for none
  static Declaration Parse(std::string_view text);
};

// A property's name, and whether its attribute list holds "Hidden", which keeps it out of the
// host's lists.
std::string_view PropertyName(const REALproperty& property);
bool IsHidden(const REALproperty& property);

// What the host knows of a registered plug-in class.
struct ClassInfo {
  std::string name;
  std::string superName;
  const REALclassDefinition* definition = nullptr;  // null for host and test classes
  int64_t dataOffset = 0;
  uint32_t controlVersion = 0;
  struct Member {
    Declaration declaration;
    const REALmethodDefinition* entry;
  };
  std::vector<Member> methods;
  std::vector<Member> sharedMethods;
  // Event implementations of a test-defined subclass, by event name.
  std::vector<std::pair<std::string, void*>> eventImplementations;
};

// Host behaviour that tests and tools choose before loading the plug-in.
enum class AppKind { Desktop, Console, Web };
// How desktop pictures are held: cairo contexts over image surfaces (kind 12, Linux) or
// Direct2D's premultiplied B, G, R, A bytes (kind 14, Windows).
enum class DesktopPictures { kCairo, kDirect2D };
#if defined(_WIN32)
inline constexpr DesktopPictures kSystemDesktopPictures = DesktopPictures::kDirect2D;
#else
inline constexpr DesktopPictures kSystemDesktopPictures = DesktopPictures::kCairo;
#endif

struct HostOptions {
  double version = 2021.03;  // what REALGetRBVersion reports
  bool inRuntime = true;     // false: the development environment
  // Desktop applications keep pictures in their graphics library, console and web ones in gd.
  AppKind appKind = AppKind::Desktop;
  DesktopPictures desktopPictures = kSystemDesktopPictures;
};

class Host {
 public:
  explicit Host(HostOptions options = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  static Host& Current();

  // Loads a private copy of the plug-in, so every Host starts from fresh plug-in state, and calls
  // its REALPluginMain. Throws std::runtime_error when the library or the entry point is missing.
  void Load(const std::string& pluginPath);
  // Calls an entry point linked into the process (the static library in unit tests).
  void Attach(REALPluginMainProc pluginMain);
  // The path of libImages.so beside the running executable, or $XQT_PLUGIN when set.
  static std::string DefaultPluginPath();

  const HostOptions& options() const;
  void SetVersion(double version);
  void SetInRuntime(bool inRuntime);

  // What the plug-in registered.
  int32_t RegisteredPluginVersion() const;  // argument of RegisterPluginVersion, -1 when not called
  // Names the plug-in asked the resolver for that the host does not have, in order of asking.
  std::vector<std::string> UnknownEntryPoints() const;
  const ClassInfo* FindClass(std::string_view name) const;
  std::vector<const ClassInfo*> PluginClasses() const;  // in registration order

  // Application side: instances, shared members.
  template <class... A>
  Ref New(std::string_view className, A&&... constructorArgs);
  template <class R = void, class... A>
  R CallShared(std::string_view className, std::string_view name, A&&... args);
  template <class T>
  T GetShared(std::string_view className, std::string_view property);
  template <class T>
  void SetShared(std::string_view className, std::string_view property, T&& value);

  // Test-defined subclasses implementing events: handlers take the instance first, then the event's
  // parameters in their C types.
  void DefineSubclass(std::string_view name, std::string_view superName,
                      std::vector<std::pair<std::string, void*>> eventImplementations);

  // Host values.
  Ref NewMemoryBlock(int64_t size);
  Ref MemoryBlockOver(void* data);  // like PtrToMemoryBlock: no size, not owned
  Ref NewFolderItem(std::string path);

  // Host pictures. Desktop pictures are cairo ARGB32 surfaces with an alpha channel and RGB24
  // without (or Direct2D bytes); console pictures are gd images (true colour, or palette ones
  // that the plug-in must refuse).
  Ref NewDesktopPicture(int64_t width, int64_t height, bool hasAlphaChannel);
  // Whether this build has cairo and gd pictures (not on Windows); tests that need them skip.
  static bool HasPictureLibraries();
  Ref NewConsolePicture(int64_t width, int64_t height, bool trueColor = true);
  // A picture of kind `type` (0 HiDPI, 1 vector, 3 immutable) that no plug-in can lock, whose
  // best representation is `representation`.
  Ref NewPictureOfType(int32_t type, const Ref& representation);
  // Pixels as 0xAARRGGBB with alpha 255 opaque, whatever the storage (gd's 7-bit alpha scaled).
  uint32_t PictureARGB(const Ref& picture, int64_t x, int64_t y) const;
  void SetPictureARGB(const Ref& picture, int64_t x, int64_t y, uint32_t argb);
  // The 32-bit word as stored: gd's true-colour word, or the native word of a cairo or Direct2D
  // pixel (alpha or cairo's unused byte on top, then red, green and blue).
  uint32_t PictureWord(const Ref& picture, int64_t x, int64_t y) const;
  Ref PictureMask(const Ref& picture) const;  // nil when it has none
  void SetPictureMask(const Ref& picture, const Ref& mask);
  int64_t PictureCacheClears(const Ref& picture) const;
  // Times `picture` was the image of Graphics.DrawPicture, with the Double or Integer signature.
  int64_t PictureDrawnAsSource(const Ref& picture, bool doubleSignature) const;
  // The scale BestRepresentation was last called with on `picture`, 0 when never.
  double PictureRepresentationScale(const Ref& picture) const;
  // The cairo surface behind a desktop picture (null for other stores).
  void* PictureSurface(const Ref& picture);
  // Description locks taken and not yet released, over all pictures.
  int64_t OpenPictureLocks() const;
  static uint8_t* BlockData(const Ref& block);
  static int64_t BlockSize(const Ref& block);
  Ref NewIntegerArray(const std::vector<int64_t>& values);
  Ref NewStringArray(const std::vector<std::string>& values);
  std::vector<std::string> StringArray(const Ref& array) const;
  std::vector<int64_t> IntegerArray(const Ref& array) const;
  // Host strings (one reference for the caller) and their text.
  REALstring NewString(std::string_view bytes, uint32_t encoding = kREALEncodingUTF8);
  std::string Utf8(REALstring string) const;
  uint32_t Encoding(REALstring string) const;
  void ReleaseString(REALstring string);

  // Accounting: objects and strings alive now.
  int64_t LiveObjects() const;
  int64_t LiveObjects(std::string_view className) const;
  int64_t LiveStrings() const;
  std::string LiveReport() const;  // one line per class with live objects

  // Host exceptions the plug-in raised so far (a second one while one is pending counts but is
  // dropped).
  int64_t RaisedExceptions() const;
  // Misuse of the interface seen so far (unknown objects, unbalanced unlocks, bad arguments, calls
  // from worker threads); the host reports it here instead of crashing.
  std::vector<std::string> ProtocolErrors() const;
  void ClearProtocolErrors();

  // Yields the plug-in made, and an optional hook run at each (progress display).
  int64_t YieldCount() const;
  void OnYield(std::function<void()> hook);

  // Fault injection: the next n of each kind fail.
  void FailNextInstances(int n);     // PluginNewInstance and New return nil
  void FailNextMemoryBlocks(int n);  // the MemoryBlock constructor raises OutOfMemoryException
  void FailNextPictures(int n);      // picture creation returns nil
  // The resolver answers null for this entry point from now on.
  void HideEntryPoint(std::string_view name);

  // Runs `body` as if it were a plug-in member called by the host: an exception it raises through
  // the host arrives as HostException when it returns. For unit tests of plug-in services.
  template <class F>
  void RunAsPluginCall(F&& body) {
    body();
    DeliverPendingException();
  }
  void DeliverPendingException();

  // The machinery behind the member templates (emulated_host_calls.h).
  struct Impl;
  Impl& impl() const { return *impl_; }

  // Reliability support (host_faults.cpp): members called from their parsed declarations at run
  // time, so that fuzzing and fault matrices pick up every registered member.
  struct DynamicValue {
    enum class Type : uint8_t { Integer, Boolean, Double, Color, String, Object, Ptr };
    Type type = Type::Integer;
    int64_t integer = 0;
    double real = 0;
    std::string text;             // String
    REALobject object = nullptr;  // Object, StringArray (borrowed)
    void* pointer = nullptr;
  };
  struct DynamicResult {
    bool called = false;  // false: the declaration uses a type that cannot be passed
    bool raised = false;  // a host exception was pending after the call
    std::string exceptionClass;
    std::string exceptionMessage;
    DynamicValue value;  // an object result carries one reference for the caller
  };
  // Calls `member` (of `methods` or `sharedMethods` of a ClassInfo) on `self` (nil for shared
  // members) with one value per declared parameter; values of the wrong type are coerced to the
  // declared one (an integer for a Boolean, nil for an object of another class). A string result
  // is read and released; a pending host exception is collected, never thrown.
  DynamicResult CallDeclared(REALobject self, const ClassInfo::Member& member,
                             const std::vector<DynamicValue>& args, bool shared = false);
  // Monotonic times (nanoseconds) of the plug-in's yields from now on, replacing any OnYield hook.
  std::shared_ptr<std::vector<int64_t>> RecordYieldTimes();

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace xqt::host

#include "host/emulated_host_calls.h"
