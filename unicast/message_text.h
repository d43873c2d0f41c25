// How messages write values.
#pragma once

#include <string>

#include "module/interpreter.h"

namespace pyquelt {

inline const char* FlagText(bool flag) { return flag ? "1" : "0"; }

/// Writes the int `number` (or one of a subclass, whatever its own conversions say) in decimal.
/// False with a Python exception set when there is no memory. Lock held.
bool DecimalText(PyObject* number, std::string& text);

}  // namespace pyquelt
