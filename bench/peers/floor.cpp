// The cost of the calling convention: parses the argument tuple, releases and acquires the GIL, and
// creates a result of the required type, without a native operation. No function that uses this
// convention can be faster.
#include "bench/native/extension.h"

namespace {

void ReleaseAndAcquireGil() { PyEval_RestoreThread(PyEval_SaveThread()); }

PyObject* GetHardwareSku(PyObject*, PyObject*) {
  ReleaseAndAcquireGil();
  return PyUnicode_FromString("QS-2200-R");
}

PyObject* SetIloAuth(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second)) {
    return nullptr;
  }
  ReleaseAndAcquireGil();
  Py_RETURN_NONE;
}

/// Sets an item. Steals the reference `value`.
bool Set(PyObject* dict, const char* key, PyObject* value) {
  PyObject* const name = PyUnicode_FromString(key);
  const bool set = name != nullptr && value != nullptr && PyDict_SetItem(dict, name, value) == 0;
  Py_XDECREF(name);
  Py_XDECREF(value);
  return set;
}

PyObject* CheckKmsStatus(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  int number = 0;
  if (!PyArg_ParseTuple(args, "ssi", &first, &second, &number)) {
    return nullptr;
  }
  ReleaseAndAcquireGil();
  PyObject* const dict = PyDict_New();
  if (dict != nullptr && Set(dict, "good", PyBool_FromLong(0)) &&
      Set(dict, "reason", PyUnicode_FromString("kms1.example:5696: connection refused"))) {
    return dict;
  }
  Py_XDECREF(dict);
  return nullptr;
}

PyObject* Decrypt2kBlock(PyObject*, PyObject* args) {
  extension::BlockArguments given;
  if (!given.Parse(args)) {
    return nullptr;
  }
  ReleaseAndAcquireGil();
  return PyBytes_FromStringAndSize(static_cast<const char*>(given.block.buf), given.block.len);
}

PyMethodDef kMethods[] = {{"GetHardwareSku", GetHardwareSku, METH_VARARGS, nullptr},
                          {"SetIloAuth", SetIloAuth, METH_VARARGS, nullptr},
                          {"CheckKmsStatus", CheckKmsStatus, METH_VARARGS, nullptr},
                          {"Decrypt2kBlock", Decrypt2kBlock, METH_VARARGS, nullptr},
                          {nullptr, nullptr, 0, nullptr}};
PyModuleDef kModule = extension::Define("floor_peer", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_floor_peer() {
  return PyModule_Create(&kModule);
}
