// The binary contract between the plug-in and its host.
//
// Everything the plug-in and a host must agree on lives here, laid out exactly as the host lays it
// out in memory on 64-bit Linux, macOS and Windows: the opaque host types, the C types of the
// host's scalar types, the class definition with its member entries, the picture description, the
// string-data record, and the type of every host entry point, under the name the host's resolver
// answers to. Every record carries static_asserts on its size and on each field's offset, so a
// mistake here fails the build instead of a customer's application.
//
// No field is a C `long`, so Windows x64 has the same offsets as the other systems. The one `long`
// in this file is the result of a few property readers, which the host declares that way.
//
// The plug-in never includes anything of a host; a host includes only this header.
#pragma once

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------
// Host types
// ---------------------------------------------------------------------------------------------

// Every host object (instances of plug-in classes, MemoryBlocks, pictures, folder items, arrays,
// exceptions, graphics) is a REALobject with a reference count kept by the host.
struct REALobjectStruct;
typedef REALobjectStruct* REALobject;
typedef REALobject REALmemoryBlock;
typedef REALobject REALpicture;
typedef REALobject REALfolderItem;
typedef REALobject REALgraphics;
typedef REALobject REALarray;

// Host strings are reference counted separately from objects.
struct REALstringStruct;
typedef REALstringStruct* REALstring;

// A class as the host knows it (pluginObjectType), for RuntimeObjectIsa and CreateInstance.
struct REALclassRefStruct;
typedef REALclassRefStruct* REALclassRef;

// C types of the host's scalar types.
typedef int64_t RBInteger;  // Integer and Int64
typedef int8_t RBBoolean;   // one byte, 0 or 1, in every record and argument
typedef double RBDouble;
typedef uint32_t RBColor;  // &cAARRGGBB as the host writes it: 0xAARRGGBB
typedef void* RBPtr;

// An untyped function in a record; every entry is cast to its real type before it is called.
typedef void (*REALproc)(void);

// String encodings, numbered as the host numbers them.
enum : uint32_t {
  kREALEncodingMacRoman = 0,
  kREALEncodingUTF16 = 0x0100,
  kREALEncodingISOLatin1 = 0x0201,
  kREALEncodingWindowsLatin1 = 0x0500,
  kREALEncodingASCII = 0x0600,
  kREALEncodingUTF8 = 0x08000100,
  kREALEncodingUTF32 = 0x0C000100,
  kREALEncodingUnknown = 0xFFFF,
};

// ---------------------------------------------------------------------------------------------
// Class definitions
// ---------------------------------------------------------------------------------------------

// A name and value attached to a class or member; {"Hidden", ""} keeps it out of the host's lists.
struct REALattribute {
  const char* mName;
  const char* mValue;
};
static_assert(sizeof(REALattribute) == 16);
static_assert(offsetof(REALattribute, mValue) == 8);

// A property. With the standard accessors ((REALproc)-1) the host reads and writes the
// instance-data field at offset `param` itself. Other instance accessors are
//   T getter(REALobject instance, int64_t param);
//   void setter(REALobject instance, int64_t param, T value);
// and accessors of shared properties get neither: T getter(void), void setter(T value).
// Objects and strings handed out by a getter carry one reference for the caller.
struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  REALproc getter;
  REALproc setter;
  int32_t param;
  REALproc editor;
  size_t enumCount;
  const char** enumEntries;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALproperty) == 96);
static_assert(offsetof(REALproperty, name) == 8);
static_assert(offsetof(REALproperty, type) == 16);
static_assert(offsetof(REALproperty, flags) == 24);
static_assert(offsetof(REALproperty, getter) == 32);
static_assert(offsetof(REALproperty, setter) == 40);
static_assert(offsetof(REALproperty, param) == 48);
static_assert(offsetof(REALproperty, editor) == 56);
static_assert(offsetof(REALproperty, enumCount) == 64);
static_assert(offsetof(REALproperty, enumEntries) == 72);
static_assert(offsetof(REALproperty, attributeCount) == 80);
static_assert(offsetof(REALproperty, attributes) == 88);

// The standard accessors of a property over a field of the instance data.
inline REALproc REALstandardGetter() { return reinterpret_cast<REALproc>(intptr_t{-1}); }
inline REALproc REALstandardSetter() { return reinterpret_cast<REALproc>(intptr_t{-1}); }

