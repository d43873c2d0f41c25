"""Storage network interfaces against a host that answers from a script."""

import sys
import unittest

import pyquelt
import scripted

# Keys in the dictionary's order, the getter behind each.
ITEMS = (
    ("ZelNic Name", "GetZelnicName"),
    ("IP Protocol", None),
    ("Interface UUID", "GetIfaceUuid"),
    ("Agent Group Multicast Address", "GetAgentMulticastGroup"),
    ("Agent Group IPv6 Multicast Address", "GetAgentV6MulticastGroup"),
    ("Agent Group Multicast Port", "GetAgentMulticastPort"),
    ("Master Group Multicast Address", "GetMasterMulticastGroup"),
    ("Master Group IPv6 Multicast Address", "GetMasterV6MulticastGroup"),
    ("Master Group Multicast Port", "GetMasterMulticastPort"),
    ("Host Unicast Channel Bound Port", "GetHostUnicastPort"),
    ("Multicast TTL", "GetMulticastTTL"),
    ("Traffic Type", "GetTrafficType"),
)
GETTERS = ["GetZelnicName", "GetIfaceUuid", "GetAgentMulticastGroup", "GetAgentV6MulticastGroup",
           "GetMasterMulticastGroup", "GetMasterV6MulticastGroup", "GetTrafficType",
           "GetAgentMulticastPort", "GetMasterMulticastPort", "GetHostUnicastPort",
           "GetMulticastTTL"]
VALUES = {"GetZelnicName": "z", "GetIfaceUuid": "u", "GetAgentMulticastGroup": "239.0.0.1",
          "GetAgentV6MulticastGroup": "ff15::1", "GetMasterMulticastGroup": "239.0.0.2",
          "GetMasterV6MulticastGroup": "ff15::2", "GetTrafficType": "quelt",
          "GetAgentMulticastPort": 1, "GetMasterMulticastPort": 2, "GetHostUnicastPort": 3,
          "GetMulticastTTL": 4}
BEFORE = ["GetQueltPlugin", "GetHostSystem", "GetZelNicConfigs"]
RELEASES = ["~HostSystem", "~QueltPlugin"]


def interface(**values):
    return dict(VALUES, **values)


def shown(**values):
    values = dict(VALUES, **values)
    return {key: values[getter] if getter else "IP" for key, getter in ITEMS}


def set_interfaces(*interfaces):
    scripted.answer("GetZelNicConfigs", {"out": {"interfaces": interfaces}})


def operations():
    return [operation for operation, _ in scripted.calls()]


class NetworkInfoTest(scripted.ScriptedTestCase):

    made_with_lock = scripted.MADE_WITH_LOCK | set(GETTERS) | {"~QueltZelNicConfig"}

    def test_item_is_missing_or_changed(self):
        table = (
            ([], []),
            ([interface(), interface(GetZelnicName="y")], [shown(), shown(GetZelnicName="y")]),
            # The text goes with the flag of the address, not with the key.
            ([interface(GetAgentMulticastGroup="ff15::9", GetMasterV6MulticastGroup="239.0.0.9")],
             [shown(GetAgentMulticastGroup="ff15::9", GetMasterV6MulticastGroup="239.0.0.9")]),
            ([interface(GetAgentMulticastPort=-1, GetMasterMulticastPort=-2 ** 31,
                        GetHostUnicastPort=2 ** 31 - 1, GetMulticastTTL=0)],
             [shown(GetAgentMulticastPort=-1, GetMasterMulticastPort=-2 ** 31,
                    GetHostUnicastPort=2 ** 31 - 1, GetMulticastTTL=0)]),
            ([interface(GetZelnicName=b"a\0b", GetIfaceUuid=b"\0", GetTrafficType=b"")],
             [shown(GetZelnicName="a", GetIfaceUuid="", GetTrafficType="")]),
        )
        for interfaces, expected in table:
            set_interfaces(*interfaces)
            self.assertEqual(pyquelt.GetQueltNetworkInfo(), expected)
        if sys.version_info >= (3, 6):
            self.assertEqual(list(pyquelt.GetQueltNetworkInfo("ignored", 1)[0]),
                             [key for key, _ in ITEMS])

    def test_getters_run_in_another_order_or_before_the_releases(self):
        set_interfaces(interface(), interface())
        pyquelt.GetQueltNetworkInfo()
        self.assertEqual(operations(), BEFORE + RELEASES + GETTERS * 2 +
                         ["~QueltZelNicConfig"] * 2)

    def test_undecodable_text_is_shown_or_told_otherwise(self):
        for getter in ("GetZelnicName", "GetIfaceUuid", "GetTrafficType"):
            set_interfaces(interface(), interface(**{getter: b"\xff"}))
            self.assert_raises_exactly(RuntimeError, "zelDict is null!",
                                       pyquelt.GetQueltNetworkInfo)


class ZelnicNamesTest(scripted.ScriptedTestCase):

    def test_interface_is_selected_wrongly(self):
        listed = (
            ("a", "quelt"), ("b", "all"), ("c", "Quelt"), ("d", "ALL"), ("e", "quelt "), ("f", ""),
            ("g", b"all\0"), ("a", "all"), (b"h\0\xc3\xbc", "quelt"))
        set_interfaces(*[interface(GetZelnicName=name, GetTrafficType=traffic)
                         for name, traffic in listed])
        self.assertEqual(pyquelt.GetQueltZelnicNames("ignored", 1),
                         ["a", "b", "a", u"h\0\u00fc"])
        set_interfaces(interface(GetTrafficType="management"))
        self.assertEqual(pyquelt.GetQueltZelnicNames(), [])
        set_interfaces()
        self.assertEqual(pyquelt.GetQueltZelnicNames(), [])

    def test_list_is_released_late_or_a_name_is_asked_for_in_vain(self):
        set_interfaces(interface(), interface(GetTrafficType="x"))
        pyquelt.GetQueltZelnicNames()
        self.assertEqual(operations(), BEFORE + ["GetTrafficType", "GetZelnicName",
                                                 "GetTrafficType"] +
                         ["~QueltZelNicConfig"] * 2 + RELEASES)

    def test_undecodable_name_is_shown_or_told_otherwise(self):
        set_interfaces(interface(GetZelnicName=b"\xff"))
        self.assert_raises_exactly(RuntimeError, "PyUnicode_FromStringAndSize failed!",
                                   pyquelt.GetQueltZelnicNames)


if __name__ == "__main__":
    unittest.main()
