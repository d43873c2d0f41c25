"""Every operation of the host fails with every kind of exception, returns no object, or is slow, in
each function: for all cases of cases.py."""

import ctypes
import re
import threading
import unittest

import fault_rows
import pyquelt
import reference
import scripted
import cases

# Exceptions of the host: type, text, the text as a script reads it.
KINDS = (
    ("QueltCtlException", b"a \xff", u"a \ufffd"),
    ("QueltCtlException", None, ""),
    ("std::runtime_error", b"a \xff", u"a \ufffd"),
    ("std::runtime_error", None, ""),
    ("std::bad_alloc", b"", "std::bad_alloc"),
    ("int", b"", ""),
    ("foreign", b"", ""),
)
# More texts, at the last operation of each case.
MESSAGES = tuple(("QueltCtlException", text, shown) for text, shown in (
    (b"", ""), (u"gr\u00fc\u00df %s".encode("utf-8"), u"gr\u00fc\u00df %s"), (b"cut\0here", "cut"),
    (b"\xc3", u"\ufffd"), (b"x" * 100000, "x" * 100000)))


class PlatformTest(scripted.ScriptedTestCase):

    called_with_gil = None  # checked for each case

    def assert_fails(self, case, operation, skip, expected):
        """The case fails with `expected` at this call of `operation` (None: before any operation
        without the GIL), and every object of the host is released."""
        cases.set_answers(case)
        self.assertEqual(cases.outcome(getattr(pyquelt, case.function), case), expected)
        self.assertEqual(scripted.live_objects(), 0)
        made = [name for name, _ in scripted.calls()]
        if operation is None:
            self.assertEqual(set(made) - scripted.CALLED_WITH_GIL, set())
            return
        self.assertEqual(made.count(operation), skip + 1)
        after = made[len(made) - made[::-1].index(operation):]
        self.assertEqual([name for name in after
                          if name[0] != "~" and name not in cases.SILENT], [])
        # The operations object is released before the plug-in.
        self.assertEqual([name for name in made if name in ("~HostSystem", "~QueltPlugin")],
                         sorted(name for name in made if name in ("~HostSystem", "~QueltPlugin")))

    def test_exception_of_the_host_raises_the_documented_exception_with_its_text(self):
        for case in cases.SUCCESS.values():
            operations = cases.operations(pyquelt, case)
            for operation, skip in operations:
                for kind, text, shown in KINDS + MESSAGES * ((operation, skip) == operations[-1]):
                    with self.subTest(case.function, operation=operation, skip=skip, text=text):
                        failing = cases.failing(case, operation, skip, scripted.throws(text, kind))
                        self.assert_fails(failing, operation, skip,
                                          cases.failure(case, operation, kind, shown))

    def test_rejected_argument_or_answer_raises_the_documented_exception(self):
        for case, answered, outcome in cases.rejected():
            for operation in answered or [None]:
                with self.subTest(case.function, case=case):
                    self.assert_fails(case, operation, 0, outcome)

    def test_reference_lists_the_operations_and_the_queries_with_the_gil_held(self):
        other = cases.GETTERS + ["syncConfigurationCallback"]  # not operations of quelt-host fail
        for case in cases.SUCCESS.values():
            made = [name for name, skip in cases.operations(pyquelt, case)
                    if skip == 0 and name not in other]
            self.assertEqual(reference.OPERATIONS[case.function], made)
        threads = reference.read(reference.PAGE).split("**Threads.**")[1].split("\n\n")[0]
        self.assertEqual(set(re.findall("`([A-Z]\\w+)`", threads)),
                         scripted.CALLED_WITH_GIL | {"GetQueltNetworkInfo"})

    def test_other_threads_run_exactly_during_operations_without_the_gil(self):
        counter = ctypes.c_long(0)
        ended = []

        def count():
            while not ended:
                counter.value += 1

        scripted.set_counter(counter)
        thread = threading.Thread(target=count)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(ended.append, True)
        for case in cases.SUCCESS.values():
            with self.subTest(case.function):
                operations = {operation for operation, _ in cases.operations(pyquelt, case)}
                with_gil = operations & cases.held(case)
                cases.set_answers(case._replace(answers={
                    operation: dict(case.answers.get(operation, {}),
                                    watch=0.02 if operation in with_gil else 60)
                    for operation in operations}))
                getattr(pyquelt, case.function)(*case.args, **case.kwargs)
                self.assertEqual(set(scripted.record("held")) - {"~QueltZelNicConfig"}, with_gil)
                # Without a GIL, threads don't wait for each other.
                moved = operations - (set() if fault_rows.FREE_THREADED else with_gil)
                self.assertEqual(set(scripted.record("moved")), moved)


if __name__ == "__main__":
    unittest.main()
