#include "image/pixel_format_table.h"

#include "image/pixel_formats.h"
#include "plugin/debug_log.h"

namespace {

using F = ChannelFamily;
constexpr int8_t _ = -1;

// clang-format off
constexpr PixelFormatRow kFormats[kHighestFormatCode + 1] = {
  //  string      size family     R  G  B  Gy A  C  M  Y  K  offsets     bits
  {"Unknown",     0, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  //  0
  {"RGB",         3, F::kRGB,     0, 1, 2, _, _, _, _, _, _, "012",       8},  //  1
  {"RGBA",        4, F::kRGB,     0, 1, 2, _, 3, _, _, _, _, "0123",      8},  //  2
  {"RGBX",        4, F::kRGB,     0, 1, 2, _, _, _, _, _, _, "012",       8},  //  3
  {"ARGB",        4, F::kRGB,     1, 2, 3, _, 0, _, _, _, _, "0123",      8},  //  4
  {"XRGB",        4, F::kRGB,     1, 2, 3, _, _, _, _, _, _, "123",       8},  //  5
  {"BGR",         3, F::kRGB,     2, 1, 0, _, _, _, _, _, _, "012",       8},  //  6
  {"BGRA",        4, F::kRGB,     2, 1, 0, _, 3, _, _, _, _, "0123",      8},  //  7
  {"BGRX",        4, F::kRGB,     2, 1, 0, _, _, _, _, _, _, "012",       8},  //  8
  {"ABGR",        4, F::kRGB,     3, 2, 1, _, 0, _, _, _, _, "0123",      8},  //  9
  {"XBGR",        4, F::kRGB,     3, 2, 1, _, _, _, _, _, _, "123",       8},  // 10
  {"G",           1, F::kGray,    _, _, _, 0, _, _, _, _, _, "0",         8},  // 11
  {"GA",          2, F::kGray,    _, _, _, 0, 1, _, _, _, _, "01",        8},  // 12
  {"AG",          2, F::kGray,    _, _, _, 1, 0, _, _, _, _, "01",        8},  // 13
  {nullptr,       0, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 14
  {nullptr,       3, F::kGray,    _, _, _, 0, _, _, _, _, _, "0",         8},  // 15
  {nullptr,       3, F::kGray,    _, _, _, 1, _, _, _, _, _, "1",         8},  // 16
  {nullptr,       3, F::kGray,    _, _, _, 2, _, _, _, _, _, "2",         8},  // 17
  {nullptr,       4, F::kGray,    _, _, _, 0, _, _, _, _, _, "0",         8},  // 18
  {nullptr,       4, F::kGray,    _, _, _, 1, _, _, _, _, _, "1",         8},  // 19
  {nullptr,       4, F::kGray,    _, _, _, 2, _, _, _, _, _, "2",         8},  // 20
  {nullptr,       4, F::kGray,    _, _, _, 3, _, _, _, _, _, "3",         8},  // 21
  {nullptr,       1, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 22 buffer
  {"CMYK",        4, F::kCMYK,    _, _, _, _, _, 0, 1, 2, 3, "0123",      8},  // 23
  {"CMYKA",       5, F::kCMYK,    _, _, _, _, 4, 0, 1, 2, 3, "01234",     8},  // 24
  {"ACMYK",       5, F::kCMYK,    _, _, _, _, 0, 1, 2, 3, 4, "01234",     8},  // 25
  {"CMYKX",       5, F::kCMYK,    _, _, _, _, _, 0, 1, 2, 3, "0123",      8},  // 26
  {"XCMYK",       5, F::kCMYK,    _, _, _, _, _, 1, 2, 3, 4, "1234",      8},  // 27
  {"KYMC",        4, F::kCMYK,    _, _, _, _, _, 3, 2, 1, 0, "0123",      8},  // 28
  {"KYMCA",       5, F::kCMYK,    _, _, _, _, 4, 3, 2, 1, 0, "01234",     8},  // 29
  {"AKYMC",       5, F::kCMYK,    _, _, _, _, 0, 4, 3, 2, 1, "01234",     8},  // 30
  {"KYMCX",       5, F::kCMYK,    _, _, _, _, _, 3, 2, 1, 0, "0123",      8},  // 31
  {"XKYMC",       5, F::kCMYK,    _, _, _, _, _, 4, 3, 2, 1, "1234",      8},  // 32
  {"Scaling",     1, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 33
  {"Scaling",     2, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 34
  {"Scaling",     3, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 35
  {"Scaling",     4, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 36
  {"Scaling",     5, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 37
  {"Scaling",     6, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 38
  {"Scaling",     7, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 39
  {"Scaling",     8, F::kNone,    _, _, _, _, _, _, _, _, _, "",          8},  // 40
  {"G16",         2, F::kGray,    _, _, _, 0, _, _, _, _, _, "0",        16},  // 41
  {"GG",          2, F::kGray,    _, _, _, 0, _, _, _, _, _, "01",        8},  // 42
  {"GGG",         3, F::kGray,    _, _, _, 0, _, _, _, _, _, "012",       8},  // 43
  {"GGGG",        4, F::kGray,    _, _, _, 0, _, _, _, _, _, "0123",      8},  // 44
  {"GGGGG",       5, F::kGray,    _, _, _, 0, _, _, _, _, _, "01234",     8},  // 45
  {"GGGGGG",      6, F::kGray,    _, _, _, 0, _, _, _, _, _, "012345",    8},  // 46
  {"GGGGGGG",     7, F::kGray,    _, _, _, 0, _, _, _, _, _, "0123456",   8},  // 47
  {"GGGGGGGG",    8, F::kGray,    _, _, _, 0, _, _, _, _, _, "01234567",  8},  // 48
};
// clang-format on

const char* const kRGBNames[] = {"Red", "Green", "Blue"};
const char* const kRGBANames[] = {"Red", "Green", "Blue", "Alpha"};
const char* const kARGBNames[] = {"Alpha", "Red", "Green", "Blue"};
const char* const kBGRNames[] = {"Blue", "Green", "Red"};
const char* const kBGRANames[] = {"Blue", "Green", "Red", "Alpha"};
const char* const kABGRNames[] = {"Alpha", "Blue", "Green", "Red"};
const char* const kGrayNames[] = {"Gray"};
const char* const kGANames[] = {"Gray", "Alpha"};
const char* const kAGNames[] = {"Alpha", "Gray"};
const char* const kCMYKNames[] = {"Cyan", "Magenta", "Yellow", "Black"};
const char* const kCMYKANames[] = {"Cyan", "Magenta", "Yellow", "Black", "Alpha"};
const char* const kACMYKNames[] = {"Alpha", "Cyan", "Magenta", "Yellow", "Black"};
const char* const kKYMCNames[] = {"Black", "Yellow", "Magenta", "Cyan"};
const char* const kKYMCANames[] = {"Black", "Yellow", "Magenta", "Cyan", "Alpha"};
const char* const kAKYMCNames[] = {"Alpha", "Black", "Yellow", "Magenta", "Cyan"};
// The multi-gray format 40 + N names the first N of these.
const char* const kMultiGrayNames[] = {"Gray",  "Gray2", "Gray3", "Gray4",
                                       "Gray5", "Gray6", "Gray7", "Gray8"};

template <size_t N>
ChannelNameList List(const char* const (&names)[N]) {
  return {names, static_cast<int>(N)};
}

void SetChannel(int64_t& offset, Flag64& has, int8_t value) {
  if (value < 0) return;
  offset = value;
  has = true;
}

}  // namespace

const PixelFormatRow* FormatRow(int64_t code) {
  if (code < 0 || code > kHighestFormatCode) return nullptr;
  return &kFormats[code];
}

ChannelNameList ChannelNames(int64_t code) {
  if (code >= ImageFormatG2 && code <= ImageFormatG8) {
    return {kMultiGrayNames, static_cast<int>(code - 40)};
  }
  switch (code) {
    case 1:
    case 3:
    case 5:
      return List(kRGBNames);
    case 2:
      return List(kRGBANames);
    case 4:
      return List(kARGBNames);
    case 6:
    case 8:
    case 10:
      return List(kBGRNames);
    case 7:
      return List(kBGRANames);
    case 9:
      return List(kABGRNames);
    case 11:
    case 41:
      return List(kGrayNames);
    case 12:
      return List(kGANames);
    case 13:
      return List(kAGNames);
    case 23:
    case 26:
    case 27:
      return List(kCMYKNames);
    case 24:
      return List(kCMYKANames);
    case 25:
      return List(kACMYKNames);
    case 28:
    case 31:
    case 32:
      return List(kKYMCNames);
    case 29:
      return List(kKYMCANames);
    case 30:
      return List(kAKYMCNames);
    default:
      break;
  }
  return {nullptr, 0};
}

bool InitImageClassData(ImageClassData* image, int64_t width, int64_t height, int64_t format) {
  DebugLogArgs("InitImageClassData", width, height, format);
  if (!image || width < 1 || height < 1) return false;

  image->RedOffset = image->GreenOffset = image->BlueOffset = image->GrayOffset = 0;
  image->AlphaOffset = image->CyanOffset = image->MagentaOffset = 0;
  image->YellowOffset = image->BlackOffset = 0;
  image->HasRed = image->HasGreen = image->HasBlue = image->HasGray = image->HasAlpha = false;
  image->HasCyan = image->HasMagenta = image->HasYellow = image->HasBlack = false;
  for (int64_t& offset : image->ChannelOffsets) offset = 0;
  image->ChannelCount = 0;
  image->IsGray = image->IsRGB = image->IsCMYK = false;
  image->PixelSize = 0;
  image->BitsPerComponent = 8;
  image->Width = width;
  image->Height = image->UnclippedHeight = height;
  image->ImageFormat = format;

  const PixelFormatRow* row = FormatRow(format);
  if (!row || row->pixelSize == 0) return false;

  image->PixelSize = row->pixelSize;
  image->BitsPerComponent = row->bitsPerComponent;
  image->IsGray = row->family == ChannelFamily::kGray;
  image->IsRGB = row->family == ChannelFamily::kRGB;
  image->IsCMYK = row->family == ChannelFamily::kCMYK;
  SetChannel(image->RedOffset, image->HasRed, row->red);
  SetChannel(image->GreenOffset, image->HasGreen, row->green);
  SetChannel(image->BlueOffset, image->HasBlue, row->blue);
  SetChannel(image->GrayOffset, image->HasGray, row->gray);
  SetChannel(image->AlphaOffset, image->HasAlpha, row->alpha);
  SetChannel(image->CyanOffset, image->HasCyan, row->cyan);
  SetChannel(image->MagentaOffset, image->HasMagenta, row->magenta);
  SetChannel(image->YellowOffset, image->HasYellow, row->yellow);
  SetChannel(image->BlackOffset, image->HasBlack, row->black);
  for (const char* digit = row->channelOffsets; *digit; ++digit) {
    image->ChannelOffsets[image->ChannelCount++] = *digit - '0';
  }
  return true;
}
