"""The tool's subcommand rehearse."""

import json
import os
import pty
import signal
import sys
import time

import hosts

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples",
                       "careless_rotation.py")
SCENARIO = {
    "kekId": "old", "hardwareSku": "QS-1", "capacity": {"physical": 1 << 40},
    "keys": [{"id": name, "attribute": "KEK", "key": digits * 32}
             for name, digits in (("old", "a1"), ("new", "b2"))],
    "disks": [{"name": "d1", "uuid": "00000000-0000-4000-8000-000000000001", "encrypted": True,
               "kekId": "old", "dek": "01" * 32 + "02" * 32}]}

# The verdicts on the careless example, in the modes throw and throw-after.
CARELESS = [
    ("GetHardwareSku:1", "completed", "completed"), ("PersistKekId:1", "clean", "half done"),
    ("ShallowRekeyDisks:1", "half done", "half done"),
    ("RemoveKeyFromKeyCache:1", "hidden", "completed"),
    ("SetPerfsvcHostConfigStore:1", "hung", "completed"),
    ("GetPerfsvcHostConfigStore:1", "late", "late"),
    ("GetUnwrappedDekForDisk:1", "crashed", "crashed"),
    ("GetEncMetadataForDisk:1", "late", "late"), ("QueltUuidToString:1", "late", "late"),
    ("LookupKeyInKeyCache:1", "late", "late"),
]

# Scripts, further options, and the verdicts on all their runs, by step and mode.
SET = "pyquelt.SetPerfsvcHostConfigStore('{}', {})\n"
SCRIPTS = [
    # Reading changes nothing; the operation after a killed process is repeated.
    ("pyquelt.GetHardwareSku()", [],
     "throw clean, refuse clean, throw-after clean, kill completed, kill-after completed"),
    # An operation without a failure answer can't refuse.
    ("pyquelt.GetKekId()", ["--modes", "refuse,foreign,slow"], "foreign clean, slow completed"),
    # Generated values are compared by their form.
    (SET.format("id", "'x-%s' % uuid.uuid4()") + SET.format("time", "str(time.time())")
     + "pyquelt.CreateObject(size=4096)", ["--modes", "throw,throw-after,kill-after"],
     "throw clean, throw-after half done, kill-after completed; "
     "throw half done, throw-after half done, kill-after completed; "
     "throw half done, throw-after late, kill-after hidden"),
    (SET.format("id", "'x-%s' % uuid.uuid4()") + SET.format("id", "'y'"), ["--modes", "throw"],
     "throw clean; throw half done"),
    # Wrapping a DEK again changes its bytes but not the DEK.
    ("pyquelt.ShallowRekey(['d1'])", ["--modes", "throw,throw-after"],
     "throw clean, throw-after clean"),
    ("pyquelt.SetEncryptionEnabled(False)\npyquelt.SetEncryptionEnabled(True)",
     ["--modes", "throw,throw-after"], "throw clean, throw-after half done; "
     "throw half done, throw-after late"),
    # Excluded places.
    (SET.format("a", "'1'") + SET.format("b", "'2'"),
     ["--modes", "throw", "--ignore", "/perfsvc/*", "--only", "SetPerfsvcHostConfigStore"],
     "throw clean; throw clean"),
    # Only a retry finishes the work.
    (SET.format("a", "'1'") + SET.format("b", "'2'"), ["--modes", "throw", "--retry"],
     "throw clean; throw completed"),
]
# Rolls back, unless the rollback fails.
UNDOING = """
try:
    pyquelt.SetKekId("new")
    pyquelt.SetHostKeyId("k")
except ValueError:
    pyquelt.SetKekId("old")
    raise
"""
THREADS = """
threads = [threading.Thread(target=pyquelt.GetHardwareSku) for _ in range(2)]
for thread in threads: thread.start()
for thread in threads: thread.join()
pyquelt.SetKekId("new")
"""

