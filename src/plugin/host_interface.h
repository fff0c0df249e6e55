// The contract between the plug-in and its host.
//
// Everything that the plug-in and a host must agree on lives here: the opaque host types, the C
// types of the host's scalar types, the class definition with its member entries, the picture
// description with the two bitmap layouts behind it, and the function-pointer type of every host
// entry point that the plug-in looks up by name through the resolver.
//
// The plug-in never includes anything of a host; a host includes only this header. The header is
// plain C++ with C linkage types so that a host written in C can use it as well.
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

// C types of the host's scalar types.
typedef int64_t RBInteger;  // Integer and Int64
typedef bool RBBoolean;     // one byte
typedef double RBDouble;
typedef uint32_t RBColor;  // &cAARRGGBB as the host writes it: 0xAARRGGBB
typedef void* RBPtr;

// String encodings are numbered as the host numbers them.
enum : uint32_t {
  kREALEncodingMacRoman = 0,
  kREALEncodingUTF16 = 0x0100,
  kREALEncodingISOLatin1 = 0x0201,
  kREALEncodingWindowsLatin1 = 0x0500,
  kREALEncodingASCII = 0x0600,
  kREALEncodingUTF8 = 0x08000100,
  kREALEncodingUTF32 = 0x0C000100,
  kREALEncodingUnknown = 65535,
};

// ---------------------------------------------------------------------------------------------
// Class definitions
// ---------------------------------------------------------------------------------------------

// A property entry. With the standard accessors the host reads and writes the instance-data field
// at offset `param` itself; otherwise `getter` / `setter` are plug-in functions:
//   T getter(REALobject instance, intptr_t param);
//   void setter(REALobject instance, intptr_t param, T value);
// Objects and strings handed out by a getter carry one reference for the caller. Accessors of
// shared properties receive a nil instance. A name may begin with an attribute list that the
// host strips: "Attributes( Hidden ) Debugging" is the property Debugging, hidden from listings.
struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  void* getter;
  void* setter;
  intptr_t param;
};

// Sentinels for the standard accessors.
#define REALstandardGetter (reinterpret_cast<void*>(static_cast<intptr_t>(-1)))
#define REALstandardSetter (reinterpret_cast<void*>(static_cast<intptr_t>(-1)))

// A method entry. `function` takes the instance first (shared methods do not) and then the
// declared parameters in their C types; an assignable method also has `setterFunction`, which
// takes the same arguments followed by the assigned value.
struct REALmethodDefinition {
  void* function;
  void* setterFunction;
  const char* declaration;
  uint32_t flags;
};

// An event that subclasses may implement; the plug-in asks the host for the implementation of an
// instance with REALGetEventInstance, passing the entry of its own class definition.
struct REALevent {
  const char* declaration;
  uint32_t flags;
};

// An event of a superclass implemented by this class.
struct REALeventInstance {
  const char* name;
  void* implementation;
};

// Bindings are not used by this plug-in; the entry exists so that the definition keeps its shape.
struct REALbindingDefinition {
  const char* source;
  const char* destination;
  uint32_t flags;
};

// A class constant: "Name" with `value`, or a complete "Name = 12" declaration with value 0.
struct REALconstant {
  const char* declaration;
  int64_t value;
};

struct REALclassDefinition {
  uint32_t version;
  const char* name;
  const char* superName;
  uint32_t dataSize;
  // Filled in by the host at registration: the byte offset of the instance data inside every
  // object of the class.
  uint32_t forSystemUse;
  void* constructor;  // void constructor(REALobject instance)
  void* destructor;   // void destructor(REALobject instance)
  REALproperty* properties;
  uint32_t propertyCount;
  REALmethodDefinition* methods;
  uint32_t methodCount;
  REALevent* events;
  uint32_t eventCount;
  REALeventInstance* eventInstances;
  uint32_t eventInstanceCount;
  const char* interfaces;
  REALbindingDefinition* bindings;
  uint32_t bindingCount;
  REALconstant* constants;
  uint32_t constantCount;
  uint32_t mFlags;
  REALproperty* sharedProperties;
  uint32_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  uint32_t sharedMethodCount;
};

// Flag bits as the host reads them.
enum : uint32_t {
  REALpropRuntimeOnly = 2,            // property exists at run time only
  REALconsoleSafe = 4,                // member (or class) usable in console applications
  REALScopeShared = 0x20,             // shared property
  REALScopeProtected = 0x100,         // part of the 0x308 pattern of older hosts
  REALScopePrivate = 0x200,           // ditto
  REALScopeMask = 0x400,              // ditto
  REALneedsPictureSupport = 0x40000,  // plug-in marker: uses host pictures
};

