// An extension without functions, linked with the libraries that the module and the embedded host
// need: the minimum cost of an import.
#include <Python.h>

namespace {
PyModuleDef kModule = {
    PyModuleDef_HEAD_INIT, "empty", nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr};
}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_empty() {
  return PyModule_Create(&kModule);
}
