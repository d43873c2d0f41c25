// What the interpreter loads: definition record, method table, constants, entry point. The only
// file that includes all subject folders.
#include "config_store/functions.h"
#include "crypto/functions.h"
#include "module/constants.h"
#include "module/interpreter.h"
#include "network/functions.h"
#include "objects/functions.h"
#include "unicast/functions.h"

namespace pyquelt {
namespace {

// A method's doc begins with its signature in the interpreter's own form: inspect.signature and
// help read it from there, and __doc__ is what follows the marker. `*args` marks the functions that
// ignore their positional arguments.
// clang-format off
#define PYQUELT_METHOD(name, flags, signature, doc)                                          \
  {#name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&Py##name)), flags,     \
   #name signature "\n--\n\n" doc}
#define POSITIONAL(name, signature, doc) PYQUELT_METHOD(name, METH_VARARGS, signature, doc)
#define KEYWORDS(name, signature, doc) \
  PYQUELT_METHOD(name, METH_VARARGS | METH_KEYWORDS, signature, doc)

#define NO_ARGUMENTS "($module, *args)"
#define AGENT_ARGUMENTS                                                   \
  "($module, /, addr, uuid='00000000-0000-0000-0000-000000000000', type=" \
  "'witness', isSupportUnicast=False, port=12321, interface=None, "       \
  "hostname=None, thumbprint=None, subclusterUuid=None)"

PyMethodDef kMethods[] = {
    POSITIONAL(GetT1DiskInfo, NO_ARGUMENTS, "Get disk info for T1 disks"),
    POSITIONAL(UpgradeFormatVersionForDiskGroup, "($module, diskName, /)",
               "Upgrade format version for given disk group"),
    POSITIONAL(GetHostInfo, NO_ARGUMENTS, "Get certain host info"),
    POSITIONAL(SetKekId, "($module, kekId, /)", "Persist KEK id in iru.conf"),
    POSITIONAL(GetKekId, NO_ARGUMENTS, "Get KEK id from iru.conf"),
    POSITIONAL(CheckKmsStatus, "($module, kmipClusterId, keyId, timeout, /)", "Check KMS status"),
    POSITIONAL(SetHostKeyId, "($module, hostKeyId, /)", "Persist HostKey id in iru.conf"),
    POSITIONAL(GetHostKeyId, NO_ARGUMENTS, "Get HostKey id from iru.conf"),
    POSITIONAL(CacheKey, "($module, keyId, attribute, key, /)", "Put key in KeyCache"),
    POSITIONAL(RemoveKey, "($module, keyId, /)", "Remove key from KeyCache"),
    POSITIONAL(SetEncryptionEnabled, "($module, enabled, /)",
               "Set encryption enable state on the host"),
    POSITIONAL(ShallowRekey, "($module, diskNames, /)", "Shallow rekey for given disks"),
    POSITIONAL(AddKmsTrustedCert, "($module, cert, /)", "Add KMS certificate to ca store"),
    POSITIONAL(CheckCloudKmsStatus, "($module, kms, /)", "Check AWS KMS status"),
    POSITIONAL(GetKms, NO_ARGUMENTS, "Get Kms information from iru.conf"),
    POSITIONAL(GetKeyFromKeyCache, "($module, keyId, /)", "Get Key with given id from KeyCache"),
    POSITIONAL(GetDekFromDisk, "($module, diskName, /)", "Get unwrapped DEK from disk"),
    POSITIONAL(GetWrappedDekFromDisk, "($module, diskName, /)", "Get wrapped DEK from disk"),
    POSITIONAL(Decrypt2kBlock, "($module, dek, position, block, /)", "Decrypt a 2k block"),
    POSITIONAL(GetEncInfoForDisk, "($module, diskName, /)", "Get encryption information for disk"),
    KEYWORDS(GetUnicastAgents, "($module, /, includeExtra=False)",
             "Get existing unicast configuration"),
    KEYWORDS(AddUnicastAgent, AGENT_ARGUMENTS, "Add one new unicast configuration"),
    KEYWORDS(RemoveUnicastAgent,
             "($module, /, addr, uuid='00000000-0000-0000-0000-000000000000', port=12321, "
             "type='node', replaceWitness=False)",
             "Remove one existing unicast configuration"),
    KEYWORDS(SetUnicastInfoInConfigStore, AGENT_ARGUMENTS,
             "Set unicast agent information in config store"),
    POSITIONAL(GetUnicastMode, NO_ARGUMENTS, "Get host unicast enablement mode"),
    KEYWORDS(CreateObject,
             "($module, /, *, ufn=None, haMetaData=None, policy=None, allocType=4, size=0, "
             "capabilities=-1, ignoreExtAttr=False, groupUuid=None, objClass=0, cid=None)",
             "Create Quelt Object"),
    KEYWORDS(DeleteObject, "($module, /, uuid, *, force=False, cid=None)", "Delete Quelt Object"),
    POSITIONAL(GetOqtaCappedMaxDiskVersion, NO_ARGUMENTS, "Get Oqta capped highest disk version"),
    POSITIONAL(GetKmsPasswordFromConfigStore, "($module, kekId, kmipClusterId, /)",
               "Get Kms password from config store"),
    POSITIONAL(SetPerfsvcHostConfigStore, "($module, first, second, /)",
               "Set host config of perfsvc to config store"),
    POSITIONAL(GetPerfsvcHostConfigStore, NO_ARGUMENTS,
               "Get host config of perfsvc from config store"),
    POSITIONAL(SetClusterTimeMachineConfigStore, "($module, first, second, /)",
               "Set norim time machine configurations to config store"),
    POSITIONAL(GetObjectExtAttrs, "($module, uuids, /)", "Get object extended attributes"),
    POSITIONAL(GetQueltZelnicNames, NO_ARGUMENTS, "Get quelt zelnic names"),
    POSITIONAL(GetIloAuth, NO_ARGUMENTS,
               "Get iLO credential of hardware management from config store"),
    POSITIONAL(SetIloAuth, "($module, first, second, /)",
               "Set iLO credential of hardware management to config store"),
    POSITIONAL(GetHardwareSku, NO_ARGUMENTS, "Get hardware SKU from config store"),
    POSITIONAL(GetQueltNetworkInfo, NO_ARGUMENTS, "Get Quelt network info"),
    {nullptr, nullptr, 0, nullptr},
};

struct IntConstant {
  const char* name;
  long value;
};

#define PYQUELT_INT(name) {#name, name}
// clang-format on

constexpr IntConstant kIntConstants[] = {
    PYQUELT_INT(OBJ_ALLOC_TYPE_INVALID),
    PYQUELT_INT(OBJ_ALLOC_TYPE_THICK),
    PYQUELT_INT(OBJ_ALLOC_TYPE_EAGER_ZEROED_THICK),
    PYQUELT_INT(OBJ_ALLOC_TYPE_ZEROED_THICK),
    PYQUELT_INT(OBJ_ALLOC_TYPE_THIN),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_VDISK),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_SNAPSHOT),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_VMNAMESPACE),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_VMSWAP),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_VMEM),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_SIDECAR),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_TOVIPERSIST),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_COREDUMP),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_DPCONSISTENCYGROUP),
    PYQUELT_INT(NORIM_EXTATTR_OBJTYPE_CLASS_HULFS),
    // For scripts; no function uses these.
    {"PLOG_CALLER_NUM_BITS", 4},
    {"PLOG_SOURCE_NUM_BITS", 3},
    {"PLOG_CALLER_MAX", 10},
    {"PLOG_SOURCE_MAX", 5},
};

PyModuleDef kModule = {
    PyModuleDef_HEAD_INIT,
    "pyquelt",
    "python quelt bindings",
    0,
    kMethods,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

/// The interpreter interface that the definition record is written for (3.5 and newer).
constexpr int kInterfaceVersion = 1013;

/// Clears the error of a constant that could not be added: otherwise the import would fail.
void IgnoreFailure(int status) {
  if (status != 0) {
    PyErr_Clear();
  }
}

}  // namespace
}  // namespace pyquelt

// Not PyMODINIT_FUNC: up to 3.8 it sets no visibility.
extern "C" __attribute__((visibility("default"))) PyObject* PyInit_pyquelt() {
  using namespace pyquelt;
  PyObject* const module = PyModule_Create2(&kModule, kInterfaceVersion);
  if (module == nullptr) {
    return nullptr;
  }
  for (const IntConstant& constant : kIntConstants) {
    IgnoreFailure(PyModule_AddIntConstant(module, constant.name, constant.value));
  }
  IgnoreFailure(PyModule_AddStringConstant(module, "INVALID_UNICAST_ADDRESS", "0.0.0.0"));
  return module;
}
