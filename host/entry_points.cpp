// The host's entry points as the plug-in resolves them by name.
//
// Each is a plain function of the exact type the header gives it; none throws and none trusts
// its arguments: nil and unknown objects give the neutral result and a recorded protocol error.
#include <cstring>
#include <limits>
#include <string>
#include <unordered_map>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

using detail::Value;

Host::Impl* Enter(const char* entry) {
  Host::Impl* impl = CurrentImpl();
  if (impl != nullptr) impl->CheckThread(entry);
  return impl;
}

// --- Start-up and registration -------------------------------------------------------------

double GetRBVersion() {
  Host::Impl* h = Enter("REALGetRBVersion");
  return h ? h->options.version : 0.0;
}

void RegisterPluginVersion(int version) {
  if (Host::Impl* h = Enter("RegisterPluginVersion")) h->pluginVersion = version;
}

RBBoolean InRuntime() {
  Host::Impl* h = Enter("REALinRuntime");
  return h == nullptr || h->options.inRuntime ? 1 : 0;
}

void PluginRegisterClass(REALclassDefinition* definition) {
  if (Host::Impl* h = Enter("PluginRegisterClass")) h->Register(definition, Origin::Plugin);
}

// --- Objects -------------------------------------------------------------------------------

void LockObject(REALobject object) {
  if (Host::Impl* h = Enter("REALLockObject")) h->Lock(object);
}

void UnlockObject(REALobject object) {
  if (Host::Impl* h = Enter("REALUnlockObject")) h->Unlock(object);
}

REALobject NewInstance(const char* className) {
  Host::Impl* h = Enter("PluginNewInstance");
  if (h == nullptr || className == nullptr) return nullptr;
  return h->NewInstance(h->Find(className));
}

// A class reference is the host's record of the class; anything else (the application kinds
// that pluginObjectType also answers) is no class of an object.
ClassRec* ClassOf(Host::Impl* h, REALclassRef classRef) {
  for (const auto& cls : h->classes) {
    if (reinterpret_cast<REALclassRef>(cls.get()) == classRef) return cls.get();
  }
  return nullptr;
}

RBBoolean ObjectIsa(REALobject object, REALclassRef classRef) {
  Host::Impl* h = Enter("RuntimeObjectIsa");
  if (h == nullptr || object == nullptr) return 0;
  ClassRec* cls = ClassOf(h, classRef);
  Object* o = h->Live(object, "RuntimeObjectIsa");
  if (cls == nullptr || o == nullptr) return 0;
  return h->Derives(o->cls, cls->info.name) ? 1 : 0;
}

REALobject CreateInstance(REALclassRef classRef) {
  Host::Impl* h = Enter("CreateInstance");
  return h ? h->NewInstance(ClassOf(h, classRef)) : nullptr;
}

REALproc LoadObjectMethod(REALobject object, const char* declaration) {
  Host::Impl* h = Enter("REALLoadObjectMethod");
  Object* o = h ? h->Live(object, "REALLoadObjectMethod") : nullptr;
  if (o == nullptr || declaration == nullptr) return nullptr;
  std::string wanted = Squeeze(declaration);
  for (ClassRec* c : h->Chain(o->cls)) {
    for (const ClassInfo::Member& m : c->info.methods) {
      if (Squeeze(m.entry->declaration) == wanted &&
          OfferedOnVersion(*m.entry, h->options.version)) {
        return m.entry->function;
      }
    }
  }
  return nullptr;
}

REALproc LoadGlobalMethod(const char*, const char* declaration) {
  if (Enter("REALLoadGlobalMethod") == nullptr || declaration == nullptr) return nullptr;
  return reinterpret_cast<REALproc>(GlobalMethod(declaration));
}

