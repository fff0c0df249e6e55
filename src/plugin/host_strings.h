// Host strings: building them from bytes and reading them as UTF-8.
#pragma once

#include <cstdint>
#include <string_view>

#include "plugin/host_interface.h"

// Builds a host string (one reference for the caller) from `length` bytes in `encoding`; nil for
// no bytes, and nil with a debug line for 2^31 bytes or more. Texts without a byte above 127 in
// the single-byte encodings are built as ASCII.
REALstring REALBuildUnicodeString(const void* bytes, int64_t length, uint32_t encoding);

// Builds a host string from one of the plug-in's own texts (names, labels), which are ASCII.
REALstring BuildAsciiString(const char* text);

// Reads one host string for the duration of a call and hands out its text as NUL-terminated UTF-8.
class rbText {
 public:
  explicit rbText(REALstring string);
  ~rbText();
  rbText(const rbText&) = delete;
  rbText& operator=(const rbText&) = delete;

  const char* GetUTF8();  // never null
  int64_t GetUTF8Length();
  std::string_view View() { return {GetUTF8(), static_cast<size_t>(GetUTF8Length())}; }
  bool Failed() const { return failed_; }
  int64_t ByteLength() const { return byteLength_; }  // of the string as the host holds it

 private:
  enum class AsciiState { kUnknown, kAscii, kNotAscii };
  static constexpr uint32_t kGuard = 0x72625478;  // "rbTx"

  uint32_t check1_;
  REALstring string_ = nullptr;     // locked
  REALstring converted_ = nullptr;  // the UTF-8 rebuild of a string in another encoding
  const char* utf8_;
  int64_t utf8Length_ = -1;
  char* ownUtf8_ = nullptr;
  REALstringData hostData_{};
  int64_t byteLength_ = 0;
  uint32_t encoding_ = kREALEncodingUnknown;
  AsciiState ascii_ = AsciiState::kUnknown;
  bool disposeHostData_ = false;
  bool failed_ = false;
  uint32_t check2_;
};
