"""The tool quelt-host as a whole: usage, help, completion and manual, the view of a host, and run.

The tests of faults, scenarios and the journal cover what each subcommand does to a host.
"""

import json
import os
import re
import select
import shutil
import signal
import subprocess
import sys
import unittest

import hosts
import pyquelt

EVERYTHING = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "host", "data",
                          "everything.json")
COMMANDS = ["init", "reset", "load", "dump", "show", "fail", "heal", "faults", "journal",
            "journal start", "journal stop", "journal show", "journal clear", "run", "rehearse",
            "completion", "manual"]

# Completion in bash: the words so far (the last one unfinished) and those offered (None: files).
COMPLETIONS = [
    ([""], ["--help", "--state", "--version", "-h"]
     + [name for name in COMMANDS if " " not in name]),
    (["sh"], ["show"]),
    (["fail", "GetIlo"], ["GetIloAuth"]),
    (["fail", "--thr"], ["--throw", "--throw-after", "--throw-standard", "--throw-unknown"]),
    (["fail", "--throw", "GetIlo"], []),
    (["--state", "journal", "journal", "sh"], ["show"]),
    (["completion", ""], ["--help", "--state", "-h", "bash", "fish", "zsh"]),
    (["run", "--s"], ["--scenario", "--secrets"]), (["run", "quelt-no"], []),
    (["run", "echo", "--js"], []), (["rehearse", "--re"], ["--retry"]),
    (["rehearse", "--modes", "th"], []), (["rehearse", "ls", "--undo", "/"], None),
    (["load", "/"], None), (["--state", "/"], None), (["run", "--html", "/"], None),
    (["run", "--json", "/"], None), (["run", "ls", "--state", "/"], None),
]

SCRIPT = """
import sys, pyquelt
pyquelt.SetIloAuth("admin", "topsecret")
pyquelt.SetPerfsvcHostConfigStore("verbosity", "high")
pyquelt.CacheKey("k-new", "KEK", "topsecret")
pyquelt.RemoveUnicastAgent("198.51.100.7", "5f0c2a31-8d44-4b7e-9c15-0a1b2c3d4e02", type="witness")
print(sys.argv[1:])
sys.exit(7)
"""


# Invalid command lines: the arguments, the exit status, and a part of the error's first line.
NOWHERE = "quelt-host: /nowhere: No such file or directory"
MISTAKES = [
    ([], 2, "A subcommand is required"),
    (["journal"], 2, "A subcommand is required"),
    (["nonsense", "--json"], 2, 'Unknown command "nonsense"'),
    (["--state", "/x", "Jounal"], 2, 'Unknown command "Jounal". Did you mean journal?'),
    (["journal", "shwo"], 2, 'Unknown command "shwo". Did you mean show?'),
    (["show", "--", "x"], 2, ""),
    (["faults", "--state"], 2, "--state"),
    (["completion", "tcsh"], 2, ""),
    (["journal", "show", "--since", "x"], 2, '--since: Expected the number of a record, not "x"'),
    (["journal", "show", "SetIloAut"], 2, "Did you mean SetIloAuth or GetIloAuth?"),
    (["fail"], 2, "OPERATION is required"),
    (["fail", "SetKekId"], 2, "the operations GetQueltPlugin, GetHostSystem, PersistKekId"),
    (["fail", "getkekid"], 2, "Did you mean GetConfiguredKekId?"),
    (["heal", "gethardwaresku"], 2, "Did you mean GetHardwareSku?"),
    (["heal", "GetHardwareSku", "xyz"], 2, 'Unknown platform operation "xyz"'),
    (["fail", "GetHardwareSku", "--refuse", "--throw", "x"], 2, "at most 1"),
    (["reset", "--state", ""], 2, "--state: PATH is empty"),
    (["dump", "--state=", "--secrets"], 2, "--state: PATH is empty"),
    (["run", "--state", "/x", "--", "true"], 2, "--state: run creates a temporary host"),
    (["fail", "GetHardwareSku", "--times", "0"], 2, '--times: Expected 1 or more calls, not "0"'),
    (["fail", "GetHardwareSku", "--after", "-1"], 2, '--after: Expected 0 or more calls, not "-1"'),
    (["fail", "GetHardwareSku", "--delay", "nan"], 2, "--delay"),
    (["run"], 2, "COMMAND is required"),
    (["run", "--fail", "SetKekId:1=throw", "--", "true"], 2, "the operations GetQueltPlugin"),
    (["run", "--fail", "SetIloAuth", "--", "true"], 2, "Expected OPERATION:OCCURRENCE=MODE"),
    (["run", "--fail", "SetIloAuth:0=kill", "true"], 2, "Expected the number of a call, from 1"),
    (["run", "--fail", "SetIloAuth:1=die", "true"], 2, "Expected one of the modes throw, refuse"),
    (["run", "--jsn", "true"], 2, "--jsn"),
    (["run", "--json="], 2, ""),
    (["run", "--", "nosuch"], 127, "quelt-host: nosuch: command not found"),
    (["run", "--", "/nowhere"], 127, NOWHERE),
    (["run", ""], 127, 'quelt-host: "": command not found'),
    (["run", "/etc/passwd", "--help"], 126, "quelt-host: /etc/passwd: Permission denied"),
    (["run", "--report", "/nowhere/x", "sh", "-c", "echo started"], 1, "quelt-host: /nowhere/x:"),
    (["run", "--report", "/", "sh", "-c", "echo started"], 1, "quelt-host: /: Is a directory"),
    (["run", "--html", "/nowhere/x", "sh", "-c", "echo started"], 1, "quelt-host: /nowhere/x:"),
    (["run", "--html", "/", "sh", "-c", "echo started"], 1, "quelt-host: /: Is a directory"),
    (["run", "--scenario", "/nowhere", "--", "true"], 1, NOWHERE),
    (["run", "--", "sh", "-c", "kill -TERM $$"], 143, "The command changed nothing."),
]


