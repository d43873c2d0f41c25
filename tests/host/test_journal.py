"""The journal records each operation and does not affect it."""

import calendar
import json
import time

import hosts
import pyquelt

SECRET = "correct horse battery staple"

# A call, and the record of its last operation: operation, arguments, outcome, message.
CALLS = [
    (lambda: pyquelt.GetHardwareSku(), "GetHardwareSku", {}, "answered", ""),
    (lambda: pyquelt.SetIloAuth(u"gr\u00fc\u00df", SECRET), "SetIloAuth",
     {"first": u"gr\u00fc\u00df", "second": "(28 bytes)"}, "answered", ""),
    (lambda: pyquelt.CacheKey("k", "a", SECRET), "AddKeyToKeyCache",
     {"id": "k", "attribute": "a", "key": "(28 bytes)"}, "answered", ""),
    (lambda: pyquelt.RemoveKey("nobody"), "RemoveKeyFromKeyCache", {"id": "nobody"}, "threw",
     'Key "nobody" is not in the key cache'),
    (lambda: pyquelt.GetKeyFromKeyCache("k"), "RetrieveKeyFromKeyCache",
     {"id": "k", "capacity": 4096}, "answered", ""),
    (lambda: pyquelt.AddUnicastAgent("nowhere"), "BuildQueltIPAddress", {"text": "nowhere"},
     "answered", "false"),
    (lambda: pyquelt.DeleteObject("00000000-0000-0000-0000-000000000001"), "ObjUtil_Delete",
     {"cid": "00000000-0000-0000-0000-000000000000",
      "uuid": "00000000-0000-0000-0000-000000000001", "force": False}, "answered",
     "status 0x0bad0003"),
    (lambda: pyquelt.SetPerfsvcHostConfigStore("k", 5000 * "v"), "SetPerfsvcHostConfigStore",
     {"first": "k", "second": 4096 * "v" + "... (5000 bytes)"}, "answered", ""),
]

# Forks while its threads write the journal. Prints the ids of the children that succeeded.
WORKERS = """
import os, threading, pyquelt
def work():
    for i in range(20):
        pyquelt.GetKekId()
threads = [threading.Thread(target=work) for i in range(3)]
for thread in threads:
    thread.start()
for i in range(5):
    child = os.fork() or work() or os._exit(0)
    if os.waitpid(child, 0)[1] == 0:
        print(child)
"""

# Options of a fault, and the recorded outcome and message.
FAULTS = [
    (["--refuse"], "refused", "false"),
    (["--throw", "out of paper"], "threw", "out of paper"),
    (["--throw-standard", "odd"], "threw", "odd"),
    (["--throw-unknown"], "threw", "(not a standard exception)"),
    (["--delay", "0.25"], "answered", ""),
]


