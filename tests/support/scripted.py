"""The scripted host for tests: set answers, call pyquelt, read the calls of the host.

Texts are bytes in both directions; a str in an answer is encoded as UTF-8.
"""

import ctypes
import json
import os
import unittest

_library = ctypes.CDLL(os.environ["PYQUELT_SCRIPTED_HOST"])
_library.scripted_host_record.restype = ctypes.c_void_p
live_objects = _library.scripted_host_live_objects
allocations = _library.scripted_host_allocations
live_objects.restype = allocations.restype = ctypes.c_long
reset = _library.scripted_host_reset
set_secret_mode = _library.scripted_host_set_secret_mode
set_counter = _library.scripted_host_counter  # the ctypes.c_long that "watch" waits for
set_counter.argtypes = [ctypes.POINTER(ctypes.c_long)]
set_sync_callback = _library.scripted_host_sync
_libc = ctypes.CDLL(None)
_libc.free.argtypes = [ctypes.c_void_p]


def _encode(value):
    """Converts bytes to texts with one character for each byte."""
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


def answer(operation, answers):
    """Sets the answer of `operation`, or a list for its calls in turn; the last one is repeated."""
    text = json.dumps([_encode(item) for item in
                       (answers if isinstance(answers, list) else [answers])])
    _library.scripted_host_answer(operation.encode(), text.encode())


def out(**outputs):
    """An answer that writes outputs."""
    return {"out": outputs}


def returns(value, **outputs):
    return {"returns": value, "out": outputs}


def throws(text="", kind="QueltCtlException"):
    return {"throws": {"type": kind, "text": text}}


def record(name):
    """One of the records of the host: "calls", "held", "moved", "changed"."""
    pointer = _library.scripted_host_record(name.encode())
    value = json.loads(ctypes.string_at(pointer).decode("utf-8"))
    _libc.free(pointer)
    return value


def calls():
    """The calls so far: (operation, [argument, ...])."""
    return [(operation, _decode(arguments)) for operation, arguments in record("calls")]


# The short operations that are called with the GIL held.
CALLED_WITH_GIL = {"KeyIdForKek", "BuildQueltIPAddress", "IsQueltCSDFeatureEnabled",
                   "IsQueltMetadataNodeFeatureEnabled"}


class ScriptedTestCase(unittest.TestCase):
    """Each test begins with an empty script. It fails when an object of the host is not released,
    or when operations other than `called_with_gil` are called with the GIL held."""

    maxDiff = None
    called_with_gil = CALLED_WITH_GIL  # None: not checked

    def setUp(self):
        reset()
        set_sync_callback(False)
        if self.called_with_gil is not None:
            self.addCleanup(self.check_gil)

    def check_gil(self):
        self.assertEqual(live_objects(), 0)
        made = {operation for operation, _ in calls()}
        self.assertEqual(set(record("held")), made & self.called_with_gil)
