// Includes the interpreter's interface, for all files of the module. The only place for differences
// between interpreter versions.
#pragma once

// Lengths of "#" formats are Py_ssize_t on every version; 3.10 to 3.12 require this macro.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <concepts>
#include <cstddef>

namespace pyquelt {

/// How the interpreter calls a function with an array of arguments: positional ones, whose number
/// is ArgumentCount(count), then one for each item of the tuple `names`, which may be null.
using ArrayEntry = PyObject* (*)(PyObject* function, PyObject* const* args, std::size_t count,
                                 PyObject* names);

#if PY_VERSION_HEX >= 0x03080000
inline std::size_t ArgumentCount(std::size_t count) {
  return static_cast<std::size_t>(PyVectorcall_NARGS(count));
}

/// Makes the interpreter call `function`, which takes a tuple, by `entry`. Does nothing if the
/// function's structure has no field for that in the headers, or if the running interpreter has the
/// field elsewhere or uses it already.
template <typename Function = PyCFunctionObject>
void SetArrayEntry(PyObject* function, ArrayEntry entry) {
  if constexpr (requires(Function& object) {
                  { object.vectorcall } -> std::same_as<vectorcallfunc&>;
                }) {
    auto* const object = reinterpret_cast<Function*>(function);
    if (Py_TYPE(function) == &PyCFunction_Type &&
        PyCFunction_Type.tp_vectorcall_offset == offsetof(Function, vectorcall) &&
        object->vectorcall == nullptr) {
      object->vectorcall = entry;
    }
  }
}
#else
inline std::size_t ArgumentCount(std::size_t count) { return count; }
inline void SetArrayEntry(PyObject*, ArrayEntry) {}
#endif

/// Disables automatic garbage collection for a scope, on versions that need and allow it: up
/// to 3.11 a collection may run at any allocation of a container (later versions wait until the
/// function returns), and from 3.10 on C code can disable it. The destructor restores the setting.
/// GIL held.
class CollectorPause {
 public:
#if PY_VERSION_HEX >= 0x030A0000 && PY_VERSION_HEX < 0x030C0000
  CollectorPause() : wasEnabled_(PyGC_Disable() != 0) {}
  ~CollectorPause() {
    if (wasEnabled_) {
      PyGC_Enable();
    }
  }

 private:
  bool wasEnabled_;
#else
  CollectorPause() {}
#endif

 public:
  CollectorPause(const CollectorPause&) = delete;
  CollectorPause& operator=(const CollectorPause&) = delete;
};

}  // namespace pyquelt
