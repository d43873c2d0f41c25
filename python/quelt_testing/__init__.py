"""Hosts for the tests of scripts that use pyquelt: a plain context manager, and a pytest fixture.

    import quelt_testing

    with quelt_testing.Host(scenario={"hardwareSku": "QS-1"}) as host:
        host.fail("GetHardwareSku", throw="the store is locked", times=1)
        ...                                   # run the script under test
        assert host.journal()[-1]["outcome"] == "threw"

When pyquelt is installed, pytest provides the fixture `quelt_host`, which is such a Host. Otherwise
put `pytest_plugins = "quelt_testing"` into conftest.py. To start with a scenario of your own,
override the fixture `quelt_scenario`.

pyquelt reads the path of its host once, at the first call in a process. So a test process has one
path, in a temporary folder that is removed when the process ends. Each Host loads a fresh scenario
there and switches the journal on. Processes that the test starts use the same host; its path is in
their environment. A forked process gets its own path when it first uses this module.

This module uses the tool quelt-host. Set PYQUELT_TOOL to its path; otherwise it is searched for
beside the installed module and on PATH.

No process that `run`, Host.run or Host.run_python starts outlives the test process, even if that is
killed: a supervisor beside each one terminates it together with every process that it started.

Needs CPython 3.5 or newer, and no other package.
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

__all__ = ["Host", "Place", "Result", "Run", "ToolError", "environment", "rehearse", "rehearsed",
           "run", "state_path", "tool_path"]

Result = NamedTuple("Result", [("code", int), ("out", str), ("err", str)])
Result.__doc__ = """The result of a process.

