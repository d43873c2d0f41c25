"""Unicast membership and storage interfaces on the embedded host."""

import json
import os
import threading
import unittest

import deep
import hosts
import pyquelt

ZERO_UUID = "00000000-0000-0000-0000-000000000000"
NAME = 'Unicast agent "u" at 192.0.2.7 port 1'

# What several processes and threads do at once: each adds agents of its own, with fields that tell
# whether all of an agent is there, and removes every other one again.
CHANGES = """
import sys, pyquelt
def change(worker, agents):
    for i in range(agents):
        name = "%s-%d" % (worker, i)
        where = dict(addr="10.0.0.%d" % (i % 250), uuid=worker, port=i)
        pyquelt.AddUnicastAgent(isSupportUnicast=True, interface=name, hostname=name,
                                thumbprint=name, subclusterUuid=name, **where)
        if i % 2:
            pyquelt.RemoveUnicastAgent(**where)
"""


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

    def test_changes_at_once_lose_agents_or_show_half_of_one(self):
        threads, processes, agents = 8, 4, deep.full(60, otherwise=10)
        workers = ["t%d" % i for i in range(threads)] + ["p%d" % i for i in range(processes)]
        namespace = {}
        exec(CHANGES, namespace)  # pylint: disable=exec-used
        done = threading.Event()
        halves = []

        def watch():
            while not done.is_set():
                halves.extend(agent for uuid, agent in all_agents()
                              if not self.is_whole(uuid, agent))

        watcher = threading.Thread(target=watch)
        watcher.start()
        children = [hosts.start_python(CHANGES + "change(sys.argv[1], %d)" % agents, worker)
                    for worker in workers[threads:]]
        running = [threading.Thread(target=namespace["change"], args=(worker, agents))
                   for worker in workers[:threads]]
        for thread in running:
            thread.start()
        for thread in running:
            thread.join()
        for child in children:
            self.assertEqual((child.communicate(), child.returncode), (("", ""), 0))
        done.set()
        watcher.join()
        self.assertEqual(halves, [])
        self.assertEqual(sorted((uuid, agent["port"]) for uuid, agent in all_agents()),
                         sorted((worker, i) for worker in workers for i in range(0, agents, 2)))

    @staticmethod
    def is_whole(uuid, agent):
        name = "%s-%d" % (uuid, agent["port"])
        return agent == {"isWitness": True, "isSupportUnicast": True,
                         "address": "10.0.0.%d" % (agent["port"] % 250), "port": agent["port"],
                         "zelnic": name, "hostname": name, "thumbprint": name,
                         "subClusterUuid": name}


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

    def load(self, document):
        path = os.path.join(self.fresh_folder(), "scenario.json")
        with open(path, "w") as scenario:
            json.dump(document, scenario)
        return hosts.quelt_host("load", path)

    def test_scenario_comes_back_changed(self):
        agents = [dict(AGENT, type=kind, port=port, address=u"2001:db8::7", interface="",
                       isSupportUnicast=True, hostname="h\0i", thumbprint="t",
                       subClusterUuid="s")
                  for kind, port in (("node", -2 ** 31), ("witness", 2 ** 31 - 1),
                                     ("metadata", 0), ("remote", 1))]
        del agents[1]["interface"]
        group = {"agentGroup": "239.0.0.1", "agentV6Group": "239.0.0.2", "agentPort": -1,
                 "masterGroup": "ff15::1", "masterV6Group": "ff15::2", "masterPort": 2 ** 31 - 1,
                 "unicastPort": 0, "ttl": 1}
        document = {
            "agents": agents, "recordedAgents": agents[::-1],
            "cluster": {"id": "c", "enabled": False, "unicastModes": {"c": True, "": False}},
            "interfaces": [dict(group, name="b", uuid="u", trafficType="all"),
                           dict(group, name="a", uuid="", trafficType="")]}
        result = self.load(document)
        self.assertEqual((result.code, result.err), (0, ""))
        dumped = json.loads(self.tool("dump", "--secrets"))
        self.assertEqual({key: dumped[key] for key in document}, document)
        self.assertIs(pyquelt.GetUnicastMode(), False)
        self.assertEqual(pyquelt.GetQueltZelnicNames(), ["b"])

    def test_bad_scenario_is_loaded_or_refused_without_its_place(self):
        table = (
            ({"agents": {}}, "/agents: expected an array"),
            ({"agents": [dict(AGENT, address="192.0.2")]},
             "/agents/0/address: expected an IPv4 or IPv6 address"),
            ({"agents": [dict(AGENT, address="192.0.2.7\0")]},
             "/agents/0/address: expected an IPv4 or IPv6 address"),
            ({"agents": [dict(AGENT, type="Node")]}, "/agents/0/type: expected "),
            ({"agents": [dict(AGENT, port=2 ** 31)]}, "/agents/0/port: expected "),
            ({"agents": [dict(AGENT, nodeType=1)]}, "/agents/0/nodeType: expected "),
            ({"recordedAgents": [AGENT, dict(AGENT, type="node", port=12321)]},
             "/recordedAgents/1: expected an agent that is not listed before ("),
            ({"cluster": {}}, '/cluster: expected a member "id"'),
            ({"cluster": {"id": "c", "unicastModes": {"c": 1}}},
             "/cluster/unicastModes/c: expected true or false"),
            ({"interfaces": [{"name": "a", "agentGroup": "x"}]},
             "/interfaces/0/agentGroup: expected an IPv4 or IPv6 address"),
        )
        before = self.tool("dump", "--secrets")
        for document, text in table:
            with self.subTest(text):
                result = self.load(document)
                self.assertEqual(result.code, 1)
                self.assertIn(text, result.err)
        self.assertEqual(self.tool("dump", "--secrets"), before)

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
