// Helpers that fill result dictionaries with uniform failure texts. Lock held.
#pragma once

#include <string>

#include "module/interpreter.h"
#include "module/py_ref.h"

/// Converts a native value: const char* (NUL-terminated UTF-8, never null) to str, bool to bool,
/// long to int. `dict` and `key` are ignored. Returns a new reference, or null with an error set.
/// Exported for native callers under these very names.
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

/// Converts `value` and sets it under `key`. On false `error` is replaced by the failure text and
/// the dictionary stays with its caller; an interpreter error may be pending.
template <typename T>
bool PySetDictValue(PyObject* dict, const char* key, T value, std::string& error);

extern template bool PySetDictValue<const char*>(PyObject*, const char*, const char*, std::string&);
extern template bool PySetDictValue<bool>(PyObject*, const char*, bool, std::string&);
extern template bool PySetDictValue<long>(PyObject*, const char*, long, std::string&);

/// A key that many dictionaries of one call share. Its object is made at the first use, so that an
/// empty result makes none. Owns the object; lives within one `build` lambda.
class DictKey {
 public:
  /// `text` is a field's name and outlives the key.
  explicit DictKey(const char* text) : text_(text) {}

  const char* text() const { return text_; }
  /// Borrowed; null with an error set when it cannot be made.
  PyObject* object() {
    if (!object_) {
      object_ = PyRef(PyUnicode_InternFromString(text_));
    }
    return object_.get();
  }

 private:
  const char* text_;
  PyRef object_;
};

/// The same with a shared key. A key that cannot be made is an item that cannot be set.
template <typename T>
bool PySetDictValue(PyObject* dict, DictKey& key, T value, std::string& error);

extern template bool PySetDictValue<const char*>(PyObject*, DictKey&, const char*, std::string&);
extern template bool PySetDictValue<bool>(PyObject*, DictKey&, bool, std::string&);
extern template bool PySetDictValue<long>(PyObject*, DictKey&, long, std::string&);

/// As PyDict_SetItemString, but under a key object of its own, given back with the dictionary. For
/// keys that are data: PyDict_SetItemString interns its key, and from CPython 3.12 on what is
/// interned stays for the life of the process.
int PySetDictItemOwnKey(PyObject* dict, const char* key, PyObject* value);

/// Sets `value` under `key`, a field's name; takes over the reference to `value`, which may be null
/// (a failed conversion). On false it has emptied `dict`, released the caller's reference to it and
/// raised RuntimeError: the caller returns null and never touches `dict` again.
bool PySetDictItem(PyObject* dict, const char* key, PyObject* value);

}  // namespace pyquelt