code: the exit status, or the negative number of the signal that ended the process.
out, err: its standard output and standard error, as text.
"""

# An argument of a command; bytes are passed unchanged.
_Word = Union[str, bytes]
# A scenario or a journal record.
_Object = Dict[str, Any]
# A scenario, or the path of a file with one.
_Scenario = Union[_Object, str, "os.PathLike[str]"]


class _Process(object):
    """The state of this module, for one process."""

    def __init__(self) -> None:
        self.folder = None   # type: Optional[str]
        self.owner = None    # type: Optional[int]
        self.host = None     # type: Optional[Host]
        self.checked = False
        # One descriptor for each finished process that left others running. Closing it ends them.
        self.watched = []    # type: List[int]


_process = _Process()


class ToolError(Exception):
    """quelt-host failed. The text is its error message."""


def tool_path() -> str:
    """Returns the path of quelt-host. Raises ToolError if there is none."""
    named = os.environ.get("PYQUELT_TOOL")
    if named:
        if not (os.path.isfile(named) and os.access(named, os.X_OK)):
            raise ToolError("PYQUELT_TOOL is {!r}, which is not an executable file".format(named))
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
    """Returns the path of this process's state file. The first call sets QUELT_HOST_STATE to it."""
    global _process
    folder = _process.folder
    if folder is None or _process.owner != os.getpid():
        # A forked process may end without running its exit functions. So put its folder into the
        # parent's, which removes both.
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
    """Runs a command in a new session and returns its Result.

    command: the program and its arguments.
    state: the path of the command's state file; by default that of this process's host.
    env: changes of the environment.
    input: the text of its standard input.
    timeout: in seconds. After that time, the command and every process that it started are killed,
    and subprocess.TimeoutExpired is raised, with the output so far as `output` and `stderr`.
    cwd: its working directory.

    Raises OSError (for example FileNotFoundError) if the command can't be started.
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
            ours.close()  # ends the command and its children
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
    """Returns what the tool wrote: an errno value, or b"" if it has closed its end. Returns None if
    it has done neither."""
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
    return written.decode("utf-8", "backslashreplace")  # in every locale


def environment(state: Optional[str] = None,
                changes: Optional[Mapping[str, str]] = None) -> Dict[str, str]:
    """Returns the environment for a process that uses the host at `state`."""
    return dict(os.environ, QUELT_HOST_STATE=state or state_path(), **(changes or {}))


class Host(object):
    """A fresh host, for the duration of a `with` statement.

    scenario: a scenario as a dict, the path of a file that contains one, or None for the default
    scenario.
    """

    def __init__(self, scenario: Optional[_Scenario] = None) -> None:
        self._scenario = scenario

    def __enter__(self) -> "Host":
        self.state = state_path()
        if _process.host is not None:
            raise RuntimeError("A process can use one Host at a time: exit the other one first")
        self.load(self._scenario)
        self._check_module()
        _process.host = self
        return self

    def __exit__(self, *_: Any) -> None:
        _process.host = None
        self.heal()

    def load(self, scenario: Optional[_Scenario] = None) -> None:
        """Replaces the state with a scenario (see Host). Removes all faults, and clears the journal
        and switches it on."""
        if scenario is None:
            self.tool("reset")
        elif isinstance(scenario, dict):
            self.tool("load", "-", input=json.dumps(scenario))
        else:
            self.tool("load", scenario)
        self.tool("journal", "start")

    def dump(self, secrets: bool = False) -> _Object:
        """Returns the whole state as a scenario. secrets: include keys, DEKs and passwords."""
        host = json.loads(self.tool("dump", *(["--secrets"] if secrets else [])))  # type: _Object
        return host

    def fail(self, operation: str, throw: Optional[str] = None,
             throw_standard: Optional[str] = None, throw_unknown: bool = False,
             refuse: bool = False, delay: Optional[float] = None, times: Optional[int] = None,
             after: Optional[int] = None, throw_after: Optional[str] = None, kill: bool = False,
             kill_after: bool = False) -> None:
        """Sets a fault for a platform operation. `quelt-host fail --help` lists the operations.

        What the operation does (at most one of these; without one, and without delay: refuse):
        throw: throws the host library's exception, with this message.
        throw_standard: throws another standard exception, with this message.
        throw_unknown: throws an object that is no standard exception.
        refuse: returns its false, null or status answer.
        throw_after: takes effect, then throws the host library's exception, with this message.
        kill: the process that calls it is killed (SIGKILL) before the operation takes effect.
        kill_after: the process is killed after the operation took effect.

        delay: seconds to wait before that. With delay alone, the operation then works normally.
        times: the number of calls that fail (default: all). after: the number of calls before that
        which succeed (default: 0).
        """
        words = ["fail", operation]
        for name, value in (("throw", throw), ("throw-standard", throw_standard),
                            ("throw-after", throw_after), ("delay", delay), ("times", times),
                            ("after", after)):
            if value is not None:
                words.append("--{}={}".format(name, value))
        for name, is_set in (("refuse", refuse), ("throw-unknown", throw_unknown), ("kill", kill),
                             ("kill-after", kill_after)):
            words += ["--" + name] if is_set else []
        self.tool(*words)

    def heal(self, *operations: str) -> None:
        """Removes the faults of these operations, or all faults."""
        self.tool("heal", *operations)

    def journal(self, *operations: str) -> List[_Object]:
        """Returns the journal records of these operations, or of all, oldest first. Each is a dict:
        number, time, process, thread, operation, arguments (a dict), outcome ("answered",
        "refused" by a fault, "threw", or "killed" by a fault), message, duration (seconds)."""
        # Not splitlines, which also splits at line separators inside a text.
        lines = self.tool("journal", "show", "--json", *operations).split("\n")
        return [json.loads(line) for line in lines if line]

    def clear_journal(self) -> None:
        """Deletes all journal records."""
        self.tool("journal", "clear")

    def run(self, *command: _Word, env: Optional[Mapping[str, str]] = None, input: str = "",
            timeout: Optional[float] = None, cwd: Optional[str] = None) -> Result:
        """Runs a command on this host. Arguments and result: see quelt_testing.run."""
        return run(command, self.state, env, input, timeout, cwd)

    def run_python(self, *arguments: _Word, env: Optional[Mapping[str, str]] = None,
                   input: str = "", timeout: Optional[float] = None,
                   cwd: Optional[str] = None) -> Result:
        """Runs a Python script in the same way: run_python("script.py", "argument", timeout=10)."""
        return run((sys.executable,) + arguments, self.state, env, input, timeout, cwd)

    def tool(self, *words: object, input: str = "") -> str:
        """Runs quelt-host with these arguments and returns its output. Raises ToolError."""
        # UTF-8 in every locale.
        texts = [str(word).encode("utf-8", "surrogateescape") for word in words]
        result = self.run(tool_path(), *texts, input=input)
        if result.code != 0:
            raise ToolError(result.err.strip() or "quelt-host failed with status %d" % result.code)
        return result.out

    def _check_module(self) -> None:
        """Raises RuntimeError if pyquelt was called before this process had its path."""
        module = sys.modules.get("pyquelt")
        if module is None or _process.checked:
            return
        try:
            module.GetHardwareSku()
        except ValueError:
            pass  # the scenario has no SKU
        if not any(record["process"] == os.getpid() for record in self.journal()):
            raise RuntimeError("pyquelt was called in this process before quelt_testing.Host was "
                               "entered, or it runs on another host library")
        _process.checked = True
        self.clear_journal()


from quelt_testing._rehearsal import Place, Run, rehearse, rehearsed  # noqa: E402 (uses the above)

try:
    import pytest
except ImportError:
    pass
else:

    @pytest.fixture
    def quelt_scenario() -> Optional[_Scenario]:
        """The scenario that quelt_host loads. Override it to use another one."""
        return None

    @pytest.fixture
    def quelt_host(quelt_scenario: Optional[_Scenario]) -> Iterator[Host]:
        """A quelt_testing.Host with the scenario from the fixture quelt_scenario."""
        with Host(quelt_scenario) as host:
            yield host