def on_terminal(command, **options):
    """What a shell command writes to its terminal. TOOL is the path of the tool."""
    return hosts.run(["script", "-qec", command.replace("TOOL", hosts.TOOL), "/dev/null"],
                     **options).out


class UsageTest(hosts.HostTestCase):

    def test_mistake_has_its_status_and_changes_nothing(self):
        before = self.dump()
        for words, code, line in MISTAKES:
            result = hosts.quelt_host(*words)
            self.assertEqual((result.code, result.out), (code, ""), words)
            first = result.err.split("\n")[0]
            self.assertIn(line, first)
            self.assertEqual(first.startswith("quelt-host: "), code < 128)
        self.assertEqual((self.tool("faults"), self.dump()), ("", before))

    def test_failure_has_status_1_and_one_line_of_escaped_text(self):
        for words in ["init"], ["reset"], ["fail", "DDBGet"], ["heal"], ["faults"]:
            self.assertEqual(hosts.quelt_host("--state", hosts.FOLDER, *words), hosts.Result(
                1, "", "quelt-host: " + hosts.FOLDER + ": Is a directory\n"))
        for word in "init", "--help":
            result = hosts.run(["sh", "-c", "exec \"$0\" $1 >/dev/full", hosts.TOOL, word])
            self.assertEqual(result, hosts.Result(
                1, "", "quelt-host: Standard output could not be written\n"))
        document = json.dumps({u"a\nb\x1b]0;own\x07\x7f\x80\u009f\u00a0": 1})
        self.assertIn(u"quelt-host: standard input: /a\\nb\\x1b]0;own\\x07\\x7f\\x80\\x9f\u00a0: ",
                      self.load(document))
        self.tool("fail", "GetHardwareSku", "--throw", "a\nb\x1b[31m")
        self.assertEqual(self.tool("faults"), 'GetHardwareSku: throw "a\\nb\\x1b[31m"\n')
        self.assertEqual(self.load({"hardwareSku": u"\u009b31m\x7f"}), "")
        self.assertIn(u'"hardwareSku": "\\u009b31m\\u007f"', self.tool("dump"))


