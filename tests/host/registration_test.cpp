// The plug-in as a host sees it after loading: classes, members, constants, flags, versions.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "host/emulated_host.h"
#include "support/host_expectations.h"
#include "support/plugin_fixture.h"

namespace {

using xqt::host::ClassInfo;
using xqt::host::Host;
using xqt::host::HostOptions;
using xqt::host::Ref;

class Loaded : public ::testing::Test {
 protected:
  void Load(HostOptions options = {}) {
    host_ = std::make_unique<Host>(options);
    host_->Load(Host::DefaultPluginPath());
  }
  void TearDown() override {
    if (!host_) return;
    EXPECT_EQ(host_->LiveObjects(), 0) << host_->LiveReport();
    EXPECT_TRUE(host_->ProtocolErrors().empty());
  }
  const REALclassDefinition& Definition(const char* name) {
    const ClassInfo* info = host_->FindClass(name);
    EXPECT_NE(info, nullptr) << name;
    return *info->definition;
  }
  std::unique_ptr<Host> host_;
};

// Both classes with their members; the one shared property, Debugging, is a switch hidden from
// the host's lists: public (0x20), console-safe and run-time only. Every constant reaches the
// host as "Name = value", once; the values are the formats' and modes' codes as applications
// know them.
TEST_F(Loaded, RegistersBothClassesAHiddenDebuggingSwitchAndTheConstants) {
  Load();
  auto classes = host_->PluginClasses();
  ASSERT_EQ(classes.size(), 2u);
  EXPECT_EQ(classes[0]->name, "PictureXQT");
  EXPECT_EQ(classes[1]->name, "PictureFactoryXQT");

  const REALclassDefinition& pictures = Definition("PictureXQT");
  EXPECT_EQ(pictures.propertyCount, 48u);
  EXPECT_EQ(pictures.methodCount, 138u);
  EXPECT_EQ(pictures.constantCount, 88u);
  ASSERT_EQ(pictures.sharedPropertyCount, 1u);
  EXPECT_EQ(pictures.sharedMethodCount, 5u);
  EXPECT_EQ(pictures.mFlags, 4u);
  EXPECT_STREQ(pictures.superName, nullptr);
  EXPECT_EQ(xqt::host::PropertyName(pictures.sharedProperties[0]), "Debugging");
  EXPECT_EQ(pictures.sharedProperties[0].flags, 0x26u);
  EXPECT_TRUE(xqt::host::IsHidden(pictures.sharedProperties[0]));
  EXPECT_FALSE(xqt::host::IsHidden(pictures.properties[0]));
  host_->SetShared("PictureXQT", "Debugging", true);
  EXPECT_TRUE(host_->GetShared<bool>("PictureXQT", "Debugging"));
  host_->SetShared("PictureXQT", "Debugging", false);
  EXPECT_FALSE(host_->GetShared<bool>("PictureXQT", "Debugging"));

  const REALclassDefinition& factories = Definition("PictureFactoryXQT");
  EXPECT_EQ(factories.eventCount, 1u);
  EXPECT_EQ(factories.sharedPropertyCount, 1u);
  EXPECT_EQ(factories.sharedMethodCount, 2u);
  EXPECT_EQ(factories.propertyCount, 0u);
  EXPECT_EQ(factories.dataSize, 0u);

  std::set<std::string> declarations;
  for (size_t i = 0; i < pictures.constantCount; ++i) {
    declarations.insert(pictures.constants[i].declaration);
    EXPECT_EQ(pictures.constants[i].reserved1, nullptr);
  }
  EXPECT_EQ(declarations.size(), pictures.constantCount);  // no name twice
  for (const char* declaration :
       {"ImageFormatUnknown = 0", "ImageFormatXBGR = 10", "ImageFormatGray16 = 41",
        "ImageFormatBuffer = 22", "ImageFormatAofABGR = 18", "ImageFormatXKYMC = 32",
        "ScaleCubic = 7", "DitherCluster8Matrix = 10", "ImageFormatG8 = 48"}) {
    EXPECT_EQ(declarations.count(declaration), 1u) << declaration;
  }
}

// Hosts before 2010.029 take picture members only without the console flag (4): there the
// picture properties keep run-time-only (2) and the 27 picture methods (the constructor, 8 copies
// and 18 draws) no flag, while every other member keeps its own. The adaptation on either side
// of that version is the start-up unit test's.
TEST_F(Loaded, PictureMembersLoseTheConsoleFlagBeforeHost2010_029) {
  Load({.version = 2009.05});
  const REALclassDefinition& pictures = Definition("PictureXQT");
  for (size_t i = 0; i < pictures.propertyCount; ++i) {
    const REALproperty& property = pictures.properties[i];
    const std::string_view name = xqt::host::PropertyName(property);
    const bool picture = name == "Target" || name.substr(0, 12) == "DebugPicture";
    EXPECT_EQ(property.flags, picture ? 2u : 6u) << name;
  }
  int pictureMethods = 0;
  for (size_t i = 0; i < pictures.methodCount; ++i) {
    const std::string declaration = pictures.methods[i].declaration;
    const bool picture = declaration.find("as picture") != std::string::npos;
    pictureMethods += picture;
    EXPECT_EQ(pictures.methods[i].mFlags, picture ? 0u : 4u) << declaration;
  }
  EXPECT_EQ(pictureMethods, 27);
}

// The control version is stamped on the classes as negotiated (the table of host versions is the
// start-up unit test's); a host without a version gets the oldest format.
TEST_F(Loaded, ControlVersionIsNegotiated) {
  for (auto [version, controlVersion] : {std::pair{2013.03, 12}, {0.0, 9}}) {
    host_ = std::make_unique<Host>(HostOptions{.version = version ? version : 2019.1});
    if (!version) host_->HideEntryPoint("REALGetRBVersion");
    host_->Load(Host::DefaultPluginPath());
    EXPECT_EQ(host_->RegisteredPluginVersion(), controlVersion) << version;
    EXPECT_EQ(host_->FindClass("PictureXQT")->controlVersion,
              static_cast<uint32_t>(controlVersion));
    host_.reset();
  }
}

TEST_F(Loaded, OffsetSettersCheckThePixelSize) {
  Load();
  Ref image = host_->New("PictureXQT");
  // A bare instance has no pixels: every offset is out of range.
  EXPECT_OUT_OF_RANGE("value", "RedOffset", 0, -1, 0, image.Set("RedOffset", int64_t{0}));
  EXPECT_FALSE(image.Get<bool>("Valid"));
  EXPECT_FALSE(image.Get<Ref>("Memory"));
}

}  // namespace
