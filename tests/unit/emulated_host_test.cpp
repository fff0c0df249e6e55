// The emulated host on its own, driven by a small fake plug-in that uses the interface the way a
// plug-in does: through the resolver only.
#include "host/emulated_host.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/environment.h"
#include "support/host_entry_names.h"

namespace {

using xqt::host::Color;
using xqt::host::Declaration;
using xqt::host::Host;
using xqt::host::HostException;
using xqt::host::Ref;

// ---------------------------------------------------------------------------------------------
// The fake plug-in: one class "Widget" with standard and custom properties, overloads, an
// assignable method, a shared method and property, and an event.
// ---------------------------------------------------------------------------------------------

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
  double scale;
  int64_t visible;  // Boolean slot
  REALstring label;
  REALobject buddy;
  uint32_t tint;
  int64_t pixels[4];
};

REALclassDefinition gWidget{};
REALevent gWidgetEvents[] = {{"Changed(value as Integer) as Integer", 0, 0, nullptr}};

WidgetData& Data(REALobject self) {
  return *reinterpret_cast<WidgetData*>(reinterpret_cast<char*>(self) + gWidget.forSystemUse);
}

REALstring Utf8String(const char* text) {
  return Api<REALBuildStringWithEncodingProc>("REALBuildStringWithEncoding")(
      text, static_cast<int32_t>(std::strlen(text)), kREALEncodingUTF8);
}

void Raise(const char* className, const char* message) {
  REALobject e = Api<PluginNewInstanceProc>("PluginNewInstance")(className);
  REALstring text = Utf8String(message);
  Api<REALSetPropValueStringProc>("REALSetPropValueString")(e, "Message", text);
  Api<RuntimeRaiseExceptionProc>("RuntimeRaiseException")(e);
  Api<REALUnlockObjectProc>("REALUnlockObject")(e);
  Api<REALUnlockStringProc>("REALUnlockString")(text);
}

void WidgetConstructor(REALobject self) {
  ++gConstructed;
  Data(self).scale = 1.0;
}

void WidgetDestructor(REALobject self) {
  ++gDestroyed;
  Api<REALUnlockStringProc>("REALUnlockString")(Data(self).label);
  Api<REALUnlockObjectProc>("REALUnlockObject")(Data(self).buddy);
}

void WidgetConstruct(REALobject self, int64_t count) {
  if (count < 0) Raise("OutOfBoundsException", "negative count");
  Data(self).count = count;
}

int64_t WidgetAddInteger(REALobject self, int64_t amount) { return Data(self).count += amount; }

int64_t WidgetAddColor(REALobject self, uint32_t tint) {
  Data(self).tint = tint;
  return -1;
}

double WidgetScaled(REALobject self, double factor, RBBoolean round) {
  double v = static_cast<double>(Data(self).count) * factor;
  return round ? static_cast<double>(static_cast<int64_t>(v + 0.5)) : v;
}

REALstring WidgetDescribe(REALobject self) {
  std::string text = "Widget " + std::to_string(Data(self).count);
  return Utf8String(text.c_str());
}

REALobject WidgetTwin(REALobject self) {
  REALobject twin = Api<PluginNewInstanceProc>("PluginNewInstance")("Widget");
  if (twin != nullptr) Data(twin).count = Data(self).count;
  return twin;
}

void WidgetFail(REALobject, REALstring message) {
  REALstringData data{};
  std::string text;
  if (Api<PluginGetStringDataProc>("PluginGetStringData")(message, kREALEncodingUTF8, &data)) {
    text.assign(static_cast<const char*>(data.data), data.length);
    Api<PluginDisposeStringDataProc>("PluginDisposeStringData")(&data);
  }
  Raise("UnsupportedOperationException", text.c_str());
}

// Raises and still returns an object: the host must drop it.
REALobject WidgetFailWithResult(REALobject self) {
  Raise("OutOfBoundsException", "twin refused");
  return WidgetTwin(self);
}

int64_t WidgetTakeWidget(REALobject, REALobject) { return 1; }
int64_t WidgetTakeBlock(REALobject, REALobject) { return 2; }

REALarray WidgetNames(REALobject) {
  REALarray names = Api<RuntimeArrayCreateSingleDimBoundedArrayProc>(
      "RuntimeArrayCreateSingleDimBoundedArray")(kREALArrayOfString, -1);
  auto insert = reinterpret_cast<REALStringArrayInsert>(
      Api<PluginStringArrayInsertProcProc>("PluginStringArrayInsertProc")(names));
  int64_t index = 0;
  for (const char* n : {"red", "grün"}) {
    REALstring s = Utf8String(n);
    insert(names, index++, s);
    Api<REALUnlockStringProc>("REALUnlockString")(s);
  }
  return names;
}

int64_t WidgetFire(REALobject self, int64_t value) {
  REALproc handler =
      Api<GetEventInstanceProc>("GetEventInstance")(self, gWidgetEvents[0].forSystemUse);
  if (handler == nullptr) return -1;
  return reinterpret_cast<int64_t (*)(REALobject, int64_t)>(handler)(self, value);
}

int64_t WidgetPixel(REALobject self, int64_t index) {
  return index >= 0 && index < 4 ? Data(self).pixels[index] : 0;
}

void WidgetSetPixel(REALobject self, int64_t index, int64_t value) {
  if (index >= 0 && index < 4) Data(self).pixels[index] = value;
}

