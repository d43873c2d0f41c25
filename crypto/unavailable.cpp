#include "module/unavailable.h"

#include "crypto/functions.h"

namespace pyquelt {

PyObject* PyGetKekId(PyObject*, PyObject*) { return RaiseUnavailable("GetKekId"); }
PyObject* PySetKekId(PyObject*, PyObject*) { return RaiseUnavailable("SetKekId"); }
PyObject* PyGetHostKeyId(PyObject*, PyObject*) { return RaiseUnavailable("GetHostKeyId"); }
PyObject* PySetHostKeyId(PyObject*, PyObject*) { return RaiseUnavailable("SetHostKeyId"); }
PyObject* PyCacheKey(PyObject*, PyObject*) { return RaiseUnavailable("CacheKey"); }
PyObject* PyRemoveKey(PyObject*, PyObject*) { return RaiseUnavailable("RemoveKey"); }
PyObject* PyGetKeyFromKeyCache(PyObject*, PyObject*) {
  return RaiseUnavailable("GetKeyFromKeyCache");
}
PyObject* PyCheckKmsStatus(PyObject*, PyObject*) { return RaiseUnavailable("CheckKmsStatus"); }
PyObject* PyCheckCloudKmsStatus(PyObject*, PyObject*) {
  return RaiseUnavailable("CheckCloudKmsStatus");
}
PyObject* PyAddKmsTrustedCert(PyObject*, PyObject*) {
  return RaiseUnavailable("AddKmsTrustedCert");
}
PyObject* PyGetKmsPasswordFromConfigStore(PyObject*, PyObject*) {
  return RaiseUnavailable("GetKmsPasswordFromConfigStore");
}
PyObject* PyGetKms(PyObject*, PyObject*) { return RaiseUnavailable("GetKms"); }
PyObject* PyGetEncInfoForDisk(PyObject*, PyObject*) {
  return RaiseUnavailable("GetEncInfoForDisk");
}
PyObject* PyGetWrappedDekFromDisk(PyObject*, PyObject*) {
  return RaiseUnavailable("GetWrappedDekFromDisk");
}
PyObject* PyGetDekFromDisk(PyObject*, PyObject*) { return RaiseUnavailable("GetDekFromDisk"); }
PyObject* PyDecrypt2kBlock(PyObject*, PyObject*) { return RaiseUnavailable("Decrypt2kBlock"); }
PyObject* PySetEncryptionEnabled(PyObject*, PyObject*) {
  return RaiseUnavailable("SetEncryptionEnabled");
}
PyObject* PyShallowRekey(PyObject*, PyObject*) { return RaiseUnavailable("ShallowRekey"); }

}  // namespace pyquelt
