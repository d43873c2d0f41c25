// The hardware SKU and the hardware management (iLO) credential.
#include <string>
#include <utility>

#include "config_store/functions.h"
#include "module/call_frame.h"
#include "module/py_ref.h"
#include "module/secret_area.h"
#include "platform/config_store.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltConfigStore;

PyObject* PyGetHardwareSku(PyObject*, PyObject*) {
  std::string sku;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().GetHardwareSku(sku)) {
          throw QueltCtlException("Failed to get hardware sku from config store");
        }
      },
      [&] { return PyUnicode_FromString(sku.c_str()); });
}

PyObject* PySetIloAuth(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second)) {
    return Raise(PyExc_RuntimeError, "Failed to extract parameters");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        const SecretText firstCopy(first);
        const SecretText secondCopy(second);
        if (!QueltConfigStore().SetIloAuth(firstCopy.text, secondCopy.text)) {
          throw QueltCtlException("Failed to set iLO credential.");
        }
      },
      [] { return NewNone(); });
}

namespace {

/// A tuple of two str. A text that is not UTF-8 leaves the interpreter's decoding error.
PyObject* NewTextPair(const std::pair<std::string, std::string>& texts) {
  PyRef tuple(PyTuple_New(2));
  if (!tuple) {
    return Raise(PyExc_RuntimeError, "PyTuple_New failed!");
  }
  PyObject* const first = PyUnicode_FromString(texts.first.c_str());
  if (first == nullptr) {
    return nullptr;
  }
  const int firstStatus = PyTuple_SetItem(tuple.get(), 0, first);
  if (firstStatus != 0) {
    PyErr_Clear();  // reported below: the second text is converted in any case
  }
  PyObject* const second = PyUnicode_FromString(texts.second.c_str());
  if (second == nullptr) {
    return nullptr;
  }
  const int secondStatus = PyTuple_SetItem(tuple.get(), 1, second);
  if (firstStatus != 0 || secondStatus != 0) {
    return Raise(PyExc_RuntimeError, "PyTuple_SetItem failed!");
  }
  return tuple.release();
}

}  // namespace

PyObject* PyGetIloAuth(PyObject*, PyObject*) {
  SecretTextPair credential;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().GetIloAuth(credential.texts)) {
          throw QueltCtlException("Failed to get iLO credential");
        }
      },
      [&] { return NewTextPair(credential.texts); });
}

}  // namespace pyquelt
