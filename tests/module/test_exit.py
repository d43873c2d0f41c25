"""The interpreter shuts down while threads are inside the module: it may end such a thread where
the module reacquires the GIL, by unwinding the thread's stack."""

import subprocess
import sys
import unittest

import deep
import scripted
import cases
from fault_build import faults, module

# Each function is called repeatedly in a daemon thread of its own. The main thread ends when every
# call has returned once; the threads are then anywhere inside a call.
_DAEMONS = """
import random, sys, threading, time
import pyquelt, cases, scripted
random.seed(int(sys.argv[1]))
answers, delayed, returned = {}, set(), set()
for case in cases.SUCCESS.values():
    delayed |= {name for name, _ in cases.operations(pyquelt, case)} - cases.held(case)
    answers.update(case.answers)
cases.set_answers(cases.Case(None, (), {}, {
    name: dict(answers.get(name, {}), delay=random.choice((0, 0.001, 0.01)))
    for name in delayed | set(answers)}))
def repeat(case):
    while True:
        cases.outcome(getattr(pyquelt, case.function), case)
        returned.add(case.function)
for case in cases.SUCCESS.values():
    thread = threading.Thread(target=repeat, args=(case,))
    thread.daemon = True
    thread.start()
while len(returned) < len(cases.SUCCESS):
    time.sleep(0.001)
if random.random() < 0.5:  # and some that are still inside when the process ends
    scripted.answer(random.choice(sorted(delayed)), {"delay": 5})
time.sleep(random.random() / 20)
"""


def unwound_cases():
    """(case, whether its call ends the thread): where the GIL is reacquired, or where the host
    itself ends the thread inside an operation."""
    for case in list(cases.with_failures(module)):
        yield case, case == cases.SUCCESS[case.function]
    for case in cases.SUCCESS.values():
        for operation, skip in cases.operations(module, case):
            if operation not in cases.held(case):
                yield cases.failing(case, operation, skip,
                                    scripted.throws(kind="end of the thread")), True


class ExitTest(scripted.ScriptedTestCase):

    called_with_gil = None

    def test_thread_that_ends_inside_a_call_leaks_nothing(self):
        for case, ends in unwound_cases():
            with self.subTest(case.function, answers=case.answers):
                scripted.reset()
                before = scripted.allocations()
                cases.set_answers(case)
                function = getattr(module, case.function)
                ended = faults.fault_injection_unwind(function, case.args, case.kwargs)
                if ends:
                    self.assertEqual(ended, 1)
                self.assertEqual(scripted.live_objects(), 0)
                scripted.reset()
                self.assertEqual(scripted.allocations(), before)

    def test_process_exits_cleanly_with_daemon_threads_inside_calls(self):
        runs = deep.full(100, otherwise=4)
        for run in range(runs):
            child = subprocess.Popen([sys.executable, "-c", _DAEMONS, str(run)],
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            output = child.communicate()[0]
            self.assertEqual((run, child.returncode, output), (run, 0, b""))
        deep.figure("{} exits with {} functions running, each with status 0 and no output", runs,
                    len(cases.SUCCESS))


if __name__ == "__main__":
    unittest.main()
