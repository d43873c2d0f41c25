// The arguments of a module function that takes keywords.
//
// The interpreter doesn't always own the dictionary of keyword arguments: up to CPython 3.8,
// `f(**d)` passes the caller's own, and PyObject_Call does on every version. Another thread, or a
// __bool__ that the parser calls, may then replace a value whose characters the call still reads.
// So the function parses a private copy of the dictionary, which is freed at the end of the call.
//
// While the GIL is released, the copy is a plain value. No destructor frees it: destructors run
// without the GIL when the interpreter ends a daemon thread (see call_frame.h).
#pragma once

#include <type_traits>

#include "module/interpreter.h"

namespace pyquelt {

/// The arguments of one call. Owns the copy of the keywords, which Free releases. GIL held.
class KeywordArguments {
 public:
  /// Both borrowed; `keywords` may be null.
  KeywordArguments(PyObject* args, PyObject* keywords) : args_(args), keywords_(keywords) {}

  /// Copies the keywords, then parses as PyArg_ParseTupleAndKeywords does. `outputs` are borrowed
  /// and valid until Free. False with an error set. Call it once.
  template <typename... Outputs>
  bool Parse(const char* format, const char* const* names, Outputs*... outputs) {
    if (keywords_ != nullptr && (copy_ = PyDict_Copy(keywords_)) == nullptr) {
      return false;
    }
    return PyArg_ParseTupleAndKeywords(args_, copy_, format, const_cast<char**>(names),
                                       outputs...) != 0;
  }

  void Free() { Py_CLEAR(copy_); }

 private:
  PyObject* args_;
  PyObject* keywords_;
  PyObject* copy_ = nullptr;
};

static_assert(std::is_trivially_destructible_v<KeywordArguments>);

/// Returns what `function` returns for the arguments: a new reference, or null with an error set.
/// Every function with keywords consists of this call.
inline PyObject* CallWithKeywords(PyObject* args, PyObject* keywords,
                                  PyObject* (*function)(KeywordArguments&)) {
  KeywordArguments arguments(args, keywords);
  PyObject* const result = function(arguments);
  arguments.Free();
  return result;
}

}  // namespace pyquelt
