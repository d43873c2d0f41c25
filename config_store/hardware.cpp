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

/// Converts `text` and stores it in `tuple`. False with an error set: for a text that is not UTF-8,
/// the interpreter's own.
bool SetText(PyObject* tuple, Py_ssize_t place, const std::string& text) {
  PyObject* const item = PyUnicode_FromString(text.c_str());
  if (item == nullptr) {
    return false;
  }
  if (PyTuple_SetItem(tuple, place, item) != 0) {
    Raise(PyExc_RuntimeError, "PyTuple_SetItem failed!");
    return false;
  }
  return true;
}

/// A tuple of two str. Both are converted and stored in any case; the first error is raised.
PyObject* NewTextPair(const std::pair<std::string, std::string>& texts) {
  PyRef tuple(PyTuple_New(2));
  if (!tuple) {
    return Raise(PyExc_RuntimeError, "PyTuple_New failed!");
  }
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  const bool firstSet = SetText(tuple.get(), 0, texts.first);
  PyErr_Fetch(&type, &value, &traceback);  // so that the second text is converted without an error
  const bool secondSet = SetText(tuple.get(), 1, texts.second);
  if (!firstSet) {
    PyErr_Restore(type, value, traceback);
  }
  return firstSet && secondSet ? tuple.release() : nullptr;
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