// A method. `function` takes the instance first (shared methods do not) and then the declared
// parameters in their C types; an assignable method also has `setterFunction`, which takes the
// same arguments followed by the assigned value.
struct REALmethodDefinition {
  REALproc function;
  REALproc setterFunction;
  const char* declaration;
  uint32_t mFlags;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALmethodDefinition) == 48);
static_assert(offsetof(REALmethodDefinition, setterFunction) == 8);
static_assert(offsetof(REALmethodDefinition, declaration) == 16);
static_assert(offsetof(REALmethodDefinition, mFlags) == 24);
static_assert(offsetof(REALmethodDefinition, attributeCount) == 32);
static_assert(offsetof(REALmethodDefinition, attributes) == 40);

// An event that subclasses may implement. At registration the host writes an opaque value into
// `forSystemUse`; the implementation of an instance's class is GetEventInstance(instance, value).
struct REALevent {
  const char* declaration;
  int64_t forSystemUse;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALevent) == 32);
static_assert(offsetof(REALevent, forSystemUse) == 8);
static_assert(offsetof(REALevent, attributeCount) == 16);
static_assert(offsetof(REALevent, attributes) == 24);

// An event of a superclass implemented by this class.
struct REALeventInstance {
  const char* name;
  REALproc implementation;
};
static_assert(sizeof(REALeventInstance) == 16);
static_assert(offsetof(REALeventInstance, implementation) == 8);

// A class constant. The value is part of the declaration ("Name = 12"); reserved1 stays null.
struct REALconstant {
  const char* declaration;
  void* reserved1;
  uint32_t mFlags;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALconstant) == 40);
static_assert(offsetof(REALconstant, reserved1) == 8);
static_assert(offsetof(REALconstant, mFlags) == 16);
static_assert(offsetof(REALconstant, attributeCount) == 24);
static_assert(offsetof(REALconstant, attributes) == 32);

// Delegates and enums exist in definitions of version 11 and later; this plug-in has none.
struct REALdelegate {
  const char* declaration;
  uint32_t mFlags;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALdelegate) == 32);
static_assert(offsetof(REALdelegate, mFlags) == 8);
static_assert(offsetof(REALdelegate, attributeCount) == 16);
static_assert(offsetof(REALdelegate, attributes) == 24);

struct REALenum {
  const char* name;
  const char* type;
  uint32_t mFlags;
  const char** fields;
  size_t numFields;
  size_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALenum) == 56);
static_assert(offsetof(REALenum, type) == 8);
static_assert(offsetof(REALenum, mFlags) == 16);
static_assert(offsetof(REALenum, fields) == 24);
static_assert(offsetof(REALenum, numFields) == 32);
static_assert(offsetof(REALenum, attributeCount) == 40);
static_assert(offsetof(REALenum, attributes) == 48);

struct REALclassDefinition {
  uint32_t version;
  const char* name;
  const char* superName;
  size_t dataSize;
  // Written by the host at registration: the byte offset of the instance data inside every
  // object of the class.
  int64_t forSystemUse;
  REALproc constructor;  // void constructor(REALobject instance)
  REALproc destructor;   // void destructor(REALobject instance)
  REALproperty* properties;
  size_t propertyCount;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALevent* events;
  size_t eventCount;
  REALeventInstance* eventInstances;
  size_t eventInstanceCount;
  const char* interfaces;
  REALattribute* attributes;
  size_t attributeCount;
  REALconstant* constants;
  size_t constantCount;
  uint32_t mFlags;
  REALproperty* sharedProperties;
  size_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  size_t sharedMethodCount;
  // Read from version 11 on.
  REALdelegate* delegates;
  size_t delegateCount;
  REALenum* enums;
  size_t enumCount;
};
static_assert(sizeof(REALclassDefinition) == 232);
static_assert(offsetof(REALclassDefinition, name) == 8);
static_assert(offsetof(REALclassDefinition, superName) == 16);
static_assert(offsetof(REALclassDefinition, dataSize) == 24);
static_assert(offsetof(REALclassDefinition, forSystemUse) == 32);
static_assert(offsetof(REALclassDefinition, constructor) == 40);
static_assert(offsetof(REALclassDefinition, destructor) == 48);
static_assert(offsetof(REALclassDefinition, properties) == 56);
static_assert(offsetof(REALclassDefinition, propertyCount) == 64);
static_assert(offsetof(REALclassDefinition, methods) == 72);
static_assert(offsetof(REALclassDefinition, methodCount) == 80);
static_assert(offsetof(REALclassDefinition, events) == 88);
static_assert(offsetof(REALclassDefinition, eventCount) == 96);
static_assert(offsetof(REALclassDefinition, eventInstances) == 104);
static_assert(offsetof(REALclassDefinition, eventInstanceCount) == 112);
static_assert(offsetof(REALclassDefinition, interfaces) == 120);
static_assert(offsetof(REALclassDefinition, attributes) == 128);
static_assert(offsetof(REALclassDefinition, attributeCount) == 136);
static_assert(offsetof(REALclassDefinition, constants) == 144);
static_assert(offsetof(REALclassDefinition, constantCount) == 152);
static_assert(offsetof(REALclassDefinition, mFlags) == 160);
static_assert(offsetof(REALclassDefinition, sharedProperties) == 168);
static_assert(offsetof(REALclassDefinition, sharedPropertyCount) == 176);
static_assert(offsetof(REALclassDefinition, sharedMethods) == 184);
static_assert(offsetof(REALclassDefinition, sharedMethodCount) == 192);
static_assert(offsetof(REALclassDefinition, delegates) == 200);
static_assert(offsetof(REALclassDefinition, delegateCount) == 208);
static_assert(offsetof(REALclassDefinition, enums) == 216);
static_assert(offsetof(REALclassDefinition, enumCount) == 224);

