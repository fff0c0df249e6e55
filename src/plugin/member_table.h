// The member lists of a class as its subsystems contribute them, before they become a class
// definition. Each subsystem adds its registered members through one function of its own.
#pragma once

#include <cstdint>
#include <vector>

#include "plugin/host_interface.h"

// Marks a member that works with host pictures. Start-up replaces it by the flags the running host
// expects, so it never reaches the host.
inline constexpr uint32_t kNeedsPictureSupport = 0x40000;

// Flags as registered (the host's start-up adapts them to its version).
inline constexpr uint32_t kMemberFlags = REALconsoleSafe;
inline constexpr uint32_t kPictureMemberFlags = kNeedsPictureSupport;
inline constexpr uint32_t kPropertyFlags = REALconsoleSafe | REALpropRuntimeOnly;
inline constexpr uint32_t kPicturePropertyFlags = kNeedsPictureSupport | REALpropRuntimeOnly;
inline constexpr uint32_t kSharedPropertyFlags = REALScopePublic | kPropertyFlags;

// A class constant before start-up writes its value into the declaration.
struct NamedConstant {
  const char* declaration;
  int64_t value;
};

// Casts a member function pointer to the untyped slot of a table entry.
template <class F>
REALproc Entry(F* function) {
  return reinterpret_cast<REALproc>(function);
}

// Whole records: every field the host reads but this plug-in does not use is null or zero.
inline REALproperty PropertyEntry(const char* name, const char* type, uint32_t flags,
                                  REALproc getter, REALproc setter, int32_t param = 0) {
  REALproperty entry{};
  entry.name = name;
  entry.type = type;
  entry.flags = flags;
  entry.getter = getter;
  entry.setter = setter;
  entry.param = param;
  return entry;
}

inline REALmethodDefinition MethodEntry(REALproc function, REALproc setter, const char* declaration,
                                        uint32_t flags) {
  REALmethodDefinition entry{};
  entry.function = function;
  entry.setterFunction = setter;
  entry.declaration = declaration;
  entry.mFlags = flags;
  return entry;
}

inline REALevent EventEntry(const char* declaration) {
  REALevent entry{};
  entry.declaration = declaration;
  return entry;
}

struct ClassMembers {
  std::vector<REALproperty> properties;
  std::vector<REALmethodDefinition> methods;
  std::vector<REALevent> events;
  std::vector<NamedConstant> constants;
  std::vector<REALproperty> sharedProperties;
  std::vector<REALmethodDefinition> sharedMethods;

  void Method(REALproc function, const char* declaration, uint32_t flags = kMemberFlags) {
    methods.push_back(MethodEntry(function, nullptr, declaration, flags));
  }
  void AssignableMethod(REALproc getter, REALproc setter, const char* declaration) {
    methods.push_back(MethodEntry(getter, setter, declaration, kMemberFlags));
  }
  void SharedMethod(REALproc function, const char* declaration, uint32_t flags = kMemberFlags) {
    sharedMethods.push_back(MethodEntry(function, nullptr, declaration, flags));
  }
};
