// Host entry points, looked up by name through the resolver on first use and cached.
//
// A missing entry point stays null and makes its user do nothing. Lookups happen on the host's
// thread only; worker threads never call the host.
#pragma once

#include <cstdint>

#include "plugin/host_interface.h"

// Process-wide state set at start-up.
extern REALResolverProc gResolver;         // the resolver handed to REALPluginMain
extern double rbversion;                   // the host's version, e.g. 2013.04; 0 when unknown
extern int64_t CurrentREALControlVersion;  // class-definition version the host understands
extern int64_t AllocationGranularity;      // page size for file-mapped images

// Stores the resolver and forgets every cached entry point (a second start-up in the same process,
// as unit tests do, must not keep the first host's functions).
void SetResolver(REALResolverProc resolver);
uint64_t ResolverGeneration();

// One cached entry point.
template <class Fn>
class HostEntry {
 public:
  constexpr explicit HostEntry(const char* name) : name_(name) {}
  Fn get() {
    uint64_t generation = ResolverGeneration();
    if (generation_ != generation) {
      generation_ = generation;
      fn_ = gResolver ? reinterpret_cast<Fn>(gResolver(name_)) : nullptr;
    }
    return fn_;
  }
  const char* name() const { return name_; }

 private:
  const char* name_;
  Fn fn_ = nullptr;
  uint64_t generation_ = 0;  // 0: never resolved
};

namespace hostapi {

// Every entry point the plug-in resolves, by the name the host's resolver answers to. The list is
// the whole of what the plug-in may ask the host for.
#define XQT_HOST_ENTRIES(X)                  \
  X(PluginRegisterClass)                     \
  X(RegisterPluginVersion)                   \
  X(REALGetRBVersion)                        \
  X(REALinRuntime)                           \
  X(REALLockObject)                          \
  X(REALUnlockObject)                        \
  X(PluginNewInstance)                       \
  X(pluginObjectType)                        \
  X(RuntimeObjectIsa)                        \
  X(REALLoadObjectMethod)                    \
  X(REALLoadGlobalMethod)                    \
  X(GetEventInstance)                        \
  X(RuntimeRaiseException)                   \
  X(PluginCallFunctionWithExceptionHandler)  \
  X(REALGetPropValueInteger)                 \
  X(REALGetPropValueBool)                    \
  X(REALGetPropValueString)                  \
  X(REALSetPropValueInteger)                 \
  X(REALSetPropValueString)                  \
  X(REALBuildString)                         \
  X(REALBuildStringWithEncoding)             \
  X(REALSetStringEncoding)                   \
  X(REALGetStringEncoding)                   \
  X(REALConvertString)                       \
  X(REALLockString)                          \
  X(REALUnlockString)                        \
  X(PluginGetStringData)                     \
  X(PluginDisposeStringData)                 \
  X(memoryBlockGetPtr)                       \
  X(memoryBlockGetSize)                      \
  X(PtrToMemoryBlock)                        \
  X(RuntimeUBound)                           \
  X(RuntimeArrayCreateSingleDimBoundedArray) \
  X(PluginStringArrayInsertProc)             \
  X(PluginIntegerArrayGetProc)               \
  X(REALYieldToRB)                           \
  X(REALLockPictureDescription)              \
  X(lockPictureDescription)                  \
  X(unlockPictureDescription)                \
  X(REALPictureClearCache)                   \
  X(PluginPictureGetType)                    \
  X(REALGetPictureMask)                      \
  X(newPicture)                              \
  X(REALBuildPictureFromBuffer)              \
  X(pluginPictureGraphicsGetter)

#define XQT_HOST_ENTRY(Name) inline HostEntry<Name##Proc> Name{#Name};
XQT_HOST_ENTRIES(XQT_HOST_ENTRY)
#undef XQT_HOST_ENTRY

#define XQT_HOST_ENTRY_NAME(Name) #Name,
inline constexpr const char* kEntryNames[] = {XQT_HOST_ENTRIES(XQT_HOST_ENTRY_NAME)};
#undef XQT_HOST_ENTRY_NAME

}  // namespace hostapi

// Reference counting that tolerates nil and a host without the entry point.
void LockObject(REALobject object);
void UnlockObject(REALobject object);
void LockString(REALstring string);
void UnlockString(REALstring string);

// Replaces *slot by `value`, taking a reference to the new one and dropping the old one.
void StoreObject(REALobject* slot, REALobject value);
void StoreString(REALstring* slot, REALstring value);
