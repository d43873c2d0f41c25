"""The scripted host, as a test sees it: set answers, call pyquelt, read what reached the host.

Texts go in and come out as bytes; a str in an answer is taken as its UTF-8 encoding.
"""

import ctypes
import json
import os
import unittest

_library = ctypes.CDLL(os.environ["PYQUELT_SCRIPTED_HOST"])
_library.scripted_host_record.restype = ctypes.c_void_p
_library.scripted_host_counter.argtypes = [ctypes.POINTER(ctypes.c_long)]
handed_out = _library.scripted_host_handed_out
allocations = _library.scripted_host_allocations
handed_out.restype = allocations.restype = ctypes.c_long
reset = _library.scripted_host_reset
keep_secrets = _library.scripted_host_keep_secrets
_libc = ctypes.CDLL(None)
_libc.free.argtypes = [ctypes.c_void_p]


def _encode(value):
    """Byte strings become texts in which one character stands for one byte."""
    if isinstance(value, str):
        value = value.encode("utf-8")
    if isinstance(value, bytes):
        return value.decode("latin-1")
    if isinstance(value, dict):
        return {key: _encode(item) for key, item in value.items()}
    if isinstance(value, (list, tuple)):
        return [_encode(item) for item in value]
    return value


def _decode(value):
    if isinstance(value, str):
        return value.encode("latin-1")
    if isinstance(value, list):
        return [_decode(item) for item in value]
    return value


def answer(operation, *answers):
    """Sets what `operation` answers, call after call; the last answer stays. A list is taken as
    several."""
    if answers and isinstance(answers[0], list):
        answers = answers[0]
    text = json.dumps([_encode(item) for item in answers] or [{}])
    _library.scripted_host_answer(operation.encode(), text.encode())


def throws(text="", kind="QueltCtlException"):
    """An answer that throws."""
    return {"throws": {"type": kind, "text": text}}


def record(name):
    """One of the host's records, as it stands there: "calls", "held", "moved"."""
    pointer = _library.scripted_host_record(name.encode())
    value = json.loads(ctypes.string_at(pointer).decode("utf-8"))
    _libc.free(pointer)
    return value


def calls(name=None):
    """The calls so far as (operation, [argument, ...]); with a name, the arguments of its calls."""
    made = [(operation, _decode(arguments)) for operation, arguments in record("calls")]
    return made if name is None else [arguments for op, arguments in made if op == name]


def set_counter(counter):
    """The ctypes.c_long that "watch" looks at."""
    _library.scripted_host_counter(counter)


def set_sync_callback(is_set):
    _library.scripted_host_sync(is_set)


# The quick calls that are made with the interpreter lock held.
MADE_WITH_LOCK = {"KeyIdForKek", "BuildQueltIPAddress", "IsQueltCSDFeatureEnabled",
                  "IsQueltMetadataNodeFeatureEnabled"}


class ScriptedTestCase(unittest.TestCase):
    """Each test begins with an empty script, and fails when an operation is waited for with the
    interpreter lock held, or one of the quick ones without."""

    maxDiff = None
    made_with_lock = MADE_WITH_LOCK  # None: not looked at

    def setUp(self):
        reset()
        set_sync_callback(False)
        if self.made_with_lock is not None:
            self.addCleanup(self._check_lock)

    def _check_lock(self):
        self.assertEqual(handed_out(), 0)
        made = {operation for operation, _ in calls()}
        held = set(record("held"))
        self.assertEqual(held, made & self.made_with_lock)

    def assert_raises_exactly(self, kind, text, function, *args, **kwargs):
        """Exactly this type, exactly this text."""
        with self.assertRaises(Exception) as caught:
            function(*args, **kwargs)
        self.assertIs(type(caught.exception), kind, caught.exception)
        self.assertEqual(str(caught.exception), text)
