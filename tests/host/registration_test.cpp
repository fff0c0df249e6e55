// The plug-in as a host sees it after loading: classes, members, constants, flags, versions.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
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

TEST_F(Loaded, RegistersBothClasses) {
  Load();
  auto classes = host_->PluginClasses();
  ASSERT_EQ(classes.size(), 2u);
  EXPECT_EQ(classes[0]->name, "PictureXQT");
  EXPECT_EQ(classes[1]->name, "PictureFactoryXQT");

  const REALclassDefinition& pictures = Definition("PictureXQT");
  EXPECT_EQ(pictures.propertyCount, 48u);
  EXPECT_EQ(pictures.methodCount, 138u);
  EXPECT_EQ(pictures.constantCount, 88u);
  EXPECT_EQ(pictures.sharedPropertyCount, 1u);
  EXPECT_EQ(pictures.sharedMethodCount, 5u);
  EXPECT_EQ(pictures.mFlags, 4u);
  EXPECT_EQ(pictures.dataSize % 16, 0u);
  EXPECT_STREQ(pictures.superName, nullptr);

  const REALclassDefinition& factories = Definition("PictureFactoryXQT");
  EXPECT_EQ(factories.eventCount, 1u);
  EXPECT_EQ(factories.sharedPropertyCount, 1u);
  EXPECT_EQ(factories.sharedMethodCount, 2u);
  EXPECT_EQ(factories.propertyCount, 0u);
  EXPECT_EQ(factories.dataSize, 0u);
}

TEST_F(Loaded, ConstantsBecomeDeclarations) {
  Load();
  const REALclassDefinition& pictures = Definition("PictureXQT");
  std::map<std::string, int> positions;
  for (size_t i = 0; i < pictures.constantCount; ++i) {
    positions[pictures.constants[i].declaration] = static_cast<int>(i);
    EXPECT_EQ(pictures.constants[i].reserved1, nullptr);
  }
  EXPECT_EQ(positions.size(), 88u);  // no name twice
  const std::pair<const char*, int> expected[] = {
      {"ImageFormatUnknown = 0", 0},     {"ImageFormatXBGR = 10", 10},
      {"ImageFormatGray16 = 41", 12},    {"ImageFormatScaling8 = 40", 22},
      {"ImageFormatBuffer = 22", 23},    {"ImageFormatRofRGB = 15", 31},
      {"ImageFormatAofARGB = 18", 44},   {"ImageFormatAofABGR = 18", 52},
      {"ImageFormatXKYMC = 32", 62},     {"ScaleCubic = 7", 69},
      {"DitherCluster8Matrix = 10", 79}, {"ImageFormatG1 = 11", 80},
      {"ImageFormatG8 = 48", 87}};
  for (auto [declaration, position] : expected) {
    EXPECT_EQ(positions.at(declaration), position) << declaration;
  }
}

uint32_t FlagsOf(const REALproperty* properties, size_t count, const std::string& name) {
  for (size_t i = 0; i < count; ++i) {
    if (xqt::host::PropertyName(properties[i]) == name) return properties[i].flags;
  }
  ADD_FAILURE() << "no property " << name;
  return 0;
}

// Picture members carry the console flag (4), properties beside run-time-only (2), from host
// 2010.029 on, and lose it before; other properties keep both on every host.
TEST_F(Loaded, PictureMembersHaveTheConsoleFlagFromHost2010_029) {
  for (auto [version, pictureFlags] : {std::pair{2010.029, 6u}, {2009.05, 2u}}) {
    Load({.version = version});
    const REALclassDefinition& pictures = Definition("PictureXQT");
    const size_t count = pictures.propertyCount;
    EXPECT_EQ(FlagsOf(pictures.properties, count, "Target"), pictureFlags) << version;
    EXPECT_EQ(FlagsOf(pictures.properties, count, "DebugPictureEnabled"), pictureFlags);
    EXPECT_EQ(FlagsOf(pictures.properties, count, "Width"), 6u);
    int debugPictures = 0;
    for (size_t i = 1; i < count; ++i) {
      const REALproperty& property = pictures.properties[i];
      if (xqt::host::PropertyName(property) != "DebugPicture") continue;
      ++debugPictures;
      EXPECT_EQ(property.flags, pictureFlags);
      EXPECT_EQ(std::string(property.type), "Picture");
      EXPECT_EQ(property.setter, nullptr);
      EXPECT_EQ(xqt::host::PropertyName(pictures.properties[i - 1]), "DebugPictureEnabled");
    }
    EXPECT_EQ(debugPictures, 1);
    // Methods that take or give a picture: console-safe (4) from 2010.029 on, no flag before.
    int pictureMethods = 0;
    for (size_t i = 0; i < pictures.methodCount; ++i) {
      const std::string declaration = pictures.methods[i].declaration;
      if (declaration.find("as picture") == std::string::npos) continue;
      ++pictureMethods;
      EXPECT_EQ(pictures.methods[i].mFlags, pictureFlags & 4u) << declaration;
    }
    EXPECT_EQ(pictureMethods, 27);  // the constructor, 8 copies and 18 draws
    if (version > 2010) {           // public (0x20), console and run-time only
      EXPECT_EQ(FlagsOf(pictures.sharedProperties, pictures.sharedPropertyCount, "Debugging"),
                0x26u);
    }
    host_.reset();
  }
}

TEST_F(Loaded, ControlVersionIsNegotiated) {
  struct Case {
    double version;
    int controlVersion;
  } cases[] = {{2013.02, 11}, {2013.03, 12}, {2011.9, 9}, {2012.0, 10}, {2019.1, 13}, {0, 9}};
  for (const Case& c : cases) {
    host_ = std::make_unique<Host>(HostOptions{.version = c.version ? c.version : 2019.1});
    // A host without a version gets the oldest format.
    if (!c.version) host_->HideEntryPoint("REALGetRBVersion");
    host_->Load(Host::DefaultPluginPath());
    EXPECT_EQ(host_->RegisteredPluginVersion(), c.controlVersion) << c.version;
    EXPECT_EQ(host_->FindClass("PictureXQT")->controlVersion,
              static_cast<uint32_t>(c.controlVersion));
    host_.reset();
  }
}

TEST_F(Loaded, DebuggingIsAHiddenSharedSwitch) {
  Load();
  const REALclassDefinition& pictures = Definition("PictureXQT");
  ASSERT_EQ(pictures.sharedPropertyCount, 1u);
  EXPECT_EQ(xqt::host::PropertyName(pictures.sharedProperties[0]), "Debugging");
  EXPECT_TRUE(xqt::host::IsHidden(pictures.sharedProperties[0]));
  EXPECT_FALSE(xqt::host::IsHidden(pictures.properties[0]));
  EXPECT_FALSE(host_->GetShared<bool>("PictureXQT", "Debugging"));
  host_->SetShared("PictureXQT", "Debugging", true);
  EXPECT_TRUE(host_->GetShared<bool>("PictureXQT", "Debugging"));
  host_->SetShared("PictureXQT", "Debugging", false);
  EXPECT_FALSE(host_->GetShared<bool>("PictureXQT", "Debugging"));
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
