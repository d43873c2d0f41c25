"""Keywords of the signatures, importing the module, and the interface for native code: exports,
conversions of values, status texts. packages.test_reference compares names, doc strings and
constants with the page."""

import ctypes
import inspect
import os
import subprocess
import sys
import unittest

import fault_rows
import pyquelt

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
    b"Success": (0,), b"Not found": (3,), b"Already exists": (5, 0x0BAD0005),
    b"Failure": (0x0BAD0001,),
    b"Generic service console error": (360, 0x0BAD0000 + 360),
    b"Unknown status": (361, -1, -0x80000000, 0x0BAD0000, 0x0BAD0000 + 361, 0x2BACFFFF),
    b"Opaque service console status": (0x2BAD0000, 0x7FFFFFFF)}


def conversion(symbol, native):
    function = getattr(ctypes.PyDLL(pyquelt.__file__), symbol)
    function.restype = ctypes.py_object
    function.argtypes = [ctypes.c_void_p, ctypes.c_char_p, native]
    return function


class ModuleTest(unittest.TestCase):

    def test_functions_without_keywords_in_their_signature_reject_them(self):
        self.assertEqual(pyquelt.__doc__, "python quelt bindings")
        functions = [value for value in vars(pyquelt).values() if inspect.isbuiltin(value)]
        positional = [function for function in functions if all(
            parameter.kind in (parameter.POSITIONAL_ONLY, parameter.VAR_POSITIONAL)
            for parameter in inspect.signature(function).parameters.values())]
        self.assertEqual((len(functions), len(positional)), (38, 32))
        for function in positional:
            self.assertRaises(TypeError, function, keyword=1)

    def test_library_exports_only_its_interface(self):
        listing = subprocess.check_output(["nm", "-D", "--defined-only", pyquelt.__file__])
        self.assertEqual({line.split()[-1].decode() for line in listing.splitlines()}, EXPORTS)


# Prints the error of the import in a subinterpreter that shares the GIL, and in one with its own.
_SUBINTERPRETERS = """
try:
    import _interpreters as interpreters
    kinds = "legacy", "isolated"
    create = interpreters.create
except ImportError:
    import _xxsubinterpreters as interpreters
    kinds = False, True
    create = lambda kind: interpreters.create(isolated=kind)
for kind in kinds:
    try:
        print(interpreters.run_string(create(kind), "import pyquelt; pyquelt.GetKekId()"))
    except interpreters.RunFailedError as error:
        print(error)
"""


class ImportTest(unittest.TestCase):

    def output(self, script):
        """What a new interpreter prints, warnings included."""
        environment = {name: value for name, value in os.environ.items() if name != "PYTHON_GIL"}
        return subprocess.check_output([sys.executable, "-W", "always", "-c", script],
                                       stderr=subprocess.STDOUT, env=environment).decode()

    @unittest.skipUnless(fault_rows.FREE_THREADED, "not a free-threaded interpreter")
    def test_import_leaves_the_gil_disabled_without_a_warning(self):
        self.assertEqual(self.output("import sys, pyquelt; print(sys._is_gil_enabled())"),
                         "False\n")

    @unittest.skipIf(sys.version_info < (3, 12), "its subinterpreters all share one GIL")
    def test_subinterpreter_with_its_own_gil_is_rejected_by_import_error(self):
        shared, own = self.output(_SUBINTERPRETERS).split("\n", 1)
        for text in [own] + [shared] * fault_rows.FREE_THREADED:  # without a GIL, none is shared
            self.assertIn("ImportError", text)
            self.assertIn("module pyquelt does not support loading in subinterpreters", text)
        self.assertEqual(shared == "None", not fault_rows.FREE_THREADED)


class NativeCallerTest(unittest.TestCase):

    def test_native_values_become_python_values_of_the_same_type(self):
        for symbol, native, values in CONVERSIONS:
            for value, expected in values:
                result = conversion(symbol, native)(None, b"ignored", value)
                self.assertEqual((type(result), result), (type(expected), expected))
        self.assertRaises(UnicodeDecodeError, conversion(_TEXT, ctypes.c_char_p), None, None,
                          b"\xff")

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
