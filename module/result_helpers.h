// The conversions that the module exports, and the setting of one item for native code. GIL held.
// Functions of the module fill their results with ResultDict (module/result_dict.h).
#pragma once

#include <string>

#include "module/interpreter.h"

/// Converts a native value: const char* (NUL-terminated UTF-8, never null) to str, bool to bool,
/// long to int. `dict` and `key` are ignored. Returns a new reference, or null with an error set.
/// Native callers rely on these names.
template <typename T>
PyObject* _PyObject_FromValue(PyObject* dict, const char* key, T value);

template <>
__attribute__((visibility("default"))) PyObject* _PyObject_FromValue<const char*>(
    PyObject* dict, const char* key, const char* value);
template <>
__attribute__((visibility("default"))) PyObject* _PyObject_FromValue<bool>(PyObject* dict,
                                                                           const char* key,
                                                                           bool value);
template <>
__attribute__((visibility("default"))) PyObject* _PyObject_FromValue<long>(PyObject* dict,
                                                                           const char* key,
                                                                           long value);

namespace pyquelt {

// PySetDictValue's failure texts; the key follows.
inline constexpr char kValueNotConverted[] = "Failed to allocate python object ";
inline constexpr char kValueNotInserted[] = "Failed to set python object ";

/// Converts `value` and sets it under `key`. On false, `error` is replaced by the failure text, the
/// dictionary is unchanged and still the caller's, and an interpreter error may be pending.
template <typename T>
bool PySetDictValue(PyObject* dict, const char* key, T value, std::string& error);

extern template bool PySetDictValue<const char*>(PyObject*, const char*, const char*, std::string&);
extern template bool PySetDictValue<bool>(PyObject*, const char*, bool, std::string&);
extern template bool PySetDictValue<long>(PyObject*, const char*, long, std::string&);

}  // namespace pyquelt
