// The Host: classes, objects, strings, exceptions and accounting.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <sstream>
#include <stdexcept>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

// Instance data starts 16-byte aligned, as the plug-in's records expect.
constexpr std::align_val_t kObjectAlignment{16};

Host* gCurrent = nullptr;

}  // namespace

Host::Impl* CurrentImpl() { return gCurrent ? &gCurrent->impl() : nullptr; }

HostException::HostException(std::string className, std::string message)
    : std::runtime_error(className + ": " + message),
      className_(std::move(className)),
      message_(std::move(message)) {}

// ---------------------------------------------------------------------------------------------
// Impl: classes
// ---------------------------------------------------------------------------------------------

Host::Impl::Impl(HostOptions opts) : options(opts) {}

void Host::Impl::Complain(std::string what) {
  std::lock_guard<std::mutex> lock(errorMutex);
  errors.push_back(std::move(what));
}

void Host::Impl::CheckThread(const char* entry) {
  if (std::this_thread::get_id() != owner) {
    Complain(std::string(entry) + " called from a thread other than the host's");
  }
}

ClassRec* Host::Impl::Find(std::string_view name) const {
  auto it = byName.find(Lower(name));
  return it == byName.end() ? nullptr : it->second;
}

ClassRec* Host::Impl::Super(const ClassRec* cls) const {
  if (cls->info.superName.empty()) return nullptr;
  ClassRec* super = Find(cls->info.superName);
  return super == cls ? nullptr : super;
}

std::vector<ClassRec*> Host::Impl::Chain(ClassRec* cls) const {
  std::vector<ClassRec*> chain;
  // A cycle of superclass names ends the chain instead of looping.
  for (ClassRec* c = cls; c != nullptr && chain.size() < 64; c = Super(c)) {
    if (std::find(chain.begin(), chain.end(), c) != chain.end()) break;
    chain.push_back(c);
  }
  return chain;
}

bool Host::Impl::Derives(ClassRec* cls, std::string_view ancestor) const {
  if (SameName(ancestor, "Object")) return true;
  for (ClassRec* c : Chain(cls)) {
    if (SameName(c->info.name, ancestor)) return true;
  }
  return false;
}

ClassRec* Host::Impl::AddClass(std::string name, std::string superName, Origin origin,
                               const REALclassDefinition* def) {
  auto rec = std::make_unique<ClassRec>();
  rec->info.name = std::move(name);
  rec->info.superName = std::move(superName);
  rec->origin = origin;
  rec->def = def;
  rec->info.definition = origin == Origin::Plugin ? def : nullptr;
  rec->info.dataOffset = kDataOffset;
  ClassRec* raw = rec.get();
  byName[Lower(raw->info.name)] = raw;
  classes.push_back(std::move(rec));
  return raw;
}

