#include "module/call_frame.h"

#include <cstring>
#include <new>

#include "module/exception_text.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Raises `type` with the str `stolenMessage`. If that is null, the MemoryError of its creation
/// stays set. (PyErr_Format of older interpreters raises `type` with an empty message then.)
PyObject* RaiseMessage(PyObject* type, PyObject* stolenMessage) {
  if (stolenMessage != nullptr) {
    PyErr_SetObject(type, stolenMessage);
    Py_DECREF(stolenMessage);
  }
  return nullptr;
}

}  // namespace

PyObject* Raise(PyObject* type, const char* text) {
  PyErr_Clear();
  return RaiseMessage(
      type, PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
}

PyObject* Raise(PyObject* type, const char* prefix, const char* text) {
  PyErr_Clear();
  return RaiseMessage(type, PyUnicode_FromFormat("%s%s", prefix, text));
}

namespace {

PyObject* RaiseCaught(const FailureRule& rule, const std::exception& failure) {
  return Raise(rule.type, rule.prefix + TextOf(failure));
}

}  // namespace

PyObject* RaiseAsStated(const std::exception_ptr& failure, const FailureRule& rule) {
  if (failure == nullptr) {
    return Raise(PyExc_RuntimeError, "Unknown platform exception");
  }
  try {
    std::rethrow_exception(failure);
  } catch (const QueltCtlException& thrown) {
    if (rule.catches != FailureRule::Catches::kNothing) {
      return RaiseCaught(rule, thrown);
    }
    return Raise(PyExc_RuntimeError, TextOf(thrown));
  } catch (const std::exception& thrown) {
    if (rule.catches == FailureRule::Catches::kStdException) {
      return RaiseCaught(rule, thrown);
    }
    if (dynamic_cast<const std::bad_alloc*>(&thrown) != nullptr) {
      return PyErr_NoMemory();
    }
    return Raise(PyExc_RuntimeError, TextOf(thrown));
  } catch (...) {
    return Raise(PyExc_RuntimeError, "Unknown platform exception");
  }
}

}  // namespace pyquelt
