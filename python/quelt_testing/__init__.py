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

No process that `run`, Host.run or Host.run_python started outlives the test process, however that
ends: a tool that runs beside each one terminates it with everything that it started.

Needs CPython 3.5 or newer and nothing else.
"""

import atexit
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
from typing import Any, Dict, Iterator, List, Mapping, NamedTuple, Optional, Sequence, Union

__all__ = ["Host", "Result", "ToolError", "environment", "run", "state_path", "tool_path"]

Result = NamedTuple("Result", [("code", int), ("out", str), ("err", str)])
Result.__doc__ = """How a process ended.

code: the exit status; negative: the number of the signal that ended it.
out, err: what it wrote to standard output and standard error.
"""

# A word of a command; UTF-8 if it is bytes.
_Word = Union[str, bytes]
# A scenario or a journal record.
_Object = Dict[str, Any]
# A scenario, or the path of a file with one.
_Scenario = Union[_Object, str, "os.PathLike[str]"]


class _Process(object):
    """What this process has."""

    def __init__(self) -> None:
        self.folder = None   # type: Optional[str]
        self.owner = None    # type: Optional[int]
        self.host = None     # type: Optional[Host]
        self.checked = False
        # A descriptor for each process that left others behind: they end when it is closed.
        self.watched = []    # type: List[int]


_process = _Process()


class ToolError(Exception):
    """quelt-host failed; the text is what it said."""


def tool_path() -> str:
    """The path of quelt-host. Raises ToolError when there is none."""
    named = os.environ.get("PYQUELT_TOOL")
    if named:
        if not (os.path.isfile(named) and os.access(named, os.X_OK)):
            raise ToolError("PYQUELT_TOOL is {!r}, which is no executable file".format(named))
        return os.path.abspath(named)
    # Installed as <prefix>/lib/python3.x/site-packages/quelt_testing/__init__.py
    prefix = os.path.abspath(__file__)
    for _ in range(5):
        prefix = os.path.dirname(prefix)
    path = shutil.which("quelt-host", path=os.path.join(prefix, "bin"))
    path = path or shutil.which("quelt-host")
    if path is None:
        raise ToolError("quelt-host is neither on PATH nor beside the module: set PYQUELT_TOOL")
    return path


def state_path() -> str:
    """The state file of this process's host. The first call puts it into QUELT_HOST_STATE."""
    global _process
    folder = _process.folder
    if folder is None or _process.owner != os.getpid():
        # A forked process may end without its exit functions: its folder goes with its parent's.
        folder = tempfile.mkdtemp(prefix="quelt-test-", dir=folder)
        _process = _Process()
        _process.folder, _process.owner = folder, os.getpid()
        atexit.register(_remove_folder)
        os.environ["QUELT_HOST_STATE"] = os.path.join(folder, "host.db")
    return os.path.join(folder, "host.db")


def _remove_folder() -> None:
    if _process.folder is not None and os.getpid() == _process.owner:  # not a forked child
        shutil.rmtree(_process.folder, ignore_errors=True)


def run(command: Sequence[_Word], state: Optional[str] = None,
        env: Optional[Mapping[str, str]] = None, input: str = "",
        timeout: Optional[float] = None, cwd: Optional[str] = None) -> Result:
    """Runs a process to its end, in a session of its own.

    command: the program and its arguments. state: the path of its host, this process's own unless
    given. env: changes of the environment. input: the text of its standard input.
    timeout: in seconds. When it has passed, the process is killed with everything that it started,
    and subprocess.TimeoutExpired is raised, with what was written so far as `output` and `stderr`.
    cwd: its working directory.

    Raises OSError, FileNotFoundError for example, if the process can't be started.
    """
    words = [command] if isinstance(command, (str, bytes)) else list(command)  # type: List[_Word]
    _close_unused()
    ours, theirs = socket.socketpair()
    ours.setblocking(False)
    try:
        with theirs:
            watched = [tool_path(), "--supervise", str(theirs.fileno())]  # type: List[_Word]
            process = subprocess.Popen(
                watched + words,
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=cwd,
                env=environment(state, env), start_new_session=True, pass_fds=[theirs.fileno()])
        try:
            out, err = process.communicate(input.encode("utf-8"), timeout)
        except subprocess.TimeoutExpired as expired:
            ours.close()  # which ends them all
            out, err = process.communicate()
            raise subprocess.TimeoutExpired(
                words, expired.timeout, _text(out), _text(err)) from None
        except BaseException:
            ours.close()
            process.communicate()
            raise
        failure = _received(ours.fileno())
        if failure:
            error = int.from_bytes(failure, sys.byteorder)
            raise OSError(error, os.strerror(error), words[0])
        if failure is None:
            _process.watched.append(ours.detach())
        return Result(process.returncode, _text(out), _text(err))
    finally:
        ours.close()


def _received(descriptor: int) -> Optional[bytes]:
    """What the tool wrote: an errno value, or nothing if it has closed its end; None: it hasn't."""
    try:
        return os.read(descriptor, 16)
    except BlockingIOError:
        return None


