"""Each interpreter call at each place, each allocation of the interpreter and each of the module
fails in turn: the script gets the documented exception. module.test_leaks checks for leaks.

A function is included by a row in its subject's file in fault_rows/.
"""

import ctypes
import itertools
import os
import re
import subprocess
import sys
import unittest

import entries
import fault_rows
import scripted
import cases
from fault_build import (BUILD, CALL, FILE, MEMORY, NATIVE_MEMORY, ROWS, all_cases, attempt,
                         attempts, faults, import_test_build, module)

# Interpreter symbols of the module that are not made to fail, with the reason.
EXCUSED = (
    (r"PyErr_(Clear|ExceptionMatches|Fetch|NoMemory|Occurred|Restore)$", "cannot fail"),
    (r"PyGC_(Disable|Enable)$", "cannot fail"),
    (r"PyErr_SetObject$", "its failure is MemoryError: covered by the failing allocations"),
    (r"PyEval_(Save|Restore)Thread$", "no result; the end of the thread is in module.test_exit"),
    (r"PyExc_\w+$|_Py_\w+Struct$|Py\w+_Type$", "data"),
    (r"_Py_(Dealloc|DecRefShared|MergeZeroLocalRefcount)$|PyDict_Clear$|PyBuffer_Release$",
     "no result"),
    (r"PyType_IsSubtype$", "cannot fail"),
    (r"PyObject_Hash$", "cannot fail for a str"),
    (r"PyCFunction_GetFunction$|PyDict_Next$|PyLong_AsUnsignedLongLongMask$|PyModule_GetDict$",
     "cannot fail for an object of that type"),
    (r"PyUnstable_Module_SetGIL$", "cannot fail for a module"),
)


def outcomes_of(row):
    """The interpreter calls of a row that can fail, with their outcomes."""
    outcomes = dict(row[4])
    if "PyDict_SetItem" in outcomes:  # an earlier call created the keys
        outcomes.pop(fault_rows.KEY, None)
    parser = outcomes.pop("PyArg_ParseTuple", None)
    # The array entry parses no tuple; it calls the tuple entry if it can't convert an argument.
    if parser and not entries.USES_ARRAY:
        outcomes["PyArg_ParseTuple"] = parser
    elif parser and bytearray in map(type, row[1]):
        outcomes.update(PyTuple_New=fault_rows.MEMORY, PyArg_ParseTuple=parser)
    elif parser and int in map(type, row[1]) and row[0] != "Decrypt2kBlock":
        outcomes["PyLong_AsLongAndOverflow"] = attempt(CALL, 2 ** 40, cases.Case(*row[:4]))[1]
    return outcomes


# In a new process, makes the creation of each key fail, then succeed at the next call. The first
# attempt makes all later calls fail too, because GetUnicastAgents reports a UUID that can't become
# a key after it created its own keys.
_FIRST_USES = """
import cases, fault_rows
from fault_build import CALL, ROWS, attempt, attempts
for row in ROWS[::-1]:
    expected, case = row[4].get(fault_rows.KEY, []), cases.Case(*row[:4])
    seen = [attempt(CALL, skip, case)[1] for skip, failed, _ in attempts(CALL, case, True)
            if failed == fault_rows.KEY]
    assert bool(seen) == bool(expected), row[0]
    assert seen == (expected if isinstance(expected, list) else [expected] * len(seen)), seen
"""


def fewer(case):
    """The case with each keyword argument left out."""
    for name in case.kwargs:
        yield case._replace(kwargs={key: case.kwargs[key] for key in case.kwargs if key != name})


class FaultInjectionTest(scripted.ScriptedTestCase):

    def test_every_function_has_a_row(self):
        functions = {name for name in dir(module) if callable(getattr(module, name))}
        self.assertEqual(set(cases.SUCCESS) ^ functions, {"__loader__"} & functions)

    def test_failed_interpreter_call_raises_the_documented_exception(self):
        for row in ROWS:
            attempt(CALL, 2 ** 40, cases.Case(*row[:4]))  # creates the keys
            seen, outcomes = {}, outcomes_of(row)
            for skip, failed, outcome in attempts(CALL, cases.Case(*row[:4])):
                with self.subTest(row[0], failed=failed, skip=skip):
                    expected = outcomes.get(failed, "no such call is expected")
                    if isinstance(expected, list):
                        expected = expected[seen.get(failed, 0)]
                    self.assertEqual(outcome, expected)
                seen[failed] = seen.get(failed, 0) + 1
            expected = {call: len(each) if isinstance(each, list) else seen.get(call)
                        for call, each in outcomes.items()}
            self.assertEqual(seen, expected, row[0])

    def test_failed_creation_of_a_key_is_tried_again_at_the_next_call(self):
        subprocess.check_call([sys.executable, "-c", _FIRST_USES], env=dict(os.environ))

    def test_allocation_failure_raises_an_allowed_exception(self):
        for kind, persistent in itertools.product((CALL, MEMORY, NATIVE_MEMORY), (False, True)):
            for case, known in all_cases():
                clean = attempt(kind, 2 ** 40, case)[1]
                allowed = known + [fault_rows.MEMORY, clean]
                if sys.version_info < (3, 8) and kind == MEMORY:
                    # These versions treat a failed lookup as a missing item: a keyword of the
                    # call, the error handler of a text that is not UTF-8.
                    allowed += [attempt(kind, 2 ** 40, without)[1] for without in fewer(case)]
                    if isinstance(clean, tuple) and clean[0] is UnicodeDecodeError:
                        allowed += [(LookupError, "unknown error handler name 'strict'"),
                                    (LookupError, "")]
                if kind == NATIVE_MEMORY:
                    allowed += [cases.failure(case, operation, "std::bad_alloc", "std::bad_alloc")
                                for operation in [None] + list(case.answers)]
                for skip, failed, outcome in attempts(kind, case, persistent):
                    with self.subTest(case, failed=failed, skip=skip, persistent=persistent):
                        self.assertIn(outcome, allowed)

    def test_allocation_failure_before_the_first_operation_raises_memory_error(self):
        names = cases.SUCCESS["ShallowRekey"]
        for skip, _, outcome in attempts(NATIVE_MEMORY, names):
            if not scripted.calls():
                self.assertEqual(outcome, fault_rows.MEMORY, skip)

    def test_native_code_sets_dictionary_values_or_gets_the_failure_text(self):
        function = faults.fault_injection_set_value
        function.argtypes = [ctypes.py_object, ctypes.c_char_p, ctypes.c_long]
        function.restype = ctypes.c_char_p
        into = {"key": None}
        for skip, text in enumerate((b"Failed to allocate python object key",
                                     b"Failed to set python object key", None)):
            self.assertEqual(text, faults.fault_injection_call(
                CALL, skip, 0, function, (into, b"key", -2 ** 63), {}))
            self.assertEqual(into, {"key": None if text else -2 ** 63})

    def test_module_without_a_failed_constant_can_be_imported(self):
        names = set(dir(module))
        # On 3.5, a second import of a module whose initialisation failed raises SystemError.
        failure = MemoryError if sys.version_info >= (3, 6) else (MemoryError, SystemError)
        for skip in itertools.count():
            try:
                present = set(dir(faults.fault_injection_call(CALL, skip, 0, import_test_build,
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
        self.assertEqual(skip, 21)

    def test_every_interpreter_call_of_the_module_can_be_made_to_fail(self):
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