REALproc GetEventInstance(REALobject object, int64_t eventIndex) {
  Host::Impl* h = Enter("GetEventInstance");
  Object* o = h ? h->Live(object, "GetEventInstance") : nullptr;
  if (o == nullptr) return nullptr;
  int64_t place = eventIndex - Host::Impl::kEventIndexBase;
  if (place < 0 || place >= static_cast<int64_t>(h->events.size())) {
    h->Complain("GetEventInstance: " + std::to_string(eventIndex) +
                " is no event index this host handed out");
    return nullptr;
  }
  const REALevent* event = h->events[static_cast<size_t>(place)];
  std::vector<ClassRec*> chain = h->Chain(o->cls);
  bool ofThisClass = false;
  for (ClassRec* c : chain) {
    const REALclassDefinition* def = c->def;
    if (def != nullptr && def->events != nullptr && event >= def->events &&
        event < def->events + def->eventCount) {
      ofThisClass = true;
    }
  }
  if (!ofThisClass) {
    h->Complain("GetEventInstance: the event is not one of class " + o->cls->info.name);
    return nullptr;
  }
  std::string name;
  try {
    name = Declaration::Parse(event->declaration).name;
  } catch (const std::invalid_argument& e) {
    h->Complain(std::string("GetEventInstance: ") + e.what());
    return nullptr;
  }
  for (ClassRec* c : chain) {
    for (const auto& [implemented, fn] : c->info.eventImplementations) {
      if (SameName(implemented, name)) return reinterpret_cast<REALproc>(fn);
    }
    const REALclassDefinition* def = c->def;
    if (def != nullptr && def->eventInstances != nullptr) {
      for (size_t i = 0; i < def->eventInstanceCount; ++i) {
        const REALeventInstance& ei = def->eventInstances[i];
        if (ei.name != nullptr && SameName(ei.name, name)) return ei.implementation;
      }
    }
  }
  return nullptr;
}

// --- Properties ----------------------------------------------------------------------------

bool ReadProp(const char* entry, REALobject object, const char* name, Kind want, Value& out) {
  Host::Impl* h = Enter(entry);
  Object* o = h ? h->Live(object, entry) : nullptr;
  if (o == nullptr || name == nullptr) return false;
  PropertyRef prop;
  if (!h->FindProperty(o, o->cls, false, name, prop)) return false;
  std::string why;
  if (!h->ReadProperty(prop, want, out, why)) {
    h->Complain(std::string(entry) + ": " + why);
    return false;
  }
  return true;
}

bool WriteProp(const char* entry, REALobject object, const char* name, const Value& value) {
  Host::Impl* h = Enter(entry);
  Object* o = h ? h->Live(object, entry) : nullptr;
  if (o == nullptr || name == nullptr) return false;
  PropertyRef prop;
  if (!h->FindProperty(o, o->cls, false, name, prop)) return false;
  std::string why;
  if (!h->WriteProperty(prop, value, why)) {
    h->Complain(std::string(entry) + ": " + why);
    return false;
  }
  return true;
}

// One reader and one writer for every value type; Field is the member of Value it travels in.
template <Kind K, auto Field, class T>
bool ReadTyped(const char* entry, REALobject object, const char* name, T* value) {
  Value v;
  if (value == nullptr || !ReadProp(entry, object, name, K, v)) return false;
  *value = v.*Field;
  return true;
}

template <Kind K, auto Field, class T>
bool WriteTyped(const char* entry, REALobject object, const char* name, T value) {
  Value v;
  v.kind = K;
  v.*Field = value;
  return WriteProp(entry, object, name, v);
}

RBBoolean GetInteger(REALobject object, const char* name, int64_t* value) {
  return ReadTyped<Kind::Integer, &Value::i>("REALGetPropValueInteger", object, name, value) ? 1
                                                                                             : 0;
}
RBBoolean SetInteger(REALobject object, const char* name, int64_t value) {
  return WriteTyped<Kind::Integer, &Value::i>("REALSetPropValueInteger", object, name, value) ? 1
                                                                                              : 0;
}
RBBoolean GetBool(REALobject object, const char* name, RBBoolean* value) {
  bool read = false;
  if (value == nullptr ||
      !ReadTyped<Kind::Boolean, &Value::b>("REALGetPropValueBool", object, name, &read)) {
    return 0;
  }
  *value = read ? 1 : 0;
  return 1;
}
RBBoolean SetBoolean(REALobject object, const char* name, RBBoolean value) {
  return WriteTyped<Kind::Boolean, &Value::b>("REALSetPropValueBoolean", object, name, value != 0)
             ? 1
             : 0;
}
long GetDouble(REALobject object, const char* name, double* value) {
  return ReadTyped<Kind::Double, &Value::d>("REALGetPropValueDouble", object, name, value) ? 1 : 0;
}
long GetString(REALobject object, const char* name, REALstring* value) {
  return ReadTyped<Kind::String, &Value::s>("REALGetPropValueString", object, name, value) ? 1 : 0;
}
RBBoolean SetString(REALobject object, const char* name, REALstring value) {
  return WriteTyped<Kind::String, &Value::s>("REALSetPropValueString", object, name, value) ? 1 : 0;
}
long GetObject(REALobject object, const char* name, REALobject* value) {
  return ReadTyped<Kind::Object, &Value::o>("REALGetPropValueObject", object, name, value) ? 1 : 0;
}
RBBoolean SetObject(REALobject object, const char* name, REALobject value) {
  return WriteTyped<Kind::Object, &Value::o>("REALSetPropValueObject", object, name, value) ? 1 : 0;
}

