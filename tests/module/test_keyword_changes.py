"""A script changes a call's arguments during the call: those of a partial, or the dictionary of
keywords. Up to CPython 3.8, `f(**d)` passes the script's own dictionary; on every version, some C
functions that call others do."""

import contextlib
import ctypes
import functools
import threading
import time
import unittest

import pyquelt
import scripted
import cases

_AGENT = {"addr": "192.0.2.7", "uuid": "uuid of a node", "type": "metadata", "port": 1000,
          "isSupportUnicast": True, "interface": "interface", "hostname": "hostname",
          "thumbprint": "thumbprint", "subclusterUuid": "uuid of a sub-cluster"}
_UUID, _CID = "00112233-4455-6677-8899-aabbccddeeff", "0011223344556677-8899aabbccddeeff"
# Each function with keywords: its arguments, the first operation without the GIL, the operation
# that receives the arguments.
CALLS = (
    ("GetUnicastAgents", {"includeExtra": True}, "GetQueltPlugin", "GetUnicastAgentList"),
    ("AddUnicastAgent", _AGENT, "GetQueltPlugin", "AddUnicastAgentEntry"),
    ("SetUnicastInfoInConfigStore", _AGENT, "GetQueltPlugin", "SetUnicastAgentInConfigStore"),
    ("RemoveUnicastAgent",
     {"addr": "192.0.2.7", "uuid": "uuid of a node", "port": 1000, "type": "witness",
      "replaceWitness": True}, "GetQueltPlugin", "RemoveUnicastAgentEntry"),
    ("CreateObject",
     {"ufn": "friendly name", "haMetaData": "metadata", "policy": "policy", "allocType": 1000,
      "size": 1000, "capabilities": 1000, "ignoreExtAttr": True, "groupUuid": _UUID,
      "objClass": 1000, "cid": _CID}, "ObjUtil_Create", "ObjUtil_Create"),
    ("DeleteObject", {"uuid": _UUID, "force": True, "cid": _CID}, "ObjUtil_Delete",
     "ObjUtil_Delete"))
FLAGS = ("includeExtra", "ignoreExtAttr", "force")
# PyObject_Call passes the dictionary itself, not a copy.
_pyobject_call = ctypes.PYFUNCTYPE(*[ctypes.py_object] * 4)(("PyObject_Call", ctypes.pythonapi))


class Changes(object):
    """A dictionary of keyword arguments that has the only references to its values."""

    def __init__(self, keywords):
        self.keywords = {name: "".join(list(value)) if isinstance(value, str) else value
                         for name, value in keywords.items()}
        self.reused = []

    def make(self):
        """Replaces each value, and reuses the memory of the texts."""
        sizes = {name: len(str(value)) for name, value in self.keywords.items()}
        for name, size in sizes.items():
            self.keywords[name] = "!" * size
            self.reused += ["?" * size for _ in range(1000)]


class ChangingPartial(object):
    """A call whose text only the partial object refers to."""

    def __init__(self, function, text):
        self.call = functools.partial(function, "".join(list(text)))
        self.reused = []

    def make(self):
        size = len(self.call.args[0])
        self.call.__setstate__((self.call.func, (), {}, None))
        self.reused = ["?" * size for _ in range(1000)]


@contextlib.contextmanager
def by_keyword(changes, name):
    """When the parser looks the keyword up."""
    class Keyword(str):
        __hash__ = str.__hash__

        def __eq__(self, other):
            if not changes.reused:
                changes.make()
            return str.__eq__(self, other)

    changes.keywords[Keyword(name)] = changes.keywords.pop(name)
    yield {}


@contextlib.contextmanager
def by_flag(changes, name):
    """When the parser converts the flag."""
    changes.keywords[name] = type("Flag", (), {"__bool__": lambda _: changes.make() or True})()
    yield {}


@contextlib.contextmanager
def by_thread(changes, waiting):
    counter, ended = ctypes.c_long(0), []

    def run():
        while not ended and waiting not in [operation for operation, _ in scripted.calls()]:
            time.sleep(0.001)
        changes.make()
        while not ended:
            counter.value += 1

    scripted.reset()
    scripted.set_counter(counter)
    thread = threading.Thread(target=run)
    thread.start()
    try:
        yield {"watch": 60}
    finally:
        ended.append(True)
        thread.join()


class KeywordChangesTest(scripted.ScriptedTestCase):

    def outcome(self, function, keywords, answers):
        """The result or exception of the call, and the calls of the host."""
        case = cases.Case(function, (getattr(pyquelt, function), (), keywords), {}, answers)
        cases.set_answers(case)
        outcome = cases.outcome(_pyobject_call, case)
        self.assertEqual(scripted.record("changed"), [])
        return outcome, scripted.calls()

    def check(self, call, change, *details):
        """The call has the same outcome with the change as without."""
        function, keywords, waiting, operation = call
        for answers in {}, {operation: scripted.throws("no")}:
            with self.subTest(function, change=change.__name__, details=details, answers=answers):
                expected = self.outcome(function, keywords, answers)
                changes = Changes(keywords)
                with change(changes, *details) as answer:
                    answer.update(answers.get(waiting, {}))
                    self.assertEqual(self.outcome(function, changes.keywords, dict(
                        answers, **{waiting: answer})), expected)
                self.assertTrue(changes.reused)

    def test_call_keeps_its_arguments_when_code_run_by_the_parser_changes_them(self):
        for call in CALLS:
            for name in call[1]:
                self.check(call, by_keyword, name)
                if name in FLAGS:
                    self.check(call, by_flag, name)

    def test_call_keeps_its_arguments_when_another_thread_changes_them(self):
        for call in CALLS:
            self.check(call, by_thread, call[2])

    def test_call_keeps_the_arguments_of_a_partial_that_another_thread_replaces(self):
        changes = ChangingPartial(pyquelt.SetKekId, "id of a key")
        with by_thread(changes, "GetQueltPlugin") as answer:
            scripted.answer("GetQueltPlugin", answer)
            changes.call()
        self.assertTrue(changes.reused)
        self.assertIn(("PersistKekId", [b"id of a key"]), scripted.calls())


if __name__ == "__main__":
    unittest.main()
