"""Unicast membership and storage interfaces on the embedded host."""

import unittest

import hosts
import pyquelt

ZERO_UUID = "00000000-0000-0000-0000-000000000000"
NAME = 'Unicast agent "u" at 192.0.2.7 port 1'


def all_agents(include_extra=False):
    """Every listed agent as (uuid, agent), in the order of a node."""
    listed = pyquelt.GetUnicastAgents(include_extra)
    return [(uuid, agent) for uuid, agents in listed.items() for agent in agents]


class MembershipTest(hosts.HostTestCase):

    def setUp(self):
        super(MembershipTest, self).setUp()
        for uuid, agent in all_agents():
            pyquelt.RemoveUnicastAgent(agent["address"], uuid, agent["port"])

    def test_agent_comes_back_changed_or_only_in_this_process(self):
        pyquelt.AddUnicastAgent("192.0.2.7", "u", "witness", True, -5, "i", "h", "t", "s")
        pyquelt.AddUnicastAgent("2001:DB8:0::7", uuid=u"\u00fc", type="metadata")
        pyquelt.AddUnicastAgent("192.0.2.7", "u", "node", port=1)
        expected = {
            "u": [{"isWitness": True, "isSupportUnicast": True, "address": "192.0.2.7",
                   "port": -5, "zelnic": "i", "hostname": "h", "thumbprint": "t",
                   "subClusterUuid": "s"},
                  {"isWitness": False, "isSupportUnicast": False, "address": "192.0.2.7",
                   "port": 1, "zelnic": "", "hostname": "", "thumbprint": "",
                   "subClusterUuid": ""}],
            u"\u00fc": [{"isWitness": False, "isSupportUnicast": False, "address": "2001:db8::7",
                         "port": 12321, "zelnic": "", "hostname": "", "thumbprint": "",
                         "subClusterUuid": ""}]}
        self.assertEqual(pyquelt.GetUnicastAgents(), expected)
        printed = self.script("import pyquelt; print(ascii(pyquelt.GetUnicastAgents()))")
        self.assertEqual(eval(printed), expected)  # pylint: disable=eval-used

    def test_address_is_taken_or_refused_wrongly(self):
        for text, normal in (("0.0.0.0", "0.0.0.0"), ("255.255.255.255", "255.255.255.255"),
                             ("::", "::"), ("1::", "1::"), ("FE80:0:0:0:0:0:0:1", "fe80::1"),
                             ("::ffff:192.0.2.7", "::ffff:192.0.2.7")):
            pyquelt.AddUnicastAgent(text)
            # Written otherwise it is the same agent.
            self.assertEqual([agent["address"] for _, agent in all_agents()], [normal])
            pyquelt.RemoveUnicastAgent(normal)
        for text in ("", " ", "192.0.2", "192.0.2.256", "192.0.2.7 ", "0x7f.0.0.1", "192.0.2.07",
                     "1:2:3", ":::", "12345::", "fe80::1%lo", "host.example"):
            self.assert_raises_exactly(RuntimeError, "Invalid address specified: " + text,
                                       pyquelt.AddUnicastAgent, text)

    def test_duplicate_is_taken_or_unknown_agent_removed(self):
        def refused(verb, reason, function, *args, **kwargs):
            with self.assertRaises(RuntimeError) as caught:
                function(*args, **kwargs)
            text = str(caught.exception)
            self.assertTrue(text.startswith("Failed to %s unicast agent (" % verb), text)
            self.assertTrue(text.endswith("): " + NAME + reason), text)

        agent = {"addr": "192.0.2.7", "uuid": "u", "port": 1}
        refused("remove", " does not exist", pyquelt.RemoveUnicastAgent, **agent)
        pyquelt.AddUnicastAgent(type="node", hostname="first", **agent)
        # Its type and texts are properties: they make no other agent.
        refused("add", " already exists", pyquelt.AddUnicastAgent, type="witness", **agent)
        self.assertEqual([item["hostname"] for _, item in all_agents()], ["first"])
        for other in ({"addr": "192.0.2.8"}, {"uuid": "v"}, {"port": 2}):
            pyquelt.AddUnicastAgent(**dict(agent, **other))
        refused("remove", " is not a witness", pyquelt.RemoveUnicastAgent, replaceWitness=True,
                **agent)
        pyquelt.RemoveUnicastAgent(type="metadata", **agent)
        refused("remove", " does not exist", pyquelt.RemoveUnicastAgent, **agent)
        self.assertEqual(len(all_agents()), 3)

    def test_recorded_agent_is_listed_twice_or_in_vain(self):
        def hostnames(include_extra):
            return sorted(agent["hostname"] for _, agent in all_agents(include_extra))

        recorded = hostnames(True)
        agent = {"addr": "192.0.2.7", "uuid": "u"}
        pyquelt.SetUnicastInfoInConfigStore(hostname="one", **agent)
        pyquelt.SetUnicastInfoInConfigStore(hostname="two", **agent)
        self.assertEqual((hostnames(False), hostnames(True)), ([], sorted(recorded + ["two"])))
        pyquelt.AddUnicastAgent(hostname="member", **agent)
        self.assertEqual((hostnames(False), hostnames(True)),
                         (["member"], sorted(recorded + ["member"])))
        pyquelt.RemoveUnicastAgent(**agent)
        self.assertEqual(hostnames(True), sorted(recorded + ["two"]))
        # A replaced witness is forgotten by the configuration store too.
        pyquelt.AddUnicastAgent(hostname="member", **agent)
        pyquelt.RemoveUnicastAgent(replaceWitness=True, **agent)
        self.assertEqual(hostnames(True), recorded)


