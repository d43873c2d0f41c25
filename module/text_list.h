// Reads the texts of a Python list.
#pragma once

#include <string>
#include <vector>

#include "module/interpreter.h"

namespace pyquelt {

/// Appends the UTF-8 text of each item that `list` has at the call, in order, including NUL
/// characters. False with an error set when an item is not a str or has a lone surrogate. GIL held;
/// throws std::bad_alloc.
bool AppendTexts(PyObject* list, std::vector<std::string>& texts);

}  // namespace pyquelt