class DocumentationTest(hosts.HostTestCase):

    def test_each_subcommand_has_an_example_and_is_in_the_manual(self):
        manual = self.tool("manual")
        for name in COMMANDS:
            text = self.tool(*(name.split() + ["--help"]))
            self.assertRegex(text, "(?s)\nExample.*\n.*quelt-host ")
            for option in re.findall(r"^ +(?:-h,)?(--[a-z-]+)", text, re.M):
                self.assertIn(option.replace("-", "\\-"), manual)
        listed = re.findall(r"(?m)^\.SS quelt\\-host ((?:[a-z]+ ?)+)", manual)
        self.assertEqual([name.strip() for name in listed], COMMANDS)
        if shutil.which("groff"):
            self.assertEqual((0, "", ""), hosts.run(["groff", "-man", "-ww", "-Tutf8", "-z"],
                                                    input=manual, env=hosts.FOREIGN))

    @unittest.skipUnless(shutil.which("bash"), "needs bash")
    def test_shell_completes_commands_options_operations_and_files(self):
        script = self.tool("completion", "bash") + (
            'COMP_WORDS=(quelt-host "$@") COMP_CWORD=$#\n_quelt_host\n'
            'printf "%s\\n" "${COMPREPLY[@]}"\n')
        for words, offered in COMPLETIONS:
            result = hosts.run(["bash", "-c", script, "bash"] + words)
            if offered is None:
                self.assertIn("/etc\n", result.out)
            else:
                self.assertEqual((sorted(result.out.split()), result.err), (sorted(offered), ""))
        if shutil.which("fish"):
            script = self.tool("completion", "fish")
            for line, word in (("jour", "journal"), ("journal sh", "show"),
                               ("fail GetIlo", "GetIloAuth")):
                ask = script + '\ncomplete -C "quelt-host {}"\n'.format(line)
                result = hosts.run(["fish", "--no-config", "-c", ask])
                self.assertEqual((result.out.split("\t")[0].strip(), result.err), (word, ""))
        self.assertIn("bashcompinit", self.tool("completion", "zsh"))


class ShowTest(hosts.HostTestCase):

    def test_show_agrees_with_the_host_and_contains_no_secret(self):
        pyquelt.CacheKey("another", "", "topsecret")
        self.tool("fail", "GetIloAuth")
        shown = json.loads(self.tool("show", "--json"))
        info = pyquelt.GetHostInfo()
        self.assertEqual((shown["host"], shown["space"]), (
            json.loads(hosts.quelt_host("dump").out), {key: info[key] for key in shown["space"]}))
        self.assertEqual((shown["faults"], shown["cachedKeys"]), (["GetIloAuth"], 3))
        text = self.tool("show")
        self.assertNotIn("topsecret", text)
        for part in (hosts.STATE, "QS-2240-AF", "2 of 4 disks", "3 keys", "GetIloAuth",
                     "Unicast agents (3)", "Objects (8)", "200.0 GiB", "web-01-disk-0",
                     "kms-2  kmip-a        127.0.0.1  5697", "kek-2026-01" + 27 * " " + "KEK",
                     "capacityGiB 1490, formatVersion 12, healthy 0"):
            self.assertIn(part, text)
        self.tool("load", EVERYTHING)
        text = self.tool("show")
        time = r"  \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC"
        for start in r"\nCN=kms.example *", r"\nkmip-a +CN=[^ ]+ *":
            self.assertRegex(text, start + time + time + "  [0-9a-f]{64}\n")
        for secret in "secret-", "5ec3e7", "PRIVATE KEY":
            self.assertNotIn(secret, text)
        agents = [{"uuid": str(i), "type": "node", "address": "192.0.2.1"} for i in range(25)]
        self.tool("load", "-", input=json.dumps({"agents": agents}))
        for options, rows, more in ([], 20, 1), (["--all"], 25, 0):
            text = self.tool("show", *options)
            self.assertIn("Unicast agents (25)", text)
            self.assertEqual((text.count("192.0.2.1"), text.count("... and 5 more; --all shows")),
                             (rows, more))

    def test_colours_are_used_only_on_a_terminal_that_wants_them(self):
        for extra, coloured in (({}, True), ({"NO_COLOR": "1"}, False), ({"NO_COLOR": ""}, True)):
            text = on_terminal("TOOL faults; TOOL show", env=extra)
            self.assertEqual(("Unicast agents" in text, "\x1b[1m" in text), (True, coloured))
        self.assertNotIn("\x1b", self.tool("show"))

    def test_terminal_shows_progress_after_a_second(self):
        text = on_terminal("(sleep 2; echo '{\"secretsOmitted\": [\"/keys\"]}') | TOOL load -")
        self.assertRegex(text, "(?s)Reading the scenario: 1 s.*\r\x1b\\[K"
                         "quelt-host: standard input: [^\n]*: /keys\r\n$")


