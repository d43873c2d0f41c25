"""The behaviour of quelt_testing on which tests of scripts rely."""

import os
import re
import select
import signal
import subprocess
import sys

import hosts
import quelt_testing

PYTEST_FILE = """
import pyquelt, pytest
@pytest.mark.parametrize("turn", (1, 2))
def test_host_is_new(quelt_host, turn):
    assert quelt_host.journal() == []
    with pytest.raises(ValueError):
        pyquelt.GetIloAuth()
    pyquelt.SetIloAuth("a", "b")
    quelt_host.fail("SetIloAuth", throw="still failing")
"""

# Forks inside a host's context and after it; children exit with and without exit functions.
FORKS = """
import os, quelt_testing
def child(end):
    if os.fork() == 0:
        with quelt_testing.Host({"hardwareSku": "child's"}) as mine:
            assert mine.dump()["hardwareSku"] == "child's"
            print(mine.state, flush=True)
        end(0)
    assert os.wait()[1] == 0
    assert host.dump()["hardwareSku"] == "parent's"
with quelt_testing.Host({"hardwareSku": "parent's"}) as host:
    child(os._exit)
    host.fail("GetHardwareSku")
child(exit)
if os.fork() == 0:
    exit()  # without a host of its own
os.wait()
assert os.path.exists(host.state)
print(host.state, host.tool("faults"))
"""


GUIDE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs",
                     "testing-your-scripts.md")

# Holds a pipe open, also from another session, until it is terminated.
ENDLESS = 'exec 3>"$0"; setsid sleep 60 >/dev/null 2>&1 & echo begun; echo x >&3; '

# What a test process runs, and how it is ended.
ENDS = [("host.run(*command)", lambda process: process.kill()),
        ("host.run(*command)", lambda process: os.killpg(process.pid, signal.SIGKILL)),
        ("host.run(*command, timeout=60)", lambda process: process.send_signal(signal.SIGINT)),
        ("command[2] = command[2].replace('sleep 61', ''); host.run(*command)",
         lambda process: process.stdin.close())]

# Invalid calls, and the exceptions that they raise.
MISTAKES = [
    (lambda host: host.fail("Nothing"), quelt_testing.ToolError, "Unknown platform operation"),
    (lambda host: host.journal("Nope"), quelt_testing.ToolError, "Unknown platform operation"),
    (lambda host: host.load({"no": 1}), quelt_testing.ToolError, "/no: expected one of these keys"),
    (lambda host: host.run("/nowhere"), FileNotFoundError, "'/nowhere'"),
    (lambda host: host.run("/etc/passwd"), PermissionError, "'/etc/passwd'")]