int32_t WidgetNarrow(REALobject, int32_t value) { return value + 1; }
void* WidgetPass(REALobject, void* p) { return p; }

REALobject WidgetMake(int64_t count) {
  REALobject w = Api<PluginNewInstanceProc>("PluginNewInstance")("Widget");
  if (w != nullptr) Data(w).count = count;
  return w;
}

int64_t WidgetDoubledGet(REALobject self, int64_t factor) { return Data(self).count * factor; }
void WidgetDoubledSet(REALobject self, int64_t factor, int64_t value) {
  Data(self).count = value / factor;
}
// A shared accessor takes no instance and no param.
int64_t WidgetLiveGet() { return gConstructed - gDestroyed; }

template <class F>
REALproc Fn(F* f) {
  return reinterpret_cast<REALproc>(f);
}

REALproperty Property(const char* name, const char* type, REALproc getter, REALproc setter,
                      int32_t param) {
  REALproperty entry{};
  entry.group = "";
  entry.name = name;
  entry.type = type;
  entry.getter = getter;
  entry.setter = setter;
  entry.param = param;
  return entry;
}

REALproperty Standard(const char* name, const char* type, size_t offset) {
  return Property(name, type, REALstandardGetter(), REALstandardSetter(),
                  static_cast<int32_t>(offset));
}

REALmethodDefinition Method(REALproc function, const char* declaration, REALproc setter = nullptr) {
  REALmethodDefinition entry{};
  entry.function = function;
  entry.setterFunction = setter;
  entry.declaration = declaration;
  return entry;
}

REALproperty gWidgetProperties[] = {
    Standard("Count", "Integer", offsetof(WidgetData, count)),
    Standard("Scale", "Double", offsetof(WidgetData, scale)),
    Standard("Visible", "Boolean", offsetof(WidgetData, visible)),
    Standard("Label", "String", offsetof(WidgetData, label)),
    Standard("Buddy", "Widget", offsetof(WidgetData, buddy)),
    Standard("Tint", "Color", offsetof(WidgetData, tint)),
    Property("Doubled", "integer", Fn(&WidgetDoubledGet), Fn(&WidgetDoubledSet), 2),
    Property("Broken", "Integer", REALstandardGetter(), nullptr, 4096),
};
REALproperty gWidgetSharedProperties[] = {
    Property("Live", "Integer", Fn(&WidgetLiveGet), nullptr, 0),
};
REALmethodDefinition gWidgetMethods[] = {
    Method(Fn(&WidgetConstruct), "Constructor(count as Integer)"),
    Method(Fn(&WidgetAddInteger), "Add(amount as Integer) as Integer"),
    Method(Fn(&WidgetAddColor), "Add(tint As Color) As Integer"),
    Method(Fn(&WidgetScaled), "Scaled(factor as Double, round as Boolean) as Double"),
    Method(Fn(&WidgetDescribe), "Describe as String"),
    Method(Fn(&WidgetTwin), "Twin as Widget"),
    Method(Fn(&WidgetFail), "Fail(message as String)"),
    Method(Fn(&WidgetFailWithResult), "FailWithResult as Widget"),
    Method(Fn(&WidgetTakeWidget), "Take(w as Widget) as Integer"),
    Method(Fn(&WidgetTakeBlock), "Take(m as MemoryBlock) as Integer"),
    Method(Fn(&WidgetNames), "Names as String()"),
    Method(Fn(&WidgetFire), "Fire(value as Integer) as Integer"),
    Method(Fn(&WidgetPixel), "Pixel(index as Integer) as Integer", Fn(&WidgetSetPixel)),
    Method(Fn(&WidgetNarrow), "Narrow(value as Int32) as Int32"),
    Method(Fn(&WidgetPass), "Pass(p as Ptr) as Ptr"),
};
REALmethodDefinition gWidgetSharedMethods[] = {
    Method(Fn(&WidgetMake), "Make(count as Integer) as Widget"),
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
  gWidget.events = gWidgetEvents;
  gWidget.eventCount = std::size(gWidgetEvents);
  gWidget.sharedProperties = gWidgetSharedProperties;
  gWidget.sharedPropertyCount = std::size(gWidgetSharedProperties);
  gWidget.sharedMethods = gWidgetSharedMethods;
  gWidget.sharedMethodCount = std::size(gWidgetSharedMethods);
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
  template <class Proc>
  Proc Entry(const char* name) {
    auto fn = reinterpret_cast<Proc>(Resolver()(name));
    EXPECT_NE(fn, nullptr) << name;
    return fn;
  }
  static REALResolverProc Resolver() { return gResolve; }

  Host host_;
  bool expectMisuse_ = false;
};

// ---------------------------------------------------------------------------------------------

