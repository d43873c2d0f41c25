#include "module/result_helpers.h"

#include "module/py_ref.h"
#include "module/result_dict.h"

template <>
PyObject* _PyObject_FromValue<const char*>(PyObject*, const char*, const char* value) {
  return pyquelt::ToPython(value);
}

template <>
PyObject* _PyObject_FromValue<bool>(PyObject*, const char*, bool value) {
  return pyquelt::ToPython(value);
}

template <>
PyObject* _PyObject_FromValue<long>(PyObject*, const char*, long value) {
  return pyquelt::ToPython(value);
}

namespace pyquelt {

template <typename T>
bool PySetDictValue(PyObject* dict, const char* key, T value, std::string& error) {
  const PyRef object(_PyObject_FromValue<T>(dict, key, value));
  if (object && PyDict_SetItemString(dict, key, object.get()) == 0) {
    return true;
  }
  error = std::string(object ? kValueNotInserted : kValueNotConverted) + key;
  return false;
}

template bool PySetDictValue<const char*>(PyObject*, const char*, const char*, std::string&);
template bool PySetDictValue<bool>(PyObject*, const char*, bool, std::string&);
template bool PySetDictValue<long>(PyObject*, const char*, long, std::string&);

}  // namespace pyquelt
