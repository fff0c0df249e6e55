#include "image/image_members.h"

#include <cstddef>

#include "image/file_mapping.h"
#include "image/image_class_data.h"
#include "image/image_properties.h"
#include "image/image_storage.h"
#include "image/image_views.h"
#include "image/picture_factory.h"
#include "image/pixel_formats.h"
#include "image/raw_rows.h"
#include "picture/picture_copy.h"

namespace {

constexpr int32_t Field(size_t offset) { return static_cast<int32_t>(offset); }

#define XQT_FIELD(Name) Field(offsetof(ImageClassData, Name))

REALproperty ReadOnly(const char* name, const char* type, int32_t field,
                      uint32_t flags = kPropertyFlags) {
  return PropertyEntry(name, type, flags, REALstandardGetter(), nullptr, field);
}

REALproperty ReadWrite(const char* name, const char* type, int32_t field,
                       uint32_t flags = kPropertyFlags) {
  return PropertyEntry(name, type, flags, REALstandardGetter(), REALstandardSetter(), field);
}

REALproperty OffsetProperty(const char* name, int32_t field, REALproc setter) {
  return PropertyEntry(name, "Integer", kPropertyFlags, REALstandardGetter(), setter, field);
}

REALproperty Computed(const char* name, const char* type, REALproc getter,
                      REALproc setter = nullptr) {
  return PropertyEntry(name, type, kPropertyFlags, getter, setter);
}

void AddProperties(ClassMembers& members) {
  members.properties = {
      ReadOnly("MappingFirstRow", "Integer", XQT_FIELD(MappingFirstRow)),
      ReadOnly("MappingLastRow", "Integer", XQT_FIELD(MappingLastRow)),
      ReadOnly("MappingRows", "Integer", XQT_FIELD(MappingRows)),
      ReadWrite("YieldTicks", "Integer", XQT_FIELD(YieldTicks)),
      OffsetProperty("RedOffset", XQT_FIELD(RedOffset), Entry(&SetRedOffset)),
      OffsetProperty("GreenOffset", XQT_FIELD(GreenOffset), Entry(&SetGreenOffset)),
      OffsetProperty("BlueOffset", XQT_FIELD(BlueOffset), Entry(&SetBlueOffset)),
      OffsetProperty("GrayOffset", XQT_FIELD(GrayOffset), Entry(&SetGrayOffset)),
      OffsetProperty("AlphaOffset", XQT_FIELD(AlphaOffset), Entry(&SetAlphaOffset)),
      ReadOnly("Width", "Integer", XQT_FIELD(Width)),
      ReadOnly("Height", "Integer", XQT_FIELD(Height)),
      ReadOnly("UnclippedHeight", "Integer", XQT_FIELD(UnclippedHeight)),
      ReadOnly("PixelSize", "Integer", XQT_FIELD(PixelSize)),
      ReadOnly("BitsPerComponent", "Integer", XQT_FIELD(BitsPerComponent)),
      ReadOnly("RowSize", "Integer", XQT_FIELD(RowSize)),
      ReadOnly("ImageFormat", "Integer", XQT_FIELD(ImageFormat)),
      Computed("ImageFormatString", "String", Entry(&GetImageFormatString)),
      ReadOnly("RowOffset", "Integer", XQT_FIELD(RowOffset)),
      ReadWrite("DebugPictureEnabled", "Boolean", XQT_FIELD(DebugPictureEnabled),
                kPicturePropertyFlags),
      PropertyEntry("DebugPicture", "Picture", kPicturePropertyFlags, Entry(&GetDebugPicture),
                    nullptr),
      ReadOnly("IsGray", "Boolean", XQT_FIELD(IsGray)),
      ReadOnly("IsRGB", "Boolean", XQT_FIELD(IsRGB)),
      ReadOnly("HasGreen", "Boolean", XQT_FIELD(HasGreen)),
      ReadOnly("HasRed", "Boolean", XQT_FIELD(HasRed)),
      ReadOnly("HasBlue", "Boolean", XQT_FIELD(HasBlue)),
      ReadOnly("HasGray", "Boolean", XQT_FIELD(HasGray)),
      ReadOnly("HasAlpha", "Boolean", XQT_FIELD(HasAlpha)),
      ReadOnly("Valid", "Boolean", XQT_FIELD(Valid)),
      ReadOnly("IsMapping", "Boolean", XQT_FIELD(IsMapping)),
      ReadOnly("ChannelCount", "Integer", XQT_FIELD(ChannelCount)),
      ReadOnly("IsCMYK", "Boolean", XQT_FIELD(IsCMYK)),
      ReadOnly("HasCyan", "Boolean", XQT_FIELD(HasCyan)),
      ReadOnly("HasYellow", "Boolean", XQT_FIELD(HasYellow)),
      ReadOnly("HasMagenta", "Boolean", XQT_FIELD(HasMagenta)),
      ReadOnly("HasBlack", "Boolean", XQT_FIELD(HasBlack)),
      ReadOnly("CyanOffset", "Integer", XQT_FIELD(CyanOffset)),
      ReadOnly("YellowOffset", "Integer", XQT_FIELD(YellowOffset)),
      ReadOnly("MagentaOffset", "Integer", XQT_FIELD(MagentaOffset)),
      ReadOnly("BlackOffset", "Integer", XQT_FIELD(BlackOffset)),
      ReadOnly("Channel", "String", XQT_FIELD(Channel)),
      ReadOnly("Parent", "PictureXQT", XQT_FIELD(Parent)),
      ReadWrite("Factory", "PictureFactoryXQT", XQT_FIELD(Factory)),
      ReadOnly("Target", "Picture", XQT_FIELD(Target), kPicturePropertyFlags),
      Computed("Memory", "MemoryBlock", Entry(&GetMemory)),
      ReadOnly("MemoryTarget", "MemoryBlock", XQT_FIELD(MemoryTarget)),
      ReadOnly("FilePath", "String", XQT_FIELD(FilePath)),
      Computed("MappingBlockSize", "Int64", Entry(&GetMemBlockSize), Entry(&SetMemBlockSize)),
      Computed("TotalSize", "Int64", Entry(&GetTotalSizeInt64)),
  };
}

#define XQT_CONSTANT(Name) \
  NamedConstant { #Name, Name }

void AddConstants(ClassMembers& members) {
  members.constants = {
      XQT_CONSTANT(ImageFormatUnknown),
      XQT_CONSTANT(ImageFormatRGB),
      XQT_CONSTANT(ImageFormatRGBA),
      XQT_CONSTANT(ImageFormatRGBX),
      XQT_CONSTANT(ImageFormatARGB),
      XQT_CONSTANT(ImageFormatXRGB),
      XQT_CONSTANT(ImageFormatBGR),
      XQT_CONSTANT(ImageFormatBGRA),
      XQT_CONSTANT(ImageFormatBGRX),
      XQT_CONSTANT(ImageFormatABGR),
      XQT_CONSTANT(ImageFormatXBGR),
      XQT_CONSTANT(ImageFormatG),
      XQT_CONSTANT(ImageFormatGray16),
      XQT_CONSTANT(ImageFormatGA),
      XQT_CONSTANT(ImageFormatAG),
      XQT_CONSTANT(ImageFormatScaling1),
      XQT_CONSTANT(ImageFormatScaling2),
      XQT_CONSTANT(ImageFormatScaling3),
      XQT_CONSTANT(ImageFormatScaling4),
      XQT_CONSTANT(ImageFormatScaling5),
      XQT_CONSTANT(ImageFormatScaling6),
      XQT_CONSTANT(ImageFormatScaling7),
      XQT_CONSTANT(ImageFormatScaling8),
      XQT_CONSTANT(ImageFormatBuffer),
      XQT_CONSTANT(ImageFormat1of3),
      XQT_CONSTANT(ImageFormat2of3),
      XQT_CONSTANT(ImageFormat3of3),
      XQT_CONSTANT(ImageFormat1of4),
      XQT_CONSTANT(ImageFormat2of4),
      XQT_CONSTANT(ImageFormat3of4),
      XQT_CONSTANT(ImageFormat4of4),
      XQT_CONSTANT(ImageFormatRofRGB),
      XQT_CONSTANT(ImageFormatGofRGB),
      XQT_CONSTANT(ImageFormatBofRGB),
      XQT_CONSTANT(ImageFormatRofBGR),
      XQT_CONSTANT(ImageFormatGofBGR),
      XQT_CONSTANT(ImageFormatBofBGR),
      XQT_CONSTANT(ImageFormatRofRGBA),
      XQT_CONSTANT(ImageFormatGofRGBA),
      XQT_CONSTANT(ImageFormatBofRGBA),
      XQT_CONSTANT(ImageFormatAofRGBA),
      XQT_CONSTANT(ImageFormatRofARGB),
      XQT_CONSTANT(ImageFormatGofARGB),
      XQT_CONSTANT(ImageFormatBofARGB),
      XQT_CONSTANT(ImageFormatAofARGB),
      XQT_CONSTANT(ImageFormatRofBGRA),
      XQT_CONSTANT(ImageFormatGofBGRA),
      XQT_CONSTANT(ImageFormatBofBGRA),
      XQT_CONSTANT(ImageFormatAofBGRA),
      XQT_CONSTANT(ImageFormatRofABGR),
      XQT_CONSTANT(ImageFormatGofABGR),
      XQT_CONSTANT(ImageFormatBofABGR),
      XQT_CONSTANT(ImageFormatAofABGR),
      XQT_CONSTANT(ImageFormatCMYK),
      XQT_CONSTANT(ImageFormatCMYKA),
      XQT_CONSTANT(ImageFormatACMYK),
      XQT_CONSTANT(ImageFormatCMYKX),
      XQT_CONSTANT(ImageFormatXCMYK),
      XQT_CONSTANT(ImageFormatKYMC),
      XQT_CONSTANT(ImageFormatKYMCA),
      XQT_CONSTANT(ImageFormatAKYMC),
      XQT_CONSTANT(ImageFormatKYMCX),
      XQT_CONSTANT(ImageFormatXKYMC),
      XQT_CONSTANT(ScaleTriangle),
      XQT_CONSTANT(ScaleBox),
      XQT_CONSTANT(ScaleLanczos3),
      XQT_CONSTANT(ScaleLanczos8),
      XQT_CONSTANT(ScaleMitchell),
      XQT_CONSTANT(ScalePoly3),
      XQT_CONSTANT(ScaleCubic),
      XQT_CONSTANT(DitherMagic2x2Matrix),
      XQT_CONSTANT(DitherMagic4x4Matrix),
      XQT_CONSTANT(DitherOrdered4x4Matrix),
      XQT_CONSTANT(DitherLines4x4Matrix),
      XQT_CONSTANT(Dither90Halftone6x6Matrix),
      XQT_CONSTANT(DitherOrdered6x6Matrix),
      XQT_CONSTANT(DitherOrdered8x8Matrix),
      XQT_CONSTANT(DitherCluster3Matrix),
      XQT_CONSTANT(DitherCluster4Matrix),
      XQT_CONSTANT(DitherCluster8Matrix),
      XQT_CONSTANT(ImageFormatG1),
      XQT_CONSTANT(ImageFormatG2),
      XQT_CONSTANT(ImageFormatG3),
      XQT_CONSTANT(ImageFormatG4),
      XQT_CONSTANT(ImageFormatG5),
      XQT_CONSTANT(ImageFormatG6),
      XQT_CONSTANT(ImageFormatG7),
      XQT_CONSTANT(ImageFormatG8),
  };
}

void AddMethods(ClassMembers& members) {
  members.Method(Entry(&ImageConstructor),
                 "Constructor(width as integer, height as integer, ImageFormat as integer)");
  members.Method(Entry(&ImageConstructorMemory),
                 "Constructor(Buf as MemoryBlock, width as integer, height as integer, "
                 "ImageFormat as integer, RowSize as integer)");
  members.Method(Entry(&ImageConstructorFile),
                 "Constructor(width as integer, height as integer, ImageFormat as integer, "
                 "BlockSize as Int64, FilePath as folderitem)");
  members.Method(Entry(&ImageDestructor), "Close");
  members.Method(Entry(&Clone), "Clone as PictureXQT");
  members.Method(Entry(&GetMirroredView), "MirroredView as PictureXQT");
  members.Method(Entry(&MapInRows),
                 "MapInRows(FirstRow as Integer, LastRow as Integer) as boolean");
  members.Method(Entry(&ClearCache), "ClearCache");
  members.Method(Entry(&CreatePictureLocal),
                 "CreatePictureXQT(width as integer, height as integer, ImageFormat as integer) "
                 "as PictureXQT");
  members.Method(Entry(&Channels), "Channels as String()");
  members.Method(Entry(&ChannelOffset), "ChannelOffset(index as integer) as integer");
  members.Method(Entry(&Channel), "Channel(index as integer) as PictureXQT");
  members.Method(Entry(&AlphaChannel), "AlphaChannel as PictureXQT");
  members.Method(Entry(&RedChannel), "RedChannel as PictureXQT");
  members.Method(Entry(&GreenChannel), "GreenChannel as PictureXQT");
  members.Method(Entry(&BlueChannel), "BlueChannel as PictureXQT");
  members.Method(Entry(&GrayChannel), "GrayChannel as PictureXQT");
  members.Method(Entry(&CyanChannel), "CyanChannel as PictureXQT");
  members.Method(Entry(&MagentaChannel), "MagentaChannel as PictureXQT");
  members.Method(Entry(&YellowChannel), "YellowChannel as PictureXQT");
  members.Method(Entry(&BlackChannel), "BlackChannel as PictureXQT");
  members.Method(Entry(&RGBChannel), "RGBChannels as PictureXQT");
  members.Method(Entry(&CMYKChannel), "CMYKChannels as PictureXQT");
  members.Method(Entry(&rbGetRowPtr), "RawRowPtr(index as integer) as Ptr");
  members.Method(Entry(&rbGetRow), "RawRow(index as integer) as memoryblock");
  members.AssignableMethod(Entry(&rbGetRowCopy), Entry(&rbSetRow),
                           "Row(index as integer) as memoryblock");

  members.SharedMethod(Entry(&CreatePictureGlobal),
                       "CreatePictureXQT(width as integer, height as integer, theImageFormat as "
                       "integer) as PictureXQT");
  members.SharedMethod(Entry(&CalculateMemory),
                       "CalculateMemory(width as integer, height as integer, theImageFormat as "
                       "integer) as Int64");
  members.SharedMethod(Entry(&CanAllocateImage),
                       "CanAllocateImage(width as integer, height as integer, theImageFormat as "
                       "integer) as boolean");
}

}  // namespace

void AddImageMembers(ClassMembers& members) {
  AddProperties(members);
  AddConstants(members);
  AddMethods(members);
}