class JournalTest(hosts.HostTestCase):

    def setUp(self):
        super().setUp()
        self.tool("journal", "start")

    def records(self):
        return [json.loads(line)
                for line in self.tool("journal", "show", "--json").split("\n") if line]

    def assert_last_is(self, *expected):
        record = self.records()[-1]
        self.assertEqual(expected, tuple(
            record[key] for key in ("operation", "arguments", "outcome", "message")))

    def test_records_arguments_and_outcome_without_secrets(self):
        for call, *record in CALLS:
            hosts.outcome(call)
            self.assert_last_is(*record)
        for words, outcome, message in FAULTS:
            self.tool("fail", "GetHardwareSku", *words)
            hosts.outcome(pyquelt.GetHardwareSku)
            self.assert_last_is("GetHardwareSku", {}, outcome, message)
        self.assertGreaterEqual(self.records()[-1]["duration"], 0.25)
        self.assertNotIn(SECRET, str(hosts.sqlite(hosts.STATE, "SELECT * FROM journal")))
        self.assertIn("second=(28 bytes)", self.tool("journal", "show"))

    def test_records_each_operation_of_threads_and_processes_in_order(self):
        begin = time.time()
        processes = [hosts.start_python(WORKERS) for _ in range(3)]
        workers = " ".join(process.communicate()[0] for process in processes).split()
        records = self.records()
        self.assertEqual([record["number"] for record in records], list(range(1, 3 * 8 * 60 + 1)))
        self.assertEqual(len(workers), 3 * 5)
        for process in workers:
            self.assertEqual([record["operation"] for record in records
                              if record["process"] == int(process)],
                             20 * ["GetQueltPlugin", "GetHostSystem", "GetConfiguredKekId"])
        stamp = time.strptime(records[0]["time"][:19], "%Y-%m-%dT%H:%M:%S")
        self.assertLess(abs(int(begin) - calendar.timegm(stamp)), 300)

    def test_records_only_when_on_and_within_its_bound(self):
        self.tool("journal", "stop")
        pyquelt.GetHardwareSku()
        self.assertEqual(self.tool("journal", "show"), "Nothing is recorded; the journal is off.\n")
        self.tool("journal", "start")
        pyquelt.GetUnicastAgents()
        self.assertEqual([record["operation"] for record in self.records()],
                         ["GetQueltPlugin", "GetHostSystem", "GetUnicastAgentList"])
        self.assertIn("includeExtra=false", self.tool("journal", "show"))
        # Simulate that the maximum number of records is reached.
        hosts.sqlite(hosts.STATE, "UPDATE journal SET number = 100001 WHERE number = 3")
        pyquelt.GetHardwareSku()
        self.assertEqual([record["number"] for record in self.records()], [100001, 100002])
        self.tool("journal", "clear")
        self.assertEqual(self.records(), [])

    def test_show_selects_records(self):
        pyquelt.GetHardwareSku()                                         # 1
        hosts.outcome(pyquelt.RemoveKey, "nobody")                       # 2, throws
        hosts.outcome(pyquelt.AddUnicastAgent, "nowhere")                # 3, answers false
        self.tool("fail", "GetHardwareSku", "--refuse", "--times", "1")
        hosts.outcome(pyquelt.GetHardwareSku)                            # 4, refused
        for words, numbers in (([], [1, 2, 3, 4]), (["--failed"], [2, 3, 4]),
                               (["--since", "2"], [3, 4]), (["--since=4", "--failed"], []),
                               (["--failed", "GetHardwareSku", "BuildQueltIPAddress"], [3, 4])):
            lines = self.tool("journal", "show", "--json", *words).splitlines()
            self.assertEqual([json.loads(line)["number"] for line in lines], numbers, words)
        self.assertEqual(self.tool("journal", "show", "--since", "4"),
                         "No such operation is recorded; the journal is on.\n")

    def test_follow_prints_new_records_until_its_reader_ends(self):
        self.tool("journal", "stop")
        follow = hosts.start([hosts.TOOL, "journal", "show", "--follow", "--failed"])
        self.assertIn("the journal is off", follow.stderr.readline())
        self.tool("journal", "start")
        lines = []
        for name in "first", "the second one":
            for _ in range(2):
                pyquelt.GetHardwareSku()
                hosts.outcome(pyquelt.RemoveKey, name)
                lines += [follow.stdout.readline() for _ in range(1 if lines else 2)]
            self.tool("journal", "clear")
        self.assertEqual([line.split()[0] for line in lines], ["NO", "2", "4", "2", "4"])
        self.assertIn('Key "the second one" is not in the key cache', lines[-1])
        follow.stdout.close()
        self.assertEqual((follow.stderr.read(), follow.wait(20)), ("", 0))

    def test_unwritable_journal_does_not_change_the_answer(self):
        self.assertEqual(self.script(
            "import sqlite3, subprocess, sys\n"
            "db = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
            "db.execute('BEGIN IMMEDIATE')\n"
            "script = 'import pyquelt; print(pyquelt.GetHardwareSku())'\n"
            "subprocess.check_call([sys.executable, '-c', script])",
            hosts.STATE, env={"QUELT_HOST_WAIT": "0"}), "QS-2240-AF\n")
        self.assertEqual(self.records(), [])
