// The types of positional parameters, and how an argument becomes one. GIL held.
//
// Each Argument<T> has
// - kUnit: the unit of T in the format of PyArg_ParseTuple,
// - Outputs: the variables that the parser fills,
// - IsValid: whether the parsed value fits T,
// - Accept: converts an object of exactly the usual type, without the parser and without running
//   other code. False, and no error, for any other object,
// - Value: the value, valid as long as the object and until Release.
#pragma once

#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>
#include <tuple>

#include "module/interpreter.h"

namespace pyquelt {

/// A parameter of a function: the bytes of a bytes-like object, valid during the call.
struct ByteView {
  const unsigned char* data = nullptr;
  Py_ssize_t size = 0;
};

/// A parameter: the bytes of an immutable bytes-like object or the UTF-8 text of a str.
struct KeyView {
  const char* data = nullptr;
  int size = 0;
};

/// A parameter: a list, borrowed.
struct ListObject {
  PyObject* list = nullptr;
};

/// The UTF-8 text of an object whose type is exactly str, and its size in bytes; borrowed. Null,
/// without an error, for another object and for a str that can't be encoded.
inline const char* ExactUtf8(PyObject* object, Py_ssize_t& size) {
  if (!PyUnicode_CheckExact(object)) {
    return nullptr;
  }
  if (PyUnicode_IS_COMPACT_ASCII(object)) {
    size = PyUnicode_GET_LENGTH(object);
    return static_cast<const char*>(PyUnicode_DATA(object));
  }
  const char* const text = PyUnicode_AsUTF8AndSize(object, &size);
  if (text == nullptr) {
    PyErr_Clear();
  }
  return text;
}

/// The conversion of one argument to a parameter of type T. Owns nothing but the parser's views,
/// which Release releases.
template <typename T>
class Argument;

/// A str without NUL.
template <>
class Argument<const char*> {
 public:
  static constexpr std::string_view kUnit = "s";
  auto Outputs() { return std::tuple(&text_); }
  bool IsValid() const { return true; }
  bool Accept(PyObject* object) {
    Py_ssize_t size = 0;
    text_ = ExactUtf8(object, size);
    return text_ != nullptr && std::strlen(text_) == static_cast<std::size_t>(size);
  }
  const char* Value() const { return text_; }
  void Release() {}

 private:
  const char* text_ = nullptr;
};

/// An int of 32 bits.
template <>
class Argument<int> {
 public:
  static constexpr std::string_view kUnit = "i";
  auto Outputs() { return std::tuple(&number_); }
  bool IsValid() const { return true; }
  bool Accept(PyObject* object) {
    if (!PyLong_CheckExact(object)) {
      return false;
    }
    int overflow = 0;
    const long number = PyLong_AsLongAndOverflow(object, &overflow);
    if (number == -1 && PyErr_Occurred() != nullptr) {
      PyErr_Clear();
      return false;
    }
    number_ = static_cast<int>(number);
    return overflow == 0 && number_ == number;
  }
  int Value() const { return number_; }
  void Release() {}

 private:
  int number_ = 0;
};

/// An int, taken modulo 2^64.
template <>
class Argument<unsigned long long> {
 public:
  static constexpr std::string_view kUnit = "K";
  auto Outputs() { return std::tuple(&number_); }
  bool IsValid() const { return true; }
  bool Accept(PyObject* object) {
    if (!PyLong_CheckExact(object)) {
      return false;
    }
    number_ = PyLong_AsUnsignedLongLongMask(object);
    return true;
  }
  unsigned long long Value() const { return number_; }
  void Release() {}

 private:
  unsigned long long number_ = 0;
};

/// Usually bytes.
template <>
class Argument<ByteView> {
 public:
  static constexpr std::string_view kUnit = "y*";
  auto Outputs() { return std::tuple(&view_); }
  bool IsValid() const { return true; }
  bool Accept(PyObject* object) {
    if (!PyBytes_CheckExact(object)) {
      return false;
    }
    view_.buf = PyBytes_AS_STRING(object);
    view_.len = PyBytes_GET_SIZE(object);
    return true;
  }
  ByteView Value() const { return {static_cast<const unsigned char*>(view_.buf), view_.len}; }
  void Release() { PyBuffer_Release(&view_); }  // does nothing for a view without an object

 private:
  Py_buffer view_{};
};

/// Usually bytes or a str.
template <>
class Argument<KeyView> {
 public:
  static constexpr std::string_view kUnit = "s#";
  auto Outputs() { return std::tuple(&data_, &size_); }
  bool IsValid() const { return size_ <= std::numeric_limits<int>::max(); }
  bool Accept(PyObject* object) {
    if (PyBytes_CheckExact(object)) {
      data_ = PyBytes_AS_STRING(object);
      size_ = PyBytes_GET_SIZE(object);
    } else {
      data_ = ExactUtf8(object, size_);
    }
    return data_ != nullptr && IsValid();
  }
  KeyView Value() const { return {data_, static_cast<int>(size_)}; }
  void Release() {}

 private:
  const char* data_ = nullptr;
  Py_ssize_t size_ = 0;
};

template <>
class Argument<ListObject> {
 public:
  static constexpr std::string_view kUnit = "O!";
  auto Outputs() { return std::tuple(&PyList_Type, &list_); }
  bool IsValid() const { return true; }
  bool Accept(PyObject* object) {
    list_ = object;
    return PyList_CheckExact(object);
  }
  ListObject Value() const { return {list_}; }
  void Release() {}

 private:
  PyObject* list_ = nullptr;
};

}  // namespace pyquelt
