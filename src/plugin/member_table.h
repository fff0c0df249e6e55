// The member lists of a class as its subsystems contribute them, before they become a class
// definition. Each subsystem adds its registered members through one function of its own.
#pragma once

#include <vector>

#include "plugin/host_interface.h"

// Flags as registered (the host's start-up adapts them to its version).
inline constexpr uint32_t kMemberFlags = REALconsoleSafe;
inline constexpr uint32_t kPictureMemberFlags = REALneedsPictureSupport;
inline constexpr uint32_t kPropertyFlags = REALconsoleSafe | REALpropRuntimeOnly;
inline constexpr uint32_t kPicturePropertyFlags = REALneedsPictureSupport | REALpropRuntimeOnly;
inline constexpr uint32_t kSharedPropertyFlags = REALScopeShared | kPropertyFlags;

struct ClassMembers {
  std::vector<REALproperty> properties;
  std::vector<REALmethodDefinition> methods;
  std::vector<REALevent> events;
  std::vector<REALconstant> constants;
  std::vector<REALproperty> sharedProperties;
  std::vector<REALmethodDefinition> sharedMethods;

  void Method(void* function, const char* declaration, uint32_t flags = kMemberFlags) {
    methods.push_back({function, nullptr, declaration, flags});
  }
  void AssignableMethod(void* getter, void* setter, const char* declaration) {
    methods.push_back({getter, setter, declaration, kMemberFlags});
  }
  void SharedMethod(void* function, const char* declaration, uint32_t flags = kMemberFlags) {
    sharedMethods.push_back({function, nullptr, declaration, flags});
  }
};

// Casts a member function pointer to the untyped slot of a table entry.
template <class F>
void* Entry(F* function) {
  return reinterpret_cast<void*>(function);
}
