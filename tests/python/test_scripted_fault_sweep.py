"""Every interpreter call that the module makes fails once at each place: the script must get the
right exception, and nothing may leak.

To join, a function adds a row to its subject's file in fault_rows/.
"""

import ctypes
import gc
import importlib
import importlib.util
import itertools
import os
import pkgutil
import re
import subprocess
import sys
import sysconfig
import unittest

import fault_rows
import scripted

_BUILD = os.environ["PYQUELT_BUILD_DIR"]
_FILE = "pyquelt" + sysconfig.get_config_var("EXT_SUFFIX")
_PATH = os.path.join(_BUILD, "fault_sweep", _FILE)


def _import():
    """A new module object of the test build."""
    spec = importlib.util.spec_from_file_location("pyquelt", _PATH)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


_module = _import()
_faults = ctypes.PyDLL(_PATH)
_faults.fault_sweep_arm.argtypes = [ctypes.c_long, ctypes.c_int]
_faults.fault_sweep_disarm.restype = ctypes.c_char_p

ROWS = [row for _, name, _ in pkgutil.iter_modules(fault_rows.__path__)
        for row in importlib.import_module("fault_rows." + name).ROWS]

# Interpreter symbols that the module uses and that cannot fail: error handling, the lock, data,
# and calls without a result.
EXCUSED = re.compile(r"PyErr_|PyExc_|PyEval_(Save|Restore)Thread$|_Py_\w+Struct$|Py\w+_Type$|"
                     r"_Py_Dealloc$|PyDict_Clear$|PyBuffer_Release$|PyType_IsSubtype$")


class FaultSweepTest(scripted.ScriptedTestCase):

    made_with_lock = None

    def attempt(self, row, good, stays=False):
        """One call in which the interpreter call after `good` ones fails: (name of the call that
        failed or None, outcome)."""
        function, args, kwargs = getattr(_module, row[0]), row[1], row[2]
        _faults.fault_sweep_arm(good, stays)
        try:
            outcome = function(*args, **kwargs)
        except Exception as error:  # pylint: disable=broad-except
            outcome = (type(error), str(error))
        failed = _faults.fault_sweep_disarm()
        return (failed.decode() if failed else None), outcome

    def sweep(self, row):
        """Yields (number of good calls, name of the failed call, expected outcome, outcome)."""
        seen = {}
        for good in itertools.count():
            for operation, answer in row[3].items():
                scripted.answer(operation, answer)
            failed, outcome = self.attempt(row, good)
            if failed is None:
                break
            expected = row[4].get(failed, "no such call is expected")
            if isinstance(expected, list):
                expected = expected[seen.setdefault(failed, 0)]
                seen[failed] += 1
            yield good, failed, expected, outcome
        for call, expected in row[4].items():
            if isinstance(expected, list):
                self.assertEqual(len(expected), seen.get(call), call)

    def test_failed_interpreter_call_gets_the_wrong_exception(self):
        for row in ROWS:
            failures = set()
            for good, failed, expected, outcome in self.sweep(row):
                with self.subTest(row[0], failed=failed, good=good):
                    self.assertEqual(outcome, expected)
                    failures.add(failed)
            self.assertEqual(failures, set(row[4]), row[0])

    def test_no_memory_at_all_gets_lost(self):
        for row in ROWS:
            for good, failed, expected, _ in self.sweep(row):
                with self.subTest(row[0], failed=failed, good=good):
                    outcome = self.attempt(row, good, stays=True)[1]
                    self.assertIn(outcome, (fault_rows.MEMORY, expected))

    def test_failed_interpreter_call_leaks(self):
        repeats = 10

        def held(watched):
            gc.collect()  # empties the interpreter's free lists too
            return [sys.getallocatedblocks()] + [sys.getrefcount(item) for item in watched]

        def growth(row, good, watched):
            before = held(watched)
            for _ in range(repeats):
                self.attempt(row, good)
            after = held(watched)
            return max(after[0] - before[0],
                       *(abs(now - then) for then, now in zip(before[1:], after[1:])))

        for row in ROWS:
            watched = list(row[1]) + list(row[2].values()) + [None, True, False]
            for good, failed, _, _ in self.sweep(row):
                with self.subTest(row[0], failed=failed, good=good):
                    # What is made once does not come again; a leak does.
                    self.assertTrue(any(growth(row, good, watched) < repeats for _ in range(3)))

    def test_failed_constant_spoils_the_import(self):
        names = set(dir(_module))
        for good in itertools.count():
            _faults.fault_sweep_arm(good, False)
            try:
                present = set(dir(_import()))
            except MemoryError:
                present = None
            failed = _faults.fault_sweep_disarm()
            if failed is None:
                break
            if failed == b"PyModule_Create2":
                self.assertIsNone(present)
            else:
                self.assertEqual(len(names - present), 1, failed)
        self.assertEqual(good, 21)

    def test_interpreter_call_of_the_module_is_never_made_to_fail(self):
        with open(os.path.join(_BUILD, "fault_sweep", "faulty_calls.txt")) as lines:
            faulty = set(lines.read().split())
        listing = subprocess.check_output(
            ["nm", "-D", "--undefined-only", os.path.join(_BUILD, "python", _FILE)])
        used = {line.split()[-1] for line in listing.decode().splitlines()}
        calls = {name for name in used if re.match("_?Py", name) and not EXCUSED.match(name)}
        self.assertEqual(calls - faulty, set())


if __name__ == "__main__":
    unittest.main()
