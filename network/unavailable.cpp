#include "module/unavailable.h"

#include "network/functions.h"

namespace pyquelt {

PyObject* PyGetQueltNetworkInfo(PyObject*, PyObject*) {
  return RaiseUnavailable("GetQueltNetworkInfo");
}
PyObject* PyGetQueltZelnicNames(PyObject*, PyObject*) {
  return RaiseUnavailable("GetQueltZelnicNames");
}

}  // namespace pyquelt
