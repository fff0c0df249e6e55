#include "pictures.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

namespace xqt::tool {
namespace {

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

uint16_t Load16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

void Store16(uint8_t* p, uint16_t v) { std::memcpy(p, &v, 2); }

// Ink amounts to the RGB a screen shows, for viewing CMYK images as PNG.
uint8_t InkToLight(uint8_t ink, uint8_t black) {
  return static_cast<uint8_t>((255 - ink) * (255 - black) / 255);
}

}  // namespace

PictureShape Describe(const host::Ref& image) {
  PictureShape s;
  s.valid = image.Get<bool>("Valid");
  s.width = image.Get<int64_t>("Width");
  s.height = image.Get<int64_t>("Height");
  s.format = image.Get<int64_t>("ImageFormat");
  s.pixelSize = image.Get<int64_t>("PixelSize");
  s.bits = image.Get<int64_t>("BitsPerComponent");
  s.rowSize = image.Get<int64_t>("RowSize");
  s.channelCount = image.Get<int64_t>("ChannelCount");
  s.mapping = image.Get<bool>("IsMapping");
  s.isGray = image.Get<bool>("IsGray");
  s.isRGB = image.Get<bool>("IsRGB");
  s.isCMYK = image.Get<bool>("IsCMYK");
  s.hasAlpha = image.Get<bool>("HasAlpha");
  s.gray = image.Get<int64_t>("GrayOffset");
  s.red = image.Get<int64_t>("RedOffset");
  s.green = image.Get<int64_t>("GreenOffset");
  s.blue = image.Get<int64_t>("BlueOffset");
  s.alpha = image.Get<int64_t>("AlphaOffset");
  s.cyan = image.Get<int64_t>("CyanOffset");
  s.magenta = image.Get<int64_t>("MagentaOffset");
  s.yellow = image.Get<int64_t>("YellowOffset");
  s.black = image.Get<int64_t>("BlackOffset");
  return s;
}

Constants::Constants(const host::Host& host) {
  const host::ClassInfo* info = host.FindClass("PictureXQT");
  if (!info || !info->definition) return;
  const REALclassDefinition* definition = info->definition;
  for (size_t i = 0; i < definition->constantCount; ++i) {
    const REALconstant& constant = definition->constants[i];
    if (!constant.declaration) continue;
    // A whole declaration, "Name [as Type] = value".
    std::string_view text = constant.declaration;
    const size_t equals = text.find('=');
    int64_t value = 0;
    if (equals != std::string_view::npos) {
      std::string_view number = text.substr(equals + 1);
      while (!number.empty() && number.front() == ' ') number.remove_prefix(1);
      std::from_chars(number.data(), number.data() + number.size(), value);
      text = text.substr(0, equals);
    }
    const size_t end = text.find_first_of(" \t");
    all_.emplace_back(std::string(text.substr(0, end)), value);
  }
}

std::vector<std::pair<std::string, int64_t>> Constants::WithPrefix(std::string_view prefix) const {
  std::vector<std::pair<std::string, int64_t>> found;
  for (const auto& [name, value] : all_) {
    if (name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0) {
      found.emplace_back(name.substr(prefix.size()), value);
    }
  }
  return found;
}

std::optional<int64_t> Constants::Find(std::string_view prefix, std::string_view text) const {
  const auto named = WithPrefix(prefix);
  for (const auto& [name, value] : named) {
    if (SameText(name, text) || SameText(std::string(prefix) + name, text)) return value;
  }
  int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) {
    for (const auto& [name, value] : named) {
      if (value == number) return value;
    }
  }
  return std::nullopt;
}

std::string Constants::NameOf(std::string_view prefix, int64_t value) const {
  for (const auto& [name, v] : WithPrefix(prefix)) {
    if (v == value) return name;
  }
  return std::to_string(value);
}

std::string Constants::List(std::string_view prefix) const {
  std::string list;
  for (const auto& [name, value] : WithPrefix(prefix)) {
    if (!list.empty()) list += ", ";
    list += name;
  }
  return list;
}

