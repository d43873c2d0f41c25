"""Configuration-store settings against a host that answers from a script."""

import os
import subprocess
import sys
import threading
import unittest

import pyquelt
import scripted

# One row for each function: call, operation, exception type and text when the store refuses,
# exception type of a failed parse with its text (None: nothing is parsed).
FUNCTIONS = (
    ("GetHardwareSku", (), ValueError, "Failed to get hardware sku from config store", None),
    ("GetIloAuth", (), ValueError, "Failed to get iLO credential", None),
    ("SetIloAuth", ("a", "b"), ValueError, "Failed to set iLO credential.",
     (RuntimeError, "Failed to extract parameters")),
    ("GetPerfsvcHostConfigStore", (), ValueError, "Failed to get perfsvc host config", None),
    ("SetPerfsvcHostConfigStore", ("a", "b"), ValueError, "Failed to set perfsvc host config",
     (ValueError, "Invalid argument")),
    ("SetClusterTimeMachineConfigStore", ("a", "b"), ValueError,
     "Failed to set norim time machine configurations", (ValueError, "Invalid argument")),
)

# What a platform failure becomes where every std::exception is caught.
PLATFORM_FAILURES = (
    (scripted.throws("a b"), ValueError, "a b"),
    (scripted.throws(u"gr\u00fc\u00df"), ValueError, u"gr\u00fc\u00df"),
    (scripted.throws(b"bad \xff byte"), ValueError, u"bad \ufffd byte"),
    (scripted.throws(b"cut\0here"), ValueError, "cut"),
    (scripted.throws("x" * 100000), ValueError, "x" * 100000),
    (scripted.throws("", "std::runtime_error"), ValueError, ""),
    (scripted.throws("of another type", "std::runtime_error"), ValueError, "of another type"),
    (scripted.throws(kind="std::bad_alloc"), ValueError, "std::bad_alloc"),
    (scripted.throws(kind="int"), RuntimeError, "Unknown platform exception"),
)


class FrameTest(scripted.ScriptedTestCase):

    def test_refusal_has_wrong_type_or_text(self):
        for name, args, kind, text, _ in FUNCTIONS:
            with self.subTest(name):
                scripted.answer(name, {"returns": False})
                self.assert_raises_exactly(kind, text, getattr(pyquelt, name), *args)

    def test_platform_exception_is_lost_or_changed(self):
        for name, args, _, _, _ in FUNCTIONS:
            for answer, kind, text in PLATFORM_FAILURES:
                with self.subTest(name, text=text[:20]):
                    scripted.answer(name, answer)
                    self.assert_raises_exactly(kind, text, getattr(pyquelt, name), *args)

    def test_bad_arguments_reach_the_host_or_raise_something_else(self):
        for name, _, _, _, failure in FUNCTIONS:
            if failure is None:
                continue
            for args in ((), ("a",), ("a", "b", "c"), ("a", 1), (b"a", "b"), ("a", None),
                         ("a", "b\0"), ("a", u"\ud800")):
                with self.subTest(name, args=args):
                    self.assert_raises_exactly(failure[0], failure[1],
                                               getattr(pyquelt, name), *args)
        self.assertEqual(scripted.calls(), [])

    def test_positional_arguments_are_not_ignored_or_keywords_accepted(self):
        for name, _, _, _, failure in FUNCTIONS:
            with self.subTest(name):
                if failure is None:
                    getattr(pyquelt, name)(1, "x", None)
                self.assertRaises(TypeError, getattr(pyquelt, name), first="a", second="b")

    def test_lock_is_held_during_a_slow_operation(self):
        scripted.answer("GetHardwareSku", {"delay": 0.5, "out": {"sku": "x"}})
        thread = threading.Thread(target=pyquelt.GetHardwareSku)
        thread.start()
        steps = 0
        while thread.is_alive():
            steps += 1
        thread.join()
        self.assertGreater(steps, 1000)

    def test_failed_call_breaks_calls_of_other_threads(self):
        scripted.answer("GetHardwareSku", scripted.throws("no"), {"out": {"sku": "yes"}})
        self.assertRaises(ValueError, pyquelt.GetHardwareSku)
        answers = []
        thread = threading.Thread(target=lambda: answers.append(pyquelt.GetHardwareSku()))
        thread.start()
        thread.join()
        self.assertEqual(answers, ["yes"])

    def test_daemon_thread_inside_a_call_spoils_the_exit(self):
        script = (
            "import scripted, pyquelt, threading\n"
            "for delay in (0.02, 0.05, 0.1, 5):\n"
            "    scripted.answer('GetHardwareSku', {'delay': delay, 'out': {'sku': 'x'}})\n"
            "    for _ in range(2):\n"
            "        thread = threading.Thread(target=pyquelt.GetHardwareSku)\n"
            "        thread.daemon = True\n"
            "        thread.start()\n"
            "    while len(scripted.calls()) % 2:\n"
            "        pass\n")
        for _ in range(25):
            child = subprocess.Popen([sys.executable, "-c", script], stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, env=dict(os.environ))
            output = child.communicate()[0]
            self.assertEqual((child.returncode, output), (0, b""))


