// Interpreter calls that fail on demand. The module's objects are linked with each call listed here
// replaced (--wrap), so that a test can make the n-th of them fail and see what the script gets.
//
// A new interpreter call in the module needs a row here and its name in CMakeLists.txt; the test
// says so when it is missing.
#include <cstdarg>

#include "tests/fault_sweep/faults.h"

namespace {

/// Whether this call is to fail; the interpreter's error is then set.
bool Fails(const char* call) {
  const bool fails = fault_sweep::Fails(fault_sweep::Kind::kCall, call);
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
#define FAULTY(result, failure, call, parameters, arguments) \
  extern "C" result REAL(call) parameters;                   \
  extern "C" result WRAPPED(call) parameters {               \
    return Fails(#call) ? (failure) : REAL(call) arguments;  \
  }
#define FAULTY_OBJECT(call, parameters, arguments) \
  FAULTY(PyObject*, nullptr, call, parameters, arguments)
#define FAULTY_STATUS(call, parameters, arguments) FAULTY(int, -1, call, parameters, arguments)

// clang-format off
FAULTY_OBJECT(PyBool_FromLong, (long value), (value))
FAULTY_OBJECT(PyBytes_FromStringAndSize, (const char* bytes, Py_ssize_t size), (bytes, size))
FAULTY_OBJECT(PyDict_GetItemWithError, (PyObject* dict, PyObject* key), (dict, key))
FAULTY_OBJECT(PyDict_New, (), ())
FAULTY_STATUS(PyDict_SetItem, (PyObject* dict, PyObject* key, PyObject* value), (dict, key, value))
FAULTY_STATUS(PyDict_SetItemString, (PyObject* dict, const char* key, PyObject* value),
              (dict, key, value))
FAULTY_STATUS(PyList_Append, (PyObject* list, PyObject* item), (list, item))
FAULTY_OBJECT(PyList_New, (Py_ssize_t size), (size))
FAULTY(long, -1, PyLong_AsLongAndOverflow, (PyObject* number, int* overflow), (number, overflow))
FAULTY_OBJECT(PyLong_FromLong, (long value), (value))
FAULTY_OBJECT(PyLong_FromUnsignedLong, (unsigned long value), (value))
FAULTY_OBJECT(PyLong_FromUnsignedLongLong, (unsigned long long value), (value))
FAULTY_OBJECT(PyModule_Create2, (PyModuleDef* definition, int version), (definition, version))
FAULTY_STATUS(PyModule_AddIntConstant, (PyObject* module, const char* name, long value),
              (module, name, value))
FAULTY_STATUS(PyModule_AddStringConstant, (PyObject* module, const char* name, const char* value),
              (module, name, value))
FAULTY_OBJECT(PyNumber_ToBase, (PyObject* number, int base), (number, base))
FAULTY_STATUS(PyObject_IsTrue, (PyObject* object), (object))
FAULTY_OBJECT(PyTuple_New, (Py_ssize_t size), (size))
FAULTY_OBJECT(PyUnicode_DecodeUTF8, (const char* text, Py_ssize_t size, const char* errors),
              (text, size, errors))
FAULTY_OBJECT(PyUnicode_FromString, (const char* text), (text))
FAULTY_OBJECT(PyUnicode_FromStringAndSize, (const char* text, Py_ssize_t size), (text, size))
FAULTY_OBJECT(PyUnicode_InternFromString, (const char* text), (text))
FAULTY(const char*, nullptr, PyUnicode_AsUTF8, (PyObject* text), (text))
FAULTY(const char*, nullptr, PyUnicode_AsUTF8AndSize, (PyObject* text, Py_ssize_t* size),
       (text, size))
// clang-format on

// These take over the reference to the item, also when they fail.
#define FAULTY_TAKER(call)                                                                \
  extern "C" int REAL(call)(PyObject * container, Py_ssize_t index, PyObject * item);     \
  extern "C" int WRAPPED(call)(PyObject * container, Py_ssize_t index, PyObject * item) { \
    if (Fails(#call)) {                                                                   \
      Py_XDECREF(item);                                                                   \
      return -1;                                                                          \
    }                                                                                     \
    return REAL(call)(container, index, item);                                            \
  }
FAULTY_TAKER(PyList_SetItem)
FAULTY_TAKER(PyTuple_SetItem)
// NOLINTEND(bugprone-macro-parentheses)

// Calls with an open argument list go on to their closed form.

extern "C" int WRAPPED(PyArg_ParseTuple)(PyObject* args, const char* format, ...) {
  if (Fails("PyArg_ParseTuple")) {
    return 0;
  }
  va_list outputs;
  va_start(outputs, format);
  const int parsed = PyArg_VaParse(args, format, outputs);
  va_end(outputs);
  return parsed;
}

// The list of names has another constness on each version; the C symbol does not.
extern "C" int WRAPPED(PyArg_ParseTupleAndKeywords)(PyObject* args, PyObject* keywords,
                                                    const char* format, char** names, ...) {
  if (Fails("PyArg_ParseTupleAndKeywords")) {
    return 0;
  }
  va_list outputs;
  va_start(outputs, names);
  const int parsed = PyArg_VaParseTupleAndKeywords(args, keywords, format, names, outputs);
  va_end(outputs);
  return parsed;
}

extern "C" PyObject* WRAPPED(Py_BuildValue)(const char* format, ...) {
  if (Fails("Py_BuildValue")) {
    return nullptr;
  }
  va_list values;
  va_start(values, format);
  PyObject* const object = Py_VaBuildValue(format, values);
  va_end(values);
  return object;
}

extern "C" PyObject* WRAPPED(PyUnicode_FromFormat)(const char* format, ...) {
  if (Fails("PyUnicode_FromFormat")) {
    return nullptr;
  }
  va_list values;
  va_start(values, format);
  PyObject* const text = PyUnicode_FromFormatV(format, values);
  va_end(values);
  return text;
}
