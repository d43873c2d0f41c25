// What the interpreter loads: definition record, method table, constants, entry point. The only
// file that includes all subject folders.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "config_store/functions.h"
#include "crypto/functions.h"
#include "module/constants.h"
#include "module/function_entries.h"
#include "module/interpreter.h"
#include "network/functions.h"
#include "objects/functions.h"
#include "unicast/functions.h"

namespace pyquelt {
namespace {

/// A row of the method table. A function has either a tuple entry and an array entry (see
/// module/function_entries.h) or an entry for a tuple and keywords.
struct Function {
  const char* name;
  const char* doc;
  PyCFunction tupleEntry = nullptr;
  ArrayEntry arrayEntry = nullptr;
  PyCFunctionWithKeywords keywordEntry = nullptr;
};

// A doc begins with the function's signature in the interpreter's own form: inspect.signature and
// help read it from there, and __doc__ is what follows the marker. `*args` marks the functions that
// ignore their positional arguments. A positional function states the exception and the message for
// arguments that can't be parsed.
// clang-format off
#define PYQUELT_DOC(name, signature, doc) #name, #name signature "\n--\n\n" doc
#define POSITIONAL(name, signature, doc, error, message)         \
  {PYQUELT_DOC(name, signature, doc),                            \
   &Entries<&Py##name>::CallWithTuple<&PyExc_##error, message>,  \
   &Entries<&Py##name>::CallWithArray}
#define NO_ARGUMENTS(name, doc)                                  \
  {PYQUELT_DOC(name, "($module, *args)", doc),                   \
   &Entries<&Py##name>::CallWithTuple<>, &Entries<&Py##name>::CallWithArray}
#define KEYWORDS(name, signature, doc) \
  {PYQUELT_DOC(name, signature, doc), nullptr, nullptr, &Py##name}

#define AGENT_ARGUMENTS                                                   \
  "($module, /, addr, uuid='00000000-0000-0000-0000-000000000000', type=" \
  "'witness', isSupportUnicast=False, port=12321, interface=None, "       \
  "hostname=None, thumbprint=None, subclusterUuid=None)"

constexpr Function kFunctions[] = {
    NO_ARGUMENTS(GetT1DiskInfo, "Get disk info for T1 disks"),
    POSITIONAL(UpgradeFormatVersionForDiskGroup, "($module, diskName, /)",
               "Upgrade format version for given disk group", RuntimeError,
               "Unable to parse diskName"),
    NO_ARGUMENTS(GetHostInfo, "Get certain host info"),
    POSITIONAL(SetKekId, "($module, kekId, /)", "Persist KEK id in iru.conf", RuntimeError,
               "Unable to parse input KEK id"),
    NO_ARGUMENTS(GetKekId, "Get KEK id from iru.conf"),
    POSITIONAL(CheckKmsStatus, "($module, kmipClusterId, keyId, timeout, /)", "Check KMS status",
               RuntimeError, "Unable to parse input parameters"),
    POSITIONAL(SetHostKeyId, "($module, hostKeyId, /)", "Persist HostKey id in iru.conf",
               RuntimeError, "Unable to parse input key id"),
    NO_ARGUMENTS(GetHostKeyId, "Get HostKey id from iru.conf"),
    POSITIONAL(CacheKey, "($module, keyId, attribute, key, /)", "Put key in KeyCache", RuntimeError,
               "Unable to parse input key"),
    POSITIONAL(RemoveKey, "($module, keyId, /)", "Remove key from KeyCache", RuntimeError,
               "Unable to parse input key id"),
    POSITIONAL(SetEncryptionEnabled, "($module, enabled, /)",
               "Set encryption enable state on the host", RuntimeError, "Unable to parse enabled"),
    POSITIONAL(ShallowRekey, "($module, diskNames, /)", "Shallow rekey for given disks",
               RuntimeError, "Unable to parse diskNames"),
    POSITIONAL(AddKmsTrustedCert, "($module, cert, /)", "Add KMS certificate to ca store",
               RuntimeError, "Unable to parse input cert"),
    POSITIONAL(CheckCloudKmsStatus, "($module, kms, /)", "Check AWS KMS status", RuntimeError,
               "Unable to parse input disk name"),
    NO_ARGUMENTS(GetKms, "Get Kms information from iru.conf"),
    POSITIONAL(GetKeyFromKeyCache, "($module, keyId, /)", "Get Key with given id from KeyCache",
               RuntimeError, "Unable to parse input KEK id"),
    POSITIONAL(GetDekFromDisk, "($module, diskName, /)", "Get unwrapped DEK from disk",
               RuntimeError, "Unable to parse input disk name"),
    POSITIONAL(GetWrappedDekFromDisk, "($module, diskName, /)", "Get wrapped DEK from disk",
               RuntimeError, "Unable to parse input disk name"),
    POSITIONAL(Decrypt2kBlock, "($module, dek, position, block, /)", "Decrypt a 2k block",
               RuntimeError, "Unable to parse input"),
    POSITIONAL(GetEncInfoForDisk, "($module, diskName, /)", "Get encryption information for disk",
               RuntimeError, "Unable to parse input disk name"),
    KEYWORDS(GetUnicastAgents, "($module, /, includeExtra=False)",
             "Get existing unicast configuration"),
    KEYWORDS(AddUnicastAgent, AGENT_ARGUMENTS, "Add one new unicast configuration"),
    KEYWORDS(RemoveUnicastAgent, "($module, /, addr, uuid='00000000-0000-0000-0000-000000000000', port=12321, "
             "type='node', replaceWitness=False)",
             "Remove one existing unicast configuration"),
    KEYWORDS(SetUnicastInfoInConfigStore, AGENT_ARGUMENTS,
             "Set unicast agent information in config store"),
    NO_ARGUMENTS(GetUnicastMode, "Get host unicast enablement mode"),
    KEYWORDS(CreateObject, "($module, /, *, ufn=None, haMetaData=None, policy=None, allocType=4, size=0, "
             "capabilities=-1, ignoreExtAttr=False, groupUuid=None, objClass=0, cid=None)",
             "Create Quelt Object"),
    KEYWORDS(DeleteObject, "($module, /, uuid, *, force=False, cid=None)", "Delete Quelt Object"),
    NO_ARGUMENTS(GetOqtaCappedMaxDiskVersion, "Get Oqta capped highest disk version"),
    POSITIONAL(GetKmsPasswordFromConfigStore, "($module, kekId, kmipClusterId, /)",
               "Get Kms password from config store", RuntimeError, "Failed to extract parameters"),
    POSITIONAL(SetPerfsvcHostConfigStore, "($module, first, second, /)",
               "Set host config of perfsvc to config store", ValueError, "Invalid argument"),
    NO_ARGUMENTS(GetPerfsvcHostConfigStore, "Get host config of perfsvc from config store"),
    POSITIONAL(SetClusterTimeMachineConfigStore, "($module, first, second, /)",
               "Set norim time machine configurations to config store", ValueError,
               "Invalid argument"),
    POSITIONAL(GetObjectExtAttrs, "($module, uuids, /)", "Get object extended attributes",
               RuntimeError, "Unable to parse object uuids"),
    NO_ARGUMENTS(GetQueltZelnicNames, "Get quelt zelnic names"),
    NO_ARGUMENTS(GetIloAuth, "Get iLO credential of hardware management from config store"),
    POSITIONAL(SetIloAuth, "($module, first, second, /)",
               "Set iLO credential of hardware management to config store", RuntimeError,
               "Failed to extract parameters"),
    NO_ARGUMENTS(GetHardwareSku, "Get hardware SKU from config store"),
    NO_ARGUMENTS(GetQueltNetworkInfo, "Get Quelt network info"),
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

/// kFunctions in the interpreter's form; the last item is empty.
std::array<PyMethodDef, std::size(kFunctions) + 1> kMethods = [] {
  std::array<PyMethodDef, std::size(kFunctions) + 1> methods{};
  auto* method = methods.data();
  for (const Function& each : kFunctions) {
    *method++ =
        each.keywordEntry == nullptr
            ? PyMethodDef{each.name, each.tupleEntry, METH_VARARGS, each.doc}
            : PyMethodDef{
                  each.name,
                  reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(each.keywordEntry)),
                  METH_VARARGS | METH_KEYWORDS, each.doc};
  }
  return methods;
}();

/// Sets the array entry of each function in the new module.
void SetArrayEntries(PyObject* module) {
  PyObject* const names = PyModule_GetDict(module);
  Py_ssize_t position = 0;
  PyObject* value = nullptr;
  while (PyDict_Next(names, &position, nullptr, &value) != 0) {
    if (!PyCFunction_Check(value)) {
      continue;
    }
    const PyCFunction entry = PyCFunction_GetFunction(value);
    const auto* const found =
        std::find_if(std::begin(kFunctions), std::end(kFunctions),
                     [entry](const Function& each) { return each.tupleEntry == entry; });
    if (found != std::end(kFunctions)) {
      SetArrayEntry(value, found->arrayEntry);
    }
  }
}

PyModuleDef kModule = {
    PyModuleDef_HEAD_INIT,
    "pyquelt",
    "python quelt bindings",
    0,
    kMethods.data(),
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

/// The interpreter interface that the definition record is written for (3.5 and newer).
constexpr int kInterfaceVersion = 1013;

/// Clears the error of a declaration or constant that could not be added: otherwise the import
/// would fail.
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
  IgnoreFailure(DeclareGilUnused(module));
  SetArrayEntries(module);
  for (const IntConstant& constant : kIntConstants) {
    IgnoreFailure(PyModule_AddIntConstant(module, constant.name, constant.value));
  }
  IgnoreFailure(PyModule_AddStringConstant(module, "INVALID_UNICAST_ADDRESS", "0.0.0.0"));
  return module;
}
