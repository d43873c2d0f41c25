"""Hosts for the tests of scripts that use pyquelt: a plain context manager, and a pytest fixture.

    import quelt_testing

    with quelt_testing.Host(scenario={"hardwareSku": "QS-1"}) as host:
        host.fail("GetHardwareSku", throw="the store is locked", times=1)
        ...                                   # run the script under test
        assert host.journal()[-1]["outcome"] == "threw"

With pytest, tests have the fixture `quelt_host`, which is such a Host, as soon as pyquelt is
installed (or with `pytest_plugins = "quelt_testing"` in conftest.py); a fixture `quelt_scenario` of
your own says which scenario it begins with.

A process learns the path of its host once, at the first call of pyquelt. So a test process has one
path, in a folder of its own that goes away with the process; each Host loads a fresh scenario there
and switches the journal on. Processes that the test starts find the same host through the
environment; a forked one has a path of its own as soon as it uses this module. Everything goes
through the tool quelt-host: PYQUELT_TOOL names it, else it is looked for beside the installed
module and on PATH.

Needs CPython 3.5 or newer and nothing else.
"""

import atexit
import collections
import json
import os
import shutil
import subprocess
import sys
import tempfile

__all__ = ["Host", "ToolError", "state_path", "tool_path", "run"]

#: How a process ended: exit status (negative: the signal), standard output and error as str.
Result = collections.namedtuple("Result", "code out err")

_process = {"folder": None, "owner": None, "host": None, "checked": False}


class ToolError(Exception):
    """quelt-host failed; the text is what it said."""


def tool_path():
    """The path of quelt-host. Raises ToolError when there is none."""
    path = os.environ.get("PYQUELT_TOOL")
    here = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    # Installed as <prefix>/lib/python3.x/site-packages/quelt_testing/__init__.py
    beside = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(here))), "bin")
    path = path or shutil.which("quelt-host", path=beside) or shutil.which("quelt-host")
    if path is None:
        raise ToolError("quelt-host is neither on PATH nor beside the module: set PYQUELT_TOOL")
    return path


def state_path():
    """The state file of this process's host. The first call puts it into QUELT_HOST_STATE."""
    if _process["owner"] != os.getpid():
        # A forked process may end without its exit functions: its folder goes with its parent's.
        folder = tempfile.mkdtemp(prefix="quelt-test-", dir=_process["folder"])
        _process.update(folder=folder, owner=os.getpid(), host=None, checked=False)
        atexit.register(_remove_folder)
        os.environ["QUELT_HOST_STATE"] = os.path.join(_process["folder"], "host.db")
    return os.path.join(_process["folder"], "host.db")


def _remove_folder():
    if os.getpid() == _process["owner"]:  # not a forked child
        shutil.rmtree(_process["folder"], ignore_errors=True)


def run(command, state=None, env=None, input="", **options):
    """Runs a process on the host at `state` (this process's own unless given) to its end.

    `env` holds changes of the environment, `input` is a str for its standard input; other options
    are subprocess.Popen's. Returns a Result.
    """
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, env=environment(state, env), **options)
    # UTF-8 whatever the locale.
    out, err = process.communicate(input.encode("utf-8"))
    return Result(process.returncode, out.decode("utf-8", "backslashreplace"),
                  err.decode("utf-8", "backslashreplace"))


def environment(state=None, changes=None):
    """The environment of a process on the host at `state`."""
    return dict(os.environ, QUELT_HOST_STATE=state or state_path(), **(changes or {}))


