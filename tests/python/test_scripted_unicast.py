"""Unicast membership against a host that answers from a script."""

import ctypes
import os
import sys
import unittest

import pyquelt
import scripted

ZERO_UUID = b"00000000-0000-0000-0000-000000000000"
LISTING_FAILED = "Failed to get unicast agents from ulo: "
FIELDS = ["isSupportUnicast", "address", "port", "zelnic", "hostname", "thumbprint",
          "subClusterUuid"]
RECORD = {"uuid": "u", "nodeType": 1, "isSupportUnicast": True, "address": "192.0.2.7",
          "port": 12321, "zelnic": "z", "hostname": "h", "thumbprint": "t", "subClusterUuid": "s"}
DESCRIBED = (" isSupportUnicast: 1 address: 192.0.2.7 port: 12321 zelnic: z hostname: h"
             " thumbprint: t subClusterUuid: s")


def record(**fields):
    return dict(RECORD, **fields)


class AgentListTest(scripted.ScriptedTestCase):

    def list(self, *records, **options):
        scripted.answer("GetUnicastAgentList", {"out": {"agents": records}})
        scripted.answer("IsQueltMetadataNodeFeatureEnabled",
                        {"returns": options.get("metadata", False)})
        return pyquelt.GetUnicastAgents()

    def test_agent_has_missing_or_changed_items(self):
        agent = dict({name: RECORD[name] for name in FIELDS}, isWitness=True)
        self.assertEqual(self.list(), {})
        self.assertEqual(self.list(record()), {"u": [agent]})
        listed = self.list(record(), record(uuid="v", nodeType=0), record(nodeType=2, port=-5))
        self.assertEqual(listed, {"u": [agent, dict(agent, isWitness=False, port=-5)],
                                  "v": [dict(agent, isWitness=False)]})
        self.assertIs(listed["u"][0]["isWitness"], True)
        self.assertIs(listed["u"][0]["isSupportUnicast"], True)
        if sys.version_info >= (3, 6):
            self.assertEqual(list(listed), ["u", "v"])
            self.assertEqual(list(listed["u"][0]), ["isWitness"] + FIELDS)
            self.assertEqual(list(self.list(record(), metadata=True)["u"][0]),
                             ["nodeType"] + FIELDS)
        for code in (0, 1, 2, 3, 2 ** 32 - 1):
            item = self.list(record(nodeType=code), metadata=True)["u"][0]
            self.assertEqual(item["nodeType"], code)
            self.assertNotIn("isWitness", item)

    def test_text_is_changed_on_its_way(self):
        for name in ("address", "zelnic", "hostname", "thumbprint", "subClusterUuid"):
            for stored, text in ((b"", ""), (b"a\0b", "a"), (u"\u20ac".encode("utf-8"), u"\u20ac")):
                self.assertEqual(self.list(record(**{name: stored}))["u"][0][name], text)
        # Two UUIDs that differ only behind a zero byte are one key.
        self.assertEqual(list(self.list(record(uuid=b"\xc3\xbc\0x"), record(uuid=b"\xc3\xbc\0y"))),
                         [u"\u00fc"])

    def test_failure_is_told_with_the_wrong_words(self):
        # Records, metadata-node feature, text after the prefix.
        lone = u"\ufffd"
        table = (
            ([record(address=b"\xff")], False,
             "Failed to allocate python object address uuid: u isWitness: 1 isSupportUnicast: 1"
             " address: " + lone + " port: 12321 zelnic: z hostname: h thumbprint: t"
             " subClusterUuid: s"),
            # A bad UUID is found out at the end, so a bad field comes first.
            ([record(uuid=b"\xff", zelnic=b"\xff", nodeType=2)], False,
             "Failed to allocate python object zelnic uuid: " + lone + " isWitness: 0"
             " isSupportUnicast: 1 address: 192.0.2.7 port: 12321 zelnic: " + lone +
             " hostname: h thumbprint: t subClusterUuid: s"),
            ([record(), record(uuid=b"a\xff", nodeType=1)], False,
             "Failed to set python list for: uuid: a" + lone + " isWitness: 1" + DESCRIBED),
            # A message ends at its first zero byte.
            ([record(uuid=b"\xff", hostname=b"h\0i")], True,
             "Failed to set python list for: uuid: " + lone + " nodeType: witness node"
             " isSupportUnicast: 1 address: 192.0.2.7 port: 12321 zelnic: z hostname: h"),
        ) + tuple(
            ([record(uuid=b"\xff", nodeType=code)], True,
             "Failed to set python list for: uuid: " + lone + " nodeType: " + text + DESCRIBED)
            for code, text in ((0, "normal node"), (1, "witness node"), (2, "metadata node"),
                               (3, "invalide node type"), (2 ** 32 - 1, "invalide node type")))
        for records, metadata, text in table:
            with self.subTest(text=text):
                self.assert_raises_exactly(RuntimeError, LISTING_FAILED + text, self.list,
                                           *records, metadata=metadata)

    def test_feature_is_asked_for_at_other_times(self):
        feature = "IsQueltMetadataNodeFeatureEnabled"
        self.list(record(), record(), record())
        self.assertEqual(len(scripted.calls(feature)), 6)
        # The description goes with the first answer, the dictionary with the second.
        scripted.answer(feature, {"returns": True}, {"returns": False})
        self.assert_raises_exactly(
            RuntimeError, LISTING_FAILED + "Failed to set python list for: uuid: " + u"\ufffd" +
            " nodeType: witness node" + DESCRIBED, self.list_unscripted, record(uuid=b"\xff"))
        scripted.answer(feature, {"returns": True}, {"returns": False})
        self.assertIn("isWitness", self.list_unscripted(record())["u"][0])
        for kind, text in (("QueltCtlException", LISTING_FAILED + "no flag"),
                           ("std::runtime_error", "no flag")):
            scripted.answer(feature, {}, {}, {}, scripted.throws("no flag", kind))
            self.assert_raises_exactly(RuntimeError, text, self.list_unscripted, record(),
                                       record())

    def list_unscripted(self, *records):
        scripted.answer("GetUnicastAgentList", {"out": {"agents": records}})
        return pyquelt.GetUnicastAgents()

    def test_include_extra_is_changed_on_its_way(self):
        for args, kwargs, passed in (((), {}, False), ((True,), {}, True), ((False,), {}, False),
                                     ((), {"includeExtra": 1}, True),
                                     ((), {"includeExtra": []}, False), (("no",), {}, True)):
            scripted.answer("GetUnicastAgentList")
            pyquelt.GetUnicastAgents(*args, **kwargs)
            self.assertEqual(scripted.calls("GetUnicastAgentList")[-1], [passed, 0])

    def test_long_list_loses_agents(self):
        library = ctypes.CDLL(os.environ["PYQUELT_SCRIPTED_HOST"])
        library.scripted_host_metadata_feature(1)
        self.addCleanup(library.scripted_host_metadata_feature, -1)
        scripted.answer("GetUnicastAgentList",
                        {"out": {"agents": [record(), record(port=1)]}, "repeat": 50000})
        listed = pyquelt.GetUnicastAgents()
        self.assertEqual(len(listed), 50000)
        self.assertEqual([agent["port"] for agent in listed["u49999"]], [12321, 1])