class SettingsTest(scripted.ScriptedTestCase):

    def test_sku_is_changed_on_its_way(self):
        for stored, sku in ((b"QS-1", "QS-1"), (b"", ""), (b"a\0b", "a"),
                            (u"\u20ac".encode("utf-8"), u"\u20ac")):
            scripted.answer("GetHardwareSku", {"out": {"sku": stored}})
            self.assertEqual(pyquelt.GetHardwareSku(), sku)

    def test_undecodable_text_gets_another_error_than_the_decoding_one(self):
        for operation, out in (("GetHardwareSku", {"sku": b"\xff"}),
                               ("GetIloAuth", {"first": b"\xff", "second": b"b"}),
                               ("GetIloAuth", {"first": b"a", "second": b"\xff"})):
            scripted.answer(operation, {"out": out})
            self.assertRaises(UnicodeDecodeError, getattr(pyquelt, operation))
        for entry in ((b"k", b"\xff"), (b"\xff", b"v")):
            scripted.answer("GetPerfsvcHostConfigStore", {"out": {"config": [entry]}})
            self.assert_raises_exactly(RuntimeError, "PyDict_SetItemString failed!",
                                       pyquelt.GetPerfsvcHostConfigStore)

    def test_texts_of_a_write_are_changed_or_swapped(self):
        for name in ("SetIloAuth", "SetPerfsvcHostConfigStore", "SetClusterTimeMachineConfigStore"):
            self.assertIsNone(getattr(pyquelt, name)(u"\u00fc", ""))
            self.assertEqual(scripted.calls(name), [[u"\u00fc".encode("utf-8"), b""]])

    def test_credential_and_configuration_are_changed_on_their_way(self):
        scripted.answer("GetIloAuth", {"out": {"first": b"u\0x", "second": b""}})
        self.assertEqual(pyquelt.GetIloAuth(), ("u", ""))
        for config in ([], [["k", "v"]], [["k", ""], ["", "v"]]):
            scripted.answer("GetPerfsvcHostConfigStore", {"out": {"config": config}})
            self.assertEqual(pyquelt.GetPerfsvcHostConfigStore(), dict(config))

    def test_synchronisation_callback_runs_at_the_wrong_times(self):
        scripted.set_sync_callback(True)
        pyquelt.SetClusterTimeMachineConfigStore("a", "b")
        self.assertEqual(len(scripted.calls("syncConfigurationCallback")), 0)
        pyquelt.SetPerfsvcHostConfigStore("a", "b")
        self.assertEqual([operation for operation, _ in scripted.calls()][1:],
                         ["SetPerfsvcHostConfigStore", "syncConfigurationCallback"])
        scripted.answer("SetPerfsvcHostConfigStore", {"returns": False})
        self.assertRaises(ValueError, pyquelt.SetPerfsvcHostConfigStore, "a", "b")
        self.assertEqual(len(scripted.calls("syncConfigurationCallback")), 1)
        scripted.answer("SetPerfsvcHostConfigStore", {})
        scripted.answer("syncConfigurationCallback", scripted.throws("not in step"))
        self.assert_raises_exactly(ValueError, "not in step",
                                   pyquelt.SetPerfsvcHostConfigStore, "a", "b")


if __name__ == "__main__":
    unittest.main()
