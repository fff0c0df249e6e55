// Members by name: overload resolution for the typed calls, and properties by name.
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

using detail::Arg;
using detail::Lookup;
using detail::Target;
using detail::Value;

Host::Impl& Need() {
  Host::Impl* impl = CurrentImpl();
  if (impl == nullptr) throw std::logic_error("no Host exists");
  return *impl;
}

// An object fits a declared object type when it is nil or of that class or a subclass; arrays
// of classes are the host's Object() arrays.
bool ObjectFits(Host::Impl& h, REALobject object, const TypeRef& type) {
  if (object == nullptr) return true;
  Object* o = AsObject(object);
  if (h.objects.count(o) == 0) return false;
  const std::string& name = type.className;
  bool array = name.size() > 2 && name.compare(name.size() - 2, 2, "()") == 0;
  if (array && !SameName(name, "Integer()") && !SameName(name, "String()")) {
    return h.Derives(o->cls, "Object()");
  }
  return h.Derives(o->cls, name);
}

bool ArgFits(Host::Impl& h, const TypeRef& type, const Arg& arg) {
  switch (arg.kind) {
    case Kind::Integer:
      return type.kind == Kind::Integer || type.kind == Kind::Int32;
    case Kind::Object:
      return (type.kind == Kind::Object || type.kind == Kind::StringArray) &&
             ObjectFits(h, arg.object, type);
    default:
      return type.kind == arg.kind;
  }
}

bool ResultFits(Kind want, Kind result) {
  switch (want) {
    case Kind::None:
      return true;
    case Kind::Integer:
      return result == Kind::Integer || result == Kind::Int32;
    case Kind::Object:
      return result == Kind::Object || result == Kind::StringArray;
    default:
      return want == result;
  }
}

bool Fits(Host::Impl& h, const Declaration& d, const Arg* args, size_t count, bool setter) {
  size_t params = d.params.size();
  if (params + (setter ? 1 : 0) != count) return false;
  for (size_t i = 0; i < params; ++i) {
    if (!ArgFits(h, ClassifyType(d.params[i].type), args[i])) return false;
  }
  return !setter || ArgFits(h, ClassifyType(d.returnType), args[count - 1]);
}

std::string Describe(Host::Impl& h, const Arg* args, size_t count) {
  std::string out = "(";
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) out += ", ";
    if (args[i].kind != Kind::Object) {
      out += KindName(args[i].kind);
    } else if (args[i].object == nullptr) {
      out += "nil";
    } else {
      Object* o = h.Live(args[i].object, "call argument");
      out += o ? o->cls->info.name : std::string("dead object");
    }
  }
  return out + ")";
}

std::string Candidates(const std::vector<const ClassInfo::Member*>& members) {
  std::string out;
  for (const ClassInfo::Member* m : members) out += "\n  " + std::string(m->entry->declaration);
  return out;
}

size_t FieldSize(Kind kind) {
  switch (kind) {
    case Kind::Int32:
    case Kind::Color:
      return 4;
    case Kind::Boolean:  // a 64-bit slot of which only the low byte counts
      return 1;
    default:
      return 8;
  }
}

// Instance accessors get the instance and the entry's param; shared ones get neither.
template <class T>
T Getter(REALproc fn, REALobject self, int64_t param) {
  if (self == nullptr) return reinterpret_cast<T (*)()>(fn)();
  return reinterpret_cast<T (*)(REALobject, int64_t)>(fn)(self, param);
}

template <class T>
void Setter(REALproc fn, REALobject self, int64_t param, T value) {
  if (self == nullptr) {
    reinterpret_cast<void (*)(T)>(fn)(value);
  } else {
    reinterpret_cast<void (*)(REALobject, int64_t, T)>(fn)(self, param, value);
  }
}

