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

#define XQT_HOST_ENTRY(Name) inline HostEntry<Name##Proc> Name{#Name};
XQT_HOST_ENTRY(REALGetRBVersion)
XQT_HOST_ENTRY(RegisterPluginVersion)
XQT_HOST_ENTRY(REALinRuntime)
XQT_HOST_ENTRY(PluginRegisterClass)
XQT_HOST_ENTRY(REALLockObject)
XQT_HOST_ENTRY(REALUnlockObject)
XQT_HOST_ENTRY(PluginNewInstance)
XQT_HOST_ENTRY(REALObjectIsA)
XQT_HOST_ENTRY(REALLoadObjectMethod)
XQT_HOST_ENTRY(REALLoadGlobalMethod)
XQT_HOST_ENTRY(REALGetEventInstance)
XQT_HOST_ENTRY(REALGetPropValueInteger)
XQT_HOST_ENTRY(REALSetPropValueInteger)
XQT_HOST_ENTRY(REALGetPropValueBool)
XQT_HOST_ENTRY(REALSetPropValueBool)
XQT_HOST_ENTRY(REALGetPropValueDouble)
XQT_HOST_ENTRY(REALGetPropValueString)
XQT_HOST_ENTRY(REALSetPropValueString)
XQT_HOST_ENTRY(REALGetPropValueObject)
XQT_HOST_ENTRY(REALSetPropValueObject)
XQT_HOST_ENTRY(RuntimeRaiseException)
XQT_HOST_ENTRY(PluginCallFunctionWithExceptionHandler)
XQT_HOST_ENTRY(REALLockString)
XQT_HOST_ENTRY(REALUnlockString)
XQT_HOST_ENTRY(REALBuildString)
XQT_HOST_ENTRY(REALBuildStringWithEncoding)
XQT_HOST_ENTRY(REALSetStringEncoding)
XQT_HOST_ENTRY(REALGetStringEncoding)
XQT_HOST_ENTRY(REALConvertString)
XQT_HOST_ENTRY(PluginGetStringData)
XQT_HOST_ENTRY(PluginDisposeStringData)
XQT_HOST_ENTRY(REALGetStringContents)
XQT_HOST_ENTRY(memoryBlockGetPtr)
XQT_HOST_ENTRY(memoryBlockGetSize)
XQT_HOST_ENTRY(PtrToMemoryBlock)
XQT_HOST_ENTRY(RuntimeUBound)
XQT_HOST_ENTRY(REALCreateArray)
XQT_HOST_ENTRY(REALGetArrayIntegerStorage)
XQT_HOST_ENTRY(REALAppendArrayString)
XQT_HOST_ENTRY(REALYieldToRB)
XQT_HOST_ENTRY(REALLockPictureDescription)
XQT_HOST_ENTRY(unlockPictureDescription)
XQT_HOST_ENTRY(REALPictureClearCache)
XQT_HOST_ENTRY(PluginPictureGetType)
XQT_HOST_ENTRY(REALGetPictureMask)
XQT_HOST_ENTRY(newPicture)
XQT_HOST_ENTRY(REALBuildPictureFromBuffer)
XQT_HOST_ENTRY(pluginPictureGraphicsGetter)
#undef XQT_HOST_ENTRY
// Entry points whose resolver name differs from their type's name.
inline HostEntry<PluginIntegerArrayGetProc> PluginIntegerArrayGet{"PluginIntegerArrayGet"};
inline HostEntry<PluginObjectTypeProc> pluginObjectType{"pluginObjectType"};
inline HostEntry<lockPictureDescriptionProc> lockPictureDescription{"lockPictureDescription"};

}  // namespace hostapi

// Reference counting that tolerates nil and a host without the entry point.
void LockObject(REALobject object);
void UnlockObject(REALobject object);
void LockString(REALstring string);
void UnlockString(REALstring string);

// Replaces *slot by `value`, taking a reference to the new one and dropping the old one.
void StoreObject(REALobject* slot, REALobject value);
void StoreString(REALstring* slot, REALstring value);
