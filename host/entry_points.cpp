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

void RegisterPluginVersion(int32_t version) {
  if (Host::Impl* h = Enter("RegisterPluginVersion")) h->pluginVersion = version;
}

bool InRuntime() {
  Host::Impl* h = Enter("REALinRuntime");
  return h ? h->options.inRuntime : true;
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

bool ObjectIsA(REALobject object, const char* className) {
  Host::Impl* h = Enter("REALObjectIsA");
  if (h == nullptr || className == nullptr) return false;
  if (object != nullptr && h->Live(object, "REALObjectIsA") == nullptr) return false;
  return h->IsA(object, className);
}

void* LoadObjectMethod(REALobject object, const char* declaration) {
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

void* LoadGlobalMethod(const char*, const char* declaration) {
  if (Enter("REALLoadGlobalMethod") == nullptr || declaration == nullptr) return nullptr;
  return GlobalMethod(declaration);
}

void* GetEventInstance(REALobject object, const REALevent* event) {
  Host::Impl* h = Enter("REALGetEventInstance");
  Object* o = h ? h->Live(object, "REALGetEventInstance") : nullptr;
  if (o == nullptr || event == nullptr) return nullptr;
  std::vector<ClassRec*> chain = h->Chain(o->cls);
  std::string name;
  for (ClassRec* c : chain) {
    const REALclassDefinition* def = c->def;
    if (def == nullptr || def->events == nullptr) continue;
    // Compared as addresses: the event must be an entry of this class's own array.
    auto at = reinterpret_cast<uintptr_t>(event);
    auto first = reinterpret_cast<uintptr_t>(def->events);
    if (at >= first && at < first + def->eventCount * sizeof(REALevent) &&
        (at - first) % sizeof(REALevent) == 0) {
      if (event->declaration == nullptr) break;
      try {
        name = Declaration::Parse(event->declaration).name;
      } catch (const std::invalid_argument& e) {
        h->Complain(std::string("REALGetEventInstance: ") + e.what());
      }
      break;
    }
  }
  if (name.empty()) {
    h->Complain("REALGetEventInstance: the event is not one of class " + o->cls->info.name);
    return nullptr;
  }
  for (ClassRec* c : chain) {
    for (const auto& [implemented, fn] : c->info.eventImplementations) {
      if (SameName(implemented, name)) return fn;
    }
    const REALclassDefinition* def = c->def;
    if (def != nullptr && def->eventInstances != nullptr) {
      for (uint32_t i = 0; i < def->eventInstanceCount; ++i) {
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

bool GetInteger(REALobject object, const char* name, RBInteger* value) {
  return ReadTyped<Kind::Integer, &Value::i>("REALGetPropValueInteger", object, name, value);
}
bool SetInteger(REALobject object, const char* name, RBInteger value) {
  return WriteTyped<Kind::Integer, &Value::i>("REALSetPropValueInteger", object, name, value);
}
bool GetBool(REALobject object, const char* name, RBBoolean* value) {
  return ReadTyped<Kind::Boolean, &Value::b>("REALGetPropValueBool", object, name, value);
}
bool SetBool(REALobject object, const char* name, RBBoolean value) {
  return WriteTyped<Kind::Boolean, &Value::b>("REALSetPropValueBool", object, name, value);
}
bool GetDouble(REALobject object, const char* name, RBDouble* value) {
  return ReadTyped<Kind::Double, &Value::d>("REALGetPropValueDouble", object, name, value);
}
bool GetString(REALobject object, const char* name, REALstring* value) {
  return ReadTyped<Kind::String, &Value::s>("REALGetPropValueString", object, name, value);
}
bool SetString(REALobject object, const char* name, REALstring value) {
  return WriteTyped<Kind::String, &Value::s>("REALSetPropValueString", object, name, value);
}
bool GetObject(REALobject object, const char* name, REALobject* value) {
  return ReadTyped<Kind::Object, &Value::o>("REALGetPropValueObject", object, name, value);
}
bool SetObject(REALobject object, const char* name, REALobject value) {
  return WriteTyped<Kind::Object, &Value::o>("REALSetPropValueObject", object, name, value);
}

// --- Exceptions ----------------------------------------------------------------------------

void RaiseException(REALobject exception) {
  if (Host::Impl* h = Enter("RuntimeRaiseException")) h->Raise(exception);
}

bool CallWithExceptionHandler(void (*function)(void* context), void* context) {
  Host::Impl* h = Enter("PluginCallFunctionWithExceptionHandler");
  if (h == nullptr || function == nullptr) return false;
  REALobject before = h->pending;
  int64_t raised = h->raised;
  function(context);
  if (h->raised == raised) return false;
  if (h->pending != before) {
    REALobject caught = h->pending;
    h->pending = before;
    h->Unlock(caught);
  }
  return true;
}

// --- Strings -------------------------------------------------------------------------------

void LockString(REALstring string) {
  if (Host::Impl* h = Enter("REALLockString")) h->LockString(string);
}

void UnlockString(REALstring string) {
  if (Host::Impl* h = Enter("REALUnlockString")) h->UnlockString(string);
}

REALstring Build(const char* entry, const void* bytes, int32_t length, uint32_t encoding) {
  Host::Impl* h = Enter(entry);
  if (h == nullptr) return nullptr;
  if (length < 0 || (bytes == nullptr && length > 0)) {
    h->Complain(std::string(entry) + ": no bytes or a negative length");
    return nullptr;
  }
  std::string text(length > 0 ? static_cast<const char*>(bytes) : "", static_cast<size_t>(length));
  return h->MakeString(std::move(text), encoding);
}

REALstring BuildString(const void* bytes, int32_t length) {
  return Build("REALBuildString", bytes, length, kREALEncodingMacRoman);
}

REALstring BuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) {
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

bool GetStringData(REALstring string, uint32_t encoding, const void** data, int64_t* length) {
  Host::Impl* h = Enter("PluginGetStringData");
  if (h == nullptr || data == nullptr || length == nullptr) return false;
  auto copy = std::make_unique<std::string>();
  if (string != nullptr) {
    StringRec* s = h->LiveString(string, "PluginGetStringData");
    if (s == nullptr) return false;
    if (s->encoding == encoding) {
      *copy = s->bytes;
    } else if (!ConvertEncoding(s->bytes, s->encoding, encoding, *copy)) {
      return false;
    }
  }
  *data = copy->data();
  *length = static_cast<int64_t>(copy->size());
  h->stringData.emplace(copy->data(), std::move(copy));
  return true;
}

void DisposeStringData(REALstring, const void* data) {
  Host::Impl* h = Enter("PluginDisposeStringData");
  if (h == nullptr || data == nullptr) return;
  if (h->stringData.erase(data) == 0) {
    h->Complain("PluginDisposeStringData: data not handed out, or disposed twice");
  }
}

const void* GetStringContents(REALstring string, int64_t* length) {
  Host::Impl* h = Enter("REALGetStringContents");
  StringRec* s = h ? h->LiveString(string, "REALGetStringContents") : nullptr;
  if (length != nullptr) *length = s ? static_cast<int64_t>(s->bytes.size()) : 0;
  return s ? s->bytes.data() : "";
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
  size_t count = p->arrayType == kREALArrayInteger  ? p->ints.size()
                 : p->arrayType == kREALArrayString ? p->strings.size()
                                                    : p->objects.size();
  return static_cast<int64_t>(count) - 1;
}

REALarray CreateArray(int32_t type, int64_t upperBound) {
  Host::Impl* h = Enter("REALCreateArray");
  if (h == nullptr) return nullptr;
  const char* name = type == kREALArrayInteger  ? "Integer()"
                     : type == kREALArrayString ? "String()"
                     : type == kREALArrayObject ? "Object()"
                                                : nullptr;
  if (name == nullptr || upperBound < -1 || upperBound >= (int64_t{1} << 28)) {
    h->Complain("REALCreateArray: bad element type or upper bound");
    return nullptr;
  }
  REALobject array = h->NewInstance(h->Find(name));
  if (array == nullptr) return nullptr;
  Payload* p = AsObject(array)->payload;
  size_t count = static_cast<size_t>(upperBound + 1);
  if (type == kREALArrayInteger) p->ints.resize(count);
  if (type == kREALArrayString) p->strings.resize(count);
  if (type == kREALArrayObject) p->objects.resize(count);
  return array;
}

bool IntegerArrayGet(REALarray array, int64_t index, RBInteger* value) {
  Host::Impl* h = Enter("PluginIntegerArrayGet");
  Payload* p = ArrayOf(h, array, "PluginIntegerArrayGet");
  if (p == nullptr || value == nullptr || p->arrayType != kREALArrayInteger) return false;
  if (index < 0 || index >= static_cast<int64_t>(p->ints.size())) return false;
  *value = p->ints[static_cast<size_t>(index)];
  return true;
}

RBInteger* IntegerStorage(REALarray array) {
  Host::Impl* h = Enter("REALGetArrayIntegerStorage");
  Payload* p = ArrayOf(h, array, "REALGetArrayIntegerStorage");
  if (p == nullptr || p->arrayType != kREALArrayInteger) return nullptr;
  return p->ints.data();
}

void AppendString(REALarray array, REALstring value) {
  Host::Impl* h = Enter("REALAppendArrayString");
  Payload* p = ArrayOf(h, array, "REALAppendArrayString");
  if (p == nullptr) return;
  if (p->arrayType != kREALArrayString) {
    h->Complain("REALAppendArrayString: not a String() array");
    return;
  }
  if (value != nullptr && h->LiveString(value, "REALAppendArrayString") == nullptr) return;
  h->LockString(value);
  p->strings.push_back(value);
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
const std::unordered_map<std::string_view, void*>& Table() {
  static const std::unordered_map<std::string_view, void*> table = {
      {"REALGetRBVersion", Entry<REALGetRBVersionProc>(&GetRBVersion)},
      {"RegisterPluginVersion", Entry<RegisterPluginVersionProc>(&RegisterPluginVersion)},
      {"REALinRuntime", Entry<REALinRuntimeProc>(&InRuntime)},
      {"PluginRegisterClass", Entry<PluginRegisterClassProc>(&PluginRegisterClass)},
      {"REALLockObject", Entry<REALLockObjectProc>(&LockObject)},
      {"REALUnlockObject", Entry<REALUnlockObjectProc>(&UnlockObject)},
      {"PluginNewInstance", Entry<PluginNewInstanceProc>(&NewInstance)},
      {"REALObjectIsA", Entry<REALObjectIsAProc>(&ObjectIsA)},
      {"REALLoadObjectMethod", Entry<REALLoadObjectMethodProc>(&LoadObjectMethod)},
      {"REALLoadGlobalMethod", Entry<REALLoadGlobalMethodProc>(&LoadGlobalMethod)},
      {"REALGetEventInstance", Entry<REALGetEventInstanceProc>(&GetEventInstance)},
      {"REALGetPropValueInteger", Entry<REALGetPropValueIntegerProc>(&GetInteger)},
      {"REALSetPropValueInteger", Entry<REALSetPropValueIntegerProc>(&SetInteger)},
      {"REALGetPropValueBool", Entry<REALGetPropValueBoolProc>(&GetBool)},
      {"REALSetPropValueBool", Entry<REALSetPropValueBoolProc>(&SetBool)},
      {"REALGetPropValueDouble", Entry<REALGetPropValueDoubleProc>(&GetDouble)},
      {"REALGetPropValueString", Entry<REALGetPropValueStringProc>(&GetString)},
      {"REALSetPropValueString", Entry<REALSetPropValueStringProc>(&SetString)},
      {"REALGetPropValueObject", Entry<REALGetPropValueObjectProc>(&GetObject)},
      {"REALSetPropValueObject", Entry<REALSetPropValueObjectProc>(&SetObject)},
      {"RuntimeRaiseException", Entry<RuntimeRaiseExceptionProc>(&RaiseException)},
      {"PluginCallFunctionWithExceptionHandler",
       Entry<PluginCallFunctionWithExceptionHandlerProc>(&CallWithExceptionHandler)},
      {"REALLockString", Entry<REALLockStringProc>(&LockString)},
      {"REALUnlockString", Entry<REALUnlockStringProc>(&UnlockString)},
      {"REALBuildString", Entry<REALBuildStringProc>(&BuildString)},
      {"REALBuildStringWithEncoding",
       Entry<REALBuildStringWithEncodingProc>(&BuildStringWithEncoding)},
      {"REALSetStringEncoding", Entry<REALSetStringEncodingProc>(&SetStringEncoding)},
      {"REALGetStringEncoding", Entry<REALGetStringEncodingProc>(&GetStringEncoding)},
      {"REALConvertString", Entry<REALConvertStringProc>(&ConvertString)},
      {"PluginGetStringData", Entry<PluginGetStringDataProc>(&GetStringData)},
      {"PluginDisposeStringData", Entry<PluginDisposeStringDataProc>(&DisposeStringData)},
      {"REALGetStringContents", Entry<REALGetStringContentsProc>(&GetStringContents)},
      {"memoryBlockGetPtr", Entry<memoryBlockGetPtrProc>(&BlockGetPtr)},
      {"memoryBlockGetSize", Entry<memoryBlockGetSizeProc>(&BlockGetSize)},
      {"PtrToMemoryBlock", Entry<PtrToMemoryBlockProc>(&PtrToBlock)},
      {"RuntimeUBound", Entry<RuntimeUBoundProc>(&UBound)},
      {"REALCreateArray", Entry<REALCreateArrayProc>(&CreateArray)},
      {"PluginIntegerArrayGet", Entry<PluginIntegerArrayGetProc>(&IntegerArrayGet)},
      {"REALGetArrayIntegerStorage", Entry<REALGetArrayIntegerStorageProc>(&IntegerStorage)},
      {"REALAppendArrayString", Entry<REALAppendArrayStringProc>(&AppendString)},
      {"REALYieldToRB", Entry<REALYieldToRBProc>(&YieldToHost)},
  };
  return table;
}

}  // namespace

void* Resolve(const char* name) {
  Host::Impl* h = CurrentImpl();
  if (h == nullptr || name == nullptr) return nullptr;
  if (h->hidden.count(name) != 0) return nullptr;
  auto it = Table().find(name);
  return it == Table().end() ? PictureEntryPoint(name) : it->second;
}

}  // namespace xqt::host