TEST(EmulatedHostDeclaration, ParsesTheFormsThePluginWrites) {
  Declaration d = Declaration::Parse(
      "ScaleMT(threads as integer, source as PictureXQT, temp as PictureXQT, mode as integer, "
      "width as integer, height as integer) as boolean");
  EXPECT_EQ(d.name, "ScaleMT");
  ASSERT_EQ(d.params.size(), 6u);
  EXPECT_EQ(d.params[1].name, "source");
  EXPECT_EQ(d.params[1].type, "PictureXQT");
  EXPECT_EQ(d.returnType, "boolean");

  d = Declaration::Parse("Rotate90(dest as PictureXQT=nil) as PictureXQT");
  ASSERT_EQ(d.params.size(), 1u);
  EXPECT_EQ(d.params[0].type, "PictureXQT");
  EXPECT_EQ(d.params[0].defaultValue, "nil");

  d = Declaration::Parse("Close");
  EXPECT_EQ(d.name, "Close");
  EXPECT_TRUE(d.params.empty());
  EXPECT_TRUE(d.returnType.empty());

  d = Declaration::Parse("Channels as String()");
  EXPECT_TRUE(d.params.empty());
  EXPECT_EQ(d.returnType, "String()");

  d = Declaration::Parse(
      "Combine(Mask as PictureXQT, X As Integer, Y As Integer, Width As Integer, Height As "
      "Integer, BackColour as color) as boolean");
  ASSERT_EQ(d.params.size(), 6u);
  EXPECT_EQ(d.params[5].name, "BackColour");
  EXPECT_EQ(d.params[5].type, "color");

  d = Declaration::Parse("  LenB( s as string ) as integer ");
  EXPECT_EQ(d.name, "LenB");
  ASSERT_EQ(d.params.size(), 1u);
  EXPECT_EQ(d.params[0].name, "s");
  EXPECT_EQ(d.returnType, "integer");

  d = Declaration::Parse("Label(text as String = \"a, b\", n as Integer)");
  ASSERT_EQ(d.params.size(), 2u);
  EXPECT_EQ(d.params[0].defaultValue, "\"a, b\"");
}

TEST(EmulatedHostDeclaration, RejectsMalformedText) {
  for (const char* bad : {"", "(x as Integer)", "Open(x as Integer", "Open(x Integer)",
                          "Open(x as)", "Open() Integer", "Open as", "Op-en"}) {
    EXPECT_THROW(Declaration::Parse(bad), std::invalid_argument) << bad;
  }
}

TEST_F(EmulatedHost, RegistrationFillsTheDataOffsetAndRecordsTheClass) {
  EXPECT_EQ(host_.RegisteredPluginVersion(), 3);
  const xqt::host::ClassInfo* info = host_.FindClass("widget");
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->definition, &gWidget);
  EXPECT_EQ(info->controlVersion, 13u);
  EXPECT_EQ(gWidget.forSystemUse, info->dataOffset);
  EXPECT_EQ(gWidget.forSystemUse % 16, 0u);
  EXPECT_GE(gWidget.forSystemUse, 16u);
  EXPECT_EQ(info->methods.size(), std::size(gWidgetMethods));
  ASSERT_EQ(host_.PluginClasses().size(), 1u);
  EXPECT_EQ(host_.PluginClasses()[0], info);
  EXPECT_NE(host_.FindClass("MemoryBlock"), nullptr);
  EXPECT_EQ(host_.FindClass("MemoryBlock")->definition, nullptr);

  Ref w = host_.New("Widget");
  EXPECT_EQ(gConstructed, 1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(&Data(w.get())) % 16, 0u);
  EXPECT_EQ(w.Get<double>("Scale"), 1.0);  // the constructor ran on zeroed data
  EXPECT_EQ(w.Get<int64_t>("Count"), 0);
}

TEST_F(EmulatedHost, StartsOnlyOnceAndOnlyOneHostLives) {
  EXPECT_THROW(host_.Attach(&FakePluginMain), std::logic_error);
  EXPECT_THROW(Host second, std::logic_error);
  EXPECT_EQ(&Host::Current(), &host_);
}

TEST_F(EmulatedHost, CallsChooseTheOverloadByArgumentKind) {
  Ref w = host_.New("Widget", 5);
  EXPECT_EQ(w.Call<int64_t>("add", 2), 7);
  EXPECT_EQ(w.Call<int64_t>("Add", Color{0xFF102030}), -1);
  EXPECT_EQ(w.Get<Color>("Tint").value, 0xFF102030u);
  EXPECT_EQ(w.Get<int64_t>("Count"), 7);

  EXPECT_DOUBLE_EQ(w.Call<double>("Scaled", 0.25, false), 1.75);
  EXPECT_DOUBLE_EQ(w.Call<double>("Scaled", 0.25, true), 2.0);
  EXPECT_EQ(w.Call<std::string>("Describe"), "Widget 7");
  EXPECT_EQ(w.Call<int32_t>("Narrow", 41), 42);
  EXPECT_THROW(w.Call<int64_t>("Narrow", int64_t{1} << 40), std::logic_error);
  int marker = 0;
  EXPECT_EQ(w.Call<void*>("Pass", &marker), &marker);
  w.Call("Add", 1);  // a result nobody asked for is dropped

  Ref block = host_.NewMemoryBlock(4);
  EXPECT_EQ(w.Call<int64_t>("Take", w), 1);
  EXPECT_EQ(w.Call<int64_t>("Take", block), 2);
  try {
    w.Call<int64_t>("Take", nullptr);  // nil fits both object overloads
    ADD_FAILURE() << "ambiguous call accepted";
  } catch (const std::logic_error& e) {
    EXPECT_NE(std::string(e.what()).find("ambiguous"), std::string::npos) << e.what();
  }
  try {
    w.Call<int64_t>("Add", "seven");
    ADD_FAILURE() << "a String argument matched";
  } catch (const std::logic_error& e) {
    std::string what = e.what();
    EXPECT_NE(what.find("Widget.Add"), std::string::npos) << what;
    EXPECT_NE(what.find("(String)"), std::string::npos) << what;
    EXPECT_NE(what.find("Add(amount as Integer) as Integer"), std::string::npos) << what;
    EXPECT_NE(what.find("Add(tint As Color) As Integer"), std::string::npos) << what;
  }
  EXPECT_THROW(w.Call<int64_t>("Add", 1, 2), std::logic_error);   // count differs
  EXPECT_THROW(w.Call<std::string>("Add", 1), std::logic_error);  // result kind differs
  EXPECT_THROW(w.Call("NoSuchMethod"), std::logic_error);
  EXPECT_THROW(host_.New("Widget", "five"), std::logic_error);
  EXPECT_THROW(host_.New("Widget", -1), HostException);  // and the instance is released
  EXPECT_THROW(host_.New("NoSuchClass"), std::logic_error);

  try {
    Ref().Call("Add", 1);
    ADD_FAILURE() << "call on nil accepted";
  } catch (const HostException& e) {
    EXPECT_EQ(e.className(), "NilObjectException");
  }
}

