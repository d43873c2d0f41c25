// The frame that every module function follows.
//
// A function parses its arguments with the GIL held and passes two lambdas to CallPlatform: `work`
// runs with the GIL released and touches C++ values only, `build` runs with the GIL held and
// creates the result. The frame releases the GIL, acquires it again on every path, and translates
// exceptions of either lambda into Python exceptions.
//
// No owned Python reference may exist when CallPlatform is entered: while the interpreter shuts
// down, it may end a daemon thread where the thread acquires the GIL, by unwinding its stack, and a
// destructor that releases a reference would then run without the GIL. What must exist before the
// release (a buffer view, a result container, the copy of the keyword arguments) is a plain value,
// released by plain calls: in `build` and in `discard`, or after CallPlatform.
#pragma once

#include <cxxabi.h>

#include <concepts>
#include <cstddef>
#include <exception>
#include <string>
#include <utility>

#include "module/interpreter.h"

namespace pyquelt {

/// Raises `type` with `text`, replacing a pending error. Bytes that are not UTF-8 are replaced, so
/// that the message is never lost. Returns null. GIL held.
PyObject* Raise(PyObject* type, const char* text);
inline PyObject* Raise(PyObject* type, const std::string& text) {
  return Raise(type, text.c_str());
}

/// The same with the text `prefix` + `text`; throws nothing.
PyObject* Raise(PyObject* type, const char* prefix, const char* text);

/// A new reference to None.
inline PyObject* NewNone() {
  Py_INCREF(Py_None);
  return Py_None;
}

/// A new bytes object with a copy of `size` bytes, or null with an error set.
inline PyObject* NewBytes(const unsigned char* bytes, std::size_t size) {
  return PyBytes_FromStringAndSize(reinterpret_cast<const char*>(bytes),
                                   static_cast<Py_ssize_t>(size));
}

/// Which exceptions of the host a function raises as a type of its own. All others become
/// MemoryError (std::bad_alloc) or RuntimeError, with their text or "Unknown platform exception".
struct FailureRule {
  enum class Catches { kNothing, kCtlException, kStdException };
  Catches catches = Catches::kNothing;
  PyObject* type = nullptr;
  std::string prefix{};  ///< precedes the exception's text
};

// A function passes its rule as a lambda that is called only after a failure. The exception types
// are variables of the interpreter, taken by reference so that they are read only then.

/// The rule of most functions: every std::exception becomes `type` with the exception's text.
inline auto OnStdException(PyObject* const& type) {
  return [&type] { return FailureRule{FailureRule::Catches::kStdException, type, {}}; };
}
/// The rule of the others: a QueltCtlException becomes `type` with `prefix` and its text.
inline auto OnCtlException(PyObject* const& type, const char* prefix) {
  return [&type, prefix] { return FailureRule{FailureRule::Catches::kCtlException, type, prefix}; };
}
/// The same with a prefix that `composePrefix` returns, which outlives the rule.
template <std::invocable Compose>
auto OnCtlException(PyObject* const& type, const Compose& composePrefix) {
  return [&type, &composePrefix] {
    return FailureRule{FailureRule::Catches::kCtlException, type, composePrefix()};
  };
}
/// The rule of functions that have no type of their own.
inline constexpr auto kOnNoException = [] { return FailureRule{}; };

/// Raises the Python exception that `rule` states for `failure`. Returns null. GIL held; throws
/// std::bad_alloc.
PyObject* RaiseAsStated(const std::exception_ptr& failure, const FailureRule& rule);

/// The same for a rule that is passed as a lambda. Throws nothing.
template <typename Rule>
PyObject* RaiseFailure(const std::exception_ptr& failure, const Rule& rule) {
  try {
    return RaiseAsStated(failure, rule());
  } catch (const std::exception&) {
    // Composing the message ran out of memory; nothing else can fail here.
    PyErr_Clear();
    return PyErr_NoMemory();
  }
}

/// Stores an exception that must not be translated yet.
class CaughtFailure {
 public:
  /// Runs `body` and stores what it throws. A forced unwind of the thread passes through.
  template <typename Body>
  void Run(Body&& body) {
    try {
      std::forward<Body>(body)();
    } catch (const abi::__forced_unwind&) {
      throw;
    } catch (...) {
      thrown_ = true;
      exception_ = std::current_exception();
    }
  }
  bool thrown() const { return thrown_; }
  /// Null also for an exception of another language.
  const std::exception_ptr& exception() const { return exception_; }

 private:
  bool thrown_ = false;
  std::exception_ptr exception_;
};

/// Runs `body` with the GIL held. False when it threw; the Python exception is then set.
template <typename Rule, typename Body>
bool RunWithGil(const Rule& rule, Body&& body) {
  CaughtFailure failure;
  failure.Run(std::forward<Body>(body));
  if (failure.thrown()) {
    RaiseFailure(failure.exception(), rule);
  }
  return !failure.thrown();
}

/// Runs `work` with the GIL released, then `build` with the GIL held, and returns what `build`
/// returns: a new reference, or null with an error set. If `work` throws, `discard` runs with the
/// GIL held instead of `build`.
template <typename Rule, typename Work, typename Build, typename Discard>
PyObject* CallPlatform(const Rule& rule, Work&& work, Build&& build, Discard&& discard) {
  CaughtFailure failure;
  PyThreadState* const state = PyEval_SaveThread();
  failure.Run(std::forward<Work>(work));
  // Outside every try, noexcept function and destructor: this call may unwind the thread.
  PyEval_RestoreThread(state);
  PyObject* result = nullptr;
  if (failure.thrown()) {
    std::forward<Discard>(discard)();
  } else {
    failure.Run([&] { result = std::forward<Build>(build)(); });
  }
  return failure.thrown() ? RaiseFailure(failure.exception(), rule) : result;
}

template <typename Rule, typename Work, typename Build>
PyObject* CallPlatform(const Rule& rule, Work&& work, Build&& build) {
  return CallPlatform(rule, std::forward<Work>(work), std::forward<Build>(build), [] {});
}

}  // namespace pyquelt
