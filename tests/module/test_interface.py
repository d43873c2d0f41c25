"""The interface of the module in Python: names, doc strings, constants, signatures; and for native
code: exports, conversions of values, status texts."""

import ctypes
import inspect
import subprocess
import sys
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

# Exported conversions, _PyObject_FromValue<T>(dict, key, T): symbol, native type, pairs of a native
# value and its Python value.
_TEXT, _BOOL, _LONG = ("_Z19_PyObject_FromValueIPKcEP7_objectS3_S1_T_",
                       "_Z19_PyObject_FromValueIbEP7_objectS1_PKcT_",
                       "_Z19_PyObject_FromValueIlEP7_objectS1_PKcT_")
CONVERSIONS = (
    (_TEXT, ctypes.c_char_p, [(b"", ""), (b"a\0b", "a"), (
        u"\u20ac \U0001f600".encode("utf-8"), u"\u20ac \U0001f600")]),
    (_BOOL, ctypes.c_bool, [(True, True), (False, False)]),
    (_LONG, ctypes.c_long, [(value, value) for value in (0, -1, 2 ** 63 - 1, -2 ** 63)]))
EXPORTS = {"PyInit_pyquelt", "ZEL_ReturnStatusToString", "returnStatusStrs", _TEXT, _BOOL, _LONG}

# Texts of kernel status codes, at the limits of the table.
STATUS_ROWS = 361
STATUS_TEXTS = {
    b"Success": (0,), b"Already exists": (5, 0x0BAD0005), b"Failure": (0x0BAD0001,),
    b"Generic service console error": (360, 0x0BAD0000 + 360),
    b"Unknown status": (361, -1, -0x80000000, 0x0BAD0000, 0x0BAD0000 + 361, 0x2BACFFFF),
    b"Opaque service console status": (0x2BAD0000, 0x7FFFFFFF)}


def conversion(symbol, native):
    function = getattr(ctypes.PyDLL(pyquelt.__file__), symbol)
    function.restype = ctypes.py_object
    function.argtypes = [ctypes.c_void_p, ctypes.c_char_p, native]
    return function


class ModuleTest(unittest.TestCase):

    def test_module_has_exactly_the_documented_names_and_values(self):
        self.assertEqual(pyquelt.__doc__, "python quelt bindings")
        shown = {name: getattr(pyquelt, name) for name in dir(pyquelt)
                 if not name.startswith("__")}
        functions = {name: value.__doc__ for name, value in shown.items() if callable(value)}
        self.assertEqual(functions, dict(POSITIONAL, **KEYWORDS))
        constants = {name: value for name, value in shown.items() if not callable(value)}
        self.assertEqual(constants, CONSTANTS)

    def test_signatures_show_which_functions_take_keywords(self):
        for name in POSITIONAL:
            self.assertRaises(TypeError, getattr(pyquelt, name), keyword=1)
        for name in list(POSITIONAL) + list(KEYWORDS):
            parameters = inspect.signature(getattr(pyquelt, name)).parameters.values()
            by_keyword = any(parameter.kind in (parameter.KEYWORD_ONLY,
                                                parameter.POSITIONAL_OR_KEYWORD)
                             for parameter in parameters)
            self.assertEqual(by_keyword, name in KEYWORDS, name)

    def test_library_exports_only_its_interface(self):
        listing = subprocess.check_output(["nm", "-D", "--defined-only", pyquelt.__file__])
        self.assertEqual({line.split()[-1].decode() for line in listing.splitlines()}, EXPORTS)


class NativeCallerTest(unittest.TestCase):

    def test_native_values_become_python_values_of_the_same_type(self):
        for symbol, native, values in CONVERSIONS:
            for value, expected in values:
                result = conversion(symbol, native)(None, b"ignored", value)
                self.assertEqual((type(result), result), (type(expected), expected))
        self.assertRaises(UnicodeDecodeError, conversion(_TEXT, ctypes.c_char_p), None, None,
                          b"\xff")

    def test_conversion_returns_a_new_reference(self):
        function = conversion(_BOOL, ctypes.c_bool)
        before = sys.getrefcount(True)
        results = [function(None, None, True) for _ in range(1000)]
        if before < 2 ** 20:  # not immortal
            self.assertGreaterEqual(sys.getrefcount(True), before + len(results))
        del results
        self.assertLess(abs(sys.getrefcount(True) - before), 100)

    def test_each_status_code_has_its_own_text(self):
        library = ctypes.CDLL(pyquelt.__file__)
        library.ZEL_ReturnStatusToString.argtypes = [ctypes.c_int]
        library.ZEL_ReturnStatusToString.restype = ctypes.c_char_p
        for text, codes in STATUS_TEXTS.items():
            for code in codes:
                self.assertEqual(library.ZEL_ReturnStatusToString(code), text, hex(code))
        table = (ctypes.c_char_p * STATUS_ROWS).in_dll(library, "returnStatusStrs")
        self.assertNotIn(None, list(table))
        texts = [row.decode("ascii") for row in table]
        self.assertEqual(texts, [" ".join(text.split()) for text in texts])
        self.assertEqual(len({text.lower() for text in texts}), STATUS_ROWS)


if __name__ == "__main__":
    unittest.main()
