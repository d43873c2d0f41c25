// The text of an exception that the host library threw. Touches no Python object: it may be used
// with or without the GIL.
#pragma once

#include <exception>

namespace pyquelt {

/// The text of `failure`; "" when its what() returns null. Valid as long as the exception.
inline const char* TextOf(const std::exception& failure) {
  const char* const text = failure.what();
  return text == nullptr ? "" : text;
}

}  // namespace pyquelt
