// Module functions for encryption: keys, key servers, disks and the host's encryption state.
#pragma once

#include "module/positional_arguments.h"

namespace pyquelt {

// key_ids.cpp: the KEK id and the host key id.
PyObject* PyGetKekId();
PyObject* PySetKekId(const char* kekId);
PyObject* PyGetHostKeyId();
PyObject* PySetHostKeyId(const char* hostKeyId);

// key_cache.cpp: the host's key cache.
PyObject* PyCacheKey(const char* keyId, const char* attribute, KeyView key);
PyObject* PyRemoveKey(const char* keyId);
PyObject* PyGetKeyFromKeyCache(const char* keyId);

// kms.cpp: key management servers, their status, trusted certificates and passwords. `timeout` is
// in seconds.
PyObject* PyCheckKmsStatus(const char* kmipClusterId, const char* keyId, int timeout);
PyObject* PyCheckCloudKmsStatus(const char* kms);
PyObject* PyAddKmsTrustedCert(const char* cert);
PyObject* PyGetKmsPasswordFromConfigStore(const char* kekId, const char* kmipClusterId);
PyObject* PyGetKms();

// disk_keys.cpp: a disk's encryption metadata and DEK, and the decryption of a block.
PyObject* PyGetEncInfoForDisk(const char* diskName);
PyObject* PyGetWrappedDekFromDisk(const char* diskName);
PyObject* PyGetDekFromDisk(const char* diskName);
PyObject* PyDecrypt2kBlock(ByteView dek, unsigned long long position, ByteView block);

// encryption_changes.cpp: enabling encryption and rekeying.
PyObject* PySetEncryptionEnabled(int enabled);
PyObject* PyShallowRekey(ListObject diskNames);

}  // namespace pyquelt
