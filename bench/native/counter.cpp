// Starts and stops callgrind's counting. Links no host library, because loading it is counted.
#include "bench/native/extension.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else  // without valgrind: no counting
#define CALLGRIND_START_INSTRUMENTATION
#define CALLGRIND_STOP_INSTRUMENTATION
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

namespace {

/// Starts counting instructions, from zero.
PyObject* Start(PyObject*, PyObject*) {
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  Py_RETURN_NONE;
}

/// Stops counting, and writes the count under the name `name`.
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
