"""Every operation of the host on the way of every function fails in every manner, gives no object,
and is slow: one sweep over the ways of sweep.py."""

import ctypes
import threading
import unittest

import pyquelt
import scripted
import sweep

# Exceptions of the host: kind, text, the text as a script reads it.
KINDS = (
    ("QueltCtlException", b"a \xff", u"a \ufffd"),
    ("std::runtime_error", b"a \xff", u"a \ufffd"),
    ("std::bad_alloc", b"", "std::bad_alloc"),
    ("int", b"", ""),
    ("foreign", b"", ""),
)
# More messages, at the last operation of each way.
MESSAGES = tuple(("QueltCtlException", text, shown) for text, shown in (
    (b"", ""), (u"gr\u00fc\u00df %s".encode("utf-8"), u"gr\u00fc\u00df %s"), (b"cut\0here", "cut"),
    (b"\xc3", u"\ufffd"), (b"x" * 100000, "x" * 100000)))
# Refusals without an exception: of the configuration store; and by function, operation, answer,
# what a script gets.
_STORE = (
    ("GetHardwareSku", "Failed to get hardware sku from config store"),
    ("GetIloAuth", "Failed to get iLO credential"), ("SetIloAuth", "Failed to set iLO credential."),
    ("GetPerfsvcHostConfigStore", "Failed to get perfsvc host config"),
    ("SetPerfsvcHostConfigStore", "Failed to set perfsvc host config"),
    ("SetClusterTimeMachineConfigStore", "Failed to set norim time machine configurations"))
_PLUGIN, _SYSTEM = "GetQueltPlugin", "GetHostSystem"
_MODE, _OBJECTS = "Failed to get unicast mode:", "Failed to get objects extended attributes: "
REFUSALS = [(name, name, False, ValueError, text) for name, text in _STORE] + [
    ("GetKekId", _PLUGIN, None, ValueError, "The host library gave no cluster plug-in"),
    ("GetKekId", _SYSTEM, None, ValueError, "The cluster plug-in gave no operations object"),
    ("GetKms", "GetKmsInfoList", None, ValueError, "The cluster plug-in gave no KMS list"),
    ("GetUnicastMode", "GetClusterConfig", None, RuntimeError, _MODE + "no cluster configuration"),
    ("GetUnicastMode", _PLUGIN, None, RuntimeError,
     _MODE + "The host library gave no cluster plug-in"),
    ("AddUnicastAgent", "IsQueltCSDFeatureEnabled", False, RuntimeError,
     "Invalid type specified: remote"),
    ("AddUnicastAgent", "BuildQueltIPAddress", False, RuntimeError,
     "Invalid address specified: 192.0.2.7"),
    ("GetObjectExtAttrs", "ObjLib_Init", False, RuntimeError, _OBJECTS + "ObjLib_Init failed"),
    ("GetObjectExtAttrs", "ObjLib_GetURIPrefix", None, RuntimeError,
     _OBJECTS + "Failed to get quelt URI prefix"),
] + [(verb + "Object", "ObjUtil_" + verb, status, RuntimeError, text)
     for verb in ("Create", "Delete")
     for status, text in ((0x0BAD0005, "Already exists"), (3, "Not found"), (-1, "Unknown status"),
                          (0x0BAD0000 + 361, "Unknown status"),
                          (0x2BAD0000, "Opaque service console status"))]


class PlatformTest(scripted.ScriptedTestCase):

    made_with_lock = None  # looked at for each way

    def assert_fails(self, way, operation, good, expected):
        """The way ends with `expected` at this call of `operation`, and all is given back."""
        sweep.set_answers(way)
        self.assertEqual(sweep.outcome(getattr(pyquelt, way.function), way), expected)
        self.assertEqual(scripted.handed_out(), 0)
        made = [name for name, _ in scripted.calls()]
        self.assertEqual(made.count(operation), good + 1)
        after = made[len(made) - made[::-1].index(operation):]
        self.assertEqual([name for name in after
                          if name[0] != "~" and name not in sweep.SILENT], [])
        # The operations object goes before the plug-in.
        self.assertEqual([name for name in made if name in ("~HostSystem", "~QueltPlugin")],
                         sorted(name for name in made if name in ("~HostSystem", "~QueltPlugin")))

    def test_exception_of_the_host_or_its_message_gets_lost_or_changed(self):
        for way in sweep.WAYS.values():
            operations = sweep.operations(pyquelt, way)
            for operation, good in operations:
                for kind, text, shown in KINDS + MESSAGES * ((operation, good) == operations[-1]):
                    with self.subTest(way.function, operation=operation, good=good, text=text[:9]):
                        failing = sweep.failing(way, operation, good, scripted.throws(text, kind))
                        self.assert_fails(failing, operation, good,
                                          sweep.failure(way, operation, kind, shown))

    def test_refusal_of_the_host_gets_another_exception(self):
        for function, operation, answer, kind, text in REFUSALS:
            with self.subTest(function, operation=operation, answer=answer):
                way = sweep.failing(sweep.WAYS[function], operation, 0, scripted.returns(answer))
                self.assert_fails(way, operation, 0, (kind, text))

    def test_other_threads_stand_still_during_an_operation_or_run_with_the_lock_held(self):
        counter = ctypes.c_long(0)
        ended = []

        def count():
            while not ended:
                counter.value += 1

        scripted.set_counter(counter)
        thread = threading.Thread(target=count)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(ended.append, True)
        for way in sweep.WAYS.values():
            with self.subTest(way.function):
                operations = {operation for operation, _ in sweep.operations(pyquelt, way)}
                quick = operations & sweep.held(way)
                sweep.set_answers(way._replace(answers={
                    operation: dict(way.answers.get(operation, {}),
                                    watch=0.02 if operation in quick else 60)
                    for operation in operations}))
                getattr(pyquelt, way.function)(*way.args, **way.kwargs)
                self.assertEqual(set(scripted.record("held")) - {"~QueltZelNicConfig"}, quick)
                self.assertEqual(set(scripted.record("moved")), operations - quick)


if __name__ == "__main__":
    unittest.main()
