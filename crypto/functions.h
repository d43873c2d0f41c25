// Module functions for encryption: keys, key servers, disks and the host's encryption state.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

PyObject* PyGetKekId(PyObject* module, PyObject* args);
PyObject* PySetKekId(PyObject* module, PyObject* args);
PyObject* PyGetHostKeyId(PyObject* module, PyObject* args);
PyObject* PySetHostKeyId(PyObject* module, PyObject* args);
PyObject* PyCacheKey(PyObject* module, PyObject* args);
PyObject* PyRemoveKey(PyObject* module, PyObject* args);
PyObject* PyGetKeyFromKeyCache(PyObject* module, PyObject* args);
PyObject* PyCheckKmsStatus(PyObject* module, PyObject* args);
PyObject* PyCheckCloudKmsStatus(PyObject* module, PyObject* args);
PyObject* PyAddKmsTrustedCert(PyObject* module, PyObject* args);
PyObject* PyGetKmsPasswordFromConfigStore(PyObject* module, PyObject* args);
PyObject* PyGetKms(PyObject* module, PyObject* args);
PyObject* PyGetEncInfoForDisk(PyObject* module, PyObject* args);
PyObject* PyGetWrappedDekFromDisk(PyObject* module, PyObject* args);
PyObject* PyGetDekFromDisk(PyObject* module, PyObject* args);
PyObject* PyDecrypt2kBlock(PyObject* module, PyObject* args);
PyObject* PySetEncryptionEnabled(PyObject* module, PyObject* args);
PyObject* PyShallowRekey(PyObject* module, PyObject* args);

}  // namespace pyquelt
