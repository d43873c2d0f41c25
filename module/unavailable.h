// What a module function answers that is registered but not built yet.
#pragma once

#include <string>

#include "module/call_frame.h"

namespace pyquelt {

inline PyObject* RaiseUnavailable(const char* function) {
  return Raise(PyExc_RuntimeError, std::string(function) + " is not available yet");
}

}  // namespace pyquelt
