"""Every operation of the host on the way of every function fails in every manner, gives no object,
and is slow: one sweep over the ways of sweep.py."""

import ctypes
import re
import threading
import unittest

import fault_rows
import pyquelt
import reference
import scripted
import sweep

# Exceptions of the host: kind, text, the text as a script reads it.
KINDS = (
    ("QueltCtlException", b"a \xff", u"a \ufffd"),
    ("QueltCtlException", None, ""),
    ("std::runtime_error", b"a \xff", u"a \ufffd"),
    ("std::runtime_error", None, ""),
    ("std::bad_alloc", b"", "std::bad_alloc"),
    ("int", b"", ""),
    ("foreign", b"", ""),
)
# More messages, at the last operation of each way.
MESSAGES = tuple(("QueltCtlException", text, shown) for text, shown in (
    (b"", ""), (u"gr\u00fc\u00df %s".encode("utf-8"), u"gr\u00fc\u00df %s"), (b"cut\0here", "cut"),
    (b"\xc3", u"\ufffd"), (b"x" * 100000, "x" * 100000)))


class PlatformTest(scripted.ScriptedTestCase):

    made_with_lock = None  # looked at for each way

    def assert_fails(self, way, operation, good, expected):
        """The way ends with `expected` at this call of `operation` (None: before any that works
        with the GIL released), and all is released."""
        sweep.set_answers(way)
        self.assertEqual(sweep.outcome(getattr(pyquelt, way.function), way), expected)
        self.assertEqual(scripted.handed_out(), 0)
        made = [name for name, _ in scripted.calls()]
        if operation is None:
            self.assertEqual(set(made) - scripted.MADE_WITH_LOCK, set())
            return
        self.assertEqual(made.count(operation), good + 1)
        after = made[len(made) - made[::-1].index(operation):]
        self.assertEqual([name for name in after
                          if name[0] != "~" and name not in sweep.SILENT], [])
        # The operations object goes before the plug-in.
        self.assertEqual([name for name in made if name in ("~HostSystem", "~QueltPlugin")],
                         sorted(name for name in made if name in ("~HostSystem", "~QueltPlugin")))

    def test_exception_of_the_host_or_its_message_gets_lost_or_changed(self):
        for way in sweep.WAYS.values():
            operations = sweep.operations(pyquelt, way)
            for operation, good in operations:
                for kind, text, shown in KINDS + MESSAGES * ((operation, good) == operations[-1]):
                    with self.subTest(way.function, operation=operation, good=good, text=shown[:9]):
                        failing = sweep.failing(way, operation, good, scripted.throws(text, kind))
                        self.assert_fails(failing, operation, good,
                                          sweep.failure(way, operation, kind, shown))

    def test_rejected_argument_or_answer_raises_what_the_table_says(self):
        for function, given, answers, outcome in fault_rows.FAILURES:
            with self.subTest(function, given=given, answers=answers):
                usual = sweep.WAYS[function]
                args = given if isinstance(given, tuple) else usual.args
                kwargs = given if isinstance(given, dict) else usual.kwargs
                way = usual._replace(args=args, kwargs=kwargs,
                                     answers=dict(usual.answers, **answers))
                for operation in answers or [None]:
                    self.assert_fails(way, operation, 0, outcome)

    def test_reference_lists_the_operations_and_the_queries_with_the_gil_held(self):
        other = sweep.GETTERS | {"syncConfigurationCallback"}  # not operations of quelt-host fail
        for way in sweep.WAYS.values():
            made = [name for name, good in sweep.operations(pyquelt, way)
                    if good == 0 and name not in other]
            self.assertEqual(reference.OPERATIONS[way.function], made)
        threads = reference.read(reference.PAGE).split("**Threads.**")[1].split("\n\n")[0]
        self.assertEqual(set(re.findall("`([A-Z]\\w+)`", threads)),
                         scripted.MADE_WITH_LOCK | {"GetQueltNetworkInfo"})

    def test_other_threads_stand_still_during_an_operation_or_run_with_the_lock_held(self):
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
        for way in sweep.WAYS.values():
            with self.subTest(way.function):
                operations = {operation for operation, _ in sweep.operations(pyquelt, way)}
                quick = operations & sweep.held(way)
                sweep.set_answers(way._replace(answers={
                    operation: dict(way.answers.get(operation, {}),
                                    watch=0.02 if operation in quick else 60)
                    for operation in operations}))
                getattr(pyquelt, way.function)(*way.args, **way.kwargs)
                self.assertEqual(set(scripted.record("held")) - {"~QueltZelNicConfig"}, quick)
                self.assertEqual(set(scripted.record("moved")), operations - quick)


if __name__ == "__main__":
    unittest.main()
