// The two entries through which the interpreter calls a function without keywords. GIL held.
//
// A function states its arguments once, as its C++ parameters:
//
//   PyObject* PyCheckKmsStatus(const char* kmipClusterId, const char* keyId, int timeout);
//
// Both entries are derived from these parameters:
//
// - The tuple entry parses the argument tuple with PyArg_ParseTuple, here with the format "ssi",
//   and raises the function's exception if that fails. It works on every version.
// - The array entry saves the tuple and the parsing. From CPython 3.8 on, registration.cpp sets it
//   beside the tuple entry. It accepts objects of exactly the usual types
//   (module/positional_arguments.h). Any other call (another number of arguments, a keyword, a
//   subclass, another kind of buffer) goes on to the tuple entry, so that results, exceptions and
//   their texts do not depend on the entry.
//
// A function without parameters ignores positional arguments.
//
// The array is the caller's, and not every caller owns its items for the whole call: those of
// functools.partial can be replaced by another thread while the GIL is released. Therefore the
// array entry holds a reference to each item. These references are plain values, released by plain
// calls: a destructor may run without the GIL (see call_frame.h).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "module/call_frame.h"
#include "module/fixed_text.h"
#include "module/interpreter.h"
#include "module/positional_arguments.h"

namespace pyquelt {

/// The parser's format for these parameters.
template <typename... T>
constexpr auto kFormat = [] {
  std::array<char, (Argument<T>::kUnit.size() + ... + 1)> format{};
  char* end = format.data();
  ((end = std::copy(Argument<T>::kUnit.begin(), Argument<T>::kUnit.end(), end)), ...);
  return format;
}();

/// Calls the tuple entry of `function` with the arguments of an array: a new reference, or null
/// with an error set.
PyObject* CallTupleEntry(PyObject* function, PyObject* const* args, std::size_t count,
                         PyObject* names);

/// The entries of a function, for example Entries<&PyCheckKmsStatus>. Both return a new reference,
/// or null with an error set.
template <auto kFunction>
class Entries;

template <typename... T, PyObject* (*kFunction)(T...)>
class Entries<kFunction> {
 public:
  /// The tuple entry. When the arguments can't be parsed, it raises `*kError` with `kMessage`; a
  /// function without parameters needs neither.
  template <PyObject** kError = nullptr, FixedText kMessage = "">
  static PyObject* CallWithTuple(PyObject*, PyObject* args) {
    if constexpr (kCount == 0) {
      return kFunction();
    } else {
      Arguments arguments;
      const bool parsed = Parse(args, arguments);
      PyObject* const result = parsed ? CallFunction(arguments) : nullptr;
      std::apply([](auto&... each) { (each.Release(), ...); }, arguments);
      return parsed ? result : Raise(*kError, kMessage.text);
    }
  }

  /// The array entry.
  static PyObject* CallWithArray(PyObject* function, PyObject* const* args, std::size_t count,
                                 PyObject* names) {
    if (names != nullptr) {
      return CallTupleEntry(function, args, count, names);
    }
    if constexpr (kCount == 0) {
      return kFunction();
    } else {
      Arguments arguments;
      if (ArgumentCount(count) != kCount || !Accept(args, arguments, kPlaces)) {
        return CallTupleEntry(function, args, count, names);
      }
      std::array<PyObject*, kCount> held;
      std::copy_n(args, kCount, held.begin());
      for (PyObject* const object : held) {
        Py_INCREF(object);
      }
      PyObject* const result = CallFunction(arguments);
      for (PyObject* const object : held) {
        Py_DECREF(object);
      }
      return result;
    }
  }

 private:
  static constexpr std::size_t kCount = sizeof...(T);
  static constexpr auto kPlaces = std::index_sequence_for<T...>();

  using Arguments = std::tuple<Argument<T>...>;
  static_assert((std::is_trivially_destructible_v<Argument<T>> && ...));

  static bool Parse(PyObject* args, Arguments& arguments) {
    const auto outputs =
        std::apply([](auto&... each) { return std::tuple_cat(each.Outputs()...); }, arguments);
    return std::apply(
               [&](auto*... output) {
                 return PyArg_ParseTuple(args, kFormat<T...>.data(), output...);
               },
               outputs) != 0 &&
           std::apply([](auto&... each) { return (each.IsValid() && ...); }, arguments);
  }

  template <std::size_t... kPlace>
  static bool Accept(PyObject* const* args, Arguments& arguments, std::index_sequence<kPlace...>) {
    return (std::get<kPlace>(arguments).Accept(args[kPlace]) && ...);
  }

  static PyObject* CallFunction(const Arguments& arguments) {
    return std::apply([](auto&... each) { return kFunction(each.Value()...); }, arguments);
  }
};

}  // namespace pyquelt
