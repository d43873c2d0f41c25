// An owned Python reference, for `build` lambdas only: its destructor needs the GIL.
#pragma once

#include <utility>

#include "module/interpreter.h"

namespace pyquelt {

/// Owns one reference, or none. The constructor steals a new reference; the destructor releases it.
/// Never alive while the GIL is released.
class PyRef {
 public:
  PyRef() = default;
  explicit PyRef(PyObject* stolen) : object_(stolen) {}
  PyRef(PyRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  PyRef& operator=(PyRef&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~PyRef() { Py_XDECREF(object_); }

  /// Borrowed.
  PyObject* get() const { return object_; }
  /// Transfers ownership to the caller.
  PyObject* release() { return std::exchange(object_, nullptr); }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  PyObject* object_ = nullptr;
};

}  // namespace pyquelt
