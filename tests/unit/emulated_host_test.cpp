// The emulated host on its own, driven by a small fake plug-in that reaches the host through the
// resolver only, as the plug-in does: the facts of the real host the plug-in relies on.
#include "host/emulated_host.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "support/environment.h"
#include "support/host_entry_names.h"

namespace {

using xqt::host::Host;
using xqt::host::HostException;
using xqt::host::Ref;

REALResolverProc gResolve = nullptr;
int gConstructed = 0;
int gDestroyed = 0;

template <class Proc>
Proc Api(const char* name) {
  auto fn = reinterpret_cast<Proc>(gResolve(name));
  if (fn == nullptr) std::abort();  // every entry point the fake plug-in uses must exist
  return fn;
}

struct WidgetData {
  int64_t count;
  int64_t visible;  // Boolean slot
};

REALclassDefinition gWidget{};

WidgetData& Data(REALobject self) {
  return *reinterpret_cast<WidgetData*>(reinterpret_cast<char*>(self) + gWidget.forSystemUse);
}

void WidgetConstructor(REALobject) { ++gConstructed; }
void WidgetDestructor(REALobject) { ++gDestroyed; }

REALproperty Standard(const char* name, const char* type, size_t offset) {
  REALproperty entry{};
  entry.group = "";
  entry.name = name;
  entry.type = type;
  entry.getter = REALstandardGetter();
  entry.setter = REALstandardSetter();
  entry.param = static_cast<int32_t>(offset);
  return entry;
}

REALproperty gWidgetProperties[] = {
    Standard("Count", "Integer", offsetof(WidgetData, count)),
    Standard("Visible", "Boolean", offsetof(WidgetData, visible)),
    Standard("Broken", "Integer", 4096),
};

void FakePluginMain(REALResolverProc resolver) {
  gResolve = resolver;
  gWidget = REALclassDefinition{};
  gWidget.version = 13;
  gWidget.name = "Widget";
  gWidget.dataSize = sizeof(WidgetData);
  gWidget.constructor = reinterpret_cast<REALproc>(&WidgetConstructor);
  gWidget.destructor = reinterpret_cast<REALproc>(&WidgetDestructor);
  gWidget.properties = gWidgetProperties;
  gWidget.propertyCount = std::size(gWidgetProperties);
  Api<RegisterPluginVersionProc>("RegisterPluginVersion")(3);
  Api<PluginRegisterClassProc>("PluginRegisterClass")(&gWidget);
}

class EmulatedHost : public ::testing::Test {
 protected:
  void SetUp() override {
    gConstructed = 0;
    gDestroyed = 0;
    host_.Attach(&FakePluginMain);
  }
  void TearDown() override {
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    EXPECT_EQ(gConstructed, gDestroyed);
    if (!expectMisuse_) {
      for (const std::string& e : host_.ProtocolErrors()) ADD_FAILURE() << e;
    }
  }
  Host host_;
  bool expectMisuse_ = false;
};

TEST_F(EmulatedHost, RegistrationPlacesTheDataOnAnAlignedOffset) {
  const xqt::host::ClassInfo* info = host_.FindClass("widget");
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(gWidget.forSystemUse, info->dataOffset);
  EXPECT_EQ(gWidget.forSystemUse % 16, 0u);
  EXPECT_GE(gWidget.forSystemUse, 16u);
  Ref w = host_.New("Widget");
  EXPECT_EQ(reinterpret_cast<uintptr_t>(&Data(w.get())) % 16, 0u);
  EXPECT_EQ(w.Get<int64_t>("Count"), 0);  // zeroed data
}

TEST_F(EmulatedHost, StandardPropertiesReadAndWriteTheInstanceData) {
  Ref w = host_.New("Widget");
  w.Set("count", 12);
  EXPECT_EQ(Data(w.get()).count, 12);
  // Only the low byte of a Boolean slot counts, in both directions.
  Data(w.get()).visible = 0x7F00;
  EXPECT_FALSE(w.Get<bool>("Visible"));
  w.Set("Visible", true);
  EXPECT_EQ(Data(w.get()).visible, 0x7F01);
  // A property outside the instance data is refused and reported; nil is refused.
  RBInteger n = 0;
  auto getInteger = Api<REALGetPropValueIntegerProc>("REALGetPropValueInteger");
  EXPECT_FALSE(getInteger(w.get(), "Broken", &n));
  EXPECT_FALSE(getInteger(nullptr, "Count", &n));
  EXPECT_EQ(host_.ProtocolErrors().size(), 1u);
  host_.ClearProtocolErrors();
}

TEST_F(EmulatedHost, ReferenceCountsAndMisuseIsReportedNotFollowed) {
  Ref a = Ref::Retain(host_.New("Widget").get());
  REALobject raw = a.release();
  Api<REALUnlockObjectProc>("REALUnlockObject")(raw);
  EXPECT_EQ(gDestroyed, 1);
  Api<REALLockObjectProc>("REALLockObject")(nullptr);  // nil is fine
  EXPECT_TRUE(host_.ProtocolErrors().empty());
  Api<REALUnlockObjectProc>("REALUnlockObject")(raw);
  int local = 0;
  Api<REALLockObjectProc>("REALLockObject")(reinterpret_cast<REALobject>(&local));
  EXPECT_EQ(host_.ProtocolErrors().size(), 2u);
  host_.ClearProtocolErrors();
}

// A block over foreign memory: no size, not owned, not resizable.
TEST_F(EmulatedHost, BlocksOverForeignMemoryHaveNoSize) {
  uint8_t foreign[8] = {1, 2, 3};
  Ref over = Ref::Adopt(Api<PtrToMemoryBlockProc>("PtrToMemoryBlock")(foreign));
  EXPECT_EQ(Api<memoryBlockGetPtrProc>("memoryBlockGetPtr")(over.get()), foreign);
  EXPECT_EQ(Api<memoryBlockGetSizeProc>("memoryBlockGetSize")(over.get()), 0);
  EXPECT_THROW(over.Set("Size", 4), HostException);
}

TEST_F(EmulatedHost, ResolverAnswersKnownNamesOnlyAndWorkersMustNotCallTheHost) {
  auto yield = Api<REALYieldToRBProc>("REALYieldToRB");
  std::thread([yield] { yield(); }).join();
  ASSERT_EQ(host_.ProtocolErrors().size(), 1u);
  EXPECT_NE(host_.ProtocolErrors()[0].find("REALYieldToRB"), std::string::npos);
  for (const char* name : kHostEntryNames) EXPECT_NE(gResolve(name), nullptr) << name;
  EXPECT_TRUE(host_.UnknownEntryPoints().empty());
  // Names of no host, and names that only an older emulation knew, are refused and recorded.
  for (const char* name : {"realgetrbversion", "REALObjectIsA", "REALGetStringContents"}) {
    EXPECT_EQ(gResolve(name), nullptr) << name;
  }
  EXPECT_EQ(host_.UnknownEntryPoints().size(), 3u);
  host_.HideEntryPoint("REALYieldToRB");
  EXPECT_EQ(gResolve("REALYieldToRB"), nullptr);
  expectMisuse_ = true;
}

// The plug-in named by XQT_PLUGIN, else the system's file name beside the running program.
TEST(EmulatedHostLoading, FindsTheDefaultPath) {
  const char* saved = std::getenv("XQT_PLUGIN");
  const std::string original = saved ? saved : "";
  SetEnvironment("XQT_PLUGIN", "/some/where/libImages.so");
  EXPECT_EQ(Host::DefaultPluginPath(), "/some/where/libImages.so");
  ClearEnvironment("XQT_PLUGIN");
  const std::string path = Host::DefaultPluginPath();
#if defined(_WIN32)
  const std::string name = "\\Images.dll";
#else
  const std::string name = "/libImages.so";
#endif
  ASSERT_GE(path.size(), name.size());
  EXPECT_EQ(path.substr(path.size() - name.size()), name);
  if (saved != nullptr) SetEnvironment("XQT_PLUGIN", original);
}

}  // namespace
