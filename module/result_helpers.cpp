#include "module/result_helpers.h"

#include "module/call_frame.h"
#include "module/py_ref.h"

template <>
PyObject* _PyObject_FromValue<const char*>(PyObject*, const char*, const char* value) {
  return PyUnicode_FromString(value);
}

template <>
PyObject* _PyObject_FromValue<bool>(PyObject*, const char*, bool value) {
  return PyBool_FromLong(value ? 1 : 0);
}

template <>
PyObject* _PyObject_FromValue<long>(PyObject*, const char*, long value) {
  return PyLong_FromLong(value);
}

namespace pyquelt {

template <typename T>
bool PySetDictValue(PyObject* dict, const char* key, T value, std::string& error) {
  const PyRef object(_PyObject_FromValue<T>(dict, key, value));
  if (!object) {
    error = std::string("Failed to allocate python object ") + key;
    return false;
  }
  if (PyDict_SetItemString(dict, key, object.get()) != 0) {
    error = std::string("Failed to set python object ") + key;
    return false;
  }
  return true;
}

template bool PySetDictValue<const char*>(PyObject*, const char*, const char*, std::string&);
template bool PySetDictValue<bool>(PyObject*, const char*, bool, std::string&);
template bool PySetDictValue<long>(PyObject*, const char*, long, std::string&);

bool PySetDictItem(PyObject* dict, const char* key, PyObject* value) {
  const PyRef owned(value);
  if (owned && PyDict_SetItemString(dict, key, value) == 0) {
    return true;
  }
  PyDict_Clear(dict);
  Py_DECREF(dict);
  Raise(PyExc_RuntimeError, std::string("PyDict_SetItemString failed with key:") + key);
  return false;
}

}  // namespace pyquelt