// --- Exceptions ----------------------------------------------------------------------------

void RaiseException(REALobject exception) {
  if (Host::Impl* h = Enter("RuntimeRaiseException")) h->Raise(exception);
}

// The exception raised inside is handed to the caller with the reference the pending slot held.
REALobject CallWithExceptionHandler(void (*function)(void* context), void* context) {
  Host::Impl* h = Enter("PluginCallFunctionWithExceptionHandler");
  if (h == nullptr || function == nullptr) return nullptr;
  REALobject before = h->pending;
  h->pending = nullptr;
  function(context);
  REALobject caught = h->pending;
  h->pending = before;
  return caught;
}

// --- Strings -------------------------------------------------------------------------------

void LockString(REALstring string) {
  if (Host::Impl* h = Enter("REALLockString")) h->LockString(string);
}

void UnlockString(REALstring string) {
  if (Host::Impl* h = Enter("REALUnlockString")) h->UnlockString(string);
}

REALstring Build(const char* entry, const char* bytes, int length, uint32_t encoding) {
  Host::Impl* h = Enter(entry);
  if (h == nullptr) return nullptr;
  if (length < 0 || (bytes == nullptr && length > 0)) {
    h->Complain(std::string(entry) + ": no bytes or a negative length");
    return nullptr;
  }
  std::string text(length > 0 ? bytes : "", static_cast<size_t>(length));
  return h->MakeString(std::move(text), encoding);
}

REALstring BuildString(const char* bytes, int length) {
  return Build("REALBuildString", bytes, length, kREALEncodingMacRoman);
}

REALstring BuildStringWithEncoding(const char* bytes, int length, uint32_t encoding) {
  return Build("REALBuildStringWithEncoding", bytes, length, encoding);
}

void SetStringEncoding(REALstring string, uint32_t encoding) {
  Host::Impl* h = Enter("REALSetStringEncoding");
  if (StringRec* s = h ? h->LiveString(string, "REALSetStringEncoding") : nullptr) {
    s->encoding = encoding;
  }
}

uint32_t GetStringEncoding(REALstring string) {
  Host::Impl* h = Enter("REALGetStringEncoding");
  StringRec* s = h ? h->LiveString(string, "REALGetStringEncoding") : nullptr;
  return s ? s->encoding : kREALEncodingUnknown;
}

REALstring ConvertString(REALstring string, uint32_t encoding) {
  Host::Impl* h = Enter("REALConvertString");
  StringRec* s = h ? h->LiveString(string, "REALConvertString") : nullptr;
  if (s == nullptr) return nullptr;
  std::string out;
  if (s->encoding == encoding) {
    out = s->bytes;
  } else if (!ConvertEncoding(s->bytes, s->encoding, encoding, out)) {
    return nullptr;
  }
  return h->MakeString(std::move(out), encoding);
}

// The bytes handed out live in the host's table until they are disposed; private1 names them.
RBBoolean GetStringData(REALstring string, uint32_t encoding, REALstringData* out) {
  Host::Impl* h = Enter("PluginGetStringData");
  if (h == nullptr || out == nullptr) return 0;
  *out = REALstringData{};
  auto copy = std::make_unique<std::string>();
  if (string != nullptr) {
    StringRec* s = h->LiveString(string, "PluginGetStringData");
    if (s == nullptr) return 0;
    if (s->encoding == encoding) {
      *copy = s->bytes;
    } else if (!ConvertEncoding(s->bytes, s->encoding, encoding, *copy)) {
      return 0;
    }
  }
  out->data = copy->data();
  out->length = copy->size();
  out->encoding = encoding;
  out->private1 = copy.get();
  h->stringData.emplace(copy.get(), std::move(copy));
  return 1;
}

void DisposeStringData(REALstringData* data) {
  Host::Impl* h = Enter("PluginDisposeStringData");
  if (h == nullptr || data == nullptr) return;
  if (h->stringData.erase(data->private1) == 0) {
    h->Complain("PluginDisposeStringData: data not handed out, or disposed twice");
    return;
  }
  *data = REALstringData{};
}

const char* StringCString(REALstring string) {
  Host::Impl* h = Enter("StringGetCString");
  StringRec* s = h ? h->LiveString(string, "StringGetCString") : nullptr;
  return s ? s->bytes.c_str() : "";
}

// --- MemoryBlocks --------------------------------------------------------------------------

