#include <windows.h>

#include <string>

#include "host/host_internal.h"

namespace xqt::host {

const char* const kPluginFileName = "Images.dll";

// Windows loads a module once per path, so the copy gets a name of its own. The module is pinned:
// unloading it would run the worker pool's destructor under the loader lock, which its threads
// need in order to finish.
void* LoadPrivateCopy(const std::string& path, std::string& why) {
  wchar_t folder[MAX_PATH + 1];
  wchar_t copy[MAX_PATH + 1];
  DWORD length = GetTempPathW(MAX_PATH + 1, folder);
  if (length == 0 || length > MAX_PATH || GetTempFileNameW(folder, L"xqt", 0, copy) == 0) {
    why = "cannot create a temporary copy of " + path;
    return nullptr;
  }
  std::wstring source(path.begin(), path.end());
  if (!CopyFileW(source.c_str(), copy, FALSE)) {
    DeleteFileW(copy);
    why = "cannot read plug-in " + path;
    return nullptr;
  }
  HMODULE library = LoadLibraryExW(copy, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!library) {
    DeleteFileW(copy);
    why = "cannot load " + path + ": error " + std::to_string(GetLastError());
    return nullptr;
  }
  HMODULE pinned = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(library), &pinned);
  // A loaded module cannot be deleted; the copy goes when the process ends.
  MoveFileExW(copy, nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  return library;
}

void* LibraryFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void UnloadLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

std::string ExecutableDirectory() {
  char exe[MAX_PATH + 1];
  DWORD length = GetModuleFileNameA(nullptr, exe, MAX_PATH + 1);
  if (length == 0 || length > MAX_PATH) return "";
  std::string path(exe, length);
  size_t slash = path.find_last_of("\\/");
  return slash == std::string::npos ? std::string(".\\") : path.substr(0, slash + 1);
}

}  // namespace xqt::host
