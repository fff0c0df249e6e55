// Internals of the emulated host shared by its source files. Not for users of the host.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/emulated_host.h"

namespace xqt::host {

using detail::Kind;

// Case-insensitive comparison of ASCII names, as the host compares member and class names.
std::string Lower(std::string_view text);
bool SameName(std::string_view a, std::string_view b);
// Lower case without any whitespace: the form in which declarations are compared.
std::string Squeeze(std::string_view text);

// What a declared type name means to the host. Arrays ("String()") and classes are objects.
struct TypeRef {
  Kind kind = Kind::None;
  std::string className;  // objects: the class name as written, arrays with their "()"
};
TypeRef ClassifyType(std::string_view type);
const char* KindName(Kind kind);

// Encodings: converts `bytes` from one host encoding to another; false when either encoding is
// unsupported or the text cannot be represented.
bool ConvertEncoding(std::string_view bytes, uint32_t from, uint32_t to, std::string& out);

// State kept for the built-in classes, outside the instance data so that plug-in subclasses of
// them keep the common data offset.
enum class PayloadKind : uint8_t { None, Block, Exception, Folder, Array, Picture, Graphics };
struct PictureData;
struct Payload {
  PayloadKind kind = PayloadKind::None;
  // MemoryBlock
  uint8_t* data = nullptr;
  int64_t size = 0;
  bool owned = false;
  // Exceptions (Message, ErrorNumber) and folder items (NativePath)
  REALstring text = nullptr;
  int64_t number = 0;
  // Arrays
  int32_t arrayType = -1;
  std::vector<int64_t> ints;
  std::vector<REALstring> strings;
  std::vector<REALobject> objects;  // also: the picture a Graphics draws into
  // Pictures
  std::shared_ptr<PictureData> picture;
};

struct ClassRec;

// The header of every host object; instance data follows at kDataOffset.
struct Object {
  ClassRec* cls = nullptr;
  int64_t refs = 0;
  Payload* payload = nullptr;
  bool dying = false;
};
// The instance-data offset the host writes into every class definition it registers.
inline constexpr int64_t kDataOffset = (sizeof(Object) + 15u) & ~size_t{15};

inline Object* AsObject(REALobject object) { return reinterpret_cast<Object*>(object); }
inline REALobject AsReal(Object* object) { return reinterpret_cast<REALobject>(object); }
inline uint8_t* InstanceData(Object* object) {
  return reinterpret_cast<uint8_t*>(object) + kDataOffset;
}

struct StringRec {
  int64_t refs = 1;
  uint32_t encoding = kREALEncodingMacRoman;
  std::string bytes;
};
inline StringRec* AsString(REALstring string) { return reinterpret_cast<StringRec*>(string); }
inline REALstring AsReal(StringRec* string) { return reinterpret_cast<REALstring>(string); }

enum class Origin : uint8_t { Plugin, Builtin, Test };

struct ClassRec {
  ClassInfo info;
  Origin origin = Origin::Plugin;
  // The plug-in's or the host's definition; null for test-defined subclasses.
  const REALclassDefinition* def = nullptr;
  PayloadKind payload = PayloadKind::None;
  int32_t arrayType = -1;
  int64_t live = 0;
};

// A property found by name, with the object it applies to (null for shared properties).
struct PropertyRef {
  const REALproperty* entry = nullptr;
  TypeRef type;
  Object* object = nullptr;
  size_t dataSize = 0;
};

struct Host::Impl {
  explicit Impl(HostOptions opts);

  HostOptions options;
  std::thread::id owner = std::this_thread::get_id();
  void* library = nullptr;
  bool started = false;
  int32_t pluginVersion = -1;
  // Names the plug-in asked the resolver for that this host does not offer.
  std::vector<std::string> unknownEntries;
  // The events of every registered definition, in registration order; the value the host writes
  // into an event's forSystemUse is kEventIndexBase plus its place here.
  std::vector<const REALevent*> events;
  static constexpr int64_t kEventIndexBase = 0x45560000;

  std::vector<std::unique_ptr<ClassRec>> classes;
  std::unordered_map<std::string, ClassRec*> byName;  // lower-case names
  std::unordered_set<Object*> objects;
  std::unordered_set<StringRec*> strings;
  std::unordered_map<const void*, std::unique_ptr<std::string>> stringData;

  REALobject pending = nullptr;
  int64_t raised = 0;
  int64_t yields = 0;
  std::function<void()> yieldHook;
  int failInstances = 0;
  int failBlocks = 0;
  int failPictures = 0;
  std::unordered_set<std::string> hidden;
  bool tearingDown = false;