void* BlockGetPtr(REALmemoryBlock block) {
  Host::Impl* h = Enter("memoryBlockGetPtr");
  Payload* p = h && block ? h->PayloadOf(block, PayloadKind::Block, "memoryBlockGetPtr") : nullptr;
  // An empty block that owns its bytes has no data, as the host's own empty blocks have none.
  if (!p || (p->owned && p->size == 0)) return nullptr;
  return p->data;
}

int64_t BlockGetSize(REALmemoryBlock block) {
  Host::Impl* h = Enter("memoryBlockGetSize");
  Payload* p = h && block ? h->PayloadOf(block, PayloadKind::Block, "memoryBlockGetSize") : nullptr;
  return p ? p->size : 0;
}

REALmemoryBlock PtrToBlock(void* data) {
  Host::Impl* h = Enter("PtrToMemoryBlock");
  if (h == nullptr || data == nullptr) return nullptr;
  REALobject block = h->NewInstance(h->Find("MemoryBlock"));
  if (block != nullptr) AsObject(block)->payload->data = static_cast<uint8_t*>(data);
  return block;
}

// --- Arrays --------------------------------------------------------------------------------

Payload* ArrayOf(Host::Impl* h, REALarray array, const char* entry) {
  return h && array ? h->PayloadOf(array, PayloadKind::Array, entry) : nullptr;
}

int64_t UBound(REALarray array) {
  Host::Impl* h = Enter("RuntimeUBound");
  Payload* p = ArrayOf(h, array, "RuntimeUBound");
  if (p == nullptr) return -1;
  size_t count = p->arrayType == kREALArrayOfInteger  ? p->ints.size()
                 : p->arrayType == kREALArrayOfString ? p->strings.size()
                                                      : p->objects.size();
  return static_cast<int64_t>(count) - 1;
}

REALarray CreateArray(int32_t type, int64_t upperBound) {
  Host::Impl* h = Enter("RuntimeArrayCreateSingleDimBoundedArray");
  if (h == nullptr) return nullptr;
  const char* name = type == kREALArrayOfInteger  ? "Integer()"
                     : type == kREALArrayOfString ? "String()"
                     : type == kREALArrayOfObject ? "Object()"
                                                  : nullptr;
  if (name == nullptr || upperBound < -1 || upperBound >= (int64_t{1} << 28)) {
    h->Complain("RuntimeArrayCreateSingleDimBoundedArray: bad element type or upper bound");
    return nullptr;
  }
  REALobject array = h->NewInstance(h->Find(name));
  if (array == nullptr) return nullptr;
  Payload* p = AsObject(array)->payload;
  size_t count = static_cast<size_t>(upperBound + 1);
  if (type == kREALArrayOfInteger) p->ints.resize(count);
  if (type == kREALArrayOfString) p->strings.resize(count);
  if (type == kREALArrayOfObject) p->objects.resize(count);
  return array;
}

int64_t IntegerArrayGet(REALarray array, int64_t index) {
  Host::Impl* h = Enter("Integer() element");
  Payload* p = ArrayOf(h, array, "Integer() element");
  if (p == nullptr || p->arrayType != kREALArrayOfInteger) return 0;
  if (index < 0 || index >= static_cast<int64_t>(p->ints.size())) {
    h->Complain("Integer() element: index outside the array");
    return 0;
  }
  return p->ints[static_cast<size_t>(index)];
}

void StringArrayInsert(REALarray array, int64_t index, REALstring value) {
  Host::Impl* h = Enter("String() insert");
  Payload* p = ArrayOf(h, array, "String() insert");
  if (p == nullptr) return;
  if (p->arrayType != kREALArrayOfString || index < 0 ||
      index > static_cast<int64_t>(p->strings.size())) {
    h->Complain("String() insert: not a String() array, or an index outside it");
    return;
  }
  if (value != nullptr && h->LiveString(value, "String() insert") == nullptr) return;
  h->LockString(value);
  p->strings.insert(p->strings.begin() + index, value);
}

// The element functions are handed out only for arrays of their element type.
void* IntegerArrayGetProc(REALarray array) {
  Host::Impl* h = Enter("PluginIntegerArrayGetProc");
  Payload* p = ArrayOf(h, array, "PluginIntegerArrayGetProc");
  if (p == nullptr || p->arrayType != kREALArrayOfInteger) return nullptr;
  return reinterpret_cast<void*>(static_cast<REALIntegerArrayGetter>(&IntegerArrayGet));
}

void* StringArrayInsertProc(REALarray array) {
  Host::Impl* h = Enter("PluginStringArrayInsertProc");
  Payload* p = ArrayOf(h, array, "PluginStringArrayInsertProc");
  if (p == nullptr || p->arrayType != kREALArrayOfString) return nullptr;
  return reinterpret_cast<void*>(static_cast<REALStringArrayInsert>(&StringArrayInsert));
}

