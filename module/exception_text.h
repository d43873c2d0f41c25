// The text of an exception that the host library threw. Touches no Python object, so that it may be
// used with or without the GIL.
#pragma once

#include <exception>

namespace pyquelt {

/// What `failure` says; "" when its what() returns null. Valid as long as the exception.
inline const char* TextOf(const std::exception& failure) {
  const char* const text = failure.what();
  return text == nullptr ? "" : text;
}

}  // namespace pyquelt
