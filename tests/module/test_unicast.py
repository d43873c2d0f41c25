"""Unicast membership, on the scripted host."""

import gc
import itertools
import sys
import unittest
from collections import OrderedDict

import fault_rows
import pyquelt
import cases
from fault_rows import unicast as table
from rows import RowTestCase, call, op, text_rows
from scripted import answer, out, returns, throws

ADDR = "192.0.2.7"
ZERO_UUID = "00000000-0000-0000-0000-000000000000"
LONE = u"\ufffd"
RECORD = OrderedDict([
    ("isSupportUnicast", True), ("address", ADDR), ("port", 12321), ("zelnic", "z"),
    ("hostname", "h"), ("thumbprint", "t"), ("subClusterUuid", "s")])
DESCRIBED = (" isSupportUnicast: 1 address: 192.0.2.7 port: 12321 zelnic: z hostname: h"
             " thumbprint: t subClusterUuid: s")
FEATURE = "IsQueltMetadataNodeFeatureEnabled"
LIST = call.GetUnicastAgents()


def record(**fields):
    """A witness, as the host returns it."""
    return dict(dict(RECORD, uuid="u", nodeType=1), **fields)


def listed(*records, **options):
    return {"GetUnicastAgentList": out(agents=records),
            FEATURE: options.get("feature", returns(options.get("metadata", False)))}


def shown(**fields):
    """An agent, as the module returns it: with isWitness, or with the nodeType given."""
    first = "nodeType" if "nodeType" in fields else "isWitness"
    return OrderedDict([(first, fields.get(first, True))] +
                       [(name, fields.get(name, value)) for name, value in RECORD.items()])


class AgentListTest(RowTestCase):

    def test_agents_are_listed_with_all_items(self):
        rows = [
            (LIST, listed(), {}, None),
            (LIST, listed(record(), record(uuid="v", nodeType=0), record(nodeType=2, port=-5)),
             OrderedDict([("u", [shown(), shown(isWitness=False, port=-5)]),
                          ("v", [shown(isWitness=False)])]), None),
            (LIST, listed(record(isSupportUnicast=False)), {"u": [shown(isSupportUnicast=False)]},
             None),
            # Two UUIDs that differ only after a zero byte are one key.
            (LIST, listed(record(uuid=b"\xc3\xbc\0x"), record(uuid=b"\xc3\xbc\0y")),
             {u"\u00fc": [shown()] * 2}, None)]
        rows += [(LIST, listed(record(nodeType=code), metadata=True), {"u": [shown(nodeType=code)]},
                  None) for code in (0, 1, 2, 3, 2 ** 32 - 1)]
        for name in ("address", "zelnic", "hostname", "thumbprint", "subClusterUuid"):
            described = DESCRIBED.replace("%s: %s" % (name, RECORD[name]), name + ": " + LONE)
            rows += text_rows(LIST, lambda text, name=name: listed(record(**{name: text})),
                              lambda text, name=name: {"u": [shown(**{name: text})]},
                              table.NO_VALUE(key=name, agent=" uuid: u isWitness: 1" + described))
        self.check_rows(rows)

    def test_failure_text_describes_the_agent(self):
        def not_stored(agent):
            return table.NOT_STORED(agent=" uuid: " + agent)

        self.check_rows((LIST, listed(*records, metadata=metadata), outcome, None)
                        for records, metadata, outcome in [
            # The fields are converted before the UUID: an invalid field is reported first.
            ([record(uuid=b"\xff", zelnic=b"\xff", nodeType=2)], False,
             table.NO_VALUE(key="zelnic", agent=" uuid: " + LONE + " isWitness: 0" +
                            DESCRIBED.replace("zelnic: z", "zelnic: " + LONE))),
            ([record(), record(uuid=b"a\xff")], False,
             not_stored("a" + LONE + " isWitness: 1" + DESCRIBED)),
            # A message ends at its first zero byte.
            ([record(uuid=b"\xff", hostname=b"h\0i")], True,
             not_stored(LONE + " nodeType: witness node" + DESCRIBED.split(" thumbprint")[0]))] + [
            ([record(uuid=b"\xff", nodeType=code)], True,
             not_stored(LONE + " nodeType: " + text + DESCRIBED))
            for code, text in ((0, "normal node"), (1, "witness node"), (2, "metadata node"),
                               (3, "invalide node type"), (2 ** 32 - 1, "invalide node type"))])

    def test_feature_flag_is_read_twice_for_each_agent(self):
        # The first answer selects the failure text, the second the item of the dictionary.
        changing = [returns(True), returns(False)]
        self.check_rows([
            (LIST, listed(record(), record(), record()), {"u": [shown()] * 3},
             [op.GetUnicastAgentList(False)] + [(FEATURE, [])] * 6),
            (LIST, listed(record(), feature=changing), {"u": [shown()]}, None),
            (LIST, listed(record(uuid=b"\xff"), feature=changing),
             table.NOT_STORED(agent=" uuid: " + LONE + " nodeType: witness node" + DESCRIBED),
             None)] + [
            (LIST, listed(record(), record(), feature=[{}, {}, {}, throws("no flag", kind)]),
             outcome(text="no flag"), None)
            for kind, outcome in (("QueltCtlException", table.HOST["GetUnicastAgents"].outcome),
                                  ("std::runtime_error", fault_rows.OTHER))])

    def test_include_extra_reaches_the_host_as_a_flag(self):
        self.check_rows((made, {}, {}, [op.GetUnicastAgentList(passed)]) for made, passed in (
            (LIST, False), (call.GetUnicastAgents(True), True), (call.GetUnicastAgents("no"), True),
            (call.GetUnicastAgents(False), False), (call.GetUnicastAgents(includeExtra=1), True),
            (call.GetUnicastAgents(includeExtra=[]), False)))

    def test_collector_callback_may_change_an_unfinished_listing(self):
        uuids = ["u%d" % i for i in range(200)]
        agents, lengths = [record(uuid=uuid) for uuid in uuids] * 2, []
        expected = {uuid: [shown()] * 2 for uuid in uuids}

        def interfere(_phase, _info):
            for found in gc.get_objects():
                if type(found) is dict and len(found) < len(uuids) and "u0" in found:
                    lengths.append(len(found))
                    found.update((key, []) for key in found)
        gc.callbacks.append(interfere)
        self.addCleanup(gc.callbacks.remove, interfere)
        self.addCleanup(gc.set_threshold, *gc.get_threshold())
        self.addCleanup(gc.enable)
        for enabled, last in itertools.product((True, False), (
                [], [record(uuid="last", hostname=b"\xff")])):
            (gc.enable if enabled else gc.disable)()
            answer("GetUnicastAgentList", out(agents=agents + last))
            gc.set_threshold(20)
            made = cases.outcome(pyquelt.GetUnicastAgents, cases.SUCCESS["GetUnicastAgents"])
            gc.set_threshold(700)
            self.assertEqual((type(made), gc.isenabled()), (tuple if last else dict, enabled))
            if not last and not lengths:
                self.assertEqual(made, expected)
        # Before 3.10 an extension cannot disable the garbage collector.
        self.assertEqual(lengths != [], sys.version_info < (3, 10))