class RunTest(hosts.HostTestCase):

    def start(self, script, folder, **options):
        """Starts `run` of a shell script, with its host below the folder; waits for a line."""
        process = subprocess.Popen(
            [hosts.TOOL, "run", "sh", "-c", script], bufsize=0, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, env=dict(os.environ, TMPDIR=folder),
            **dict({"stderr": subprocess.PIPE}, **options))
        process.stdout.readline()
        return process

    def test_run_reports_the_changes_and_operations_of_its_command(self):
        pyquelt.SetIloAuth("mine", "mine")
        code, out, err = hosts.quelt_host("run", "--json", "--", sys.executable, "-c", SCRIPT,
                                          "[a,b]", "--")
        self.assertEqual((code, out), (7, "['[a,b]', '--']\n"))
        self.assertNotIn("topsecret", err)
        report = json.loads(err)
        agent = "/agents/5f0c2a31-8d44-4b7e-9c15-0a1b2c3d4e02,198.51.100.7,12321"
        self.assertEqual([(each["change"], each["place"], each.get("after"))
                          for each in report["changes"]],
                         [("removed", agent, None), ("added", "/ilo/first", "(secret)"),
                          ("added", "/ilo/second", "(secret)"),
                          ("added", "/keys/k-new", "(secret)"),
                          ("changed", "/perfsvc/verbosity", "high")])
        self.assertEqual((report["changes"][-1]["before"], report["status"]), ("normal", 7))
        called = [record["operation"] for record in report["journal"]]
        self.assertEqual(called[0], "SetIloAuth")
        self.assertIn("RemoveUnicastAgentEntry", called)
        self.assertEqual(pyquelt.GetIloAuth(), ("mine", "mine"))

    def test_run_injects_each_fault_at_its_call(self):
        script = ("import pyquelt\nfor n in range(4):\n"
                  "    try: print(n, pyquelt.GetHardwareSku())\n"
                  "    except Exception as error: print(n, error, flush=True)")
        result = hosts.quelt_host("run", "--fail", "GetHardwareSku:1=refuse", "--fail",
                                  "GetHardwareSku:3=foreign", "--fail", "GetHardwareSku:4=kill",
                                  sys.executable, "-c", script)
        self.assertEqual((result.code, result.out), (
            137, "0 Failed to get hardware sku from config store\n1 QS-2240-AF\n"
            "2 Unknown platform exception\n"))
        self.assertIn("killed: before it took effect", result.err)

    def test_run_loads_its_scenario_and_writes_its_report_to_the_file(self):
        report = hosts.write("report", "old")
        scenario = hosts.write("scenario.json", '{"hardwareSku": "mine"}')
        self.assertEqual("mine\n", self.tool(
            "run", "--scenario", scenario, "--report", report, "--", sys.executable, "-c",
            "import pyquelt; print(pyquelt.GetHardwareSku())"))
        with open(report) as file:
            self.assertRegex(file.read(), "(?s)^The command changed nothing.\n\n"
                             "The operations it called.*GetHardwareSku")

    def test_run_replaces_its_page_as_a_whole_and_keeps_links_modes_and_pipes(self):
        folder = self.fresh_folder()
        page, link = os.path.join(folder, "page"), os.path.join(folder, "link")
        with open(page, "w"):
            os.chmod(page, 0o640)
        os.symlink("page", link)
        script = 'test -f "$0" && test ! -s "$0" && quelt-host fail DDBGet --throw "<b>"'
        words = ["run", "--html", link, "--report", "/dev/null", "sh", "-c",
                 script.replace("quelt-host", hosts.TOOL), page]
        self.assertEqual(hosts.quelt_host(*words), (0, "", ""))
        self.assertEqual((sorted(os.listdir(folder)), os.readlink(link),
                          os.stat(page).st_mode & 0o777), (["link", "page"], "page", 0o640))
        with open(page) as file:
            text = file.read()
        self.assertTrue(text.endswith("</html>\n"))
        self.assertNotIn("<b>", text)
        words[2] = "/dev/stdout"
        self.assertTrue(hosts.quelt_host(*(words[:-3] + ["true"])).out.startswith("<!DOCTYPE"))

    @unittest.skipIf("LD_PRELOAD" in os.environ, "a sanitizer uses additional memory")
    def test_run_on_100000_agents_needs_at_most_250_mib(self):
        agents = [{"uuid": "5f0c2a31-8d44-4b7e-9c15-%012x" % i, "type": "node",
                   "address": "10.%d.%d.%d" % (i >> 16, i >> 8 & 255, i & 255),
                   "interface": "storage0", "hostname": "host-%d.example" % i,
                   "thumbprint": "%040x" % i} for i in range(100000)]
        scenario = hosts.write("large.json", json.dumps({"agents": agents}, indent=2))
        script = ("import pyquelt; pyquelt.RemoveUnicastAgent("
                  "'{address}', '{uuid}', type='node')".format(**agents[-1]))
        # A process of its own starts the tool: a new process inherits its parent's peak memory.
        peak = ("import resource, subprocess, sys; code = subprocess.call(sys.argv[1:]); "
                "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss); sys.exit(code)")
        result = hosts.run_python(peak, hosts.TOOL, "run", "--scenario", scenario, "--json", "--",
                                  sys.executable, "-c", script)
        self.assertEqual((result.code, json.loads(result.err)["changes"]), (0, [
            {"change": "removed", "before": dict(agents[-1], port=12321, isSupportUnicast=False,
                                                 subClusterUuid=""),
             "place": "/agents/{uuid},{address},12321".format(**agents[-1])}]))
        self.assertLessEqual(int(result.out), 250 * 1024)

    def test_run_that_gets_a_signal_ends_its_command_and_removes_its_host(self):
        folder = self.fresh_folder()
        unread, closed_pipe = os.pipe()
        os.close(unread)
        for number, code, options in ((signal.SIGTERM, 143, {}), (signal.SIGHUP, 129, {}),
                                      (signal.SIGINT, 0, {}),
                                      (None, 1, {"stderr": closed_pipe})):
            process = self.start("echo; read line || exit", folder, **options)
            self.assertEqual(len(os.listdir(folder)), 1)
            if number is not None:
                process.send_signal(number)
            if number in (None, signal.SIGINT):
                process.stdin.write(b"\n")
            self.assertEqual((process.wait(), os.listdir(folder)), (code, []), number)
            with process:
                if process.stderr:
                    self.assertIn(b"The command changed nothing.", process.stderr.read())
        os.close(closed_pipe)

    def test_killed_run_terminates_its_command_and_the_next_run_removes_its_host(self):
        folder = self.fresh_folder()
        os.symlink(self.fresh_folder(), os.path.join(folder, "quelt-run-link"))

        def kill(process, victim):
            os.kill(victim, signal.SIGKILL)
            # Each process that still runs has the pipe open.
            self.assertTrue(select.select([process.stdout], [], [], 20)[0])
            return process.communicate()[1]

        running, killed, unwatched = (self.start(others + "echo; read line", folder) for others in
                                      [""] + ["setsid sleep 60 & (sleep 60 &);"] * 2)
        kill(killed, killed.pid)
        with open("/proc/{0}/task/{0}/children".format(unwatched.pid)) as children:
            self.assertIn(b"was killed", kill(unwatched, int(children.read())))
        self.assertEqual(unwatched.returncode, 1)
        left = len(os.listdir(folder))
        hosts.quelt_host("run", "true", env={"TMPDIR": folder})
        self.assertEqual((left, len(os.listdir(folder))), (3, 2))
        running.communicate(b"\n")
        self.assertEqual(os.listdir(folder), ["quelt-run-link"])

    def test_command_inherits_its_callers_signals_and_its_status_is_returned(self):
        command = ["grep", "^Sig[BI]", "/proc/self/status", "/nowhere"]
        for ignored in (), (signal.SIGCHLD, signal.SIGINT, signal.SIGHUP, signal.SIGPIPE):
            plain, run = (hosts.start(words, preexec_fn=lambda: [
                signal.signal(each, signal.SIG_IGN) for each in ignored])
                for words in (command, [hosts.TOOL, "run", "--"] + command))
            self.assertEqual(run.communicate()[0], plain.communicate()[0])
            self.assertEqual(run.returncode, 2)
