#include "plugin/plugin_main.h"

#include <cstring>
#include <deque>

#include "platform/export.h"
#include "platform/system_info.h"
#include "plugin/class_registry.h"
#include "plugin/class_tables.h"
#include "plugin/debug_log.h"
#include "plugin/host_api.h"

const char* gpartname = "Image";
const char* gpluginname = "Images";
int64_t gplugin = 1;

namespace {

// Hosts before this version know the 0x308 scope pattern and need it rewritten.
constexpr double kScopeFlagsVersion = 2020.02;
// Hosts from this version understand the console-safe flag on picture members.
constexpr double kConsoleSafeVersion = 2010.029;

uint32_t RewriteScopePattern(uint32_t flags, double version) {
  if (version < kScopeFlagsVersion && (flags & 0x708) == 0x308) flags = (flags & ~0x30Cu) | 4;
  return flags;
}

// Every rewritten declaration, kept for the life of the process.
std::deque<std::string>& ConstantTexts() {
  static std::deque<std::string> texts;
  return texts;
}

void FixFlags(REALmethodDefinition* methods, size_t count, double version) {
  for (size_t i = 0; i < count; ++i)
    methods[i].mFlags = AdaptMemberFlags(methods[i].mFlags, version);
}

void FixFlags(REALproperty* properties, size_t count, double version) {
  for (size_t i = 0; i < count; ++i) {
    properties[i].flags = AdaptMemberFlags(properties[i].flags, version);
  }
}

}  // namespace

int64_t ControlVersionForHost(double version) {
  if (version >= 2013.04) return 13;
  if (version >= 2013.03) return 12;
  if (version >= 2013.0) return 11;
  if (version >= 2012.0) return 10;
  return 9;
}

int64_t GranularityForPageSize(int64_t pageSize) { return pageSize > 4096 ? pageSize : 4096; }

uint32_t AdaptClassFlags(uint32_t flags, double version) {
  flags = RewriteScopePattern(flags, version);
  if (flags & kNeedsPictureSupport) {
    flags &= ~kNeedsPictureSupport;
    if (version >= kConsoleSafeVersion) flags |= REALconsoleSafe;
  }
  return flags;
}

uint32_t AdaptMemberFlags(uint32_t flags, double version) {
  flags = RewriteScopePattern(flags, version);
  if (flags & kNeedsPictureSupport) {
    flags &= ~(kNeedsPictureSupport | REALconsoleSafe);
    if (version >= kConsoleSafeVersion) flags |= REALconsoleSafe;
  }
  return flags;
}

std::string ConstantDeclaration(const char* name, int64_t value) {
  std::string text = name;
  text += " = ";
  if (value < 100) {
    text += std::to_string(value);
    return text;
  }
  static const char kDigits[] = "0123456789ABCDEF";
  text += "&h";
  auto bits = static_cast<uint32_t>(value);
  for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[(bits >> shift) & 0xF];
  return text;
}

void RewriteConstants(const NamedConstant* values, REALconstant* constants, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    REALconstant& constant = constants[i];
    constant.reserved1 = nullptr;
    if (!constant.declaration || std::strchr(constant.declaration, '=')) continue;
    ConstantTexts().push_back(ConstantDeclaration(constant.declaration, values[i].value));
    constant.declaration = ConstantTexts().back().c_str();
  }
}

void MyREALRegisterClass(REALclassDefinition* definition) {
  definition->mFlags = AdaptClassFlags(definition->mFlags, rbversion);
  FixFlags(definition->methods, definition->methodCount, rbversion);
  FixFlags(definition->sharedMethods, definition->sharedMethodCount, rbversion);
  FixFlags(definition->properties, definition->propertyCount, rbversion);
  FixFlags(definition->sharedProperties, definition->sharedPropertyCount, rbversion);
  definition->dataSize = (definition->dataSize + 15u) & ~size_t{15};
  definition->version = static_cast<uint32_t>(CurrentREALControlVersion);
  if (auto registerClass = hostapi::PluginRegisterClass.get()) registerClass(definition);
}

extern "C" XQT_EXPORT void REALPluginMain(REALResolverProc resolver) {
  SetResolver(resolver);
  if (!resolver) return;
  rbversion = 0;
  if (auto getVersion = hostapi::REALGetRBVersion.get()) rbversion = getVersion();
  CurrentREALControlVersion = ControlVersionForHost(rbversion);
  if (auto registerVersion = hostapi::RegisterPluginVersion.get()) {
    registerVersion(static_cast<int>(CurrentREALControlVersion));
  }
  gpartname = "Image";
  gplugin = 1;
  gpluginname = "Images";
  AllocationGranularity = 4096;
  auto inRuntime = hostapi::REALinRuntime.get();
  if (inRuntime && inRuntime() != 0) {
    AllocationGranularity = GranularityForPageSize(platform::MappingGranularity());
    DebugLog("AllocationGranularity", static_cast<long long>(AllocationGranularity));
    platform::SeedRandomFromTime();
  }
  BuildClassTables();
  REALclassDefinition& pictures = PictureXQTClass();
  RewriteConstants(PictureXQTMembers().constants.data(), pictures.constants,
                   pictures.constantCount);
  MyREALRegisterClass(&pictures);
  MyREALRegisterClass(&PictureFactoryXQTClass());
}
