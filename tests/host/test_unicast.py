"""Unicast membership and storage interfaces on the embedded host."""

import ast

import hosts
import pyquelt

NAME = 'Unicast agent "u" at 192.0.2.7 port 1'
AGENT = {"addr": "192.0.2.7", "uuid": "u", "port": 1}


def listed(key, include_extra=False):
    """The values of this key of all agents; those of one UUID in their order."""
    return [agent[key] for agents in pyquelt.GetUnicastAgents(include_extra).values()
            for agent in agents]


class UnicastTest(hosts.HostTestCase):

    def setUp(self):
        self.load({"recordedAgents": [{"uuid": "r", "type": "node", "address": "192.0.2.1",
                                       "hostname": "recorded"}]})

    def test_every_process_lists_an_added_agent_unchanged(self):
        pyquelt.AddUnicastAgent("192.0.2.7", "u", "witness", True, -5, "i", "h", "t", "s")
        pyquelt.AddUnicastAgent("2001:DB8:0::7", uuid=u"\u00fc", type="metadata")
        pyquelt.AddUnicastAgent("192.0.2.7", "u", "node", port=1)
        plain = {"isWitness": False, "isSupportUnicast": False, "address": "192.0.2.7", "port": 1,
                 "zelnic": "", "hostname": "", "thumbprint": "", "subClusterUuid": ""}
        expected = {
            "u": [{"isWitness": True, "isSupportUnicast": True, "address": "192.0.2.7",
                   "port": -5, "zelnic": "i", "hostname": "h", "thumbprint": "t",
                   "subClusterUuid": "s"}, plain],
            u"\u00fc": [dict(plain, address="2001:db8::7", port=12321)]}
        self.assertEqual(pyquelt.GetUnicastAgents(), expected)
        printed = self.script("import pyquelt; print(ascii(pyquelt.GetUnicastAgents()))")
        self.assertEqual(ast.literal_eval(printed), expected)

    def test_accepts_and_normalises_exactly_the_valid_addresses(self):
        for text, normal in (("0.0.0.0", "0.0.0.0"), ("255.255.255.255", "255.255.255.255"),
                             ("::", "::"), ("1::", "1::"), ("FE80:0:0:0:0:0:0:1", "fe80::1"),
                             ("::ffff:192.0.2.7", "::ffff:192.0.2.7")):
            pyquelt.AddUnicastAgent(text)
            # Another spelling of the address is the same agent.
            self.assertEqual(listed("address"), [normal])
            pyquelt.RemoveUnicastAgent(normal)
        for text in ("", " ", "192.0.2", "192.0.2.256", "192.0.2.7 ", "0x7f.0.0.1", "192.0.2.07",
                     "1:2:3", ":::", "12345::", "fe80::1%lo", "host.example"):
            self.assert_raises_exactly(RuntimeError, "Invalid address specified: " + text,
                                       pyquelt.AddUnicastAgent, text)

    def test_rejects_a_duplicate_and_the_removal_of_an_unknown_agent(self):
        def assert_fails(verb, reason, function, **more):
            with self.assertRaisesRegex(RuntimeError, r"^Failed to {} unicast agent \(.*\): {} {}$"
                                        .format(verb, NAME, reason)):
                function(**dict(AGENT, **more))

        assert_fails("remove", "does not exist", pyquelt.RemoveUnicastAgent)
        pyquelt.AddUnicastAgent(type="node", hostname="first", **AGENT)
        # Type and texts don't identify an agent.
        assert_fails("add", "already exists", pyquelt.AddUnicastAgent, type="witness")
        self.assertEqual(listed("hostname"), ["first"])
        for other in ({"addr": "192.0.2.8"}, {"uuid": "v"}, {"port": 2}):
            pyquelt.AddUnicastAgent(**dict(AGENT, **other))
        assert_fails("remove", "is not a witness", pyquelt.RemoveUnicastAgent, replaceWitness=True)
        pyquelt.RemoveUnicastAgent(type="metadata", **AGENT)
        assert_fails("remove", "does not exist", pyquelt.RemoveUnicastAgent)
        self.assertEqual(len(listed("port")), 3)

    def test_recorded_agent_is_listed_once_and_only_on_request(self):
        record, add, remove = (pyquelt.SetUnicastInfoInConfigStore, pyquelt.AddUnicastAgent,
                               pyquelt.RemoveUnicastAgent)
        for change, keywords, agents, recorded in (
                (record, {"hostname": "one"}, [], ["one"]),
                (record, {"hostname": "two"}, [], ["two"]),
                (add, {"hostname": "member"}, ["member"], []), (remove, {}, [], ["two"]),
                (add, {"hostname": "member"}, ["member"], []),
                # A replaced witness is also removed from the configuration store.
                (remove, {"replaceWitness": True}, [], [])):
            change(**dict(AGENT, **keywords))
            self.assertEqual((listed("hostname"), sorted(listed("hostname", True))),
                             (agents, sorted(agents + recorded + ["recorded"])))

    def test_answers_without_a_cluster_and_with_many_agents(self):
        self.load({"agents": [{"uuid": "u", "type": "witness", "address": "192.0.2.7", "port": port}
                              for port in range(20000)]})
        self.assertEqual(listed("port"), list(range(20000)))
        self.load({})
        self.assertIs(pyquelt.GetUnicastMode(), False)
        self.assertEqual((pyquelt.GetUnicastAgents(True), pyquelt.GetQueltNetworkInfo(),
                          pyquelt.GetQueltZelnicNames()), ({}, [], []))
        self.load({"cluster": {"id": "c"}})
        self.assert_raises_exactly(
            RuntimeError, 'Failed to get unicast mode:The unicast mode of cluster "c" is not known',
            pyquelt.GetUnicastMode)
