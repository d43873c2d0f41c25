// Module functions for encryption: keys, key servers, disks and the host's encryption state.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

// key_ids.cpp: the KEK id and the host key id.
PyObject* PyGetKekId(PyObject* module, PyObject* args);
PyObject* PySetKekId(PyObject* module, PyObject* args);
PyObject* PyGetHostKeyId(PyObject* module, PyObject* args);
PyObject* PySetHostKeyId(PyObject* module, PyObject* args);

// key_cache.cpp: the host's key cache.
PyObject* PyCacheKey(PyObject* module, PyObject* args);
PyObject* PyRemoveKey(PyObject* module, PyObject* args);
PyObject* PyGetKeyFromKeyCache(PyObject* module, PyObject* args);

// kms.cpp: key management servers, their status, trusted certificates and passwords.
PyObject* PyCheckKmsStatus(PyObject* module, PyObject* args);
PyObject* PyCheckCloudKmsStatus(PyObject* module, PyObject* args);
PyObject* PyAddKmsTrustedCert(PyObject* module, PyObject* args);
PyObject* PyGetKmsPasswordFromConfigStore(PyObject* module, PyObject* args);
PyObject* PyGetKms(PyObject* module, PyObject* args);

// disk_keys.cpp: a disk's encryption metadata and DEK, and the decryption of a block.
PyObject* PyGetEncInfoForDisk(PyObject* module, PyObject* args);
PyObject* PyGetWrappedDekFromDisk(PyObject* module, PyObject* args);
PyObject* PyGetDekFromDisk(PyObject* module, PyObject* args);
PyObject* PyDecrypt2kBlock(PyObject* module, PyObject* args);

// encryption_changes.cpp: enabling encryption and rekeying.
PyObject* PySetEncryptionEnabled(PyObject* module, PyObject* args);
PyObject* PyShallowRekey(PyObject* module, PyObject* args);

}  // namespace pyquelt
