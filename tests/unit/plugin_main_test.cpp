// Start-up rules, and the host's binary interface pinned to numbers written by hand from the
// host's interface description, so that a header change that moves a field fails here. The
// class, property, method and constant records are pinned by the C host (tests/abi); the gd
// prefix is checked against gd itself.
#include "plugin/plugin_main.h"

#include <gtest/gtest.h>
#if __has_include(<gd.h>)
#include <gd.h>
#endif

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugin/host_api.h"
#include "plugin/host_interface.h"
#include "plugin/member_table.h"
#include "support/host_entry_names.h"

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
  EXPECT_EQ(AdaptMemberFlags(kMemberFlags, 2009.0), 4u);
  EXPECT_EQ(AdaptMemberFlags(kPropertyFlags, 2021.0), 6u);
  EXPECT_EQ(AdaptMemberFlags(0x308, 2020.01), 4u);
  EXPECT_EQ(AdaptMemberFlags(0x30C | 2, 2019.0), 6u);
  EXPECT_EQ(AdaptMemberFlags(0x308, 2020.02), 0x308u);
  EXPECT_EQ(AdaptMemberFlags(0x708, 2019.0), 0x708u);  // 0x400 set breaks the pattern
  EXPECT_EQ(AdaptClassFlags(0x308, 2019.0), 4u);
  EXPECT_EQ(AdaptClassFlags(0x308 | kNeedsPictureSupport, 2019.0), 4u);
  EXPECT_EQ(AdaptClassFlags(kNeedsPictureSupport, 2010.0), 0u);
  EXPECT_EQ(AdaptClassFlags(4, 2010.0), 4u);
}

