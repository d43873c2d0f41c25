"""The exported value conversions, called as native code outside the module calls them."""

import ctypes
import sys
import unittest

import pyquelt

_library = ctypes.PyDLL(pyquelt.__file__)

# Symbol, native type, (native value, Python value): _PyObject_FromValue<T>(dict, key, T).
CONVERSIONS = (
    ("_Z19_PyObject_FromValueIPKcEP7_objectS3_S1_T_", ctypes.c_char_p,
     ((b"", ""), (b"a\0b", "a"), (u"\u20ac \U0001f600".encode("utf-8"), u"\u20ac \U0001f600"))),
    ("_Z19_PyObject_FromValueIbEP7_objectS1_PKcT_", ctypes.c_bool, ((True, True), (False, False))),
    ("_Z19_PyObject_FromValueIlEP7_objectS1_PKcT_", ctypes.c_long,
     ((0, 0), (-1, -1), (2 ** 63 - 1, 2 ** 63 - 1), (-2 ** 63, -2 ** 63))),
)


def conversion(symbol, native):
    function = getattr(_library, symbol)
    function.restype = ctypes.py_object
    function.argtypes = [ctypes.c_void_p, ctypes.c_char_p, native]
    return function


class ResultHelpersTest(unittest.TestCase):

    def test_value_is_converted_wrongly(self):
        for symbol, native, values in CONVERSIONS:
            for value, expected in values:
                result = conversion(symbol, native)(None, b"ignored", value)
                self.assertEqual((type(result), result), (type(expected), expected))

    def test_undecodable_text_is_converted_or_sets_no_error(self):
        function = conversion(CONVERSIONS[0][0], ctypes.c_char_p)
        self.assertRaises(UnicodeDecodeError, function, None, None, b"\xff")

    def test_result_is_no_new_reference(self):
        function = conversion(CONVERSIONS[1][0], ctypes.c_bool)
        before = sys.getrefcount(True)
        results = [function(None, None, True) for _ in range(1000)]
        if before < 2 ** 20:  # not immortal
            self.assertGreaterEqual(sys.getrefcount(True), before + len(results))
        del results
        self.assertLess(abs(sys.getrefcount(True) - before), 100)


if __name__ == "__main__":
    unittest.main()
