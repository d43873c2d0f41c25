"""Tests of the example scripts."""

import json
import os
import sys

import hosts

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples")


class ExamplesTest(hosts.HostTestCase):

    def example(self, name, *arguments, **options):
        return hosts.run([sys.executable, os.path.join(EXAMPLES, name)] + list(arguments),
                         **options)

    def test_capacity_report_shows_the_hosts_figures_and_detects_a_full_host(self):
        result = self.example("capacity_report.py", "--json")
        self.assertEqual((result.code, result.err), (0, ""))
        shown = json.loads(self.tool("show", "--json"))["space"]
        for name, space in json.loads(result.out)["spaces"].items():
            self.assertEqual([space["capacity"], space["used"]],
                             [shown[name + "Capacity"], shown[name + "Used"]])
        result = self.example("capacity_report.py", "--most", "1")
        self.assertEqual((result.code, result.out.splitlines()[-2:]),
                         (1, ["Too little logical space is left",
                              "Too little physical space is left"]))
        self.tool("fail", "GetCapacityAndFSOverheadFromNorim", "--throw", "no answer")
        self.assertEqual(self.example("capacity_report.py"),
                         (1, "", "capacity_report: no answer\n"))

    def test_unicast_audit_finds_exactly_the_differences(self):
        agents = [{"uuid": name, "type": "node", "address": "192.0.2.%d" % i, "hostname": name,
                   "thumbprint": name} for i, name in enumerate(("a", "b", "c"))]
        changed = [agents[0], dict(agents[1], thumbprint="odd")]

        def make(name, agents, unicast):
            path = os.path.join(self.fresh_folder(), name)
            document = {"agents": agents, "cluster": {"id": "x", "unicastModes": {"x": unicast}}}
            self.tool("load", "-", state=path, input=json.dumps(document))
            return "{}={}".format(name, path)

        names = [make("a", agents[1:], True), make("b", [agents[0], agents[2]], True),
                 make("c", agents, True)]
        self.assertEqual(self.example("unicast_audit.py", *names), (0, "", ""))
        names[2] = make("d", changed, False)
        self.assertEqual(self.example("unicast_audit.py", *names), (
            1, "d lists b at 192.0.2.1 port 12321 with thumbprint 'odd', not 'b'\n"
            "d does not list c at 192.0.2.2 port 12321\n"
            "unicast is on at a, b and off at d\n", ""))
        self.tool("fail", "GetUnicastAgentList", "--throw", "asleep", state=names[0][2:])
        self.assertEqual(self.example("unicast_audit.py", *names),
                         (2, "", "unicast_audit: a: RuntimeError: Failed to get unicast agents "
                          "from ulo: asleep\n"))

    def test_tour_and_test_of_the_rotation_pass(self):
        tour = self.example("tour.py")
        self.assertEqual((tour.code, tour.err), (0, ""))
        result = hosts.run([sys.executable, "-m", "unittest", "test_rotate_kek"], cwd=EXAMPLES)
        self.assertRegex(result.err, "(?s)Ran 3 tests.*OK\n$")