TEST_F(EmulatedHost, ObjectResultsSharedMembersAndAssignment) {
  Ref w = host_.CallShared<Ref>("Widget", "Make", 9);
  ASSERT_TRUE(w);
  EXPECT_EQ(w.ClassName(), "Widget");
  Ref twin = w.Call<Ref>("Twin");
  EXPECT_EQ(twin.Get<int64_t>("Count"), 9);
  EXPECT_EQ(host_.LiveObjects("Widget"), 2);
  EXPECT_EQ(host_.GetShared<int64_t>("Widget", "Live"), 2);
  EXPECT_EQ(w.Call<std::vector<std::string>>("Names"), (std::vector<std::string>{"red", "grün"}));

  w.Assign("Pixel", 77, 2);
  EXPECT_EQ(w.Call<int64_t>("Pixel", 2), 77);
  EXPECT_EQ(Data(w.get()).pixels[2], 77);
  EXPECT_THROW(w.Assign("Describe", "x"), std::logic_error);  // not assignable
  EXPECT_THROW(host_.CallShared<Ref>("Widget", "Twin"), std::logic_error);
  EXPECT_THROW(host_.SetShared("Widget", "Live", 1), std::logic_error);  // read-only
}

TEST_F(EmulatedHost, StandardAndCustomPropertyAccessors) {
  Ref w = host_.New("Widget");
  w.Set("count", 12);
  EXPECT_EQ(Data(w.get()).count, 12);
  EXPECT_EQ(w.Get<int64_t>("Doubled"), 24);  // custom getter with param 2
  w.Set("Doubled", 10);
  EXPECT_EQ(w.Get<int64_t>("Count"), 5);

  w.Set("Scale", 2.5);
  EXPECT_EQ(Data(w.get()).scale, 2.5);

  // Only the low byte of a Boolean slot counts, in both directions.
  Data(w.get()).visible = 0x7F00;
  EXPECT_FALSE(w.Get<bool>("Visible"));
  w.Set("Visible", true);
  EXPECT_EQ(Data(w.get()).visible, 0x7F01);
  RBBoolean flag = false;
  EXPECT_TRUE(Entry<REALGetPropValueBoolProc>("REALGetPropValueBool")(w.get(), "VISIBLE", &flag));
  EXPECT_TRUE(flag);

  w.Set("Label", "naïve");
  EXPECT_EQ(w.Get<std::string>("Label"), "naïve");
  w.Set("Label", std::string("second"));  // the old string is released
  EXPECT_EQ(host_.LiveStrings(), 1);
  REALstring label = nullptr;
  ASSERT_TRUE(
      Entry<REALGetPropValueStringProc>("REALGetPropValueString")(w.get(), "Label", &label));
  EXPECT_EQ(host_.Utf8(label), "second");
  host_.ReleaseString(label);

  Ref buddy = host_.New("Widget", 3);
  w.Set("Buddy", buddy);
  EXPECT_EQ(w.Get<Ref>("Buddy").get(), buddy.get());
  Ref block = host_.NewMemoryBlock(1);
  EXPECT_FALSE(
      Entry<REALSetPropValueObjectProc>("REALSetPropValueObject")(w.get(), "Buddy", block.get()));
  expectMisuse_ = true;  // the refused MemoryBlock was reported

  RBInteger n = 0;
  auto getInteger = Entry<REALGetPropValueIntegerProc>("REALGetPropValueInteger");
  EXPECT_TRUE(getInteger(w.get(), "count", &n));
  EXPECT_EQ(n, 5);
  EXPECT_FALSE(getInteger(w.get(), "NoSuch", &n));
  EXPECT_FALSE(getInteger(w.get(), "Label", &n));   // a String is not an Integer
  EXPECT_FALSE(getInteger(w.get(), "Broken", &n));  // lies outside the instance data
  EXPECT_FALSE(getInteger(nullptr, "Count", &n));
  EXPECT_FALSE(getInteger(w.get(), "Count", nullptr));
  EXPECT_THROW(w.Get<int64_t>("Label"), std::logic_error);
  EXPECT_THROW(w.Get<int64_t>("NoSuch"), std::logic_error);
  EXPECT_THROW(w.Set("Count", "text"), std::logic_error);
  EXPECT_THROW(w.Set("Broken", 1), std::logic_error);

  // The plug-in's destructor releases the label and the buddy it holds.
  w.reset();
  EXPECT_EQ(host_.LiveObjects("Widget"), 1);
  EXPECT_EQ(host_.LiveStrings(), 0);
}