// Flag bits of classes and members.
enum : uint32_t {
  REALpropRuntimeOnly = 0x2,  // exists at run time only
  REALconsoleSafe = 0x4,      // usable in every kind of application
  REALconsoleOnly = 0x8,
  REALScopeGlobal = 0x10,
  REALScopePublic = 0x20,
  REALScopeProtected = 0x40,
  REALScopePrivate = 0x80,
  REALwebSafe = 0x100,
  REALdesktopSafe = 0x200,
  REALiOSSafe = 0x400,
};

// ---------------------------------------------------------------------------------------------
// Pictures
// ---------------------------------------------------------------------------------------------

// Kinds of picture data behind a locked description.
enum : uint32_t {
  pictureCGBitmapContext = 8,  // macOS desktop: a CGContextRef
  pictureGDData = 9,           // console: 11 header bytes, then big-endian A,R,G,B ints
  pictureGDImagePtr = 10,      // console, every system: a gdImage*
  pictureCairoContext = 12,    // Linux desktop: a cairo_t*
  pictureD2DBytes = 14,        // Windows desktop: premultiplied B,G,R,A bytes
};

// What PluginPictureGetType reports.
enum : int64_t {
  kPictureTypeImage = 0,      // HiDPI picture made of several bitmaps
  kPictureTypeVector = 1,     // vector picture
  kPictureTypeMutable = 2,    // plain mutable bitmap
  kPictureTypeImmutable = 3,  // immutable bitmap
};

struct REALpictureDescription {
  uint32_t pictureType;
  void* pictureData;
  int32_t width;
  int32_t height;
  int32_t depth;
  RBBoolean transparent;
};
static_assert(sizeof(REALpictureDescription) == 32);
static_assert(offsetof(REALpictureDescription, pictureData) == 8);
static_assert(offsetof(REALpictureDescription, width) == 16);
static_assert(offsetof(REALpictureDescription, height) == 20);
static_assert(offsetof(REALpictureDescription, depth) == 24);
static_assert(offsetof(REALpictureDescription, transparent) == 28);

// Pixel layouts of REALBuildPictureFromBuffer; none carries alpha.
enum : uint32_t {
  kREALPixelRGB = 1,   // R, G, B
  kREALPixelBGR = 2,   // B, G, R
  kREALPixelXRGB = 3,  // unused, R, G, B
  kREALPixelBGRX = 4,  // B, G, R, unused
};

// Alpha info values of a Core Graphics bitmap context (CGBitmapContextGetAlphaInfo).
enum : uint32_t {
  kBitmapAlphaNone = 0,
  kBitmapAlphaPremultipliedLast = 1,
  kBitmapAlphaPremultipliedFirst = 2,
  kBitmapAlphaLast = 3,
  kBitmapAlphaFirst = 4,
  kBitmapAlphaNoneSkipLast = 5,
  kBitmapAlphaNoneSkipFirst = 6,
  kBitmapAlphaOnly = 7,
  kBitmapAlphaInfoMask = 0x1F,
};

