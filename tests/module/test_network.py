"""Storage network interfaces, on the scripted host."""

import unittest
from collections import OrderedDict

import scripted
from cases import GETTERS
from fault_rows import network as table
from rows import RowTestCase, call, text_rows
from scripted import out

# Keys in the order of the dictionary, with the getter of each and its value.
ITEMS = (
    ("ZelNic Name", "GetZelnicName", "z"),
    ("IP Protocol", None, "IP"),
    ("Interface UUID", "GetIfaceUuid", "u"),
    ("Agent Group Multicast Address", "GetAgentMulticastGroup", "239.0.0.1"),
    ("Agent Group IPv6 Multicast Address", "GetAgentV6MulticastGroup", "ff15::1"),
    ("Agent Group Multicast Port", "GetAgentMulticastPort", 1),
    ("Master Group Multicast Address", "GetMasterMulticastGroup", "239.0.0.2"),
    ("Master Group IPv6 Multicast Address", "GetMasterV6MulticastGroup", "ff15::2"),
    ("Master Group Multicast Port", "GetMasterMulticastPort", 2),
    ("Host Unicast Channel Bound Port", "GetHostUnicastPort", -2 ** 31),
    ("Multicast TTL", "GetMulticastTTL", 2 ** 31 - 1),
    ("Traffic Type", "GetTrafficType", "quelt"),
)
BEFORE = ["GetQueltPlugin", "GetHostSystem", "GetZelNicConfigs"]
RELEASES = ["~HostSystem", "~QueltPlugin"]


def interface(**values):
    return dict({getter: value for _, getter, value in ITEMS if getter}, **values)


def shown(**values):
    return OrderedDict((key, values.get(getter, value)) for key, getter, value in ITEMS)


def listed(*interfaces):
    return {"GetZelNicConfigs": out(interfaces=interfaces)}


class NetworkTest(RowTestCase):

    def check_order(self, made, interfaces, order):
        scripted.answer("GetZelNicConfigs", out(interfaces=interfaces))
        self.check_outcome(*made)
        self.assertEqual([operation for operation, _ in scripted.calls()], order)


class NetworkInfoTest(NetworkTest):

    called_with_gil = scripted.CALLED_WITH_GIL | set(GETTERS) | {"~QueltZelNicConfig"}

    def test_interfaces_are_listed_with_all_items(self):
        # The form of the address decides its text, not the key.
        swapped = dict(GetAgentMulticastGroup="ff15::9", GetMasterV6MulticastGroup="239.0.0.9",
                       GetMulticastTTL=0, GetAgentMulticastPort=-1)
        rows = [(call.GetQueltNetworkInfo(), listed(), [], None),
                (call.GetQueltNetworkInfo(), listed(interface(), interface(**swapped)),
                 [shown(), shown(**swapped)], None)]
        for getter in ("GetZelnicName", "GetIfaceUuid", "GetTrafficType"):
            rows += text_rows(
                call.GetQueltNetworkInfo(),
                lambda text, getter=getter: listed(interface(), interface(**{getter: text})),
                lambda text, getter=getter: [shown(), shown(**{getter: text})],
                table.NULL)
        self.check_rows(rows)

    def test_getters_run_in_order_after_the_plugin_is_released(self):
        self.check_order((call.GetQueltNetworkInfo(), [shown()] * 2), [interface()] * 2,
                         BEFORE + RELEASES + GETTERS * 2 + ["~QueltZelNicConfig"] * 2)


class ZelnicNamesTest(NetworkTest):

    def test_names_are_those_of_storage_interfaces(self):
        interfaces = [interface(GetZelnicName=name, GetTrafficType=traffic) for name, traffic in (
            ("a", "quelt"), ("b", "all"), ("c", "Quelt"), ("d", "ALL"), ("e", "quelt "), ("f", ""),
            ("g", b"all\0"), ("a", "all"), (b"h\0\xc3\xbc", "quelt"))]
        names = call.GetQueltZelnicNames()
        self.check_rows((
            (names, listed(*interfaces), ["a", "b", "a", u"h\0\u00fc"], None),
            (names, listed(interface(GetTrafficType="management")), [], None),
            (names, listed(), [], None),
            (names, listed(interface(GetZelnicName=b"\xff")),
             table.NAME, None)))

    def test_interfaces_are_released_before_the_plugin_and_only_needed_names_are_read(self):
        self.check_order((call.GetQueltZelnicNames(), ["z"]),
                         [interface(), interface(GetTrafficType="x")],
                         BEFORE + ["GetTrafficType", "GetZelnicName", "GetTrafficType"] +
                         ["~QueltZelNicConfig"] * 2 + RELEASES)


if __name__ == "__main__":
    unittest.main()