TEST_F(EmulatedHost, ReferenceCountsAndLiveAccounting) {
  Ref a = host_.New("Widget");
  {
    Ref copy = a;
    Ref moved = std::move(copy);
    Ref retained = Ref::Retain(a.get());
    EXPECT_EQ(host_.LiveObjects("Widget"), 1);
  }
  EXPECT_EQ(gDestroyed, 0);
  Entry<REALLockObjectProc>("REALLockObject")(a.get());
  REALobject raw = a.release();
  Entry<REALUnlockObjectProc>("REALUnlockObject")(raw);
  EXPECT_EQ(gDestroyed, 0);
  EXPECT_NE(host_.LiveReport().find("Widget: 1"), std::string::npos) << host_.LiveReport();
  Entry<REALUnlockObjectProc>("REALUnlockObject")(raw);
  EXPECT_EQ(gDestroyed, 1);
  EXPECT_EQ(host_.LiveObjects(), 0);
  EXPECT_EQ(host_.LiveReport(), "");

  // Nil is fine; dead and foreign pointers are reported, not followed.
  Entry<REALLockObjectProc>("REALLockObject")(nullptr);
  Entry<REALUnlockObjectProc>("REALUnlockObject")(nullptr);
  EXPECT_TRUE(host_.ProtocolErrors().empty());
  Entry<REALUnlockObjectProc>("REALUnlockObject")(raw);
  int local = 0;
  Entry<REALLockObjectProc>("REALLockObject")(reinterpret_cast<REALobject>(&local));
  EXPECT_EQ(host_.ProtocolErrors().size(), 2u);
  host_.ClearProtocolErrors();

  auto isA = Entry<RuntimeObjectIsaProc>("RuntimeObjectIsa");
  auto classOf = Entry<pluginObjectTypeProc>("pluginObjectType");
  Ref e = host_.New("OutOfMemoryException");
  EXPECT_EQ(isA(e.get(), classOf("RuntimeException")), 1);
  EXPECT_EQ(isA(e.get(), classOf("outofmemoryexception")), 1);
  EXPECT_EQ(isA(e.get(), classOf("NilObjectException")), 0);
  EXPECT_EQ(isA(nullptr, classOf("RuntimeException")), 0);
  EXPECT_EQ(isA(e.get(), nullptr), 0);
  Ref made = Ref::Adopt(Entry<CreateInstanceProc>("CreateInstance")(classOf("Widget")));
  EXPECT_EQ(made.ClassName(), "Widget");
}

TEST_F(EmulatedHost, FailedInstanceCreation) {
  host_.FailNextInstances(2);
  EXPECT_EQ(Entry<PluginNewInstanceProc>("PluginNewInstance")("Widget"), nullptr);
  EXPECT_THROW(host_.New("Widget"), std::runtime_error);
  Ref w = host_.New("Widget");
  EXPECT_TRUE(w);
  EXPECT_EQ(Entry<PluginNewInstanceProc>("PluginNewInstance")("NoSuchClass"), nullptr);

  // A plug-in method whose own allocation fails returns nil.
  host_.FailNextInstances(1);
  EXPECT_FALSE(w.Call<Ref>("Twin"));
}

TEST_F(EmulatedHost, ExceptionsReachTheCallerWithClassAndMessage) {
  Ref w = host_.New("Widget");
  try {
    w.Call("Fail", "no such mode");
    ADD_FAILURE() << "no exception";
  } catch (const HostException& e) {
    EXPECT_EQ(e.className(), "UnsupportedOperationException");
    EXPECT_EQ(e.message(), "no such mode");
  }
  try {
    w.Call<Ref>("FailWithResult");
    ADD_FAILURE() << "no exception";
  } catch (const HostException& e) {
    EXPECT_EQ(e.className(), "OutOfBoundsException");
  }
  EXPECT_EQ(host_.LiveObjects("Widget"), 1);  // the result of the failed call was dropped
  EXPECT_EQ(host_.RaisedExceptions(), 2);
  w.Call("Add", 1);  // nothing pending any more

  // The guarded call hands the exception raised inside it to the caller, who releases it.
  auto guarded =
      Entry<PluginCallFunctionWithExceptionHandlerProc>("PluginCallFunctionWithExceptionHandler");
  static REALobject target;
  target = w.get();
  Ref caught = Ref::Adopt(guarded([](void*) { WidgetFail(target, nullptr); }, nullptr));
  EXPECT_EQ(caught.ClassName(), "UnsupportedOperationException");
  caught.reset();
  int calls = 0;
  EXPECT_EQ(guarded([](void* n) { ++*static_cast<int*>(n); }, &calls), nullptr);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(guarded(nullptr, nullptr), nullptr);
  EXPECT_EQ(host_.LiveObjects("UnsupportedOperationException"), 0);
  w.Call("Add", 1);
}