void Host::Impl::Register(REALclassDefinition* def, Origin origin) {
  if (def == nullptr) {
    Complain("PluginRegisterClass: nil definition");
    return;
  }
  if (def->name == nullptr || def->name[0] == '\0') {
    Complain("PluginRegisterClass: definition without a name");
    return;
  }
  if (Find(def->name) != nullptr) {
    Complain(std::string("PluginRegisterClass: class ") + def->name + " registered twice");
    return;
  }
  // Counts are read as the host reads them; an absurd one is a definition laid out differently.
  constexpr size_t kMostEntries = 100000;
  for (size_t count : {def->propertyCount, def->methodCount, def->eventCount,
                       def->eventInstanceCount, def->attributeCount, def->constantCount,
                       def->sharedPropertyCount, def->sharedMethodCount}) {
    if (count > kMostEntries) {
      Complain(std::string("PluginRegisterClass: class ") + def->name + " has a count of " +
               std::to_string(count) + " entries");
      return;
    }
  }
  if (def->version >= 11 && (def->delegates != nullptr || def->delegateCount != 0 ||
                             def->enums != nullptr || def->enumCount != 0)) {
    Complain(std::string("PluginRegisterClass: class ") + def->name +
             " has delegates or enums the host cannot take from this plug-in");
  }
  def->forSystemUse = kDataOffset;
  ClassRec* cls = AddClass(def->name, def->superName ? def->superName : "", origin, def);
  cls->info.controlVersion = def->version;
  auto parse = [&](const REALmethodDefinition* entries, size_t count,
                   std::vector<ClassInfo::Member>& into, const char* what) {
    if (count > 0 && entries == nullptr) {
      Complain(std::string(def->name) + ": " + what + " count without entries");
      return;
    }
    for (size_t i = 0; i < count; ++i) {
      const REALmethodDefinition& entry = entries[i];
      if (entry.declaration == nullptr || entry.function == nullptr) {
        Complain(std::string(def->name) + ": " + what + " " + std::to_string(i) +
                 " without declaration or function");
        continue;
      }
      try {
        into.push_back({Declaration::Parse(entry.declaration), &entry});
      } catch (const std::invalid_argument& e) {
        Complain(std::string(def->name) + ": " + e.what());
      }
    }
  };
  parse(def->methods, def->methodCount, cls->info.methods, "method");
  parse(def->sharedMethods, def->sharedMethodCount, cls->info.sharedMethods, "shared method");
  auto check = [&](const REALproperty* props, size_t count, const char* what) {
    if (count > 0 && props == nullptr) {
      Complain(std::string(def->name) + ": " + what + " count without entries");
      return;
    }
    for (size_t i = 0; i < count; ++i) {
      if (props[i].name == nullptr || props[i].type == nullptr) {
        Complain(std::string(def->name) + ": " + what + " " + std::to_string(i) +
                 " without name or type");
      }
    }
  };
  check(def->properties, def->propertyCount, "property");
  check(def->sharedProperties, def->sharedPropertyCount, "shared property");
  if (def->eventCount > 0 && def->events == nullptr) {
    Complain(std::string(def->name) + ": event count without entries");
    return;
  }
  for (size_t i = 0; i < def->eventCount; ++i) {
    def->events[i].forSystemUse = kEventIndexBase + static_cast<int64_t>(events.size());
    events.push_back(&def->events[i]);
  }
  for (size_t i = 0; i < def->constantCount; ++i) {
    if (def->constants[i].reserved1 != nullptr) {
      Complain(std::string(def->name) + ": constant " + std::to_string(i) + " has a reserved1");
    }
  }
}

size_t Host::Impl::DataSize(ClassRec* cls) const {
  size_t size = 0;
  for (ClassRec* c : Chain(cls)) {
    if (c->def != nullptr) size = std::max(size, c->def->dataSize);
  }
  return size;
}

// ---------------------------------------------------------------------------------------------
// Impl: objects
// ---------------------------------------------------------------------------------------------

Object* Host::Impl::Live(REALobject object, const char* entry) {
  Object* o = AsObject(object);
  if (object == nullptr || objects.count(o) == 0) {
    if (object != nullptr) Complain(std::string(entry) + ": not a live host object");
    return nullptr;
  }
  return o;
}

REALobject Host::Impl::NewInstance(ClassRec* cls) {
  if (cls == nullptr) return nullptr;
  if (failInstances > 0) {
    --failInstances;
    return nullptr;
  }
  std::vector<ClassRec*> chain = Chain(cls);
  size_t total = (static_cast<size_t>(kDataOffset) + DataSize(cls) + 15) & ~size_t{15};
  void* memory = ::operator new(total, kObjectAlignment, std::nothrow);
  if (memory == nullptr) return nullptr;
  std::memset(memory, 0, total);
  Object* o = new (memory) Object;
  o->cls = cls;
  o->refs = 1;
  for (ClassRec* c : chain) {
    if (c->payload != PayloadKind::None) {
      o->payload = new Payload;
      o->payload->kind = c->payload;
      o->payload->arrayType = c->arrayType;
      break;
    }
  }
  objects.insert(o);
  ++cls->live;
  // Constructors run from the root class down, so a subclass sees its superclass initialised.
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    const REALclassDefinition* def = (*it)->def;
    if (def != nullptr && def->constructor != nullptr) {
      reinterpret_cast<void (*)(REALobject)>(def->constructor)(AsReal(o));
    }
  }
  return AsReal(o);
}

