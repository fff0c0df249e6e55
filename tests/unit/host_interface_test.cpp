// The records and names of the host's binary interface, pinned to the numbers the host documents.
// The numbers are written here by hand from the host's interface description, so a change to the
// header that moves a field fails here even if the header's own checks were changed with it. The
// class, property, method and constant records are pinned by the C host (tests/abi), which reads
// the plug-in's tables through its own copy of them; the gd prefix is checked against gd itself.
#include "plugin/host_interface.h"

#include <gtest/gtest.h>
#if __has_include(<gd.h>)
#include <gd.h>
#endif

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string>

#include "plugin/host_api.h"
#include "support/host_entry_names.h"

namespace {

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

// Each constant beside the value the host gives it, as two lists of one group.
void ExpectValues(const char* group, std::initializer_list<uint64_t> ours,
                  std::initializer_list<uint64_t> host) {
  ASSERT_EQ(ours.size(), host.size()) << group;
  for (size_t i = 0; i < ours.size(); ++i) {
    EXPECT_EQ(ours.begin()[i], host.begin()[i]) << group << " entry " << i;
  }
}

TEST(HostInterface, FlagsPictureKindsAndEncodingsHaveTheHostsValues) {
  ExpectValues(
      "flags",
      {REALpropRuntimeOnly, REALconsoleSafe, REALconsoleOnly, REALScopeGlobal, REALScopePublic,
       REALScopeProtected, REALScopePrivate, REALwebSafe, REALdesktopSafe, REALiOSSafe},
      {0x2, 0x4, 0x8, 0x10, 0x20, 0x40, 0x80, 0x100, 0x200, 0x400});
  ExpectValues("picture kinds",
               {pictureCGBitmapContext, pictureGDData, pictureGDImagePtr, pictureCairoContext,
                pictureD2DBytes},
               {8, 9, 10, 12, 14});
  ExpectValues("pixel types", {kREALPixelRGB, kREALPixelBGR, kREALPixelXRGB, kREALPixelBGRX},
               {1, 2, 3, 4});
  ExpectValues("arrays", {kREALArrayOfString, kREALArrayOfObject, kREALArrayOfInteger}, {3, 4, 11});
  ExpectValues("encodings",
               {kREALEncodingUTF8, kREALEncodingUTF16, kREALEncodingUTF32, kREALEncodingASCII,
                kREALEncodingUnknown},
               {0x08000100, 0x0100, 0x0C000100, 0x0600, 0xFFFF});
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