# The texts of an added agent as the host receives them: uuid, nodeType, isSupportUnicast, address,
# port, interfaceGiven, interface, hostname, thumbprint, subClusterUuid.
DEFAULTS = [ZERO_UUID, 1, False, b"192.0.2.7", 12321, False, b"", b"", b"", b""]
CHANGES = ("AddUnicastAgent", "SetUnicastInfoInConfigStore", "RemoveUnicastAgent")


def sent(**changes):
    names = ("uuid", "nodeType", "isSupportUnicast", "address", "port", "interfaceGiven",
             "interface", "hostname", "thumbprint", "subClusterUuid")
    return [changes.get(name, default) for name, default in zip(names, DEFAULTS)]


class Number(int):
    def __str__(self):
        return "other"
    __repr__ = __str__


class AgentChangesTest(scripted.ScriptedTestCase):

    def test_agent_reaches_the_host_changed(self):
        table = (
            ((), {}, sent()),
            (("u", "node", True, 1, "i", "h", "t", "s"), {},
             sent(uuid=b"u", nodeType=0, isSupportUnicast=True, port=1, interfaceGiven=True,
                  interface=b"i", hostname=b"h", thumbprint=b"t", subClusterUuid=b"s")),
            ((), {"isSupportUnicast": 1, "port": "1"}, sent()),
            ((), {"isSupportUnicast": False, "port": 1.0}, sent()),
            ((), {"port": True, "type": "metadata"}, sent(port=1, nodeType=2)),
            ((), {"port": Number(-2 ** 31)}, sent(port=-2 ** 31)),
            ((), {"port": 2 ** 31 - 1}, sent(port=2 ** 31 - 1)),
            ((), {"port": None, "isSupportUnicast": None}, sent()),
            ((), {"interface": ""}, sent(interfaceGiven=True)),
            ((), {"interface": None, "hostname": None, "thumbprint": None,
                  "subclusterUuid": None}, sent()),
            ((), {"uuid": "", "hostname": u"\u00fc"}, sent(uuid=b"", hostname=b"\xc3\xbc")),
        )
        for args, kwargs, expected in table:
            with self.subTest(args=args, kwargs=kwargs):
                self.assertIsNone(pyquelt.AddUnicastAgent("192.0.2.7", *args, **kwargs))
                self.assertEqual(scripted.calls("AddUnicastAgentEntry")[-1], expected)
                self.assertIsNone(pyquelt.SetUnicastInfoInConfigStore("192.0.2.7", *args, **kwargs))
                self.assertEqual(scripted.calls("SetUnicastAgentInConfigStore")[-1],
                                 expected[:5] + expected[6:])
        pyquelt.AddUnicastAgent("2001:DB8::7")
        self.assertEqual(scripted.calls("AddUnicastAgentEntry")[-1], sent(address=b"2001:db8::7"))

    def test_removal_reaches_the_host_changed(self):
        table = (
            ((), {}, [ZERO_UUID, b"192.0.2.7", 12321, 0, False, b""]),
            (("u", 5, "witness", True), {}, [b"u", b"192.0.2.7", 5, 1, True, b""]),
            ((), {"replaceWitness": "yes", "port": None},
             [ZERO_UUID, b"192.0.2.7", 12321, 0, False, b""]),
            ((), {"replaceWitness": 1, "port": Number(7)},
             [ZERO_UUID, b"192.0.2.7", 7, 0, False, b""]),
        )
        for args, kwargs, expected in table:
            self.assertIsNone(pyquelt.RemoveUnicastAgent("192.0.2.7", *args, **kwargs))
            self.assertEqual(scripted.calls("RemoveUnicastAgentEntry")[-1], expected)

    def test_bad_argument_reaches_the_host_or_is_told_otherwise(self):
        parameters = "Failed to extract parameters"
        big = 10 ** 5000 + 7
        table = (
            ((), {}, parameters),
            ((None,), {}, parameters),
            ((b"192.0.2.7",), {}, parameters),
            (("192.0.2.7",), {"nonsense": 1}, parameters),
            (("192.0.2.7",), {"uuid": 1}, parameters),
            (("192.0.2.7",), {"uuid": None}, parameters),
            (("192.0.2.7",), {"type": None}, parameters),
            (("192.0.2.7\0",), {}, parameters),
            (("192.0.2.7",), {"type": "Witness"}, "Invalid type specified: Witness"),
            (("192.0.2.7",), {"type": ""}, "Invalid type specified: "),
            (("192.0.2.7",), {"type": "remote"}, "Invalid type specified: remote"),
            (("192.0.2",), {"type": u"n\u00f6"}, u"Invalid type specified: n\u00f6"),
            (("192.0.2",), {"port": 2 ** 31}, "Invalid address specified: 192.0.2"),
            (("",), {}, "Invalid address specified: "),
            (("host",), {}, "Invalid address specified: host"),
        ) + tuple(
            (("192.0.2.7",), {"port": port}, "Invalid port specified: " + text)
            for port, text in (
                (2 ** 31, "2147483648"), (-2 ** 31 - 1, "-2147483649"), (2 ** 63, str(2 ** 63)),
                (-2 ** 200, str(-2 ** 200)), (Number(10 ** 18), "1" + "0" * 18),
                (10 ** 27 + 5, "1" + "0" * 26 + "5"), (big, "1" + "0" * 4999 + "7")))
        for name in CHANGES:
            for args, kwargs, text in table:
                with self.subTest(name, args=args, text=text[:60]):
                    self.assert_raises_exactly(RuntimeError, text, getattr(pyquelt, name), *args,
                                               **kwargs)
        self.assertEqual({operation for operation, _ in scripted.calls()},
                         {"BuildQueltIPAddress", "IsQueltCSDFeatureEnabled"})
        self.assert_raises_exactly(
            RuntimeError, "Failed to extract parameters for PyGetUnicastAgents",
            pyquelt.GetUnicastAgents, nonsense=1)

    def test_remote_is_taken_without_the_feature_or_asked_for_in_vain(self):
        scripted.answer("IsQueltCSDFeatureEnabled", {"returns": True})
        pyquelt.AddUnicastAgent("192.0.2.7", type="remote")
        self.assertEqual(scripted.calls("AddUnicastAgentEntry"), [sent(nodeType=3)])
        pyquelt.AddUnicastAgent("192.0.2.7", type="metadata")
        self.assertEqual(len(scripted.calls("IsQueltCSDFeatureEnabled")), 1)

    def test_refused_change_is_told_with_other_words(self):
        full = {"uuid": "u", "type": "node", "isSupportUnicast": True, "port": -1,
                "interface": "", "hostname": "h", "thumbprint": "t", "subclusterUuid": "s"}
        for name, operation, verb in (
                ("AddUnicastAgent", "AddUnicastAgentEntry", "add"),
                ("SetUnicastInfoInConfigStore", "SetUnicastAgentInConfigStore", "update")):
            scripted.answer(operation, scripted.throws(b"no\xff"))
            self.assert_raises_exactly(
                RuntimeError, "Failed to " + verb + " unicast agent (uuid: " + ZERO_UUID.decode() +
                " type: witness isSupportUnicast: 0 addr: 192.0.2.7 port: 12321 interface: None"
                " hostname: None thumbprint: None subClusterUuid: None): no" + u"\ufffd",
                getattr(pyquelt, name), "192.0.2.7")
            self.assert_raises_exactly(
                RuntimeError, "Failed to " + verb + " unicast agent (uuid: u type: node"
                " isSupportUnicast: 1 addr: 2001:DB8::7 port: -1 interface:  hostname: h"
                " thumbprint: t subClusterUuid: s): no" + u"\ufffd",
                getattr(pyquelt, name), "2001:DB8::7", **full)
        scripted.answer("RemoveUnicastAgentEntry", scripted.throws("gone"))
        self.assert_raises_exactly(
            RuntimeError, "Failed to remove unicast agent (uuid: u addr: 192.0.2.7 port: 12321"
            " nodeType: 2 replaceWitness: 1): gone", pyquelt.RemoveUnicastAgent, "192.0.2.7", "u",
            type="metadata", replaceWitness=True)


class ModeTest(scripted.ScriptedTestCase):

    def test_mode_is_wrong_or_asked_for_in_vain(self):
        ask = "GetUnicastModeForCluster"
        for enabled, out, mode in ((False, {"mode": True}, False), (True, {}, False),
                                   (True, {"mode": True}, True), (True, {"mode": False}, False)):
            scripted.answer("GetClusterConfig", {"returns": enabled})
            scripted.answer(ask, {"out": out})
            asked = len(scripted.calls(ask))
            self.assertIs(pyquelt.GetUnicastMode("ignored", 1), mode)
            self.assertEqual(len(scripted.calls(ask)) - asked, int(enabled))
        scripted.answer("GetClusterId", {"returns": b"c\0\xff"})
        pyquelt.GetUnicastMode()
        self.assertEqual(scripted.calls(ask)[-1], [False, b"c\0\xff"])
        scripted.answer("GetClusterConfig", {"returns": None})
        self.assert_raises_exactly(RuntimeError,
                                   "Failed to get unicast mode:no cluster configuration",
                                   pyquelt.GetUnicastMode)


if __name__ == "__main__":
    unittest.main()
