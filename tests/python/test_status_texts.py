"""The exported kernel status texts, read as native code outside the module reads them."""

import ctypes
import unittest

import pyquelt

ROWS = 361

TEXTS_BY_CODE = (
    (0, b"Success"),
    (5, b"Already exists"),
    (0x0BAD0005, b"Already exists"),
    (360, b"Generic service console error"),
    (361, b"Unknown status"),
    (-1, b"Unknown status"),
    (-0x80000000, b"Unknown status"),
    (0x0BAD0000, b"Unknown status"),
    (0x0BAD0001, b"Failure"),
    (0x0BAD0000 + 360, b"Generic service console error"),
    (0x0BAD0000 + 361, b"Unknown status"),
    (0x2BACFFFF, b"Unknown status"),
    (0x2BAD0000, b"Opaque service console status"),
    (0x7FFFFFFF, b"Opaque service console status"),
)


class StatusTextsTest(unittest.TestCase):

    def setUp(self):
        self.library = ctypes.CDLL(pyquelt.__file__)
        self.to_text = self.library.ZEL_ReturnStatusToString
        self.to_text.argtypes = [ctypes.c_int]
        self.to_text.restype = ctypes.c_char_p

    def test_code_gives_wrong_text(self):
        for code, text in TEXTS_BY_CODE:
            with self.subTest(code=hex(code)):
                self.assertEqual(self.to_text(code), text)

    def test_table_row_is_missing_untidy_or_repeated(self):
        table = (ctypes.c_char_p * ROWS).in_dll(self.library, "returnStatusStrs")
        self.assertNotIn(None, list(table))
        texts = [row.decode("ascii") for row in table]
        self.assertEqual(texts, [" ".join(text.split()) for text in texts])
        self.assertEqual(len({text.lower() for text in texts}), ROWS)
