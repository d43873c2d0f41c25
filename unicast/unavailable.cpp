#include "module/unavailable.h"

#include "unicast/functions.h"

namespace pyquelt {

PyObject* PyGetUnicastMode(PyObject*, PyObject*) { return RaiseUnavailable("GetUnicastMode"); }
PyObject* PyGetUnicastAgents(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("GetUnicastAgents");
}
PyObject* PyAddUnicastAgent(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("AddUnicastAgent");
}
PyObject* PyRemoveUnicastAgent(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("RemoveUnicastAgent");
}
PyObject* PySetUnicastInfoInConfigStore(PyObject*, PyObject*, PyObject*) {
  return RaiseUnavailable("SetUnicastInfoInConfigStore");
}

}  // namespace pyquelt
