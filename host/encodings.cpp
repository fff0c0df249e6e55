// Conversions between the host's string encodings, written out here so that every system
// converts the same way: text is decoded to code points and encoded again, and a byte sequence
// that is not valid in its encoding, or a character the target cannot hold, fails the conversion.
#include <string>
#include <string_view>
#include <vector>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

// Bytes 0x80 to 0xFF of Mac Roman.
constexpr char16_t kMacRoman[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

// Bytes 0x80 to 0x9F of Windows Latin 1; 0 marks the five bytes it leaves undefined.
constexpr char16_t kWindowsLatin1[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

bool Decode(std::string_view bytes, uint32_t encoding, std::u32string& text) {
  auto at = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  switch (encoding) {
    case kREALEncodingASCII:
      for (size_t i = 0; i < bytes.size(); ++i) {
        if (at(i) > 0x7F) return false;
        text += at(i);
      }
      return true;
    case kREALEncodingISOLatin1:
      for (size_t i = 0; i < bytes.size(); ++i) text += at(i);
      return true;
    case kREALEncodingWindowsLatin1:
      for (size_t i = 0; i < bytes.size(); ++i) {
        char32_t c = at(i) >= 0x80 && at(i) < 0xA0 ? kWindowsLatin1[at(i) - 0x80] : at(i);
        if (c == 0 && at(i) != 0) return false;
        text += c;
      }
      return true;
    case kREALEncodingMacRoman:
    case kREALEncodingUnknown:  // bytes of unknown origin are read as Mac Roman, as the host does
      for (size_t i = 0; i < bytes.size(); ++i) {
        text += at(i) < 0x80 ? char32_t{at(i)} : char32_t{kMacRoman[at(i) - 0x80]};
      }
      return true;
    case kREALEncodingUTF8:
      for (size_t i = 0; i < bytes.size();) {
        uint8_t lead = at(i);
        size_t length = lead < 0x80    ? 1
                        : lead >= 0xF0 ? 4
                        : lead >= 0xE0 ? 3
                        : lead >= 0xC2 ? 2
                                       : 0;
        if (length == 0 || lead > 0xF4 || i + length > bytes.size()) return false;
        char32_t c = length == 1 ? lead : lead & (0x7F >> length);
        for (size_t k = 1; k < length; ++k) {
          if ((at(i + k) & 0xC0) != 0x80) return false;
          c = c << 6 | (at(i + k) & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        constexpr char32_t kSmallest[5] = {0, 0, 0x80, 0x800, 0x10000};
        if (c < kSmallest[length] || (c >= 0xD800 && c < 0xE000) || c > 0x10FFFF) return false;
        text += c;
        i += length;
      }
      return true;
    case kREALEncodingUTF16:
      if (bytes.size() % 2 != 0) return false;
      for (size_t i = 0; i < bytes.size(); i += 2) {
        char32_t unit = at(i) | at(i + 1) << 8;
        if (unit >= 0xDC00 && unit < 0xE000) return false;
        if (unit >= 0xD800 && unit < 0xDC00) {
          if (i + 4 > bytes.size()) return false;
          char32_t low = at(i + 2) | at(i + 3) << 8;
          if (low < 0xDC00 || low >= 0xE000) return false;
          unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
          i += 2;
        }
        text += unit;
      }
      return true;
    case kREALEncodingUTF32:
      if (bytes.size() % 4 != 0) return false;
      for (size_t i = 0; i < bytes.size(); i += 4) {
        char32_t c = at(i) | at(i + 1) << 8 | at(i + 2) << 16 | char32_t{at(i + 3)} << 24;
        if ((c >= 0xD800 && c < 0xE000) || c > 0x10FFFF) return false;
        text += c;
      }
      return true;
    default:
      return false;
  }
}

// The byte of a single-byte encoding for `c`, or -1 when it has none.
int SingleByte(char32_t c, uint32_t encoding) {
  if (c < 0x80) return static_cast<int>(c);
  if (encoding == kREALEncodingASCII) return -1;
  if (encoding == kREALEncodingISOLatin1) return c < 0x100 ? static_cast<int>(c) : -1;
  const char16_t* table = encoding == kREALEncodingMacRoman ? kMacRoman : kWindowsLatin1;
  size_t size = encoding == kREALEncodingMacRoman ? 128 : 32;
  for (size_t i = 0; i < size; ++i) {
    if (table[i] == c) return static_cast<int>(0x80 + i);
  }
  if (encoding == kREALEncodingWindowsLatin1 && c >= 0xA0 && c < 0x100) {
    return static_cast<int>(c);
  }
  return -1;
}

bool Encode(const std::u32string& text, uint32_t encoding, std::string& out) {
  auto put = [&](uint32_t value, int bytes) {
    for (int k = 0; k < bytes; ++k) out += static_cast<char>(value >> (8 * k));
  };
  for (char32_t c : text) {
    switch (encoding) {
      case kREALEncodingUTF8:
        if (c < 0x80) {
          out += static_cast<char>(c);
        } else if (c < 0x800) {
          out += static_cast<char>(0xC0 | c >> 6);
          out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
          out += static_cast<char>(0xE0 | c >> 12);
          out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
          out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
          out += static_cast<char>(0xF0 | c >> 18);
          out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
          out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
          out += static_cast<char>(0x80 | (c & 0x3F));
        }
        break;
      case kREALEncodingUTF16:
        if (c < 0x10000) {
          put(c, 2);
        } else {
          put(0xD800 + ((c - 0x10000) >> 10), 2);
          put(0xDC00 + ((c - 0x10000) & 0x3FF), 2);
        }
        break;
      case kREALEncodingUTF32:
        put(c, 4);
        break;
      case kREALEncodingASCII:
      case kREALEncodingISOLatin1:
      case kREALEncodingWindowsLatin1:
      case kREALEncodingMacRoman: {
        int byte = SingleByte(c, encoding);
        if (byte < 0) return false;
        out += static_cast<char>(byte);
        break;
      }
      default:
        return false;
    }
  }
  return true;
}

}  // namespace

bool ConvertEncoding(std::string_view bytes, uint32_t from, uint32_t to, std::string& out) {
  // A label change, not a conversion: unknown bytes stay as they are.
  if (to == kREALEncodingUnknown) {
    out.assign(bytes);
    return true;
  }
  std::u32string text;
  std::string result;
  if (!Decode(bytes, from, text) || !Encode(text, to, result)) return false;
  out = std::move(result);
  return true;
}

}  // namespace xqt::host
