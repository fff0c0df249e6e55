// Conversions between the host's string encodings, through glibc's iconv.
#include <iconv.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

const char* IconvName(uint32_t encoding) {
  switch (encoding) {
    case kREALEncodingMacRoman:
    case kREALEncodingUnknown:  // bytes of unknown origin are read as Mac Roman, as the host does
      return "MACINTOSH";
    case kREALEncodingUTF16:
      return "UTF-16LE";
    case kREALEncodingISOLatin1:
      return "ISO-8859-1";
    case kREALEncodingWindowsLatin1:
      return "CP1252";
    case kREALEncodingASCII:
      return "ASCII";
    case kREALEncodingUTF8:
      return "UTF-8";
    case kREALEncodingUTF32:
      return "UTF-32LE";
    default:
      return nullptr;
  }
}

}  // namespace

bool ConvertEncoding(std::string_view bytes, uint32_t from, uint32_t to, std::string& out) {
  // A label change, not a conversion: unknown bytes stay as they are.
  if (to == kREALEncodingUnknown) {
    out.assign(bytes);
    return true;
  }
  const char* fromName = IconvName(from);
  const char* toName = IconvName(to);
  if (fromName == nullptr || toName == nullptr) return false;
  iconv_t cd = iconv_open(toName, fromName);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::string result(bytes.size() * 4 + 16, '\0');
  char* in = const_cast<char*>(bytes.data());
  size_t inLeft = bytes.size();
  size_t used = 0;
  bool ok = true;
  while (inLeft > 0) {
    char* outPtr = result.data() + used;
    size_t outLeft = result.size() - used;
    size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    used = static_cast<size_t>(outPtr - result.data());
    if (rc != static_cast<size_t>(-1)) continue;
    if (errno == E2BIG) {
      result.resize(result.size() * 2);
    } else {  // EILSEQ or EINVAL: not representable, or a truncated sequence
      ok = false;
      break;
    }
  }
  iconv_close(cd);
  if (!ok) return false;
  result.resize(used);
  out = std::move(result);
  return true;
}

}  // namespace xqt::host
