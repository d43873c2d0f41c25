// Module functions for storage objects, disks and host facts.
#pragma once

#include "module/positional_arguments.h"

namespace pyquelt {

// object_changes.cpp: creating and deleting objects.
PyObject* PyCreateObject(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* PyDeleteObject(PyObject* module, PyObject* args, PyObject* keywords);

// ext_attrs_result.cpp: friendly name, path and class of objects.
PyObject* PyGetObjectExtAttrs(ListObject uuids);

// disk_facts.cpp: the highest disk format version and first-tier disks.
PyObject* PyGetOqtaCappedMaxDiskVersion();
PyObject* PyGetT1DiskInfo();

// disk_group_changes.cpp: upgrading the format of a disk group.
PyObject* PyUpgradeFormatVersionForDiskGroup(const char* diskName);

// host_facts.cpp: capacity and overhead figures.
PyObject* PyGetHostInfo();

}  // namespace pyquelt