TEST_F(EmulatedHost, MemoryBlocksAndFaultInjection) {
  Ref block = host_.NewMemoryBlock(24);
  ASSERT_NE(Host::BlockData(block), nullptr);
  EXPECT_EQ(Host::BlockSize(block), 24);
  EXPECT_EQ(block.Get<int64_t>("Size"), 24);
  for (int i = 0; i < 24; ++i) EXPECT_EQ(Host::BlockData(block)[i], 0) << i;
  auto getPtr = Entry<memoryBlockGetPtrProc>("memoryBlockGetPtr");
  auto getSize = Entry<memoryBlockGetSizeProc>("memoryBlockGetSize");
  EXPECT_EQ(getPtr(block.get()), Host::BlockData(block));
  EXPECT_EQ(getSize(block.get()), 24);
  block.Set("Size", 40);  // grows, keeps the content zeroed
  EXPECT_EQ(getSize(block.get()), 40);
  EXPECT_EQ(Host::BlockData(block)[39], 0);

  // The plug-in's way: new instance, then the constructor found by its declaration.
  REALobject made = Entry<PluginNewInstanceProc>("PluginNewInstance")("MemoryBlock");
  auto ctor = reinterpret_cast<void (*)(REALobject, int64_t)>(Entry<REALLoadObjectMethodProc>(
      "REALLoadObjectMethod")(made, "constructor( BYTES as integer )"));
  ASSERT_NE(ctor, nullptr);
  host_.FailNextMemoryBlocks(1);
  auto guarded =
      Entry<PluginCallFunctionWithExceptionHandlerProc>("PluginCallFunctionWithExceptionHandler");
  struct Request {
    void (*ctor)(REALobject, int64_t);
    REALobject block;
  } request{ctor, made};
  auto construct = [](void* r) {
    auto* req = static_cast<Request*>(r);
    req->ctor(req->block, 1000);
  };
  Ref failure = Ref::Adopt(guarded(construct, &request));
  EXPECT_EQ(failure.ClassName(), "OutOfMemoryException");
  EXPECT_EQ(getSize(made), 0);
  EXPECT_EQ(guarded(construct, &request), nullptr);
  EXPECT_EQ(getSize(made), 1000);
  Entry<REALUnlockObjectProc>("REALUnlockObject")(made);
  EXPECT_EQ(Entry<REALLoadObjectMethodProc>("REALLoadObjectMethod")(block.get(), "Nope"), nullptr);

  host_.FailNextMemoryBlocks(1);
  try {
    host_.NewMemoryBlock(8);
    ADD_FAILURE() << "no exception";
  } catch (const HostException& e) {
    EXPECT_EQ(e.className(), "OutOfMemoryException");
  }
  EXPECT_THROW(host_.NewMemoryBlock(-1), HostException);
  EXPECT_THROW(host_.NewMemoryBlock(int64_t{1} << 62), HostException);

  // A block over foreign memory: no size, not owned, not resizable.
  uint8_t foreign[8] = {1, 2, 3};
  REALobject over = Entry<PtrToMemoryBlockProc>("PtrToMemoryBlock")(foreign);
  EXPECT_EQ(getPtr(over), foreign);
  EXPECT_EQ(getSize(over), 0);
  Ref overRef = Ref::Adopt(over);
  EXPECT_THROW(overRef.Set("Size", 4), HostException);
  EXPECT_EQ(Entry<PtrToMemoryBlockProc>("PtrToMemoryBlock")(nullptr), nullptr);
  EXPECT_EQ(Host::BlockData(host_.MemoryBlockOver(foreign)), foreign);
}