class Number(int):
    def __str__(self):
        return "other"
    __repr__ = __str__


def sent(uuid=ZERO_UUID, nodeType=1, isSupportUnicast=False, address=ADDR, port=12321,
         interface=None, hostname="", thumbprint="", subClusterUuid=""):
    """The arguments of an added agent as the host receives them."""
    return [uuid.encode(), nodeType, isSupportUnicast, address.encode(), port,
            interface is not None, (interface or "").encode(), hostname.encode("utf-8"),
            thumbprint.encode(), subClusterUuid.encode()]


class AgentChangesTest(RowTestCase):

    def test_added_agent_reaches_the_host_with_its_defaults(self):
        before = [op.BuildQueltIPAddress(ADDR.encode())]
        for args, kwargs, expected in (
                ((), {}, sent()),
                (("u", "node", True, 1, "i", "h", "t", "s"), {},
                 sent("u", 0, True, ADDR, 1, "i", "h", "t", "s")),
                ((), {"isSupportUnicast": 1, "port": "1"}, sent()),
                ((), {"isSupportUnicast": False, "port": 1.0}, sent()),
                ((), {"port": True, "type": "metadata"}, sent(port=1, nodeType=2)),
                ((), {"port": Number(-2 ** 31)}, sent(port=-2 ** 31)),
                ((), {"port": 2 ** 31 - 1}, sent(port=2 ** 31 - 1)),
                ((), {"port": None, "isSupportUnicast": None}, sent()),
                ((), {"interface": ""}, sent(interface="")),
                ((), {"interface": None, "hostname": None, "thumbprint": None,
                      "subclusterUuid": None}, sent()),
                ((), {"uuid": "", "hostname": u"\u00fc"}, sent(uuid="", hostname=u"\u00fc"))):
            self.check_rows((
                (call.AddUnicastAgent(ADDR, *args, **kwargs), {}, None,
                 before + [op.AddUnicastAgentEntry(*expected)]),
                (call.SetUnicastInfoInConfigStore(ADDR, *args, **kwargs), {}, None,
                 before + [op.SetUnicastAgentInConfigStore(*(expected[:5] + expected[6:]))])))
        self.check_rows((
            (call.AddUnicastAgent("2001:DB8::7"), {}, None, [
                op.BuildQueltIPAddress(b"2001:DB8::7"),
                op.AddUnicastAgentEntry(*sent(address="2001:db8::7"))]),
            # The feature flag is read only for a type that needs it.
            (call.AddUnicastAgent(ADDR, type="remote"), {
                "IsQueltCSDFeatureEnabled": returns(True)}, None,
             [op.IsQueltCSDFeatureEnabled()] + before +
             [op.AddUnicastAgentEntry(*sent(nodeType=3))])))

    def test_removed_agent_reaches_the_host_with_its_defaults(self):
        zero, addr = ZERO_UUID.encode(), ADDR.encode()
        self.check_rows(
            (call.RemoveUnicastAgent(ADDR, *args, **kwargs), {}, None,
             [op.BuildQueltIPAddress(addr), op.RemoveUnicastAgentEntry(*expected)])
            for args, kwargs, expected in (
                ((), {}, [zero, addr, 12321, 0, False, b""]),
                (("u", 5, "witness", True), {}, [b"u", addr, 5, 1, True, b""]),
                ((), {"replaceWitness": "yes", "port": None}, [zero, addr, 12321, 0, False, b""]),
                ((), {"replaceWitness": 1, "port": Number(7)}, [zero, addr, 7, 0, False, b""])))

    def test_rejects_invalid_types_addresses_and_ports_in_order(self):
        asked, parsed = [op.IsQueltCSDFeatureEnabled()], [op.BuildQueltIPAddress(ADDR.encode())]
        rejected = [
            ((ADDR,), {"type": "Witness"}, table.TYPE(type="Witness"), asked),
            ((ADDR,), {"type": ""}, table.TYPE(type=""), asked),
            (("192.0.2",), {"type": u"n\u00f6"}, table.TYPE(type=u"n\u00f6"), asked),
            (("192.0.2",), {"port": 2 ** 31}, table.ADDRESS(addr="192.0.2"),
             [op.BuildQueltIPAddress(b"192.0.2")]),
            (("",), {}, table.ADDRESS(addr=""), [op.BuildQueltIPAddress(b"")])]
        bits = "(an integer of %d bits)"
        rejected += [
            ((ADDR,), {"port": port}, table.PORT(port=text), parsed) for port, text in (
                (2 ** 31, "2147483648"), (-2 ** 31 - 1, "-2147483649"), (2 ** 63, str(2 ** 63)),
                (-2 ** 200, str(-2 ** 200)), (Number(10 ** 18), "1" + "0" * 18),
                (1 - 10 ** 4300, "-" + "9" * 4300), (Number(10 ** 4300), bits % 14285),
                (Number(-2 ** 14285), bits % 14286), (Number(1 << 40000000), bits % 40000001))]
        for name in table.CHANGES:
            self.check_rows((getattr(call, name)(*args, **kwargs), {}, outcome, made)
                            for args, kwargs, outcome, made in rejected)

    @unittest.skipUnless(hasattr(sys, "set_int_max_str_digits"), "ints have no digit limit")
    def test_digit_limit_applies_to_the_text_of_an_invalid_port(self):
        self.addCleanup(sys.set_int_max_str_digits, sys.get_int_max_str_digits())
        for limit, port, text in ((640, 10 ** 639, "1" + "0" * 639),
                                  (640, Number(10 ** 640), "(an integer of 2127 bits)"),
                                  (0, Number(10 ** 4300), "(an integer of 14285 bits)")):
            sys.set_int_max_str_digits(limit)
            self.check_rows([(call.AddUnicastAgent(ADDR, port=port), {},
                              table.PORT(port=text), None)])

    def test_failed_change_raises_a_description_of_the_agent(self):
        full = {"uuid": "u", "type": "node", "isSupportUnicast": True, "port": -1,
                "interface": "", "hostname": "h", "thumbprint": "t", "subclusterUuid": "s"}
        self.check_rows(
            (made, {operation: throws(b"no\xff")},
             table.HOST[made[0]].outcome(text="no" + LONE, **shown), None)
            for made, operation, shown in (
                (call.AddUnicastAgent("2001:DB8::7", **full), "AddUnicastAgentEntry",
                 dict(full, addr="2001:DB8::7", isSupportUnicast=1, subClusterUuid="s")),
                (call.SetUnicastInfoInConfigStore(ADDR), "SetUnicastAgentInConfigStore",
                 dict(dict.fromkeys(full), uuid=ZERO_UUID, type="witness", isSupportUnicast=0,
                      addr=ADDR, port=12321, subClusterUuid=None)),
                (call.RemoveUnicastAgent(ADDR, "u", type="metadata", replaceWitness=True),
                 "RemoveUnicastAgentEntry",
                 dict(uuid="u", addr=ADDR, port=12321, nodeType=2, replaceWitness=1))))


class ModeTest(RowTestCase):

    def test_mode_is_read_only_on_an_enabled_cluster(self):
        asked = [op.GetClusterConfig(True), op.GetClusterId(),
                 op.GetUnicastModeForCluster(b"c\0\xff")]
        self.check_rows(
            (call.GetUnicastMode(), {"GetClusterConfig": returns(enabled), "GetClusterId":
                                     returns(b"c\0\xff"), "GetUnicastModeForCluster": out(**given)},
             mode, asked if enabled else asked[:1])
            for enabled, given, mode in ((False, {"mode": True}, False), (True, {}, False),
                                         (True, {"mode": True}, True),
                                         (True, {"mode": False}, False)))


if __name__ == "__main__":
    unittest.main()