  mutable std::mutex errorMutex;
  std::vector<std::string> errors;

  // Misuse of the interface by the plug-in: recorded, never fatal.
  void Complain(std::string what);
  void CheckThread(const char* entry);

  // Classes.
  ClassRec* Find(std::string_view name) const;
  ClassRec* Super(const ClassRec* cls) const;
  std::vector<ClassRec*> Chain(ClassRec* cls) const;  // the class first, then its ancestors
  bool Derives(ClassRec* cls, std::string_view ancestor) const;
  ClassRec* AddClass(std::string name, std::string superName, Origin origin,
                     const REALclassDefinition* def);
  void Register(REALclassDefinition* def, Origin origin);
  void RegisterBuiltins();
  size_t DataSize(ClassRec* cls) const;

  // Objects.
  Object* Live(REALobject object, const char* entry);  // null (and a complaint) when not live
  REALobject NewInstance(ClassRec* cls);
  void Lock(REALobject object);
  void Unlock(REALobject object);
  void Destroy(Object* object);
  bool IsA(REALobject object, std::string_view className) const;
  Payload* PayloadOf(REALobject object, PayloadKind kind, const char* entry);

  // Strings.
  StringRec* LiveString(REALstring string, const char* entry);
  REALstring MakeString(std::string bytes, uint32_t encoding);
  void LockString(REALstring string);
  void UnlockString(REALstring string);
  // Text of a string in UTF-8; nil is empty. False when it cannot be converted.
  bool ToUtf8(REALstring string, std::string& out);

  // Exceptions.
  void Raise(REALobject exception);
  void RaiseNew(const char* className, const std::string& message);
  // Clears a pending exception and throws it as HostException.
  void Deliver();

  // Properties by name.
  bool FindProperty(Object* object, ClassRec* cls, bool shared, std::string_view name,
                    PropertyRef& out);
  bool ReadProperty(const PropertyRef& prop, Kind want, detail::Value& out, std::string& why);
  bool WriteProperty(const PropertyRef& prop, const detail::Value& value, std::string& why);

  void Start(REALPluginMainProc pluginMain);
  void TearDown();
};

// Pictures (pictures.cpp): the host classes Picture and Graphics, and the picture entry points.
void RegisterPictureClasses(Host::Impl& impl);
void* PictureEntryPoint(std::string_view name);
// False for a host method that a host of `version` does not have (the Graphics.DrawPicture
// signature of the other era).
bool OfferedOnVersion(const REALmethodDefinition& method, double version);

// Whole records for the host's own classes, as a plug-in would register them.
template <class G, class S = std::nullptr_t>
REALproperty HostProperty(const char* name, const char* type, G* getter, S setter = nullptr) {
  REALproperty entry{};
  entry.group = "";
  entry.name = name;
  entry.type = type;
  entry.getter = reinterpret_cast<REALproc>(getter);
  if constexpr (!std::is_same_v<S, std::nullptr_t>)
    entry.setter = reinterpret_cast<REALproc>(setter);
  return entry;
}

template <class F>
REALmethodDefinition HostMethod(F* function, const char* declaration) {
  REALmethodDefinition entry{};
  entry.function = reinterpret_cast<REALproc>(function);
  entry.declaration = declaration;
  return entry;
}

REALclassDefinition HostClass(const char* name, const char* superName,
                              REALproperty* properties = nullptr, size_t propertyCount = 0,
                              REALmethodDefinition* methods = nullptr, size_t methodCount = 0);

// The plug-in library (library_posix.cpp, library_windows.cpp). A private copy of the file is
// loaded, so that every Host starts from fresh plug-in globals even when the same path was loaded
// before in this process; it stays mapped after unloading, as the plug-in's worker threads may.
extern const char* const kPluginFileName;  // beside the executable: libImages.so or Images.dll
void* LoadPrivateCopy(const std::string& path, std::string& why);  // null, and why, on failure
void* LibraryFunction(void* library, const char* name);
void UnloadLibrary(void* library);
std::string ExecutableDirectory();  // with its trailing separator

// The one live host, or null. Entry points use it; they never throw.
Host::Impl* CurrentImpl();

// The resolver handed to REALPluginMain.
void* Resolve(const char* name);
// The host's global method with this declaration, or null.
void* GlobalMethod(std::string_view declaration);

}  // namespace xqt::host