class DefaultHostTest(hosts.HostTestCase):

    def test_fresh_host_has_nothing_sensible_to_answer(self):
        self.assertIs(pyquelt.GetUnicastMode(), True)
        self.assertEqual([agent["isWitness"] for _, agent in all_agents()].count(True), 1)
        self.assertEqual(len(all_agents(True)), len(all_agents()) + 1)
        self.assertEqual(pyquelt.GetQueltZelnicNames(), ["zelnic1", "zelnic2"])
        interfaces = pyquelt.GetQueltNetworkInfo()
        self.assertEqual([interface["ZelNic Name"] for interface in interfaces],
                         ["zelnic1", "zelnic2", "zelnic3"])
        self.assertEqual(interfaces[0], {
            "ZelNic Name": "zelnic1", "IP Protocol": "IP",
            "Interface UUID": "8c3e0d52-1f6a-4b90-a7de-2b4c6d8e0f11",
            "Agent Group Multicast Address": "239.77.1.1",
            "Agent Group IPv6 Multicast Address": "ff15::77:1",
            "Agent Group Multicast Port": 12341, "Master Group Multicast Address": "239.77.1.2",
            "Master Group IPv6 Multicast Address": "ff15::77:2",
            "Master Group Multicast Port": 12342, "Host Unicast Channel Bound Port": 12321,
            "Multicast TTL": 16, "Traffic Type": "quelt"})


AGENT = {"uuid": "u", "type": "witness", "address": "192.0.2.7"}


class ScenarioTest(hosts.HostTestCase):

    def test_host_without_a_cluster_fails_to_answer(self):
        self.load({})
        self.assertIs(pyquelt.GetUnicastMode(), False)
        self.assertEqual((pyquelt.GetUnicastAgents(True), pyquelt.GetQueltNetworkInfo(),
                          pyquelt.GetQueltZelnicNames()), ({}, [], []))
        self.load({"cluster": {"id": "c"}})
        self.assert_raises_exactly(
            RuntimeError, 'Failed to get unicast mode:The unicast mode of cluster "c" is not known',
            pyquelt.GetUnicastMode)

    def test_long_list_loses_agents(self):
        self.load({"agents": [dict(AGENT, port=port) for port in range(20000)]})
        self.assertEqual([agent["port"] for agent in pyquelt.GetUnicastAgents()["u"]],
                         list(range(20000)))


if __name__ == "__main__":
    unittest.main()
