// Marks for the instruction counter. Links no host library: loading one is among what is counted.
#include "bench/native/extension.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else  // not counting
#define CALLGRIND_START_INSTRUMENTATION
#define CALLGRIND_STOP_INSTRUMENTATION
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

namespace {

/// From here on instructions are counted, from zero.
PyObject* Start(PyObject*, PyObject*) {
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  Py_RETURN_NONE;
}

/// Writes what was counted under this name.
PyObject* Stop(PyObject*, PyObject* name) {
  const char* const text = PyUnicode_AsUTF8(name);
  if (text == nullptr) {
    return nullptr;
  }
  CALLGRIND_DUMP_STATS_AT(text);
  CALLGRIND_STOP_INSTRUMENTATION;
  Py_RETURN_NONE;
}

PyMethodDef kMethods[] = {
    {"start", Start, METH_NOARGS, nullptr},
    {"stop", Stop, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr},
};
PyModuleDef kModule = extension::Define("counter", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_counter() {
  return PyModule_Create(&kModule);
}
