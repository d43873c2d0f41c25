// Texts out of a Python list, for functions that take one.
#pragma once

#include <string>
#include <vector>

#include "module/interpreter.h"

namespace pyquelt {

/// Appends the UTF-8 text of each item of `list`, whole and in order. False with an error set when
/// an item has none: it is no str, or it holds a lone surrogate. Lock held; may throw
/// std::bad_alloc.
bool AppendTexts(PyObject* list, std::vector<std::string>& texts);

}  // namespace pyquelt
