// Setting and clearing environment variables on every system (Windows has no setenv).
#pragma once

#include <cstdlib>
#include <string>

inline void SetEnvironment(const char* name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name, value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

inline void ClearEnvironment(const char* name) {
#if defined(_WIN32)
  _putenv_s(name, "");
#else
  unsetenv(name);
#endif
}
