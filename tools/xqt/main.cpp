// xqt: the plug-in at work outside an IDE. It loads the real libImages.so through the emulated
// host, exactly as an application would, and runs the plug-in's members.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "host/emulated_host.h"

namespace {

int Usage(FILE* out) {
  std::fprintf(out,
               "usage: xqt <command> [options]\n"
               "\n"
               "commands:\n"
               "  classes   list the classes the plug-in registers, with their member counts\n"
               "  demo      show the plug-in at work\n"
               "\n"
               "options:\n"
               "  --plugin PATH   the plug-in to load (default: libImages.so beside xqt)\n");
  return out == stdout ? 0 : 2;
}

void PrintClasses(const xqt::host::Host& host) {
  for (const xqt::host::ClassInfo* info : host.PluginClasses()) {
    const REALclassDefinition* definition = info->definition;
    if (!definition) continue;
    std::printf("%s\n", info->name.c_str());
    std::printf("  properties         %u\n", definition->propertyCount);
    std::printf("  methods            %u\n", definition->methodCount);
    std::printf("  constants          %u\n", definition->constantCount);
    std::printf("  events             %u\n", definition->eventCount);
    std::printf("  shared properties  %u\n", definition->sharedPropertyCount);
    std::printf("  shared methods     %u\n", definition->sharedMethodCount);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string command;
  std::string pluginPath;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--plugin") == 0 && i + 1 < argc) {
      pluginPath = argv[++i];
    } else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      return Usage(stdout);
    } else if (command.empty()) {
      command = argv[i];
    } else {
      std::fprintf(stderr, "xqt: unexpected argument '%s'\n", argv[i]);
      return 2;
    }
  }
  if (command != "classes" && command != "demo") return Usage(stderr);

  try {
    xqt::host::Host host;
    host.Load(pluginPath.empty() ? xqt::host::Host::DefaultPluginPath() : pluginPath);
    if (command == "demo") {
      std::printf("Loaded the plug-in through the emulated host (control version %d).\n\n",
                  host.RegisteredPluginVersion());
    }
    PrintClasses(host);
    if (host.LiveObjects() != 0) {
      std::fprintf(stderr, "xqt: host objects left alive:\n%s", host.LiveReport().c_str());
      return 1;
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "xqt: %s\n", e.what());
    return 1;
  }
  return 0;
}
