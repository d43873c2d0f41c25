// The hardware SKU and the hardware management (iLO) credential.
#include <cstring>
#include <string>
#include <utility>

#include "config_store/functions.h"
#include "module/call_frame.h"
#include "module/py_ref.h"
#include "module/secret_text.h"
#include "platform/config_store.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltConfigStore;

PyObject* PyGetHardwareSku() {
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

PyObject* PySetIloAuth(const char* first, const char* second) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        std::string firstCopy(first, std::strlen(first));
        const SecretText secretFirst(firstCopy);
        std::string secondCopy(second, std::strlen(second));
        const SecretText secretSecond(secondCopy);
        if (!QueltConfigStore().SetIloAuth(firstCopy, secondCopy)) {
          throw QueltCtlException("Failed to set iLO credential.");
        }
      },
      [] { return NewNone(); });
}

namespace {

/// Converts `text` and stores it in `tuple` at `index`. False with an error set; for a text that is
/// not UTF-8 that is the interpreter's decoding error.
bool SetText(PyObject* tuple, Py_ssize_t index, const std::string& text) {
  PyObject* const item = PyUnicode_FromString(text.c_str());
  if (item == nullptr) {
    return false;
  }
  if (PyTuple_SetItem(tuple, index, item) != 0) {
    Raise(PyExc_RuntimeError, "PyTuple_SetItem failed!");
    return false;
  }
  return true;
}

/// A tuple of two str. The second text is converted even if the first fails; the first error is
/// raised.
PyObject* NewTextPair(const std::pair<std::string, std::string>& texts) {
  PyRef tuple(PyTuple_New(2));
  if (!tuple) {
    return Raise(PyExc_RuntimeError, "PyTuple_New failed!");
  }
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  const bool firstSet = SetText(tuple.get(), 0, texts.first);
  PyErr_Fetch(&type, &value, &traceback);  // no error may be pending during the conversion
  const bool secondSet = SetText(tuple.get(), 1, texts.second);
  if (!firstSet) {
    PyErr_Restore(type, value, traceback);
  }
  return firstSet && secondSet ? tuple.release() : nullptr;
}

}  // namespace

PyObject* PyGetIloAuth() {
  std::pair<std::string, std::string> credential;
  const SecretText secretFirst(credential.first);
  const SecretText secretSecond(credential.second);
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().GetIloAuth(credential)) {
          throw QueltCtlException("Failed to get iLO credential");
        }
      },
      [&] { return NewTextPair(credential); });
}

}  // namespace pyquelt