TEST_F(EmulatedHost, StringEncodingsRoundTrip) {
  auto convert = Entry<REALConvertStringProc>("REALConvertString");
  auto encodingOf = Entry<REALGetStringEncodingProc>("REALGetStringEncoding");
  auto cString = Entry<StringGetCStringProc>("StringGetCString");
  auto unlock = Entry<REALUnlockStringProc>("REALUnlockString");
  auto getData = Entry<PluginGetStringDataProc>("PluginGetStringData");
  auto dispose = Entry<PluginDisposeStringDataProc>("PluginDisposeStringData");
  auto bytes = [&](REALstring s) {
    REALstringData data{};
    EXPECT_EQ(getData(s, encodingOf(s), &data), 1);
    std::string text(static_cast<const char*>(data.data), data.length);
    dispose(&data);
    return text;
  };

  REALstring utf8 = host_.NewString("café");
  EXPECT_STREQ(cString(utf8), "café");
  REALstring utf16 = convert(utf8, kREALEncodingUTF16);
  EXPECT_EQ(bytes(utf16), std::string("c\0a\0f\0\xE9\0", 8));
  REALstring mac = convert(utf16, kREALEncodingMacRoman);
  EXPECT_EQ(bytes(mac), "caf\x8E");
  REALstring latin1 = convert(mac, kREALEncodingISOLatin1);
  EXPECT_EQ(bytes(latin1), "caf\xE9");
  EXPECT_EQ(encodingOf(latin1), kREALEncodingISOLatin1);
  REALstring utf32 = convert(latin1, kREALEncodingUTF32);
  EXPECT_EQ(bytes(utf32).size(), 16u);
  REALstring back = convert(utf32, kREALEncodingUTF8);
  EXPECT_EQ(bytes(back), "café");
  EXPECT_EQ(host_.Utf8(mac), "café");
  EXPECT_EQ(convert(utf8, kREALEncodingASCII), nullptr);  // é has no ASCII form
  for (REALstring s : {utf16, mac, latin1, utf32, back}) unlock(s);

  // Plain byte strings carry encoding 0 and read as Mac Roman; unknown bytes too.
  REALstring plain = Entry<REALBuildStringProc>("REALBuildString")("\x8E", 1);
  EXPECT_EQ(encodingOf(plain), kREALEncodingMacRoman);
  Entry<REALSetStringEncodingProc>("REALSetStringEncoding")(plain, kREALEncodingUnknown);
  EXPECT_EQ(host_.Utf8(plain), "é");
  Entry<REALSetStringEncodingProc>("REALSetStringEncoding")(plain, kREALEncodingUTF8);
  EXPECT_THROW(host_.Utf8(plain), std::runtime_error);  // a lone 0x8E is not UTF-8
  unlock(plain);

  // Data handed out in another encoding lives until it is disposed of.
  REALstringData data{};
  ASSERT_EQ(getData(utf8, kREALEncodingWindowsLatin1, &data), 1);
  EXPECT_EQ(std::string(static_cast<const char*>(data.data), data.length), "caf\xE9");
  EXPECT_EQ(data.encoding, kREALEncodingWindowsLatin1);
  EXPECT_NE(host_.LiveReport().find("string data: 1"), std::string::npos);
  REALstringData kept = data;
  dispose(&data);
  EXPECT_EQ(getData(utf8, kREALEncodingASCII, &data), 0);
  EXPECT_EQ(getData(utf8, 0x1234, &data), 0);
  ASSERT_EQ(getData(nullptr, kREALEncodingUTF8, &data), 1);  // nil is empty
  EXPECT_EQ(data.length, 0u);
  dispose(&data);

  auto lenB = reinterpret_cast<int64_t (*)(REALstring)>(Entry<REALLoadGlobalMethodProc>(
      "REALLoadGlobalMethod")(nullptr, "LenB( s as string ) as integer"));
  ASSERT_NE(lenB, nullptr);
  EXPECT_EQ(lenB(utf8), 5);
  EXPECT_EQ(lenB(nullptr), 0);
  EXPECT_EQ(Entry<REALLoadGlobalMethodProc>("REALLoadGlobalMethod")("", "Nope"), nullptr);

  Entry<REALLockStringProc>("REALLockString")(utf8);
  unlock(utf8);
  EXPECT_EQ(host_.Encoding(utf8), kREALEncodingUTF8);
  host_.ReleaseString(utf8);
  EXPECT_EQ(host_.LiveStrings(), 0);

  EXPECT_EQ(Entry<REALBuildStringProc>("REALBuildString")(nullptr, 3), nullptr);
  EXPECT_EQ(Entry<REALBuildStringProc>("REALBuildString")("x", -1), nullptr);
  dispose(&kept);  // disposed of already
  EXPECT_EQ(host_.ProtocolErrors().size(), 3u);
  expectMisuse_ = true;
}

TEST_F(EmulatedHost, Arrays) {
  auto create =
      Entry<RuntimeArrayCreateSingleDimBoundedArrayProc>("RuntimeArrayCreateSingleDimBoundedArray");
  auto ubound = Entry<RuntimeUBoundProc>("RuntimeUBound");
  auto getterFor = Entry<PluginIntegerArrayGetProcProc>("PluginIntegerArrayGetProc");
  auto inserterFor = Entry<PluginStringArrayInsertProcProc>("PluginStringArrayInsertProc");
  Ref ints = host_.NewIntegerArray({0, 99, 0});
  EXPECT_EQ(ubound(ints.get()), 2);
  auto get = reinterpret_cast<REALIntegerArrayGetter>(getterFor(ints.get()));
  ASSERT_NE(get, nullptr);
  EXPECT_EQ(get(ints.get(), 1), 99);
  EXPECT_EQ(get(ints.get(), 3), 0);  // outside: 0 and a complaint
  EXPECT_EQ(ubound(nullptr), -1);
  Ref empty = Ref::Adopt(create(kREALArrayOfInteger, -1));
  EXPECT_EQ(ubound(empty.get()), -1);
  EXPECT_EQ(host_.IntegerArray(Ref::Adopt(create(kREALArrayOfInteger, 1))),
            (std::vector<int64_t>{0, 0}));

  Ref strings = host_.NewStringArray({"a", "ß"});
  EXPECT_EQ(getterFor(strings.get()), nullptr);  // no integer reader for a String() array
  auto insert = reinterpret_cast<REALStringArrayInsert>(inserterFor(strings.get()));
  ASSERT_NE(insert, nullptr);
  REALstring c = host_.NewString("c");
  insert(strings.get(), 1, c);
  host_.ReleaseString(c);  // the array holds its own reference
  EXPECT_EQ(host_.StringArray(strings), (std::vector<std::string>{"a", "c", "ß"}));
  EXPECT_EQ(ubound(strings.get()), 2);
  EXPECT_THROW(host_.IntegerArray(strings), std::invalid_argument);

  EXPECT_EQ(create(kREALArrayOfInteger, -2), nullptr);
  EXPECT_EQ(create(7, 1), nullptr);
  expectMisuse_ = true;
}

int64_t OnChanged(REALobject self, int64_t value) { return Data(self).count + value * 10; }

