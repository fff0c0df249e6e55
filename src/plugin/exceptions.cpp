#include "plugin/exceptions.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "plugin/debug_log.h"
#include "plugin/host_api.h"
#include "plugin/host_strings.h"

void RaiseException(const char* className, const char* message) {
  REALstring text =
      message ? REALBuildUnicodeString(message, static_cast<int64_t>(std::strlen(message)),
                                       kREALEncodingUTF8)
              : nullptr;
  auto newInstance = hostapi::PluginNewInstance.get();
  REALobject exception = newInstance ? newInstance(className) : nullptr;
  if (!exception && newInstance) exception = newInstance("RuntimeException");
  if (!exception) {
    UnlockString(text);
    return;
  }
  if (auto setString = hostapi::REALSetPropValueString.get()) setString(exception, "Message", text);
  if (auto setInteger = hostapi::REALSetPropValueInteger.get()) {
    setInteger(exception, "ErrorNumber", 0);
  }
  if (auto raise = hostapi::RuntimeRaiseException.get()) raise(exception);
  UnlockObject(exception);
  UnlockString(text);
}

void RaiseOutOfBoundsException(int64_t value, int64_t count, const char* parameterName,
                               const char* functionName) {
  if (!parameterName) parameterName = "?";
  if (!functionName) functionName = "";
  long long size = static_cast<long long>(std::strlen(parameterName)) +
                   static_cast<long long>(std::strlen(functionName)) + 200;
  std::unique_ptr<char, decltype(&std::free)> buffer(
      size > 0 ? static_cast<char*>(std::malloc(static_cast<size_t>(size))) : nullptr, &std::free);
  if (!buffer) {
    RaiseException("OutOfBoundsException", "Out of Bounds");
    return;
  }
  std::snprintf(buffer.get(), static_cast<size_t>(size),
                "The parameter %s %s%s is too %s. Range is %lld to %lld, but value is %lld.",
                parameterName, functionName[0] ? "to method " : "", functionName,
                value < 0 ? "small" : "big", 0LL,
                count > INT64_MIN ? static_cast<long long>(count - 1) : LLONG_MIN,
                static_cast<long long>(value));
  RaiseException("OutOfBoundsException", buffer.get());
}

namespace {

// Formats on the stack: the exception being handled may be an allocation failure.
void RaiseWithPrefix(const char* className, const char* prefix, const char* what) {
  char message[1024];
  if (what && what[0]) {
    std::snprintf(message, sizeof(message), "%s: %s", prefix, what);
  } else {
    std::snprintf(message, sizeof(message), "%s", prefix);
  }
  RaiseException(className, message);
}

}  // namespace

void RaiseHostExceptionForCurrent() {
  try {
    throw;
  } catch (const std::bad_alloc& e) {
    RaiseWithPrefix("OutOfMemoryException", "Failed to allocate memory", e.what());
  } catch (const std::range_error& e) {
    RaiseWithPrefix("OutOfBoundsException", "C++ reports range error", e.what());
  } catch (const std::out_of_range& e) {
    RaiseException("OutOfBoundsException", e.what());
  } catch (const std::overflow_error& e) {
    RaiseWithPrefix("OutOfBoundsException", "C++ reports overflow error", e.what());
  } catch (const std::underflow_error& e) {
    RaiseWithPrefix("OutOfBoundsException", "C++ reports underflow error", e.what());
  } catch (const std::exception& e) {
    RaiseWithPrefix("RuntimeException", "C++ Exception", e.what());
  } catch (...) {
    DebugLog("Unnamed C++ Exception.");
    RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.");
  }
}
