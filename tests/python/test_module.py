"""The module as an import shows it: names, doc strings, constants, signatures, exports."""

import inspect
import subprocess
import unittest

import pyquelt

POSITIONAL = {
    "GetT1DiskInfo": "Get disk info for T1 disks",
    "UpgradeFormatVersionForDiskGroup": "Upgrade format version for given disk group",
    "GetHostInfo": "Get certain host info",
    "SetKekId": "Persist KEK id in iru.conf",
    "GetKekId": "Get KEK id from iru.conf",
    "CheckKmsStatus": "Check KMS status",
    "SetHostKeyId": "Persist HostKey id in iru.conf",
    "GetHostKeyId": "Get HostKey id from iru.conf",
    "CacheKey": "Put key in KeyCache",
    "RemoveKey": "Remove key from KeyCache",
    "SetEncryptionEnabled": "Set encryption enable state on the host",
    "ShallowRekey": "Shallow rekey for given disks",
    "AddKmsTrustedCert": "Add KMS certificate to ca store",
    "CheckCloudKmsStatus": "Check AWS KMS status",
    "GetKms": "Get Kms information from iru.conf",
    "GetKeyFromKeyCache": "Get Key with given id from KeyCache",
    "GetDekFromDisk": "Get unwrapped DEK from disk",
    "GetWrappedDekFromDisk": "Get wrapped DEK from disk",
    "Decrypt2kBlock": "Decrypt a 2k block",
    "GetEncInfoForDisk": "Get encryption information for disk",
    "GetUnicastMode": "Get host unicast enablement mode",
    "GetOqtaCappedMaxDiskVersion": "Get Oqta capped highest disk version",
    "GetKmsPasswordFromConfigStore": "Get Kms password from config store",
    "SetPerfsvcHostConfigStore": "Set host config of perfsvc to config store",
    "GetPerfsvcHostConfigStore": "Get host config of perfsvc from config store",
    "SetClusterTimeMachineConfigStore": "Set norim time machine configurations to config store",
    "GetObjectExtAttrs": "Get object extended attributes",
    "GetQueltZelnicNames": "Get quelt zelnic names",
    "GetIloAuth": "Get iLO credential of hardware management from config store",
    "SetIloAuth": "Set iLO credential of hardware management to config store",
    "GetHardwareSku": "Get hardware SKU from config store",
    "GetQueltNetworkInfo": "Get Quelt network info",
}

KEYWORDS = {
    "GetUnicastAgents": "Get existing unicast configuration",
    "AddUnicastAgent": "Add one new unicast configuration",
    "RemoveUnicastAgent": "Remove one existing unicast configuration",
    "SetUnicastInfoInConfigStore": "Set unicast agent information in config store",
    "CreateObject": "Create Quelt Object",
    "DeleteObject": "Delete Quelt Object",
}

OBJECT_CLASSES = ("VDISK", "SNAPSHOT", "VMNAMESPACE", "VMSWAP", "VMEM", "SIDECAR", "TOVIPERSIST",
                  "COREDUMP", "DPCONSISTENCYGROUP", "HULFS")

CONSTANTS = dict(
    [("NORIM_EXTATTR_OBJTYPE_CLASS_" + name, value) for value, name in enumerate(OBJECT_CLASSES)],
    OBJ_ALLOC_TYPE_INVALID=0, OBJ_ALLOC_TYPE_THICK=1, OBJ_ALLOC_TYPE_EAGER_ZEROED_THICK=2,
    OBJ_ALLOC_TYPE_ZEROED_THICK=3, OBJ_ALLOC_TYPE_THIN=4, PLOG_CALLER_NUM_BITS=4,
    PLOG_SOURCE_NUM_BITS=3, PLOG_CALLER_MAX=10, PLOG_SOURCE_MAX=5,
    INVALID_UNICAST_ADDRESS="0.0.0.0")

EXPORTS = {
    "PyInit_pyquelt", "ZEL_ReturnStatusToString", "returnStatusStrs",
    "_Z19_PyObject_FromValueIPKcEP7_objectS3_S1_T_", "_Z19_PyObject_FromValueIbEP7_objectS1_PKcT_",
    "_Z19_PyObject_FromValueIlEP7_objectS1_PKcT_",
}


class ModuleTest(unittest.TestCase):

    def test_name_is_missing_extra_or_has_another_value(self):
        self.assertEqual(pyquelt.__doc__, "python quelt bindings")
        shown = {name: getattr(pyquelt, name) for name in dir(pyquelt)
                 if not name.startswith("__")}
        functions = {name: value.__doc__ for name, value in shown.items() if callable(value)}
        self.assertEqual(functions, dict(POSITIONAL, **KEYWORDS))
        constants = {name: value for name, value in shown.items() if not callable(value)}
        self.assertEqual(constants, CONSTANTS)

    def test_function_takes_keywords_wrongly_or_shows_no_signature(self):
        for name in POSITIONAL:
            self.assertRaises(TypeError, getattr(pyquelt, name), keyword=1)
        for name in list(POSITIONAL) + list(KEYWORDS):
            parameters = inspect.signature(getattr(pyquelt, name)).parameters.values()
            by_keyword = any(parameter.kind in (parameter.KEYWORD_ONLY,
                                                parameter.POSITIONAL_OR_KEYWORD)
                             for parameter in parameters)
            self.assertEqual(by_keyword, name in KEYWORDS, name)

    def test_symbol_is_exported_that_should_not_be_or_the_reverse(self):
        listing = subprocess.check_output(["nm", "-D", "--defined-only", pyquelt.__file__])
        self.assertEqual({line.split()[-1].decode() for line in listing.splitlines()}, EXPORTS)


if __name__ == "__main__":
    unittest.main()
