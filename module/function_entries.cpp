#include "module/function_entries.h"

namespace pyquelt {

namespace {

/// A new tuple, or null with an error set.
PyObject* NewTuple(PyObject* const* items, Py_ssize_t count) {
  PyObject* const tuple = PyTuple_New(count);
  for (Py_ssize_t i = 0; tuple != nullptr && i < count; ++i) {
    Py_INCREF(items[i]);
    PyTuple_SET_ITEM(tuple, i, items[i]);
  }
  return tuple;
}

/// A new dictionary, or null with an error set.
PyObject* NewDict(PyObject* names, PyObject* const* values) {
  PyObject* dict = PyDict_New();
  for (Py_ssize_t i = 0; dict != nullptr && i < PyTuple_GET_SIZE(names); ++i) {
    if (PyDict_SetItem(dict, PyTuple_GET_ITEM(names, i), values[i]) != 0) {
      Py_CLEAR(dict);
    }
  }
  return dict;
}

}  // namespace

PyObject* CallTupleEntry(PyObject* function, PyObject* const* args, std::size_t count,
                         PyObject* names) {
  // Plain pointers, not owners: the function releases the GIL (see call_frame.h).
  const auto positional = static_cast<Py_ssize_t>(ArgumentCount(count));
  PyObject* const tuple = NewTuple(args, positional);
  PyObject* const dict =
      tuple != nullptr && names != nullptr ? NewDict(names, args + positional) : nullptr;
  PyObject* result = nullptr;
  if (tuple != nullptr && (dict != nullptr || names == nullptr)) {
    result = PyCFunction_Type.tp_call(function, tuple, dict);
  }
  Py_XDECREF(dict);
  Py_XDECREF(tuple);
  return result;
}

}  // namespace pyquelt
