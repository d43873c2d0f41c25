#include "module/unavailable.h"

#include "objects/functions.h"

namespace pyquelt {

PyObject* PyGetObjectExtAttrs(PyObject*, PyObject*) {
  return RaiseUnavailable("GetObjectExtAttrs");
}
PyObject* PyGetOqtaCappedMaxDiskVersion(PyObject*, PyObject*) {
  return RaiseUnavailable("GetOqtaCappedMaxDiskVersion");
}
PyObject* PyUpgradeFormatVersionForDiskGroup(PyObject*, PyObject*) {
  return RaiseUnavailable("UpgradeFormatVersionForDiskGroup");
}
PyObject* PyGetT1DiskInfo(PyObject*, PyObject*) { return RaiseUnavailable("GetT1DiskInfo"); }
PyObject* PyGetHostInfo(PyObject*, PyObject*) { return RaiseUnavailable("GetHostInfo"); }
PyObject* PyCreateObject(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("CreateObject");
}
PyObject* PyDeleteObject(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("DeleteObject");
}

}  // namespace pyquelt
