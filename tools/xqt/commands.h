// The commands of xqt: their options, help texts and work.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "session.h"

namespace xqt::tool {

// A mistake in the command line; reported with a hint to --help and exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OptionSpec {
  std::string name;   // without the leading dashes
  std::string value;  // placeholder of the value, empty for a flag
  std::string help;
};

// A parsed command line.
struct Args {
  std::string command;
  std::vector<std::string> positional;
  std::map<std::string, std::string> values;
  std::set<std::string> flags;

  bool Has(const std::string& name) const { return values.count(name) || flags.count(name); }
  std::optional<std::string> Value(const std::string& name) const {
    auto it = values.find(name);
    if (it == values.end()) return std::nullopt;
    return it->second;
  }
};

struct CommandSpec {
  std::string name;
  std::string synopsis;  // after "xqt <name> "
  std::string summary;   // one line for the command list
  std::string details;   // shown by --help
  std::vector<OptionSpec> options;
  size_t minPositional = 0;
  size_t maxPositional = 0;
  std::function<int(Session*, const Args&)> run;
};

// Every command, in the order of the command list.
const std::vector<CommandSpec>& Commands();
// Options that every command accepts.
const std::vector<OptionSpec>& GlobalOptionSpecs();

// Value parsers; they throw UsageError naming the option.
int64_t ParseInteger(const std::string& text, const std::string& what);
double ParseNumber(const std::string& text, const std::string& what);
// "640x480", "640x" or "x480" (a missing side keeps the aspect ratio: returned as 0).
void ParseSize(const std::string& text, int64_t* width, int64_t* height);
// "x,y,w,h" or "x,y"; the count must match.
std::vector<int64_t> ParseIntegers(const std::string& text, size_t count, const std::string& what);
// "#rrggbb", "rrggbb" or a few names (black, white, gray, red, green, blue, yellow, cyan, magenta).
uint32_t ParseColor(const std::string& text, const std::string& what);
// A transfer curve: "x:y,x:y,..." (straight lines between the points, 0 ... 255 on both axes),
// or "identity", "invert", "contrast", "posterize<N>".
std::vector<int64_t> ParseCurve(const std::string& text, const std::string& what);

// A convolution kernel for ApplyMatrix: its entries row by row, top left first.
struct MatrixPreset {
  const char* name;
  std::vector<int64_t> entries;
  const char* about;
};
const std::vector<MatrixPreset>& MatrixPresets();
// The plug-in's largest kernel is 99 x 99.
inline constexpr size_t kMaxMatrixSide = 99;
// A preset name (sharpen, blur, gaussian, edge, emboss) or k x k integers separated by commas,
// k odd and at most kMaxMatrixSide, each of 32 bits.
std::vector<int64_t> ParseMatrix(const std::string& text, const std::string& what);

// The demo (demo.cpp).
int RunDemo(Session* session, const Args& args);

}  // namespace xqt::tool
