// Module functions that read and write settings of the host's configuration store.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

// hardware.cpp: the hardware SKU and the hardware management (iLO) credential.
PyObject* PyGetHardwareSku();
PyObject* PySetIloAuth(const char* first, const char* second);
PyObject* PyGetIloAuth();

// services.cpp: the performance service and the cluster directory's time machine.
PyObject* PySetPerfsvcHostConfigStore(const char* first, const char* second);
PyObject* PyGetPerfsvcHostConfigStore();
PyObject* PySetClusterTimeMachineConfigStore(const char* first, const char* second);

}  // namespace pyquelt
