// xqt: the plug-in at work outside an IDE. It loads the real libImages.so through the emulated
// host, exactly as an application would, and runs the plug-in's members on PNG and JPEG files.
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "commands.h"
#include "host/emulated_host.h"
#include "session.h"

namespace {

using xqt::tool::Args;
using xqt::tool::CommandSpec;
using xqt::tool::OptionSpec;
using xqt::tool::UsageError;

void PrintOptions(FILE* out, const std::vector<OptionSpec>& options) {
  for (const OptionSpec& o : options) {
    const std::string left = "--" + o.name + (o.value.empty() ? "" : " " + o.value);
    std::fprintf(out, "  %-22s %s\n", left.c_str(), o.help.c_str());
  }
}

void PrintUsage(FILE* out) {
  std::fprintf(out,
               "usage: xqt <command> [options]\n\n"
               "Runs the image plug-in libImages.so on PNG and JPEG files, through the emulated "
               "host.\n\ncommands:\n");
  for (const CommandSpec& c : xqt::tool::Commands()) {
    std::fprintf(out, "  %-14s %s\n", c.name.c_str(), c.summary.c_str());
  }
  std::fprintf(out, "\noptions of every command:\n");
  PrintOptions(out, xqt::tool::GlobalOptionSpecs());
  std::fprintf(out, "\n'xqt <command> --help' describes a command.\n");
}

void PrintHelp(const CommandSpec& c) {
  std::printf("usage: xqt %s %s\n\n%s\n", c.name.c_str(), c.synopsis.c_str(), c.summary.c_str());
  if (!c.details.empty()) std::printf("\n%s\n", c.details.c_str());
  if (!c.options.empty()) {
    std::printf("\noptions:\n");
    PrintOptions(stdout, c.options);
  }
  std::printf("\noptions of every command:\n");
  PrintOptions(stdout, xqt::tool::GlobalOptionSpecs());
}

const CommandSpec* FindCommand(const std::string& name) {
  for (const CommandSpec& c : xqt::tool::Commands()) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

const OptionSpec* FindOption(const std::vector<OptionSpec>& options, const std::string& name) {
  for (const OptionSpec& o : options) {
    if (o.name == name) return &o;
  }
  return nullptr;
}

// Splits the command line; global options may come before the command.
Args Parse(int argc, char** argv, const CommandSpec** command) {
  Args args;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const std::string token = argv[i];
    if (!optionsEnded && token == "--") {
      optionsEnded = true;
      continue;
    }
    if (!optionsEnded && token.size() > 2 && token.compare(0, 2, "--") == 0) {
      const size_t equals = token.find('=');
      const std::string name = token.substr(2, equals == std::string::npos ? equals : equals - 2);
      const OptionSpec* option = *command ? FindOption((*command)->options, name) : nullptr;
      if (!option) option = FindOption(xqt::tool::GlobalOptionSpecs(), name);
      if (!option) throw UsageError("unknown option --" + name);
      if (option->value.empty()) {
        if (equals != std::string::npos) throw UsageError("--" + name + " takes no value");
        args.flags.insert(name);
      } else if (equals != std::string::npos) {
        args.values[name] = token.substr(equals + 1);
      } else if (i + 1 < argc) {
        args.values[name] = argv[++i];
      } else {
        throw UsageError("--" + name + " needs a value " + option->value);
      }
    } else if (!*command) {
      *command = FindCommand(token);
      if (!*command) throw UsageError("unknown command '" + token + "'");
      args.command = token;
    } else {
      args.positional.push_back(token);
    }
  }
  return args;
}

xqt::tool::GlobalOptions GlobalsOf(const Args& args) {
  xqt::tool::GlobalOptions g;
  g.plugin = args.Value("plugin").value_or("");
  g.quiet = args.Has("quiet");
  g.debug = args.Has("debug");
  g.mapped = args.Has("mapped");
  if (auto q = args.Value("quality")) {
    const int64_t quality = xqt::tool::ParseInteger(*q, "--quality");
    if (quality < 1 || quality > 100) throw UsageError("--quality lies in 1 ... 100");
    g.write.jpegQuality = static_cast<int>(quality);
  }
  if (auto c = args.Value("compression")) {
    const int64_t level = xqt::tool::ParseInteger(*c, "--compression");
    if (level < 0 || level > 9) throw UsageError("--compression lies in 0 ... 9");
    g.write.pngCompression = static_cast<int>(level);
  }
  return g;
}

}  // namespace

int main(int argc, char** argv) {
  const CommandSpec* command = nullptr;
  Args args;
  try {
    args = Parse(argc, argv, &command);
  } catch (const UsageError& e) {
    std::fprintf(stderr, "xqt: %s\n", e.what());
    if (command) {
      std::fprintf(stderr, "try 'xqt %s --help'\n", command->name.c_str());
    } else {
      std::fprintf(stderr, "try 'xqt --help'\n");
    }
    return 2;
  }
  if (!command) {
    PrintUsage(args.Has("help") ? stdout : stderr);
    return args.Has("help") ? 0 : 2;
  }
  if (args.Has("help")) {
    PrintHelp(*command);
    return 0;
  }

  std::unique_ptr<xqt::tool::Session> session;
  try {
    if (args.positional.size() < command->minPositional ||
        args.positional.size() > command->maxPositional) {
      throw UsageError("wrong number of arguments: xqt " + command->name + " " + command->synopsis);
    }
    const xqt::tool::GlobalOptions globals = GlobalsOf(args);
    try {
      session = std::make_unique<xqt::tool::Session>(globals);
    } catch (const xqt::tool::ToolError&) {
      throw;
    } catch (const std::exception& e) {
      throw xqt::tool::ToolError(std::string("cannot load the plug-in: ") + e.what());
    }
    const int status = command->run(session.get(), args);
    if (session->host().LiveObjects() != 0) {
      std::fprintf(stderr, "xqt: host objects left alive:\n%s",
                   session->host().LiveReport().c_str());
      return 1;
    }
    return status;
  } catch (const UsageError& e) {
    std::fprintf(stderr, "xqt: %s: %s\ntry 'xqt %s --help'\n", command->name.c_str(), e.what(),
                 command->name.c_str());
    return 2;
  } catch (const xqt::tool::ToolError& e) {
    std::fprintf(stderr, "xqt: %s\n", e.what());
  } catch (const xqt::host::HostException& e) {
    std::fprintf(stderr, "xqt: %s: the plug-in raised %s: %s\n",
                 session ? session->stage().c_str() : command->name.c_str(), e.className().c_str(),
                 e.message().c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "xqt: %s: %s\n", session ? session->stage().c_str() : "", e.what());
  }
  return 1;
}