void Host::Impl::Lock(REALobject object) {
  Object* o = Live(object, "REALLockObject");
  if (o != nullptr && !o->dying) ++o->refs;
}

void Host::Impl::Unlock(REALobject object) {
  if (tearingDown) return;
  Object* o = Live(object, "REALUnlockObject");
  if (o == nullptr || o->dying) return;
  if (o->refs <= 0) {
    Complain("REALUnlockObject: object of class " + o->cls->info.name + " has no references");
    return;
  }
  if (--o->refs == 0) Destroy(o);
}

void Host::Impl::Destroy(Object* o) {
  o->dying = true;
  for (ClassRec* c : Chain(o->cls)) {
    const REALclassDefinition* def = c->def;
    if (def != nullptr && def->destructor != nullptr) {
      reinterpret_cast<void (*)(REALobject)>(def->destructor)(AsReal(o));
    }
  }
  if (Payload* p = o->payload) {
    if (p->owned) std::free(p->data);
    UnlockString(p->text);
    for (REALstring s : p->strings) UnlockString(s);
    for (REALobject e : p->objects) Unlock(e);
    delete p;
  }
  objects.erase(o);
  --o->cls->live;
  o->~Object();
  ::operator delete(o, kObjectAlignment);
}

bool Host::Impl::IsA(REALobject object, std::string_view className) const {
  Object* o = AsObject(object);
  if (object == nullptr || objects.count(o) == 0) return false;
  return Derives(o->cls, className);
}

Payload* Host::Impl::PayloadOf(REALobject object, PayloadKind kind, const char* entry) {
  Object* o = Live(object, entry);
  if (o == nullptr) return nullptr;
  if (o->payload == nullptr || o->payload->kind != kind) {
    Complain(std::string(entry) + ": object of class " + o->cls->info.name +
             " is not of the expected kind");
    return nullptr;
  }
  return o->payload;
}

// ---------------------------------------------------------------------------------------------
// Impl: strings
// ---------------------------------------------------------------------------------------------

StringRec* Host::Impl::LiveString(REALstring string, const char* entry) {
  StringRec* s = AsString(string);
  if (string == nullptr || strings.count(s) == 0) {
    if (string != nullptr) Complain(std::string(entry) + ": not a live host string");
    return nullptr;
  }
  return s;
}

REALstring Host::Impl::MakeString(std::string bytes, uint32_t encoding) {
  auto* s = new StringRec;
  s->encoding = encoding;
  s->bytes = std::move(bytes);
  strings.insert(s);
  return AsReal(s);
}

void Host::Impl::LockString(REALstring string) {
  if (StringRec* s = LiveString(string, "REALLockString")) ++s->refs;
}

void Host::Impl::UnlockString(REALstring string) {
  if (tearingDown) return;
  StringRec* s = LiveString(string, "REALUnlockString");
  if (s == nullptr) return;
  if (--s->refs == 0) {
    strings.erase(s);
    delete s;
  }
}

bool Host::Impl::ToUtf8(REALstring string, std::string& out) {
  if (string == nullptr) {
    out.clear();
    return true;
  }
  StringRec* s = LiveString(string, "string read");
  if (s == nullptr) return false;
  // Even UTF-8 goes through the converter: it checks the bytes are what the label says.
  return ConvertEncoding(s->bytes, s->encoding, kREALEncodingUTF8, out);
}

// ---------------------------------------------------------------------------------------------
// Impl: exceptions
// ---------------------------------------------------------------------------------------------

