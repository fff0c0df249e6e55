#include "composite/row_formats.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "composite/pixel_conversions.h"
#include "image/image_checks.h"
#include "image/pixel_format_table.h"
#include "picture/image_pixels.h"
#include "plugin/debug_log.h"
#include "plugin/exceptions.h"
#include "plugin/host_api.h"
#include "plugin/host_strings.h"
#include "plugin/memory_block.h"

PixelLayout LayoutOfImage(const ImageClassData& image) {
  PixelLayout layout;
  layout.pixelSize = image.PixelSize;
  layout.alpha = image.HasAlpha ? image.AlphaOffset : -1;
  if (image.IsRGB && image.HasRed && image.HasGreen && image.HasBlue) {
    layout.family = PixelFamily::kRGB;
    layout.channel[0] = image.RedOffset;
    layout.channel[1] = image.GreenOffset;
    layout.channel[2] = image.BlueOffset;
  } else if (image.IsCMYK && image.HasCyan && image.HasMagenta && image.HasYellow &&
             image.HasBlack) {
    layout.family = PixelFamily::kCMYK;
    layout.channel[0] = image.CyanOffset;
    layout.channel[1] = image.MagentaOffset;
    layout.channel[2] = image.YellowOffset;
    layout.channel[3] = image.BlackOffset;
  } else if (image.IsGray && image.HasGray) {
    layout.family = image.BitsPerComponent == 16 ? PixelFamily::kGray16 : PixelFamily::kGray8;
    layout.channel[0] = image.GrayOffset;
  }
  if (layout.pixelSize < 1) layout.family = PixelFamily::kNone;
  return layout;
}

PixelLayout LayoutOfFormat(int64_t code) {
  PixelLayout layout;
  const PixelFormatRow* row = FormatRow(code);
  if (!row || row->pixelSize < 1) return layout;
  layout.pixelSize = row->pixelSize;
  layout.alpha = row->alpha;
  switch (row->family) {
    case ChannelFamily::kRGB:
      layout.family = PixelFamily::kRGB;
      layout.channel[0] = row->red;
      layout.channel[1] = row->green;
      layout.channel[2] = row->blue;
      break;
    case ChannelFamily::kCMYK:
      layout.family = PixelFamily::kCMYK;
      layout.channel[0] = row->cyan;
      layout.channel[1] = row->magenta;
      layout.channel[2] = row->yellow;
      layout.channel[3] = row->black;
      break;
    case ChannelFamily::kGray:
      layout.family = row->bitsPerComponent == 16 ? PixelFamily::kGray16 : PixelFamily::kGray8;
      layout.channel[0] = row->gray;
      break;
    case ChannelFamily::kNone:
      break;
  }
  return layout;
}

PixelValue CMYKFromRGBValue(uint32_t red, uint32_t green, uint32_t blue) {
  uint32_t brightest = red > green ? red : green;
  if (blue > brightest) brightest = blue;
  if (brightest == 0) return {{0, 0, 0, 255}, 255};
  // With k = 255 - black = brightest, the bridge gives colour = k - ink * k / 255 (truncating);
  // the smallest ink with ink * k / 255 >= k - colour gives the colour back exactly.
  auto ink = [brightest](uint32_t colour) {
    return ((brightest - colour) * 255 + brightest - 1) / brightest;
  };
  return {{ink(red), ink(green), ink(blue), 255 - brightest}, 255};
}

namespace {

// The gray and CMYK steps of CopyPixels work on 8-bit gray: a 16-bit value shows as its high
// byte, which undoes the widening by 257.
uint32_t Gray8Of(PixelFamily family, uint32_t gray) {
  return family == PixelFamily::kGray16 ? gray >> 8 : gray;
}

}  // namespace

