"""Whatever fails below the module - each interpreter call at each place, each allocation of the
interpreter, each of the module - the script must get the right exception. That nothing leaks then
is in module.test_leaks.

To join, a function adds a row to its subject's file in fault_rows/.
"""

import ctypes
import itertools
import os
import re
import subprocess
import sys
import unittest

import fault_rows
import scripted
import sweep
from fault_build import (BUILD, CALL, FILE, MEMORY, NATIVE_MEMORY, ROWS, attempt, attempts, faults,
                         import_test_build, module, ways)

# Interpreter symbols of the module that are not made to fail, with the reason.
EXCUSED = (
    (r"PyErr_(Clear|ExceptionMatches|Fetch|NoMemory|Occurred|Restore)$", "cannot fail"),
    (r"PyGC_(Disable|Enable)$", "cannot fail"),
    (r"PyErr_SetObject$", "failing, it leaves MemoryError: the memory sweep sees to that"),
    (r"PyEval_(Save|Restore)Thread$", "no result; what may end there is in module.test_exit"),
    (r"PyExc_\w+$|_Py_\w+Struct$|Py\w+_Type$", "data"),
    (r"_Py_Dealloc$|PyDict_Clear$|PyBuffer_Release$", "no result"),
    (r"PyType_IsSubtype$", "cannot fail"),
)


def fewer(way):
    """The way with each keyword argument left out."""
    for name in way.kwargs:
        yield way._replace(kwargs={key: way.kwargs[key] for key in way.kwargs if key != name})


class FaultSweepTest(scripted.ScriptedTestCase):

    def test_function_is_not_swept(self):
        functions = {name for name in dir(module) if callable(getattr(module, name))}
        self.assertEqual(set(sweep.WAYS) ^ functions, {"__loader__"} & functions)

    def test_failed_interpreter_call_gets_the_wrong_exception(self):
        for row in ROWS:
            seen = {}
            for good, failed, outcome in attempts(CALL, sweep.Way(*row[:4])):
                with self.subTest(row[0], failed=failed, good=good):
                    expected = row[4].get(failed, "no such call is expected")
                    if isinstance(expected, list):
                        expected = expected[seen.get(failed, 0)]
                    self.assertEqual(outcome, expected)
                seen[failed] = seen.get(failed, 0) + 1
            expected = {call: len(outcomes) if isinstance(outcomes, list) else seen.get(call)
                        for call, outcomes in row[4].items()}
            self.assertEqual(seen, expected, row[0])

    def test_want_of_memory_gets_lost_or_gets_another_exception(self):
        for kind, stays in itertools.product((CALL, MEMORY, NATIVE_MEMORY), (False, True)):
            for way, known in ways():
                clean = attempt(kind, 2 ** 40, way)[1]
                allowed = known + [fault_rows.MEMORY, clean]
                if sys.version_info < (3, 8) and kind == MEMORY:
                    # These treat what they can't look up as missing: a keyword when they parse, the
                    # error handler of a text that is not UTF-8.
                    allowed += [attempt(kind, 2 ** 40, without)[1] for without in fewer(way)]
                    if isinstance(clean, tuple) and clean[0] is UnicodeDecodeError:
                        allowed += [(LookupError, "unknown error handler name 'strict'"),
                                    (LookupError, "")]
                if kind == NATIVE_MEMORY:
                    allowed += [sweep.failure(way, operation, "std::bad_alloc", "std::bad_alloc")
                                for operation in [None] + list(way.answers)]
                for good, failed, outcome in attempts(kind, way, stays):
                    with self.subTest(way.function, failed=failed, good=good, stays=stays,
                                      answers=way.answers):
                        self.assertIn(outcome, allowed)

    def test_want_of_memory_is_the_hosts_failure_before_the_host_is_asked(self):
        names = sweep.WAYS["ShallowRekey"]
        for good, _, outcome in attempts(NATIVE_MEMORY, names):
            if not scripted.calls():
                self.assertEqual(outcome, fault_rows.MEMORY, good)

    def test_value_set_by_native_code_is_another_or_its_failure_has_another_text(self):
        for name, native, value, shown in (
                ("long", ctypes.c_long, -2 ** 63, -2 ** 63), ("bool", ctypes.c_bool, True, True),
                ("text", ctypes.c_char_p, u"\u20ac".encode("utf-8"), u"\u20ac")):
            function = getattr(faults, "fault_injection_set_" + name)
            function.argtypes = [ctypes.py_object, ctypes.c_char_p, native]
            function.restype = ctypes.c_char_p
            into = {"key": None}
            for good, text in enumerate((b"Failed to allocate python object key",
                                         b"Failed to set python object key", None)):
                self.assertEqual(text, faults.fault_injection_call(
                    CALL, good, 0, function, (into, b"key", value), {}))
                self.assertEqual(into, {"key": None if text else shown})

    def test_failed_constant_spoils_the_import(self):
        names = set(dir(module))
        # On 3.5, a second import of a module whose initialisation failed raises SystemError.
        failure = MemoryError if sys.version_info >= (3, 6) else (MemoryError, SystemError)
        for good in itertools.count():
            try:
                present = set(dir(faults.fault_injection_call(CALL, good, 0, import_test_build,
                                                              (), {})))
            except failure:
                present = None
            failed = faults.fault_injection_failed()
            if failed is None:
                break
            if failed == b"PyModule_Create2":
                self.assertIsNone(present)
            else:
                self.assertEqual(len(names - present), 1, failed)
        self.assertEqual(good, 21)

    def test_interpreter_call_of_the_module_is_never_made_to_fail(self):
        with open(os.path.join(BUILD, "fault_injection", "faulty_calls.txt")) as lines:
            faulty = set(lines.read().split())
        listing = subprocess.check_output(
            ["nm", "-D", "--undefined-only", os.path.join(BUILD, "python", FILE)])
        used = {line.split()[-1] for line in listing.decode().splitlines()}
        calls = {name for name in used if re.match("_?Py", name)}
        excused = {name for name in calls for form, _ in EXCUSED if re.match(form, name)}
        self.assertEqual(calls - faulty - excused, set())
        self.assertEqual(excused & faulty, set())


if __name__ == "__main__":
    unittest.main()
