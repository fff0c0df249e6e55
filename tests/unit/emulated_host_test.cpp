// The emulated host on its own, driven by a small fake plug-in that reaches the host through the
// resolver only, as the plug-in does: the facts of the real host the plug-in relies on.
#include "host/emulated_host.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/environment.h"
#include "support/host_entry_names.h"

namespace {

using xqt::host::Color;
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
  REALstring label;
  REALobject buddy;
  uint32_t tint;
};

REALclassDefinition gWidget{};

WidgetData& Data(REALobject self) {
  return *reinterpret_cast<WidgetData*>(reinterpret_cast<char*>(self) + gWidget.forSystemUse);
}

void WidgetConstructor(REALobject) { ++gConstructed; }
void WidgetDestructor(REALobject self) {
  ++gDestroyed;
  Api<REALUnlockStringProc>("REALUnlockString")(Data(self).label);
  Api<REALUnlockObjectProc>("REALUnlockObject")(Data(self).buddy);
}
void WidgetConstruct(REALobject self, int64_t count) { Data(self).count = count; }
int64_t WidgetAddInteger(REALobject self, int64_t amount) { return Data(self).count += amount; }
int64_t WidgetAddColor(REALobject self, uint32_t tint) {
  Data(self).tint = tint;
  return -1;
}
int64_t WidgetTakeWidget(REALobject, REALobject) { return 1; }
int64_t WidgetTakeBlock(REALobject, REALobject) { return 2; }
int32_t WidgetNarrow(REALobject, int32_t value) { return value + 1; }

template <class F>
REALproc Fn(F* f) {
  return reinterpret_cast<REALproc>(f);
}

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

REALmethodDefinition Method(REALproc function, const char* declaration) {
  REALmethodDefinition entry{};
  entry.function = function;
  entry.declaration = declaration;
  return entry;
}

REALproperty gWidgetProperties[] = {
    Standard("Count", "Integer", offsetof(WidgetData, count)),
    Standard("Visible", "Boolean", offsetof(WidgetData, visible)),
    Standard("Label", "String", offsetof(WidgetData, label)),
    Standard("Buddy", "Widget", offsetof(WidgetData, buddy)),
    Standard("Tint", "Color", offsetof(WidgetData, tint)),
    Standard("Broken", "Integer", 4096),
};
REALmethodDefinition gWidgetMethods[] = {
    Method(Fn(&WidgetConstruct), "Constructor(count as Integer)"),
    Method(Fn(&WidgetAddInteger), "Add(amount as Integer) as Integer"),
    Method(Fn(&WidgetAddColor), "Add(tint As Color) As Integer"),
    Method(Fn(&WidgetTakeWidget), "Take(w as Widget) as Integer"),
    Method(Fn(&WidgetTakeBlock), "Take(m as MemoryBlock) as Integer"),
    Method(Fn(&WidgetNarrow), "Narrow(value as Int32) as Int32"),
};

void FakePluginMain(REALResolverProc resolver) {
  gResolve = resolver;
  gWidget = REALclassDefinition{};
  gWidget.version = 13;
  gWidget.name = "Widget";
  gWidget.dataSize = sizeof(WidgetData);
  gWidget.constructor = Fn(&WidgetConstructor);
  gWidget.destructor = Fn(&WidgetDestructor);
  gWidget.properties = gWidgetProperties;
  gWidget.propertyCount = std::size(gWidgetProperties);
  gWidget.methods = gWidgetMethods;
  gWidget.methodCount = std::size(gWidgetMethods);
  Api<RegisterPluginVersionProc>("RegisterPluginVersion")(3);
  Api<PluginRegisterClassProc>("PluginRegisterClass")(&gWidget);
}

// Every test starts a host with the fake plug-in and ends with nothing alive and no misuse.
class EmulatedHost : public ::testing::Test {
 protected:
  void SetUp() override {
    gConstructed = 0;
    gDestroyed = 0;
    host_.Attach(&FakePluginMain);
  }
  void TearDown() override {
    EXPECT_EQ(host_.LiveObjects(), 0) << host_.LiveReport();
    EXPECT_EQ(host_.LiveStrings(), 0) << host_.LiveReport();
    EXPECT_EQ(gConstructed, gDestroyed);
    if (!expectMisuse_) {
      for (const std::string& e : host_.ProtocolErrors()) ADD_FAILURE() << e;
    }
  }
  Host host_;
  bool expectMisuse_ = false;
};