// ---------------------------------------------------------------------------------------------
// Pictures
// ---------------------------------------------------------------------------------------------

enum : int32_t {
  pictureCGBitmapContext = 8,  // desktop: handle is a REALbitmapContext*
  pictureGDImagePtr = 10,      // console and web: handle is a gdImage*
};

// Picture kinds reported by PluginPictureGetType.
enum : int32_t {
  kPictureTypeImage = 0,      // HiDPI picture made of several bitmaps
  kPictureTypeVector = 1,     // vector picture
  kPictureTypeMutable = 2,    // plain mutable bitmap
  kPictureTypeImmutable = 3,  // immutable bitmap
};

struct REALpictureDescription {
  int32_t pictureType;
  void* pictureData;  // platform handle
  int32_t width;
  int32_t height;
};

// Alpha info values of a bitmap context, numbered as the desktop graphics layer numbers them.
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

// The bitmap behind a desktop picture. A pixel is four bytes: R, G, B, A in memory for the
// alpha-last infos (1, 3, 5) and A, R, G, B for the alpha-first ones (2, 4, 6); the skip infos
// (5, 6) carry no alpha in their A byte.
struct REALbitmapContext {
  void* data;
  int64_t width;
  int64_t height;
  int64_t bitsPerComponent;
  int64_t bitsPerPixel;
  int64_t bytesPerRow;
  uint32_t bitmapInfo;  // alpha info in the low five bits
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

// ---------------------------------------------------------------------------------------------
// Host entry points, by the name the resolver knows them
// ---------------------------------------------------------------------------------------------

typedef void* (*REALResolverProc)(const char* entryName);
typedef void (*REALPluginMainProc)(REALResolverProc resolver);

extern "C" {

// Start-up and registration.
typedef double (*REALGetRBVersionProc)();                           // "REALGetRBVersion"
typedef void (*RegisterPluginVersionProc)(int32_t controlVersion);  // "RegisterPluginVersion"
typedef bool (*REALinRuntimeProc)();                                // "REALinRuntime"
typedef void (*PluginRegisterClassProc)(REALclassDefinition* definition);  // "PluginRegisterClass"

// Objects.
typedef void (*REALLockObjectProc)(REALobject object);               // "REALLockObject"
typedef void (*REALUnlockObjectProc)(REALobject object);             // "REALUnlockObject"
typedef REALobject (*PluginNewInstanceProc)(const char* className);  // "PluginNewInstance"
// The class of that name (an opaque handle), or null when the host has no such class.
typedef void* (*PluginObjectTypeProc)(const char* className);                 // "pluginObjectType"
typedef bool (*REALObjectIsAProc)(REALobject object, const char* className);  // "REALObjectIsA"
typedef void* (*REALLoadObjectMethodProc)(REALobject object,
                                          const char* declaration);  // "REALLoadObjectMethod"
typedef void* (*REALLoadGlobalMethodProc)(const char* module,
                                          const char* declaration);  // "REALLoadGlobalMethod"
typedef void* (*REALGetEventInstanceProc)(REALobject object,
                                          const REALevent* event);  // "REALGetEventInstance"

// Properties of host objects, by name; false when the object has no such property.
typedef bool (*REALGetPropValueIntegerProc)(REALobject object, const char* name,
                                            RBInteger* value);  // "REALGetPropValueInteger"
typedef bool (*REALSetPropValueIntegerProc)(REALobject object, const char* name,
                                            RBInteger value);  // "REALSetPropValueInteger"
typedef bool (*REALGetPropValueBoolProc)(REALobject object, const char* name,
                                         RBBoolean* value);  // "REALGetPropValueBool"
typedef bool (*REALSetPropValueBoolProc)(REALobject object, const char* name,
                                         RBBoolean value);  // "REALSetPropValueBool"
typedef bool (*REALGetPropValueDoubleProc)(REALobject object, const char* name,
                                           RBDouble* value);  // "REALGetPropValueDouble"
typedef bool (*REALGetPropValueStringProc)(
    REALobject object, const char* name,
    REALstring* value);  // "REALGetPropValueString", value locked for the caller
typedef bool (*REALSetPropValueStringProc)(REALobject object, const char* name,
                                           REALstring value);  // "REALSetPropValueString"
typedef bool (*REALGetPropValueObjectProc)(
    REALobject object, const char* name,
    REALobject* value);  // "REALGetPropValueObject", value locked for the caller
typedef bool (*REALSetPropValueObjectProc)(REALobject object, const char* name,
                                           REALobject value);  // "REALSetPropValueObject"

// Exceptions. A raised exception is delivered when control returns to the host.
typedef void (*RuntimeRaiseExceptionProc)(REALobject exception);  // "RuntimeRaiseException"
// Calls function(context); true when a host exception was raised inside it (it is then dropped).
typedef bool (*PluginCallFunctionWithExceptionHandlerProc)(
    void (*function)(void* context), void* context);  // "PluginCallFunctionWithExceptionHandler"

// Strings. Built strings carry one reference for the caller.
typedef void (*REALLockStringProc)(REALstring string);                         // "REALLockString"
typedef void (*REALUnlockStringProc)(REALstring string);                       // "REALUnlockString"
typedef REALstring (*REALBuildStringProc)(const void* bytes, int32_t length);  // "REALBuildString"
typedef REALstring (*REALBuildStringWithEncodingProc)(
    const void* bytes, int32_t length, uint32_t encoding);  // "REALBuildStringWithEncoding"
typedef void (*REALSetStringEncodingProc)(REALstring string,
                                          uint32_t encoding);      // "REALSetStringEncoding"
typedef uint32_t (*REALGetStringEncodingProc)(REALstring string);  // "REALGetStringEncoding"
typedef REALstring (*REALConvertStringProc)(REALstring string,
                                            uint32_t encoding);  // "REALConvertString"
// The string's bytes in `encoding`: data and length stay valid until PluginDisposeStringData. The
// byte after the last one is readable; a host that terminates the text puts a zero there.
typedef bool (*PluginGetStringDataProc)(REALstring string, uint32_t encoding, const void** data,
                                        int64_t* length);  // "PluginGetStringData"
typedef void (*PluginDisposeStringDataProc)(REALstring string,
                                            const void* data);  // "PluginDisposeStringData"
typedef const void* (*REALGetStringContentsProc)(
    REALstring string, int64_t* length);  // "REALGetStringContents", raw bytes, no copy

// MemoryBlocks.
typedef void* (*memoryBlockGetPtrProc)(REALmemoryBlock block);     // "memoryBlockGetPtr"
typedef int64_t (*memoryBlockGetSizeProc)(REALmemoryBlock block);  // "memoryBlockGetSize"
typedef REALmemoryBlock (*PtrToMemoryBlockProc)(
    void* data);  // "PtrToMemoryBlock", no size, not owned

// Arrays (one dimension).
enum : int32_t { kREALArrayInteger = 0, kREALArrayString = 1, kREALArrayObject = 2 };
typedef int64_t (*RuntimeUBoundProc)(REALarray array);  // "RuntimeUBound"
typedef REALarray (*REALCreateArrayProc)(int32_t elementType,
                                         int64_t upperBound);  // "REALCreateArray"
typedef bool (*PluginIntegerArrayGetProc)(REALarray array, int64_t index,
                                          RBInteger* value);  // "PluginIntegerArrayGet"
// Element storage of an integer array, or null when the host does not expose it.
typedef RBInteger* (*REALGetArrayIntegerStorageProc)(
    REALarray array);  // "REALGetArrayIntegerStorage"
typedef void (*REALAppendArrayStringProc)(REALarray array,
                                          REALstring value);  // "REALAppendArrayString"

// Yielding to the host's user interface and threads.
typedef void (*REALYieldToRBProc)();  // "REALYieldToRB"

// Pictures.
typedef bool (*REALLockPictureDescriptionProc)(
    REALpicture picture, REALpictureDescription* description,
    int32_t pictureType);  // "REALLockPictureDescription"
typedef bool (*lockPictureDescriptionProc)(
    REALpicture picture,
    REALpictureDescription* description);  // "lockPictureDescription", native type
typedef void (*unlockPictureDescriptionProc)(REALpicture picture);  // "unlockPictureDescription"
typedef void (*REALPictureClearCacheProc)(REALpicture picture);     // "REALPictureClearCache"
typedef int32_t (*PluginPictureGetTypeProc)(REALpicture picture);   // "PluginPictureGetType"
typedef REALpicture (*REALGetPictureMaskProc)(
    REALpicture picture, bool create);  // "REALGetPictureMask", locked for the caller
typedef REALpicture (*newPictureProc)(int32_t width, int32_t height,
                                      int32_t depth);  // "newPicture"
// A new picture from a caller's buffer of 32-bit pixels; format 1: A, R, G, B bytes per pixel.
typedef REALpicture (*REALBuildPictureFromBufferProc)(
    int32_t width, int32_t height, int32_t format, const void* pixels,
    int64_t rowBytes);  // "REALBuildPictureFromBuffer"
typedef REALgraphics (*pluginPictureGraphicsGetterProc)(
    REALpicture picture);  // "pluginPictureGraphicsGetter", locked for the caller

}  // extern "C"

// The one export of the plug-in.
extern "C" void REALPluginMain(REALResolverProc resolver);