def _close_unused() -> None:
    for descriptor in list(_process.watched):
        if _received(descriptor) is not None:
            _process.watched.remove(descriptor)
            os.close(descriptor)


def _text(written: bytes) -> str:
    return written.decode("utf-8", "backslashreplace")  # whatever the locale


def environment(state: Optional[str] = None,
                changes: Optional[Mapping[str, str]] = None) -> Dict[str, str]:
    """The environment of a process on the host at `state`."""
    return dict(os.environ, QUELT_HOST_STATE=state or state_path(), **(changes or {}))


class Host(object):
    """A host with a scenario of its own, for the length of a `with` statement.

    scenario: the host's document as a dict, the path of a file that holds one, or None for the
    default scenario.
    """

    def __init__(self, scenario: Optional[_Scenario] = None) -> None:
        self._scenario = scenario

    def __enter__(self) -> "Host":
        self.state = state_path()
        if _process.host is not None:
            raise RuntimeError("A process has one host: end the other one first")
        self.load(self._scenario)
        self._check_module()
        _process.host = self
        return self

    def __exit__(self, *_: Any) -> None:
        _process.host = None
        self.heal()

    def load(self, scenario: Optional[_Scenario] = None) -> None:
        """Begins anew: the scenario (see Host), no faults, an empty journal, switched on."""
        if scenario is None:
            self.tool("reset")
        elif isinstance(scenario, dict):
            self.tool("load", "-", input=json.dumps(scenario))
        else:
            self.tool("load", scenario)
        self.tool("journal", "start")

    def dump(self, secrets: bool = False) -> _Object:
        """The whole state as a scenario, a dict; with keys, DEKs and passwords if asked for."""
        host = json.loads(self.tool("dump", *(["--secrets"] if secrets else [])))  # type: _Object
        return host

    def fail(self, operation: str, throw: Optional[str] = None,
             throw_standard: Optional[str] = None, throw_unknown: bool = False,
             refuse: bool = False, delay: Optional[float] = None, times: Optional[int] = None,
             after: Optional[int] = None) -> None:
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

    def heal(self, *operations: str) -> None:
        """Ends the faults of these operations, or all faults."""
        self.tool("heal", *operations)

    def journal(self, *operations: str) -> List[_Object]:
        """What was called since the journal was last cleared, oldest first; of these operations, or
        of all. Each record is a dict: number, time, process, operation, arguments (a dict), outcome
        ("answered", "refused" by a fault, "threw"), message, duration (seconds)."""
        # Not splitlines: a text may hold what that ends a line at.
        lines = self.tool("journal", "show", "--json", *operations).split("\n")
        return [json.loads(line) for line in lines if line]

    def clear_journal(self) -> None:
        """Forgets what was called."""
        self.tool("journal", "clear")

    def run(self, *command: _Word, env: Optional[Mapping[str, str]] = None, input: str = "",
            timeout: Optional[float] = None, cwd: Optional[str] = None) -> Result:
        """Runs a command on this host; arguments and result as for quelt_testing.run."""
        return run(command, self.state, env, input, timeout, cwd)

    def run_python(self, *arguments: _Word, env: Optional[Mapping[str, str]] = None,
                   input: str = "", timeout: Optional[float] = None,
                   cwd: Optional[str] = None) -> Result:
        """The same for a script: run_python("script.py", "argument", timeout=10)."""
        return run((sys.executable,) + arguments, self.state, env, input, timeout, cwd)

    def tool(self, *words: object, input: str = "") -> str:
        """Runs quelt-host with these words; returns what it printed. Raises ToolError."""
        # UTF-8 whatever the locale.
        texts = [str(word).encode("utf-8", "surrogateescape") for word in words]
        result = self.run(tool_path(), *texts, input=input)
        if result.code != 0:
            raise ToolError(result.err.strip() or "quelt-host ended with %d" % result.code)
        return result.out

    def _check_module(self) -> None:
        """pyquelt may have been called in this process before it had this path."""
        module = sys.modules.get("pyquelt")
        if module is None or _process.checked:
            return
        try:
            module.GetHardwareSku()
        except ValueError:
            pass  # the scenario has none
        if not any(record["process"] == os.getpid() for record in self.journal()):
            raise RuntimeError("pyquelt was called in this process before quelt_testing.Host was "
                               "entered, or it runs on another host library")
        _process.checked = True
        self.clear_journal()


try:
    import pytest
except ImportError:
    pass
else:

    @pytest.fixture
    def quelt_scenario() -> Optional[_Scenario]:
        """The scenario that quelt_host begins with: override it."""
        return None

    @pytest.fixture
    def quelt_host(quelt_scenario: Optional[_Scenario]) -> Iterator[Host]:
        """A Host (see quelt_testing) with the scenario of the fixture quelt_scenario."""
        with Host(quelt_scenario) as host:
            yield host
