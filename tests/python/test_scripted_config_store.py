"""Configuration-store settings against a host that answers from a script."""

import unittest

import pyquelt
import scripted

# The exception of a failed parse, for each function; None: nothing is parsed.
FUNCTIONS = (
    ("GetHardwareSku", None), ("GetIloAuth", None), ("GetPerfsvcHostConfigStore", None),
    ("SetIloAuth", (RuntimeError, "Failed to extract parameters")),
    ("SetPerfsvcHostConfigStore", (ValueError, "Invalid argument")),
    ("SetClusterTimeMachineConfigStore", (ValueError, "Invalid argument")),
)


class FrameTest(scripted.ScriptedTestCase):

    def test_bad_arguments_reach_the_host_or_raise_something_else(self):
        for name, failure in FUNCTIONS:
            if failure is None:
                continue
            for args in ((), ("a",), ("a", "b", "c"), ("a", 1), (b"a", "b"), ("a", None),
                         ("a", "b\0"), ("a", u"\ud800")):
                with self.subTest(name, args=args):
                    self.assert_raises_exactly(failure[0], failure[1],
                                               getattr(pyquelt, name), *args)
        self.assertEqual(scripted.calls(), [])

    def test_positional_arguments_are_not_ignored(self):
        for name, failure in FUNCTIONS:
            if failure is None:
                getattr(pyquelt, name)(1, "x", None)


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