TEST_F(EmulatedHost, RegistrationPlacesTheDataOnAnAlignedOffsetAndOnlyOneHostLives) {
  EXPECT_EQ(host_.RegisteredPluginVersion(), 3);
  const xqt::host::ClassInfo* info = host_.FindClass("widget");
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->controlVersion, 13u);
  EXPECT_EQ(gWidget.forSystemUse, info->dataOffset);
  EXPECT_EQ(gWidget.forSystemUse % 16, 0u);
  EXPECT_GE(gWidget.forSystemUse, 16u);
  Ref w = host_.New("Widget");
  EXPECT_EQ(reinterpret_cast<uintptr_t>(&Data(w.get())) % 16, 0u);
  EXPECT_EQ(w.Get<int64_t>("Count"), 0);  // zeroed data
  EXPECT_THROW(host_.Attach(&FakePluginMain), std::logic_error);
  EXPECT_THROW(Host second, std::logic_error);
}

// Int32 and Color arguments in their own widths; overloads told apart by the kind of argument, a
// nil that fits two of them refused rather than guessed.
TEST_F(EmulatedHost, CallsChooseTheOverloadByArgumentKind) {
  Ref w = host_.New("Widget", 5);
  EXPECT_EQ(w.Call<int64_t>("add", 2), 7);
  EXPECT_EQ(w.Call<int64_t>("Add", Color{0xFF102030}), -1);
  EXPECT_EQ(w.Get<Color>("Tint").value, 0xFF102030u);
  EXPECT_EQ(w.Call<int32_t>("Narrow", 41), 42);
  EXPECT_THROW(w.Call<int64_t>("Narrow", int64_t{1} << 40), std::logic_error);
  Ref block = host_.NewMemoryBlock(4);
  EXPECT_EQ(w.Call<int64_t>("Take", w), 1);
  EXPECT_EQ(w.Call<int64_t>("Take", block), 2);
  EXPECT_THROW(w.Call<int64_t>("Take", nullptr), std::logic_error);  // nil fits both
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
  w.Set("Label", "first");
  w.Set("Label", std::string("naïve"));  // the old string is released
  EXPECT_EQ(host_.LiveStrings(), 1);
  EXPECT_EQ(w.Get<std::string>("Label"), "naïve");
  Ref buddy = host_.New("Widget", 3);
  w.Set("Buddy", buddy);
  EXPECT_EQ(w.Get<Ref>("Buddy").get(), buddy.get());
  RBInteger n = 0;
  auto getInteger = Api<REALGetPropValueIntegerProc>("REALGetPropValueInteger");
  EXPECT_FALSE(getInteger(w.get(), "Label", &n));   // a String is not an Integer
  EXPECT_FALSE(getInteger(w.get(), "Broken", &n));  // lies outside the instance data
  EXPECT_FALSE(getInteger(nullptr, "Count", &n));
  // The plug-in's destructor releases the label and the buddy it holds.
  w.reset();
  EXPECT_EQ(host_.LiveObjects("Widget"), 1);
  EXPECT_EQ(host_.LiveStrings(), 0);
  EXPECT_EQ(host_.ProtocolErrors().size(), 2u);  // the two refused reads were reported
  host_.ClearProtocolErrors();
}

TEST_F(EmulatedHost, ReferenceCountsAndMisuseIsReportedNotFollowed) {
  Ref a = Ref::Retain(host_.New("Widget").get());
  REALobject raw = a.release();
  Api<REALLockObjectProc>("REALLockObject")(raw);
  Api<REALUnlockObjectProc>("REALUnlockObject")(raw);
  EXPECT_EQ(gDestroyed, 0);
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

TEST_F(EmulatedHost, MemoryBlocksTheirFailuresAndForeignMemory) {
  Ref block = host_.NewMemoryBlock(24);
  auto getPtr = Api<memoryBlockGetPtrProc>("memoryBlockGetPtr");
  auto getSize = Api<memoryBlockGetSizeProc>("memoryBlockGetSize");
  EXPECT_EQ(getPtr(block.get()), Host::BlockData(block));
  block.Set("Size", 40);  // grows, keeps the content zeroed
  EXPECT_EQ(getSize(block.get()), 40);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(Host::BlockData(block)[i], 0) << i;

  EXPECT_THROW(host_.NewMemoryBlock(int64_t{1} << 62), HostException);

  // A block over foreign memory: no size, not owned, not resizable.
  uint8_t foreign[8] = {1, 2, 3};
  Ref over = Ref::Adopt(Api<PtrToMemoryBlockProc>("PtrToMemoryBlock")(foreign));
  EXPECT_EQ(getPtr(over.get()), foreign);
  EXPECT_EQ(getSize(over.get()), 0);
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
