// GetObjectExtAttrs: a dictionary from the caller's UUID texts to what is known of the objects.
#include "module/call_frame.h"
#include "module/py_ref.h"
#include "module/result_helpers.h"
#include "module/text_list.h"
#include "objects/ext_attrs.h"
#include "objects/functions.h"

namespace pyquelt {

namespace {

/// A new dictionary, or null with an error set.
PyObject* NewAttrsDict(const ObjectExtAttrs& attrs) {
  PyObject* const dict = PyDict_New();
  if (dict == nullptr) {
    return Raise(PyExc_RuntimeError, "PyDict_New failed!");
  }
  // A failed insertion has released the dictionary.
  const bool filled = PySetDictItem(dict, "ufn", Py_BuildValue("s", attrs.ufn.c_str())) &&
                      PySetDictItem(dict, "objPath", Py_BuildValue("s", attrs.objPath.c_str())) &&
                      PySetDictItem(dict, "objClass", Py_BuildValue("i", attrs.objClass));
  return filled ? dict : nullptr;
}

PyObject* NewResult(const std::vector<ObjectExtAttrs>& records) {
  PyRef result(PyDict_New());
  if (!result) {
    return Raise(PyExc_RuntimeError, "PyDict_New failed!");
  }
  for (const ObjectExtAttrs& record : records) {
    const PyRef attrs(NewAttrsDict(record));
    if (!attrs) {
      return nullptr;
    }
    if (PySetDictItemOwnKey(result.get(), record.uuid.c_str(), attrs.get()) != 0) {
      PyDict_Clear(result.get());
      return Raise(PyExc_RuntimeError,
                   "PyDict_SetItemString failed with key:", record.uuid.c_str());
    }
  }
  return result.release();
}

}  // namespace

PyObject* PyGetObjectExtAttrs(PyObject*, PyObject* args) {
  PyObject* list = nullptr;
  if (!PyArg_ParseTuple(args, "O!", &PyList_Type, &list)) {
    return Raise(PyExc_RuntimeError, "Unable to parse object uuids");
  }
  if (PyList_GET_SIZE(list) == 0) {
    return Raise(PyExc_RuntimeError, "object uuids parameter is required");
  }
  const auto rule =
      OnCtlException(PyExc_RuntimeError, "Failed to get objects extended attributes: ");
  std::vector<std::string> uuids;
  bool parsed = false;
  if (!RunUnderLock(rule, [&] { parsed = AppendTexts(list, uuids); })) {
    return nullptr;
  }
  if (!parsed) {
    return Raise(PyExc_RuntimeError, "Unable to parse object uuids");
  }
  std::vector<ObjectExtAttrs> records;
  return CallPlatform(
      rule, [&] { ReadObjectExtAttrs(uuids, records); }, [&] { return NewResult(records); });
}

}  // namespace pyquelt
