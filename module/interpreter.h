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

/// The items that a list has at construction, for reading them one after the other. In a
/// free-threaded build, where another thread may change the list in between, this is a tuple of the
/// items; with the GIL, it is the list itself, and no other code may run meanwhile. GIL held.
class ListItems {
 public:
#ifdef Py_GIL_DISABLED
  // Not a critical section around the reading: it is suspended where the thread waits for another
  // lock, for example that of a str whose UTF-8 form two threads need.
  explicit ListItems(PyObject* list) : items_(PyList_AsTuple(list)) {}
  ~ListItems() { Py_XDECREF(items_); }
  /// False with an error set when the tuple couldn't be created.
  bool valid() const { return items_ != nullptr; }
  Py_ssize_t size() const { return PyTuple_GET_SIZE(items_); }
  /// Borrowed.
  PyObject* operator[](Py_ssize_t index) const { return PyTuple_GET_ITEM(items_, index); }
#else
  explicit ListItems(PyObject* list) : items_(list) {}
  bool valid() const { return true; }
  Py_ssize_t size() const { return PyList_GET_SIZE(items_); }
  PyObject* operator[](Py_ssize_t index) const { return PyList_GET_ITEM(items_, index); }
#endif
  ListItems(const ListItems&) = delete;
  ListItems& operator=(const ListItems&) = delete;

 private:
  PyObject* items_;
};

/// Sets `found` to a new reference to the value under `key`, or to null if there is none. False
/// with an error set when the lookup fails; `found` is then null. GIL held.
inline bool FindItem(PyObject* dict, PyObject* key, PyObject*& found) {
  found = nullptr;
#if PY_VERSION_HEX >= 0x030D0000
  return PyDict_GetItemRef(dict, key, &found) >= 0;
#else
  found = PyDict_GetItemWithError(dict, key);
  Py_XINCREF(found);
  return found != nullptr || PyErr_Occurred() == nullptr;
#endif
}

/// Declares that `module` needs no GIL: importing it leaves the GIL of a free-threaded build
/// disabled. Returns 0, or -1 with an error set.
inline int DeclareGilUnused([[maybe_unused]] PyObject* module) {
#ifdef Py_GIL_DISABLED
  return PyUnstable_Module_SetGIL(module, Py_MOD_GIL_NOT_USED);
#else
  return 0;
#endif
}

}  // namespace pyquelt