# Commands that can't be rehearsed: options, the command as Python text (or words), and a part of
# the error.
REJECTED = [
    ([], ["quelt-nothing"], "quelt-host: quelt-nothing: command not found"),
    ([], "print('about to fail'); 1 / 0", "The command fails without a fault: exit status 1"),
    ([], "os.abort()", "The command fails without a fault: signal 6"),
    ([], "pass", "The command performs no operation of the host"),
    (["--only", "DDBGet"], "pyquelt.GetHardwareSku()", "none of the operations of --only"),
    ([], "pyquelt.SetPerfsvcHostConfigStore('pid', 'p%d' % os.getpid())",
     "The command varies without a fault: /perfsvc/pid is \"p"),
    ([], "try: os.mkdir({!r}); pyquelt.GetKekId()\nexcept OSError: pyquelt.GetHostKeyId()".format(
        os.path.join(hosts.FOLDER, "first")),
     "The command varies without a fault: its operation 1 was Get"),
    ([], "pyquelt.GetHardwareSku(); input()", "The command reads its standard input"),
    ([], "pyquelt.GetHardwareSku(); subprocess.Popen(['sleep', '600'])",
     "The command leaves processes behind that continue after it has ended"),
    (["--timeout", "0.3"], "pyquelt.GetHardwareSku(); time.sleep(60)", "longer than the time"),
    (["--scenario", "/nowhere"], "pass", "/nowhere: No such file"),
    (["--html", "/nowhere/x"], "print('started')", "/nowhere/x: No such file"),
    (["--modes", "throw,die"], "pass", "Expected one of the modes throw, refuse"),
    (["--ignore", "kekId"], "pass", "Expected a JSON pointer"),
    (["--state", "/x"], "pass", "rehearse creates temporary hosts"),
]
IMPORTS = "import os, random, subprocess, sys, threading, time, uuid\nimport pyquelt\n"


