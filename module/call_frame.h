// The frame that every module function follows.
//
// A function parses its arguments with the interpreter lock held, hands two lambdas to
// CallPlatform - `work`, which runs with the lock released and touches C++ values only, and
// `build`, which runs with the lock held and makes the result - and is done: the frame releases the
// lock, retakes it on every path, and turns exceptions of either lambda into Python exceptions.
//
// No owned Python reference may be alive when CallPlatform is entered: while the interpreter shuts
// down it may end a daemon thread at the point where the lock is retaken, by unwinding the stack,
// and a destructor that gives a reference back would then run without the lock. What must exist
// before the release (a buffer view, a result container, the copy of the keyword arguments) is a
// plain value, given back by plain calls: in `build` and in `discard`, or after CallPlatform.
#pragma once

#include <cxxabi.h>

#include <exception>
#include <string>
#include <utility>

#include "module/interpreter.h"

namespace pyquelt {

/// Sets `type` with `text`, in place of whatever error is pending. Bytes that are not UTF-8 are
/// replaced, so that a message always arrives. Returns null. Lock held.
PyObject* Raise(PyObject* type, const char* text);
inline PyObject* Raise(PyObject* type, const std::string& text) {
  return Raise(type, text.c_str());
}

/// The same with a text that follows a literal; throws nothing.
PyObject* Raise(PyObject* type, const char* literal, const char* text);

/// A new reference to None.
inline PyObject* NewNone() {
  Py_INCREF(Py_None);
  return Py_None;
}

template <typename T>
concept ComposesText = std::is_invocable_r_v<std::string, const T&>;

/// The text before a platform failure's own: a literal, or a lambda giving a std::string that is
/// asked only when a call has failed. Refers to the lambda, does not own it.
class Prefix {
 public:
  constexpr Prefix() = default;
  constexpr Prefix(const char* text) : context_(text), compose_(&FromText) {}
  template <ComposesText Compose>
  constexpr Prefix(const Compose& compose) : context_(&compose), compose_(&FromLambda<Compose>) {}

  std::string Text() const { return compose_ == nullptr ? std::string() : compose_(context_); }

 private:
  static std::string FromText(const void* context) { return static_cast<const char*>(context); }
  template <typename Compose>
  static std::string FromLambda(const void* context) {
    return (*static_cast<const Compose*>(context))();
  }

  const void* context_ = nullptr;
  std::string (*compose_)(const void*) = nullptr;
};

/// Which exceptions a function answers with a type of its own. All others become MemoryError
/// (std::bad_alloc) or RuntimeError, with their text or "Unknown platform exception".
struct FailureRule {
  enum class Catches { kNothing, kCtlException, kStdException };
  Catches catches = Catches::kNothing;
  PyObject* type = nullptr;
  Prefix prefix{};
};

// Functions state their rule as a callable, so that it costs nothing while nothing fails. A type is
// the interpreter's own variable, which is read only then.

/// The rule of most functions: every std::exception becomes `type` with the exception's text.
inline auto OnStdException(PyObject* const& type) {
  return [&type] { return FailureRule{FailureRule::Catches::kStdException, type, {}}; };
}
/// The rule of the others: a QueltCtlException becomes `type` with `prefix` and its text.
inline auto OnCtlException(PyObject* const& type, Prefix prefix) {
  return [&type, prefix] { return FailureRule{FailureRule::Catches::kCtlException, type, prefix}; };
}
/// The rule of functions that have no type of their own.
inline constexpr auto kOnNoException = [] { return FailureRule{}; };

/// Raises the Python exception that `rule` gives for `failure` (empty: an exception of a foreign
/// language). Returns null. Lock held.
PyObject* RaiseFailure(const std::exception_ptr& failure, const FailureRule& rule);

/// An exception that was thrown where it must not be answered yet.
class KeptFailure {
 public:
  /// Runs `body` and keeps what it throws. A forced unwind is never held up.
  template <typename Body>
  void Keep(Body&& body) {
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
  const std::exception_ptr& exception() const { return exception_; }

 private:
  bool thrown_ = false;
  std::exception_ptr exception_;
};

/// Runs `body` with the lock held. False when it threw; the Python exception is then set.
template <typename Rule, typename Body>
bool RunUnderLock(const Rule& rule, Body&& body) {
  KeptFailure failure;
  failure.Keep(std::forward<Body>(body));
  if (failure.thrown()) {
    RaiseFailure(failure.exception(), rule());
  }
  return !failure.thrown();
}

/// Runs `work` with the lock released, then `build` with the lock held, and returns what `build`
/// returns: a new reference, or null with an error set. When `work` threw, `discard` runs with the
/// lock held in place of `build`.
template <typename Rule, typename Work, typename Build, typename Discard>
PyObject* CallPlatform(const Rule& rule, Work&& work, Build&& build, Discard&& discard) {
  KeptFailure failure;
  PyThreadState* const state = PyEval_SaveThread();
  failure.Keep(std::forward<Work>(work));
  // Outside every try, noexcept function and destructor: this call may unwind the thread.
  PyEval_RestoreThread(state);
  if (failure.thrown()) {
    std::forward<Discard>(discard)();
    return RaiseFailure(failure.exception(), rule());
  }
  PyObject* result = nullptr;
  return RunUnderLock(rule, [&] { result = std::forward<Build>(build)(); }) ? result : nullptr;
}

template <typename Rule, typename Work, typename Build>
PyObject* CallPlatform(const Rule& rule, Work&& work, Build&& build) {
  return CallPlatform(rule, std::forward<Work>(work), std::forward<Build>(build), [] {});
}

}  // namespace pyquelt
