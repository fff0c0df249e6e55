// Declarations of members as the plug-in writes them, and the host's type names.
#include <cctype>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/host_internal.h"

namespace xqt::host {
namespace {

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

// `word` at the start of `text`, followed by whitespace or the end.
bool StartsWithWord(std::string_view text, std::string_view word) {
  return text.size() >= word.size() && SameName(text.substr(0, word.size()), word) &&
         (text.size() == word.size() || IsSpace(text[word.size()]));
}

[[noreturn]] void Malformed(std::string_view text, const char* why) {
  throw std::invalid_argument("malformed declaration \"" + std::string(text) + "\": " + why);
}

// Position of the first `wanted` outside quotes and brackets, or npos.
size_t FindTopLevel(std::string_view text, char wanted, size_t from = 0) {
  int depth = 0;
  bool quoted = false;
  for (size_t i = from; i < text.size(); ++i) {
    char c = text[i];
    if (c == '"') {
      quoted = !quoted;
    } else if (quoted) {
      continue;
    } else if (c == wanted && depth == 0) {
      return i;
    } else if (c == '(') {
      ++depth;
    } else if (c == ')') {
      --depth;
    }
  }
  return std::string_view::npos;
}

// Position of the word " as " (any case, any whitespace around it), or npos.
size_t FindAs(std::string_view text) {
  for (size_t i = 1; i + 2 <= text.size(); ++i) {
    if (IsSpace(text[i - 1]) && SameName(text.substr(i, 2), "as") &&
        (i + 2 == text.size() || IsSpace(text[i + 2]))) {
      return i;
    }
  }
  return std::string_view::npos;
}

Declaration::Param ParseParam(std::string_view whole, std::string_view text) {
  text = Trim(text);
  for (std::string_view prefix : {"byval", "optional"}) {
    if (StartsWithWord(text, prefix)) text = Trim(text.substr(prefix.size()));
  }
  size_t as = FindAs(text);
  if (as == std::string_view::npos) Malformed(whole, "a parameter without \"as\"");
  Declaration::Param param;
  param.name = Trim(text.substr(0, as));
  std::string_view type = text.substr(as + 2);
  size_t equals = FindTopLevel(type, '=');
  if (equals != std::string_view::npos) {
    param.defaultValue = Trim(type.substr(equals + 1));
    if (param.defaultValue.empty()) Malformed(whole, "an empty default value");
    type = type.substr(0, equals);
  }
  param.type = Trim(type);
  // "values() as integer" is an array parameter: the parentheses belong to the type.
  if (param.name.size() > 2 && param.name.compare(param.name.size() - 2, 2, "()") == 0) {
    param.name.resize(param.name.size() - 2);
    param.type += "()";
  }
  if (param.name.empty() || param.type.empty())
    Malformed(whole, "a parameter without name or type");
  return param;
}

}  // namespace

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

std::string Squeeze(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (!IsSpace(c)) out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

Declaration Declaration::Parse(std::string_view text) {
  std::string_view t = Trim(text);
  Declaration d;
  size_t end = 0;
  while (end < t.size() && t[end] != '(' && !IsSpace(t[end])) ++end;
  d.name = t.substr(0, end);
  if (d.name.empty()) Malformed(text, "no name");
  for (char c : d.name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '.') {
      Malformed(text, "a name with a character other than letters, digits, '_' and '.'");
    }
  }
  std::string_view rest = Trim(t.substr(end));
  if (!rest.empty() && rest.front() == '(') {
    size_t close = FindTopLevel(rest.substr(1), ')');
    if (close == std::string_view::npos) Malformed(text, "no closing parenthesis");
    std::string_view inner = rest.substr(1, close);
    if (!Trim(inner).empty()) {
      size_t start = 0;
      for (;;) {
        size_t comma = FindTopLevel(inner, ',', start);
        d.params.push_back(ParseParam(text, inner.substr(start, comma - start)));
        if (comma == std::string_view::npos) break;
        start = comma + 1;
      }
    }
    rest = Trim(rest.substr(close + 2));
  }
  if (!rest.empty()) {
    if (!StartsWithWord(rest, "as")) Malformed(text, "text after the parameters other than \"as\"");
    d.returnType = Trim(rest.substr(2));
    if (d.returnType.empty()) Malformed(text, "\"as\" without a type");
  }
  return d;
}

TypeRef ClassifyType(std::string_view type) {
  std::string_view t = Trim(type);
  TypeRef ref;
  if (t.empty()) return ref;
  for (char c : t) {
    if (IsSpace(c)) {  // ByRef, ParamArray and the like change how the value is passed
      ref.kind = Kind::Unsupported;
      return ref;
    }
  }
  std::string s = Lower(t);
  if (s == "integer" || s == "int64") {
    ref.kind = Kind::Integer;
  } else if (s == "int32") {
    ref.kind = Kind::Int32;
  } else if (s == "boolean") {
    ref.kind = Kind::Boolean;
  } else if (s == "double") {
    ref.kind = Kind::Double;
  } else if (s == "color") {
    ref.kind = Kind::Color;
  } else if (s == "string") {
    ref.kind = Kind::String;
  } else if (s == "ptr") {
    ref.kind = Kind::Ptr;
  } else if (s == "string()") {
    ref.kind = Kind::StringArray;
    ref.className = "String()";
  } else if (s == "single" || s == "currency" || s == "int8" || s == "int16" || s == "uint8" ||
             s == "uint16" || s == "uint32" || s == "uint64" || s == "uinteger" || s == "byte" ||
             s == "short" || s == "text" || s == "variant" || s == "cstring" || s == "wstring" ||
             s == "pstring" || s == "cgfloat") {
    ref.kind = Kind::Unsupported;
  } else {
    ref.kind = Kind::Object;
    ref.className = t;
  }
  return ref;
}

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::None:
      return "nothing";
    case Kind::Integer:
      return "Integer";
    case Kind::Int32:
      return "Int32";
    case Kind::Boolean:
      return "Boolean";
    case Kind::Double:
      return "Double";
    case Kind::Color:
      return "Color";
    case Kind::String:
      return "String";
    case Kind::Ptr:
      return "Ptr";
    case Kind::Object:
      return "object";
    case Kind::StringArray:
      return "String()";
    case Kind::Unsupported:
      break;
  }
  return "unsupported";
}

}  // namespace xqt::host

namespace xqt::host {

std::string_view PropertyName(const REALproperty& property) {
  return property.name != nullptr ? std::string_view(property.name) : std::string_view();
}

bool IsHidden(const REALproperty& property) {
  if (property.attributes == nullptr) return false;
  for (size_t i = 0; i < property.attributeCount; ++i) {
    const char* name = property.attributes[i].mName;
    if (name != nullptr && SameName(name, "Hidden")) return true;
  }
  return false;
}

}  // namespace xqt::host