int64_t FormatForLayout(const Constants& constants, Layout layout) {
  const char* name = "RGB";
  switch (layout) {
    case Layout::Gray:
      name = "G";
      break;
    case Layout::GrayAlpha:
      name = "GA";
      break;
    case Layout::Gray16:
      name = "Gray16";
      break;
    case Layout::RGB:
      name = "RGB";
      break;
    case Layout::RGBA:
      name = "RGBA";
      break;
    case Layout::CMYK:
      name = "CMYK";
      break;
  }
  auto code = constants.Find("ImageFormat", name);
  if (!code) throw ToolError(std::string("the plug-in has no format ImageFormat") + name);
  return *code;
}

Layout OutputLayout(const PictureShape& shape, FileKind kind, const std::string& path) {
  if (kind == FileKind::PNG) {
    if (shape.isGray && shape.bits == 16) return Layout::Gray16;
    if (shape.isGray) return shape.hasAlpha ? Layout::GrayAlpha : Layout::Gray;
    if (shape.isRGB || shape.isCMYK) return shape.hasAlpha ? Layout::RGBA : Layout::RGB;
  } else {
    if (shape.isGray) return Layout::Gray;
    if (shape.isRGB) return Layout::RGB;
    if (shape.isCMYK) return Layout::CMYK;
  }
  throw ToolError(path + ": image format " + std::to_string(shape.format) +
                  " has no gray, RGB or CMYK channels to write");
}

void UnpackRow(const PictureShape& s, Layout layout, const uint8_t* in, uint8_t* row,
               int64_t width) {
  const int64_t n = s.pixelSize;
  for (int64_t x = 0; x < width; ++x, row += n) {
    switch (layout) {
      case Layout::Gray:
        row[s.gray] = *in++;
        break;
      case Layout::GrayAlpha:
        row[s.gray] = in[0];
        row[s.alpha] = in[1];
        in += 2;
        break;
      case Layout::Gray16:
        Store16(row + s.gray, Load16(in));
        in += 2;
        break;
      case Layout::RGB:
        row[s.red] = in[0];
        row[s.green] = in[1];
        row[s.blue] = in[2];
        in += 3;
        break;
      case Layout::RGBA:
        row[s.red] = in[0];
        row[s.green] = in[1];
        row[s.blue] = in[2];
        row[s.alpha] = in[3];
        in += 4;
        break;
      case Layout::CMYK:
        row[s.cyan] = in[0];
        row[s.magenta] = in[1];
        row[s.yellow] = in[2];
        row[s.black] = in[3];
        in += 4;
        break;
    }
  }
}

void PackRow(const PictureShape& s, Layout layout, const uint8_t* row, uint8_t* out,
             int64_t width) {
  const int64_t n = s.pixelSize;
  const bool wide = s.bits == 16;
  for (int64_t x = 0; x < width; ++x, row += n) {
    switch (layout) {
      case Layout::Gray:
        // A 16-bit sample keeps its high byte.
        *out++ = wide ? static_cast<uint8_t>(Load16(row + s.gray) >> 8) : row[s.gray];
        break;
      case Layout::GrayAlpha:
        out[0] = row[s.gray];
        out[1] = row[s.alpha];
        out += 2;
        break;
      case Layout::Gray16:
        Store16(out, Load16(row + s.gray));
        out += 2;
        break;
      case Layout::RGB:
      case Layout::RGBA:
        if (s.isCMYK) {
          const uint8_t k = row[s.black];
          out[0] = InkToLight(row[s.cyan], k);
          out[1] = InkToLight(row[s.magenta], k);
          out[2] = InkToLight(row[s.yellow], k);
        } else {
          out[0] = row[s.red];
          out[1] = row[s.green];
          out[2] = row[s.blue];
        }
        if (layout == Layout::RGBA) {
          out[3] = row[s.alpha];
          out += 4;
        } else {
          out += 3;
        }
        break;
      case Layout::CMYK:
        out[0] = row[s.cyan];
        out[1] = row[s.magenta];
        out[2] = row[s.yellow];
        out[3] = row[s.black];
        out += 4;
        break;
    }
  }
}

uint8_t* RowOf(const host::Ref& image, int64_t y) {
  auto* row = static_cast<uint8_t*>(image.Call<void*>("RawRowPtr", y));
  if (!row) throw ToolError("the plug-in gave no address for row " + std::to_string(y));
  return row;
}

}  // namespace xqt::tool