template <class T>
T Field(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
void StoreField(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Properties
// ---------------------------------------------------------------------------------------------

bool Host::Impl::FindProperty(Object* object, ClassRec* cls, bool shared, std::string_view name,
                              PropertyRef& out) {
  for (ClassRec* c : Chain(cls)) {
    const REALclassDefinition* def = c->def;
    if (def == nullptr) continue;
    const REALproperty* props = shared ? def->sharedProperties : def->properties;
    size_t count = shared ? def->sharedPropertyCount : def->propertyCount;
    if (props == nullptr) continue;
    for (size_t i = 0; i < count; ++i) {
      if (props[i].name == nullptr || !SameName(PropertyName(props[i]), name)) continue;
      out.entry = &props[i];
      out.type = ClassifyType(props[i].type ? props[i].type : "");
      out.object = shared ? nullptr : object;
      out.dataSize = out.object ? DataSize(out.object->cls) : 0;
      return true;
    }
  }
  return false;
}

bool Host::Impl::ReadProperty(const PropertyRef& prop, Kind want, Value& out, std::string& why) {
  Kind kind = prop.type.kind;
  std::string name(PropertyName(*prop.entry));
  if (kind == Kind::None || kind == Kind::Unsupported) {
    why = "property " + name + " has an unsupported type";
    return false;
  }
  if (!ResultFits(want, kind)) {
    why = "property " + name + " is " + KindName(kind) + ", not " + KindName(want);
    return false;
  }
  REALproc getter = prop.entry->getter;
  if (getter == nullptr) {
    why = "property " + name + " cannot be read";
    return false;
  }
  out = Value{};
  out.kind = kind;
  int64_t param = prop.entry->param;
  if (getter == REALstandardGetter()) {
    if (prop.object == nullptr) {
      why = "shared property " + name + " has the standard accessor but no instance data";
      return false;
    }
    if (param < 0 || static_cast<uint64_t>(param) + FieldSize(kind) > prop.dataSize) {
      why = "property " + name + " lies outside the instance data";
      return false;
    }
    const uint8_t* at = InstanceData(prop.object) + param;
    switch (kind) {
      case Kind::Integer:
        out.i = Field<int64_t>(at);
        break;
      case Kind::Int32:
        out.i = Field<int32_t>(at);
        break;
      case Kind::Boolean:
        out.b = at[0] != 0;
        break;
      case Kind::Double:
        out.d = Field<double>(at);
        break;
      case Kind::Color:
        out.c = Field<uint32_t>(at);
        break;
      case Kind::Ptr:
        out.p = Field<void*>(at);
        break;
      case Kind::String:
        out.s = Field<REALstring>(at);
        LockString(out.s);
        break;
      default:  // objects and arrays
        out.o = Field<REALobject>(at);
        Lock(out.o);
        break;
    }
    return true;
  }
  REALobject self = prop.object ? AsReal(prop.object) : nullptr;
  switch (kind) {
    case Kind::Integer:
      out.i = Getter<int64_t>(getter, self, param);
      break;
    case Kind::Int32:
      out.i = Getter<int32_t>(getter, self, param);
      break;
    case Kind::Boolean:
      out.b = Getter<RBBoolean>(getter, self, param) != 0;
      break;
    case Kind::Double:
      out.d = Getter<double>(getter, self, param);
      break;
    case Kind::Color:
      out.c = Getter<uint32_t>(getter, self, param);
      break;
    case Kind::Ptr:
      out.p = Getter<void*>(getter, self, param);
      break;
    case Kind::String:
      out.s = Getter<REALstring>(getter, self, param);
      break;
    default:
      out.o = Getter<REALobject>(getter, self, param);
      break;
  }
  return true;
}

bool Host::Impl::WriteProperty(const PropertyRef& prop, const Value& value, std::string& why) {
  Kind kind = prop.type.kind;
  std::string name(PropertyName(*prop.entry));
  if (kind == Kind::None || kind == Kind::Unsupported) {
    why = "property " + name + " has an unsupported type";
    return false;
  }
  Arg arg{value.kind, value.o};
  if (!ArgFits(*this, prop.type, arg)) {
    why = "property " + name + " of type " + prop.entry->type + " cannot take " +
          (value.kind == Kind::Object && value.o ? "this object" : KindName(value.kind));
    return false;
  }
  if (kind == Kind::Int32 && (value.i < std::numeric_limits<int32_t>::min() ||
                              value.i > std::numeric_limits<int32_t>::max())) {
    why = "value out of Int32 range for property " + name;
    return false;
  }
  if (kind == Kind::String && value.s != nullptr && LiveString(value.s, "property") == nullptr) {
    why = "not a live host string";
    return false;
  }
  REALproc setter = prop.entry->setter;
  if (setter == nullptr) {
    why = "property " + name + " is read-only";
    return false;
  }
  int64_t param = prop.entry->param;
  if (setter == REALstandardSetter()) {
    if (prop.object == nullptr) {
      why = "shared property " + name + " has the standard accessor but no instance data";
      return false;
    }
    if (param < 0 || static_cast<uint64_t>(param) + FieldSize(kind) > prop.dataSize) {
      why = "property " + name + " lies outside the instance data";
      return false;
    }
    uint8_t* at = InstanceData(prop.object) + param;
    switch (kind) {
      case Kind::Integer:
        StoreField<int64_t>(at, value.i);
        break;
      case Kind::Int32:
        StoreField<int32_t>(at, static_cast<int32_t>(value.i));
        break;
      case Kind::Boolean:
        at[0] = value.b ? 1 : 0;
        break;
      case Kind::Double:
        StoreField<double>(at, value.d);
        break;
      case Kind::Color:
        StoreField<uint32_t>(at, value.c);
        break;
      case Kind::Ptr:
        StoreField<void*>(at, value.p);
        break;
      case Kind::String: {
        REALstring old = Field<REALstring>(at);
        LockString(value.s);
        StoreField<REALstring>(at, value.s);
        UnlockString(old);
        break;
      }
      default: {
        REALobject old = Field<REALobject>(at);
        Lock(value.o);
        StoreField<REALobject>(at, value.o);
        Unlock(old);
        break;
      }
    }
    return true;
  }
  REALobject self = prop.object ? AsReal(prop.object) : nullptr;
  switch (kind) {
    case Kind::Integer:
      Setter<int64_t>(setter, self, param, value.i);
      break;
    case Kind::Int32:
      Setter<int32_t>(setter, self, param, static_cast<int32_t>(value.i));
      break;
    case Kind::Boolean:
      Setter<RBBoolean>(setter, self, param, value.b ? 1 : 0);
      break;
    case Kind::Double:
      Setter<double>(setter, self, param, value.d);
      break;
    case Kind::Color:
      Setter<uint32_t>(setter, self, param, value.c);
      break;
    case Kind::Ptr:
      Setter<void*>(setter, self, param, value.p);
      break;
    case Kind::String:
      Setter<REALstring>(setter, self, param, value.s);
      break;
    default:
      Setter<REALobject>(setter, self, param, value.o);
      break;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// The machinery of the member templates
// ---------------------------------------------------------------------------------------------

namespace detail {

Target Resolve(Lookup lookup, REALobject self, std::string_view className, std::string_view name,
               const Arg* args, size_t count, Kind want) {
  Host::Impl& h = Need();
  ClassRec* cls = nullptr;
  if (lookup == Lookup::Shared) {
    cls = h.Find(className);
    if (cls == nullptr) throw std::logic_error("unknown class " + std::string(className));
  } else {
    if (self == nullptr) {
      throw HostException("NilObjectException", std::string(name) + " called on nil");
    }
    Object* o = h.Live(self, "call");
    if (o == nullptr) throw std::logic_error(std::string(name) + " called on a dead object");
    cls = o->cls;
  }
  bool setter = lookup == Lookup::Setter;
  std::string label = cls->info.name + "." + std::string(name);
  std::vector<const ClassInfo::Member*> named;
  for (ClassRec* c : h.Chain(cls)) {
    const auto& members = lookup == Lookup::Shared ? c->info.sharedMethods : c->info.methods;
    std::vector<const ClassInfo::Member*> matches;
    for (const ClassInfo::Member& m : members) {
      if (!SameName(m.declaration.name, name)) continue;
      if (setter && m.entry->setterFunction == nullptr) continue;
      named.push_back(&m);
      if (Fits(h, m.declaration, args, count, setter)) matches.push_back(&m);
    }
    if (matches.size() > 1) {
      throw std::logic_error("ambiguous call " + label + Describe(h, args, count) +
                             "; it matches:" + Candidates(matches));
    }
    if (matches.empty()) continue;  // an ancestor may declare it
    const ClassInfo::Member& m = *matches.front();
    Target target;
    target.function = reinterpret_cast<void*>(setter ? m.entry->setterFunction : m.entry->function);
    for (size_t i = 0; i < m.declaration.params.size() && i < 64; ++i) {
      if (ClassifyType(m.declaration.params[i].type).kind == Kind::Int32) {
        target.int32Mask |= uint64_t{1} << i;
      }
    }
    Kind result = ClassifyType(m.declaration.returnType).kind;
    if (setter) {
      if (result == Kind::Int32 && count - 1 < 64) target.int32Mask |= uint64_t{1} << (count - 1);
      result = Kind::None;
    }
    if (result == Kind::Unsupported) {
      throw std::logic_error(label + " returns " + m.declaration.returnType +
                             ", which the host cannot receive");
    }
    if (!ResultFits(want, result)) {
      throw std::logic_error(
          label + " returns " +
          (m.declaration.returnType.empty() ? std::string("nothing") : m.declaration.returnType) +
          ", but the call asks for " + KindName(want));
    }
    target.result = result;
    return target;
  }
  if (lookup == Lookup::Constructor && count == 0) return Target{};
  if (named.empty()) {
    throw std::logic_error(label + ": no such " + (setter ? "assignable method" : "method"));
  }
  throw std::logic_error("no overload of " + label + " takes " + Describe(h, args, count) +
                         "; candidates:" + Candidates(named));
}

void AfterCall() { Need().Deliver(); }

void ThrowUsage(const char* why) { throw std::logic_error(why); }

REALstring MakeUtf8(std::string_view text) {
  return Need().MakeString(std::string(text), kREALEncodingUTF8);
}

void ReleaseString(REALstring string) {
  if (Host::Impl* h = CurrentImpl()) h->UnlockString(string);
}

std::string TakeUtf8(REALstring string) {
  Host::Impl& h = Need();
  std::string out;
  bool ok = h.ToUtf8(string, out);
  h.UnlockString(string);
  if (!ok) throw std::runtime_error("host string cannot be read as UTF-8");
  return out;
}

std::vector<std::string> TakeStringArray(REALobject array) {
  Host::Impl& h = Need();
  std::vector<std::string> out;
  if (array == nullptr) return out;
  Payload* p = h.PayloadOf(array, PayloadKind::Array, "String() result");
  bool ok = p != nullptr && p->arrayType == kREALArrayOfString;
  if (ok) {
    for (REALstring s : p->strings) {
      out.emplace_back();
      ok = ok && h.ToUtf8(s, out.back());
    }
  }
  h.Unlock(array);
  if (!ok) throw std::runtime_error("the result is not a String() array readable as UTF-8");
  return out;
}

void Unlock(REALobject object) {
  if (Host::Impl* h = CurrentImpl()) h->Unlock(object);
}

REALobject CreateInstance(std::string_view className) {
  Host::Impl& h = Need();
  ClassRec* cls = h.Find(className);
  if (cls == nullptr) throw std::logic_error("unknown class " + std::string(className));
  REALobject object = h.NewInstance(cls);
  if (object == nullptr) {
    throw std::runtime_error("creating an instance of " + cls->info.name + " failed");
  }
  if (h.pending != nullptr) {
    h.Unlock(object);
    h.Deliver();
  }
  return object;
}

namespace {

PropertyRef Property(Host::Impl& h, REALobject self, std::string_view className,
                     std::string_view name, ClassRec*& cls) {
  Object* o = nullptr;
  if (self != nullptr) {
    o = h.Live(self, "property");
    if (o == nullptr) throw std::logic_error("property " + std::string(name) + " of a dead object");
    cls = o->cls;
  } else if (!className.empty()) {
    cls = h.Find(className);
    if (cls == nullptr) throw std::logic_error("unknown class " + std::string(className));
  } else {
    throw HostException("NilObjectException", "property " + std::string(name) + " of nil");
  }
  PropertyRef prop;
  if (!h.FindProperty(o, cls, o == nullptr, name, prop)) {
    throw std::logic_error(cls->info.name + " has no " + (o ? "" : "shared ") + "property " +
                           std::string(name));
  }
  return prop;
}

}  // namespace

Value GetProperty(REALobject self, std::string_view className, std::string_view name, Kind want) {
  Host::Impl& h = Need();
  ClassRec* cls = nullptr;
  PropertyRef prop = Property(h, self, className, name, cls);
  Value value;
  std::string why;
  if (!h.ReadProperty(prop, want, value, why)) throw std::logic_error(cls->info.name + ": " + why);
  if (h.pending != nullptr) {
    h.UnlockString(value.s);
    h.Unlock(value.o);
    h.Deliver();
  }
  return value;
}

void SetProperty(REALobject self, std::string_view className, std::string_view name,
                 const Value& value) {
  Host::Impl& h = Need();
  ClassRec* cls = nullptr;
  PropertyRef prop = Property(h, self, className, name, cls);
  std::string why;
  if (!h.WriteProperty(prop, value, why)) throw std::logic_error(cls->info.name + ": " + why);
  h.Deliver();
}

}  // namespace detail
}  // namespace xqt::host
