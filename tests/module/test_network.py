"""Storage network interfaces against a host that answers from a script."""

import unittest
from collections import OrderedDict

import scripted
from fault_rows import network as table
from rows import RowTestCase, call, text_rows
from scripted import out

# Keys in the dictionary's order, the getter behind each, its value.
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
GETTERS = ["GetZelnicName", "GetIfaceUuid", "GetAgentMulticastGroup", "GetAgentV6MulticastGroup",
           "GetMasterMulticastGroup", "GetMasterV6MulticastGroup", "GetTrafficType",
           "GetAgentMulticastPort", "GetMasterMulticastPort", "GetHostUnicastPort",
           "GetMulticastTTL"]
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

    made_with_lock = scripted.MADE_WITH_LOCK | set(GETTERS) | {"~QueltZelNicConfig"}

    def test_item_is_missing_or_changed(self):
        # The text goes with the flag of the address, not with the key.
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

    def test_getters_run_in_another_order_or_before_the_releases(self):
        self.check_order((call.GetQueltNetworkInfo(), [shown()] * 2), [interface()] * 2,
                         BEFORE + RELEASES + GETTERS * 2 + ["~QueltZelNicConfig"] * 2)


class ZelnicNamesTest(NetworkTest):

    def test_interface_is_selected_or_named_wrongly(self):
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

    def test_list_is_released_late_or_a_name_is_asked_for_in_vain(self):
        self.check_order((call.GetQueltZelnicNames(), ["z"]),
                         [interface(), interface(GetTrafficType="x")],
                         BEFORE + ["GetTrafficType", "GetZelnicName", "GetTrafficType"] +
                         ["~QueltZelNicConfig"] * 2 + RELEASES)


if __name__ == "__main__":
    unittest.main()
