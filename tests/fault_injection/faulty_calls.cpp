// Interpreter calls that fail on demand. The module's objects are linked with each call listed here
// replaced (--wrap), so that a test can make the n-th of them fail and see what the script gets.
//
// A new interpreter call in the module needs a row here, which the build reads, too; the test says
// so when it is missing.
#include <cstdarg>

#include "tests/fault_injection/faults.h"

namespace {

/// Whether this call is to fail; the interpreter's error is then set. No call may be made while one
/// is set already.
bool Fails(const char* call) {
  if (PyErr_Occurred() != nullptr) {
    Py_FatalError(call);
  }
  const bool fails = fault_injection::Fails(fault_injection::Kind::kCall, call);
  if (fails) {
    PyErr_NoMemory();
  }
  return fails;
}

}  // namespace

// Some headers rename a call by a macro: the wrapped symbol is what the module's objects refer to.
#define JOINED(first, second) first##second
#define WRAPPED(call) JOINED(__wrap_, call)
#define REAL(call) JOINED(__real_, call)

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists are no expressions
#define FAULTY(call, result, failure, parameters, arguments) \
  extern "C" result REAL(call) parameters;                   \
  extern "C" result WRAPPED(call) parameters {               \
    return Fails(#call) ? (failure) : REAL(call) arguments;  \
  }
#define FAULTY_OBJECT(call, parameters, arguments) \
  FAULTY(call, PyObject*, nullptr, parameters, arguments)
#define FAULTY_STATUS(call, parameters, arguments) FAULTY(call, int, -1, parameters, arguments)
// Takes over the reference to the item, also when it fails.
#define FAULTY_TAKER(call)                                                                \
  extern "C" int REAL(call)(PyObject * container, Py_ssize_t index, PyObject * item);     \
  extern "C" int WRAPPED(call)(PyObject * container, Py_ssize_t index, PyObject * item) { \
    if (Fails(#call)) {                                                                   \
      Py_XDECREF(item);                                                                   \
      return -1;                                                                          \
    }                                                                                     \
    return REAL(call)(container, index, item);                                            \
  }
// The call has an open list of arguments behind `last` and goes on to its closed form.
#define FAULTY_OPEN(call, result, failure, closed, parameters, last, ...) \
  extern "C" result WRAPPED(call) parameters {                            \
    if (Fails(#call)) {                                                   \
      return failure;                                                     \
    }                                                                     \
    va_list list;                                                         \
    va_start(list, last);                                                 \
    result const made = closed(__VA_ARGS__, list);                        \
    va_end(list);                                                         \
    return made;                                                          \
  }

// clang-format off
FAULTY_OBJECT(PyBool_FromLong, (long value), (value))
FAULTY_OBJECT(PyBytes_FromStringAndSize, (const char* bytes, Py_ssize_t size), (bytes, size))
FAULTY_OBJECT(PyDict_Copy, (PyObject* dict), (dict))
FAULTY_OBJECT(PyDict_GetItemWithError, (PyObject* dict, PyObject* key), (dict, key))
FAULTY_OBJECT(PyDict_New, (), ())
FAULTY_STATUS(PyDict_SetItem, (PyObject* dict, PyObject* key, PyObject* value), (dict, key, value))
FAULTY_STATUS(PyDict_SetItemString, (PyObject* dict, const char* key, PyObject* value),
              (dict, key, value))
FAULTY_STATUS(PyList_Append, (PyObject* list, PyObject* item), (list, item))
FAULTY_OBJECT(PyList_New, (Py_ssize_t size), (size))
FAULTY(PyLong_AsLong, long, -1, (PyObject* number), (number))
FAULTY(PyLong_AsLongAndOverflow, long, -1, (PyObject* number, int* overflow), (number, overflow))
FAULTY_OBJECT(PyLong_FromLong, (long value), (value))
FAULTY_OBJECT(PyLong_FromUnsignedLong, (unsigned long value), (value))
FAULTY_OBJECT(PyLong_FromUnsignedLongLong, (unsigned long long value), (value))
FAULTY_STATUS(PyModule_AddIntConstant, (PyObject* module, const char* name, long value),
              (module, name, value))
FAULTY_STATUS(PyModule_AddStringConstant, (PyObject* module, const char* name, const char* value),
              (module, name, value))
FAULTY_OBJECT(PyModule_Create2, (PyModuleDef* definition, int version), (definition, version))
FAULTY_OBJECT(PyNumber_ToBase, (PyObject* number, int base), (number, base))
FAULTY_OBJECT(PyObject_CallObject, (PyObject* callable, PyObject* args), (callable, args))
FAULTY_OBJECT(PyObject_GetAttr, (PyObject* object, PyObject* name), (object, name))
FAULTY_STATUS(PyObject_IsTrue, (PyObject* object), (object))
FAULTY_OBJECT(PyTuple_New, (Py_ssize_t size), (size))
FAULTY(PyUnicode_AsUTF8, const char*, nullptr, (PyObject* text), (text))
FAULTY(PyUnicode_AsUTF8AndSize, const char*, nullptr, (PyObject* text, Py_ssize_t* size),
       (text, size))
FAULTY_OBJECT(PyUnicode_DecodeUTF8, (const char* text, Py_ssize_t size, const char* errors),
              (text, size, errors))
FAULTY_OBJECT(PyUnicode_FromString, (const char* text), (text))
FAULTY_OBJECT(PyUnicode_FromStringAndSize, (const char* text, Py_ssize_t size), (text, size))
FAULTY_OBJECT(PyUnicode_InternFromString, (const char* text), (text))
FAULTY_TAKER(PyList_SetItem)
FAULTY_TAKER(PyTuple_SetItem)
FAULTY_OPEN(PyArg_ParseTuple, int, 0, PyArg_VaParse, (PyObject* args, const char* format, ...),
            format, args, format)
// The list of names has another constness on each version; the C symbol does not.
FAULTY_OPEN(PyArg_ParseTupleAndKeywords, int, 0, PyArg_VaParseTupleAndKeywords,
            (PyObject* args, PyObject* keywords, const char* format, char** names, ...),
            names, args, keywords, format, names)
FAULTY_OPEN(Py_BuildValue, PyObject*, nullptr, Py_VaBuildValue, (const char* format, ...),
            format, format)
FAULTY_OPEN(PyUnicode_FromFormat, PyObject*, nullptr, PyUnicode_FromFormatV,
            (const char* format, ...), format, format)
// clang-format on
// NOLINTEND(bugprone-macro-parentheses)