PixelValue ConvertValue(PixelFamily from, PixelFamily to, PixelValue value) {
  if (from == to) return value;
  PixelValue out{{0, 0, 0, 0}, value.alpha};
  // Bring the colour to 8-bit gray, RGB or CMYK first, then into the target family.
  uint32_t gray = 0;
  switch (from) {
    case PixelFamily::kGray8:
    case PixelFamily::kGray16:
      gray = Gray8Of(from, value.v[0]);
      if (to == PixelFamily::kGray8 || to == PixelFamily::kGray16) break;
      if (to == PixelFamily::kRGB) {
        out.v[0] = out.v[1] = out.v[2] = gray;
      } else {
        CMYKBytes cmyk = CMYKFromGray(static_cast<uint8_t>(gray));
        out.v[3] = cmyk.black;
      }
      return out;
    case PixelFamily::kRGB:
      if (to == PixelFamily::kCMYK) {
        PixelValue cmyk = CMYKFromRGBValue(value.v[0], value.v[1], value.v[2]);
        cmyk.alpha = value.alpha;
        return cmyk;
      }
      gray = GrayFromRGB(value.v[0], value.v[1], value.v[2]);
      break;
    case PixelFamily::kCMYK:
      if (to == PixelFamily::kRGB) {
        for (int i = 0; i < 3; ++i) out.v[i] = picture_io::RGBFromCMYK(value.v[i], value.v[3]);
        return out;
      }
      gray = GrayFromCMYK({0, 0, 0, static_cast<uint8_t>(value.v[3])});
      break;
    case PixelFamily::kNone:
      return out;
  }
  out.v[0] = to == PixelFamily::kGray16 ? Gray16FromGray(static_cast<uint8_t>(gray)) : gray;
  return out;
}

namespace {

constexpr int ChannelCount(PixelFamily family) {
  return family == PixelFamily::kRGB ? 3 : family == PixelFamily::kCMYK ? 4 : 1;
}

template <PixelFamily F>
inline PixelValue ReadValue(const PixelLayout& layout, const uint8_t* pixel) {
  PixelValue value{{0, 0, 0, 0}, 255};
  if constexpr (F == PixelFamily::kGray16) {
    uint16_t sample;
    std::memcpy(&sample, pixel + layout.channel[0], 2);
    value.v[0] = sample;
  } else {
    for (int i = 0; i < ChannelCount(F); ++i) value.v[i] = pixel[layout.channel[i]];
  }
  return value;
}

template <PixelFamily F>
inline void WriteValue(const PixelLayout& layout, uint8_t* pixel, const PixelValue& value) {
  if constexpr (F == PixelFamily::kGray16) {
    auto sample = static_cast<uint16_t>(value.v[0]);
    std::memcpy(pixel + layout.channel[0], &sample, 2);
  } else {
    for (int i = 0; i < ChannelCount(F); ++i) {
      pixel[layout.channel[i]] = static_cast<uint8_t>(value.v[i]);
    }
  }
}

template <PixelFamily From, PixelFamily To>
void ConvertLoop(const PixelLayout& from, const uint8_t* source, const PixelLayout& to,
                 uint8_t* dest, int64_t count, AlphaRule rule) {
  const bool sourceAlpha = from.alpha >= 0;
  const bool destAlpha = to.alpha >= 0 && !(rule.keepDest && !sourceAlpha);
  for (int64_t i = 0; i < count; ++i, source += from.pixelSize, dest += to.pixelSize) {
    PixelValue value = ConvertValue(From, To, ReadValue<From>(from, source));
    WriteValue<To>(to, dest, value);
    if (destAlpha) {
      uint32_t alpha = sourceAlpha ? source[from.alpha] : 255;
      if (sourceAlpha && rule.invertSource) alpha = 255 - alpha;
      if (rule.invertDest) alpha = 255 - alpha;
      dest[to.alpha] = static_cast<uint8_t>(alpha);
    }
  }
}

template <PixelFamily From>
void ConvertFrom(const PixelLayout& from, const uint8_t* source, const PixelLayout& to,
                 uint8_t* dest, int64_t count, AlphaRule rule) {
  switch (to.family) {
    case PixelFamily::kGray8:
      return ConvertLoop<From, PixelFamily::kGray8>(from, source, to, dest, count, rule);
    case PixelFamily::kGray16:
      return ConvertLoop<From, PixelFamily::kGray16>(from, source, to, dest, count, rule);
    case PixelFamily::kRGB:
      return ConvertLoop<From, PixelFamily::kRGB>(from, source, to, dest, count, rule);
    case PixelFamily::kCMYK:
      return ConvertLoop<From, PixelFamily::kCMYK>(from, source, to, dest, count, rule);
    case PixelFamily::kNone:
      return;
  }
}

}  // namespace

