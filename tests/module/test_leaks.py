"""Repeated calls of each function leak nothing: on its success path, on each of its failure paths,
and with each interpreter call or allocation failing."""

import array
import ctypes
import gc
import itertools
import os
import sys
import unittest

import deep
import pyquelt
import scripted
import cases
from fault_build import CALL, MEMORY, NATIVE_MEMORY, all_cases, attempts

CALLS = deep.full(10000, otherwise=60)
# The least size of an allocation, in bytes.
SMALLEST = 24
NUMBERS = itertools.count()


class _Mallinfo(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in (
        "arena ordblks smblks hblks hblkhd usmblks fsmblks uordblks fordblks keepcost").split()]


_mallinfo = getattr(ctypes.CDLL(None), "mallinfo2", None)
if _mallinfo is not None:
    _mallinfo.restype = _Mallinfo


def heap():
    """Bytes in use of the C library's allocator; 0 where it has no mallinfo2."""
    info = _mallinfo() if _mallinfo is not None else _Mallinfo()
    return info.uordblks + info.hblkhd


def measure(into, watched):
    """Fills `into`, without allocating."""
    scripted.reset()
    gc.collect()  # empties the interpreter's free lists too
    into[0] = scripted.live_objects()
    into[1] = scripted.allocations()
    into[2] = len(os.listdir("/proc/self/fd"))
    into[3] = len(os.listdir("/proc/self/task"))
    into[4] = heap() // SMALLEST
    into[5] = sys.getallocatedblocks()
    into[6] = getattr(sys, "gettotalrefcount", int)()
    for i, item in enumerate(watched):
        into[i + 7] = sys.getrefcount(item)


class LeakTest(scripted.ScriptedTestCase):

    called_with_gil = None

    def growth(self, case, run, limit, first):
        """None if running leaves no object, memory, file or thread of the host, and the values of
        `measure` from `first` on change by less than `limit`. Otherwise the growth."""
        watched = list(case.args) + list(case.kwargs.values()) + [None, True, False]
        for _ in range(4):  # objects made once are not made again; a leak repeats
            before, after = [array.array("q", [0] * (len(watched) + 7)) for _ in range(2)]
            measure(before, watched)
            run(case)
            measure(after, watched)
            grown = [now - then for then, now in zip(before, after)]
            if grown[:4] == [0] * 4 and max(map(abs, grown[first:])) < limit:
                return None
        return case.function, case.answers, grown

    def test_calls_leak_nothing(self):
        def run(case):
            function = getattr(pyquelt, case.function)
            for i in range(CALLS):
                fresh = cases.renewed(case, next(NUMBERS))
                if i % 50 == 0 or fresh.answers != case.answers:
                    cases.set_answers(fresh)
                cases.outcome(function, fresh)

        tried = [case for case, _ in all_cases()]
        self.assertEqual([grown for grown in (
            self.growth(case, run, CALLS // 2, 4) for case in tried) if grown], [])
        deep.figure("{} code paths, {} calls of each: no leak", len(tried), CALLS)

    def test_calls_with_an_injected_fault_leak_nothing(self):
        rounds = 3
        for kind in (CALL, MEMORY, NATIVE_MEMORY):
            def run(case):
                for _ in range(rounds):
                    for _ in attempts(kind, case):
                        self.assertEqual(scripted.live_objects(), 0)

            self.assertEqual([grown for grown in (
                self.growth(case, run, rounds, 5) for case, _ in all_cases()) if grown], [], kind)


if __name__ == "__main__":
    unittest.main()
