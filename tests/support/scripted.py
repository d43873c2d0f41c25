"""The scripted host, as a test sees it: set answers, call pyquelt, read what reached the host.

Texts go in and come out as bytes; a str in an answer is taken as its UTF-8 encoding.
"""

import ctypes
import json
import os
import unittest

_library = ctypes.CDLL(os.environ["PYQUELT_SCRIPTED_HOST"])
_library.scripted_host_record.restype = ctypes.c_void_p
handed_out = _library.scripted_host_handed_out
allocations = _library.scripted_host_allocations
handed_out.restype = allocations.restype = ctypes.c_long
reset = _library.scripted_host_reset
keep_secrets = _library.scripted_host_keep_secrets
set_counter = _library.scripted_host_counter  # the ctypes.c_long that "watch" looks at
set_counter.argtypes = [ctypes.POINTER(ctypes.c_long)]
set_sync_callback = _library.scripted_host_sync
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


def answer(operation, answers):
    """Sets what `operation` answers, or a list of that, call after call; the last one stays."""
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
    """One of the host's records, as it stands there: "calls", "held", "moved", "changed"."""
    pointer = _library.scripted_host_record(name.encode())
    value = json.loads(ctypes.string_at(pointer).decode("utf-8"))
    _libc.free(pointer)
    return value


def calls():
    """The calls so far: (operation, [argument, ...])."""
    return [(operation, _decode(arguments)) for operation, arguments in record("calls")]


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
            self.addCleanup(self.check_lock)

    def check_lock(self):
        self.assertEqual(handed_out(), 0)
        made = {operation for operation, _ in calls()}
        self.assertEqual(set(record("held")), made & self.made_with_lock)
