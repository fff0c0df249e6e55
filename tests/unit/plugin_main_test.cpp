// Start-up rules: control versions, flag adaptation, constants, instance sizes.
#include "plugin/plugin_main.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "plugin/host_api.h"
#include "plugin/member_table.h"

namespace {

TEST(StartUp, ControlVersionFollowsHostVersion) {
  const std::pair<double, int64_t> cases[] = {{0, 9},        {2011.9, 9},   {2012.0, 10},
                                              {2013.0, 11},  {2013.02, 11}, {2013.03, 12},
                                              {2013.04, 13}, {2024.01, 13}};
  for (auto [host, version] : cases) EXPECT_EQ(ControlVersionForHost(host), version) << host;
}

TEST(StartUp, GranularityIsAtLeastFourKilobytes) {
  for (auto [page, granularity] :
       {std::pair<int64_t, int64_t>{16384, 16384}, {4096, 4096}, {1024, 4096}, {4097, 4097}}) {
    EXPECT_EQ(GranularityForPageSize(page), granularity) << page;
  }
}

// Picture members lose the console flag (4) before host 2010.029, whatever they were marked
// with; before 2020.02 the scope pattern 0x300 (without 0x400) is rewritten to console-safe.
TEST(StartUp, FlagsAdaptToTheHostVersion) {
  EXPECT_EQ(AdaptMemberFlags(kPictureMemberFlags, 2010.029), 4u);
  EXPECT_EQ(AdaptMemberFlags(kPictureMemberFlags, 2010.028), 0u);
  EXPECT_EQ(AdaptMemberFlags(kPicturePropertyFlags, 2019.0), 6u);
  EXPECT_EQ(AdaptMemberFlags(kPicturePropertyFlags, 2009.0), 2u);
  EXPECT_EQ(AdaptMemberFlags(kPictureMemberFlags | 4, 2009.0), 0u);
  EXPECT_EQ(AdaptMemberFlags(kMemberFlags, 2009.0), 4u);
  EXPECT_EQ(AdaptMemberFlags(kPropertyFlags, 2021.0), 6u);
  EXPECT_EQ(AdaptMemberFlags(kSharedPropertyFlags, 2021.0), 0x26u);
  EXPECT_EQ(AdaptMemberFlags(0x308, 2020.01), 4u);
  EXPECT_EQ(AdaptMemberFlags(0x30C | 2, 2019.0), 6u);
  EXPECT_EQ(AdaptMemberFlags(0x308, 2020.02), 0x308u);
  EXPECT_EQ(AdaptMemberFlags(0x708, 2019.0), 0x708u);  // 0x400 set breaks the pattern
  EXPECT_EQ(AdaptClassFlags(0x308, 2019.0), 4u);
  EXPECT_EQ(AdaptClassFlags(0x308 | kNeedsPictureSupport, 2019.0), 4u);
  EXPECT_EQ(AdaptClassFlags(kNeedsPictureSupport, 2010.0), 0u);
  EXPECT_EQ(AdaptClassFlags(4, 2010.0), 4u);
}

TEST(StartUp, ConstantDeclarations) {
  EXPECT_EQ(ConstantDeclaration("ImageFormatRGB", 1), "ImageFormatRGB = 1");
  EXPECT_EQ(ConstantDeclaration("Big", 99), "Big = 99");
  EXPECT_EQ(ConstantDeclaration("Big", 100), "Big = &h00000064");
  EXPECT_EQ(ConstantDeclaration("Byte", 255), "Byte = &h000000FF");
  EXPECT_EQ(ConstantDeclaration("Wide", 0xABCDEF12), "Wide = &hABCDEF12");
  EXPECT_EQ(ConstantDeclaration("Negative", -1), "Negative = -1");
}

TEST(StartUp, RewritingLeavesFinishedDeclarationsAlone) {
  NamedConstant values[] = {{"Plain", 7}, {"Done = 3", 9}, {"Large", 4096}};
  REALconstant constants[3] = {};
  for (int i = 0; i < 3; ++i) constants[i].declaration = values[i].declaration;
  constants[0].reserved1 = &values[0];
  RewriteConstants(values, constants, 3);
  EXPECT_STREQ(constants[0].declaration, "Plain = 7");
  EXPECT_EQ(constants[0].reserved1, nullptr);
  EXPECT_STREQ(constants[1].declaration, "Done = 3");
  EXPECT_STREQ(constants[2].declaration, "Large = &h00001000");
  // A second pass finds nothing left to do.
  const char* first = constants[0].declaration;
  RewriteConstants(values, constants, 3);
  EXPECT_EQ(constants[0].declaration, first);
}

// A host that offers only PluginRegisterClass, to see what registration hands over.
REALclassDefinition gRegistered;
int gRegistrations = 0;
void CaptureRegistration(REALclassDefinition* definition) {
  gRegistered = *definition;
  ++gRegistrations;
}
void* RegistrationOnlyResolver(const char* name) {
  if (std::strcmp(name, "PluginRegisterClass") == 0) {
    return reinterpret_cast<void*>(&CaptureRegistration);
  }
  return nullptr;
}

// The instance size rounded up to 16 bytes, the control version and the host's class flags
// stamped; the members' flags on registration are the loaded plug-in's host test.
TEST(StartUp, RegistrationRoundsInstanceSizeAndStampsVersion) {
  SetResolver(&RegistrationOnlyResolver);
  rbversion = 2013.03;
  CurrentREALControlVersion = 12;
  REALclassDefinition definition{};
  definition.name = "Test";
  definition.dataSize = 561;
  definition.mFlags = kNeedsPictureSupport;
  gRegistrations = 0;
  MyREALRegisterClass(&definition);
  ASSERT_EQ(gRegistrations, 1);
  EXPECT_EQ(gRegistered.dataSize, 576u);
  EXPECT_EQ(gRegistered.version, 12u);
  EXPECT_EQ(gRegistered.mFlags, 4u);
  definition.dataSize = 560;
  MyREALRegisterClass(&definition);
  EXPECT_EQ(gRegistered.dataSize, 560u);
  SetResolver(nullptr);
  rbversion = 0;
}

TEST(StartUp, NoResolverRegistersNothing) {
  gRegistrations = 0;
  REALPluginMain(nullptr);
  EXPECT_EQ(gRegistrations, 0);
}

}  // namespace
