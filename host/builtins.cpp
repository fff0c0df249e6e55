// The host's own classes (MemoryBlock, the exceptions, FolderItem, arrays) and global methods.
//
// They are described with the same class definitions a plug-in registers, their properties and
// methods being host functions of the plug-in accessor types, so that properties by name and the
// typed calls treat them exactly like plug-in classes.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

// Larger requests fail as out of memory without asking the allocator, which under the address
// sanitizer would abort instead of returning null.
constexpr int64_t kMaxBlockSize = int64_t{1} << 40;

Payload* BlockOf(REALobject object, const char* entry) {
  Host::Impl* impl = CurrentImpl();
  return impl ? impl->PayloadOf(object, PayloadKind::Block, entry) : nullptr;
}

// Message of an exception or NativePath of a folder item.
Payload* TextOf(REALobject object, const char* entry) {
  Host::Impl* impl = CurrentImpl();
  Object* o = impl ? impl->Live(object, entry) : nullptr;
  if (o == nullptr) return nullptr;
  Payload* p = o->payload;
  if (p == nullptr || (p->kind != PayloadKind::Exception && p->kind != PayloadKind::Folder)) {
    impl->Complain(std::string(entry) + ": object of class " + o->cls->info.name +
                   " has no such property");
    return nullptr;
  }
  return p;
}

// Allocates `size` zeroed bytes for a block; raises the host exception on failure.
bool SizeBlock(Host::Impl& impl, Payload& block, int64_t size) {
  if (size < 0) {
    impl.RaiseNew("OutOfBoundsException",
                  "MemoryBlock size " + std::to_string(size) + " is negative");
    return false;
  }
  if (impl.failBlocks > 0) {
    --impl.failBlocks;
    impl.RaiseNew("OutOfMemoryException", "Not enough memory for a MemoryBlock");
    return false;
  }
  void* data = size <= kMaxBlockSize ? std::calloc(static_cast<size_t>(size) + 1, 1) : nullptr;
  if (data == nullptr) {
    impl.RaiseNew("OutOfMemoryException",
                  "Not enough memory for a MemoryBlock of " + std::to_string(size) + " bytes");
    return false;
  }
  if (block.owned) {
    std::memcpy(data, block.data, static_cast<size_t>(std::min(block.size, size)));
    std::free(block.data);
  }
  block.data = static_cast<uint8_t*>(data);
  block.size = size;
  block.owned = true;
  return true;
}

void BlockConstructor(REALobject object, int64_t size) {
  Payload* p = BlockOf(object, "MemoryBlock.Constructor");
  if (p == nullptr) return;
  if (p->owned) std::free(p->data);
  p->data = nullptr;
  p->size = 0;
  p->owned = false;
  SizeBlock(*CurrentImpl(), *p, size);
}

int64_t BlockSizeGet(REALobject object, int64_t) {
  Payload* p = BlockOf(object, "MemoryBlock.Size");
  return p ? p->size : 0;
}

void BlockSizeSet(REALobject object, int64_t, int64_t size) {
  Payload* p = BlockOf(object, "MemoryBlock.Size");
  if (p == nullptr) return;
  if (!p->owned && p->data != nullptr) {
    CurrentImpl()->RaiseNew("UnsupportedOperationException",
                            "A MemoryBlock over foreign memory cannot be resized");
    return;
  }
  SizeBlock(*CurrentImpl(), *p, size);
}

REALstring TextGet(REALobject object, int64_t) {
  Payload* p = TextOf(object, "text property");
  if (p == nullptr) return nullptr;
  CurrentImpl()->LockString(p->text);
  return p->text;
}

void TextSet(REALobject object, int64_t, REALstring value) {
  Payload* p = TextOf(object, "text property");
  if (p == nullptr) return;
  Host::Impl* impl = CurrentImpl();
  impl->LockString(value);
  impl->UnlockString(p->text);
  p->text = value;
}

void TextConstructor(REALobject object, REALstring value) { TextSet(object, 0, value); }

int64_t NumberGet(REALobject object, int64_t) {
  Payload* p = TextOf(object, "ErrorNumber");
  return p ? p->number : 0;
}

void NumberSet(REALobject object, int64_t, int64_t value) {
  if (Payload* p = TextOf(object, "ErrorNumber")) p->number = value;
}

int64_t LenB(REALstring string) {
  Host::Impl* impl = CurrentImpl();
  StringRec* s = impl ? impl->LiveString(string, "LenB") : nullptr;
  return s ? static_cast<int64_t>(s->bytes.size()) : 0;
}

REALproperty gBlockProperties[] = {
    HostProperty("Size", "Integer", &BlockSizeGet, &BlockSizeSet),
};
REALmethodDefinition gBlockMethods[] = {
    HostMethod(&BlockConstructor, "Constructor(bytes as Integer)"),
};
REALproperty gExceptionProperties[] = {
    HostProperty("Message", "String", &TextGet, &TextSet),
    HostProperty("ErrorNumber", "Integer", &NumberGet, &NumberSet),
};
REALmethodDefinition gExceptionMethods[] = {
    HostMethod(&TextConstructor, "Constructor(message as String)"),
};
REALproperty gFolderProperties[] = {
    HostProperty("NativePath", "String", &TextGet, &TextSet),
};
REALmethodDefinition gFolderMethods[] = {
    HostMethod(&TextConstructor, "Constructor(path as String)"),
};

REALclassDefinition gBuiltins[] = {
    HostClass("MemoryBlock", nullptr, gBlockProperties, 1, gBlockMethods, 1),
    HostClass("RuntimeException", nullptr, gExceptionProperties, 2, gExceptionMethods, 1),
    HostClass("NilObjectException", "RuntimeException"),
    HostClass("UnsupportedOperationException", "RuntimeException"),
    HostClass("OutOfBoundsException", "RuntimeException"),
    HostClass("OutOfMemoryException", "RuntimeException"),
    HostClass("FolderItem", nullptr, gFolderProperties, 1, gFolderMethods, 1),
    HostClass("Integer()", nullptr),
    HostClass("String()", nullptr),
    HostClass("Object()", nullptr),
};

}  // namespace

void Host::Impl::RegisterBuiltins() {
  for (REALclassDefinition& def : gBuiltins) Register(&def, Origin::Builtin);
  Find("MemoryBlock")->payload = PayloadKind::Block;
  Find("RuntimeException")->payload = PayloadKind::Exception;
  Find("FolderItem")->payload = PayloadKind::Folder;
  const std::pair<const char*, int32_t> arrays[] = {{"Integer()", kREALArrayOfInteger},
                                                    {"String()", kREALArrayOfString},
                                                    {"Object()", kREALArrayOfObject}};
  for (const auto& [name, type] : arrays) {
    ClassRec* cls = Find(name);
    cls->payload = PayloadKind::Array;
    cls->arrayType = type;
  }
  RegisterPictureClasses(*this);
}

REALclassDefinition HostClass(const char* name, const char* superName, REALproperty* properties,
                              size_t propertyCount, REALmethodDefinition* methods,
                              size_t methodCount) {
  REALclassDefinition def{};
  def.version = 13;
  def.name = name;
  def.superName = superName;
  def.properties = properties;
  def.propertyCount = propertyCount;
  def.methods = methods;
  def.methodCount = methodCount;
  return def;
}

void* GlobalMethod(std::string_view declaration) {
  if (Squeeze(declaration) == Squeeze("LenB(s as string) as integer")) {
    return reinterpret_cast<void*>(&LenB);
  }
  return nullptr;
}

}  // namespace xqt::host