void ConvertPixels(const PixelLayout& from, const uint8_t* source, const PixelLayout& to,
                   uint8_t* dest, int64_t count, AlphaRule alpha) {
  switch (from.family) {
    case PixelFamily::kGray8:
      return ConvertFrom<PixelFamily::kGray8>(from, source, to, dest, count, alpha);
    case PixelFamily::kGray16:
      return ConvertFrom<PixelFamily::kGray16>(from, source, to, dest, count, alpha);
    case PixelFamily::kRGB:
      return ConvertFrom<PixelFamily::kRGB>(from, source, to, dest, count, alpha);
    case PixelFamily::kCMYK:
      return ConvertFrom<PixelFamily::kCMYK>(from, source, to, dest, count, alpha);
    case PixelFamily::kNone:
      return;
  }
}

// ---------------------------------------------------------------------------------------------
// The members.

namespace {

// Byte strings travel as ISO Latin-1: every byte is the character of the same code, so no host
// conversion can change a byte, and the host may still show the text.
constexpr uint32_t kByteStringEncoding = kREALEncodingISOLatin1;

// Host strings are limited to 2^31 - 1 bytes.
constexpr int64_t kLargestString = (int64_t{1} << 31) - 1;

void Refuse(const char* className, const char* message) {
  DebugLog(message);
  RaiseException(className, message);
}

// An image and a format that can be exchanged, after the checks every member makes.
struct RowJob {
  ImageClassData* image = nullptr;
  PixelLayout imageLayout;
  PixelLayout formatLayout;
  int64_t rowBytes = 0;  // of one packed row in the caller's format
};

bool PrepareJob(REALobject instance, int64_t format, const char* function, RowJob& job) {
  job.image = ImageData(instance);
  if (Debugging()) LogMessageX("%s%s %lld", kDebugPrefix, function, static_cast<long long>(format));
  if (!job.image) return false;
  ImageClassData& image = *job.image;
  if (!image.GetRow) {
    Refuse("UnsupportedOperationException", "GetRow is nil");
    return false;
  }
  if (!image.Valid) {
    Refuse("UnsupportedOperationException", "Picture not valid.");
    return false;
  }
  if (image.Width < 1 || image.Height < 1) {
    Refuse("UnsupportedOperationException", "The picture has no pixels.");
    return false;
  }
  job.imageLayout = LayoutOfImage(image);
  if (job.imageLayout.family == PixelFamily::kNone) {
    Refuse("UnsupportedOperationException", "The picture is not a gray, RGB or CMYK image.");
    return false;
  }
  job.formatLayout = LayoutOfFormat(format);
  if (job.formatLayout.family == PixelFamily::kNone) {
    char message[96];
    std::snprintf(message, sizeof(message),
                  "ImageFormat %lld is not a gray, RGB or CMYK pixel format.",
                  static_cast<long long>(format));
    Refuse("UnsupportedOperationException", message);
    return false;
  }
  if (image.Width > kLargestString / job.formatLayout.pixelSize) {
    Refuse("OutOfMemoryException", "The row is too large.");
    return false;
  }
  job.rowBytes = image.Width * job.formatLayout.pixelSize;
  return true;
}

bool CheckIndex(const RowJob& job, int64_t index, const char* function) {
  if (index < 0 || index >= job.image->Height) {
    RaiseOutOfBoundsException(index, job.image->Height, "index", function);
    return false;
  }
  return true;
}

uint8_t* ImageRow(const RowJob& job, int64_t y) {
  uint8_t* row = job.image->GetRow(job.image, y);
  if (!row) DebugLog("row is nil", static_cast<long long>(y));
  return row;
}

// Row y in the caller's format, into `out` (rowBytes, zeroed by the caller).
bool ReadRow(const RowJob& job, int64_t y, uint8_t* out, bool invertAlpha) {
  uint8_t* row = ImageRow(job, y);
  if (!row) return false;
  AlphaRule rule;
  rule.invertDest = invertAlpha;
  ConvertPixels(job.imageLayout, row, job.formatLayout, out, job.image->Width, rule);
  return true;
}

// The caller's packed row written into row y; an image alpha the format lacks stays.
void WriteRow(const RowJob& job, int64_t y, const uint8_t* data, bool invertAlpha) {
  uint8_t* row = ImageRow(job, y);
  if (!row) return;
  AlphaRule rule;
  rule.invertSource = invertAlpha;
  rule.keepDest = true;
  ConvertPixels(job.formatLayout, data, job.imageLayout, row, job.image->Width, rule);
}

bool TooShort(int64_t have, int64_t need) {
  if (have >= need) return false;
  char message[128];
  std::snprintf(message, sizeof(message), "The data has %lld bytes, %lld are needed.",
                static_cast<long long>(have), static_cast<long long>(need));
  Refuse("OutOfBoundsException", message);
  return true;
}

REALobject NewBlockOrRaise(int64_t size) {
  REALmemoryBlock block = NewMemoryBlock(size);
  if (block && MemoryBlockData(block)) return block;
  UnlockObject(block);
  char message[128];
  std::snprintf(message, sizeof(message),
                "Failed to allocate a memoryblock with %lld bytes in size.",
                static_cast<long long>(size));
  Refuse("OutOfMemoryException", message);
  return nullptr;
}

REALobject RowBlock(REALobject instance, int64_t index, int64_t format, bool invertAlpha) {
  RowJob job;
  if (!PrepareJob(instance, format, "RowInFormat", job)) return nullptr;
  if (!CheckIndex(job, index, "RowInFormat")) return nullptr;
  REALobject block = NewBlockOrRaise(job.rowBytes);
  if (!block) return nullptr;
  uint8_t* data = MemoryBlockData(block);
  std::memset(data, 0, static_cast<size_t>(job.rowBytes));
  ReadRow(job, index, data, invertAlpha);
  return block;
}

void SetRowBlock(REALobject instance, int64_t index, int64_t format, bool invertAlpha,
                 REALobject value) {
  RowJob job;
  if (!PrepareJob(instance, format, "RowInFormat", job)) return;
  if (!CheckIndex(job, index, "RowInFormat")) return;
  uint8_t* data = value ? MemoryBlockData(value) : nullptr;
  if (!data) {
    Refuse("NilObjectException", "Memoryblock is nil");
    return;
  }
  // A block over foreign memory knows no size (0): the caller vouches for a whole row, as with
  // Row.
  int64_t size = MemoryBlockSize(value);
  if (size > 0 && TooShort(size, job.rowBytes)) return;
  WriteRow(job, index, data, invertAlpha);
}

REALstring ByteString(const std::vector<uint8_t>& bytes) {
  REALstring string =
      REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), kByteStringEncoding);
  if (!string) Refuse("OutOfMemoryException", "Failed to build the string.");
  return string;
}

