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

namespace {

int SetItem(PyObject* dict, const char* key, PyObject* value) {
  return PyDict_SetItemString(dict, key, value);
}
int SetItem(PyObject* dict, DictKey& key, PyObject* value) {
  PyObject* const object = key.object();
  return object == nullptr ? -1 : PyDict_SetItem(dict, object, value);
}

const char* Text(const char* key) { return key; }
const char* Text(const DictKey& key) { return key.text(); }

template <typename T, typename Key>
bool ConvertAndSet(PyObject* dict, Key& key, T value, std::string& error) {
  const PyRef object(_PyObject_FromValue<T>(dict, Text(key), value));
  if (!object) {
    error = std::string("Failed to allocate python object ") + Text(key);
    return false;
  }
  if (SetItem(dict, key, object.get()) != 0) {
    error = std::string("Failed to set python object ") + Text(key);
    return false;
  }
  return true;
}

}  // namespace

template <typename T>
bool PySetDictValue(PyObject* dict, const char* key, T value, std::string& error) {
  return ConvertAndSet(dict, key, value, error);
}

template <typename T>
bool PySetDictValue(PyObject* dict, DictKey& key, T value, std::string& error) {
  return ConvertAndSet(dict, key, value, error);
}

template bool PySetDictValue<const char*>(PyObject*, const char*, const char*, std::string&);
template bool PySetDictValue<bool>(PyObject*, const char*, bool, std::string&);
template bool PySetDictValue<long>(PyObject*, const char*, long, std::string&);
template bool PySetDictValue<const char*>(PyObject*, DictKey&, const char*, std::string&);
template bool PySetDictValue<bool>(PyObject*, DictKey&, bool, std::string&);
template bool PySetDictValue<long>(PyObject*, DictKey&, long, std::string&);

int PySetDictItemOwnKey(PyObject* dict, const char* key, PyObject* value) {
  const PyRef object(PyUnicode_FromString(key));
  return object ? PyDict_SetItem(dict, object.get(), value) : -1;
}

bool PySetDictItem(PyObject* dict, const char* key, PyObject* value) {
  const PyRef owned(value);
  if (owned && PyDict_SetItemString(dict, key, value) == 0) {
    return true;
  }
  PyDict_Clear(dict);
  Py_DECREF(dict);
  Raise(PyExc_RuntimeError, "PyDict_SetItemString failed with key:", key);
  return false;
}

}  // namespace pyquelt
