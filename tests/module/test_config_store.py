"""Configuration-store settings, on the scripted host."""

import unittest

import scripted
from fault_rows.config_store import NOT_SET
from rows import RowTestCase, call, op, text_rows
from scripted import out

SKU = call.GetHardwareSku()
CREDENTIAL = call.GetIloAuth()
CONFIG = call.GetPerfsvcHostConfigStore()


class SettingsTest(RowTestCase):

    def test_settings_are_returned_as_stored(self):
        self.check_rows(
            text_rows(SKU, lambda text: {"GetHardwareSku": out(sku=text)}, lambda text: text) +
            text_rows(CREDENTIAL, lambda text: {"GetIloAuth": out(first=text, second="b")},
                      lambda text: (text, "b")) +
            text_rows(CREDENTIAL, lambda text: {"GetIloAuth": out(first="a", second=text)},
                      lambda text: ("a", text)) +
            text_rows(CONFIG, lambda text: {"GetPerfsvcHostConfigStore": out(config=[["k", text]])},
                      lambda text: {"k": text}, NOT_SET) +
            text_rows(CONFIG, lambda text: {
                "GetPerfsvcHostConfigStore": out(config=[[text, "v"], ["k", "w"]])},
                      lambda text: {text: "v", "k": "w"}, NOT_SET) +
            [(CONFIG, {}, {}, [op.GetPerfsvcHostConfigStore()])])

    def test_settings_reach_the_host_before_the_sync_callback(self):
        for is_set in (False, True):
            scripted.set_sync_callback(is_set)
            self.check_rows(
                (getattr(call, name)(u"\u00fc", ""), {}, None,
                 [getattr(op, name)(b"\xc3\xbc", b"")] + later)
                for name, later in (
                    ("SetIloAuth", []), ("SetClusterTimeMachineConfigStore", []),
                    ("SetPerfsvcHostConfigStore", [op.syncConfigurationCallback()] * is_set)))


if __name__ == "__main__":
    unittest.main()