TEST_F(EmulatedHost, EventsOfTestDefinedSubclasses) {
  host_.DefineSubclass("Knob", "Widget", {{"changed", reinterpret_cast<void*>(&OnChanged)}});
  host_.DefineSubclass("FancyKnob", "Knob", {});
  EXPECT_THROW(host_.DefineSubclass("Knob", "Widget", {}), std::logic_error);
  EXPECT_THROW(host_.DefineSubclass("Orphan", "NoSuchClass", {}), std::logic_error);

  Ref plain = host_.New("Widget", 1);
  EXPECT_EQ(plain.Call<int64_t>("Fire", 2), -1);
  Ref knob = host_.New("Knob", 1);
  EXPECT_EQ(knob.Call<int64_t>("Fire", 2), 21);
  Ref fancy = host_.New("FancyKnob", 3);  // inherits the handler and the plug-in's constructor
  EXPECT_EQ(fancy.Call<int64_t>("Fire", 2), 23);
  EXPECT_EQ(fancy.Get<double>("Scale"), 1.0);
  EXPECT_EQ(plain.Call<int64_t>("Take", fancy), 1);  // a subclass fits its superclass
  EXPECT_EQ(host_.LiveObjects("Knob"), 1);
  EXPECT_EQ(gConstructed, 3);

  // The host wrote its own opaque index into the entry; any other value finds nothing.
  auto getEvent = Entry<GetEventInstanceProc>("GetEventInstance");
  EXPECT_NE(gWidgetEvents[0].forSystemUse, 0);
  EXPECT_EQ(getEvent(knob.get(), 0), nullptr);
  EXPECT_EQ(getEvent(knob.get(), gWidgetEvents[0].forSystemUse + 1), nullptr);
  expectMisuse_ = true;
}

TEST_F(EmulatedHost, ResolverAnswersKnownNamesOnly) {
  // The emulated host answers every name of the real host.
  for (const char* name : kHostEntryNames) {
    EXPECT_NE(Resolver()(name), nullptr) << name;
  }
  EXPECT_TRUE(host_.UnknownEntryPoints().empty());
  // Names of no host, and names that only an older emulation knew, are refused and recorded.
  for (const char* name : {"realgetrbversion", "", "REALObjectIsA", "REALGetStringContents"}) {
    EXPECT_EQ(Resolver()(name), nullptr) << name;
  }
  EXPECT_EQ(
      host_.UnknownEntryPoints(),
      (std::vector<std::string>{"realgetrbversion", "", "REALObjectIsA", "REALGetStringContents"}));
  expectMisuse_ = true;
  EXPECT_EQ(Resolver()(nullptr), nullptr);
  host_.HideEntryPoint("REALYieldToRB");
  EXPECT_EQ(Resolver()("REALYieldToRB"), nullptr);
  EXPECT_NE(Resolver()("REALGetRBVersion"), nullptr);
}

TEST_F(EmulatedHost, VersionRuntimeModeAndYields) {
  EXPECT_DOUBLE_EQ(Entry<REALGetRBVersionProc>("REALGetRBVersion")(), host_.options().version);
  host_.SetVersion(2011.5);
  host_.SetInRuntime(false);
  EXPECT_DOUBLE_EQ(Entry<REALGetRBVersionProc>("REALGetRBVersion")(), 2011.5);
  EXPECT_EQ(Entry<REALinRuntimeProc>("REALinRuntime")(), 0);

  auto yield = Entry<REALYieldToRBProc>("REALYieldToRB");
  int hooked = 0;
  yield();
  host_.OnYield([&hooked] { ++hooked; });
  yield();
  yield();
  EXPECT_EQ(host_.YieldCount(), 3);
  EXPECT_EQ(hooked, 2);

  // Worker threads must not call the host; if they do it is reported.
  host_.OnYield(nullptr);
  std::thread([yield] { yield(); }).join();
  ASSERT_EQ(host_.ProtocolErrors().size(), 1u);
  EXPECT_NE(host_.ProtocolErrors()[0].find("REALYieldToRB"), std::string::npos);
  expectMisuse_ = true;
}

TEST_F(EmulatedHost, FolderItemsAndExceptionObjects) {
  Ref folder = host_.NewFolderItem("/tmp/ä b");
  EXPECT_EQ(folder.Get<std::string>("NativePath"), "/tmp/ä b");
  Ref e = host_.New("NilObjectException", "gone");
  EXPECT_EQ(e.Get<std::string>("Message"), "gone");
  e.Set("ErrorNumber", 7);
  EXPECT_EQ(e.Get<int64_t>("errornumber"), 7);
}

TEST(EmulatedHostLoading, RefusesWhatIsNotAPlugin) {
  Host host;
  EXPECT_THROW(host.Load("/nonexistent/libImages.so"), std::runtime_error);
  std::string text = ::testing::TempDir() + "/not_a_library.so";
  std::ofstream(text) << "plain text";
  EXPECT_THROW(host.Load(text), std::runtime_error);
  std::remove(text.c_str());

  const char* saved = std::getenv("XQT_PLUGIN");
  std::string original = saved ? saved : "";
  SetEnvironment("XQT_PLUGIN", "/some/where/libImages.so");
  EXPECT_EQ(Host::DefaultPluginPath(), "/some/where/libImages.so");
  ClearEnvironment("XQT_PLUGIN");
  // Beside the running program otherwise.
  std::string path = Host::DefaultPluginPath();
#if defined(_WIN32)
  const std::string name = "\\Images.dll";
#else
  const std::string name = "/libImages.so";
  EXPECT_EQ(path.front(), '/');
#endif
  ASSERT_GE(path.size(), name.size());
  EXPECT_EQ(path.substr(path.size() - name.size()), name);
  if (saved != nullptr) SetEnvironment("XQT_PLUGIN", original);
}

}  // namespace
