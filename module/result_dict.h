// How every function fills a result dictionary. GIL held throughout; for `build` lambdas only.
//
//   ResultDict dict({"PyDict_New failed!", "PyDict_SetItemString failed!"});
//   dict.Set<"name">(name);
//   dict.Set<"port">(port);
//   return dict.Release();
//
// The first failure counts: after it, Set does nothing, and Release raises RuntimeError with the
// text that the function states for that failure.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "module/call_frame.h"
#include "module/field_key.h"
#include "module/fixed_text.h"
#include "module/interpreter.h"
#include "module/py_ref.h"

namespace pyquelt {

/// A function's texts for the failures of its result dictionary. All outlive the dictionary.
struct ResultTexts {
  const char* notCreated;                  ///< the dictionary itself
  const char* notInserted;                 ///< an item
  const char* notConverted = notInserted;  ///< the value of an item
  bool namesKey = false;                   ///< the key follows the texts for an item
};

// A new reference to the Python value, or null with an error set. Texts end at their first NUL.
inline PyObject* ToPython(const char* value) { return PyUnicode_FromString(value); }
inline PyObject* ToPython(const std::string& value) { return PyUnicode_FromString(value.c_str()); }
inline PyObject* ToPython(bool value) { return PyBool_FromLong(value ? 1 : 0); }
inline PyObject* ToPython(long value) { return PyLong_FromLong(value); }
inline PyObject* ToPython(std::int32_t value) { return PyLong_FromLong(value); }
inline PyObject* ToPython(unsigned long value) { return PyLong_FromUnsignedLongLong(value); }
inline PyObject* ToPython(const PyRef& value) {
  Py_INCREF(value.get());
  return value.get();
}

class ResultDict {
 public:
  /// Creates the dictionary.
  explicit ResultDict(const ResultTexts& texts) : ResultDict(texts, PyDict_New()) {}
  /// Fills `stolen`, or has failed when it is null.
  ResultDict(const ResultTexts& texts, PyObject* stolen) : texts_(texts), dict_(stolen) {
    if (!dict_) {
      failure_ = texts.notCreated;
    }
  }
  ResultDict(const ResultDict&) = delete;
  ResultDict& operator=(const ResultDict&) = delete;
  /// Empties and releases a dictionary that wasn't released to the caller.
  ~ResultDict() {
    if (dict_) {
      PyDict_Clear(dict_.get());
    }
  }

  /// Sets `value` under a field's name.
  template <FixedText kKey, typename T>
  void Set(const T& value) {
    SetItem(kKey.text, value, [&](PyObject* object) {
      PyObject* const key = FieldKey<kKey>::Get();
      return key == nullptr ? -1 : PyDict_SetItem(dict_.get(), key, object);
    });
  }
  /// Sets `value` under a name that comes from the host and is the same in many results. The name
  /// is interned.
  template <typename T>
  void SetInterned(const char* key, const T& value) {
    SetItem(key, value,
            [&](PyObject* object) { return PyDict_SetItemString(dict_.get(), key, object); });
  }
  /// Sets `value` under a key that is data, and not interned: from CPython 3.12 on, an interned str
  /// is never freed. `key` lives until Release.
  template <typename T>
  void SetUnderData(const char* key, const T& value) {
    SetItem(key, value, [&](PyObject* object) {
      const PyRef name(PyUnicode_FromString(key));
      return name ? PyDict_SetItem(dict_.get(), name.get(), object) : -1;
    });
  }

  /// Borrowed; null when it couldn't be created.
  PyObject* get() const { return dict_.get(); }
  bool failed() const { return failure_ != nullptr; }
  /// The text of the failure; only after one.
  std::string FailureText() const { return std::string(failure_) + failedKey_; }

  /// A new reference to the filled dictionary, or null with RuntimeError set.
  PyObject* Release() {
    if (failed()) {
      return Raise(PyExc_RuntimeError, failure_, failedKey_);
    }
    return dict_.release();
  }

 private:
  template <typename T, typename Insert>
  void SetItem(const char* key, const T& value, const Insert& insert) {
    if (failed()) {
      return;
    }
    const PyRef object(ToPython(value));
    if (!object || insert(object.get()) != 0) {
      failure_ = object ? texts_.notInserted : texts_.notConverted;
      failedKey_ = texts_.namesKey ? key : "";
    }
  }

  ResultTexts texts_;
  PyRef dict_;
  const char* failure_ = nullptr;
  const char* failedKey_ = "";
};

}  // namespace pyquelt
