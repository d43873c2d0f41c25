// Module functions that read and write settings of the host's configuration store.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

// hardware.cpp: the hardware SKU and the hardware management (iLO) credential.
PyObject* PyGetHardwareSku(PyObject* module, PyObject* args);
PyObject* PySetIloAuth(PyObject* module, PyObject* args);
PyObject* PyGetIloAuth(PyObject* module, PyObject* args);

// services.cpp: the performance service and the cluster directory's time machine.
PyObject* PySetPerfsvcHostConfigStore(PyObject* module, PyObject* args);
PyObject* PyGetPerfsvcHostConfigStore(PyObject* module, PyObject* args);
PyObject* PySetClusterTimeMachineConfigStore(PyObject* module, PyObject* args);

}  // namespace pyquelt
