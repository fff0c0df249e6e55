// The records and names of the host's binary interface, pinned to the numbers the host documents.
// The numbers are written here by hand from the host's interface description, so a change to the
// header that moves a field fails here even if the header's own checks were changed with it.
#include "plugin/host_interface.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <set>
#include <string>

#include "plugin/host_api.h"
#include "support/host_entry_names.h"

namespace {

struct Field {
  const char* name;
  size_t actual;
  size_t documented;
};

#define XQT_AT(Record, Member, Offset) \
  { #Record "." #Member, offsetof(Record, Member), Offset }
#define XQT_SIZE(Record, Size) \
  { #Record, sizeof(Record), Size }

TEST(HostInterface, RecordsMatchTheHostsLayout) {
  const Field fields[] = {
      XQT_SIZE(REALclassDefinition, 232),
      XQT_AT(REALclassDefinition, version, 0),
      XQT_AT(REALclassDefinition, name, 8),
      XQT_AT(REALclassDefinition, superName, 16),
      XQT_AT(REALclassDefinition, dataSize, 24),
      XQT_AT(REALclassDefinition, forSystemUse, 32),
      XQT_AT(REALclassDefinition, constructor, 40),
      XQT_AT(REALclassDefinition, destructor, 48),
      XQT_AT(REALclassDefinition, properties, 56),
      XQT_AT(REALclassDefinition, propertyCount, 64),
      XQT_AT(REALclassDefinition, methods, 72),
      XQT_AT(REALclassDefinition, methodCount, 80),
      XQT_AT(REALclassDefinition, events, 88),
      XQT_AT(REALclassDefinition, eventCount, 96),
      XQT_AT(REALclassDefinition, eventInstances, 104),
      XQT_AT(REALclassDefinition, eventInstanceCount, 112),
      XQT_AT(REALclassDefinition, interfaces, 120),
      XQT_AT(REALclassDefinition, attributes, 128),
      XQT_AT(REALclassDefinition, attributeCount, 136),
      XQT_AT(REALclassDefinition, constants, 144),
      XQT_AT(REALclassDefinition, constantCount, 152),
      XQT_AT(REALclassDefinition, mFlags, 160),
      XQT_AT(REALclassDefinition, sharedProperties, 168),
      XQT_AT(REALclassDefinition, sharedPropertyCount, 176),
      XQT_AT(REALclassDefinition, sharedMethods, 184),
      XQT_AT(REALclassDefinition, sharedMethodCount, 192),
      XQT_AT(REALclassDefinition, delegates, 200),
      XQT_AT(REALclassDefinition, delegateCount, 208),
      XQT_AT(REALclassDefinition, enums, 216),
      XQT_AT(REALclassDefinition, enumCount, 224),

      XQT_SIZE(REALproperty, 96),
      XQT_AT(REALproperty, group, 0),
      XQT_AT(REALproperty, name, 8),
      XQT_AT(REALproperty, type, 16),
      XQT_AT(REALproperty, flags, 24),
      XQT_AT(REALproperty, getter, 32),
      XQT_AT(REALproperty, setter, 40),
      XQT_AT(REALproperty, param, 48),
      XQT_AT(REALproperty, editor, 56),
      XQT_AT(REALproperty, enumCount, 64),
      XQT_AT(REALproperty, enumEntries, 72),
      XQT_AT(REALproperty, attributeCount, 80),
      XQT_AT(REALproperty, attributes, 88),

      XQT_SIZE(REALmethodDefinition, 48),
      XQT_AT(REALmethodDefinition, function, 0),
      XQT_AT(REALmethodDefinition, setterFunction, 8),
      XQT_AT(REALmethodDefinition, declaration, 16),
      XQT_AT(REALmethodDefinition, mFlags, 24),
      XQT_AT(REALmethodDefinition, attributeCount, 32),
      XQT_AT(REALmethodDefinition, attributes, 40),

      XQT_SIZE(REALevent, 32),
      XQT_AT(REALevent, declaration, 0),
      XQT_AT(REALevent, forSystemUse, 8),
      XQT_AT(REALevent, attributeCount, 16),
      XQT_AT(REALevent, attributes, 24),

      XQT_SIZE(REALeventInstance, 16),
      XQT_AT(REALeventInstance, name, 0),
      XQT_AT(REALeventInstance, implementation, 8),

      XQT_SIZE(REALconstant, 40),
      XQT_AT(REALconstant, declaration, 0),
      XQT_AT(REALconstant, reserved1, 8),
      XQT_AT(REALconstant, mFlags, 16),
      XQT_AT(REALconstant, attributeCount, 24),
      XQT_AT(REALconstant, attributes, 32),

      XQT_SIZE(REALattribute, 16),
      XQT_AT(REALattribute, mName, 0),
      XQT_AT(REALattribute, mValue, 8),

      XQT_SIZE(REALdelegate, 32),
      XQT_AT(REALdelegate, declaration, 0),
      XQT_AT(REALdelegate, mFlags, 8),
      XQT_AT(REALdelegate, attributeCount, 16),
      XQT_AT(REALdelegate, attributes, 24),

      XQT_SIZE(REALenum, 56),
      XQT_AT(REALenum, name, 0),
      XQT_AT(REALenum, type, 8),
      XQT_AT(REALenum, mFlags, 16),
      XQT_AT(REALenum, fields, 24),
      XQT_AT(REALenum, numFields, 32),
      XQT_AT(REALenum, attributeCount, 40),
      XQT_AT(REALenum, attributes, 48),

      XQT_SIZE(REALpictureDescription, 32),
      XQT_AT(REALpictureDescription, pictureType, 0),
      XQT_AT(REALpictureDescription, pictureData, 8),
      XQT_AT(REALpictureDescription, width, 16),
      XQT_AT(REALpictureDescription, height, 20),
      XQT_AT(REALpictureDescription, depth, 24),
      XQT_AT(REALpictureDescription, transparent, 28),

      XQT_SIZE(REALstringData, 40),
      XQT_AT(REALstringData, data, 0),
      XQT_AT(REALstringData, length, 8),
      XQT_AT(REALstringData, encoding, 16),
      XQT_AT(REALstringData, private1, 24),
      XQT_AT(REALstringData, private2, 32),

      XQT_AT(gdImagePrefix, pixels, 0),
      XQT_AT(gdImagePrefix, sx, 8),
      XQT_AT(gdImagePrefix, sy, 12),
      XQT_AT(gdImagePrefix, colorsTotal, 16),
      XQT_AT(gdImagePrefix, trueColor, 7248),
      XQT_AT(gdImagePrefix, tpixels, 7256),
      XQT_AT(gdImagePrefix, alphaBlendingFlag, 7264),
      XQT_AT(gdImagePrefix, saveAlphaFlag, 7268),
  };
  for (const Field& field : fields) EXPECT_EQ(field.actual, field.documented) << field.name;

  // Scalars: a Boolean is one byte in every record and argument, sizes and counts are 8 bytes.
  EXPECT_EQ(sizeof(RBBoolean), 1u);
  EXPECT_EQ(sizeof(RBInteger), 8u);
  EXPECT_EQ(sizeof(RBColor), 4u);
  EXPECT_EQ(sizeof(REALproc), 8u);
}

TEST(HostInterface, FlagsPictureKindsAndEncodingsHaveTheHostsValues) {
  EXPECT_EQ(REALpropRuntimeOnly, 0x2u);
  EXPECT_EQ(REALconsoleSafe, 0x4u);
  EXPECT_EQ(REALconsoleOnly, 0x8u);
  EXPECT_EQ(REALScopeGlobal, 0x10u);
  EXPECT_EQ(REALScopePublic, 0x20u);
  EXPECT_EQ(REALScopeProtected, 0x40u);
  EXPECT_EQ(REALScopePrivate, 0x80u);
  EXPECT_EQ(REALwebSafe, 0x100u);
  EXPECT_EQ(REALdesktopSafe, 0x200u);
  EXPECT_EQ(REALiOSSafe, 0x400u);
  EXPECT_EQ(pictureCGBitmapContext, 8u);
  EXPECT_EQ(pictureGDData, 9u);
  EXPECT_EQ(pictureGDImagePtr, 10u);
  EXPECT_EQ(pictureCairoContext, 12u);
  EXPECT_EQ(pictureD2DBytes, 14u);
  EXPECT_EQ(kREALPixelRGB, 1u);
  EXPECT_EQ(kREALPixelBGR, 2u);
  EXPECT_EQ(kREALPixelXRGB, 3u);
  EXPECT_EQ(kREALPixelBGRX, 4u);
  EXPECT_EQ(kREALArrayOfString, 3);
  EXPECT_EQ(kREALArrayOfObject, 4);
  EXPECT_EQ(kREALArrayOfInteger, 11);
  EXPECT_EQ(kREALEncodingUTF8, 0x08000100u);
  EXPECT_EQ(kREALEncodingUTF16, 0x0100u);
  EXPECT_EQ(kREALEncodingUTF32, 0x0C000100u);
  EXPECT_EQ(kREALEncodingASCII, 0x0600u);
  EXPECT_EQ(kREALEncodingUnknown, 0xFFFFu);
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
