// Writes the help page of the package: every class the plug-in registers, with every member's
// declaration as the host reads it from the class tables, and its one-line description from
// descriptions.txt beside this file. A member without a description is an error, so the page
// cannot fall behind the tables.
//
//   make_reference DESCRIPTIONS OUTPUT [PLUGIN]
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "common/html.h"
#include "host/emulated_host.h"

namespace {

// "Class.Member<TAB>text" lines (a class's own line is keyed by its name); '#' starts a comment.
// In a key, '*' stands for any run of characters; of the patterns a member matches, the longest
// describes it.
std::map<std::string, std::string> ReadDescriptions(const char* path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error(std::string("cannot read ") + path);
  std::map<std::string, std::string> descriptions;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (line.empty() || line[0] == '#') continue;
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || tab == 0 || tab + 1 == line.size()) {
      throw std::runtime_error(std::string(path) + ":" + std::to_string(number) +
                               ": expected KEY<TAB>DESCRIPTION");
    }
    descriptions[line.substr(0, tab)] = line.substr(tab + 1);
  }
  return descriptions;
}

// Whether `text` matches `pattern`, in which '*' stands for any run of characters.
bool Matches(std::string_view pattern, std::string_view text) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*') {
    for (size_t skip = 0; skip <= text.size(); ++skip) {
      if (Matches(pattern.substr(1), text.substr(skip))) return true;
    }
    return false;
  }
  return !text.empty() && pattern[0] == text[0] && Matches(pattern.substr(1), text.substr(1));
}

// The name a declaration starts with: "Scale(...) as Boolean" gives "Scale".
std::string NameOf(const std::string& declaration) {
  size_t end = declaration.find_first_of("( =");
  return declaration.substr(0, end);
}

struct Member {
  std::string declaration;
  std::string description;
};

struct Section {
  const char* title;
  std::vector<Member> members;
};

class Reference {
 public:
  explicit Reference(std::map<std::string, std::string> descriptions)
      : descriptions_(std::move(descriptions)) {}

  Member Describe(const std::string& className, const std::string& declaration) {
    return {declaration, Find(className + "." + NameOf(declaration))};
  }

  // The text of `key`: its own line, or that of the longest pattern it matches.
  std::string Find(const std::string& key) {
    auto found = descriptions_.find(key);
    if (found != descriptions_.end()) return found->second;
    std::string best;
    size_t bestLength = 0;
    for (const auto& [pattern, text] : descriptions_) {
      if (pattern.find('*') == std::string::npos || !Matches(pattern, key)) continue;
      if (pattern.size() > bestLength) {
        best = text;
        bestLength = pattern.size();
      }
    }
    if (best.empty()) missing_.push_back(key);
    return best;
  }

  const std::vector<std::string>& Missing() const { return missing_; }

 private:
  std::map<std::string, std::string> descriptions_;
  std::vector<std::string> missing_;
};

std::string PropertyDeclaration(const REALproperty& property) {
  return std::string(property.name) + " As " + (property.type ? property.type : "");
}

void WriteClass(std::ostream& out, const std::string& name, const std::string& summary,
                const std::vector<Section>& sections) {
  out << "<h2 id=\"" << HtmlEscape(name) << "\">" << HtmlEscape(name) << "</h2>\n";
  out << "<p>" << HtmlEscape(summary) << "</p>\n";
  for (const Section& section : sections) {
    if (section.members.empty()) continue;
    out << "<h3>" << section.title << "</h3>\n<table>\n";
    for (const Member& member : section.members) {
      out << "<tr><td><code>" << HtmlEscape(member.declaration) << "</code></td><td>"
          << HtmlEscape(member.description) << "</td></tr>\n";
    }
    out << "</table>\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "usage: make_reference DESCRIPTIONS OUTPUT [PLUGIN]\n");
    return 2;
  }
  try {
    Reference reference(ReadDescriptions(argv[1]));
    xqt::host::Host host;
    host.Load(argc == 4 ? std::string(argv[3]) : xqt::host::Host::DefaultPluginPath());
    std::string body, contents;
    for (const xqt::host::ClassInfo* info : host.PluginClasses()) {
      const REALclassDefinition* d = info->definition;
      if (!d) continue;
      const std::string& name = info->name;
      std::vector<Section> sections = {{"Properties", {}}, {"Shared properties", {}},
                                       {"Methods", {}},    {"Shared methods", {}},
                                       {"Events", {}},     {"Constants", {}}};
      for (size_t i = 0; i < d->propertyCount; ++i) {
        sections[0].members.push_back(
            reference.Describe(name, PropertyDeclaration(d->properties[i])));
      }
      for (size_t i = 0; i < d->sharedPropertyCount; ++i) {
        sections[1].members.push_back(
            reference.Describe(name, PropertyDeclaration(d->sharedProperties[i])));
      }
      for (size_t i = 0; i < d->methodCount; ++i) {
        sections[2].members.push_back(reference.Describe(name, d->methods[i].declaration));
      }
      for (size_t i = 0; i < d->sharedMethodCount; ++i) {
        sections[3].members.push_back(reference.Describe(name, d->sharedMethods[i].declaration));
      }
      for (size_t i = 0; i < d->eventCount; ++i) {
        sections[4].members.push_back(reference.Describe(name, d->events[i].declaration));
      }
      for (size_t i = 0; i < d->constantCount; ++i) {
        sections[5].members.push_back(reference.Describe(name, d->constants[i].declaration));
      }
      const std::string summary = reference.Find(name);
      std::ostringstream section;
      WriteClass(section, name, summary, sections);
      body += section.str();
      contents += "<li><a href=\"#" + HtmlEscape(name) + "\">" + HtmlEscape(name) + "</a></li>\n";
    }
    if (!reference.Missing().empty()) {
      std::fprintf(stderr, "%s: no description for:\n", argv[1]);
      for (const std::string& key : reference.Missing())
        std::fprintf(stderr, "  %s\n", key.c_str());
      return 1;
    }
    std::ofstream out(argv[2]);
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<title>Images: class reference</title>\n<style>\n"
        << "body { font-family: sans-serif; margin: 2em; max-width: 70em; }\n"
        << "table { border-collapse: collapse; width: 100%; }\n"
        << "td { border-top: 1px solid #ddd; padding: 0.3em 0.6em; vertical-align: top; }\n"
        << "td:first-child { width: 55%; }\ncode { font-size: 0.9em; }\n"
        << "</style>\n</head>\n<body>\n<h1>Images: class reference</h1>\n<ul>\n"
        << contents << "</ul>\n"
        << body << "</body>\n</html>\n";
    out.close();
    if (!out) throw std::runtime_error(std::string("cannot write ") + argv[2]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_reference: %s\n", e.what());
    return 1;
  }
  return 0;
}
