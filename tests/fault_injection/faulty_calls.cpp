// Interpreter calls that fail on demand. The module's objects are linked with each call listed here
// replaced (--wrap), so that a test can make the n-th call fail.
//
// A new interpreter call in the module needs a row here, which the build also reads; a test fails
// when it is missing.
#include <cstdarg>

#include "tests/fault_injection/faults.h"

namespace {

/// Whether this call fails; sets the interpreter's error then. The module must make no call while
/// an error is set.
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

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists are not expressions
#define FAULTY(call, result, failure, parameters, arguments) \
  extern "C" result REAL(call) parameters;                   \
  extern "C" result WRAPPED(call) parameters {               \
    return Fails(#call) ? (failure) : REAL(call) arguments;  \
  }
#define FAULTY_OBJECT(call, parameters, arguments) \
  FAULTY(call, PyObject*, nullptr, parameters, arguments)
#define FAULTY_STATUS(call, parameters, arguments) FAULTY(call, int, -1, parameters, arguments)
// Steals the reference to the item, also on failure.
#define FAULTY_STEALING(call)              \
  FAULTY(call, int, (Py_DecRef(item), -1), \
         (PyObject * container, Py_ssize_t index, PyObject * item), (container, index, item))
// The call has variable arguments after `last` and forwards to its va_list form.
#define FAULTY_VARIADIC(call, result, failure, forward, parameters, last, ...) \
  extern "C" result WRAPPED(call) parameters {                                 \
    if (Fails(#call)) {                                                        \
      return failure;                                                          \
    }                                                                          \
    va_list list;                                                              \
    va_start(list, last);                                                      \
    result const made = forward(__VA_ARGS__, list);                            \
    va_end(list);                                                              \
    return made;                                                               \
  }

// clang-format off
FAULTY_OBJECT(PyBool_FromLong, (long value), (value))
FAULTY_OBJECT(PyBytes_FromStringAndSize, (const char* bytes, Py_ssize_t size), (bytes, size))
FAULTY_OBJECT(PyDict_Copy, (PyObject* dict), (dict))
#if PY_VERSION_HEX >= 0x030D0000
FAULTY_STATUS(PyDict_GetItemRef, (PyObject* dict, PyObject* key, PyObject** found),
              (dict, key, found))
#endif
FAULTY_OBJECT(PyDict_GetItemWithError, (PyObject* dict, PyObject* key), (dict, key))
FAULTY_OBJECT(PyDict_New, (), ())
FAULTY_STATUS(PyDict_SetItem, (PyObject* dict, PyObject* key, PyObject* value), (dict, key, value))
FAULTY_STATUS(PyDict_SetItemString, (PyObject* dict, const char* key, PyObject* value),
              (dict, key, value))
FAULTY_STATUS(PyList_Append, (PyObject* list, PyObject* item), (list, item))
FAULTY_OBJECT(PyList_AsTuple, (PyObject* list), (list))
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
FAULTY_STEALING(PyTuple_SetItem)
FAULTY_VARIADIC(PyArg_ParseTuple, int, 0, PyArg_VaParse, (PyObject* args, const char* format, ...),
            format, args, format)
// The constness of `names` differs between versions; the C symbol is the same.
FAULTY_VARIADIC(PyArg_ParseTupleAndKeywords, int, 0, PyArg_VaParseTupleAndKeywords,
            (PyObject* args, PyObject* keywords, const char* format, char** names, ...),
            names, args, keywords, format, names)
FAULTY_VARIADIC(Py_BuildValue, PyObject*, nullptr, Py_VaBuildValue, (const char* format, ...),
            format, format)
FAULTY_VARIADIC(PyUnicode_FromFormat, PyObject*, nullptr, PyUnicode_FromFormatV,
            (const char* format, ...), format, format)
// clang-format on
// NOLINTEND(bugprone-macro-parentheses)