void Host::Impl::Raise(REALobject exception) {
  Object* o = Live(exception, "RuntimeRaiseException");
  if (o == nullptr) {
    if (exception == nullptr) Complain("RuntimeRaiseException: nil exception");
    return;
  }
  ++raised;
  if (!Derives(o->cls, "RuntimeException")) {
    Complain("RuntimeRaiseException: " + o->cls->info.name + " is not an exception class");
  }
  if (pending != nullptr) return;  // the first one is delivered
  ++o->refs;
  pending = exception;
}

void Host::Impl::RaiseNew(const char* className, const std::string& message) {
  int saved = failInstances;  // the host's own exceptions are not subject to fault injection
  failInstances = 0;
  REALobject e = NewInstance(Find(className));
  failInstances = saved;
  if (e == nullptr) return;
  Payload* p = AsObject(e)->payload;
  p->text = MakeString(message, kREALEncodingUTF8);
  Raise(e);
  Unlock(e);
}

void Host::Impl::Deliver() {
  if (pending == nullptr) return;
  REALobject e = pending;
  pending = nullptr;
  Object* o = AsObject(e);
  std::string className = o->cls->info.name;
  std::string message;
  if (o->payload != nullptr && o->payload->kind == PayloadKind::Exception) {
    if (!ToUtf8(o->payload->text, message)) message = "(message not convertible to UTF-8)";
  }
  Unlock(e);
  throw HostException(className, message);
}

void Host::DeliverPendingException() { impl_->Deliver(); }

void Host::Impl::Start(REALPluginMainProc pluginMain) {
  if (started) throw std::logic_error("this Host has already started a plug-in");
  if (pluginMain == nullptr) throw std::invalid_argument("Host::Attach: nil entry point");
  started = true;
  pluginMain(&Resolve);
  Deliver();
}

void Host::Impl::TearDown() {
  // Whatever is still alive goes without running plug-in destructors: the plug-in may already be
  // in an inconsistent state, and the accounting has reported the leak.
  tearingDown = true;
  for (Object* o : objects) {
    if (Payload* p = o->payload) {
      if (p->owned) std::free(p->data);
      delete p;
    }
    o->~Object();
    ::operator delete(o, kObjectAlignment);
  }
  objects.clear();
  for (StringRec* s : strings) delete s;
  strings.clear();
  stringData.clear();
  pending = nullptr;
  if (library != nullptr) UnloadLibrary(library);
  library = nullptr;
}

// ---------------------------------------------------------------------------------------------
// Host
// ---------------------------------------------------------------------------------------------

Host::Host(HostOptions options) {
  if (gCurrent != nullptr) throw std::logic_error("only one Host may exist at a time");
  impl_ = std::make_unique<Impl>(options);
  impl_->RegisterBuiltins();
  gCurrent = this;
}

Host::~Host() {
  impl_->TearDown();
  gCurrent = nullptr;
}

Host& Host::Current() {
  if (gCurrent == nullptr) throw std::logic_error("no Host exists");
  return *gCurrent;
}

void Host::Load(const std::string& pluginPath) {
  if (impl_->started) throw std::logic_error("this Host has already started a plug-in");
  std::string why;
  void* library = LoadPrivateCopy(pluginPath, why);
  if (library == nullptr) throw std::runtime_error(why);
  void* entry = LibraryFunction(library, "REALPluginMain");
  if (entry == nullptr) {
    UnloadLibrary(library);
    throw std::runtime_error(pluginPath + " has no REALPluginMain");
  }
  impl_->library = library;
  impl_->Start(reinterpret_cast<REALPluginMainProc>(entry));
}

void Host::Attach(REALPluginMainProc pluginMain) { impl_->Start(pluginMain); }

std::string Host::DefaultPluginPath() {
  const char* env = std::getenv("XQT_PLUGIN");
  if (env != nullptr && *env != '\0') return env;
  return ExecutableDirectory() + kPluginFileName;
}