class RehearseTest(hosts.HostTestCase):

    def setUp(self):
        self.folder = self.fresh_folder()

    def rehearse(self, *words, **options):
        return hosts.quelt_host("rehearse", *words, env={"TMPDIR": self.folder}, **options)

    def report(self, script, *options, **changes):
        """Rehearses a Python text on SCENARIO; returns the report."""
        command = [sys.executable, "-c", IMPORTS + script]
        result = self.rehearse("--scenario", "-", "--json", *(list(options) + ["--"] + command),
                               input=json.dumps(dict(SCENARIO, **changes)))
        self.assertEqual(result.err, "")
        report = json.loads(result.out)
        self.assertEqual(result.code, 1 if report["findings"] else 0)
        return report

    def verdicts(self, *args, **options):
        return {",".join(run["faults"]): run["verdict"]
                for run in self.report(*args, **options)["runs"]}

    def assert_nothing_is_left(self):
        self.assertEqual(os.listdir(self.folder), [])
        mark = "TMPDIR=" + self.folder
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open("/proc/{}/environ".format(process)) as environment:
                    self.assertNotIn(mark, environment.read(), process)
            except OSError:
                pass  # it has ended

    def test_careless_example_shows_each_verdict(self):
        scenario = hosts.write("careless.json", json.dumps(SCENARIO))
        words = ["--scenario", scenario, "--timeout", "1.5", "--json", "--", sys.executable,
                 EXAMPLE, "d1", "old", "new"]
        result = self.rehearse("--modes", "throw,throw-after", *words)
        report = json.loads(result.out)
        self.assertEqual(
            [(run["faults"][0], run["verdict"]) for run in report["runs"]],
            [("{}={}".format(step, mode), verdict) for step, *verdicts in CARELESS
             for mode, verdict in zip(("throw", "throw-after"), verdicts)])
        self.assertEqual(result.code, 1)
        run = report["runs"][4]
        self.assertEqual([each for each in run["places"] if each["place"] == "/kekId"],
                         [{"place": "/kekId", "before": "old", "after": "new", "found": "new"}])
        self.assertEqual(run["output"], "ValueError: Injected fault: ShallowRekeyDisks:1=throw")
        self.assertNotIn("b2b2", result.out)
        # The command that reproduces the run does the same.
        tool = 'PATH="{}:$PATH" '.format(os.path.dirname(hosts.TOOL))
        again = hosts.run(["sh", "-c", tool + run["reproduce"]])
        self.assertEqual(again.code, 1)
        self.assertIn('~ /kekId  "old" -> "new"', again.err)
        self.assertEqual(self.rehearse("--modes", "throw,throw-after", *words), result)
        self.assert_nothing_is_left()

    def test_command_that_cannot_be_rehearsed_is_rejected_with_one_sentence(self):
        for options, script, reason in REJECTED:
            command = script if isinstance(script, list) else [sys.executable, "-c",
                                                               IMPORTS + script]
            result = self.rehearse(*(options + ["--"] + command))
            self.assertEqual((result.code, result.out), (2, ""), script)
            self.assertIn(reason, result.err)
            self.assert_nothing_is_left()
        self.assertIn("about to fail\n", self.rehearse(
            sys.executable, "-c", "print('about to fail'); exit(1)").err)

    def test_verdict_follows_from_state_and_exit_status(self):
        for script, options, expected in SCRIPTS:
            report = self.report(script, *options)
            rows = [[] for _ in report["steps"]]
            for run in report["runs"]:
                rows[run["step"]].append("{} {}".format(run["mode"], run["verdict"]))
            self.assertEqual("; ".join(", ".join(row) for row in rows), expected, script)

    def test_undo_fails_the_rollback_too(self):
        verdicts = self.verdicts(UNDOING, "--undo", "--modes", "throw")
        self.assertEqual(verdicts, {
            "PersistKekId:1=throw": "clean", "PersistKekId:1=throw,PersistKekId:2=throw": "clean",
            "PersistHostKeyId:1=throw": "clean",
            "PersistHostKeyId:1=throw,PersistKekId:2=throw": "half done"})
        self.assertEqual(set(self.verdicts(UNDOING, "--undo", "--retry").values()),
                         {"clean", "completed"})

    def test_calls_of_several_threads_fail_together(self):
        report = self.report(THREADS, "--modes", "throw")
        self.assertEqual((report["repeatable"], [run["faults"] for run in report["runs"]]),
                         (False, [["GetHardwareSku=throw"], ["PersistKekId=throw"]]))

    def test_interrupted_rehearsal_prints_its_results_and_leaves_nothing(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            process = hosts.start(
                [hosts.TOOL, "rehearse", "--jobs", "2", "--modes", "throw,slow", sys.executable,
                 "-c", IMPORTS + "for n in range(9): pyquelt.GetHardwareSku()\ntime.sleep(0.1)"],
                env={"TMPDIR": self.folder})
            time.sleep(2)
            begin = time.time()
            process.send_signal(number)
            out, err = process.communicate()
            self.assertLess(time.time() - begin, 1)
            self.assertEqual((process.returncode, err), (128 + number, ""))
            self.assertRegex(out, "Interrupted: [0-9]+ of at least 18 runs")
            self.assert_nothing_is_left()

    def test_killed_rehearsal_leaves_no_process(self):
        process = hosts.start([hosts.TOOL, "rehearse", sys.executable, "-c",
                               IMPORTS + "pyquelt.GetHardwareSku()\ntime.sleep(2)"],
                              env={"TMPDIR": self.folder})
        time.sleep(1)
        process.kill()
        process.communicate()
        time.sleep(0.5)
        self.assertEqual(len(os.listdir(self.folder)), 1)
        self.rehearse("quelt-nothing")  # removes the abandoned host
        self.assert_nothing_is_left()

    def test_terminal_shows_progress_and_the_report_tells_what_was_judged(self):
        main, terminal = pty.openpty()
        process = hosts.subprocess.Popen(
            [hosts.TOOL, "rehearse", "--ignore", "/x", sys.executable, "-c",
             IMPORTS + UNDOING], stderr=terminal, stdout=hosts.subprocess.PIPE,
            env=dict(os.environ, TMPDIR=self.folder))
        out = process.communicate()[0].decode("utf-8")
        os.close(terminal)
        self.assertIn(b"Rehearsing: 1 of 10 runs", os.read(main, 65536))
        os.close(main)
        for text in ("Not compared (--ignore): /x.", "the host's state and the exit status",
                     "--fail 'PersistHostKeyId:1=throw-after' -- "):
            self.assertIn(text, out)
