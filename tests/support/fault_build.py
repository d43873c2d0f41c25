"""The build of the module in which calls and allocations fail on demand (tests/fault_injection)."""

import ctypes
import importlib.util
import itertools
import os
import sysconfig

import entries
import fault_rows
import cases  # loads the host library first

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
    return entries.select(module)


module = import_test_build()
faults = ctypes.PyDLL(_PATH)
faults.fault_injection_call.argtypes = [ctypes.c_int, ctypes.c_long, ctypes.c_int] + (
    [ctypes.py_object] * 3)
faults.fault_injection_call.restype = ctypes.py_object
faults.fault_injection_unwind.argtypes = [ctypes.py_object] * 3
faults.fault_injection_count_array_calls.argtypes = [ctypes.py_object]
faults.fault_injection_array_calls.restype = ctypes.c_long
faults.fault_injection_failed.restype = ctypes.c_char_p


def attempt(kind, skip, case, persistent=False):
    """One call that fails after `skip` successes of this kind, all later ones with `persistent`:
    (name of the failed call or None, outcome)."""
    cases.set_answers(case)
    function = getattr(module, case.function)

    def call(*args, **kwargs):
        return faults.fault_injection_call(kind, skip, persistent, function, args, kwargs)

    outcome = cases.outcome(call, case)
    failed = faults.fault_injection_failed()
    return (failed.decode() if failed else None), outcome


def attempts(kind, case, persistent=False):
    """Yields (skip, name, outcome) for each place that can fail."""
    for skip in itertools.count():
        failed, outcome = attempt(kind, skip, case, persistent)
        if failed is None:
            return
        yield skip, failed, outcome


def all_cases():
    """The case of every row and failure, and those with a failing operation: (case, outcomes of an
    allocation failure beside MemoryError)."""
    known = {}
    for row in ROWS:
        outcomes = list(itertools.chain.from_iterable(
            outcomes if isinstance(outcomes, list) else [outcomes] for outcomes in row[4].values()))
        known.setdefault(row[0], outcomes)
        if cases.Case(*row[:4]) != cases.SUCCESS[row[0]]:
            yield cases.Case(*row[:4]), outcomes
    for case in itertools.chain(cases.with_failures(module), (row[0] for row in cases.rejected())):
        yield case, known[case.function]