class HostTest(hosts.HostTestCase):

    def test_each_host_begins_with_its_own_scenario_faults_and_journal(self):
        import pyquelt
        path = hosts.write("scenario.json", '{"hardwareSku": "from the file"}')
        for scenario, sku in (({"hardwareSku": u"gr\u00fc\u00df"}, u"gr\u00fc\u00df"),
                              (path, "from the file"), (None, "QS-2240-AF")):
            with quelt_testing.Host(scenario) as host:
                self.assertEqual(host.journal(), [])
                self.assertEqual(pyquelt.GetHardwareSku(), sku)
                self.assertEqual(host.dump()["hardwareSku"], sku)
                host.fail("GetHardwareSku", throw="--odd=", after=1, times=2, delay=0)
                self.assertEqual(
                    [hosts.outcome(pyquelt.GetHardwareSku) for _ in range(4)],
                    [sku, (ValueError, "--odd="), (ValueError, "--odd="), sku])
                self.assertEqual([each["outcome"] for each in host.journal("GetHardwareSku")],
                                 ["answered", "answered", "threw", "threw", "answered"])
                host.fail("GetHardwareSku", throw="", times=1)
                self.assertEqual(hosts.outcome(pyquelt.GetHardwareSku), (ValueError, ""))
                pyquelt.SetKekId(u"two\u2028lines\u0085")
                self.assertEqual(list(host.journal("PersistKekId")[0]["arguments"].values()),
                                 [u"two\u2028lines\u0085"])
                host.clear_journal()
                self.assertEqual(host.journal(), [])
                host.fail("SetIloAuth", throw_standard="x")
                with self.assertRaises(RuntimeError):
                    quelt_testing.Host().__enter__()

    def test_rehearsal_returns_each_run_and_describes_a_finding(self):
        script = "import pyquelt; pyquelt.SetKekId('a'); pyquelt.SetHostKeyId('b')"
        clean, finding = quelt_testing.rehearse([sys.executable, "-c", script], {"kekId": "k"},
                                                modes=["throw"], jobs=2, timeout=30)
        self.assertEqual([(run.id, run.verdict, run.status) for run in (clean, finding)],
                         [("PersistKekId:1=throw", "clean", 1),
                          ("PersistHostKeyId:1=throw", "half done", 1)])
        self.assertEqual(finding.places, [
            quelt_testing.Place("/hostKeyId", "(missing)", "b", "(missing)"),
            quelt_testing.Place("/kekId", "k", "a", "a")])
        clean.check()
        with self.assertRaisesRegex(AssertionError, "half done if PersistHostKeyId:1=throw\n"):
            finding.check()
        with self.assertRaisesRegex(quelt_testing.ToolError, "fails without a fault"):
            quelt_testing.rehearse([sys.executable, "-c", "1 / 0"])

    def test_mistake_raises_an_exception_that_names_it(self):
        with quelt_testing.Host() as host:
            for call, kind, text in MISTAKES:
                with self.assertRaisesRegex(kind, text):
                    call(host)
            self.assertEqual(host.run_python("-c", "import sys; sys.exit(input())", input="bye"),
                             (1, "", "bye\n"))
            self.assertEqual(host.run("sh", "-c", "kill -9 $$").code, -signal.SIGKILL)
            result = host.run_python("-c", "import quelt_testing; quelt_testing.tool_path()",
                                     env={"PYQUELT_TOOL": "/nope"})
            self.assertIn("ToolError: PYQUELT_TOOL is '/nope'", result.err)

    def pipe(self):
        """Returns the path of a new named pipe, its read end and its write end."""
        path = os.path.join(self.fresh_folder(), "pipe")
        os.mkfifo(path)
        reader = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        os.set_blocking(reader, True)
        return path, reader, os.open(path, os.O_WRONLY)

    def test_timeout_kills_the_script_and_its_descendants(self):
        path, reader, writer = self.pipe()
        os.close(writer)
        with quelt_testing.Host() as host:
            with self.assertRaises(subprocess.TimeoutExpired) as caught:
                host.run("sh", "-c", ENDLESS + "sleep 61", path, timeout=2)
        self.assertEqual((caught.exception.output, os.read(reader, 9), os.read(reader, 9)),
                         ("begun\n", b"x\n", b""))

    def test_end_of_the_test_process_leaves_no_process_running(self):
        for script, end in ENDS:
            path, reader, writer = self.pipe()
            process = hosts.start_python(
                "import sys, quelt_testing\ncommand = ['sh', '-c'] + sys.argv[1:]\n"
                "with quelt_testing.Host() as host: {}\ninput()".format(script),
                ENDLESS + "sleep 61", path, start_new_session=True, env={"TMPDIR": hosts.FOLDER})
            self.assertEqual(os.read(reader, 9), b"x\n")
            os.close(writer)
            with process:
                end(process)
                self.assertTrue(select.select([reader], [], [], 30)[0], script)
                self.assertEqual(os.read(reader, 9), b"", script)

    def test_host_is_rejected_after_a_call_on_another_host(self):
        result = hosts.run_python(
            "import pyquelt, quelt_testing\npyquelt.GetHardwareSku()\n"
            "with quelt_testing.Host(): pass", state=os.path.join(hosts.FOLDER, "elsewhere.db"))
        self.assertIn("RuntimeError: pyquelt was called in this process before", result.err)

    def test_forked_process_has_its_own_host_and_all_folders_are_removed(self):
        paths = self.script(FORKS).split()
        self.assertEqual([len(paths), [os.path.exists(os.path.dirname(path)) for path in paths]],
                         [3, [False] * 3])

    def test_fault_text_may_be_non_ascii_in_the_c_locale(self):
        shown = self.script(
            "import quelt_testing\nwith quelt_testing.Host() as host:\n"
            "  host.fail('GetHardwareSku', throw='gr\\xfc\\xdf')\n"
            "  print(ascii(host.tool('faults')))",
            env={"LC_ALL": "C", "PYTHONUTF8": "0", "PYTHONCOERCECLOCALE": "0"})
        self.assertEqual(shown.strip(), ascii(u'GetHardwareSku: throw "gr\xfc\xdf"\n'))

    def test_fixture_and_the_guides_tests_pass_from_any_folder(self):
        if hosts.run([sys.executable, "-c", "import pytest"]).code != 0:
            self.skipTest("pytest is not installed")
        # The guide's scenario, script and two tests.
        with open(GUIDE) as file:
            guide = file.read()
        script, test, fix, fixture_test = re.findall(r"(?s)```python\n(.*?)```", guide)
        folder = self.fresh_folder()
        for name, text in (
                ("conftest.py", 'pytest_plugins = "quelt_testing"\n'), ("test_it.py", PYTEST_FILE),
                ("two-keks.json", re.search(r"(?s)```json\n(.*?)```", guide).group(1)),
                ("unlock.py", re.sub(r"(?m)^    pyquelt.Set(.*\n){2}", fix, script)),
                ("test_unlock.py", test), ("test_fixture.py", fixture_test)):
            hosts.write(os.path.join(folder, name), text)
        result = hosts.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", folder],
                           cwd="/")
        self.assertIn("4 passed", result.out, result.out + result.err)
