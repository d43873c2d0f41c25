#include "module/call_frame.h"

#include <cstring>
#include <new>

#include "module/exception_text.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Raises with `stolen`, or leaves the MemoryError of the message that could not be made. (Older
/// interpreters' PyErr_Format raises with an empty message then.)
PyObject* RaiseWith(PyObject* type, PyObject* stolen) {
  if (stolen != nullptr) {
    PyErr_SetObject(type, stolen);
    Py_DECREF(stolen);
  }
  return nullptr;
}

}  // namespace

PyObject* Raise(PyObject* type, const char* text) {
  PyErr_Clear();
  return RaiseWith(
      type, PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
}

PyObject* Raise(PyObject* type, const char* literal, const char* text) {
  PyErr_Clear();
  return RaiseWith(type, PyUnicode_FromFormat("%s%s", literal, text));
}

namespace {

PyObject* RaiseCaught(const FailureRule& rule, const std::exception& failure) {
  return Raise(rule.type, rule.prefix.Text() + TextOf(failure));
}

PyObject* RethrowAndRaise(const std::exception_ptr& failure, const FailureRule& rule) {
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

}  // namespace

PyObject* RaiseFailure(const std::exception_ptr& failure, const FailureRule& rule) {
  if (failure == nullptr) {
    return Raise(PyExc_RuntimeError, "Unknown platform exception");
  }
  try {
    return RethrowAndRaise(failure, rule);
  } catch (const std::exception&) {
    // Only composing the message can fail here, for want of memory.
    PyErr_Clear();
    return PyErr_NoMemory();
  }
}

}  // namespace pyquelt