// The bytes of a host string in the byte-string encoding.
class StringBytes {
 public:
  explicit StringBytes(REALstring string) {
    auto getData = hostapi::PluginGetStringData.get();
    if (!string || !getData || getData(string, kByteStringEncoding, &data_) == 0) return;
    dispose_ = true;
  }
  ~StringBytes() {
    if (!dispose_) return;
    if (auto dispose = hostapi::PluginDisposeStringData.get()) dispose(&data_);
  }
  StringBytes(const StringBytes&) = delete;
  StringBytes& operator=(const StringBytes&) = delete;
  const uint8_t* data() const {
    return dispose_ ? static_cast<const uint8_t*>(data_.data) : nullptr;
  }
  int64_t length() const { return data() ? static_cast<int64_t>(data_.length) : 0; }

 private:
  REALstringData data_{};
  bool dispose_ = false;
};

}  // namespace

REALobject rbRowInFormat(REALobject instance, int64_t index, int64_t format) {
  return RowBlock(instance, index, format, false);
}

void rbSetRowInFormat(REALobject instance, int64_t index, int64_t format, REALobject value) {
  SetRowBlock(instance, index, format, false, value);
}

REALobject rbRowInFormatInvert(REALobject instance, int64_t index, int64_t format,
                               RBBoolean invertAlpha) {
  return RowBlock(instance, index, format, invertAlpha);
}

