#include "plugin/host_api.h"

REALResolverProc gResolver = nullptr;
double rbversion = 0;
int64_t CurrentREALControlVersion = 15;
int64_t AllocationGranularity = 4096;

namespace {
uint64_t gResolverGeneration = 1;
}

void SetResolver(REALResolverProc resolver) {
  gResolver = resolver;
  ++gResolverGeneration;
}

uint64_t ResolverGeneration() { return gResolverGeneration; }

void LockObject(REALobject object) {
  if (!object) return;
  if (auto lock = hostapi::REALLockObject.get()) lock(object);
}

void UnlockObject(REALobject object) {
  if (!object) return;
  if (auto unlock = hostapi::REALUnlockObject.get()) unlock(object);
}

void LockString(REALstring string) {
  if (!string) return;
  if (auto lock = hostapi::REALLockString.get()) lock(string);
}

void UnlockString(REALstring string) {
  if (!string) return;
  if (auto unlock = hostapi::REALUnlockString.get()) unlock(string);
}

void StoreObject(REALobject* slot, REALobject value) {
  if (*slot == value) return;
  LockObject(value);
  REALobject old = *slot;
  *slot = value;
  UnlockObject(old);
}

void StoreString(REALstring* slot, REALstring value) {
  if (*slot == value) return;
  LockString(value);
  REALstring old = *slot;
  *slot = value;
  UnlockString(old);
}