// The leading fields of a gd 2.x image, in gd's own order; only these are read.
#define gdMaxColors 256
struct gdImagePrefix {
  unsigned char** pixels;  // palette rows, null for a true-colour image
  int sx;
  int sy;
  int colorsTotal;
  int red[gdMaxColors];
  int green[gdMaxColors];
  int blue[gdMaxColors];
  int open[gdMaxColors];
  int transparent;
  int* polyInts;
  int polyAllocated;
  struct gdImagePrefix* brush;
  struct gdImagePrefix* tile;
  int brushColorMap[gdMaxColors];
  int tileColorMap[gdMaxColors];
  int styleLength;
  int stylePos;
  int* style;
  int interlace;
  int thick;
  int alpha[gdMaxColors];
  int trueColor;
  int** tpixels;  // true-colour rows: 0x7FRRGGBB words, alpha 0 opaque and 127 transparent
  int alphaBlendingFlag;
  int saveAlphaFlag;
};
static_assert(offsetof(gdImagePrefix, sx) == 8);
static_assert(offsetof(gdImagePrefix, sy) == 12);
static_assert(offsetof(gdImagePrefix, colorsTotal) == 16);
static_assert(offsetof(gdImagePrefix, trueColor) == 7248);
static_assert(offsetof(gdImagePrefix, tpixels) == 7256);
static_assert(offsetof(gdImagePrefix, alphaBlendingFlag) == 7264);
static_assert(offsetof(gdImagePrefix, saveAlphaFlag) == 7268);

// ---------------------------------------------------------------------------------------------
// Strings
// ---------------------------------------------------------------------------------------------

// A string's bytes in one encoding, as PluginGetStringData hands them out; the private fields
// belong to the host and go back to it with PluginDisposeStringData.
struct REALstringData {
  const void* data;
  size_t length;
  uint32_t encoding;
  const void* private1;
  uint32_t private2;
};
static_assert(sizeof(REALstringData) == 40);
static_assert(offsetof(REALstringData, length) == 8);
static_assert(offsetof(REALstringData, encoding) == 16);
static_assert(offsetof(REALstringData, private1) == 24);
static_assert(offsetof(REALstringData, private2) == 32);

// Element types of RuntimeArrayCreateSingleDimBoundedArray.
enum : int32_t {
  kREALArrayOfString = 3,
  kREALArrayOfObject = 4,
  kREALArrayOfInteger = 11,
};

// ---------------------------------------------------------------------------------------------
// Host entry points, by the name the resolver knows them
// ---------------------------------------------------------------------------------------------

typedef void* (*REALResolverProc)(const char* entryName);
typedef void (*REALPluginMainProc)(REALResolverProc resolver);

