// Module functions for the unicast membership of the cluster.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

PyObject* PyGetUnicastMode(PyObject* module, PyObject* args);
PyObject* PyGetUnicastAgents(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PyAddUnicastAgent(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PyRemoveUnicastAgent(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PySetUnicastInfoInConfigStore(PyObject* module, PyObject* args, PyObject* keywords);

}  // namespace pyquelt
