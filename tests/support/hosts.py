"""The embedded host for tests: a state of its own, other processes, the tool quelt-host.

Each test process has one state path, STATE (see quelt_testing); HostTestCase brings the state back
to the default scenario before each test. A test that needs another path (a broken file, a missing
file) passes it to a child process: run_python("...", state=path).
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import quelt_testing
from quelt_testing import Result, run  # noqa: F401 (for the tests)

#: The state of this process's host.
STATE = quelt_testing.state_path()
#: A folder of this process, deleted when it ends.
FOLDER = os.path.dirname(STATE)
#: Changes of the environment for other programs: they run without sanitizers.
FOREIGN = {"LD_PRELOAD": ""}
# The tool runs with the leak detector, unless it runs an interpreter.
_WATCHED = {"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "").replace("detect_leaks=0:", "")}
#: The tool quelt-host.
TOOL = quelt_testing.tool_path()

#: The command that runs this interpreter on a text.
# From 3.12 on it warns of forks beside threads, which some tests are about.
PYTHON = [sys.executable, "-X", "faulthandler", "-W", "ignore:This process:DeprecationWarning",
          "-c"]


def start(command, state=None, env=None, **options):
    """Starts a process on the host at `state`; returns the Popen object, its pipes in text mode."""
    return subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, universal_newlines=True,
                            env=quelt_testing.environment(state, env), **options)


def start_python(script, *args, **options):
    """Starts this interpreter on the text `script`; options as for start()."""
    return start(PYTHON + [script] + list(args), **options)


def run_python(script, *args, **options):
    """Runs this interpreter on the text `script`; options as for run()."""
    return run(PYTHON + [script] + list(args), **options)


def can_run(command):
    """Whether this machine has the program and may run it."""
    return shutil.which(command[0]) is not None and run(command).code == 0


def quelt_host(*args, env=(), **options):
    """Runs the tool; options as for run(). Arguments are converted with str()."""
    changes = dict({} if "run" in args else _WATCHED, **dict(env))
    return run([TOOL] + [str(arg) for arg in args], env=changes, **options)


def write(name, text):
    """Writes a file in this process's folder; returns its path."""
    path = os.path.join(FOLDER, name)
    with open(path, "w") as file:
        file.write(text)
    return path


def sqlite(path, statements):
    """Runs SQL statements on a database and returns the rows of the last one. In a new process:
    a second copy of SQLite in this process would break the file locks of the host library."""
    script = ("import json, sqlite3, sys\n"
              "db = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
              "text = ''\n"
              "for part in sys.argv[2].split(';'):\n"
              "    text += part + ';'\n"
              "    if sqlite3.complete_statement(text):\n"
              "        rows, text = db.execute(text).fetchall(), ''\n"
              "print(json.dumps(rows))\n")
    output = subprocess.check_output([sys.executable, "-c", script, path, statements])
    return json.loads(output.decode("utf-8"))


def outcome(function, *args, **kwargs):
    """The result of a call, or the type and text of its exception."""
    try:
        return function(*args, **kwargs)
    except Exception as error:
        return type(error), str(error)


class HostTestCase(unittest.TestCase):
    """Each test begins with the default scenario and no faults."""

    maxDiff = None

    def setUp(self):
        self.tool("reset")

    def tool(self, *args, **options):
        """Runs the tool, which must succeed silently on standard error; returns its output."""
        result = quelt_host(*args, **options)
        self.assertEqual((result.code, result.err), (0, ""), args)
        return result.out

    def script(self, script, *args, **options):
        """Runs a Python script, which must succeed; returns what it printed."""
        result = run_python(script, *args, **options)
        self.assertEqual((result.code, result.err), (0, ""), script)
        return result.out

    def load(self, document):
        """Loads a document (or its text) as the state; returns the error of the tool, if any."""
        text = document if isinstance(document, str) else json.dumps(document)
        result = quelt_host("load", "-", input=text)
        self.assertEqual((result.code, result.out), (1 if result.err else 0, ""))
        return result.err

    def dump(self):
        """The whole state as a document."""
        return json.loads(self.tool("dump", "--secrets"))

    def fresh_folder(self):
        """An empty folder that is deleted after the test."""
        folder = tempfile.mkdtemp(dir=FOLDER)
        self.addCleanup(shutil.rmtree, folder, True)
        return folder

    def assert_raises_exactly(self, kind, text, function, *args, **kwargs):
        """Exactly this type, exactly this text."""
        self.assertEqual(outcome(function, *args, **kwargs), (kind, text))
