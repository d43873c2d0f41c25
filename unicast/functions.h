// Module functions for the unicast membership of the cluster.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

// agent_list.cpp
PyObject* PyGetUnicastAgents(PyObject* module, PyObject* args, PyObject* keywords);

// agent_changes.cpp
PyObject* PyAddUnicastAgent(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PyRemoveUnicastAgent(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PySetUnicastInfoInConfigStore(PyObject* module, PyObject* args, PyObject* keywords);

// mode.cpp
PyObject* PyGetUnicastMode();

}  // namespace pyquelt