class Host(object):
    """A host with a scenario of its own, for the length of a `with` statement.

    scenario: the host's document as a dict, the path of a file that holds one, or None for the
    default scenario.
    """

    def __init__(self, scenario=None):
        self._scenario = scenario

    def __enter__(self):
        self.state = state_path()
        if _process["host"] is not None:
            raise RuntimeError("A process has one host: end the other one first")
        self.load(self._scenario)
        self._check_module()
        _process["host"] = self
        return self

    def __exit__(self, *_):
        _process["host"] = None
        self.heal()
        return False

    def load(self, scenario=None):
        """Begins anew: the scenario (see Host), no faults, an empty journal, switched on."""
        if scenario is None:
            self.tool("reset")
        elif isinstance(scenario, dict):
            self.tool("load", "-", input=json.dumps(scenario))
        else:
            self.tool("load", scenario)
        self.tool("journal", "start")

    def dump(self, secrets=False):
        """The whole state as a scenario, a dict; with keys, DEKs and passwords if asked for."""
        return json.loads(self.tool("dump", *(["--secrets"] if secrets else [])))

    def fail(self, operation, throw=None, throw_standard=None, throw_unknown=False, refuse=False,
             delay=None, times=None, after=None):
        """Makes a platform operation misbehave; `quelt-host fail --help` lists their names.

        throw: the message of the host library's exception; throw_standard: of another one;
        throw_unknown: something that is no standard exception; refuse (what it does unless told
        otherwise): its false, null or status answer. delay: seconds that it is late, alone it does
        nothing else. times: for so many calls; after: so many calls that go well.
        """
        words = ["fail", operation]
        for name, value in (("throw", throw), ("throw-standard", throw_standard), ("delay", delay),
                            ("times", times), ("after", after)):
            if value is not None:
                words.append("--{}={}".format(name, value))
        words += ["--refuse"] if refuse else []
        words += ["--throw-unknown"] if throw_unknown else []
        self.tool(*words)

    def heal(self, *operations):
        """Ends the faults of these operations, or all faults."""
        self.tool("heal", *operations)

    def journal(self, *operations):
        """What was called since the journal was last cleared, oldest first; of these operations, or
        of all. Each record is a dict: number, time, process, operation, arguments (a dict), outcome
        ("answered", "refused" by a fault, "threw"), message, duration (seconds)."""
        # Not splitlines: a text may hold what that ends a line at.
        lines = self.tool("journal", "show", "--json").split("\n")
        records = [json.loads(line) for line in lines if line]
        return [each for each in records if not operations or each["operation"] in operations]

    def clear_journal(self):
        """Forgets what was called."""
        self.tool("journal", "clear")

    def run(self, *command, **options):
        """Runs a command on this host; options and result as for quelt_testing.run."""
        return run(list(command), self.state, **options)

    def run_python(self, *arguments, **options):
        """The same for a script: run_python("script.py", "argument")."""
        return self.run(sys.executable, *arguments, **options)

    def tool(self, *words, **options):
        """Runs quelt-host with these words; returns what it printed. Raises ToolError."""
        # UTF-8 whatever the locale.
        words = [str(word).encode("utf-8", "surrogateescape") for word in words]
        result = self.run(tool_path(), *words, **options)
        if result.code != 0:
            raise ToolError(result.err.strip() or "quelt-host ended with %d" % result.code)
        return result.out

    def _check_module(self):
        """pyquelt may have been called in this process before it had this path."""
        module = sys.modules.get("pyquelt")
        if module is None or _process["checked"]:
            return
        try:
            module.GetHardwareSku()
        except ValueError:
            pass  # the scenario has none
        if not any(record["process"] == os.getpid() for record in self.journal()):
            raise RuntimeError("pyquelt was called in this process before quelt_testing.Host was "
                               "entered, or it runs on another host library")
        _process["checked"] = True
        self.clear_journal()


try:
    import pytest
except ImportError:
    pytest = None

if pytest is not None:

    @pytest.fixture
    def quelt_scenario():
        """The scenario that quelt_host begins with: override it."""
        return None

    @pytest.fixture
    def quelt_host(quelt_scenario):
        """A Host (see quelt_testing) with the scenario of the fixture quelt_scenario."""
        with Host(quelt_scenario) as host:
            yield host