const HostOptions& Host::options() const { return impl_->options; }
void Host::SetVersion(double version) { impl_->options.version = version; }
void Host::SetInRuntime(bool inRuntime) { impl_->options.inRuntime = inRuntime; }
int32_t Host::RegisteredPluginVersion() const { return impl_->pluginVersion; }
std::vector<std::string> Host::UnknownEntryPoints() const { return impl_->unknownEntries; }

const ClassInfo* Host::FindClass(std::string_view name) const {
  ClassRec* cls = impl_->Find(name);
  return cls ? &cls->info : nullptr;
}

std::vector<const ClassInfo*> Host::PluginClasses() const {
  std::vector<const ClassInfo*> out;
  for (const auto& cls : impl_->classes) {
    if (cls->origin == Origin::Plugin) out.push_back(&cls->info);
  }
  return out;
}

void Host::DefineSubclass(std::string_view name, std::string_view superName,
                          std::vector<std::pair<std::string, void*>> eventImplementations) {
  if (name.empty()) throw std::invalid_argument("DefineSubclass: empty class name");
  if (impl_->Find(name) != nullptr) {
    throw std::logic_error("DefineSubclass: class " + std::string(name) + " exists already");
  }
  if (impl_->Find(superName) == nullptr) {
    throw std::logic_error("DefineSubclass: unknown superclass " + std::string(superName));
  }
  ClassRec* cls = impl_->AddClass(std::string(name), std::string(superName), Origin::Test, nullptr);
  cls->info.eventImplementations = std::move(eventImplementations);
}

Ref Host::NewMemoryBlock(int64_t size) { return New("MemoryBlock", size); }

Ref Host::MemoryBlockOver(void* data) {
  REALobject block = impl_->NewInstance(impl_->Find("MemoryBlock"));
  if (block == nullptr) throw std::runtime_error("MemoryBlock creation failed");
  AsObject(block)->payload->data = static_cast<uint8_t*>(data);
  return Ref::Adopt(block);
}

Ref Host::NewFolderItem(std::string path) { return New("FolderItem", path); }

uint8_t* Host::BlockData(const Ref& block) {
  Impl* impl = CurrentImpl();
  Payload* p = impl ? impl->PayloadOf(block.get(), PayloadKind::Block, "BlockData") : nullptr;
  return p ? p->data : nullptr;
}

int64_t Host::BlockSize(const Ref& block) {
  Impl* impl = CurrentImpl();
  Payload* p = impl ? impl->PayloadOf(block.get(), PayloadKind::Block, "BlockSize") : nullptr;
  return p ? p->size : 0;
}

namespace {

Ref NewArray(Host::Impl& impl, int32_t type) {
  const char* name = type == kREALArrayOfInteger ? "Integer()" : "String()";
  REALobject array = impl.NewInstance(impl.Find(name));
  if (array == nullptr) throw std::runtime_error(std::string(name) + " creation failed");
  return Ref::Adopt(array);
}

Payload& ArrayOf(Host::Impl& impl, const Ref& array, int32_t type) {
  Payload* p = impl.PayloadOf(array.get(), PayloadKind::Array, "array read");
  if (p == nullptr || p->arrayType != type) {
    throw std::invalid_argument(type == kREALArrayOfInteger ? "not an Integer() array"
                                                            : "not a String() array");
  }
  return *p;
}

}  // namespace

Ref Host::NewIntegerArray(const std::vector<int64_t>& values) {
  Ref array = NewArray(*impl_, kREALArrayOfInteger);
  AsObject(array.get())->payload->ints = values;
  return array;
}

Ref Host::NewStringArray(const std::vector<std::string>& values) {
  Ref array = NewArray(*impl_, kREALArrayOfString);
  Payload* p = AsObject(array.get())->payload;
  for (const std::string& v : values) p->strings.push_back(NewString(v));
  return array;
}

std::vector<std::string> Host::StringArray(const Ref& array) const {
  std::vector<std::string> out;
  for (REALstring s : ArrayOf(*impl_, array, kREALArrayOfString).strings) out.push_back(Utf8(s));
  return out;
}

