#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "host/host_internal.h"

namespace xqt::host {

const char* const kPluginFileName = "libImages.so";

void* LoadPrivateCopy(const std::string& path, std::string& why) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes;
  if (in) bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (!in || in.bad()) {
    why = "cannot read plug-in " + path;
    return nullptr;
  }
  const char* tmp = std::getenv("TMPDIR");
  std::string copy = std::string(tmp && *tmp ? tmp : "/tmp") + "/xqt-plugin-XXXXXX";
  int fd = mkstemp(copy.data());
  if (fd < 0) {
    why = "cannot create a temporary copy of " + path;
    return nullptr;
  }
  size_t written = 0;
  while (written < bytes.size()) {
    ssize_t n = write(fd, bytes.data() + written, bytes.size() - written);
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
  close(fd);
  void* library = nullptr;
  if (written != bytes.size()) {
    why = "cannot write a temporary copy of " + path;
  } else {
    library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    const char* error = library ? nullptr : dlerror();
    if (!library) why = "cannot load " + path + ": " + (error ? error : "unknown error");
  }
  unlink(copy.c_str());
  return library;
}

void* LibraryFunction(void* library, const char* name) { return dlsym(library, name); }

void UnloadLibrary(void* library) { dlclose(library); }

std::string ExecutableDirectory() {
  std::string exe(4096, '\0');
  ssize_t n = readlink("/proc/self/exe", exe.data(), exe.size() - 1);
  if (n <= 0) return "";
  exe.resize(static_cast<size_t>(n));
  size_t slash = exe.rfind('/');
  return slash == std::string::npos ? std::string("./") : exe.substr(0, slash + 1);
}

}  // namespace xqt::host
