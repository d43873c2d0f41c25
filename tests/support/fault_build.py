"""The build of the module in which calls and allocations fail on demand (tests/fault_injection)."""

import ctypes
import importlib.util
import itertools
import os
import sysconfig

import fault_rows
import sweep  # whose host library comes first

CALL, MEMORY, NATIVE_MEMORY = range(3)  # what fails
ROWS = fault_rows.all_rows()
BUILD = os.environ["PYQUELT_BUILD_DIR"]
FILE = "pyquelt" + sysconfig.get_config_var("EXT_SUFFIX")
_PATH = os.path.join(BUILD, "fault_injection", FILE)


def import_test_build():
    """A new module object of the test build."""
    spec = importlib.util.spec_from_file_location("pyquelt", _PATH)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


module = import_test_build()
faults = ctypes.PyDLL(_PATH)
faults.fault_injection_call.argtypes = [ctypes.c_int, ctypes.c_long, ctypes.c_int] + (
    [ctypes.py_object] * 3)
faults.fault_injection_call.restype = ctypes.py_object
faults.fault_injection_unwind.argtypes = [ctypes.py_object] * 3
faults.fault_injection_failed.restype = ctypes.c_char_p


def attempt(kind, good, way, stays=False):
    """One call in which what comes after `good` ones of its kind fails: (its name or None,
    outcome)."""
    sweep.set_answers(way)
    function = getattr(module, way.function)

    def call(*args, **kwargs):
        return faults.fault_injection_call(kind, good, stays, function, args, kwargs)

    outcome = sweep.outcome(call, way)
    failed = faults.fault_injection_failed()
    return (failed.decode() if failed else None), outcome


def attempts(kind, way, stays=False):
    """Yields (good, name, outcome) for each failure, until the call runs clean."""
    for good in itertools.count():
        failed, outcome = attempt(kind, good, way, stays)
        if failed is None:
            return
        yield good, failed, outcome


def ways():
    """Every row's way, and those with a failing operation: (way, outcomes that the want of memory
    may have beside MemoryError)."""
    known = {}
    for row in ROWS:
        outcomes = list(itertools.chain.from_iterable(
            outcomes if isinstance(outcomes, list) else [outcomes] for outcomes in row[4].values()))
        known.setdefault(row[0], outcomes)
        if sweep.Way(*row[:4]) != sweep.WAYS[row[0]]:
            yield sweep.Way(*row[:4]), outcomes
    for way in sweep.all_ways(module):
        yield way, known[way.function]
