// Module functions for storage objects, disks and host facts.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

PyObject* PyGetObjectExtAttrs(PyObject* module, PyObject* args);
PyObject* PyGetOqtaCappedMaxDiskVersion(PyObject* module, PyObject* args);
PyObject* PyUpgradeFormatVersionForDiskGroup(PyObject* module, PyObject* args);
PyObject* PyGetT1DiskInfo(PyObject* module, PyObject* args);
PyObject* PyGetHostInfo(PyObject* module, PyObject* args);
PyObject* PyCreateObject(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PyDeleteObject(PyObject* module, PyObject* args, PyObject* keywords);

}  // namespace pyquelt