extern "C" {

// Start-up and registration.
typedef void (*PluginRegisterClassProc)(REALclassDefinition* definition);
typedef void (*RegisterPluginVersionProc)(int version);
typedef double (*REALGetRBVersionProc)(void);  // year.release: 2018r2 is 2018.02
typedef RBBoolean (*REALinRuntimeProc)(void);

// Objects.
typedef void (*REALLockObjectProc)(REALobject object);
typedef void (*REALUnlockObjectProc)(REALobject object);
typedef REALobject (*PluginNewInstanceProc)(const char* className);
typedef REALclassRef (*pluginObjectTypeProc)(const char* className);
typedef REALobject (*CreateInstanceProc)(REALclassRef classRef);
typedef RBBoolean (*RuntimeObjectIsaProc)(REALobject object, REALclassRef classRef);
typedef REALproc (*REALLoadObjectMethodProc)(REALobject object, const char* declaration);
// `module` is null for the host's own global functions.
typedef REALproc (*REALLoadGlobalMethodProc)(const char* module, const char* declaration);
typedef REALproc (*GetEventInstanceProc)(REALobject object, int64_t eventIndex);

// Exceptions. The host delivers a raised exception when control returns to it.
typedef void (*RuntimeRaiseExceptionProc)(REALobject exception);
// Calls function(context) and returns the exception raised inside it (the caller unlocks it), or
// null.
typedef REALobject (*PluginCallFunctionWithExceptionHandlerProc)(void (*function)(void* context),
                                                                 void* context);

// Properties of host objects, by name. The getters of Double, String and Object values return
// the host's `long`, which is 4 bytes on Windows and 8 elsewhere.
typedef RBBoolean (*REALGetPropValueIntegerProc)(REALobject object, const char* name,
                                                 int64_t* value);
typedef RBBoolean (*REALGetPropValueBoolProc)(REALobject object, const char* name,
                                              RBBoolean* value);
typedef long (*REALGetPropValueDoubleProc)(REALobject object, const char* name, double* value);
typedef long (*REALGetPropValueStringProc)(REALobject object, const char* name, REALstring* value);
typedef long (*REALGetPropValueObjectProc)(REALobject object, const char* name, REALobject* value);
typedef RBBoolean (*REALSetPropValueIntegerProc)(REALobject object, const char* name,
                                                 int64_t value);
typedef RBBoolean (*REALSetPropValueBooleanProc)(REALobject object, const char* name,
                                                 RBBoolean value);
typedef RBBoolean (*REALSetPropValueStringProc)(REALobject object, const char* name,
                                                REALstring value);
typedef RBBoolean (*REALSetPropValueObjectProc)(REALobject object, const char* name,
                                                REALobject value);

// Strings. Built strings carry one reference for the caller.
typedef REALstring (*REALBuildStringProc)(const char* bytes, int byteCount);
typedef REALstring (*REALBuildStringWithEncodingProc)(const char* bytes, int byteCount,
                                                      uint32_t encoding);
typedef void (*REALSetStringEncodingProc)(REALstring string, uint32_t encoding);
typedef uint32_t (*REALGetStringEncodingProc)(REALstring string);
typedef REALstring (*REALConvertStringProc)(REALstring string, uint32_t encoding);
typedef void (*REALLockStringProc)(REALstring string);
typedef void (*REALUnlockStringProc)(REALstring string);
typedef RBBoolean (*PluginGetStringDataProc)(REALstring string, uint32_t encoding,
                                             REALstringData* out);
typedef void (*PluginDisposeStringDataProc)(REALstringData* data);
typedef const char* (*StringGetCStringProc)(REALstring string);

// MemoryBlocks.
typedef void* (*memoryBlockGetPtrProc)(REALmemoryBlock block);
typedef int64_t (*memoryBlockGetSizeProc)(REALmemoryBlock block);
typedef REALmemoryBlock (*PtrToMemoryBlockProc)(void* data);  // no size, not owned

// Arrays (one dimension). An upper bound of -1 makes an empty array.
typedef int64_t (*RuntimeUBoundProc)(REALarray array);
typedef REALarray (*RuntimeArrayCreateSingleDimBoundedArrayProc)(int32_t elementType,
                                                                 int64_t upperBound);
typedef void (*REALStringArrayInsert)(REALarray array, int64_t index, REALstring value);
typedef int64_t (*REALIntegerArrayGetter)(REALarray array, int64_t index);
// These two hand out the element function that fits the array: a REALStringArrayInsert and a
// REALIntegerArrayGetter.
typedef void* (*PluginStringArrayInsertProcProc)(REALarray array);
typedef void* (*PluginIntegerArrayGetProcProc)(REALarray array);

// Yielding to the host's user interface and threads.
typedef void (*REALYieldToRBProc)(void);

// Pictures.
typedef RBBoolean (*REALLockPictureDescriptionProc)(REALpicture picture,
                                                    REALpictureDescription* description,
                                                    uint32_t pictureType);
// Fills in the picture's own kind.
typedef void (*lockPictureDescriptionProc)(REALpicture picture,
                                           REALpictureDescription* description);
typedef void (*unlockPictureDescriptionProc)(REALpicture picture);
typedef void (*REALPictureClearCacheProc)(REALpicture picture);
typedef int64_t (*PluginPictureGetTypeProc)(REALpicture picture);
typedef REALpicture (*REALGetPictureMaskProc)(REALpicture picture, RBBoolean create);
typedef REALpicture (*newPictureProc)(int64_t width, int64_t height, int64_t depth);
typedef REALpicture (*REALBuildPictureFromBufferProc)(uint32_t width, uint32_t height,
                                                      uint32_t pixelType, const void* pixels,
                                                      uint32_t rowBytes);
typedef REALgraphics (*pluginPictureGraphicsGetterProc)(REALpicture picture);

}  // extern "C"

// The one export of the plug-in.
extern "C" void REALPluginMain(REALResolverProc resolver);