std::vector<int64_t> Host::IntegerArray(const Ref& array) const {
  return ArrayOf(*impl_, array, kREALArrayOfInteger).ints;
}

REALstring Host::NewString(std::string_view bytes, uint32_t encoding) {
  return impl_->MakeString(std::string(bytes), encoding);
}

std::string Host::Utf8(REALstring string) const {
  std::string out;
  if (!impl_->ToUtf8(string, out)) {
    throw std::runtime_error("host string cannot be read as UTF-8");
  }
  return out;
}

uint32_t Host::Encoding(REALstring string) const {
  StringRec* s = impl_->LiveString(string, "Encoding");
  if (s == nullptr) throw std::invalid_argument("Encoding: not a live host string");
  return s->encoding;
}

void Host::ReleaseString(REALstring string) { impl_->UnlockString(string); }

int64_t Host::LiveObjects() const { return static_cast<int64_t>(impl_->objects.size()); }

int64_t Host::LiveObjects(std::string_view className) const {
  ClassRec* cls = impl_->Find(className);
  return cls ? cls->live : 0;
}

int64_t Host::LiveStrings() const { return static_cast<int64_t>(impl_->strings.size()); }

std::string Host::LiveReport() const {
  std::ostringstream out;
  for (const auto& cls : impl_->classes) {
    if (cls->live != 0) out << cls->info.name << ": " << cls->live << "\n";
  }
  if (!impl_->strings.empty()) out << "strings: " << impl_->strings.size() << "\n";
  if (!impl_->stringData.empty()) out << "string data: " << impl_->stringData.size() << "\n";
  return out.str();
}

int64_t Host::RaisedExceptions() const { return impl_->raised; }

std::vector<std::string> Host::ProtocolErrors() const {
  std::lock_guard<std::mutex> lock(impl_->errorMutex);
  return impl_->errors;
}

void Host::ClearProtocolErrors() {
  std::lock_guard<std::mutex> lock(impl_->errorMutex);
  impl_->errors.clear();
}

int64_t Host::YieldCount() const { return impl_->yields; }
void Host::OnYield(std::function<void()> hook) { impl_->yieldHook = std::move(hook); }
void Host::FailNextInstances(int n) { impl_->failInstances = std::max(n, 0); }
void Host::FailNextMemoryBlocks(int n) { impl_->failBlocks = std::max(n, 0); }
void Host::FailNextPictures(int n) { impl_->failPictures = std::max(n, 0); }
void Host::HideEntryPoint(std::string_view name) { impl_->hidden.insert(std::string(name)); }

// ---------------------------------------------------------------------------------------------
// Ref
// ---------------------------------------------------------------------------------------------

Ref Ref::Adopt(REALobject object) {
  Ref ref;
  ref.object_ = object;
  return ref;
}

Ref Ref::Retain(REALobject object) {
  if (Host::Impl* impl = CurrentImpl()) impl->Lock(object);
  return Adopt(object);
}

Ref::Ref(const Ref& other) : object_(other.object_) {
  if (Host::Impl* impl = CurrentImpl()) impl->Lock(object_);
}

Ref::Ref(Ref&& other) noexcept : object_(other.release()) {}

Ref& Ref::operator=(const Ref& other) {
  if (this != &other) *this = Retain(other.object_);
  return *this;
}

Ref& Ref::operator=(Ref&& other) noexcept {
  if (this != &other) {
    reset();
    object_ = other.release();
  }
  return *this;
}

Ref::~Ref() { reset(); }

REALobject Ref::release() { return std::exchange(object_, nullptr); }

void Ref::reset() {
  REALobject object = release();
  if (object == nullptr) return;
  if (Host::Impl* impl = CurrentImpl()) impl->Unlock(object);
}

std::string Ref::ClassName() const {
  Host::Impl* impl = CurrentImpl();
  Object* o = impl ? impl->Live(object_, "ClassName") : nullptr;
  return o ? o->cls->info.name : std::string();
}

}  // namespace xqt::host
