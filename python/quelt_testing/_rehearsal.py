"""Rehearses a script: `quelt-host rehearse` for tests."""

import json
from typing import Any, Callable, Dict, Iterable, List, Mapping, NamedTuple, Optional, Sequence

import quelt_testing

MISSING = "(missing)"  # in place of a value that a state does not have

Place = NamedTuple("Place", [("place", str), ("before", Any), ("after", Any), ("found", Any)])
Place.__doc__ = """A place at which states of the host differ.

place: a JSON pointer with the names of the items of lists, such as "/disks/disk-1/kekId".
before, after, found: the values before the command, after a run without faults, and after this
run; "(missing)" if that state has no such value. Secrets are "(secret)".
"""

_Run = NamedTuple("_Run", [
    ("operation", str), ("occurrence", Optional[int]), ("mode", str), ("faults", List[str]),
    ("verdict", str), ("first_verdict", str), ("retry_verdict", Optional[str]),
    ("status", Optional[int]), ("signal", Optional[int]), ("output", str),
    ("retry_output", Optional[str]), ("places", List[Place]), ("reproduce", str)])


class Run(_Run):
    """One run of a rehearsed command.

    operation, occurrence: the call that failed (from 1; None: all calls).
    mode: how it failed. faults: the same as text, and with undo a second one.
    verdict: "clean", "completed", "late", "half done", "hidden", "hung" or "crashed".
    first_verdict, retry_verdict: of the run with the fault, and of the run after it, or None.
    status, signal: the exit status of the run with the fault, or the signal that ended it.
    output, retry_output: the last line of the output of these runs.
    places: for a finding, a list of Place. reproduce: a command line that repeats the run.
    """

    __slots__ = ()

    @property
    def id(self) -> str:
        """A readable name: "ShallowRekeyDisks:2=throw"."""
        return ",".join(self.faults)

    @property
    def is_finding(self) -> bool:
        """False if the run was clean, completed or late."""
        return self.verdict not in ("clean", "completed", "late")

    def check(self) -> None:
        """Raises AssertionError, whose text describes the run, if it is a finding."""
        __tracebackhide__ = True  # pytest shows the test instead
        if self.is_finding:
            lines = ["{} if {}".format(self.verdict, self.id)]
            for each in self.places:
                lines.append("  {}: before {!r}, after success {!r}, found {!r}".format(*each))
            lines += ["Last line of output: " + self.output, "Reproduce: " + self.reproduce]
            raise AssertionError("\n".join(lines))


def _run(report: Dict[str, Any], run: Dict[str, Any]) -> Run:
    step = report["steps"][run["step"]]
    places = [Place(*[each.get(name, MISSING) for name in Place._fields]) for each in run["places"]]
    return Run(step["operation"], step["occurrence"], run["mode"], run["faults"], run["verdict"],
               run["firstVerdict"], run["retryVerdict"], run["status"], run["signal"],
               run["output"], run["retryOutput"], places, run["reproduce"])


def rehearse(command: Sequence["quelt_testing._Word"],
             scenario: Optional["quelt_testing._Scenario"] = None, modes: Iterable[str] = (),
             only: Iterable[str] = (), undo: bool = False, retry: bool = False,
             ignore: Iterable[str] = (), jobs: Optional[int] = None,
             timeout: Optional[float] = None, env: Optional[Mapping[str, str]] = None,
             cwd: Optional[str] = None) -> List[Run]:
    """Fails each operation of a command once, on hosts of its own, and returns a list of Run.

    command: the program and its arguments.
    scenario: as for Host. The command that reproduces a run reads a dict from standard input.
    modes: how operations fail; by default "throw", "refuse", "throw-after", "kill", "kill-after".
    only: the operations to fail; by default all. undo: also fail each later operation of each run.
    retry: run the command again without faults after each failure; its verdict counts.
    ignore: places that are not compared (JSON pointers, "*" for any key).
    jobs: how many runs at a time. timeout: of each run, in seconds.
    env, cwd: as for run.

    Raises ToolError if the command can't be rehearsed, for example because it fails without a
    fault.
    """
    words = [quelt_testing.tool_path(), "rehearse", "--json"]  # type: List[quelt_testing._Word]
    document = ""
    if isinstance(scenario, dict):
        words += ["--scenario", "-"]
        document = json.dumps(scenario)
    elif scenario is not None:
        words += ["--scenario", str(scenario)]
    for name, values in (("modes", modes), ("only", only), ("ignore", ignore)):
        for value in values:
            words += ["--" + name, value]
    for name, number in (("jobs", jobs), ("timeout", timeout)):
        words += ["--" + name, str(number)] if number is not None else []
    words += ["--undo"] if undo else []
    words += ["--retry"] if retry else []
    result = quelt_testing.run(words + ["--"] + list(command), env=env, input=document, cwd=cwd)
    if result.code not in (0, 1) or not result.out:
        raise quelt_testing.ToolError(result.err.strip() or
                                      "quelt-host failed with status {}".format(result.code))
    report = json.loads(result.out)
    return [_run(report, run) for run in report["runs"]]


def rehearsed(command: Sequence["quelt_testing._Word"],
              scenario: Optional["quelt_testing._Scenario"] = None,
              **options: Any) -> Callable[..., Any]:
    """Decorates a pytest test with a parameter `run`: one test for each run of the rehearsal, named
    for the fault. The rehearsal takes place when pytest collects the tests. Arguments: see
    rehearse.

        @quelt_testing.rehearsed([sys.executable, "unlock.py", "disk-1", "kek-2"], "two-keks.json")
        def test_failure_leaves_no_half_done_host(run):
            run.check()
    """
    import pytest
    runs = rehearse(command, scenario, **options)
    decorator = pytest.mark.parametrize(
        "run", runs, ids=[run.id for run in runs])  # type: Callable[..., Any]
    return decorator