// Values up to 99 in decimal, larger ones as eight hex digits; declarations that already have
// their value are left alone, and a second pass finds nothing left to do.
TEST(StartUp, ConstantDeclarations) {
  EXPECT_EQ(ConstantDeclaration("Byte", 255), "Byte = &h000000FF");
  EXPECT_EQ(ConstantDeclaration("Wide", 0xABCDEF12), "Wide = &hABCDEF12");
  EXPECT_EQ(ConstantDeclaration("Negative", -1), "Negative = -1");
  NamedConstant values[] = {{"Plain", 99}, {"Done = 3", 9}, {"Large", 100}};
  REALconstant constants[3] = {};
  for (int i = 0; i < 3; ++i) constants[i].declaration = values[i].declaration;
  constants[0].reserved1 = &values[0];
  RewriteConstants(values, constants, 3);
  EXPECT_STREQ(constants[0].declaration, "Plain = 99");
  EXPECT_EQ(constants[0].reserved1, nullptr);
  EXPECT_STREQ(constants[1].declaration, "Done = 3");
  EXPECT_STREQ(constants[2].declaration, "Large = &h00000064");
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
// stamped; without a resolver nothing is registered. The members' flags on registration are
// the loaded plug-in's host test.
TEST(StartUp, RegistrationRoundsInstanceSizeStampsVersionAndNeedsAResolver) {
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
  REALPluginMain(nullptr);  // also forgets the resolver
  EXPECT_EQ(gRegistrations, 2);
  rbversion = 0;
}

// --- The host's binary interface -------------------------------------------------------

// A field's name, its offset here and the offset the host (or its library) reads it at.
struct Field {
  const char* name;
  size_t actual, documented;
};

// A record's size (0: not pinned, the host reads a prefix) and its fields in declaration order.
template <class R>
void ExpectLayout(const char* record, size_t size, std::initializer_list<Field> fields) {
  EXPECT_TRUE(size == 0 || sizeof(R) == size) << record << " is " << sizeof(R) << " bytes";
  for (const Field& field : fields) {
    EXPECT_EQ(field.actual, field.documented) << record << "." << field.name;
  }
}
#define F(member, offset) \
  Field { #member, offsetof(R, member), offset }
#define XQT_LAYOUT(Record, size, ...)              \
  [] {                                             \
    using R = Record;                              \
    ExpectLayout<R>(#Record, size, {__VA_ARGS__}); \
  }()

TEST(HostInterface, RecordsMatchTheHostsLayout) {
  XQT_LAYOUT(REALevent, 32, F(declaration, 0), F(forSystemUse, 8), F(attributeCount, 16),
             F(attributes, 24));
  XQT_LAYOUT(REALeventInstance, 16, F(name, 0), F(implementation, 8));
  XQT_LAYOUT(REALattribute, 16, F(mName, 0), F(mValue, 8));
  XQT_LAYOUT(REALdelegate, 32, F(declaration, 0), F(mFlags, 8), F(attributeCount, 16),
             F(attributes, 24));
  XQT_LAYOUT(REALenum, 56, F(name, 0), F(type, 8), F(mFlags, 16), F(fields, 24), F(numFields, 32),
             F(attributeCount, 40), F(attributes, 48));
  XQT_LAYOUT(REALpictureDescription, 32, F(pictureType, 0), F(pictureData, 8), F(width, 16),
             F(height, 20), F(depth, 24), F(transparent, 28));
  XQT_LAYOUT(REALstringData, 40, F(data, 0), F(length, 8), F(encoding, 16), F(private1, 24),
             F(private2, 32));
  // Scalars: a Boolean is one byte in every record and argument, sizes and counts are 8 bytes.
  EXPECT_EQ(sizeof(RBBoolean), 1u);
  EXPECT_EQ(sizeof(RBInteger), 8u);
  EXPECT_EQ(sizeof(RBColor), 4u);
  EXPECT_EQ(sizeof(REALproc), 8u);
}

#if __has_include(<gd.h>)
// The gd image prefix the plug-in reads, field by field where the real gd library puts it.
#define G(field) \
  Field { #field, offsetof(gdImagePrefix, field), offsetof(gdImage, field) }
TEST(HostInterface, GdPrefixSitsWhereGdPutsIt) {
  for (const Field& f : {G(pixels), G(sx), G(sy), G(colorsTotal), G(red), G(transparent), G(brush),
                         G(tileColorMap), G(style), G(thick), G(alpha), G(trueColor), G(tpixels),
                         G(alphaBlendingFlag), G(saveAlphaFlag)}) {
    EXPECT_EQ(f.actual, f.documented) << f.name;
  }
  EXPECT_LE(sizeof(gdImagePrefix), sizeof(gdImage));
}
#endif

// Each constant beside the value the host gives it, one group a line.
TEST(HostInterface, FlagsPictureKindsAndEncodingsHaveTheHostsValues) {
  using Values = std::vector<uint64_t>;
  EXPECT_EQ((Values{REALpropRuntimeOnly, REALconsoleSafe, REALconsoleOnly, REALScopeGlobal,
                    REALScopePublic, REALScopeProtected, REALScopePrivate, REALwebSafe,
                    REALdesktopSafe, REALiOSSafe}),
            (Values{0x2, 0x4, 0x8, 0x10, 0x20, 0x40, 0x80, 0x100, 0x200, 0x400}));
  EXPECT_EQ((Values{pictureCGBitmapContext, pictureGDData, pictureGDImagePtr, pictureCairoContext,
                    pictureD2DBytes}),
            (Values{8, 9, 10, 12, 14}));
  EXPECT_EQ((Values{kREALPixelRGB, kREALPixelBGR, kREALPixelXRGB, kREALPixelBGRX}),
            (Values{1, 2, 3, 4}));
  EXPECT_EQ((Values{kREALArrayOfString, kREALArrayOfObject, kREALArrayOfInteger}),
            (Values{3, 4, 11}));
  EXPECT_EQ((Values{kREALEncodingUTF8, kREALEncodingUTF16, kREALEncodingUTF32, kREALEncodingASCII,
                    kREALEncodingUnknown}),
            (Values{0x08000100, 0x0100, 0x0C000100, 0x0600, 0xFFFF}));
}

// Every name the plug-in can ask the resolver for is one the host has.
TEST(HostInterface, PluginAsksOnlyForNamesTheHostHas) {
  const std::set<std::string> hostNames(std::begin(kHostEntryNames), std::end(kHostEntryNames));

  std::set<std::string> asked;
  for (const char* name : hostapi::kEntryNames) {
    EXPECT_EQ(hostNames.count(name), 1u) << name << " is no entry point of the host";
    EXPECT_TRUE(asked.insert(name).second) << name << " is listed twice";
  }
}

}  // namespace