void rbSetRowInFormatInvert(REALobject instance, int64_t index, int64_t format,
                            RBBoolean invertAlpha, REALobject value) {
  SetRowBlock(instance, index, format, invertAlpha, value);
}

REALstring rbRowStringInFormat(REALobject instance, int64_t index, int64_t format) {
  RowJob job;
  if (!PrepareJob(instance, format, "RowStringInFormat", job)) return nullptr;
  if (!CheckIndex(job, index, "RowStringInFormat")) return nullptr;
  return GuardStandardExceptions<REALstring>(nullptr, [&]() -> REALstring {
    std::vector<uint8_t> bytes(static_cast<size_t>(job.rowBytes), 0);
    if (!ReadRow(job, index, bytes.data(), false)) return nullptr;
    return ByteString(bytes);
  });
}

void rbSetRowStringInFormat(REALobject instance, int64_t index, int64_t format, REALstring value) {
  RowJob job;
  if (!PrepareJob(instance, format, "RowStringInFormat", job)) return;
  if (!CheckIndex(job, index, "RowStringInFormat")) return;
  StringBytes bytes(value);
  if (TooShort(bytes.length(), job.rowBytes)) return;
  WriteRow(job, index, bytes.data(), false);
}

REALstring rbDataStringInFormat(REALobject instance, int64_t format) {
  RowJob job;
  if (!PrepareJob(instance, format, "DataStringInFormat", job)) return nullptr;
  if (job.image->Height > kLargestString / job.rowBytes) {
    Refuse("OutOfMemoryException", "The image is too large for a string.");
    return nullptr;
  }
  return GuardStandardExceptions<REALstring>(nullptr, [&]() -> REALstring {
    std::vector<uint8_t> bytes(static_cast<size_t>(job.rowBytes * job.image->Height), 0);
    for (int64_t y = 0; y < job.image->Height; ++y) {
      if (!ReadRow(job, y, bytes.data() + y * job.rowBytes, false)) return nullptr;
      YieldRow(job.image);
    }
    return ByteString(bytes);
  });
}

void rbSetDataStringInFormat(REALobject instance, int64_t format, REALstring value) {
  RowJob job;
  if (!PrepareJob(instance, format, "DataStringInFormat", job)) return;
  if (job.image->Height > kLargestString / job.rowBytes) {
    Refuse("OutOfMemoryException", "The image is too large for a string.");
    return;
  }
  StringBytes bytes(value);
  if (TooShort(bytes.length(), job.rowBytes * job.image->Height)) return;
  for (int64_t y = 0; y < job.image->Height; ++y) {
    WriteRow(job, y, bytes.data() + y * job.rowBytes, false);
    YieldRow(job.image);
  }
}
