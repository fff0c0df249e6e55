#include "plugin/host_strings.h"

#include <cstdlib>
#include <cstring>

#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"

namespace {

bool HasHighByte(const void* bytes, int64_t length) {
  auto data = static_cast<const unsigned char*>(bytes);
  for (int64_t i = 0; i < length; ++i) {
    if (data[i] & 0x80) return true;
  }
  return false;
}

bool NewerBuilders() { return rbversion >= 2012.0; }

REALstring BuildWithEncoding(const void* bytes, int32_t length, uint32_t encoding) {
  auto text = static_cast<const char*>(bytes);
  if (NewerBuilders()) {
    auto build = hostapi::REALBuildStringWithEncoding.get();
    return build ? build(text, length, encoding) : nullptr;
  }
  auto build = hostapi::REALBuildString.get();
  REALstring string = build ? build(text, length) : nullptr;
  if (string) {
    if (auto setEncoding = hostapi::REALSetStringEncoding.get()) setEncoding(string, encoding);
  }
  return string;
}

REALstring BuildUTF16(const void* bytes, int32_t length) {
  if (NewerBuilders()) return BuildWithEncoding(bytes, length, kREALEncodingUTF16);
  // Older hosts keep only byte strings: build the bytes, mark them UTF-16, and let the host
  // convert them to UTF-8.
  void* copy = std::malloc(static_cast<size_t>(length));
  if (!copy) {
    DebugLog("Out of memory in REALBuildUnicodeStringUTF16.");
    return nullptr;
  }
  std::memcpy(copy, bytes, static_cast<size_t>(length));
  REALstring raw = BuildWithEncoding(copy, length, kREALEncodingUTF16);
  std::free(copy);
  if (!raw) return nullptr;
  auto convert = hostapi::REALConvertString.get();
  if (!convert) return raw;
  REALstring converted = convert(raw, kREALEncodingUTF8);
  UnlockString(raw);
  return converted;
}

}  // namespace

REALstring REALBuildUnicodeString(const void* bytes, int64_t length, uint32_t encoding) {
  if (!bytes || length < 1) return nullptr;
  if (length >= (int64_t{1} << 31)) {
    DebugLog("Count too big for REALBuildUnicodeString.");
    return nullptr;
  }
  return GuardStandardExceptions<REALstring>(nullptr, [&]() -> REALstring {
    auto count = static_cast<int32_t>(length);
    switch (encoding) {
      case kREALEncodingUTF8:
      case kREALEncodingASCII:
        break;
      case kREALEncodingMacRoman:
      case kREALEncodingISOLatin1:
      case kREALEncodingWindowsLatin1:
      case kREALEncodingUnknown:
        if (!HasHighByte(bytes, length)) encoding = kREALEncodingASCII;
        break;
      case kREALEncodingUTF16:
        return BuildUTF16(bytes, count);
      default:
        if (Debugging()) {
          LogMessageX("%s%s %u", kDebugPrefix, "Unknown encoding in REALBuildUnicodeString",
                      encoding);
        }
        break;
    }
    return BuildWithEncoding(bytes, count, encoding);
  });
}

REALstring BuildAsciiString(const char* text) {
  if (!text) return nullptr;
  size_t length = std::strlen(text);
  if (Debugging() && HasHighByte(text, static_cast<int64_t>(length))) {
    DebugLog("Error: text is not ascii", text);
  }
  return REALBuildUnicodeString(text, static_cast<int64_t>(length), kREALEncodingASCII);
}

// ---------------------------------------------------------------------------------------------

namespace {
const char kEmptyText[4] = {0, 0, 0, 0};
}

rbText::rbText(REALstring string) : check1_(kGuard), utf8_(kEmptyText), check2_(kGuard) {
  if (!string) return;
  string_ = string;
  LockString(string_);
  auto getEncoding = hostapi::REALGetStringEncoding.get();
  if (!getEncoding) {
    encoding_ = kREALEncodingUnknown;  // a byte string whose ASCII state nobody knows
  } else {
    encoding_ = getEncoding(string_);
    if (encoding_ == kREALEncodingASCII) ascii_ = AsciiState::kAscii;
    if (encoding_ != kREALEncodingUTF8 && encoding_ != kREALEncodingASCII) {
      auto convert = hostapi::REALConvertString.get();
      converted_ = convert ? convert(string_, kREALEncodingUTF8) : nullptr;
      if (!converted_) DebugLog("REALBuildUnicodeString failed");
    }
  }
  using LenB = RBInteger (*)(REALstring);
  auto loadGlobal = hostapi::REALLoadGlobalMethod.get();
  auto lenB = loadGlobal
                  ? reinterpret_cast<LenB>(loadGlobal(nullptr, "LenB( s as string ) as integer"))
                  : nullptr;
  byteLength_ = lenB ? lenB(string_) : 0;
}

const char* rbText::GetUTF8() {
  if (utf8Length_ >= 0) return utf8_;
  utf8Length_ = 0;
  if (!string_) return utf8_;
  REALstring source = converted_ ? converted_ : string_;
  auto getData = hostapi::PluginGetStringData.get();
  if (!getData || getData(source, kREALEncodingUTF8, &hostData_) == 0) {
    DebugLog("REALGetStringData failed.");
    return utf8_;
  }
  disposeHostData_ = true;
  const void* data = hostData_.data;
  auto length = static_cast<int64_t>(hostData_.length);
  if (!data || length <= 0) {
    DebugLog("data is NULL, so size fixed to zero.");
    return utf8_;
  }
  // The host promises `length` bytes and nothing after them, so the terminator is always ours.
  ownUtf8_ = static_cast<char*>(std::malloc(static_cast<size_t>(length) + 4));
  if (!ownUtf8_) {
    DebugLog("Out of Memory.");
    failed_ = true;
    return utf8_;
  }
  std::memcpy(ownUtf8_, data, static_cast<size_t>(length));
  std::memset(ownUtf8_ + length, 0, 4);
  utf8_ = ownUtf8_;
  utf8Length_ = length;
  return utf8_;
}

int64_t rbText::GetUTF8Length() {
  GetUTF8();
  return utf8Length_;
}

rbText::~rbText() {
  if (check1_ != kGuard && Debugging()) {
    LogMessageX("%s%s %lu", kDebugPrefix, "Check1 in rbText invalid",
                static_cast<unsigned long>(check1_));
  }
  if (check2_ != kGuard && Debugging()) {
    LogMessageX("%s%s %lu", kDebugPrefix, "Check2 in rbText invalid",
                static_cast<unsigned long>(check2_));
  }
  if (disposeHostData_) {
    if (auto dispose = hostapi::PluginDisposeStringData.get()) dispose(&hostData_);
  }
  std::free(ownUtf8_);
  UnlockString(converted_);
  UnlockString(string_);
}