// --- Yield ---------------------------------------------------------------------------------

void YieldToHost() {
  Host::Impl* h = Enter("REALYieldToRB");
  if (h == nullptr) return;
  ++h->yields;
  if (h->yieldHook) h->yieldHook();
}

template <class Proc>
void* Entry(Proc function) {
  return reinterpret_cast<void*>(function);
}

// The declared entry types keep every function here honest: a mismatch does not compile.
// The declared entry types keep every function here honest: a mismatch does not compile.
const std::unordered_map<std::string_view, void*>& Table() {
#define XQT_ENTRY(Name, Function) \
  { #Name, Entry < Name##Proc>(&Function) }
  static const std::unordered_map<std::string_view, void*> table = {
      XQT_ENTRY(REALGetRBVersion, GetRBVersion),
      XQT_ENTRY(RegisterPluginVersion, RegisterPluginVersion),
      XQT_ENTRY(REALinRuntime, InRuntime),
      XQT_ENTRY(PluginRegisterClass, PluginRegisterClass),
      XQT_ENTRY(REALLockObject, LockObject),
      XQT_ENTRY(REALUnlockObject, UnlockObject),
      XQT_ENTRY(PluginNewInstance, NewInstance),
      XQT_ENTRY(CreateInstance, CreateInstance),
      XQT_ENTRY(RuntimeObjectIsa, ObjectIsa),
      XQT_ENTRY(REALLoadObjectMethod, LoadObjectMethod),
      XQT_ENTRY(REALLoadGlobalMethod, LoadGlobalMethod),
      XQT_ENTRY(GetEventInstance, GetEventInstance),
      XQT_ENTRY(REALGetPropValueInteger, GetInteger),
      XQT_ENTRY(REALSetPropValueInteger, SetInteger),
      XQT_ENTRY(REALGetPropValueBool, GetBool),
      XQT_ENTRY(REALSetPropValueBoolean, SetBoolean),
      XQT_ENTRY(REALGetPropValueDouble, GetDouble),
      XQT_ENTRY(REALGetPropValueString, GetString),
      XQT_ENTRY(REALSetPropValueString, SetString),
      XQT_ENTRY(REALGetPropValueObject, GetObject),
      XQT_ENTRY(REALSetPropValueObject, SetObject),
      XQT_ENTRY(RuntimeRaiseException, RaiseException),
      XQT_ENTRY(PluginCallFunctionWithExceptionHandler, CallWithExceptionHandler),
      XQT_ENTRY(REALLockString, LockString),
      XQT_ENTRY(REALUnlockString, UnlockString),
      XQT_ENTRY(REALBuildString, BuildString),
      XQT_ENTRY(REALBuildStringWithEncoding, BuildStringWithEncoding),
      XQT_ENTRY(REALSetStringEncoding, SetStringEncoding),
      XQT_ENTRY(REALGetStringEncoding, GetStringEncoding),
      XQT_ENTRY(REALConvertString, ConvertString),
      XQT_ENTRY(PluginGetStringData, GetStringData),
      XQT_ENTRY(PluginDisposeStringData, DisposeStringData),
      XQT_ENTRY(StringGetCString, StringCString),
      XQT_ENTRY(memoryBlockGetPtr, BlockGetPtr),
      XQT_ENTRY(memoryBlockGetSize, BlockGetSize),
      XQT_ENTRY(PtrToMemoryBlock, PtrToBlock),
      XQT_ENTRY(RuntimeUBound, UBound),
      XQT_ENTRY(RuntimeArrayCreateSingleDimBoundedArray, CreateArray),
      XQT_ENTRY(PluginStringArrayInsertProc, StringArrayInsertProc),
      XQT_ENTRY(PluginIntegerArrayGetProc, IntegerArrayGetProc),
      XQT_ENTRY(REALYieldToRB, YieldToHost),
  };
#undef XQT_ENTRY
  return table;
}

}  // namespace

void* Resolve(const char* name) {
  Host::Impl* h = CurrentImpl();
  if (h == nullptr || name == nullptr) return nullptr;
  if (h->hidden.count(name) != 0) return nullptr;
  auto it = Table().find(name);
  void* entry = it == Table().end() ? PictureEntryPoint(name) : it->second;
  // A name the real host does not have gives null there too; it is recorded so tests can list it.
  if (entry == nullptr) {
    h->unknownEntries.emplace_back(name);
    h->Complain(std::string("resolver: asked for ") + name + ", which the host does not have");
  }
  return entry;
}

}  // namespace xqt::host
