"""The interpreter shuts down while threads are inside the module: it may end such a thread where
the module takes back the lock, by unwinding its stack."""

import os
import subprocess
import sys
import unittest

import deep
import scripted
import sweep
from fault_build import faults, module

# Every function goes on and on in a daemon thread of its own; the main thread ends when each has
# come round, with the threads wherever they are.
_DAEMONS = """
import random, sys, threading, time
import pyquelt, scripted, sweep
random.seed(int(sys.argv[1]))
answers, delayed, came = {}, set(), set()
for way in sweep.WAYS.values():
    delayed |= {name for name, _ in sweep.operations(pyquelt, way)} - sweep.held(way)
    answers.update(way.answers)
sweep.set_answers(sweep.Way(None, (), {}, {
    name: dict(answers.get(name, {}), delay=random.choice((0, 0.001, 0.01)))
    for name in delayed | set(answers)}))
def go_on(way):
    while True:
        sweep.outcome(getattr(pyquelt, way.function), way)
        came.add(way.function)
for way in sweep.WAYS.values():
    thread = threading.Thread(target=go_on, args=(way,))
    thread.daemon = True
    thread.start()
while len(came) < len(sweep.WAYS):
    time.sleep(0.001)
if random.random() < 0.5:  # and some that are still inside when the process ends
    scripted.answer(random.choice(sorted(delayed)), {"delay": 5})
time.sleep(random.random() / 20)
"""


def ways():
    """(way, whether its call ends the thread): where the lock is taken back, or where the host
    itself ends the thread inside an operation."""
    for way in list(sweep.all_ways(module)):
        yield way, way == sweep.WAYS[way.function]
    for way in sweep.WAYS.values():
        for operation, good in sweep.operations(module, way):
            if operation not in sweep.held(way):
                yield sweep.failing(way, operation, good,
                                    scripted.throws(kind="end of the thread")), True


class ExitTest(scripted.ScriptedTestCase):

    made_with_lock = None

    def test_thread_that_ends_inside_a_call_ends_the_process_or_leaks(self):
        for way, ends in ways():
            with self.subTest(way.function, answers=way.answers):
                scripted.reset()
                before = scripted.allocations()
                sweep.set_answers(way)
                function = getattr(module, way.function)
                ended = faults.fault_injection_unwind(function, way.args, way.kwargs)
                if ends:
                    self.assertEqual(ended, 1)
                self.assertEqual(scripted.handed_out(), 0)
                scripted.reset()
                self.assertEqual(scripted.allocations(), before)

    def test_daemon_thread_inside_a_call_spoils_the_exit(self):
        runs = deep.full(100, otherwise=4)
        for run in range(runs):
            child = subprocess.Popen([sys.executable, "-c", _DAEMONS, str(run)],
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                     env=dict(os.environ))
            output = child.communicate()[0]
            self.assertEqual((run, child.returncode, output), (run, 0, b""))
        deep.figure("{} exits with {} functions running, each with status 0 and no word", runs,
                    len(sweep.WAYS))


if __name__ == "__main__":
    unittest.main()
