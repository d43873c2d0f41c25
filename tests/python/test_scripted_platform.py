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
# Messages, as the host writes them and as a script reads them.
MESSAGES = (
    (b"", ""), (u"gr\u00fc\u00df %s".encode("utf-8"), u"gr\u00fc\u00df %s"), (b"cut\0here", "cut"),
    (b"\xc3", u"\ufffd"), (b"x" * 100000, "x" * 100000),
)
_STATUS, _OBJECTS = 0x0BAD0000, "Failed to get objects extended attributes: "
# A refusal without an exception: function, operation, answer, exception type, text.
REFUSALS = (
    ("GetHardwareSku", "GetHardwareSku", False, ValueError,
     "Failed to get hardware sku from config store"),
    ("GetIloAuth", "GetIloAuth", False, ValueError, "Failed to get iLO credential"),
    ("SetIloAuth", "SetIloAuth", False, ValueError, "Failed to set iLO credential."),
    ("GetPerfsvcHostConfigStore", "GetPerfsvcHostConfigStore", False, ValueError,
     "Failed to get perfsvc host config"),
    ("SetPerfsvcHostConfigStore", "SetPerfsvcHostConfigStore", False, ValueError,
     "Failed to set perfsvc host config"),
    ("SetClusterTimeMachineConfigStore", "SetClusterTimeMachineConfigStore", False, ValueError,
     "Failed to set norim time machine configurations"),
    ("GetKekId", "GetQueltPlugin", None, ValueError, "The host library gave no cluster plug-in"),
    ("GetKekId", "GetHostSystem", None, ValueError,
     "The cluster plug-in gave no operations object"),
    ("GetKms", "GetKmsInfoList", None, ValueError, "The cluster plug-in gave no KMS list"),
    ("GetUnicastMode", "GetClusterConfig", None, RuntimeError,
     "Failed to get unicast mode:no cluster configuration"),
    ("GetUnicastMode", "GetQueltPlugin", None, RuntimeError,
     "Failed to get unicast mode:The host library gave no cluster plug-in"),
    ("AddUnicastAgent", "IsQueltCSDFeatureEnabled", False, RuntimeError,
     "Invalid type specified: remote"),
    ("AddUnicastAgent", "BuildQueltIPAddress", False, RuntimeError,
     "Invalid address specified: 192.0.2.7"),
    ("GetObjectExtAttrs", "ObjLib_Init", False, RuntimeError, _OBJECTS + "ObjLib_Init failed"),
    ("GetObjectExtAttrs", "ObjLib_GetURIPrefix", None, RuntimeError,
     _OBJECTS + "Failed to get quelt URI prefix"),
) + tuple(
    (function, operation, status, RuntimeError, text)
    for function, operation in (("CreateObject", "ObjUtil_Create"),
                                ("DeleteObject", "ObjUtil_Delete"))
    for status, text in ((_STATUS + 5, "Already exists"), (3, "Not found"), (-1, "Unknown status"),
                         (_STATUS + 361, "Unknown status"),
                         (0x2BAD0000, "Opaque service console status")))


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

    def test_exception_of_the_host_gets_lost_or_changed(self):
        for way in sweep.WAYS.values():
            for operation, good in sweep.operations(pyquelt, way):
                for kind, text, shown in KINDS:
                    with self.subTest(way.function, operation=operation, good=good, kind=kind):
                        failing = sweep.failing(way, operation, good, scripted.throws(text, kind))
                        self.assert_fails(failing, operation, good,
                                          sweep.failure(way, operation, kind, shown))

    def test_message_of_the_host_gets_lost_or_changed(self):
        for way in sweep.WAYS.values():
            operation, good = sweep.operations(pyquelt, way)[-1]
            for text, shown in MESSAGES:
                with self.subTest(way.function, operation=operation, text=text[:9]):
                    failing = sweep.failing(way, operation, good, scripted.throws(text))
                    self.assert_fails(failing, operation, good, sweep.failure(
                        way, operation, "QueltCtlException", shown))

    def test_refusal_of_the_host_gets_another_exception(self):
        for function, operation, answer, kind, text in REFUSALS:
            with self.subTest(function, operation=operation, answer=answer):
                way = sweep.failing(sweep.WAYS[function], operation, 0, {"returns": answer})
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
