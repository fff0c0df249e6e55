// Raising host exceptions.
//
// A raised exception reaches the application when control returns to the host, so the caller
// returns right after raising, with its failure value.
#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include "plugin/host_interface.h"

// Raises an instance of `className` (falling back to "RuntimeException") with `message`.
void RaiseException(const char* className, const char* message);

// Raises OutOfBoundsException for `value` outside 0 ... count - 1, with the standard text:
// "The parameter index to method ChannelOffset is too big. Range is 0 to 2, but value is 3."
void RaiseOutOfBoundsException(int64_t value, int64_t count, const char* parameterName,
                               const char* functionName);

// Turns the exception being handled into a host exception. Call only inside a catch block.
void RaiseHostExceptionForCurrent();

// Runs `body` so that no C++ exception escapes into the host: whatever it throws becomes a host
// exception and the result is `failure`.
template <class R, class F>
R GuardStandardExceptions(R failure, F&& body) {
  try {
    return std::forward<F>(body)();
  } catch (...) {
    RaiseHostExceptionForCurrent();
    return failure;
  }
}
